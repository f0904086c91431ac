// Commands for time-stamp tokens (RFC 3161).
#include "arguments.h"
#include "command.h"
#include "commands.h"
#include "input_output.h"
#include "library_call.h"
#include "protocol/identifiers.h"
#include "text.h"

namespace {

// Sic: these calls return success without doing anything when the signature provider cannot be opened. The
// length is then unchanged.
[[noreturn]] void provider_not_opened(const char* function) {
  throw missing_result(function,
                       "the signature provider could not be opened; look at saf_config.dat and `sof log`");
}

struct StampGet {
  uint32_t algorithm = velm::protocol::kSm3;
  std::string input = "-";
  DataOutput output;

  void add_options(CLI::App& command) {
    add_digest(command, algorithm);
    add_input(command, input, "what to stamp");
    output.add_options(command);
  }
  Report run() const {
    const Bytes data = read_all(input, "the data");
    const char* function = "SOF_Ext_GM_Tsp_SealTimeStamp";
    const auto call = [&](uint8_t* out, uint32_t* length) {
      return SOF_Ext_GM_Tsp_SealTimeStamp(algorithm, data_of(data), size_of(data), out, length);
    };
    uint32_t length = 0;
    check(function, call(nullptr, &length));
    if (length == 0) provider_not_opened(function);
    return Report().deliver(fetch_within(function, length, call), output);
  }
};

struct StampCheck {
  std::string stamp;
  std::string input = "-";
  CertificateSource authority;

  void add_options(CLI::App& command) {
    add_required_file(command, "--stamp", stamp, "file with the time stamp");
    add_input(command, input, "what was stamped");
    authority.add_options(command, true);
  }
  Report run() const {
    const Bytes token = read_all(stamp, "the time stamp");
    const Bytes data = read_all(input, "the data");
    const char* function = "SOF_Ext_GM_Tsp_VerifyTimeStamp";
    Bytes time(256);
    uint32_t length = 0;
    uint32_t code = SOR_CERTNOTFOUNDERR;
    for (const Bytes& certificate : authorities()) {
      length = size_of(time);
      code = SOF_Ext_GM_Tsp_VerifyTimeStamp(data_of(data), size_of(data), data_of(token), size_of(token),
                                            certificate.data(), size_of(certificate), time.data(), &length);
      if (code == SOR_OK) break;
    }
    check_verdict(function, code);
    if (length == time.size()) provider_not_opened(function);
    time.resize(length);
    return Report{{"valid", true}, {"time", readable(text_of(time))}};
  }

 private:
  // Without an option, the TSA certificates stored on the device. A device may have one, both or none.
  std::vector<Bytes> authorities() const {
    if (authority.is_given()) return {authority.read()};
    std::vector<Bytes> found;
    for (const std::string label : {"TIME_STAMP_AUTHORITY_SM2", "TIME_STAMP_AUTHORITY"}) {
      constexpr uint32_t kCertificateLabel = 7;
      const auto call = [&](uint8_t* out, uint32_t* length) {
        return SOF_Ext_ReadLabel("", label.c_str(), static_cast<uint32_t>(label.size()), kCertificateLabel,
                                 out, length);
      };
      uint32_t length = 0;
      if (call(nullptr, &length) == SOR_LABELNOTFOUNDERR) continue;
      found.push_back(fetch("SOF_Ext_ReadLabel", call));
    }
    return found;
  }
};

}  // namespace

void add_stamp_commands(CLI::App& sof) {
  CLI::App& group = add_group(sof, "stamp", "time stamps");
  add_command<StampGet>(group, "get", "fetch a time stamp");
  add_command<StampCheck>(
      group, "check",
      "verify a time stamp; without a certificate, against the authorities that the device names");
}
