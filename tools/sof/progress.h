#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <type_traits>
#include <utility>

/**
 * Runs a library call that processes a file. If the file exceeds 8 MiB and standard error is a console, shows
 * how much this process has read, or only the elapsed time if that is unknown.
 * @param size Size of the file in bytes.
 */
void show_progress(uint64_t size, const std::function<void()>& call);

/** Like show_progress(), for a call with a result. */
template <class Call>
auto watched(uint64_t size, Call call) {
  if constexpr (std::is_void_v<decltype(call())>) {
    show_progress(size, call);
  } else {
    std::optional<decltype(call())> result;
    show_progress(size, [&] { result = call(); });
    return *std::move(result);
  }
}
