/**
 * @file velm_sof_client.h
 * @brief The certificate application service interface of this library: 88 functions and their result codes.
 *
 * The functions named `SOF_...` offer the interface of GM/T 0020; those named `SOF_Ext_...` extend it. Plain
 * C: the header compiles alone as C99 and as C++. Link against the import library of `velm_sof_client.dll`.
 *
 * @section velm_sof_codes Result codes
 * Every function but SOF_Ext_GetErrInfo(), SOF_GetSignMethod() and SOF_GetEncryptMethod() returns a 32-bit
 * result code: #SOR_OK on success, otherwise one of the constants below or a code of the service, passed on
 * as it stands. SOF_Ext_GetErrInfo() gives the text of each but the five negative constants. A code that the
 * service sends as JSON becomes 0x7FFFFFFF if it is above that. Three codes mean the same everywhere:
 * - #SOR_NULLPOINTERERR: a pointer that the function checks is null. The first one in parameter order
 *   decides.
 * - #SOR_MEMORYERR: an allocation failed, or a size passes what 32 bits can carry.
 * - #SOR_UNKNOWNERR: an error without a code of its own.
 *
 * No exception leaves a function. A failing call writes no output unless its description says so.
 *
 * @section velm_sof_buffers Output buffers and size queries
 * Outputs go into buffers that the caller owns; lengths are in bytes. A variable-size output is a buffer and
 * a pointer to a 32-bit length. Where a function has a size query, a null buffer makes it store an upper
 * bound for the output in the length and return #SOR_OK without any other work.
 *
 * **Most functions do not compare the output with the length that comes in.** The description of each says so
 * and names the size that is always enough. Outputs have no terminating zero unless the description names
 * one.
 *
 * @section velm_sof_texts Text encodings
 * - Container names are passed on as given, byte by byte, in UTF-8 or GBK as the service and the device know
 *   them.
 * - A file path that the library opens or converts may be in UTF-8 or in the local code page. It is taken as
 *   UTF-8 when all its characters have the form of UTF-8 and none has two bytes, since every two-byte UTF-8
 *   sequence is also a GBK character. A last character that the end cuts off counts as UTF-8, whatever is
 *   left of it: a path in the local code page that ends in the bytes E7 E5, or in E9, is mistaken for UTF-8,
 *   and what it is converted to names no file. Three ASCII characters at the end, such as those of an
 *   extension, leave nothing to cut off. A path that the library only hands on must be in the local code
 *   page; the description says which of the two holds.
 * - The user list comes back in GB18030 where the system has that code page (54936), else in GBK (936); the
 *   error texts come back in GBK, a part of GB18030. Other texts of the service come back in UTF-8.
 * - Texts enter JSON requests without escaping. A quotation mark or backslash in a container name, an object
 *   identifier or the PIN of SOF_Ext_WriteUsrDataFile() yields a request that the service cannot read, or one
 *   that says something else: a name can end its text and go on with members of its own. Hand on no name
 *   that a stranger chose.
 *
 * @section velm_sof_null Null pointers
 * Pointers that a function checks are answered with #SOR_NULLPOINTERERR. No other null pointer is ever
 * followed by the library: a null text stands for `(null)` in a JSON request and for the empty text in a byte
 * frame, a null input block for zero bytes, and a null output only skips that one write. What a function of a
 * provider module does with a null pointer that is handed on to it is that module's affair.
 *
 * @section velm_sof_threads Threads
 * Functions may be called from any thread, several at once; each call owns its buffers and its connection.
 * Four values belong to the whole process and are not locked: the sign method, the encrypt method, the
 * envelope type, and whether SOF_Ext_PKCS7_SignFile() takes its file as base64 text, which both methods set.
 * What one thread sets, later calls of every thread see. The signature provider is opened by the first
 * function that needs it; threads that get there at the same moment may each open it, and the last one wins,
 * so a program that cares makes its first such call before it starts threads.
 *
 * @section velm_sof_backends Who does the work
 * These functions ask the local service, by HTTP POST to 127.0.0.1, port 55661, with a limit of 10 seconds of
 * silence each while connecting, sending and receiving, and answer #SOR_COMMUNICATIONERR when it cannot be
 * reached: environment, login (but SOF_Ext_Login()), SOF_GetDeviceInfo() and SOF_GetUserList(), certificates
 * (but SOF_GetCertAlg()), service signing, service encryption, user data, seals (but the parsing pair) and
 * SOF_Config(). SOF_EncryptFile() asks it too while the envelope type is 2. The methods and the envelope type
 * are only stored.
 *
 * All others work in process through the provider modules `velm_client_saf.dll`, `velm_openssl_api.dll`,
 * `velm_common.dll` and `velm_dev_enum.dll`, or answer by themselves. The service's functions use
 * `velm_openssl_api.dll` for base64.
 *
 * @section velm_sof_provider Results of the signature provider
 * Results of `velm_client_saf.dll` (GM/T 0019, 0x02000000 family) become constants of this header, most of
 * them the one with the same meaning; a result that has no constant becomes #SOR_UNKNOWNERR. The raw result
 * is logged. Functions of that module that take an application handle get a null one until one of these has
 * opened it: SOF_SignFile(), SOF_VerifySignedDataXML(), SOF_GetXMLSignatureInfo(), SOF_Ext_PKCS7_SignFile()
 * and the three SOF_Ext_GM_Tsp_ functions.
 */
#ifndef VELM_SOF_CLIENT_H
#define VELM_SOF_CLIENT_H

#include <stdint.h>

/** @brief Marks what the library exports: imported from the DLL, unless the DLL itself is being built. */
#if defined(_WIN32) && !defined(VELM_SOF_CLIENT_BUILD)
#define VELM_SOF_API __declspec(dllimport)
#else
#define VELM_SOF_API
#endif

/** @name General, memory and input (GM/T 0020)
 * @{ */
#define SOR_OK                     0x00000000u  /**< Success. */
#define SOR_UNKNOWNERR             0x0B000001u  /**< An error without a code of its own. */
#define SOR_NOTSUPPORTYETERR       0x0B000002u  /**< The service is not supported. */
#define SOR_FILEERR                0x0B000003u  /**< A file operation failed. */
#define SOR_PROVIDERTYPEERR        0x0B000004u  /**< The provider's parameter type is wrong. */
#define SOR_LOADPROVIDERERR        0x0B000005u  /**< The provider's interface could not be imported. */
#define SOR_LOADDEVMNGAPIERR       0x0B000006u  /**< The device management interface could not be imported. */
#define SOR_ALGOTYPEERR            0x0B000007u  /**< The algorithm type is wrong. */
#define SOR_NAMELENERR             0x0B000008u  /**< The length of a name is wrong. */
#define SOR_KEYUSAGEERR            0x0B000009u  /**< The key usage is wrong. */
#define SOR_MODULUSLENERR          0x0B000010u  /**< The length of the modulus is wrong. */
#define SOR_NOTINITIALIZEERR       0x0B000011u  /**< Not initialised. */
#define SOR_OBJERR                 0x0B000012u  /**< An object is wrong. */
#define SOR_MEMORYERR              0x0B000100u  /**< Memory ran out. */
#define SOR_TIMEOUTERR             0x0B000101u  /**< The service timed out. */
#define SOR_INDATALENERR           0x0B000200u  /**< The length of the input, or of a buffer, is wrong. */
#define SOR_INDATAERR              0x0B000201u  /**< The input is wrong. */
/** @} */

/** @name Cryptography (GM/T 0020)
 * @{ */
#define SOR_GENRANDERR             0x0B000300u  /**< Random numbers could not be generated. */
#define SOR_HASHOBJERR             0x0B000301u  /**< The hash object is wrong. */
#define SOR_HASHERR                0x0B000302u  /**< Hashing failed, or a hash does not match. */
#define SOR_GENRSAKEYERR           0x0B000303u  /**< An RSA key could not be generated. */
#define SOR_RSAMODULUSLENERR       0x0B000304u  /**< The modulus length of an RSA key is wrong. */
#define SOR_CSPIMPRTPUBKEYERR      0x0B000305u  /**< The CSP could not import a public key. */
#define SOR_RSAENCERR              0x0B000306u  /**< RSA encryption failed. */
#define SOR_RSADECERR              0x0B000307u  /**< RSA decryption failed. */
#define SOR_HASHNOTEQUALERR        0x0B000308u  /**< Hash values differ. */
#define SOR_KEYNOTFOUNDERR         0x0B000309u  /**< No such key. */
#define SOR_CERTNOTFOUNDERR        0x0B000310u  /**< No such certificate. */
#define SOR_NOTEXPORTERR           0x0B000311u  /**< The object was not exported. */
#define SOR_POLICYVERIFYERR        0x0B000312u  /**< Verified, but not fully according to the policy. */
/** @} */

/** @name Certificates, files, devices, PIN and communication (GM/T 0020 and extensions)
 * @{ */
#define SOR_DECRYPTPADERR          0x0B000400u  /**< The padding found when decrypting is wrong. */
#define SOR_MACLENERR              0x0B000401u  /**< The length of a MAC is wrong. */
#define SOR_KEYINFOTYPEERR         0x0B000402u  /**< The key type is wrong. */
#define SOR_NULLPOINTERERR         0x0B000403u  /**< A parameter is a null pointer. */
#define SOR_APPNOTFOUNDERR         0x0B000404u  /**< No such application. */
#define SOR_CERTENCODEERR          0x0B000405u  /**< The encoding of a certificate is wrong. */
#define SOR_CERTINVALIDERR         0x0B000406u  /**< The certificate is invalid. */
#define SOR_CERTHASEXPIREDERR      0x0B000407u  /**< The certificate has expired. */
#define SOR_CERTREVOKEDERR         0x0B000408u  /**< The certificate has been revoked. */
#define SOR_SIGNDATAERR            0x0B000409u  /**< Signing failed. */
#define SOR_VERIFYSIGNDATAERR      0x0B000410u  /**< Verifying a signature failed. */
#define SOR_READFILEERR            0x0B000411u  /**< Reading a file failed. */
#define SOR_WRITEFILEERR           0x0B000412u  /**< Writing a file failed. */
#define SOR_SECRETSEGMENTERR       0x0B000413u  /**< Splitting a key by the threshold scheme failed. */
#define SOR_SECRETRECOVERYERR      0x0B000414u  /**< Recovering a key by the threshold scheme failed. */
#define SOR_ENCRYPTDATAERR         0x0B000415u  /**< Symmetric encryption failed. */
#define SOR_DECRYPTDATAERR         0x0B000416u  /**< Symmetric decryption failed. */
#define SOR_PKCS7ENCODEERR         0x0B000417u  /**< The PKCS#7 encoding is wrong. */
#define SOR_XMLENCODEERR           0x0B000418u  /**< The data is not valid XML. */
#define SOR_PARAMETERNOTSUPPORTERR 0x0B000419u  /**< A parameter is not supported. */
#define SOR_CTLNOTFOUNDERR         0x0B000420u  /**< No trust list was found. */
#define SOR_APPNAMENOTFOUNDERR     0x0B000421u  /**< The application name that was set was not found. */
#define SOR_BUFFERTOOSMALLERR      0x0B000422u  /**< A buffer is too small. */
#define SOR_UNDEFINEDERR           0x0B000423u  /**< Undefined. */
#define SOR_INITIALIZEERR          0x0B000424u  /**< Initialisation failed. */
#define SOR_CONTAINERNOTFOUNDERR   0x0B000425u  /**< No such container. */
#define SOR_PINERR                 0x0B000426u  /**< Wrong PIN. */
#define SOR_ECCENCERR              0x0B000427u  /**< ECC encryption failed. */
#define SOR_PKCS7SIGNERR           0x0B000428u  /**< PKCS#7 signing failed. */
#define SOR_PKCS7DECRYPTERR        0x0B000429u  /**< PKCS#7 decryption failed. */
#define SOR_TSRESPONSEERR          0x0B000430u  /**< The answer of the time-stamp server is wrong. */
#define SOR_TSSERVERERR            0x0B000431u  /**< The time-stamp server failed. */
#define SOR_FILEEXISTSERR          0x0B000432u  /**< The file exists already. */
#define SOR_NOSPACEERR             0x0B000433u  /**< Not enough space. */
#define SOR_FILENOTFOUNDERR        0x0B000434u  /**< No such file. */
#define SOR_MAXFILECOUNTERR        0x0B000435u  /**< No further file can be created. */
#define SOR_MULTIUSERNOSPACEERR    0x0B000436u  /**< The multi-user space is not allocated. */
#define SOR_CAAUTHERR              0x0B000437u  /**< Authentication by the CA failed. */
#define SOR_NOTLOGINERR            0x0B000438u  /**< Not logged in. */
#define SOR_CONTAINEREXISTSERR     0x0B000439u  /**< The container exists already. */
#define SOR_KEYPAIRMISMATCHERR     0x0B000440u  /**< Public and private key do not match. */
#define SOR_MULTIUSERNOTLOGINERR   0x0B000441u  /**< Multi-user: not logged in. */
#define SOR_PINLOCKEDERR           0x0B000442u  /**< The user PIN is locked. */
#define SOR_CERTPARSEERR           0x0B000443u  /**< A certificate could not be parsed. */
#define SOR_OIDNOTFOUNDERR         0x0B000444u  /**< No item has this object identifier. */
#define SOR_COMMUNICATIONERR       0x0B000445u  /**< The local service could not be reached. */
#define SOR_JSONPARSEERR           0x0B000446u  /**< The service's answer is not JSON. */
#define SOR_USERCANCELERR          0x0B000447u  /**< The user cancelled. */
#define SOR_DEVICEREMOVEDERR       0x0B000448u  /**< The device was removed. */
#define SOR_ENUMDEVICEERR          0x0B000500u  /**< Enumerating devices failed. */
#define SOR_CERTNOTYETVALIDERR     0x0B000501u  /**< The certificate is not valid yet. */
#define SOR_CERTFROZENERR          0x0B000502u  /**< The certificate is suspended. */
#define SOR_KEYMISMATCHERR         0x0B000503u  /**< Keys do not match. */
#define SOR_LABELNOTFOUNDERR       0x0B000504u  /**< No such label. */
/** @} */

/** @name Time stamps, base64, HTTP, seals and trust (extensions)
 * @{ */
#define SOR_TSENCODEERR            0x0B010001u  /**< A time-stamp response could not be encoded. */
#define SOR_TSDECODEERR            0x0B010002u  /**< A time-stamp response could not be decoded. */
#define SOR_TSNOTFOUNDERR          0x0B010003u  /**< There is no time-stamp response. */
#define SOR_BASE64ENCODEERR        0x0B010004u  /**< Base64 encoding failed. */
#define SOR_BASE64DECODEERR        0x0B010005u  /**< Base64 decoding failed. */
#define SOR_SM2ENCERR              0x0B010006u  /**< SM2 encryption failed. */
#define SOR_HTTPREQUESTERR         0x0B010007u  /**< An HTTP request failed. */
#define SOR_HTTPJSONERR            0x0B010008u  /**< The JSON of an HTTP answer could not be parsed. */
#define SOR_FACEMATCHERR           0x0B010009u  /**< The face does not match. */
#define SOR_SERVERERR              0x0B01000Au  /**< The server failed. */
#define SOR_SEALNOTFOUNDERR        0x0B01000Bu  /**< No such seal. */
#define SOR_HTTPTIMEOUTERR         0x0B01000Cu  /**< An HTTP request timed out. */
#define SOR_SEALPARSEERR           0x0B01000Du  /**< A seal could not be parsed. */
#define SOR_FILEOPENERR            0x0B01000Eu  /**< A file could not be opened. */
#define SOR_DATACORRUPTEDERR       0x0B01000Fu  /**< The data was damaged. */
#define SOR_DNITEMNOTFOUNDERR      0x0B010010u  /**< The distinguished name has no such item. */
#define SOR_CACERTNOTFOUNDERR      0x0B010011u  /**< No such CA certificate. */
#define SOR_CERTNOTTRUSTEDERR      0x0B010012u  /**< The certificate is not trusted. */
/** @} */

/** @name Negative results of the signature provider; they have no text
 * @{ */
#define SOR_PROVIDERMINUS5ERR      0xFFFFFFFBu  /**< -5: the provider's result 0x02000317. */
#define SOR_PROVIDERMINUS4ERR      0xFFFFFFFCu  /**< -4: the provider's result 0x0200050C. */
#define SOR_PROVIDERMINUS3ERR      0xFFFFFFFDu  /**< -3: the provider's result 0x02000316. */
#define SOR_PROVIDERMINUS2ERR      0xFFFFFFFEu  /**< -2: the provider's result 0x02000318. */
#define SOR_PROVIDERMINUS1ERR      0xFFFFFFFFu  /**< -1: the provider's result 0x02000319. */
/** @} */

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup velm_sof_environment Environment
 * Start and end of use, version, random numbers (GM/T 0020).
 * @{
 */

/**
 * @brief Tells the local service that the application starts to use it.
 *
 * No other function checks whether this one was called. Source: GM/T 0020.
 * @retval SOR_OK The service took note.
 * @retval SOR_COMMUNICATIONERR The local service could not be reached.
 * @retval SOR_JSONPARSEERR The service's answer is not JSON, or longer than the call takes.
 * @retval SOR_UNKNOWNERR The service's answer has no result code.
 * @retval SOR_MEMORYERR Memory ran out, or the request passes 4 GiB.
 * @retval other The service's own code.
 * @par Thread safety
 * Any thread, several calls at once.
 */
VELM_SOF_API uint32_t SOF_Initialize(
    void);

/**
 * @brief Tells the local service that the application no longer uses it.
 *
 * Nothing in the library is closed or reset; all functions stay usable. Source: GM/T 0020.
 * @retval SOR_OK The service took note.
 * @retval SOR_COMMUNICATIONERR The local service could not be reached.
 * @retval SOR_JSONPARSEERR The service's answer is not JSON, or longer than the call takes.
 * @retval SOR_UNKNOWNERR The service's answer has no result code.
 * @retval SOR_MEMORYERR Memory ran out, or the request passes 4 GiB.
 * @retval other The service's own code.
 * @par Thread safety
 * Any thread, several calls at once.
 */
VELM_SOF_API uint32_t SOF_Finalize(
    void);

/**
 * @brief Asks the local service for its version text.
 *
 * Source: GM/T 0020. There is no size query, and the buffer's size is not known to the function: 128 bytes
 * are always enough.
 * @param[out] pszVersion The version with its terminating zero, at most 128 bytes; "0.0.0" when the service
 *   names none. Not checked for null.
 * @retval SOR_OK The text was written.
 * @retval SOR_COMMUNICATIONERR The local service could not be reached.
 * @retval SOR_JSONPARSEERR The service's answer is not JSON, or longer than the call takes.
 * @retval SOR_UNKNOWNERR The service's answer has no result code.
 * @retval SOR_MEMORYERR Memory ran out, or the request passes 4 GiB.
 * @retval other The service's own code.
 * @par Thread safety
 * Any thread, several calls at once.
 */
VELM_SOF_API uint32_t SOF_GetVersion(
    char* pszVersion);

/**
 * @brief Fetches random bytes from the local service.
 *
 * Source: GM/T 0020. There is no size query. When the service sends fewer bytes than asked for, the rest of
 * the buffer is filled with zeros and the call still succeeds.
 * @param[in] uRandomLen Number of bytes wanted; 0 is allowed.
 * @param[out] pRandomData Receives exactly uRandomLen bytes.
 * @retval SOR_OK uRandomLen bytes were written.
 * @retval SOR_NULLPOINTERERR pRandomData is null.
 * @retval SOR_BASE64DECODEERR The service's random bytes are not base64.
 * @retval SOR_COMMUNICATIONERR The local service could not be reached.
 * @retval SOR_JSONPARSEERR The service's answer is not JSON, or longer than the call takes.
 * @retval SOR_UNKNOWNERR The service's answer has no result code.
 * @retval SOR_MEMORYERR Memory ran out, or the request passes 4 GiB.
 * @retval other The service's own code.
 * @par Thread safety
 * Any thread, several calls at once.
 */
VELM_SOF_API uint32_t SOF_GenRandom(
    uint32_t uRandomLen, uint8_t* pRandomData);

/** @} */

/**
 * @defgroup velm_sof_login Login
 * Access to a key container, its PIN and its login state.
 * @{
 */

/**
 * @brief Logs in to a key container with its PIN.
 *
 * Source: GM/T 0020. With a null PIN the user is asked for it: a modal prompt opens over the process's own
 * top-level window (else over the active or the foreground window) and blocks the calling thread until it is
 * answered. A typed PIN holds at most 31 bytes.
 * @param[in] pszContainerName Container name; not checked.
 * @param[in] pszPassWd PIN text; null opens the prompt.
 * @retval SOR_OK Logged in.
 * @retval SOR_USERCANCELERR The prompt was cancelled or failed; the service was not asked.
 * @retval SOR_COMMUNICATIONERR The local service could not be reached.
 * @retval SOR_JSONPARSEERR The service's answer is not JSON, or longer than the call takes.
 * @retval SOR_UNKNOWNERR The service's answer has no result code.
 * @retval SOR_MEMORYERR Memory ran out, or the request passes 4 GiB.
 * @retval other The service's own code.
 * @par Thread safety
 * Any thread, several calls at once.
 */
VELM_SOF_API uint32_t SOF_Login(
    const char* pszContainerName, const char* pszPassWd);

/**
 * @brief Asks how many attempts at the PIN remain.
 *
 * Source: GM/T 0020. There is no size query.
 * @param[in] pszContainerName Container name.
 * @param[out] puRemainCount Attempts left; 0 when the service succeeds without naming it.
 * @retval SOR_OK The count was written.
 * @retval SOR_NULLPOINTERERR pszContainerName or puRemainCount is null.
 * @retval SOR_COMMUNICATIONERR The local service could not be reached.
 * @retval SOR_JSONPARSEERR The service's answer is not JSON, or longer than the call takes.
 * @retval SOR_UNKNOWNERR The service's answer has no result code.
 * @retval SOR_MEMORYERR Memory ran out, or the request passes 4 GiB.
 * @retval other The service's own code.
 * @par Thread safety
 * Any thread, several calls at once.
 */
VELM_SOF_API uint32_t SOF_GetPinRetryCount(
    const char* pszContainerName, uint32_t* puRemainCount);

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
 * @retval SOR_JSONPARSEERR The service's answer is not JSON, or longer than the call takes.
 * @retval SOR_UNKNOWNERR The service's answer has no result code.
 * @retval SOR_MEMORYERR Memory ran out, or the request passes 4 GiB.
 * @retval other The service's own code.
 * @par Thread safety
 * Any thread, several calls at once.
 */
VELM_SOF_API uint32_t SOF_ChangePassWd(
    const char* pszContainerName, const char* szOldPassWord, const char* szNewPassWord);

/**
 * @brief Login with other data than a PIN; not supported.
 *
 * Nothing is looked at but for the log.
 * @param[in] pszContainerName Container name.
 * @param[in] loginType Kind of login.
 * @param[in] loginData Login data; not read.
 * @param[in] loginDataLen Length of loginData in bytes.
 * @retval SOR_NOTSUPPORTYETERR Always.
 * @par Thread safety
 * Any thread, several calls at once.
 */
VELM_SOF_API uint32_t SOF_Ext_Login(
    const char* pszContainerName, uint32_t loginType, const uint8_t* loginData, uint32_t loginDataLen);

/**
 * @brief Ends the login to a key container.
 * @param[in] pszContainerName Container name; not checked.
 * @param[in] ulLoginType Kind of login; its values are the service's.
 * @retval SOR_OK Logged out.
 * @retval SOR_COMMUNICATIONERR The local service could not be reached.
 * @retval SOR_JSONPARSEERR The service's answer is not JSON, or longer than the call takes.
 * @retval SOR_UNKNOWNERR The service's answer has no result code.
 * @retval SOR_MEMORYERR Memory ran out, or the request passes 4 GiB.
 * @retval other The service's own code.
 * @par Thread safety
 * Any thread, several calls at once.
 */
VELM_SOF_API uint32_t SOF_Ext_Logout(
    const char* pszContainerName, uint32_t ulLoginType);

/**
 * @brief Asks whether a key container is logged in.
 *
 * The library keeps no login state; every call asks the service afresh.
 * @param[in] pszContainerName Container name; not checked.
 * @param[in] ulLoginType Kind of login; its values are the service's.
 * @retval SOR_OK Logged in.
 * @retval SOR_COMMUNICATIONERR The local service could not be reached.
 * @retval SOR_JSONPARSEERR The service's answer is not JSON, or longer than the call takes.
 * @retval SOR_UNKNOWNERR The service's answer has no result code.
 * @retval SOR_MEMORYERR Memory ran out, or the request passes 4 GiB.
 * @retval other The service's own code.
 * @par Thread safety
 * Any thread, several calls at once.
 */
VELM_SOF_API uint32_t SOF_Ext_isLogin(
    const char* pszContainerName, uint32_t ulLoginType);

/** @} */

/**
 * @defgroup velm_sof_device Device
 * Device information, user list and device type.
 * @{
 */

/**
 * @brief Asks for one item of information about the device that holds a container.
 *
 * Source: GM/T 0020. There is no size query: the buffer always has at least 256 bytes.
 * @param[in] pszContainerName Container name; not checked.
 * @param[in] iInfoType Item wanted; its values are the service's.
 * @param[out] pDeviceInfo The item as text, at most 256 bytes, without a terminating zero.
 * @param[in,out] pDeviceInfoLen In: size of pDeviceInfo in bytes, at least 256. Out: bytes written.
 * @retval SOR_OK The item was written; it is empty when the service names none.
 * @retval SOR_NULLPOINTERERR pDeviceInfo or pDeviceInfoLen is null.
 * @retval SOR_INDATALENERR *pDeviceInfoLen is below 256.
 * @retval SOR_COMMUNICATIONERR The local service could not be reached.
 * @retval SOR_JSONPARSEERR The service's answer is not JSON, or longer than the call takes.
 * @retval SOR_UNKNOWNERR The service's answer has no result code.
 * @retval SOR_MEMORYERR Memory ran out, or the request passes 4 GiB.
 * @retval other The service's own code.
 * @par Thread safety
 * Any thread, several calls at once.
 */
VELM_SOF_API uint32_t SOF_GetDeviceInfo(
    const char* pszContainerName, int32_t iInfoType, uint8_t* pDeviceInfo, uint32_t* pDeviceInfoLen);

/**
 * @brief Lists the names of all key containers.
 *
 * Source: GM/T 0020. The names stand in the service's order, with three ampersands between neighbours, in
 * GB18030 where the system has that code page (54936), else in GBK (936). Size query: a null pUserList stores
 * 2048. The length that comes in is not compared: pUserList always has at least 2048 bytes.
 * @param[out] pUserList The list with its terminating zero, at most 2048 bytes; null for the size query. An
 *   empty list of the service leaves it untouched; an answer without a list makes it the empty text.
 * @param[in,out] pUserListLen In: ignored. Out: bytes of the list without its terminating zero; 0 when the
 *   call fails after its checks.
 * @retval SOR_OK The list was written, the list is empty, or the size query was answered.
 * @retval SOR_NULLPOINTERERR pUserListLen is null.
 * @retval SOR_INDATALENERR The list needs more than 2048 bytes; pUserList is untouched.
 * @retval SOR_FILEERR The list could not be converted.
 * @retval SOR_COMMUNICATIONERR The local service could not be reached.
 * @retval SOR_JSONPARSEERR The service's answer is not JSON, or longer than the call takes.
 * @retval SOR_UNKNOWNERR The service's answer has no result code.
 * @retval SOR_MEMORYERR Memory ran out, or the request passes 4 GiB.
 * @retval other The service's own code.
 * @par Thread safety
 * Any thread, several calls at once.
 */
VELM_SOF_API uint32_t SOF_GetUserList(
    char* pUserList, uint32_t* pUserListLen);

/**
 * @brief Tells the type of the device that was found last.
 *
 * Answered in process, by the device enumeration module.
 * @param[out] pulDeviceType Device type; 0xFFFFFFFF when no device was found. Not checked for null.
 * @retval SOR_OK Always.
 * @par Thread safety
 * Any thread, several calls at once.
 */
VELM_SOF_API uint32_t SOF_Ext_GetDeviceType(
    uint32_t* pulDeviceType);

/** @} */

/**
 * @defgroup velm_sof_certificate Certificate
 * The user's certificates, and questions about a certificate. Certificates are DER.
 * @{
 */

/**
 * @brief Fetches the signing certificate of a key container.
 *
 * Source: GM/T 0020. Size query: a null pCertData stores 2048. The length that comes in is not compared, and
 * a certificate may be longer than the size query says: 3072 bytes are always enough.
 * @param[in] pszContainerName Container name.
 * @param[out] pCertData The DER certificate, at most 3072 bytes; null for the size query.
 * @param[in,out] pCertDataLen In: ignored. Out: bytes written; 0 when the service's answer holds no readable
 *   certificate.
 * @retval SOR_OK The certificate was written (*pCertDataLen is not 0), there is none, or the size query was
 *   answered.
 * @retval SOR_NULLPOINTERERR pszContainerName or pCertDataLen is null.
 * @retval SOR_COMMUNICATIONERR The local service could not be reached.
 * @retval SOR_JSONPARSEERR The service's answer is not JSON, or longer than the call takes.
 * @retval SOR_UNKNOWNERR The service's answer has no result code.
 * @retval SOR_MEMORYERR Memory ran out, or the request passes 4 GiB.
 * @retval other The service's own code.
 * @par Thread safety
 * Any thread, several calls at once.
 */
VELM_SOF_API uint32_t SOF_ExportUserCert(
    const char* pszContainerName, uint8_t* pCertData, uint32_t* pCertDataLen);

/**
 * @brief Fetches the exchange (encryption) certificate of a key container.
 *
 * Source: GM/T 0020. Size query: a null pCertData stores 2048. The length that comes in is not compared, and
 * a certificate may be longer than the size query says: 3072 bytes are always enough.
 * @param[in] pszContainerName Container name.
 * @param[out] pCertData The DER certificate, at most 3072 bytes; null for the size query.
 * @param[in,out] pCertDataLen In: ignored. Out: bytes written; 0 when the service's answer holds no readable
 *   certificate.
 * @retval SOR_OK The certificate was written (*pCertDataLen is not 0), there is none, or the size query was
 *   answered.
 * @retval SOR_NULLPOINTERERR pszContainerName or pCertDataLen is null.
 * @retval SOR_COMMUNICATIONERR The local service could not be reached.
 * @retval SOR_JSONPARSEERR The service's answer is not JSON, or longer than the call takes.
 * @retval SOR_UNKNOWNERR The service's answer has no result code.
 * @retval SOR_MEMORYERR Memory ran out, or the request passes 4 GiB.
 * @retval other The service's own code.
 * @par Thread safety
 * Any thread, several calls at once.
 */
VELM_SOF_API uint32_t SOF_ExportExChangeUserCert(
    const char* pszContainerName, uint8_t* pCertData, uint32_t* pCertDataLen);

/**
 * @brief Reads one item of a certificate.
 *
 * Source: GM/T 0020. Size query: a null pCertInfo stores uCertLen. The length that comes in is not compared:
 * uCertLen bytes are always enough.
 * @param[in] pCert DER certificate.
 * @param[in] uCertLen Length of pCert in bytes.
 * @param[in] uInfoType Item wanted; its values are the service's.
 * @param[out] pCertInfo The item, without a terminating zero; null for the size query.
 * @param[in,out] pCertInfoLen In: ignored. Out: bytes written.
 * @retval SOR_OK The item was written, or the size query was answered.
 * @retval SOR_NULLPOINTERERR pCert or pCertInfoLen is null.
 * @retval SOR_COMMUNICATIONERR The local service could not be reached.
 * @retval SOR_UNKNOWNERR The service's answer is malformed, or longer than the call takes.
 * @retval SOR_MEMORYERR Memory ran out, or a size passes 32 bits.
 * @retval other The service's own code.
 * @par Thread safety
 * Any thread, several calls at once.
 */
VELM_SOF_API uint32_t SOF_GetCertInfo(
    const uint8_t* pCert, uint32_t uCertLen, uint32_t uInfoType, uint8_t* pCertInfo, uint32_t* pCertInfoLen);

/**
 * @brief Reads the item of a certificate that an object identifier names.
 *
 * Source: GM/T 0020. There is no size query, and the length that comes in is not compared: 768 bytes are
 * always enough.
 * @param[in] pCert DER certificate.
 * @param[in] uCertLen Length of pCert in bytes.
 * @param[in] szOID Object identifier as dotted text.
 * @param[out] pOIDValue The item, at most 768 bytes; with null only its length is reported.
 * @param[in,out] pOIDValueLen In: ignored. Out: length of the item in bytes; 0 when the service's answer
 *   holds no readable item.
 * @retval SOR_OK The service answered; look at *pOIDValueLen.
 * @retval SOR_NULLPOINTERERR pCert, szOID or pOIDValueLen is null.
 * @retval SOR_COMMUNICATIONERR The local service could not be reached.
 * @retval SOR_JSONPARSEERR The service's answer is not JSON, or longer than the call takes.
 * @retval SOR_UNKNOWNERR The service's answer has no result code.
 * @retval SOR_MEMORYERR Memory ran out, or the request passes 4 GiB.
 * @retval other The service's own code.
 * @par Thread safety
 * Any thread, several calls at once.
 */
VELM_SOF_API uint32_t SOF_GetCertInfoByOid(
    const uint8_t* pCert, uint32_t uCertLen, const char* szOID, uint8_t* pOIDValue, uint32_t* pOIDValueLen);

/**
 * @brief Has the local service validate a certificate.
 *
 * Source: GM/T 0020.
 * @param[in] pCert DER certificate.
 * @param[in] uCertLen Length of pCert in bytes.
 * @retval SOR_OK The certificate is valid.
 * @retval SOR_NULLPOINTERERR pCert is null.
 * @retval SOR_COMMUNICATIONERR The local service could not be reached.
 * @retval SOR_JSONPARSEERR The service's answer is not JSON, or longer than the call takes.
 * @retval SOR_UNKNOWNERR The service's answer has no result code.
 * @retval SOR_MEMORYERR Memory ran out, or the request passes 4 GiB.
 * @retval other The service's own code.
 * @par Thread safety
 * Any thread, several calls at once.
 */
VELM_SOF_API uint32_t SOF_ValidateCert(
    const uint8_t* pCert, uint32_t uCertLen);

/**
 * @brief Tells the key algorithm of a certificate.
 *
 * Answered in process, by the crypto module.
 * @param[in] pCert DER certificate.
 * @param[in] uCertLen Length of pCert in bytes.
 * @param[out] pAlgType 10: RSA with a 2048-bit key. 40: any key that is not RSA, thus SM2. 0: RSA with
 *   another key length, or the certificate could not be parsed.
 * @retval SOR_OK The certificate was parsed; *pAlgType may still be 0.
 * @retval SOR_NULLPOINTERERR pCert or pAlgType is null.
 * @retval SOR_CERTPARSEERR The certificate could not be parsed.
 * @retval SOR_MEMORYERR Memory ran out.
 * @par Thread safety
 * Any thread, several calls at once.
 */
VELM_SOF_API uint32_t SOF_GetCertAlg(
    const uint8_t* pCert, uint32_t uCertLen, uint32_t* pAlgType);

/** @} */

/**
 * @defgroup velm_sof_unsupported Unsupported certificate calls
 * Exported so that programs link; each only writes its line of log. Arguments beyond the declared ones are
 * ignored.
 * @{
 */

/**
 * @brief Parses a certificate; not supported.
 * @param[in] pCert Certificate; not read.
 * @param[in] uCertLen Length of pCert in bytes.
 * @param[in] infoFlags Items wanted.
 * @param[in] oids Object identifiers wanted; may be null.
 * @retval SOR_NOTSUPPORTYETERR Always.
 * @par Thread safety
 * Any thread, several calls at once.
 */
VELM_SOF_API uint32_t SOF_Ext_ParseCertInfo(
    const uint8_t* pCert, uint32_t uCertLen, uint32_t infoFlags, const char* oids);

/**
 * @brief Builds a certificate's chain; not supported.
 * @param[in] pCert Certificate; not read.
 * @param[in] uCertLen Length of pCert in bytes.
 * @retval SOR_NOTSUPPORTYETERR Always.
 * @par Thread safety
 * Any thread, several calls at once.
 */
VELM_SOF_API uint32_t SOF_Ext_GetCertChain(
    const uint8_t* pCert, uint32_t uCertLen);

/**
 * @brief Makes a certificate request; not supported.
 * @param[in] pszContainerName Container name; may be null.
 * @retval SOR_NOTSUPPORTYETERR Always.
 * @par Thread safety
 * Any thread, several calls at once.
 */
VELM_SOF_API uint32_t SOF_Ext_GenCSR(
    const char* pszContainerName);

/**
 * @brief Parses a certificate request; not supported.
 * @param[in] csrData Certificate request; not read.
 * @param[in] csrDataLen Length of csrData in bytes.
 * @retval SOR_NOTSUPPORTYETERR Always.
 * @par Thread safety
 * Any thread, several calls at once.
 */
VELM_SOF_API uint32_t SOF_Ext_ParseCSR(
    const uint8_t* csrData, uint32_t csrDataLen);

/** @} */

/**
 * @defgroup velm_sof_service_signing Service signing
 * Signatures made and verified by the local service, and the sign method.
 * @{
 */

/**
 * @brief Stores the process's sign method.
 *
 * Source: GM/T 0020. The requests of this library do not carry the method. Side effect: from now on
 * SOF_Ext_PKCS7_SignFile() takes its file as base64 text if the method is exactly 16, and as raw bytes
 * otherwise; SOF_SetEncryptMethod() sets the same switch, and the later call decides.
 * @param[in] lSignMethod Sign method; every value is taken.
 * @retval SOR_OK Always.
 * @par Thread safety
 * Any thread; the value belongs to the process and is not locked.
 */
VELM_SOF_API uint32_t SOF_SetSignMethod(
    int32_t lSignMethod);

/**
 * @brief Returns the process's sign method.
 *
 * Source: GM/T 0020. The return value is the method, not a result code.
 * @retval 0 No method has been set, or 0 has.
 * @retval other The method set last, its 32 bits as they are.
 * @par Thread safety
 * Any thread; the value belongs to the process and is not locked.
 */
VELM_SOF_API uint32_t SOF_GetSignMethod(
    void);

/**
 * @brief Signs data with the signing key of a container.
 *
 * Source: GM/T 0020. Size query: a null pSignedData stores 1024. The length that comes in is not compared,
 * and a signature may be longer than the size query says: 1536 bytes are always enough.
 * @param[in] pszContainerName Container name.
 * @param[in] pInData Data to sign.
 * @param[in] uInDataLen Length of pInData in bytes.
 * @param[out] pSignedData The signature, at most 1536 bytes; null for the size query.
 * @param[in,out] pSignedDataLen In: ignored. Out: bytes written; 0 when the service's answer holds no
 *   readable signature.
 * @retval SOR_OK The signature was written (*pSignedDataLen is not 0), there is none, or the size query was
 *   answered.
 * @retval SOR_NULLPOINTERERR pszContainerName, pInData or pSignedDataLen is null.
 * @retval SOR_COMMUNICATIONERR The local service could not be reached.
 * @retval SOR_JSONPARSEERR The service's answer is not JSON, or longer than the call takes.
 * @retval SOR_UNKNOWNERR The service's answer has no result code.
 * @retval SOR_MEMORYERR Memory ran out, or the request passes 4 GiB.
 * @retval other The service's own code.
 * @par Thread safety
 * Any thread, several calls at once.
 */
VELM_SOF_API uint32_t SOF_SignData(
    const char* pszContainerName, const uint8_t* pInData, uint32_t uInDataLen, uint8_t* pSignedData,
    uint32_t* pSignedDataLen);

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
 * @retval SOR_JSONPARSEERR The service's answer is not JSON, or longer than the call takes.
 * @retval SOR_UNKNOWNERR The service's answer has no result code.
 * @retval SOR_MEMORYERR Memory ran out, or the request passes 4 GiB.
 * @retval other The service's own code.
 * @par Thread safety
 * Any thread, several calls at once.
 */
VELM_SOF_API uint32_t SOF_VerifySignedData(
    const uint8_t* pSignCert, uint32_t uSignCertLen, const uint8_t* pPlainData, uint32_t uPlainDataLen,
    const uint8_t* pSignedData, uint32_t uSignedDataLen);

/**
 * @brief Makes a signed message (PKCS#7, or the SM2 form of GM/T 0010) with the signing key of a container.
 *
 * Source: GM/T 0020. Size query: a null pSignedMessage stores 8192, plus uInDataLen when lFlag is 0. The
 * length that comes in is not compared. Always enough are 6144 bytes, plus 1.25 times uInDataLen when lFlag
 * is 0; above 8,192 bytes of data that is more than the size query says.
 * @param[in] lFlag 0: the message carries the data. The service gives other values their meaning.
 * @param[in] pszContainerName Container name; not checked.
 * @param[in] pInData Data to sign; not checked.
 * @param[in] uInDataLen Length of pInData in bytes.
 * @param[out] pSignedMessage The DER message; null for the size query.
 * @param[in,out] puSignedMessageLen In: ignored. Out: bytes written; 0 when the service's answer holds no
 *   readable message. Not checked for null.
 * @retval SOR_OK The message was written (*puSignedMessageLen is not 0), there is none, or the size query was
 *   answered.
 * @retval SOR_COMMUNICATIONERR The local service could not be reached.
 * @retval SOR_JSONPARSEERR The service's answer is not JSON, or longer than the call takes.
 * @retval SOR_UNKNOWNERR The service's answer has no result code.
 * @retval SOR_MEMORYERR Memory ran out, or the request passes 4 GiB.
 * @retval other The service's own code.
 * @par Thread safety
 * Any thread, several calls at once.
 */
VELM_SOF_API uint32_t SOF_SignMessage(
    int32_t lFlag, const char* pszContainerName, const uint8_t* pInData, uint32_t uInDataLen,
    uint8_t* pSignedMessage, uint32_t* puSignedMessageLen);

/**
 * @brief Verifies a signed message (PKCS#7, or the SM2 form of GM/T 0010).
 *
 * Source: GM/T 0020.
 * @param[in] pMessageData The DER message.
 * @param[in] uMessageDataLen Length of pMessageData in bytes.
 * @param[in] pPlainData Data that was signed, for a message that does not carry it; otherwise null.
 * @param[in] uPlainDataLen Length of pPlainData in bytes.
 * @retval SOR_OK The message is valid.
 * @retval SOR_NULLPOINTERERR pMessageData is null.
 * @retval SOR_COMMUNICATIONERR The local service could not be reached.
 * @retval SOR_JSONPARSEERR The service's answer is not JSON, or longer than the call takes.
 * @retval SOR_UNKNOWNERR The service's answer has no result code.
 * @retval SOR_MEMORYERR Memory ran out, or the request passes 4 GiB.
 * @retval other The service's own code.
 * @par Thread safety
 * Any thread, several calls at once.
 */
VELM_SOF_API uint32_t SOF_VerifySignedMessage(
    const uint8_t* pMessageData, uint32_t uMessageDataLen, const uint8_t* pPlainData, uint32_t uPlainDataLen);

/**
 * @brief Reads one item out of a signed message.
 *
 * Source: GM/T 0020. Size query: a null pInfo stores uSignedMessageLen. The length that comes in is not
 * compared: uSignedMessageLen bytes are always enough.
 * @param[in] pSignedMessage The DER message; not checked.
 * @param[in] uSignedMessageLen Length of pSignedMessage in bytes.
 * @param[in] lInfoType Item wanted; its values are the service's.
 * @param[out] pInfo The item, without a terminating zero; null for the size query.
 * @param[out] puInfoLen Bytes written. Not checked for null.
 * @retval SOR_OK The item was written, or the size query was answered.
 * @retval SOR_COMMUNICATIONERR The local service could not be reached.
 * @retval SOR_UNKNOWNERR The service's answer is malformed, or longer than the call takes.
 * @retval SOR_MEMORYERR Memory ran out, or a size passes 32 bits.
 * @retval other The service's own code.
 * @par Thread safety
 * Any thread, several calls at once.
 */
VELM_SOF_API uint32_t SOF_GetInfoFromSignedMessage(
    const uint8_t* pSignedMessage, uint32_t uSignedMessageLen, int32_t lInfoType, uint8_t* pInfo,
    uint32_t* puInfoLen);

/**
 * @brief Signs a hash value with the signing key of a container.
 *
 * Size query: a null pSignedData stores 1024. The length that comes in is not compared, and a signature may
 * be longer than the size query says: 1536 bytes are always enough.
 * @param[in] pszContainerName Container name; not checked.
 * @param[in] uiHashAlgorithmID Hash algorithm; its values are the service's.
 * @param[in] uiInDataType Kind of pInData; its values are the service's.
 * @param[in] pInData Hash value; not checked.
 * @param[in] uiInDataLen Length of pInData in bytes.
 * @param[out] pSignedData The signature, at most 1536 bytes; null for the size query.
 * @param[in,out] puSignedDataLen In: ignored. Out: bytes written; 0 when the service's answer holds no
 *   readable signature. Not checked for null.
 * @retval SOR_OK The signature was written (*puSignedDataLen is not 0), there is none, or the size query was
 *   answered.
 * @retval SOR_COMMUNICATIONERR The local service could not be reached.
 * @retval SOR_JSONPARSEERR The service's answer is not JSON, or longer than the call takes.
 * @retval SOR_UNKNOWNERR The service's answer has no result code.
 * @retval SOR_MEMORYERR Memory ran out, or the request passes 4 GiB.
 * @retval other The service's own code.
 * @par Thread safety
 * Any thread, several calls at once.
 */
VELM_SOF_API uint32_t SOF_Ext_SignHash(
    const char* pszContainerName, uint32_t uiHashAlgorithmID, uint32_t uiInDataType, const uint8_t* pInData,
    uint32_t uiInDataLen, uint8_t* pSignedData, uint32_t* puSignedDataLen);

/** @} */

/**
 * @defgroup velm_sof_file_signature File signature
 * Raw signatures over files, made and verified by the signature provider.
 * @{
 */

/**
 * @brief Signs a file with the signing key of a container.
 *
 * Source: GM/T 0020. The container name chooses the digest by the first of these texts that it contains:
 * "RSA_1024" SHA-1, "RSA_2048" SHA-256, "SCAN_" SHA-256, "SM2" SM3 with the default user ID of GM/T 0009.
 *
 * @warning A name that contains none of the four signs nothing and answers #SOR_OK, with *pSignedDataLen as
 *   it was. A caller who asks for the size with *pSignedDataLen at 0 and gets 0 back knows that nothing will
 *   be signed.
 * @param[in] pszContainerName Container name.
 * @param[in] pszInFilePath File to sign, in the local code page.
 * @param[out] pSignedData The signature. Not checked: with null the provider answers the size query, if it
 *   has one.
 * @param[in,out] pSignedDataLen In: size of pSignedData in bytes. Out: bytes written.
 * @retval SOR_OK The file was signed, or the container name chooses no digest.
 * @retval SOR_NULLPOINTERERR pszContainerName, pszInFilePath or pSignedDataLen is null.
 * @retval other The signature provider's result as a constant of this header.
 * @par Thread safety
 * Any thread, several calls at once.
 */
VELM_SOF_API uint32_t SOF_SignFile(
    const char* pszContainerName, const char* pszInFilePath, uint8_t* pSignedData, uint32_t* pSignedDataLen);

/**
 * @brief Verifies the raw signature of a file with a certificate.
 *
 * Source: GM/T 0020. The signature's length chooses the digest: below 128 bytes SM3 with the default user ID
 * of GM/T 0009 (SM2), 128 bytes SHA-1, 256 bytes SHA-256.
 * @param[in] pSignCert The signer's DER certificate.
 * @param[in] uSignCertLen Length of pSignCert in bytes.
 * @param[in] pszInFilePath File that was signed, in the local code page.
 * @param[in] pSignedData The signature.
 * @param[in] uSignedDataLen Length of pSignedData in bytes: below 128, 128 or 256.
 * @retval SOR_OK The signature is valid.
 * @retval SOR_NULLPOINTERERR pSignCert, pszInFilePath or pSignedData is null.
 * @retval SOR_INDATALENERR No signature has this length.
 * @retval other The signature provider's result as a constant of this header.
 * @par Thread safety
 * Any thread, several calls at once.
 */
VELM_SOF_API uint32_t SOF_VerifySignedFile(
    const uint8_t* pSignCert, uint32_t uSignCertLen, const char* pszInFilePath, const uint8_t* pSignedData,
    uint32_t uSignedDataLen);

/** @} */

/**
 * @defgroup velm_sof_hash_verification Hash verification
 * Signatures verified in process against a hash value that the caller computed.
 * @{
 */

/**
 * @brief Verifies a PKCS#7 signed message against a hash value.
 *
 * @warning A message whose signature is shorter than 128 bytes, thus every SM2 message, answers #SOR_OK
 *   without being verified. Use SOF_Ext_PKCS7_VerifySignedFile() or SOF_VerifySignedMessage() for these.
 *
 * @warning A message with signed attributes is never verified: its message digest is held against 128 zero
 *   bytes, not against the caller's hash value. The answer is #SOR_HASHERR, but #SOR_OK if the message digest
 *   is itself 128 zero bytes. Anybody can make such a message: do not use this function for strangers' ones.
 * @param[in] pMessageData The DER message.
 * @param[in] uMessageDataLen Length of pMessageData in bytes.
 * @param[in] pHashedData Hash value of the content; not checked.
 * @param[in] uiHashedDataLen Length of pHashedData in bytes.
 * @retval SOR_OK The message is valid, or was not verified: its signature is shorter than 128 bytes, or its
 *   signed attributes hold a message digest of 128 zero bytes.
 * @retval SOR_NULLPOINTERERR pMessageData is null.
 * @retval SOR_HASHERR The message has signed attributes.
 * @retval SOR_MEMORYERR Memory ran out.
 * @retval other The signature provider's result as a constant of this header.
 * @par Thread safety
 * Any thread, several calls at once.
 */
VELM_SOF_API uint32_t SOF_Ext_VerifySignedMessage(
    const uint8_t* pMessageData, uint32_t uMessageDataLen, const uint8_t* pHashedData,
    uint32_t uiHashedDataLen);

/**
 * @brief Verifies a raw signature over a hash value with a certificate.
 *
 * An RSA certificate takes a SHA-1 (20 bytes) or SHA-256 (32 bytes) hash; with an SM2 certificate the length
 * is the provider's affair, and the hash value includes the preprocessing of GM/T 0009.
 * @param[in] pSignCert The signer's DER certificate.
 * @param[in] uSignCertLen Length of pSignCert in bytes.
 * @param[in] pHashedData Hash value that was signed.
 * @param[in] uiHashedDataLen Length of pHashedData in bytes.
 * @param[in] pSignedData The signature.
 * @param[in] uSignedDataLen Length of pSignedData in bytes.
 * @retval SOR_OK The signature is valid.
 * @retval SOR_NULLPOINTERERR pSignCert, pHashedData or pSignedData is null.
 * @retval SOR_CERTPARSEERR The certificate could not be parsed.
 * @retval SOR_NOTSUPPORTYETERR RSA: no hash value has this length.
 * @retval SOR_MEMORYERR Memory ran out.
 * @retval other The signature provider's result as a constant of this header.
 * @par Thread safety
 * Any thread, several calls at once.
 */
VELM_SOF_API uint32_t SOF_Ext_VerifySignedHash(
    const uint8_t* pSignCert, uint32_t uSignCertLen, const uint8_t* pHashedData, uint32_t uiHashedDataLen,
    const uint8_t* pSignedData, uint32_t uSignedDataLen);

/**
 * @brief Rewrites the object identifiers of an SM2 signed message (GM/T 0010).
 *
 * There is no size query.
 * @param[in] mode What to rewrite; its values are the provider's.
 * @param[in] input The DER message.
 * @param[in] inputLen Length of input in bytes.
 * @param[out] output The rewritten message.
 * @param[in,out] outputLen In: size of output in bytes. Out: bytes written.
 * @retval SOR_OK The message was rewritten.
 * @retval SOR_NULLPOINTERERR input, output or outputLen is null.
 * @retval other The signature provider's result as a constant of this header.
 * @par Thread safety
 * Any thread, several calls at once.
 */
VELM_SOF_API uint32_t SOF_Ext_ReplaceSM2Pkcs7SignedOID(
    uint32_t mode, const uint8_t* input, uint32_t inputLen, uint8_t* output, uint32_t* outputLen);

/** @} */

/**
 * @defgroup velm_sof_pkcs7_file_signing PKCS#7 file signing
 * Signed messages over whole files, made in process.
 * @{
 */

/**
 * @brief Makes a signed message (PKCS#7, or the SM2 form of GM/T 0010) over a file.
 *
 * The signer certificate's key chooses form and digest: SM2 takes SM3; RSA takes SHA-1 for a 1024-bit key and
 * SHA-256 otherwise.
 * The file is taken as base64 text and decoded first if SOF_SetSignMethod() was last called with 16, or
 * SOF_SetEncryptMethod() with bit 0x10 set; the later of the two calls decides. Files reach up to 2 GiB and
 * are read whole.
 *
 * @warning Only a container whose name contains "SCAN_CONTAINER" has a certificate here, cached on the device
 *   under the label of that name with "_FromCache" behind it. Every other name answers #SOR_CERTNOTFOUNDERR.
 * @param[in] flag 0: sign the content with the standard encoder. 1: sign the content with the extended
 *   encoder. 2: the file is a hash value of 20 bytes (SHA-1) or 32 bytes (SHA-256); RSA only.
 * @param[in] pszContainerName Container name.
 * @param[in] pszInFilePath File to sign, in UTF-8 or in the local code page; not empty.
 * @param[out] pOutData The DER message. Not checked: with null the provider answers the size query, if it has
 *   one.
 * @param[in,out] pOutDataLen In: size of pOutData in bytes. Out: bytes written.
 * @retval SOR_OK The message was written.
 * @retval SOR_NULLPOINTERERR pszContainerName, pszInFilePath or pOutDataLen is null.
 * @retval SOR_FILEERR The path could not be converted to the local code page.
 * @retval SOR_FILEOPENERR The file could not be opened, or has 2 GiB or more.
 * @retval SOR_INDATALENERR The file is empty.
 * @retval SOR_CERTNOTFOUNDERR No certificate is known for this container.
 * @retval SOR_CERTPARSEERR The signer certificate could not be parsed.
 * @retval SOR_NOTSUPPORTYETERR The key does not take this flag, or no hash value has this length.
 * @retval SOR_MEMORYERR Memory ran out.
 * @retval SOR_UNKNOWNERR The cached certificate could not be read from the device.
 * @retval other The signature provider's result as a constant of this header.
 * @par Thread safety
 * Any thread, several calls at once.
 */
VELM_SOF_API uint32_t SOF_Ext_PKCS7_SignFile(
    uint32_t flag, const char* pszContainerName, const char* pszInFilePath, uint8_t* pOutData,
    uint32_t* pOutDataLen);

/** @} */

/**
 * @defgroup velm_sof_pkcs7_file_verification PKCS#7 file verification
 * Signed messages over whole files, verified in process.
 * @{
 */

/**
 * @brief Verifies a signed message (PKCS#7, or the SM2 form of GM/T 0010), with its content inside or in a
 *   file.
 *
 * A signature below 128 bytes is verified as SM2 with the default user ID of GM/T 0009, a longer one as RSA.
 * When the message has signed attributes, the signature is verified over them and the content against their
 * message digest. The certificate itself is not validated. Files reach up to 2 GiB and are read whole.
 * @param[in] flag 0: the message carries its content. Any other value: the content is the file.
 * @param[in] pMessageData The DER message.
 * @param[in] uMessageDataLen Length of pMessageData in bytes.
 * @param[in] pszInFilePath File with the content, in UTF-8 or in the local code page; not empty. Must not be
 *   null with flag 0 either, but is not opened then.
 * @retval SOR_OK The message is valid.
 * @retval SOR_NULLPOINTERERR pMessageData or pszInFilePath is null.
 * @retval SOR_FILEERR The path could not be converted to the local code page.
 * @retval SOR_FILEOPENERR The file could not be opened, or has 2 GiB or more.
 * @retval SOR_INDATALENERR The file is empty.
 * @retval SOR_HASHERR The content does not match the message digest of the signed attributes.
 * @retval SOR_MEMORYERR Memory ran out.
 * @retval other The signature provider's result as a constant of this header.
 * @par Thread safety
 * Any thread, several calls at once.
 */
VELM_SOF_API uint32_t SOF_Ext_PKCS7_VerifySignedFile(
    uint32_t flag, const uint8_t* pMessageData, uint32_t uMessageDataLen, const char* pszInFilePath);

/** @} */

/**
 * @defgroup velm_sof_xml_signature XML signature
 * Signed XML, verified and read by the signature provider.
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
 * Any thread, several calls at once.
 */
VELM_SOF_API uint32_t SOF_SignDataXML(
    const char* pszContainerName, const uint8_t* pInData, uint32_t uInDataLen, uint8_t* pOutData,
    uint32_t* pOutDataLen);

/**
 * @brief Verifies signed XML.
 *
 * Source: GM/T 0020.
 * @param[in] pMessageData Signed XML.
 * @param[in] uMessageDataLen Length of pMessageData in bytes.
 * @retval SOR_OK The signature is valid.
 * @retval SOR_NULLPOINTERERR pMessageData is null.
 * @retval other The signature provider's result as a constant of this header.
 * @par Thread safety
 * Any thread, several calls at once.
 */
VELM_SOF_API uint32_t SOF_VerifySignedDataXML(
    const uint8_t* pMessageData, uint32_t uMessageDataLen);

/**
 * @brief Reads one item out of signed XML.
 *
 * Source: GM/T 0020. Size query: a null pInfo stores the item's length, after the XML was parsed. The length
 * that comes in is not compared, so ask for the size first.
 * @param[in] pSignedData Signed XML.
 * @param[in] uSignedDataLen Length of pSignedData in bytes.
 * @param[in] uInfoType Item wanted, 1 to 6, in the order in which the provider returns them.
 * @param[out] pInfo The item, without a terminating zero; null for the size query.
 * @param[in,out] pInfoLen In: ignored. Out: length of the item in bytes. Not checked for null.
 * @retval SOR_OK The item was written, or the size query was answered.
 * @retval SOR_NULLPOINTERERR pSignedData is null.
 * @retval SOR_NOTSUPPORTYETERR uInfoType is not 1 to 6; the XML was parsed first.
 * @retval SOR_MEMORYERR Memory ran out.
 * @retval other The signature provider's result as a constant of this header.
 * @par Thread safety
 * Any thread, several calls at once.
 */
VELM_SOF_API uint32_t SOF_GetXMLSignatureInfo(
    const uint8_t* pSignedData, uint32_t uSignedDataLen, uint32_t uInfoType, uint8_t* pInfo,
    uint32_t* pInfoLen);

/** @} */

/**
 * @defgroup velm_sof_service_encryption Service encryption
 * Envelopes and key operations of the local service, and the encrypt method.
 * @{
 */

/**
 * @brief Stores the process's encrypt method.
 *
 * Source: GM/T 0020; the values are those of GM/T 0006. SOF_EncryptFile() encrypts with it when the envelope
 * type is not 2; SOF_EncryptData() does not use it. Side effect: from now on SOF_Ext_PKCS7_SignFile() takes
 * its file as base64 text if bit 0x10 is set, and as raw bytes otherwise; SOF_SetSignMethod() sets the same
 * switch, and the later call decides.
 * @param[in] lEncMethod Encrypt method; every value is taken.
 * @retval SOR_OK Always.
 * @par Thread safety
 * Any thread; the value belongs to the process and is not locked.
 */
VELM_SOF_API uint32_t SOF_SetEncryptMethod(
    int32_t lEncMethod);

/**
 * @brief Returns the process's encrypt method.
 *
 * Source: GM/T 0020. The return value is the method, not a result code.
 * @retval 0x00002002 No method has been set, or this one has.
 * @retval 0x00000402 SM4-CBC: set by the caller, or by SOF_EncryptFile() for an SM2 certificate.
 * @retval other The method set last, its 32 bits as they are.
 * @par Thread safety
 * Any thread; the value belongs to the process and is not locked.
 */
VELM_SOF_API uint32_t SOF_GetEncryptMethod(
    void);

/**
 * @brief Puts data into a digital envelope for the owner of a certificate.
 *
 * Source: GM/T 0020. Size query: a null pEncryptedData stores uPlainDataLen + 1024. The length that comes in
 * is not compared: that many bytes are always enough.
 * @param[in] pEncryptCert The recipient's DER certificate.
 * @param[in] uEncryptCertLen Length of pEncryptCert in bytes.
 * @param[in] pPlainData Data to encrypt.
 * @param[in] uPlainDataLen Length of pPlainData in bytes.
 * @param[out] pEncryptedData The envelope; null for the size query.
 * @param[out] pEncryptedDataLen Bytes written.
 * @retval SOR_OK The envelope was written, or the size query was answered.
 * @retval SOR_NULLPOINTERERR pEncryptCert, pPlainData or pEncryptedDataLen is null.
 * @retval SOR_COMMUNICATIONERR The local service could not be reached.
 * @retval SOR_UNKNOWNERR The service's answer is malformed, or longer than the call takes.
 * @retval SOR_MEMORYERR Memory ran out, or a size passes 32 bits.
 * @retval other The service's own code.
 * @par Thread safety
 * Any thread, several calls at once.
 */
VELM_SOF_API uint32_t SOF_EncryptData(
    const uint8_t* pEncryptCert, uint32_t uEncryptCertLen, const uint8_t* pPlainData, uint32_t uPlainDataLen,
    uint8_t* pEncryptedData, uint32_t* pEncryptedDataLen);

/**
 * @brief Opens a digital envelope with the key of a container.
 *
 * Source: GM/T 0020. Size query: a null pPlainData stores uEncryptedDataLen. The length that comes in is not
 * compared: that many bytes are always enough.
 * @param[in] pszContainerName Container name; not checked.
 * @param[in] pEncryptedData The envelope.
 * @param[in] uEncryptedDataLen Length of pEncryptedData in bytes.
 * @param[out] pPlainData The data; null for the size query.
 * @param[out] pPlainDataLen Bytes written.
 * @retval SOR_OK The data was written, or the size query was answered.
 * @retval SOR_NULLPOINTERERR pEncryptedData or pPlainDataLen is null.
 * @retval SOR_COMMUNICATIONERR The local service could not be reached.
 * @retval SOR_UNKNOWNERR The service's answer is malformed, or longer than the call takes.
 * @retval SOR_MEMORYERR Memory ran out, or a size passes 32 bits.
 * @retval other The service's own code.
 * @par Thread safety
 * Any thread, several calls at once.
 */
VELM_SOF_API uint32_t SOF_DecryptData(
    const char* pszContainerName, const uint8_t* pEncryptedData, uint32_t uEncryptedDataLen,
    uint8_t* pPlainData, uint32_t* pPlainDataLen);

/**
 * @brief Encrypts data with a public key alone.
 *
 * No pointer is checked. Size query: a null pOutData stores uKeyDataLen + 1024. The length that comes in is
 * not compared: that many bytes are always enough.
 * @param[in] pKeyData Public key or certificate.
 * @param[in] uKeyDataLen Length of pKeyData in bytes.
 * @param[in] pInData Data to encrypt.
 * @param[in] uInDataLen Length of pInData in bytes.
 * @param[out] pOutData The ciphertext; null for the size query.
 * @param[out] pOutDataLen Bytes written.
 * @retval SOR_OK The ciphertext was written, or the size query was answered.
 * @retval SOR_COMMUNICATIONERR The local service could not be reached.
 * @retval SOR_UNKNOWNERR The service's answer is malformed, or longer than the call takes.
 * @retval SOR_MEMORYERR Memory ran out, or a size passes 32 bits.
 * @retval other The service's own code.
 * @par Thread safety
 * Any thread, several calls at once.
 */
VELM_SOF_API uint32_t SOF_Ext_AsymmEncryptData(
    const uint8_t* pKeyData, uint32_t uKeyDataLen, const uint8_t* pInData, uint32_t uInDataLen,
    uint8_t* pOutData, uint32_t* pOutDataLen);

/**
 * @brief Decrypts data with a private key of a container.
 *
 * No pointer is checked. Size query: a null pOutData stores uInDataLen + 1024. The length that comes in is
 * not compared: that many bytes are always enough.
 * @param[in] pszContainerName Container name.
 * @param[in] uKeySpec Which key of the container; its values are the service's.
 * @param[in] pInData The ciphertext.
 * @param[in] uInDataLen Length of pInData in bytes.
 * @param[out] pOutData The data; null for the size query.
 * @param[out] pOutDataLen Bytes written.
 * @retval SOR_OK The data was written, or the size query was answered.
 * @retval SOR_COMMUNICATIONERR The local service could not be reached.
 * @retval SOR_UNKNOWNERR The service's answer is malformed, or longer than the call takes.
 * @retval SOR_MEMORYERR Memory ran out, or a size passes 32 bits.
 * @retval other The service's own code.
 * @par Thread safety
 * Any thread, several calls at once.
 */
VELM_SOF_API uint32_t SOF_Ext_AsymmDecryptData(
    const char* pszContainerName, uint32_t uKeySpec, const uint8_t* pInData, uint32_t uInDataLen,
    uint8_t* pOutData, uint32_t* pOutDataLen);

/**
 * @brief Fetches a public key of a container.
 *
 * No pointer is checked. Size query: a null pPublicKey stores 1024. The length that comes in is not compared:
 * that many bytes are always enough.
 * @param[in] pszContainerName Container name.
 * @param[in] uKeySpec Which key of the container; its values are the service's.
 * @param[out] pPublicKey The public key; null for the size query.
 * @param[out] pPublicKeyLen Bytes written.
 * @retval SOR_OK The key was written, or the size query was answered.
 * @retval SOR_COMMUNICATIONERR The local service could not be reached.
 * @retval SOR_UNKNOWNERR The service's answer is malformed, or longer than the call takes.
 * @retval SOR_MEMORYERR Memory ran out, or a size passes 32 bits.
 * @retval other The service's own code.
 * @par Thread safety
 * Any thread, several calls at once.
 */
VELM_SOF_API uint32_t SOF_Ext_ExportPublicKey(
    const char* pszContainerName, uint32_t uKeySpec, uint8_t* pPublicKey, uint32_t* pPublicKeyLen);

/** @} */

/**
 * @defgroup velm_sof_file_envelope File envelope
 * Digital envelopes over whole files, and the envelope type.
 * @{
 */

/**
 * @brief Puts a file into a digital envelope for the owner of a certificate.
 *
 * Source: GM/T 0020. With envelope type 2, the default, the file is read whole (up to 2 GiB) and enveloped by
 * SOF_EncryptData(); with any other type the signature provider does it with the encrypt method. Side effect:
 * an SM2 certificate sets the process's encrypt method to 0x00000402 (SM4-CBC), and it stays so, even if the
 * call then fails.
 *
 * @warning With envelope type 2 a write that falls short, as on a full disk, is not noticed: the answer is
 *   #SOR_OK, and the envelope is cut off. Such an envelope cannot be opened; where the disk may be full, open
 *   it before the original goes.
 * @param[in] pEncryptCert The recipient's DER certificate.
 * @param[in] uEncryptCertLen Length of pEncryptCert in bytes.
 * @param[in] pszInFilePath File to encrypt, in UTF-8 or in the local code page; not empty with envelope type
 *   2.
 * @param[in] pszOutFilePath File to write, in UTF-8 or in the local code page; an existing one is replaced.
 * @retval SOR_OK The envelope was written.
 * @retval SOR_NULLPOINTERERR pEncryptCert, pszInFilePath or pszOutFilePath is null.
 * @retval SOR_CERTPARSEERR The certificate could not be parsed.
 * @retval SOR_FILEERR A path could not be converted to the local code page.
 * @retval SOR_FILEOPENERR Envelope type 2: a file could not be opened, or the one to encrypt has 2 GiB or
 *   more.
 * @retval SOR_INDATALENERR Envelope type 2: the file is empty.
 * @retval SOR_MEMORYERR Memory ran out.
 * @retval SOR_COMMUNICATIONERR Envelope type 2: the local service could not be reached.
 * @retval SOR_UNKNOWNERR Envelope type 2: the service's answer is malformed, or longer than the call takes.
 * @retval other Envelope type 2: the service's own code. Otherwise the provider's result as a constant of
 *   this header.
 * @par Thread safety
 * Any thread. It reads the envelope type and the encrypt method, and sets the latter for an SM2 certificate;
 * both belong to the process and are not locked.
 */
VELM_SOF_API uint32_t SOF_EncryptFile(
    const uint8_t* pEncryptCert, uint32_t uEncryptCertLen, const char* pszInFilePath,
    const char* pszOutFilePath);

/**
 * @brief Opens a file's digital envelope with the key of a container.
 *
 * Source: GM/T 0020. The signature provider opens it file to file; an envelope that it can only open in
 * memory is read whole (up to 2 GiB). The envelope type has no influence.
 *
 * @warning When an envelope is opened in memory, a write that falls short, as on a full disk, is not noticed:
 *   the answer is #SOR_OK, and the file is cut off. Only its content tells; keep the envelope.
 * @param[in] pszContainerName Container name.
 * @param[in] pszInFilePath Envelope file, in UTF-8 or in the local code page; not empty.
 * @param[in] pszOutFilePath File to write, in UTF-8 or in the local code page; an existing one is replaced.
 * @retval SOR_OK The file was written.
 * @retval SOR_NULLPOINTERERR A parameter is null.
 * @retval SOR_FILEERR A path could not be converted to the local code page.
 * @retval SOR_FILEOPENERR A file could not be opened, or an envelope to be opened in memory has 2 GiB or
 *   more.
 * @retval SOR_INDATALENERR The file is empty.
 * @retval SOR_MEMORYERR Memory ran out.
 * @retval other The signature provider's result as a constant of this header.
 * @par Thread safety
 * Any thread, several calls at once.
 */
VELM_SOF_API uint32_t SOF_DecryptFile(
    const char* pszContainerName, const char* pszInFilePath, const char* pszOutFilePath);

/**
 * @brief Stores the process's envelope type.
 * @param[in] lEnvType 2, the initial value: SOF_EncryptFile() encrypts in memory through the local service.
 *   Any other value: through the signature provider.
 * @retval SOR_OK Always.
 * @par Thread safety
 * Any thread; the value belongs to the process and is not locked.
 */
VELM_SOF_API uint32_t SOF_Ext_SetEnvelopType(
    uint32_t lEnvType);

/** @} */

/**
 * @defgroup velm_sof_symmetric Symmetric encryption
 * With a key of the caller, in process. Algorithm identifiers are those of GM/T 0006: 0x400 (SM4) or another
 * cipher, plus 1 ECB, 2 CBC, 4 CFB or 8 OFB.
 * @{
 */

/**
 * @brief Encrypts data with a symmetric key.
 *
 * There is no size query: pbOutData always has room for uInDataLen bytes and one cipher block. The crypto
 * module pads as it does for the cipher and mode.
 * @param[in] uSymmAlg Algorithm identifier; only bits 0 to 7 (mode) and 8 to 19 (cipher) are looked at.
 * @param[in] uPaddingMode Ignored but for the log.
 * @param[in] pIV Initialisation vector, one cipher block; null where the mode needs none. Not checked.
 * @param[in] pbSymmKey The key.
 * @param[in] uSymmKeyLen Length of pbSymmKey in bytes.
 * @param[in] pbInData Data to encrypt.
 * @param[in] uInDataLen Length of pbInData in bytes.
 * @param[out] pbOutData The ciphertext.
 * @param[out] puOutDataLen Bytes written; what comes in is ignored.
 * @retval SOR_OK The ciphertext was written.
 * @retval SOR_NULLPOINTERERR pbSymmKey, pbInData, pbOutData or puOutDataLen is null.
 * @retval SOR_INDATAERR The crypto module takes no such algorithm, key or initialisation vector.
 * @retval SOR_UNKNOWNERR The encryption failed.
 * @par Thread safety
 * Any thread, several calls at once.
 */
VELM_SOF_API uint32_t SOF_Ext_SymmEncrypt(
    uint32_t uSymmAlg, uint32_t uPaddingMode, const uint8_t* pIV, const uint8_t* pbSymmKey,
    uint32_t uSymmKeyLen, const uint8_t* pbInData, uint32_t uInDataLen, uint8_t* pbOutData,
    uint32_t* puOutDataLen);

/**
 * @brief Decrypts data with a symmetric key.
 *
 * There is no size query: pbOutData always has room for uInDataLen bytes and one cipher block.
 * @param[in] uSymmAlg Algorithm identifier; only bits 0 to 7 (mode) and 8 to 19 (cipher) are looked at.
 * @param[in] uPaddingMode Ignored but for the log.
 * @param[in] pIV Initialisation vector, one cipher block; null where the mode needs none. Not checked.
 * @param[in] pbSymmKey The key.
 * @param[in] uSymmKeyLen Length of pbSymmKey in bytes.
 * @param[in] pbInData The ciphertext.
 * @param[in] uInDataLen Length of pbInData in bytes.
 * @param[out] pbOutData The data.
 * @param[out] puOutDataLen Bytes written; what comes in is ignored.
 * @retval SOR_OK The data was written.
 * @retval SOR_NULLPOINTERERR pbSymmKey, pbInData, pbOutData or puOutDataLen is null.
 * @retval SOR_INDATAERR The crypto module takes no such algorithm, key or initialisation vector.
 * @retval SOR_UNKNOWNERR The decryption failed.
 * @par Thread safety
 * Any thread, several calls at once.
 */
VELM_SOF_API uint32_t SOF_Ext_SymmDecrypt(
    uint32_t uSymmAlg, uint32_t uPaddingMode, const uint8_t* pIV, const uint8_t* pbSymmKey,
    uint32_t uSymmKeyLen, const uint8_t* pbInData, uint32_t uInDataLen, uint8_t* pbOutData,
    uint32_t* puOutDataLen);

/**
 * @brief Encrypts a file with a symmetric key.
 *
 * The signature provider does the work, file to file.
 * @param[in] ulSymmAlg Algorithm identifier, handed on as it stands.
 * @param[in] pbIV Initialisation vector; not checked.
 * @param[in] ulIVLen Length of pbIV in bytes.
 * @param[in] pbSymmKey The key.
 * @param[in] ulSymmKeyLen Length of pbSymmKey in bytes.
 * @param[in] pszInFilePath File to encrypt, in the local code page.
 * @param[in] pszOutFilePath File to write, in the local code page.
 * @retval SOR_OK The file was written.
 * @retval SOR_NULLPOINTERERR pbSymmKey, pszInFilePath or pszOutFilePath is null.
 * @retval other The signature provider's result as a constant of this header.
 * @par Thread safety
 * Any thread, several calls at once.
 */
VELM_SOF_API uint32_t SOF_Ext_SymmEncryptFile(
    uint32_t ulSymmAlg, const uint8_t* pbIV, uint32_t ulIVLen, const uint8_t* pbSymmKey,
    uint32_t ulSymmKeyLen, const char* pszInFilePath, const char* pszOutFilePath);

/**
 * @brief Decrypts a file with a symmetric key.
 *
 * The signature provider does the work, file to file.
 * @param[in] ulSymmAlg Algorithm identifier, handed on as it stands.
 * @param[in] pbIV Initialisation vector; not checked.
 * @param[in] ulIVLen Length of pbIV in bytes.
 * @param[in] pbSymmKey The key.
 * @param[in] ulSymmKeyLen Length of pbSymmKey in bytes.
 * @param[in] pszInFilePath File to decrypt, in the local code page.
 * @param[in] pszOutFilePath File to write, in the local code page.
 * @retval SOR_OK The file was written.
 * @retval SOR_NULLPOINTERERR pbSymmKey, pszInFilePath or pszOutFilePath is null.
 * @retval other The signature provider's result as a constant of this header.
 * @par Thread safety
 * Any thread, several calls at once.
 */
VELM_SOF_API uint32_t SOF_Ext_SymmDecryptFile(
    uint32_t ulSymmAlg, const uint8_t* pbIV, uint32_t ulIVLen, const uint8_t* pbSymmKey,
    uint32_t ulSymmKeyLen, const char* pszInFilePath, const char* pszOutFilePath);

/** @} */

/**
 * @defgroup velm_sof_time_stamp Time stamp
 * Time stamps and the time of a time-stamp authority, through the signature provider. With a null output
 * buffer the provider reports the size that it needs.
 * @{
 */

/**
 * @brief Asks the time-stamp authority for its time.
 * @param[out] pucTime The time in the provider's form; null for the size query.
 * @param[in,out] pulTimeLen In: size of pucTime in bytes. Out: bytes written, or needed.
 * @retval SOR_OK The time was written, or the size query was answered.
 * @retval SOR_NULLPOINTERERR pulTimeLen is null.
 * @retval other The signature provider's result as a constant of this header.
 * @par Thread safety
 * Any thread, several calls at once.
 */
VELM_SOF_API uint32_t SOF_Ext_TspGetTime(
    uint8_t* pucTime, uint32_t* pulTimeLen);

/**
 * @brief Fetches a time stamp for data.
 * @param[in] pszContainerName Container name.
 * @param[in] pucInData Data to stamp.
 * @param[in] ulInDataLen Length of pucInData in bytes.
 * @param[out] pucStampResp The time stamp; null for the size query.
 * @param[in,out] pulStampRespLen In: size of pucStampResp in bytes. Out: bytes written, or needed.
 * @retval SOR_OK The time stamp was written, or the size query was answered.
 * @retval SOR_NULLPOINTERERR pszContainerName, pucInData or pulStampRespLen is null.
 * @retval other The signature provider's result as a constant of this header.
 * @par Thread safety
 * Any thread, several calls at once.
 */
VELM_SOF_API uint32_t SOF_Ext_TspGetStamp(
    const char* pszContainerName, const uint8_t* pucInData, uint32_t ulInDataLen, uint8_t* pucStampResp,
    uint32_t* pulStampRespLen);

/**
 * @brief Verifies a time stamp of data.
 * @param[in] pucInData Data that was stamped.
 * @param[in] ulInDataLen Length of pucInData in bytes.
 * @param[in] pucStamp The time stamp.
 * @param[in] ulStampLen Length of pucStamp in bytes.
 * @param[in] pucTsaCert Certificate of the time-stamp authority.
 * @param[in] ulTsaCertLen Length of pucTsaCert in bytes.
 * @param[out] pucTimeInfo The stamped time in the provider's form; null for the size query.
 * @param[in,out] pulTimeInfoLen In: size of pucTimeInfo in bytes. Out: bytes written, or needed.
 * @retval SOR_OK The time stamp is valid, or the size query was answered.
 * @retval SOR_NULLPOINTERERR pucInData, pucStamp, pucTsaCert or pulTimeInfoLen is null.
 * @retval other The signature provider's result as a constant of this header.
 * @par Thread safety
 * Any thread, several calls at once.
 */
VELM_SOF_API uint32_t SOF_Ext_TspVerifyStamp(
    const uint8_t* pucInData, uint32_t ulInDataLen, const uint8_t* pucStamp, uint32_t ulStampLen,
    const uint8_t* pucTsaCert, uint32_t ulTsaCertLen, uint8_t* pucTimeInfo, uint32_t* pulTimeInfoLen);

/**
 * @brief Fetches a time stamp for a file.
 * @param[in] pszContainerName Container name.
 * @param[in] pucInFile The file, named in the provider's form.
 * @param[in] ulInFileLen Length of pucInFile in bytes.
 * @param[out] pucStampResp The time stamp; null for the size query.
 * @param[in,out] pulStampRespLen In: size of pucStampResp in bytes. Out: bytes written, or needed.
 * @retval SOR_OK The time stamp was written, or the size query was answered.
 * @retval SOR_NULLPOINTERERR pszContainerName, pucInFile or pulStampRespLen is null.
 * @retval other The signature provider's result as a constant of this header.
 * @par Thread safety
 * Any thread, several calls at once.
 */
VELM_SOF_API uint32_t SOF_Ext_TspGetFileStamp(
    const char* pszContainerName, const uint8_t* pucInFile, uint32_t ulInFileLen, uint8_t* pucStampResp,
    uint32_t* pulStampRespLen);

/**
 * @brief Verifies a time stamp of a file.
 * @param[in] pucInFile The file, named in the provider's form.
 * @param[in] ulInFileLen Length of pucInFile in bytes.
 * @param[in] pucStamp The time stamp.
 * @param[in] ulStampLen Length of pucStamp in bytes.
 * @param[in] pucTsaCert Certificate of the time-stamp authority.
 * @param[in] ulTsaCertLen Length of pucTsaCert in bytes.
 * @param[out] pucTimeInfo The stamped time in the provider's form; null for the size query.
 * @param[in,out] pulTimeInfoLen In: size of pucTimeInfo in bytes. Out: bytes written, or needed.
 * @retval SOR_OK The time stamp is valid, or the size query was answered.
 * @retval SOR_NULLPOINTERERR pucInFile, pucStamp, pucTsaCert or pulTimeInfoLen is null.
 * @retval other The signature provider's result as a constant of this header.
 * @par Thread safety
 * Any thread, several calls at once.
 */
VELM_SOF_API uint32_t SOF_Ext_TspVerifyFileStamp(
    const uint8_t* pucInFile, uint32_t ulInFileLen, const uint8_t* pucStamp, uint32_t ulStampLen,
    const uint8_t* pucTsaCert, uint32_t ulTsaCertLen, uint8_t* pucTimeInfo, uint32_t* pulTimeInfoLen);

/**
 * @brief Asks the time-stamp authority for its time, through the provider's application handle.
 *
 * @warning Answers #SOR_OK also when the provider cannot be opened, and then writes nothing. Ask for the size
 *   first, with a null pucTime and *pulTimeLen at 0: a length that is still 0 means that the provider was not
 *   opened.
 * @param[out] pucTime The time in the provider's form; null for the size query.
 * @param[in,out] pulTimeLen In: size of pucTime in bytes. Out: bytes written, or needed.
 * @retval SOR_OK The time was written, the size query was answered, or the provider could not be opened.
 * @retval SOR_NULLPOINTERERR pulTimeLen is null.
 * @retval other The signature provider's result as a constant of this header.
 * @par Thread safety
 * Any thread, several calls at once.
 */
VELM_SOF_API uint32_t SOF_Ext_GM_Tsp_GetTime(
    uint8_t* pucTime, uint32_t* pulTimeLen);

/**
 * @brief Fetches a time stamp for data, through the provider's application handle.
 *
 * @warning Answers #SOR_OK also when the provider cannot be opened, and then writes nothing. A caller whose
 *   buffer size never equals the stamp's can tell by *pulStampRespLen, which stays as it was.
 * @param[in] ulSelector Digest algorithm of GM/T 0006 that the time stamp covers the data with (1 SM3,
 *   2 SHA-1, 4 SHA-256), as the signature provider defines it; with the software token 0 stands for SM3.
 * @param[in] pucInData Data to stamp.
 * @param[in] ulInDataLen Length of pucInData in bytes.
 * @param[out] pucStampResp The time stamp; null for the size query.
 * @param[in,out] pulStampRespLen In: size of pucStampResp in bytes. Out: bytes written, or needed.
 * @retval SOR_OK The time stamp was written, the size query was answered, or the provider could not be
 *   opened.
 * @retval SOR_NULLPOINTERERR pucInData or pulStampRespLen is null.
 * @retval other The signature provider's result as a constant of this header.
 * @par Thread safety
 * Any thread, several calls at once.
 */
VELM_SOF_API uint32_t SOF_Ext_GM_Tsp_SealTimeStamp(
    uint32_t ulSelector, const uint8_t* pucInData, uint32_t ulInDataLen, uint8_t* pucStampResp,
    uint32_t* pulStampRespLen);

/**
 * @brief Verifies a time stamp of data, through the provider's application handle.
 *
 * @warning Answers #SOR_OK also when the provider cannot be opened, and then verifies and writes nothing.
 *   *pulTimeInfoLen stays as it was: only a changed one proves that the time stamp was looked at.
 * @param[in] pucInData Data that was stamped.
 * @param[in] ulInDataLen Length of pucInData in bytes.
 * @param[in] pucStamp The time stamp.
 * @param[in] ulStampLen Length of pucStamp in bytes.
 * @param[in] pucTsaCert Certificate of the time-stamp authority.
 * @param[in] ulTsaCertLen Length of pucTsaCert in bytes.
 * @param[out] pucTimeInfo The stamped time in the provider's form; null for the size query.
 * @param[in,out] pulTimeInfoLen In: size of pucTimeInfo in bytes. Out: bytes written, or needed.
 * @retval SOR_OK The time stamp is valid, the size query was answered, or the provider could not be opened.
 * @retval SOR_NULLPOINTERERR pucInData, pucStamp, pucTsaCert or pulTimeInfoLen is null.
 * @retval other The signature provider's result as a constant of this header.
 * @par Thread safety
 * Any thread, several calls at once.
 */
VELM_SOF_API uint32_t SOF_Ext_GM_Tsp_VerifyTimeStamp(
    const uint8_t* pucInData, uint32_t ulInDataLen, const uint8_t* pucStamp, uint32_t ulStampLen,
    const uint8_t* pucTsaCert, uint32_t ulTsaCertLen, uint8_t* pucTimeInfo, uint32_t* pulTimeInfoLen);

/** @} */

/**
 * @defgroup velm_sof_user_data User data
 * Data files that the local service keeps per container.
 * @{
 */

/**
 * @brief Reads from a user data file.
 *
 * No argument is checked, there is no size query, and the number of bytes read is not reported: when the file
 * holds less than ulReadLen bytes, the rest of the buffer stays as it was.
 * @param[in] pszContainerName Container name.
 * @param[in] ulFileType Type of file; its values are the service's.
 * @param[in] ulFileIndex Number of the file.
 * @param[in] ulOffset Where to start, in bytes.
 * @param[in] ulReadLen Bytes wanted.
 * @param[out] pReadData Receives at most ulReadLen bytes.
 * @retval SOR_OK The bytes were written.
 * @retval SOR_COMMUNICATIONERR The local service could not be reached.
 * @retval SOR_UNKNOWNERR The service's answer is malformed, or longer than the call takes.
 * @retval SOR_MEMORYERR Memory ran out, or a size passes 32 bits.
 * @retval other The service's own code.
 * @par Thread safety
 * Any thread, several calls at once.
 */
VELM_SOF_API uint32_t SOF_Ext_ReadUsrDataFile(
    const char* pszContainerName, uint32_t ulFileType, uint32_t ulFileIndex, uint32_t ulOffset,
    uint32_t ulReadLen, uint8_t* pReadData);

/**
 * @brief Writes to a user data file.
 *
 * No argument is checked. The PIN travels to the local service as plain text, without escaping.
 * @param[in] pszContainerName Container name.
 * @param[in] pPin The container's PIN; it ends at its first zero byte, if there is one.
 * @param[in] uPinLen Length of pPin in bytes.
 * @param[in] ulFileType Type of file; its values are the service's.
 * @param[in] ulFileIndex Number of the file.
 * @param[in] ulOffset Where to start, in bytes.
 * @param[in] ulWriteLen Length of pWriteData in bytes. Mind the order: it comes before the data.
 * @param[in] pWriteData Data to write.
 * @retval SOR_OK The data was written.
 * @retval SOR_COMMUNICATIONERR The local service could not be reached.
 * @retval SOR_JSONPARSEERR The service's answer is not JSON, or longer than the call takes.
 * @retval SOR_UNKNOWNERR The service's answer has no result code.
 * @retval SOR_MEMORYERR Memory ran out, or the request passes 4 GiB.
 * @retval other The service's own code.
 * @par Thread safety
 * Any thread, several calls at once.
 */
VELM_SOF_API uint32_t SOF_Ext_WriteUsrDataFile(
    const char* pszContainerName, const uint8_t* pPin, uint32_t uPinLen, uint32_t ulFileType,
    uint32_t ulFileIndex, uint32_t ulOffset, uint32_t ulWriteLen, const uint8_t* pWriteData);

/** @} */

/**
 * @defgroup velm_sof_device_storage Device storage
 * Files and labels on the device, control commands, devices and version, through the signature provider. With
 * a null output buffer the provider reports the size that it needs.
 * @{
 */

/**
 * @brief Lists the files of a container's application.
 * @param[in] pszContainerName Container name.
 * @param[out] pszFileNameList The names in the provider's form; null for the size query.
 * @param[in,out] pulFileNameListLen In: size of pszFileNameList in bytes. Out: bytes written, or needed.
 * @retval SOR_OK The list was written, or the size query was answered.
 * @retval SOR_NULLPOINTERERR pszContainerName or pulFileNameListLen is null.
 * @retval other The signature provider's result as a constant of this header.
 * @par Thread safety
 * Any thread, several calls at once.
 */
VELM_SOF_API uint32_t SOF_Ext_EnumFile(
    const char* pszContainerName, char* pszFileNameList, uint32_t* pulFileNameListLen);

/**
 * @brief Creates a file on the device.
 * @param[in] pszContainerName Container name.
 * @param[in] pszFileName Name of the file.
 * @param[in] fileLen Size of the file in bytes.
 * @param[in] readRights Who may read; the values are the device's.
 * @param[in] writeRights Who may write; the values are the device's.
 * @retval SOR_OK The file was created.
 * @retval SOR_NULLPOINTERERR pszContainerName or pszFileName is null.
 * @retval other The signature provider's result as a constant of this header.
 * @par Thread safety
 * Any thread, several calls at once.
 */
VELM_SOF_API uint32_t SOF_Ext_CreateFile(
    const char* pszContainerName, const char* pszFileName, uint32_t fileLen, uint32_t readRights,
    uint32_t writeRights);

/**
 * @brief Deletes a file on the device.
 * @param[in] pszContainerName Container name.
 * @param[in] pszFileName Name of the file.
 * @retval SOR_OK The file was deleted.
 * @retval SOR_NULLPOINTERERR pszContainerName or pszFileName is null.
 * @retval other The signature provider's result as a constant of this header.
 * @par Thread safety
 * Any thread, several calls at once.
 */
VELM_SOF_API uint32_t SOF_Ext_DeleteFile(
    const char* pszContainerName, const char* pszFileName);

/**
 * @brief Reads from a file on the device.
 * @param[in] pszContainerName Container name.
 * @param[in] pszFileName Name of the file.
 * @param[in] offset Where to start, in bytes.
 * @param[in] readLen Bytes wanted.
 * @param[out] pFileData The bytes; null for the size query.
 * @param[in,out] pulReadLen In: size of pFileData in bytes. Out: bytes written, or needed. Not checked for
 *   null.
 * @retval SOR_OK The bytes were written, or the size query was answered.
 * @retval SOR_NULLPOINTERERR pszContainerName or pszFileName is null.
 * @retval other The signature provider's result as a constant of this header.
 * @par Thread safety
 * Any thread, several calls at once.
 */
VELM_SOF_API uint32_t SOF_Ext_ReadFile(
    const char* pszContainerName, const char* pszFileName, uint32_t offset, uint32_t readLen,
    uint8_t* pFileData, uint32_t* pulReadLen);

/**
 * @brief Writes to a file on the device.
 * @param[in] pszContainerName Container name.
 * @param[in] pszFileName Name of the file.
 * @param[in] offset Where to start, in bytes.
 * @param[in] pFileData Data to write; not null even if fileDataLen is 0.
 * @param[in] fileDataLen Length of pFileData in bytes.
 * @retval SOR_OK The data was written.
 * @retval SOR_NULLPOINTERERR pszContainerName, pszFileName or pFileData is null.
 * @retval other The signature provider's result as a constant of this header.
 * @par Thread safety
 * Any thread, several calls at once.
 */
VELM_SOF_API uint32_t SOF_Ext_WriteFile(
    const char* pszContainerName, const char* pszFileName, uint32_t offset, const uint8_t* pFileData,
    uint32_t fileDataLen);

/**
 * @brief Reads the attributes of a file on the device.
 *
 * The three outputs are not checked.
 * @param[in] pszContainerName Container name.
 * @param[in] pszFileName Name of the file.
 * @param[out] pFileSize Size of the file in bytes.
 * @param[out] pReadRights Who may read; the values are the device's.
 * @param[out] pWriteRights Who may write; the values are the device's.
 * @retval SOR_OK The attributes were written.
 * @retval SOR_NULLPOINTERERR pszContainerName or pszFileName is null.
 * @retval other The signature provider's result as a constant of this header.
 * @par Thread safety
 * Any thread, several calls at once.
 */
VELM_SOF_API uint32_t SOF_Ext_GetFileAttribute(
    const char* pszContainerName, const char* pszFileName, uint32_t* pFileSize, uint32_t* pReadRights,
    uint32_t* pWriteRights);

/**
 * @brief Sends a control command to the device.
 * @param[in] pszContainerName Container name; not checked.
 * @param[in] szControlName Name of the control; the names are the device's.
 * @param[in] szControlCommand Command of the control.
 * @retval SOR_OK The device took the command.
 * @retval SOR_NULLPOINTERERR szControlName or szControlCommand is null.
 * @retval other The signature provider's result as a constant of this header.
 * @par Thread safety
 * Any thread, several calls at once.
 */
VELM_SOF_API uint32_t SOF_Ext_Control(
    const char* pszContainerName, const char* szControlName, const char* szControlCommand);

/**
 * @brief Lists the devices.
 * @param[out] pDeviceInfo The list in the provider's form; null for the size query.
 * @param[in,out] puiDeviceInfoLen In: size of pDeviceInfo in bytes. Out: bytes written, or needed.
 * @retval SOR_OK The list was written, or the size query was answered.
 * @retval SOR_NULLPOINTERERR puiDeviceInfoLen is null.
 * @retval other The signature provider's result as a constant of this header.
 * @par Thread safety
 * Any thread, several calls at once.
 */
VELM_SOF_API uint32_t SOF_Ext_EnumDevice(
    uint8_t* pDeviceInfo, uint32_t* puiDeviceInfoLen);

/**
 * @brief Reads a label from the device.
 * @param[in] pszContainerName Container name.
 * @param[in] pucName Name of the label; need not end in a zero.
 * @param[in] ulNameLen Length of pucName in bytes.
 * @param[in] ulType Type of the label; its values are the provider's.
 * @param[out] pucOutData The label's content; null for the size query.
 * @param[in,out] pulOutDataLen In: size of pucOutData in bytes. Out: bytes written, or needed.
 * @retval SOR_OK The content was written, or the size query was answered.
 * @retval SOR_NULLPOINTERERR pszContainerName, pucName or pulOutDataLen is null.
 * @retval other The signature provider's result as a constant of this header.
 * @par Thread safety
 * Any thread, several calls at once.
 */
VELM_SOF_API uint32_t SOF_Ext_ReadLabel(
    const char* pszContainerName, const char* pucName, uint32_t ulNameLen, uint32_t ulType,
    uint8_t* pucOutData, uint32_t* pulOutDataLen);

/**
 * @brief Tells the version of the provider's product.
 *
 * There is no size query. The first and the fourth argument are pointer width and handed on as they stand.
 * @param[in,out] pFirst First argument of the provider's function; an integer is passed by a cast.
 * @param[out] pszVersion The version text with its terminating zero.
 * @param[in] uBufferSize Size of pszVersion in bytes, at least 256.
 * @param[in,out] pFourth Fourth argument of the provider's function; an integer is passed by a cast.
 * @retval SOR_OK The version was written.
 * @retval SOR_NULLPOINTERERR pszVersion is null.
 * @retval SOR_INDATALENERR uBufferSize is below 256.
 * @retval other The signature provider's result as a constant of this header.
 * @par Thread safety
 * Any thread, several calls at once.
 */
VELM_SOF_API uint32_t SOF_Ext_GetProductVersion(
    void* pFirst, char* pszVersion, uint32_t uBufferSize, void* pFourth);

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
 * @param[out] puSealCount Number of seals; 0 when the service succeeds without naming it.
 * @retval SOR_OK The count was written.
 * @retval SOR_NULLPOINTERERR pszContainerName or puSealCount is null.
 * @retval SOR_COMMUNICATIONERR The local service could not be reached.
 * @retval SOR_JSONPARSEERR The service's answer is not JSON, or longer than the call takes.
 * @retval SOR_UNKNOWNERR The service's answer has no result code.
 * @retval SOR_MEMORYERR Memory ran out, or the request passes 4 GiB.
 * @retval other The service's own code.
 * @par Thread safety
 * Any thread, several calls at once.
 */
VELM_SOF_API uint32_t SOF_Ext_EnumSeal(
    const char* pszContainerName, uint32_t* puSealCount);

/**
 * @brief Reads one item of a seal.
 *
 * There is no size query, and the length that comes in is not compared: 49,152 bytes are always enough.
 * @param[in] pszContainerName Container name.
 * @param[in] uSealIndex Number of the seal.
 * @param[in] uInfoType Item wanted; its values are the service's.
 * @param[out] pInfo The item, at most 49,152 bytes; with null only its length is reported.
 * @param[out] pInfoLen Length of the item in bytes; 0 when the service's answer holds no readable item.
 * @retval SOR_OK The service answered; look at *pInfoLen.
 * @retval SOR_NULLPOINTERERR pszContainerName or pInfoLen is null.
 * @retval SOR_COMMUNICATIONERR The local service could not be reached.
 * @retval SOR_JSONPARSEERR The service's answer is not JSON, or longer than the call takes.
 * @retval SOR_UNKNOWNERR The service's answer has no result code.
 * @retval SOR_MEMORYERR Memory ran out, or the request passes 4 GiB.
 * @retval other The service's own code.
 * @par Thread safety
 * Any thread, several calls at once.
 */
VELM_SOF_API uint32_t SOF_Ext_GetSeaInfo(
    const char* pszContainerName, uint32_t uSealIndex, uint32_t uInfoType, uint8_t* pInfo,
    uint32_t* pInfoLen);

/**
 * @brief Parses a seal; not supported.
 *
 * Takes no parameters. The same function as SOF_Ext_ParseSealInfo(), at the same address.
 * @retval SOR_NOTSUPPORTYETERR Always.
 * @par Thread safety
 * Any thread, several calls at once.
 */
VELM_SOF_API uint32_t SOF_Ext_GetSealInfoEPoint(
    void);

/**
 * @brief Parses a seal; not supported.
 *
 * Takes no parameters. The same function as SOF_Ext_GetSealInfoEPoint(), at the same address.
 * @retval SOR_NOTSUPPORTYETERR Always.
 * @par Thread safety
 * Any thread, several calls at once.
 */
VELM_SOF_API uint32_t SOF_Ext_ParseSealInfo(
    void);

/** @} */

/**
 * @defgroup velm_sof_hash_base64 Hash and base64
 * In process: hashes and the SOF_Ext_ pair through the signature provider, the other pair through the crypto
 * module.
 * @{
 */

/**
 * @brief Hashes data.
 *
 * With a public key and a signer ID, SM3 includes the preprocessing of GM/T 0009. With a null output buffer
 * the provider reports the size that it needs.
 * @param[in] uiAlgorithmType Digest algorithm of GM/T 0006: 1 SM3, 2 SHA-1, 4 SHA-256.
 * @param[in] pucInData Data to hash.
 * @param[in] ulInDataLen Length of pucInData in bytes.
 * @param[in] pucPublicKey The signer's public key in the provider's form, or null.
 * @param[in] ulPublicKeyLen Length of pucPublicKey in bytes.
 * @param[in] pucID Signer ID, or null.
 * @param[in] ulIDLen Length of pucID in bytes.
 * @param[out] pucOutData The hash value; null for the size query.
 * @param[in,out] pulOutDataLen In: size of pucOutData in bytes. Out: bytes written, or needed; untouched on
 *   failure.
 * @retval SOR_OK The hash value was written, or the size query was answered.
 * @retval SOR_NULLPOINTERERR pucInData or pulOutDataLen is null.
 * @retval other The signature provider's result as a constant of this header.
 * @par Thread safety
 * Any thread, several calls at once.
 */
VELM_SOF_API uint32_t SOF_Ext_HashData(
    uint32_t uiAlgorithmType, const uint8_t* pucInData, uint32_t ulInDataLen, const uint8_t* pucPublicKey,
    uint32_t ulPublicKeyLen, const uint8_t* pucID, uint32_t ulIDLen, uint8_t* pucOutData,
    uint32_t* pulOutDataLen);

/**
 * @brief Hashes a file.
 *
 * The first five arguments are handed on to the provider's function as they stand, the first four in pointer
 * width: an integer among them is passed by a cast. With a null output buffer the provider reports the size
 * that it needs.
 * @param[in] pFirst First argument of the provider's function.
 * @param[in] pSecond Second argument of the provider's function.
 * @param[in] pThird Third argument of the provider's function.
 * @param[in] pFourth Fourth argument of the provider's function.
 * @param[in] ulFifth Fifth argument of the provider's function.
 * @param[in] pszInFilePath File to hash, in the local code page.
 * @param[out] pucOutData The hash value; null for the size query.
 * @param[in,out] pulOutDataLen In: size of pucOutData in bytes. Out: bytes written, or needed.
 * @retval SOR_OK The hash value was written, or the size query was answered.
 * @retval SOR_NULLPOINTERERR pszInFilePath or pulOutDataLen is null.
 * @retval other The signature provider's result as a constant of this header.
 * @par Thread safety
 * Any thread, several calls at once.
 */
VELM_SOF_API uint32_t SOF_Ext_HashFile(
    const void* pFirst, const void* pSecond, const void* pThird, const void* pFourth, uint32_t ulFifth,
    const char* pszInFilePath, uint8_t* pucOutData, uint32_t* pulOutDataLen);

/**
 * @brief Encodes bytes in base64.
 *
 * Size query: a null pEncodeData stores 2 * uOrignalDataLen + 16. The length that comes in is not compared:
 * that many bytes are always enough.
 * @param[in] pOrignalData Data to encode.
 * @param[in] uOrignalDataLen Length of pOrignalData in bytes.
 * @param[out] pEncodeData The base64 text; null for the size query.
 * @param[in,out] pEncodeDataLen In: ignored. Out: length of the text in bytes.
 * @retval SOR_OK The text was written, or the size query was answered.
 * @retval SOR_NULLPOINTERERR pOrignalData or pEncodeDataLen is null.
 * @retval SOR_BASE64ENCODEERR The crypto module could not encode.
 * @retval SOR_MEMORYERR The answer to the size query, or the length of the text, passes 32 bits.
 * @par Thread safety
 * Any thread, several calls at once.
 */
VELM_SOF_API uint32_t SOF_Base64Encode(
    const uint8_t* pOrignalData, uint32_t uOrignalDataLen, uint8_t* pEncodeData, uint32_t* pEncodeDataLen);

/**
 * @brief Decodes base64 text.
 *
 * Size query: a null pDecodeData stores uEncodeDataLen. The length that comes in is not compared: that many
 * bytes are always enough.
 * @param[in] pEncodeData Base64 text.
 * @param[in] uEncodeDataLen Length of pEncodeData in bytes.
 * @param[out] pDecodeData The decoded bytes; null for the size query.
 * @param[in,out] pDecodeDataLen In: ignored. Out: number of decoded bytes.
 * @retval SOR_OK The bytes were written, or the size query was answered.
 * @retval SOR_NULLPOINTERERR pEncodeData or pDecodeDataLen is null.
 * @retval SOR_BASE64DECODEERR The text is not base64.
 * @par Thread safety
 * Any thread, several calls at once.
 */
VELM_SOF_API uint32_t SOF_Base64Decode(
    const uint8_t* pEncodeData, uint32_t uEncodeDataLen, uint8_t* pDecodeData, uint32_t* pDecodeDataLen);

/**
 * @brief Encodes bytes in base64, by the signature provider.
 *
 * With a null output buffer the provider reports the size that it needs.
 * @param[in] pucInData Data to encode.
 * @param[in] ulInDataLen Length of pucInData in bytes.
 * @param[out] pucOutData The base64 text; null for the size query.
 * @param[in,out] pulOutDataLen In: size of pucOutData in bytes. Out: bytes written, or needed; untouched on
 *   failure. Not checked for null.
 * @retval SOR_OK The text was written, or the size query was answered.
 * @retval SOR_NULLPOINTERERR pucInData is null.
 * @retval SOR_MEMORYERR The length of the text passes 32 bits.
 * @retval other The signature provider's result as a constant of this header.
 * @par Thread safety
 * Any thread, several calls at once.
 */
VELM_SOF_API uint32_t SOF_Ext_Base64Encode(
    const uint8_t* pucInData, uint32_t ulInDataLen, uint8_t* pucOutData, uint32_t* pulOutDataLen);

/**
 * @brief Decodes base64 text, by the signature provider.
 *
 * With a null output buffer the provider reports the size that it needs.
 * @param[in] pucInData Base64 text.
 * @param[in] ulInDataLen Length of pucInData in bytes.
 * @param[out] pucOutData The decoded bytes; null for the size query.
 * @param[in,out] pulOutDataLen In: size of pucOutData in bytes. Out: bytes written, or needed; untouched on
 *   failure. Not checked for null.
 * @retval SOR_OK The bytes were written, or the size query was answered.
 * @retval SOR_NULLPOINTERERR pucInData is null.
 * @retval other The signature provider's result as a constant of this header.
 * @par Thread safety
 * Any thread, several calls at once.
 */
VELM_SOF_API uint32_t SOF_Ext_Base64Decode(
    const uint8_t* pucInData, uint32_t ulInDataLen, uint8_t* pucOutData, uint32_t* pulOutDataLen);

/** @} */

/**
 * @defgroup velm_sof_configuration Configuration
 * Settings of the local service.
 * @{
 */

/**
 * @brief Hands one setting to the local service.
 *
 * @warning While logging is verbose (the path `c:\\velm_log` existed when the library was loaded), the value
 *   is written to the log file in hexadecimal.
 * @param[in] uiSetType Which setting; its values are the service's.
 * @param[in] pSetVal The value; not checked.
 * @param[in] uiValLen Length of pSetVal in bytes.
 * @retval SOR_OK The service took the setting.
 * @retval SOR_COMMUNICATIONERR The local service could not be reached.
 * @retval SOR_UNKNOWNERR The service's answer is malformed, or longer than the call takes.
 * @retval SOR_MEMORYERR Memory ran out, or a size passes 32 bits.
 * @retval other The service's own code.
 * @par Thread safety
 * Any thread, several calls at once.
 */
VELM_SOF_API uint32_t SOF_Config(
    uint32_t uiSetType, const uint8_t* pSetVal, uint32_t uiValLen);

/**
 * @brief Reads a setting of the local service; not supported.
 * @param[in] uiSetType Which setting.
 * @retval SOR_NOTSUPPORTYETERR Always.
 * @par Thread safety
 * Any thread, several calls at once.
 */
VELM_SOF_API uint32_t SOF_Ext_Get_Config(
    uint32_t uiSetType);

/** @} */

/**
 * @defgroup velm_sof_error_text Error text
 * A short Chinese text for each result code.
 * @{
 */

/**
 * @brief Gives the text of a result code.
 *
 * A code without a text, thus also one of the five negative ones, leaves the buffer untouched: clear it
 * first. There is no size query and no length: 43 bytes are enough for every text.
 * @param[in] code Result code.
 * @param[out] pszErrInfo The text in GBK with its terminating zero, at most 43 bytes. Not checked for null.
 * @par Thread safety
 * Any thread, several calls at once.
 */
VELM_SOF_API void SOF_Ext_GetErrInfo(
    uint32_t code, char* pszErrInfo);

/** @} */
#ifdef __cplusplus
}
#endif

#endif /* VELM_SOF_CLIENT_H */
