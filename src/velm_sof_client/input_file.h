// Input paths and files. Failures are logged under the name of the exported function and end the call.
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

// Returns the path in the local code page. A path that xencoding_is_utf8() accepts is converted, any other is
// returned unchanged.
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

struct FileContent {
  HeapMemory bytes;
  uint32_t length;

  const uint8_t* data() const { return bytes.get(); }
};

// Reads a whole file; `path` is in the local code page. Fails if the file is empty. Log lines name
// `sizing_function` if the file size cannot be read, otherwise `function`. If the file grows meanwhile, the
// additional bytes are not read.
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
    // Sic: the log line prints 0 instead of the size.
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
