// Owning pointer to a file stream.
#pragma once

#include <cstdio>
#include <memory>

namespace velm {

struct FileCloser {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using OwnedFile = std::unique_ptr<std::FILE, FileCloser>;

}  // namespace velm
