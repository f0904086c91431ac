#pragma once

#include "softtoken/crypto/keys.h"

namespace velm::token {

/** Object identifiers in signed messages and digital envelopes: PKCS#7 for RSA, GM/T 0010 for SM2. */
struct MessageTypes {
  const char* data;
  const char* signed_data;
  const char* enveloped_data;
  const char* signature_algorithm;
  const char* encryption_algorithm;
};

constexpr MessageTypes kPkcs7Types{"1.2.840.113549.1.7.1", "1.2.840.113549.1.7.2", "1.2.840.113549.1.7.3",
                                   "1.2.840.113549.1.1.1", "1.2.840.113549.1.1.1"};
constexpr MessageTypes kGmTypes{"1.2.156.10197.6.1.4.2.1", "1.2.156.10197.6.1.4.2.2",
                                "1.2.156.10197.6.1.4.2.3", "1.2.156.10197.1.301.1", "1.2.156.10197.1.301.3"};
/** For time-stamp tokens (RFC 3161) signed with SM2, which use the CMS types; signing only. */
constexpr MessageTypes kTimeStampTypes{"1.2.840.113549.1.9.16.1.4", kPkcs7Types.signed_data, nullptr,
                                       "1.2.156.10197.1.501", nullptr};

inline const MessageTypes& types_for(KeyKind kind) { return kind == KeyKind::rsa ? kPkcs7Types : kGmTypes; }

}  // namespace velm::token
