#pragma once

#include "softtoken/store/token.h"

namespace velm::token {

/** Access rights of a device file. kUser requires a login; other values are treated as kNobody. */
enum FileRight : uint32_t { kNobody = 0x00, kUser = 0x10, kAnyone = 0xFF };

/** Largest device file in bytes, and the number of device files per container. */
constexpr uint32_t kMaxDeviceFile = 1024 * 1024;
constexpr size_t kMaxDeviceFiles = 64;

struct DeviceFileAttributes {
  uint32_t size;
  uint32_t read_rights;
  uint32_t write_rights;
};

/**
 * Files of a fixed size in a container. Names are arbitrary bytes. Functions throw kFileNotFound,
 * kNotLoggedIn, or kNotSupported if nobody has the right.
 */
class DeviceFiles {
 public:
  DeviceFiles(Token& token, int64_t container) : token_(token), container_(container) {}

  std::vector<std::string> names();
  /** Creates a file filled with zeros; requires a login. Throws kFileExists, kNoSpace, kTooManyFiles. */
  void create(const std::string& name, const DeviceFileAttributes& attributes);
  /** Requires a login, whatever the rights of the file. */
  void remove(const std::string& name);
  DeviceFileAttributes attributes(const std::string& name);
  /** Returns at most `length` bytes; throws kBadLength if `offset` is beyond the end. */
  Bytes read(const std::string& name, uint32_t offset, uint32_t length);
  /** Throws kNoSpace if the data does not fit: files do not grow. */
  void write(const std::string& name, uint32_t offset, ByteView data);

 private:
  struct File {
    DeviceFileAttributes attributes;
    Bytes data;
  };

  File open(const std::string& name);
  void require_right(uint32_t right);

  Token& token_;
  int64_t container_;
};

}  // namespace velm::token
