#include "softtoken/tests/support/recorded_files.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include <sqlite3.h>

namespace velm::token {

using Kind = FileOperation::Kind;

/** A virtual file system of SQLite that records, and leaves the work to the system's own. */
class RecordedFiles::Vfs {
 public:
  Vfs() : real_(sqlite3_vfs_find(nullptr)), vfs_(*real_) {
    vfs_.zName = "recorded";
    vfs_.pNext = nullptr;
    vfs_.pAppData = this;
    vfs_.szOsFile = static_cast<int>(sizeof(File)) + real_->szOsFile;
    vfs_.xOpen = open;
    vfs_.xDelete = remove;
    if (sqlite3_vfs_register(&vfs_, 1) != SQLITE_OK) throw std::runtime_error("SQLite takes no file system");
  }
  Vfs(const Vfs&) = delete;
  ~Vfs() { sqlite3_vfs_unregister(&vfs_); }

  std::vector<FileOperation> operations;

 private:
  /** An open file; the file of the real file system is behind it in the same block. */
  struct File {
    sqlite3_file base;
    Vfs* owner;
    const char* path;

    sqlite3_file* real() { return reinterpret_cast<sqlite3_file*>(this + 1); }
    void record(Kind kind, uint64_t offset = 0, Bytes data = {}) {
      const std::string name = std::filesystem::path(path).filename();
      owner->operations.push_back({kind, name, offset, std::move(data)});
    }
  };

  static File& file_of(sqlite3_file* file) { return *reinterpret_cast<File*>(file); }

  static int open(sqlite3_vfs* vfs, const char* path, sqlite3_file* file, int flags, int* out_flags) {
    auto* self = static_cast<Vfs*>(vfs->pAppData);
    // Paths of files of the store live as long as the files. Temporary files have no path and are not
    // recorded.
    if (path == nullptr) return SQLITE_CANTOPEN;
    File& opened = file_of(file);
    opened = {{nullptr}, self, path};
    const bool is_new = !std::filesystem::exists(path);
    const int result = self->real_->xOpen(self->real_, path, opened.real(), flags, out_flags);
    if (result != SQLITE_OK) return result;
    opened.base.pMethods = &kMethods;
    if (is_new) opened.record(Kind::create);
    return SQLITE_OK;
  }

  static int remove(sqlite3_vfs* vfs, const char* path, int sync_folder) {
    auto* self = static_cast<Vfs*>(vfs->pAppData);
    const int result = self->real_->xDelete(self->real_, path, sync_folder);
    if (result != SQLITE_OK) return result;
    self->operations.push_back({Kind::remove, std::filesystem::path(path).filename(), 0, {}});
    if (sync_folder != 0) self->operations.push_back({Kind::sync_folder, {}, 0, {}});
    return SQLITE_OK;
  }

  static int write(sqlite3_file* file, const void* data, int size, sqlite3_int64 offset) {
    const auto* bytes = static_cast<const uint8_t*>(data);
    file_of(file).record(Kind::write, static_cast<uint64_t>(offset), {bytes, bytes + size});
    return call(file, &sqlite3_io_methods::xWrite, data, size, offset);
  }

  static int truncate(sqlite3_file* file, sqlite3_int64 size) {
    file_of(file).record(Kind::truncate, static_cast<uint64_t>(size));
    return call(file, &sqlite3_io_methods::xTruncate, size);
  }

  static int sync(sqlite3_file* file, int flags) {
    const int result = call(file, &sqlite3_io_methods::xSync, flags);
    if (result == SQLITE_OK) file_of(file).record(Kind::sync);
    return result;
  }

  template <typename Result, typename... Parameters, typename... Arguments>
  static Result call(sqlite3_file* file, Result (*sqlite3_io_methods::*method)(sqlite3_file*, Parameters...),
                     Arguments... arguments) {
    sqlite3_file* real = file_of(file).real();
    return (real->pMethods->*method)(real, arguments...);
  }

  /** A method that only calls that of the real file. */
  template <auto method>
  struct Forward;
  template <typename Result, typename... Parameters,
            Result (*sqlite3_io_methods::*method)(sqlite3_file*, Parameters...)>
  struct Forward<method> {
    static Result made(sqlite3_file* file, Parameters... parameters) {
      return call(file, method, parameters...);
    }
  };

  // Version 2: without memory-mapped input, whose writes could not be recorded.
  static constexpr sqlite3_io_methods kMethods{2,
                                               Forward<&sqlite3_io_methods::xClose>::made,
                                               Forward<&sqlite3_io_methods::xRead>::made,
                                               write,
                                               truncate,
                                               sync,
                                               Forward<&sqlite3_io_methods::xFileSize>::made,
                                               Forward<&sqlite3_io_methods::xLock>::made,
                                               Forward<&sqlite3_io_methods::xUnlock>::made,
                                               Forward<&sqlite3_io_methods::xCheckReservedLock>::made,
                                               Forward<&sqlite3_io_methods::xFileControl>::made,
                                               Forward<&sqlite3_io_methods::xSectorSize>::made,
                                               Forward<&sqlite3_io_methods::xDeviceCharacteristics>::made,
                                               Forward<&sqlite3_io_methods::xShmMap>::made,
                                               Forward<&sqlite3_io_methods::xShmLock>::made,
                                               Forward<&sqlite3_io_methods::xShmBarrier>::made,
                                               Forward<&sqlite3_io_methods::xShmUnmap>::made,
                                               nullptr,
                                               nullptr};

  sqlite3_vfs* real_;
  sqlite3_vfs vfs_;
};

RecordedFiles::RecordedFiles() : vfs_(std::make_unique<Vfs>()) {}

RecordedFiles::~RecordedFiles() = default;

void RecordedFiles::mark() { vfs_->operations.push_back({Kind::mark, {}, 0, {}}); }

const std::vector<FileOperation>& RecordedFiles::operations() const { return vfs_->operations; }

void FilesAfterCrash::apply(const FileOperation& operation) {
  if (operation.kind == Kind::mark) return;
  if (operation.kind == Kind::sync_folder) return sync_removals();
  State& state = states_[operation.file];
  if (operation.kind == Kind::remove) {
    state.cached.reset();
    return;
  }
  if (!state.cached) state.cached.emplace();
  if (operation.kind == Kind::create) {
    state.is_new = true;
  } else if (operation.kind == Kind::write) {
    const size_t end = static_cast<size_t>(operation.offset) + operation.data.size();
    if (state.cached->size() < end) state.cached->resize(end);
    std::ranges::copy(operation.data, state.cached->begin() + static_cast<ptrdiff_t>(operation.offset));
  } else if (operation.kind == Kind::truncate) {
    state.cached->resize(static_cast<size_t>(operation.offset));
  } else if (operation.kind == Kind::sync) {
    state.synced = state.cached;
    // The first sync of a new journal or log also syncs the folder, and with it what was removed before.
    if (std::exchange(state.is_new, false)) sync_removals();
  }
}

void FilesAfterCrash::sync_removals() {
  for (auto& [name, state] : states_) {
    if (!state.cached) state.synced.reset();
  }
}

FilesAfterCrash::Files FilesAfterCrash::files(const std::string& store, Survivors survivors) const {
  Files files;
  for (const auto& [name, state] : states_) {
    const bool all = name == store ? survivors.unsynced_of_store : survivors.unsynced_of_logs;
    const auto& content = all ? state.cached : state.synced;
    if (content) files[name] = *content;
  }
  return files;
}

}  // namespace velm::token
