// The code page of local text on Windows, such as names and paths: GB18030 if the system has it, otherwise
// GBK.
#pragma once

namespace velm::protocol {

constexpr unsigned kGb18030CodePage = 54936;
constexpr unsigned kGbkCodePage = 936;

constexpr unsigned local_code_page(bool gb18030_is_valid) {
  return gb18030_is_valid ? kGb18030CodePage : kGbkCodePage;
}

}  // namespace velm::protocol
