/*
 * Stand-in for the library on the build host, for examples in languages that cannot run under Wine there. It
 * checks its arguments, and its "cryptography" only shows that the right bytes arrived. It rejects the PIN if
 * REFUSE_PIN is set in the environment.
 */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "velm_sof_client.h"

static const char kContainer[] = "SM2_DEMO";
static const char kSigningCertificate[] = "signing\0certificate";
static const char kExchangeCertificate[] = "exchange\0certificate";
static int initialized;
static int logged_in;

static int is(const char* text, const char* expected) { return text != NULL && strcmp(text, expected) == 0; }

static int same(const void* data, uint32_t length, const void* expected, size_t expected_length) {
  return data != NULL && length == expected_length && memcmp(data, expected, length) == 0;
}

static uint32_t deliver(const void* data, size_t size, uint8_t* output, uint32_t* length) {
  if (output == NULL || length == NULL) return SOR_NULLPOINTERERR;
  memcpy(output, data, size);
  *length = (uint32_t)size;
  return SOR_OK;
}

uint32_t SOF_Initialize(void) {
  initialized = 1;
  return SOR_OK;
}

uint32_t SOF_Finalize(void) { return initialized && !logged_in ? SOR_OK : SOR_UNKNOWNERR; }

uint32_t SOF_Login(const char* pszContainerName, const char* pszPassWd) {
  if (!is(pszContainerName, kContainer)) return SOR_CONTAINERNOTFOUNDERR;
  if (getenv("REFUSE_PIN") != NULL || !is(pszPassWd, "12345678")) return SOR_PINERR;
  logged_in = 1;
  return SOR_OK;
}

uint32_t SOF_Ext_Logout(const char* pszContainerName, uint32_t ulLoginType) {
  if (!is(pszContainerName, kContainer) || ulLoginType != 0 || !logged_in) return SOR_INDATAERR;
  logged_in = 0;
  return SOR_OK;
}

uint32_t SOF_ExportUserCert(const char* pszContainerName, uint8_t* pCertData, uint32_t* pCertDataLen) {
  if (!is(pszContainerName, kContainer)) return SOR_CONTAINERNOTFOUNDERR;
  return deliver(kSigningCertificate, sizeof kSigningCertificate, pCertData, pCertDataLen);
}

uint32_t SOF_ExportExChangeUserCert(const char* pszContainerName, uint8_t* pCertData,
                                    uint32_t* pCertDataLen) {
  if (!is(pszContainerName, kContainer)) return SOR_CONTAINERNOTFOUNDERR;
  return deliver(kExchangeCertificate, sizeof kExchangeCertificate, pCertData, pCertDataLen);
}

/* The "signature": length and bytes of the data in reverse order. */
static size_t sign(const uint8_t* data, uint32_t length, uint8_t* signature) {
  uint32_t i;
  memcpy(signature, &length, sizeof length);
  for (i = 0; i < length; ++i) signature[sizeof length + i] = data[length - 1 - i];
  return sizeof length + length;
}

uint32_t SOF_SignData(const char* pszContainerName, const uint8_t* pInData, uint32_t uInDataLen,
                      uint8_t* pSignedData, uint32_t* pSignedDataLen) {
  uint8_t signature[256];
  if (!is(pszContainerName, kContainer) || pInData == NULL || uInDataLen > 200) return SOR_INDATAERR;
  if (!logged_in) return SOR_NOTLOGINERR;
  return deliver(signature, sign(pInData, uInDataLen, signature), pSignedData, pSignedDataLen);
}

uint32_t SOF_VerifySignedData(const uint8_t* pSignCert, uint32_t uSignCertLen, const uint8_t* pPlainData,
                              uint32_t uPlainDataLen, const uint8_t* pSignedData, uint32_t uSignedDataLen) {
  uint8_t signature[256];
  if (!same(pSignCert, uSignCertLen, kSigningCertificate, sizeof kSigningCertificate))
    return SOR_CERTENCODEERR;
  if (pPlainData == NULL || uPlainDataLen > 200) return SOR_INDATAERR;
  if (!same(pSignedData, uSignedDataLen, signature, sign(pPlainData, uPlainDataLen, signature)))
    return SOR_VERIFYSIGNDATAERR;
  return SOR_OK;
}

/* Copies a file with all bits inverted: both "encrypts" and "decrypts" a digital envelope. */
static uint32_t turn_round(const char* in, const char* out) {
  int byte;
  FILE* from = in == NULL ? NULL : fopen(in, "rb");
  FILE* to = out == NULL ? NULL : fopen(out, "wb");
  if (from == NULL || to == NULL) return SOR_FILEOPENERR;
  while ((byte = fgetc(from)) != EOF) fputc(byte ^ 0xFF, to);
  fclose(from);
  fclose(to);
  return SOR_OK;
}

uint32_t SOF_EncryptFile(const uint8_t* pEncryptCert, uint32_t uEncryptCertLen, const char* pszInFilePath,
                         const char* pszOutFilePath) {
  if (!same(pEncryptCert, uEncryptCertLen, kExchangeCertificate, sizeof kExchangeCertificate))
    return SOR_CERTENCODEERR;
  return turn_round(pszInFilePath, pszOutFilePath);
}

uint32_t SOF_DecryptFile(const char* pszContainerName, const char* pszInFilePath,
                         const char* pszOutFilePath) {
  if (!is(pszContainerName, kContainer)) return SOR_CONTAINERNOTFOUNDERR;
  if (!logged_in) return SOR_NOTLOGINERR;
  return turn_round(pszInFilePath, pszOutFilePath);
}

void SOF_Ext_GetErrInfo(uint32_t code, char* pszErrInfo) {
  /* "错误的口令" in GBK */
  strcpy(pszErrInfo, code == SOR_PINERR ? "\xB4\xED\xCE\xF3\xB5\xC4\xBF\xDA\xC1\xEE" : "");
}
