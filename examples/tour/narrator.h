#pragma once

#include <cstdint>
#include <string>
#include <vector>

/** Prints what the tour does, and remembers whether everything went as it should. */
class Narrator {
 public:
  void chapter(const std::string& title);
  /** One call and its result code, in words; it went well when the code is the expected one. */
  bool call(const std::string& what, uint32_t code, uint32_t expected = 0);
  /** Something found out, which has to hold. */
  bool check(const std::string& what, bool holds);
  void detail(const std::string& text);

  bool all_went_well() const { return failures_ == 0; }
  int calls() const { return calls_; }

 private:
  int calls_ = 0;
  int failures_ = 0;
};

std::string hex(const std::vector<uint8_t>& bytes, size_t at_most = 16);
/** The library's GBK, which is GB18030 where the system has it, as UTF-8. */
std::string from_gbk(const std::string& text);
