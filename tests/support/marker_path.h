// The path by which a user asks for every log line.
#pragma once

namespace velm::test {

// Whether the path c:\velm_log exists when the library is loaded; it lowers the log threshold to 0.
enum class Marker { kAbsent, kPresent };

// Makes c:\velm_log exist, or not, as long as it lives; afterwards the path does not exist.
class MarkerPath {
 public:
  explicit MarkerPath(Marker marker);
  ~MarkerPath();
  MarkerPath(const MarkerPath&) = delete;
  MarkerPath& operator=(const MarkerPath&) = delete;
};

}  // namespace velm::test
