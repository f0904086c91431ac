#include <windows.h>

#include <cstdio>
#include <filesystem>
#include <memory>

#include "calls/provider_calls.h"
#include "support/guarded_buffer.h"
#include "support/import_patch.h"
#include "support/service_double.h"

namespace velm::test {
namespace {

constexpr uint8_t kCertificate[] = "certificate";
constexpr uint32_t kCertificateLength = sizeof kCertificate - 1;
constexpr uint32_t kMiB = 0x100000;

// Opens files with the path bytes unchanged, as the library does.
using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

File open(const std::string& path, const char* mode) {
  return {std::fopen(path.c_str(), mode), &std::fclose};
}

bool exists(const std::string& path) { return open(path, "rb") != nullptr; }

void write(const std::string& path, const std::string& content) {
  const File file = open(path, "wb");
  ASSERT_TRUE(file) << path;
  ASSERT_EQ(std::fwrite(content.data(), 1, content.size(), file.get()), content.size());
}

std::string read(const std::string& path) {
  const File file = open(path, "rb");
  if (!file) return "(no file)";
  std::string content;
  static char piece[kMiB];
  while (const size_t count = std::fread(piece, 1, sizeof piece, file.get())) content.append(piece, count);
  return content;
}

class FileEnvelopeTest : public ProviderTest {
 protected:
  FileEnvelopeTest() {
    char temporary[MAX_PATH];
    GetTempPathA(sizeof temporary, temporary);
    folder = std::string(temporary) + "velm_file_envelope\\";
    std::filesystem::remove_all(folder);
    CreateDirectoryA(folder.c_str(), nullptr);
    in = folder + "in.bin";
    out = folder + "out.bin";
  }
  ~FileEnvelopeTest() override { std::filesystem::remove_all(folder); }

  void TearDown() override {
    EXPECT_EQ(service.unexpected(), 0u);
    EXPECT_EQ(service.unplayed(), 0u);
  }

  uint32_t encrypt(const std::string& input, const std::string& output) {
    return library.SOF_EncryptFile(kCertificate, kCertificateLength, input.c_str(), output.c_str());
  }
  uint32_t encrypt() { return encrypt(in, out); }
  uint32_t decrypt(const std::string& input, const std::string& output) {
    return library.SOF_DecryptFile("C1", input.c_str(), output.c_str());
  }
  uint32_t decrypt() { return decrypt(in, out); }

  static std::string encrypt_entry(const std::string& input, const std::string& output) {
    return "SOF_EncryptFile uEncryptCertLen=11 pszInFilePath=[" + input + "] pszOutFilePath=[" + output + "]";
  }
  std::string encrypt_entry() const { return encrypt_entry(in, out); }
  std::string decrypt_entry() const {
    return "SOF_DecryptFile pszContainerName=[C1] pszInFilePath=[" + in + "] pszOutFilePath=[" + out + "]";
  }

  // Lets the certificate have a key of this type.
  static void play_certificate(uint32_t public_key_type) {
    STANDIN(VELM_Openssl_ParseCertInfo).plays([public_key_type](auto, auto, auto, auto, void* record) {
      EXPECT_EQ(bytes(record, sizeof(CertificateRecord)), std::string(6008, '\0'));
      static_cast<CertificateRecord*>(record)->public_key_type = public_key_type;
      return 0;
    });
  }

  // The provider cannot open the envelope file; from memory it decodes `content`.
  static void play_memory_only(const std::string& content) {
    STANDIN(SAF_Ext_DecodeEnvelopedFile).returns(0x0200050A);
    STANDIN(SAF_Ext_CMS_DecodeEnvelopedData)
        .plays([content](auto, auto, auto, auto, auto, uint8_t* output, uint32_t* length) {
          return give(content, output, length);
        });
  }

  ServiceDouble service;
  std::string folder;
  std::string in;
  std::string out;
};

std::string encrypt_request(const std::string& content) {
  const std::string certificate = bytes(kCertificate, kCertificateLength);
  return "w\x13" + little_endian(kCertificateLength) + certificate +
         little_endian(static_cast<uint32_t>(content.size())) + content;
}

// ---- Arguments

TEST_F(FileEnvelopeTest, EncryptNullPointers) {
  expect_null_checks(
      call_of(library.SOF_EncryptFile,
              [](auto, uint32_t length, const char* input, const char* output) {
                return print("SOF_EncryptFile uEncryptCertLen=%u pszInFilePath=[%s] pszOutFilePath=[%s]",
                             length, input ? input : "null", output ? output : "null");
              },
              {"pEncryptCert", nullptr, "pszInFilePath", "pszOutFilePath"},
              {kCertificate, kCertificateLength, in.c_str(), out.c_str()}));
}

TEST_F(FileEnvelopeTest, DecryptNullPointers) {
  expect_null_checks(
      call_of(library.SOF_DecryptFile,
              [](const char* name, const char* input, const char* output) {
                return print("SOF_DecryptFile pszContainerName=[%s] pszInFilePath=[%s] pszOutFilePath=[%s]",
                             name ? name : "null", input ? input : "null", output ? output : "null");
              },
              {"pszContainerName", "pszInFilePath", "pszOutFilePath"}, {"C1", in.c_str(), out.c_str()}));
}

TEST_F(FileEnvelopeTest, SetEnvelopeTypeTakesEveryValue) {
  for (const uint32_t type : {0u, 1u, 2u, 3u, 0xFFFFFFFFu}) {
    EXPECT_EQ(library.SOF_Ext_SetEnvelopType(type), SOR_OK);
    EXPECT_EQ(new_lines(), Lines{entry_line(print("SOF_Ext_SetEnvelopType lEnvType=%u", type))});
  }
}

// ---- The certificate

TEST_F(FileEnvelopeTest, TheCertificateIsParsedForItsKeyType) {
  STANDIN(VELM_Openssl_ParseCertInfo).returns(-3);
  EXPECT_EQ(encrypt(), 0x0B000443u);
  const auto parsed = STANDIN(VELM_Openssl_ParseCertInfo).calls().at(0);
  EXPECT_EQ(parsed, std::tuple(kCertificate, kCertificateLength, 1u, 0u, std::get<4>(parsed)));
  EXPECT_EQ(new_lines(),
            (Lines{entry_line(encrypt_entry()), "SOF_EncryptFile, VELM_Openssl_ParseCertInfo goa_rv=-3"}));
}

TEST_F(FileEnvelopeTest, Sm2CertificateChangesTheEncryptMethod) {
  EXPECT_EQ(library.SOF_GetEncryptMethod(), 0x2002u);
  for (const uint32_t type : {0u, 1u, 3u}) {
    play_certificate(type);
    EXPECT_EQ(encrypt(), SOR_FILEOPENERR);
    EXPECT_EQ(library.SOF_GetEncryptMethod(), 0x2002u);
  }
  play_certificate(2);
  EXPECT_EQ(encrypt(), SOR_FILEOPENERR);
  EXPECT_EQ(library.SOF_GetEncryptMethod(), 0x402u);
  play_certificate(1);
  EXPECT_EQ(encrypt(), SOR_FILEOPENERR);
  EXPECT_EQ(library.SOF_GetEncryptMethod(), 0x402u);
}

TEST_F(FileEnvelopeTest, MethodIsSetBeforeThePathsAreConverted) {
  play_certificate(2);
  EXPECT_EQ(encrypt(std::string(8192, 'p'), out), SOR_FILEERR);
  EXPECT_EQ(library.SOF_GetEncryptMethod(), 0x402u);
}

// ---- Encryption by the provider

TEST_F(FileEnvelopeTest, OtherTypesAreEncryptedByTheProvider) {
  const auto expect_provider_call = [&](uint32_t type, void* application, uint32_t method) {
    SCOPED_TRACE(type);
    STANDIN(SAF_Ext_EncodeEnvelopedFile)
        .plays([=, this](void* given_application, const char* input, uint32_t input_length,
                         const uint8_t* certificate, uint32_t certificate_length, uint32_t given_method,
                         uint32_t flags, const char* output, uint32_t output_length) {
          EXPECT_EQ(given_application, application);
          EXPECT_EQ(text(input), in);
          EXPECT_EQ(input_length, in.size());
          EXPECT_EQ(certificate, kCertificate);
          EXPECT_EQ(certificate_length, kCertificateLength);
          EXPECT_EQ(given_method, method);
          EXPECT_EQ(flags, 1u);
          EXPECT_EQ(text(output), out);
          EXPECT_EQ(output_length, out.size());
          return 0u;
        });
    EXPECT_EQ(library.SOF_Ext_SetEnvelopType(type), SOR_OK);
    new_lines();
    const size_t before = STANDIN(SAF_Ext_EncodeEnvelopedFile).count();
    EXPECT_EQ(encrypt(), SOR_OK);  // the library does not open the file itself
    EXPECT_EQ(STANDIN(SAF_Ext_EncodeEnvelopedFile).count(), before + 1);
    EXPECT_EQ(new_lines(), Lines{entry_line(encrypt_entry())});
  };
  for (const uint32_t type : {0u, 1u, 3u, 0xFFFFFFFFu}) expect_provider_call(type, nullptr, 0x2002);
  EXPECT_THAT(standins.call_log("SAF_Initialize"), testing::IsEmpty());

  library.SOF_SetEncryptMethod(static_cast<int32_t>(0x80000401));
  expect_provider_call(1, nullptr, 0x80000401);
  open_handle();
  play_certificate(2);
  expect_provider_call(1, open_application(), 0x402);
}

TEST_F(FileEnvelopeTest, ProviderCodeIsMapped) {
  library.SOF_Ext_SetEnvelopType(1);
  new_lines();
  const auto call = call_of(library.SOF_EncryptFile, [&](auto...) { return encrypt_entry(); }, {},
                            {kCertificate, kCertificateLength, in.c_str(), out.c_str()});
  expect_mapped(call, STANDIN(SAF_Ext_EncodeEnvelopedFile), "SAF_Ext_EncodeEnvelopedFile");
}

// ---- Encryption in memory

TEST_F(FileEnvelopeTest, EncryptsInMemoryByDefault) {
  for (const std::string& content :
       {std::string("x"), std::string("two\0parts", 9), std::string(70000, '\x1A')}) {
    write(in, content);
    service.answers(frame(0, "envelope"));
    EXPECT_EQ(encrypt(), SOR_OK);
    EXPECT_EQ(service.take_request().body, encrypt_request(content));
    EXPECT_EQ(read(out), "envelope");
    EXPECT_EQ(new_lines(), (Lines{entry_line(encrypt_entry()),
                                  entry_line(print("SOF_EncryptData uEncryptCertLen=11 uPlainDataLen=%u",
                                                   static_cast<uint32_t>(content.size())))}));
  }
  EXPECT_THAT(standins.call_log("SAF_"), testing::IsEmpty());
}

TEST_F(FileEnvelopeTest, Type2IsInMemoryAgain) {
  library.SOF_Ext_SetEnvelopType(1);
  library.SOF_Ext_SetEnvelopType(2);
  write(in, "content");
  service.answers(frame(0, ""));
  EXPECT_EQ(encrypt(), SOR_OK);
  EXPECT_EQ(read(out), "");
}

TEST_F(FileEnvelopeTest, AnExistingOutputIsReplaced) {
  write(in, "content");
  write(out, "something longer than the envelope");
  service.answers(frame(0, "envelope"));
  EXPECT_EQ(encrypt(), SOR_OK);
  EXPECT_EQ(read(out), "envelope");
}

TEST_F(FileEnvelopeTest, EncryptsAFileOf100MiB) {
  std::string content(100 * kMiB, 'm');
  content.back() = 'z';
  write(in, content);
  service.answers(frame(0, content));
  EXPECT_EQ(encrypt(), SOR_OK);
  EXPECT_TRUE(service.take_request().body == encrypt_request(content));
  EXPECT_TRUE(read(out) == content);
}

TEST_F(FileEnvelopeTest, ServiceCodeIsTheResult) {
  write(in, "content");
  service.answers(frame_code(0x0A000123));
  EXPECT_EQ(encrypt(), 0x0A000123u);
  EXPECT_FALSE(exists(out));
}

// ---- Decryption

TEST_F(FileEnvelopeTest, DecryptsThroughTheProvider) {
  for (const uint32_t type : {2u, 1u}) {  // must make no difference
    library.SOF_Ext_SetEnvelopType(type);
    new_lines();
    STANDIN(SAF_Ext_DecodeEnvelopedFile)
        .plays([this](void* application, const char* name, uint32_t name_length, uint32_t first,
                      uint32_t second, const char* input, uint32_t input_length, const char* output,
                      uint32_t output_length) {
          EXPECT_EQ(application, handle);
          EXPECT_EQ(text(name), "C1");
          EXPECT_EQ(name_length, 2u);
          EXPECT_EQ(first, 1u);
          EXPECT_EQ(second, 1u);
          EXPECT_EQ(text(input), in);
          EXPECT_EQ(input_length, in.size());
          EXPECT_EQ(text(output), out);
          EXPECT_EQ(output_length, out.size());
          return 0u;
        });
    EXPECT_EQ(decrypt(), SOR_OK);
    EXPECT_EQ(new_lines(), Lines{entry_line(decrypt_entry())});
    EXPECT_THAT(standins.call_log(), testing::ElementsAre("SAF_Ext_DecodeEnvelopedFile"));
    open_handle();
  }
  EXPECT_FALSE(exists(out));
}

TEST_F(FileEnvelopeTest, OtherProviderCodesAreMapped) {
  write(in, "content");
  const auto call = call_of(library.SOF_DecryptFile, [&](auto...) { return decrypt_entry(); }, {},
                            {"C1", in.c_str(), out.c_str()});
  expect_mapped(call, STANDIN(SAF_Ext_DecodeEnvelopedFile), "SAF_Ext_DecodeEnvelopedFile");
  EXPECT_THAT(standins.call_log("SAF_Ext_CMS"), testing::IsEmpty());
}

TEST_F(FileEnvelopeTest, DecryptsInMemoryForProviderCode0x0200050A) {
  write(in, "envelope");
  STANDIN(SAF_Ext_DecodeEnvelopedFile).returns(0x0200050A);
  STANDIN(SAF_Ext_CMS_DecodeEnvelopedData)
      .plays([this](void* application, const char* name, uint32_t name_length, const uint8_t* input,
                    uint32_t input_length, uint8_t* output, uint32_t* length) {
        EXPECT_EQ(application, handle);
        EXPECT_EQ(text(name), "C1");
        EXPECT_EQ(name_length, 2u);
        EXPECT_EQ(bytes(input, input_length), "envelope");
        EXPECT_EQ(*length, 8 + kMiB);
        return give("plain", output, length);
      });
  EXPECT_EQ(decrypt(), SOR_OK);
  EXPECT_EQ(read(out), "plain");
  EXPECT_EQ(new_lines(), (Lines{entry_line(decrypt_entry()), "out_file_data.length2= 5"}));
  EXPECT_THAT(standins.call_log(),
              testing::ElementsAre("SAF_Ext_DecodeEnvelopedFile", "SAF_Ext_CMS_DecodeEnvelopedData"));
}

TEST_F(FileEnvelopeTest, EmptyContentGivesAnEmptyFile) {
  write(in, "envelope");
  play_memory_only("");
  EXPECT_EQ(decrypt(), SOR_OK);
  EXPECT_TRUE(exists(out));
  EXPECT_EQ(read(out), "");
}

TEST_F(FileEnvelopeTest, DecryptsAFileOf100MiB) {
  const std::string content(100 * kMiB, 'm');
  write(in, content);
  play_memory_only(content);
  EXPECT_EQ(decrypt(), SOR_OK);
  EXPECT_TRUE(read(out) == content);
}

TEST_F(FileEnvelopeTest, FailedDecodeInMemoryIsLoggedAsDecodeOfTheFile) {
  write(in, "envelope");
  STANDIN(SAF_Ext_DecodeEnvelopedFile).returns(0x0200050A);
  for (const auto& [code, mapped] :
       {std::pair(0x0200050Au, 0x0B000429u), std::pair(0x02000307u, 0x0B000307u)}) {
    STANDIN(SAF_Ext_CMS_DecodeEnvelopedData).returns(code);
    const size_t before = STANDIN(SAF_Ext_CMS_DecodeEnvelopedData).count();
    EXPECT_EQ(decrypt(), mapped);
    EXPECT_EQ(STANDIN(SAF_Ext_CMS_DecodeEnvelopedData).count(), before + 1);
    EXPECT_EQ(new_lines(),
              (Lines{entry_line(decrypt_entry()), print("\"SAF_Ext_DecodeEnvelopedFile\" 0x%08X ", code)}));
  }
  EXPECT_FALSE(exists(out));
}

TEST_F(FileEnvelopeTest, OverstatedLengthIsLimitedToTheBuffer) {
  write(in, "envelope");
  STANDIN(SAF_Ext_DecodeEnvelopedFile).returns(0x0200050A);
  STANDIN(SAF_Ext_CMS_DecodeEnvelopedData)
      .plays([](auto, auto, auto, auto, auto, uint8_t* output, uint32_t* length) {
        std::fill_n(output, *length, uint8_t{'p'});
        *length = 0xFFFFFFFF;
        return 0u;
      });
  EXPECT_EQ(decrypt(), SOR_OK);
  EXPECT_TRUE(read(out) == std::string(8 + kMiB, 'p'));
  EXPECT_EQ(new_lines(), (Lines{entry_line(decrypt_entry()), "out_file_data.length2= -1"}));
}

// ---- Unusable files, in both directions, each with its log line

class FileFailureTest : public FileEnvelopeTest, public testing::WithParamInterface<bool> {
 protected:
  FileFailureTest() {
    if (!encrypts()) play_memory_only("result");
  }

  bool encrypts() const { return GetParam(); }
  const char* function() const { return encrypts() ? "SOF_EncryptFile" : "SOF_DecryptFile"; }
  uint32_t run() { return encrypts() ? encrypt() : decrypt(); }
  uint32_t run(const std::string& input, const std::string& output) {
    return encrypts() ? encrypt(input, output) : decrypt(input, output);
  }
  void play_result() {
    if (encrypts()) service.answers(frame(0, "result"));
  }

  // Checks the code and the last log line, and that no output file exists.
  void expect_failure(uint32_t result, uint32_t code, const std::string& line) {
    EXPECT_EQ(result, code);
    const Lines lines = new_lines();
    EXPECT_EQ(lines.empty() ? "(no line)" : lines.back(), line);
    EXPECT_FALSE(exists(out));
  }
};

INSTANTIATE_TEST_SUITE_P(BothDirections, FileFailureTest, testing::Bool(),
                         [](const auto& row) { return row.param ? "Encrypt" : "Decrypt"; });

TEST_P(FileFailureTest, AMissingFile) {
  // Sic: the log line names SOF_EncryptFile in both directions.
  expect_failure(run(), 0x0B01000E, "SOF_EncryptFile->xfile_get_size [" + in + "] -23");
}

TEST_P(FileFailureTest, AFolder) {
  CreateDirectoryA(in.c_str(), nullptr);
  expect_failure(run(), 0x0B01000E, "SOF_EncryptFile->xfile_get_size [" + in + "] -23");
}

TEST_P(FileFailureTest, UnreadableFile) {
  write(in, "content");
  const HANDLE alone = CreateFileA(in.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
  ASSERT_NE(alone, INVALID_HANDLE_VALUE);
  expect_failure(run(), 0x0B01000E, "SOF_EncryptFile->xfile_get_size [" + in + "] -23");
  CloseHandle(alone);
}

TEST_P(FileFailureTest, AnEmptyFile) {
  write(in, "");
  expect_failure(run(), 0x0B000200, std::string(function()) + "->in file is empty!");
}

// An fopen() that opens one path only the first time.
std::string opened_once;
int openings = 0;

std::FILE* fopen_once(const char* path, const char* mode) {
  if (path == opened_once && ++openings > 1) return nullptr;
  return std::fopen(path, mode);
}

TEST_P(FileFailureTest, FileRemovedBeforeTheSizeQuery) {
  write(in, "content");
  opened_once = in;
  openings = 0;
  const ImportPatch patch(library.module(), "msvcrt.dll", "fopen", &fopen_once);
  expect_failure(run(), 0x0B01000E, std::string(function()) + "->xfile_read_bin [" + in + "] -23");
  EXPECT_EQ(openings, 2);
}

TEST_P(FileFailureTest, UnwritableOutput) {
  write(in, "content");
  play_result();
  const std::string nowhere = folder + "missing\\out.bin";
  expect_failure(run(in, nowhere), 0x0B01000E,
                 std::string(function()) + "->xfile_write -23 [" + nowhere + "] 6");
}

// Missing memory. With a file of 3000 bytes the two buffers have sizes that no other allocation has.
class FileMemoryTest : public FileFailureTest {
 protected:
  static constexpr size_t kInput = 3000;
  static constexpr size_t kOutput = kInput + kMiB;

  FileMemoryTest() {
    write(in, std::string(kInput, 'c'));
    service.responds([](const Request&) { return frame(0, "result"); });
    // Triggers the one-time allocations of a thread's first success and first failure.
    run();
    run(out + "missing", out);
    std::remove(out.c_str());
    new_lines();
  }

  // Sizes of the allocations of one successful call.
  std::vector<size_t> allocations() {
    AllocationFaults memory(library.module());
    EXPECT_EQ(run(), SOR_OK);
    EXPECT_EQ(memory.outstanding(), 0u);
    std::remove(out.c_str());
    new_lines();
    return memory.sizes();
  }

  void expect_no_memory_for(size_t size, const std::string& line) {
    const std::vector<size_t> sizes = allocations();
    const auto at = std::find(sizes.begin(), sizes.end(), size);
    ASSERT_NE(at, sizes.end());
    AllocationFaults memory(library.module());
    memory.fail_at(static_cast<size_t>(at - sizes.begin()) + 1);
    expect_failure(run(), 0x0B000100, line);
    EXPECT_TRUE(memory.has_failed());
    EXPECT_EQ(memory.outstanding(), 0u);
  }
};

INSTANTIATE_TEST_SUITE_P(BothDirections, FileMemoryTest, testing::Bool(),
                         [](const auto& row) { return row.param ? "Encrypt" : "Decrypt"; });

TEST_P(FileMemoryTest, NoMemoryForTheInput) {
  expect_no_memory_for(kInput, std::string(function()) + "->malloc in file data buffer 0");
}

TEST_P(FileMemoryTest, NoMemoryForTheOutput) {
  expect_no_memory_for(kOutput, std::string(function()) + "->malloc out file data buffer 3512");
}

// Sic: a path conversion without memory returns SOR_FILEERR, like any other failed conversion.
TEST_P(FileMemoryTest, EachAllocationFails) {
  // Both paths are converted to wide text, with room for a terminator and one more character.
  const auto is_wide_path = [&](size_t size) {
    return size == 2 * (in.size() + 2) || size == 2 * (out.size() + 2);
  };
  const std::vector<size_t> sizes = allocations();
  for (size_t nth = 1; nth <= sizes.size(); ++nth) {
    SCOPED_TRACE(print("allocation %u of %u bytes fails", static_cast<unsigned>(nth),
                       static_cast<unsigned>(sizes[nth - 1])));
    AllocationFaults memory(library.module());
    memory.fail_at(nth);
    const uint32_t result = run();
    EXPECT_TRUE(memory.has_failed());
    EXPECT_EQ(memory.outstanding(), 0u);
    EXPECT_EQ(result, is_wide_path(sizes[nth - 1]) ? SOR_FILEERR : SOR_MEMORYERR);
    EXPECT_FALSE(exists(out));
  }
}

TEST_P(FileMemoryTest, FailuresLeakNoMemory) {
  const std::string nowhere = folder + "missing\\out.bin";
  AllocationFaults memory(library.module());
  EXPECT_EQ(run(in, nowhere), SOR_FILEOPENERR);
  EXPECT_EQ(run(nowhere, out), SOR_FILEOPENERR);
  write(in, "");
  EXPECT_EQ(run(), SOR_INDATALENERR);
  EXPECT_EQ(run(in, std::string(8192, 'p')), SOR_FILEERR);
  EXPECT_EQ(memory.outstanding(), 0u);
}

// ---- Paths

// A path as the caller passes it and as the provider receives it.
struct PathRow {
  const char* name;
  std::string given;
  std::string handed;
};

class PathTest : public FileEnvelopeTest, public testing::WithParamInterface<PathRow> {};

const std::string kAccent = "c:\\caf\xC3\xA9";  // two bytes of UTF-8 that are also a valid GBK character

INSTANTIATE_TEST_SUITE_P(
    AllForms, PathTest,
    testing::Values(
        PathRow{"Ascii", "c:\\plain.txt", "c:\\plain.txt"}, PathRow{"Empty", "", ""},
        PathRow{"ChineseUtf8", "c:\\\xE6\x96\x87\xE4\xBB\xB6.txt", "c:\\\xCE\xC4\xBC\xFE.txt"},
        PathRow{"ChineseGbk", "c:\\\xCE\xC4\xBC\xFE.txt", "c:\\\xCE\xC4\xBC\xFE.txt"},
        PathRow{"Accent", kAccent, kAccent},
        PathRow{"LongestConverted", std::string(8191, 'p'), std::string(8191, 'p')},
        PathRow{"LongChinese", "\xE6\x96\x87" + std::string(8189, 'p'), "\xCE\xC4" + std::string(8189, 'p')},
        PathRow{"LongUnconverted", kAccent + std::string(20000, 'p'), kAccent + std::string(20000, 'p')}),
    [](const auto& row) { return row.param.name; });

TEST_P(PathTest, IsPassedToTheProvider) {
  const auto [name, given, handed] = GetParam();
  library.SOF_Ext_SetEnvelopType(1);
  Lines inputs;
  Lines outputs;
  const auto keep = [&](const char* input, uint32_t input_length, const char* output,
                        uint32_t output_length) {
    EXPECT_EQ(input_length, text(input).size());
    EXPECT_EQ(output_length, text(output).size());
    inputs.push_back(input);
    outputs.push_back(output);
    return 0u;
  };
  STANDIN(SAF_Ext_EncodeEnvelopedFile)
      .plays([&](auto, const char* input, uint32_t input_length, auto, auto, auto, auto, const char* output,
                 uint32_t output_length) { return keep(input, input_length, output, output_length); });
  STANDIN(SAF_Ext_DecodeEnvelopedFile)
      .plays([&](auto, auto, auto, auto, auto, const char* input, uint32_t input_length, const char* output,
                 uint32_t output_length) { return keep(input, input_length, output, output_length); });
  EXPECT_EQ(encrypt(given, "out"), SOR_OK);
  EXPECT_EQ(encrypt("in", given), SOR_OK);
  EXPECT_EQ(decrypt(given, "out"), SOR_OK);
  EXPECT_EQ(decrypt("in", given), SOR_OK);
  EXPECT_EQ(inputs, (Lines{handed, "in", handed, "in"}));
  EXPECT_EQ(outputs, (Lines{"out", handed, "out", handed}));
}

TEST_P(FileFailureTest, PathTooLongToConvert) {
  const auto expect_refused = [&](const std::string& input, const std::string& output,
                                  const std::string& refused) {
    EXPECT_EQ(run(input, output), 0x0B000003u);
    // A truncated log line has no line end, so the next line follows directly.
    std::string everything;
    for (const std::string& line : log.lines()) everything += line + '\n';
    EXPECT_THAT(everything, testing::HasSubstr(std::string(function()) + "->xencoding_utf8_to_gbk -14 [" +
                                               refused.substr(0, 3000)));
    log.clear();
  };
  for (const std::string& path :
       {std::string(8192, 'p'), std::string(100000, 'p'), "\xE6\x96\x87" + std::string(8190, 'p')}) {
    expect_refused(path, out, path);
    expect_refused(in, path, path);
  }
  const std::string bad_input(8192, 'i'), bad_output(8192, 'o');
  expect_refused(bad_input, bad_output, bad_input);
  EXPECT_THAT(standins.call_log("SAF_"), testing::IsEmpty());
}

TEST_P(FileFailureTest, PathsInBothEncodings) {
  const std::string gbk = folder + "\xCE\xC4\xBC\xFE.bin";
  const std::string utf8 = folder + "\xE6\x96\x87\xE4\xBB\xB6.bin";
  const std::string accent = folder + "caf\xC3\xA9.bin";
  write(gbk, "content");
  write(accent, "content");
  for (const auto& [input, output, written] :
       {std::tuple(gbk, accent, accent), std::tuple(utf8, accent, accent), std::tuple(accent, utf8, gbk)}) {
    play_result();
    EXPECT_EQ(run(input, output), SOR_OK);
    EXPECT_EQ(read(written), "result");
  }
}

}  // namespace
}  // namespace velm::test
