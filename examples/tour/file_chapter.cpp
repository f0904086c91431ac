#include <filesystem>
#include <fstream>
#include <iterator>

#include "chapters.h"
#include "demo_container.h"
#include "velm_sof_client.h"

namespace {

namespace fs = std::filesystem;

/** A temporary folder; deleted by the destructor. */
class WorkFolder {
 public:
  WorkFolder() : path_(fs::temp_directory_path() / "velm_tour") { fs::create_directories(path_); }
  WorkFolder(const WorkFolder&) = delete;
  ~WorkFolder() {
    std::error_code unheeded;
    fs::remove_all(path_, unheeded);
  }

  std::string file(const char* name) const { return (path_ / name).string(); }

 private:
  fs::path path_;
};

void write_file(const std::string& path, const Bytes& content) {
  std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<const char*>(content.data()), static_cast<std::streamsize>(content.size()));
}

Bytes read_file(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void sign_file(Narrator& narrator, const char* name, const std::string& path) {
  const Bytes certificate = exported_certificate(narrator, name, KeyUse::signing);
  Bytes signature;
  const uint32_t signed_code = with_size_query(signature, [&](uint8_t* out, uint32_t* length) {
    return SOF_SignFile(name, path.c_str(), out, length);
  });
  if (narrator.call("Sign the file", signed_code)) narrator.detail(hex(signature));
  const auto verify = [&] {
    return SOF_VerifySignedFile(certificate.data(), length_of(certificate), path.c_str(), signature.data(),
                                length_of(signature));
  };
  narrator.call("Verify the signature", verify());
  const Bytes content = read_file(path);
  Bytes altered = content;
  altered[altered.size() / 2] ^= 1;
  write_file(path, altered);
  narrator.call("Verify it with one bit of the file changed", verify(), SOR_HASHNOTEQUALERR);
  write_file(path, content);
}

void envelope_file(Narrator& narrator, const char* name, const std::string& path, const WorkFolder& folder) {
  constexpr uint32_t kByTheProvider = 1;
  const Bytes certificate = exported_certificate(narrator, name, KeyUse::exchange);
  const std::string envelope = folder.file("contract.p7m");
  const std::string opened = folder.file("opened.txt");
  narrator.call("Let the provider make envelopes of files", SOF_Ext_SetEnvelopType(kByTheProvider));
  narrator.call("Put the file into an envelope for its holder",
                SOF_EncryptFile(certificate.data(), length_of(certificate), path.c_str(), envelope.c_str()));
  narrator.detail(std::to_string(read_file(envelope).size()) + " bytes");
  narrator.call("Open the envelope with its key", SOF_DecryptFile(name, envelope.c_str(), opened.c_str()));
  narrator.check("the file is the same again", read_file(opened) == read_file(path));
}

void stamp_file(Narrator& narrator, const char* name, const std::string& path) {
  constexpr uint32_t kCertificateLabel = 7;
  const std::string label = "TIME_STAMP_AUTHORITY";
  const Bytes file = bytes_of(path);
  Bytes authority;
  narrator.call("Read the certificate of the time-stamp authority",
                with_size_query(authority, [&](uint8_t* out, uint32_t* length) {
                  return SOF_Ext_ReadLabel(name, label.c_str(), static_cast<uint32_t>(label.size()),
                                           kCertificateLabel, out, length);
                }));
  Bytes stamp;
  narrator.call("Have the file stamped", with_size_query(stamp, [&](uint8_t* out, uint32_t* length) {
                  return SOF_Ext_TspGetFileStamp(name, file.data(), length_of(file), out, length);
                }));
  Bytes time;
  const auto verify = [&](uint8_t* out, uint32_t* length) {
    return SOF_Ext_TspVerifyFileStamp(file.data(), length_of(file), stamp.data(), length_of(stamp),
                                      authority.data(), length_of(authority), out, length);
  };
  if (narrator.call("Verify the stamp", with_size_query(time, verify))) narrator.detail(text_of(time));
}

}  // namespace

void file_chapter(Narrator& narrator) {
  narrator.chapter("A file signed, enveloped, opened and stamped");
  const WorkFolder folder;
  const std::string path = folder.file("contract.txt");
  write_file(path, Bytes(100000, 'c'));
  for (const char* name : kDemoContainers) {
    sign_file(narrator, name, path);
    envelope_file(narrator, name, path, folder);
    stamp_file(narrator, name, path);
  }
}
