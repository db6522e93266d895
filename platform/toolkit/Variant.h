#pragma once

#include <cstdint>
#include <cstring>
#include <functional>
#include <new>
#include <string>
#include <string_view>
#include <utility>

#include "platform/toolkit/Ref.h"
#include "platform/toolkit/String.h"

namespace toolkit {

// A tagged value: nil, a Boolean, a number of one of four kinds, a String, or an object.
// Objects compare by identity, so "the same MemoryBlock" is a testable fact; numbers compare
// by value across their kinds, so the Int64 key 1 finds what the Int32 key 1 stored.
//
// A text of up to kShortText bytes lies inside the Variant itself, so that the short texts that
// fill maps (keys such as "raw 17", dates, identifiers) cost no allocation; a longer one is held
// in a std::string. Every kind but a long text and an object is copied, moved and destroyed as
// plain bytes.
class Variant {
 public:
  // The toolkit's codes for the kind of value held.
  enum Type : int {
    TypeNil = 0,
    TypeInt32 = 2,
    TypeInt64 = 3,
    TypeSingle = 4,
    TypeDouble = 5,
    TypeString = 8,
    TypeObject = 9,
    TypeBoolean = 11,
  };

  // The longest text held inside the Variant.
  static constexpr std::size_t kShortText = 32;

  Variant() noexcept {}
  Variant(std::nullptr_t) noexcept {}                                      // NOLINT: nil
  Variant(bool v) noexcept : kind_(Kind::Boolean) { u_.boolean = v; }      // NOLINT
  Variant(std::int32_t v) noexcept : kind_(Kind::Int32) { u_.int32 = v; }  // NOLINT
  Variant(std::int64_t v) noexcept : kind_(Kind::Int64) { u_.int64 = v; }  // NOLINT
  Variant(float v) noexcept : kind_(Kind::Single) { u_.single = v; }       // NOLINT
  Variant(double v) noexcept : kind_(Kind::Double) { u_.real = v; }        // NOLINT
  Variant(String v);                                                       // NOLINT
  Variant(const char* v) {
    SetText(v != nullptr ? std::string_view(v) : std::string_view());
  }  // NOLINT
  template <class T>
  Variant(const Ref<T>& object) {  // NOLINT: a nil Ref makes a nil Variant
    if (object) {
      new (&u_.object) Ref<Object>(object);
      kind_ = Kind::Object;
    }
  }
  template <class T>
  Variant(Ref<T>&& object) noexcept  // NOLINT: takes over the Ref's reference
      : kind_(object ? Kind::Object : Kind::Nil) {
    if (object) new (&u_.object) Ref<Object>(std::move(object));
  }
  // A String of `bytes` with `encoding` declared on it, for a Variant made of it in its place:
  // what Variant(String(...)) holds, without the String in between. Only views the bytes.
  struct Text {
    explicit Text(std::string_view textBytes, TextEncoding textEncoding = TextEncoding::None)
        : bytes(textBytes), encoding(textEncoding) {}
    std::string_view bytes;
    TextEncoding encoding;
  };
  Variant(Text text) {  // NOLINT: made in place
    SetText(text.bytes);
    encoding_ = text.encoding;
  }

  Variant(const Variant& other)
      : u_(Storage::Unset{}),
        kind_(other.kind_),
        length_(other.length_),
        encoding_(other.encoding_) {
    if (!HoldsOwner())
      CopyBytes(other);
    else if (kind_ == Kind::LongText)
      new (&u_.longText) std::string(other.u_.longText);
    else
      new (&u_.object) Ref<Object>(other.u_.object);
  }
  Variant(Variant&& other) noexcept : u_(Storage::Unset{}) { Take(std::move(other)); }
  Variant& operator=(const Variant& other) {
    if (this != &other) {
      Variant copy(other);  // before this lets go of what it holds, which may hold `other`
      Destroy();
      Take(std::move(copy));
    }
    return *this;
  }
  Variant& operator=(Variant&& other) noexcept {
    if (this != &other) {
      Variant taken(std::move(other));  // `other` may live in what this holds
      Destroy();
      Take(std::move(taken));
    }
    return *this;
  }
  ~Variant() {
    if (HoldsOwner()) Release();
  }

  int VarType() const;
  bool IsNull() const { return kind_ == Kind::Nil; }
  bool IsObject() const { return kind_ == Kind::Object; }
  bool IsString() const { return kind_ == Kind::ShortText || kind_ == Kind::LongText; }

  // Conversions. A nil converts to 0, false or the empty String. A String converts to a
  // number by its leading number (Val) and to a Boolean by being "True" (any case). A
  // MemoryBlock converts to the String of all its bytes; any other object raises
  // TypeMismatchException when asked for a String or a number.
  bool BooleanValue() const;
  std::int32_t Int32Value() const;
  std::int64_t Int64Value() const;
  double DoubleValue() const;
  String StringValue() const;
  // The object held, or nil for a value that isn't an object.
  Ref<Object> ObjectValue() const;
  // The object held seen as a T, or nil when there is none of that class.
  template <class T>
  Ref<T> As() const {
    return ObjectValue().template As<T>();
  }

  // Texts and Int64 are the keys of the maps that readers fill: those two compare and hash
  // here, everything else in Variant.cpp.
  friend bool operator==(const Variant& a, const Variant& b) {
    if (a.IsString()) {
      if (b.IsString()) return a.TextView() == b.TextView();
    } else if (a.kind_ == Kind::Int64 && b.kind_ == Kind::Int64) {
      return a.u_.int64 == b.u_.int64;
    }
    return Equals(a, b);
  }
  std::size_t Hash() const {
    if (IsString()) return HashBytes(TextView());
    if (kind_ == Kind::Int64) return std::hash<std::int64_t>{}(u_.int64);
    return HashOther();
  }

 private:
  enum class Kind : std::uint8_t {
    Nil,
    Boolean,
    Int32,
    Int64,
    Single,
    Double,
    ShortText,  // length_ bytes in u_.text
    // The kinds that own something come last.
    LongText,  // u_.longText
    Object,    // u_.object, never nil
  };

  // The bytes of a text; only for a Variant that holds one.
  std::string_view TextView() const {
    return kind_ == Kind::ShortText ? std::string_view(u_.text, length_)
                                    : std::string_view(u_.longText);
  }
  // Makes this nil Variant hold `bytes` as a text with no encoding.
  void SetText(std::string_view bytes) {
    if (bytes.size() <= kShortText) {
      kind_ = Kind::ShortText;
      length_ = static_cast<std::uint8_t>(bytes.size());
      CopyShort(u_.text, bytes.data(), bytes.size());
    } else {
      new (&u_.longText) std::string(bytes);
      kind_ = Kind::LongText;
    }
  }
  // Copies `size` bytes, at most kShortText, from `from` to `to` in two fixed-size moves that
  // overlap where the size is no power of two, reading and writing nothing outside the bytes;
  // a call of memcpy for a few bytes costs more than the copy.
  static void CopyShort(char* to, const char* from, std::size_t size) {
    if (size >= 16) {
      std::memcpy(to, from, 16);
      std::memcpy(to + size - 16, from + size - 16, 16);
    } else if (size >= 8) {
      std::memcpy(to, from, 8);
      std::memcpy(to + size - 8, from + size - 8, 8);
    } else if (size >= 4) {
      std::memcpy(to, from, 4);
      std::memcpy(to + size - 4, from + size - 4, 4);
    } else if (size > 0) {
      to[0] = from[0];
      to[size / 2] = from[size / 2];
      to[size - 1] = from[size - 1];
    }
  }
  // The storage of a kind that is plain bytes, copied whole.
  void CopyBytes(const Variant& other) {
    std::memcpy(static_cast<void*>(&u_), static_cast<const void*>(&other.u_), sizeof u_);
  }
  // Makes this nil Variant hold what `other` held. `other` is left with an empty text in place
  // of a long one, nil in place of an object, and plain bytes as they were.
  void Take(Variant&& other) noexcept {
    kind_ = other.kind_;
    length_ = other.length_;
    encoding_ = other.encoding_;
    if (!HoldsOwner()) {
      CopyBytes(other);
    } else if (kind_ == Kind::LongText) {
      TakeLongText(other);
    } else {
      new (&u_.object) Ref<Object>(std::move(other.u_.object));
      // An empty Ref, which a moved one is, goes without effect: it needn't be destroyed.
      other.kind_ = Kind::Nil;
    }
  }
  // Out of line: where a Variant is moved from one that was made holding an object, g++ would
  // otherwise follow this road into the string's move and report its bytes as unset.
  [[gnu::noinline]] void TakeLongText(Variant& other) noexcept {
    new (&u_.longText) std::string(std::move(other.u_.longText));
  }
  // Whether what is held owns something: a long text its bytes, an object a reference. All
  // other kinds are plain bytes, which go without a word.
  bool HoldsOwner() const { return kind_ >= Kind::LongText; }
  // Lets go of what a Variant that HoldsOwner() holds.
  void Release() noexcept {
    if (kind_ == Kind::LongText)
      u_.longText.~basic_string();
    else
      u_.object.~Ref<Object>();
  }
  void Destroy() noexcept {
    if (HoldsOwner()) Release();
    kind_ = Kind::Nil;
  }

  static bool Equals(const Variant& a, const Variant& b);
  static std::size_t HashBytes(std::string_view bytes);  // inline, below
  std::size_t HashOther() const;

  union Storage {
    // The members are made and unmade by the Variant, which knows which one is there. The
    // first two words are zeroed all the same, so that g++ sees no object read before it is
    // made on the paths that it can't tell apart.
    Storage() : words{} {}
    // For a copy or a move, which write the storage in full.
    struct Unset {};
    explicit Storage(Unset) {}
    ~Storage() {}
    std::uint64_t words[2];
    bool boolean;
    std::int32_t int32;
    std::int64_t int64;
    float single;
    double real;
    char text[kShortText];
    std::string longText;
    Ref<Object> object;
  } u_;
  Kind kind_ = Kind::Nil;
  std::uint8_t length_ = 0;                     // of a short text
  TextEncoding encoding_ = TextEncoding::None;  // of a text
};

// A hash of bytes, eight at a time; keys of maps are mostly short texts such as "attr 17",
// for which it costs a few multiplications. The length goes in first, so the overlapping reads
// of a short tail can't make two texts of different lengths alike.
inline std::size_t Variant::HashBytes(std::string_view bytes) {
  constexpr std::uint64_t kMul1 = 0xBF58476D1CE4E5B9;
  constexpr std::uint64_t kMul2 = 0x94D049BB133111EB;
  std::uint64_t h = 0x9E3779B97F4A7C15 ^ bytes.size();
  const char* p = bytes.data();
  std::size_t n = bytes.size();
  const auto mix = [&h](std::uint64_t word) {
    h = (h ^ word) * kMul1;
    h ^= h >> 31;
  };
  for (; n >= 8; p += 8, n -= 8) {
    std::uint64_t word = 0;
    std::memcpy(&word, p, 8);
    mix(word);
  }
  if (n >= 4) {
    std::uint32_t first = 0;
    std::uint32_t last = 0;
    std::memcpy(&first, p, 4);
    std::memcpy(&last, p + n - 4, 4);
    mix(std::uint64_t{first} << 32 | last);
  } else if (n > 0) {
    const auto byte = [p](std::size_t i) {
      return std::uint64_t{static_cast<unsigned char>(p[i])};
    };
    mix(byte(0) << 16 | byte(n / 2) << 8 | byte(n - 1));
  }
  h *= kMul2;
  return static_cast<std::size_t>(h ^ (h >> 29));
}

// True for a Variant that holds a number of any kind, and for a String whose whole text,
// blanks aside, is a decimal number.
bool IsNumeric(const Variant& value);

struct VariantHash {
  std::size_t operator()(const Variant& v) const { return v.Hash(); }
};

}  // namespace toolkit
