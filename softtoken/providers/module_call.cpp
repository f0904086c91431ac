#include "softtoken/providers/module_call.h"

#include <openssl/crypto.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "mingw_tls/thread_storage.h"

namespace velm::token {
namespace {

thread_local bool allocation_failed;

// Fallback memory for OpenSSL's initialisation (37 KiB) when the heap is exhausted. It is never reused.
class LoadReserve {
 public:
  void* take(size_t size) {
    const size_t rounded = (size + 15) / 16 * 16;
    if (!open_ || rounded > sizeof bytes_ - used_) return nullptr;
    used_ += rounded;
    return bytes_ + used_ - rounded;
  }
  bool holds(const void* memory) const { return memory >= bytes_ && memory < bytes_ + sizeof bytes_; }
  size_t bytes_from(const void* memory) const {
    return static_cast<size_t>(bytes_ + sizeof bytes_ - static_cast<const unsigned char*>(memory));
  }
  void set_open(bool open) { open_ = open; }

 private:
  alignas(16) unsigned char bytes_[65536]{};
  size_t used_ = 0;
  bool open_ = false;
};

constinit LoadReserve reserve;

void* openssl_malloc(size_t size, const char*, int) {
  void* memory = std::malloc(size);
  if (memory == nullptr) memory = reserve.take(size);
  return noted_allocation(memory, size);
}
void* openssl_realloc(void* memory, size_t size, const char* file, int line) {
  if (!reserve.holds(memory)) return noted_allocation(std::realloc(memory, size), size);
  void* moved = openssl_malloc(size, file, line);
  if (moved != nullptr) std::memcpy(moved, memory, std::min(size, reserve.bytes_from(memory)));
  return moved;
}
void openssl_free(void* memory, const char*, int) {
  if (!reserve.holds(memory)) std::free(memory);
}

bool initialise_openssl() {
  return OPENSSL_init_crypto(OPENSSL_INIT_NO_ATEXIT | OPENSSL_INIT_NO_LOAD_CONFIG, nullptr) == 1;
}

}  // namespace

void open_openssl() {
  CRYPTO_set_mem_functions(openssl_malloc, openssl_realloc, openssl_free);
  reserve.set_open(true);
  if (initialise_openssl()) OSSL_LIB_CTX_get0_global_default();
  reserve.set_open(false);
}

// Libraries also allocate outside module calls, on threads that are not prepared.
void* noted_allocation(void* memory, size_t size) {
  if (memory == nullptr && size != 0 && prepare_thread()) allocation_failed = true;
  return memory;
}

bool begin_module_call() {
  if (!prepare_thread()) return false;
  allocation_failed = false;
  return initialise_openssl();
}

bool memory_ran_out() { return allocation_failed; }

}  // namespace velm::token
