#include "command.h"

#include <windows.h>

#include "input_output.h"
#include "modules_on_disk.h"

namespace {

ExitStatus g_status = ExitStatus::done;

void fail(const Failure& failure, bool as_json) {
  g_status = failure.status();
  write_standard_error(std::string("sof: ") + failure.what() + "\n");
  if (!as_json) return;
  Json object{{"ok", false}};
  object.update(failure.details());
  try {
    write_standard_output(json_line(object));
  } catch (const Failure&) {
    // Standard output is closed. The error is still reported on standard error and in the exit status.
  }
}

void fail_with(const std::string& message, bool as_json) {
  fail({ExitStatus::call_failed, message, {{"message", message}}}, as_json);
}

void require_library() {
  uint32_t error = 0;
  if (load_library(error)) return;
  const std::string message = "velm_sof_client.dll cannot be loaded (system error " + std::to_string(error) +
                              "); `sof doctor` tells what is missing";
  throw Failure(ExitStatus::no_library, message, {{"message", message}});
}

}  // namespace

void run_command(Needs needs, bool as_json, const std::function<Report()>& run) {
  try {
    if (needs == Needs::library) require_library();
    const Report report = run();
    report.present(as_json);
    g_status = report.status();
  } catch (const Failure& failure) {
    fail(failure, as_json);
  } catch (const sof::NotValid& error) {
    fail(call_failure(error), as_json);
  } catch (const sof::FalseSuccess& error) {
    fail(call_failure(error), as_json);
  } catch (const sof::Error& error) {
    fail(call_failure(error), as_json);
  } catch (const std::filesystem::filesystem_error& error) {
    fail(file_failure(text_of_path(error.path1()), "cannot be used"), as_json);
  } catch (const std::bad_alloc&) {
    fail_with("out of memory", as_json);
  } catch (const std::exception& error) {
    fail_with(error.what(), as_json);
  }
}

ExitStatus exit_status() { return g_status; }

bool load_library(uint32_t& error) {
  // The four modules that it imports are searched there, too: not in the current folder, not in PATH.
  constexpr DWORD kOwnFolderAndSystem = LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR | LOAD_LIBRARY_SEARCH_SYSTEM32;
  const std::filesystem::path library = program_folder() / L"velm_sof_client.dll";
  const bool loaded = LoadLibraryExW(library.c_str(), nullptr, kOwnFolderAndSystem) != nullptr;
  error = loaded ? 0 : GetLastError();
  return loaded;
}
