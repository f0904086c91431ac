#pragma once

#include <functional>

#include <openssl/ts.h>

#include "softtoken/crypto/signing.h"

namespace velm::token {

/** An RFC 3161 query with a nonce. Keeps the request to check the answer against it. */
class TimeStampQuery {
 public:
  TimeStampQuery(DigestId digest, ByteView hash);

  Bytes der() const;
  /**
   * Throws kSafStampService if the TSA refused, and kSafStampAnswer if the answer does not match the query.
   */
  void check(ByteView answer) const;

 private:
  Handle<TS_REQ, TS_REQ_free> request_;
};

/** A time-stamp token, alone or in the TSA's granted answer. */
class TimeStamp {
 public:
  /**
   * Throws kSafStampAnswer if the token cannot be parsed or does not have exactly one signer, and
   * kSafStampService for an answer that grants none.
   */
  explicit TimeStamp(ByteView der);

  /** The stamped time in UTC, in the form "20260131235959Z". */
  std::string time() const;

  /**
   * Throws kSafHashNotEqual unless the token covers the hash that `hash_of` returns and was signed by
   * `authority`, whose certificate must have been valid at the stamped time.
   */
  void verify(X509* authority, const std::function<Bytes(DigestId)>& hash_of) const;

 private:
  Pkcs7 token_;
  Handle<TS_TST_INFO, TS_TST_INFO_free> info_;
};

}  // namespace velm::token
