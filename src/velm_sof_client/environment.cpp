// Initialisation, finalisation, version and random numbers.
#include <algorithm>
#include <cstring>
#include <memory>

#include "velm_sof_client/service_call.h"

using namespace velm;

uint32_t SOF_Initialize(void) {
  return exported_call([&] {
    LOG_ENTRY("SOF_Initialize\n");
    JsonCall call{"SOF_Initialize", 128};
    call.post(R"({"funcid":%d})", FunctionNumber::Initialize);
  });
}

uint32_t SOF_Finalize(void) {
  return exported_call([&] {
    LOG_ENTRY("SOF_Finalize\n");
    JsonCall call{"SOF_Finalize", 128};
    call.post(R"({"funcid":%d})", FunctionNumber::Finalize);
  });
}

uint32_t SOF_GetVersion(char* pszVersion) {
  return exported_call([&] {
    JsonCall call{"SOF_GetVersion", 128};
    call.post(R"({"funcid":%d})", FunctionNumber::GetVersion);
    if (pszVersion) std::strcpy(pszVersion, call.result().member("Version").text("0.0.0"));
  });
}

namespace {

// Decodes the service's random bytes. The buffer is large enough for the decoder's output and for the `count`
// bytes that the caller reads, and it is zeroed: missing random bytes are zero.
std::unique_ptr<uint8_t[]> decode_random(const char* text, uint32_t count) {
  const size_t text_length = std::strlen(text);
  auto bytes = std::make_unique<uint8_t[]>(std::max<size_t>(text_length, count) + 1);
  uint32_t decoded = 0;
  if (VELM_Openssl_Base64Decode(reinterpret_cast<const uint8_t*>(text), static_cast<uint32_t>(text_length),
                                bytes.get(), &decoded) != 0) {
    LOG_FAILURE("SOF_GenRandom->xbase64::decode [%s]\n", text);
    fail(SOR_BASE64DECODEERR);
  }
  return bytes;
}

}  // namespace

uint32_t SOF_GenRandom(uint32_t uRandomLen, uint8_t* pRandomData) {
  return exported_call([&] {
    LOG_ENTRY("SOF_GenRandom uRandomLen=%u\n", uRandomLen);
    require_pointer(pRandomData, "pRandomData");

    // Sic: the capacity wraps at 32 bits. The minimum leaves room for an answer with only a result code.
    JsonCall call{"SOF_GenRandom", std::max(uRandomLen * 2 + 256, 256u)};
    call.post(R"({"funcid":%d,"Len":%u})", FunctionNumber::GenRandom, uRandomLen);

    const auto random = decode_random(call.result().member("RandomData").text(), uRandomLen);
    std::copy_n(random.get(), uRandomLen, pRandomData);
  });
}
