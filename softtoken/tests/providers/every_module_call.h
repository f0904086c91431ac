// Every exported function of the provider modules, with arguments that let it succeed.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "softtoken/crypto/bytes.h"

namespace velm::token {

/** What one call writes to. */
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
  /** Whether the call writes the same when it is repeated; signatures and handles differ. */
  bool repeatable = true;
  /** What it returns: success, unless it needs a service at the standard address. */
  uint32_t code = 0;
};

/** The file that calls write, where they write one. */
constexpr const char* kModuleOutputFile = "module_call.out";

/** Of velm_client_saf.dll, and of velm_openssl_api.dll. The first call makes keys and starts a service. */
std::vector<ModuleCall> every_saf_call();
std::vector<ModuleCall> every_openssl_api_call();

/** Undoes what a call may have done, so that it can be repeated. */
void undo(const ModuleCall& call, ModuleOutputs& outputs);

}  // namespace velm::token
