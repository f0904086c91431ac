// Shared by the tests of calls that the library passes to the provider modules: a call as a value, and the
// checks that apply to all such calls.
#pragma once

#include <algorithm>
#include <array>
#include <cstdio>
#include <functional>
#include <optional>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "support/allocation_faults.h"
#include "support/client_library.h"
#include "support/log_reader.h"
#include "support/settled_memory.h"
#include "support/standins.h"

namespace velm::test {

using Lines = std::vector<std::string>;

template <class... Values>
std::string print(const char* format, Values... values) {
  char text[4096];
  std::snprintf(text, sizeof text, format, values...);
  return text;
}

// The low 32 bits of an address, as logged.
inline uint32_t low_half(const void* pointer) {
  return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(pointer));
}

inline std::string or_NULL(const char* text) { return text ? text : "NULL"; }

// Log lines as these tests write them: error lines unchanged, other lines prefixed with their level.
inline std::string entry_line(const std::string& message) { return "(information) " + message; }
inline std::string with_level(const LogEntry& entry) {
  if (entry.level == Level::kError) return entry.message;
  if (entry.level == Level::kInformation) return entry_line(entry.message);
  return "(another level) " + entry.message;
}

// An exported function with one set of valid arguments. `entry` returns the entry line for given arguments,
// or an empty string if there is none. `checked` holds the names of the arguments that are checked for null,
// and null for the others.
template <class... Arguments>
struct Call {
  using Values = std::tuple<Arguments...>;
  using Entry = std::function<std::string(Arguments...)>;

  const ClientFunction<uint32_t(Arguments...)>& function;
  Entry entry;
  std::array<const char*, sizeof...(Arguments)> checked;
  Values arguments;

  uint32_t run(const Values& values) const { return std::apply(function, values); }
  uint32_t run() const { return run(arguments); }

  Lines entry_lines(const Values& values) const {
    const std::string line = entry ? std::apply(entry, values) : std::string();
    return line.empty() ? Lines{} : Lines{entry_line(line)};
  }
};

template <class... Arguments>
Call<Arguments...> call_of(const ClientFunction<uint32_t(Arguments...)>& function,
                           std::type_identity_t<std::function<std::string(Arguments...)>> entry,
                           std::type_identity_t<std::array<const char*, sizeof...(Arguments)>> checked,
                           std::type_identity_t<std::tuple<Arguments...>> arguments) {
  return {function, std::move(entry), checked, arguments};
}

// Calls `visit` with the index of each pointer argument, as an integral constant.
template <class... Arguments, class Visit>
void for_each_pointer(const std::tuple<Arguments...>&, Visit&& visit) {
  const auto visit_one = [&]<size_t position>(std::integral_constant<size_t, position> at) {
    if constexpr (std::is_pointer_v<std::tuple_element_t<position, std::tuple<Arguments...>>>) visit(at);
  };
  [&]<size_t... position>(std::index_sequence<position...>) {
    (visit_one(std::integral_constant<size_t, position>{}), ...);
  }
  (std::index_sequence_for<Arguments...>{});
}

// A fixture without a service: a call that contacts the local service fails.
class ProviderTest : public testing::Test {
 protected:
  static constexpr uint32_t kNullPointer = 0x0B000403;

  // A handle that the library passes on as its application handle.
  static void* open_application() { return reinterpret_cast<void*>(uintptr_t{0x123456789A}); }

  ProviderTest() { new_lines(); }

  // Returns the log lines since the last call, formatted by with_level().
  Lines new_lines() {
    const std::vector<LogEntry> all = log.entries();
    Lines fresh;
    for (; seen_ < all.size(); ++seen_) fresh.push_back(with_level(all[seen_]));
    return fresh;
  }

  // Calls a function that opens the library's application handle.
  void open_handle() {
    STANDIN(SAF_Initialize).plays([](void** application, const char*) {
      *application = open_application();
      return 0u;
    });
    uint32_t length = 0;
    ASSERT_EQ(library.SOF_Ext_GM_Tsp_GetTime(nullptr, &length), SOR_OK);
    handle = open_application();
    new_lines();
    standins.reset();
  }

  // Sets each pointer argument to null. A checked one is refused with its name, without calling a module; an
  // unchecked one is accepted. Then sets all from one index on to null: the first checked one among them
  // decides.
  template <class... Arguments>
  void expect_null_checks(const Call<Arguments...>& call) {
    for_each_pointer(call.arguments, [&](auto position) {
      SCOPED_TRACE(print("argument %d is null", static_cast<int>(position)));
      auto values = call.arguments;
      std::get<position>(values) = nullptr;
      expect_refused_at(call, values, call.checked[position]);
    });
    for (size_t first = 0; first < call.checked.size(); ++first) {
      SCOPED_TRACE(print("all arguments from %u on are null", static_cast<unsigned>(first)));
      auto values = call.arguments;
      for_each_pointer(call.arguments, [&](auto position) {
        if (position >= first) std::get<position>(values) = nullptr;
      });
      const auto checked = std::find_if(call.checked.begin() + first, call.checked.end(), std::identity());
      expect_refused_at(call, values, checked == call.checked.end() ? nullptr : *checked);
    }
  }

  // Checks that the provider is called once with `handed(arguments...)`, both for the valid arguments and
  // with each unchecked pointer set to null.
  template <class... Arguments, class Provider, class Handed>
  void expect_handed(const Call<Arguments...>& call, Provider& provider, Handed handed) {
    const auto expect_one = [&](const std::tuple<Arguments...>& values) {
      const size_t before = provider.count();
      EXPECT_EQ(call.run(values), SOR_OK);
      ASSERT_EQ(provider.count(), before + 1);
      EXPECT_EQ(provider.calls().back(), typename Provider::Call(std::apply(handed, values)));
      EXPECT_EQ(new_lines(), call.entry_lines(values));
    };
    expect_one(call.arguments);
    for_each_pointer(call.arguments, [&](auto position) {
      if (call.checked[position]) return;
      SCOPED_TRACE(print("argument %d is null", static_cast<int>(position)));
      auto values = call.arguments;
      std::get<position>(values) = nullptr;
      expect_one(values);
    });
  }

  // Checks that a provider failure is logged under `logged_name` with its raw code, and that the code is
  // mapped.
  template <class... Arguments, class Provider>
  void expect_mapped(const Call<Arguments...>& call, Provider& provider, const char* logged_name) {
    constexpr std::pair<uint32_t, uint32_t> kCodes[] = {
        {0x02000001, 0x0B000001}, {0x02000002, 0x0B000002}, {0x02000305, 0x0B000001},
        {0x02000316, 0xFFFFFFFD}, {0x02000403, 0x0B000438}, {0x02000515, 0x0B000432},
        {0x02000517, 0x0B000434}, {0x02000603, 0x0B000430}, {0x02000604, 0x0B000431},
        {0x02000605, 0x0B000001}, {0x02001002, 0x0B000504}, {0xFFFFFFFF, 0x0B000001},
    };
    for (const auto& [code, mapped] : kCodes) {
      SCOPED_TRACE(print("0x%08X", code));
      provider.returns(code);
      EXPECT_EQ(call.run(), mapped);
      Lines expected = call.entry_lines(call.arguments);
      expected.push_back(print("\"%s\" 0x%08X ", logged_name, code));
      EXPECT_EQ(new_lines(), expected);
    }
    provider.returns(0);
  }

  // Checks that the call frees what it allocates and that a failed allocation does not change its result:
  // these calls allocate only for a failure, and for that there is a reserve.
  template <class... Arguments>
  void expect_balance(const Call<Arguments...>& call) {
    settle_memory(library);
    const uint32_t expected = call.run();
    AllocationFaults memory(library.module());
    EXPECT_EQ(call.run(), expected);
    EXPECT_EQ(memory.outstanding(), 0u);
    const size_t allocations = memory.allocations();
    for (size_t nth = 1; nth <= allocations; ++nth) {
      SCOPED_TRACE(print("allocation %u fails", static_cast<unsigned>(nth)));
      memory.restart();
      memory.fail_at(nth);
      EXPECT_EQ(call.run(), expected);
      EXPECT_TRUE(memory.has_failed());
      EXPECT_EQ(memory.outstanding(), 0u);
    }
    new_lines();
  }

  // All of these checks, for a call that passes its arguments on.
  template <class... Arguments, class Provider, class Handed>
  void expect_pass_through(const Call<Arguments...>& call, Provider& provider, const char* logged_name,
                           Handed handed) {
    SCOPED_TRACE(logged_name);
    expect_null_checks(call);
    expect_handed(call, provider, handed);
    expect_mapped(call, provider, logged_name);
    expect_balance(call);
    provider.returns(0x02000002);
    expect_balance(call);
    provider.returns(0);
  }

  // The same for a call that does not open the application handle. The handle is null first, then open.
  template <class... Arguments, class Provider, class Handed>
  void expect_pass_through_unopened(const Call<Arguments...>& call, Provider& provider,
                                    const char* logged_name, Handed handed) {
    expect_pass_through(call, provider, logged_name, handed);
    EXPECT_THAT(standins.call_log("SAF_Initialize"), testing::IsEmpty());
    open_handle();
    expect_handed(call, provider, handed);
  }

  Standins standins;
  ClientLibrary library{Marker::kPresent};
  LogReader log;
  void* handle = nullptr;  // the library's application handle

 private:
  template <class... Arguments>
  void expect_refused_at(const Call<Arguments...>& call, const std::tuple<Arguments...>& values,
                         const char* name) {
    const size_t modules_called = standins.call_log().size();
    const uint32_t result = call.run(values);
    Lines expected = call.entry_lines(values);
    if (name) {
      expected.push_back(std::string(name) + " is null!");
      EXPECT_EQ(standins.call_log().size(), modules_called);
    }
    EXPECT_EQ(result, name ? kNullPointer : SOR_OK);
    EXPECT_EQ(new_lines(), expected);
  }

  size_t seen_ = 0;
};

}  // namespace velm::test
