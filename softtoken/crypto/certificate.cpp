#include "softtoken/crypto/certificate.h"

#include <algorithm>
#include <ctime>
#include <optional>

#include "protocol/identifiers.h"
#include "softtoken/crypto/keys.h"

namespace velm::token {
namespace {

// In characters. OBJ_txt2obj() takes quadratic time.
constexpr size_t kMaxOid = 128;

std::string text_of(BIO* bio) {
  char* data = nullptr;
  const long length = BIO_get_mem_data(bio, &data);
  return {data, static_cast<size_t>(length)};
}

std::string name_text(const X509_NAME* name) {
  const Bio bio(allocated(BIO_new(BIO_s_mem())));
  const unsigned long flags =
      (XN_FLAG_ONELINE & ~static_cast<unsigned long>(ASN1_STRFLGS_ESC_MSB | XN_FLAG_SPC_EQ));
  require(X509_NAME_print_ex(bio.get(), name, 0, flags) >= 0, kCertificateFormat);
  return text_of(bio.get());
}

std::optional<std::string> utf8_text(const ASN1_STRING* string) {
  unsigned char* text = nullptr;
  const int length = ASN1_STRING_to_UTF8(&text, string);
  if (length < 0) return std::nullopt;
  const Handle<unsigned char, [](unsigned char* memory) { OPENSSL_free(memory); }> owner(text);
  return std::string(reinterpret_cast<char*>(text), static_cast<size_t>(length));
}

std::string name_entry(const X509_NAME* name, const ASN1_OBJECT* type) {
  const int index = X509_NAME_get_index_by_OBJ(name, type, -1);
  require(index >= 0, kOidNotFound);
  const auto text = utf8_text(X509_NAME_ENTRY_get_data(X509_NAME_get_entry(name, index)));
  require(text.has_value(), kCertificateFormat);
  return *text;
}

std::string time_text(const ASN1_TIME* time) {
  tm parts{};
  require(ASN1_TIME_to_tm(time, &parts) == 1, kCertificateFormat);
  char text[24];
  std::strftime(text, sizeof text, "%Y%m%d%H%M%SZ", &parts);
  return text;
}

std::string serial_text(const X509* certificate) {
  const Number number(ASN1_INTEGER_to_BN(X509_get0_serialNumber(certificate), nullptr));
  require(number != nullptr, kCertificateFormat);
  const Handle<char, [](char* memory) { OPENSSL_free(memory); }> digits(allocated(BN_bn2hex(number.get())));
  return digits.get();
}

std::string extension_text(const X509* certificate, int nid) {
  const int index = X509_get_ext_by_NID(certificate, nid, -1);
  require(index >= 0, kOidNotFound);
  const Bio bio(allocated(BIO_new(BIO_s_mem())));
  require(X509V3_EXT_print(bio.get(), X509_get_ext(certificate, index), 0, 0) == 1, kCertificateFormat);
  return text_of(bio.get());
}

Bytes extensions_der(const X509* certificate) {
  const auto* extensions = X509_get0_extensions(certificate);
  require(extensions != nullptr, kOidNotFound);
  return der_of<const X509_EXTENSIONS>(i2d_X509_EXTENSIONS, extensions);
}

Bytes public_key_item(const X509* certificate) { return public_key_bytes(key_of(certificate).get()); }

// Either `text` or `bytes` is set.
struct Item {
  uint32_t number;
  std::string (*text)(const X509*);
  Bytes (*bytes)(const X509*) = nullptr;
};

template <int nid>
std::string extension(const X509* certificate) {
  return extension_text(certificate, nid);
}

template <int nid>
std::string issuer_entry(const X509* certificate) {
  return name_entry(X509_get_issuer_name(certificate), OBJ_nid2obj(nid));
}

template <int nid>
std::string subject_entry(const X509* certificate) {
  return name_entry(X509_get_subject_name(certificate), OBJ_nid2obj(nid));
}

// The item numbers of GM/T 0006.
constexpr Item kItems[] = {
    {0x01, [](const X509* c) { return std::to_string(X509_get_version(c) + 1); }},
    {0x02, serial_text},
    {0x05, [](const X509* c) { return name_text(X509_get_issuer_name(c)); }},
    {0x06,
     [](const X509* c) {
       return time_text(X509_get0_notBefore(c)) + "-" + time_text(X509_get0_notAfter(c));
     }},
    {0x07, [](const X509* c) { return name_text(X509_get_subject_name(c)); }},
    {0x08, nullptr, public_key_item},
    {0x09, nullptr, extensions_der},
    {0x11, extension<NID_authority_key_identifier>},
    {0x12, extension<NID_subject_key_identifier>},
    {0x13, extension<NID_key_usage>},
    {0x14, extension<NID_private_key_usage_period>},
    {0x15, extension<NID_certificate_policies>},
    {0x16, extension<NID_policy_mappings>},
    {0x17, extension<NID_basic_constraints>},
    {0x18, extension<NID_policy_constraints>},
    {0x19, extension<NID_ext_key_usage>},
    {0x1A, extension<NID_crl_distribution_points>},
    {0x1B, extension<NID_netscape_cert_type>},
    {0x21, issuer_entry<NID_commonName>},
    {0x22, issuer_entry<NID_organizationName>},
    {0x23, issuer_entry<NID_organizationalUnitName>},
    {0x31, subject_entry<NID_commonName>},
    {0x32, subject_entry<NID_organizationName>},
    {0x33, subject_entry<NID_organizationalUnitName>},
    {0x34, subject_entry<NID_pkcs9_emailAddress>},
    {kNotBeforeItem, [](const X509* c) { return time_text(X509_get0_notBefore(c)); }},
    {kNotAfterItem, [](const X509* c) { return time_text(X509_get0_notAfter(c)); }},
};

// Returns the text of an extension value that is a single ASN.1 string, otherwise nullopt.
std::optional<std::string> string_value(const ASN1_OCTET_STRING* value) {
  const uint8_t* at = ASN1_STRING_get0_data(value);
  const uint8_t* const end = at + ASN1_STRING_length(value);
  const Handle<ASN1_TYPE, ASN1_TYPE_free> any(d2i_ASN1_TYPE(nullptr, &at, ASN1_STRING_length(value)));
  if (!any || at != end) return std::nullopt;
  switch (ASN1_TYPE_get(any.get())) {
    case V_ASN1_UTF8STRING:
    case V_ASN1_PRINTABLESTRING:
    case V_ASN1_IA5STRING:
    case V_ASN1_BMPSTRING:
    case V_ASN1_T61STRING:
      return utf8_text(any->value.asn1_string);
    default:
      return std::nullopt;
  }
}

// SM2 signatures cover the user ID (GM/T 0009) of the signer, here of the issuer.
void set_issuer_id(X509* certificate) {
  OctetString id(allocated(ASN1_OCTET_STRING_new()));
  set_bytes(id.get(), as_bytes(protocol::kDefaultUserId));
  X509_set0_distinguishing_id(certificate, id.release());
}

}  // namespace

Certificate parse_certificate(ByteView der) {
  auto certificate = from_der<Certificate>(d2i_X509, der, kCertificateFormat);
  if (X509_get_signature_nid(certificate.get()) == NID_SM2_with_SM3) set_issuer_id(certificate.get());
  return certificate;
}

Bytes certificate_der(X509* certificate) { return der_of<const X509>(i2d_X509, certificate); }

Key key_of(const X509* certificate) {
  Key key(X509_get_pubkey(const_cast<X509*>(certificate)));
  require(key != nullptr, kCertificateFormat);
  kind_of(key.get());
  return key;
}

void require_key_usage(X509* certificate, uint32_t usages) {
  // Without the extension, all bits are set.
  require((X509_get_key_usage(certificate) & usages) != 0, kKeyUsage);
}

Bytes certificate_item(const X509* certificate, uint32_t item) {
  const auto* found = std::ranges::find(kItems, item, &Item::number);
  require(found != std::end(kItems), kParameterUnsupported);
  return found->bytes != nullptr ? found->bytes(certificate) : copy_of(as_bytes(found->text(certificate)));
}

Bytes certificate_item_by_oid(const X509* certificate, const std::string& oid) {
  require(oid.size() <= kMaxOid, kBadInput);
  const Object object(OBJ_txt2obj(oid.c_str(), 1));
  require(object != nullptr, kBadInput);
  const X509_NAME* subject = X509_get_subject_name(certificate);
  if (X509_NAME_get_index_by_OBJ(subject, object.get(), -1) >= 0) {
    return copy_of(as_bytes(name_entry(subject, object.get())));
  }
  const int index = X509_get_ext_by_OBJ(certificate, object.get(), -1);
  require(index >= 0, kOidNotFound);
  const ASN1_OCTET_STRING* value = X509_EXTENSION_get_data(X509_get_ext(certificate, index));
  if (const auto text = string_value(value)) return copy_of(as_bytes(*text));
  return copy_of(view_of(value));
}

}  // namespace velm::token
