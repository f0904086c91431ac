#include "protocol/function_number.h"

#include <gtest/gtest.h>

#include <utility>

using namespace velm::protocol;

namespace {

TEST(FunctionNumbers, OfTheService) {
  const std::pair<FunctionNumber, uint32_t> kExpected[] = {
      {FunctionNumber::GetVersion, 0},
      {FunctionNumber::GetUserList, 5},
      {FunctionNumber::ExportUserCert, 6},
      {FunctionNumber::Login, 7},
      {FunctionNumber::GetPinRetryCount, 8},
      {FunctionNumber::ChangePassWd, 9},
      {FunctionNumber::ExportExChangeUserCert, 10},
      {FunctionNumber::GetCertInfo, 11},
      {FunctionNumber::GetCertInfoByOid, 12},
      {FunctionNumber::GetDeviceInfo, 13},
      {FunctionNumber::ValidateCert, 14},
      {FunctionNumber::SignData, 15},
      {FunctionNumber::VerifySignedData, 16},
      {FunctionNumber::EncryptData, 19},
      {FunctionNumber::DecryptData, 20},
      {FunctionNumber::SignMessage, 23},
      {FunctionNumber::VerifySignedMessage, 24},
      {FunctionNumber::GetInfoFromSignedMessage, 25},
      {FunctionNumber::GenRandom, 26},
      {FunctionNumber::ReadUsrDataFile, 28},
      {FunctionNumber::WriteUsrDataFile, 29},
      {FunctionNumber::Finalize, 38},
      {FunctionNumber::Config, 43},
      {FunctionNumber::isLogin, 45},
      {FunctionNumber::Logout, 46},
      {FunctionNumber::Initialize, 58},
      {FunctionNumber::ExportPublicKey, 59},
      {FunctionNumber::AsymmEncryptData, 60},
      {FunctionNumber::AsymmDecryptData, 61},
      {FunctionNumber::EnumSeal, 62},
      {FunctionNumber::GetSeaInfo, 63},
      {FunctionNumber::SignHash, 83},
  };
  for (const auto& [function, number] : kExpected) EXPECT_EQ(number_of(function), number);
}

TEST(FunctionNumbers, ForProviderModulesOnly) {
  const std::pair<ModuleFunction, uint32_t> kExpected[] = {
      {ModuleFunction::read_label, 1},      {ModuleFunction::list_files, 2},
      {ModuleFunction::create_file, 3},     {ModuleFunction::delete_file, 4},
      {ModuleFunction::read_file, 5},       {ModuleFunction::write_file, 6},
      {ModuleFunction::file_attributes, 7}, {ModuleFunction::control, 8},
      {ModuleFunction::list_devices, 9},
  };
  for (const auto& [function, number] : kExpected) EXPECT_EQ(number_of(function), number);
}

}  // namespace
