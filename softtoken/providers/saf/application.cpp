#include "softtoken/providers/saf/application.h"

#include <algorithm>
#include <array>
#include <memory>
#include <mutex>
#include <utility>

#include "softtoken/providers/module_lock.h"
#include "softtoken/providers/saf/saf_call.h"

namespace velm::token {

using namespace protocol;

namespace {

constexpr const char* kStandardPath = "saf_config.dat";
constexpr size_t kMaxApplications = 64;

// Held while a handle is looked up and its configuration is copied or removed.
constinit ModuleLock g_lock;
// Handles are compared and never dereferenced, so a stale or invalid handle is simply not found.
constinit std::array<Configuration*, kMaxApplications> g_applications{};

Configuration*& slot_of(const void* handle) {
  const auto slot = std::ranges::find(g_applications, handle);
  require_saf(handle != nullptr && slot != g_applications.end(), kSafBadObject);
  return *slot;
}

}  // namespace

void* open_application(const std::string& configuration_path) {
  auto configuration = std::make_unique<Configuration>(load_configuration(configuration_path));
  const std::lock_guard lock(g_lock);
  const auto empty = std::ranges::find(g_applications, nullptr);
  require_saf(empty != g_applications.end(), kSafNoMemory);
  return *empty = configuration.release();
}

void close_application(void* handle) {
  const std::lock_guard lock(g_lock);
  const std::unique_ptr<Configuration> closed(std::exchange(slot_of(handle), nullptr));
}

Configuration configuration_of(void* handle) {
  if (handle != nullptr) {
    const std::lock_guard lock(g_lock);
    return *slot_of(handle);
  }
  try {
    return load_configuration(kStandardPath);
  } catch (const SafError& error) {
    if (error.code() != kSafFileOpen) throw;
    return {};
  }
}

}  // namespace velm::token
