#include "platform/cf/CFURL.h"

#include <sys/stat.h>
#include <unistd.h>
#include <uriparser/Uri.h>

#include <strings.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "platform/cf/CFString.h"
#include "platform/cf/Runtime.h"

struct OpaqueCFURL : cf::Object {
  static constexpr CFTypeID kTypeID = cf::kURLTypeID;

  // Takes over the count on `s` and on `b`.
  OpaqueCFURL(std::string t, CFStringRef s, CFURLRef b)
      : Object(kTypeID), text(std::move(t)), string(s), base(b) {}
  OpaqueCFURL(const OpaqueCFURL&) = delete;
  OpaqueCFURL& operator=(const OpaqueCFURL&) = delete;
  ~OpaqueCFURL() {
    CFRelease(string);
    if (base != nullptr) CFRelease(base);
  }

  const std::string text;
  const CFStringRef string;
  const CFURLRef base;
};

namespace cf {

namespace {

// A text parsed by uriparser; the ranges point into the text, which must outlive this.
class Parsed {
 public:
  explicit Parsed(std::string_view text) {
    const char* errorPos = nullptr;
    ok_ = uriParseSingleUriExA(&uri_, text.data(), text.data() + text.size(), &errorPos) ==
          URI_SUCCESS;
  }
  Parsed(const Parsed&) = delete;
  Parsed& operator=(const Parsed&) = delete;
  ~Parsed() { uriFreeUriMembersA(&uri_); }

  bool ok() const { return ok_; }
  const UriUriA& uri() const { return uri_; }

 private:
  UriUriA uri_{};
  bool ok_ = false;
};

std::optional<std::string> RangeText(const UriTextRangeA& range) {
  if (range.first == nullptr) return std::nullopt;
  return std::string(range.first, range.afterLast);
}

int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// Replaces each well-formed %XX by its byte, except the bytes in `keep`.
std::string Unescape(std::string_view text, std::string_view keep = {}) {
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%' && i + 2 < text.size() && HexDigit(text[i + 1]) >= 0 &&
        HexDigit(text[i + 2]) >= 0) {
      const char byte = static_cast<char>(HexDigit(text[i + 1]) * 16 + HexDigit(text[i + 2]));
      if (keep.find(byte) == std::string_view::npos) {
        out += byte;
        i += 2;
        continue;
      }
    }
    out += text[i];
  }
  return out;
}

// Escapes every byte that may not stand as it is in a path.
std::string EscapePath(std::string_view text, bool keepSlash) {
  static constexpr std::string_view kPlain =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~!$&'()*+,;=:@";
  static constexpr char kHex[] = "0123456789ABCDEF";
  std::string out;
  for (const char c : text) {
    if (kPlain.find(c) != std::string_view::npos || (keepSlash && c == '/')) {
      out += c;
    } else {
      const auto byte = static_cast<unsigned char>(c);
      out += '%';
      out += kHex[byte >> 4];
      out += kHex[byte & 15];
    }
  }
  return out;
}

// The path as its segments give it, escaped; "/" first for an absolute path or one after a
// host.
std::string PathOf(const UriUriA& uri) {
  std::string path;
  if (uri.absolutePath || uri.hostText.first != nullptr) path = "/";
  for (const UriPathSegmentA* segment = uri.pathHead; segment != nullptr; segment = segment->next) {
    if (segment != uri.pathHead) path += '/';
    path.append(segment->text.first, segment->text.afterLast);
  }
  return path;
}

OpaqueCFURL* NewURL(std::string text, CFURLRef base) {
  if (!Parsed(text).ok()) return nullptr;
  if (base != nullptr) CFRetain(base);
  CFStringRef string = MakeString(text);
  return Publish(new OpaqueCFURL(std::move(text), string, base));
}

// The text of the URL resolved against its base. Empty when the two don't resolve.
std::string AbsoluteText(const OpaqueCFURL& url) {
  if (url.base == nullptr) return url.text;
  const std::string baseText = AbsoluteText(*static_cast<const OpaqueCFURL*>(Find(url.base)));
  const Parsed relative(url.text);
  const Parsed base(baseText);
  if (!relative.ok() || !base.ok()) return {};
  if (relative.uri().scheme.first != nullptr) return url.text;
  UriUriA resolved{};
  std::string text;
  if (uriAddBaseUriA(&resolved, &relative.uri(), &base.uri()) == URI_SUCCESS) {
    int size = 0;
    if (uriToStringCharsRequiredA(&resolved, &size) == URI_SUCCESS) {
      std::string buffer(static_cast<std::size_t>(size) + 1, '\0');
      if (uriToStringA(buffer.data(), &resolved, size + 1, nullptr) == URI_SUCCESS) {
        text = buffer.c_str();
      }
    }
  }
  uriFreeUriMembersA(&resolved);
  return text;
}

// A component of the resolved URL, through `pick`.
template <class Pick>
CFStringRef CopyComponent(CFURLRef ref, std::string_view function, Pick pick) {
  const auto* url = Cast<OpaqueCFURL>(ref, function);
  if (url == nullptr) return nullptr;
  const std::string text = AbsoluteText(*url);
  const Parsed parsed(text);
  if (!parsed.ok()) return nullptr;
  const std::optional<std::string> component = pick(parsed.uri());
  if (!component) return nullptr;
  // Unescaped bytes need not be text: such a component is refused.
  return CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(component->data()),
                                 static_cast<CFIndex>(component->size()), kCFStringEncodingUTF8,
                                 false);
}

// The file-system path of the URL, resolved or on its own; nothing where it has none.
std::optional<std::string> PathFor(const OpaqueCFURL& url, bool resolveAgainstBase) {
  const std::string text = resolveAgainstBase ? AbsoluteText(url) : url.text;
  const Parsed parsed(text);
  if (!parsed.ok()) return std::nullopt;
  const auto scheme = RangeText(parsed.uri().scheme);
  if (scheme) {
    if (scheme->size() != 4 || strncasecmp(scheme->c_str(), "file", 4) != 0) return std::nullopt;
  } else if (resolveAgainstBase) {
    return std::nullopt;  // a relative URL with no base has no place in the file system
  }
  std::string path = Unescape(PathOf(parsed.uri()));
  if (path.size() > 1 && path.back() == '/') path.pop_back();
  if (path.empty() || path.find('\0') != std::string::npos) return std::nullopt;
  return path;
}

// The text of a "file" URL of an absolute path.
std::string FileURLText(std::string_view path, bool isDirectory) {
  std::string text = "file://" + EscapePath(path, true);
  if (isDirectory && text.back() != '/') text += '/';
  return text;
}

// What an FSRef holds here: a mark, and the device and inode of the item, whose path the
// table below remembers.
constexpr char kFSRefMark[8] = {'q', 'm', 'F', 'S', 'R', 'e', 'f', '1'};
struct FSRefContents {
  char mark[8];
  std::uint64_t device;
  std::uint64_t inode;
};
static_assert(sizeof(FSRefContents) <= sizeof(FSRef));

// The last path seen of each item that an FSRef was made for.
std::map<std::pair<std::uint64_t, std::uint64_t>, std::string>& FSRefPaths() {
  static auto* const paths = new std::map<std::pair<std::uint64_t, std::uint64_t>, std::string>;
  return *paths;
}

bool URLEqual(const Object& a, const Object& b) {
  const auto& x = static_cast<const OpaqueCFURL&>(a);
  const auto& y = static_cast<const OpaqueCFURL&>(b);
  if (x.text != y.text) return false;
  if (x.base == nullptr || y.base == nullptr) return x.base == y.base;
  return CFEqual(x.base, y.base);
}

CFHashCode URLHash(const Object& object) {
  const auto& url = static_cast<const OpaqueCFURL&>(object);
  return HashBytes(url.text.data(), url.text.size());
}

std::string URLContents(const Object& object) {
  const auto& url = static_cast<const OpaqueCFURL&>(object);
  const Object* base = url.base != nullptr ? Find(url.base) : nullptr;
  return Join({"string = ", url.text, ", base = ", base != nullptr ? Describe(*base) : "(null)"});
}

}  // namespace

const OpaqueCFURL* NewRelativeFileURL(std::string_view path, bool isDirectory,
                                      const OpaqueCFURL* base) {
  std::string text = EscapePath(path, true);
  // A first segment with a ":" would read as a scheme.
  const std::size_t colon = text.find(':');
  if (colon != std::string::npos && colon < text.find('/')) text.insert(0, "./");
  if (isDirectory && text.back() != '/') text += '/';
  return NewURL(std::move(text), base);
}

std::optional<std::string> FileSystemPathOf(const OpaqueCFURL* url) {
  return PathFor(*url, true);
}

extern const ClassRecord kURLClass = {"CFURL", Finalize<OpaqueCFURL>, URLEqual, URLHash,
                                      URLContents};

}  // namespace cf

using cf::Cast;
using cf::CountCall;
using cf::Refuse;

extern "C" {

CFTypeID CFURLGetTypeID(void) {
  CountCall();
  return cf::kURLTypeID;
}

CFURLRef CFURLCreateWithString(CFAllocatorRef, CFStringRef URLString, CFURLRef baseURL) {
  CountCall();
  if (cf::Expect(URLString, cf::kStringTypeID, "CFURLCreateWithString") == nullptr) return nullptr;
  if (baseURL != nullptr && Cast<OpaqueCFURL>(baseURL, "CFURLCreateWithString") == nullptr) {
    return nullptr;
  }
  return cf::NewURL(cf::UTF8Of(URLString), baseURL);
}

CFURLRef CFURLCreateWithFileSystemPath(CFAllocatorRef, CFStringRef filePath,
                                       CFURLPathStyle pathStyle, Boolean isDirectory) {
  CountCall();
  if (cf::Expect(filePath, cf::kStringTypeID, "CFURLCreateWithFileSystemPath") == nullptr) {
    return nullptr;
  }
  std::string path = cf::UTF8Of(filePath);
  if (pathStyle != kCFURLPOSIXPathStyle || path.empty()) return nullptr;
  if (path.front() != '/') {
    char* folder = getcwd(nullptr, 0);
    if (folder == nullptr) return nullptr;
    std::string prefix = folder;
    std::free(folder);
    if (prefix.empty() || prefix.back() != '/') prefix += '/';
    path = prefix + path;
  }
  return cf::NewURL(cf::FileURLText(path, isDirectory), nullptr);
}

CFURLRef CFURLCopyAbsoluteURL(CFURLRef relativeURL) {
  CountCall();
  const auto* url = Cast<OpaqueCFURL>(relativeURL, "CFURLCopyAbsoluteURL");
  if (url == nullptr) return nullptr;
  std::string text = cf::AbsoluteText(*url);
  return text.empty() && !url->text.empty() ? nullptr : cf::NewURL(std::move(text), nullptr);
}

CFURLRef CFURLCreateCopyAppendingPathComponent(CFAllocatorRef, CFURLRef url,
                                               CFStringRef pathComponent, Boolean isDirectory) {
  CountCall();
  const auto* u = Cast<OpaqueCFURL>(url, "CFURLCreateCopyAppendingPathComponent");
  if (u == nullptr || cf::Expect(pathComponent, cf::kStringTypeID,
                                 "CFURLCreateCopyAppendingPathComponent") == nullptr) {
    return nullptr;
  }
  // The component goes between the path and any query or fragment.
  const std::size_t end = u->text.find_first_of("?#");
  std::string text = u->text.substr(0, end);
  if (text.empty() || text.back() != '/') text += '/';
  text += cf::EscapePath(cf::UTF8Of(pathComponent), true);
  if (isDirectory && text.back() != '/') text += '/';
  if (end != std::string::npos) text += u->text.substr(end);
  return cf::NewURL(std::move(text), u->base);
}

CFStringRef CFURLGetString(CFURLRef anURL) {
  CountCall();
  const auto* url = Cast<OpaqueCFURL>(anURL, "CFURLGetString");
  return url != nullptr ? url->string : nullptr;
}

CFURLRef CFURLGetBaseURL(CFURLRef anURL) {
  CountCall();
  const auto* url = Cast<OpaqueCFURL>(anURL, "CFURLGetBaseURL");
  return url != nullptr ? url->base : nullptr;
}

Boolean CFURLCanBeDecomposed(CFURLRef anURL) {
  CountCall();
  const auto* url = Cast<OpaqueCFURL>(anURL, "CFURLCanBeDecomposed");
  if (url == nullptr) return false;
  const std::string text = cf::AbsoluteText(*url);
  const cf::Parsed parsed(text);
  if (!parsed.ok()) return false;
  const UriUriA& uri = parsed.uri();
  return uri.scheme.first == nullptr || uri.hostText.first != nullptr || uri.absolutePath;
}

CFStringRef CFURLCopyScheme(CFURLRef anURL) {
  CountCall();
  return cf::CopyComponent(anURL, "CFURLCopyScheme",
                           [](const UriUriA& uri) { return cf::RangeText(uri.scheme); });
}

CFStringRef CFURLCopyNetLocation(CFURLRef anURL) {
  CountCall();
  return cf::CopyComponent(
      anURL, "CFURLCopyNetLocation", [](const UriUriA& uri) -> std::optional<std::string> {
        // "file:///p" has an empty authority, which the platform gives as none.
        if (uri.hostText.first == uri.hostText.afterLast && uri.userInfo.first == nullptr &&
            uri.portText.first == nullptr) {
          return std::nullopt;
        }
        // From the user to the port, brackets of an IPv6 host included.
        const char* first = uri.userInfo.first != nullptr ? uri.userInfo.first : uri.hostText.first;
        const bool bracketed =
            uri.hostData.ip6 != nullptr || uri.hostData.ipFuture.first != nullptr;
        if (uri.userInfo.first == nullptr && bracketed) --first;
        const char* last =
            uri.portText.first != nullptr ? uri.portText.afterLast : uri.hostText.afterLast;
        if (uri.portText.first == nullptr && bracketed) ++last;
        return std::string(first, last);
      });
}

CFStringRef CFURLCopyUserName(CFURLRef anURL) {
  CountCall();
  return cf::CopyComponent(anURL, "CFURLCopyUserName",
                           [](const UriUriA& uri) -> std::optional<std::string> {
                             const auto info = cf::RangeText(uri.userInfo);
                             if (!info) return std::nullopt;
                             return cf::Unescape(info->substr(0, info->find(':')));
                           });
}

CFStringRef CFURLCopyPassword(CFURLRef anURL) {
  CountCall();
  return cf::CopyComponent(anURL, "CFURLCopyPassword",
                           [](const UriUriA& uri) -> std::optional<std::string> {
                             const auto info = cf::RangeText(uri.userInfo);
                             if (!info || info->find(':') == std::string::npos) {
                               return std::nullopt;
                             }
                             return cf::Unescape(info->substr(info->find(':') + 1));
                           });
}

CFStringRef CFURLCopyHostName(CFURLRef anURL) {
  CountCall();
  return cf::CopyComponent(anURL, "CFURLCopyHostName",
                           [](const UriUriA& uri) -> std::optional<std::string> {
                             const auto host = cf::RangeText(uri.hostText);
                             if (!host || host->empty()) return std::nullopt;
                             return cf::Unescape(*host);
                           });
}

CFStringRef CFURLCopyQueryString(CFURLRef anURL, CFStringRef charactersToLeaveEscaped) {
  CountCall();
  if (charactersToLeaveEscaped != nullptr &&
      cf::Expect(charactersToLeaveEscaped, cf::kStringTypeID, "CFURLCopyQueryString") == nullptr) {
    return nullptr;
  }
  const std::optional<std::string> keep =
      charactersToLeaveEscaped != nullptr
          ? std::optional<std::string>(cf::UTF8Of(charactersToLeaveEscaped))
          : std::nullopt;
  return cf::CopyComponent(anURL, "CFURLCopyQueryString",
                           [&keep](const UriUriA& uri) -> std::optional<std::string> {
                             const auto query = cf::RangeText(uri.query);
                             if (!query || !keep) return query;
                             return cf::Unescape(*query, *keep);
                           });
}

SInt32 CFURLGetPortNumber(CFURLRef anURL) {
  CountCall();
  const auto* url = Cast<OpaqueCFURL>(anURL, "CFURLGetPortNumber");
  if (url == nullptr) return -1;
  const std::string text = cf::AbsoluteText(*url);
  const cf::Parsed parsed(text);
  const auto port = parsed.ok() ? cf::RangeText(parsed.uri().portText) : std::nullopt;
  // The parser takes only digits as a port; more than fit in 32 bits is no port.
  if (!port || port->empty() || port->size() > 9) return -1;
  return static_cast<SInt32>(std::stol(*port));
}

Boolean CFURLGetFileSystemRepresentation(CFURLRef url, Boolean resolveAgainstBase, UInt8* buffer,
                                         CFIndex maxBufLen) {
  CountCall();
  const auto* u = Cast<OpaqueCFURL>(url, "CFURLGetFileSystemRepresentation");
  if (u == nullptr) return false;
  if (buffer == nullptr || maxBufLen < 0) {
    Refuse("CFURLGetFileSystemRepresentation", "no buffer");
    return false;
  }
  const std::optional<std::string> path = cf::PathFor(*u, resolveAgainstBase);
  if (!path || static_cast<std::size_t>(maxBufLen) < path->size() + 1) return false;
  std::memcpy(buffer, path->c_str(), path->size() + 1);
  return true;
}

Boolean CFURLGetFSRef(CFURLRef url, FSRef* fsRef) {
  CountCall();
  const auto* u = Cast<OpaqueCFURL>(url, "CFURLGetFSRef");
  if (u == nullptr) return false;
  if (fsRef == nullptr) {
    Refuse("CFURLGetFSRef", "no FSRef");
    return false;
  }
  const std::optional<std::string> path = cf::PathFor(*u, true);
  struct stat status {};
  if (!path || lstat(path->c_str(), &status) != 0) return false;
  cf::FSRefContents contents{};
  std::memcpy(contents.mark, cf::kFSRefMark, sizeof contents.mark);
  contents.device = static_cast<std::uint64_t>(status.st_dev);
  contents.inode = static_cast<std::uint64_t>(status.st_ino);
  cf::FSRefPaths()[{contents.device, contents.inode}] = *path;
  *fsRef = FSRef{};
  std::memcpy(fsRef->hidden, &contents, sizeof contents);
  return true;
}

CFURLRef CFURLCreateFromFSRef(CFAllocatorRef, const FSRef* fsRef) {
  CountCall();
  if (fsRef == nullptr) {
    Refuse("CFURLCreateFromFSRef", "no FSRef");
    return nullptr;
  }
  cf::FSRefContents contents{};
  std::memcpy(&contents, fsRef->hidden, sizeof contents);
  if (std::memcmp(contents.mark, cf::kFSRefMark, sizeof contents.mark) != 0) return nullptr;
  const auto found = cf::FSRefPaths().find({contents.device, contents.inode});
  if (found == cf::FSRefPaths().end()) return nullptr;
  // The item must still be where it was seen: this stand-in doesn't follow moves.
  struct stat status {};
  if (lstat(found->second.c_str(), &status) != 0 ||
      static_cast<std::uint64_t>(status.st_dev) != contents.device ||
      static_cast<std::uint64_t>(status.st_ino) != contents.inode) {
    return nullptr;
  }
  return cf::NewURL(cf::FileURLText(found->second, S_ISDIR(status.st_mode)), nullptr);
}

}  // extern "C"
