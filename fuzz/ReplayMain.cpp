// Runs a fuzz target over saved inputs without libFuzzer, so that the corpus replays as an
// ordinary test in every build. Arguments are files or folders of files.

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {
int Replay(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  const std::vector<char> bytes((std::istreambuf_iterator<char>(in)),
                                std::istreambuf_iterator<char>());
  if (!in.eof() && in.fail()) {
    std::fprintf(stderr, "can't read %s\n", file.c_str());
    return 1;
  }
  LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
  return 0;
}
}  // namespace

int main(int argc, char** argv) {
  int inputs = 0;
  for (int i = 1; i < argc; ++i) {
    const std::filesystem::path arg(argv[i]);
    if (std::filesystem::is_directory(arg)) {
      for (const auto& entry : std::filesystem::directory_iterator(arg)) {
        if (!entry.is_regular_file()) continue;
        if (Replay(entry.path()) != 0) return 1;
        ++inputs;
      }
    } else {
      if (Replay(arg) != 0) return 1;
      ++inputs;
    }
  }
  std::printf("replayed %d inputs\n", inputs);
  return inputs > 0 ? 0 : 1;  // an empty corpus is a mistake, not a pass
}
