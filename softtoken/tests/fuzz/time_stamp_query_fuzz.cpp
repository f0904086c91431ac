// Fuzzes queries to the TSA. Every answer must be parseable, and every granted time-stamp token must cover
// what the query contained.
#include <openssl/ts.h>

#include "softtoken/crypto/certificate.h"
#include "softtoken/providers/saf/time_stamp.h"
#include "softtoken/store/time_stamp_authority.h"
#include "softtoken/store/user_data.h"
#include "softtoken/tests/fuzz/token_under_fuzz.h"
#include "tests/fuzz/fuzz_target.h"

using namespace velm::token;
using velm::fuzz::expect;

namespace {

using Request = Handle<TS_REQ, TS_REQ_free>;

// Ignores data after the query, as the TSA does.
Request request_in(ByteView query) {
  const uint8_t* at = query.data();
  Request request(d2i_TS_REQ(nullptr, &at, static_cast<long>(query.size())));
  expect(request != nullptr, "a granted request is a query");
  return request;
}

Bytes imprint_of(const TS_REQ* request) {
  return copy_of(view_of(TS_MSG_IMPRINT_get_msg(TS_REQ_get_msg_imprint(const_cast<TS_REQ*>(request)))));
}

// The TSA signs SM3 imprints with SM2.
const char* authority_label(const TS_REQ* request) {
  const ASN1_OBJECT* algorithm = nullptr;
  X509_ALGOR_get0(&algorithm, nullptr, nullptr,
                  TS_MSG_IMPRINT_get_algo(TS_REQ_get_msg_imprint(const_cast<TS_REQ*>(request))));
  return OBJ_obj2nid(algorithm) == NID_sm3 ? kSm2TimeStampAuthorityLabel : kTimeStampAuthorityLabel;
}

bool is_granted(ByteView answer) {
  const auto response = from_der<Handle<TS_RESP, TS_RESP_free>>(d2i_TS_RESP, answer, kBadInput);
  return TS_RESP_get_token(response.get()) != nullptr;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static fuzz::TokenUnderFuzz token;
  token.begin_input();
  Store& store = token.service().token.store();
  const std::string_view query(reinterpret_cast<const char*>(data), size);
  RequestBody body(query);
  const Answer answer = answer_time_stamp(token.service(), body);
  expect(answer.status == 200, "every query gets a response");
  if (!is_granted(as_bytes(answer.body))) return 0;
  const Request request = request_in(as_bytes(query));
  const TimeStamp stamp(as_bytes(answer.body));
  const Certificate authority =
      parse_certificate(label(store, authority_label(request.get()), fuzz::kCertificateLabel));
  expect(stamp.time().size() == sizeof "20260131235959Z" - 1, "a time-stamp token has a time");
  try {
    stamp.verify(authority.get(), [&](DigestId) { return imprint_of(request.get()); });
  } catch (const TokenError& error) {
    // The TSA accepts digests that the module cannot compute.
    expect(error.code() == kAlgorithmUnsupported, "a time-stamp token verifies under the TSA");
  }
  return 0;
}
