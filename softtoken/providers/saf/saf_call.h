#pragma once

#include <new>
#include <string>

#include "protocol/result_codes.h"
#include "softtoken/crypto/bytes.h"
#include "softtoken/crypto/token_error.h"
#include "softtoken/providers/module_call.h"

namespace velm::token {

/** Ends a call with a result code of this module. */
class SafError : public std::exception {
 public:
  explicit SafError(uint32_t code) : code_(code) {}
  uint32_t code() const { return code_; }
  const char* what() const noexcept override { return "provider error"; }

 private:
  uint32_t code_;
};

inline void require_saf(bool holds, uint32_t code) {
  if (!holds) throw SafError(code);
}

/** Runs the body of an exported function and returns its result code. No exception escapes. */
template <typename Body>
uint32_t saf_call(Body&& body) noexcept {
  if (!begin_module_call()) return protocol::kSafNoMemory;
  try {
    body();
    return protocol::kSafSuccess;
  } catch (const SafError& error) {
    return memory_ran_out() ? protocol::kSafNoMemory : error.code();
  } catch (const TokenError& error) {
    return memory_ran_out() ? protocol::kSafNoMemory : protocol::saf_code_of(error.code());
  } catch (const std::bad_alloc&) {
    return protocol::kSafNoMemory;
  } catch (...) {
    return protocol::kSafUnknownError;
  }
}

/** An input buffer. A null pointer is accepted only with length 0. */
ByteView input_bytes(const uint8_t* data, uint32_t length);
/** An input buffer that must not be empty. */
ByteView required_bytes(const uint8_t* data, uint32_t length);
/** A non-empty string with an explicit length, or NUL-terminated. */
std::string required_text(const char* text, uint32_t length);
std::string required_text(const char* text);

/**
 * Copies a result to the caller. With a null output, only the required size is stored. `*output_length` is
 * the capacity on input; if it is too small, the call fails and nothing is written.
 */
void deliver(ByteView result, void* output, uint32_t* output_length);
/** deliver() without the copy, for a result that the caller writes. Returns false if the output is null. */
bool deliver_size(uint64_t size, const void* output, uint32_t* output_length);

}  // namespace velm::token
