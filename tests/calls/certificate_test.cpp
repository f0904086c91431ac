// The user's certificates, and information about a given certificate.
#include "calls/service_case.h"
#include "support/client_test.h"

using namespace velm::test;

namespace {

const std::string kLongName(300, 'n');
const std::string kCertificate(64, '\x30');
const std::string kLargeCertificate(5000, '\xC3');
const std::string kOwnCertificate("\x30\x03\x02\x01\0", 5);

using ExportFunction = const ClientFunction<decltype(::SOF_ExportUserCert)> ClientLibrary::*;

Call export_certificate(ExportFunction function, const char* container) {
  return [=](const ClientLibrary& library, uint8_t* output, uint32_t* length) {
    return (library.*function)(container, output, length);
  };
}

Call information(const std::string* certificate, uint32_t size, uint32_t type) {
  return [=](const ClientLibrary& library, uint8_t* output, uint32_t* length) {
    return library.SOF_GetCertInfo(bytes_of(certificate), size, type, output, length);
  };
}

Call by_oid(const std::string* certificate, uint32_t size, const char* oid) {
  return [=](const ClientLibrary& library, uint8_t* output, uint32_t* length) {
    return library.SOF_GetCertInfoByOid(bytes_of(certificate), size, oid, output, length);
  };
}

Call validate(const std::string* certificate, uint32_t size) {
  return [=](const ClientLibrary& library, uint8_t*, uint32_t*) {
    return library.SOF_ValidateCert(bytes_of(certificate), size);
  };
}

Call algorithm(const std::string* certificate, uint32_t size) {
  return [=](const ClientLibrary& library, uint8_t*, uint32_t* type) {
    return library.SOF_GetCertAlg(bytes_of(certificate), size, type);
  };
}

// One of the two export functions, with its name and its function number.
struct Export {
  std::string name;
  std::string number;
  ExportFunction function;
};

const Export kSigning{"SOF_ExportUserCert", "6", &ClientLibrary::SOF_ExportUserCert};
const Export kExchange{"SOF_ExportExChangeUserCert", "10", &ClientLibrary::SOF_ExportExChangeUserCert};

ServiceCase export_case(const Export& which, const char* container, const std::string& certificate) {
  return {which.name,
          Form::kJson,
          4096,
          which.name + " [" + container + "]",
          R"({"funcid":)" + which.number + R"(,"ContainerName":")" + container + R"("})",
          R"({"UserCert":")" + base64(certificate) + R"("})",
          certificate,
          size_of(certificate),
          export_certificate(which.function, container)};
}

ServiceCase information_case(const std::string& certificate, const std::string& info) {
  return {"SOF_GetCertInfo",
          Form::kFrame,
          size_of(certificate),
          "SOF_GetCertInfo uCertLen=" + std::to_string(certificate.size()) + " uInfoType=0x80000011",
          request_frame(11, {frame_bytes(certificate), little_endian(0x80000011)}),
          info,
          info,
          size_of(info),
          [=](const ClientLibrary& library, uint8_t* output, uint32_t* length) {
            return information(&certificate, size_of(certificate), 0x80000011)(library, output, length);
          }};
}

ServiceCase oid_case(const std::string& certificate, const char* oid, const std::string& info) {
  return {"SOF_GetCertInfoByOid",
          Form::kJson,
          1024,
          "SOF_GetCertInfoByOid uCertLen=" + std::to_string(certificate.size()) + " szOID=[" + oid + "]",
          R"({"funcid":12,"Cert":")" + base64(certificate) + R"(","Oid":")" + oid + R"("})",
          R"({"Info":")" + base64(info) + R"("})",
          info,
          size_of(info),
          [=](const ClientLibrary& library, uint8_t* output, uint32_t* length) {
            return by_oid(&certificate, size_of(certificate), oid)(library, output, length);
          }};
}

ServiceCase validate_case(const std::string& certificate) {
  return {"SOF_ValidateCert",
          Form::kJson,
          128,
          "SOF_ValidateCert uCertLen=" + std::to_string(certificate.size()),
          R"({"funcid":14,"Cert":")" + base64(certificate) + R"("})",
          "{}",
          "",
          kUntouched,
          [=](const ClientLibrary& library, uint8_t* output, uint32_t* length) {
            return validate(&certificate, size_of(certificate))(library, output, length);
          }};
}

const std::vector<ServiceCase> kCalls{
    export_case(kSigning, "C1", kOwnCertificate),
    export_case(kExchange, "C1", kOwnCertificate),
    information_case(kCertificate, std::string("in\0fo", 5)),
    oid_case(kCertificate, "2.5.4.3", std::string("na\0me", 5)),
    validate_case(kCertificate),
};

const std::vector<ServiceCase> kVariants{
    export_case(kSigning, "", kOwnCertificate),
    export_case(kSigning, kLongName.c_str(), kOwnCertificate),
    export_case(kSigning, R"(C"1\)", kOwnCertificate),
    export_case(kExchange, kLongName.c_str(), kOwnCertificate),
    export_case(kExchange, R"(C"1\)", kOwnCertificate),
    // Larger than the length that the size query returns.
    export_case(kSigning, "C1", std::string(3000, '\x55')),
    export_case(kExchange, "C1", std::string(3000, '\x55')),
    export_case(kSigning, "C1", ""),

    information_case(kLargeCertificate, std::string(4992, 'i')),
    information_case(kCertificate, ""),
    information_case(kCertificate, std::string(56, 'i')),

    oid_case("", "2.5.4.3", "name"),
    oid_case("\x30", "2.5.4.3", "name"),
    oid_case(std::string(4, '\x30'), "2.5.4.3", "name"),
    oid_case(kLargeCertificate, "2.5.4.3", "name"),
    oid_case(kCertificate, "", "name"),
    oid_case(kCertificate, R"(2"5)", std::string(700, 'n')),
    oid_case(kCertificate, kLongName.c_str(), ""),

    validate_case(""),
    validate_case("\x30"),
    validate_case(kLargeCertificate),
};

constexpr char kOidEntry[] = "SOF_GetCertInfoByOid uCertLen=64 szOID=[2.5.4.3]";
constexpr char kNoOidEntry[] = "SOF_GetCertInfoByOid uCertLen=64 szOID=[NULL]";
constexpr char kInformationEntry[] = "SOF_GetCertInfo uCertLen=64 uInfoType=0x00000001";
const Call kSigningCall = export_certificate(kSigning.function, "C1");
const Call kExchangeCall = export_certificate(kExchange.function, "C1");
const Call kInformationCall = information(&kCertificate, 64, 1);

LocalCase null_case(std::string entry, const std::string& parameter, Call call) {
  return {std::move(entry), parameter + " is null!", SOR_NULLPOINTERERR, kUntouched, std::move(call)};
}

const std::vector<LocalCase> kLocalCalls{
    // Size queries.
    {"SOF_ExportUserCert [C1]", "", SOR_OK, 2048, without_output(kSigningCall)},
    {"SOF_ExportExChangeUserCert [C1]", "", SOR_OK, 2048, without_output(kExchangeCall)},
    {kInformationEntry, "", SOR_OK, 64, without_output(kInformationCall)},
    {"SOF_GetCertInfo uCertLen=4294967295 uInfoType=0x00000001", "", SOR_OK, 0xFFFFFFFF,
     without_output(information(&kCertificate, 0xFFFFFFFF, 1))},

    // Sic: SOF_ExportUserCert checks its arguments before it writes its entry line; the other calls check
    // after it.
    null_case("", "pszContainerName", export_certificate(kSigning.function, nullptr)),
    null_case("", "pszContainerName", without_length(export_certificate(kSigning.function, nullptr))),
    null_case("", "pCertDataLen", without_length(kSigningCall)),
    null_case("SOF_ExportExChangeUserCert [NULL]", "pszContainerName",
              without_outputs(export_certificate(kExchange.function, nullptr))),
    null_case("SOF_ExportExChangeUserCert [C1]", "pCertDataLen", without_length(kExchangeCall)),

    null_case(kInformationEntry, "pCert", without_outputs(information(nullptr, 64, 1))),
    null_case(kInformationEntry, "pCertInfoLen", without_length(kInformationCall)),
    null_case(kInformationEntry, "pCertInfoLen", without_outputs(kInformationCall)),
    {"SOF_GetCertInfo uCertLen=4294967295 uInfoType=0x00000001", "", SOR_MEMORYERR, kUntouched,
     information(&kCertificate, 0xFFFFFFFF, 1)},

    null_case(kNoOidEntry, "pCert", without_outputs(by_oid(nullptr, 64, nullptr))),
    null_case(kNoOidEntry, "szOID", without_outputs(by_oid(&kCertificate, 64, nullptr))),
    null_case(kOidEntry, "pOIDValueLen", without_length(by_oid(&kCertificate, 64, "2.5.4.3"))),

    null_case("SOF_ValidateCert uCertLen=-1", "pCert", validate(nullptr, 0xFFFFFFFF)),

    null_case("SOF_GetCertAlg uCertLen=64", "pCert", without_length(algorithm(nullptr, 64))),
    null_case("SOF_GetCertAlg uCertLen=64", "pAlgType", without_length(algorithm(&kCertificate, 64))),
};

INSTANTIATE_SERVICE_FAMILY(Certificate, kCalls, kVariants, kLocalCalls);

using Certificate = ClientTest;

TEST_F(Certificate, IsSentAsEmptyTextWhenItCannotBeEncoded) {
  STANDIN(VELM_Openssl_Base64Encode).returns(-1);
  service.answers(json(R"({"ErrorCode":"0"})"));
  EXPECT_EQ(validate(&kCertificate, 64)(library, nullptr, nullptr), SOR_OK);
  EXPECT_EQ(service.take_request().body, R"({"funcid":14,"Cert":""})");
}

TEST_F(Certificate, UndecodableAnswerHasLengthZero) {
  STANDIN(VELM_Openssl_Base64Decode).plays([](auto, auto, auto, uint32_t* length) {
    *length = 77;
    return -1;
  });
  for (const Call& call : {kSigningCall, kExchangeCall}) {
    service.answers(json(R"({"ErrorCode":"0","Result":{"UserCert":"MAMCAQA="}})"));
    const MadeCall made(library, call, 0);
    EXPECT_EQ(made.result, SOR_OK);
    EXPECT_TRUE(made.output.untouched());
    EXPECT_EQ(made.length, 0u);
  }
  EXPECT_THAT(log.errors(), testing::IsEmpty());
}

TEST_F(Certificate, DecoderWithoutOutputGivesLengthZero) {
  STANDIN(VELM_Openssl_Base64Decode).plays([](auto, auto, auto, const uint32_t* length) {
    EXPECT_EQ(*length, 0u);
    return 0;
  });
  service.answers(json(R"({"ErrorCode":"0","Result":{"UserCert":"MAMCAQA="}})"));
  const MadeCall made(library, kSigningCall, 0);
  EXPECT_EQ(made.result, SOR_OK);
  EXPECT_TRUE(made.output.untouched());
  EXPECT_EQ(made.length, 0u);
}

TEST_F(Certificate, SizeQueryReturnsTheLengthOfAnItem) {
  for (const auto& [info, size] :
       {std::pair(base64(std::string(700, 'n')), 700u), std::pair(std::string("?"), 0u)}) {
    service.answers(json(R"({"ErrorCode":"0","Result":{"Info":")" + info + R"("}})"));
    uint32_t length = kUntouched;
    EXPECT_EQ(by_oid(&kCertificate, 64, "2.5.4.3")(library, nullptr, &length), SOR_OK);
    EXPECT_EQ(length, size);
  }
}

TEST_F(Certificate, SizeQueryReportsMissingMemory) {
  service.responds([](const Request&) { return json(R"({"ErrorCode":"0","Result":{"Info":"bmFtZQ=="}})"); });
  uint32_t length = kUntouched;
  const Call call = by_oid(&kCertificate, 64, "2.5.4.3");
  EXPECT_EQ(call(library, nullptr, nullptr), SOR_NULLPOINTERERR);  // triggers the one-time allocations
  AllocationFaults memory(library.module());
  EXPECT_EQ(call(library, nullptr, &length), SOR_OK);
  const size_t last = memory.allocations();
  memory.restart();
  memory.fail_at(last);
  length = kUntouched;
  EXPECT_EQ(call(library, nullptr, &length), SOR_MEMORYERR);
  EXPECT_EQ(length, kUntouched);
  EXPECT_EQ(memory.outstanding(), 0u);
}

// Sic: the answer capacity is the certificate length, so below 8 bytes even an empty frame is refused.
TEST_F(Certificate, AnItemOfATinyCertificateIsRefused) {
  for (uint32_t size : {0u, 1u, 3u, 4u, 7u}) {
    LogReader::clear();
    service.answers(frame(0, ""));
    const MadeCall made(library, information(&kCertificate, size, 1), 0);
    EXPECT_EQ(made.result, SOR_UNKNOWNERR) << size;
    EXPECT_TRUE(made.outputs_untouched());
    EXPECT_EQ(service.take_request().body,
              request_frame(11, {frame_bytes(std::string(size, '\x30')), little_endian(1)}));
    EXPECT_THAT(log.errors(), testing::ElementsAre("SOF_GetCertInfo->response frame [8]"));
  }
}

struct KeyRow {
  uint32_t key_type;
  uint32_t key_length;
  uint32_t algorithm;
};

TEST_F(Certificate, AlgorithmIsThatOfTheParsedKey) {
  constexpr KeyRow kRows[] = {{1, 270, 10}, {1, 140, 0},  {1, 271, 0},  {1, 0, 0},
                              {2, 0, 40},   {2, 270, 40}, {0, 270, 40}, {0xFFFFFFFF, 270, 40}};
  for (const KeyRow& row : kRows) {
    bool zeroed = false;
    STANDIN(VELM_Openssl_ParseCertInfo).plays([&](auto, auto, auto, auto, void* area) {
      zeroed = bytes(area, 6008) == std::string(6008, '\0');
      auto& record = *static_cast<CertificateRecord*>(area);
      record.public_key_type = row.key_type;
      record.public_key_length = row.key_length;
      return 0;
    });
    uint32_t type = kUntouched;
    EXPECT_EQ(library.SOF_GetCertAlg(bytes_of(kCertificate), 64, &type), SOR_OK);
    EXPECT_EQ(type, row.algorithm) << row.key_type << ' ' << row.key_length;
    EXPECT_TRUE(zeroed);
  }
  const auto [certificate, size, mode, reserved, record] = STANDIN(VELM_Openssl_ParseCertInfo).calls()[0];
  EXPECT_EQ(certificate, bytes_of(kCertificate));
  EXPECT_EQ(size, 64u);
  EXPECT_EQ(mode, 17u);
  EXPECT_EQ(reserved, 0u);
  EXPECT_NE(record, nullptr);
  EXPECT_THAT(entry_lines(), testing::Each("SOF_GetCertAlg uCertLen=64"));
  EXPECT_THAT(log.errors(), testing::IsEmpty());
  EXPECT_THAT(service.requests(), testing::IsEmpty());
}

TEST_F(Certificate, AlgorithmOfAnUnparsableCertificateIsZero) {
  STANDIN(VELM_Openssl_ParseCertInfo).plays([](auto, auto, auto, auto, void* area) {
    static_cast<CertificateRecord*>(area)->public_key_type = 2;
    return -5;
  });
  uint32_t type = kUntouched;
  EXPECT_EQ(library.SOF_GetCertAlg(bytes_of(kCertificate), 64, &type), 0x0B000443u);
  EXPECT_EQ(type, 0u);
  EXPECT_THAT(log.errors(), testing::ElementsAre("SOF_GetCertAlg, VELM_Openssl_ParseCertInfo goa_rv=-5"));
}

}  // namespace
