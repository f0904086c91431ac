// Converts UTF-8 to the local multi-byte code page: GB18030 if the system has it, otherwise GBK.
#pragma once

#include <windows.h>

#include <cstdlib>
#include <memory>
#include <new>
#include <string>

#include "basekit/basic/utf8_walk.h"
#include "basekit/basic/utility_result.h"
#include "protocol/code_page.h"

namespace velm {

using protocol::kGb18030CodePage;
using protocol::local_code_page;

struct WideTextFree {
  void operator()(wchar_t* text) const { std::free(text); }
};

// Converts a zero-terminated text. In: *length is the size of `destination` in bytes. Out: the length of the
// converted text without its terminating zero, or, if `destination` is null or too small, the required size
// including the terminating zero.
inline int32_t utf8_to_code_page(UINT code_page, const char* source, char* destination, uint64_t* length) {
  if (!source || !length) return kUtilityArgumentNull;

  const int wide_length = MultiByteToWideChar(CP_UTF8, 0, source, -1, nullptr, 0);
  if (wide_length == 0) return kUtilityConversionFailed;
  const std::unique_ptr<wchar_t, WideTextFree> wide(
      static_cast<wchar_t*>(std::calloc(size_t(wide_length) + 1, sizeof(wchar_t))));
  if (!wide) return kUtilityOutOfMemory;
  if (MultiByteToWideChar(CP_UTF8, 0, source, -1, wide.get(), wide_length) == 0) {
    return kUtilityConversionFailed;
  }

  const int needed = WideCharToMultiByte(code_page, 0, wide.get(), -1, nullptr, 0, nullptr, nullptr);
  if (needed == 0) return kUtilityConversionFailed;
  const auto needed_length = static_cast<uint64_t>(needed);
  if (!destination || *length < needed_length) {
    *length = needed_length;
    return destination ? kUtilityTooSmall : kUtilityDone;
  }
  const int written =
      WideCharToMultiByte(code_page, 0, wide.get(), -1, destination, needed, nullptr, nullptr);
  if (written == 0) return kUtilityConversionFailed;
  *length = static_cast<uint64_t>(written) - 1;
  return kUtilityDone;
}

inline int32_t xencoding_utf8_to_gbk(const char* source, char* destination, uint64_t* length) {
  return utf8_to_code_page(local_code_page(IsValidCodePage(kGb18030CodePage)), source, destination, length);
}

// Returns an empty string on failure.
inline std::string xencoding_utf8_to_gbk_string(const char* source) {
  try {
    uint64_t length = 0;
    if (xencoding_utf8_to_gbk(source, nullptr, &length) != kUtilityDone) return {};
    std::string text(length, '\0');
    if (xencoding_utf8_to_gbk(source, text.data(), &length) != kUtilityDone) return {};
    text.resize(length);
    return text;
  } catch (const std::bad_alloc&) {
    return {};
  }
}

}  // namespace velm
