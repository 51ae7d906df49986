// SPDX-License-Identifier: MIT
// Runs a fuzz target over files and folders without a fuzzing engine.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

namespace {

namespace fs = std::filesystem;

void replayFile(const fs::path &path) {
  std::FILE *file = std::fopen(path.c_str(), "rb");
  if (file == nullptr) return;
  std::vector<uint8_t> data(static_cast<size_t>(fs::file_size(path)));
  const size_t n = std::fread(data.data(), 1, data.size(), file);
  std::fclose(file);
  LLVMFuzzerTestOneInput(data.data(), n);
}

}  // namespace

int main(int argc, char **argv) {
  int count = 0;
  for (int i = 1; i < argc; i++) {
    if (!fs::is_directory(argv[i])) {
      replayFile(argv[i]);
      count++;
      continue;
    }
    for (const auto &entry : fs::recursive_directory_iterator(argv[i])) {
      if (!entry.is_regular_file()) continue;
      replayFile(entry.path());
      count++;
    }
  }
  std::printf("%d inputs\n", count);
  return count > 0 ? 0 : 1;
}
