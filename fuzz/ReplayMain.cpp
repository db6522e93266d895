// Runs a fuzz target over saved inputs without libFuzzer, so that the corpus replays as an
// ordinary test in every build. Arguments are files or folders of files.

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int main(int argc, char** argv) {
  std::vector<std::filesystem::path> files;
  for (int i = 1; i < argc; ++i) {
    const std::filesystem::path arg(argv[i]);
    if (!std::filesystem::is_directory(arg)) {
      files.push_back(arg);
      continue;
    }
    for (const auto& entry : std::filesystem::directory_iterator(arg))
      if (entry.is_regular_file()) files.push_back(entry.path());
  }
  for (const auto& file : files) {
    std::ifstream in(file, std::ios::binary);
    const std::vector<char> bytes((std::istreambuf_iterator<char>(in)), {});
    if (!in.eof() && in.fail()) return std::fprintf(stderr, "can't read %s\n", file.c_str()), 1;
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
  }
  std::printf("replayed %zu inputs\n", files.size());
  return files.empty() ? 1 : 0;  // an empty corpus is a mistake, not a pass
}
