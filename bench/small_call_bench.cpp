// Overhead of a small call: compares SOF_GetVersion() with the same exchange over plain WinHTTP. Both run
// alternately; the figures are medians.
#include <algorithm>
#include <cstring>
#include <string_view>
#include <vector>

#include "bench/bare_exchange.h"
#include "support/client_library.h"
#include "support/service_double.h"
#include "support/standins.h"

using namespace velm::bench;
using namespace velm::test;

namespace {

constexpr int kWarmUpRounds = 100;
constexpr int kRounds = 2000;

constexpr char kRequest[] = R"({"funcid":0})";
constexpr char kAnswer[] = R"({"ErrorCode":"0","Result":{"Version":"3.1.4"}})";
constexpr wchar_t kHeader[] = L"Content-Type:application/json;charset=UTF-8;";

void exchange_with_winhttp() {
  char body[sizeof kRequest];
  std::memcpy(body, kRequest, sizeof body);
  char buffer[4096];
  const std::span<char> answer = velm::bench::exchange_with_winhttp(kHeader, {body, sizeof body - 1}, buffer);
  require(std::string_view(answer.data(), answer.size()) == kAnswer, "unexpected answer");
}

template <class Work>
double microseconds(const Work& work) {
  return seconds(work) * 1e6;
}

double median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

void measure() {
  Standins standins;
  ServiceDouble service;
  ClientLibrary library;
  service.responds([](const Request&) { return json(kAnswer); });
  const auto call_library = [&] {
    char version[128];
    require(library.SOF_GetVersion(version) == SOR_OK && std::strcmp(version, "3.1.4") == 0,
            "the call failed");
  };

  std::vector<double> bare, with_library;
  for (int round = -kWarmUpRounds; round < kRounds; ++round) {
    // Alternate which of the two runs first.
    const bool bare_first = round % 2 == 0;
    double bare_time = bare_first ? microseconds(exchange_with_winhttp) : 0;
    const double library_time = microseconds(call_library);
    if (!bare_first) bare_time = microseconds(exchange_with_winhttp);
    if (round < 0) continue;
    bare.push_back(bare_time);
    with_library.push_back(library_time);
  }

  const double bare_median = median(bare), library_median = median(with_library);
  report("small_call_bare_microseconds", bare_median);
  report("small_call_library_microseconds", library_median);
  report("small_call_ratio", library_median / bare_median);
}

}  // namespace

int main() { return run(measure); }
