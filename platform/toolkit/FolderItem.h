#pragma once

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <vector>

#include "platform/toolkit/Ref.h"
#include "platform/toolkit/String.h"

namespace toolkit {

// A file-system item by its path. The item need not exist: `Exists` tells. Aliases are
// symbolic links: an item made without following aliases is the link itself (`Alias` true),
// and `Child(name, true)` gives the item that a link leads to.
class FolderItem : public Object {
 public:
  // Separators at the end of `path` are dropped ("/a/Good.app/" is the item "Good.app" in
  // "/a"), so that Name and Parent read the same however a folder was written. The path's
  // bytes are kept as they are, whether or not they are UTF-8.
  explicit FolderItem(std::filesystem::path path);

  const std::filesystem::path& Path() const { return path_; }
  String NativePath() const { return String(path_.string()); }
  // The item's name with its extension; for the root folder, "/".
  String Name() const;

  // Whether something is there. A link counts as there even when its target is not.
  bool Exists() const;
  // Whether the item is a folder. A link is not a folder, whatever it leads to.
  bool Directory() const;
  // Whether the item is an alias, which here is a symbolic link.
  bool Alias() const;
  // The item as a "file" URL: the path with every byte escaped that a URL path may not hold,
  // and a "/" at the end for a folder.
  String URLPath() const;
  // The size in bytes of a file; 0 for a folder or a missing item.
  std::int64_t Length() const;

  // The containing folder, or nil for the root.
  Ref<FolderItem> Parent() const;
  // The item of that name in this folder; with `followAlias` the item that a link of that
  // name leads to. Nil when this item is not a folder or `name` is empty, "." or "..", or
  // holds a "/". The result may not exist.
  Ref<FolderItem> Child(const String& name, bool followAlias = true) const;

  // The number of entries of a folder (0 for anything else). Each call reads the folder anew.
  std::int64_t Count() const;
  // The entry at `index`, counted from 1 in byte order of the names, so that the same folder
  // lists the same way every time; links are followed. Nil outside 1..Count. The order is that
  // of the last Count, or of a fresh read when Count was never called.
  Ref<FolderItem> Item(std::int64_t index) const;
  // Like Item, but a link stays the link itself.
  Ref<FolderItem> TrueItem(std::int64_t index) const;

 private:
  const std::vector<std::filesystem::path>& Entries() const;
  std::filesystem::path path_;
  mutable std::optional<std::vector<std::filesystem::path>> entries_;
};

// The item that `path` names, following a link at its end to where it leads (through at
// most 40 links). A path that leads nowhere stays as it is.
std::filesystem::path ResolveAlias(const std::filesystem::path& path);

// The folder that holds the running executable.
std::filesystem::path ExecutableFolder();

// The item for `path`. An absolute path is taken as it stands; a relative one is resolved
// against the folder of the executable. Nil for an empty path, or when the folder that
// would hold the item does not exist. `pathType` 0 is the native path form, the only one.
Ref<FolderItem> GetFolderItem(const String& path, int pathType = 0);

// The item for `path` as GetFolderItem finds it, a link at its end staying the link itself.
// `pathType` is 0 or 3, the native path form under its two names; nil for any other.
Ref<FolderItem> GetTrueFolderItem(const String& path, int pathType = 3);

// An open file. The stream owns its handle and closes it when it is closed or dies.
class BinaryStream : public Object {
 public:
  // The C FILE* of the stream, for a Handle type of 2.
  static constexpr int HandleTypeFilePointer = 2;

  // Opens `file` for reading, or for reading and writing when `readWrite` is true. Raises
  // NilObjectException for a nil file, IOException when the item is not a regular file (a
  // folder, FIFO, socket or device, or a link to one) or can't be opened. Never waits.
  static Ref<BinaryStream> Open(const Ref<FolderItem>& file, bool readWrite = false);

  // `buffer`, when given, is the buffer that `file` was set to use; it goes when the file is
  // closed. `length` is the file's size in bytes when it was opened.
  explicit BinaryStream(std::FILE* file, std::unique_ptr<char[]> buffer = nullptr,
                        std::int64_t length = 0)
      : file_(file), buffer_(std::move(buffer)), length_(length) {
    if (file_ != nullptr) ++openStreams_;  // Close only counts down a stream that was open
  }
  ~BinaryStream() override { Close(); }

  // The stream's handle of the given type: for type 2 the C FILE* of the open file as an
  // integer. 0 for any other type or once the stream is closed. A FILE of Open reads and writes
  // through a descriptor that it keeps to itself: fileno() gives -1 for it.
  std::uintptr_t Handle(int type) const;
  void Close();
  bool IsOpen() const { return file_ != nullptr; }
  // The size of the file in bytes as Open found it, before anything was read; it stays when the
  // stream is closed.
  std::int64_t Length() const { return length_; }

  // How many streams are open in this process, on any thread; tests use it to prove that every
  // stream a reader opened was closed.
  static std::int64_t OpenStreams() { return openStreams_.load(); }

 private:
  std::FILE* file_;
  std::unique_ptr<char[]> buffer_;
  std::int64_t length_;
  // Streams are opened and closed on the threads that read drops, all at once.
  static inline std::atomic<std::int64_t> openStreams_ = 0;
};

}  // namespace toolkit
