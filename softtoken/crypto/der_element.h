#pragma once

#include <functional>
#include <optional>

#include "softtoken/crypto/bytes.h"

namespace velm::token {

/** DER tags in single-byte form. */
enum DerTag : uint8_t {
  kDerInteger = 0x02,
  kDerObject = 0x06,
  kDerSequence = 0x30,
  kDerSet = 0x31,
  kDerContext0 = 0x80,
  kDerContext0Constructed = 0xA0,
};

/** Tag and length of an element. The content may be larger than memory. */
struct DerHeader {
  uint8_t tag;
  uint64_t length;
};

/** Encodes a header. ASN1_put_object() of OpenSSL takes an int: too short for the content of large files. */
Bytes der_header(DerHeader header);

/** Encodes an element. */
Bytes der_element(uint8_t tag, ByteView content);

/**
 * Reads a header byte by byte; `next` returns nothing at the end. Returns nothing unless the header has a
 * single-byte tag and a definite length. Like BER, accepts a length that is not in its shortest form.
 */
std::optional<DerHeader> read_der_header(const std::function<std::optional<uint8_t>()>& next);

}  // namespace velm::token
