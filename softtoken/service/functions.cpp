#include "softtoken/service/functions.h"

#include "protocol/function_number.h"
#include "softtoken/service/function_families.h"

namespace velm::token {
namespace {

using protocol::FunctionNumber;

constexpr JsonFunction kJsonFunctions[] = {
    {number_of(FunctionNumber::GetVersion), "GetVersion", get_version},
    {number_of(FunctionNumber::GetUserList), "GetUserList", get_user_list},
    {number_of(FunctionNumber::ExportUserCert), "ExportUserCert", export_signing_certificate},
    {number_of(FunctionNumber::Login), "Login", login},
    {number_of(FunctionNumber::GetPinRetryCount), "GetPinRetryCount", get_pin_retry_count},
    {number_of(FunctionNumber::ChangePassWd), "ChangePassWd", change_pin},
    {number_of(FunctionNumber::ExportExChangeUserCert), "ExportExChangeUserCert",
     export_encryption_certificate},
    {number_of(FunctionNumber::GetCertInfoByOid), "GetCertInfoByOid", get_certificate_item_by_oid},
    {number_of(FunctionNumber::GetDeviceInfo), "GetDeviceInfo", get_device_info},
    {number_of(FunctionNumber::ValidateCert), "ValidateCert", validate_certificate},
    {number_of(FunctionNumber::SignData), "SignData", sign_data},
    {number_of(FunctionNumber::VerifySignedData), "VerifySignedData", verify_data},
    {number_of(FunctionNumber::SignMessage), "SignMessage", sign_message},
    {number_of(FunctionNumber::VerifySignedMessage), "VerifySignedMessage", verify_message},
    {number_of(FunctionNumber::GenRandom), "GenRandom", gen_random},
    {number_of(FunctionNumber::WriteUsrDataFile), "WriteUsrDataFile", write_user_data},
    {number_of(FunctionNumber::Finalize), "Finalize", acknowledge},
    {number_of(FunctionNumber::isLogin), "isLogin", is_login},
    {number_of(FunctionNumber::Logout), "Logout", logout},
    {number_of(FunctionNumber::Initialize), "Initialize", acknowledge},
    {number_of(FunctionNumber::EnumSeal), "EnumSeal", count_seals},
    {number_of(FunctionNumber::GetSeaInfo), "GetSeaInfo", get_seal_item},
    {number_of(FunctionNumber::SignHash), "SignHash", sign_hash},
};

constexpr FrameFunction kFrameFunctions[] = {
    {number_of(FunctionNumber::GetCertInfo), "GetCertInfo", get_certificate_item},
    {number_of(FunctionNumber::EncryptData), "EncryptData", encrypt_data},
    {number_of(FunctionNumber::DecryptData), "DecryptData", decrypt_data},
    {number_of(FunctionNumber::GetInfoFromSignedMessage), "GetInfoFromSignedMessage", get_message_item},
    {number_of(FunctionNumber::ReadUsrDataFile), "ReadUsrDataFile", read_user_data},
    {number_of(FunctionNumber::Config), "Config", configure},
    {number_of(FunctionNumber::ExportPublicKey), "ExportPublicKey", export_public_key},
    {number_of(FunctionNumber::AsymmEncryptData), "AsymmEncryptData", asymmetric_encrypt},
    {number_of(FunctionNumber::AsymmDecryptData), "AsymmDecryptData", asymmetric_decrypt},
};

}  // namespace

std::span<const JsonFunction> json_functions() { return kJsonFunctions; }

std::span<const FrameFunction> frame_functions() { return kFrameFunctions; }

}  // namespace velm::token
