#include "text.h"

#include <windows.h>

#include <algorithm>

#include "velm_sof.hpp"

namespace {

std::wstring wide_from(UINT code_page, DWORD flags, std::string_view text) {
  const int size = static_cast<int>(text.size());
  std::wstring wide(static_cast<size_t>(MultiByteToWideChar(code_page, flags, text.data(), size, nullptr, 0)),
                    L'\0');
  MultiByteToWideChar(code_page, flags, text.data(), size, wide.data(), static_cast<int>(wide.size()));
  return wide;
}

std::string narrow_from(UINT code_page, DWORD flags, std::wstring_view wide, BOOL* replaced) {
  const int size = static_cast<int>(wide.size());
  const int length = WideCharToMultiByte(code_page, flags, wide.data(), size, nullptr, 0, nullptr, nullptr);
  std::string text(static_cast<size_t>(length), '\0');
  WideCharToMultiByte(code_page, flags, wide.data(), size, text.data(), length, nullptr, replaced);
  return text;
}

}  // namespace

std::wstring wide_of(std::string_view utf8) { return wide_from(CP_UTF8, 0, utf8); }

std::string utf8_of(std::wstring_view wide) { return narrow_from(CP_UTF8, 0, wide, nullptr); }

std::string readable(std::string_view text) {
  const bool is_utf8 = text.empty() || !wide_from(CP_UTF8, MB_ERR_INVALID_CHARS, text).empty();
  return is_utf8 ? std::string(text) : velm::sof::utf8_from_gbk(text);
}

std::vector<std::string> readable_texts(std::vector<std::string> texts) {
  for (std::string& text : texts) text = readable(text);
  return texts;
}

bool is_ascii(std::wstring_view text) {
  return std::ranges::all_of(text, [](wchar_t c) { return c < 0x80; });
}

std::string in_code_page(std::wstring_view wide) {
  if (GetACP() == CP_UTF8) return utf8_of(wide);
  BOOL replaced = FALSE;
  const std::string text = narrow_from(CP_ACP, WC_NO_BEST_FIT_CHARS, wide, &replaced);
  return replaced ? std::string() : text;
}
