/**
 * @file velm_sof.hpp
 * @brief C++17 wrapper of velm_sof_client.h: RAII classes, byte vectors and exceptions.
 *
 * Optional and header-only. Functions do not return result codes. They throw
 * - NotValid if a verification has a negative result,
 * - FalseSuccess if a C function returned success but no result,
 * - Error, the base class of both, for every other failure,
 * - std::length_error for input of 4 GiB or more.
 *
 * The wrapper allocates buffers and performs the size queries. For functions without a wrapper, such as
 * symmetric encryption and public-key encryption without a digital envelope, call the C functions; this
 * header includes the C header.
 *
 * Container names and error texts are UTF-8. Texts of a certificate or device are in the encoding in which
 * the local service or the provider returns them, in most cases UTF-8. File paths are passed on to the C
 * functions unchanged; their descriptions state the encoding. All of them accept the local code page, except
 * for paths that can be mistaken for UTF-8, as described in the C header.
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
#include <array>
#include <initializer_list>
#include <optional>
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
  /** @brief Null if empty, as an optional parameter of a C function requires. */
  const uint8_t* data_or_null() const { return size_ != 0 ? data_ : nullptr; }
  uint32_t size() const { return static_cast<uint32_t>(size_); }

 private:
  const uint8_t* data_;
  size_t size_;
};

namespace detail {

constexpr UINT kGb18030CodePage = 54936;
constexpr UINT kGbkCodePage = 936;

// Code page of the user list. The library uses the same rule.
constexpr UINT local_code_page(bool gb18030_is_valid) {
  return gb18030_is_valid ? kGb18030CodePage : kGbkCodePage;
}

}  // namespace detail

/** @brief Converts GBK or GB18030, the encodings of the user list and the error texts, to UTF-8. */
inline std::string utf8_from_gbk(std::string_view text) {
  // GBK is a subset of GB18030, so both code pages decode it.
  const UINT code_page = detail::local_code_page(IsValidCodePage(detail::kGb18030CodePage) != 0);
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

/** @brief Text of a result code in UTF-8; empty if it has none. */
inline std::string error_text(uint32_t code) {
  char text[64] = "";
  SOF_Ext_GetErrInfo(code, text);
  return utf8_from_gbk(text);
}

/** @brief A failed call. what() contains the function name, the code and its text, in UTF-8. */
class Error : public std::runtime_error {
 public:
  Error(const char* function, uint32_t code)
      : Error(function, code, hexadecimal(code) + spaced(error_text(code))) {}

  const char* function() const noexcept { return function_; }
  /** @brief One of the constants of velm_sof_client.h, or a result code of the local service. */
  uint32_t code() const noexcept { return code_; }
  /** @brief Text of the code; empty if it has none. */
  std::string text() const { return error_text(code_); }

 protected:
  Error(const char* function, uint32_t code, const std::string& cause)
      : std::runtime_error(std::string(function) + ": " + cause), function_(function), code_(code) {}

 private:
  static std::string hexadecimal(uint32_t code) {
    std::string digits = "0x00000000";
    for (size_t place = digits.size() - 1; code != 0; code >>= 4, --place)
      digits[place] = "0123456789ABCDEF"[code & 15];
    return digits;
  }
  static std::string spaced(const std::string& text) { return text.empty() ? text : " " + text; }

  const char* function_;
  uint32_t code_;
};

/**
 * @brief The negative result of a verification: a signature, certificate or time-stamp token is not valid.
 *   Thrown only by the functions that verify. The code is the reason.
 */
class NotValid : public Error {
 public:
  using Error::Error;
};

/**
 * @brief A function returned success without a result. Causes are a container name that selects no digest, a
 *   signature provider that cannot be opened, and an incomplete response. code() is SOR_UNKNOWNERR.
 */
class FalseSuccess : public Error {
 public:
  explicit FalseSuccess(const char* function)
      : Error(function, SOR_UNKNOWNERR, "returned success without a result") {}
};

/** @brief A PIN of at most kLongest bytes; the destructor wipes it. */
class Pin {
 public:
  static constexpr size_t kLongest = 255;

  Pin() = default;
  // Delegates, so that the destructor wipes a PIN that is too long.
  Pin(std::string_view text) : Pin() {
    for (const char character : text) append(character);
  }
  Pin(const std::string& text) : Pin(std::string_view(text)) {}
  Pin(const char* text) : Pin(std::string_view(text)) {}
  Pin(const Pin&) = default;
  Pin& operator=(const Pin&) = default;
  ~Pin() { SecureZeroMemory(text_.data(), text_.size()); }

  /** @brief Throws std::length_error if the PIN would exceed kLongest bytes. */
  void append(char character) {
    if (size_ == kLongest) throw std::length_error("PIN is too long");
    text_[size_++] = character;
  }
  /** @brief The PIN with a terminating zero. */
  const char* c_str() const { return text_.data(); }
  size_t size() const { return size_; }
  bool operator==(const Pin& other) const { return text_ == other.text_; }
  bool operator!=(const Pin& other) const { return !(*this == other); }

 private:
  std::array<char, kLongest + 1> text_{};
  size_t size_ = 0;
};

namespace detail {

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

// As fetch_any(), but throws FalseSuccess if the output is empty.
template <typename Function, typename... Arguments>
Bytes fetch(const char* name, Function* function, size_t capacity, Arguments... arguments) {
  Bytes output = fetch_any(name, function, capacity, arguments...);
  if (output.empty()) throw FalseSuccess(name);
  return output;
}

// Returns what `get` returns, or nothing if it fails with one of the codes that mean "does not exist".
template <typename Get>
auto unless(std::initializer_list<uint32_t> absent, Get get) -> std::optional<decltype(get())> {
  try {
    return get();
  } catch (const Error& error) {
    if (std::find(absent.begin(), absent.end(), error.code()) == absent.end()) throw;
    return std::nullopt;
  }
}

// Codes with which a verification tells that its object is not valid, not that it failed.
inline bool is_negative_result(uint32_t code) {
  switch (code) {
    case SOR_HASHERR:
    case SOR_HASHNOTEQUALERR:
    case SOR_POLICYVERIFYERR:
    case SOR_VERIFYSIGNDATAERR:
    case SOR_CERTINVALIDERR:
    case SOR_CERTHASEXPIREDERR:
    case SOR_CERTREVOKEDERR:
    case SOR_CERTNOTYETVALIDERR:
    case SOR_CERTFROZENERR:
    case SOR_CERTNOTTRUSTEDERR:
    case SOR_PROVIDERMINUS5ERR:
    case SOR_PROVIDERMINUS4ERR:
    case SOR_PROVIDERMINUS3ERR:
    case SOR_PROVIDERMINUS2ERR:
    case SOR_PROVIDERMINUS1ERR:
      return true;
    default:
      return false;
  }
}

// Runs a verification; throws NotValid if its result is negative.
template <typename Verification>
auto verified(Verification verification) {
  try {
    return verification();
  } catch (const Error& error) {
    if (is_negative_result(error.code())) throw NotValid(error.function(), error.code());
    throw;
  }
}

}  // namespace detail

// Name and address of a function, for the functions in detail. Undefined at the end of this header.
#define VELM_SOF_NAMED(function) #function, function

/** @name Environment and devices
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
  return detail::split(utf8_from_gbk(detail::text_of(list)), "&&&");
}

/** @brief Names of all devices. */
inline std::vector<std::string> devices() {
  using namespace std::string_view_literals;
  const Bytes list = detail::fetch_any(VELM_SOF_NAMED(SOF_Ext_EnumDevice), detail::kAsk);
  return detail::split(detail::text_of(list), "\0"sv);
}

/** @brief Type of the device that was found last; nothing if none was found. */
inline std::optional<uint32_t> device_type() {
  constexpr uint32_t kNone = 0xFFFFFFFF;
  uint32_t type = kNone;
  detail::call(VELM_SOF_NAMED(SOF_Ext_GetDeviceType), &type);
  return type == kNone ? std::nullopt : std::optional(type);
}

/** @brief Product version of the signature provider. */
inline std::string product_version() {
  char text[256] = "";
  detail::call(VELM_SOF_NAMED(SOF_Ext_GetProductVersion), nullptr, text, uint32_t{sizeof text}, nullptr);
  return text;
}

/** @brief Changes a setting of the local service, which defines the numbers and values. */
inline void configure(uint32_t setting, ByteView value) {
  detail::call(VELM_SOF_NAMED(SOF_Config), setting, value.data(), value.size());
}

/** @} */

/** @name Hash and base64
 * @{ */

/** @brief Digest algorithms, with their identifiers of GM/T 0006. */
enum class Digest : uint32_t { sm3 = 1, sha1 = 2, sha256 = 4 };

/**
 * @brief Hashes data.
 * @param digest Digest algorithm.
 * @param data Data to hash.
 * @param public_key Public key of the signer for SM3 with the preprocessing of GM/T 0009, in the provider's
 *   format; the software token also accepts a DER certificate. Empty: no preprocessing.
 * @param user_id User ID (GM/T 0009) that belongs to the public key.
 */
inline Bytes hash(Digest digest, ByteView data, ByteView public_key = "", ByteView user_id = "") {
  return detail::fetch(VELM_SOF_NAMED(SOF_Ext_HashData), 64, static_cast<uint32_t>(digest), data.data(),
                       data.size(), public_key.data_or_null(), public_key.size(), user_id.data_or_null(),
                       user_id.size());
}

/** @brief Hashes a file. Parameters as for hash(). */
inline Bytes hash_file(Digest digest, const std::string& path, ByteView public_key = "",
                       ByteView user_id = "") {
  // The C function takes integers among its first four arguments as pointer-sized values.
  const auto as_pointer = [](uint32_t number) {
    return reinterpret_cast<const void*>(static_cast<uintptr_t>(number));
  };
  return detail::fetch(VELM_SOF_NAMED(SOF_Ext_HashFile), 64, as_pointer(static_cast<uint32_t>(digest)),
                       public_key.data_or_null(), as_pointer(public_key.size()), user_id.data_or_null(),
                       user_id.size(), path.c_str());
}

inline std::string base64_encode(ByteView data) {
  const size_t enough = 2 * size_t{data.size()} + 16;
  return detail::text_of(
      detail::fetch_any(VELM_SOF_NAMED(SOF_Base64Encode), enough, data.data(), data.size()));
}

inline Bytes base64_decode(ByteView text) {
  return detail::fetch_any(VELM_SOF_NAMED(SOF_Base64Decode), text.size(), text.data(), text.size());
}

/** @} */

/** @name Signed messages (PKCS#7, or the SM2 form of GM/T 0010) and signed XML
 * @{ */

/** @brief Whether a signed message contains the signed data. */
enum class Content { attached, detached };

/** @brief Verifies a signed message with attached data; throws unless it is valid. */
inline void verify_message(ByteView message) {
  detail::verified([&] {
    detail::call(VELM_SOF_NAMED(SOF_VerifySignedMessage), message.data(), message.size(), nullptr, 0u);
  });
}

/** @brief Verifies a signed message with detached data; throws unless it is valid. */
inline void verify_message(ByteView message, ByteView data) {
  detail::verified([&] {
    detail::call(VELM_SOF_NAMED(SOF_VerifySignedMessage), message.data(), message.size(), data.data(),
                 data.size());
  });
}

/** @brief Reads one item of a signed message; the local service defines the numbers. */
inline Bytes message_item(ByteView message, int32_t number) {
  return detail::fetch_any(VELM_SOF_NAMED(SOF_GetInfoFromSignedMessage), message.size(), message.data(),
                           message.size(), number);
}

/** @brief Verifies a signed message over a file that it contains, in process; throws unless it is valid. */
inline void verify_file_message(ByteView message) {
  detail::verified([&] {
    // The C function requires a path but does not open the file.
    detail::call(VELM_SOF_NAMED(SOF_Ext_PKCS7_VerifySignedFile), static_cast<uint32_t>(Content::attached),
                 message.data(), message.size(), "none");
  });
}

/** @brief Verifies a detached signed message over a file, in process; throws unless it is valid. */
inline void verify_file_message(ByteView message, const std::string& path) {
  detail::verified([&] {
    detail::call(VELM_SOF_NAMED(SOF_Ext_PKCS7_VerifySignedFile), static_cast<uint32_t>(Content::detached),
                 message.data(), message.size(), path.c_str());
  });
}

/** @brief Verifies signed XML, in process; throws unless it is valid. */
inline void verify_xml(ByteView xml) {
  detail::verified([&] { detail::call(VELM_SOF_NAMED(SOF_VerifySignedDataXML), xml.data(), xml.size()); });
}

/** @} */

/** @name Time-stamp tokens (RFC 3161) of a time-stamp authority (TSA)
 * @{ */

/** @brief Fetches a time-stamp token for data. */
inline Bytes time_stamp(ByteView data, Digest digest = Digest::sm3) {
  return detail::fetch(VELM_SOF_NAMED(SOF_Ext_GM_Tsp_SealTimeStamp), detail::kAsk,
                       static_cast<uint32_t>(digest), data.data(), data.size());
}

/** @brief Verifies a time-stamp token and returns its time in the provider's format; throws unless valid. */
inline std::string verify_time_stamp(ByteView data, ByteView token, ByteView tsa_certificate) {
  return detail::verified([&] {
    return detail::text_of(detail::fetch(VELM_SOF_NAMED(SOF_Ext_GM_Tsp_VerifyTimeStamp), detail::kAsk,
                                         data.data(), data.size(), token.data(), token.size(),
                                         tsa_certificate.data(), tsa_certificate.size()));
  });
}

/**
 * @brief Verifies a time-stamp token of Container::time_stamp_file() and returns its time in the provider's
 *   format; throws unless valid.
 */
inline std::string verify_file_time_stamp(const std::string& path, ByteView token, ByteView tsa_certificate) {
  return detail::verified([&] {
    return detail::text_of(detail::fetch(VELM_SOF_NAMED(SOF_Ext_TspVerifyFileStamp), detail::kAsk,
                                         ByteView(path).data(), ByteView(path).size(), token.data(),
                                         token.size(), tsa_certificate.data(), tsa_certificate.size()));
  });
}

/** @brief Time of the TSA, in the provider's format. */
inline std::string tsa_time() {
  return detail::text_of(detail::fetch(VELM_SOF_NAMED(SOF_Ext_GM_Tsp_GetTime), detail::kAsk));
}

/** @} */

/** @name Digital envelopes of files: settings of the process
 * @{ */

/** @brief What encrypts a file in Certificate::encrypt_file(). */
enum class EnvelopeType : uint32_t {
  /** The signature provider, in process and in pieces. */
  provider = 1,
  /** The local service, in memory. The initial value. */
  service = 2,
};

inline void set_envelope_type(EnvelopeType type) {
  detail::call(VELM_SOF_NAMED(SOF_Ext_SetEnvelopType), static_cast<uint32_t>(type));
}

/** @brief Sets the content cipher of GM/T 0006 that EnvelopeType::provider uses for RSA certificates. */
inline void set_encrypt_method(int32_t method) { detail::call(VELM_SOF_NAMED(SOF_SetEncryptMethod), method); }

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
  /** @brief As item(), but returns nothing if the certificate does not have the item. */
  std::optional<std::string> find_item(uint32_t number) const {
    return detail::unless({SOR_OIDNOTFOUNDERR, SOR_PARAMETERNOTSUPPORTERR, SOR_DNITEMNOTFOUNDERR},
                          [&] { return item(number); });
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
  void validate() const {
    detail::verified([&] { detail::call(VELM_SOF_NAMED(SOF_ValidateCert), view().data(), view().size()); });
  }

  /** @brief Verifies a signature over data; throws unless it is valid. */
  void verify(ByteView data, ByteView signature) const {
    detail::verified([&] {
      detail::call(VELM_SOF_NAMED(SOF_VerifySignedData), view().data(), view().size(), data.data(),
                   data.size(), signature.data(), signature.size());
    });
  }
  /** @brief Verifies a signature over a hash value, in process; throws unless it is valid. */
  void verify_hash(ByteView hash, ByteView signature) const {
    detail::verified([&] {
      detail::call(VELM_SOF_NAMED(SOF_Ext_VerifySignedHash), view().data(), view().size(), hash.data(),
                   hash.size(), signature.data(), signature.size());
    });
  }
  /** @brief Verifies a signature over a file; throws unless it is valid. */
  void verify_file(const std::string& path, ByteView signature) const {
    detail::verified([&] {
      detail::call(VELM_SOF_NAMED(SOF_VerifySignedFile), view().data(), view().size(), path.c_str(),
                   signature.data(), signature.size());
    });
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
  ~Login() {
    if (!is_kept_) SOF_Ext_Logout(container_.c_str(), 0);
  }
  Login(const Login&) = delete;
  Login& operator=(const Login&) = delete;

  /** @brief Leaves the container logged in for other programs. Container::logout() ends the login. */
  void keep() { is_kept_ = true; }

 private:
  std::string container_;
  bool is_kept_ = false;
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

  [[nodiscard]] Login login(const Pin& pin) const { return {name_, pin.c_str()}; }
  /** @brief Logs in with a PIN that the user enters in a modal prompt. */
  [[nodiscard]] Login login_by_prompt() const { return {name_, nullptr}; }

  /** @brief Ends a login, also that of another program. */
  void logout() const { detail::call(VELM_SOF_NAMED(SOF_Ext_Logout), text(), 0u); }

  bool is_logged_in() const {
    const uint32_t code = SOF_Ext_isLogin(text(), 0);
    if (code != SOR_OK && code != SOR_NOTLOGINERR) throw Error("SOF_Ext_isLogin", code);
    return code == SOR_OK;
  }

  /** @brief The PIN retry counter. */
  uint32_t pin_retry_count() const {
    uint32_t count = 0;
    detail::call(VELM_SOF_NAMED(SOF_GetPinRetryCount), text(), &count);
    return count;
  }

  void change_pin(const Pin& old_pin, const Pin& new_pin) const {
    detail::call(VELM_SOF_NAMED(SOF_ChangePassWd), text(), old_pin.c_str(), new_pin.c_str());
  }

  /** @} */

  /** @name Certificates and device
   * @{ */

  Certificate signing_certificate() const {
    return Certificate(detail::fetch(VELM_SOF_NAMED(SOF_ExportUserCert), 3072, text()));
  }
  Certificate encryption_certificate() const {
    return Certificate(detail::fetch(VELM_SOF_NAMED(SOF_ExportExChangeUserCert), 3072, text()));
  }

  /** @brief Reads one item about the device; the local service defines the numbers. */
  std::string device_item(int32_t number) const {
    uint8_t item[256];
    uint32_t length = sizeof item;
    detail::call(VELM_SOF_NAMED(SOF_GetDeviceInfo), text(), number, item, &length);
    return {item, item + length};
  }
  /** @brief As device_item(), but returns nothing if the device does not have the item. */
  std::optional<std::string> find_device_item(int32_t number) const {
    return detail::unless({SOR_PARAMETERNOTSUPPORTERR}, [&] { return device_item(number); });
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

  /**
   * @brief Signs a hash value. Verify with Certificate::verify_hash(). For SM2 the hash value must include
   * the preprocessing of GM/T 0009.
   */
  Bytes sign_hash(Digest digest, ByteView hash) const {
    constexpr uint32_t kHashValue = 1;
    return detail::fetch(VELM_SOF_NAMED(SOF_Ext_SignHash), 1536, text(), static_cast<uint32_t>(digest),
                         kHashValue, hash.data(), hash.size());
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

  /** @brief Creates a signed message from a file that contains a hash value of the content, for RSA keys. */
  Bytes sign_hash_file_message(const std::string& path) const {
    constexpr uint32_t kHashValue = 2;
    return detail::fetch(VELM_SOF_NAMED(SOF_Ext_PKCS7_SignFile), detail::kAsk, kHashValue, text(),
                         path.c_str());
  }

  /** @brief Signs XML. The library does not support it: throws Error with SOR_NOTSUPPORTYETERR. */
  Bytes sign_xml(ByteView xml) const {
    return detail::fetch(VELM_SOF_NAMED(SOF_SignDataXML), detail::kAsk, text(), xml.data(), xml.size());
  }

  /** @brief Fetches a time-stamp token for a file. Verify with verify_file_time_stamp(). */
  Bytes time_stamp_file(const std::string& path) const {
    return detail::fetch(VELM_SOF_NAMED(SOF_Ext_TspGetFileStamp), detail::kAsk, text(), ByteView(path).data(),
                         ByteView(path).size());
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
  /** @brief As label(), but returns nothing if the device does not have the label. */
  std::optional<Bytes> find_label(const std::string& name, uint32_t type) const {
    return detail::unless({SOR_LABELNOTFOUNDERR}, [&] { return label(name, type); });
  }

  /** @} */

  /** @name User data files of the local service, by type and index
   * @{ */

  /** @brief Reads at most `length` bytes; fewer at the end of the file. */
  Bytes read_user_data(uint32_t type, uint32_t index, uint32_t offset, uint32_t length) const {
    // The C function does not tell how many bytes it read. The bytes that are equal after reading into
    // two buffers of different content are those that were read.
    const auto read_over = [&](uint8_t background) {
      Bytes data(length, background);
      detail::call(VELM_SOF_NAMED(SOF_Ext_ReadUsrDataFile), text(), type, index, offset, length, data.data());
      return data;
    };
    Bytes data = read_over(0x00);
    const Bytes again = read_over(0xFF);
    data.erase(std::mismatch(data.begin(), data.end(), again.begin()).first, data.end());
    return data;
  }
  void write_user_data(const Pin& pin, uint32_t type, uint32_t index, uint32_t offset, ByteView data) const {
    const ByteView secret(pin.c_str(), pin.size());
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
