#include "softtoken/store/time_stamp_authority.h"

#include <optional>

#include <openssl/rand.h>
#include <openssl/ts.h>

#include "protocol/identifiers.h"
#include "softtoken/crypto/certificate.h"
#include "softtoken/crypto/content_info.h"
#include "softtoken/crypto/signed_data.h"

namespace velm::token {
namespace {

using ResponseContext = Handle<TS_RESP_CTX, TS_RESP_CTX_free>;
using Response = Handle<TS_RESP, TS_RESP_free>;
using StampInfo = Handle<TS_TST_INFO, TS_TST_INFO_free>;

// RFC 5612 reserves enterprise number 32473 for documentation.
constexpr const char* kPolicy = "1.3.6.1.4.1.32473.1";
constexpr unsigned kRsaBits = 2048;

ASN1_INTEGER* random_serial(TS_RESP_CTX*, void*) {
  uint64_t value = 0;
  if (RAND_bytes(reinterpret_cast<uint8_t*>(&value), sizeof value) != 1) return nullptr;
  Integer serial(allocated(ASN1_INTEGER_new()));
  if (!serial || ASN1_INTEGER_set_uint64(serial.get(), value >> 1) != 1) return nullptr;
  return serial.release();
}

constexpr KeyKind kKinds[] = {KeyKind::rsa, KeyKind::sm2};

std::optional<Authority> find_authority(Store& store, KeyKind kind) {
  Statement rows(store.database(), "SELECT certificate, key FROM time_stamp_authority");
  while (rows.step()) {
    Authority authority{parse_certificate(rows.bytes(0)), private_key_from_der(rows.bytes(1))};
    if (kind_of(authority.key.get()) == kind) return authority;
  }
  return std::nullopt;
}

void make_stamp_authority(Store& store, KeyKind kind) {
  const Key key = generate_key(kind, kRsaBits);
  const time_t now = std::time(nullptr);
  const CertificateOrder order{.common_name = "Demo Time-Stamp Authority",
                               .usage = Usage::time_stamping,
                               .not_before = now - kDay,
                               .not_after = now + 10 * kYear};
  const Bytes certificate = certificate_der(issue_certificate(store.authority(kind), key.get(), order).get());
  Statement(store.database(), "INSERT INTO time_stamp_authority VALUES(?, ?)", certificate,
            ByteView(private_key_der(key.get())))
      .run();
  set_label(store, kind == KeyKind::sm2 ? kSm2StampAuthorityLabel : kStampAuthorityLabel,
            protocol::kCertificateLabel, certificate);
}

Authority stamp_authority(Store& store, KeyKind kind) {
  prepare_time_stamp_authority(store);
  auto authority = find_authority(store, kind);
  require(authority.has_value(), kKeyNotFound);
  return *std::move(authority);
}

bool is_over_sm3(TS_TST_INFO* info) {
  const ASN1_OBJECT* algorithm = nullptr;
  X509_ALGOR_get0(&algorithm, nullptr, nullptr, TS_MSG_IMPRINT_get_algo(TS_TST_INFO_get_msg_imprint(info)));
  return OBJ_obj2nid(algorithm) == NID_sm3;
}

// OpenSSL cannot sign time-stamp tokens with SM2: sign the TSTInfo that it created again.
void sign_with_sm2(TS_RESP* response, const Authority& authority) {
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

void prepare_time_stamp_authority(Store& store) {
  Transaction transaction(store.database());
  store.database().execute(
      "CREATE TABLE IF NOT EXISTS time_stamp_authority(certificate BLOB NOT NULL, key BLOB NOT NULL)");
  for (const KeyKind kind : kKinds) {
    if (!find_authority(store, kind)) make_stamp_authority(store, kind);
  }
  transaction.commit();
}

Bytes answer_time_stamp_query(Store& store, ByteView query) {
  const Authority authority = stamp_authority(store, KeyKind::rsa);
  const ResponseContext context(allocated(TS_RESP_CTX_new()));
  TS_RESP_CTX* c = context.get();
  bool ready = c != nullptr && TS_RESP_CTX_set_signer_cert(c, authority.certificate.get()) == 1 &&
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
  const Bio bio(allocated(BIO_new_mem_buf(query.data(), static_cast<int>(query.size()))));
  require(bio != nullptr, kUnknownError);
  const Response response(TS_RESP_create_response(c, bio.get()));
  require(response != nullptr, kUnknownError);
  TS_TST_INFO* granted = TS_RESP_get_tst_info(response.get());
  if (granted != nullptr && is_over_sm3(granted))
    sign_with_sm2(response.get(), stamp_authority(store, KeyKind::sm2));
  return der_of<const TS_RESP>(i2d_TS_RESP, response.get());
}

}  // namespace velm::token
