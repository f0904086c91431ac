#pragma once

#include "softtoken/store/store.h"

namespace velm::token {

/** Largest user data file, in bytes. */
constexpr uint64_t kMaxUserFile = 1024 * 1024;

/**
 * Writes a user data file; fills a gap before `offset` with zeros. Throws kNoSpace above kMaxUserFile, and
 * kNoSuchContainer.
 */
void write_user_file(Store& store, int64_t container, uint32_t type, uint32_t index, uint32_t offset,
                     ByteView data);
/** Returns at most `length` bytes, none beyond the end of the file; throws kFileNotFound. */
Bytes read_user_file(Store& store, int64_t container, uint32_t type, uint32_t index, uint32_t offset,
                     uint32_t length);

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
/** Throws kNoSuchSeal, or kParameterUnsupported if the seal has no such item. */
Bytes seal_item(Store& store, int64_t container, uint32_t position, uint32_t item);

/** Sets or replaces a label, which is identified by name and type. */
void set_label(Store& store, const std::string& name, uint32_t type, ByteView data);
/** Throws kLabelNotFound. */
Bytes label(Store& store, const std::string& name, uint32_t type);

}  // namespace velm::token
