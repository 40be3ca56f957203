// replay_main.cpp - runs a fuzz target over files without libFuzzer.
//
// Each argument is a file or a folder of files; every file is passed once to
// LLVMFuzzerTestOneInput. Used by GCC builds and by CTest to replay corpora.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

static void RunFile(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::vector<char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
}

int main(int argc, char** argv) {
  std::size_t count = 0;
  for (int i = 1; i < argc; ++i) {
    std::filesystem::path p(argv[i]);
    if (std::filesystem::is_directory(p)) {
      std::vector<std::filesystem::path> files;
      for (auto& e : std::filesystem::recursive_directory_iterator(p))
        if (e.is_regular_file()) files.push_back(e.path());
      std::sort(files.begin(), files.end());
      for (auto& f : files) RunFile(f), ++count;
    } else {
      RunFile(p), ++count;
    }
  }
  std::printf("replayed %zu inputs\n", count);
  return 0;
}
