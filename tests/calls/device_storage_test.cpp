#include "calls/provider_calls.h"
#include "support/guarded_buffer.h"

namespace velm::test {
namespace {

class DeviceStorageTest : public ProviderTest {
 protected:
  template <class... Arguments, class Provider, class Handed>
  void expect_call(const Call<Arguments...>& call, Provider& provider, const char* name, Handed handed) {
    expect_pass_through_unopened(call, provider, name, handed);
    EXPECT_TRUE(output.untouched());
    EXPECT_EQ(length, 64u);
  }

  GuardedBuffer output{64};
  uint32_t length = 64;
};

TEST_F(DeviceStorageTest, EnumFile) {
  expect_call(call_of(library.SOF_Ext_EnumFile,
                      [](const char* name, char* list, uint32_t* list_length) {
                        return print("SOF_Ext_EnumFile [%s] pszFileNameList=0x%08X pulFileNameListLen=0x%08X",
                                     or_NULL(name).c_str(), low_half(list), low_half(list_length));
                      },
                      {"pszContainerName", nullptr, "pulFileNameListLen"}, {"C1", output.text(), &length}),
              STANDIN(SAF_Ext_EnumFile), "SAF_Ext_EnumFile",
              [this](const char* name, char* list, uint32_t* list_length) {
                return std::tuple(handle, name, list, list_length);
              });
}

TEST_F(DeviceStorageTest, CreateFile) {
  expect_call(
      call_of(library.SOF_Ext_CreateFile,
              [](const char* name, const char* file, uint32_t size, uint32_t read, uint32_t write) {
                return print(
                    "SOF_Ext_CreateFile [%s] pszFileName=[%s] fileLen=%u readRights=%u writeRights=%u",
                    or_NULL(name).c_str(), or_NULL(file).c_str(), size, read, write);
              },
              {"pszContainerName", "pszFileName", nullptr, nullptr, nullptr},
              {"C1", "f.txt", 4294967295u, 1u, 16u}),
      STANDIN(SAF_Ext_CreateFile), "SAF_Ext_CreateFile",
      [this](auto... values) { return std::tuple(handle, values...); });
}

TEST_F(DeviceStorageTest, DeleteFile) {
  expect_call(call_of(library.SOF_Ext_DeleteFile,
                      [](const char* name, const char* file) {
                        return print("SOF_Ext_DeleteFile [%s] pszFileName=[%s]", or_NULL(name).c_str(),
                                     or_NULL(file).c_str());
                      },
                      {"pszContainerName", "pszFileName"}, {"C1", "f.txt"}),
              STANDIN(SAF_Ext_DeleteFile), "SAF_Ext_DeleteFile",
              [this](auto... values) { return std::tuple(handle, values...); });
}

TEST_F(DeviceStorageTest, ReadFile) {
  expect_call(call_of(library.SOF_Ext_ReadFile,
                      [](const char* name, const char* file, uint32_t offset, uint32_t count, uint8_t* data,
                         uint32_t* data_length) {
                        return print(
                            "SOF_Ext_ReadFile [%s] pszFileName=[%s] offset=%u readLen=%u pFileData=0x%08X "
                            "pulReadLen=0x%08X",
                            or_NULL(name).c_str(), or_NULL(file).c_str(), offset, count, low_half(data),
                            low_half(data_length));
                      },
                      {"pszContainerName", "pszFileName", nullptr, nullptr, nullptr, nullptr},
                      {"C1", "f.txt", 10u, 20u, output.data(), &length}),
              STANDIN(SAF_Ext_ReadFile), "SAF_Ext_ReadFile",
              [this](auto... values) { return std::tuple(handle, values...); });
}

TEST_F(DeviceStorageTest, WriteFile) {
  expect_call(
      call_of(library.SOF_Ext_WriteFile,
              [](const char* name, const char* file, uint32_t offset, const uint8_t* data, uint32_t size) {
                return print(
                    "SOF_Ext_WriteFile [%s] pszFileName=[%s] offset=%u pFileData=0x%08X "
                    "fileDataLen=%u",
                    or_NULL(name).c_str(), or_NULL(file).c_str(), offset, low_half(data), size);
              },
              {"pszContainerName", "pszFileName", nullptr, "pFileData", nullptr},
              {"C1", "f.txt", 10u, output.data(), 64u}),
      STANDIN(SAF_Ext_WriteFile), "SAF_Ext_WriteFile",
      [this](auto... values) { return std::tuple(handle, values...); });
}

TEST_F(DeviceStorageTest, WriteFileRefusesNullDataOfNoLength) {
  EXPECT_EQ(library.SOF_Ext_WriteFile("C1", "f.txt", 0, nullptr, 0), SOR_NULLPOINTERERR);
  EXPECT_THAT(standins.call_log(), testing::IsEmpty());
}

TEST_F(DeviceStorageTest, GetFileAttribute) {
  uint32_t size = 0;
  uint32_t read = 0;
  uint32_t write = 0;
  expect_call(call_of(library.SOF_Ext_GetFileAttribute,
                      [](const char* name, const char* file, uint32_t* size_out, uint32_t* read_out,
                         uint32_t* write_out) {
                        return print(
                            "SOF_Ext_GetFileAttribute [%s] pszFileName=[%s] pFileSize=0x%08X "
                            "pReadRights=0x%08X pWriteRights=0x%08X",
                            or_NULL(name).c_str(), or_NULL(file).c_str(), low_half(size_out),
                            low_half(read_out), low_half(write_out));
                      },
                      {"pszContainerName", "pszFileName", nullptr, nullptr, nullptr},
                      {"C1", "f.txt", &size, &read, &write}),
              STANDIN(SAF_Ext_GetFileAttribute), "SAF_Ext_GetFileAttribute",
              [this](auto... values) { return std::tuple(handle, values...); });
}

TEST_F(DeviceStorageTest, Control) {
  expect_call(call_of(library.SOF_Ext_Control,
                      [](const char* name, const char* control, const char* command) {
                        return print(
                            "SOF_Ext_Control pszContainerName:[%s] szControlName=%s szControlCommand=%s",
                            or_NULL(name).c_str(), or_NULL(control).c_str(), or_NULL(command).c_str());
                      },
                      {nullptr, "szControlName", "szControlCommand"}, {"C12", "A", "BC"}),
              STANDIN(SAF_Ext_Control), "SAF_Ext_Control",
              [this](const char* name, const char* control, const char* command) {
                return std::tuple(handle, name, name ? 3u : 0u, control, 1u, command, 2u);
              });
}

TEST_F(DeviceStorageTest, EnumDevice) {
  expect_call(call_of(library.SOF_Ext_EnumDevice, [](auto...) { return "SOF_Ext_EnumDevice"; },
                      {nullptr, "puiDeviceInfoLen"}, {output.data(), &length}),
              STANDIN(SAF_Ext_EnumDevice), "SAF_Ext_EnumDevice",
              [this](auto... values) { return std::tuple(handle, values...); });
}

TEST_F(DeviceStorageTest, ReadLabelPassesTheLabelLengthUnchanged) {
  expect_call(
      call_of(library.SOF_Ext_ReadLabel,
              [](const char* name, const char*, uint32_t label_length, uint32_t type, uint8_t*, uint32_t*) {
                return print("SOF_Ext_ReadLabel [%s] ulNameLen=%u ulType=%u", or_NULL(name).c_str(),
                             label_length, type);
              },
              {"pszContainerName", "pucName", nullptr, nullptr, nullptr, "pulOutDataLen"},
              {"C1", "label", 77u, 7u, output.data(), &length}),
      STANDIN(SAF_Ext_ReadLabel), "SAF_Ext_ReadLabel",
      [this](const char* name, const char* label, uint32_t label_length, uint32_t type, uint8_t* data,
             uint32_t* data_length) {
        return std::tuple(handle, name, 2u, label, label_length, type, data, data_length);
      });
}

TEST_F(DeviceStorageTest, GetProductVersion) {
  int first = 0;
  int fourth = 0;
  expect_call(call_of(library.SOF_Ext_GetProductVersion, nullptr, {nullptr, "pszVersion", nullptr, nullptr},
                      {&first, output.text(), 256u, &fourth}),
              STANDIN(SAF_Ext_GetProductVersion), "SAF_Ext_GetProductVersion",
              [](auto... values) { return std::tuple(values...); });
}

TEST_F(DeviceStorageTest, GetProductVersionRequires256Bytes) {
  for (const uint32_t size : {0u, 1u, 255u}) {
    EXPECT_EQ(library.SOF_Ext_GetProductVersion(nullptr, output.text(), size, nullptr), SOR_INDATALENERR);
    EXPECT_EQ(new_lines(),
              Lines{print("buffer size uBufferSize is too small, expect 256 but %u was given!", size)});
  }
  EXPECT_EQ(library.SOF_Ext_GetProductVersion(nullptr, nullptr, 255, nullptr), SOR_NULLPOINTERERR);
  EXPECT_THAT(standins.call_log(), testing::IsEmpty());

  for (const uint32_t size : {256u, 0xFFFFFFFFu}) {
    EXPECT_EQ(library.SOF_Ext_GetProductVersion(nullptr, output.text(), size, nullptr), SOR_OK);
  }
  EXPECT_THAT(standins.call_log(),
              testing::ElementsAre("SAF_Ext_GetProductVersion", "SAF_Ext_GetProductVersion"));
}

TEST_F(DeviceStorageTest, ProviderWritesTheOutputsDirectly) {
  STANDIN(SAF_Ext_ReadFile).plays([](auto, auto, auto, auto, auto, uint8_t* data, uint32_t* data_length) {
    return give("content", data, data_length);
  });
  EXPECT_EQ(library.SOF_Ext_ReadFile("C1", "f", 0, 7, nullptr, &length), SOR_OK);
  EXPECT_EQ(length, 7u);
  EXPECT_EQ(library.SOF_Ext_ReadFile("C1", "f", 0, 7, output.data(), &length), SOR_OK);
  EXPECT_EQ(output.bytes(7), "content");
  EXPECT_TRUE(output.untouched(7));
}

TEST_F(DeviceStorageTest, LongNamesAreNotTruncated) {
  const std::string name(20000, 'n');
  const std::string command(30000, 'c');
  STANDIN(SAF_Ext_Control).returns(0);
  EXPECT_EQ(library.SOF_Ext_Control(name.c_str(), command.c_str(), name.c_str()), SOR_OK);
  EXPECT_EQ(STANDIN(SAF_Ext_Control).calls().back(),
            std::tuple(handle, name.c_str(), 20000u, command.c_str(), 30000u, name.c_str(), 20000u));
}

}  // namespace
}  // namespace velm::test
