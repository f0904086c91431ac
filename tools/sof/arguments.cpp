#include "arguments.h"

#include <map>

#include "input_output.h"

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

void add_digest(CLI::App& command, sof::Digest& digest) {
  static const std::map<std::string, sof::Digest> kDigests{
      {"sm3", sof::Digest::sm3}, {"sha1", sof::Digest::sha1}, {"sha256", sof::Digest::sha256}};
  command.add_option("--algorithm", digest, "digest: sm3 (the default), sha1 or sha256")
      ->transform(CLI::CheckedTransformer(kDigests, CLI::ignore_case).description(""));
}

void CertificateSource::add_options(CLI::App& command, bool optional) {
  CLI::Option_group* group = command.add_option_group("certificate");
  group->add_option("--cert", file_, "certificate file, DER or PEM");
  group->add_option("--container", container_,
                    use_ == KeyUse::encryption ? "use the encryption certificate of this container"
                                               : "use the signing certificate of this container");
  group->require_option(optional ? 0 : 1, 1);
}

sof::Certificate CertificateSource::read() const {
  if (container_.empty()) return sof::Certificate(der_of(read_all(file_, "the certificate")));
  return certificate_of(container_, use_);
}

sof::Certificate certificate_of(const std::string& container, KeyUse use) {
  const sof::Container found(container);
  return use == KeyUse::encryption ? found.encryption_certificate() : found.signing_certificate();
}
