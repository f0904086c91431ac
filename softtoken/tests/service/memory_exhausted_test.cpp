// Lets each allocation of a request fail in turn, on whichever thread of the local service it is made. The
// request may fail; the service goes on. Built with ThreadSanitizer, this shows that a connection that ends
// for this reason ends on its own thread.
#include <gtest/gtest.h>

#include <thread>

#include "softtoken/http/http_client.h"
#include "softtoken/service/dispatch.h"
#include "softtoken/service/http_server.h"
#include "softtoken/tests/store/temporary_store.h"
#include "softtoken/tests/support/refused_allocation.h"

namespace velm::token {
namespace {

constexpr auto kPatience = std::chrono::seconds(20);
constexpr std::string_view kOtherRequest = R"({"funcid":0})";

class ServiceWithoutMemory : public testing::Test {
 protected:
  void SetUp() override {
    RefusedAllocation::spare_this_thread();
    ASSERT_EQ(status_of(kOtherRequest), 200u) << "the service has started";
  }
  ~ServiceWithoutMemory() override {
    server.stop();
    serving.join();
  }

  // Returns the status, or 0 if the connection ends without an answer.
  unsigned status_of(std::string_view body) const {
    try {
      return send_request({.host = "127.0.0.1",
                           .port = port,
                           .path = "/",
                           .content_type = "application/json",
                           .body = as_bytes(body),
                           .answer_timeout = kPatience})
          .status;
    } catch (const HttpTimeout&) {
      ADD_FAILURE() << "neither an answer nor the end of the connection";
    } catch (const std::runtime_error&) {
    }
    return 0;
  }

  // Lets one allocation after the other fail, until the request needs no more.
  void fail_each_allocation(std::string_view body) const {
    bool refused = true;
    for (size_t number = 0; refused && !HasFailure(); ++number) {
      {
        const RefusedAllocation refusal(number);
        const unsigned status = status_of(body);
        refused = refusal.happened();
        EXPECT_TRUE(refused || status == 200) << status;
        EXPECT_TRUE(refused || number > 10) << "the request allocates nothing";
      }
      EXPECT_EQ(status_of(kOtherRequest), 200u) << "after the failure of allocation " << number;
    }
  }

  TemporaryStore store;
  Service service{store.file()};
  HttpServer server{service, {.port = 0, .threads = 2}};
  const uint16_t port = server.bind();
  std::thread serving{[this] { server.run(); }};
};

TEST_F(ServiceWithoutMemory, GoesOnAfterAShortCall) {
  fail_each_allocation(R"({"funcid":5,"ReturnMethod":0})");
}

// A long call changes the thread twice.
TEST_F(ServiceWithoutMemory, GoesOnAfterALongCall) { fail_each_allocation(R"({"funcid":26,"Len":300000})"); }

}  // namespace
}  // namespace velm::token
