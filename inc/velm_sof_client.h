/**
 * @file velm_sof_client.h
 * @brief The certificate application interface of this library: 88 functions and their result codes.
 *
 * The functions named `SOF_...` implement the interface of GM/T 0020; those named `SOF_Ext_...` are
 * extensions. The header is self-contained and compiles as C99 and as C++. Link with the import library of
 * `velm_sof_client.dll`.
 *
 * A key container holds two key pairs: a signing key with the signing certificate, and an
 * encryption key with the encryption certificate.
 *
 * @section velm_sof_codes Result codes
 * Every function except SOF_Ext_GetErrInfo(), SOF_GetSignMethod() and SOF_GetEncryptMethod() returns a 32-bit
 * result code: #SOR_OK on success, otherwise one of the constants below or an unchanged code of the local
 * service. A code above 0x7FFFFFFF in a JSON response becomes 0x7FFFFFFF. SOF_Ext_GetErrInfo() returns a text
 * for every constant except the five negative ones. Three codes have the same meaning in all functions:
 * - #SOR_NULLPOINTERERR: a pointer that the function checks is null. Pointers are checked in parameter order.
 * - #SOR_MEMORYERR: an allocation failed, or a size exceeds 32 bits.
 * - #SOR_UNKNOWNERR: an error without a code of its own.
 *
 * Functions do not throw exceptions. A function that fails writes no output unless its description says so.
 *
 * @section velm_sof_buffers Output buffers and size queries
 * Callers own the output buffers; lengths are in bytes. A variable-size output has a buffer and a pointer to
 * a 32-bit length. If a function has a size query and the buffer is null, it stores an upper bound for the
 * output in the length and returns #SOR_OK without any other work.
 *
 * **Most functions do not check the size of the output buffer.** The description of each such function says
 * so and states the size that is always enough. Outputs have no terminating zero unless the description says
 * so.
 *
 * @section velm_sof_texts Text encodings
 * - Container names are passed on unchanged, in UTF-8 or GBK, as the local service and the device expect
 *   them.
 * - A file path that the library opens or converts may be in UTF-8 or in the local code page. It is treated
 *   as UTF-8 if all its characters are well-formed UTF-8 and none has two bytes, because every two-byte UTF-8
 *   sequence is also a GBK character. A truncated character at the end counts as UTF-8 without further
 *   checks: a path in the local code page that ends in the bytes E7 E5, or in E9, is mistaken for UTF-8 and
 *   converted to a path that does not exist. A path that ends in three ASCII characters, such as a file name
 *   extension, is not affected. A path that the library passes to the signature provider unchanged must be in
 *   the local code page. The descriptions state which of the two applies.
 * - The user list is returned in GB18030 if the system has that code page (54936), otherwise in GBK (936).
 *   Error texts are returned in GBK, a subset of GB18030. Other texts of the local service are returned in
 *   UTF-8.
 * - Texts are inserted into JSON requests without escaping. A quotation mark or backslash in a container
 *   name, an object identifier or the PIN of SOF_Ext_WriteUsrDataFile() produces a malformed request or
 *   allows the injection of JSON members. Do not pass names from untrusted sources.
 *
 * @section velm_sof_null Null pointers
 * If a pointer that a function checks is null, the function returns #SOR_NULLPOINTERERR. The library does not
 * dereference other null pointers: a null text is sent as `(null)` in a JSON request and as an empty text in
 * a byte frame, a null input block is empty, and a null output is not written. Null pointers that are passed
 * to a provider module are handled by that module.
 *
 * @section velm_sof_memory Memory
 * If memory runs out, a function returns #SOR_MEMORYERR and does not write its outputs; the process goes on.
 * SOF_GetSignMethod(), SOF_SetEncryptMethod(), SOF_GetEncryptMethod(), SOF_Ext_GetErrInfo() and the parsing
 * of seals need no memory. A thread that calls the library keeps about 2 KiB until it ends.
 *
 * @section velm_sof_threads Threads
 * Functions may be called from any thread, concurrently; each call has its own buffers and its own
 * connection. Four values are shared by the process and are not locked: the sign method, the encrypt method,
 * the envelope type, and whether SOF_Ext_PKCS7_SignFile() takes its file as base64 text, which both methods
 * set. A value set by one thread applies to later calls of all threads. The first function that requires the
 * signature provider opens it. Threads that do so at the same time may each open it, and the last handle is
 * used. To avoid this, make the first such call before starting threads.
 *
 * @section velm_sof_backends Local service and provider modules
 * The following functions call the local service with an HTTP POST to 127.0.0.1, port 55661: environment,
 * login (except SOF_Ext_Login()), SOF_GetDeviceInfo() and SOF_GetUserList(), certificates (except
 * SOF_GetCertAlg()), service signing, service encryption, user data, seals (except
 * SOF_Ext_GetSealInfoEPoint() and SOF_Ext_ParseSealInfo()) and SOF_Config(). SOF_EncryptFile() calls it too
 * while the envelope type is 2. Connecting, sending and receiving each time out after 10 seconds without
 * progress. If the local service cannot be reached, these functions return #SOR_COMMUNICATIONERR. The
 * functions that set or return the sign method, the encrypt method or the envelope type only access the
 * stored value.
 *
 * All other functions work in process, most of them through the provider modules `velm_client_saf.dll`,
 * `velm_openssl_api.dll`, `velm_common.dll` and `velm_dev_enum.dll`. The functions that call the local
 * service use `velm_openssl_api.dll` for base64.
 *
 * @section velm_sof_provider Results of the signature provider
 * Results of `velm_client_saf.dll` (GM/T 0019, 0x02000000 family) are mapped to constants of this header, in
 * most cases to the one with the same meaning. A result without a constant becomes #SOR_UNKNOWNERR. The
 * original result is logged. The library passes a null application handle to that module until one of these
 * functions has opened it: SOF_SignFile(), SOF_VerifySignedDataXML(), SOF_GetXMLSignatureInfo(),
 * SOF_Ext_PKCS7_SignFile() and the three SOF_Ext_GM_Tsp_ functions.
 */
#ifndef VELM_SOF_CLIENT_H
#define VELM_SOF_CLIENT_H

#include <stdint.h>

/** @name Version of this header and of the library it belongs to
 * @{ */
#define VELM_SOF_VERSION_MAJOR 1       /**< Changes when existing callers must change. */
#define VELM_SOF_VERSION_MINOR 0       /**< Changes when functions or constants are added. */
#define VELM_SOF_VERSION_PATCH 0       /**< Changes with corrections. */
#define VELM_SOF_VERSION       "1.0.0" /**< The three numbers as text. */
/** @} */

/** @brief Marks the exported functions: `dllimport` unless the DLL itself is being built. */
#if defined(_WIN32) && !defined(VELM_SOF_CLIENT_BUILD)
#define VELM_SOF_API __declspec(dllimport)
#else
#define VELM_SOF_API
#endif

/** @name General, memory and input (GM/T 0020)
 * @{ */
#define SOR_OK               0x00000000u /**< Success. */
#define SOR_UNKNOWNERR       0x0B000001u /**< An error without a code of its own. */
#define SOR_NOTSUPPORTYETERR 0x0B000002u /**< The service is not supported. */
#define SOR_FILEERR          0x0B000003u /**< A file operation failed. */
#define SOR_PROVIDERTYPEERR  0x0B000004u /**< The provider's parameter type is wrong. */
#define SOR_LOADPROVIDERERR  0x0B000005u /**< The provider's interface could not be imported. */
#define SOR_LOADDEVMNGAPIERR 0x0B000006u /**< The device management interface could not be imported. */
#define SOR_ALGOTYPEERR      0x0B000007u /**< The algorithm type is wrong. */
#define SOR_NAMELENERR       0x0B000008u /**< The length of a name is wrong. */
#define SOR_KEYUSAGEERR      0x0B000009u /**< The key usage is wrong. */
#define SOR_MODULUSLENERR    0x0B000010u /**< The length of the modulus is wrong. */
#define SOR_NOTINITIALIZEERR 0x0B000011u /**< Not initialised. */
#define SOR_OBJERR           0x0B000012u /**< An object is wrong. */
#define SOR_MEMORYERR        0x0B000100u /**< Memory ran out. */
#define SOR_TIMEOUTERR       0x0B000101u /**< The service timed out. */
#define SOR_INDATALENERR     0x0B000200u /**< The length of the input, or of a buffer, is wrong. */
#define SOR_INDATAERR        0x0B000201u /**< The input is wrong. */
/** @} */

/** @name Cryptography (GM/T 0020)
 * @{ */
#define SOR_GENRANDERR        0x0B000300u /**< Random numbers could not be generated. */
#define SOR_HASHOBJERR        0x0B000301u /**< The hash object is wrong. */
#define SOR_HASHERR           0x0B000302u /**< Hashing failed, or a hash does not match. */
#define SOR_GENRSAKEYERR      0x0B000303u /**< An RSA key could not be generated. */
#define SOR_RSAMODULUSLENERR  0x0B000304u /**< The modulus length of an RSA key is wrong. */
#define SOR_CSPIMPRTPUBKEYERR 0x0B000305u /**< The CSP could not import a public key. */
#define SOR_RSAENCERR         0x0B000306u /**< RSA encryption failed. */
#define SOR_RSADECERR         0x0B000307u /**< RSA decryption failed. */
#define SOR_HASHNOTEQUALERR   0x0B000308u /**< Hash values differ. */
#define SOR_KEYNOTFOUNDERR    0x0B000309u /**< No such key. */
#define SOR_CERTNOTFOUNDERR   0x0B000310u /**< No such certificate. */
#define SOR_NOTEXPORTERR      0x0B000311u /**< The object was not exported. */
#define SOR_POLICYVERIFYERR   0x0B000312u /**< Verified, but not fully according to the policy. */
/** @} */

/** @name Certificates, files, devices, PIN and communication (GM/T 0020 and extensions)
 * @{ */
#define SOR_DECRYPTPADERR          0x0B000400u /**< The padding found when decrypting is wrong. */
#define SOR_MACLENERR              0x0B000401u /**< The length of a MAC is wrong. */
#define SOR_KEYINFOTYPEERR         0x0B000402u /**< The key type is wrong. */
#define SOR_NULLPOINTERERR         0x0B000403u /**< A parameter is a null pointer. */
#define SOR_APPNOTFOUNDERR         0x0B000404u /**< No such application. */
#define SOR_CERTENCODEERR          0x0B000405u /**< The encoding of a certificate is wrong. */
#define SOR_CERTINVALIDERR         0x0B000406u /**< The certificate is invalid. */
#define SOR_CERTHASEXPIREDERR      0x0B000407u /**< The certificate has expired. */
#define SOR_CERTREVOKEDERR         0x0B000408u /**< The certificate has been revoked. */
#define SOR_SIGNDATAERR            0x0B000409u /**< Signing failed. */
#define SOR_VERIFYSIGNDATAERR      0x0B000410u /**< Verifying a signature failed. */
#define SOR_READFILEERR            0x0B000411u /**< Reading a file failed. */
#define SOR_WRITEFILEERR           0x0B000412u /**< Writing a file failed. */
#define SOR_SECRETSEGMENTERR       0x0B000413u /**< Splitting a key by the threshold scheme failed. */
#define SOR_SECRETRECOVERYERR      0x0B000414u /**< Recovering a key by the threshold scheme failed. */
#define SOR_ENCRYPTDATAERR         0x0B000415u /**< Symmetric encryption failed. */
#define SOR_DECRYPTDATAERR         0x0B000416u /**< Symmetric decryption failed. */
#define SOR_PKCS7ENCODEERR         0x0B000417u /**< The PKCS#7 encoding is wrong. */
#define SOR_XMLENCODEERR           0x0B000418u /**< The data is not valid XML. */
#define SOR_PARAMETERNOTSUPPORTERR 0x0B000419u /**< A parameter is not supported. */
#define SOR_CTLNOTFOUNDERR         0x0B000420u /**< No trust list was found. */
#define SOR_APPNAMENOTFOUNDERR     0x0B000421u /**< The application name that was set was not found. */
#define SOR_BUFFERTOOSMALLERR      0x0B000422u /**< A buffer is too small. */
#define SOR_UNDEFINEDERR           0x0B000423u /**< Undefined. */
#define SOR_INITIALIZEERR          0x0B000424u /**< Initialisation failed. */
#define SOR_CONTAINERNOTFOUNDERR   0x0B000425u /**< No such container. */
#define SOR_PINERR                 0x0B000426u /**< Wrong PIN. */
#define SOR_ECCENCERR              0x0B000427u /**< ECC encryption failed. */
#define SOR_PKCS7SIGNERR           0x0B000428u /**< PKCS#7 signing failed. */
#define SOR_PKCS7DECRYPTERR        0x0B000429u /**< PKCS#7 decryption failed. */
#define SOR_TSRESPONSEERR          0x0B000430u /**< The answer of the time-stamp server is wrong. */
#define SOR_TSSERVERERR            0x0B000431u /**< The time-stamp server failed. */
#define SOR_FILEEXISTSERR          0x0B000432u /**< The file exists already. */
#define SOR_NOSPACEERR             0x0B000433u /**< Not enough space. */
#define SOR_FILENOTFOUNDERR        0x0B000434u /**< No such file. */
#define SOR_MAXFILECOUNTERR        0x0B000435u /**< No further file can be created. */
#define SOR_MULTIUSERNOSPACEERR    0x0B000436u /**< The multi-user space is not allocated. */
#define SOR_CAAUTHERR              0x0B000437u /**< Authentication by the CA failed. */
#define SOR_NOTLOGINERR            0x0B000438u /**< Not logged in. */
#define SOR_CONTAINEREXISTSERR     0x0B000439u /**< The container exists already. */
#define SOR_KEYPAIRMISMATCHERR     0x0B000440u /**< Public and private key do not match. */
#define SOR_MULTIUSERNOTLOGINERR   0x0B000441u /**< Multi-user: not logged in. */
#define SOR_PINLOCKEDERR           0x0B000442u /**< The user PIN is locked. */
#define SOR_CERTPARSEERR           0x0B000443u /**< A certificate could not be parsed. */
#define SOR_OIDNOTFOUNDERR         0x0B000444u /**< No item has this object identifier. */
#define SOR_COMMUNICATIONERR       0x0B000445u /**< The local service could not be reached. */
#define SOR_JSONPARSEERR           0x0B000446u /**< The service's answer is not JSON. */
#define SOR_USERCANCELERR          0x0B000447u /**< The user cancelled. */
#define SOR_DEVICEREMOVEDERR       0x0B000448u /**< The device was removed. */
#define SOR_ENUMDEVICEERR          0x0B000500u /**< Enumerating devices failed. */
#define SOR_CERTNOTYETVALIDERR     0x0B000501u /**< The certificate is not valid yet. */
#define SOR_CERTFROZENERR          0x0B000502u /**< The certificate is suspended. */
#define SOR_KEYMISMATCHERR         0x0B000503u /**< Keys do not match. */
#define SOR_LABELNOTFOUNDERR       0x0B000504u /**< No such label. */
/** @} */

/** @name Time stamps, base64, HTTP, seals and trust (extensions)
 * @{ */
#define SOR_TSENCODEERR       0x0B010001u /**< A time-stamp response could not be encoded. */
#define SOR_TSDECODEERR       0x0B010002u /**< A time-stamp response could not be decoded. */
#define SOR_TSNOTFOUNDERR     0x0B010003u /**< There is no time-stamp response. */
#define SOR_BASE64ENCODEERR   0x0B010004u /**< Base64 encoding failed. */
#define SOR_BASE64DECODEERR   0x0B010005u /**< Base64 decoding failed. */
#define SOR_SM2ENCERR         0x0B010006u /**< SM2 encryption failed. */
#define SOR_HTTPREQUESTERR    0x0B010007u /**< An HTTP request failed. */
#define SOR_HTTPJSONERR       0x0B010008u /**< The JSON of an HTTP answer could not be parsed. */
#define SOR_FACEMATCHERR      0x0B010009u /**< The face does not match. */
#define SOR_SERVERERR         0x0B01000Au /**< The server failed. */
#define SOR_SEALNOTFOUNDERR   0x0B01000Bu /**< No such seal. */
#define SOR_HTTPTIMEOUTERR    0x0B01000Cu /**< An HTTP request timed out. */
#define SOR_SEALPARSEERR      0x0B01000Du /**< A seal could not be parsed. */
#define SOR_FILEOPENERR       0x0B01000Eu /**< A file could not be opened. */
#define SOR_DATACORRUPTEDERR  0x0B01000Fu /**< The data was damaged. */
#define SOR_DNITEMNOTFOUNDERR 0x0B010010u /**< The distinguished name has no such item. */
#define SOR_CACERTNOTFOUNDERR 0x0B010011u /**< No such CA certificate. */
#define SOR_CERTNOTTRUSTEDERR 0x0B010012u /**< The certificate is not trusted. */
/** @} */

/** @name Negative results of the signature provider; they have no text
 * @{ */
#define SOR_PROVIDERMINUS5ERR 0xFFFFFFFBu /**< -5: the provider's result 0x02000317. */
#define SOR_PROVIDERMINUS4ERR 0xFFFFFFFCu /**< -4: the provider's result 0x0200050C. */
#define SOR_PROVIDERMINUS3ERR 0xFFFFFFFDu /**< -3: the provider's result 0x02000316. */
#define SOR_PROVIDERMINUS2ERR 0xFFFFFFFEu /**< -2: the provider's result 0x02000318. */
#define SOR_PROVIDERMINUS1ERR 0xFFFFFFFFu /**< -1: the provider's result 0x02000319. */
/** @} */

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup velm_sof_environment Environment
 * Initialisation, finalisation, version and random numbers (GM/T 0020).
 * @{
 */

/**
 * @brief Tells the local service that the application starts to use it.
 *
 * No other function checks whether this one was called. Source: GM/T 0020.
 * @retval SOR_OK The local service was notified.
 * @retval SOR_COMMUNICATIONERR The local service could not be reached.
 * @retval SOR_JSONPARSEERR The response of the local service is not JSON, or is too long.
 * @retval SOR_UNKNOWNERR The response of the local service has no result code.
 * @retval SOR_MEMORYERR Out of memory, or the request exceeds 4 GiB.
 * @retval other A result code of the local service.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API uint32_t SOF_Initialize(void);

/**
 * @brief Tells the local service that the application no longer uses it.
 *
 * Nothing in the library is closed or reset; all functions stay usable. Source: GM/T 0020.
 * @retval SOR_OK The local service was notified.
 * @retval SOR_COMMUNICATIONERR The local service could not be reached.
 * @retval SOR_JSONPARSEERR The response of the local service is not JSON, or is too long.
 * @retval SOR_UNKNOWNERR The response of the local service has no result code.
 * @retval SOR_MEMORYERR Out of memory, or the request exceeds 4 GiB.
 * @retval other A result code of the local service.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API uint32_t SOF_Finalize(void);

/**
 * @brief Reads the version of the local service.
 *
 * Source: GM/T 0020. There is no size query and no length parameter: 128 bytes are always enough.
 * @param[out] pszVersion The version with its terminating zero, at most 128 bytes; "0.0.0" if the response
 *   contains no version. Not checked for null.
 * @retval SOR_OK The text was written.
 * @retval SOR_COMMUNICATIONERR The local service could not be reached.
 * @retval SOR_JSONPARSEERR The response of the local service is not JSON, or is too long.
 * @retval SOR_UNKNOWNERR The response of the local service has no result code.
 * @retval SOR_MEMORYERR Out of memory, or the request exceeds 4 GiB.
 * @retval other A result code of the local service.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API uint32_t SOF_GetVersion(char* pszVersion);

/**
 * @brief Fetches random bytes from the local service.
 *
 * Source: GM/T 0020. There is no size query. If the local service sends fewer bytes than requested, the rest
 * of the buffer is filled with zeros and the function still succeeds.
 * @param[in] uRandomLen Number of bytes to fetch; 0 is allowed.
 * @param[out] pRandomData Receives exactly uRandomLen bytes.
 * @retval SOR_OK uRandomLen bytes were written.
 * @retval SOR_NULLPOINTERERR pRandomData is null.
 * @retval SOR_BASE64DECODEERR The random bytes in the response are not base64.
 * @retval SOR_COMMUNICATIONERR The local service could not be reached.
 * @retval SOR_JSONPARSEERR The response of the local service is not JSON, or is too long.
 * @retval SOR_UNKNOWNERR The response of the local service has no result code.
 * @retval SOR_MEMORYERR Out of memory, or the request exceeds 4 GiB.
 * @retval other A result code of the local service.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API uint32_t SOF_GenRandom(uint32_t uRandomLen, uint8_t* pRandomData);

/** @} */

/**
 * @defgroup velm_sof_login Login
 * Login to a key container, its PIN and its login state.
 * @{
 */

/**
 * @brief Logs in to a key container with its PIN.
 *
 * Source: GM/T 0020. If the PIN is null, the user enters it in a modal prompt, which blocks the calling
 * thread until it is closed. Its parent is a top-level window of the process, else the active window, else
 * the foreground window. A PIN entered in the prompt has at most 31 bytes.
 * @param[in] pszContainerName Container name; not checked.
 * @param[in] pszPassWd PIN text; null opens the prompt.
 * @retval SOR_OK Logged in.
 * @retval SOR_USERCANCELERR The prompt was cancelled or failed; the local service was not called.
 * @retval SOR_COMMUNICATIONERR The local service could not be reached.
 * @retval SOR_JSONPARSEERR The response of the local service is not JSON, or is too long.
 * @retval SOR_UNKNOWNERR The response of the local service has no result code.
 * @retval SOR_MEMORYERR Out of memory, or the request exceeds 4 GiB.
 * @retval other A result code of the local service.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API uint32_t SOF_Login(const char* pszContainerName, const char* pszPassWd);

/**
 * @brief Reads the PIN retry counter.
 *
 * Source: GM/T 0020. There is no size query.
 * @param[in] pszContainerName Container name.
 * @param[out] puRemainCount Remaining attempts; 0 if a successful response contains no count.
 * @retval SOR_OK The count was written.
 * @retval SOR_NULLPOINTERERR pszContainerName or puRemainCount is null.
 * @retval SOR_COMMUNICATIONERR The local service could not be reached.
 * @retval SOR_JSONPARSEERR The response of the local service is not JSON, or is too long.
 * @retval SOR_UNKNOWNERR The response of the local service has no result code.
 * @retval SOR_MEMORYERR Out of memory, or the request exceeds 4 GiB.
 * @retval other A result code of the local service.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API uint32_t SOF_GetPinRetryCount(const char* pszContainerName, uint32_t* puRemainCount);

/**
 * @brief Changes the PIN of a key container.
 *
 * Source: GM/T 0020.
 * @param[in] pszContainerName Container name.
 * @param[in] szOldPassWord PIN in force, not empty.
 * @param[in] szNewPassWord New PIN, not empty.
 * @retval SOR_OK The new PIN is in force.
 * @retval SOR_NULLPOINTERERR A parameter is null.
 * @retval SOR_INDATAERR One of the PINs is empty.
 * @retval SOR_COMMUNICATIONERR The local service could not be reached.
 * @retval SOR_JSONPARSEERR The response of the local service is not JSON, or is too long.
 * @retval SOR_UNKNOWNERR The response of the local service has no result code.
 * @retval SOR_MEMORYERR Out of memory, or the request exceeds 4 GiB.
 * @retval other A result code of the local service.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API uint32_t SOF_ChangePassWd(const char* pszContainerName, const char* szOldPassWord,
                                       const char* szNewPassWord);

/**
 * @brief Logs in with data other than a PIN; not supported.
 *
 * The parameters are only used for the log; loginData is not read.
 * @param[in] pszContainerName Container name.
 * @param[in] loginType Kind of login.
 * @param[in] loginData Login data; not read.
 * @param[in] loginDataLen Length of loginData in bytes.
 * @retval SOR_NOTSUPPORTYETERR Always, unless memory runs out.
 * @retval SOR_MEMORYERR Memory ran out.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API uint32_t SOF_Ext_Login(const char* pszContainerName, uint32_t loginType,
                                    const uint8_t* loginData, uint32_t loginDataLen);

/**
 * @brief Logs out of a key container.
 * @param[in] pszContainerName Container name; not checked.
 * @param[in] ulLoginType Kind of login; the local service defines the values.
 * @retval SOR_OK Logged out.
 * @retval SOR_COMMUNICATIONERR The local service could not be reached.
 * @retval SOR_JSONPARSEERR The response of the local service is not JSON, or is too long.
 * @retval SOR_UNKNOWNERR The response of the local service has no result code.
 * @retval SOR_MEMORYERR Out of memory, or the request exceeds 4 GiB.
 * @retval other A result code of the local service.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API uint32_t SOF_Ext_Logout(const char* pszContainerName, uint32_t ulLoginType);

/**
 * @brief Reads the login state of a key container.
 *
 * The library does not cache the state; every call queries the local service.
 * @param[in] pszContainerName Container name; not checked.
 * @param[in] ulLoginType Kind of login; the local service defines the values.
 * @retval SOR_OK Logged in.
 * @retval SOR_COMMUNICATIONERR The local service could not be reached.
 * @retval SOR_JSONPARSEERR The response of the local service is not JSON, or is too long.
 * @retval SOR_UNKNOWNERR The response of the local service has no result code.
 * @retval SOR_MEMORYERR Out of memory, or the request exceeds 4 GiB.
 * @retval other A result code of the local service.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API uint32_t SOF_Ext_isLogin(const char* pszContainerName, uint32_t ulLoginType);

/** @} */

/**
 * @defgroup velm_sof_device Device
 * Device information, user list and device type.
 * @{
 */

/**
 * @brief Reads one item of information about the device of a container.
 *
 * Source: GM/T 0020. There is no size query: the buffer must have at least 256 bytes.
 * @param[in] pszContainerName Container name; not checked.
 * @param[in] iInfoType Item to read; the local service defines the values.
 * @param[out] pDeviceInfo The item as text, at most 256 bytes, without a terminating zero.
 * @param[in,out] pDeviceInfoLen In: size of pDeviceInfo in bytes, at least 256. Out: bytes written.
 * @retval SOR_OK The item was written; it is empty if the response contains none.
 * @retval SOR_NULLPOINTERERR pDeviceInfo or pDeviceInfoLen is null.
 * @retval SOR_INDATALENERR *pDeviceInfoLen is below 256.
 * @retval SOR_COMMUNICATIONERR The local service could not be reached.
 * @retval SOR_JSONPARSEERR The response of the local service is not JSON, or is too long.
 * @retval SOR_UNKNOWNERR The response of the local service has no result code.
 * @retval SOR_MEMORYERR Out of memory, or the request exceeds 4 GiB.
 * @retval other A result code of the local service.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API uint32_t SOF_GetDeviceInfo(const char* pszContainerName, int32_t iInfoType, uint8_t* pDeviceInfo,
                                        uint32_t* pDeviceInfoLen);

/**
 * @brief Lists the names of all key containers.
 *
 * Source: GM/T 0020. The names are in the order of the local service, separated by `&&&`, in GB18030 if the
 * system has that code page (54936), otherwise in GBK (936). Size query: a null pUserList stores 2048. The
 * buffer size is not checked: pUserList must have at least 2048 bytes.
 * @param[out] pUserList The list with its terminating zero, at most 2048 bytes; null for the size query. If
 *   the list in the response is empty, the buffer is unchanged; if the response has no list, an empty text is
 *   written.
 * @param[in,out] pUserListLen In: ignored. Out: length of the list in bytes without its terminating zero; 0
 *   if the function fails after its parameter checks.
 * @retval SOR_OK The list was written, the list is empty, or the size query was answered.
 * @retval SOR_NULLPOINTERERR pUserListLen is null.
 * @retval SOR_INDATALENERR The list requires more than 2048 bytes; pUserList is unchanged.
 * @retval SOR_FILEERR The list could not be converted.
 * @retval SOR_COMMUNICATIONERR The local service could not be reached.
 * @retval SOR_JSONPARSEERR The response of the local service is not JSON, or is too long.
 * @retval SOR_UNKNOWNERR The response of the local service has no result code.
 * @retval SOR_MEMORYERR Out of memory, or the request exceeds 4 GiB.
 * @retval other A result code of the local service.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API uint32_t SOF_GetUserList(char* pUserList, uint32_t* pUserListLen);

/**
 * @brief Returns the type of the device that was found last.
 *
 * Works in process, through the device enumeration module.
 * @param[out] pulDeviceType Device type; 0xFFFFFFFF if no device was found. Not checked for null.
 * @retval SOR_OK Always, unless memory runs out.
 * @retval SOR_MEMORYERR Memory ran out.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API uint32_t SOF_Ext_GetDeviceType(uint32_t* pulDeviceType);

/** @} */

/**
 * @defgroup velm_sof_certificate Certificate
 * User certificates, and items and validation of a certificate. Certificates are DER-encoded.
 * @{
 */

/**
 * @brief Fetches the signing certificate of a key container.
 *
 * Source: GM/T 0020. Size query: a null pCertData stores 2048. The buffer size is not checked, and a
 * certificate may exceed the result of the size query: 3072 bytes are always enough.
 * @param[in] pszContainerName Container name.
 * @param[out] pCertData The DER certificate, at most 3072 bytes; null for the size query.
 * @param[in,out] pCertDataLen In: ignored. Out: bytes written; 0 if the response contains no certificate or
 *   it cannot be decoded.
 * @retval SOR_OK The certificate was written (*pCertDataLen is not 0), there is none (*pCertDataLen is 0), or
 *   the size query was answered.
 * @retval SOR_NULLPOINTERERR pszContainerName or pCertDataLen is null.
 * @retval SOR_COMMUNICATIONERR The local service could not be reached.
 * @retval SOR_JSONPARSEERR The response of the local service is not JSON, or is too long.
 * @retval SOR_UNKNOWNERR The response of the local service has no result code.
 * @retval SOR_MEMORYERR Out of memory, or the request exceeds 4 GiB.
 * @retval other A result code of the local service.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API uint32_t SOF_ExportUserCert(const char* pszContainerName, uint8_t* pCertData,
                                         uint32_t* pCertDataLen);

/**
 * @brief Fetches the encryption certificate of a key container.
 *
 * Source: GM/T 0020. Size query: a null pCertData stores 2048. The buffer size is not checked, and a
 * certificate may exceed the result of the size query: 3072 bytes are always enough.
 * @param[in] pszContainerName Container name.
 * @param[out] pCertData The DER certificate, at most 3072 bytes; null for the size query.
 * @param[in,out] pCertDataLen In: ignored. Out: bytes written; 0 if the response contains no certificate or
 *   it cannot be decoded.
 * @retval SOR_OK The certificate was written (*pCertDataLen is not 0), there is none (*pCertDataLen is 0), or
 *   the size query was answered.
 * @retval SOR_NULLPOINTERERR pszContainerName or pCertDataLen is null.
 * @retval SOR_COMMUNICATIONERR The local service could not be reached.
 * @retval SOR_JSONPARSEERR The response of the local service is not JSON, or is too long.
 * @retval SOR_UNKNOWNERR The response of the local service has no result code.
 * @retval SOR_MEMORYERR Out of memory, or the request exceeds 4 GiB.
 * @retval other A result code of the local service.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API uint32_t SOF_ExportExChangeUserCert(const char* pszContainerName, uint8_t* pCertData,
                                                 uint32_t* pCertDataLen);

/**
 * @brief Reads one item of a certificate.
 *
 * Source: GM/T 0020. Size query: a null pCertInfo stores uCertLen. The buffer size is not checked: uCertLen
 * bytes are always enough.
 * @param[in] pCert DER certificate.
 * @param[in] uCertLen Length of pCert in bytes.
 * @param[in] uInfoType Item to read; the local service defines the values.
 * @param[out] pCertInfo The item, without a terminating zero; null for the size query.
 * @param[in,out] pCertInfoLen In: ignored. Out: bytes written.
 * @retval SOR_OK The item was written, or the size query was answered.
 * @retval SOR_NULLPOINTERERR pCert or pCertInfoLen is null.
 * @retval SOR_COMMUNICATIONERR The local service could not be reached.
 * @retval SOR_UNKNOWNERR The response of the local service is malformed or too long.
 * @retval SOR_MEMORYERR Out of memory, or a size exceeds 32 bits.
 * @retval other A result code of the local service.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API uint32_t SOF_GetCertInfo(const uint8_t* pCert, uint32_t uCertLen, uint32_t uInfoType,
                                      uint8_t* pCertInfo, uint32_t* pCertInfoLen);

/**
 * @brief Reads one item of a certificate by its object identifier.
 *
 * Source: GM/T 0020. There is no size query, and the buffer size is not checked: 768 bytes are always
 * enough.
 * @param[in] pCert DER certificate.
 * @param[in] uCertLen Length of pCert in bytes.
 * @param[in] szOID Object identifier in dotted decimal notation.
 * @param[out] pOIDValue The item, at most 768 bytes; if null, only its length is stored.
 * @param[in,out] pOIDValueLen In: ignored. Out: length of the item in bytes; 0 if the response contains no
 *   item or it cannot be decoded.
 * @retval SOR_OK The local service succeeded; check *pOIDValueLen.
 * @retval SOR_NULLPOINTERERR pCert, szOID or pOIDValueLen is null.
 * @retval SOR_COMMUNICATIONERR The local service could not be reached.
 * @retval SOR_JSONPARSEERR The response of the local service is not JSON, or is too long.
 * @retval SOR_UNKNOWNERR The response of the local service has no result code.
 * @retval SOR_MEMORYERR Out of memory, or the request exceeds 4 GiB.
 * @retval other A result code of the local service.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API uint32_t SOF_GetCertInfoByOid(const uint8_t* pCert, uint32_t uCertLen, const char* szOID,
                                           uint8_t* pOIDValue, uint32_t* pOIDValueLen);

/**
 * @brief Validates a certificate with the local service.
 *
 * Source: GM/T 0020.
 * @param[in] pCert DER certificate.
 * @param[in] uCertLen Length of pCert in bytes.
 * @retval SOR_OK The certificate is valid.
 * @retval SOR_NULLPOINTERERR pCert is null.
 * @retval SOR_COMMUNICATIONERR The local service could not be reached.
 * @retval SOR_JSONPARSEERR The response of the local service is not JSON, or is too long.
 * @retval SOR_UNKNOWNERR The response of the local service has no result code.
 * @retval SOR_MEMORYERR Out of memory, or the request exceeds 4 GiB.
 * @retval other A result code of the local service.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API uint32_t SOF_ValidateCert(const uint8_t* pCert, uint32_t uCertLen);

/**
 * @brief Returns the key algorithm of a certificate.
 *
 * Works in process, through the crypto module.
 * @param[in] pCert DER certificate.
 * @param[in] uCertLen Length of pCert in bytes.
 * @param[out] pAlgType 10: RSA with a 2048-bit key. 40: any key that is not RSA, such as SM2. 0: RSA with
 *   another key length, or the certificate could not be parsed.
 * @retval SOR_OK The certificate was parsed; *pAlgType may still be 0.
 * @retval SOR_NULLPOINTERERR pCert or pAlgType is null.
 * @retval SOR_CERTPARSEERR The certificate could not be parsed.
 * @retval SOR_MEMORYERR Out of memory.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API uint32_t SOF_GetCertAlg(const uint8_t* pCert, uint32_t uCertLen, uint32_t* pAlgType);

/** @} */

/**
 * @defgroup velm_sof_unsupported Unsupported certificate functions
 * Exported so that programs link; each function only writes a log line. Arguments beyond the declared ones
 * are ignored.
 * @{
 */

/**
 * @brief Parses a certificate; not supported.
 * @param[in] pCert Certificate; not read.
 * @param[in] uCertLen Length of pCert in bytes.
 * @param[in] infoFlags Items to read.
 * @param[in] oids Object identifiers to read; may be null.
 * @retval SOR_NOTSUPPORTYETERR Always, unless memory runs out.
 * @retval SOR_MEMORYERR Memory ran out.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API uint32_t SOF_Ext_ParseCertInfo(const uint8_t* pCert, uint32_t uCertLen, uint32_t infoFlags,
                                            const char* oids);

/**
 * @brief Builds a certificate chain; not supported.
 * @param[in] pCert Certificate; not read.
 * @param[in] uCertLen Length of pCert in bytes.
 * @retval SOR_NOTSUPPORTYETERR Always, unless memory runs out.
 * @retval SOR_MEMORYERR Memory ran out.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API uint32_t SOF_Ext_GetCertChain(const uint8_t* pCert, uint32_t uCertLen);

/**
 * @brief Creates a certificate request (PKCS#10); not supported.
 * @param[in] pszContainerName Container name; may be null.
 * @retval SOR_NOTSUPPORTYETERR Always, unless memory runs out.
 * @retval SOR_MEMORYERR Memory ran out.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API uint32_t SOF_Ext_GenCSR(const char* pszContainerName);

/**
 * @brief Parses a certificate request (PKCS#10); not supported.
 * @param[in] csrData Certificate request; not read.
 * @param[in] csrDataLen Length of csrData in bytes.
 * @retval SOR_NOTSUPPORTYETERR Always, unless memory runs out.
 * @retval SOR_MEMORYERR Memory ran out.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API uint32_t SOF_Ext_ParseCSR(const uint8_t* csrData, uint32_t csrDataLen);

/** @} */

/**
 * @defgroup velm_sof_service_signing Service signing
 * Signatures created and verified by the local service, and the sign method.
 * @{
 */

/**
 * @brief Stores the process's sign method.
 *
 * Source: GM/T 0020. Requests to the local service do not contain the method. Side effect: if the method is
 * exactly 16, SOF_Ext_PKCS7_SignFile() takes its file as base64 text, otherwise as raw bytes.
 * SOF_SetEncryptMethod() sets the same switch; the later call applies.
 * @param[in] lSignMethod Sign method; all values are accepted.
 * @retval SOR_OK Always, unless memory runs out.
 * @retval SOR_MEMORYERR Memory ran out.
 * @par Thread safety
 * May be called from any thread. The value is shared by the process and is not locked.
 */
VELM_SOF_API uint32_t SOF_SetSignMethod(int32_t lSignMethod);

/**
 * @brief Returns the process's sign method.
 *
 * Source: GM/T 0020. The return value is the method, not a result code.
 * @retval 0 No method has been set, or the method is 0.
 * @retval other The method set last, as an unsigned number.
 * @par Thread safety
 * May be called from any thread. The value is shared by the process and is not locked.
 */
VELM_SOF_API uint32_t SOF_GetSignMethod(void);

/**
 * @brief Signs data with the signing key of a container.
 *
 * Source: GM/T 0020. Size query: a null pSignedData stores 1024. The buffer size is not checked, and a
 * signature may exceed the result of the size query: 1536 bytes are always enough.
 * @param[in] pszContainerName Container name.
 * @param[in] pInData Data to sign.
 * @param[in] uInDataLen Length of pInData in bytes.
 * @param[out] pSignedData The signature, at most 1536 bytes; null for the size query.
 * @param[in,out] pSignedDataLen In: ignored. Out: bytes written; 0 if the response contains no signature or
 *   it cannot be decoded.
 * @retval SOR_OK The signature was written (*pSignedDataLen is not 0), there is none (*pSignedDataLen is 0),
 *   or the size query was answered.
 * @retval SOR_NULLPOINTERERR pszContainerName, pInData or pSignedDataLen is null.
 * @retval SOR_COMMUNICATIONERR The local service could not be reached.
 * @retval SOR_JSONPARSEERR The response of the local service is not JSON, or is too long.
 * @retval SOR_UNKNOWNERR The response of the local service has no result code.
 * @retval SOR_MEMORYERR Out of memory, or the request exceeds 4 GiB.
 * @retval other A result code of the local service.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API uint32_t SOF_SignData(const char* pszContainerName, const uint8_t* pInData, uint32_t uInDataLen,
                                   uint8_t* pSignedData, uint32_t* pSignedDataLen);

/**
 * @brief Verifies a signature over data with a certificate.
 *
 * Source: GM/T 0020.
 * @param[in] pSignCert The signer's DER certificate.
 * @param[in] uSignCertLen Length of pSignCert in bytes.
 * @param[in] pPlainData Data that was signed.
 * @param[in] uPlainDataLen Length of pPlainData in bytes.
 * @param[in] pSignedData The signature.
 * @param[in] uSignedDataLen Length of pSignedData in bytes.
 * @retval SOR_OK The signature is valid.
 * @retval SOR_NULLPOINTERERR pSignCert, pPlainData or pSignedData is null.
 * @retval SOR_COMMUNICATIONERR The local service could not be reached.
 * @retval SOR_JSONPARSEERR The response of the local service is not JSON, or is too long.
 * @retval SOR_UNKNOWNERR The response of the local service has no result code.
 * @retval SOR_MEMORYERR Out of memory, or the request exceeds 4 GiB.
 * @retval other A result code of the local service.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API uint32_t SOF_VerifySignedData(const uint8_t* pSignCert, uint32_t uSignCertLen,
                                           const uint8_t* pPlainData, uint32_t uPlainDataLen,
                                           const uint8_t* pSignedData, uint32_t uSignedDataLen);

/**
 * @brief Creates a signed message (PKCS#7, or the SM2 form of GM/T 0010) with the signing key of a container.
 *
 * Source: GM/T 0020. Size query: a null pSignedMessage stores 8192, plus uInDataLen if lFlag is 0. The buffer
 * size is not checked. 6144 bytes, plus 1.25 times uInDataLen if lFlag is 0, are always enough; above 8,192
 * bytes of data this exceeds the result of the size query.
 * @param[in] lFlag 0: the message contains the data. The local service defines other values.
 * @param[in] pszContainerName Container name; not checked.
 * @param[in] pInData Data to sign; not checked.
 * @param[in] uInDataLen Length of pInData in bytes.
 * @param[out] pSignedMessage The DER message; null for the size query.
 * @param[in,out] puSignedMessageLen In: ignored. Out: bytes written; 0 if the response contains no message or
 *   it cannot be decoded. Not checked for null.
 * @retval SOR_OK The message was written (*puSignedMessageLen is not 0), there is none (*puSignedMessageLen
 *   is 0), or the size query was answered.
 * @retval SOR_COMMUNICATIONERR The local service could not be reached.
 * @retval SOR_JSONPARSEERR The response of the local service is not JSON, or is too long.
 * @retval SOR_UNKNOWNERR The response of the local service has no result code.
 * @retval SOR_MEMORYERR Out of memory, or the request exceeds 4 GiB.
 * @retval other A result code of the local service.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API uint32_t SOF_SignMessage(int32_t lFlag, const char* pszContainerName, const uint8_t* pInData,
                                      uint32_t uInDataLen, uint8_t* pSignedMessage,
                                      uint32_t* puSignedMessageLen);

/**
 * @brief Verifies a signed message (PKCS#7, or the SM2 form of GM/T 0010).
 *
 * Source: GM/T 0020.
 * @param[in] pMessageData The DER message.
 * @param[in] uMessageDataLen Length of pMessageData in bytes.
 * @param[in] pPlainData Data that was signed, if the message does not contain it; otherwise null.
 * @param[in] uPlainDataLen Length of pPlainData in bytes.
 * @retval SOR_OK The message is valid.
 * @retval SOR_NULLPOINTERERR pMessageData is null.
 * @retval SOR_COMMUNICATIONERR The local service could not be reached.
 * @retval SOR_JSONPARSEERR The response of the local service is not JSON, or is too long.
 * @retval SOR_UNKNOWNERR The response of the local service has no result code.
 * @retval SOR_MEMORYERR Out of memory, or the request exceeds 4 GiB.
 * @retval other A result code of the local service.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API uint32_t SOF_VerifySignedMessage(const uint8_t* pMessageData, uint32_t uMessageDataLen,
                                              const uint8_t* pPlainData, uint32_t uPlainDataLen);

/**
 * @brief Reads one item of a signed message.
 *
 * Source: GM/T 0020. Size query: a null pInfo stores uSignedMessageLen. The buffer size is not checked:
 * uSignedMessageLen bytes are always enough.
 * @param[in] pSignedMessage The DER message; not checked.
 * @param[in] uSignedMessageLen Length of pSignedMessage in bytes.
 * @param[in] lInfoType Item to read; the local service defines the values.
 * @param[out] pInfo The item, without a terminating zero; null for the size query.
 * @param[out] puInfoLen Bytes written. Not checked for null.
 * @retval SOR_OK The item was written, or the size query was answered.
 * @retval SOR_COMMUNICATIONERR The local service could not be reached.
 * @retval SOR_UNKNOWNERR The response of the local service is malformed or too long.
 * @retval SOR_MEMORYERR Out of memory, or a size exceeds 32 bits.
 * @retval other A result code of the local service.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API uint32_t SOF_GetInfoFromSignedMessage(const uint8_t* pSignedMessage, uint32_t uSignedMessageLen,
                                                   int32_t lInfoType, uint8_t* pInfo, uint32_t* puInfoLen);

/**
 * @brief Signs a hash value with the signing key of a container.
 *
 * Size query: a null pSignedData stores 1024. The buffer size is not checked, and a signature may exceed the
 * result of the size query: 1536 bytes are always enough.
 * @param[in] pszContainerName Container name; not checked.
 * @param[in] uiHashAlgorithmID Hash algorithm; the local service defines the values.
 * @param[in] uiInDataType Kind of pInData; the local service defines the values.
 * @param[in] pInData Hash value; not checked.
 * @param[in] uiInDataLen Length of pInData in bytes.
 * @param[out] pSignedData The signature, at most 1536 bytes; null for the size query.
 * @param[in,out] puSignedDataLen In: ignored. Out: bytes written; 0 if the response contains no signature or
 *   it cannot be decoded. Not checked for null.
 * @retval SOR_OK The signature was written (*puSignedDataLen is not 0), there is none (*puSignedDataLen is
 *   0), or the size query was answered.
 * @retval SOR_COMMUNICATIONERR The local service could not be reached.
 * @retval SOR_JSONPARSEERR The response of the local service is not JSON, or is too long.
 * @retval SOR_UNKNOWNERR The response of the local service has no result code.
 * @retval SOR_MEMORYERR Out of memory, or the request exceeds 4 GiB.
 * @retval other A result code of the local service.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API uint32_t SOF_Ext_SignHash(const char* pszContainerName, uint32_t uiHashAlgorithmID,
                                       uint32_t uiInDataType, const uint8_t* pInData, uint32_t uiInDataLen,
                                       uint8_t* pSignedData, uint32_t* puSignedDataLen);

/** @} */

/**
 * @defgroup velm_sof_file_signature File signature
 * Raw signatures over files, created and verified by the signature provider.
 * @{
 */

/**
 * @brief Signs a file with the signing key of a container.
 *
 * Source: GM/T 0020. The first of these texts that the container name contains selects the digest: "RSA_1024"
 * SHA-1, "RSA_2048" SHA-256, "SCAN_" SHA-256, "SM2" SM3 with the default user ID (GM/T 0009).
 *
 * @warning False success: if the name contains none of the four texts, the function signs nothing, leaves
 *   *pSignedDataLen unchanged and returns #SOR_OK. To detect this, query the size with *pSignedDataLen set to
 *   0: a result of 0 means that nothing will be signed.
 * @param[in] pszContainerName Container name.
 * @param[in] pszInFilePath File to sign, in the local code page.
 * @param[out] pSignedData The signature. Not checked: null is passed to the signature provider, which may
 *   support a size query.
 * @param[in,out] pSignedDataLen In: size of pSignedData in bytes. Out: bytes written.
 * @retval SOR_OK The file was signed, or the container name selects no digest.
 * @retval SOR_NULLPOINTERERR pszContainerName, pszInFilePath or pSignedDataLen is null.
 * @retval other The signature provider's result, mapped to a constant of this header.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API uint32_t SOF_SignFile(const char* pszContainerName, const char* pszInFilePath,
                                   uint8_t* pSignedData, uint32_t* pSignedDataLen);

/**
 * @brief Verifies the raw signature of a file with a certificate.
 *
 * Source: GM/T 0020. The length of the signature selects the digest: below 128 bytes SM3 with the default
 * user ID of GM/T 0009 (SM2), 128 bytes SHA-1, 256 bytes SHA-256.
 * @param[in] pSignCert The signer's DER certificate.
 * @param[in] uSignCertLen Length of pSignCert in bytes.
 * @param[in] pszInFilePath File that was signed, in the local code page.
 * @param[in] pSignedData The signature.
 * @param[in] uSignedDataLen Length of pSignedData in bytes: below 128, 128 or 256.
 * @retval SOR_OK The signature is valid.
 * @retval SOR_NULLPOINTERERR pSignCert, pszInFilePath or pSignedData is null.
 * @retval SOR_INDATALENERR The length of the signature is not supported.
 * @retval other The signature provider's result, mapped to a constant of this header.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API uint32_t SOF_VerifySignedFile(const uint8_t* pSignCert, uint32_t uSignCertLen,
                                           const char* pszInFilePath, const uint8_t* pSignedData,
                                           uint32_t uSignedDataLen);

/** @} */

/**
 * @defgroup velm_sof_hash_verification Hash verification
 * Verifies signatures in process against a hash value computed by the caller.
 * @{
 */

/**
 * @brief Verifies a PKCS#7 signed message against a hash value.
 *
 * @warning False success: if the signature is shorter than 128 bytes, as in every SM2 message, the function
 *   returns #SOR_OK without verifying it. Use SOF_Ext_PKCS7_VerifySignedFile() or SOF_VerifySignedMessage()
 *   for such messages.
 *
 * @warning A message with signed attributes is never verified. Its message digest attribute is compared with
 *   128 zero bytes instead of the caller's hash value. The function returns #SOR_HASHERR, or #SOR_OK if the
 *   message digest is itself 128 zero bytes. An attacker can create such a message: do not use this function
 *   for messages from untrusted sources.
 * @param[in] pMessageData The DER message.
 * @param[in] uMessageDataLen Length of pMessageData in bytes.
 * @param[in] pHashedData Hash value of the content; not checked.
 * @param[in] uiHashedDataLen Length of pHashedData in bytes.
 * @retval SOR_OK The message is valid, or was not verified: its signature is shorter than 128 bytes, or its
 *   signed attributes contain a message digest of 128 zero bytes.
 * @retval SOR_NULLPOINTERERR pMessageData is null.
 * @retval SOR_HASHERR The message has signed attributes.
 * @retval SOR_MEMORYERR Out of memory.
 * @retval other The signature provider's result, mapped to a constant of this header.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API uint32_t SOF_Ext_VerifySignedMessage(const uint8_t* pMessageData, uint32_t uMessageDataLen,
                                                  const uint8_t* pHashedData, uint32_t uiHashedDataLen);

/**
 * @brief Verifies a raw signature over a hash value with a certificate.
 *
 * With an RSA certificate the hash value must be SHA-1 (20 bytes) or SHA-256 (32 bytes). With an SM2
 * certificate the signature provider defines the valid lengths, and the hash value must include the
 * preprocessing of GM/T 0009.
 * @param[in] pSignCert The signer's DER certificate.
 * @param[in] uSignCertLen Length of pSignCert in bytes.
 * @param[in] pHashedData Hash value that was signed.
 * @param[in] uiHashedDataLen Length of pHashedData in bytes.
 * @param[in] pSignedData The signature.
 * @param[in] uSignedDataLen Length of pSignedData in bytes.
 * @retval SOR_OK The signature is valid.
 * @retval SOR_NULLPOINTERERR pSignCert, pHashedData or pSignedData is null.
 * @retval SOR_CERTPARSEERR The certificate could not be parsed.
 * @retval SOR_NOTSUPPORTYETERR RSA: the length of the hash value is not supported.
 * @retval SOR_MEMORYERR Out of memory.
 * @retval other The signature provider's result, mapped to a constant of this header.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API uint32_t SOF_Ext_VerifySignedHash(const uint8_t* pSignCert, uint32_t uSignCertLen,
                                               const uint8_t* pHashedData, uint32_t uiHashedDataLen,
                                               const uint8_t* pSignedData, uint32_t uSignedDataLen);

/**
 * @brief Rewrites the object identifiers of an SM2 signed message (GM/T 0010).
 *
 * There is no size query.
 * @param[in] mode What to rewrite; the signature provider defines the values.
 * @param[in] input The DER message.
 * @param[in] inputLen Length of input in bytes.
 * @param[out] output The rewritten message.
 * @param[in,out] outputLen In: size of output in bytes. Out: bytes written.
 * @retval SOR_OK The message was rewritten.
 * @retval SOR_NULLPOINTERERR input, output or outputLen is null.
 * @retval other The signature provider's result, mapped to a constant of this header.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API uint32_t SOF_Ext_ReplaceSM2Pkcs7SignedOID(uint32_t mode, const uint8_t* input, uint32_t inputLen,
                                                       uint8_t* output, uint32_t* outputLen);

/** @} */

/**
 * @defgroup velm_sof_pkcs7_file_signing PKCS#7 file signing
 * Creates signed messages over whole files, in process.
 * @{
 */

/**
 * @brief Creates a signed message (PKCS#7, or the SM2 form of GM/T 0010) over a file.
 *
 * The key of the signing certificate selects the format and the digest: SM3 for SM2, SHA-1 for RSA with 1024
 * bits, SHA-256 for other RSA keys. If SOF_SetSignMethod() was last called with 16, or SOF_SetEncryptMethod()
 * with bit 0x10 set, the file is base64 text and is decoded first; the later of the two calls applies. The
 * file is read into memory and must be smaller than 2 GiB.
 *
 * @warning The function only finds a certificate if the container name contains "SCAN_CONTAINER". The
 *   certificate is read from the device, from the label with the container name and the suffix "_FromCache".
 *   For all other names the function returns #SOR_CERTNOTFOUNDERR.
 * @param[in] flag 0: sign the content with the standard encoder. 1: sign the content with the extended
 *   encoder. 2: the file is a hash value of 20 bytes (SHA-1) or 32 bytes (SHA-256); RSA only.
 * @param[in] pszContainerName Container name.
 * @param[in] pszInFilePath File to sign, in UTF-8 or in the local code page; not empty.
 * @param[out] pOutData The DER message. Not checked: null is passed to the signature provider, which may
 *   support a size query.
 * @param[in,out] pOutDataLen In: size of pOutData in bytes. Out: bytes written.
 * @retval SOR_OK The message was written.
 * @retval SOR_NULLPOINTERERR pszContainerName, pszInFilePath or pOutDataLen is null.
 * @retval SOR_FILEERR The path could not be converted to the local code page.
 * @retval SOR_FILEOPENERR The file could not be opened, or its size is 2 GiB or more.
 * @retval SOR_INDATALENERR The file is empty.
 * @retval SOR_CERTNOTFOUNDERR There is no certificate for this container.
 * @retval SOR_CERTPARSEERR The signing certificate could not be parsed.
 * @retval SOR_NOTSUPPORTYETERR The flag is not supported for this key, or the length of the hash value is not
 *   supported.
 * @retval SOR_MEMORYERR Out of memory.
 * @retval SOR_UNKNOWNERR The cached certificate could not be read from the device.
 * @retval other The signature provider's result, mapped to a constant of this header.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API uint32_t SOF_Ext_PKCS7_SignFile(uint32_t flag, const char* pszContainerName,
                                             const char* pszInFilePath, uint8_t* pOutData,
                                             uint32_t* pOutDataLen);

/** @} */

/**
 * @defgroup velm_sof_pkcs7_file_verification PKCS#7 file verification
 * Verifies signed messages over whole files, in process.
 * @{
 */

/**
 * @brief Verifies a signed message (PKCS#7, or the SM2 form of GM/T 0010) with attached content, or with the
 *   content in a file.
 *
 * A signature shorter than 128 bytes is verified as SM2 with the default user ID (GM/T 0009), otherwise as
 * RSA. If the message has signed attributes, the signature is verified over them and the content against
 * their message digest. The certificate is not validated. The file is read into memory and must be smaller
 * than 2 GiB.
 * @param[in] flag 0: the message contains its content. Any other value: the file contains the content.
 * @param[in] pMessageData The DER message.
 * @param[in] uMessageDataLen Length of pMessageData in bytes.
 * @param[in] pszInFilePath File with the content, in UTF-8 or in the local code page; not empty. With flag 0
 *   it is not opened, but must not be null.
 * @retval SOR_OK The message is valid.
 * @retval SOR_NULLPOINTERERR pMessageData or pszInFilePath is null.
 * @retval SOR_FILEERR The path could not be converted to the local code page.
 * @retval SOR_FILEOPENERR The file could not be opened, or its size is 2 GiB or more.
 * @retval SOR_INDATALENERR The file is empty.
 * @retval SOR_HASHERR The content does not match the message digest of the signed attributes.
 * @retval SOR_MEMORYERR Out of memory.
 * @retval other The signature provider's result, mapped to a constant of this header.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API uint32_t SOF_Ext_PKCS7_VerifySignedFile(uint32_t flag, const uint8_t* pMessageData,
                                                     uint32_t uMessageDataLen, const char* pszInFilePath);

/** @} */

/**
 * @defgroup velm_sof_xml_signature XML signature
 * Verifies and reads signed XML with the signature provider.
 * @{
 */

/**
 * @brief Signs XML; not supported.
 *
 * Source: GM/T 0020. The output is never written; there is no size query.
 * @param[in] pszContainerName Container name.
 * @param[in] pInData XML to sign.
 * @param[in] uInDataLen Length of pInData in bytes.
 * @param[out] pOutData Not written; not checked.
 * @param[in,out] pOutDataLen Not written.
 * @retval SOR_NOTSUPPORTYETERR The arguments passed the checks.
 * @retval SOR_NULLPOINTERERR pszContainerName, pInData or pOutDataLen is null.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API uint32_t SOF_SignDataXML(const char* pszContainerName, const uint8_t* pInData,
                                      uint32_t uInDataLen, uint8_t* pOutData, uint32_t* pOutDataLen);

/**
 * @brief Verifies signed XML.
 *
 * Source: GM/T 0020.
 * @param[in] pMessageData Signed XML.
 * @param[in] uMessageDataLen Length of pMessageData in bytes.
 * @retval SOR_OK The signature is valid.
 * @retval SOR_NULLPOINTERERR pMessageData is null.
 * @retval other The signature provider's result, mapped to a constant of this header.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API uint32_t SOF_VerifySignedDataXML(const uint8_t* pMessageData, uint32_t uMessageDataLen);

/**
 * @brief Reads one item of signed XML.
 *
 * Source: GM/T 0020. Size query: a null pInfo stores the exact length of the item; the XML is parsed for
 * this. The buffer size is not checked: query the size first.
 * @param[in] pSignedData Signed XML.
 * @param[in] uSignedDataLen Length of pSignedData in bytes.
 * @param[in] uInfoType Item to read, 1 to 6, in the order in which the signature provider returns them.
 * @param[out] pInfo The item, without a terminating zero; null for the size query.
 * @param[in,out] pInfoLen In: ignored. Out: length of the item in bytes. Not checked for null.
 * @retval SOR_OK The item was written, or the size query was answered.
 * @retval SOR_NULLPOINTERERR pSignedData is null.
 * @retval SOR_NOTSUPPORTYETERR uInfoType is not 1 to 6; the XML was parsed first.
 * @retval SOR_MEMORYERR Out of memory.
 * @retval other The signature provider's result, mapped to a constant of this header.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API uint32_t SOF_GetXMLSignatureInfo(const uint8_t* pSignedData, uint32_t uSignedDataLen,
                                              uint32_t uInfoType, uint8_t* pInfo, uint32_t* pInfoLen);

/** @} */

/**
 * @defgroup velm_sof_service_encryption Service encryption
 * Digital envelopes (CMS EnvelopedData) and key operations of the local service, and the encrypt method.
 * @{
 */

/**
 * @brief Stores the process's encrypt method.
 *
 * Source: GM/T 0020; the values are those of GM/T 0006. SOF_EncryptFile() uses the method if the envelope
 * type is not 2; SOF_EncryptData() does not use it. Side effect: if bit 0x10 is set, SOF_Ext_PKCS7_SignFile()
 * takes its file as base64 text, otherwise as raw bytes. SOF_SetSignMethod() sets the same switch; the later
 * call applies.
 * @param[in] lEncMethod Encrypt method; all values are accepted.
 * @retval SOR_OK Always.
 * @par Thread safety
 * May be called from any thread. The value is shared by the process and is not locked.
 */
VELM_SOF_API uint32_t SOF_SetEncryptMethod(int32_t lEncMethod);

/**
 * @brief Returns the process's encrypt method.
 *
 * Source: GM/T 0020. The return value is the method, not a result code.
 * @retval 0x00002002 No method has been set, or the method is 0x00002002.
 * @retval 0x00000402 SM4-CBC: set by the caller, or by SOF_EncryptFile() for an SM2 certificate.
 * @retval other The method set last, as an unsigned number.
 * @par Thread safety
 * May be called from any thread. The value is shared by the process and is not locked.
 */
VELM_SOF_API uint32_t SOF_GetEncryptMethod(void);

/**
 * @brief Encrypts data into a digital envelope for the holder of a certificate.
 *
 * Source: GM/T 0020. Size query: a null pEncryptedData stores uPlainDataLen + 1024. The buffer size is not
 * checked: that many bytes are always enough.
 * @param[in] pEncryptCert The recipient's DER certificate.
 * @param[in] uEncryptCertLen Length of pEncryptCert in bytes.
 * @param[in] pPlainData Data to encrypt.
 * @param[in] uPlainDataLen Length of pPlainData in bytes.
 * @param[out] pEncryptedData The digital envelope; null for the size query.
 * @param[out] pEncryptedDataLen Bytes written.
 * @retval SOR_OK The digital envelope was written, or the size query was answered.
 * @retval SOR_NULLPOINTERERR pEncryptCert, pPlainData or pEncryptedDataLen is null.
 * @retval SOR_COMMUNICATIONERR The local service could not be reached.
 * @retval SOR_UNKNOWNERR The response of the local service is malformed or too long.
 * @retval SOR_MEMORYERR Out of memory, or a size exceeds 32 bits.
 * @retval other A result code of the local service.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API uint32_t SOF_EncryptData(const uint8_t* pEncryptCert, uint32_t uEncryptCertLen,
                                      const uint8_t* pPlainData, uint32_t uPlainDataLen,
                                      uint8_t* pEncryptedData, uint32_t* pEncryptedDataLen);

/**
 * @brief Decrypts a digital envelope with the key of a container.
 *
 * Source: GM/T 0020. Size query: a null pPlainData stores uEncryptedDataLen. The buffer size is not checked:
 * that many bytes are always enough.
 * @param[in] pszContainerName Container name; not checked.
 * @param[in] pEncryptedData The digital envelope.
 * @param[in] uEncryptedDataLen Length of pEncryptedData in bytes.
 * @param[out] pPlainData The data; null for the size query.
 * @param[out] pPlainDataLen Bytes written.
 * @retval SOR_OK The data was written, or the size query was answered.
 * @retval SOR_NULLPOINTERERR pEncryptedData or pPlainDataLen is null.
 * @retval SOR_COMMUNICATIONERR The local service could not be reached.
 * @retval SOR_UNKNOWNERR The response of the local service is malformed or too long.
 * @retval SOR_MEMORYERR Out of memory, or a size exceeds 32 bits.
 * @retval other A result code of the local service.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API uint32_t SOF_DecryptData(const char* pszContainerName, const uint8_t* pEncryptedData,
                                      uint32_t uEncryptedDataLen, uint8_t* pPlainData,
                                      uint32_t* pPlainDataLen);

/**
 * @brief Encrypts data with a public key, without a digital envelope.
 *
 * No pointer is checked. Size query: a null pOutData stores uKeyDataLen + 1024. The buffer size is not
 * checked: that many bytes are always enough.
 * @param[in] pKeyData Public key or certificate.
 * @param[in] uKeyDataLen Length of pKeyData in bytes.
 * @param[in] pInData Data to encrypt.
 * @param[in] uInDataLen Length of pInData in bytes.
 * @param[out] pOutData The ciphertext; null for the size query.
 * @param[out] pOutDataLen Bytes written.
 * @retval SOR_OK The ciphertext was written, or the size query was answered.
 * @retval SOR_COMMUNICATIONERR The local service could not be reached.
 * @retval SOR_UNKNOWNERR The response of the local service is malformed or too long.
 * @retval SOR_MEMORYERR Out of memory, or a size exceeds 32 bits.
 * @retval other A result code of the local service.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API uint32_t SOF_Ext_AsymmEncryptData(const uint8_t* pKeyData, uint32_t uKeyDataLen,
                                               const uint8_t* pInData, uint32_t uInDataLen, uint8_t* pOutData,
                                               uint32_t* pOutDataLen);

/**
 * @brief Decrypts data with a private key of a container.
 *
 * No pointer is checked. Size query: a null pOutData stores uInDataLen + 1024. The buffer size is not
 * checked: that many bytes are always enough.
 * @param[in] pszContainerName Container name.
 * @param[in] uKeySpec Key of the container; the local service defines the values.
 * @param[in] pInData The ciphertext.
 * @param[in] uInDataLen Length of pInData in bytes.
 * @param[out] pOutData The data; null for the size query.
 * @param[out] pOutDataLen Bytes written.
 * @retval SOR_OK The data was written, or the size query was answered.
 * @retval SOR_COMMUNICATIONERR The local service could not be reached.
 * @retval SOR_UNKNOWNERR The response of the local service is malformed or too long.
 * @retval SOR_MEMORYERR Out of memory, or a size exceeds 32 bits.
 * @retval other A result code of the local service.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API uint32_t SOF_Ext_AsymmDecryptData(const char* pszContainerName, uint32_t uKeySpec,
                                               const uint8_t* pInData, uint32_t uInDataLen, uint8_t* pOutData,
                                               uint32_t* pOutDataLen);

/**
 * @brief Fetches a public key of a container.
 *
 * No pointer is checked. Size query: a null pPublicKey stores 1024. The buffer size is not checked: that
 * many bytes are always enough.
 * @param[in] pszContainerName Container name.
 * @param[in] uKeySpec Key of the container; the local service defines the values.
 * @param[out] pPublicKey The public key; null for the size query.
 * @param[out] pPublicKeyLen Bytes written.
 * @retval SOR_OK The key was written, or the size query was answered.
 * @retval SOR_COMMUNICATIONERR The local service could not be reached.
 * @retval SOR_UNKNOWNERR The response of the local service is malformed or too long.
 * @retval SOR_MEMORYERR Out of memory, or a size exceeds 32 bits.
 * @retval other A result code of the local service.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API uint32_t SOF_Ext_ExportPublicKey(const char* pszContainerName, uint32_t uKeySpec,
                                              uint8_t* pPublicKey, uint32_t* pPublicKeyLen);

/** @} */

/**
 * @defgroup velm_sof_file_envelope File envelope
 * Digital envelopes (CMS EnvelopedData) of whole files, and the envelope type.
 * @{
 */

/**
 * @brief Encrypts a file into a digital envelope for the holder of a certificate.
 *
 * Source: GM/T 0020. With envelope type 2, the default, the file is read into memory (less than 2 GiB) and
 * encrypted by SOF_EncryptData(). With any other type the signature provider encrypts it with the encrypt
 * method. Side effect: an SM2 certificate sets the encrypt method of the process to 0x00000402 (SM4-CBC)
 * permanently, even if the function then fails.
 *
 * @warning With envelope type 2 a short write, for example on a full disk, is not detected: the function
 *   returns #SOR_OK and the digital envelope is truncated. It cannot be decrypted. If the disk may be full,
 *   decrypt the digital envelope before deleting the original.
 * @param[in] pEncryptCert The recipient's DER certificate.
 * @param[in] uEncryptCertLen Length of pEncryptCert in bytes.
 * @param[in] pszInFilePath File to encrypt, in UTF-8 or in the local code page; not empty with envelope type
 *   2.
 * @param[in] pszOutFilePath File to write, in UTF-8 or in the local code page; an existing one is replaced.
 * @retval SOR_OK The digital envelope was written.
 * @retval SOR_NULLPOINTERERR pEncryptCert, pszInFilePath or pszOutFilePath is null.
 * @retval SOR_CERTPARSEERR The certificate could not be parsed.
 * @retval SOR_FILEERR A path could not be converted to the local code page.
 * @retval SOR_FILEOPENERR Envelope type 2: a file could not be opened, or the size of the input file is 2 GiB
 *   or more.
 * @retval SOR_INDATALENERR Envelope type 2: the file is empty.
 * @retval SOR_MEMORYERR Out of memory.
 * @retval SOR_COMMUNICATIONERR Envelope type 2: the local service could not be reached.
 * @retval SOR_UNKNOWNERR Envelope type 2: the response of the local service is malformed or too long.
 * @retval other Envelope type 2: a result code of the local service. Otherwise the signature provider's
 *   result, mapped to a constant of this header.
 * @par Thread safety
 * May be called from any thread. The function reads the envelope type and the encrypt method, and sets the
 * encrypt method for an SM2 certificate. Both are shared by the process and are not locked.
 */
VELM_SOF_API uint32_t SOF_EncryptFile(const uint8_t* pEncryptCert, uint32_t uEncryptCertLen,
                                      const char* pszInFilePath, const char* pszOutFilePath);

/**
 * @brief Decrypts the digital envelope of a file with the key of a container.
 *
 * Source: GM/T 0020. The signature provider decrypts it file to file. A digital envelope that it can only
 * decrypt in memory is read into memory (less than 2 GiB). The envelope type is ignored.
 *
 * @warning If the digital envelope is decrypted in memory, a short write, for example on a full disk, is not
 *   detected: the function returns #SOR_OK and the file is truncated. Check the content before deleting the
 *   digital envelope.
 * @param[in] pszContainerName Container name.
 * @param[in] pszInFilePath File with the digital envelope, in UTF-8 or in the local code page; not empty.
 * @param[in] pszOutFilePath File to write, in UTF-8 or in the local code page; an existing one is replaced.
 * @retval SOR_OK The file was written.
 * @retval SOR_NULLPOINTERERR A parameter is null.
 * @retval SOR_FILEERR A path could not be converted to the local code page.
 * @retval SOR_FILEOPENERR A file could not be opened, or the size of a digital envelope that must be
 *   decrypted in memory is 2 GiB or more.
 * @retval SOR_INDATALENERR The file is empty.
 * @retval SOR_MEMORYERR Out of memory.
 * @retval other The signature provider's result, mapped to a constant of this header.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API uint32_t SOF_DecryptFile(const char* pszContainerName, const char* pszInFilePath,
                                      const char* pszOutFilePath);

/**
 * @brief Stores the process's envelope type.
 * @param[in] lEnvType 2, the initial value: SOF_EncryptFile() encrypts in memory through the local service.
 *   Any other value: through the signature provider.
 * @retval SOR_OK Always, unless memory runs out.
 * @retval SOR_MEMORYERR Memory ran out.
 * @par Thread safety
 * May be called from any thread. The value is shared by the process and is not locked.
 */
VELM_SOF_API uint32_t SOF_Ext_SetEnvelopType(uint32_t lEnvType);

/** @} */

/**
 * @defgroup velm_sof_symmetric Symmetric encryption
 * In process, with a key of the caller. Algorithm identifiers are those of GM/T 0006: 0x400 (SM4) or another
 * cipher, plus 1 ECB, 2 CBC, 4 CFB or 8 OFB.
 * @{
 */

/**
 * @brief Encrypts data with a symmetric key.
 *
 * There is no size query: pbOutData must have room for uInDataLen bytes and one cipher block. The crypto
 * module selects the padding according to the cipher and mode.
 * @param[in] uSymmAlg Algorithm identifier; only bits 0 to 7 (mode) and 8 to 19 (cipher) are used.
 * @param[in] uPaddingMode Ignored, except in the log.
 * @param[in] pIV Initialisation vector, one cipher block; null if the mode requires none. Not checked.
 * @param[in] pbSymmKey The key.
 * @param[in] uSymmKeyLen Length of pbSymmKey in bytes.
 * @param[in] pbInData Data to encrypt.
 * @param[in] uInDataLen Length of pbInData in bytes.
 * @param[out] pbOutData The ciphertext.
 * @param[out] puOutDataLen Bytes written; the input value is ignored.
 * @retval SOR_OK The ciphertext was written.
 * @retval SOR_NULLPOINTERERR pbSymmKey, pbInData, pbOutData or puOutDataLen is null.
 * @retval SOR_INDATAERR The crypto module rejects the algorithm, the key or the initialisation vector.
 * @retval SOR_UNKNOWNERR The encryption failed.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API uint32_t SOF_Ext_SymmEncrypt(uint32_t uSymmAlg, uint32_t uPaddingMode, const uint8_t* pIV,
                                          const uint8_t* pbSymmKey, uint32_t uSymmKeyLen,
                                          const uint8_t* pbInData, uint32_t uInDataLen, uint8_t* pbOutData,
                                          uint32_t* puOutDataLen);

/**
 * @brief Decrypts data with a symmetric key.
 *
 * There is no size query: pbOutData must have room for uInDataLen bytes and one cipher block.
 * @param[in] uSymmAlg Algorithm identifier; only bits 0 to 7 (mode) and 8 to 19 (cipher) are used.
 * @param[in] uPaddingMode Ignored, except in the log.
 * @param[in] pIV Initialisation vector, one cipher block; null if the mode requires none. Not checked.
 * @param[in] pbSymmKey The key.
 * @param[in] uSymmKeyLen Length of pbSymmKey in bytes.
 * @param[in] pbInData The ciphertext.
 * @param[in] uInDataLen Length of pbInData in bytes.
 * @param[out] pbOutData The data.
 * @param[out] puOutDataLen Bytes written; the input value is ignored.
 * @retval SOR_OK The data was written.
 * @retval SOR_NULLPOINTERERR pbSymmKey, pbInData, pbOutData or puOutDataLen is null.
 * @retval SOR_INDATAERR The crypto module rejects the algorithm, the key or the initialisation vector.
 * @retval SOR_UNKNOWNERR The decryption failed.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API uint32_t SOF_Ext_SymmDecrypt(uint32_t uSymmAlg, uint32_t uPaddingMode, const uint8_t* pIV,
                                          const uint8_t* pbSymmKey, uint32_t uSymmKeyLen,
                                          const uint8_t* pbInData, uint32_t uInDataLen, uint8_t* pbOutData,
                                          uint32_t* puOutDataLen);

/**
 * @brief Encrypts a file with a symmetric key.
 *
 * The signature provider reads and writes the files.
 * @param[in] ulSymmAlg Algorithm identifier, passed on unchanged.
 * @param[in] pbIV Initialisation vector; not checked.
 * @param[in] ulIVLen Length of pbIV in bytes.
 * @param[in] pbSymmKey The key.
 * @param[in] ulSymmKeyLen Length of pbSymmKey in bytes.
 * @param[in] pszInFilePath File to encrypt, in the local code page.
 * @param[in] pszOutFilePath File to write, in the local code page.
 * @retval SOR_OK The file was written.
 * @retval SOR_NULLPOINTERERR pbSymmKey, pszInFilePath or pszOutFilePath is null.
 * @retval other The signature provider's result, mapped to a constant of this header.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API uint32_t SOF_Ext_SymmEncryptFile(uint32_t ulSymmAlg, const uint8_t* pbIV, uint32_t ulIVLen,
                                              const uint8_t* pbSymmKey, uint32_t ulSymmKeyLen,
                                              const char* pszInFilePath, const char* pszOutFilePath);

/**
 * @brief Decrypts a file with a symmetric key.
 *
 * The signature provider reads and writes the files.
 * @param[in] ulSymmAlg Algorithm identifier, passed on unchanged.
 * @param[in] pbIV Initialisation vector; not checked.
 * @param[in] ulIVLen Length of pbIV in bytes.
 * @param[in] pbSymmKey The key.
 * @param[in] ulSymmKeyLen Length of pbSymmKey in bytes.
 * @param[in] pszInFilePath File to decrypt, in the local code page.
 * @param[in] pszOutFilePath File to write, in the local code page.
 * @retval SOR_OK The file was written.
 * @retval SOR_NULLPOINTERERR pbSymmKey, pszInFilePath or pszOutFilePath is null.
 * @retval other The signature provider's result, mapped to a constant of this header.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API uint32_t SOF_Ext_SymmDecryptFile(uint32_t ulSymmAlg, const uint8_t* pbIV, uint32_t ulIVLen,
                                              const uint8_t* pbSymmKey, uint32_t ulSymmKeyLen,
                                              const char* pszInFilePath, const char* pszOutFilePath);

/** @} */

/**
 * @defgroup velm_sof_time_stamp Time stamp
 * Time-stamp tokens (RFC 3161) and the time of a time-stamp authority (TSA), through the signature provider.
 * If the output buffer is null, the signature provider stores the required size.
 * @{
 */

/**
 * @brief Reads the time of the TSA.
 * @param[out] pucTime The time in the provider's format; null for the size query.
 * @param[in,out] pulTimeLen In: size of pucTime in bytes. Out: bytes written or required.
 * @retval SOR_OK The time was written, or the size query was answered.
 * @retval SOR_NULLPOINTERERR pulTimeLen is null.
 * @retval other The signature provider's result, mapped to a constant of this header.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API uint32_t SOF_Ext_TspGetTime(uint8_t* pucTime, uint32_t* pulTimeLen);

/**
 * @brief Fetches a time-stamp token for data.
 * @param[in] pszContainerName Container name.
 * @param[in] pucInData Data to time-stamp.
 * @param[in] ulInDataLen Length of pucInData in bytes.
 * @param[out] pucStampResp The time-stamp token; null for the size query.
 * @param[in,out] pulStampRespLen In: size of pucStampResp in bytes. Out: bytes written or required.
 * @retval SOR_OK The time-stamp token was written, or the size query was answered.
 * @retval SOR_NULLPOINTERERR pszContainerName, pucInData or pulStampRespLen is null.
 * @retval other The signature provider's result, mapped to a constant of this header.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API uint32_t SOF_Ext_TspGetStamp(const char* pszContainerName, const uint8_t* pucInData,
                                          uint32_t ulInDataLen, uint8_t* pucStampResp,
                                          uint32_t* pulStampRespLen);

/**
 * @brief Verifies a time-stamp token for data.
 * @param[in] pucInData Data that was time-stamped.
 * @param[in] ulInDataLen Length of pucInData in bytes.
 * @param[in] pucStamp The time-stamp token.
 * @param[in] ulStampLen Length of pucStamp in bytes.
 * @param[in] pucTsaCert Certificate of the TSA.
 * @param[in] ulTsaCertLen Length of pucTsaCert in bytes.
 * @param[out] pucTimeInfo The time in the token, in the provider's format; null for the size query.
 * @param[in,out] pulTimeInfoLen In: size of pucTimeInfo in bytes. Out: bytes written or required.
 * @retval SOR_OK The time-stamp token is valid, or the size query was answered.
 * @retval SOR_NULLPOINTERERR pucInData, pucStamp, pucTsaCert or pulTimeInfoLen is null.
 * @retval other The signature provider's result, mapped to a constant of this header.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API uint32_t SOF_Ext_TspVerifyStamp(const uint8_t* pucInData, uint32_t ulInDataLen,
                                             const uint8_t* pucStamp, uint32_t ulStampLen,
                                             const uint8_t* pucTsaCert, uint32_t ulTsaCertLen,
                                             uint8_t* pucTimeInfo, uint32_t* pulTimeInfoLen);

/**
 * @brief Fetches a time-stamp token for a file.
 * @param[in] pszContainerName Container name.
 * @param[in] pucInFile The file, as the signature provider expects it.
 * @param[in] ulInFileLen Length of pucInFile in bytes.
 * @param[out] pucStampResp The time-stamp token; null for the size query.
 * @param[in,out] pulStampRespLen In: size of pucStampResp in bytes. Out: bytes written or required.
 * @retval SOR_OK The time-stamp token was written, or the size query was answered.
 * @retval SOR_NULLPOINTERERR pszContainerName, pucInFile or pulStampRespLen is null.
 * @retval other The signature provider's result, mapped to a constant of this header.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API uint32_t SOF_Ext_TspGetFileStamp(const char* pszContainerName, const uint8_t* pucInFile,
                                              uint32_t ulInFileLen, uint8_t* pucStampResp,
                                              uint32_t* pulStampRespLen);

/**
 * @brief Verifies a time-stamp token for a file.
 * @param[in] pucInFile The file, as the signature provider expects it.
 * @param[in] ulInFileLen Length of pucInFile in bytes.
 * @param[in] pucStamp The time-stamp token.
 * @param[in] ulStampLen Length of pucStamp in bytes.
 * @param[in] pucTsaCert Certificate of the TSA.
 * @param[in] ulTsaCertLen Length of pucTsaCert in bytes.
 * @param[out] pucTimeInfo The time in the token, in the provider's format; null for the size query.
 * @param[in,out] pulTimeInfoLen In: size of pucTimeInfo in bytes. Out: bytes written or required.
 * @retval SOR_OK The time-stamp token is valid, or the size query was answered.
 * @retval SOR_NULLPOINTERERR pucInFile, pucStamp, pucTsaCert or pulTimeInfoLen is null.
 * @retval other The signature provider's result, mapped to a constant of this header.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API uint32_t SOF_Ext_TspVerifyFileStamp(const uint8_t* pucInFile, uint32_t ulInFileLen,
                                                 const uint8_t* pucStamp, uint32_t ulStampLen,
                                                 const uint8_t* pucTsaCert, uint32_t ulTsaCertLen,
                                                 uint8_t* pucTimeInfo, uint32_t* pulTimeInfoLen);

/**
 * @brief Reads the time of the TSA, with the application handle of the signature provider.
 *
 * @warning False success: if the signature provider cannot be opened, the function writes nothing and returns
 *   #SOR_OK. To detect this, query the size with a null pucTime and *pulTimeLen set to 0: a result of 0 means
 *   that the signature provider was not opened.
 * @param[out] pucTime The time in the provider's format; null for the size query.
 * @param[in,out] pulTimeLen In: size of pucTime in bytes. Out: bytes written or required.
 * @retval SOR_OK The time was written, the size query was answered, or the signature provider could not be
 *   opened.
 * @retval SOR_NULLPOINTERERR pulTimeLen is null.
 * @retval other The signature provider's result, mapped to a constant of this header.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API uint32_t SOF_Ext_GM_Tsp_GetTime(uint8_t* pucTime, uint32_t* pulTimeLen);

/**
 * @brief Fetches a time-stamp token for data, with the application handle of the signature provider.
 *
 * @warning False success: if the signature provider cannot be opened, the function writes nothing and returns
 *   #SOR_OK. *pulStampRespLen is then unchanged; this can be detected if the buffer size never equals the
 *   size of the token.
 * @param[in] ulSelector Digest algorithm of the time-stamp token (GM/T 0006: 1 SM3, 2 SHA-1, 4 SHA-256), as
 *   the signature provider defines it. The software token uses SM3 for 0.
 * @param[in] pucInData Data to time-stamp.
 * @param[in] ulInDataLen Length of pucInData in bytes.
 * @param[out] pucStampResp The time-stamp token; null for the size query.
 * @param[in,out] pulStampRespLen In: size of pucStampResp in bytes. Out: bytes written or required.
 * @retval SOR_OK The time-stamp token was written, the size query was answered, or the signature provider
 *   could not be opened.
 * @retval SOR_NULLPOINTERERR pucInData or pulStampRespLen is null.
 * @retval other The signature provider's result, mapped to a constant of this header.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API uint32_t SOF_Ext_GM_Tsp_SealTimeStamp(uint32_t ulSelector, const uint8_t* pucInData,
                                                   uint32_t ulInDataLen, uint8_t* pucStampResp,
                                                   uint32_t* pulStampRespLen);

/**
 * @brief Verifies a time-stamp token for data, with the application handle of the signature provider.
 *
 * @warning False success: if the signature provider cannot be opened, the function verifies and writes
 *   nothing and returns #SOR_OK. *pulTimeInfoLen is then unchanged; only a changed value proves that the
 *   time-stamp token was verified.
 * @param[in] pucInData Data that was time-stamped.
 * @param[in] ulInDataLen Length of pucInData in bytes.
 * @param[in] pucStamp The time-stamp token.
 * @param[in] ulStampLen Length of pucStamp in bytes.
 * @param[in] pucTsaCert Certificate of the TSA.
 * @param[in] ulTsaCertLen Length of pucTsaCert in bytes.
 * @param[out] pucTimeInfo The time in the token, in the provider's format; null for the size query.
 * @param[in,out] pulTimeInfoLen In: size of pucTimeInfo in bytes. Out: bytes written or required.
 * @retval SOR_OK The time-stamp token is valid, the size query was answered, or the signature provider could
 *   not be opened.
 * @retval SOR_NULLPOINTERERR pucInData, pucStamp, pucTsaCert or pulTimeInfoLen is null.
 * @retval other The signature provider's result, mapped to a constant of this header.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API uint32_t SOF_Ext_GM_Tsp_VerifyTimeStamp(const uint8_t* pucInData, uint32_t ulInDataLen,
                                                     const uint8_t* pucStamp, uint32_t ulStampLen,
                                                     const uint8_t* pucTsaCert, uint32_t ulTsaCertLen,
                                                     uint8_t* pucTimeInfo, uint32_t* pulTimeInfoLen);

/** @} */

/**
 * @defgroup velm_sof_user_data User data
 * Data files stored by the local service per container.
 * @{
 */

/**
 * @brief Reads from a user data file.
 *
 * No argument is checked, and there is no size query. The number of bytes read is not returned: if fewer than
 * ulReadLen bytes are read, the rest of the buffer is unchanged.
 * @param[in] pszContainerName Container name.
 * @param[in] ulFileType Type of file; the local service defines the values.
 * @param[in] ulFileIndex Index of the file.
 * @param[in] ulOffset Offset of the first byte.
 * @param[in] ulReadLen Number of bytes to read.
 * @param[out] pReadData Receives at most ulReadLen bytes.
 * @retval SOR_OK The bytes were written.
 * @retval SOR_COMMUNICATIONERR The local service could not be reached.
 * @retval SOR_UNKNOWNERR The response of the local service is malformed or too long.
 * @retval SOR_MEMORYERR Out of memory, or a size exceeds 32 bits.
 * @retval other A result code of the local service.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API uint32_t SOF_Ext_ReadUsrDataFile(const char* pszContainerName, uint32_t ulFileType,
                                              uint32_t ulFileIndex, uint32_t ulOffset, uint32_t ulReadLen,
                                              uint8_t* pReadData);

/**
 * @brief Writes to a user data file.
 *
 * No argument is checked. The PIN is sent to the local service as plain text, without escaping.
 * @param[in] pszContainerName Container name.
 * @param[in] pPin PIN of the container, up to its first zero byte or uPinLen bytes.
 * @param[in] uPinLen Length of pPin in bytes.
 * @param[in] ulFileType Type of file; the local service defines the values.
 * @param[in] ulFileIndex Index of the file.
 * @param[in] ulOffset Offset of the first byte.
 * @param[in] ulWriteLen Length of pWriteData in bytes. Note that it precedes the data.
 * @param[in] pWriteData Data to write.
 * @retval SOR_OK The data was written.
 * @retval SOR_COMMUNICATIONERR The local service could not be reached.
 * @retval SOR_JSONPARSEERR The response of the local service is not JSON, or is too long.
 * @retval SOR_UNKNOWNERR The response of the local service has no result code.
 * @retval SOR_MEMORYERR Out of memory, or the request exceeds 4 GiB.
 * @retval other A result code of the local service.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API uint32_t SOF_Ext_WriteUsrDataFile(const char* pszContainerName, const uint8_t* pPin,
                                               uint32_t uPinLen, uint32_t ulFileType, uint32_t ulFileIndex,
                                               uint32_t ulOffset, uint32_t ulWriteLen,
                                               const uint8_t* pWriteData);

/** @} */

/**
 * @defgroup velm_sof_device_storage Device storage
 * Files and labels on the device, control commands, device list and product version, through the signature
 * provider. If the output buffer is null, the signature provider stores the required size.
 * @{
 */

/**
 * @brief Lists the files of a container's application.
 * @param[in] pszContainerName Container name.
 * @param[out] pszFileNameList The names in the provider's format; null for the size query.
 * @param[in,out] pulFileNameListLen In: size of pszFileNameList in bytes. Out: bytes written or required.
 * @retval SOR_OK The list was written, or the size query was answered.
 * @retval SOR_NULLPOINTERERR pszContainerName or pulFileNameListLen is null.
 * @retval other The signature provider's result, mapped to a constant of this header.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API uint32_t SOF_Ext_EnumFile(const char* pszContainerName, char* pszFileNameList,
                                       uint32_t* pulFileNameListLen);

/**
 * @brief Creates a file on the device.
 * @param[in] pszContainerName Container name.
 * @param[in] pszFileName Name of the file.
 * @param[in] fileLen Size of the file in bytes.
 * @param[in] readRights Read rights; the device defines the values.
 * @param[in] writeRights Write rights; the device defines the values.
 * @retval SOR_OK The file was created.
 * @retval SOR_NULLPOINTERERR pszContainerName or pszFileName is null.
 * @retval other The signature provider's result, mapped to a constant of this header.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API uint32_t SOF_Ext_CreateFile(const char* pszContainerName, const char* pszFileName,
                                         uint32_t fileLen, uint32_t readRights, uint32_t writeRights);

/**
 * @brief Deletes a file on the device.
 * @param[in] pszContainerName Container name.
 * @param[in] pszFileName Name of the file.
 * @retval SOR_OK The file was deleted.
 * @retval SOR_NULLPOINTERERR pszContainerName or pszFileName is null.
 * @retval other The signature provider's result, mapped to a constant of this header.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API uint32_t SOF_Ext_DeleteFile(const char* pszContainerName, const char* pszFileName);

/**
 * @brief Reads from a file on the device.
 * @param[in] pszContainerName Container name.
 * @param[in] pszFileName Name of the file.
 * @param[in] offset Offset of the first byte.
 * @param[in] readLen Number of bytes to read.
 * @param[out] pFileData The bytes; null for the size query.
 * @param[in,out] pulReadLen In: size of pFileData in bytes. Out: bytes written or required. Not checked for
 *   null.
 * @retval SOR_OK The bytes were written, or the size query was answered.
 * @retval SOR_NULLPOINTERERR pszContainerName or pszFileName is null.
 * @retval other The signature provider's result, mapped to a constant of this header.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API uint32_t SOF_Ext_ReadFile(const char* pszContainerName, const char* pszFileName, uint32_t offset,
                                       uint32_t readLen, uint8_t* pFileData, uint32_t* pulReadLen);

/**
 * @brief Writes to a file on the device.
 * @param[in] pszContainerName Container name.
 * @param[in] pszFileName Name of the file.
 * @param[in] offset Offset of the first byte.
 * @param[in] pFileData Data to write; must not be null even if fileDataLen is 0.
 * @param[in] fileDataLen Length of pFileData in bytes.
 * @retval SOR_OK The data was written.
 * @retval SOR_NULLPOINTERERR pszContainerName, pszFileName or pFileData is null.
 * @retval other The signature provider's result, mapped to a constant of this header.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API uint32_t SOF_Ext_WriteFile(const char* pszContainerName, const char* pszFileName,
                                        uint32_t offset, const uint8_t* pFileData, uint32_t fileDataLen);

/**
 * @brief Reads the attributes of a file on the device.
 *
 * The three outputs are not checked.
 * @param[in] pszContainerName Container name.
 * @param[in] pszFileName Name of the file.
 * @param[out] pFileSize Size of the file in bytes.
 * @param[out] pReadRights Read rights; the device defines the values.
 * @param[out] pWriteRights Write rights; the device defines the values.
 * @retval SOR_OK The attributes were written.
 * @retval SOR_NULLPOINTERERR pszContainerName or pszFileName is null.
 * @retval other The signature provider's result, mapped to a constant of this header.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API uint32_t SOF_Ext_GetFileAttribute(const char* pszContainerName, const char* pszFileName,
                                               uint32_t* pFileSize, uint32_t* pReadRights,
                                               uint32_t* pWriteRights);

/**
 * @brief Sends a control command to the device.
 * @param[in] pszContainerName Container name; not checked.
 * @param[in] szControlName Name of the control; the device defines the names.
 * @param[in] szControlCommand Command of the control.
 * @retval SOR_OK The device accepted the command.
 * @retval SOR_NULLPOINTERERR szControlName or szControlCommand is null.
 * @retval other The signature provider's result, mapped to a constant of this header.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API uint32_t SOF_Ext_Control(const char* pszContainerName, const char* szControlName,
                                      const char* szControlCommand);

/**
 * @brief Lists the devices.
 * @param[out] pDeviceInfo The list in the provider's format; null for the size query.
 * @param[in,out] puiDeviceInfoLen In: size of pDeviceInfo in bytes. Out: bytes written or required.
 * @retval SOR_OK The list was written, or the size query was answered.
 * @retval SOR_NULLPOINTERERR puiDeviceInfoLen is null.
 * @retval other The signature provider's result, mapped to a constant of this header.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API uint32_t SOF_Ext_EnumDevice(uint8_t* pDeviceInfo, uint32_t* puiDeviceInfoLen);

/**
 * @brief Reads a label from the device.
 * @param[in] pszContainerName Container name.
 * @param[in] pucName Name of the label; a terminating zero is not required.
 * @param[in] ulNameLen Length of pucName in bytes.
 * @param[in] ulType Type of the label; the signature provider defines the values.
 * @param[out] pucOutData Content of the label; null for the size query.
 * @param[in,out] pulOutDataLen In: size of pucOutData in bytes. Out: bytes written or required.
 * @retval SOR_OK The content was written, or the size query was answered.
 * @retval SOR_NULLPOINTERERR pszContainerName, pucName or pulOutDataLen is null.
 * @retval other The signature provider's result, mapped to a constant of this header.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API uint32_t SOF_Ext_ReadLabel(const char* pszContainerName, const char* pucName, uint32_t ulNameLen,
                                        uint32_t ulType, uint8_t* pucOutData, uint32_t* pulOutDataLen);

/**
 * @brief Returns the product version of the signature provider.
 *
 * There is no size query. The first and the fourth argument are pointer-sized and passed on unchanged.
 * @param[in,out] pFirst First argument of the provider's function; cast an integer to pass it.
 * @param[out] pszVersion The version text with its terminating zero.
 * @param[in] uBufferSize Size of pszVersion in bytes, at least 256.
 * @param[in,out] pFourth Fourth argument of the provider's function; cast an integer to pass it.
 * @retval SOR_OK The version was written.
 * @retval SOR_NULLPOINTERERR pszVersion is null.
 * @retval SOR_INDATALENERR uBufferSize is below 256.
 * @retval other The signature provider's result, mapped to a constant of this header.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API uint32_t SOF_Ext_GetProductVersion(void* pFirst, char* pszVersion, uint32_t uBufferSize,
                                                void* pFourth);

/** @} */

/**
 * @defgroup velm_sof_seal Seal
 * Electronic seals stored with a container.
 * @{
 */

/**
 * @brief Counts the seals of a container.
 *
 * There is no size query.
 * @param[in] pszContainerName Container name.
 * @param[out] puSealCount Number of seals; 0 if a successful response contains no count.
 * @retval SOR_OK The count was written.
 * @retval SOR_NULLPOINTERERR pszContainerName or puSealCount is null.
 * @retval SOR_COMMUNICATIONERR The local service could not be reached.
 * @retval SOR_JSONPARSEERR The response of the local service is not JSON, or is too long.
 * @retval SOR_UNKNOWNERR The response of the local service has no result code.
 * @retval SOR_MEMORYERR Out of memory, or the request exceeds 4 GiB.
 * @retval other A result code of the local service.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API uint32_t SOF_Ext_EnumSeal(const char* pszContainerName, uint32_t* puSealCount);

/**
 * @brief Reads one item of a seal.
 *
 * There is no size query, and the buffer size is not checked: 49,152 bytes are always enough.
 * @param[in] pszContainerName Container name.
 * @param[in] uSealIndex Index of the seal.
 * @param[in] uInfoType Item to read; the local service defines the values.
 * @param[out] pInfo The item, at most 49,152 bytes; if null, only its length is stored.
 * @param[out] pInfoLen Length of the item in bytes; 0 if the response contains no item or it cannot be
 *   decoded.
 * @retval SOR_OK The local service succeeded; check *pInfoLen.
 * @retval SOR_NULLPOINTERERR pszContainerName or pInfoLen is null.
 * @retval SOR_COMMUNICATIONERR The local service could not be reached.
 * @retval SOR_JSONPARSEERR The response of the local service is not JSON, or is too long.
 * @retval SOR_UNKNOWNERR The response of the local service has no result code.
 * @retval SOR_MEMORYERR Out of memory, or the request exceeds 4 GiB.
 * @retval other A result code of the local service.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API uint32_t SOF_Ext_GetSeaInfo(const char* pszContainerName, uint32_t uSealIndex,
                                         uint32_t uInfoType, uint8_t* pInfo, uint32_t* pInfoLen);

/**
 * @brief Parses a seal; not supported.
 *
 * Takes no parameters. An alias of SOF_Ext_ParseSealInfo(), with the same address.
 * @retval SOR_NOTSUPPORTYETERR Always.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API uint32_t SOF_Ext_GetSealInfoEPoint(void);

/**
 * @brief Parses a seal; not supported.
 *
 * Takes no parameters. An alias of SOF_Ext_GetSealInfoEPoint(), with the same address.
 * @retval SOR_NOTSUPPORTYETERR Always.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API uint32_t SOF_Ext_ParseSealInfo(void);

/** @} */

/**
 * @defgroup velm_sof_hash_base64 Hash and base64
 * In process. SOF_Base64Encode() and SOF_Base64Decode() use the crypto module, the other functions the
 * signature provider.
 * @{
 */

/**
 * @brief Hashes data.
 *
 * With a public key and a user ID (GM/T 0009), SM3 includes the preprocessing of GM/T 0009. If the output
 * buffer is null, the signature provider stores the required size.
 * @param[in] uiAlgorithmType Digest algorithm of GM/T 0006: 1 SM3, 2 SHA-1, 4 SHA-256.
 * @param[in] pucInData Data to hash.
 * @param[in] ulInDataLen Length of pucInData in bytes.
 * @param[in] pucPublicKey The signer's public key in the provider's format, or null.
 * @param[in] ulPublicKeyLen Length of pucPublicKey in bytes.
 * @param[in] pucID User ID (GM/T 0009), or null.
 * @param[in] ulIDLen Length of pucID in bytes.
 * @param[out] pucOutData The hash value; null for the size query.
 * @param[in,out] pulOutDataLen In: size of pucOutData in bytes. Out: bytes written or required; unchanged
 *   on failure.
 * @retval SOR_OK The hash value was written, or the size query was answered.
 * @retval SOR_NULLPOINTERERR pucInData or pulOutDataLen is null.
 * @retval other The signature provider's result, mapped to a constant of this header.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API uint32_t SOF_Ext_HashData(uint32_t uiAlgorithmType, const uint8_t* pucInData,
                                       uint32_t ulInDataLen, const uint8_t* pucPublicKey,
                                       uint32_t ulPublicKeyLen, const uint8_t* pucID, uint32_t ulIDLen,
                                       uint8_t* pucOutData, uint32_t* pulOutDataLen);

/**
 * @brief Hashes a file.
 *
 * The first five arguments are passed to the provider's function unchanged. The first four are pointer-sized:
 * cast an integer to pass it. If the output buffer is null, the signature provider stores the required size.
 * @param[in] pFirst First argument of the provider's function.
 * @param[in] pSecond Second argument of the provider's function.
 * @param[in] pThird Third argument of the provider's function.
 * @param[in] pFourth Fourth argument of the provider's function.
 * @param[in] ulFifth Fifth argument of the provider's function.
 * @param[in] pszInFilePath File to hash, in the local code page.
 * @param[out] pucOutData The hash value; null for the size query.
 * @param[in,out] pulOutDataLen In: size of pucOutData in bytes. Out: bytes written or required.
 * @retval SOR_OK The hash value was written, or the size query was answered.
 * @retval SOR_NULLPOINTERERR pszInFilePath or pulOutDataLen is null.
 * @retval other The signature provider's result, mapped to a constant of this header.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API uint32_t SOF_Ext_HashFile(const void* pFirst, const void* pSecond, const void* pThird,
                                       const void* pFourth, uint32_t ulFifth, const char* pszInFilePath,
                                       uint8_t* pucOutData, uint32_t* pulOutDataLen);

/**
 * @brief Encodes bytes in base64.
 *
 * Size query: a null pEncodeData stores 2 * uOrignalDataLen + 16. The buffer size is not checked: that many
 * bytes are always enough.
 * @param[in] pOrignalData Data to encode.
 * @param[in] uOrignalDataLen Length of pOrignalData in bytes.
 * @param[out] pEncodeData The base64 text; null for the size query.
 * @param[in,out] pEncodeDataLen In: ignored. Out: length of the text in bytes.
 * @retval SOR_OK The text was written, or the size query was answered.
 * @retval SOR_NULLPOINTERERR pOrignalData or pEncodeDataLen is null.
 * @retval SOR_BASE64ENCODEERR The crypto module failed.
 * @retval SOR_MEMORYERR The result of the size query or the length of the text exceeds 32 bits.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API uint32_t SOF_Base64Encode(const uint8_t* pOrignalData, uint32_t uOrignalDataLen,
                                       uint8_t* pEncodeData, uint32_t* pEncodeDataLen);

/**
 * @brief Decodes base64 text.
 *
 * Size query: a null pDecodeData stores uEncodeDataLen. The buffer size is not checked: that many bytes are
 * always enough.
 * @param[in] pEncodeData Base64 text.
 * @param[in] uEncodeDataLen Length of pEncodeData in bytes.
 * @param[out] pDecodeData The decoded bytes; null for the size query.
 * @param[in,out] pDecodeDataLen In: ignored. Out: number of decoded bytes.
 * @retval SOR_OK The bytes were written, or the size query was answered.
 * @retval SOR_NULLPOINTERERR pEncodeData or pDecodeDataLen is null.
 * @retval SOR_BASE64DECODEERR The text is not base64.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API uint32_t SOF_Base64Decode(const uint8_t* pEncodeData, uint32_t uEncodeDataLen,
                                       uint8_t* pDecodeData, uint32_t* pDecodeDataLen);

/**
 * @brief Encodes bytes in base64 with the signature provider.
 *
 * If the output buffer is null, the signature provider stores the required size.
 * @param[in] pucInData Data to encode.
 * @param[in] ulInDataLen Length of pucInData in bytes.
 * @param[out] pucOutData The base64 text; null for the size query.
 * @param[in,out] pulOutDataLen In: size of pucOutData in bytes. Out: bytes written or required; unchanged
 *   on failure. Not checked for null.
 * @retval SOR_OK The text was written, or the size query was answered.
 * @retval SOR_NULLPOINTERERR pucInData is null.
 * @retval SOR_MEMORYERR The length of the text exceeds 32 bits.
 * @retval other The signature provider's result, mapped to a constant of this header.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API uint32_t SOF_Ext_Base64Encode(const uint8_t* pucInData, uint32_t ulInDataLen,
                                           uint8_t* pucOutData, uint32_t* pulOutDataLen);

/**
 * @brief Decodes base64 text with the signature provider.
 *
 * If the output buffer is null, the signature provider stores the required size.
 * @param[in] pucInData Base64 text.
 * @param[in] ulInDataLen Length of pucInData in bytes.
 * @param[out] pucOutData The decoded bytes; null for the size query.
 * @param[in,out] pulOutDataLen In: size of pucOutData in bytes. Out: bytes written or required; unchanged
 *   on failure. Not checked for null.
 * @retval SOR_OK The bytes were written, or the size query was answered.
 * @retval SOR_NULLPOINTERERR pucInData is null.
 * @retval other The signature provider's result, mapped to a constant of this header.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API uint32_t SOF_Ext_Base64Decode(const uint8_t* pucInData, uint32_t ulInDataLen,
                                           uint8_t* pucOutData, uint32_t* pulOutDataLen);

/** @} */

/**
 * @defgroup velm_sof_configuration Configuration
 * Settings of the local service.
 * @{
 */

/**
 * @brief Changes a setting of the local service.
 *
 * @warning If logging is verbose (the path `c:\\velm_log` existed when the library was loaded), the value is
 *   written to the log file in hexadecimal.
 * @param[in] uiSetType Setting; the local service defines the values.
 * @param[in] pSetVal The value; not checked.
 * @param[in] uiValLen Length of pSetVal in bytes.
 * @retval SOR_OK The local service accepted the setting.
 * @retval SOR_COMMUNICATIONERR The local service could not be reached.
 * @retval SOR_UNKNOWNERR The response of the local service is malformed or too long.
 * @retval SOR_MEMORYERR Out of memory, or a size exceeds 32 bits.
 * @retval other A result code of the local service.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API uint32_t SOF_Config(uint32_t uiSetType, const uint8_t* pSetVal, uint32_t uiValLen);

/**
 * @brief Reads a setting of the local service; not supported.
 * @param[in] uiSetType Setting.
 * @retval SOR_NOTSUPPORTYETERR Always, unless memory runs out.
 * @retval SOR_MEMORYERR Memory ran out.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API uint32_t SOF_Ext_Get_Config(uint32_t uiSetType);

/** @} */

/**
 * @defgroup velm_sof_error_text Error text
 * Short Chinese texts for the result codes.
 * @{
 */

/**
 * @brief Returns the text of a result code.
 *
 * If the code has no text, as the five negative codes, the buffer is unchanged: clear it first. There is no
 * size query and no length parameter: 43 bytes are enough for every text.
 * @param[in] code Result code.
 * @param[out] pszErrInfo The text in GBK with its terminating zero, at most 43 bytes. Not checked for null.
 * @par Thread safety
 * May be called from any thread, concurrently.
 */
VELM_SOF_API void SOF_Ext_GetErrInfo(uint32_t code, char* pszErrInfo);

/** @} */
#ifdef __cplusplus
}
#endif

#endif /* VELM_SOF_CLIENT_H */
