// Checks everything that the library needs and reports each problem with a remedy.
#include <windows.h>

#include <chrono>
#include <fstream>

#include "arguments.h"
#include "certificate_items.h"
#include "command.h"
#include "commands.h"
#include "containers.h"
#include "day_log.h"
#include "input_output.h"
#include "library_call.h"
#include "modules_on_disk.h"
#include "text.h"

namespace {

enum class Grade { ok, note, warning, problem };
constexpr const char* kGradeNames[] = {"ok", "note", "warning", "problem"};

/** Results of the checks, each with advice for a problem. */
class Findings {
 public:
  void add(Grade grade, const std::string& subject, const std::string& found,
           const std::string& advice = "") {
    worst_ = std::max(worst_, grade);
    const char* name = kGradeNames[static_cast<int>(grade)];
    Json row{{"grade", name}, {"subject", subject}, {"found", found}};
    if (!advice.empty()) row["advice"] = advice;
    rows_.push_back(row);
    text_ += std::string(name) + std::string(9 - std::string_view(name).size(), ' ') + printable(subject) +
             ": " + printable(found) + "\n";
    if (!advice.empty()) text_ += "         -> " + printable(advice) + "\n";
  }
  Report report() const {
    return Report{{"worst", kGradeNames[static_cast<int>(worst_)]}, {"findings", rows_}}.say(text_).end_with(
        worst_ == Grade::problem ? ExitStatus::problems : ExitStatus::done);
  }

 private:
  Grade worst_ = Grade::ok;
  Json rows_ = Json::array();
  std::string text_;
};

// Returns whether the library can be used.
bool look_at_modules(Findings& findings) {
  uint32_t error = 0;
  const bool loaded = load_library(error);
  for (const ModuleOnDisk& module : modules_on_disk()) {
    if (module.path.empty()) {
      findings.add(Grade::problem, module.name, "is missing",
                   "install it into " + text_of_path(program_folder()));
    } else {
      const std::string version = module.version.empty() ? "" : module.version + ", ";
      findings.add(Grade::ok, module.name, version + text_of_path(module.path));
    }
  }
  if (!loaded) {
    findings.add(Grade::problem, "library", "cannot be loaded, system error " + std::to_string(error),
                 "install again; all modules have to be the 64-bit ones and lie beside the library");
  }
  return loaded;
}

// Returns whether the local service answers.
bool look_at_service(Findings& findings) {
  using Clock = std::chrono::steady_clock;
  char version[128] = "";
  const Clock::time_point start = Clock::now();
  const uint32_t code = SOF_GetVersion(version);
  const double milliseconds = std::chrono::duration<double, std::milli>(Clock::now() - start).count();
  if (code == SOR_OK) {
    char text[32];
    std::snprintf(text, sizeof text, "%.1f ms", milliseconds);
    findings.add(Grade::ok, "service", std::string("version ") + version + " answers in " + text);
  } else if (code == SOR_COMMUNICATIONERR) {
    findings.add(Grade::problem, "service", "does not answer on 127.0.0.1, port 55661",
                 "start it; the software token's: velm_softtoken serve");
  } else {
    findings.add(Grade::problem, "service", "answers with " + code_text(code) + " " + error_text(code),
                 "find out what listens on 127.0.0.1, port 55661");
  }
  return code == SOR_OK;
}

// Sic: the call returns success and leaves the length unchanged when the signature provider cannot be opened.
void look_at_provider(Findings& findings) {
  uint32_t length = 0;
  const uint32_t code = SOF_Ext_GM_Tsp_GetTime(nullptr, &length);
  if (code == SOR_OK && length == 0) {
    findings.add(Grade::problem, "signature provider", "cannot be opened",
                 "look for saf_config.dat in the current folder and in " + text_of_path(program_folder()));
  } else if (code != SOR_OK) {
    findings.add(Grade::warning, "time stamps", code_text(code) + " " + error_text(code),
                 "look at time_stamp_address in saf_config.dat");
  } else {
    findings.add(Grade::ok, "signature provider", "opens, and its time-stamp authority answers");
  }
}

void look_at_log(Findings& findings) {
  const std::filesystem::path folder = log_folder();
  const std::filesystem::path probe = folder / (L"sof-doctor-" + std::to_wstring(GetCurrentProcessId()));
  const bool written = (std::ofstream(probe) << "probe").flush().good();
  std::error_code ignored;
  std::filesystem::remove(probe, ignored);
  if (written) {
    findings.add(Grade::ok, "log folder", text_of_path(folder));
  } else {
    findings.add(Grade::problem, "log folder", text_of_path(folder) + " cannot be written",
                 "let users write there; failures go unrecorded meanwhile");
  }
  if (std::filesystem::exists(marker_path())) {
    findings.add(
        Grade::warning, "verbose logging", "is on: " + text_of_path(marker_path()) + " exists",
        "sof log --verbose off, when it is no longer needed: it records every call and settings' values");
  } else {
    findings.add(Grade::ok, "verbose logging", "is off");
  }
}

void look_at_code_page(Findings& findings) {
  constexpr UINT kChinese[] = {936, 54936};
  const UINT code_page = GetACP();
  if (std::ranges::find(kChinese, code_page) != std::end(kChinese)) {
    findings.add(Grade::ok, "code page", std::to_string(code_page));
  } else {
    findings.add(
        Grade::note, "code page", std::to_string(code_page) + ", not Chinese",
        "applications should give the library file names of ASCII characters; sof finds such by itself");
  }
}

// Returns when a valid certificate expires. Otherwise adds the problem to the findings and returns nothing.
std::optional<std::string> end_of_valid(Findings& findings, const std::string& container, bool exchange) {
  const std::string subject = container + (exchange ? ", exchange certificate" : ", signing certificate");
  try {
    const Bytes certificate = certificate_of(container, exchange);
    const std::string until = certificate_item(certificate, kValidUntil).value_or("an unknown time");
    const uint32_t code = SOF_ValidateCert(certificate.data(), size_of(certificate));
    if (code == SOR_OK) return until;
    findings.add(Grade::warning, subject, code_text(code) + " " + error_text(code) + "; valid until " + until,
                 "have the certificate renewed, or do not use this container");
  } catch (const Failure& failure) {
    findings.add(Grade::warning, subject, failure.what());
  }
  return {};
}

void look_at_containers(Findings& findings) {
  std::vector<std::string> names;
  try {
    names = container_names();
  } catch (const Failure& failure) {
    return findings.add(Grade::problem, "containers", failure.what(),
                        "look at the service; with very many containers, remove those that are not needed");
  }
  if (names.empty()) {
    findings.add(Grade::warning, "containers", "there are none", "plug in the device, or make a container");
  }
  for (const std::string& name : names) {
    const auto signing = end_of_valid(findings, name, false);
    const auto exchange = end_of_valid(findings, name, true);
    if (!signing || !exchange) continue;
    const std::string until = *signing == *exchange ? *signing : *signing + " and " + *exchange;
    findings.add(Grade::ok, name, "both certificates are valid until " + until);
  }
}

struct Doctor {
  void add_options(CLI::App&) {}
  Report run() const {
    Findings findings;
    const bool loaded = look_at_modules(findings);
    look_at_log(findings);
    look_at_code_page(findings);
    if (loaded && look_at_service(findings)) {
      look_at_provider(findings);
      look_at_containers(findings);
    }
    return findings.report();
  }
};

}  // namespace

void add_doctor_command(CLI::App& sof) {
  add_command<Doctor>(sof, "doctor", "find out what is wrong, and what to do about it", Needs::nothing);
}
