#pragma once

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "velm_sof_client.h"

/** Helpers for tests of the library with the software token's modules and the local service. */
using Bytes = std::vector<uint8_t>;

constexpr const char* kPin = "12345678";
/** Containers of the demo store, one for each key type, and those whose certificates are labels. */
constexpr const char* kKeys[] = {"SM2_DEMO", "RSA_2048_DEMO", "RSA_1024_DEMO"};
constexpr const char* kScannedKeys[] = {"SM2_SCAN_CONTAINER_DEMO", "RSA_2048_SCAN_CONTAINER_DEMO"};

/** Digest algorithm identifiers of GM/T 0006. */
enum Digest : uint32_t { kSm3 = 1, kSha1 = 2, kSha256 = 4 };

inline bool is_sm2(const std::string& container) { return container.find("SM2") != std::string::npos; }

inline Digest digest_of_key(const std::string& container) {
  if (is_sm2(container)) return kSm3;
  return container.find("1024") != std::string::npos ? kSha1 : kSha256;
}

inline Bytes bytes_of(const std::string& text) { return {text.begin(), text.end()}; }
inline std::string text_of(const Bytes& bytes) { return {bytes.begin(), bytes.end()}; }
inline uint32_t size_of(const Bytes& bytes) { return static_cast<uint32_t>(bytes.size()); }

/** Makes a call with a size query. `code` receives the first error, or success. */
template <typename Call>
Bytes output_of(uint32_t& code, Call call) {
  uint32_t length = 0;
  code = call(nullptr, &length);
  if (code != SOR_OK) return {};
  Bytes output(length + 1);  // at least one byte, so that the pointer is not null
  code = call(output.data(), &length);
  output.resize(code == SOR_OK ? length : 0);
  return output;
}

/** Like the overload above, but the call must succeed. */
template <typename Call>
Bytes output_of(Call call) {
  uint32_t code = SOR_UNKNOWNERR;
  Bytes output = output_of(code, call);
  EXPECT_EQ(code, SOR_OK);
  return output;
}

inline Bytes signing_certificate(const char* name) {
  return output_of([&](uint8_t* out, uint32_t* length) { return SOF_ExportUserCert(name, out, length); });
}

inline Bytes encryption_certificate(const char* name) {
  return output_of(
      [&](uint8_t* out, uint32_t* length) { return SOF_ExportExChangeUserCert(name, out, length); });
}

inline Bytes sign(const char* name, const Bytes& data) {
  return output_of([&](uint8_t* out, uint32_t* length) {
    return SOF_SignData(name, data.data(), size_of(data), out, length);
  });
}

inline Bytes hash_of(Digest digest, const Bytes& data, const Bytes& key = {}) {
  return output_of([&](uint8_t* out, uint32_t* length) {
    return SOF_Ext_HashData(digest, data.data(), size_of(data), key.data(), size_of(key), nullptr, 0, out,
                            length);
  });
}

inline std::string base64_of(const Bytes& data) {
  return text_of(output_of([&](uint8_t* out, uint32_t* length) {
    return SOF_Ext_Base64Encode(data.data(), size_of(data), out, length);
  }));
}

inline void write_file(const std::string& path, const Bytes& bytes) {
  std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

inline Bytes read_file(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

inline bool file_exists(const std::string& path) { return std::ifstream(path).good(); }

/** Returns `bytes` with one byte changed. */
inline Bytes altered_at(Bytes bytes, size_t index) {
  bytes.at(index) ^= 1;
  return bytes;
}
