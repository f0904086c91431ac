// Results of the text and file utilities. The utilities do not log: callers map a failure to a result code
// and write the log line.
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
