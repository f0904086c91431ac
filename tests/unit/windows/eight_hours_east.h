// Sets the local time zone to UTC+8 for the lifetime of the object, whatever the machine's own.
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
