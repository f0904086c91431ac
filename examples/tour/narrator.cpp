#include "narrator.h"

#include <windows.h>

#include <algorithm>
#include <cstdio>

#include "velm_sof_client.h"

namespace {

constexpr UINT kGb18030 = 54936;
constexpr UINT kGbk = 936;

std::string error_text(uint32_t code) {
  char text[64] = "no text";
  SOF_Ext_GetErrInfo(code, text);
  return from_gbk(text);
}

}  // namespace

void Narrator::chapter(const std::string& title) { std::printf("\n%s\n", title.c_str()); }

bool Narrator::call(const std::string& what, uint32_t code, uint32_t expected) {
  const bool well = code == expected;
  ++calls_;
  failures_ += well ? 0 : 1;
  std::string result = "done";
  if (code != 0) {
    char number[16];
    std::snprintf(number, sizeof number, "0x%08X", static_cast<unsigned>(code));
    result = std::string(well ? "refused, as it should be: " : "FAILED: ") + number + " " + error_text(code);
  } else if (!well) {
    result = "FAILED: it succeeded, but should have been refused";
  }
  std::printf("  %s: %s\n", what.c_str(), result.c_str());
  std::fflush(stdout);
  return well;
}

bool Narrator::check(const std::string& what, bool holds) {
  failures_ += holds ? 0 : 1;
  std::printf("    %s: %s\n", what.c_str(), holds ? "yes" : "NO");
  return holds;
}

void Narrator::detail(const std::string& text) { std::printf("    %s\n", text.c_str()); }

std::string hex(const std::vector<uint8_t>& bytes, size_t at_most) {
  std::string text;
  for (size_t i = 0; i < std::min(bytes.size(), at_most); ++i) {
    char pair[3];
    std::snprintf(pair, sizeof pair, "%02x", unsigned{bytes[i]});
    text += pair;
  }
  return bytes.size() > at_most ? text + "..." : text;
}

std::string from_gbk(const std::string& text) {
  if (text.empty()) return {};
  const UINT code_page = IsValidCodePage(kGb18030) ? kGb18030 : kGbk;
  std::wstring wide(text.size(), L'\0');
  const int length = MultiByteToWideChar(code_page, 0, text.data(), static_cast<int>(text.size()),
                                         wide.data(), static_cast<int>(wide.size()));
  std::string utf8(static_cast<size_t>(length) * 3, '\0');
  const int bytes = WideCharToMultiByte(CP_UTF8, 0, wide.data(), length, utf8.data(),
                                        static_cast<int>(utf8.size()), nullptr, nullptr);
  utf8.resize(static_cast<size_t>(bytes));
  return utf8;
}
