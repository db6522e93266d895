// The text format that describes a whole receipt file, one directive a line.

#include <charconv>
#include <stdexcept>
#include <string>
#include <utility>

#include "tools/receiptmaker/ReceiptMaker.h"

namespace ReceiptMaker {
namespace {

struct Token {
  std::string text;
  bool quoted = false;
};

bool IsBlank(char c) {
  return c == ' ' || c == '\t' || c == '\r';
}

// A word of a fixed set of choices and what it stands for.
template <typename T>
struct Choice {
  const char* word;
  T value;
};

class TextParser {
 public:
  Bytes Run(std::string_view text, Bytes* trustedRoot);

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
  void SigningLine(const std::vector<Token>& tokens);
  void CertsLine(const std::vector<Token>& tokens);
  void CheckAtEnd() const;
  void NoteExtra(const std::string& keyword);

  template <typename T, size_t N>
  T Word(const Token& token, const Choice<T> (&choices)[N], const char* what) const;
  int64_t Time(const Token& token) const;

  void ExpectCount(const std::vector<Token>& tokens, size_t count, const char* usage) const;
  int64_t Int64(const Token& token, const char* what) const;
  size_t Count(const Token& token, const char* what) const;
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

  PkiOptions pki_;
  Options options_;
  std::optional<Bytes> deviceId_;
  size_t chainLine_ = 0;
  size_t keyLine_ = 0;
  size_t validLines_[3] = {};  // by Cert: leaf, intermediate, root
  size_t noOidLines_[2] = {};  // intermediate, leaf
  size_t notCaLine_ = 0;
  size_t certsLine_ = 0;
  size_t copiesLine_ = 0;
  size_t leafExtensionLine_ = 0;
  size_t digestLine_ = 0;
  size_t tamperLine_ = 0;
  size_t indefiniteLine_ = 0;
  size_t deviceHashLine_ = 0;
  // The first line of device-hash, certs or a signing directive, which raw-file-hex excludes.
  size_t extraLine_ = 0;
  std::string extraWord_;
};

constexpr Choice<Issuer> kIssuers[] = {{"test-root", Issuer::TestRoot},
                                       {"other-root", Issuer::OtherRoot},
                                       {"impostor-root", Issuer::ImpostorRoot},
                                       {"storekit", Issuer::StoreKit},
                                       {"loop", Issuer::Loop}};
constexpr Choice<KeyType> kKeyTypes[] = {{"rsa2048", KeyType::Rsa2048},
                                         {"ec-p256", KeyType::EcP256}};
constexpr Choice<Cert> kCerts[] = {
    {"leaf", Cert::Leaf}, {"intermediate", Cert::Intermediate}, {"root", Cert::Root}};
constexpr Choice<Cert> kOidCerts[] = {{"intermediate", Cert::Intermediate}, {"leaf", Cert::Leaf}};
constexpr Choice<Digest> kDigests[] = {{"sha1", Digest::Sha1}, {"sha256", Digest::Sha256}};
constexpr Choice<Tamper> kTampers[] = {{"content", Tamper::Content},
                                       {"signature", Tamper::Signature}};

Bytes TextParser::Run(std::string_view text, Bytes* trustedRoot) {
  while (!text.empty() || line_ == 0) {
    ++line_;
    const size_t newline = text.find('\n');
    const std::string_view line = text.substr(0, newline);
    text = newline == std::string_view::npos ? std::string_view() : text.substr(newline + 1);
    const std::vector<Token> tokens = Tokenize(line);
    if (!tokens.empty()) Directive(tokens);
  }
  if (!open_.empty()) FailAt(open_.back().line, "iap is never closed with end");
  CheckAtEnd();

  if (deviceId_) {
    try {
      SetDeviceHash(sets_.front(), *deviceId_);
    } catch (const std::invalid_argument&) {
      FailAt(deviceHashLine_, "device-hash needs attributes 4 and 2 in the first SET");
    }
  }
  std::optional<TestPki> pki;
  if (chainLine_ != 0) pki.emplace(pki_);
  if (trustedRoot != nullptr) *trustedRoot = pki ? pki->TrustedRoot() : Bytes();

  Bytes file;
  if (rawFile_) {
    file = *rawFile_;
  } else {
    Bytes payload;
    if (payload_) {
      payload = *payload_;
    } else {
      for (const std::vector<Attribute>& set : sets_) {
        const Bytes records = Payload(set);
        payload.insert(payload.end(), records.begin(), records.end());
      }
    }
    options_.shape = shape_;
    options_.pki = pki ? &*pki : nullptr;
    file = Build(payload, options_);
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
    NotWith(recordsLine_, keyword, "attr, set or purchases");
    NotWith(rawFileLine_, keyword, "raw-file-hex");
    NotWith(deviceHashLine_, keyword, "device-hash");
    payload_ = HexFrom(tokens, 1);
  } else if (keyword == "raw-file-hex") {
    Once(rawFileLine_, keyword);
    NotWith(recordsLine_, keyword, "attr, set or purchases");
    NotWith(payloadLine_, keyword, "payload-hex");
    NotWith(shapeLine_, keyword, "shape");
    NotWith(extraLine_, keyword, extraWord_.c_str());
    rawFile_ = HexFrom(tokens, 1);
  } else if (keyword == "truncate") {
    TruncateLine(tokens);
  } else if (keyword == "purchases") {
    ExpectCount(tokens, 2, "purchases N");
    NotWith(payloadLine_, keyword, "payload-hex");
    NotWith(rawFileLine_, keyword, "raw-file-hex");
    if (recordsLine_ == 0) recordsLine_ = line_;
    const int64_t count = Int64(tokens[1], "purchase count");
    if (count < 0) Fail("purchase count must not be negative");
    for (Attribute& purchase : Purchases(static_cast<size_t>(count)))
      Records().push_back(std::move(purchase));
  } else if (keyword == "device-hash") {
    NoteExtra(keyword);
    Once(deviceHashLine_, keyword);
    NotWith(payloadLine_, keyword, "payload-hex");
    NotWith(rawFileLine_, keyword, "raw-file-hex");
    if (tokens.size() < 2) Fail("usage: device-hash HEX");
    deviceId_ = HexFrom(tokens, 1);
  } else if (keyword == "certs") {
    CertsLine(tokens);
  } else if (keyword == "cert-copies") {
    CertsLine(tokens);
  } else if (keyword == "chain" || keyword == "key" || keyword == "valid" || keyword == "no-oid" ||
             keyword == "intermediate-not-ca" || keyword == "leaf-extension" ||
             keyword == "digest" || keyword == "tamper" || keyword == "indefinite") {
    SigningLine(tokens);
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

void TextParser::SigningLine(const std::vector<Token>& tokens) {
  const std::string& keyword = tokens[0].text;
  NotWith(rawFileLine_, keyword, "raw-file-hex");
  NoteExtra(keyword);
  if (keyword == "chain") {
    Once(chainLine_, keyword);
    ExpectCount(tokens, 2, "chain test-root|other-root|impostor-root|storekit|loop");
    pki_.issuer = Word(tokens[1], kIssuers, "chain");
  } else if (keyword == "key") {
    Once(keyLine_, keyword);
    ExpectCount(tokens, 2, "key rsa2048|ec-p256");
    pki_.key = Word(tokens[1], kKeyTypes, "key type");
  } else if (keyword == "valid") {
    ExpectCount(tokens, 4, "valid root|intermediate|leaf FROM TO");
    const Cert which = Word(tokens[1], kCerts, "certificate");
    Once(validLines_[static_cast<size_t>(which)], "valid " + tokens[1].text);
    Validity& validity = which == Cert::Root           ? pki_.root
                         : which == Cert::Intermediate ? pki_.intermediate
                                                       : pki_.leaf;
    validity = {Time(tokens[2]), Time(tokens[3])};
  } else if (keyword == "no-oid") {
    ExpectCount(tokens, 2, "no-oid intermediate|leaf");
    const Cert which = Word(tokens[1], kOidCerts, "certificate with an Apple extension");
    Once(noOidLines_[which == Cert::Leaf ? 1 : 0], "no-oid " + tokens[1].text);
    (which == Cert::Leaf ? pki_.leafOid : pki_.intermediateOid) = false;
  } else if (keyword == "intermediate-not-ca") {
    Once(notCaLine_, keyword);
    ExpectCount(tokens, 1, "intermediate-not-ca");
    pki_.intermediateIsCa = false;
  } else if (keyword == "leaf-extension") {
    Once(leafExtensionLine_, keyword);
    ExpectCount(tokens, 2, "leaf-extension N");
    pki_.leafExtensionBytes = Count(tokens[1], "extension byte count");
  } else if (keyword == "digest") {
    Once(digestLine_, keyword);
    ExpectCount(tokens, 2, "digest sha1|sha256");
    options_.digest = Word(tokens[1], kDigests, "digest");
  } else if (keyword == "tamper") {
    Once(tamperLine_, keyword);
    ExpectCount(tokens, 2, "tamper content|signature");
    options_.tamper = Word(tokens[1], kTampers, "tampering");
  } else {
    Once(indefiniteLine_, keyword);
    ExpectCount(tokens, 1, "indefinite");
    options_.indefinite = true;
  }
}

void TextParser::CertsLine(const std::vector<Token>& tokens) {
  if (tokens[0].text == "cert-copies") {
    Once(copiesLine_, "cert-copies");
    NotWith(rawFileLine_, "cert-copies", "raw-file-hex");
    NoteExtra("cert-copies");
    ExpectCount(tokens, 2, "cert-copies N");
    options_.certCopies = Count(tokens[1], "copy count");
    if (options_.certCopies == 0) Fail("cert-copies needs at least 1");
    return;
  }
  Once(certsLine_, "certs");
  NotWith(rawFileLine_, "certs", "raw-file-hex");
  NoteExtra("certs");
  std::vector<Cert> certs;
  for (size_t i = 1; i < tokens.size(); ++i) {
    certs.push_back(Word(tokens[i], kCerts, "certificate"));
  }
  options_.certs = std::move(certs);
}

void TextParser::NoteExtra(const std::string& keyword) {
  if (extraLine_ == 0) {
    extraLine_ = line_;
    extraWord_ = keyword;
  }
}

// What depends on lines that may come in any order.
void TextParser::CheckAtEnd() const {
  if (chainLine_ == 0) {
    for (const auto& [line, what] : {std::pair{keyLine_, "key"},
                                     {validLines_[0], "valid"},
                                     {validLines_[1], "valid"},
                                     {validLines_[2], "valid"},
                                     {noOidLines_[0], "no-oid"},
                                     {noOidLines_[1], "no-oid"},
                                     {notCaLine_, "intermediate-not-ca"},
                                     {leafExtensionLine_, "leaf-extension"}}) {
      if (line != 0) FailAt(line, std::string(what) + " needs a chain line");
    }
  }
  const bool leafOnly = chainLine_ == 0 || pki_.issuer == Issuer::StoreKit;
  if (leafOnly && options_.certs) {
    for (const Cert cert : *options_.certs) {
      if (cert != Cert::Leaf) {
        FailAt(certsLine_, chainLine_ == 0 ? "without a chain line the signer has no other "
                                             "certificate than its leaf"
                                           : "the StoreKit certificate stands alone");
      }
    }
  }
  if (shape_ == Shape::OuterData) {
    for (const auto& [line, what] : {std::pair{chainLine_, "chain"},
                                     {certsLine_, "certs"},
                                     {copiesLine_, "cert-copies"},
                                     {digestLine_, "digest"},
                                     {tamperLine_, "tamper"}}) {
      if (line != 0) {
        FailAt(line, std::string(what) + " does not go with shape outer-data (line " +
                         std::to_string(shapeLine_) + "), which is not signed");
      }
    }
  }
}

template <typename T, size_t N>
T TextParser::Word(const Token& token, const Choice<T> (&choices)[N], const char* what) const {
  std::string known;
  for (const Choice<T>& choice : choices) {
    if (!token.quoted && token.text == choice.word) return choice.value;
    known.append(known.empty() ? "" : ", ").append(choice.word);
  }
  Fail(std::string("unknown ").append(what) + " '" + token.text + "' (" + known + ")");
}

int64_t TextParser::Time(const Token& token) const {
  try {
    if (token.quoted) throw std::invalid_argument("a time must not be quoted");
    return UnixTime(token.text);
  } catch (const std::invalid_argument& error) {
    Fail(error.what());
  }
}

void TextParser::ExpectCount(const std::vector<Token>& tokens, size_t count,
                             const char* usage) const {
  if (tokens.size() != count) Fail(std::string("usage: ") + usage);
}

size_t TextParser::Count(const Token& token, const char* what) const {
  const int64_t count = Int64(token, what);
  if (count < 0) Fail(std::string(what) + " must not be negative");
  return static_cast<size_t>(count);
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

Bytes BuildFromText(std::string_view text, Bytes* trustedRoot) {
  return TextParser().Run(text, trustedRoot);
}

}  // namespace ReceiptMaker
