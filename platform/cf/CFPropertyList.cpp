#include "platform/cf/CFPropertyList.h"

#include <plist/plist.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <memory>
#include <string_view>
#include <vector>

#include "platform/cf/CFArray.h"
#include "platform/cf/CFDate.h"
#include "platform/cf/CFDictionary.h"
#include "platform/cf/CFNumber.h"
#include "platform/cf/CFString.h"
#include "platform/cf/Runtime.h"

namespace cf {

namespace {

// Deeper trees are refused, so that the conversion's recursion stays bounded.
constexpr int kMaxDepth = 512;

struct PlistDeleter {
  void operator()(void* node) const { plist_free(node); }
};
using Plist = std::unique_ptr<void, PlistDeleter>;

struct FreeDeleter {
  void operator()(void* p) const { std::free(p); }
};

// The new objects of a conversion, released together when it ends: the collection made of
// them has taken counts of its own by then.
class Made {
 public:
  Made() = default;
  Made(const Made&) = delete;
  Made& operator=(const Made&) = delete;
  ~Made() {
    for (const void* ref : refs_)
      CFRelease(ref);
  }
  void Add(const void* ref) { refs_.push_back(ref); }
  const void** Data() { return refs_.data(); }
  CFIndex Count() const { return static_cast<CFIndex>(refs_.size()); }

 private:
  std::vector<const void*> refs_;
};

// Big-endian unsigned integer of `width` bytes at `at`; false when it doesn't fit in `bytes`.
bool ReadBigEndian(std::string_view bytes, std::uint64_t at, std::uint64_t width,
                   std::uint64_t& value) {
  if (width == 0 || width > 8 || at > bytes.size() || bytes.size() - at < width) return false;
  value = 0;
  for (std::uint64_t i = 0; i < width; ++i)
    value = (value << 8) | static_cast<unsigned char>(bytes[at + i]);
  return true;
}

// Whether a binary list holds a string object with a zero byte (ASCII) or a zero unit
// (UTF-16). libplist asserts, and so ends the process, when such a string is a dictionary's
// key, so these lists are refused before it builds them. The walk goes over the offset table
// and reads nothing outside `bytes`; anything that doesn't fit is left to libplist to refuse.
bool HasStringWithZero(std::string_view bytes) {
  constexpr std::uint64_t kTrailer = 32;
  if (bytes.size() < 8 + kTrailer || bytes.substr(0, 6) != "bplist") return false;
  const std::uint64_t trailer = bytes.size() - kTrailer;
  std::uint64_t offsetSize = 0, objects = 0, table = 0;
  if (!ReadBigEndian(bytes, trailer + 6, 1, offsetSize) ||
      !ReadBigEndian(bytes, trailer + 8, 8, objects) ||
      !ReadBigEndian(bytes, trailer + 24, 8, table) || offsetSize == 0 || offsetSize > 8 ||
      table >= trailer) {
    return false;
  }
  objects = std::min(objects, (trailer - table) / offsetSize);
  for (std::uint64_t i = 0; i < objects; ++i) {
    std::uint64_t offset = 0, marker = 0;
    if (!ReadBigEndian(bytes, table + i * offsetSize, offsetSize, offset) ||
        !ReadBigEndian(bytes, offset, 1, marker)) {
      continue;
    }
    const std::uint64_t kind = marker >> 4;
    if (kind != 0x5 && kind != 0x6) continue;
    std::uint64_t count = marker & 0xF;
    std::uint64_t start = offset + 1;
    if (count == 0xF) {
      // The count follows as an integer object: marker 0x1n, then 2^n bytes.
      std::uint64_t intMarker = 0;
      if (!ReadBigEndian(bytes, start, 1, intMarker) || (intMarker >> 4) != 0x1) continue;
      const std::uint64_t width = std::uint64_t{1} << (intMarker & 0xF);
      if (!ReadBigEndian(bytes, start + 1, width, count)) continue;
      start += 1 + width;
    }
    const std::uint64_t unit = kind == 0x5 ? 1 : 2;
    if (start > bytes.size() || count > (bytes.size() - start) / unit) continue;
    for (std::uint64_t c = 0; c < count; ++c) {
      const std::string_view code = bytes.substr(start + c * unit, unit);
      if (code.find_first_not_of('\0') == std::string_view::npos) return true;
    }
  }
  return false;
}

CFStringRef NewUTF8String(std::string_view text) {
  return CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(text.data()),
                                 static_cast<CFIndex>(text.size()), kCFStringEncodingUTF8, false);
}

// The CF object (Create rule) of `node`. Null with `failed` still false for a node that has no
// CF form (a UID), which its container leaves out; null with `failed` true when the whole list
// is to be refused.
CFTypeRef Convert(plist_t node, int depth, bool& failed) {
  if (depth > kMaxDepth) {
    failed = true;
    return nullptr;
  }
  switch (plist_get_node_type(node)) {
    case PLIST_DICT: {
      Made keys;
      Made values;
      plist_dict_iter iterator = nullptr;
      plist_dict_new_iter(node, &iterator);
      const std::unique_ptr<void, FreeDeleter> ownIterator(iterator);
      while (!failed) {
        char* rawKey = nullptr;
        plist_t item = nullptr;
        plist_dict_next_item(node, iterator, &rawKey, &item);
        const std::unique_ptr<char, FreeDeleter> key(rawKey);
        if (item == nullptr) break;
        CFTypeRef value = Convert(item, depth + 1, failed);
        if (value == nullptr) continue;
        values.Add(value);
        CFStringRef keyString = NewUTF8String(key != nullptr ? key.get() : "");
        if (keyString == nullptr) {
          failed = true;
          break;
        }
        keys.Add(keyString);
      }
      if (failed) return nullptr;
      return CFDictionaryCreate(nullptr, keys.Data(), values.Data(), keys.Count(),
                                TypeDictionaryKeyCallBacks(), TypeDictionaryValueCallBacks());
    }
    case PLIST_ARRAY: {
      Made values;
      const std::uint32_t count = plist_array_get_size(node);
      for (std::uint32_t i = 0; i < count && !failed; ++i) {
        if (CFTypeRef value = Convert(plist_array_get_item(node, i), depth + 1, failed))
          values.Add(value);
      }
      if (failed) return nullptr;
      return CFArrayCreate(nullptr, values.Data(), values.Count(), TypeArrayCallBacks());
    }
    case PLIST_STRING:
    case PLIST_KEY: {
      std::uint64_t length = 0;
      const char* text = plist_get_string_ptr(node, &length);
      CFStringRef string = NewUTF8String(std::string_view(text != nullptr ? text : "", length));
      if (string == nullptr) failed = true;
      return string;
    }
    case PLIST_DATA: {
      std::uint64_t length = 0;
      const char* bytes = plist_get_data_ptr(node, &length);
      return CFDataCreate(nullptr, reinterpret_cast<const UInt8*>(bytes),
                          static_cast<CFIndex>(length));
    }
    case PLIST_BOOLEAN: {
      std::uint8_t value = 0;
      plist_get_bool_val(node, &value);
      return CFRetain(BooleanConstant(value != 0));
    }
    case PLIST_UINT: {
      // libplist keeps integers as 64 bits without their sign; the platform reads them signed.
      std::uint64_t bits = 0;
      plist_get_uint_val(node, &bits);
      const auto value = static_cast<SInt64>(bits);
      return CFNumberCreate(nullptr, kCFNumberSInt64Type, &value);
    }
    case PLIST_REAL: {
      double value = 0;
      plist_get_real_val(node, &value);
      return CFNumberCreate(nullptr, kCFNumberFloat64Type, &value);
    }
    case PLIST_DATE: {
      std::int32_t seconds = 0;
      std::int32_t microseconds = 0;
      plist_get_date_val(node, &seconds, &microseconds);
      return CFDateCreate(nullptr, seconds + microseconds / 1e6);
    }
    default:
      return nullptr;
  }
}

}  // namespace

CFPropertyListRef PropertyListFromBytes(std::string_view bytes, CFPropertyListFormat* format,
                                        const char** why) {
  if (bytes.empty() || bytes.size() > std::numeric_limits<std::uint32_t>::max()) {
    *why = "The data is empty or too large to be a property list.";
    return nullptr;
  }
  const auto size = static_cast<std::uint32_t>(bytes.size());
  if (HasStringWithZero(bytes)) {
    *why = "The property list holds text with a zero character.";
    return nullptr;
  }
  plist_t root = nullptr;
  plist_from_memory(bytes.data(), size, &root);
  const Plist owned(root);
  if (root == nullptr) {
    *why = "The data is no property list in XML or binary form.";
    return nullptr;
  }
  bool failed = false;
  CFPropertyListRef list = Convert(root, 0, failed);
  if (list == nullptr) {
    *why = failed ? "The property list holds text that is no UTF-8, or is nested too deep."
                  : "The property list holds no value that has a CF form.";
    return nullptr;
  }
  if (format != nullptr) {
    *format = plist_is_binary(bytes.data(), size) != 0 ? kCFPropertyListBinaryFormat_v1_0
                                                       : kCFPropertyListXMLFormat_v1_0;
  }
  return list;
}

}  // namespace cf

extern "C" {

CFPropertyListRef CFPropertyListCreateWithData(CFAllocatorRef, CFDataRef data, CFOptionFlags,
                                               CFPropertyListFormat* format, CFErrorRef* error) {
  cf::CountCall();
  if (error != nullptr) *error = nullptr;
  if (cf::Expect(data, cf::kDataTypeID, "CFPropertyListCreateWithData") == nullptr) return nullptr;
  const std::string_view bytes = cf::BytesOf(*data);
  const char* why = nullptr;
  CFPropertyListRef list = cf::PropertyListFromBytes(bytes, format, &why);
  if (list == nullptr && error != nullptr) {
    *error = cf::NewCocoaError(kCFPropertyListReadCorruptError, {{"NSDebugDescription", why}});
  }
  return list;
}

}  // extern "C"
