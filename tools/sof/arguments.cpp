#include "arguments.h"

#include <map>

#include "input_output.h"
#include "library_call.h"
#include "protocol/identifiers.h"

namespace {

Bytes der_of(const Bytes& content) {
  static constexpr std::string_view kBegin = "-----BEGIN CERTIFICATE-----";
  const std::string text = text_of(content);
  const size_t begin = text.find(kBegin);
  if (begin == std::string::npos) return content;
  const size_t from = begin + kBegin.size();
  return bytes_of_base64(std::string_view(text).substr(from, text.find("-----END", from) - from));
}

}  // namespace

void add_digest(CLI::App& command, uint32_t& algorithm) {
  namespace protocol = velm::protocol;
  static const std::map<std::string, uint32_t> kDigests{
      {"sm3", protocol::kSm3}, {"sha1", protocol::kSha1}, {"sha256", protocol::kSha256}};
  command.add_option("--algorithm", algorithm, "digest: sm3 (the default), sha1 or sha256")
      ->transform(CLI::CheckedTransformer(kDigests, CLI::ignore_case).description(""));
}

void CertificateSource::add_options(CLI::App& command, bool optional) {
  CLI::Option_group* group = command.add_option_group("certificate");
  group->add_option("--cert", file_, "certificate file, DER or PEM");
  group->add_option("--container", container_,
                    exchange_ ? "container whose exchange certificate to take"
                              : "container whose signing certificate to take");
  group->require_option(optional ? 0 : 1, 1);
}

Bytes CertificateSource::read() const {
  if (container_.empty()) return der_of(read_all(file_, "the certificate"));
  return certificate_of(container_, exchange_);
}

Bytes certificate_of(const std::string& container, bool exchange) {
  constexpr uint64_t kLongest = 3072;
  const auto export_call = exchange ? SOF_ExportExChangeUserCert : SOF_ExportUserCert;
  const char* function = exchange ? "SOF_ExportExChangeUserCert" : "SOF_ExportUserCert";
  const auto call = [&](uint8_t* out, uint32_t* length) {
    return export_call(container.c_str(), out, length);
  };
  return required(function, fetch(function, call, kLongest), "certificate");
}
