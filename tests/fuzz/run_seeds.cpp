// Runs a fuzz target on all files of a folder, each in a block of exactly its size.
//   usage: fuzz_NAME FOLDER

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "tests/fuzz/fuzz_target.h"

#pragma weak LLVMFuzzerInitialize

int main(int argument_count, char** arguments) {
  if (argument_count != 2) return 2;
  std::vector<std::filesystem::path> files;
  for (const auto& entry : std::filesystem::directory_iterator(arguments[1])) files.push_back(entry.path());
  std::ranges::sort(files);
  if (LLVMFuzzerInitialize != nullptr) LLVMFuzzerInitialize(&argument_count, &arguments);
  for (const std::filesystem::path& path : files) {
    std::printf("%s\n", path.filename().c_str());
    std::fflush(stdout);
    std::ifstream file(path, std::ios::binary);
    const std::vector<char> bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
  }
  std::printf("%zu seeds\n", files.size());
  return files.empty() ? 1 : 0;
}
