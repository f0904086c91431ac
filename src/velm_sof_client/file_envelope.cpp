// Digital envelopes (CMS EnvelopedData) of files: in memory, or file to file through the signature provider.
#include "velm_sof_client/algorithm.h"
#include "velm_sof_client/input_file.h"
#include "velm_sof_client/process_state.h"
#include "velm_sof_client/provider_call.h"

using namespace velm;

namespace {

// Envelope type that encrypts in memory through the local service instead of the signature provider.
constexpr uint32_t kInMemory = 2;

constexpr int32_t kSm4Cbc = protocol::kSm4Cbc;

// The provider's result for a digital envelope that it can only open in memory.
constexpr uint32_t kOpenInMemory = protocol::kSafEnvelopeNotOpened;

// Output buffer: the size of the input file and 1 MiB.
ProviderBuffer output_buffer(const char* function, uint32_t file_size) {
  const uint32_t capacity = length_sum(file_size, 0x100000u);
  HeapMemory bytes = heap_memory(capacity);
  if (!bytes) {
    // Sic: the logged size is not the size of the buffer.
    LOG_FAILURE("%s->malloc out file data buffer %u\n", function, file_size + 0x200);
    fail(SOR_MEMORYERR);
  }
  return {std::move(bytes), capacity, capacity};
}

void write_file(const char* function, const std::string& path, ByteView content) {
  const int32_t result = xfile_write(path.c_str(), content.data, content.length);
  if (result != kUtilityDone) {
    LOG_FAILURE("%s->xfile_write %d [%s] %u\n", function, result, path.c_str(), content.length);
    fail(SOR_FILEOPENERR);
  }
}

void encrypt_in_memory(ByteView certificate, const std::string& input_path, const std::string& output_path) {
  const FileContent input = read_whole_file(input_path, "SOF_EncryptFile");
  ProviderBuffer output = output_buffer("SOF_EncryptFile", input.length);
  const uint32_t result = SOF_EncryptData(certificate.data, certificate.length, input.data(), input.length,
                                          output.data(), &output.stated_length);
  if (result != SOR_OK) fail(result);
  write_file("SOF_EncryptFile", output_path, output.content());
}

// Returns the provider's result. Writes the output file if the result is 0.
uint32_t decrypt_in_memory(const char* container, const std::string& input_path,
                           const std::string& output_path) {
  // Sic: if the file size cannot be read, the log line names SOF_EncryptFile.
  const FileContent input = read_whole_file(input_path, "SOF_DecryptFile", "SOF_EncryptFile");
  ProviderBuffer output = output_buffer("SOF_DecryptFile", input.length);
  const uint32_t result =
      SAF_Ext_CMS_DecodeEnvelopedData(g_hAppHandle.load(), container, text_length(container), input.data(),
                                      input.length, output.data(), &output.stated_length);
  if (result != 0) return result;
  // Sic: logged as an error on success.
  LOG_FAILURE("out_file_data.length2= %d\n", static_cast<int32_t>(output.stated_length));
  write_file("SOF_DecryptFile", output_path, output.content());
  return 0;
}

}  // namespace

uint32_t SOF_EncryptFile(const uint8_t* pEncryptCert, uint32_t uEncryptCertLen, const char* pszInFilePath,
                         const char* pszOutFilePath) {
  return exported_call([&] {
    LOG_ENTRY("SOF_EncryptFile uEncryptCertLen=%u pszInFilePath=[%s] pszOutFilePath=[%s]\n", uEncryptCertLen,
              or_lower_null(pszInFilePath), or_lower_null(pszOutFilePath));
    require_pointer(pEncryptCert, "pEncryptCert");
    require_pointer(pszInFilePath, "pszInFilePath");
    require_pointer(pszOutFilePath, "pszOutFilePath");

    const ByteView certificate{pEncryptCert, uEncryptCertLen};
    // Sic: an SM2 certificate changes the encrypt method of the process, also for later calls.
    if (parse_certificate("SOF_EncryptFile", certificate, kKeyType).public_key_type == kSm2Key) {
      process_state.encrypt_method = kSm4Cbc;
    }

    const std::string input_path = local_path(pszInFilePath, "SOF_EncryptFile");
    const std::string output_path = local_path(pszOutFilePath, "SOF_EncryptFile");

    if (process_state.envelope_type == kInMemory) {
      encrypt_in_memory(certificate, input_path, output_path);
      return;
    }
    check_provider(
        "SAF_Ext_EncodeEnvelopedFile",
        SAF_Ext_EncodeEnvelopedFile(g_hAppHandle.load(), input_path.c_str(), text_length(input_path.c_str()),
                                    certificate.data, certificate.length,
                                    static_cast<uint32_t>(process_state.encrypt_method.load()), 1,
                                    output_path.c_str(), text_length(output_path.c_str())));
  });
}

uint32_t SOF_DecryptFile(const char* pszContainerName, const char* pszInFilePath,
                         const char* pszOutFilePath) {
  return exported_call([&] {
    LOG_ENTRY("SOF_DecryptFile pszContainerName=[%s] pszInFilePath=[%s] pszOutFilePath=[%s]\n",
              or_lower_null(pszContainerName), or_lower_null(pszInFilePath), or_lower_null(pszOutFilePath));
    require_pointer(pszContainerName, "pszContainerName");
    require_pointer(pszInFilePath, "pszInFilePath");
    require_pointer(pszOutFilePath, "pszOutFilePath");

    const std::string input_path = local_path(pszInFilePath, "SOF_DecryptFile");
    const std::string output_path = local_path(pszOutFilePath, "SOF_DecryptFile");

    uint32_t result = SAF_Ext_DecodeEnvelopedFile(
        g_hAppHandle.load(), pszContainerName, text_length(pszContainerName), 1, 1, input_path.c_str(),
        text_length(input_path.c_str()), output_path.c_str(), text_length(output_path.c_str()));
    // Sic: the log line names SAF_Ext_DecodeEnvelopedFile even if SAF_Ext_CMS_DecodeEnvelopedData failed.
    if (result == kOpenInMemory) result = decrypt_in_memory(pszContainerName, input_path, output_path);
    check_provider("SAF_Ext_DecodeEnvelopedFile", result);
  });
}

uint32_t SOF_Ext_SetEnvelopType(uint32_t lEnvType) {
  return exported_call([&] {
    LOG_ENTRY("SOF_Ext_SetEnvelopType lEnvType=%u\n", lEnvType);
    process_state.envelope_type = lEnvType;
  });
}
