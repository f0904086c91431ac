/* Logs in, signs a text, verifies the signature, and encrypts and decrypts a file with a digital envelope. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "velm_sof_client.h"

/* A container of the software token's demo store and its PIN. */
static const char kContainer[] = "SM2_DEMO";
static const char kPin[] = "12345678";

static const char kText[] = "a contract worth signing";
static const char kFile[] = "story.txt";
static const char kEnvelope[] = "story.txt.p7m";
static const char kOpened[] = "story.opened.txt";

typedef struct {
  uint8_t bytes[3072]; /* always enough for a certificate or a signature */
  uint32_t length;
} Output;

/* Exits if the call failed. The texts of result codes are GBK. */
static void check(const char* function, uint32_t code) {
  char text[64] = "";
  if (code == SOR_OK) return;
  SOF_Ext_GetErrInfo(code, text);
  fprintf(stderr, "%s: 0x%08X %s\n", function, (unsigned)code, text);
  exit(1);
}

static void sign_and_verify(void) {
  const uint8_t* text = (const uint8_t*)kText;
  const uint32_t length = (uint32_t)strlen(kText);
  Output certificate = {{0}, 0}, signature = {{0}, 0};

  check("SOF_SignData", SOF_SignData(kContainer, text, length, signature.bytes, &signature.length));
  printf("signed\n");

  check("SOF_ExportUserCert", SOF_ExportUserCert(kContainer, certificate.bytes, &certificate.length));
  check("SOF_VerifySignedData", SOF_VerifySignedData(certificate.bytes, certificate.length, text, length,
                                                     signature.bytes, signature.length));
  printf("verified\n");
}

static void write_file(const char* path, const char* text) {
  FILE* file = fopen(path, "wb");
  if (file == NULL || fputs(text, file) < 0 || fclose(file) != 0) {
    perror(path);
    exit(1);
  }
}

static int holds_text(const char* path, const char* text) {
  char found[256];
  size_t length;
  FILE* file = fopen(path, "rb");
  if (file == NULL) return 0;
  length = fread(found, 1, sizeof found, file);
  fclose(file);
  return length == strlen(text) && memcmp(found, text, length) == 0;
}

static void encrypt_and_decrypt(void) {
  Output certificate = {{0}, 0};

  write_file(kFile, kText);
  check("SOF_ExportExChangeUserCert",
        SOF_ExportExChangeUserCert(kContainer, certificate.bytes, &certificate.length));
  check("SOF_EncryptFile", SOF_EncryptFile(certificate.bytes, certificate.length, kFile, kEnvelope));
  printf("encrypted\n");

  check("SOF_DecryptFile", SOF_DecryptFile(kContainer, kEnvelope, kOpened));
  printf("decrypted: %s\n", holds_text(kOpened, kText) ? "the same text" : "ANOTHER TEXT");
}

int main(void) {
  check("SOF_Initialize", SOF_Initialize());
  check("SOF_Login", SOF_Login(kContainer, kPin));
  printf("logged in\n");

  sign_and_verify();
  encrypt_and_decrypt();

  check("SOF_Ext_Logout", SOF_Ext_Logout(kContainer, 0));
  printf("logged out\n");
  check("SOF_Finalize", SOF_Finalize());
  return 0;
}
