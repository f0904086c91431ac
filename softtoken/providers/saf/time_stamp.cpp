#include "softtoken/providers/saf/time_stamp.h"

#include <ctime>

#include <openssl/err.h>

#include "softtoken/crypto/certificate.h"
#include "softtoken/crypto/random.h"
#include "softtoken/crypto/signed_data.h"
#include "softtoken/providers/saf/content_hash.h"
#include "softtoken/providers/saf/saf_call.h"

namespace velm::token {

using namespace protocol;

namespace {

using Imprint = Handle<TS_MSG_IMPRINT, TS_MSG_IMPRINT_free>;
using Response = Handle<TS_RESP, TS_RESP_free>;
using VerifyContext = Handle<TS_VERIFY_CTX, TS_VERIFY_CTX_free>;

constexpr long kVersion = 1;
constexpr int kGranted = 0;
constexpr int kGrantedWithModifications = 1;

void require_openssl(bool holds, uint32_t code) {
  if (holds) return;
  ERR_clear_error();
  throw SafError(code);
}

Imprint make_imprint(DigestId digest, ByteView hash) {
  Imprint imprint(allocated(TS_MSG_IMPRINT_new()));
  const Algorithm algorithm(allocated(X509_ALGOR_new()));
  Bytes value = copy_of(hash);
  const bool set = X509_ALGOR_set0(algorithm.get(), OBJ_nid2obj(EVP_MD_get_type(digest_of(digest))),
                                   V_ASN1_NULL, nullptr) == 1 &&
                   TS_MSG_IMPRINT_set_algo(imprint.get(), algorithm.get()) == 1 &&
                   TS_MSG_IMPRINT_set_msg(imprint.get(), value.data(), static_cast<int>(value.size())) == 1;
  require(set, kUnknownError);
  return imprint;
}

// Decodes exactly these bytes with a d2i function. Returns null if they are invalid or bytes are left over.
template <typename H, typename Decoder>
H read(Decoder decode, ByteView der) {
  const uint8_t* at = der.data();
  H object(decode(nullptr, &at, static_cast<long>(der.size())));
  ERR_clear_error();
  if (at != der.data() + der.size()) object.reset();
  return object;
}

bool is_granted(const TS_RESP* response) {
  const long status =
      ASN1_INTEGER_get(TS_STATUS_INFO_get0_status(TS_RESP_get_status_info(const_cast<TS_RESP*>(response))));
  return status == kGranted || status == kGrantedWithModifications;
}

Pkcs7 token_in(ByteView der) {
  if (const Response response = read<Response>(d2i_TS_RESP, der)) {
    require_saf(is_granted(response.get()) && TS_RESP_get_token(response.get()) != nullptr, kSafStampService);
    return Pkcs7(require_pointer(PKCS7_dup(TS_RESP_get_token(response.get())), kUnknownError));
  }
  Pkcs7 token = read<Pkcs7>(d2i_PKCS7, der);
  require_saf(token != nullptr, kSafStampAnswer);
  return token;
}

// OpenSSL cannot verify SM2 time-stamp tokens. The signature is checked like that of any message with signed
// attributes. The certificate must be the TSA's, valid at the stamped time and issued for time stamping.
void verify_sm2_signature(const PKCS7* token, X509* authority, X509_STORE* trusted) {
  const Bytes message = der_of<const PKCS7>(i2d_PKCS7, token);
  const SignedMessage parsed = parse_signed_message(message);
  require_saf(X509_cmp(parsed.signer.get(), authority) == 0 && !parsed.signed_attributes.empty(),
              kSafHashNotEqual);
  verify_signed_message(message, {});

  const CertificateStoreContext context(allocated(X509_STORE_CTX_new()));
  const bool valid = X509_STORE_CTX_init(context.get(), trusted, authority, nullptr) == 1 &&
                     X509_STORE_CTX_set_purpose(context.get(), X509_PURPOSE_TIMESTAMP_SIGN) == 1 &&
                     X509_verify_cert(context.get()) == 1;
  require_openssl(valid, kSafHashNotEqual);
}

// OpenSSL also accepts a signer whose chain leads to `authority`. The signer must be `authority` itself.
void verify_rsa_signature(PKCS7* token, X509* authority, X509_STORE* trusted) {
  STACK_OF(X509)* certificates = require_pointer(sk_X509_new_null(), kUnknownError);
  X509* found = nullptr;
  const bool valid = sk_X509_push(certificates, authority) > 0 &&
                     TS_RESP_verify_signature(token, certificates, trusted, &found) == 1;
  sk_X509_free(certificates);
  const Certificate signer(found);
  require_openssl(valid && X509_cmp(signer.get(), authority) == 0, kSafHashNotEqual);
}

}  // namespace

TimeStampQuery::TimeStampQuery(DigestId digest, ByteView hash) : request_(allocated(TS_REQ_new())) {
  const Imprint imprint = make_imprint(digest, hash);
  uint64_t random = 0;
  fill_random({reinterpret_cast<uint8_t*>(&random), sizeof random});
  const Integer nonce(allocated(ASN1_INTEGER_new()));
  const bool set = ASN1_INTEGER_set_uint64(nonce.get(), random) == 1 &&
                   TS_REQ_set_version(request_.get(), kVersion) == 1 &&
                   TS_REQ_set_msg_imprint(request_.get(), imprint.get()) == 1 &&
                   TS_REQ_set_nonce(request_.get(), nonce.get()) == 1 &&
                   TS_REQ_set_cert_req(request_.get(), 1) == 1;
  require(set, kUnknownError);
}

Bytes TimeStampQuery::der() const { return der_of<const TS_REQ>(i2d_TS_REQ, request_.get()); }

void TimeStampQuery::check(ByteView answer) const {
  const Response response = read<Response>(d2i_TS_RESP, answer);
  require_saf(response != nullptr, kSafStampAnswer);
  require_saf(is_granted(response.get()), kSafStampService);
  const VerifyContext context(TS_REQ_to_TS_VERIFY_CTX(request_.get(), nullptr));
  require(context != nullptr, kUnknownError);
  // verify() checks the signer later, with the TSA's certificate.
  TS_VERIFY_CTX_set_flags(context.get(), TS_VFY_VERSION | TS_VFY_IMPRINT | TS_VFY_NONCE);
  require_openssl(TS_RESP_verify_response(context.get(), response.get()) == 1, kSafStampAnswer);
}

TimeStamp::TimeStamp(ByteView der) : token_(token_in(der)), info_(PKCS7_to_TS_TST_INFO(token_.get())) {
  require_openssl(info_ != nullptr, kSafStampAnswer);
  require_openssl(sk_PKCS7_SIGNER_INFO_num(PKCS7_get_signer_info(token_.get())) == 1, kSafStampAnswer);
}

std::string TimeStamp::time() const {
  tm parts{};
  require_openssl(ASN1_TIME_to_tm(TS_TST_INFO_get_time(info_.get()), &parts) == 1, kSafStampAnswer);
  char text[24];
  return {text, std::strftime(text, sizeof text, "%Y%m%d%H%M%SZ", &parts)};
}

void TimeStamp::verify(X509* authority, const std::function<Bytes(DigestId)>& hash_of) const {
  TS_MSG_IMPRINT* imprint = TS_TST_INFO_get_msg_imprint(info_.get());
  const ASN1_OBJECT* algorithm = nullptr;
  X509_ALGOR_get0(&algorithm, nullptr, nullptr, TS_MSG_IMPRINT_get_algo(imprint));
  const Bytes hash = hash_of(digest_id_of(EVP_get_digestbyobj(algorithm)));
  const ByteView stamped = view_of(TS_MSG_IMPRINT_get_msg(imprint));
  require_saf(hash == copy_of(stamped), kSafHashNotEqual);

  int days = 0;
  int seconds = 0;
  const Handle<ASN1_TIME, ASN1_TIME_free> epoch(ASN1_TIME_set(nullptr, 0));
  const bool known = ASN1_TIME_diff(&days, &seconds, epoch.get(), TS_TST_INFO_get_time(info_.get())) == 1;
  require_openssl(known, kSafStampAnswer);

  // Trust exactly this certificate, regardless of its issuer. It must have been valid at the stamped time.
  const CertificateStore trusted(allocated(X509_STORE_new()));
  require(trusted && X509_STORE_add_cert(trusted.get(), authority) == 1, kUnknownError);
  X509_VERIFY_PARAM* parameters = X509_STORE_get0_param(trusted.get());
  X509_VERIFY_PARAM_set_flags(parameters, X509_V_FLAG_PARTIAL_CHAIN);
  X509_VERIFY_PARAM_set_time(parameters, time_t{days} * 24 * 60 * 60 + seconds);
  if (kind_of(key_of(authority).get()) == KeyKind::sm2)
    return verify_sm2_signature(token_.get(), authority, trusted.get());
  verify_rsa_signature(token_.get(), authority, trusted.get());
}

}  // namespace velm::token
