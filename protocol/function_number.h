// Function numbers of the local service.
#pragma once

#include <cstdint>

namespace velm::protocol {

// Functions for all clients. The numbers are part of the protocol and are not contiguous.
enum class FunctionNumber : uint8_t {
  GetVersion = 0,
  GetUserList = 5,
  ExportUserCert = 6,
  Login = 7,
  GetPinRetryCount = 8,
  ChangePassWd = 9,
  ExportExChangeUserCert = 10,
  GetCertInfo = 11,
  GetCertInfoByOid = 12,
  GetDeviceInfo = 13,
  ValidateCert = 14,
  SignData = 15,
  VerifySignedData = 16,
  EncryptData = 19,
  DecryptData = 20,
  SignMessage = 23,
  VerifySignedMessage = 24,
  GetInfoFromSignedMessage = 25,
  GenRandom = 26,
  ReadUsrDataFile = 28,
  WriteUsrDataFile = 29,
  Finalize = 38,
  Config = 43,
  isLogin = 45,
  Logout = 46,
  Initialize = 58,
  ExportPublicKey = 59,
  AsymmEncryptData = 60,
  AsymmDecryptData = 61,
  EnumSeal = 62,
  GetSeaInfo = 63,
  SignHash = 83,
};

// Functions for provider modules. They use a separate URL path.
enum class ModuleFunction : uint8_t {
  read_label = 1,
  list_files = 2,
  create_file = 3,
  delete_file = 4,
  read_file = 5,
  write_file = 6,
  file_attributes = 7,
  control = 8,
  list_devices = 9,
};

constexpr uint32_t number_of(FunctionNumber function) { return static_cast<uint32_t>(function); }
constexpr uint32_t number_of(ModuleFunction function) { return static_cast<uint32_t>(function); }

}  // namespace velm::protocol
