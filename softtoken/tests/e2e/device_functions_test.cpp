// Tests files, labels and properties of the device, hashes and base64.
#include "library_calls.h"

namespace {

constexpr const char* kContainer = "SEAL_SM2_DEMO";
constexpr const char* kName = "\xCE\xC4\xBC\xFE";  // GBK
constexpr uint32_t kNobody = 0x00;
constexpr uint32_t kUser = 0x10;
constexpr uint32_t kAnyone = 0xFF;

std::string file_list() {
  return text_of(output_of([](uint8_t* out, uint32_t* length) {
    return SOF_Ext_EnumFile(kContainer, reinterpret_cast<char*>(out), length);
  }));
}

TEST(DeviceFunctions, FilesKeepTheirSizeAndRights) {
  ASSERT_EQ(SOF_Login(kContainer, kPin), SOR_OK);
  EXPECT_EQ(SOF_Ext_CreateFile(kContainer, kName, 100, kAnyone, kUser), SOR_OK);
  EXPECT_EQ(SOF_Ext_CreateFile(kContainer, kName, 100, kAnyone, kUser), SOR_FILEEXISTSERR);
  EXPECT_EQ(SOF_Ext_CreateFile(kContainer, "second", 10, kUser, kNobody), SOR_OK);
  EXPECT_EQ(SOF_Ext_CreateFile(kContainer, "large", 0x7FFFFFFF, kAnyone, kAnyone), SOR_NOSPACEERR);
  EXPECT_EQ(file_list(), std::string("second\0", 7) + kName + std::string("\0\0", 2));

  const Bytes data = bytes_of("0123456789");
  EXPECT_EQ(SOF_Ext_WriteFile(kContainer, kName, 90, data.data(), size_of(data)), SOR_OK);
  EXPECT_EQ(SOF_Ext_WriteFile(kContainer, kName, 91, data.data(), size_of(data)), SOR_NOSPACEERR);
  EXPECT_EQ(SOF_Ext_WriteFile(kContainer, "second", 0, data.data(), 1), SOR_NOTSUPPORTYETERR);
  EXPECT_EQ(output_of([](uint8_t* out, uint32_t* length) {
              return SOF_Ext_ReadFile(kContainer, kName, 90, 10, out, length);
            }),
            data);

  uint32_t size = 0;
  uint32_t read_rights = 0;
  uint32_t write_rights = 0;
  EXPECT_EQ(SOF_Ext_GetFileAttribute(kContainer, kName, &size, &read_rights, &write_rights), SOR_OK);
  EXPECT_EQ(size, 100u);
  EXPECT_EQ(read_rights, kAnyone);
  EXPECT_EQ(write_rights, kUser);

  ASSERT_EQ(SOF_Ext_Logout(kContainer, 0), SOR_OK);
  Bytes output(10);
  uint32_t length = size_of(output);
  EXPECT_EQ(SOF_Ext_ReadFile(kContainer, kName, 90, 10, output.data(), &length), SOR_OK);
  EXPECT_EQ(SOF_Ext_ReadFile(kContainer, "second", 0, 10, output.data(), &length), SOR_NOTLOGINERR);
  EXPECT_EQ(SOF_Ext_WriteFile(kContainer, kName, 0, data.data(), 1), SOR_NOTLOGINERR);
  EXPECT_EQ(SOF_Ext_DeleteFile(kContainer, kName), SOR_NOTLOGINERR);
  ASSERT_EQ(SOF_Login(kContainer, kPin), SOR_OK);
  for (const char* name : {kName, "second"}) EXPECT_EQ(SOF_Ext_DeleteFile(kContainer, name), SOR_OK);
  EXPECT_EQ(SOF_Ext_DeleteFile(kContainer, kName), SOR_FILENOTFOUNDERR);
  EXPECT_EQ(SOF_Ext_GetFileAttribute(kContainer, kName, &size, &read_rights, &write_rights),
            SOR_FILENOTFOUNDERR);
  ASSERT_EQ(SOF_Ext_Logout(kContainer, 0), SOR_OK);
}

TEST(DeviceFunctions, LabelsAreRead) {
  for (const std::string name : kScannedKeys) {
    const std::string label = name + "_FromCache";
    const auto read = [&](uint32_t type, uint32_t& code) {
      return output_of(code, [&](uint8_t* out, uint32_t* length) {
        return SOF_Ext_ReadLabel(name.c_str(), label.c_str(), static_cast<uint32_t>(label.size()), type, out,
                                 length);
      });
    };
    uint32_t code = 1;
    EXPECT_EQ(read(7, code), signing_certificate(name.c_str()));
    EXPECT_EQ(code, SOR_OK);
    read(6, code);
    EXPECT_EQ(code, SOR_LABELNOTFOUNDERR);
  }
}

TEST(DeviceFunctions, DeviceProperties) {
  EXPECT_EQ(text_of(output_of(SOF_Ext_EnumDevice)), std::string("VELM Software Token\0\0", 21));
  uint32_t type = 0;
  EXPECT_EQ(SOF_Ext_GetDeviceType(&type), SOR_OK);
  EXPECT_EQ(type, 1u);
  char version[256] = "";
  EXPECT_EQ(SOF_Ext_GetProductVersion(nullptr, version, sizeof version, nullptr), SOR_OK);
  EXPECT_EQ(std::string(version).substr(0, 20), "VELM Software Token ");
  EXPECT_EQ(SOF_Ext_Control(kContainer, "IDLE_LOGOUT", "0"), SOR_OK);
  EXPECT_EQ(SOF_Ext_Control(kContainer, "IDLE_LOGOUT", "soon"), SOR_INDATAERR);
  EXPECT_EQ(SOF_Ext_Control(kContainer, "ANOTHER", "1"), SOR_NOTSUPPORTYETERR);
}

TEST(DeviceFunctions, HashesMatchPublishedValues) {
  const std::pair<Digest, std::string> expected[] = {
      {kSm3, "Zsfw9GLu7dnR8tRr3BDk4kFnxIdc8veiKX2gK49LqOA="},
      {kSha1, "qZk+NkcGgWq6PiVxeFDCbJzQ2J0="},
      {kSha256, "ungWv48Bz+pBQUDeXa4iI7ADYaOWF3qctBD/YfIAFa0="}};
  write_file("device_functions.txt", bytes_of("abc"));
  for (const auto& [digest, value] : expected) {
    const Bytes of_data = hash_of(digest, bytes_of("abc"));
    EXPECT_EQ(base64_of(of_data), value);
    EXPECT_EQ(output_of([number = uintptr_t{digest}](uint8_t* out, uint32_t* length) {
                return SOF_Ext_HashFile(reinterpret_cast<const void*>(number), nullptr, nullptr, nullptr, 0,
                                        "device_functions.txt", out, length);
              }),
              of_data);
  }
  std::remove("device_functions.txt");
}

TEST(DeviceFunctions, Base64RoundTripsThroughBothModules) {
  const Bytes text = bytes_of("Zm9vYmE=");
  const Bytes plain = bytes_of("fooba");
  using Function = uint32_t (*)(const uint8_t*, uint32_t, uint8_t*, uint32_t*);
  for (const auto& [encode, decode] : {std::pair<Function, Function>{SOF_Base64Encode, SOF_Base64Decode},
                                       {SOF_Ext_Base64Encode, SOF_Ext_Base64Decode}}) {
    EXPECT_EQ(output_of([&, f = encode](uint8_t* out, uint32_t* length) {
                return f(plain.data(), size_of(plain), out, length);
              }),
              text);
    EXPECT_EQ(output_of([&, f = decode](uint8_t* out, uint32_t* length) {
                return f(text.data(), size_of(text), out, length);
              }),
              plain);
  }
  Bytes output(16);
  uint32_t length = size_of(output);
  EXPECT_EQ(SOF_Base64Decode(plain.data(), size_of(plain), output.data(), &length), SOR_BASE64DECODEERR);
  EXPECT_EQ(SOF_Ext_Base64Decode(plain.data(), size_of(plain), output.data(), &length), SOR_INDATAERR);
}

}  // namespace
