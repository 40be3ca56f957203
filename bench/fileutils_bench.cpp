// Benchmarks of the file-system operations against what a user would write
// with the standard library.
//
// ListTree/tavrin           GetDirectoryContents, recursive: lstat per entry,
//                           names sorted per folder, UTF-16 paths
// ListTree/std_filesystem   std::filesystem::recursive_directory_iterator,
//                           regular files, unsorted std::string paths
// ListTree/readdir          the floor: a bare readdir walk, no stat, no sort
// ReadFile/tavrin           ReadFileToBuffer of a 1 MiB file
// ReadFile/ifstream         std::ifstream into a std::string
// ReadFile/memcpy           the floor: copying the same bytes from memory
// WriteFile/tavrin          WriteBufferToFile: temporary, fsync, rename
// WriteFile/posix_atomic    the same steps written directly with POSIX calls
// WriteFile/fwrite          fopen/fwrite/fclose, neither atomic nor synced
#include <benchmark/benchmark.h>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "bench/bench_support.h"
#include "common/utils/fileutils.h"

namespace {

using tavrin::utils::tavrin_ustring;

// A scratch tree, made once per process and removed at exit.
class Scratch {
 public:
  static Scratch& Get() {
    static Scratch scratch;
    return scratch;
  }
  const std::string& root() const { return root_; }
  const std::string& tree() const { return tree_; }
  const std::string& file() const { return file_; }
  const std::string& bytes() const { return bytes_; }

 private:
  Scratch() {
    std::string tmpl = std::filesystem::temp_directory_path().string() + "/tavrin-bench.XXXXXX";
    if (!::mkdtemp(tmpl.data())) std::abort();
    root_ = tmpl;
    tree_ = root_ + "/tree";
    std::filesystem::create_directories(tree_);
    const int folders = tavrin::bench::Smoke() ? 4 : 40;
    const int files = tavrin::bench::Smoke() ? 10 : 50;
    std::mt19937 rng(1234);
    for (int d = 0; d < folders; ++d) {
      std::string folder = tree_ + "/dir" + std::to_string(rng() % 100000);
      std::filesystem::create_directories(folder + "/inner");
      for (int f = 0; f < files; ++f) {
        std::string name =
            folder + ((f % 3) ? "/" : "/inner/") + "f" + std::to_string(rng()) + ".txt";
        std::ofstream(name) << "x";
      }
    }
    bytes_.resize(tavrin::bench::Size(1 << 20, 1 << 12));
    for (char& c : bytes_) c = static_cast<char>(rng());
    file_ = root_ + "/data.bin";
    std::ofstream(file_, std::ios::binary).write(bytes_.data(), static_cast<long>(bytes_.size()));
  }
  ~Scratch() {
    std::error_code ec;
    std::filesystem::remove_all(root_, ec);
  }
  std::string root_, tree_, file_, bytes_;
};

void BM_ListTreeTavrin(benchmark::State& state) {
  tavrin_ustring tree(Scratch::Get().tree());
  std::size_t n = 0;
  for (auto _ : state) {
    std::vector<tavrin_ustring> out;
    tavrin::utils::GetDirectoryContents(tree, out, true);
    n = out.size();
    benchmark::DoNotOptimize(out.data());
  }
  state.SetItemsProcessed(static_cast<long>(state.iterations() * n));
}

void BM_ListTreeStdFilesystem(benchmark::State& state) {
  const std::string& tree = Scratch::Get().tree();
  std::size_t n = 0;
  for (auto _ : state) {
    std::vector<std::string> out;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(tree))
      if (entry.is_regular_file()) out.push_back(entry.path().string());
    n = out.size();
    benchmark::DoNotOptimize(out.data());
  }
  state.SetItemsProcessed(static_cast<long>(state.iterations() * n));
}

std::size_t BareWalk(const std::string& dir) {
  std::size_t n = 0;
  DIR* d = ::opendir(dir.c_str());
  if (!d) return 0;
  while (struct dirent* e = ::readdir(d)) {
    if (e->d_name[0] == '.') continue;
    if (e->d_type == DT_DIR)
      n += BareWalk(dir + "/" + e->d_name);
    else
      ++n;
  }
  ::closedir(d);
  return n;
}

void BM_ListTreeReaddir(benchmark::State& state) {
  const std::string& tree = Scratch::Get().tree();
  std::size_t n = 0;
  for (auto _ : state) {
    n = BareWalk(tree);
    benchmark::DoNotOptimize(n);
  }
  state.SetItemsProcessed(static_cast<long>(state.iterations() * n));
}

void BM_ReadFileTavrin(benchmark::State& state) {
  tavrin_ustring path(Scratch::Get().file());
  for (auto _ : state) {
    std::size_t size = 0;
    unsigned char* data = tavrin::utils::ReadFileToBuffer(path, &size);
    benchmark::DoNotOptimize(data);
    delete[] data;
  }
  state.SetBytesProcessed(static_cast<long>(state.iterations() * Scratch::Get().bytes().size()));
}

void BM_ReadFileIfstream(benchmark::State& state) {
  const std::string& path = Scratch::Get().file();
  for (auto _ : state) {
    std::ifstream in(path, std::ios::binary);
    std::string data((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    benchmark::DoNotOptimize(data.data());
  }
  state.SetBytesProcessed(static_cast<long>(state.iterations() * Scratch::Get().bytes().size()));
}

void BM_ReadFileMemcpy(benchmark::State& state) {
  const std::string& bytes = Scratch::Get().bytes();
  for (auto _ : state) {
    auto* copy = new unsigned char[bytes.size() + 1];
    std::memcpy(copy, bytes.data(), bytes.size());
    benchmark::DoNotOptimize(copy);
    delete[] copy;
  }
  state.SetBytesProcessed(static_cast<long>(state.iterations() * bytes.size()));
}

void BM_WriteFileTavrin(benchmark::State& state) {
  const std::string& bytes = Scratch::Get().bytes();
  tavrin_ustring path(Scratch::Get().root() + "/out-tavrin.bin");
  for (auto _ : state) {
    bool ok = tavrin::utils::WriteBufferToFile(bytes.data(), bytes.size(), path);
    benchmark::DoNotOptimize(ok);
  }
  state.SetBytesProcessed(static_cast<long>(state.iterations() * bytes.size()));
}

void BM_WriteFilePosixAtomic(benchmark::State& state) {
  const std::string& bytes = Scratch::Get().bytes();
  std::string path = Scratch::Get().root() + "/out-posix.bin";
  std::string temp = path + ".tmp";
  for (auto _ : state) {
    int fd = ::open(temp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    ssize_t n = ::write(fd, bytes.data(), bytes.size());
    ::fsync(fd);
    ::close(fd);
    int rc = ::rename(temp.c_str(), path.c_str());
    benchmark::DoNotOptimize(n + rc);
  }
  state.SetBytesProcessed(static_cast<long>(state.iterations() * bytes.size()));
}

void BM_WriteFileFwrite(benchmark::State& state) {
  const std::string& bytes = Scratch::Get().bytes();
  std::string path = Scratch::Get().root() + "/out-fwrite.bin";
  for (auto _ : state) {
    std::FILE* f = std::fopen(path.c_str(), "wb");
    std::size_t n = std::fwrite(bytes.data(), 1, bytes.size(), f);
    std::fclose(f);
    benchmark::DoNotOptimize(n);
  }
  state.SetBytesProcessed(static_cast<long>(state.iterations() * bytes.size()));
}

BENCHMARK(BM_ListTreeTavrin)->Name("ListTree/tavrin");
BENCHMARK(BM_ListTreeStdFilesystem)->Name("ListTree/std_filesystem");
BENCHMARK(BM_ListTreeReaddir)->Name("ListTree/readdir");
BENCHMARK(BM_ReadFileTavrin)->Name("ReadFile/tavrin");
BENCHMARK(BM_ReadFileIfstream)->Name("ReadFile/ifstream");
BENCHMARK(BM_ReadFileMemcpy)->Name("ReadFile/memcpy");
BENCHMARK(BM_WriteFileTavrin)->Name("WriteFile/tavrin");
BENCHMARK(BM_WriteFilePosixAtomic)->Name("WriteFile/posix_atomic");
BENCHMARK(BM_WriteFileFwrite)->Name("WriteFile/fwrite");

}  // namespace
