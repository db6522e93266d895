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
        const Bytes records = Payload(set);
        payload.insert(payload.end(), records.begin(), records.end());
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

Bytes BuildFromText(std::string_view text) {
  return TextParser().Run(text);
}

}  // namespace ReceiptMaker
