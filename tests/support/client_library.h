// Loads the library under test: velm_sof_client.dll from the test program's folder. Each ClientLibrary starts
// with fresh library state and a guarded heap (guarded_heap.h). The provider modules are the stand-ins.
//
//   ClientLibrary library;                        // or library{Marker::kPresent}: every log line is written
//   EXPECT_EQ(library.SOF_Initialize(), SOR_OK);
#pragma once

#include <windows.h>

#include <string>

#include <gtest/gtest.h>

#include "inc/velm_sof_client.h"
#include "support/marker_path.h"

namespace velm::test {

// An exported function. If the library does not export it, a call fails the test and returns zero.
template <class Signature>
class ClientFunction;

template <class Result, class... Arguments>
class ClientFunction<Result(Arguments...)> {
 public:
  ClientFunction(HMODULE module, const char* name)
      : name_(name),
        address_(reinterpret_cast<Address>(reinterpret_cast<void (*)()>(GetProcAddress(module, name)))) {}

  Result operator()(Arguments... arguments) const {
    if (address_) return address_(arguments...);
    ADD_FAILURE() << "the library does not export " << name_;
    return Result();
  }

  explicit operator bool() const { return address_ != nullptr; }

 private:
  using Address = Result (*)(Arguments...);
  const char* name_;
  Address address_;
};

class ClientLibrary {
 private:
  MarkerPath marker_;
  HMODULE module_;

 public:
  // Empties the log folder, loads the stand-in modules and then the library.
  explicit ClientLibrary(Marker marker = Marker::kAbsent);
  ~ClientLibrary();
  ClientLibrary(const ClientLibrary&) = delete;
  ClientLibrary& operator=(const ClientLibrary&) = delete;

  HMODULE module() const { return module_; }

  // Any export by name, for example a cJSON function: function<cJSON* (const char*)>("cJSON_Parse").
  template <class Signature>
  ClientFunction<Signature> function(const char* name) const {
    return ClientFunction<Signature>(module_, name);
  }

  // Unloads the library now; its functions must not be called afterwards.
  void unload();

// NOLINTNEXTLINE(bugprone-macro-parentheses): a name is declared.
#define VELM_FUNCTION(name) const ClientFunction<decltype(::name)> name{module_, #name};
#include "client_functions.inc"
#undef VELM_FUNCTION
};

}  // namespace velm::test
