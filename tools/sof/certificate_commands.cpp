// Commands that export and inspect certificates.
#include "arguments.h"
#include "certificate_items.h"
#include "command.h"
#include "commands.h"
#include "input_output.h"
#include "library_call.h"
#include "text.h"

namespace {

struct Export {
  std::string name;
  bool exchange = false;
  bool pem = false;
  DataOutput output;

  void add_options(CLI::App& command) {
    add_container(command, name);
    command.add_flag("--exchange", exchange, "the exchange certificate instead of the signing one");
    command.add_flag("--pem", pem, "in PEM instead of DER");
    output.add_options(command);
  }
  Report run() const {
    Bytes certificate = certificate_of(name, exchange);
    Report report({{"container", name}});
    if (!pem) return report.deliver(certificate, output);
    std::string text = "-----BEGIN CERTIFICATE-----\n";
    const std::string base64 = base64_of(certificate);
    for (size_t at = 0; at < base64.size(); at += 64) text += base64.substr(at, 64) + "\n";
    return report.deliver(bytes_of(text + "-----END CERTIFICATE-----\n"), output, DataForm::text);
  }
};

struct Info {
  CertificateSource source;

  void add_options(CLI::App& command) { source.add_options(command); }
  Report run() const {
    const Bytes certificate = source.read();
    Report report;
    for (const NamedNumber& item : kCertificateItems) {
      if (const auto text = certificate_item(certificate, item.number)) report.add(item.name, *text);
    }
    return report;
  }
};

struct Oid {
  CertificateSource source;
  std::string identifier;
  DataOutput output;

  void add_options(CLI::App& command) {
    command.add_option("oid", identifier, "object identifier in dotted form, such as 2.5.4.3")->required();
    source.add_options(command);
    output.add_options(command);
  }
  Report run() const {
    constexpr uint64_t kLongest = 768;
    const Bytes certificate = source.read();
    const char* function = "SOF_GetCertInfoByOid";
    const Bytes value = fetch_within(function, kLongest, [&](uint8_t* out, uint32_t* length) {
      return SOF_GetCertInfoByOid(certificate.data(), size_of(certificate), identifier.c_str(), out, length);
    });
    const DataForm form = is_text(value) ? DataForm::text : DataForm::hexadecimal;
    return Report{{"oid", identifier}}.deliver(required(function, value, "value"), output, form);
  }
};

struct Check {
  CertificateSource source;

  void add_options(CLI::App& command) { source.add_options(command); }
  Report run() const {
    const Bytes certificate = source.read();
    check_verdict("SOF_ValidateCert", SOF_ValidateCert(certificate.data(), size_of(certificate)));
    return Report{{"valid", true}};
  }
};

struct Algorithm {
  CertificateSource source;

  void add_options(CLI::App& command) { source.add_options(command); }
  Report run() const {
    const Bytes certificate = source.read();
    uint32_t type = 0;
    check("SOF_GetCertAlg", SOF_GetCertAlg(certificate.data(), size_of(certificate), &type));
    constexpr uint32_t kRsa2048 = 10;
    constexpr uint32_t kNotRsa = 40;
    const char* name = type == kRsa2048 ? "RSA-2048" : type == kNotRsa ? "SM2" : "RSA of another length";
    return Report{{"algorithm", name}, {"number", type}};
  }
};

}  // namespace

void add_certificate_commands(CLI::App& sof) {
  CLI::App& cert = add_group(sof, "cert", "certificates");
  add_command<Export>(cert, "export", "fetch a container's certificate");
  add_command<Info>(cert, "info", "show what a certificate says");
  add_command<Oid>(cert, "oid", "show the item of a certificate that an object identifier names");
  add_command<Check>(cert, "check", "have the service validate a certificate");
  add_command<Algorithm>(cert, "alg", "tell the key algorithm of a certificate");
}
