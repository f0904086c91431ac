#pragma once

#include <fstream>
#include <iterator>
#include <string>

#include "softtoken/crypto/authority.h"
#include "softtoken/crypto/certificate.h"
#include "softtoken/crypto/keys.h"
#include "softtoken/crypto/signing.h"

namespace velm::token {

/** A key with a certificate of a demo CA. */
struct Signer {
  Key key;
  Bytes certificate;

  Signer(KeyKind kind, Key own_key, Usage usage = Usage::signing) : key(std::move(own_key)) {
    const Authority authority = make_authority(kind);
    const time_t now = std::time(nullptr);
    const CertificateOrder order{
        .common_name = "Sample", .usage = usage, .not_before = now - kDay, .not_after = now + kYear};
    certificate = certificate_der(issue_certificate(authority, key.get(), order).get());
  }
  uint32_t certificate_length() const { return static_cast<uint32_t>(certificate.size()); }
};

inline const Signer& sm2_signer() {
  static const Signer signer(KeyKind::sm2, generate_sm2_key());
  return signer;
}

inline const Signer& rsa_2048_signer() {
  static const Signer signer(KeyKind::rsa, generate_rsa_key(2048));
  return signer;
}

inline const Signer& rsa_1024_signer() {
  static const Signer signer(KeyKind::rsa, generate_rsa_key(1024));
  return signer;
}

inline Bytes hex(std::string_view text) {
  Bytes bytes;
  for (size_t i = 0; i + 1 < text.size(); i += 2) {
    bytes.push_back(static_cast<uint8_t>(std::stoi(std::string(text.substr(i, 2)), nullptr, 16)));
  }
  return bytes;
}

inline void write_file(const std::string& path, ByteView bytes) {
  std::ofstream file(path, std::ios::binary);
  file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

inline Bytes file_bytes(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

inline bool file_exists(const std::string& path) { return std::ifstream(path).good(); }

inline uint32_t size_of(ByteView bytes) { return static_cast<uint32_t>(bytes.size()); }

/** Makes a size query and then the call; `call` receives an output buffer and its length. */
template <typename Call>
Bytes sized_output(Call&& call, uint32_t& code) {
  uint32_t length = 0;
  code = call(nullptr, &length);
  if (code != 0) return {};
  Bytes output(length);
  code = call(output.data(), &length);
  output.resize(code == 0 ? length : 0);
  return output;
}

}  // namespace velm::token
