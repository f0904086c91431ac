#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "narrator.h"
#include "velm_sof_client.h"

/** The containers that the tour visits, and the PIN of all of them. */
constexpr const char* kDemoContainers[] = {"SM2_DEMO", "RSA_2048_DEMO"};
constexpr const char* kLockedContainer = "SM2_SCAN_CONTAINER_DEMO";
constexpr const char* kSealContainer = "SEAL_SM2_DEMO";
constexpr const char* kDemoPin = "12345678";

using Bytes = std::vector<uint8_t>;

inline Bytes bytes_of(const std::string& text) { return {text.begin(), text.end()}; }
inline std::string text_of(const Bytes& bytes) { return {bytes.begin(), bytes.end()}; }
inline uint32_t length_of(const Bytes& bytes) { return static_cast<uint32_t>(bytes.size()); }

/**
 * A call with a size query: `call` is run with a null buffer for the size, then with a buffer of that size;
 * the result is cut to what was written.
 */
template <typename Call>
uint32_t with_size_query(Bytes& result, Call call) {
  uint32_t length = 0;
  uint32_t code = call(nullptr, &length);
  if (code != 0) return code;
  result.assign(length, 0);
  code = call(result.data(), &length);
  result.resize(code == 0 ? length : 0);
  return code;
}

/** Which of a container's two certificates. */
enum class KeyUse { signing, exchange };

/** A container's certificate in DER, with a word about its export. */
inline Bytes exported_certificate(Narrator& narrator, const char* name, KeyUse use) {
  const bool exchange = use == KeyUse::exchange;
  Bytes certificate;
  narrator.call(std::string("Export the ") + (exchange ? "exchange" : "signing") + " certificate of " + name,
                with_size_query(certificate, [&](uint8_t* out, uint32_t* length) {
                  return (exchange ? SOF_ExportExChangeUserCert : SOF_ExportUserCert)(name, out, length);
                }));
  return certificate;
}
