#pragma once

#include "softtoken/store/store.h"

namespace velm::token {

/** Largest user data file, in bytes. */
constexpr uint64_t kMaxUserFile = 1024 * 1024;

/** User data files: bytes under a type and an index, grown with zeros where a write leaves a gap. */
void write_user_file(Store& store, int64_t container, uint32_t type, uint32_t index, uint32_t offset,
                     ByteView data);
/** What the file holds from an offset on, at most `length` bytes; throws the code for no such file. */
Bytes read_user_file(Store& store, int64_t container, uint32_t type, uint32_t index, uint32_t offset,
                     uint32_t length);

/** The items of a seal, by number. */
enum class SealItem : uint32_t {
  identifier = 1,
  name = 2,
  maker = 3,
  signer_certificate = 4,
  valid_from = 5,
  valid_until = 6,
  picture_type = 7,
  picture = 8,
  width = 9,
  height = 10,
};

uint32_t seal_count(Store& store, int64_t container);
void set_seal_item(Store& store, int64_t container, uint32_t position, SealItem item, ByteView value);
/** Throws the code for no such seal, or for an item that seals do not have. */
Bytes seal_item(Store& store, int64_t container, uint32_t position, uint32_t item);

/** Labels: bytes under a name and a type. */
void set_label(Store& store, const std::string& name, uint32_t type, ByteView data);
/** Throws the code for no such label. */
Bytes label(Store& store, const std::string& name, uint32_t type);

}  // namespace velm::token
