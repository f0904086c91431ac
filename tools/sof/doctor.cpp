// Checks everything that the library requires and reports each problem with a remedy.
#include <windows.h>

#include <chrono>

#include "arguments.h"
#include "certificate_items.h"
#include "command.h"
#include "commands.h"
#include "doctor_folders.h"
#include "findings.h"
#include "input_output.h"
#include "modules_on_disk.h"
#include "permissions/account.h"
#include "port_owner.h"
#include "protocol/endpoint.h"
#include "result_code.h"

namespace {

void check_module(Findings& findings, const ModuleOnDisk& module) {
  const std::string folder = text_of_path(program_folder());
  const std::string found = (module.version.empty() ? "" : module.version + ", ") + text_of_path(module.path);
  if (module.path.empty()) {
    findings.add(Grade::problem, module.name, "is missing", "install it in " + folder);
  } else if (module.is_in_program_folder) {
    findings.add(Grade::ok, module.name, found);
  } else if (module.is_loaded) {
    findings.add(Grade::warning, module.name, found + ", outside the program folder",
                 "install it in " + folder + "; delete the other file unless you know why it is there");
  } else {
    findings.add(Grade::problem, module.name, "is missing; other programs may load " + found,
                 "install it in " + folder + "; delete the other file unless you know why it is there");
  }
}

// Returns whether the library can be used.
bool check_modules(Findings& findings) {
  uint32_t error = 0;
  const bool loaded = load_library(error);
  for (const ModuleOnDisk& module : modules_on_disk()) check_module(findings, module);
  if (!loaded) {
    findings.add(Grade::problem, "library", "cannot be loaded, system error " + std::to_string(error),
                 "reinstall; all modules must be 64-bit and in the folder of the library");
  }
  return loaded;
}

std::string code_and_text(const sof::Error& error) { return code_text(error.code()) + " " + error.text(); }

void check_service_port(Findings& findings) {
  const auto self = velm::permissions::current_user();
  for (const PortOwner& owner : owners_of_port(velm::protocol::kServicePort))
    findings.add(finding_on(owner, self));
}

// Returns whether the local service answers.
bool check_service(Findings& findings) {
  using Clock = std::chrono::steady_clock;
  const Clock::time_point start = Clock::now();
  try {
    const std::string version = sof::version();
    const double milliseconds = std::chrono::duration<double, std::milli>(Clock::now() - start).count();
    char text[32];
    std::snprintf(text, sizeof text, "%.1f ms", milliseconds);
    findings.add(Grade::ok, "service", "version " + version + " answers in " + text);
    return true;
  } catch (const sof::Error& error) {
    if (error.code() == SOR_COMMUNICATIONERR) {
      findings.add(Grade::problem, "service", "does not answer on 127.0.0.1, port 55661",
                   "start it; for the software token: velm_softtoken serve");
    } else {
      findings.add(Grade::problem, "service", "answers with " + code_and_text(error),
                   "check which program listens on 127.0.0.1, port 55661");
    }
    return false;
  }
}

void check_provider(Findings& findings) {
  try {
    sof::tsa_time();
    findings.add(Grade::ok, "signature provider", "opens, and its time-stamp authority answers");
  } catch (const sof::FalseSuccess&) {
    findings.add(Grade::problem, "signature provider", "cannot be opened",
                 "check saf_config.dat in " + text_of_path(program_folder()) +
                     ", or in the current folder if there is none");
  } catch (const sof::Error& error) {
    findings.add(Grade::warning, "time-stamp authority", code_and_text(error),
                 "check time_stamp_address in saf_config.dat");
  }
}

void check_code_page(Findings& findings) {
  constexpr UINT kChinese[] = {936, 54936};
  const UINT code_page = GetACP();
  if (std::ranges::find(kChinese, code_page) != std::end(kChinese)) {
    findings.add(Grade::ok, "code page", std::to_string(code_page));
  } else {
    findings.add(Grade::note, "code page", std::to_string(code_page) + ", not Chinese",
                 "pass only ASCII file names to the library; sof uses short names where needed");
  }
}

// Returns when a valid certificate expires. Otherwise adds a warning to the findings and returns nothing.
std::optional<std::string> end_of_valid(Findings& findings, const std::string& container, KeyUse use) {
  const std::string name = use == KeyUse::encryption ? "encryption" : "signing";
  const std::string subject = container + ", " + name + " certificate";
  std::string until = "an unknown time";
  try {
    const sof::Certificate certificate = certificate_of(container, use);
    until = certificate_item(certificate, kValidUntil).value_or(until);
    certificate.validate();
    return until;
  } catch (const sof::NotValid& error) {
    findings.add(Grade::warning, subject, code_and_text(error) + "; valid until " + until,
                 "renew the certificate, or do not use this container");
  } catch (const sof::Error& error) {
    findings.add(Grade::warning, subject, error.what());
  }
  return {};
}

void check_containers(Findings& findings) {
  std::vector<std::string> names;
  try {
    names = sof::users();
  } catch (const sof::Error& error) {
    return findings.add(Grade::problem, "containers", error.what(),
                        "check the local service; if there are very many containers, delete unused ones");
  }
  if (names.empty()) {
    findings.add(Grade::warning, "containers", "there are none", "connect the device, or create a container");
  }
  for (const std::string& name : names) {
    const auto signing = end_of_valid(findings, name, KeyUse::signing);
    const auto encryption = end_of_valid(findings, name, KeyUse::encryption);
    if (!signing || !encryption) continue;
    const std::string until = *signing == *encryption ? *signing : *signing + " and " + *encryption;
    findings.add(Grade::ok, name, "both certificates are valid until " + until);
  }
}

struct Doctor {
  void add_options(CLI::App&) {}
  Report run() const {
    Findings findings;
    const bool loaded = check_modules(findings);
    check_program_folder(findings);
    check_log_folder(findings);
    check_verbose_logging(findings);
    check_code_page(findings);
    check_service_port(findings);
    if (loaded && check_service(findings)) {
      check_provider(findings);
      check_containers(findings);
    }
    return findings.report();
  }
};

}  // namespace

void add_doctor_command(CLI::App& program) {
  add_command<Doctor>(program, "doctor", "check the installation and say how to fix problems",
                      Needs::nothing);
}
