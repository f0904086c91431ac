#pragma once

#include <filesystem>
#include <string>

#include "softtoken/crypto/base64.h"
#include "softtoken/store/token.h"
#include "softtoken/tests/store/temporary_folder.h"

namespace velm::token {

/** A new store in a temporary folder. */
class TemporaryStore {
 public:
  TemporaryStore() { Store::create(file()); }

  std::filesystem::path file() const { return folder_.path() / "store.db"; }

 private:
  TemporaryFolder folder_;
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
