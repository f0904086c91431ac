#include "softtoken/crypto/authority.h"

#include "softtoken/crypto/certificate.h"
#include "softtoken/crypto/random.h"
#include "softtoken/crypto/signing.h"

namespace velm::token {
namespace {

constexpr size_t kSerialSize = 16;
constexpr unsigned kRsaBits = 2048;

void add_name(X509_NAME* name, const char* type, const std::string& value) {
  const int added =
      X509_NAME_add_entry_by_txt(name, type, MBSTRING_UTF8, reinterpret_cast<const uint8_t*>(value.data()),
                                 static_cast<int>(value.size()), -1, 0);
  require(added == 1, kBadInput);
}

void set_random_serial(X509* certificate) {
  uint8_t bytes[kSerialSize];
  fill_random(bytes);
  // RFC 5280 section 4.1.2.2 requires a positive number; bit 6 keeps the length at 16 bytes.
  bytes[0] = static_cast<uint8_t>((bytes[0] & 0x7F) | 0x40);
  const Number number(BN_bin2bn(bytes, sizeof bytes, nullptr));
  require(number && BN_to_ASN1_INTEGER(number.get(), X509_get_serialNumber(certificate)) != nullptr,
          kUnknownError);
}

void add_extension(X509* certificate, X509* issuer, int nid, const char* value) {
  X509V3_CTX context;
  X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
  const Handle<X509_EXTENSION, X509_EXTENSION_free> extension(
      X509V3_EXT_conf_nid(nullptr, &context, nid, value));
  require(extension && X509_add_ext(certificate, extension.get(), -1) == 1, kUnknownError);
}

void sign_certificate(X509* certificate, EVP_PKEY* issuer_key) {
  const DigestContext context = start_signing(issuer_key, digest_for(issuer_key));
  require(X509_sign_ctx(certificate, context.get()) > 0, kSignFailed);
}

// Sets the fields that the CA certificate and the issued certificates have in common.
Certificate start_certificate(EVP_PKEY* subject_key, time_t not_before, time_t not_after) {
  Certificate certificate(allocated(X509_new()));
  X509* c = certificate.get();
  require(c != nullptr, kUnknownError);
  set_random_serial(c);
  const bool filled = X509_set_version(c, X509_VERSION_3) == 1 && X509_set_pubkey(c, subject_key) == 1 &&
                      ASN1_TIME_set(X509_getm_notBefore(c), not_before) != nullptr &&
                      ASN1_TIME_set(X509_getm_notAfter(c), not_after) != nullptr;
  require(filled, kUnknownError);
  X509_NAME* subject = X509_get_subject_name(c);
  add_name(subject, "C", "CN");
  add_name(subject, "O", "VELM Software Token");
  return certificate;
}

ErrorCode code_of_verification(int error) {
  switch (error) {
    case X509_V_ERR_CERT_HAS_EXPIRED:
      return kCertificateExpired;
    case X509_V_ERR_CERT_NOT_YET_VALID:
      return kNotYetValid;
    case X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT:
    case X509_V_ERR_SELF_SIGNED_CERT_IN_CHAIN:
    case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT:
    case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY:
    case X509_V_ERR_UNABLE_TO_VERIFY_LEAF_SIGNATURE:
      return kNotTrusted;
    default:
      return kCertificateInvalid;
  }
}

}  // namespace

Authority make_authority(KeyKind kind) {
  Key key = generate_key(kind, kRsaBits);
  const time_t now = std::time(nullptr);
  Certificate certificate = start_certificate(key.get(), now - 10 * kYear, now + 20 * kYear);
  X509* c = certificate.get();
  X509_NAME* subject = X509_get_subject_name(c);
  add_name(subject, "CN", kind == KeyKind::sm2 ? "Demo Root SM2" : "Demo Root RSA");
  require(X509_set_issuer_name(c, subject) == 1, kUnknownError);
  add_extension(c, c, NID_basic_constraints, "critical,CA:TRUE");
  add_extension(c, c, NID_key_usage, "critical,keyCertSign,cRLSign");
  add_extension(c, c, NID_subject_key_identifier, "hash");
  sign_certificate(c, key.get());
  return {parse_certificate(certificate_der(c)), std::move(key)};
}

Certificate issue_certificate(const Authority& authority, EVP_PKEY* subject_key,
                              const CertificateOrder& order) {
  Certificate certificate = start_certificate(subject_key, order.not_before, order.not_after);
  X509* c = certificate.get();
  X509* issuer = authority.certificate.get();
  X509_NAME* subject = X509_get_subject_name(c);
  add_name(subject, "OU", "Demo");
  add_name(subject, "CN", order.common_name);
  require(X509_set_issuer_name(c, X509_get_subject_name(issuer)) == 1, kUnknownError);
  add_extension(c, issuer, NID_basic_constraints, "critical,CA:FALSE");
  add_extension(c, issuer, NID_key_usage,
                order.usage == Usage::encryption ? "critical,keyEncipherment,dataEncipherment,keyAgreement"
                                                 : "critical,digitalSignature,nonRepudiation");
  if (order.usage == Usage::time_stamping)
    add_extension(c, issuer, NID_ext_key_usage, "critical,timeStamping");
  add_extension(c, issuer, NID_subject_key_identifier, "hash");
  add_extension(c, issuer, NID_authority_key_identifier, "keyid:always");
  sign_certificate(c, authority.key.get());
  return parse_certificate(certificate_der(c));
}

void validate_chain(X509* certificate, std::span<const Certificate> roots) {
  const CertificateStore trusted(allocated(X509_STORE_new()));
  for (const Certificate& root : roots)
    require(X509_STORE_add_cert(trusted.get(), root.get()) == 1, kUnknownError);
  const CertificateStoreContext context(allocated(X509_STORE_CTX_new()));
  require(X509_STORE_CTX_init(context.get(), trusted.get(), certificate, nullptr) == 1, kUnknownError);
  if (X509_verify_cert(context.get()) == 1) return;
  require(false, code_of_verification(X509_STORE_CTX_get_error(context.get())));
}

Bytes serial_of(const X509* certificate) { return copy_of(view_of(X509_get0_serialNumber(certificate))); }

}  // namespace velm::token
