// The path whose existence enables all log lines.
#pragma once

namespace velm::test {

// Whether c:\velm_log exists when the library is loaded; if it does, the log threshold is 0.
enum class Marker { kAbsent, kPresent };

// Creates c:\velm_log or makes sure that it does not exist. The destructor removes it.
class MarkerPath {
 public:
  explicit MarkerPath(Marker marker);
  ~MarkerPath();
  MarkerPath(const MarkerPath&) = delete;
  MarkerPath& operator=(const MarkerPath&) = delete;
};

}  // namespace velm::test
