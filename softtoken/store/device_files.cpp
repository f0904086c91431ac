#include "softtoken/store/device_files.h"

#include <algorithm>

#include "softtoken/store/file_part.h"

namespace velm::token {

std::vector<std::string> DeviceFiles::names() {
  std::vector<std::string> names;
  Statement rows(token_.store().database(), "SELECT name FROM device_file WHERE container = ? ORDER BY name",
                 container_);
  while (rows.step()) names.push_back(as_text(rows.bytes(0)));
  return names;
}

void DeviceFiles::create(const std::string& name, const DeviceFileAttributes& attributes) {
  token_.require_login(container_);
  require(!name.empty(), kBadInput);
  require(attributes.size <= kMaxDeviceFile, kNoSpace);
  Transaction transaction(token_.store().database());
  const auto present = names();
  require(std::ranges::find(present, name) == present.end(), kFileExists);
  require(present.size() < kMaxDeviceFiles, kTooManyFiles);
  Statement(token_.store().database(),
            "INSERT INTO device_file SELECT id, ?, ?, ?, ? FROM container WHERE id = ?", as_bytes(name),
            attributes.read_rights, attributes.write_rights, Bytes(attributes.size), container_)
      .run();
  require(token_.store().database().changes() == 1, kNoSuchContainer);
  transaction.commit();
}

void DeviceFiles::remove(const std::string& name) {
  token_.require_login(container_);
  Transaction transaction(token_.store().database());
  open(name);
  Statement(token_.store().database(), "DELETE FROM device_file WHERE container = ? AND name = ?", container_,
            as_bytes(name))
      .run();
  transaction.commit();
}

DeviceFileAttributes DeviceFiles::attributes(const std::string& name) { return open(name).attributes; }

Bytes DeviceFiles::read(const std::string& name, uint32_t offset, uint32_t length) {
  const File file = open(name);
  require_right(file.attributes.read_rights);
  require(offset <= file.data.size(), kBadLength);
  return part_of(file.data, offset, length);
}

void DeviceFiles::write(const std::string& name, uint32_t offset, ByteView data) {
  Transaction transaction(token_.store().database());
  File file = open(name);
  require_right(file.attributes.write_rights);
  require(uint64_t{offset} + data.size() <= file.data.size(), kNoSpace);
  std::ranges::copy(data, file.data.begin() + offset);
  Statement(token_.store().database(), "UPDATE device_file SET data = ? WHERE container = ? AND name = ?",
            file.data, container_, as_bytes(name))
      .run();
  transaction.commit();
}

DeviceFiles::File DeviceFiles::open(const std::string& name) {
  Statement row(token_.store().database(),
                "SELECT read_rights, write_rights, data FROM device_file WHERE container = ? AND name = ?",
                container_, as_bytes(name));
  require(row.step(), kFileNotFound);
  File file{{0, static_cast<uint32_t>(row.number(0)), static_cast<uint32_t>(row.number(1))}, row.bytes(2)};
  file.attributes.size = static_cast<uint32_t>(file.data.size());
  return file;
}

void DeviceFiles::require_right(uint32_t right) {
  if (right == kAnyone) return;
  token_.require_login(container_);
  require(right == kUser, kNotSupported);
}

}  // namespace velm::token
