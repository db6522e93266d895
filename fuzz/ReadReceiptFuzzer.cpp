// Bytes as a receipt file: whatever they hold, ReadReceipt answers with a map, nil or
// NilObjectException, closes its stream, and hands out a map that keeps the invariants.

#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <span>
#include <string>

#include "fuzz/Invariants.h"
#include "receipts/CertTools.h"

namespace {

const std::filesystem::path& ScratchFile() {
  static const std::filesystem::path path =
      std::filesystem::temp_directory_path() /
      ("quellmark-fuzz-" + std::to_string(getpid()) + ".receipt");
  return path;
}

struct RemoveAtExit {
  ~RemoveAtExit() {
    std::error_code ec;
    std::filesystem::remove(ScratchFile(), ec);
  }
} removeAtExit;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  {
    std::FILE* f = std::fopen(ScratchFile().c_str(), "wb");
    if (f == nullptr) std::abort();
    if (size > 0 && std::fwrite(data, 1, size, f) != size) std::abort();
    std::fclose(f);
  }
  const auto streamsBefore = toolkit::BinaryStream::OpenStreams();
  try {
    const auto map = CertTools::ReadReceipt(toolkit::Ref<toolkit::FolderItem>::New(ScratchFile()));
    if (map) fuzzcheck::CheckMap(*map, std::span<const std::uint8_t>(data, size));
  } catch (const toolkit::NilObjectException&) {
    // A container whose payload is not an attribute set.
  }
  if (toolkit::BinaryStream::OpenStreams() != streamsBefore)
    fuzzcheck::Fail("a stream left open", "");
  return 0;
}
