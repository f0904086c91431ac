#include "provider_abi/velm_client_saf.h"
#include "softtoken/crypto/certificate.h"
#include "softtoken/crypto/random.h"
#include "softtoken/providers/saf/application.h"
#include "softtoken/providers/saf/content_hash.h"
#include "softtoken/providers/saf/saf_call.h"
#include "softtoken/providers/saf/time_stamp.h"
#include "softtoken/providers/saf/token_client.h"

using namespace velm::protocol;
using namespace velm::token;

namespace {

using HashOf = std::function<Bytes(DigestId)>;

HashOf hash_of_data(ByteView data) {
  return [data](DigestId digest) { return hash(digest, data); };
}

HashOf hash_of_file(const uint8_t* path, uint32_t path_length) {
  return [path = as_text(required_bytes(path, path_length))](DigestId digest) {
    return hash_file(digest, {}, path);
  };
}

Bytes fetch_stamp(const Configuration& configuration, DigestId digest, const HashOf& hash_of) {
  const TimeStampQuery query(digest, hash_of(digest));
  Bytes answer = TokenClient(configuration).time_stamp(query.der());
  query.check(answer);
  return answer;
}

// Time-stamp tokens of one TSA differ by a few bytes, because serial number and nonce vary in length.
void deliver_stamp(void* application, DigestId digest, const HashOf& hash_of, uint8_t* stamp,
                   uint32_t* length) {
  constexpr uint32_t kVariation = 16;
  const Bytes answer = fetch_stamp(configuration_of(application), digest, hash_of);
  deliver(answer, stamp, length);
  if (stamp == nullptr) *length += kVariation;
}

// The TSA whose time an application accepts: the configured one, or that of the local service.
Certificate trusted_authority(const Configuration& configuration) {
  if (!configuration.time_stamp_certificate.empty())
    return parse_certificate(read_time_stamp_certificate(configuration));
  return parse_certificate(TokenClient(configuration).label(kTimeStampAuthorityLabel, kCertificateLabel));
}

// Reads the TSA's clock by requesting a time-stamp token for random bytes. Callers have no token that they
// could verify, so it is verified here.
void deliver_time(void* application, uint8_t* time, uint32_t* time_length) {
  const Configuration configuration = configuration_of(application);
  const Bytes data = random_bytes(32);
  const TimeStamp stamp(fetch_stamp(configuration, DigestId::sha256, hash_of_data(data)));
  stamp.verify(trusted_authority(configuration).get(), hash_of_data(data));
  deliver(as_bytes(stamp.time()), time, time_length);
}

struct StampArguments {
  const uint8_t* stamp;
  uint32_t stamp_length;
  const uint8_t* certificate;
  uint32_t certificate_length;
  uint8_t* time_info;
  uint32_t* time_info_length;
};

void verify_stamp(const StampArguments& arguments, const HashOf& hash_of) {
  const TimeStamp stamp(required_bytes(arguments.stamp, arguments.stamp_length));
  const Certificate authority =
      parse_certificate(required_bytes(arguments.certificate, arguments.certificate_length));
  stamp.verify(authority.get(), hash_of);
  deliver(as_bytes(stamp.time()), arguments.time_info, arguments.time_info_length);
}

}  // namespace

uint32_t SAF_Ext_TspGetTime(uint8_t* time, uint32_t* time_length) {
  return saf_call([&] { deliver_time(nullptr, time, time_length); });
}

uint32_t SAF_Ext_TspGetStamp(void* application, const char*, uint32_t, const uint8_t* data,
                             uint32_t data_length, uint8_t* stamp, uint32_t* stamp_length) {
  return saf_call([&] {
    deliver_stamp(application, DigestId::sha256, hash_of_data(input_bytes(data, data_length)), stamp,
                  stamp_length);
  });
}

uint32_t SAF_Ext_TspVerifyStamp(const uint8_t* data, uint32_t data_length, const uint8_t* stamp,
                                uint32_t stamp_length, const uint8_t* certificate,
                                uint32_t certificate_length, uint8_t* time_info, uint32_t* time_info_length) {
  return saf_call([&] {
    verify_stamp({stamp, stamp_length, certificate, certificate_length, time_info, time_info_length},
                 hash_of_data(input_bytes(data, data_length)));
  });
}

uint32_t SAF_Ext_TspGetFileStamp(void* application, const char*, uint32_t, const uint8_t* file,
                                 uint32_t file_length, uint8_t* stamp, uint32_t* stamp_length) {
  return saf_call([&] {
    deliver_stamp(application, DigestId::sha256, hash_of_file(file, file_length), stamp, stamp_length);
  });
}

uint32_t SAF_Ext_TspVerifyFileStamp(const uint8_t* file, uint32_t file_length, const uint8_t* stamp,
                                    uint32_t stamp_length, const uint8_t* certificate,
                                    uint32_t certificate_length, uint8_t* time_info,
                                    uint32_t* time_info_length) {
  return saf_call([&] {
    verify_stamp({stamp, stamp_length, certificate, certificate_length, time_info, time_info_length},
                 hash_of_file(file, file_length));
  });
}

uint32_t SAF_Ext_GM_Tsp_GetTime(void* application, uint8_t* time, uint32_t* time_length) {
  return saf_call([&] { deliver_time(application, time, time_length); });
}

// `selector` is the digest algorithm of GM/T 0006 that the time-stamp token covers the data with; 0 selects
// SM3.
uint32_t SAF_Ext_GM_Tsp_SealTimeStamp(void* application, uint32_t selector, const uint8_t* data,
                                      uint32_t data_length, uint8_t* stamp, uint32_t* stamp_length) {
  return saf_call([&] {
    const DigestId digest = selector == 0 ? DigestId::sm3 : static_cast<DigestId>(selector);
    deliver_stamp(application, digest, hash_of_data(input_bytes(data, data_length)), stamp, stamp_length);
  });
}

uint32_t SAF_Ext_GM_Tsp_VerifyTimeStamp(void*, const uint8_t* data, uint32_t data_length,
                                        const uint8_t* stamp, uint32_t stamp_length,
                                        const uint8_t* certificate, uint32_t certificate_length,
                                        uint8_t* time_info, uint32_t* time_info_length) {
  return SAF_Ext_TspVerifyStamp(data, data_length, stamp, stamp_length, certificate, certificate_length,
                                time_info, time_info_length);
}
