// A local time that is not UTC, whatever the machine's own: eight hours ahead of it, as long as the object
// lives.
#pragma once

#include <cstdlib>
#include <ctime>

namespace velm::test {

class EightHoursEast {
 public:
  static constexpr int kSeconds = 8 * 60 * 60;

  EightHoursEast() { set("TZ=EST-8"); }
  ~EightHoursEast() { set("TZ="); }
  EightHoursEast(const EightHoursEast&) = delete;
  EightHoursEast& operator=(const EightHoursEast&) = delete;

 private:
  static void set(const char* zone) {
    _putenv(zone);
    _tzset();
  }
};

}  // namespace velm::test
