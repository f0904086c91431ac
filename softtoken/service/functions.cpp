#include "softtoken/service/functions.h"

#include "softtoken/service/function_families.h"

namespace velm::token {
namespace {

constexpr JsonFunction kJsonFunctions[] = {
    {0, "GetVersion", get_version},
    {5, "GetUserList", get_user_list},
    {6, "ExportUserCert", export_signing_certificate},
    {7, "Login", login},
    {8, "GetPinRetryCount", get_pin_retry_count},
    {9, "ChangePassWd", change_pin},
    {10, "ExportExChangeUserCert", export_exchange_certificate},
    {12, "GetCertInfoByOid", get_certificate_item_by_oid},
    {13, "GetDeviceInfo", get_device_info},
    {14, "ValidateCert", validate_certificate},
    {15, "SignData", sign_data},
    {16, "VerifySignedData", verify_data},
    {23, "SignMessage", sign_message},
    {24, "VerifySignedMessage", verify_message},
    {26, "GenRandom", gen_random},
    {29, "WriteUsrDataFile", write_user_data},
    {38, "Finalize", greet},
    {45, "isLogin", is_login},
    {46, "Logout", logout},
    {58, "Initialize", greet},
    {62, "EnumSeal", count_seals},
    {63, "GetSeaInfo", get_seal_item},
    {83, "SignHash", sign_hash},
};

constexpr FrameFunction kFrameFunctions[] = {
    {11, "GetCertInfo", get_certificate_item},
    {19, "EncryptData", encrypt_data},
    {20, "DecryptData", decrypt_data},
    {25, "GetInfoFromSignedMessage", get_message_item},
    {28, "ReadUsrDataFile", read_user_data},
    {43, "Config", configure},
    {59, "ExportPublicKey", export_public_key},
    {60, "AsymmEncryptData", asymmetric_encrypt},
    {61, "AsymmDecryptData", asymmetric_decrypt},
};

}  // namespace

std::span<const JsonFunction> json_functions() { return kJsonFunctions; }

std::span<const FrameFunction> frame_functions() { return kFrameFunctions; }

}  // namespace velm::token
