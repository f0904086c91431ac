#pragma once

#include <filesystem>

/**
 * A new file with a random name. The destructor deletes the file. Ctrl+C deletes it too, together with the
 * signature provider's temporary files, whose names start with this one.
 */
class TemporaryFile {
 public:
  /** @param ending Shows the purpose of the file. */
  TemporaryFile(const std::filesystem::path& folder, const wchar_t* ending);
  ~TemporaryFile();
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

/**
 * Called when the program is interrupted. A file that a call has open cannot be deleted; it is truncated and
 * the process terminated at once, so that nothing more is written to it.
 */
void give_up_temporary_files();
