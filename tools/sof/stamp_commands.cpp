// Commands for time-stamp tokens (RFC 3161).
#include "arguments.h"
#include "command.h"
#include "commands.h"
#include "input_output.h"
#include "protocol/identifiers.h"
#include "text.h"

namespace {

struct StampGet {
  sof::Digest digest = sof::Digest::sm3;
  std::string input = "-";
  DataOutput output;

  void add_options(CLI::App& command) {
    add_digest(command, digest);
    add_input(command, input, "data to time-stamp");
    output.add_options(command);
  }
  Report run() const {
    return Report().deliver(sof::time_stamp(read_all(input, "the data"), digest), output);
  }
};

struct StampCheck {
  std::string stamp;
  std::string input = "-";
  CertificateSource tsa;

  void add_options(CLI::App& command) {
    add_required_file(command, "--stamp", stamp, "file with the time-stamp token");
    add_input(command, input, "data that was time-stamped");
    tsa.add_options(command, true);
  }
  Report run() const {
    const Bytes token = read_all(stamp, "the time-stamp token");
    const Bytes data = read_all(input, "the data");
    return Report{{"valid", true}, {"time", readable(verified_time(data, token))}};
  }

 private:
  // Tries each certificate. If none matches, the error is that of the last one.
  std::string verified_time(const Bytes& data, const Bytes& token) const {
    const std::vector<Bytes> certificates = tsa_certificates();
    if (certificates.empty()) throw sof::Error("SOF_Ext_GM_Tsp_VerifyTimeStamp", SOR_CERTNOTFOUNDERR);
    for (size_t i = 0;; ++i) {
      try {
        return sof::verify_time_stamp(data, token, certificates[i]);
      } catch (const sof::Error&) {
        if (i + 1 == certificates.size()) throw;
      }
    }
  }

  // Without an option, the TSA certificates stored on the device. A device may have one, both or none.
  std::vector<Bytes> tsa_certificates() const {
    if (tsa.is_given()) return {tsa.read().der()};
    std::vector<Bytes> found;
    for (const char* label : {"TIME_STAMP_AUTHORITY_SM2", "TIME_STAMP_AUTHORITY"}) {
      const auto certificate = sof::Container("").find_label(label, velm::protocol::kCertificateLabel);
      if (certificate) found.push_back(*certificate);
    }
    return found;
  }
};

}  // namespace

void add_stamp_commands(CLI::App& program) {
  CLI::App& group = add_group(program, "stamp", "time-stamp tokens (RFC 3161)");
  add_command<StampGet>(group, "get", "request a time-stamp token");
  add_command<StampCheck>(
      group, "check",
      "verify a time-stamp token; without a certificate, with the TSA certificates on the device");
}
