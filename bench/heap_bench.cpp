// Peak heap use of a JSON call and of a byte-frame call, in bytes per byte of the caller's data.
#include <functional>
#include <string>

#include "bench/measurement.h"
#include "support/allocation_faults.h"
#include "support/client_library.h"
#include "support/service_double.h"
#include "support/settled_memory.h"
#include "support/standins.h"

using namespace velm::bench;
using namespace velm::test;

namespace {

constexpr uint32_t kDataBytes = 64 << 20;

double heap_per_byte(const ClientLibrary& library, const std::function<uint32_t()>& call) {
  AllocationFaults memory(library.module());
  require(call() == SOR_OK, "the call failed");
  require(memory.outstanding() == 0, "the call leaked memory");
  return static_cast<double>(memory.peak_bytes()) / kDataBytes;
}

void measure() {
  Standins standins;
  ServiceDouble service;
  ClientLibrary library;
  settle_memory(library);
  const std::string data(kDataBytes, 'd'), certificate(1024, 'c');
  const auto* bytes = reinterpret_cast<const uint8_t*>(data.data());

  uint8_t signature[1536];
  uint32_t signature_length = 0;
  service.answers(json(R"({"ErrorCode":"0","Result":{"Sign":"c2lnbmF0dXJl"}})"));
  const double as_json = heap_per_byte(
      library, [&] { return library.SOF_SignData("C1", bytes, kDataBytes, signature, &signature_length); });

  std::string envelope(kDataBytes + 1024, '\0');
  uint32_t envelope_length = 0;
  service.answers(frame(0, data));
  const double as_frame = heap_per_byte(library, [&] {
    return library.SOF_EncryptData(reinterpret_cast<const uint8_t*>(certificate.data()), 1024, bytes,
                                   kDataBytes, reinterpret_cast<uint8_t*>(envelope.data()), &envelope_length);
  });
  require(signature_length == 9 && envelope_length == kDataBytes, "unexpected output length");

  report("json_heap_per_byte", as_json);
  report("frame_heap_per_byte", as_frame);
}

}  // namespace

int main() { return run(measure); }
