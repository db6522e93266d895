// Bytes as a receipt file: whatever they hold, ReadReceipt answers with a map, nil or
// NilObjectException, closes its stream, and hands out a map that keeps the invariants.

#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <span>
#include <string>

#include "fuzz/Invariants.h"
#include "receipts/CertTools.h"

namespace {

// A file of this process's own, removed again at exit.
struct ScratchFile {
  const std::filesystem::path path = std::filesystem::temp_directory_path() /
                                     ("quellmark-fuzz-" + std::to_string(getpid()) + ".receipt");
  ~ScratchFile() { std::filesystem::remove(path, ignored); }
  std::error_code ignored;
} scratch;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::ofstream(scratch.path, std::ios::binary)
      .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
  const auto streamsBefore = toolkit::BinaryStream::OpenStreams();
  try {
    const auto map = CertTools::ReadReceipt(toolkit::Ref<toolkit::FolderItem>::New(scratch.path));
    if (map) fuzzcheck::CheckMap(*map, std::span<const std::uint8_t>(data, size));
  } catch (const toolkit::NilObjectException&) {
    // A container whose payload is not an attribute set.
  }
  if (toolkit::BinaryStream::OpenStreams() != streamsBefore)
    fuzzcheck::Fail("a stream left open", "");
  return 0;
}
