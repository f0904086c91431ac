// Commands that export and inspect certificates.
#include "arguments.h"
#include "certificate_items.h"
#include "command.h"
#include "commands.h"
#include "input_output.h"

namespace {

struct Export {
  std::string name;
  bool encryption = false;
  bool pem = false;
  DataOutput output;

  void add_options(CLI::App& command) {
    add_container(command, name);
    command.add_flag("--exchange", encryption, "export the encryption certificate");
    command.add_flag("--pem", pem, "write PEM instead of DER");
    output.add_options(command);
  }
  Report run() const {
    const Bytes der = certificate_of(name, encryption ? KeyUse::encryption : KeyUse::signing).der();
    Report report({{"container", name}});
    if (!pem) return report.deliver(der, output);
    std::string text = "-----BEGIN CERTIFICATE-----\n";
    const std::string base64 = sof::base64_encode(der);
    for (size_t at = 0; at < base64.size(); at += 64) text += base64.substr(at, 64) + "\n";
    return report.deliver(bytes_of(text + "-----END CERTIFICATE-----\n"), output, DataForm::text);
  }
};

struct Info {
  CertificateSource source;

  void add_options(CLI::App& command) { source.add_options(command); }
  Report run() const {
    const sof::Certificate certificate = source.read();
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
    command.add_option("oid", identifier, "object identifier in dotted decimal notation, such as 2.5.4.3")
        ->required();
    source.add_options(command);
    output.add_options(command);
  }
  Report run() const {
    const std::string value = source.read().item(identifier);
    if (value.empty()) throw sof::FalseSuccess("SOF_GetCertInfoByOid");
    const DataForm form = is_text(value) ? DataForm::text : DataForm::hexadecimal;
    return Report{{"oid", identifier}}.deliver(bytes_of(value), output, form);
  }
};

struct Check {
  CertificateSource source;

  void add_options(CLI::App& command) { source.add_options(command); }
  Report run() const {
    source.read().validate();
    return Report{{"valid", true}};
  }
};

struct Algorithm {
  CertificateSource source;

  void add_options(CLI::App& command) { source.add_options(command); }
  Report run() const {
    const sof::Certificate::Key key = source.read().key();
    return Report{{"algorithm", name_of(key)}, {"number", static_cast<uint32_t>(key)}};
  }

 private:
  static const char* name_of(sof::Certificate::Key key) {
    switch (key) {
      case sof::Certificate::Key::rsa_2048:
        return "RSA-2048";
      case sof::Certificate::Key::sm2:
        return "SM2";
      default:
        return "RSA of another length";
    }
  }
};

}  // namespace

void add_certificate_commands(CLI::App& program) {
  CLI::App& cert = add_group(program, "cert", "certificates");
  add_command<Export>(cert, "export", "export a certificate of a container");
  add_command<Info>(cert, "info", "show the contents of a certificate");
  add_command<Oid>(cert, "oid", "show the item with an object identifier");
  add_command<Check>(cert, "check", "validate a certificate with the local service");
  add_command<Algorithm>(cert, "alg", "show the key algorithm of a certificate");
}
