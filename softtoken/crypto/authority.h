#pragma once

#include <ctime>

#include "softtoken/crypto/keys.h"

namespace velm::token {

/** The demo certificate authority (CA) for one key type. Anyone with its key can issue: for tests only. */
struct Authority {
  Certificate certificate;
  Key key;
};

enum class Usage { signing, encryption, time_stamping };

/** The fields of a certificate that the demo CA issues. */
struct CertificateOrder {
  std::string common_name;
  Usage usage = Usage::signing;
  time_t not_before = 0;
  time_t not_after = 0;
};

constexpr time_t kDay = 24 * 60 * 60;
constexpr time_t kYear = 365 * kDay;

/** Generates a key and a self-signed CA certificate. */
Authority make_authority(KeyKind kind);
Certificate issue_certificate(const Authority& authority, EVP_PKEY* subject_key,
                              const CertificateOrder& order);

/**
 * Verifies a certificate against the roots. Throws kCertificateExpired, kNotYetValid, kNotTrusted (not issued
 * under any of the roots), or kCertificateInvalid for any other reason. Does not check revocation.
 */
void validate_chain(X509* certificate, std::span<const Certificate> roots);

/** The bytes of the serial number. */
Bytes serial_of(const X509* certificate);

}  // namespace velm::token
