#pragma once

#include <filesystem>
#include <string>

#include "softtoken/crypto/base64.h"
#include "softtoken/crypto/random.h"
#include "softtoken/store/token.h"

namespace velm::token {

/** A new store in a temporary folder; deleted by the destructor. */
class TemporaryStore {
 public:
  TemporaryStore() {
    std::string name = "velm-token-";
    for (const uint8_t byte : random_bytes(8)) name += static_cast<char>('a' + byte % 26);
    folder_ = std::filesystem::temp_directory_path() / name;
    Store::create(file());
  }
  TemporaryStore(const TemporaryStore&) = delete;
  ~TemporaryStore() {
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
  }

  std::filesystem::path file() const { return folder_ / "store.db"; }

 private:
  std::filesystem::path folder_;
};

/** Returns the code of the TokenError that a call throws, or success. */
template <typename Call>
ErrorCode code_of(Call&& call) {
  try {
    call();
    return kSuccess;
  } catch (const TokenError& error) {
    return error.code();
  }
}

inline Bytes from_hex(std::string_view hex) {
  Bytes bytes;
  for (size_t i = 0; i + 1 < hex.size(); i += 2) {
    bytes.push_back(static_cast<uint8_t>(std::stoi(std::string(hex.substr(i, 2)), nullptr, 16)));
  }
  return bytes;
}

}  // namespace velm::token
