#pragma once

#include <functional>
#include <optional>

#include "softtoken/crypto/bytes.h"

namespace velm::token {

/** Tags of DER, in the form of one byte. */
enum DerTag : uint8_t {
  kDerInteger = 0x02,
  kDerOctetString = 0x04,
  kDerObject = 0x06,
  kDerSequence = 0x30,
  kDerSet = 0x31,
  kDerContext0 = 0x80,
  kDerContext0Constructed = 0xA0,
};

/** Tag and length in front of an element's content. Contents may be longer than memory. */
struct DerHeader {
  uint8_t tag;
  uint64_t length;
};

Bytes der_header(DerHeader header);

/**
 * The next header, from bytes that `next` gives one at a time (nothing at the end). Nothing when the bytes
 * are no header of a one-byte tag and a stated length; as in BER, that may take more bytes than it needs.
 */
std::optional<DerHeader> read_der_header(const std::function<std::optional<uint8_t>()>& next);

}  // namespace velm::token
