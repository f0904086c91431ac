// Every exported function of the provider modules, with arguments for which it succeeds.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "softtoken/crypto/bytes.h"

namespace velm::token {

/** Output buffers of one call. */
struct ModuleOutputs {
  static constexpr uint32_t kRoom = 16384;
  static constexpr uint8_t kFill = 0xAA;
  static constexpr size_t kCount = 6;

  Bytes bytes[kCount];
  uint32_t lengths[kCount] = {};
  uint32_t numbers[3] = {kRoom, kRoom, kRoom};
  void* handle = nullptr;

  ModuleOutputs() {
    for (Bytes& output : bytes) output.assign(kRoom, kFill);
    for (uint32_t& length : lengths) length = kRoom;
  }

  uint8_t* data(size_t i = 0) { return bytes[i].data(); }
  char* text() { return reinterpret_cast<char*>(data()); }
  uint32_t* length(size_t i = 0) { return &lengths[i]; }

  bool operator==(const ModuleOutputs&) const = default;
};

struct ModuleCall {
  const char* name;
  std::function<uint32_t(ModuleOutputs&)> call;
  /** Whether repeated calls write the same output. Signatures and handles differ. */
  bool repeatable = true;
  /** Expected result: success, unless the call requires a service at the standard address. */
  uint32_t code = 0;
};

/** The output file of calls that write one. */
constexpr const char* kModuleOutputFile = "module_call.out";

/** The first use creates keys and starts a service. */
std::vector<ModuleCall> every_saf_call();
std::vector<ModuleCall> every_openssl_api_call();

/** Reverses the effects of a call, so that it can be repeated. */
void undo(const ModuleCall& call, ModuleOutputs& outputs);

}  // namespace velm::token
