/**
 * @file velm_sof.hpp
 * @brief C++17 wrapper of velm_sof_client.h: RAII classes, byte vectors and exceptions.
 *
 * Optional and header-only. Functions do not return result codes: they throw Error if a call fails, and
 * std::length_error for input of 4 GiB or more. The wrapper allocates buffers and performs the size queries.
 * For functions without a wrapper, such as symmetric encryption, XML, hash signatures and settings, call the
 * C functions; this header includes the C header.
 *
 * Container names, certificate items and error texts are UTF-8. File paths are passed on to the C functions
 * unchanged; their descriptions state the encoding. All of them accept the local code page, except for paths
 * that can be mistaken for UTF-8, as described in the C header.
 *
 * @code
 * namespace sof = velm::sof;
 *
 * const sof::Session session;
 * const sof::Container container("SM2_DEMO");
 * const sof::Login login = container.login(pin);
 * const sof::Bytes signature = container.sign("a contract");
 * container.signing_certificate().verify("a contract", signature);
 * @endcode
 *
 * @par Thread safety
 * As for the C functions: functions may be called from any thread, concurrently.
 */
#ifndef VELM_SOF_HPP
#define VELM_SOF_HPP

#include <stddef.h>
#include <stdint.h>

#include <algorithm>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

#include "velm_sof_client.h"

namespace velm::sof {

using Bytes = std::vector<uint8_t>;

/** @brief Non-owning byte view of a vector, or of a text without its terminating zero. */
class ByteView {
 public:
  ByteView(const void* data, size_t size) : data_(static_cast<const uint8_t*>(data)), size_(size) {
    if (size > UINT32_MAX) throw std::length_error("4 GiB of bytes or more");
  }
  ByteView(const Bytes& bytes) : ByteView(bytes.data(), bytes.size()) {}
  ByteView(std::string_view text) : ByteView(text.data(), text.size()) {}
  ByteView(const std::string& text) : ByteView(text.data(), text.size()) {}
  ByteView(const char* text) : ByteView(std::string_view(text)) {}

  /** @brief Never null: the C functions reject a null pointer even if the length is 0. */
  const uint8_t* data() const { return data_ != nullptr ? data_ : reinterpret_cast<const uint8_t*>(""); }
  uint32_t size() const { return static_cast<uint32_t>(size_); }

 private:
  const uint8_t* data_;
  size_t size_;
};

/** @brief A failed call. what() contains the function name, the code and its text, in UTF-8. */
class Error : public std::runtime_error {
 public:
  Error(const char* function, uint32_t code)
      : std::runtime_error(std::string(function) + ": " + hexadecimal(code) + spaced(text_of(code))),
        function_(function),
        code_(code) {}

  const char* function() const noexcept { return function_; }
  /** @brief One of the constants of velm_sof_client.h, or a result code of the local service. */
  uint32_t code() const noexcept { return code_; }
  /** @brief Text of the code; empty if it has none. */
  std::string text() const { return text_of(code_); }

 private:
  static std::string hexadecimal(uint32_t code) {
    std::string digits = "0x00000000";
    for (size_t place = digits.size() - 1; code != 0; code >>= 4, --place)
      digits[place] = "0123456789ABCDEF"[code & 15];
    return digits;
  }
  static std::string spaced(const std::string& text) { return text.empty() ? text : " " + text; }
  static std::string text_of(uint32_t code);

  const char* function_;
  uint32_t code_;
};

namespace detail {

constexpr UINT kGb18030CodePage = 54936;
constexpr UINT kGbkCodePage = 936;

// Code page of the user list. The library uses the same rule.
constexpr UINT local_code_page(bool gb18030_is_valid) {
  return gb18030_is_valid ? kGb18030CodePage : kGbkCodePage;
}

// GBK is a subset of GB18030, so both code pages decode it.
inline std::string utf8_from_gbk(std::string_view text) {
  const UINT code_page = local_code_page(IsValidCodePage(kGb18030CodePage) != 0);
  const auto length = static_cast<int>(text.size());
  std::wstring wide(text.size(), L'\0');
  wide.resize(static_cast<size_t>(
      MultiByteToWideChar(code_page, 0, text.data(), length, wide.data(), static_cast<int>(wide.size()))));
  std::string utf8(3 * wide.size(), '\0');
  utf8.resize(
      static_cast<size_t>(WideCharToMultiByte(CP_UTF8, 0, wide.data(), static_cast<int>(wide.size()),
                                              utf8.data(), static_cast<int>(utf8.size()), nullptr, nullptr)));
  return utf8;
}

inline std::string text_of(const Bytes& bytes) { return {bytes.begin(), bytes.end()}; }

inline std::vector<std::string> split(std::string_view list, std::string_view separator) {
  std::vector<std::string> parts;
  while (!list.empty()) {
    const size_t end = std::min<size_t>(list.find(separator), list.size());
    if (end > 0) parts.emplace_back(list.substr(0, end));
    list.remove_prefix(std::min<size_t>(end + separator.size(), list.size()));
  }
  return parts;
}

template <typename Function, typename... Arguments>
void call(const char* name, Function* function, Arguments... arguments) {
  const uint32_t code = function(arguments...);
  if (code != SOR_OK) throw Error(name, code);
}

// Output buffer; converts to the pointer type of the function, uint8_t* or char*.
struct Buffer {
  uint8_t* bytes;
  operator uint8_t*() const { return bytes; }
  operator char*() const { return reinterpret_cast<char*>(bytes); }
};

// Instead of a capacity: use the size query of the function.
constexpr size_t kAsk = SIZE_MAX;

// Returns the output of a function whose last two parameters are a buffer and its length. `capacity` is the
// size that is always enough, or kAsk.
template <typename Function, typename... Arguments>
Bytes fetch_any(const char* name, Function* function, size_t capacity, Arguments... arguments) {
  uint32_t length = 0;
  if (capacity == kAsk) {
    call(name, function, arguments..., nullptr, &length);
    if (length == 0) return {};
    capacity = length;
  }
  Bytes output(std::max<size_t>(capacity, 1));  // A null buffer would be a size query.
  length = static_cast<uint32_t>(std::min<size_t>(output.size(), UINT32_MAX));
  call(name, function, arguments..., Buffer{output.data()}, &length);
  output.resize(length);
  return output;
}

// As fetch_any(), but throws if the output is empty: some functions return success without an output.
template <typename Function, typename... Arguments>
Bytes fetch(const char* name, Function* function, size_t capacity, Arguments... arguments) {
  Bytes output = fetch_any(name, function, capacity, arguments...);
  if (output.empty()) throw Error(name, SOR_UNKNOWNERR);
  return output;
}

}  // namespace detail

inline std::string Error::text_of(uint32_t code) {
  char text[64] = "";
  SOF_Ext_GetErrInfo(code, text);
  return detail::utf8_from_gbk(text);
}

// Name and address of a function, for the functions in detail. Undefined at the end of this header.
#define VELM_SOF_NAMED(function) #function, function

/** @name Environment
 * @{ */

/** @brief Calls SOF_Initialize() when constructed and SOF_Finalize() when destroyed. */
class Session {
 public:
  Session() { detail::call(VELM_SOF_NAMED(SOF_Initialize)); }
  ~Session() { SOF_Finalize(); }
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;
};

/** @brief Version of the local service. */
inline std::string version() {
  char text[128] = "";
  detail::call(VELM_SOF_NAMED(SOF_GetVersion), text);
  return text;
}

/** @brief Returns `count` random bytes from the local service. */
inline Bytes random(uint32_t count) {
  Bytes bytes(std::max<size_t>(count, 1));
  detail::call(VELM_SOF_NAMED(SOF_GenRandom), count, bytes.data());
  bytes.resize(count);
  return bytes;
}

/** @brief Names of all key containers. */
inline std::vector<std::string> users() {
  const Bytes list = detail::fetch_any(VELM_SOF_NAMED(SOF_GetUserList), 2048);
  return detail::split(detail::utf8_from_gbk(detail::text_of(list)), "&&&");
}

/** @} */

/** @name Hash, base64, signed messages, time-stamp tokens: functions without a private key
 * @{ */

/** @brief Digest algorithms, with their identifiers of GM/T 0006. */
enum class Digest : uint32_t { sm3 = 1, sha1 = 2, sha256 = 4 };

/** @brief Hashes data; SM3 without the preprocessing of GM/T 0009. */
inline Bytes hash(Digest digest, ByteView data) {
  return detail::fetch(VELM_SOF_NAMED(SOF_Ext_HashData), 64, static_cast<uint32_t>(digest), data.data(),
                       data.size(), nullptr, 0u, nullptr, 0u);
}

inline std::string base64_encode(ByteView data) {
  const size_t enough = 2 * size_t{data.size()} + 16;
  return detail::text_of(
      detail::fetch_any(VELM_SOF_NAMED(SOF_Base64Encode), enough, data.data(), data.size()));
}

inline Bytes base64_decode(ByteView text) {
  return detail::fetch_any(VELM_SOF_NAMED(SOF_Base64Decode), text.size(), text.data(), text.size());
}

/** @brief Whether a signed message contains the signed data. */
enum class Content { attached, detached };

/** @brief Verifies a signed message with attached data; throws unless it is valid. */
inline void verify_message(ByteView message) {
  detail::call(VELM_SOF_NAMED(SOF_VerifySignedMessage), message.data(), message.size(), nullptr, 0u);
}

/** @brief Verifies a signed message with detached data; throws unless it is valid. */
inline void verify_message(ByteView message, ByteView data) {
  detail::call(VELM_SOF_NAMED(SOF_VerifySignedMessage), message.data(), message.size(), data.data(),
               data.size());
}

/** @brief Reads one item of a signed message; the local service defines the numbers. */
inline Bytes message_item(ByteView message, int32_t number) {
  return detail::fetch_any(VELM_SOF_NAMED(SOF_GetInfoFromSignedMessage), message.size(), message.data(),
                           message.size(), number);
}

/** @brief Verifies a signed message over a file, in process; throws unless it is valid. */
inline void verify_file_message(ByteView message, const std::string& path, Content content) {
  detail::call(VELM_SOF_NAMED(SOF_Ext_PKCS7_VerifySignedFile), static_cast<uint32_t>(content), message.data(),
               message.size(), path.c_str());
}

/**
 * @brief Fetches a time-stamp token (RFC 3161) for data. The selector is its digest algorithm (GM/T 0006);
 *   with 0 the signature provider selects it.
 */
inline Bytes time_stamp(ByteView data, uint32_t selector = 0) {
  return detail::fetch(VELM_SOF_NAMED(SOF_Ext_GM_Tsp_SealTimeStamp), detail::kAsk, selector, data.data(),
                       data.size());
}

/** @brief Verifies a time-stamp token and returns its time in the provider's format; throws unless valid. */
inline std::string verify_time_stamp(ByteView data, ByteView stamp, ByteView authority_certificate) {
  return detail::text_of(detail::fetch(VELM_SOF_NAMED(SOF_Ext_GM_Tsp_VerifyTimeStamp), detail::kAsk,
                                       data.data(), data.size(), stamp.data(), stamp.size(),
                                       authority_certificate.data(), authority_certificate.size()));
}

/** @brief Time of the time-stamp authority (TSA), in the provider's format. */
inline std::string authority_time() {
  return detail::text_of(detail::fetch(VELM_SOF_NAMED(SOF_Ext_GM_Tsp_GetTime), detail::kAsk));
}

/** @} */

/** @brief A DER certificate and the operations with its public key. */
class Certificate {
 public:
  enum class Key : uint32_t { other = 0, rsa_2048 = 10, sm2 = 40 };

  explicit Certificate(Bytes der) : der_(std::move(der)) {}

  const Bytes& der() const { return der_; }

  /** @brief Reads one item: a text, or DER if it is not a text. The local service defines the numbers. */
  std::string item(uint32_t number) const {
    return detail::text_of(detail::fetch_any(VELM_SOF_NAMED(SOF_GetCertInfo), view().size(), view().data(),
                                             view().size(), number));
  }
  /** @brief Reads one item by its object identifier in dotted decimal notation. */
  std::string item(const std::string& oid) const {
    return detail::text_of(detail::fetch_any(VELM_SOF_NAMED(SOF_GetCertInfoByOid), 768, view().data(),
                                             view().size(), oid.c_str()));
  }
  /** @brief Key algorithm of the certificate. */
  Key key() const {
    uint32_t type = 0;
    detail::call(VELM_SOF_NAMED(SOF_GetCertAlg), view().data(), view().size(), &type);
    return static_cast<Key>(type);
  }
  /** @brief Validates it with the local service; throws unless it is valid. The code is the reason. */
  void validate() const { detail::call(VELM_SOF_NAMED(SOF_ValidateCert), view().data(), view().size()); }

  /** @brief Verifies a signature over data; throws unless it is valid. */
  void verify(ByteView data, ByteView signature) const {
    detail::call(VELM_SOF_NAMED(SOF_VerifySignedData), view().data(), view().size(), data.data(), data.size(),
                 signature.data(), signature.size());
  }
  /** @brief Verifies a signature over a file; throws unless it is valid. */
  void verify_file(const std::string& path, ByteView signature) const {
    detail::call(VELM_SOF_NAMED(SOF_VerifySignedFile), view().data(), view().size(), path.c_str(),
                 signature.data(), signature.size());
  }

  /** @brief Encrypts data into a digital envelope (CMS EnvelopedData) for the holder of the certificate. */
  Bytes encrypt(ByteView data) const {
    const size_t enough = size_t{data.size()} + 1024;
    return detail::fetch(VELM_SOF_NAMED(SOF_EncryptData), enough, view().data(), view().size(), data.data(),
                         data.size());
  }
  /** @brief Encrypts a file into a digital envelope for the holder of the certificate. */
  void encrypt_file(const std::string& in, const std::string& out) const {
    detail::call(VELM_SOF_NAMED(SOF_EncryptFile), view().data(), view().size(), in.c_str(), out.c_str());
  }

 private:
  ByteView view() const { return der_; }

  Bytes der_;
};

/** @brief A login to a key container; the destructor logs out. */
class Login {
 public:
  /** @param pin PIN; if null, the user enters it in a modal prompt. */
  Login(std::string container, const char* pin) : container_(std::move(container)) {
    detail::call(VELM_SOF_NAMED(SOF_Login), container_.c_str(), pin);
  }
  ~Login() { SOF_Ext_Logout(container_.c_str(), 0); }
  Login(const Login&) = delete;
  Login& operator=(const Login&) = delete;

 private:
  std::string container_;
};

struct FileAttributes {
  uint32_t size;
  uint32_t read_rights;
  uint32_t write_rights;
};

/** @brief A key container: certificates, private key operations and stored data. */
class Container {
 public:
  explicit Container(std::string name) : name_(std::move(name)) {}

  const std::string& name() const { return name_; }

  /** @name Login and PIN
   * @{ */

  [[nodiscard]] Login login(const std::string& pin) const { return {name_, pin.c_str()}; }
  /** @brief Logs in with a PIN that the user enters in a modal prompt. */
  [[nodiscard]] Login login_by_prompt() const { return {name_, nullptr}; }

  bool is_logged_in() const {
    const uint32_t code = SOF_Ext_isLogin(text(), 0);
    if (code != SOR_OK && code != SOR_NOTLOGINERR) throw Error("SOF_Ext_isLogin", code);
    return code == SOR_OK;
  }

  /** @brief The PIN retry counter. */
  uint32_t pin_tries() const {
    uint32_t count = 0;
    detail::call(VELM_SOF_NAMED(SOF_GetPinRetryCount), text(), &count);
    return count;
  }

  void change_pin(const std::string& old_pin, const std::string& new_pin) const {
    detail::call(VELM_SOF_NAMED(SOF_ChangePassWd), text(), old_pin.c_str(), new_pin.c_str());
  }

  /** @} */

  /** @name Certificates and device
   * @{ */

  Certificate signing_certificate() const {
    return Certificate(detail::fetch(VELM_SOF_NAMED(SOF_ExportUserCert), 3072, text()));
  }
  /** @brief The encryption certificate. */
  Certificate exchange_certificate() const {
    return Certificate(detail::fetch(VELM_SOF_NAMED(SOF_ExportExChangeUserCert), 3072, text()));
  }

  /** @brief Reads one item about the device; the local service defines the numbers. */
  std::string device_item(int32_t number) const {
    uint8_t item[256];
    uint32_t length = sizeof item;
    detail::call(VELM_SOF_NAMED(SOF_GetDeviceInfo), text(), number, item, &length);
    return {item, item + length};
  }

  /** @} */

  /** @name Signing, with the signing key; requires a login
   * @{ */

  /** @brief Signs data. Verify with Certificate::verify(). */
  Bytes sign(ByteView data) const {
    return detail::fetch(VELM_SOF_NAMED(SOF_SignData), 1536, text(), data.data(), data.size());
  }

  /** @brief Creates a signed message over data. Verify with verify_message(). */
  Bytes sign_message(ByteView data, Content content) const {
    const size_t carried = content == Content::attached ? size_t{data.size()} * 5 / 4 : 0;
    return detail::fetch(VELM_SOF_NAMED(SOF_SignMessage), 6144 + carried, static_cast<int32_t>(content),
                         text(), data.data(), data.size());
  }

  /** @brief Signs a file. The container name must select a digest. Verify with Certificate::verify_file(). */
  Bytes sign_file(const std::string& path) const {
    return detail::fetch(VELM_SOF_NAMED(SOF_SignFile), detail::kAsk, text(), path.c_str());
  }

  /** @brief Creates a signed message over a file, in process. Verify with verify_file_message(). */
  Bytes sign_file_message(const std::string& path, Content content) const {
    return detail::fetch(VELM_SOF_NAMED(SOF_Ext_PKCS7_SignFile), detail::kAsk, static_cast<uint32_t>(content),
                         text(), path.c_str());
  }

  /** @} */

  /** @name Decryption, with a key of the container; requires a login
   * @{ */

  Bytes decrypt(ByteView envelope) const {
    return detail::fetch_any(VELM_SOF_NAMED(SOF_DecryptData), envelope.size(), text(), envelope.data(),
                             envelope.size());
  }
  void decrypt_file(const std::string& in, const std::string& out) const {
    detail::call(VELM_SOF_NAMED(SOF_DecryptFile), text(), in.c_str(), out.c_str());
  }

  /** @} */

  /** @name Files and labels on the device, which defines rights and label types
   * @{ */

  std::vector<std::string> files() const {
    using namespace std::string_view_literals;
    const Bytes list = detail::fetch_any(VELM_SOF_NAMED(SOF_Ext_EnumFile), detail::kAsk, text());
    return detail::split(detail::text_of(list), "\0"sv);
  }
  void create_file(const std::string& file, const FileAttributes& attributes) const {
    detail::call(VELM_SOF_NAMED(SOF_Ext_CreateFile), text(), file.c_str(), attributes.size,
                 attributes.read_rights, attributes.write_rights);
  }
  FileAttributes file_attributes(const std::string& file) const {
    FileAttributes found{};
    detail::call(VELM_SOF_NAMED(SOF_Ext_GetFileAttribute), text(), file.c_str(), &found.size,
                 &found.read_rights, &found.write_rights);
    return found;
  }
  Bytes read_file(const std::string& file, uint32_t offset, uint32_t length) const {
    return detail::fetch_any(VELM_SOF_NAMED(SOF_Ext_ReadFile), length, text(), file.c_str(), offset, length);
  }
  void write_file(const std::string& file, uint32_t offset, ByteView data) const {
    detail::call(VELM_SOF_NAMED(SOF_Ext_WriteFile), text(), file.c_str(), offset, data.data(), data.size());
  }
  void delete_file(const std::string& file) const {
    detail::call(VELM_SOF_NAMED(SOF_Ext_DeleteFile), text(), file.c_str());
  }
  Bytes label(const std::string& label, uint32_t type) const {
    return detail::fetch_any(VELM_SOF_NAMED(SOF_Ext_ReadLabel), detail::kAsk, text(), label.c_str(),
                             ByteView(label).size(), type);
  }

  /** @} */

  /** @name User data files of the local service, by type and index
   * @{ */

  /** @brief Returns exactly `length` bytes; bytes beyond the end of the file are zero. */
  Bytes read_user_data(uint32_t type, uint32_t index, uint32_t offset, uint32_t length) const {
    Bytes data(length);
    detail::call(VELM_SOF_NAMED(SOF_Ext_ReadUsrDataFile), text(), type, index, offset, length, data.data());
    return data;
  }
  void write_user_data(const std::string& pin, uint32_t type, uint32_t index, uint32_t offset,
                       ByteView data) const {
    const ByteView secret = pin;
    detail::call(VELM_SOF_NAMED(SOF_Ext_WriteUsrDataFile), text(), secret.data(), secret.size(), type, index,
                 offset, data.size(), data.data());
  }

  /** @} */

  /** @name Seals; the local service defines the item numbers
   * @{ */

  uint32_t seal_count() const {
    uint32_t count = 0;
    detail::call(VELM_SOF_NAMED(SOF_Ext_EnumSeal), text(), &count);
    return count;
  }
  Bytes seal_item(uint32_t seal, uint32_t number) const {
    return detail::fetch_any(VELM_SOF_NAMED(SOF_Ext_GetSeaInfo), 49152, text(), seal, number);
  }

  /** @} */

 private:
  const char* text() const { return name_.c_str(); }

  std::string name_;
};

#undef VELM_SOF_NAMED

}  // namespace velm::sof

#endif  // VELM_SOF_HPP
