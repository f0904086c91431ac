// Signed messages over whole files.
#include "calls/signing_test.h"
#include "support/import_patch.h"

using namespace velm::test;
using testing::AllOf;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

namespace {

constexpr char kPath[] = "pkcs7_file_signing.in";
constexpr char kScanContainer[] = "SCAN_CONTAINER_1";
constexpr uint32_t kOrdinarySize = 64;  // of the file

constexpr char kRsa[] = "SAF_Pkcs7_EncodeSignedData";
constexpr char kRsaExtended[] = "SAF_Ext_Pkcs7_EncodeSignedData";
constexpr char kSm2[] = "SAF_SM2_EncodeSignedData";
constexpr char kSm2Extended[] = "SAF_Ext_SM2_EncodeSignedData";

// The arguments of an encoder call.
struct Encoded {
  std::string encoder;
  void* application;
  std::string container;
  uint32_t key_usage;
  std::string certificate;
  uint32_t digest;
  const void* reserved;
  uint32_t kind;  // 0: this encoder has no such argument
  size_t data_length;
  std::string data;  // at most the first 16384 bytes
};

// Hooks the library's fopen() calls for the file, and counts them.
struct OpenHook {
  std::function<void(int)> before;
  bool refused_at_second = false;
  int count = 0;
};
OpenHook* open_hook = nullptr;

std::FILE* hooked_fopen(const char* path, const char* mode) {
  if (open_hook && std::string(path) == kPath) {
    ++open_hook->count;
    if (open_hook->before) open_hook->before(open_hook->count);
    if (open_hook->refused_at_second && open_hook->count == 2) return nullptr;
  }
  return std::fopen(path, mode);
}

class Pkcs7FileSigning : public SigningTest {
 protected:
  Pkcs7FileSigning() {
    play_key(1, 270);
    STANDIN(SAF_Ext_ReadLabel)
        .plays([this](void* application, const char* name, uint32_t name_length, const char* label,
                      uint32_t label_length, uint32_t type, uint8_t* data, uint32_t* data_length) {
          EXPECT_EQ(application, handle);
          labels.push_back(bytes(label, label_length));
          EXPECT_EQ(bytes(name, name_length), labels.back());
          EXPECT_EQ(type, 7u);
          EXPECT_EQ(*data_length, 4096u);
          give(certificate, data, data_length);
          *data_length += certificate_overstatement;
          return 0u;
        });
    play_encoder(STANDIN(SAF_Pkcs7_EncodeSignedData), kRsa);
    play_encoder(STANDIN(SAF_SM2_EncodeSignedData), kSm2);
    play_extended_encoder(STANDIN(SAF_Ext_Pkcs7_EncodeSignedData), kRsaExtended);
    play_extended_encoder(STANDIN(SAF_Ext_SM2_EncodeSignedData), kSm2Extended);
  }

  void play_key(uint32_t type, uint32_t key_length) {
    STANDIN(VELM_Openssl_ParseCertInfo)
        .plays([=, this](const uint8_t* given, uint32_t given_length, uint32_t mode, uint32_t reserved,
                         void* output_record) {
          auto* record = static_cast<CertificateRecord*>(output_record);
          EXPECT_EQ(bytes(given, given_length), certificate);
          EXPECT_EQ(mode, 17u);
          EXPECT_EQ(reserved, 0u);
          EXPECT_EQ(record->public_key_type, 0u);
          record->public_key_type = type;
          record->public_key_length = key_length;
          return 0;
        });
  }

  template <class Encoder>
  void play_encoder(Encoder& encoder, const char* name) {
    encoder.plays([this, name](void* application, const char* container, uint32_t container_length,
                               uint32_t key_usage, const uint8_t* given, uint32_t given_length,
                               uint32_t digest, auto... rest) {
      return keep({name, application, bytes(container, container_length), key_usage,
                   bytes(given, given_length), digest, nullptr, 0, 0, ""},
                  rest...);
    });
  }

  template <class Encoder>
  void play_extended_encoder(Encoder& encoder, const char* name) {
    encoder.plays([this, name](void* application, const char* container, uint32_t container_length,
                               uint32_t key_usage, const uint8_t* given, uint32_t given_length,
                               uint32_t digest, const void* reserved, uint32_t kind, auto... rest) {
      return keep({name, application, bytes(container, container_length), key_usage,
                   bytes(given, given_length), digest, reserved, kind, 0, ""},
                  rest...);
    });
  }

  uint32_t keep(Encoded given, const uint8_t* data, uint32_t data_length, uint8_t* message,
                uint32_t* message_length) {
    given.data_length = data_length;
    given.data = bytes(data, std::min(data_length, 16384u));
    encoded.push_back(given);
    outputs = {message, message_length};
    return give("the message", message, message_length);
  }

  uint32_t call(uint32_t flag, const char* container = kScanContainer, const char* path = kPath) {
    length = 64;
    return library.SOF_Ext_PKCS7_SignFile(flag, container, path, output.data(), &length);
  }

  uint32_t sign(uint32_t flag, const char* container = kScanContainer, const char* path = kPath) {
    return balanced([&] { return call(flag, container, path); });
  }

  // The call fails with this code and only this log line, and calls no encoder.
  void expect_refused(uint32_t code, const std::string& line, uint32_t flag = 0,
                      const char* container = kScanContainer, const char* path = kPath) {
    SCOPED_TRACE(line);
    encoded.clear();
    EXPECT_EQ(sign(flag, container, path), code);
    EXPECT_THAT(new_lines(), ElementsAre(line));
    EXPECT_THAT(encoded, IsEmpty());
    EXPECT_EQ(length, 64u);
  }

  uint32_t digest_of(const char* container, uint32_t flag = 0) {
    encoded.clear();
    EXPECT_EQ(sign(flag, container), 0u);
    return encoded.empty() ? 0 : encoded.back().digest;
  }

  TestFile file{kPath, std::string(kOrdinarySize, 'f')};
  std::string certificate = "the certificate";
  uint32_t certificate_overstatement = 0;
  std::vector<std::string> labels;
  std::vector<Encoded> encoded;
  std::pair<uint8_t*, uint32_t*> outputs;
  GuardedBuffer output{64};
  uint32_t length = 64;
};

TEST_F(Pkcs7FileSigning, KeyAndFlagSelectTheEncoder) {
  let_handle_open();
  handle = open_application();
  struct Row {
    uint32_t key_type, key_length, flag;
    size_t file_size;
    const char* encoder;
    uint32_t digest, kind;
  };
  constexpr Row kRows[] = {
      {1, 270, 0, 5, kRsa, 4, 0},          {1, 140, 0, 5, kRsa, 2, 0},
      {1, 526, 0, 5, kRsa, 4, 0},          {1, 270, 1, 5, kRsaExtended, 4, 1},
      {1, 140, 1, 5, kRsaExtended, 2, 1},  {1, 270, 2, 20, kRsaExtended, 2, 2},
      {1, 270, 2, 32, kRsaExtended, 4, 2}, {1, 140, 2, 32, kRsaExtended, 4, 2},
      {1, 140, 2, 20, kRsaExtended, 2, 2}, {2, 91, 0, 5, kSm2, 1, 0},
      {2, 91, 1, 5, kSm2Extended, 1, 1},   {2, 140, 0, 5, kSm2, 1, 0},
      {0, 270, 0, 5, kSm2, 1, 0},          {3, 270, 1, 5, kSm2Extended, 1, 1},
  };
  for (const Row& row : kRows) {
    SCOPED_TRACE(print("key type %u length %u flag %u", row.key_type, row.key_length, row.flag));
    const std::string content(row.file_size, 'c');
    file.write(content);
    play_key(row.key_type, row.key_length);
    encoded.clear();
    EXPECT_EQ(sign(row.flag), 0u);
    ASSERT_THAT(encoded, SizeIs(1));
    const Encoded& given = encoded[0];
    EXPECT_EQ(given.encoder, row.encoder);
    EXPECT_EQ(given.application, open_application());
    EXPECT_EQ(given.container, kScanContainer);
    EXPECT_EQ(given.key_usage, 2u);
    EXPECT_EQ(given.certificate, certificate);
    EXPECT_EQ(given.digest, row.digest);
    EXPECT_EQ(given.reserved, nullptr);
    EXPECT_EQ(given.kind, row.kind);
    EXPECT_EQ(given.data, content);
    EXPECT_EQ(outputs, std::pair(output.data(), &length));
    EXPECT_EQ(output.bytes(length), "the message");
    EXPECT_TRUE(output.untouched(11));
    EXPECT_TRUE(has_allocated(row.file_size));
  }
  EXPECT_THAT(new_lines(), IsEmpty());
  EXPECT_EQ(STANDIN(SAF_Initialize).count(), 1u);
}

TEST_F(Pkcs7FileSigning, StepsAreInOrder) {
  STANDIN(SAF_Initialize).returns(0x02000005);
  EXPECT_EQ(sign(0), 0u);
  EXPECT_THAT(standins.call_log(),
              ElementsAre("SAF_Initialize", "SAF_Ext_ReadLabel", "VELM_Openssl_ParseCertInfo", kRsa));
  EXPECT_THAT(new_lines(), ElementsAre("SI_Initialize -> SAF_Initialize, saf_rv = 0x02000005 "));
  EXPECT_EQ(encoded.at(0).application, nullptr);
}

TEST_F(Pkcs7FileSigning, NullArguments) {
  EXPECT_EQ(library.SOF_Ext_PKCS7_SignFile(0, nullptr, nullptr, nullptr, nullptr), 0x0B000403u);
  EXPECT_EQ(library.SOF_Ext_PKCS7_SignFile(0, "", nullptr, nullptr, nullptr), 0x0B000403u);
  EXPECT_EQ(library.SOF_Ext_PKCS7_SignFile(0, "", kPath, output.data(), nullptr), 0x0B000403u);
  EXPECT_THAT(new_lines(),
              ElementsAre("pszContainerName is null!", "pszInFilePath is null!", "pOutDataLen is null!"));
  EXPECT_THAT(standins.call_log(), IsEmpty());

  EXPECT_EQ(library.SOF_Ext_PKCS7_SignFile(0, kScanContainer, kPath, nullptr, &length), 0u);
  EXPECT_EQ(outputs, std::pair(static_cast<uint8_t*>(nullptr), &length));
  EXPECT_EQ(length, 11u);
}

TEST_F(Pkcs7FileSigning, FlagsUnsupportedByTheKeyAreRefused) {
  for (const uint32_t flag : {3u, 16u, 0x7FFFFFFFu}) {
    expect_refused(0x0B000002, print("not support flag %d ", static_cast<int>(flag)), flag);
  }
  expect_refused(0x0B000002, "not support flag -1 ", 0xFFFFFFFF);
  play_key(2, 91);
  for (const uint32_t flag : {2u, 3u}) {
    expect_refused(0x0B000002, print("not support flag %d ", static_cast<int>(flag)), flag);
  }
}

TEST_F(Pkcs7FileSigning, HashValuesOfOtherLengthsAreRefused) {
  for (const size_t size : {1, 19, 21, 31, 33, 64}) {
    file.write(std::string(size, 'h'));
    expect_refused(0x0B000002, print("not support hash length %u ", static_cast<unsigned>(size)), 2);
  }
}

TEST_F(Pkcs7FileSigning, EncoderFailuresAreLoggedAndMapped) {
  const auto expect_failure = [&](auto& encoder, const char* name, uint32_t key_type, uint32_t flag) {
    play_key(key_type, 270);
    encoder.returns(0x02000507);
    EXPECT_EQ(sign(flag), 0x0B000428u);
    EXPECT_THAT(new_lines(), ElementsAre(print("\"%s\" 0x02000507 ", name)));
    EXPECT_EQ(length, 64u);
  };
  expect_failure(STANDIN(SAF_Pkcs7_EncodeSignedData), kRsa, 1, 0);
  expect_failure(STANDIN(SAF_Ext_Pkcs7_EncodeSignedData), kRsaExtended, 1, 1);
  expect_failure(STANDIN(SAF_SM2_EncodeSignedData), kSm2, 2, 0);
  expect_failure(STANDIN(SAF_Ext_SM2_EncodeSignedData), kSm2Extended, 2, 1);
  file.write(std::string(20, 'h'));
  expect_failure(STANDIN(SAF_Ext_Pkcs7_EncodeSignedData), kRsaExtended, 1, 2);
  EXPECT_TRUE(output.untouched());
}

// The signer's certificate.

TEST_F(Pkcs7FileSigning, AScannedContainersCertificateComesFromItsLabel) {
  for (const char* container : {"SCAN_CONTAINER", "ABC_SCAN_CONTAINER_1", "xSCAN_CONTAINERSCAN_CONTAINER"}) {
    EXPECT_EQ(sign(0, container), 0u);
    EXPECT_EQ(labels.back(), std::string(container) + "_FromCache");
    EXPECT_EQ(encoded.back().container, container);
  }
}

TEST_F(Pkcs7FileSigning, LongContainerNameIsNotTruncated) {
  const std::string container = "SCAN_CONTAINER" + std::string(5000, 'x');
  EXPECT_EQ(sign(0, container.c_str()), 0u);
  EXPECT_EQ(labels.back(), container + "_FromCache");
  EXPECT_EQ(encoded.back().container, container);
}

TEST_F(Pkcs7FileSigning, EveryOtherContainerHasNoCertificate) {
  for (const char* container : {"", "SCAN_", "SCAN_CONTAINE", "scan_container", "RSA_2048", "SM2", "PFX_1"}) {
    expect_refused(0x0B000310, "SOF_Ext_PKCS7_SignFile->SI_ExportUserCert", 0, container);
  }
  EXPECT_THAT(labels, IsEmpty());
}

TEST_F(Pkcs7FileSigning, UnreadableLabel) {
  STANDIN(SAF_Ext_ReadLabel).returns(0x02001002);
  EXPECT_EQ(sign(0), 0x0B000001u);
  EXPECT_THAT(new_lines(), ElementsAre("SAF_Ext_ReadLabel lbtype:7 0x02001002 ",
                                       "SOF_Ext_PKCS7_SignFile, SI_ExportCertForScan, sof_rv = 0x0B000001 "));
  EXPECT_THAT(encoded, IsEmpty());
  const auto entries = log.entries();
  EXPECT_EQ(entries[entries.size() - 2].source, "sof_impl");
  EXPECT_EQ(entries.back().source, "velm_sof_client");
}

TEST_F(Pkcs7FileSigning, OverstatedLabelLengthIsLimitedToTheBuffer) {
  certificate = std::string(4096, 'c');
  certificate_overstatement = 1000;
  EXPECT_EQ(sign(0), 0u);
  EXPECT_EQ(encoded.at(0).certificate, certificate);
}

TEST_F(Pkcs7FileSigning, UnparsableCertificate) {
  STANDIN(VELM_Openssl_ParseCertInfo).returns(-3);
  expect_refused(0x0B000443, "SOF_Ext_PKCS7_SignFile, VELM_Openssl_ParseCertInfo goa_rv=-3");
}

// The Windows version.

struct WindowsVersion {
  DWORD major, minor;
  WORD service_pack;
  bool readable;
};
WindowsVersion windows_version;
DWORD version_record_size;

BOOL WINAPI play_version(OSVERSIONINFOW* record) {
  auto* version = reinterpret_cast<OSVERSIONINFOEXW*>(record);
  version_record_size = version->dwOSVersionInfoSize;
  version->dwMajorVersion = windows_version.major;
  version->dwMinorVersion = windows_version.minor;
  version->wServicePackMajor = windows_version.service_pack;
  SetLastError(0x7A);
  return windows_version.readable;
}

TEST_F(Pkcs7FileSigning, PfxContainersDependOnTheWindowsVersion) {
  const ImportPatch patch(library.module(), "kernel32.dll", "GetVersionExW", &play_version);
  constexpr char kPfx[] = "PFX_SCAN_CONTAINER";
  const std::pair<WindowsVersion, uint32_t> rows[] = {
      {{5, 1, 2, true}, 2}, {{5, 1, 3, true}, 4}, {{5, 1, 1, true}, 4},  {{5, 1, 0, true}, 4},
      {{5, 2, 2, true}, 4}, {{6, 1, 2, true}, 4}, {{10, 0, 0, true}, 4},
  };
  for (const auto& [version, digest] : rows) {
    SCOPED_TRACE(print("%lu.%lu SP %u", version.major, version.minor, version.service_pack));
    windows_version = version;
    EXPECT_EQ(digest_of(kPfx), digest);
    EXPECT_EQ(digest_of(kPfx, 1), digest);
    EXPECT_EQ(version_record_size, 284u);
  }
  EXPECT_THAT(new_lines(), IsEmpty());

  windows_version = {5, 1, 3, true};
  play_key(1, 140);
  EXPECT_EQ(digest_of(kPfx), 2u);
  play_key(1, 270);

  // If the file holds a hash value, its length selects the digest.
  windows_version = {5, 1, 2, true};
  file.write(std::string(32, 'h'));
  EXPECT_EQ(digest_of(kPfx, 2), 4u);
}

TEST_F(Pkcs7FileSigning, UnreadableVersionForcesNoDigest) {
  const ImportPatch patch(library.module(), "kernel32.dll", "GetVersionExW", &play_version);
  windows_version = {5, 1, 2, false};
  EXPECT_EQ(digest_of("PFX_SCAN_CONTAINER"), 4u);
  EXPECT_THAT(new_lines(), ElementsAre("SOF_Ext_PKCS7_SignFile, GetVersionEx, 0x0000007A "));
}

TEST_F(Pkcs7FileSigning, OtherCallsDoNotReadTheWindowsVersion) {
  const ImportPatch patch(library.module(), "kernel32.dll", "GetVersionExW", &play_version);
  windows_version = {5, 1, 2, true};
  version_record_size = 0;
  EXPECT_EQ(digest_of(kScanContainer), 4u);
  play_key(2, 91);
  EXPECT_EQ(digest_of("PFX_SCAN_CONTAINER"), 1u);
  EXPECT_EQ(version_record_size, 0u);
}

TEST_F(Pkcs7FileSigning, FlagIsCheckedLast) {
  expect_refused(0x0B01000E, "SOF_Ext_PKCS7_SignFile->xfile_get_size [there is no such file] -23", 3,
                 kScanContainer, "there is no such file");
  expect_refused(0x0B000310, "SOF_Ext_PKCS7_SignFile->SI_ExportUserCert", 3, "SM2");

  const ImportPatch patch(library.module(), "kernel32.dll", "GetVersionExW", &play_version);
  windows_version = {5, 1, 2, false};
  EXPECT_EQ(sign(3, "PFX_SCAN_CONTAINER"), 0x0B000002u);
  EXPECT_THAT(new_lines(),
              ElementsAre("SOF_Ext_PKCS7_SignFile, GetVersionEx, 0x0000007A ", "not support flag 3 "));

  STANDIN(VELM_Openssl_ParseCertInfo).returns(-3);
  expect_refused(0x0B000443, "SOF_Ext_PKCS7_SignFile, VELM_Openssl_ParseCertInfo goa_rv=-3", 3);
}

// With detached signatures the file is read as base64 text.

class DetachedSigning : public Pkcs7FileSigning {
 protected:
  DetachedSigning() {
    EXPECT_EQ(library.SOF_SetSignMethod(16), 0u);
    file.write("dGhlIGNvbnRlbnQ=");
    new_lines();
  }

  // Returns true if the decoded content of the file is signed, false if its text is.
  bool decodes() {
    encoded.clear();
    EXPECT_EQ(sign(0), 0u);
    const std::string data = encoded.empty() ? "nothing" : encoded.back().data;
    EXPECT_THAT(data, testing::AnyOf("dGhlIGNvbnRlbnQ=", "the content"));
    return data == "the content";
  }
};

TEST_F(DetachedSigning, FileIsDecodedFirst) {
  EXPECT_EQ(sign(0), 0u);
  EXPECT_EQ(encoded.at(0).data, "the content");
  EXPECT_TRUE(has_allocated(11 + 3072));
  const auto calls = STANDIN(SAF_Base64_Decode).calls();
  ASSERT_THAT(calls, SizeIs(2));
  EXPECT_EQ(std::get<1>(calls[0]), 16u);
  EXPECT_EQ(std::get<2>(calls[0]), nullptr);
  EXPECT_NE(std::get<2>(calls[1]), nullptr);
  EXPECT_THAT(standins.call_log(), ElementsAre("SAF_Initialize", "SAF_Base64_Decode", "SAF_Base64_Decode",
                                               "SAF_Ext_ReadLabel", "VELM_Openssl_ParseCertInfo", kRsa));
}

TEST_F(DetachedSigning, OtherSignMethodsDoNotDecode) {
  for (const int32_t method : {0, 1, 0x11, 0x110, -1}) {
    SCOPED_TRACE(print("0x%X", static_cast<unsigned>(method)));
    library.SOF_SetSignMethod(16);
    EXPECT_TRUE(decodes());
    library.SOF_SetSignMethod(method);
    EXPECT_FALSE(decodes());
  }
}

TEST_F(DetachedSigning, EncryptMethodAlsoSetsTheDetachedBit) {
  for (const int32_t method : {0x10, 0x11, 0x2012, -1}) {
    SCOPED_TRACE(print("0x%X", static_cast<unsigned>(method)));
    library.SOF_SetSignMethod(0);
    EXPECT_FALSE(decodes());
    library.SOF_SetEncryptMethod(method);
    EXPECT_TRUE(decodes());
  }
  for (const int32_t method : {0, 1, 0x402, 0x2002, ~0x10}) {
    SCOPED_TRACE(print("0x%X", static_cast<unsigned>(method)));
    library.SOF_SetSignMethod(16);
    library.SOF_SetEncryptMethod(method);
    EXPECT_FALSE(decodes());
  }
}

// An SM2 certificate forces encrypt method 0x402, which lacks the detached bit. Only methods set by the
// caller change whether signatures are detached.
TEST_F(DetachedSigning, Sm2FileEncryptionDoesNotChangeTheBit) {
  library.SOF_Ext_SetEnvelopType(1);
  STANDIN(VELM_Openssl_ParseCertInfo).plays([](auto, auto, auto, auto, void* record) {
    static_cast<CertificateRecord*>(record)->public_key_type = 2;
    return 0;
  });
  EXPECT_EQ(library.SOF_EncryptFile(GuardedBytes{"certificate"}.data(), 11, kPath, "out"), 0u);
  EXPECT_EQ(library.SOF_GetEncryptMethod(), 0x402u);
  play_key(1, 270);
  EXPECT_TRUE(decodes());
}

TEST_F(DetachedSigning, HashValueIsDecoded) {
  file.write("MDEyMzQ1Njc4OTAxMjM0NTY3ODk=");
  EXPECT_EQ(sign(2), 0u);
  EXPECT_EQ(encoded.at(0).data, "01234567890123456789");
  EXPECT_EQ(encoded.at(0).digest, 2u);
}

TEST_F(DetachedSigning, InvalidBase64Fails) {
  file.write("not base64!");
  expect_refused(0x0B000201, "\"SAF_Base64_Decode NULL for out length\" 0x02000201 ");
}

TEST_F(DetachedSigning, DecodingFailsInTheSecondPass) {
  STANDIN(SAF_Base64_Decode).plays([](auto, auto, uint8_t* decoded, uint32_t* decoded_length) {
    *decoded_length = 100;
    return decoded ? 0x02000100u : 0u;
  });
  expect_refused(0x0B000100, "\"SAF_Base64_Decode\" 0x02000100 ");
}

TEST_F(DetachedSigning, GrowingDecodedSizeIsLimitedToTheBuffer) {
  STANDIN(SAF_Base64_Decode).plays([](auto, auto, uint8_t* decoded, uint32_t* decoded_length) {
    if (decoded) {
      EXPECT_EQ(*decoded_length, 2148u);
    }
    *decoded_length = decoded ? 1'000'000 : 100;
    return 0u;
  });
  EXPECT_EQ(sign(0), 0u);
  EXPECT_EQ(encoded.at(0).data_length, 3172u);
}

TEST_F(DetachedSigning, DecodedSizeAbove32BitsIsRefused) {
  STANDIN(SAF_Base64_Decode).plays([](auto, auto, auto, uint32_t* decoded_length) {
    *decoded_length = 0xFFFFFFFF;
    return 0u;
  });
  expect_refused(0x0B000100, "SOF_Ext_PKCS7_SignFile, SI_Malloc, uInDataBase64DecodedLen = 0x000007FF ");
}

TEST_F(DetachedSigning, BuffersCannotBeAllocated) {
  EXPECT_EQ(without_allocation_of(11 + 3072, [&] { return call(0); }), 0x0B000100u);
  EXPECT_THAT(new_lines(),
              ElementsAre("SOF_Ext_PKCS7_SignFile, SI_Malloc, uInDataBase64DecodedLen = 0x0000080B "));
  expect_survives_allocation_faults([&] { return call(0); });
}

// Files and paths.

TEST_F(Pkcs7FileSigning, AFileOfOneByte) {
  file.write(std::string(1, '\0'));
  EXPECT_EQ(sign(0), 0u);
  EXPECT_EQ(encoded.at(0).data, std::string(1, '\0'));
}

TEST_F(Pkcs7FileSigning, AFileOf100Mebibytes) {
  constexpr uint32_t kSize = 100 * 1024 * 1024;
  std::filesystem::resize_file(kPath, kSize);
  STANDIN(SAF_Pkcs7_EncodeSignedData)
      .plays([=](auto, auto, auto, auto, auto, auto, auto, const uint8_t* data, uint32_t size, auto, auto) {
        EXPECT_EQ(size, kSize);
        EXPECT_EQ(data[kOrdinarySize - 1], 'f');
        EXPECT_EQ(data[kSize - 1], '\0');
        return 0u;
      });
  EXPECT_EQ(sign(0), 0u);
  EXPECT_EQ(STANDIN(SAF_Pkcs7_EncodeSignedData).count(), 1u);
}

TEST_F(Pkcs7FileSigning, AnEmptyFileIsRefusedBeforeAnythingElse) {
  file.write("");
  expect_refused(0x0B000200, "SOF_Ext_PKCS7_SignFile->in file is empty!");
  EXPECT_THAT(standins.call_log(), ElementsAre("SAF_Initialize"));
}

TEST_F(Pkcs7FileSigning, FilesThatCannotBeOpened) {
  for (const char* path : {"", "there is no such file", "nor\\such\\a\\folder", ".", "a:b?c*"}) {
    expect_refused(0x0B01000E, print("SOF_Ext_PKCS7_SignFile->xfile_get_size [%s] -23", path), 0,
                   kScanContainer, path);
  }
  const HANDLE held = CreateFileA(kPath, GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
  ASSERT_NE(held, INVALID_HANDLE_VALUE);
  expect_refused(0x0B01000E, print("SOF_Ext_PKCS7_SignFile->xfile_get_size [%s] -23", kPath));
  CloseHandle(held);
}

class ChangingFile : public Pkcs7FileSigning {
 protected:
  ChangingFile() { open_hook = &hook; }
  ~ChangingFile() { open_hook = nullptr; }

  // Changes the file between the size query and the read.
  void change_to(const std::string& content) {
    hook.before = [=, this](int count) {
      if (count == 2) file.write(content);
    };
  }

  OpenHook hook;
  ImportPatch patch{library.module(), "msvcrt.dll", "fopen", &hooked_fopen};
};

TEST_F(ChangingFile, RemovedBeforeTheRead) {
  hook.refused_at_second = true;
  expect_refused(0x0B01000E, print("SOF_Ext_PKCS7_SignFile->xfile_read_bin [%s] -23", kPath));
}

TEST_F(ChangingFile, GrowsBeforeTheRead) {
  change_to(std::string(5000, 'g'));
  EXPECT_EQ(sign(0), 0u);
  EXPECT_EQ(encoded.at(0).data, std::string(kOrdinarySize, 'g'));
}

TEST_F(ChangingFile, ShrinksBeforeTheRead) {
  change_to("less");
  EXPECT_EQ(sign(0), 0u);
  EXPECT_EQ(encoded.at(0).data, "less");
}

TEST_F(ChangingFile, EmptiedBeforeTheReadIsNotDecoded) {
  library.SOF_SetSignMethod(16);
  change_to("");
  EXPECT_EQ(sign(0), 0u);
  EXPECT_EQ(encoded.at(0).data_length, 0u);
  EXPECT_EQ(STANDIN(SAF_Base64_Decode).count(), 0u);
}

TEST_F(Pkcs7FileSigning, PathsInUtf8AreConverted) {
  const TestFile chinese("\xD6\xD0\xCE\xC4.txt", "in Chinese");
  EXPECT_EQ(sign(0, kScanContainer, "\xE4\xB8\xAD\xE6\x96\x87.txt"), 0u);
  EXPECT_EQ(encoded.at(0).data, "in Chinese");
  expect_refused(0x0B01000E, "SOF_Ext_PKCS7_SignFile->xfile_get_size [\xD6\xD0\xCE\xC4.no] -23", 0,
                 kScanContainer, "\xE4\xB8\xAD\xE6\x96\x87.no");
}

TEST_F(Pkcs7FileSigning, PathsInTheLocalCodePageAreNotConverted) {
  const TestFile chinese("\xD6\xD0\xCE\xC4.txt", "in Chinese");
  EXPECT_EQ(sign(0, kScanContainer, "\xD6\xD0\xCE\xC4.txt"), 0u);
  EXPECT_EQ(encoded.at(0).data, "in Chinese");
}

TEST_F(Pkcs7FileSigning, PathsWithAnAccentedLetterAreNotConverted) {
  const TestFile accented("caf\xC3\xA9.txt", "with an accent");
  EXPECT_EQ(sign(0, kScanContainer, "caf\xC3\xA9.txt"), 0u);
  EXPECT_EQ(encoded.at(0).data, "with an accent");
}

TEST_F(Pkcs7FileSigning, PathFillsTheConversionBuffer) {
  EXPECT_EQ(sign(0, kScanContainer, std::string(8191, 'x').c_str()), 0x0B01000Eu);
  EXPECT_THAT(new_lines(), ElementsAre(StartsWith("SOF_Ext_PKCS7_SignFile->xfile_get_size [xxx")));
}

TEST_F(Pkcs7FileSigning, PathExceedsTheConversionBuffer) {
  for (const size_t size : {8192, 100'000}) {
    EXPECT_EQ(sign(0, kScanContainer, std::string(size, 'x').c_str()), 0x0B000003u);
  }
  // The log line is truncated before its line end, so the second call's line follows on the same line.
  EXPECT_THAT(new_lines(), ElementsAre(StartsWith("SOF_Ext_PKCS7_SignFile->xencoding_utf8_to_gbk -14 [xxx")));
  EXPECT_THAT(standins.call_log(), ElementsAre("SAF_Initialize", "SAF_Initialize"));
}

TEST_F(Pkcs7FileSigning, UnconvertedPathMayHaveAnyLength) {
  EXPECT_EQ(sign(0, kScanContainer, ("\xD6\xD0" + std::string(20'000, 'x')).c_str()), 0x0B01000Eu);
  EXPECT_THAT(new_lines(), ElementsAre(StartsWith("SOF_Ext_PKCS7_SignFile->xfile_get_size [\xD6\xD0xxx")));
}

int WINAPI convert_nothing(UINT, DWORD, LPCCH, int, LPWSTR, int) { return 0; }

TEST_F(Pkcs7FileSigning, UnconvertiblePath) {
  const ImportPatch patch(library.module(), "kernel32.dll", "MultiByteToWideChar", &convert_nothing);
  expect_refused(0x0B000003, "SOF_Ext_PKCS7_SignFile->xencoding_utf8_to_gbk -1 [\xE4\xB8\xAD]", 0,
                 kScanContainer, "\xE4\xB8\xAD");
}

TEST_F(Pkcs7FileSigning, BuffersCannotBeAllocated) {
  EXPECT_EQ(without_allocation_of(kOrdinarySize, [&] { return call(0); }), 0x0B000100u);
  EXPECT_THAT(new_lines(), ElementsAre("SOF_Ext_PKCS7_SignFile->malloc in file data buffer 0"));

  const size_t wide_path = (sizeof kPath + 1) * sizeof(wchar_t);
  EXPECT_EQ(without_allocation_of(wide_path, [&] { return call(0); }), 0x0B000003u);
  EXPECT_THAT(new_lines(),
              ElementsAre(print("SOF_Ext_PKCS7_SignFile->xencoding_utf8_to_gbk -5 [%s]", kPath)));

  expect_survives_allocation_faults([&] { return call(0); });
  expect_survives_allocation_faults([&] { return call(3); });
}

}  // namespace
