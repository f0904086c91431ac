#include "softtoken/crypto/time_stamp_answer.h"

#include <openssl/rand.h>
#include <openssl/ts.h>

#include "softtoken/crypto/content_info.h"
#include "softtoken/crypto/signed_data.h"
#include "softtoken/crypto/signing.h"

namespace velm::token {
namespace {

using ResponseContext = Handle<TS_RESP_CTX, TS_RESP_CTX_free>;
using Response = Handle<TS_RESP, TS_RESP_free>;
using StampInfo = Handle<TS_TST_INFO, TS_TST_INFO_free>;

// RFC 5612 reserves enterprise number 32473 for documentation.
constexpr const char* kPolicy = "1.3.6.1.4.1.32473.1";

// Called by OpenSSL, through which no exception may pass.
ASN1_INTEGER* random_serial(TS_RESP_CTX*, void*) {
  uint64_t value = 0;
  if (RAND_bytes(reinterpret_cast<uint8_t*>(&value), sizeof value) != 1) return nullptr;
  Integer serial(ASN1_INTEGER_new());
  if (!serial || ASN1_INTEGER_set_uint64(serial.get(), value >> 1) != 1) return nullptr;
  return serial.release();
}

ResponseContext response_context(const Authority& authority) {
  ResponseContext context(allocated(TS_RESP_CTX_new()));
  TS_RESP_CTX* c = context.get();
  bool ready = TS_RESP_CTX_set_signer_cert(c, authority.certificate.get()) == 1 &&
               TS_RESP_CTX_set_signer_key(c, authority.key.get()) == 1 &&
               TS_RESP_CTX_set_def_policy(c, object_of(kPolicy).get()) == 1 &&
               TS_RESP_CTX_set_signer_digest(c, EVP_sha256()) == 1 &&
               TS_RESP_CTX_set_ess_cert_id_digest(c, EVP_sha256()) == 1 &&
               TS_RESP_CTX_set_accuracy(c, 1, 0, 0) == 1;
  for (const EVP_MD* digest : {EVP_sm3(), EVP_sha1(), EVP_sha256(), EVP_sha384(), EVP_sha512()}) {
    ready = ready && TS_RESP_CTX_add_md(c, digest) == 1;
  }
  require(ready, kUnknownError);
  TS_RESP_CTX_set_serial_cb(c, random_serial, nullptr);
  return context;
}

bool is_over_sm3(TS_TST_INFO* info) {
  const ASN1_OBJECT* algorithm = nullptr;
  X509_ALGOR_get0(&algorithm, nullptr, nullptr, TS_MSG_IMPRINT_get_algo(TS_TST_INFO_get_msg_imprint(info)));
  return OBJ_obj2nid(algorithm) == NID_sm3;
}

// OpenSSL cannot sign time-stamp tokens with SM2: sign the TSTInfo that it created again.
void sign_with_sm2(TS_RESP* response, const Authority& authority) {
  require(X509_check_private_key(authority.certificate.get(), authority.key.get()) == 1, kKeyMismatch);
  StampInfo info(TS_TST_INFO_dup(TS_RESP_get_tst_info(response)));
  require(info != nullptr, kUnknownError);
  const Bytes token = encode_signed_message(
      {.signer = authority.certificate.get(),
       .digest = DigestId::sm3,
       .content = der_of<const TS_TST_INFO>(i2d_TS_TST_INFO, info.get()),
       .attributes = true,
       .time_stamp = true},
      [&](ByteView data) { return sign_data(authority.key.get(), DigestId::sm3, data); });
  TS_RESP_set_tst_info(response, from_der<Pkcs7>(d2i_PKCS7, token, kUnknownError).release(), info.release());
}

}  // namespace

Bytes time_stamp_answer(ByteView query, const StampAuthorityFinder& authority_of) {
  const ResponseContext context = response_context(authority_of(KeyKind::rsa));
  const Bio bio(allocated(BIO_new_mem_buf(query.data(), static_cast<int>(query.size()))));
  const Response response(TS_RESP_create_response(context.get(), bio.get()));
  require(response != nullptr, kUnknownError);
  TS_TST_INFO* granted = TS_RESP_get_tst_info(response.get());
  if (granted != nullptr && is_over_sm3(granted)) sign_with_sm2(response.get(), authority_of(KeyKind::sm2));
  return der_of<const TS_RESP>(i2d_TS_RESP, response.get());
}

}  // namespace velm::token
