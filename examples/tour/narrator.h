#pragma once

#include <string>
#include <type_traits>

#include "velm_sof.hpp"

namespace sof = velm::sof;

/** Prints the steps of the tour and counts those with an unexpected result. */
class Narrator {
 public:
  void chapter(const std::string& title);

  /** Runs a step, prints the outcome and returns the result. A sof::Error is printed and rethrown. */
  template <typename Call>
  auto step(const std::string& what, Call call) {
    try {
      if constexpr (std::is_void_v<decltype(call())>) {
        call();
        report(what, true, "done");
      } else {
        auto result = call();
        report(what, true, "done");
        return result;
      }
    } catch (const sof::Error& error) {
      report(what, false, error.what());
      throw;
    }
  }

  /** Runs a step that must fail with `code`. */
  template <typename Call>
  void refused_step(const std::string& what, uint32_t code, Call call) {
    try {
      call();
      report(what, false, "succeeded, but an error was expected");
    } catch (const sof::Error& error) {
      const bool as_expected = error.code() == code;
      report(what, as_expected, (as_expected ? "refused as expected, " : "") + std::string(error.what()));
    }
  }

  /** A condition that must hold. */
  void check(const std::string& what, bool holds);
  void detail(const std::string& text);

  int steps() const { return steps_; }
  int failures() const { return failures_; }

 private:
  void report(const std::string& what, bool as_expected, const std::string& outcome);

  int steps_ = 0;
  int failures_ = 0;
};

/** The first bytes in hexadecimal. */
std::string hex(const sof::Bytes& bytes, size_t at_most = 16);
