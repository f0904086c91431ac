// Makes calls of the library that transfer much data, and the same exchanges with WinHTTP alone. bulk.py
// starts the local service and writes the commands. Each is answered with its duration in seconds:
//   login CONTAINER
//   sign SIZE, verify SIZE, message SIZE, encrypt SIZE, decrypt SIZE    a call with SIZE bytes of data
//   bare_json SIZE, bare_frame SIZE                                     an exchange like that of sign or
//   encrypt
#include <string>
#include <vector>

#include "bench/bare_exchange.h"
#include "bench/commands.h"
#include "velm_sof_client.h"

using velm::bench::exchange_with_winhttp;
using velm::bench::require;
using velm::bench::seconds_of;

namespace {

constexpr const char* kPin = "12345678";
constexpr wchar_t kJsonHeader[] = L"Content-Type:application/json;charset=UTF-8;";
constexpr wchar_t kFrameHeader[] = L"Content-Type:application/octet-stream;";
constexpr size_t kSpare = 16384;  // certificates, signatures and the encoding of a message

uint32_t size_of(const std::vector<uint8_t>& bytes) { return static_cast<uint32_t>(bytes.size()); }

class Bulk {
 public:
  std::string obey(std::istringstream line) {
    std::string command;
    line >> command;
    if (command == "login") {
      line >> container_;
      return seconds_of([&] { return login(); });
    }
    uint32_t size = 0;
    line >> size;
    if (data_.size() != size) use(size);
    if (command == "sign") return seconds_of([&] { return sign(); });
    if (command == "verify") return seconds_of([&] { return verify(); });
    if (command == "message") return seconds_of([&] { return sign_message(); });
    if (command == "encrypt") return seconds_of([&] { return encrypt(); });
    if (command == "decrypt") return seconds_of([&] { return decrypt(); });
    if (command == "bare_json") return bare(kJsonHeader, size_t{size + 2} / 3 * 4);
    require(command == "bare_frame", "unknown command");
    return bare(kFrameHeader, size_t{size} + certificate_.size());
  }

 private:
  uint32_t login() {
    const uint32_t result = SOF_Login(container_.c_str(), kPin);
    certificate_ = exported(SOF_ExportUserCert);
    recipient_ = exported(SOF_ExportExChangeUserCert);
    return result;
  }

  std::vector<uint8_t> exported(decltype(SOF_ExportUserCert)* function) const {
    std::vector<uint8_t> certificate(kSpare);
    auto length = static_cast<uint32_t>(kSpare);
    require(function(container_.c_str(), certificate.data(), &length) == SOR_OK,
            "the certificate cannot be exported");
    certificate.resize(length);
    return certificate;
  }

  void use(uint32_t size) {
    data_.assign(size, 'd');
    output_.assign(size_t{size} * 2 + kSpare, 0);
    envelope_.assign(size_t{size} + kSpare, 0);
    signature_length_ = envelope_length_ = 0;
  }

  uint32_t sign() {
    signature_length_ = size_of(signature_);
    return SOF_SignData(container_.c_str(), data_.data(), size_of(data_), signature_.data(),
                        &signature_length_);
  }

  uint32_t verify() {
    require(signature_length_ != 0, "no signature");
    return SOF_VerifySignedData(certificate_.data(), size_of(certificate_), data_.data(), size_of(data_),
                                signature_.data(), signature_length_);
  }

  uint32_t sign_message() {
    constexpr int32_t kAttached = 0;
    uint32_t length = size_of(output_);
    return SOF_SignMessage(kAttached, container_.c_str(), data_.data(), size_of(data_), output_.data(),
                           &length);
  }

  uint32_t encrypt() {
    envelope_length_ = size_of(envelope_);
    return SOF_EncryptData(recipient_.data(), size_of(recipient_), data_.data(), size_of(data_),
                           envelope_.data(), &envelope_length_);
  }

  uint32_t decrypt() {
    require(envelope_length_ != 0, "no envelope");
    uint32_t length = size_of(output_);
    return SOF_DecryptData(container_.c_str(), envelope_.data(), envelope_length_, output_.data(), &length);
  }

  std::string bare(const wchar_t* header, size_t size) {
    std::vector<char> body(size, 'A');
    const std::span<char> answer(reinterpret_cast<char*>(output_.data()), output_.size());
    return std::to_string(velm::bench::seconds(
        [&] { require(!exchange_with_winhttp(header, body, answer).empty(), "no answer"); }));
  }

  std::string container_ = "C1";
  std::vector<uint8_t> certificate_ = std::vector<uint8_t>(1024, 'c');
  std::vector<uint8_t> recipient_ = certificate_;
  std::vector<uint8_t> signature_ = std::vector<uint8_t>(kSpare);
  std::vector<uint8_t> data_, output_, envelope_;
  uint32_t signature_length_ = 0, envelope_length_ = 0;
};

void obey_commands() {
  Bulk bulk;
  velm::bench::obey_commands([&](std::istringstream line) { return bulk.obey(std::move(line)); });
}

}  // namespace

int main() { return velm::bench::run(obey_commands); }
