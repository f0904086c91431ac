#pragma once

#include <functional>

#include <openssl/ts.h>

#include "softtoken/crypto/signing.h"

namespace velm::token {

/** A query of RFC 3161 with its nonce; what is asked for is remembered for the answer's check. */
class TimeStampQuery {
 public:
  TimeStampQuery(DigestId digest, ByteView hash);

  Bytes der() const;
  /** Throws the codes for a refusal of the authority and for an answer that is not one to this query. */
  void check(ByteView answer) const;

 private:
  Handle<TS_REQ, TS_REQ_free> request_;
};

/** A time stamp: an answer that grants it, or the token alone. */
class TimeStamp {
 public:
  /** Throws the code for an answer that cannot be read. */
  explicit TimeStamp(ByteView der);

  /** The stamped time in UTC, as "20260131235959Z". */
  std::string time() const;

  /**
   * Throws the code for hash values that differ unless the stamp covers the hash that `hash_of` gives, and
   * was signed, when the certificate was valid for it, by the authority of the certificate.
   */
  void verify(X509* authority, const std::function<Bytes(DigestId)>& hash_of) const;

 private:
  Pkcs7 token_;
  Handle<TS_TST_INFO, TS_TST_INFO_free> info_;
};

}  // namespace velm::token
