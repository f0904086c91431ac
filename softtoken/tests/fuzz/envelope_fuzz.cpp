// Fuzzes digital envelopes: the in-memory decoder and the file decoder must return the same content.
#include "softtoken/crypto/envelope.h"

#include <filesystem>
#include <optional>

#include "softtoken/crypto/asymmetric.h"
#include "softtoken/crypto/content_info.h"
#include "softtoken/providers/saf/envelope_file.h"
#include "softtoken/providers/saf/saf_call.h"
#include "softtoken/tests/fuzz/credentials.h"
#include "softtoken/tests/providers/expected_codes.h"
#include "softtoken/tests/providers/samples.h"
#include "softtoken/tests/store/temporary_store.h"
#include "tests/fuzz/fuzz_target.h"

using namespace velm::token;
using velm::fuzz::expect;

namespace {

class Openers {
 public:
  std::optional<SecretBytes> open(ByteView envelope) const {
    std::optional<SecretBytes> plain;
    const ErrorCode code = code_of([&] { plain = open_envelope(openers_, envelope); });
    expect(code != kUnknownError, "a known result code");
    return plain;
  }

  SecretBytes content_key(std::span<const EnvelopeRecipient> recipients) const {
    for (const EnvelopeRecipient& recipient : recipients) {
      for (const Opener& opener : openers_) {
        if (!names_certificate(recipient.name, opener.certificate)) continue;
        return decrypt_with_key(opener.key, recipient.encrypted_key);
      }
    }
    throw SafError(kSafKeyMismatch);
  }

 private:
  Credential sm2_ = fuzz::sm2_credential();
  Credential rsa_ = fuzz::rsa_credential();
  Opener openers_[2] = {{sm2_.certificate.get(), sm2_.key.get()}, {rsa_.certificate.get(), rsa_.key.get()}};
};

// Files of this process; deleted by the destructor.
class Folder {
 public:
  Folder() {
    std::string name = (std::filesystem::temp_directory_path() / "velm-envelope-XXXXXX").string();
    expect(mkdtemp(name.data()) != nullptr, "a temporary folder can be created");
    path_ = name;
  }
  Folder(const Folder&) = delete;
  ~Folder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  std::string file(const char* name) const { return (path_ / name).string(); }

 private:
  std::filesystem::path path_;
};

std::optional<Bytes> open_file(const Folder& folder, const Openers& openers, ByteView envelope) {
  const std::string envelope_path = folder.file("envelope"), plain_path = folder.file("plain");
  write_file(envelope_path, envelope);
  const uint32_t code = saf_call([&] {
    OutputFile plain(plain_path);
    const auto find = [&](std::span<const EnvelopeRecipient> recipients) {
      return openers.content_key(recipients);
    };
    decode_envelope_file(envelope_path, find, plain);
    plain.commit();
  });
  expect(code != kSafUnknownError, "a known result code");
  if (code != kSafSuccess) return std::nullopt;
  return file_bytes(plain_path);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const Openers openers;
  static const Folder folder;
  const ByteView envelope(data, size);
  const auto in_memory = openers.open(envelope);
  const auto from_file = open_file(folder, openers, envelope);
  if (in_memory) expect(in_memory->size() <= size, "the content is not longer than its digital envelope");
  if (from_file) expect(from_file->size() <= size, "the content is not longer than its digital envelope");
  if (in_memory && from_file) {
    expect(std::ranges::equal(*in_memory, *from_file), "both decoders return the same content");
  }
  return 0;
}
