// Digital envelopes and key operations of the local service, and the encrypt method.
#include "calls/service_case.h"

using namespace velm::test;

namespace {

const std::string kKey("k\0y", 3);  // a certificate or a public key
const std::string kData = "hello";
const std::string kCipher(64, 'c');
const std::string kOutput("out\0put", 7);
const std::string kLongName(300, 'n');

Call encrypt(const std::string* certificate, const std::string* data) {
  return [=](const ClientLibrary& library, uint8_t* output, uint32_t* length) {
    return library.SOF_EncryptData(bytes_of(certificate), 3, bytes_of(data), 5, output, length);
  };
}

Call encrypt_whole(const std::string& data) {
  return [=](const ClientLibrary& library, uint8_t* output, uint32_t* length) {
    return library.SOF_EncryptData(bytes_of(kKey), 3, bytes_of(data), size_of(data), output, length);
  };
}

Call decrypt(const char* container) {
  return [=](const ClientLibrary& library, uint8_t* output, uint32_t* length) {
    return library.SOF_DecryptData(container, bytes_of(kCipher), 64, output, length);
  };
}

Call asymmetric_encrypt(const std::string* key, const std::string* data, uint32_t key_size = 3) {
  return [=](const ClientLibrary& library, uint8_t* output, uint32_t* length) {
    return library.SOF_Ext_AsymmEncryptData(bytes_of(key), key_size, bytes_of(data), 5, output, length);
  };
}

Call asymmetric_decrypt(const char* container, const std::string* data, uint32_t size = 5) {
  return [=](const ClientLibrary& library, uint8_t* output, uint32_t* length) {
    return library.SOF_Ext_AsymmDecryptData(container, 0xFFFFFFFE, bytes_of(data), size, output, length);
  };
}

Call export_public_key(const char* container) {
  return [=](const ClientLibrary& library, uint8_t* output, uint32_t* length) {
    return library.SOF_Ext_ExportPublicKey(container, 2, output, length);
  };
}

std::string decrypt_entry(const std::string& container, const void* cipher, const std::string& output) {
  return "SOF_DecryptData [" + container + "] pEncryptedData=0x" + digits_of(cipher) +
         " uEncryptedDataLen=64 pPlainData=0x" + output;
}

constexpr char kEncryptEntry[] = "SOF_EncryptData uEncryptCertLen=3 uPlainDataLen=5";

std::string asymmetric_decrypt_request(const std::string& container, const std::string& data) {
  return request_frame(61, {frame_text(container), little_endian(0xFFFFFFFE), frame_bytes(data)});
}

std::string asymmetric_encrypt_request(const std::string& key, const std::string& data) {
  return request_frame(60, {frame_bytes(key), frame_bytes(data)});
}

std::string public_key_request(const std::string& container) {
  return request_frame(59, {frame_text(container), little_endian(2)});
}

const std::vector<ServiceCase> kCalls{
    {"SOF_EncryptData", Form::kFrame, 1024 + 5, kEncryptEntry,
     request_frame(19, {frame_bytes(kKey), frame_bytes(kData)}), kOutput, kOutput, 7, encrypt(&kKey, &kData)},
    {"SOF_DecryptData", Form::kFrame, 64, decrypt_entry("C1", kCipher.data(), "<output>"),
     std::string("w\x14\x03\0\0\0C1\0\x40\0\0\0", 13) + kCipher, kOutput, kOutput, 7, decrypt("C1")},
    {"SOF_Ext_AsymmEncryptData", Form::kFrame, 1024 + 3, "", asymmetric_encrypt_request(kKey, kData), kOutput,
     kOutput, 7, asymmetric_encrypt(&kKey, &kData)},
    {"SOF_Ext_AsymmDecryptData", Form::kFrame, 1024 + 5, "", asymmetric_decrypt_request("C1", kData), kOutput,
     kOutput, 7, asymmetric_decrypt("C1", &kData)},
    {"SAF_Ext_ExportPublicKey", Form::kFrame, 1024, "", public_key_request("C1"), kOutput, kOutput, 7,
     export_public_key("C1")},
};

std::string decrypt_request(const std::string& container) {
  return request_frame(20, {frame_text(container), frame_bytes(kCipher)});
}

const std::vector<ServiceCase> kVariants{
    // Long names are sent in full, and quotes unchanged.
    {"SOF_DecryptData", Form::kFrame, 64, decrypt_entry(kLongName, kCipher.data(), "<output>"),
     decrypt_request(kLongName), kOutput, kOutput, 7, decrypt(kLongName.c_str())},
    {"SOF_DecryptData", Form::kFrame, 64, decrypt_entry(R"(C"1)", kCipher.data(), "<output>"),
     decrypt_request(R"(C"1)"), kOutput, kOutput, 7, decrypt(R"(C"1)")},
    {"SOF_Ext_AsymmDecryptData", Form::kFrame, 1029, "", asymmetric_decrypt_request(kLongName, kData),
     kOutput, kOutput, 7, asymmetric_decrypt(kLongName.c_str(), &kData)},
    {"SAF_Ext_ExportPublicKey", Form::kFrame, 1024, "", public_key_request(kLongName), kOutput, kOutput, 7,
     export_public_key(kLongName.c_str())},

    // Empty data, data of one byte, and an answer without data.
    {"SOF_EncryptData", Form::kFrame, 1024, "SOF_EncryptData uEncryptCertLen=3 uPlainDataLen=0",
     request_frame(19, {frame_bytes(kKey), frame_bytes("")}), kOutput, kOutput, 7, encrypt_whole("")},
    {"SOF_EncryptData", Form::kFrame, 1025, "SOF_EncryptData uEncryptCertLen=3 uPlainDataLen=1",
     request_frame(19, {frame_bytes(kKey), frame_bytes("h")}), "", "", 0, encrypt_whole("h")},

    // Pointers that are not checked for null.
    {"SOF_DecryptData", Form::kFrame, 64, decrypt_entry("null", kCipher.data(), "<output>"),
     decrypt_request(""), kOutput, kOutput, 7, decrypt(nullptr)},
    {"SOF_Ext_AsymmEncryptData", Form::kFrame, 1027, "", asymmetric_encrypt_request("", ""), kOutput, kOutput,
     7, asymmetric_encrypt(nullptr, nullptr)},
    {"SOF_Ext_AsymmEncryptData", Form::kFrame, 1027, "", asymmetric_encrypt_request(kKey, kData), kOutput,
     kOutput, kUntouched, without_length(asymmetric_encrypt(&kKey, &kData))},
    {"SOF_Ext_AsymmDecryptData", Form::kFrame, 1029, "", asymmetric_decrypt_request("", ""), kOutput, kOutput,
     7, asymmetric_decrypt(nullptr, nullptr)},
    {"SOF_Ext_AsymmDecryptData", Form::kFrame, 1029, "", asymmetric_decrypt_request("C1", kData), kOutput,
     kOutput, kUntouched, without_length(asymmetric_decrypt("C1", &kData))},
    {"SAF_Ext_ExportPublicKey", Form::kFrame, 1024, "", public_key_request(""), kOutput, kOutput, 7,
     export_public_key(nullptr)},
    {"SAF_Ext_ExportPublicKey", Form::kFrame, 1024, "", public_key_request("C1"), kOutput, kOutput,
     kUntouched, without_length(export_public_key("C1"))},
};

const std::string kNowhere = digits_of(nullptr);

const std::vector<LocalCase> kLocalCalls{
    // Size queries.
    {"SOF_EncryptData uEncryptCertLen=3 uPlainDataLen=100", "", SOR_OK, 1124,
     without_output(encrypt_whole(std::string(100, 'd')))},
    {decrypt_entry("C1", kCipher.data(), kNowhere), "", SOR_OK, 64, without_output(decrypt("C1"))},
    {"", "", SOR_OK, 1027, without_output(asymmetric_encrypt(&kKey, &kData))},
    {"", "", SOR_OK, 0xFFFFFFFF, without_output(asymmetric_encrypt(nullptr, nullptr, 0xFFFFFFFF - 1024))},
    {"", "", SOR_MEMORYERR, kUntouched,
     without_output(asymmetric_encrypt(nullptr, nullptr, 0xFFFFFFFF - 1023))},
    {"", "", SOR_OK, kUntouched, without_outputs(asymmetric_encrypt(nullptr, nullptr))},
    {"", "", SOR_OK, 1029, without_output(asymmetric_decrypt("C1", &kData))},
    {"", "", SOR_OK, 0xFFFFFFFF, without_output(asymmetric_decrypt("C1", nullptr, 0xFFFFFFFF - 1024))},
    {"", "", SOR_MEMORYERR, kUntouched, without_output(asymmetric_decrypt("C1", nullptr, 0xFFFFFFFF - 1023))},
    {"", "", SOR_OK, kUntouched, without_outputs(asymmetric_decrypt(nullptr, nullptr))},
    {"", "", SOR_OK, 1024, without_output(export_public_key("C1"))},
    {"", "", SOR_OK, kUntouched, without_outputs(export_public_key(nullptr))},

    // Null arguments; the first one decides the result.
    {kEncryptEntry, "pEncryptCert is null!", SOR_NULLPOINTERERR, kUntouched,
     without_outputs(encrypt(nullptr, nullptr))},
    {kEncryptEntry, "pPlainData is null!", SOR_NULLPOINTERERR, kUntouched,
     without_outputs(encrypt(&kKey, nullptr))},
    {kEncryptEntry, "pEncryptedDataLen is null!", SOR_NULLPOINTERERR, kUntouched,
     without_length(encrypt(&kKey, &kData))},
    {kEncryptEntry, "pEncryptedDataLen is null!", SOR_NULLPOINTERERR, kUntouched,
     without_outputs(encrypt(&kKey, &kData))},
    {decrypt_entry("null", nullptr, kNowhere), "pEncryptedData is null!", SOR_NULLPOINTERERR, kUntouched,
     [](const ClientLibrary& library, uint8_t*, uint32_t*) {
       return library.SOF_DecryptData(nullptr, nullptr, 64, nullptr, nullptr);
     }},
    {decrypt_entry("C1", kCipher.data(), "<output>"), "pPlainDataLen is null!", SOR_NULLPOINTERERR,
     kUntouched, without_length(decrypt("C1"))},
    {decrypt_entry("C1", kCipher.data(), kNowhere), "pPlainDataLen is null!", SOR_NULLPOINTERERR, kUntouched,
     without_outputs(decrypt("C1"))},
};

INSTANTIATE_SERVICE_FAMILY(ServiceEncryption, kCalls, kVariants, kLocalCalls);

using ServiceEncryption = ClientTest;

TEST_F(ServiceEncryption, EncryptMethodIsStored) {
  EXPECT_EQ(library.SOF_GetEncryptMethod(), 0x2002u);
  EXPECT_EQ(library.SOF_SetEncryptMethod(0x402), SOR_OK);
  EXPECT_EQ(library.SOF_GetEncryptMethod(), 0x402u);
  EXPECT_EQ(library.SOF_SetEncryptMethod(-2), SOR_OK);
  EXPECT_EQ(library.SOF_GetEncryptMethod(), 0xFFFFFFFEu);
  EXPECT_THAT(entry_lines(), testing::IsEmpty());
}

// A length that exceeds 32 bits is refused before the service is contacted.
TEST_F(ServiceEncryption, LengthsAbove32BitsAreNotSent) {
  uint8_t output[1] = {0};
  uint32_t length = kUntouched;
  const uint32_t longest = 0xFFFFFFFF - 1024;
  EXPECT_EQ(library.SOF_EncryptData(output, 1, output, longest + 1, nullptr, &length), SOR_MEMORYERR);
  EXPECT_EQ(library.SOF_EncryptData(output, 1, output, longest + 1, output, &length), SOR_MEMORYERR);
  EXPECT_EQ(length, kUntouched);
  EXPECT_EQ(library.SOF_EncryptData(output, 1, output, longest, nullptr, &length), SOR_OK);
  EXPECT_EQ(length, 0xFFFFFFFFu);
  // The request frame would exceed 4 GiB.
  length = kUntouched;
  EXPECT_EQ(library.SOF_Ext_AsymmEncryptData(output, 1, output, 0xFFFFFFFF, output, &length), SOR_MEMORYERR);
  EXPECT_EQ(length, kUntouched);
  EXPECT_EQ(service.connections(), 0u);
}

TEST_F(ServiceEncryption, Encrypts64MiB) {
  const std::string data(64 << 20, '\xA5'), envelope = data + std::string(1016, 'e');
  service.answers(frame(0, envelope));
  GuardedBuffer output(envelope.size());
  uint32_t length = 0;
  EXPECT_EQ(library.SOF_EncryptData(bytes_of(kKey), 3, bytes_of(data), size_of(data), output.data(), &length),
            SOR_OK);
  EXPECT_EQ(length, envelope.size());
  EXPECT_TRUE(output.bytes() == envelope);  // EXPECT_EQ would print 64 MiB
  EXPECT_TRUE(service.take_request().body == request_frame(19, {frame_bytes(kKey), frame_bytes(data)}));
}

}  // namespace
