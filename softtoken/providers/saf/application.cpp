#include "softtoken/providers/saf/application.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>

#include "softtoken/providers/saf/saf_call.h"

namespace velm::token {

using namespace protocol;

namespace {

constexpr const char* kStandardPath = "saf_config.dat";
constexpr size_t kMaxApplications = 64;

// Held for the moments in which a handle is looked up and its configuration copied or taken out. Unlike the
// standard library's, it needs nothing from the system, which an unloaded module would leave behind.
class SpinLock {
 public:
  void lock() {
    while (taken_.test_and_set(std::memory_order_acquire)) std::this_thread::yield();
  }
  void unlock() { taken_.clear(std::memory_order_release); }

 private:
  std::atomic_flag taken_;
};

constinit SpinLock g_lock;
// Handles are looked up here and never followed: one that is stale or made up is only not found.
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
