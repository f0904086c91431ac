// The service's function numbers, with their gaps.
#pragma once

namespace velm {

enum class FunctionNumber {
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

}  // namespace velm
