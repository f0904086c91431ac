// The results of the text and file utilities. They log nothing; a caller turns a failure into its own code
// and line.
#pragma once

#include <cstdint>

namespace velm {

enum UtilityResult : int32_t {
  kUtilityDone = 0,
  kUtilityConversionFailed = -1,
  kUtilityOutOfMemory = -5,
  kUtilityArgumentNull = -6,
  kUtilityTooSmall = -14,
  kUtilityCannotOpen = -23,
  kUtilityDataNull = -29,
};

}  // namespace velm
