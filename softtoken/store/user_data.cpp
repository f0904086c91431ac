#include "softtoken/store/user_data.h"

#include <algorithm>
#include <optional>

#include "softtoken/store/file_part.h"

namespace velm::token {
namespace {

std::optional<Bytes> user_file(Store& store, int64_t container, uint32_t type, uint32_t index) {
  Statement row(store.database(),
                "SELECT data FROM user_file WHERE container = ? AND type = ? AND position = ?", container,
                type, index);
  if (!row.step()) return std::nullopt;
  return row.bytes(0);
}

}  // namespace

void write_user_file(Store& store, int64_t container, uint32_t type, uint32_t index, uint32_t offset,
                     ByteView data) {
  const uint64_t end = uint64_t{offset} + data.size();
  require(end <= kMaxUserFile, kNoSpace);
  Transaction transaction(store.database());
  Bytes content = user_file(store, container, type, index).value_or(Bytes());
  content.resize(std::max(content.size(), static_cast<size_t>(end)));
  std::ranges::copy(data, content.begin() + offset);
  Statement(store.database(),
            "INSERT OR REPLACE INTO user_file SELECT id, ?, ?, ? FROM container WHERE id = ?", type, index,
            content, container)
      .run();
  require(store.database().changes() == 1, kNoSuchContainer);
  transaction.commit();
}

Bytes read_user_file(Store& store, int64_t container, uint32_t type, uint32_t index, uint32_t offset,
                     uint32_t length) {
  const auto content = user_file(store, container, type, index);
  require(content.has_value(), kFileNotFound);
  return part_of(*content, offset, length);
}

uint32_t seal_count(Store& store, int64_t container) {
  Statement row(store.database(), "SELECT COUNT(DISTINCT position) FROM seal WHERE container = ?", container);
  row.step();
  return static_cast<uint32_t>(row.number(0));
}

void set_seal_item(Store& store, int64_t container, uint32_t position, SealItem item, ByteView value) {
  Statement(store.database(), "INSERT OR REPLACE INTO seal VALUES(?, ?, ?, ?)", container, position,
            static_cast<uint32_t>(item), value)
      .run();
}

Bytes seal_item(Store& store, int64_t container, uint32_t position, uint32_t item) {
  require(position < seal_count(store, container), kNoSuchSeal);
  Statement row(store.database(), "SELECT value FROM seal WHERE container = ? AND position = ? AND item = ?",
                container, position, item);
  require(row.step(), kParameterUnsupported);
  return row.bytes(0);
}

void set_label(Store& store, const std::string& name, uint32_t type, ByteView data) {
  Statement(store.database(), "INSERT OR REPLACE INTO label VALUES(?, ?, ?)", name, type, data).run();
}

Bytes label(Store& store, const std::string& name, uint32_t type) {
  Statement row(store.database(), "SELECT data FROM label WHERE name = ? AND type = ?", name, type);
  require(row.step(), kLabelNotFound);
  return row.bytes(0);
}

}  // namespace velm::token
