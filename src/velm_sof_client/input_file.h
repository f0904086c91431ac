// A caller's path and the file behind it. What fails is logged under the exported function's name and fails
// the call.
#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "basekit/basic/encoding.h"
#include "basekit/basic/file.h"
#include "basekit/basic/utf8_walk.h"
#include "basekit/basic/utility_result.h"
#include "velm_sof_client/exported_call.h"
#include "velm_sof_client/heap_memory.h"

namespace velm {

// The path in the local code page: converted when it counts as UTF-8, else whole and as it stands.
inline std::string local_path(const char* path, const char* function, CallSite site = CallSite::current()) {
  std::string given = path;
  if (!xencoding_is_utf8(given.data(), given.size())) return given;
  char converted[8192] = {};
  uint64_t length = sizeof converted;
  const int32_t result = xencoding_utf8_to_gbk(path, converted, &length);
  if (result != kUtilityDone) {
    log::write(client_unit, log::kError, line_of(site), "%s->xencoding_utf8_to_gbk %d [%s]\n", function,
               result, path);
    fail(SOR_FILEERR);
  }
  return converted;
}

// A file's content as it was read, and its length.
struct FileContent {
  HeapMemory bytes;
  uint32_t length;

  const uint8_t* data() const { return bytes.get(); }
};

// The whole content of the file at a local path; an empty file is refused. A file that cannot be sized is
// logged under `sizing_function`, everything else under `function`. A file that changes meanwhile is read as
// far as it was sized.
inline FileContent read_whole_file(const std::string& path, const char* function, const char* sizing_function,
                                   CallSite site = CallSite::current()) {
  const int line = line_of(site);
  const int32_t size = xfile_get_size(path.c_str());
  if (size == kUtilityCannotOpen) {
    log::write(client_unit, log::kError, line, "%s->xfile_get_size [%s] %d\n", sizing_function, path.c_str(),
               size);
    fail(SOR_FILEOPENERR);
  }
  if (size == 0) {
    log::write(client_unit, log::kError, line, "%s->in file is empty!\n", function);
    fail(SOR_INDATALENERR);
  }

  const auto capacity = static_cast<uint32_t>(size);
  HeapMemory bytes = heap_memory(capacity);
  if (!bytes) {
    log::write(client_unit, log::kError, line, "%s->malloc in file data buffer %u\n", function, 0u);
    fail(SOR_MEMORYERR);
  }

  uint64_t length = 0;
  const int32_t result = xfile_read_bin(path.c_str(), bytes.get(), capacity, &length);
  if (result != kUtilityDone) {
    log::write(client_unit, log::kError, line, "%s->xfile_read_bin [%s] %d\n", function, path.c_str(),
               result);
    fail(SOR_FILEOPENERR);
  }
  return {std::move(bytes), static_cast<uint32_t>(length)};
}

inline FileContent read_whole_file(const std::string& path, const char* function,
                                   CallSite site = CallSite::current()) {
  return read_whole_file(path, function, function, site);
}

}  // namespace velm
