#include "tools/receiptmaker/ReceiptMaker.h"

#include <openssl/asn1.h>
#include <openssl/bio.h>
#include <openssl/crypto.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/objects.h>
#include <openssl/pkcs7.h>
#include <openssl/x509.h>

#include <charconv>
#include <climits>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

namespace ReceiptMaker {
namespace {

constexpr uint8_t kTagInteger = 0x02;
constexpr uint8_t kTagOctetString = 0x04;
constexpr uint8_t kTagUtf8String = 0x0C;
constexpr uint8_t kTagIa5String = 0x16;
constexpr uint8_t kTagSequence = 0x30;
constexpr uint8_t kTagSet = 0x31;

void Append(Bytes& out, const Bytes& more) {
  out.insert(out.end(), more.begin(), more.end());
}

int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// ---- OpenSSL plumbing

template <auto Free>
struct FreeWith {
  template <typename T>
  void operator()(T* object) const {
    Free(object);
  }
};

// OPENSSL_free is a macro, so it cannot be a template argument itself.
void FreeOpenSslBuffer(unsigned char* buffer) {
  OPENSSL_free(buffer);
}

using BioPtr = std::unique_ptr<BIO, FreeWith<BIO_free>>;
using CertPtr = std::unique_ptr<X509, FreeWith<X509_free>>;
using KeyPtr = std::unique_ptr<EVP_PKEY, FreeWith<EVP_PKEY_free>>;
using OpenSslBuffer = std::unique_ptr<unsigned char, FreeWith<FreeOpenSslBuffer>>;
using Pkcs7Ptr = std::unique_ptr<PKCS7, FreeWith<PKCS7_free>>;

// Throws std::runtime_error naming the step and every error OpenSSL queued for it.
[[noreturn]] void ThrowOpenSsl(const std::string& step) {
  std::string message = "ReceiptMaker: " + step + " failed";
  const char* separator = ": ";
  char text[256];
  for (unsigned long code = ERR_get_error(); code != 0; code = ERR_get_error()) {
    ERR_error_string_n(code, text, sizeof text);
    message += separator;
    message += text;
    separator = "; ";
  }
  throw std::runtime_error(message);
}

int OpenSslLength(size_t size) {
  if (size > static_cast<size_t>(INT_MAX)) {
    throw std::length_error("ReceiptMaker: a payload of " + std::to_string(size) +
                            " bytes is too large for OpenSSL");
  }
  return static_cast<int>(size);
}

struct Signer {
  KeyPtr key;
  CertPtr cert;
};

Signer MakeSigner() {
  KeyPtr key(EVP_PKEY_Q_keygen(nullptr, nullptr, "EC", "P-256"));
  if (!key) ThrowOpenSsl("making the EC P-256 signing key");
  CertPtr cert(X509_new());
  if (!cert) ThrowOpenSsl("X509_new");
  X509_NAME* name = X509_get_subject_name(cert.get());
  const auto* commonName = reinterpret_cast<const unsigned char*>("Quellmark receipt maker");
  constexpr long kDay = 24L * 60 * 60;
  if (X509_set_version(cert.get(), X509_VERSION_3) != 1 ||
      ASN1_INTEGER_set(X509_get_serialNumber(cert.get()), 1) != 1 ||
      X509_gmtime_adj(X509_getm_notBefore(cert.get()), -kDay) == nullptr ||
      X509_gmtime_adj(X509_getm_notAfter(cert.get()), 3650 * kDay) == nullptr ||
      X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC, commonName, -1, -1, 0) != 1 ||
      X509_set_issuer_name(cert.get(), name) != 1 || X509_set_pubkey(cert.get(), key.get()) != 1 ||
      X509_sign(cert.get(), key.get(), EVP_sha256()) <= 0) {
    ThrowOpenSsl("making the self-signed certificate");
  }
  return {std::move(key), std::move(cert)};
}

const Signer& TheSigner() {
  // Made on first use; C++ lets one thread make it while any others wait. If making it throws,
  // the next call tries again. OpenSSL's key and certificate objects may then be used by
  // several threads at once: signing only reads them.
  static const Signer signer = MakeSigner();
  return signer;
}

Bytes ToDer(PKCS7* p7) {
  const int length = i2d_PKCS7(p7, nullptr);
  if (length <= 0) ThrowOpenSsl("i2d_PKCS7");
  Bytes der(static_cast<size_t>(length));
  unsigned char* out = der.data();
  if (i2d_PKCS7(p7, &out) != length) ThrowOpenSsl("i2d_PKCS7");
  return der;
}

Pkcs7Ptr SignedData(const Bytes& payload, int flags) {
  const Signer& signer = TheSigner();
  // BIO_new_mem_buf refuses a null pointer even for zero bytes, which an empty vector may hold.
  static const unsigned char kNoBytes = 0;
  BioPtr content(
      BIO_new_mem_buf(payload.empty() ? &kNoBytes : payload.data(), OpenSslLength(payload.size())));
  if (!content) ThrowOpenSsl("BIO_new_mem_buf");
  Pkcs7Ptr p7(PKCS7_sign(signer.cert.get(), signer.key.get(), nullptr, content.get(),
                         PKCS7_BINARY | flags));
  if (!p7) ThrowOpenSsl("PKCS7_sign");
  return p7;
}

Pkcs7Ptr DataObject(const Bytes& payload) {
  Pkcs7Ptr p7(PKCS7_new());
  if (!p7 || PKCS7_set_type(p7.get(), NID_pkcs7_data) != 1 ||
      ASN1_OCTET_STRING_set(p7->d.data, payload.data(), OpenSslLength(payload.size())) != 1) {
    ThrowOpenSsl("making a PKCS#7 data object");
  }
  return p7;
}

// PKCS7_sign only digests content of type data, so the signer info of a signed-data object
// around another one is made here: PKCS#7 digests the contents octets of the inner content's
// encoding (the inner SignedData SEQUENCE without its tag and length), and the signed
// attributes carry that digest and the inner content type.
Pkcs7Ptr SignedAroundSignedData(const Bytes& payload) {
  Pkcs7Ptr inner = SignedData(payload, 0);

  unsigned char* innerDer = nullptr;
  const int innerLength = i2d_PKCS7_SIGNED(inner->d.sign, &innerDer);
  if (innerLength <= 0) ThrowOpenSsl("i2d_PKCS7_SIGNED");
  const OpenSslBuffer innerOwner(innerDer);
  const unsigned char* contents = innerDer;
  long contentsLength = 0;
  int tag = 0;
  int tagClass = 0;
  if ((ASN1_get_object(&contents, &contentsLength, &tag, &tagClass, innerLength) & 0x80) != 0) {
    ThrowOpenSsl("reading back the inner SignedData");
  }
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int digestLength = 0;
  if (EVP_Digest(contents, static_cast<size_t>(contentsLength), digest, &digestLength, EVP_sha256(),
                 nullptr) != 1) {
    ThrowOpenSsl("EVP_Digest");
  }

  const Signer& signer = TheSigner();
  Pkcs7Ptr outer(PKCS7_sign(nullptr, nullptr, nullptr, nullptr, PKCS7_PARTIAL));
  if (!outer) ThrowOpenSsl("PKCS7_sign");
  PKCS7_SIGNER_INFO* signerInfo = PKCS7_sign_add_signer(
      outer.get(), signer.cert.get(), signer.key.get(), EVP_sha256(), PKCS7_NOATTR);
  if (signerInfo == nullptr) ThrowOpenSsl("PKCS7_sign_add_signer");
  if (PKCS7_set_content(outer.get(), inner.get()) != 1) ThrowOpenSsl("PKCS7_set_content");
  static_cast<void>(inner.release());  // outer owns it now
  if (PKCS7_add_attrib_content_type(signerInfo, OBJ_nid2obj(NID_pkcs7_signed)) != 1 ||
      PKCS7_add0_attrib_signing_time(signerInfo, nullptr) != 1 ||
      PKCS7_add1_attrib_digest(signerInfo, digest, static_cast<int>(digestLength)) != 1 ||
      PKCS7_SIGNER_INFO_sign(signerInfo) != 1) {
    ThrowOpenSsl("signing around the inner signed data");
  }
  return outer;
}

// ---- The text format

struct Token {
  std::string text;
  bool quoted = false;
};

bool IsBlank(char c) {
  return c == ' ' || c == '\t' || c == '\r';
}

class TextParser {
 public:
  Bytes Run(std::string_view text);

 private:
  struct OpenPurchase {
    int64_t number;
    int64_t version;
    std::vector<Attribute> records;
    size_t line;
  };

  [[noreturn]] void Fail(const std::string& why) const { FailAt(line_, why); }
  [[noreturn]] static void FailAt(size_t line, const std::string& why) {
    throw std::invalid_argument("line " + std::to_string(line) + ": " + why);
  }

  std::vector<Token> Tokenize(std::string_view line) const;
  void Directive(const std::vector<Token>& tokens);
  void AttrLine(const std::vector<Token>& tokens);
  void EndLine();
  void ShapeLine(const std::vector<Token>& tokens);
  void TruncateLine(const std::vector<Token>& tokens);

  void ExpectCount(const std::vector<Token>& tokens, size_t count, const char* usage) const;
  int64_t Int64(const Token& token, const char* what) const;
  Bytes HexFrom(const std::vector<Token>& tokens, size_t first) const;
  void Once(size_t& firstLine, const std::string& directive);
  void NotWith(size_t otherLine, const std::string& directive, const char* other) const;
  std::vector<Attribute>& Records() { return open_.empty() ? sets_.back() : open_.back().records; }

  size_t line_ = 0;
  std::vector<std::vector<Attribute>> sets_ = std::vector<std::vector<Attribute>>(1);
  std::vector<OpenPurchase> open_;
  Shape shape_ = Shape::Receipt;
  std::optional<Bytes> payload_;
  std::optional<Bytes> rawFile_;
  std::optional<size_t> truncate_;
  // The line where each kind of directive first appeared, 0 if it has not.
  size_t recordsLine_ = 0;
  size_t shapeLine_ = 0;
  size_t payloadLine_ = 0;
  size_t rawFileLine_ = 0;
  size_t truncateLine_ = 0;
};

Bytes TextParser::Run(std::string_view text) {
  while (!text.empty() || line_ == 0) {
    ++line_;
    const size_t newline = text.find('\n');
    const std::string_view line = text.substr(0, newline);
    text = newline == std::string_view::npos ? std::string_view() : text.substr(newline + 1);
    const std::vector<Token> tokens = Tokenize(line);
    if (!tokens.empty()) Directive(tokens);
  }
  if (!open_.empty()) FailAt(open_.back().line, "iap is never closed with end");

  Bytes file;
  if (rawFile_) {
    file = *rawFile_;
  } else {
    Bytes payload;
    if (payload_) {
      payload = *payload_;
    } else {
      for (const std::vector<Attribute>& set : sets_) {
        Append(payload, Payload(set));
      }
    }
    file = Sign(payload, shape_);
  }
  if (truncate_) {
    if (*truncate_ >= file.size()) {
      FailAt(truncateLine_, "truncate " + std::to_string(*truncate_) +
                                " is not shorter than the file, which has " +
                                std::to_string(file.size()) + " bytes");
    }
    file.resize(*truncate_);
  }
  return file;
}

std::vector<Token> TextParser::Tokenize(std::string_view line) const {
  std::vector<Token> tokens;
  size_t i = 0;
  for (;;) {
    while (i < line.size() && IsBlank(line[i])) {
      ++i;
    }
    if (i == line.size() || line[i] == '#') return tokens;
    Token token;
    if (line[i] == '"') {
      token.quoted = true;
      for (++i;; ++i) {
        if (i == line.size()) Fail("string has no closing quote");
        if (line[i] == '"') break;
        if (line[i] == '\\') {
          if (i + 1 == line.size() || (line[i + 1] != '"' && line[i + 1] != '\\')) {
            Fail("unknown escape in string (only \\\" and \\\\ are known)");
          }
          ++i;
        }
        token.text += line[i];
      }
      ++i;
      if (i < line.size() && !IsBlank(line[i]) && line[i] != '#') {
        Fail("a closing quote must be followed by a space");
      }
    } else {
      for (; i < line.size() && !IsBlank(line[i]) && line[i] != '#'; ++i) {
        if (line[i] == '"') Fail("a quote inside a word");
        token.text += line[i];
      }
    }
    tokens.push_back(std::move(token));
  }
}

void TextParser::Directive(const std::vector<Token>& tokens) {
  const std::string& keyword = tokens[0].text;
  if (tokens[0].quoted) Fail("a line must start with a directive, not a string");
  if (!open_.empty() && keyword != "attr" && keyword != "end") {
    Fail(keyword + " inside iap (opened at line " + std::to_string(open_.back().line) +
         "), where only attr and end belong");
  }
  if (keyword == "attr") {
    AttrLine(tokens);
  } else if (keyword == "end") {
    ExpectCount(tokens, 1, "end");
    EndLine();
  } else if (keyword == "set") {
    ExpectCount(tokens, 1, "set");
    NotWith(payloadLine_, keyword, "payload-hex");
    NotWith(rawFileLine_, keyword, "raw-file-hex");
    if (recordsLine_ == 0) recordsLine_ = line_;
    sets_.emplace_back();
  } else if (keyword == "shape") {
    ShapeLine(tokens);
  } else if (keyword == "payload-hex") {
    Once(payloadLine_, keyword);
    NotWith(recordsLine_, keyword, "attr or set");
    NotWith(rawFileLine_, keyword, "raw-file-hex");
    payload_ = HexFrom(tokens, 1);
  } else if (keyword == "raw-file-hex") {
    Once(rawFileLine_, keyword);
    NotWith(recordsLine_, keyword, "attr or set");
    NotWith(payloadLine_, keyword, "payload-hex");
    NotWith(shapeLine_, keyword, "shape");
    rawFile_ = HexFrom(tokens, 1);
  } else if (keyword == "truncate") {
    TruncateLine(tokens);
  } else {
    Fail("unknown directive '" + keyword + "'");
  }
}

void TextParser::AttrLine(const std::vector<Token>& tokens) {
  if (tokens.size() < 4) Fail("usage: attr NUMBER VERSION TYPE [VALUE]");
  NotWith(payloadLine_, "attr", "payload-hex");
  NotWith(rawFileLine_, "attr", "raw-file-hex");
  if (recordsLine_ == 0) recordsLine_ = line_;
  const int64_t number = Int64(tokens[1], "attribute number");
  const int64_t version = Int64(tokens[2], "attribute version");
  const std::string& type = tokens[3].quoted ? std::string() : tokens[3].text;
  Bytes value;
  if (type == "int") {
    ExpectCount(tokens, 5, "attr NUMBER VERSION int N");
    value = IntValue(Int64(tokens[4], "int value"));
  } else if (type == "utf8" || type == "ia5") {
    ExpectCount(tokens, 5, "attr NUMBER VERSION utf8|ia5 \"text\"");
    if (!tokens[4].quoted) Fail(type + " needs a quoted string");
    value = type == "utf8" ? Utf8Value(tokens[4].text) : Ia5Value(tokens[4].text);
  } else if (type == "hex") {
    value = HexFrom(tokens, 4);
  } else if (type == "iap") {
    ExpectCount(tokens, 4, "attr NUMBER VERSION iap");
    open_.push_back({number, version, {}, line_});
    return;
  } else {
    Fail("unknown value type '" + tokens[3].text + "' (int, utf8, ia5, hex or iap)");
  }
  Records().push_back({number, version, std::move(value)});
}

void TextParser::EndLine() {
  if (open_.empty()) Fail("end without an open iap");
  OpenPurchase closed = std::move(open_.back());
  open_.pop_back();
  Records().push_back({closed.number, closed.version, PurchaseValue(closed.records)});
}

void TextParser::ShapeLine(const std::vector<Token>& tokens) {
  Once(shapeLine_, "shape");
  NotWith(rawFileLine_, "shape", "raw-file-hex");
  ExpectCount(tokens, 2, "shape receipt|outer-data|inner-not-data|detached");
  const std::string& name = tokens[1].quoted ? std::string() : tokens[1].text;
  if (name == "receipt") {
    shape_ = Shape::Receipt;
  } else if (name == "outer-data") {
    shape_ = Shape::OuterData;
  } else if (name == "inner-not-data") {
    shape_ = Shape::InnerNotData;
  } else if (name == "detached") {
    shape_ = Shape::Detached;
  } else {
    Fail("unknown shape '" + tokens[1].text +
         "' (receipt, outer-data, inner-not-data or detached)");
  }
}

void TextParser::TruncateLine(const std::vector<Token>& tokens) {
  Once(truncateLine_, "truncate");
  ExpectCount(tokens, 2, "truncate N");
  const std::string& text = tokens[1].text;
  size_t length = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), length);
  if (tokens[1].quoted || error != std::errc() || end != text.data() + text.size()) {
    Fail("truncate needs a byte count, not '" + text + "'");
  }
  truncate_ = length;
}

void TextParser::ExpectCount(const std::vector<Token>& tokens, size_t count,
                             const char* usage) const {
  if (tokens.size() != count) Fail(std::string("usage: ") + usage);
}

int64_t TextParser::Int64(const Token& token, const char* what) const {
  int64_t value = 0;
  const std::string& text = token.text;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (token.quoted || error != std::errc() || end != text.data() + text.size()) {
    Fail(std::string(what) + " must be a 64-bit decimal integer, not '" + text + "'");
  }
  return value;
}

Bytes TextParser::HexFrom(const std::vector<Token>& tokens, size_t first) const {
  std::string digits;
  for (size_t i = first; i < tokens.size(); ++i) {
    if (tokens[i].quoted) Fail("hex digits must not be quoted");
    digits += tokens[i].text;
  }
  try {
    return FromHex(digits);
  } catch (const std::invalid_argument& error) {
    Fail(error.what());
  }
}

void TextParser::Once(size_t& firstLine, const std::string& directive) {
  if (firstLine != 0) {
    Fail(directive + " given twice (first at line " + std::to_string(firstLine) + ")");
  }
  firstLine = line_;
}

void TextParser::NotWith(size_t otherLine, const std::string& directive, const char* other) const {
  if (otherLine != 0) {
    Fail(directive + " cannot be mixed with " + other + " (line " + std::to_string(otherLine) +
         ")");
  }
}

}  // namespace

// ---- DER

Bytes Length(size_t contentLength) {
  if (contentLength < 0x80) return {static_cast<uint8_t>(contentLength)};
  Bytes octets;
  for (size_t rest = contentLength; rest != 0; rest >>= 8) {
    octets.insert(octets.begin(), static_cast<uint8_t>(rest & 0xFF));
  }
  octets.insert(octets.begin(), static_cast<uint8_t>(0x80 | octets.size()));
  return octets;
}

Bytes Tlv(const Bytes& identifier, const Bytes& contents) {
  return Concat(identifier, Length(contents.size()), contents);
}

Bytes Tlv(uint8_t tag, const Bytes& contents) {
  return Tlv(Bytes{tag}, contents);
}

Bytes Integer(int64_t value) {
  const auto bits = static_cast<uint64_t>(value);
  Bytes octets(8);
  for (size_t i = 0; i < octets.size(); ++i) {
    octets[i] = static_cast<uint8_t>(bits >> (56 - 8 * i));
  }
  // A leading 0x00 or 0xFF is redundant while the next octet carries the same sign bit.
  size_t start = 0;
  while (start + 1 < octets.size() &&
         ((octets[start] == 0x00 && (octets[start + 1] & 0x80) == 0) ||
          (octets[start] == 0xFF && (octets[start + 1] & 0x80) != 0))) {
    ++start;
  }
  return Tlv(kTagInteger, Bytes(octets.begin() + static_cast<std::ptrdiff_t>(start), octets.end()));
}

Bytes Utf8(std::string_view text) {
  return Tlv(kTagUtf8String, Bytes(text.begin(), text.end()));
}
Bytes Ia5(std::string_view text) {
  return Tlv(kTagIa5String, Bytes(text.begin(), text.end()));
}
Bytes OctetString(const Bytes& contents) {
  return Tlv(kTagOctetString, contents);
}
Bytes Sequence(const Bytes& contents) {
  return Tlv(kTagSequence, contents);
}
Bytes Set(const Bytes& contents) {
  return Tlv(kTagSet, contents);
}

Bytes Record(int64_t number, int64_t version, const Bytes& valueContents) {
  return Sequence(Concat(Integer(number), Integer(version), OctetString(valueContents)));
}

Bytes FromHex(std::string_view hex) {
  Bytes out;
  int high = -1;
  for (const char c : hex) {
    if (c == ' ' || c == '\t') continue;
    const int digit = HexDigit(c);
    if (digit < 0) throw std::invalid_argument("'" + std::string(1, c) + "' is not a hex digit");
    if (high < 0) {
      high = digit;
    } else {
      out.push_back(static_cast<uint8_t>(high << 4 | digit));
      high = -1;
    }
  }
  if (high >= 0) throw std::invalid_argument("odd number of hex digits");
  return out;
}

// ---- Payloads

Bytes IntValue(int64_t value) {
  return Integer(value);
}
Bytes Utf8Value(std::string_view text) {
  return Utf8(text);
}
Bytes Ia5Value(std::string_view text) {
  return Ia5(text);
}
Bytes HexValue(std::string_view hex) {
  return FromHex(hex);
}
Bytes PurchaseValue(const std::vector<Attribute>& records) {
  return Payload(records);
}

Bytes Payload(const std::vector<Attribute>& attributes) {
  Bytes records;
  for (const Attribute& attribute : attributes) {
    Append(records, Record(attribute.number, attribute.version, attribute.value));
  }
  return Set(records);
}

// ---- The container

Bytes Sign(const Bytes& payload, Shape shape) {
  // Old errors left by someone else would end up in this call's message.
  ERR_clear_error();
  switch (shape) {
    case Shape::Receipt:
      return ToDer(SignedData(payload, 0).get());
    case Shape::OuterData:
      return ToDer(DataObject(payload).get());
    case Shape::InnerNotData:
      return ToDer(SignedAroundSignedData(payload).get());
    case Shape::Detached:
      return ToDer(SignedData(payload, PKCS7_DETACHED).get());
  }
  throw std::invalid_argument("ReceiptMaker::Sign: unknown shape " +
                              std::to_string(static_cast<int>(shape)));
}

Bytes Build(const Bytes& payload, const Options& options) {
  Bytes file = Sign(payload, options.shape);
  if (options.truncateTo) {
    if (*options.truncateTo >= file.size()) {
      throw std::invalid_argument("ReceiptMaker::Build: cannot truncate to " +
                                  std::to_string(*options.truncateTo) + " bytes a file of " +
                                  std::to_string(file.size()));
    }
    file.resize(*options.truncateTo);
  }
  return file;
}

Bytes BuildFromText(std::string_view text) {
  return TextParser().Run(text);
}

}  // namespace ReceiptMaker
