#include <atomic>
#include <thread>

#include <gtest/gtest.h>

#include <algorithm>

#include <openssl/ts.h>

#include "provider_abi/velm_dev_enum.h"
#include "softtoken/crypto/envelope.h"
#include "softtoken/crypto/signed_data.h"
#include "softtoken/store/time_stamp_authority.h"
#include "softtoken/tests/providers/expected_codes.h"
#include "softtoken/tests/providers/running_service.h"

namespace velm::token {
namespace {

constexpr uint32_t kCertificateLabel = 7;

uint32_t text_length(const char* text) { return static_cast<uint32_t>(std::string_view(text).size()); }

class ModulesOnAService : public testing::Test {
 protected:
  static void SetUpTestSuite() { application_ = new Application("service_module_test"); }
  static void TearDownTestSuite() { delete application_; }
  void SetUp() override { ASSERT_EQ(application_->opened(), 0u); }
  static Application& application() { return *application_; }
  static void* handle() { return application_->handle(); }

 private:
  static inline Application* application_ = nullptr;
};

TEST(Configuration, MayBeginWithAByteOrderMark) {
  write_file("saf_mark.dat", as_bytes("\xEF\xBB\xBFservice_address = 127.0.0.1:1\n"));
  void* handle = nullptr;
  EXPECT_EQ(SAF_Initialize(&handle, "saf_mark.dat"), 0u);
  EXPECT_EQ(SAF_Finalize(handle), 0u);
  std::remove("saf_mark.dat");
}

TEST(Configuration, IsASmallFile) {
  for (const size_t size : {size_t{65536}, size_t{65537}}) {
    write_file("saf_large.dat", Bytes(size, '#'));
    void* handle = nullptr;
    EXPECT_EQ(SAF_Initialize(&handle, "saf_large.dat"), size == 65536 ? kSafSuccess : kSafBadInput);
    EXPECT_EQ(SAF_Finalize(handle), size == 65536 ? kSafSuccess : kSafBadObject);
  }
  std::remove("saf_large.dat");
}

TEST(Configuration, OpensFromAFileThatCanBeRead) {
  void* handle = nullptr;
  EXPECT_EQ(SAF_Initialize(&handle, "no such configuration.dat"), kSafFileOpen);
  EXPECT_EQ(SAF_Initialize(&handle, nullptr), kSafBadInput);
  EXPECT_EQ(SAF_Initialize(nullptr, "saf.dat"), kSafBadInput);
  for (const char* text :
       {"service_address", "service_address = 127.0.0.1", "service_address = 127.0.0.1:0",
        "service_address = 127.0.0.1:65536", "answer_timeout_ms = -1", "answer_timeout_ms = 0",
        "answer_timeout_ms = 2147483648", "connect_timeout_ms = 4294967295", "another_key = 1",
        "allow_remote_addresses = 1", "time_stamp_certificate =", "time_stamp_certificate = \xFF"}) {
    write_file("saf_test.dat", as_bytes(text));
    EXPECT_EQ(SAF_Initialize(&handle, "saf_test.dat"), kSafBadInput) << text;
  }
  EXPECT_EQ(handle, nullptr);
  write_file("saf_test.dat",
             as_bytes("# a remark\r\n\n  connect_timeout_ms=5000 \r\nservice_address = 127.0.0.1:1\n"));
  EXPECT_EQ(SAF_Initialize(&handle, "saf_test.dat"), 0u);
  EXPECT_NE(handle, nullptr);
  uint32_t length = 0;
  EXPECT_EQ(SAF_Ext_EnumDevice(handle, nullptr, &length), kSafHttpFailed);
  EXPECT_EQ(SAF_Finalize(handle), 0u);
  EXPECT_EQ(SAF_Finalize(handle), kSafBadObject);
  EXPECT_EQ(SAF_Finalize(nullptr), kSafBadObject);
  std::remove("saf_test.dat");
}

TEST(Configuration, IsOpenedBySixtyFourApplicationsAtOnce) {
  write_file("saf_many.dat", as_bytes("service_address = 127.0.0.1:1\n"));
  std::vector<void*> open(64);
  for (void*& handle : open) ASSERT_EQ(SAF_Initialize(&handle, "saf_many.dat"), 0u);
  void* one_more = nullptr;
  EXPECT_EQ(SAF_Initialize(&one_more, "saf_many.dat"), kSafNoMemory);
  EXPECT_EQ(one_more, nullptr);
  EXPECT_EQ(SAF_Finalize(open.back()), 0u);
  EXPECT_EQ(SAF_Initialize(&open.back(), "saf_many.dat"), 0u);
  for (void* handle : open) EXPECT_EQ(SAF_Finalize(handle), 0u);
  for (void* handle : open) EXPECT_EQ(SAF_Finalize(handle), kSafBadObject);
  std::remove("saf_many.dat");
}

TEST(Configuration, IsOpenedByThreadsAtTheSameTime) {
  write_file("saf_threads.dat", as_bytes("service_address = 127.0.0.1:1\n"));
  std::atomic<int> failures{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int turn = 0; turn < 300; ++turn) {
        void* handle = nullptr;
        if (SAF_Initialize(&handle, "saf_threads.dat") != 0 || SAF_Finalize(handle) != 0) ++failures;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(failures, 0);
  std::remove("saf_threads.dat");
}

// A call looks up its application before it checks other arguments.
TEST(Configuration, IsSafeToUseWhileItIsClosed) {
  write_file("saf_closed.dat", as_bytes("allow_remote_addresses = true\n"
                                        "service_address = a.host.whose.name.lies.on.the.heap:1\n"));
  std::atomic<void*> handle{nullptr};
  std::atomic<bool> ended{false};
  uint32_t calls = 0;
  uint32_t surprises = 0;
  std::thread user([&] {
    for (; !ended || calls == 0; ++calls) {
      const uint32_t code = SAF_Ext_CMS_DecodeEnvelopedData(handle, nullptr, 0, nullptr, 0, nullptr, nullptr);
      if (code != kSafBadInput && code != kSafBadObject) ++surprises;
    }
  });
  for (int i = 0; i < 1000; ++i) {
    void* opened = nullptr;
    EXPECT_EQ(SAF_Initialize(&opened, "saf_closed.dat"), 0u);
    handle = opened;
    EXPECT_EQ(SAF_Finalize(opened), 0u);
  }
  ended = true;
  user.join();
  EXPECT_EQ(surprises, 0u) << "of " << calls;
  std::remove("saf_closed.dat");
}

TEST_F(ModulesOnAService, EnvelopesOfEverySizeGoThereAndBack) {
  for (const char* container : {"SM2_TEST", "RSA_2048_TEST", "RSA_1024_TEST"}) {
    const Bytes certificate = application().encryption_certificate(container);
    for (const uint32_t method : {0x402u, 0x2002u, 0x4002u, 0x8002u, 0x10002u}) {
      for (const size_t size : {0, 1, 15, 16, 100, 65536, 300000}) {
        const Bytes plain(size, 0x42);
        write_file("envelope.in", plain);
        ASSERT_EQ(SAF_Ext_EncodeEnvelopedFile(handle(), "envelope.in", 11, certificate.data(),
                                              size_of(certificate), method, 1, "envelope.out", 12),
                  0u);
        ASSERT_EQ(SAF_Ext_DecodeEnvelopedFile(handle(), container, text_length(container), 1, 1,
                                              "envelope.out", 12, "envelope.back", 13),
                  0u)
            << container << method << size;
        EXPECT_EQ(file_bytes("envelope.back"), plain);
      }
      const Bytes envelope = file_bytes("envelope.out");
      Bytes opened(envelope.size());
      uint32_t length = size_of(opened);
      ASSERT_EQ(SAF_Ext_CMS_DecodeEnvelopedData(handle(), container, text_length(container), envelope.data(),
                                                size_of(envelope), opened.data(), &length),
                0u);
      opened.resize(length);
      EXPECT_EQ(opened, Bytes(300000, 0x42));
    }
  }
}

// Others may encrypt for a signing key: with a certificate of the same name without the key usage extension.
Certificate without_key_usage(ByteView certificate) {
  Certificate copy(X509_dup(parse_certificate(certificate).get()));
  const int at = X509_get_ext_by_NID(copy.get(), NID_key_usage, -1);
  X509_EXTENSION_free(X509_delete_ext(copy.get(), at));
  return copy;
}

TEST_F(ModulesOnAService, EnvelopesForASigningKeyAreOpened) {
  for (const char* container : {"SM2_TEST", "RSA_2048_TEST"}) {
    const Certificate recipient = without_key_usage(application().signing_certificate(container));
    write_file("envelope.in", make_envelope(recipient.get(), as_bytes("from the service")));
    ASSERT_EQ(SAF_Ext_DecodeEnvelopedFile(handle(), container, text_length(container), 1, 1, "envelope.in",
                                          11, "envelope.back", 13),
              0u);
    EXPECT_EQ(as_text(file_bytes("envelope.back")), "from the service");
  }
}

TEST_F(ModulesOnAService, EnvelopesAreNotMadeForASigningCertificate) {
  write_file("envelope.in", as_bytes("content"));
  std::remove("envelope.out");
  for (const char* container : {"SM2_TEST", "RSA_2048_TEST", "RSA_1024_TEST"}) {
    const Bytes certificate = application().signing_certificate(container);
    EXPECT_EQ(SAF_Ext_EncodeEnvelopedFile(handle(), "envelope.in", 11, certificate.data(),
                                          size_of(certificate), 0x402, 1, "envelope.out", 12),
              kSafKeyUsage)
        << container;
    EXPECT_FALSE(file_exists("envelope.out"));
  }
}

TEST_F(ModulesOnAService, EnvelopesThatDoNotOpenLeaveNoFile) {
  const Bytes certificate = application().encryption_certificate("SM2_TEST");
  const Bytes plain(1000, 3);
  write_file("envelope.in", plain);
  ASSERT_EQ(SAF_Ext_EncodeEnvelopedFile(handle(), "envelope.in", 11, certificate.data(), size_of(certificate),
                                        0x402, 1, "envelope.out", 12),
            0u);
  std::remove("envelope.back");
  const auto open = [](const char* container) {
    return SAF_Ext_DecodeEnvelopedFile(handle(), container, text_length(container), 1, 1, "envelope.out", 12,
                                       "envelope.back", 13);
  };
  EXPECT_EQ(open("RSA_2048_TEST"), kSafKeyMismatch);
  EXPECT_EQ(open("NOBODY"), kSafNoSuchContainer);
  application().token().logout("SM2_TEST");
  EXPECT_EQ(open("SM2_TEST"), kSafNotLoggedIn);
  application().token().login("SM2_TEST", as_bytes(kDemoPin));

  const Bytes envelope = file_bytes("envelope.out");
  for (size_t length = 0; length < envelope.size(); length += 7) {
    write_file("envelope.out", ByteView(envelope).first(length));
    EXPECT_NE(open("SM2_TEST"), 0u) << length;
  }
  Bytes altered = envelope;
  altered[altered.size() - 17] ^= 0x80;  // second-to-last block: changes the padding length to above 16
  write_file("envelope.out", altered);
  EXPECT_EQ(open("SM2_TEST"), kSafPadding);
  altered = envelope;
  altered[1] = 0x80;
  write_file("envelope.out", altered);
  EXPECT_EQ(open("SM2_TEST"), kSafEnvelopeNotOpened);
  EXPECT_FALSE(file_exists("envelope.back"));
  EXPECT_EQ(SAF_Ext_EncodeEnvelopedFile(handle(), "envelope.in", 11, certificate.data(), size_of(certificate),
                                        0x401, 1, "envelope.back", 13),
            kSafAlgorithm);
  EXPECT_FALSE(file_exists("envelope.back"));
}

TEST_F(ModulesOnAService, DeviceFilesKeepTheirSizeAndRights) {
  const char* container = "SM2_TEST";
  EXPECT_EQ(SAF_Ext_CreateFile(handle(), container, "\xCE\xC4\xBC\xFE", 100, 0xFF, 0x10), 0u);
  EXPECT_EQ(SAF_Ext_CreateFile(handle(), container, "\xCE\xC4\xBC\xFE", 100, 0xFF, 0x10), kSafFileExists);
  EXPECT_EQ(SAF_Ext_CreateFile(handle(), container, "second", 10, 0x10, 0x00), 0u);
  EXPECT_EQ(SAF_Ext_CreateFile(handle(), container, "large", 0x7FFFFFFF, 0xFF, 0xFF), kSafNoSpace);

  uint32_t code = 0;
  const Bytes names = sized_output(
      [&](uint8_t* list, uint32_t* length) {
        return SAF_Ext_EnumFile(handle(), container, reinterpret_cast<char*>(list), length);
      },
      code);
  EXPECT_EQ(as_text(names), std::string("second\0\xCE\xC4\xBC\xFE\0\0", 13));

  EXPECT_EQ(SAF_Ext_WriteFile(handle(), container, "\xCE\xC4\xBC\xFE", 90, as_bytes("0123456789").data(), 10),
            0u);
  EXPECT_EQ(SAF_Ext_WriteFile(handle(), container, "\xCE\xC4\xBC\xFE", 91, as_bytes("0123456789").data(), 10),
            kSafNoSpace);
  EXPECT_EQ(SAF_Ext_WriteFile(handle(), container, "second", 0, as_bytes("0").data(), 1), kSafNotSupported);

  uint32_t size = 0;
  uint32_t read_rights = 0;
  uint32_t write_rights = 0;
  EXPECT_EQ(
      SAF_Ext_GetFileAttribute(handle(), container, "\xCE\xC4\xBC\xFE", &size, &read_rights, &write_rights),
      0u);
  EXPECT_EQ(size, 100u);
  EXPECT_EQ(read_rights, 0xFFu);
  EXPECT_EQ(write_rights, 0x10u);
  EXPECT_EQ(SAF_Ext_GetFileAttribute(handle(), container, "second", nullptr, nullptr, nullptr), 0u);

  uint8_t data[20];
  uint32_t length = sizeof data;
  EXPECT_EQ(SAF_Ext_ReadFile(handle(), container, "\xCE\xC4\xBC\xFE", 88, 20, data, &length), 0u);
  EXPECT_EQ(as_text({data, length}), std::string("\0\0"
                                                 "0123456789",
                                                 12));
  EXPECT_EQ(SAF_Ext_ReadFile(handle(), container, "missing", 0, 20, data, &length), kSafFileNotFound);

  application().token().logout(container);
  length = sizeof data;
  EXPECT_EQ(SAF_Ext_ReadFile(handle(), container, "\xCE\xC4\xBC\xFE", 0, 5, data, &length), 0u);
  EXPECT_EQ(SAF_Ext_ReadFile(handle(), container, "second", 0, 5, data, &length), kSafNotLoggedIn);
  EXPECT_EQ(SAF_Ext_WriteFile(handle(), container, "\xCE\xC4\xBC\xFE", 0, data, 1), kSafNotLoggedIn);
  EXPECT_EQ(SAF_Ext_DeleteFile(handle(), container, "second"), kSafNotLoggedIn);
  application().token().login(container, as_bytes(kDemoPin));
  EXPECT_EQ(SAF_Ext_DeleteFile(handle(), container, "second"), 0u);
  EXPECT_EQ(SAF_Ext_DeleteFile(handle(), container, "second"), kSafFileNotFound);
}

Bytes label_of(void* handle, const char* name, uint32_t type, uint32_t& code) {
  return sized_output(
      [&](uint8_t* data, uint32_t* length) {
        return SAF_Ext_ReadLabel(handle, name, text_length(name), name, text_length(name), type, data,
                                 length);
      },
      code);
}

TEST_F(ModulesOnAService, LabelsAndDevicesAreRead) {
  set_label(application().token().store(), "A_SCAN_CONTAINER_FromCache", 7, as_bytes("certificate"));
  uint32_t code = 0;
  EXPECT_EQ(as_text(label_of(handle(), "A_SCAN_CONTAINER_FromCache", 7, code)), "certificate");
  label_of(handle(), "A_SCAN_CONTAINER_FromCache", 6, code);
  EXPECT_EQ(code, kSafNoSuchLabel);

  const Bytes devices = sized_output(
      [&](uint8_t* list, uint32_t* length) { return SAF_Ext_EnumDevice(handle(), list, length); }, code);
  EXPECT_EQ(as_text(devices), std::string("VELM Software Token\0\0", 21));
  const auto* device = static_cast<const DeviceRecord*>(vde_get_last_device_config());
  ASSERT_NE(device, nullptr);
  EXPECT_EQ(device->device_type, 1u);

  char version[256];
  EXPECT_EQ(SAF_Ext_GetProductVersion(nullptr, version, sizeof version, nullptr), 0u);
  EXPECT_EQ(std::string(version).substr(0, 20), "VELM Software Token ");
  const auto version_length = static_cast<uint32_t>(std::string(version).size());
  for (const uint32_t size : {0u, 5u, version_length}) {
    std::fill(std::begin(version), std::end(version), 'x');
    EXPECT_EQ(SAF_Ext_GetProductVersion(nullptr, version, size, nullptr), kSafBadLength) << size;
    EXPECT_EQ(std::string(version, sizeof version), std::string(sizeof version, 'x')) << size;
  }
  EXPECT_EQ(SAF_Ext_GetProductVersion(nullptr, version, version_length + 1, nullptr), 0u);
  EXPECT_EQ(std::string(version).size(), version_length);
  EXPECT_EQ(version[version_length + 1], 'x');

  const auto control = [&](const char* name, const char* command) {
    return SAF_Ext_Control(handle(), nullptr, 0, name, text_length(name), command, text_length(command));
  };
  EXPECT_EQ(control("IDLE_LOGOUT", "30"), 0u);
  EXPECT_EQ(control("IDLE_LOGOUT", "0"), 0u);
  EXPECT_EQ(control("IDLE_LOGOUT", "soon"), kSafBadInput);
  EXPECT_EQ(control("ANOTHER", "1"), kSafNotSupported);
}

TEST_F(ModulesOnAService, StampsCoverDataAndFiles) {
  const Bytes text = copy_of(as_bytes("stamped"));
  write_file("stamped.bin", text);
  uint32_t code = 0;
  const Bytes rsa = label_of(handle(), kTimeStampAuthorityLabel, kCertificateLabel, code);
  ASSERT_EQ(code, 0u);
  const Bytes sm2 = label_of(handle(), kSm2TimeStampAuthorityLabel, kCertificateLabel, code);
  ASSERT_EQ(code, 0u);
  const auto gm = [&](uint32_t selector) {
    return sized_output(
        [&](uint8_t* stamp, uint32_t* length) {
          return SAF_Ext_GM_Tsp_SealTimeStamp(handle(), selector, text.data(), size_of(text), stamp, length);
        },
        code);
  };
  const Bytes of_data = sized_output(
      [&](uint8_t* stamp, uint32_t* length) {
        return SAF_Ext_TspGetStamp(handle(), "A", 1, text.data(), size_of(text), stamp, length);
      },
      code);
  const Bytes of_file = sized_output(
      [&](uint8_t* stamp, uint32_t* length) {
        return SAF_Ext_TspGetFileStamp(handle(), "A", 1, as_bytes("stamped.bin").data(), 11, stamp, length);
      },
      code);
  const struct {
    Bytes stamp;
    const Bytes& authority;
    const Bytes& other;
  } stamps[] = {{of_data, rsa, sm2}, {of_file, rsa, sm2}, {gm(0), sm2, rsa},
                {gm(1), sm2, rsa},   {gm(2), rsa, sm2},   {gm(4), rsa, sm2}};
  for (const auto& [stamp, authority, other] : stamps) {
    ASSERT_FALSE(stamp.empty());
    char time[32];
    uint32_t length = sizeof time;
    const auto verify = [&](ByteView data, ByteView certificate) {
      return SAF_Ext_TspVerifyStamp(data.data(), size_of(data), stamp.data(), size_of(stamp),
                                    certificate.data(), size_of(certificate),
                                    reinterpret_cast<uint8_t*>(time), &length);
    };
    EXPECT_EQ(verify(text, authority), 0u);
    EXPECT_EQ(length, 15u);
    EXPECT_EQ(std::string(time, 2), "20");
    length = sizeof time;
    EXPECT_EQ(verify(as_bytes("another"), authority), kSafHashNotEqual);
    EXPECT_EQ(verify(text, other), kSafHashNotEqual);
    EXPECT_EQ(verify(text, application().signing_certificate("RSA_2048_TEST")), kSafHashNotEqual);
    EXPECT_EQ(verify(text, application().signing_certificate("SM2_TEST")), kSafHashNotEqual);
    EXPECT_EQ(verify(text, text), kSafCertificateFormat);
    EXPECT_EQ(SAF_Ext_TspVerifyFileStamp(as_bytes("stamped.bin").data(), 11, stamp.data(), size_of(stamp),
                                         authority.data(), size_of(authority), nullptr, &length),
              0u);
    EXPECT_EQ(SAF_Ext_GM_Tsp_VerifyTimeStamp(handle(), text.data(), size_of(text), text.data(), size_of(text),
                                             authority.data(), size_of(authority), nullptr, &length),
              kSafStampAnswer);
  }
  gm(3);
  EXPECT_EQ(code, kSafAlgorithm);
  const Bytes time = sized_output(
      [&](uint8_t* out, uint32_t* length) { return SAF_Ext_GM_Tsp_GetTime(handle(), out, length); }, code);
  EXPECT_EQ(time.size(), 15u);
}

SignedMessage message_in(const Bytes& stamp) {
  const auto response = from_der<Handle<TS_RESP, TS_RESP_free>>(d2i_TS_RESP, stamp, kUnknownError);
  return parse_signed_message(der_of<const PKCS7>(i2d_PKCS7, TS_RESP_get_token(response.get())));
}

TEST_F(ModulesOnAService, StampsWithAnAlteredByteAreRefused) {
  const Bytes text = copy_of(as_bytes("stamped"));
  for (const auto& [selector, label] :
       {std::pair(1u, kSm2TimeStampAuthorityLabel), {4u, kTimeStampAuthorityLabel}}) {
    uint32_t code = 0;
    const Bytes authority = label_of(handle(), label, kCertificateLabel, code);
    const Bytes stamp = sized_output(
        [&, number = selector](uint8_t* out, uint32_t* length) {
          return SAF_Ext_GM_Tsp_SealTimeStamp(handle(), number, text.data(), size_of(text), out, length);
        },
        code);
    ASSERT_EQ(code, 0u);
    const SignedMessage message = message_in(stamp);
    // In the message, the signed attributes have another tag.
    const ByteView attributes = ByteView(message.signed_attributes).subspan(1);
    for (const ByteView part : {ByteView(*message.content), attributes, ByteView(message.signature)}) {
      const auto place = std::ranges::search(stamp, part);
      ASSERT_FALSE(place.empty());
      for (auto at = place.begin(); at != place.end(); ++at) {
        Bytes altered = stamp;
        altered[static_cast<size_t>(at - stamp.begin())] ^= 1;
        uint32_t length = 0;
        EXPECT_NE(SAF_Ext_TspVerifyStamp(text.data(), size_of(text), altered.data(), size_of(altered),
                                         authority.data(), size_of(authority), nullptr, &length),
                  0u)
            << selector << " at " << at - stamp.begin();
      }
    }
  }
}

}  // namespace
}  // namespace velm::token
