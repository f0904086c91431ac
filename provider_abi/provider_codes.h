// What the result codes of velm_client_saf.dll (GM/T 0019) become in velm_sof_client.dll (GM/T 0020).
#pragma once

#include <algorithm>
#include <cstdint>
#include <iterator>

namespace velm {

// Provider codes first to last become mapped, mapped + 1, and so on.
struct CodeRange {
  uint32_t first;
  uint32_t last;
  uint32_t mapped;
};

// Sorted. A code that is not listed is an unknown error; so the gaps are part of the table.
inline constexpr CodeRange kCodeRanges[] = {
    {0x02000002, 0x02000009, 0x0B000002},
    {0x02000010, 0x02000012, 0x0B000010},
    {0x02000100, 0x02000101, 0x0B000100},
    {0x02000200, 0x02000201, 0x0B000200},
    {0x02000300, 0x02000300, 0x0B000300},
    {0x02000302, 0x02000304, 0x0B000302},
    {0x02000306, 0x02000309, 0x0B000306},
    {0x02000310, 0x02000311, 0x0B000310},
    {0x02000316, 0x02000316, 0xFFFFFFFD},
    {0x02000317, 0x02000317, 0xFFFFFFFB},
    {0x02000318, 0x02000318, 0xFFFFFFFE},
    {0x02000319, 0x02000319, 0xFFFFFFFF},
    {0x02000320, 0x02000320, 0x0B000405},
    {0x02000400, 0x02000402, 0x0B000400},
    {0x02000403, 0x02000403, 0x0B000438},
    {0x02000501, 0x02000501, 0x0B000427},
    {0x02000507, 0x02000507, 0x0B000428},
    {0x0200050A, 0x0200050A, 0x0B000429},
    {0x0200050B, 0x0200050B, 0x0B000500},
    {0x0200050C, 0x0200050C, 0xFFFFFFFC},
    {0x02000514, 0x02000514, 0x0B000411},
    {0x02000515, 0x02000519, 0x0B000432},
    {0x02000520, 0x02000520, 0x0B000412},
    {0x02000521, 0x02000521, 0x0B000425},
    {0x02000523, 0x02000524, 0x0B000440},
    {0x02000525, 0x02000525, 0x0B000426},
    {0x02000526, 0x02000528, 0x0B000442},
    {0x02000529, 0x0200052A, 0x0B000447},
    {0x0200052C, 0x0200052C, 0x0B010012},
    {0x02000603, 0x02000604, 0x0B000430},
    {0x0200060A, 0x0200060D, 0x0B010007},
    {0x0200060E, 0x02000613, 0x0B01000C},
    {0x02001001, 0x02001002, 0x0B000503},
};

constexpr uint32_t client_code_of(uint32_t provider_code) {
  constexpr uint32_t kUnknownError = 0x0B000001;
  if (provider_code == 0) return 0;
  const auto* range = std::ranges::lower_bound(kCodeRanges, provider_code, {}, &CodeRange::last);
  if (range == std::end(kCodeRanges) || provider_code < range->first) return kUnknownError;
  return range->mapped + (provider_code - range->first);
}

}  // namespace velm
