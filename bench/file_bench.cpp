// Processes files with the library, the software token's modules and its local service. files.py writes the
// commands and measures openssl for comparison. The answers are among the output of the local service:
//   encrypt METHOD INPUT OUTPUT, decrypt INPUT OUTPUT    duration of the call in seconds
//   hash INPUT                                           the same, and the hash in hexadecimal
//   peak                                                 peak memory use in MiB
#include <windows.h>
#include <psapi.h>

#include <array>
#include <iomanip>
#include <span>
#include <sstream>
#include <string>
#include <vector>

#include "bench/commands.h"
#include "softtoken/tests/e2e/service_process.h"
#include "velm_sof_client.h"

using velm::bench::require;
using velm::bench::seconds_of;

namespace {

constexpr const char* kContainer = "RSA_2048_SCAN_CONTAINER_DEMO";
constexpr const char* kPin = "12345678";
constexpr uint32_t kByProvider = 1;  // envelope type: files are handled by the signature provider
constexpr uintptr_t kSm3 = 1;

using HashValue = std::array<uint8_t, 32>;

class Files {
 public:
  Files() {
    require(SOF_Login(kContainer, kPin) == SOR_OK, "the login failed");
    auto length = static_cast<uint32_t>(certificate_.size());
    require(SOF_ExportExChangeUserCert(kContainer, certificate_.data(), &length) == SOR_OK,
            "the certificate cannot be exported");
    certificate_.resize(length);
    SOF_Ext_SetEnvelopType(kByProvider);
  }

  // Executes a command and returns the answer.
  std::string obey(std::istringstream line) const {
    std::string command, input, output;
    line >> command;
    if (command == "peak") return std::to_string(peak_mebibytes());
    uint32_t method = 0;
    if (command == "encrypt") line >> method;
    line >> input >> output;
    if (command == "encrypt") return seconds_of([&] { return encrypt(method, input, output); });
    if (command == "decrypt") {
      return seconds_of([&] { return SOF_DecryptFile(kContainer, input.c_str(), output.c_str()); });
    }
    require(command == "hash", "unknown command");
    HashValue value{};
    const std::string taken = seconds_of([&] { return hash(input, value); });
    return taken + " " + hexadecimal(value);
  }

 private:
  static std::string hexadecimal(std::span<const uint8_t> bytes) {
    std::ostringstream text;
    for (const uint8_t byte : bytes) text << std::hex << std::setw(2) << std::setfill('0') << unsigned{byte};
    return text.str();
  }

  uint32_t encrypt(uint32_t method, const std::string& input, const std::string& output) const {
    SOF_SetEncryptMethod(static_cast<int32_t>(method));
    return SOF_EncryptFile(certificate_.data(), static_cast<uint32_t>(certificate_.size()), input.c_str(),
                           output.c_str());
  }

  static uint32_t hash(const std::string& input, HashValue& value) {
    auto length = static_cast<uint32_t>(value.size());
    return SOF_Ext_HashFile(reinterpret_cast<const void*>(kSm3), nullptr, nullptr, nullptr, 0, input.c_str(),
                            value.data(), &length);
  }

  static double peak_mebibytes() {
    PROCESS_MEMORY_COUNTERS counters{};
    GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters);
    return static_cast<double>(counters.PeakWorkingSetSize) / (1 << 20);
  }

  std::vector<uint8_t> certificate_ = std::vector<uint8_t>(4096);
};

void serve() {
  const ServiceProcess service;
  const Files files;
  velm::bench::obey_commands([&](std::istringstream line) { return files.obey(std::move(line)); });
}

}  // namespace

int main() { return velm::bench::run(serve); }
