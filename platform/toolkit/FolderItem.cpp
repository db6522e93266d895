#include "platform/toolkit/FolderItem.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>
#include <string_view>
#include <system_error>

namespace toolkit {

namespace fs = std::filesystem;

namespace {

fs::file_status LinkStatus(const fs::path& p) {
  std::error_code ec;
  return fs::symlink_status(p, ec);
}

bool IsPlainName(const std::string& name) {
  return !name.empty() && name != "." && name != ".." && name.find('/') == std::string::npos;
}

fs::path WithoutEndSeparators(fs::path path) {
  const std::string& bytes = path.native();
  std::size_t end = bytes.size();
  while (end > 1 && bytes[end - 1] == '/')
    --end;
  return end == bytes.size() ? path : fs::path(bytes.substr(0, end));
}

}  // namespace

FolderItem::FolderItem(fs::path path) : path_(WithoutEndSeparators(std::move(path))) {}

fs::path ResolveAlias(const fs::path& path) {
  fs::path p = path;
  for (int hops = 0; hops < 40; ++hops) {
    std::error_code ec;
    if (!fs::is_symlink(LinkStatus(p))) return p;
    const fs::path target = fs::read_symlink(p, ec);
    if (ec) return p;
    p = (target.is_absolute() ? target : p.parent_path() / target).lexically_normal();
  }
  return p;
}

fs::path ExecutableFolder() {
  std::error_code ec;
  const fs::path exe = fs::read_symlink("/proc/self/exe", ec);
  return ec ? fs::current_path() : exe.parent_path();
}

Ref<FolderItem> GetFolderItem(const String& path, int pathType) {
  if (pathType != 0 || path.IsEmpty()) return nullptr;
  fs::path p(path.Bytes());
  if (p.is_relative()) p = ExecutableFolder() / p;
  p = WithoutEndSeparators(p.lexically_normal());  // "dir/" names dir
  std::error_code ec;
  if (p.has_relative_path() && !fs::is_directory(p.parent_path(), ec)) return nullptr;
  return Ref<FolderItem>::New(p);
}

Ref<FolderItem> GetTrueFolderItem(const String& path, int pathType) {
  // GetFolderItem never follows a link, so the true item is the one it finds.
  if (pathType != 0 && pathType != 3) return nullptr;
  return GetFolderItem(path, 0);
}

String FolderItem::URLPath() const {
  static constexpr std::string_view kPlain =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~!$&'()*+,;=:@/";
  static constexpr char kHex[] = "0123456789ABCDEF";
  std::string url = "file://";
  for (const char c : path_.string()) {
    if (kPlain.find(c) != std::string_view::npos) {
      url += c;
    } else {
      const auto byte = static_cast<unsigned char>(c);
      url += '%';
      url += kHex[byte >> 4];
      url += kHex[byte & 15];
    }
  }
  if (Directory() && url.back() != '/') url += '/';
  return String(url);
}

String FolderItem::Name() const {
  if (!path_.has_relative_path()) return String(path_.string());
  return String(path_.filename().string());
}

bool FolderItem::Exists() const {
  return fs::exists(LinkStatus(path_));
}

bool FolderItem::Directory() const {
  return fs::is_directory(LinkStatus(path_));
}

bool FolderItem::Alias() const {
  return fs::is_symlink(LinkStatus(path_));
}

std::int64_t FolderItem::Length() const {
  std::error_code ec;
  if (!fs::is_regular_file(path_, ec)) return 0;
  const auto size = fs::file_size(path_, ec);
  return ec ? 0 : static_cast<std::int64_t>(size);
}

Ref<FolderItem> FolderItem::Parent() const {
  if (!path_.has_relative_path()) return nullptr;
  return Ref<FolderItem>::New(path_.parent_path());
}

Ref<FolderItem> FolderItem::Child(const String& name, bool followAlias) const {
  if (!IsPlainName(name.Bytes()) || !Directory()) return nullptr;
  fs::path child = path_ / name.Bytes();
  if (followAlias) child = ResolveAlias(child);
  return Ref<FolderItem>::New(std::move(child));
}

const std::vector<fs::path>& FolderItem::Entries() const {
  std::vector<fs::path> names;
  std::error_code ec;
  if (Directory()) {
    for (fs::directory_iterator it(path_, ec), end; !ec && it != end; it.increment(ec)) {
      names.push_back(it->path().filename());
    }
  }
  std::sort(names.begin(), names.end(),
            [](const fs::path& a, const fs::path& b) { return a.native() < b.native(); });
  entries_ = std::move(names);
  return *entries_;
}

std::int64_t FolderItem::Count() const {
  return static_cast<std::int64_t>(Entries().size());
}

Ref<FolderItem> FolderItem::TrueItem(std::int64_t index) const {
  const auto& names = entries_ ? *entries_ : Entries();
  if (index < 1 || index > static_cast<std::int64_t>(names.size())) return nullptr;
  return Ref<FolderItem>::New(path_ / names[static_cast<std::size_t>(index - 1)]);
}

Ref<FolderItem> FolderItem::Item(std::int64_t index) const {
  auto item = TrueItem(index);
  if (item && item->Alias()) return Ref<FolderItem>::New(ResolveAlias(item->Path()));
  return item;
}

Ref<BinaryStream> BinaryStream::Open(const Ref<FolderItem>& file, bool readWrite) {
  const fs::path& path = file->Path();  // nil raises NilObjectException
  // Only a regular file is read: a FIFO would block the open until a writer comes and a
  // device such as /dev/zero never ends. The open doesn't wait (O_NONBLOCK), and what it
  // opened is judged by its descriptor, so nothing can take the item's place between the
  // look and the open.
  const int fd =
      ::open(path.c_str(), (readWrite ? O_RDWR : O_RDONLY) | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
  if (fd < 0) {
    const int error = errno;
    throw IOException("can't open \"" + path.string() + "\": " + std::strerror(error), error);
  }
  const auto refuse = [&](const std::string& why, int error) {
    ::close(fd);
    throw IOException("\"" + path.string() + "\" " + why, error);
  };
  struct stat st {};
  if (::fstat(fd, &st) != 0) refuse(std::strerror(errno), errno);
  if (S_ISDIR(st.st_mode)) refuse("is a folder", EISDIR);
  if (!S_ISREG(st.st_mode)) refuse("is not a regular file", ENXIO);
  const int flags = ::fcntl(fd, F_GETFL);
  if (flags < 0 || ::fcntl(fd, F_SETFL, flags & ~O_NONBLOCK) != 0)
    refuse(std::strerror(errno), errno);
  std::FILE* f = ::fdopen(fd, readWrite ? "r+b" : "rb");
  if (f == nullptr) refuse(std::strerror(errno), errno);
  return Ref<BinaryStream>::New(f);
}

std::uintptr_t BinaryStream::Handle(int type) const {
  if (type != HandleTypeFilePointer || file_ == nullptr) return 0;
  return reinterpret_cast<std::uintptr_t>(file_);
}

void BinaryStream::Close() {
  if (file_ == nullptr) return;
  std::fclose(file_);
  file_ = nullptr;
  --openStreams_;
}

}  // namespace toolkit
