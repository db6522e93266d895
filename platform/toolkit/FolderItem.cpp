#include "platform/toolkit/FolderItem.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <memory>
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
  if (end == bytes.size()) return path;  // moved out, not copied
  return fs::path(bytes.substr(0, end));
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

namespace {

// A descriptor as the stream functions of a FILE (fopencookie). Such a FILE costs no system call
// of its own, where fdopen asks for the descriptor's flags; its reads and writes are those of the
// descriptor, without the lookup of a block size that stdio makes before its first read.
int DescriptorOf(void* cookie) {
  return static_cast<int>(reinterpret_cast<std::intptr_t>(cookie));
}
ssize_t ReadDescriptor(void* cookie, char* buffer, std::size_t size) {
  return ::read(DescriptorOf(cookie), buffer, size);
}
ssize_t WriteDescriptor(void* cookie, const char* buffer, std::size_t size) {
  const ssize_t written = ::write(DescriptorOf(cookie), buffer, size);
  return written < 0 ? 0 : written;  // stdio takes 0, never a negative count, for an error
}
int SeekDescriptor(void* cookie, off64_t* offset, int whence) {
  const off64_t at = ::lseek64(DescriptorOf(cookie), *offset, whence);
  if (at < 0) return -1;
  *offset = at;
  return 0;
}
int CloseDescriptor(void* cookie) {
  return ::close(DescriptorOf(cookie));
}

// A file's stream buffer holds the whole file up to this size, so that reading a receipt is one
// read; a file smaller than stdio's own buffer gets that.
constexpr std::size_t kLargestBuffer = std::size_t{1} << 20;

}  // namespace

Ref<BinaryStream> BinaryStream::Open(const Ref<FolderItem>& file, bool readWrite) {
  const fs::path& path = file->Path();  // nil raises NilObjectException
  // Only a regular file is read: a FIFO would block the open until a writer comes and a
  // device such as /dev/zero never ends. The open doesn't wait (O_NONBLOCK), and what it
  // opened is judged by its descriptor, so nothing can take the item's place between the
  // look and the open. O_NONBLOCK stays on: reads and writes of a regular file don't wait for
  // it anyway, and one that would (a kernel file of /proc) fails rather than hangs.
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
  const cookie_io_functions_t functions{ReadDescriptor, WriteDescriptor, SeekDescriptor,
                                        CloseDescriptor};
  std::FILE* f = ::fopencookie(reinterpret_cast<void*>(static_cast<std::intptr_t>(fd)),
                               readWrite ? "r+" : "r", functions);
  if (f == nullptr) refuse(std::strerror(errno), errno);
  const std::size_t size =
      std::clamp(static_cast<std::size_t>(st.st_size), std::size_t{BUFSIZ}, kLargestBuffer);
  auto buffer = std::make_unique_for_overwrite<char[]>(size);
  std::setvbuf(f, buffer.get(), _IOFBF, size);
  return Ref<BinaryStream>::New(f, std::move(buffer), static_cast<std::int64_t>(st.st_size));
}

std::uintptr_t BinaryStream::Handle(int type) const {
  if (type != HandleTypeFilePointer || file_ == nullptr) return 0;
  return reinterpret_cast<std::uintptr_t>(file_);
}

void BinaryStream::Close() {
  if (file_ == nullptr) return;
  std::fclose(file_);
  file_ = nullptr;
  buffer_.reset();
  --openStreams_;
}

}  // namespace toolkit
