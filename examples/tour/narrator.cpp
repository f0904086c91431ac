#include "narrator.h"

#include <algorithm>
#include <cstdio>

void Narrator::chapter(const std::string& title) { std::printf("\n%s\n", title.c_str()); }

void Narrator::report(const std::string& what, bool as_expected, const std::string& outcome) {
  ++steps_;
  failures_ += as_expected ? 0 : 1;
  std::printf("  %s: %s%s\n", what.c_str(), as_expected ? "" : "FAILED: ", outcome.c_str());
  std::fflush(stdout);
}

void Narrator::check(const std::string& what, bool holds) { report(what, holds, holds ? "yes" : "no"); }

void Narrator::detail(const std::string& text) { std::printf("    %s\n", text.c_str()); }

std::string hex(const sof::Bytes& bytes, size_t at_most) {
  std::string text;
  for (size_t i = 0; i < std::min(bytes.size(), at_most); ++i) {
    char pair[3];
    std::snprintf(pair, sizeof pair, "%02x", unsigned{bytes[i]});
    text += pair;
  }
  return bytes.size() > at_most ? text + "..." : text;
}
