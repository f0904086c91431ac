#pragma once

#include <algorithm>
#include <initializer_list>
#include <optional>
#include <string>

#include "bytes.h"
#include "failure.h"
#include "velm_sof_client.h"

/** Returns the library's text for a code in UTF-8; empty if it has none. */
std::string error_text(uint32_t code);

/**
 * Like error_text(). For a code of the signature provider, returns the text of the code that the library maps
 * it to.
 */
std::string meaning_of(uint32_t code);

/** Throws Failure unless `code` is 0. */
void check(const char* function, uint32_t code);

/** Like check(), for verification calls: a negative verdict has an exit status of its own. */
void check_verdict(const char* function, uint32_t code);

/**
 * Returns what a call writes into a buffer of `capacity` bytes; `call` receives the buffer and its length.
 * Returns nothing if the code is one of `absent`, which mean that the object does not exist.
 */
template <class Call>
std::optional<Bytes> fetch_if_any(const char* function, uint64_t capacity,
                                  std::initializer_list<uint32_t> absent, Call call) {
  Bytes output(capacity);
  uint32_t length = size_of(output);
  const uint32_t code = call(output.data(), &length);
  if (std::ranges::find(absent, code) != absent.end()) return {};
  check(function, code);
  output.resize(std::min<size_t>(length, output.size()));
  return output;
}

/** Like fetch_if_any(), but the object must exist. */
template <class Call>
Bytes fetch_within(const char* function, uint64_t capacity, Call call) {
  return *fetch_if_any(function, capacity, {}, call);
}

/**
 * Like fetch_within(), for a call with a size query. `at_least`: minimum capacity, if the query may return
 * less.
 */
template <class Call>
Bytes fetch(const char* function, Call call, uint64_t at_least = 1) {
  uint32_t length = 0;
  check(function, call(nullptr, &length));
  return fetch_within(function, std::max<uint64_t>(length, at_least), call);
}

/** The result of a call that must not be empty. */
inline Bytes required(const char* function, Bytes result, const char* what) {
  if (result.empty()) throw missing_result(function, std::string("the answer holds no ") + what);
  return result;
}
