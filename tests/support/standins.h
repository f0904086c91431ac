// Stand-ins for the four provider modules: DLLs with the modules' names whose functions the test scripts.
//
//   Standins standins;                                   // before the library is loaded
//   STANDIN(SAF_Finalize).returns(0x02000001);
//   STANDIN(SAF_Hash).plays([](auto... arguments) { ...; return 0u; });
//   EXPECT_EQ(STANDIN(SAF_Hash).count(), 1u);
//   EXPECT_THAT(standins.call_log(), ElementsAre("SAF_Initialize", "SAF_Hash"));
//
// A function without a script returns 0. The four base64 functions default to a working codec, which a test
// may replace.
#pragma once

#include <algorithm>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "provider_abi/velm_client_saf.h"
#include "provider_abi/velm_common.h"
#include "provider_abi/velm_dev_enum.h"
#include "provider_abi/velm_openssl_api.h"

namespace velm::test {

// Loads the modules once per process. The constructor and the destructor clear all scripts and recorded
// calls.
class Standins {
 public:
  Standins();
  ~Standins();
  Standins(const Standins&) = delete;
  Standins& operator=(const Standins&) = delete;

  static void reset();

  // All calls of all modules since the last reset, in order.
  static std::vector<std::string> call_log();

  // Only the calls whose names begin with `prefix`.
  static std::vector<std::string> call_log(const std::string& prefix);
};

// Copies the bytes behind a pointer argument. Scripts must copy during the call and must not keep the
// pointer.
inline std::string bytes(const void* pointer, size_t length) {
  return pointer ? std::string(static_cast<const char*>(pointer), length) : std::string();
}
inline std::string text(const char* pointer) { return pointer ? pointer : "(null)"; }

// Writes an output as the modules do: a null output queries the size, a short buffer returns `refusal`.
uint32_t give(const std::string& content, void* output, uint32_t* length, uint32_t refusal = 0x02000200);

namespace standin_detail {

void load_modules();
void record(const char* name);
void connect(const char* name, void (*target)(), std::function<void()> reset);

template <size_t size>
struct Name {
  char text[size];
  consteval Name(const char (&literal)[size]) { std::copy_n(literal, size, text); }
};

}  // namespace standin_detail

// One function of one module. Use STANDIN(name).
template <class Signature, standin_detail::Name name>
class Standin;

template <class Result, class... Arguments, standin_detail::Name name>
class Standin<Result(Arguments...), name> {
 public:
  using Script = std::function<Result(Arguments...)>;
  using Call = std::tuple<Arguments...>;

  static Standin& instance() { return only_; }

  void returns(Result result) {
    plays([result](Arguments...) { return result; });
  }

  void plays(Script script) {
    const std::lock_guard lock(mutex_);
    script_ = std::make_shared<Script>(std::move(script));
  }

  // Returns these results one per call; the last one repeats.
  void returns_in_turn(std::vector<Result> results) {
    plays([results = std::move(results), next = size_t{0}](Arguments...) mutable {
      const size_t at = next;
      if (next + 1 < results.size()) ++next;
      return results.at(at);
    });
  }

  std::vector<Call> calls() {
    const std::lock_guard lock(mutex_);
    return calls_;
  }

  size_t count() { return calls().size(); }

 private:
  Standin() {
    standin_detail::connect(name.text, reinterpret_cast<void (*)()>(&entry), [this] {
      const std::lock_guard lock(mutex_);
      script_ = nullptr;
      calls_.clear();
    });
  }

  // Connected before main() in every program that names it, so that no call is missed. Never destroyed:
  // modules are called until the very end of the process.
  static inline Standin& only_ = *new Standin;

  static Result entry(Arguments... arguments) { return instance().play(arguments...); }

  Result play(Arguments... arguments) {
    standin_detail::record(name.text);
    std::shared_ptr<Script> script;  // keeps the script alive if a test replaces it during this call
    {
      const std::lock_guard lock(mutex_);
      calls_.emplace_back(arguments...);
      script = script_;
    }
    return script ? (*script)(arguments...) : Result{};
  }

  std::mutex mutex_;
  std::shared_ptr<Script> script_;
  std::vector<Call> calls_;
};

}  // namespace velm::test

// The stand-in for a provider function, typed by its declaration in provider_abi/.
#define STANDIN(function) (::velm::test::Standin<decltype(::function), #function>::instance())
