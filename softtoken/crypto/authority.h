#pragma once

#include <ctime>

#include "softtoken/crypto/keys.h"

namespace velm::token {

/** The demo certification authority for one kind of key: whoever holds it issues, so it is for tests only. */
struct Authority {
  Certificate certificate;
  Key key;
};

enum class Usage { signing, exchange, time_stamping };

/** What a certificate of the demo authority says. */
struct CertificateOrder {
  std::string common_name;
  Usage usage = Usage::signing;
  time_t not_before = 0;
  time_t not_after = 0;
};

constexpr time_t kDay = 24 * 60 * 60;
constexpr time_t kYear = 365 * kDay;

Authority make_authority(KeyKind kind);
Certificate issue_certificate(const Authority& authority, EVP_PKEY* subject_key,
                              const CertificateOrder& order);

/**
 * Whether a certificate stands under one of the roots and is in its time. Throws the code for an expired one,
 * for one not yet valid, for one under no root, or for one that is invalid in another way.
 */
void validate_chain(X509* certificate, std::span<const Certificate> roots);

/** The serial number's bytes. */
Bytes serial_of(const X509* certificate);

}  // namespace velm::token
