/**
 * @file velm_sof.hpp
 * @brief The functions of velm_sof_client.h for C++17 and later: owners, byte vectors and exceptions.
 *
 * Optional and header-only. Every function either does what it says or throws: Error for a failed call,
 * std::length_error for input of 4 GiB or more. None returns a result code. Buffers, their sizes and the size
 * queries are taken care of. What is not here, for example symmetric keys, XML, hash signatures and settings,
 * is called through the C header, which this one includes.
 *
 * Container names, certificate items and error texts are UTF-8. File paths are handed on to the C functions,
 * whose descriptions say what they take; a path in the local code page suits them all, unless it can be
 * mistaken for UTF-8, as the C header tells.
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
 * As that of the C functions: any thread, several calls at once.
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

/** @brief Bytes of somebody else: of a vector, or of a text without its terminating zero. */
class ByteView {
 public:
  ByteView(const void* data, size_t size) : data_(static_cast<const uint8_t*>(data)), size_(size) {
    if (size > UINT32_MAX) throw std::length_error("4 GiB of bytes or more");
  }
  ByteView(const Bytes& bytes) : ByteView(bytes.data(), bytes.size()) {}
  ByteView(std::string_view text) : ByteView(text.data(), text.size()) {}
  ByteView(const std::string& text) : ByteView(text.data(), text.size()) {}
  ByteView(const char* text) : ByteView(std::string_view(text)) {}

  /** @brief Never null, so that no bytes are not taken for a missing argument. */
  const uint8_t* data() const { return data_ != nullptr ? data_ : reinterpret_cast<const uint8_t*>(""); }
  uint32_t size() const { return static_cast<uint32_t>(size_); }

 private:
  const uint8_t* data_;
  size_t size_;
};

/** @brief A failed call. what() names function, code and text, in UTF-8. */
class Error : public std::runtime_error {
 public:
  Error(const char* function, uint32_t code)
      : std::runtime_error(std::string(function) + ": " + hexadecimal(code) + spaced(text_of(code))),
        function_(function),
        code_(code) {}

  const char* function() const noexcept { return function_; }
  /** @brief One of the constants of velm_sof_client.h, or a code of the service. */
  uint32_t code() const noexcept { return code_; }
  /** @brief The code's text; empty when it has none. */
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

// The code page of the user list, chosen as the library chooses it.
constexpr UINT local_code_page(bool gb18030_is_valid) {
  return gb18030_is_valid ? kGb18030CodePage : kGbkCodePage;
}

// Texts in GBK are read by either code page: it is a part of GB18030.
inline std::string utf8_from_gbk(std::string_view text) {
  const UINT code_page = local_code_page(IsValidCodePage(kGb18030CodePage) != 0);
  const auto length = static_cast<int>(text.size());
  std::wstring wide(text.size(), L'\0');
  wide.resize(static_cast<size_t>(
      MultiByteToWideChar(code_page, 0, text.data(), length, wide.data(), static_cast<int>(wide.size()))));
  std::string utf8(3 * wide.size(), '\0');
  utf8.resize(static_cast<size_t>(
      WideCharToMultiByte(CP_UTF8, 0, wide.data(), static_cast<int>(wide.size()), utf8.data(),
                          static_cast<int>(utf8.size()), nullptr, nullptr)));
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

// An output buffer, as the functions for bytes and those for texts take it.
struct Buffer {
  uint8_t* bytes;
  operator uint8_t*() const { return bytes; }
  operator char*() const { return reinterpret_cast<char*>(bytes); }
};

// In place of a capacity: the function tells by its size query what is enough.
constexpr size_t kAsk = SIZE_MAX;

// The output of a function whose last two parameters are a buffer and its length. `capacity` bytes are always
// enough for it.
template <typename Function, typename... Arguments>
Bytes fetch_any(const char* name, Function* function, size_t capacity, Arguments... arguments) {
  uint32_t length = 0;
  if (capacity == kAsk) {
    call(name, function, arguments..., nullptr, &length);
    if (length == 0) return {};
    capacity = length;
  }
  Bytes output(std::max<size_t>(capacity, 1));  // No buffer would be the size query.
  length = static_cast<uint32_t>(std::min<size_t>(output.size(), UINT32_MAX));
  call(name, function, arguments..., Buffer{output.data()}, &length);
  output.resize(length);
  return output;
}

// The same where nothing is no answer, although some functions report it as a success.
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

// A function's name and the function, for detail::call() and its kin; undefined again at the end.
#define VELM_SOF_NAMED(function) #function, function

/** @name Environment
 * @{ */

/** @brief The application's use of the local service, from SOF_Initialize() to SOF_Finalize(). */
class Session {
 public:
  Session() { detail::call(VELM_SOF_NAMED(SOF_Initialize)); }
  ~Session() { SOF_Finalize(); }
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;
};

/** @brief The local service's version text. */
inline std::string version() {
  char text[128] = "";
  detail::call(VELM_SOF_NAMED(SOF_GetVersion), text);
  return text;
}

/** @brief `count` random bytes of the local service. */
inline Bytes random(uint32_t count) {
  Bytes bytes(std::max<size_t>(count, 1));
  detail::call(VELM_SOF_NAMED(SOF_GenRandom), count, bytes.data());
  bytes.resize(count);
  return bytes;
}

/** @brief The names of all key containers. */
inline std::vector<std::string> users() {
  const Bytes list = detail::fetch_any(VELM_SOF_NAMED(SOF_GetUserList), 2048);
  return detail::split(detail::utf8_from_gbk(detail::text_of(list)), "&&&");
}

/** @} */

/** @name Hash, base64, signed messages, time stamps: what needs no key
 * @{ */

/** @brief Digest algorithms, by their numbers in GM/T 0006. */
enum class Digest : uint32_t { sm3 = 1, sha1 = 2, sha256 = 4 };

/** @brief The digest of data; SM3 without the signer's part of GM/T 0009. */
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

/** @brief Whether a signed message carries the data that it signs. */
enum class Content { attached, detached };

/** @brief Verifies a signed message that carries its data; throws unless it is valid. */
inline void verify_message(ByteView message) {
  detail::call(VELM_SOF_NAMED(SOF_VerifySignedMessage), message.data(), message.size(), nullptr, 0u);
}

/** @brief Verifies a signed message over data that it does not carry; throws unless it is valid. */
inline void verify_message(ByteView message, ByteView data) {
  detail::call(VELM_SOF_NAMED(SOF_VerifySignedMessage), message.data(), message.size(), data.data(),
               data.size());
}

/** @brief One item of a signed message; the numbers are the service's. */
inline Bytes message_item(ByteView message, int32_t number) {
  return detail::fetch_any(VELM_SOF_NAMED(SOF_GetInfoFromSignedMessage), message.size(), message.data(),
                           message.size(), number);
}

/** @brief Verifies a signed message over a file, in process; throws unless it is valid. */
inline void verify_file_message(ByteView message, const std::string& path, Content content) {
  detail::call(VELM_SOF_NAMED(SOF_Ext_PKCS7_VerifySignedFile), static_cast<uint32_t>(content),
               message.data(), message.size(), path.c_str());
}

/**
 * @brief A time-stamp token (RFC 3161) over data; the selector is its digest algorithm (GM/T 0006), 0 the
 * provider's own choice.
 */
inline Bytes time_stamp(ByteView data, uint32_t selector = 0) {
  return detail::fetch(VELM_SOF_NAMED(SOF_Ext_GM_Tsp_SealTimeStamp), detail::kAsk, selector, data.data(),
                       data.size());
}

/** @brief Verifies a time stamp over data and tells the time, in the provider's form; throws unless valid. */
inline std::string verify_time_stamp(ByteView data, ByteView stamp, ByteView authority_certificate) {
  return detail::text_of(detail::fetch(
      VELM_SOF_NAMED(SOF_Ext_GM_Tsp_VerifyTimeStamp), detail::kAsk, data.data(), data.size(), stamp.data(),
      stamp.size(), authority_certificate.data(), authority_certificate.size()));
}

/** @brief The time of the time-stamp authority, in the provider's form. */
inline std::string authority_time() {
  return detail::text_of(detail::fetch(VELM_SOF_NAMED(SOF_Ext_GM_Tsp_GetTime), detail::kAsk));
}

/** @} */

/** @brief A DER certificate, and what can be done with its public key. */
class Certificate {
 public:
  enum class Key : uint32_t { other = 0, rsa_2048 = 10, sm2 = 40 };

  explicit Certificate(Bytes der) : der_(std::move(der)) {}

  const Bytes& der() const { return der_; }

  /** @brief One item, by the service's number: a text, or DER where the item is none. */
  std::string item(uint32_t number) const {
    return detail::text_of(detail::fetch_any(VELM_SOF_NAMED(SOF_GetCertInfo), view().size(), view().data(),
                                             view().size(), number));
  }
  /** @brief One item, by its object identifier as dotted text. */
  std::string item(const std::string& oid) const {
    return detail::text_of(detail::fetch_any(VELM_SOF_NAMED(SOF_GetCertInfoByOid), 768, view().data(),
                                             view().size(), oid.c_str()));
  }
  /** @brief What key it holds. */
  Key key() const {
    uint32_t type = 0;
    detail::call(VELM_SOF_NAMED(SOF_GetCertAlg), view().data(), view().size(), &type);
    return static_cast<Key>(type);
  }
  /** @brief Has the local service validate it; throws, with the reason as the code, unless it is valid. */
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

  /** @brief Puts data into an envelope that the certificate's holder can open. */
  Bytes encrypt(ByteView data) const {
    const size_t enough = size_t{data.size()} + 1024;
    return detail::fetch(VELM_SOF_NAMED(SOF_EncryptData), enough, view().data(), view().size(), data.data(),
                         data.size());
  }
  /** @brief Puts a file into an envelope that the certificate's holder can open. */
  void encrypt_file(const std::string& in, const std::string& out) const {
    detail::call(VELM_SOF_NAMED(SOF_EncryptFile), view().data(), view().size(), in.c_str(), out.c_str());
  }

 private:
  ByteView view() const { return der_; }

  Bytes der_;
};

/** @brief A login to a key container; logs out when it ends. */
class Login {
 public:
  /** @param pin PIN text; null asks the user in a modal prompt. */
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

/** @brief A key container, by its name: certificates, private key operations, and what it stores. */
class Container {
 public:
  explicit Container(std::string name) : name_(std::move(name)) {}

  const std::string& name() const { return name_; }

  /** @name Login and PIN
   * @{ */

  [[nodiscard]] Login login(const std::string& pin) const { return {name_, pin.c_str()}; }
  /** @brief Logs in with the PIN that the user types into a modal prompt. */
  [[nodiscard]] Login login_by_prompt() const { return {name_, nullptr}; }

  bool is_logged_in() const {
    const uint32_t code = SOF_Ext_isLogin(text(), 0);
    if (code != SOR_OK && code != SOR_NOTLOGINERR) throw Error("SOF_Ext_isLogin", code);
    return code == SOR_OK;
  }

  /** @brief How many attempts at the PIN remain. */
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
  Certificate exchange_certificate() const {
    return Certificate(detail::fetch(VELM_SOF_NAMED(SOF_ExportExChangeUserCert), 3072, text()));
  }

  /** @brief One item about the device, by the service's number. */
  std::string device_item(int32_t number) const {
    uint8_t item[256];
    uint32_t length = sizeof item;
    detail::call(VELM_SOF_NAMED(SOF_GetDeviceInfo), text(), number, item, &length);
    return {item, item + length};
  }

  /** @} */

  /** @name Signing, with the signing key of a container that is logged in
   * @{ */

  /** @brief Signs data; Certificate::verify() verifies. */
  Bytes sign(ByteView data) const {
    return detail::fetch(VELM_SOF_NAMED(SOF_SignData), 1536, text(), data.data(), data.size());
  }

  /** @brief Makes a signed message over data; verify_message() verifies. */
  Bytes sign_message(ByteView data, Content content) const {
    const size_t carried = content == Content::attached ? size_t{data.size()} * 5 / 4 : 0;
    return detail::fetch(VELM_SOF_NAMED(SOF_SignMessage), 6144 + carried, static_cast<int32_t>(content),
                         text(), data.data(), data.size());
  }

  /** @brief Signs a file, if the container's name chooses a digest; Certificate::verify_file() verifies. */
  Bytes sign_file(const std::string& path) const {
    return detail::fetch(VELM_SOF_NAMED(SOF_SignFile), detail::kAsk, text(), path.c_str());
  }

  /** @brief Makes a signed message over a file, in process; verify_file_message() verifies. */
  Bytes sign_file_message(const std::string& path, Content content) const {
    return detail::fetch(VELM_SOF_NAMED(SOF_Ext_PKCS7_SignFile), detail::kAsk, static_cast<uint32_t>(content),
                         text(), path.c_str());
  }

  /** @} */

  /** @name Decryption, with a key of a container that is logged in
   * @{ */

  Bytes decrypt(ByteView envelope) const {
    return detail::fetch_any(VELM_SOF_NAMED(SOF_DecryptData), envelope.size(), text(), envelope.data(),
                             envelope.size());
  }
  void decrypt_file(const std::string& in, const std::string& out) const {
    detail::call(VELM_SOF_NAMED(SOF_DecryptFile), text(), in.c_str(), out.c_str());
  }

  /** @} */

  /** @name Files and labels on the device; rights and label types are the device's
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

  /** @name User data files of the service, by type and index
   * @{ */

  /** @brief Reads exactly `length` bytes; what the file does not hold of them is zero. */
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

  /** @name Seals; their items' numbers are the service's
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
