#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "narrator.h"
#include "velm_sof_client.h"

/** Containers used by the tour, and their common PIN. */
constexpr const char* kDemoContainers[] = {"SM2_DEMO", "RSA_2048_DEMO"};
constexpr const char* kLockedContainer = "SM2_SCAN_CONTAINER_DEMO";
constexpr const char* kSealContainer = "SEAL_SM2_DEMO";
constexpr const char* kDemoPin = "12345678";

using Bytes = std::vector<uint8_t>;

inline Bytes bytes_of(const std::string& text) { return {text.begin(), text.end()}; }
inline std::string text_of(const Bytes& bytes) { return {bytes.begin(), bytes.end()}; }
inline uint32_t length_of(const Bytes& bytes) { return static_cast<uint32_t>(bytes.size()); }

/**
 * Makes a call with a size query: `call` runs with a null buffer for the size, then with a buffer of that
 * size. The result is truncated to the length written.
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

/** Selects one of a container's two certificates. `exchange` is the encryption certificate. */
enum class KeyUse { signing, exchange };

/** Returns a container's certificate in DER and reports the export. */
inline Bytes exported_certificate(Narrator& narrator, const char* name, KeyUse use) {
  const bool exchange = use == KeyUse::exchange;
  Bytes certificate;
  narrator.call(std::string("Export the ") + (exchange ? "exchange" : "signing") + " certificate of " + name,
                with_size_query(certificate, [&](uint8_t* out, uint32_t* length) {
                  return (exchange ? SOF_ExportExChangeUserCert : SOF_ExportUserCert)(name, out, length);
                }));
  return certificate;
}
