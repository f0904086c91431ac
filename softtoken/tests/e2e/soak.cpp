// Soak test: mixed calls from many threads against the local service, with every result checked.
//
//   velm_soak [--calls N] [--threads N] [--seed N]
//
// Prints its findings. Exit code 0: all results correct, and no resource use grew between the first half of
// the calls and the second; 1: otherwise; 2: the test could not run.
#include <algorithm>
#include <atomic>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "service_process.h"
#include "tests/support/process_usage.h"
#include "tests/support/random_source.h"
#include "velm_sof_client.h"

namespace {

using velm::test::ProcessUsage;
using velm::test::RandomSource;
using Bytes = std::vector<uint8_t>;

constexpr const char* kPin = "12345678";
constexpr const char* kContainers[] = {"SM2_DEMO", "RSA_2048_DEMO", "RSA_1024_DEMO"};
constexpr const char* kNeverLoggedIn = "REVOKED_SM2_DEMO";

uint32_t size_of(const Bytes& bytes) { return static_cast<uint32_t>(bytes.size()); }

Bytes bytes_of(const std::string& text) { return {text.begin(), text.end()}; }

// Findings of all threads.
struct Findings {
  std::atomic<size_t> calls = 0;
  std::atomic<size_t> wrong = 0;
  std::mutex printing;
};

// A short sequence of related calls on one thread.
class Turn {
 public:
  Turn(Findings& findings, uint64_t seed, uint64_t step, size_t thread)
      : random(seed, step), container(random.one_of(kContainers)), thread_(thread), findings_(findings) {}

  RandomSource random;
  const char* container;

  Bytes data(size_t most) {
    const std::string bytes = random.bytes(1 + random.below(most));
    return {bytes.begin(), bytes.end()};
  }

  // A number that no other thread uses at the same time.
  uint32_t own_number() const { return static_cast<uint32_t>(thread_); }

  void expect(bool holds, const char* what) {
    if (holds) return;
    if (++findings_.wrong > 20) return;
    const std::lock_guard lock(findings_.printing);
    std::printf("wrong: %s (%s)\n", what, container);
  }

  // Counts a call and checks its result code.
  void expect_code(const char* call, uint32_t code, uint32_t expected = SOR_OK) {
    ++findings_.calls;
    if (code == expected) return;
    expect(false, (std::string(call) + " gave " + std::to_string(code)).c_str());
  }

  // Returns the output of a call that must succeed.
  template <class Call>
  Bytes output_of(const char* name, Call call, uint32_t room = 65536) {
    Bytes output(room);
    uint32_t length = room;
    const uint32_t code = call(output.data(), &length);
    expect_code(name, code);
    output.resize(code == SOR_OK ? length : 0);
    return output;
  }

  Bytes signing_certificate() {
    return output_of("SOF_ExportUserCert", [&](uint8_t* out, uint32_t* length) {
      return SOF_ExportUserCert(container, out, length);
    });
  }

  Bytes encryption_certificate() {
    return output_of("SOF_ExportExChangeUserCert", [&](uint8_t* out, uint32_t* length) {
      return SOF_ExportExChangeUserCert(container, out, length);
    });
  }

 private:
  size_t thread_;
  Findings& findings_;
};

void ask_for_version(Turn& turn) {
  char version[128] = "";
  turn.expect_code("SOF_GetVersion", SOF_GetVersion(version));
  turn.expect(std::string(version) == "1.0.0", "the version");
}

void draw_random_bytes(Turn& turn) {
  Bytes first(16 + turn.random.below(2000)), second(first.size());
  turn.expect_code("SOF_GenRandom", SOF_GenRandom(size_of(first), first.data()));
  turn.expect_code("SOF_GenRandom", SOF_GenRandom(size_of(second), second.data()));
  turn.expect(first != second, "the same random bytes twice");
}

void look_around(Turn& turn) {
  const Bytes list = turn.output_of("SOF_GetUserList", [](uint8_t* out, uint32_t* length) {
    return SOF_GetUserList(reinterpret_cast<char*>(out), length);
  });
  turn.expect(std::string(list.begin(), list.end()).starts_with("SM2_DEMO&&&RSA_2048_DEMO&&&"),
              "the user list");
  const Bytes device = turn.output_of("SOF_GetDeviceInfo", [&](uint8_t* out, uint32_t* length) {
    return SOF_GetDeviceInfo(turn.container, 0x203, out, length);
  });
  turn.expect(device == bytes_of("VELM Software Token"), "the device name");
  uint32_t seals = 0;
  turn.expect_code("SOF_Ext_EnumSeal", SOF_Ext_EnumSeal("SEAL_SM2_DEMO", &seals));
  turn.expect(seals == 2, "the number of seals");
  uint32_t retries = 0;
  turn.expect_code("SOF_GetPinRetryCount", SOF_GetPinRetryCount(kNeverLoggedIn, &retries));
  turn.expect(retries == 10, "the PIN retry counter");
}

void ask_for_what_is_refused(Turn& turn) {
  turn.expect_code("SOF_Login", SOF_Login("nobody", kPin), SOR_CONTAINERNOTFOUNDERR);
  turn.expect_code("SOF_Ext_isLogin", SOF_Ext_isLogin(kNeverLoggedIn, 0), SOR_NOTLOGINERR);
  uint8_t area[2048];
  uint32_t length = sizeof area;
  turn.expect_code("SOF_SignData", SOF_SignData(kNeverLoggedIn, area, 1, area, &length), SOR_NOTLOGINERR);
  turn.expect_code("SOF_Ext_ReadUsrDataFile", SOF_Ext_ReadUsrDataFile(turn.container, 9, 9, 0, 1, area),
                   SOR_FILENOTFOUNDERR);
  turn.expect_code("SOF_GenRandom", SOF_GenRandom(1, nullptr), SOR_NULLPOINTERERR);
}

void read_certificates(Turn& turn) {
  for (const Bytes& certificate : {turn.signing_certificate(), turn.encryption_certificate()}) {
    const Bytes subject = turn.output_of("SOF_GetCertInfo", [&](uint8_t* out, uint32_t* length) {
      return SOF_GetCertInfo(certificate.data(), size_of(certificate), 0x31, out, length);
    });
    turn.expect(subject == bytes_of(turn.container), "the subject");
    const Bytes value = turn.output_of("SOF_GetCertInfoByOid", [&](uint8_t* out, uint32_t* length) {
      return SOF_GetCertInfoByOid(certificate.data(), size_of(certificate), "2.5.4.3", out, length);
    });
    turn.expect(value == subject, "the subject by its object identifier");
    turn.expect_code("SOF_ValidateCert", SOF_ValidateCert(certificate.data(), size_of(certificate)));
  }
}

void sign_data(Turn& turn) {
  Bytes data = turn.data(20000);
  const Bytes certificate = turn.signing_certificate();
  const Bytes signature = turn.output_of("SOF_SignData", [&](uint8_t* out, uint32_t* length) {
    return SOF_SignData(turn.container, data.data(), size_of(data), out, length);
  });
  const auto verify = [&](uint32_t expected) {
    turn.expect_code("SOF_VerifySignedData",
                     SOF_VerifySignedData(certificate.data(), size_of(certificate), data.data(),
                                          size_of(data), signature.data(), size_of(signature)),
                     expected);
  };
  verify(SOR_OK);
  data[turn.random.below(data.size())] ^= 1;
  verify(SOR_VERIFYSIGNDATAERR);
}

void sign_message(Turn& turn) {
  const Bytes data = turn.data(20000);
  const auto flag = static_cast<int32_t>(turn.random.below(2));  // 0: attached, the message contains the data
  const Bytes message = turn.output_of("SOF_SignMessage", [&](uint8_t* out, uint32_t* length) {
    return SOF_SignMessage(flag, turn.container, data.data(), size_of(data), out, length);
  });
  turn.expect_code("SOF_VerifySignedMessage",
                   SOF_VerifySignedMessage(message.data(), size_of(message), data.data(), size_of(data)));
  const Bytes signer = turn.output_of("SOF_GetInfoFromSignedMessage", [&](uint8_t* out, uint32_t* length) {
    return SOF_GetInfoFromSignedMessage(message.data(), size_of(message), 2, out, length);
  });
  turn.expect(signer == turn.signing_certificate(), "the signing certificate");
}

void encrypt_data(Turn& turn) {
  const Bytes data = turn.data(20000), certificate = turn.encryption_certificate();
  const Bytes envelope = turn.output_of("SOF_EncryptData", [&](uint8_t* out, uint32_t* length) {
    return SOF_EncryptData(certificate.data(), size_of(certificate), data.data(), size_of(data), out, length);
  });
  turn.expect(turn.output_of("SOF_DecryptData",
                             [&](uint8_t* out, uint32_t* length) {
                               return SOF_DecryptData(turn.container, envelope.data(), size_of(envelope), out,
                                                      length);
                             }) == data,
              "decrypted data");
}

void encrypt_with_a_key(Turn& turn) {
  const Bytes data = turn.data(60);
  const auto specifier = static_cast<uint32_t>(1 + turn.random.below(2));
  const Bytes key = turn.output_of("SOF_Ext_ExportPublicKey", [&](uint8_t* out, uint32_t* length) {
    return SOF_Ext_ExportPublicKey(turn.container, specifier, out, length);
  });
  const Bytes cipher = turn.output_of("SOF_Ext_AsymmEncryptData", [&](uint8_t* out, uint32_t* length) {
    return SOF_Ext_AsymmEncryptData(key.data(), size_of(key), data.data(), size_of(data), out, length);
  });
  turn.expect(turn.output_of("SOF_Ext_AsymmDecryptData",
                             [&](uint8_t* out, uint32_t* length) {
                               return SOF_Ext_AsymmDecryptData(turn.container, specifier, cipher.data(),
                                                               size_of(cipher), out, length);
                             }) == data,
              "data decrypted with a key");
}

// Each thread has a file of its own. Writing requires the PIN, whose key derivation is deliberately slow.
void keep_user_data(Turn& turn) {
  const Bytes data = turn.data(20000), pin = bytes_of(kPin);
  turn.expect_code("SOF_Ext_WriteUsrDataFile",
                   SOF_Ext_WriteUsrDataFile(turn.container, pin.data(), size_of(pin), 1, turn.own_number(), 0,
                                            size_of(data), data.data()));
  for (int reads = 0; reads < 8; ++reads) {
    const auto from = static_cast<uint32_t>(turn.random.below(data.size()));
    Bytes part(data.size() - from);
    turn.expect_code("SOF_Ext_ReadUsrDataFile", SOF_Ext_ReadUsrDataFile(turn.container, 1, turn.own_number(),
                                                                        from, size_of(part), part.data()));
    turn.expect(std::equal(part.begin(), part.end(), data.begin() + from), "user data");
  }
}

// Calls that the modules execute in process.
void work_without_the_service(Turn& turn) {
  const Bytes data = turn.data(20000);
  const Bytes text = turn.output_of("SOF_Base64Encode", [&](uint8_t* out, uint32_t* length) {
    return SOF_Base64Encode(data.data(), size_of(data), out, length);
  });
  turn.expect(turn.output_of("SOF_Base64Decode",
                             [&](uint8_t* out, uint32_t* length) {
                               return SOF_Base64Decode(text.data(), size_of(text), out, length);
                             }) == data,
              "base64");
  const Bytes hash = turn.output_of("SOF_Ext_HashData", [](uint8_t* out, uint32_t* length) {
    const uint8_t abc[] = {'a', 'b', 'c'};
    return SOF_Ext_HashData(1, abc, sizeof abc, nullptr, 0, nullptr, 0, out, length);
  });
  // SM3 of "abc" (GB/T 32905).
  turn.expect(hash.size() == 32 && hash[0] == 0x66 && hash[1] == 0xC7 && hash[31] == 0xE0, "SM3");
}

constexpr void (*kTurns[])(Turn&) = {ask_for_version,
                                     draw_random_bytes,
                                     draw_random_bytes,
                                     look_around,
                                     ask_for_what_is_refused,
                                     read_certificates,
                                     sign_data,
                                     sign_data,
                                     sign_message,
                                     encrypt_data,
                                     encrypt_with_a_key,
                                     keep_user_data,
                                     work_without_the_service};

constexpr size_t kPrivateBytesAllowed = 2 << 20;

struct Settings {
  size_t calls = 2000;
  size_t threads = 8;
  uint64_t seed = 1;
};

Settings settings_of(int count, char** arguments) {
  Settings settings;
  for (int i = 1; i < count; i += 2) {
    const std::string name = arguments[i];
    if (i + 1 == count) throw std::runtime_error(name + " has no value");
    const std::string_view text = arguments[i + 1];
    uint64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || value == 0) {
      throw std::runtime_error(name + " takes a number from 1");
    }
    if (name == "--calls")
      settings.calls = value;
    else if (name == "--threads")
      settings.threads = value;
    else if (name == "--seed")
      settings.seed = value;
    else
      throw std::runtime_error("no option " + name);
  }
  return settings;
}

// Runs sequences on all threads until the given total number of calls has been made.
void run_until(const Settings& settings, size_t calls, Findings& findings, std::atomic<uint64_t>& step) {
  std::vector<std::thread> threads;
  for (size_t thread = 0; thread < settings.threads; ++thread) {
    threads.emplace_back([&, thread] {
      while (findings.calls < calls) {
        Turn turn(findings, settings.seed, ++step, thread);
        turn.random.one_of(kTurns)(turn);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
}

int soak(const Settings& settings) {
  std::printf("%zu calls from %zu threads, seed %llu\n", settings.calls, settings.threads,
              static_cast<unsigned long long>(settings.seed));
  const ServiceProcess service;
  for (const char* container : kContainers) {
    if (SOF_Login(container, kPin) != SOR_OK) throw std::runtime_error("cannot log in to a container");
  }
  Findings findings;
  std::atomic<uint64_t> step = 0;
  run_until(settings, settings.calls / 2, findings, step);
  const ProcessUsage half = ProcessUsage::now();
  const size_t service_half = service.private_bytes();
  run_until(settings, settings.calls, findings, step);
  const ProcessUsage end = ProcessUsage::now();
  const size_t service_end = service.private_bytes();

  std::printf("%zu calls, %zu wrong results\nafter half: %s\nat the end: %s\n", findings.calls.load(),
              findings.wrong.load(), half.text().c_str(), end.text().c_str());
  std::printf("local service: %zu private bytes after half, %zu at the end\n", service_half, service_end);
  const std::string growth =
      end.growth_since(half, {.handles = 8, .blocks = 200, .private_bytes = kPrivateBytesAllowed});
  if (!growth.empty()) std::printf("%s\n", growth.c_str());
  const bool service_grew = service_end > service_half + kPrivateBytesAllowed;
  if (service_grew) std::printf("the local service uses more memory\n");
  return findings.wrong == 0 && growth.empty() && !service_grew ? 0 : 1;
}

}  // namespace

int main(int count, char** arguments) {
  try {
    return soak(settings_of(count, arguments));
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "velm_soak: %s\n", failure.what());
    return 2;
  }
}
