#pragma once

#include <cstdint>
#include <string>
#include <vector>

/** Prints the steps of the tour and records whether all succeeded. */
class Narrator {
 public:
  void chapter(const std::string& title);
  /** Reports a call and its result code. It succeeded if the code is the expected one. */
  bool call(const std::string& what, uint32_t code, uint32_t expected = 0);
  /** Reports a condition that must hold. */
  bool check(const std::string& what, bool holds);
  void detail(const std::string& text);

  bool all_went_well() const { return failures_ == 0; }
  int calls() const { return calls_; }

 private:
  int calls_ = 0;
  int failures_ = 0;
};

std::string hex(const std::vector<uint8_t>& bytes, size_t at_most = 16);
/** Converts the library's GBK text (decoded as GB18030 if the system supports it) to UTF-8. */
std::string from_gbk(const std::string& text);
