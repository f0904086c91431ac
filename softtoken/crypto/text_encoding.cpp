#include "softtoken/crypto/text_encoding.h"

#ifdef _WIN32
#include <windows.h>

#include <openssl/crypto.h>

#include "protocol/code_page.h"
#else
#include <iconv.h>
#endif

#include <cstdint>

namespace velm::token {

size_t utf8_character_length(std::string_view text) {
  const auto at = [&](size_t i) { return static_cast<uint8_t>(text[i]); };
  const uint8_t lead = at(0);
  if (lead < 0x80) return 1;
  const size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
  if (lead < 0xC2 || lead > 0xF4 || text.size() < length) return 0;
  uint32_t point = lead & (0xFFu >> (length + 1));
  for (size_t i = 1; i < length; ++i) {
    if ((at(i) & 0xC0) != 0x80) return 0;
    point = point << 6 | (at(i) & 0x3Fu);
  }
  const bool overlong = (length == 3 && point < 0x800) || (length == 4 && point < 0x10000);
  const bool surrogate = point >= 0xD800 && point <= 0xDFFF;
  return overlong || surrogate || point > 0x10FFFF ? 0 : length;
}

bool is_utf8(std::string_view text) {
  while (!text.empty()) {
    const size_t length = utf8_character_length(text);
    if (length == 0) return false;
    text.remove_prefix(length);
  }
  return true;
}

#ifdef _WIN32

std::optional<std::string> gbk_to_utf8(std::string_view text) {
  if (text.empty()) return std::string();
  const UINT code_page = protocol::local_code_page(IsValidCodePage(protocol::kGb18030CodePage) != FALSE);
  const int size = static_cast<int>(text.size());
  std::wstring wide(text.size(), L'\0');
  const int length =
      MultiByteToWideChar(code_page, MB_ERR_INVALID_CHARS, text.data(), size, wide.data(), size);
  if (length <= 0) return std::nullopt;
  std::string utf8(static_cast<size_t>(length) * 3, '\0');
  const int bytes = WideCharToMultiByte(CP_UTF8, 0, wide.data(), length, utf8.data(),
                                        static_cast<int>(utf8.size()), nullptr, nullptr);
  OPENSSL_cleanse(wide.data(), wide.size() * sizeof(wchar_t));
  if (bytes <= 0) return std::nullopt;
  utf8.resize(static_cast<size_t>(bytes));
  return utf8;
}

#else

std::optional<std::string> gbk_to_utf8(std::string_view text) {
  const iconv_t converter = iconv_open("UTF-8", "GB18030");
  if (converter == reinterpret_cast<iconv_t>(-1)) return std::nullopt;
  std::string utf8(text.size() * 2, '\0');
  // iconv() does not modify its input.
  char* from = const_cast<char*>(text.data());
  char* to = utf8.data();
  size_t from_left = text.size();
  size_t to_left = utf8.size();
  const bool converted = iconv(converter, &from, &from_left, &to, &to_left) != static_cast<size_t>(-1);
  iconv_close(converter);
  if (!converted) return std::nullopt;
  utf8.resize(utf8.size() - to_left);
  return utf8;
}

#endif

std::string utf8_of(std::string_view text) {
  if (is_utf8(text)) return std::string(text);
  auto converted = gbk_to_utf8(text);
  return converted ? *std::move(converted) : std::string(text);
}

}  // namespace velm::token
