// What the tests share of calls that hand their work to the provider modules: a call as one value, and the
// checks that hold for every one of them.
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

// The low half of an address, as log lines show it.
inline uint32_t low_half(const void* pointer) {
  return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(pointer));
}

inline std::string or_NULL(const char* text) { return text ? text : "NULL"; }

// A logged line as the tests of these calls have it: that of a failure as it stands, every other one marked
// with its level.
inline std::string entry_line(const std::string& message) { return "(information) " + message; }
inline std::string with_level(const LogEntry& entry) {
  if (entry.level == Level::kError) return entry.message;
  if (entry.level == Level::kInformation) return entry_line(entry.message);
  return "(another level) " + entry.message;
}

// An exported function and one set of arguments that it accepts. `entry` gives its entry line for any
// arguments, the empty text where it writes none; `checked` names the arguments that it checks for null, null
// for the others.
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

// Calls `visit` with the position of each pointer, as a constant.
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

// A fixture without a service: whatever asks one fails the test, since nothing listens.
class ProviderTest : public testing::Test {
 protected:
  static constexpr uint32_t kNullPointer = 0x0B000403;

  // A handle that the library passes on as the open application.
  static void* open_application() { return reinterpret_cast<void*>(uintptr_t{0x123456789A}); }

  ProviderTest() { new_lines(); }

  // The lines since the last time, by with_level().
  Lines new_lines() {
    const std::vector<LogEntry> all = log.entries();
    Lines fresh;
    for (; seen_ < all.size(); ++seen_) fresh.push_back(with_level(all[seen_]));
    return fresh;
  }

  // Opens the library's application handle through a call that does so.
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

  // Each checked pointer null by itself is refused under its name, without a call of a module; each other
  // null pointer gets as far as a call with all pointers given. With all from one on null, the first checked
  // one among them counts.
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

  // The provider gets `handed(arguments...)`, once, with every pointer given and with each unchecked one
  // null.
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

  // A failing provider is logged with its raw code under `logged_name`, and its code mapped.
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

  // The call frees what it allocates, and an allocation that fails changes nothing: the only memory that
  // these calls take is that of the failure itself, which has a reserve.
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

  // All of it, for a call that hands on what it gets.
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

  // The same for a call that leaves the application handle as it is: null at first, and then open.
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
  void* handle = nullptr;  // what the library holds as the application handle

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
