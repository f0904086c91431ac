#include "doctor_folders.h"

#include <algorithm>
#include <optional>

#include "day_log.h"
#include "input_output.h"
#include "modules_on_disk.h"
#include "new_file.h"
#include "permissions/access.h"
#include "text.h"

using namespace velm::permissions;

namespace {

namespace fs = std::filesystem;

std::string names_of(const std::vector<Sid>& accounts) {
  std::string text;
  for (const Sid& account : accounts) text += (text.empty() ? "" : ", ") + utf8_of(account_name(account));
  return text;
}

bool can_be_written(const fs::path& folder) {
  try {
    return fs::remove(create_new_file(folder, L".probe"));
  } catch (const fs::filesystem_error&) {
    return false;
  }
}

// The first link among the folders in which the library creates the log file.
std::optional<fs::path> link_on_the_way_to_log() {
  for (const fs::path& path : {log_folder().parent_path(), log_folder(), todays_log().parent_path()}) {
    if (is_link(path)) return path;
  }
  return {};
}

std::vector<Sid> others_who_may_replace(const fs::path& folder) {
  std::vector<Sid> others;
  for (const fs::path& path : {folder.parent_path(), folder}) {
    for (const Sid& other :
         others_who_may(kReplace, path, controls_the_machine).value_or(std::vector<Sid>())) {
      if (std::ranges::find(others, other) == others.end()) others.push_back(other);
    }
  }
  return others;
}

}  // namespace

void check_program_folder(Findings& findings) {
  const std::string folder = text_of_path(program_folder());
  const auto others = others_who_may(kChange, program_folder(), controls_the_machine);
  if (!others) {
    findings.add(Grade::note, "program folder", folder + ", whose permissions cannot be read");
  } else if (others->empty()) {
    findings.add(Grade::ok, "program folder", folder);
  } else {
    findings.add(Grade::warning, "program folder", folder + " can be changed by " + names_of(*others),
                 "install with the installer, or allow only administrators to write there");
  }
}

void check_log_folder(Findings& findings) {
  const fs::path folder = log_folder();
  const std::string name = text_of_path(folder);
  if (const auto link = link_on_the_way_to_log()) {
    return findings.add(Grade::warning, "log folder", text_of_path(*link) + " is a link; nothing is logged",
                        "delete the link; the library creates the folder anew");
  }
  if (!can_be_written(folder)) {
    return findings.add(Grade::warning, "log folder", name + " cannot be written",
                        "allow users to write to it; until then failures are not logged");
  }
  const std::vector<Sid> others = others_who_may_replace(folder);
  if (others.empty()) return findings.add(Grade::ok, "log folder", name);
  findings.add(Grade::warning, "log folder", name + " can be replaced by " + names_of(others),
               "run the installer again; it allows users to add to the log but not to replace it");
}

void check_verbose_logging(Findings& findings) {
  if (fs::exists(marker_path())) {
    findings.add(Grade::warning, "verbose logging", "is on: " + text_of_path(marker_path()) + " exists",
                 "if it is no longer needed, run: sof log --verbose off");
  } else {
    findings.add(Grade::ok, "verbose logging", "is off");
  }
}
