#pragma once

#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "softtoken/crypto/bytes.h"

namespace velm::token {

/** What SQLite did to one file, or a mark of the test between two such operations. */
struct FileOperation {
  enum class Kind { create, write, truncate, sync, remove, sync_folder, mark };

  Kind kind;
  /** The name of the file without its folder. */
  std::string file;
  uint64_t offset = 0;
  Bytes data;
};

/**
 * Records the operations of every SQLite connection that is opened during its lifetime. Connections must be
 * closed before its end. The shared memory of a write-ahead log is not recorded: no crash keeps it.
 */
class RecordedFiles {
 public:
  RecordedFiles();
  RecordedFiles(const RecordedFiles&) = delete;
  ~RecordedFiles();

  /** Records that everything before has been reported as done. */
  void mark();
  const std::vector<FileOperation>& operations() const;

 private:
  class Vfs;
  std::unique_ptr<Vfs> vfs_;
};

/** The files after some of the operations, as the cache of the system and as the disk have them. */
class FilesAfterCrash {
 public:
  void apply(const FileOperation& operation);

  /** Which of the writes survive: those that were synced, or all, for each kind of file. */
  struct Survivors {
    bool unsynced_of_store;
    bool unsynced_of_logs;
  };
  using Files = std::map<std::string, Bytes>;
  Files files(const std::string& store, Survivors survivors) const;

 private:
  struct State {
    std::optional<Bytes> cached;
    std::optional<Bytes> synced;
    bool is_new = false;
  };

  /** Makes earlier removals of files survive. */
  void sync_removals();

  std::map<std::string, State> states_;
};

}  // namespace velm::token
