// Every function that uses the local service, with answers that a correct service never sends. The library
// runs with the token's provider modules, as it is installed.
//
//   VELM_HOSTILE_EXCHANGES=N  exchanges in memory (default 100,000); a fiftieth as many over a connection
//   VELM_HOSTILE_SEED=N       the seed, printed by every run; the same seed produces the same answers
//   VELM_HOSTILE_FIRST=N      number of the first exchange, to repeat a failed one alone
#include <windows.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "inc/velm_sof_client.h"
#include "robustness/expected_outcome.h"
#include "robustness/hostile_answer.h"
#include "robustness/hostile_wire.h"
#include "robustness/service_functions.h"
#include "robustness/winhttp_in_memory.h"
#include "support/guarded_buffer.h"
#include "support/log_reader.h"
#include "support/process_usage.h"
#include "support/service_double.h"

using namespace velm::test;

namespace {

constexpr uint64_t kDefaultSeed = 20260217;
constexpr size_t kConnectionShare = 50;
constexpr uint32_t kLengthBytes = sizeof(uint32_t);

size_t setting(const char* name, size_t otherwise) {
  const char* text = std::getenv(name);
  return text ? std::strtoull(text, nullptr, 10) : otherwise;
}

size_t exchanges() { return setting("VELM_HOSTILE_EXCHANGES", 100'000); }
uint64_t seed() { return setting("VELM_HOSTILE_SEED", kDefaultSeed); }
size_t first_exchange() { return setting("VELM_HOSTILE_FIRST", 0); }

// The current exchange, reported if it crashes the process.
size_t current = 0;

std::string position() {
  return "VELM_HOSTILE_SEED=" + std::to_string(seed()) + " VELM_HOSTILE_FIRST=" + std::to_string(current);
}

LONG WINAPI name_the_exchange(EXCEPTION_POINTERS* fault) {
  switch (fault->ExceptionRecord->ExceptionCode) {
    case EXCEPTION_ACCESS_VIOLATION:
    case EXCEPTION_STACK_OVERFLOW:
    case EXCEPTION_INT_DIVIDE_BY_ZERO:
    case EXCEPTION_ILLEGAL_INSTRUCTION:
      std::fprintf(stderr, "a fault at %s\n", position().c_str());
      break;
  }
  return EXCEPTION_CONTINUE_SEARCH;
}

// One call with its outputs, each of which ends at an inaccessible page and is filled before the call.
class HostileCall {
 public:
  HostileCall(RandomSource& random, const ServiceFunction& function)
      : function_(function),
        size_(random.one_of(kSizes)),
        data_(random.bytes(size_)),
        output_(function.room.of(size_)),
        output_left_out_(random.one_in(24)),
        length_left_out_(random.one_in(24)) {
    const auto room = static_cast<uint32_t>(output_.size());
    const uint32_t capacities[] = {0, 1, room / 2, room - 1, room, room + 1, 256, 0xFFFFFFFF};
    length_in_ = random.one_of(capacities);
    std::memcpy(length_.data(), &length_in_, kLengthBytes);
  }

  uint32_t size() const { return size_; }

  uint32_t make() {
    code_ = function_.call({data_.data(), size_, output_left_out_ ? nullptr : output_.data(),
                            length_left_out_ ? nullptr : reinterpret_cast<uint32_t*>(length_.data())});
    return code_;
  }

  // The checks return the result code of the call. This one is for calls answered without the service: size
  // queries and refused arguments.
  uint32_t expect_local_answer() const {
    EXPECT_THAT(code_, testing::AnyOf(SOR_OK, SOR_NULLPOINTERERR, SOR_INDATALENERR));
    EXPECT_TRUE(output_.untouched());
    if (code_ != SOR_OK) expect_length(length_in_);
    return code_;
  }

  uint32_t expect(const Outcome& outcome) const {
    EXPECT_TRUE(outcome.allows(code_)) << code_ << ", not " << testing::PrintToString(outcome.codes);
    if (code_ != SOR_OK) {
      EXPECT_TRUE(output_.untouched());
      expect_length(function_.length == LengthUse::kCleared ? 0 : length_in_);
    } else if (outcome.is_foretold) {
      expect_output(output_left_out_ ? "" : outcome.output);
      expect_length(outcome.length.value_or(length_in_));
    } else if (function_.length == LengthUse::kWritten && function_.kind != ResultKind::kNumber) {
      EXPECT_LE(length_out(), std::max<size_t>(output_.size(), length_in_));
    }
    return code_;
  }

 private:
  static constexpr uint32_t kSizes[] = {0, 1, 7, 8, 9, 16, 40, 100, 600, 1024, 3000, 20000, 70000};

  uint32_t length_out() const {
    uint32_t length;
    std::memcpy(&length, length_.bytes().data(), kLengthBytes);
    return length;
  }

  void expect_length(uint32_t length) const {
    EXPECT_EQ(length_out(), length_left_out_ ? length_in_ : length);
    EXPECT_TRUE(length_.untouched(kLengthBytes));
  }

  void expect_output(const std::string& bytes) const {
    ASSERT_LE(bytes.size(), output_.size());
    EXPECT_TRUE(output_.bytes(bytes.size()) == bytes) << "unexpected output";
    EXPECT_TRUE(output_.untouched(bytes.size())) << "write outside the output";
  }

  const ServiceFunction& function_;
  uint32_t size_;
  GuardedBytes data_;
  GuardedBuffer output_;
  GuardedBuffer length_{kLengthBytes};
  uint32_t length_in_;
  bool output_left_out_;
  bool length_left_out_;
  uint32_t code_ = 0;
};

class HostileService : public testing::Test {
 protected:
  HostileService() : reporter_(AddVectoredExceptionHandler(1, name_the_exchange)) {
    std::printf("seed %llu\n", static_cast<unsigned long long>(seed()));
  }
  ~HostileService() override { RemoveVectoredExceptionHandler(reporter_); }

  // Runs the exchanges in blocks. Between two blocks the test frees what it has collected itself, so growth
  // from one half to the other is a leak of the library.
  template <class Exchange>
  void run(size_t count, const std::function<void()>& begin_block, const std::function<void()>& end_block,
           Exchange exchange) {
    constexpr size_t kBlocks = 40;
    std::vector<ProcessUsage> usage;
    current = first_exchange();
    for (size_t block = 1; block <= kBlocks; ++block) {
      begin_block();
      for (const size_t end = first_exchange() + count * block / kBlocks; current < end; ++current) {
        const ServiceFunction& function = service_functions()[current % service_functions().size()];
        SCOPED_TRACE(std::string(function.name) + " at " + position());
        RandomSource random(seed(), current);
        const uint32_t code = exchange(random, function);
        ++(code == SOR_OK ? successes_ : failures_)[function.name];
        if (HasFailure()) return;
      }
      end_block();
      usage.push_back(ProcessUsage::now());
    }
    report(count, usage[kBlocks / 2 - 1], usage[kBlocks - 1]);
  }

  void report(size_t count, const ProcessUsage& half, const ProcessUsage& end) const {
    std::printf("%zu exchanges\n  after half: %s\n  at the end: %s\n", count, half.text().c_str(),
                end.text().c_str());
    for (const ServiceFunction& function : service_functions()) {
      const auto calls = [&](const auto& counts) {
        const auto found = counts.find(function.name);
        return found == counts.end() ? 0 : found->second;
      };
      std::printf("  %-28s %6zu succeeded %6zu failed\n", function.name, calls(successes_), calls(failures_));
      const bool are_few = count < 50 * service_functions().size();
      EXPECT_TRUE(are_few || (calls(successes_) > 0 && calls(failures_) > 0)) << function.name;
    }
    EXPECT_EQ(end.growth_since(half, {.handles = 4, .blocks = 40, .private_bytes = 1 << 20}), "");
  }

 private:
  void* reporter_;
  std::map<std::string, size_t> successes_, failures_;
};

HttpFault fault_of(RandomSource& random) {
  constexpr HttpFault kFaults[] = {HttpFault::kOpen,    HttpFault::kTimeouts, HttpFault::kConnect,
                                   HttpFault::kRequest, HttpFault::kSend,     HttpFault::kReceive,
                                   HttpFault::kQuery,   HttpFault::kRead};
  return random.one_in(32) ? random.one_of(kFaults) : HttpFault::kNone;
}

// If the body arrives in part or not at all, the part that arrived determines the outcome.
Outcome outcome_of(const ServiceFunction& function, uint32_t size, const std::string& body, Arrival arrival) {
  if (arrival == Arrival::kAnything) return {};
  const Outcome whole = expected_outcome(function, size, body, function.capacity.of(size));
  if (arrival == Arrival::kWhole) return whole;
  Outcome outcome{{SOR_COMMUNICATIONERR, SOR_JSONPARSEERR, SOR_UNKNOWNERR}};
  for (const Outcome& possible : {whole, expected_outcome(function, size, body, SIZE_MAX)}) {
    outcome.codes.insert(outcome.codes.end(), possible.codes.begin(), possible.codes.end());
  }
  return outcome;
}

TEST_F(HostileService, AnswersInMemory) {
  WinHttpInMemory http(GetModuleHandleW(L"velm_sof_client.dll"));
  const auto exchange = [&](RandomSource& random, const ServiceFunction& function) {
    HostileCall call(random, function);
    http.serve(hostile_answer(random, function, call.size()), fault_of(random), random);
    call.make();
    if (!http.was_used()) return call.expect_local_answer();
    EXPECT_EQ(http.handles_left(), 0u);
    if (!http.has_answered()) return call.expect({{SOR_COMMUNICATIONERR}});
    return call.expect(outcome_of(function, call.size(), http.received(), Arrival::kWhole));
  };
  run(
      exchanges(), [] {}, LogReader::clear, exchange);
}

TEST_F(HostileService, AnswersOverAConnection) {
  std::optional<ServiceDouble> service;
  std::mutex mutex;
  Answer next("");
  const auto open = [&] {
    service.emplace();
    service->responds([&](const Request&) {
      const std::lock_guard lock(mutex);
      return next;
    });
  };
  const auto close = [&] {
    service.reset();
    LogReader::clear();
  };
  const auto exchange = [&](RandomSource& random, const ServiceFunction& function) {
    HostileCall call(random, function);
    const std::string body = hostile_answer(random, function, call.size());
    const WireAnswer wire = hostile_wire(random, body);
    {
      const std::lock_guard lock(mutex);
      next = wire.answer;
    }
    const size_t connections = service->connections();
    call.make();
    if (service->connections() == connections) return call.expect_local_answer();
    return call.expect(outcome_of(function, call.size(), body, wire.arrival));
  };
  run(exchanges() / kConnectionShare, open, close, exchange);
}

}  // namespace
