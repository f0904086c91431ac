#include "softtoken/service/request_body.h"

#include <cstring>

#include <openssl/crypto.h>

namespace velm::token {

RequestBody::RequestBody(std::string_view text) {
  make_room(text.size());
  text.copy(memory_.get(), text.size());
  received(text.size());
}

void RequestBody::make_room(size_t size) {
  if (capacity_ >= size + kSpareBytes) return;
  auto larger = std::make_unique_for_overwrite<char[]>(size + kSpareBytes);
  const size_t arrived = size_;
  if (arrived > 0) std::memcpy(larger.get(), memory_.get(), arrived);
  clear();
  memory_ = std::move(larger);
  capacity_ = size + kSpareBytes;
  received(arrived);
}

std::span<char> RequestBody::room() {
  if (capacity_ == 0) return {};
  return {memory_.get() + size_, capacity_ - kSpareBytes - size_};
}

void RequestBody::received(size_t count) {
  size_ += count;
  std::memset(memory_.get() + size_, 0, kSpareBytes);
}

void RequestBody::clear() {
  OPENSSL_cleanse(memory_.get(), size_);
  memory_.reset();
  capacity_ = 0;
  size_ = 0;
}

}  // namespace velm::token
