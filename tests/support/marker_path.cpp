#include "support/marker_path.h"

#include <windows.h>

#include <stdexcept>

namespace velm::test {
namespace {

constexpr wchar_t kMarkerPath[] = L"c:\\velm_log";

}  // namespace

MarkerPath::MarkerPath(Marker marker) {
  RemoveDirectoryW(kMarkerPath);
  if (marker == Marker::kPresent && !CreateDirectoryW(kMarkerPath, nullptr)) {
    throw std::runtime_error("the marker path cannot be created");
  }
}

MarkerPath::~MarkerPath() { RemoveDirectoryW(kMarkerPath); }

}  // namespace velm::test
