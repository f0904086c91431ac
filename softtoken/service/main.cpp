#include <cstdio>
#include <exception>

#include <CLI/CLI.hpp>

#ifdef _WIN32
#include <windows.h>
#include <shellapi.h>
#endif

#include "protocol/limits.h"
#include "softtoken/crypto/token_error.h"
#include "softtoken/service/commands.h"
#include "softtoken/service/default_store.h"
#include "softtoken/service/received_text.h"

namespace {

using namespace velm::token;

std::vector<std::string> arguments(int argc, char** argv) {
#ifdef _WIN32
  SetConsoleOutputCP(CP_UTF8);
  std::vector<std::string> utf8;
  int count = 0;
  wchar_t** wide = CommandLineToArgvW(GetCommandLineW(), &count);
  for (int i = 1; wide != nullptr && i < count; ++i) {
    std::string text(std::wcslen(wide[i]) * 3 + 1, '\0');
    WideCharToMultiByte(CP_UTF8, 0, wide[i], -1, text.data(), static_cast<int>(text.size()), nullptr,
                        nullptr);
    utf8.emplace_back(text.c_str());
  }
  LocalFree(wide);
  static_cast<void>(argc);
  static_cast<void>(argv);
  return utf8;
#else
  return {argv + 1, argv + argc};
#endif
}

std::filesystem::path path_of(const std::string& utf8) {
  return std::filesystem::path(std::u8string(utf8.begin(), utf8.end()));
}

/** The values on the command line; each command uses some of them. */
struct Line {
  std::string data = [] {
    const std::u8string file = default_store().value_or("").u8string();
    return std::string(file.begin(), file.end());
  }();
  std::string name, type = "sm2", pin, source, password;
  bool demo = false, encryption = false, authority = false;
  double body_limit_mib = 512, memory_budget_mib = 1024, request_seconds = 10;
  ServeOptions serve;

  std::filesystem::path store() const {
    if (data.empty())
      throw std::runtime_error("the environment names no folder for application data; pass --data FILE");
    return path_of(data);
  }
  ContainerName container() const { return read_name(name); }
  Pin given_pin() const { return read_pin(as_bytes(pin)); }
};

// Values in these ranges do not overflow in any conversion.
constexpr double kLeastLimit = 0.001;
constexpr double kMostMib = 1024;
constexpr double kLeastBudgetMib = 1;
constexpr double kMostBudgetMib = 1024 * 1024;
constexpr unsigned kMostThreads = 1024;
constexpr double kMostSeconds = 24 * 60 * 60;

CLI::App* add_command(CLI::App& parent, Line& line, const char* name, const char* description,
                      std::function<void()> run) {
  CLI::App* command = parent.add_subcommand(name, description);
  command->add_option("--data", line.data, "store file")->capture_default_str();
  command->callback(std::move(run));
  return command;
}

void add_serve(CLI::App& app, Line& line) {
  CLI::App* serve_command =
      add_command(app, line, "serve", "run the local service on the loopback address", [&line] {
        line.serve.http.body_limit = static_cast<size_t>(line.body_limit_mib * 1024 * 1024);
        line.serve.http.memory_budget = static_cast<size_t>(line.memory_budget_mib * 1024 * 1024);
        line.serve.http.request_time =
            std::chrono::milliseconds(static_cast<int64_t>(line.request_seconds * 1000));
        serve(line.store(), line.serve);
      });
  serve_command->add_option("--port", line.serve.http.port, "TCP port")->capture_default_str();
  serve_command
      ->add_option("--idle-logout", line.serve.idle_logout_minutes,
                   "minutes after which an unused login ends; 0: never")
      ->capture_default_str();
  serve_command->add_option("--body-limit", line.body_limit_mib, "largest request body in MiB")
      ->capture_default_str()
      ->check(CLI::Range(kLeastLimit, kMostMib));
  serve_command
      ->add_option("--memory-budget", line.memory_budget_mib, "MiB of memory for all requests together")
      ->capture_default_str()
      ->check(CLI::Range(kLeastBudgetMib, kMostBudgetMib));
  serve_command
      ->add_option("--threads", line.serve.http.threads,
                   "threads for short calls, and as many again for long calls")
      ->capture_default_str()
      ->check(CLI::Range(1U, kMostThreads));
  serve_command
      ->add_option("--request-time", line.request_seconds,
                   "seconds within which a complete request must arrive")
      ->capture_default_str()
      ->check(CLI::Range(kLeastLimit, kMostSeconds));
}

void add_name(CLI::App* command, Line& line) {
  command->add_option("name", line.name, "container name")->required();
}

std::string pin_description() {
  return "PIN of the container, " + std::to_string(velm::protocol::kShortestPin) + " to " +
         std::to_string(velm::protocol::kLongestPin) + " bytes";
}

void add_container_commands(CLI::App& app, Line& line) {
  CLI::App* container = app.add_subcommand("container", "manage containers");
  container->require_subcommand(1);
  CLI::App* add = add_command(
      *container, line, "add", "create a container with new keys and certificates",
      [&line] { add_container(line.store(), line.container().utf8, line.type, line.given_pin()); });
  add_name(add, line);
  add->add_option("--type", line.type, "key type")
      ->capture_default_str()
      ->check(CLI::IsMember({"sm2", "rsa2048", "rsa1024"}));
  add->add_option("--pin", line.pin, pin_description())->required();
  add_command(*container, line, "list", "list the containers", [&line] { list_containers(line.store()); });
  CLI::App* remove = add_command(*container, line, "delete", "delete a container and its contents",
                                 [&line] { delete_container(line.store(), line.container()); });
  add_name(remove, line);
}

void add_store_commands(CLI::App& app, Line& line) {
  CLI::App* init = add_command(app, line, "init", "create a store with its own demo CA",
                               [&line] { init_store(line.store(), line.demo); });
  init->add_flag("--demo", line.demo, "add the demo containers, PIN 12345678");

  CLI::App* import = add_command(app, line, "import",
                                 "import a private key and its certificate into a new container", [&line] {
                                   import_container(line.store(), line.container().utf8, path_of(line.source),
                                                    line.password, line.given_pin());
                                 });
  add_name(import, line);
  import->add_option("file", line.source, "PKCS#12 or PEM file")->required();
  import->add_option("--password", line.password, "password of the file");
  import->add_option("--pin", line.pin, pin_description())->required();

  CLI::App* export_cert =
      add_command(app, line, "export-cert", "print the signing certificate of a container in PEM", [&line] {
        export_certificate(line.store(), line.container(),
                           line.authority    ? WhichCertificate::authority
                           : line.encryption ? WhichCertificate::encryption
                                             : WhichCertificate::signing);
      });
  add_name(export_cert, line);
  CLI::Option* encryption =
      export_cert->add_flag("--exchange", line.encryption, "print the encryption certificate instead");
  export_cert->add_flag("--authority", line.authority, "print the certificate of the issuer instead")
      ->excludes(encryption);

  CLI::App* unlock = add_command(app, line, "unlock", "reset the PIN retry counter of a container",
                                 [&line] { unlock_container(line.store(), line.container()); });
  add_name(unlock, line);
}

void add_trace(CLI::App& app, Line& line) {
  CLI::App* trace = app.add_subcommand("trace", "print the last calls of the running local service");
  trace->add_option("--port", line.serve.http.port, "TCP port")->capture_default_str();
  trace->callback([&line] { print_trace(line.serve.http.port); });
}

}  // namespace

// Outside the try block, only an invalid command definition throws.
int main(int argc, char** argv) {  // NOLINT(bugprone-exception-escape)
  CLI::App app{"Software token: a local service with real keys, for development and tests"};
  app.require_subcommand(1);
  Line line;
  add_serve(app, line);
  add_store_commands(app, line);
  add_container_commands(app, line);
  add_trace(app, line);
  try {
    std::vector<std::string> words = arguments(argc, argv);
    std::reverse(words.begin(), words.end());
    app.parse(std::move(words));
    return 0;
  } catch (const CLI::ParseError& error) {
    return app.exit(error);
  } catch (const TokenError& error) {
    std::fprintf(stderr, "velm_softtoken: failed with result code 0x%08X\n",
                 static_cast<unsigned>(error.code()));
  } catch (const std::exception& error) {
    std::fprintf(stderr, "velm_softtoken: %s\n", error.what());
  }
  return 1;
}
