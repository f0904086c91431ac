// Benchmarks of the library with the software token's modules and a test service that responds immediately:
// loading, logging, calls that transfer data, and concurrent calls.
#include <windows.h>
#include <winhttp.h>

#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>

#include "bench/measurement.h"
#include "support/client_library.h"
#include "support/import_patch.h"
#include "support/log_reader.h"
#include "support/marker_path.h"
#include "support/service_double.h"

using namespace velm::bench;
using namespace velm::test;
using benchmark::Counter;
using benchmark::State;

namespace {

constexpr wchar_t kLibrary[] = L"velm_sof_client.dll";
constexpr char kVersionAnswer[] = R"({"ErrorCode":"0","Result":{"Version":"3.1.4"}})";
constexpr char kSignatureAnswer[] = R"({"ErrorCode":"0","Result":{"Sign":"c2lnbmF0dXJl"}})";

constexpr struct {
  const char* name;
  uint32_t bytes;
} kSizes[] = {{"1kib", 1 << 10}, {"1mib", 1 << 20}, {"64mib", 64 << 20}};

class Library {
  MarkerPath marker_;
  HMODULE module_;

 public:
  explicit Library(Marker marker = Marker::kAbsent) : marker_(marker), module_(LoadLibraryW(kLibrary)) {
    require(module_ != nullptr, "the library cannot be loaded");
  }
  ~Library() { FreeLibrary(module_); }
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;

  HMODULE module() const { return module_; }

  const ClientFunction<decltype(::SOF_GetVersion)> SOF_GetVersion{module_, "SOF_GetVersion"};
  const ClientFunction<decltype(::SOF_SignData)> SOF_SignData{module_, "SOF_SignData"};
  const ClientFunction<decltype(::SOF_EncryptData)> SOF_EncryptData{module_, "SOF_EncryptData"};
  const ClientFunction<decltype(::SOF_Ext_SetEnvelopType)> SOF_Ext_SetEnvelopType{module_,
                                                                                  "SOF_Ext_SetEnvelopType"};
};

// The library and a test service for one benchmark, shared by its threads.
struct Scene {
  ServiceDouble service{};
  Library library{};
};
std::unique_ptr<Scene> scene;

void raise(const State&) { scene = std::make_unique<Scene>(); }
void strike(const State&) { scene.reset(); }

// Counters: a rate per second, and the duration of one iteration in units of `unit` seconds.
Counter a_second(double amount) { return {amount, Counter::kIsRate}; }
Counter time_of_one(const State& state, double unit) {
  return {static_cast<double>(state.iterations()) * unit, Counter::kIsRate | Counter::kInvert};
}

template <class Call>
void repeat(State& state, const Call& call) {
  for (auto _ : state) require(call() == SOR_OK, "the call failed");
}

void load(State& state) {
  const MarkerPath no_marker(Marker::kAbsent);
  for ([[maybe_unused]] auto _ : state) {
    HMODULE module = nullptr;
    state.SetIterationTime(seconds([&] { module = LoadLibraryW(kLibrary); }));
    require(module && FreeLibrary(module), "the library cannot be loaded");
  }
  state.counters["load_milliseconds"] = time_of_one(state, 1e-3);
}

// A call that only writes its log line.
void log_line(State& state, Marker marker, const char* figure, double unit) {
  LogReader::clear();
  {
    const Library library(marker);
    repeat(state, [&] { return library.SOF_Ext_SetEnvelopType(2); });
  }
  const bool written = !LogReader::entries().empty();
  require(written == (marker == Marker::kPresent), "the log does not match the marker path");
  LogReader::clear();
  state.counters[figure] = time_of_one(state, unit);
}

uint32_t get_version(const Library& library) {
  char version[128];
  return library.SOF_GetVersion(version);
}

// Replacements for WinHTTP functions that return the answer immediately, without a connection.
HINTERNET some_handle() { return reinterpret_cast<HINTERNET>(uintptr_t{0x10}); }
DWORD unread = 0;

HINTERNET WINAPI open_session(LPCWSTR, DWORD, LPCWSTR, LPCWSTR, DWORD) { return some_handle(); }
BOOL WINAPI set_timeouts(HINTERNET, int, int, int, int) { return TRUE; }
BOOL WINAPI set_option(HINTERNET, DWORD, LPVOID, DWORD) { return TRUE; }
HINTERNET WINAPI connect_to(HINTERNET, LPCWSTR, INTERNET_PORT, DWORD) { return some_handle(); }
HINTERNET WINAPI open_request(HINTERNET, LPCWSTR, LPCWSTR, LPCWSTR, LPCWSTR, LPCWSTR*, DWORD) {
  return some_handle();
}
BOOL WINAPI send_request(HINTERNET, LPCWSTR, DWORD, LPVOID, DWORD, DWORD, DWORD_PTR) {
  unread = sizeof kVersionAnswer - 1;
  return TRUE;
}
BOOL WINAPI receive_response(HINTERNET, LPVOID) { return TRUE; }
BOOL WINAPI query_data(HINTERNET, LPDWORD available) {
  *available = unread;
  return TRUE;
}
BOOL WINAPI read_data(HINTERNET, LPVOID buffer, DWORD length, LPDWORD received) {
  std::memcpy(buffer, kVersionAnswer, length);
  *received = length;
  unread = 0;
  return TRUE;
}
BOOL WINAPI close_handle(HINTERNET) { return TRUE; }

void small_call_without_exchange(State& state) {
  const Library library;
  const HMODULE module = library.module();
  const ImportPatch patches[] = {
      {module, "winhttp.dll", "WinHttpOpen", open_session},
      {module, "winhttp.dll", "WinHttpSetTimeouts", set_timeouts},
      {module, "winhttp.dll", "WinHttpSetOption", set_option},
      {module, "winhttp.dll", "WinHttpConnect", connect_to},
      {module, "winhttp.dll", "WinHttpOpenRequest", open_request},
      {module, "winhttp.dll", "WinHttpSendRequest", send_request},
      {module, "winhttp.dll", "WinHttpReceiveResponse", receive_response},
      {module, "winhttp.dll", "WinHttpQueryDataAvailable", query_data},
      {module, "winhttp.dll", "WinHttpReadData", read_data},
      {module, "winhttp.dll", "WinHttpCloseHandle", close_handle},
  };
  repeat(state, [&] { return get_version(library); });
  state.counters["small_call_own_microseconds"] = time_of_one(state, 1e-6);
}

void small_calls(State& state) {
  if (state.thread_index() == 0) scene->service.responds([](const Request&) { return json(kVersionAnswer); });
  repeat(state, [] { return get_version(scene->library); });
  // Google Benchmark divides by the total time of all threads.
  state.counters["small_calls_per_second_threads_" + std::to_string(state.threads())] =
      a_second(static_cast<double>(state.iterations()) * state.threads());
}

Counter mebibytes_a_second(const State& state, uint32_t bytes) {
  return a_second(static_cast<double>(state.iterations()) * bytes / (1 << 20));
}

void sign_data(State& state, const char* figure, uint32_t size) {
  const std::vector<uint8_t> data(size, 'd');
  scene->service.responds([](const Request&) { return json(kSignatureAnswer); });
  repeat(state, [&] {
    uint8_t signature[1536];
    uint32_t length = 0;
    return scene->library.SOF_SignData("C1", data.data(), size, signature, &length);
  });
  state.counters[figure] = mebibytes_a_second(state, size);
}

// The answer is as long as the data, like a real digital envelope.
void encrypt_data(State& state, const char* figure, uint32_t size) {
  const std::vector<uint8_t> data(size, 'd'), certificate(1024, 'c');
  std::vector<uint8_t> envelope(size + 1024);
  scene->service.responds([answer = frame(0, std::string(size, 'e'))](const Request&) { return answer; });
  repeat(state, [&] {
    uint32_t length = 0;
    return scene->library.SOF_EncryptData(certificate.data(), 1024, data.data(), size, envelope.data(),
                                          &length);
  });
  state.counters[figure] = mebibytes_a_second(state, size);
}

// Each figure is the median of its repetitions.
template <class... Arguments>
auto add(const std::string& name, Arguments&&... arguments) {
  return benchmark::RegisterBenchmark(name, std::forward<Arguments>(arguments)...)->Repetitions(3);
}

using Throughput = void (*)(State&, const char* figure, uint32_t size);

void add_throughput(const std::string& call, Throughput benchmark) {
  for (const auto& [name, bytes] : kSizes) {
    const std::string figure = call + "_" + name + "_mib_per_second";
    const auto run = [=](State& state) { benchmark(state, figure.c_str(), bytes); };
    const auto added = add(figure, run)->UseRealTime()->Setup(raise)->Teardown(strike);
    // The test service stores all requests, so the number of large ones is limited.
    if (bytes > 1 << 20) added->Iterations(2);
  }
}

// Reports the counters of the median repetition. Counters are named like the figures.
class FigureReporter : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context&) override { return true; }
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.run_type != Run::RT_Aggregate || run.aggregate_name != "median") continue;
      for (const auto& [name, counter] : run.counters) report(name.c_str(), counter.value);
    }
    std::fflush(stdout);
  }
};

void measure() {
  add("load", load)->UseManualTime();
  add("log_line_off", log_line, Marker::kAbsent, "log_line_off_nanoseconds", 1e-9);
  add("log_line_on", log_line, Marker::kPresent, "log_line_on_microseconds", 1e-6)->UseRealTime();
  add("small_call_without_exchange", small_call_without_exchange);
  add_throughput("sign_data", sign_data);
  add_throughput("encrypt_data", encrypt_data);
  add("small_calls", small_calls)->ThreadRange(1, 8)->UseRealTime()->Setup(raise)->Teardown(strike);

  FigureReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
}

}  // namespace

int main(int argument_count, char** arguments) {
  benchmark::Initialize(&argument_count, arguments);
  return run(measure);
}
