#pragma once

#include <filesystem>
#include <string>

#include "softtoken/crypto/random.h"

namespace velm::token {

/** A new temporary folder; deleted by the destructor. */
class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string name = "velm-token-";
    for (const uint8_t byte : random_bytes(8)) name += static_cast<char>('a' + byte % 26);
    path_ = std::filesystem::temp_directory_path() / name;
    std::filesystem::create_directory(path_);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }

  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

}  // namespace velm::token
