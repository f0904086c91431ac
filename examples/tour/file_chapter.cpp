#include <filesystem>
#include <fstream>
#include <iterator>

#include "chapters.h"
#include "demo_container.h"

namespace {

namespace fs = std::filesystem;

/** A temporary folder; deleted by the destructor. */
class WorkFolder {
 public:
  WorkFolder() : path_(fs::temp_directory_path() / "velm_tour") { fs::create_directories(path_); }
  WorkFolder(const WorkFolder&) = delete;
  ~WorkFolder() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
  }

  std::string file(const char* name) const { return (path_ / name).string(); }

 private:
  fs::path path_;
};

void write_file(const std::string& path, const sof::Bytes& content) {
  std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<const char*>(content.data()), static_cast<std::streamsize>(content.size()));
}

sof::Bytes read_file(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void sign_file(Narrator& narrator, const sof::Container& container, const std::string& path) {
  const sof::Certificate certificate = signing_certificate(narrator, container);
  const sof::Bytes signature = narrator.step("Sign the file", [&] { return container.sign_file(path); });
  narrator.detail(hex(signature));
  narrator.step("Verify the signature", [&] { certificate.verify_file(path, signature); });
  const sof::Bytes content = read_file(path);
  sof::Bytes altered = content;
  altered[altered.size() / 2] ^= 1;
  write_file(path, altered);
  narrator.refused_step("Verify it with one bit of the file changed", SOR_HASHNOTEQUALERR,
                        [&] { certificate.verify_file(path, signature); });
  write_file(path, content);
}

void encrypt_file(Narrator& narrator, const sof::Container& container, const std::string& path,
                  const WorkFolder& folder) {
  const sof::Certificate recipient = encryption_certificate(narrator, container);
  const std::string envelope = folder.file("contract.p7m");
  const std::string decrypted = folder.file("decrypted.txt");
  sof::set_envelope_type(sof::EnvelopeType::provider);
  narrator.step("Encrypt the file into a digital envelope, in process",
                [&] { recipient.encrypt_file(path, envelope); });
  narrator.detail(std::to_string(fs::file_size(envelope)) + " bytes");
  narrator.step("Decrypt the digital envelope", [&] { container.decrypt_file(envelope, decrypted); });
  narrator.check("The decrypted file equals the original", read_file(decrypted) == read_file(path));
}

void time_stamp_file(Narrator& narrator, const sof::Container& container, const std::string& path) {
  constexpr uint32_t kCertificateLabel = 7;
  const sof::Bytes tsa_certificate =
      narrator.step("Read the certificate of the time-stamp authority (TSA)",
                    [&] { return container.label("TIME_STAMP_AUTHORITY", kCertificateLabel); });
  const sof::Bytes token = narrator.step("Request a time-stamp token for the file",
                                         [&] { return container.time_stamp_file(path); });
  narrator.detail(narrator.step("Verify the time-stamp token",
                                [&] { return sof::verify_file_time_stamp(path, token, tsa_certificate); }));
}

}  // namespace

void file_chapter(Narrator& narrator) {
  const WorkFolder folder;
  const std::string path = folder.file("contract.txt");
  write_file(path, sof::Bytes(100000, 'c'));
  for (const char* name : kDemoContainers) {
    const sof::Container container(name);
    sign_file(narrator, container, path);
    encrypt_file(narrator, container, path, folder);
    time_stamp_file(narrator, container, path);
  }
}
