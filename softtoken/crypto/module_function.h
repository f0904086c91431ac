#pragma once

#include <cstdint>

namespace velm::token {

/** What the service does for provider modules alone, by the numbers that they ask with. */
enum class ModuleFunction : uint32_t {
  read_label = 1,
  list_files = 2,
  create_file = 3,
  delete_file = 4,
  read_file = 5,
  write_file = 6,
  file_attributes = 7,
  control = 8,
  list_devices = 9,
};

}  // namespace velm::token
