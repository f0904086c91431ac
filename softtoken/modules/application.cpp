#include "softtoken/modules/application.h"

#include <array>
#include <atomic>
#include <memory>

#include "softtoken/modules/saf_call.h"

namespace velm::token {
namespace {

constexpr const char* kStandardPath = "saf_config.dat";
constexpr size_t kMaxApplications = 64;

// Handles are looked up here and never followed: one that is stale or made up is only not found.
constinit std::array<std::atomic<Configuration*>, kMaxApplications> g_applications{};

std::atomic<Configuration*>& slot_of(void* handle) {
  for (auto& slot : g_applications) {
    if (handle != nullptr && slot.load() == handle) return slot;
  }
  throw SafError(kSafBadObject);
}

}  // namespace

void* open_application(const std::string& configuration_path) {
  auto configuration = std::make_unique<Configuration>(load_configuration(configuration_path));
  for (auto& slot : g_applications) {
    Configuration* empty = nullptr;
    if (slot.compare_exchange_strong(empty, configuration.get())) return configuration.release();
  }
  throw SafError(kSafNoMemory);
}

void close_application(void* handle) {
  const std::unique_ptr<Configuration> owner(slot_of(handle).exchange(nullptr));
}

Configuration configuration_of(void* handle) {
  if (handle != nullptr) return *slot_of(handle).load();
  try {
    return load_configuration(kStandardPath);
  } catch (const SafError& error) {
    if (error.code() != kSafFileOpen) throw;
    return {};
  }
}

}  // namespace velm::token
