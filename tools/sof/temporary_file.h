#pragma once

#include <filesystem>

/**
 * A name for a temporary file of this process. The file goes with this. When Ctrl+C ends the program, it goes
 * too, with those that the signature provider makes beside it, whose names begin with this one.
 */
class TemporaryFile {
 public:
  /** @param ending What tells it from others of this process. */
  TemporaryFile(const std::filesystem::path& folder, const wchar_t* ending);
  ~TemporaryFile();
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

/**
 * For a program that is about to end in the midst of its work. A file that a call has open cannot be removed:
 * it is emptied, and the process ends here and now, so that nothing more gets into it.
 */
void give_up_temporary_files();
