#pragma once

#include <string>

#include "narrator.h"

/** Containers used by the tour, and their common PIN. */
constexpr const char* kDemoContainers[] = {"SM2_DEMO", "RSA_2048_DEMO"};
constexpr const char* kLockedContainer = "SM2_SCAN_CONTAINER_DEMO";
constexpr const char* kSealContainer = "SEAL_SM2_DEMO";
constexpr const char* kDemoPin = "12345678";

inline std::string text_of(const sof::Bytes& bytes) { return {bytes.begin(), bytes.end()}; }

inline sof::Certificate signing_certificate(Narrator& narrator, const sof::Container& container) {
  return narrator.step("Export the signing certificate of " + container.name(),
                       [&] { return container.signing_certificate(); });
}

inline sof::Certificate encryption_certificate(Narrator& narrator, const sof::Container& container) {
  return narrator.step("Export the encryption certificate of " + container.name(),
                       [&] { return container.encryption_certificate(); });
}
