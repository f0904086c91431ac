#include "softtoken/tests/providers/every_module_call.h"

#include <gtest/gtest.h>

#include <string>

#include "provider_abi/velm_openssl_api.h"
#include "softtoken/store/time_stamp_authority.h"
#include "softtoken/tests/providers/running_service.h"
#include "softtoken/tests/providers/signed_xml.h"

namespace velm::token {
namespace {

using Outputs = ModuleOutputs;
using Encode = decltype(&SAF_SM2_EncodeSignedData);
using EncodeDetached = decltype(&SAF_Ext_SM2_EncodeSignedData);
using Decode = decltype(&SAF_SM2_DecodeSignedData);

constexpr const char* kConfiguration = "module_call.dat";
constexpr const char* kInputFile = "module_call.in";
constexpr const char* kEnvelopeFile = "module_call.envelope";
constexpr const char* kCipherFile = "module_call.cipher";
constexpr const char* kSm2 = "SM2_TEST";
constexpr const char* kRsa = "RSA_2048_TEST";
constexpr uint32_t kSm4Cbc = 0x402;
constexpr uint32_t kCertificateLabelType = 7;
constexpr uint8_t kZeros[16] = {};

uint32_t length_of(const char* text) { return static_cast<uint32_t>(std::string_view(text).size()); }

// Inputs of the calls.
struct Inputs {
  Application application{"module_call"};
  void* handle = application.handle();
  Bytes text = copy_of(as_bytes("what is signed"));
  Bytes sm2_certificate = application.signing_certificate(kSm2);
  Bytes rsa_certificate = application.signing_certificate(kRsa);
  Bytes recipient = application.encryption_certificate(kSm2);
  Bytes stamp_authority;
  const Signer& signer = sm2_signer();
  Bytes signer_certificate = signer.certificate;
  Bytes hash_value = hash(DigestId::sm3, text);
  Bytes signature = sign_data(signer.key.get(), DigestId::sm3, text);
  Bytes hash_signature = sign_hash(signer.key.get(), DigestId::sm3, hash_value);
  std::string xml = enveloped_xml(xml_signers().front());
  Bytes sm2_message, rsa_message, sm2_detached, stamp, envelope, cipher;

  Inputs() {
    Store& store = application.token().store();
    prepare_time_stamp_authority(store);
    stamp_authority = label(store, kSm2TimeStampAuthorityLabel, kCertificateLabelType);
    set_label(store, "A_LABEL", kCertificateLabelType, as_bytes("labelled"));
    write_file(kConfiguration, as_bytes("connect_timeout_ms = 5000\n"));
    write_file(kInputFile, text);
    sm2_message = made([&](uint8_t* out, uint32_t* length) {
      return encode(SAF_SM2_EncodeSignedData, kSm2, sm2_certificate, 1, out, length);
    });
    rsa_message = made([&](uint8_t* out, uint32_t* length) {
      return encode(SAF_Pkcs7_EncodeSignedData, kRsa, rsa_certificate, 4, out, length);
    });
    sm2_detached = made([&](uint8_t* out, uint32_t* length) {
      return encode_detached(SAF_Ext_SM2_EncodeSignedData, kSm2, sm2_certificate, 1, out, length);
    });
    stamp = made([&](uint8_t* out, uint32_t* length) {
      return SAF_Ext_GM_Tsp_SealTimeStamp(handle, 1, text.data(), size_of(text), out, length);
    });
    EXPECT_EQ(encrypt_file(kEnvelopeFile), 0u);
    envelope = file_bytes(kEnvelopeFile);
    EXPECT_EQ(SAF_Ext_SymmEncryptFile(kSm4Cbc, kZeros, 16, kZeros, 16, kInputFile, kCipherFile), 0u);
    cipher = file_bytes(kCipherFile);
    for (const char* name : {"kept", "deleted"}) {
      EXPECT_EQ(SAF_Ext_CreateFile(handle, kSm2, name, 32, 0xFF, 0xFF), 0u);
    }
  }

  uint32_t encode(Encode function, const char* container, const Bytes& certificate, uint32_t digest,
                  uint8_t* out, uint32_t* length) const {
    return function(handle, container, length_of(container), 2, certificate.data(), size_of(certificate),
                    digest, text.data(), size_of(text), out, length);
  }
  uint32_t encode_detached(EncodeDetached function, const char* container, const Bytes& certificate,
                           uint32_t digest, uint8_t* out, uint32_t* length) const {
    return function(handle, container, length_of(container), 2, certificate.data(), size_of(certificate),
                    digest, nullptr, 1, text.data(), size_of(text), out, length);
  }
  uint32_t encrypt_file(const char* path) const {
    return SAF_Ext_EncodeEnvelopedFile(handle, kInputFile, length_of(kInputFile), recipient.data(),
                                       size_of(recipient), kSm4Cbc, 1, path, length_of(path));
  }

 private:
  template <typename Call>
  static Bytes made(Call&& call) {
    uint32_t code = 0;
    Bytes output = sized_output(call, code);
    EXPECT_EQ(code, 0u);
    return output;
  }
};

Inputs& inputs() {
  static Inputs& all = *new Inputs;
  return all;
}

uint32_t decode(Decode function, const Bytes& message, Outputs& o) {
  return function(nullptr, message.data(), size_of(message), o.data(0), o.length(0), &o.numbers[0], o.data(1),
                  o.length(1), o.data(2), o.length(2));
}

uint32_t unsigned_code(int32_t code) { return static_cast<uint32_t>(code); }

}  // namespace

std::vector<ModuleCall> every_saf_call() {
  Inputs& in = inputs();
  return {
      {"SAF_Initialize", [](Outputs& o) { return SAF_Initialize(&o.handle, kConfiguration); }, false},
      {"SAF_Finalize",
       [](Outputs&) {
         void* opened = nullptr;
         const uint32_t code = SAF_Initialize(&opened, kConfiguration);
         return code != 0 ? code : SAF_Finalize(opened);
       }},
      {"SAF_Base64_Encode",
       [&](Outputs& o) { return SAF_Base64_Encode(in.text.data(), size_of(in.text), o.data(), o.length()); }},
      {"SAF_Base64_Decode",
       [](Outputs& o) { return SAF_Base64_Decode(as_bytes("AAAA").data(), 4, o.data(), o.length()); }},
      {"SAF_Hash",
       [&](Outputs& o) {
         return SAF_Hash(1, in.text.data(), size_of(in.text), in.signer_certificate.data(),
                         size_of(in.signer_certificate), kZeros, 16, o.data(), o.length());
       }},
      {"SAF_Ext_HashFile",
       [](Outputs& o) {
         return SAF_Ext_HashFile(reinterpret_cast<void*>(1), nullptr, nullptr, nullptr, 0, kInputFile,
                                 o.data(), o.length());
       }},
      {"SAF_GetCertificateInfo",
       [&](Outputs& o) {
         return SAF_GetCertificateInfo(in.handle, in.sm2_certificate.data(), size_of(in.sm2_certificate), 5,
                                       o.data(), o.length());
       }},
      {"SAF_VerifySignByCert",
       [&](Outputs&) {
         return SAF_VerifySignByCert(1, in.signer_certificate.data(), size_of(in.signer_certificate),
                                     in.text.data(), size_of(in.text), in.signature.data(),
                                     size_of(in.signature));
       }},
      {"SAF_EccVerifySignByCert",
       [&](Outputs&) {
         return SAF_EccVerifySignByCert(
             0x00020200, in.signer_certificate.data(), size_of(in.signer_certificate), in.hash_value.data(),
             size_of(in.hash_value), in.hash_signature.data(), size_of(in.hash_signature));
       }},
      {"SAF_Ext_VerifySignHashByCert",
       [&](Outputs&) {
         return SAF_Ext_VerifySignHashByCert(1, in.signer_certificate.data(), size_of(in.signer_certificate),
                                             in.hash_value.data(), size_of(in.hash_value),
                                             in.hash_signature.data(), size_of(in.hash_signature));
       }},
      {"SAF_Ext_SignFile",
       [&](Outputs& o) {
         return SAF_Ext_SignFile(in.handle, kSm2, length_of(kSm2), 1, nullptr, 0, kInputFile, o.data(),
                                 o.length());
       },
       false},
      {"SAF_Ext_VerifySignFileByCert",
       [&](Outputs&) {
         return SAF_Ext_VerifySignFileByCert(1, in.signer_certificate.data(), size_of(in.signer_certificate),
                                             nullptr, 0, kInputFile, in.signature.data(),
                                             size_of(in.signature));
       }},
      {"SAF_Pkcs7_EncodeSignedData",
       [&](Outputs& o) {
         return in.encode(SAF_Pkcs7_EncodeSignedData, kRsa, in.rsa_certificate, 4, o.data(), o.length());
       }},
      {"SAF_Pkcs7_DecodeSignedData",
       [&](Outputs& o) { return decode(SAF_Pkcs7_DecodeSignedData, in.rsa_message, o); }},
      {"SAF_SM2_EncodeSignedData",
       [&](Outputs& o) {
         return in.encode(SAF_SM2_EncodeSignedData, kSm2, in.sm2_certificate, 1, o.data(), o.length());
       },
       false},
      {"SAF_SM2_DecodeSignedData",
       [&](Outputs& o) { return decode(SAF_SM2_DecodeSignedData, in.sm2_message, o); }},
      {"SAF_Ext_Pkcs7_EncodeSignedData",
       [&](Outputs& o) {
         return in.encode_detached(SAF_Ext_Pkcs7_EncodeSignedData, kRsa, in.rsa_certificate, 4, o.data(),
                                   o.length());
       },
       false},  // the output contains the time
      {"SAF_Ext_SM2_EncodeSignedData",
       [&](Outputs& o) {
         return in.encode_detached(SAF_Ext_SM2_EncodeSignedData, kSm2, in.sm2_certificate, 1, o.data(),
                                   o.length());
       },
       false},
      {"SAF_Ext_Pkcs7_ReadContentData",
       [&](Outputs& o) {
         return SAF_Ext_Pkcs7_ReadContentData(in.handle, in.sm2_detached.data(), size_of(in.sm2_detached),
                                              &o.numbers[0], &o.numbers[1], o.data(0), o.length(0), o.data(1),
                                              o.length(1));
       }},
      {"SAF_Ext_ReplaceSM2Pkcs7SignedOID",
       [&](Outputs& o) {
         return SAF_Ext_ReplaceSM2Pkcs7SignedOID(1, in.sm2_message.data(), size_of(in.sm2_message), o.data(),
                                                 o.length());
       }},
      {"SAF_Ext_XMLVerify",
       [&](Outputs&) {
         return SAF_Ext_XMLVerify(in.handle, 0, as_bytes(in.xml).data(),
                                  static_cast<uint32_t>(in.xml.size()));
       }},
      {"SAF_Ext_XMLParse",
       [&](Outputs& o) {
         return SAF_Ext_XMLParse(in.handle, 0, as_bytes(in.xml).data(), static_cast<uint32_t>(in.xml.size()),
                                 o.data(0), o.length(0), o.data(1), o.length(1), o.data(2), o.length(2),
                                 o.data(3), o.length(3), o.data(4), o.length(4), o.data(5), o.length(5));
       }},
      {"SAF_Ext_EncodeEnvelopedFile", [&](Outputs&) { return in.encrypt_file(kModuleOutputFile); }},
      {"SAF_Ext_DecodeEnvelopedFile",
       [&](Outputs&) {
         return SAF_Ext_DecodeEnvelopedFile(in.handle, kSm2, length_of(kSm2), 1, 1, kEnvelopeFile,
                                            length_of(kEnvelopeFile), kModuleOutputFile,
                                            length_of(kModuleOutputFile));
       }},
      {"SAF_Ext_CMS_DecodeEnvelopedData",
       [&](Outputs& o) {
         return SAF_Ext_CMS_DecodeEnvelopedData(in.handle, kSm2, length_of(kSm2), in.envelope.data(),
                                                size_of(in.envelope), o.data(), o.length());
       }},
      {"SAF_Ext_SymmEncryptFile",
       [](Outputs&) {
         return SAF_Ext_SymmEncryptFile(kSm4Cbc, kZeros, 16, kZeros, 16, kInputFile, kModuleOutputFile);
       }},
      {"SAF_Ext_SymmDecryptFile",
       [](Outputs&) {
         return SAF_Ext_SymmDecryptFile(kSm4Cbc, kZeros, 16, kZeros, 16, kCipherFile, kModuleOutputFile);
       }},
      {"SAF_Ext_TspGetTime", [](Outputs& o) { return SAF_Ext_TspGetTime(o.data(), o.length()); }, false,
       0x0200060A},
      {"SAF_Ext_TspGetStamp",
       [&](Outputs& o) {
         return SAF_Ext_TspGetStamp(in.handle, kSm2, length_of(kSm2), in.text.data(), size_of(in.text),
                                    o.data(), o.length());
       },
       false},
      {"SAF_Ext_TspVerifyStamp",
       [&](Outputs& o) {
         return SAF_Ext_TspVerifyStamp(in.text.data(), size_of(in.text), in.stamp.data(), size_of(in.stamp),
                                       in.stamp_authority.data(), size_of(in.stamp_authority), o.data(),
                                       o.length());
       }},
      {"SAF_Ext_TspGetFileStamp",
       [&](Outputs& o) {
         return SAF_Ext_TspGetFileStamp(in.handle, kSm2, length_of(kSm2), as_bytes(kInputFile).data(),
                                        length_of(kInputFile), o.data(), o.length());
       },
       false},
      {"SAF_Ext_TspVerifyFileStamp",
       [&](Outputs& o) {
         return SAF_Ext_TspVerifyFileStamp(as_bytes(kInputFile).data(), length_of(kInputFile),
                                           in.stamp.data(), size_of(in.stamp), in.stamp_authority.data(),
                                           size_of(in.stamp_authority), o.data(), o.length());
       }},
      {"SAF_Ext_GM_Tsp_GetTime",
       [&](Outputs& o) { return SAF_Ext_GM_Tsp_GetTime(in.handle, o.data(), o.length()); }, false},
      {"SAF_Ext_GM_Tsp_SealTimeStamp",
       [&](Outputs& o) {
         return SAF_Ext_GM_Tsp_SealTimeStamp(in.handle, 1, in.text.data(), size_of(in.text), o.data(),
                                             o.length());
       },
       false},
      {"SAF_Ext_GM_Tsp_VerifyTimeStamp",
       [&](Outputs& o) {
         return SAF_Ext_GM_Tsp_VerifyTimeStamp(in.handle, in.text.data(), size_of(in.text), in.stamp.data(),
                                               size_of(in.stamp), in.stamp_authority.data(),
                                               size_of(in.stamp_authority), o.data(), o.length());
       }},
      {"SAF_Ext_EnumFile",
       [&](Outputs& o) { return SAF_Ext_EnumFile(in.handle, kSm2, o.text(), o.length()); }},
      {"SAF_Ext_CreateFile",
       [&](Outputs&) { return SAF_Ext_CreateFile(in.handle, kSm2, "made", 8, 0xFF, 0xFF); }},
      {"SAF_Ext_DeleteFile", [&](Outputs&) { return SAF_Ext_DeleteFile(in.handle, kSm2, "deleted"); }},
      {"SAF_Ext_ReadFile",
       [&](Outputs& o) { return SAF_Ext_ReadFile(in.handle, kSm2, "kept", 0, 32, o.data(), o.length()); }},
      {"SAF_Ext_WriteFile",
       [&](Outputs&) { return SAF_Ext_WriteFile(in.handle, kSm2, "kept", 0, kZeros, sizeof kZeros); }},
      {"SAF_Ext_GetFileAttribute",
       [&](Outputs& o) {
         return SAF_Ext_GetFileAttribute(in.handle, kSm2, "kept", &o.numbers[0], &o.numbers[1],
                                         &o.numbers[2]);
       }},
      {"SAF_Ext_Control",
       [&](Outputs&) { return SAF_Ext_Control(in.handle, nullptr, 0, "IDLE_LOGOUT", 11, "0", 1); }},
      {"SAF_Ext_EnumDevice", [&](Outputs& o) { return SAF_Ext_EnumDevice(in.handle, o.data(), o.length()); }},
      {"SAF_Ext_ReadLabel",
       [&](Outputs& o) {
         return SAF_Ext_ReadLabel(in.handle, "A_LABEL", 7, "A_LABEL", 7, kCertificateLabelType, o.data(),
                                  o.length());
       }},
      {"SAF_Ext_GetProductVersion",
       [](Outputs& o) { return SAF_Ext_GetProductVersion(nullptr, o.text(), Outputs::kRoom, nullptr); }},
  };
}

std::vector<ModuleCall> every_openssl_api_call() {
  Inputs& in = inputs();
  return {
      {"VELM_Openssl_Base64Encode",
       [&](Outputs& o) {
         return unsigned_code(
             VELM_Openssl_Base64Encode(in.text.data(), size_of(in.text), o.data(), o.length()));
       }},
      {"VELM_Openssl_Base64Decode",
       [](Outputs& o) {
         return unsigned_code(VELM_Openssl_Base64Decode(as_bytes("AAAA").data(), 4, o.data(), o.length()));
       }},
      {"VELM_Openssl_ParseCertInfo",
       [&](Outputs& o) {
         return unsigned_code(VELM_Openssl_ParseCertInfo(in.sm2_certificate.data(),
                                                         size_of(in.sm2_certificate), 17, 0, o.data()));
       }},
      {"VELM_Openssl_SymmAcquireContext",
       [](Outputs& o) {
         return unsigned_code(VELM_Openssl_SymmAcquireContext(&o.handle, 108, 1, kZeros, 16, kZeros, 2));
       },
       false},
      {"VELM_Openssl_Encrypt",
       [](Outputs& o) {
         void* context = nullptr;
         const int32_t code = VELM_Openssl_SymmAcquireContext(&context, 108, 1, kZeros, 16, kZeros, 2);
         if (code != 0) return unsigned_code(code);
         const int32_t result = VELM_Openssl_Encrypt(context, kZeros, 16, o.data(), o.length());
         VELM_Openssl_SymmReleaseCtx(context);
         return unsigned_code(result);
       }},
      {"VELM_Openssl_Decrypt",
       [&](Outputs& o) {
         void* context = nullptr;
         const int32_t code = VELM_Openssl_SymmAcquireContext(&context, 108, 0, kZeros, 16, kZeros, 2);
         if (code != 0) return unsigned_code(code);
         const int32_t result =
             VELM_Openssl_Decrypt(context, in.cipher.data(), size_of(in.cipher), o.data(), o.length());
         VELM_Openssl_SymmReleaseCtx(context);
         return unsigned_code(result);
       }},
      {"VELM_Openssl_SymmReleaseCtx",
       [](Outputs&) {
         void* context = nullptr;
         const int32_t code = VELM_Openssl_SymmAcquireContext(&context, 108, 1, kZeros, 16, kZeros, 2);
         return unsigned_code(code != 0 ? code : VELM_Openssl_SymmReleaseCtx(context));
       }},
  };
}

void undo(const ModuleCall& call, ModuleOutputs& outputs) {
  const std::string_view name = call.name;
  if (name == "SAF_Initialize") SAF_Finalize(outputs.handle);
  if (name == "VELM_Openssl_SymmAcquireContext") VELM_Openssl_SymmReleaseCtx(outputs.handle);
  if (name == "SAF_Ext_CreateFile") SAF_Ext_DeleteFile(inputs().handle, kSm2, "made");
  if (name == "SAF_Ext_DeleteFile") SAF_Ext_CreateFile(inputs().handle, kSm2, "deleted", 32, 0xFF, 0xFF);
  std::remove(kModuleOutputFile);
}

}  // namespace velm::token
