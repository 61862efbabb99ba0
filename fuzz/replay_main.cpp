// Replays a fuzz target's corpus: every file below the given folders (or the
// given files) goes through LLVMFuzzerTestOneInput once. A crash or a
// sanitizer report fails the run; normal rejections of bad input do not.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

static void Replay(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  std::vector<char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
}

int main(int argc, char** argv) {
  size_t count = 0;
  for (int i = 1; i < argc; ++i) {
    std::filesystem::path root(argv[i]);
    if (std::filesystem::is_directory(root)) {
      for (const auto& entry : std::filesystem::recursive_directory_iterator(root)) {
        if (entry.is_regular_file()) {
          Replay(entry.path());
          ++count;
        }
      }
    } else if (std::filesystem::exists(root)) {
      Replay(root);
      ++count;
    }
  }
  std::printf("replayed %zu inputs\n", count);
  return 0;
}
