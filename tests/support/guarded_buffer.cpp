#include "support/guarded_buffer.h"

#include <windows.h>

#include <algorithm>
#include <cstring>
#include <new>

namespace velm::test {
namespace {

constexpr size_t kPageBytes = 4096;

}  // namespace

GuardedBuffer::GuardedBuffer(size_t size) : size_(size), accessible_((size / kPageBytes + 1) * kPageBytes) {
  pages_ = static_cast<unsigned char*>(
      VirtualAlloc(nullptr, accessible_ + kPageBytes, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE));
  DWORD before;
  if (!pages_ || !VirtualProtect(pages_ + accessible_, kPageBytes, PAGE_NOACCESS, &before)) {
    throw std::bad_alloc();
  }
  std::memset(pages_, kFill, accessible_);
  data_ = pages_ + accessible_ - size_;
}

GuardedBuffer::~GuardedBuffer() { VirtualFree(pages_, 0, MEM_RELEASE); }

std::string GuardedBuffer::bytes(size_t length) const {
  return {reinterpret_cast<const char*>(data_), std::min(length, size_)};
}

bool GuardedBuffer::untouched(size_t from) const {
  const auto is_fill = [](unsigned char byte) { return byte == kFill; };
  return std::all_of(pages_, data_, is_fill) && std::all_of(data_ + from, data_ + size_, is_fill);
}

GuardedBytes::GuardedBytes(std::string_view bytes) : buffer_(bytes.size()) {
  if (!bytes.empty()) std::memcpy(buffer_.data(), bytes.data(), bytes.size());
}

}  // namespace velm::test
