#pragma once

#include "softtoken/store/token.h"

namespace velm::token {

/** Who may use a device file: nobody, the user who is logged in, or anyone. Any other value admits nobody. */
enum FileRight : uint32_t { kNobody = 0x00, kUser = 0x10, kAnyone = 0xFF };

/** Largest device file, in bytes, and how many a container holds. */
constexpr uint32_t kMaxDeviceFile = 1024 * 1024;
constexpr size_t kMaxDeviceFiles = 64;

struct DeviceFileAttributes {
  uint32_t size;
  uint32_t read_rights;
  uint32_t write_rights;
};

/**
 * Files of a fixed size in a container, under names of any bytes. A file is made and deleted by the user who
 * is logged in, filled with zeros. Every function throws the code for what is missing: container, file,
 * login, space.
 */
class DeviceFiles {
 public:
  DeviceFiles(Token& token, std::string container) : token_(token), container_(std::move(container)) {}

  std::vector<std::string> names();
  void create(const std::string& name, const DeviceFileAttributes& attributes);
  void remove(const std::string& name);
  DeviceFileAttributes attributes(const std::string& name);
  /** What the file holds from an offset on, at most `length` bytes. */
  Bytes read(const std::string& name, uint32_t offset, uint32_t length);
  void write(const std::string& name, uint32_t offset, ByteView data);

 private:
  struct File {
    DeviceFileAttributes attributes;
    Bytes data;
  };

  File open(const std::string& name);
  void require_right(uint32_t right);

  Token& token_;
  std::string container_;
};

}  // namespace velm::token
