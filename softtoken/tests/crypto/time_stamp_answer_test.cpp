#include "softtoken/crypto/time_stamp_answer.h"

#include <gtest/gtest.h>

#include <ctime>
#include <set>

#include <openssl/ts.h>

#include "softtoken/crypto/certificate.h"
#include "softtoken/crypto/content_info.h"

namespace velm::token {
namespace {

using Request = Handle<TS_REQ, TS_REQ_free>;
using Imprint = Handle<TS_MSG_IMPRINT, TS_MSG_IMPRINT_free>;
using Response = Handle<TS_RESP, TS_RESP_free>;

Bytes query_for(const EVP_MD* digest, uint64_t nonce) {
  const Imprint imprint(TS_MSG_IMPRINT_new());
  const Algorithm algorithm(X509_ALGOR_new());
  set_algorithm(algorithm.get(), Object(OBJ_nid2obj(EVP_MD_get_type(digest))), kUnknownError);
  Bytes value(static_cast<size_t>(EVP_MD_get_size(digest)), 7);
  TS_MSG_IMPRINT_set_algo(imprint.get(), algorithm.get());
  TS_MSG_IMPRINT_set_msg(imprint.get(), value.data(), static_cast<int>(value.size()));
  const Request request(TS_REQ_new());
  const Integer number(ASN1_INTEGER_new());
  ASN1_INTEGER_set_uint64(number.get(), nonce);
  TS_REQ_set_version(request.get(), 1);
  TS_REQ_set_msg_imprint(request.get(), imprint.get());
  TS_REQ_set_nonce(request.get(), number.get());
  TS_REQ_set_cert_req(request.get(), 1);
  return der_of<const TS_REQ>(i2d_TS_REQ, request.get());
}

class TimeStampAnswer : public testing::Test {
 protected:
  static Authority stamp_authority(KeyKind kind) {
    const Authority ca = make_authority(kind);
    Key key = generate_key(kind, 2048);
    const time_t now = std::time(nullptr);
    Certificate certificate =
        issue_certificate(ca, key.get(), {"TSA", Usage::time_stamping, now - kDay, now + kDay});
    return {std::move(certificate), std::move(key)};
  }
  Response answer(const EVP_MD* digest, uint64_t nonce) const {
    const Bytes response = time_stamp_answer(query_for(digest, nonce), [&](KeyKind kind) {
      const Authority& used = kind == KeyKind::sm2 ? sm2_ : rsa_;
      EVP_PKEY_up_ref(used.key.get());
      X509_up_ref(used.certificate.get());
      return Authority{Certificate(used.certificate.get()), Key(used.key.get())};
    });
    return from_der<Response>(d2i_TS_RESP, response, kBadInput);
  }

  const Authority sm2_ = stamp_authority(KeyKind::sm2);
  const Authority rsa_ = stamp_authority(KeyKind::rsa);
};

TEST_F(TimeStampAnswer, SerialNumbersArePositiveAndDoNotRepeat) {
  for (const EVP_MD* digest : {EVP_sm3(), EVP_sha256()}) {
    std::set<uint64_t> serials;
    for (uint64_t nonce = 1; nonce <= 60; ++nonce) {
      const Response response = answer(digest, nonce);
      TS_TST_INFO* info = TS_RESP_get_tst_info(response.get());
      ASSERT_NE(info, nullptr);
      const ASN1_INTEGER* serial = TS_TST_INFO_get_serial(info);
      uint64_t number = 0;
      ASSERT_EQ(ASN1_INTEGER_get_uint64(&number, serial), 1) << "negative or too long";
      EXPECT_TRUE(serials.insert(number).second) << number;
      uint64_t answered = 0;
      ASN1_INTEGER_get_uint64(&answered, TS_TST_INFO_get_nonce(info));
      EXPECT_EQ(answered, nonce);
    }
    EXPECT_GT(*serials.rbegin(), uint64_t{1} << 48) << "the serial numbers use few of their bits";
  }
}

}  // namespace
}  // namespace velm::token
