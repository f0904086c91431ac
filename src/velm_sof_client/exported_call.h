// Shared by all exported functions: log lines, argument checks and the exception boundary.
#pragma once

#include <concepts>
#include <cstdint>
#include <new>
#include <source_location>
#include <type_traits>

#include "basekit/basic/log.h"
#include "mingw_tls/thread_storage.h"
#include "velm_sof_client.h"

namespace velm {

// Sic: log lines of all exported functions print this source path, not that of their own file.
inline constinit log::Unit client_unit{R"(..\..\src\velm_sof_client)"};

#define LOG_ENTRY(...) \
  ::velm::log::write(::velm::client_unit, ::velm::log::kInformation, __LINE__, __VA_ARGS__)
#define LOG_FAILURE(...) ::velm::log::write(::velm::client_unit, ::velm::log::kError, __LINE__, __VA_ARGS__)

// Thrown to end an exported call with a result code, after the log line has been written.
struct CallFailure {
  uint32_t code;
};

[[noreturn]] inline void fail(uint32_t code) { throw CallFailure{code}; }

// Runs the body of an exported function and converts exceptions to result codes. Returns the body's result,
// or SOR_OK if the body returns void. A noexcept body runs without thread storage, so that it works when
// memory is exhausted. It must not log, because logging requires thread storage.
template <std::invocable Body>
uint32_t exported_call(Body&& body) noexcept {
  const auto run = [&]() noexcept(std::is_nothrow_invocable_v<Body>) -> uint32_t {
    if constexpr (std::is_void_v<std::invoke_result_t<Body>>) {
      body();
      return SOR_OK;
    } else {
      return body();
    }
  };
  if constexpr (std::is_nothrow_invocable_v<Body>) return run();
  if (!prepare_thread()) return SOR_MEMORYERR;
  try {
    return run();
  } catch (const CallFailure& failure) {
    return failure.code;
  } catch (const std::bad_alloc&) {
    return SOR_MEMORYERR;
  } catch (...) {
    return SOR_UNKNOWNERR;
  }
}

// Replacements for a null text. Sic: the log format prints "(null)", "NULL" or "null", depending on the
// function.
inline const char* as_given(const char* text) { return text ? text : "(null)"; }
inline const char* or_upper_null(const char* text) { return text ? text : "NULL"; }
inline const char* or_lower_null(const char* text) { return text ? text : "null"; }

// Sic: log lines and the PIN prompt take only the low 32 bits of a pointer or handle.
inline uint32_t low_32_bits(const void* pointer) {
  return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(pointer));
}

using CallSite = std::source_location;

inline int line_of(const CallSite& site) { return static_cast<int>(site.line()); }

inline void require_pointer(const void* pointer, const char* name, CallSite site = CallSite::current()) {
  if (pointer) return;
  log::write(client_unit, log::kError, line_of(site), "%s is null!\n", name);
  fail(SOR_NULLPOINTERERR);
}

inline void require_text(const char* text, const char* name, CallSite site = CallSite::current()) {
  if (text[0] != '\0') return;
  log::write(client_unit, log::kError, line_of(site), "string %s is empty!\n", name);
  fail(SOR_INDATAERR);
}

inline void require_capacity(uint32_t given, uint32_t expected, const char* name,
                             CallSite site = CallSite::current()) {
  if (given >= expected) return;
  log::write(client_unit, log::kError, line_of(site),
             "buffer size %s is too small, expect %u but %u was given!\n", name, expected, given);
  fail(SOR_INDATALENERR);
}

// Adds lengths from the caller. Fails with SOR_MEMORYERR if the sum exceeds 32 bits.
template <std::unsigned_integral... Length>
uint32_t length_sum(Length... lengths) {
  const uint64_t sum = (uint64_t{0} + ... + lengths);
  if (sum > UINT32_MAX) fail(SOR_MEMORYERR);
  return static_cast<uint32_t>(sum);
}

// Writes an output unless its pointer is null.
template <class Value>
void store(Value* output, std::type_identity_t<Value> value) {
  if (output) *output = value;
}

}  // namespace velm
