// Login, PIN and login state; the PIN prompt and its parent window.
#include <malloc.h>

#include <cstdlib>
#include <cstring>

#include "calls/service_case.h"
#include "support/client_test.h"
#include "support/import_patch.h"

using namespace velm::test;

namespace {

const std::string kLongName(300, 'n');
const std::string kLongPin(400, 'p');
constexpr char kPin[] = "123456";
constexpr char kPinInBase64[] = "MTIzNDU2";

std::string login_request(const std::string& container, const std::string& pin) {
  return R"({"funcid":7,"UserName":")" + container + R"(","PassWd":")" + base64(pin) + R"("})";
}

std::string change_request(const std::string& container, const std::string& old_pin,
                           const std::string& new_pin) {
  return R"({"funcid":9,"ContainerName":")" + container + R"(","OldPassWd":")" + base64(old_pin) +
         R"(","NewPassWd":")" + base64(new_pin) + R"("})";
}

std::string state_request(const char* number, const std::string& container, const char* type) {
  return R"({"funcid":)" + std::string(number) + R"(,"containerName":")" + container + R"(","loginType":)" +
         type + "}";
}

// A text argument that may be null.
struct Text {
  Text(const char* text) : is_null(!text), value(text ? text : "") {}
  Text(const std::string& text) : is_null(false), value(text) {}
  const char* get() const { return is_null ? nullptr : value.c_str(); }

  bool is_null;
  std::string value;
};

Call login(Text container, Text pin) {
  return [=](const ClientLibrary& library, uint8_t*, uint32_t*) {
    return library.SOF_Login(container.get(), pin.get());
  };
}

Call retry_count(Text container) {
  return [=](const ClientLibrary& library, uint8_t*, uint32_t* count) {
    return library.SOF_GetPinRetryCount(container.get(), count);
  };
}

Call change(Text container, Text old_pin, Text new_pin) {
  return [=](const ClientLibrary& library, uint8_t*, uint32_t*) {
    return library.SOF_ChangePassWd(container.get(), old_pin.get(), new_pin.get());
  };
}

Call logout(Text container, uint32_t type) {
  return [=](const ClientLibrary& library, uint8_t*, uint32_t*) {
    return library.SOF_Ext_Logout(container.get(), type);
  };
}

Call is_login(Text container, uint32_t type) {
  return [=](const ClientLibrary& library, uint8_t*, uint32_t*) {
    return library.SOF_Ext_isLogin(container.get(), type);
  };
}

Call other_login(Text container, uint32_t type, const uint8_t* data, uint32_t size) {
  return [=](const ClientLibrary& library, uint8_t*, uint32_t*) {
    return library.SOF_Ext_Login(container.get(), type, data, size);
  };
}

ServiceCase login_case(const std::string& container, const std::string& pin) {
  return {"SOF_Login",
          Form::kJson,
          128,
          "SOF_Login pszContainerName=[" + container + "]",
          login_request(container, pin),
          "{}",
          "",
          kUntouched,
          login(container, pin)};
}

ServiceCase retry_case(const std::string& container, const std::string& answer, uint32_t count) {
  return {"SOF_GetPinRetryCount",
          Form::kJson,
          128,
          "SOF_GetPinRetryCount [" + container + "]",
          R"({"funcid":8,"ContainerName":")" + container + R"("})",
          answer,
          "",
          count,
          retry_count(container)};
}

ServiceCase change_case(const std::string& container, const std::string& old_pin,
                        const std::string& new_pin) {
  return {"SOF_ChangePassWd",
          Form::kJson,
          128,
          "SOF_ChangePassWd [" + container + "]",
          change_request(container, old_pin, new_pin),
          "{}",
          "",
          kUntouched,
          change(container, old_pin, new_pin)};
}

const std::vector<ServiceCase> kCalls{
    login_case("C1", kPin),
    retry_case("C1", R"({"RetryCount":5})", 5),
    change_case("C1", kPin, "654321"),
    {"SOF_Ext_Logout", Form::kJson, 128, "SOF_Ext_Logout [C1] ulLoginType=2", state_request("46", "C1", "2"),
     "{}", "", kUntouched, logout("C1", 2)},
    {"SOF_Ext_isLogin", Form::kJson, 128, "SOF_Ext_isLogin [C1] ulLoginType=2",
     state_request("45", "C1", "2"), "{}", "", kUntouched, is_login("C1", 2)},
};

const std::vector<ServiceCase> kVariants{
    // A PIN of any length is sent in full.
    login_case("C1", ""),
    login_case("C1", "1"),
    login_case("C1", "1234"),
    login_case("C1", "12345"),
    login_case("C1", std::string(31, 'p')),
    login_case("C1", std::string(32, 'p')),
    login_case("C1", kLongPin),
    login_case("C1", "\x01\xFF%s\""),
    change_case("C1", "1", "1234"),
    change_case("C1", std::string(31, 'p'), std::string(32, 'q')),
    change_case("C1", kLongPin, kLongPin),

    // Sic: container names are sent in full and without JSON escaping.
    login_case("", kPin),
    login_case(kLongName, kPin),
    login_case(R"(C"1\)", kPin),
    login_case("%s%d", kPin),
    retry_case("", R"({"RetryCount":5})", 5),
    retry_case(kLongName, R"({"RetryCount":5})", 5),
    retry_case(R"(C"1\)", R"({"RetryCount":5})", 5),
    change_case("", kPin, "1"),
    change_case(kLongName, kPin, "1"),
    change_case(R"(C"1\)", kPin, "1"),
    {"SOF_Ext_Logout", Form::kJson, 128, "SOF_Ext_Logout [" + kLongName + "] ulLoginType=4294967295",
     state_request("46", kLongName, "4294967295"), "{}", "", kUntouched, logout(kLongName, 0xFFFFFFFF)},
    {"SOF_Ext_isLogin", Form::kJson, 128, "SOF_Ext_isLogin [" + kLongName + "] ulLoginType=4294967295",
     state_request("45", kLongName, "4294967295"), "{}", "", kUntouched, is_login(kLongName, 0xFFFFFFFF)},

    // Sic: null names are not refused; they are sent as "(null)".
    {"SOF_Login", Form::kJson, 128, "SOF_Login pszContainerName=[NULL]", login_request("(null)", kPin), "{}",
     "", kUntouched, login(nullptr, kPin)},
    {"SOF_Ext_Logout", Form::kJson, 128, "SOF_Ext_Logout [null] ulLoginType=0",
     state_request("46", "(null)", "0"), "{}", "", kUntouched, logout(nullptr, 0)},
    {"SOF_Ext_isLogin", Form::kJson, 128, "SOF_Ext_isLogin [(null)] ulLoginType=0",
     state_request("45", "(null)", "0"), "{}", "", kUntouched, is_login(nullptr, 0)},

    // A value that is not a number counts as 0, except true, which the JSON reader reads as 1.
    retry_case("C1", R"({"RetryCount":0})", 0),
    retry_case("C1", R"({"RetryCount":-1})", 0xFFFFFFFF),
    retry_case("C1", R"({"RetryCount":1e20})", 0x7FFFFFFF),
    retry_case("C1", R"({"RetryCount":"5"})", 0),
    retry_case("C1", R"({"RetryCount":true})", 1),
    retry_case("C1", R"({"RetryCount":false})", 0),
    retry_case("C1", R"({"RetryCount":{}})", 0),
    retry_case("C1", R"({"retrycount":5})", 5),
    retry_case("C1", "[]", 0),
    retry_case("C1", "null", 0),
};

const std::vector<LocalCase> kLocalCalls{
    {"SOF_GetPinRetryCount [(null)]", "pszContainerName is null!", SOR_NULLPOINTERERR, kUntouched,
     retry_count(nullptr)},
    {"SOF_GetPinRetryCount [C1]", "puRemainCount is null!", SOR_NULLPOINTERERR, kUntouched,
     without_length(retry_count("C1"))},
    {"SOF_GetPinRetryCount [(null)]", "pszContainerName is null!", SOR_NULLPOINTERERR, kUntouched,
     without_length(retry_count(nullptr))},

    {"SOF_ChangePassWd [NULL]", "pszContainerName is null!", SOR_NULLPOINTERERR, kUntouched,
     change(nullptr, nullptr, nullptr)},
    {"SOF_ChangePassWd [C1]", "szOldPassWord is null!", SOR_NULLPOINTERERR, kUntouched,
     change("C1", nullptr, nullptr)},
    {"SOF_ChangePassWd [C1]", "string szOldPassWord is empty!", SOR_INDATAERR, kUntouched,
     change("C1", "", nullptr)},
    {"SOF_ChangePassWd [C1]", "szNewPassWord is null!", SOR_NULLPOINTERERR, kUntouched,
     change("C1", kPin, nullptr)},
    {"SOF_ChangePassWd [C1]", "string szNewPassWord is empty!", SOR_INDATAERR, kUntouched,
     change("C1", kPin, "")},

    {"SOF_Ext_Login->pszContainerName=[C1] loginType=4294967295 loginDataLen=7", "", SOR_NOTSUPPORTYETERR,
     kUntouched, other_login("C1", 0xFFFFFFFF, nullptr, 7)},
    {"SOF_Ext_Login->pszContainerName=[NULL] loginType=0 loginDataLen=0", "", SOR_NOTSUPPORTYETERR,
     kUntouched, other_login(nullptr, 0, nullptr, 0)},
};

INSTANTIATE_SERVICE_FAMILY(Login, kCalls, kVariants, kLocalCalls);

const Answer kSuccess = json(R"({"ErrorCode":"0"})");

// Plays a prompt into which the user types this text.
auto types(const std::string& typed, int32_t result = 0) {
  return [=](uint32_t, uint32_t, char* pin) {
    std::strcpy(pin, typed.c_str());
    return result;
  };
}

class Pin : public ClientTest {
 protected:
  std::string sent() { return service.take_request().body; }
};

TEST_F(Pin, IsSentAsEmptyTextWhenItCannotBeEncoded) {
  STANDIN(VELM_Openssl_Base64Encode).returns(-1);
  service.answers(kSuccess, kSuccess);
  EXPECT_EQ(library.SOF_Login("C1", kPin), SOR_OK);
  EXPECT_EQ(sent(), login_request("C1", ""));
  EXPECT_EQ(library.SOF_ChangePassWd("C1", kPin, kPin), SOR_OK);
  EXPECT_EQ(sent(), change_request("C1", "", ""));
}

TEST_F(Pin, IsNeverLogged) {
  STANDIN(vc_input_pin).plays(types(kPin));
  service.answers(Answer::nothing(), json("no JSON"), json("{}"), kSuccess);
  library.SOF_Login("C1", kPin);
  library.SOF_Login("C1", nullptr);
  library.SOF_ChangePassWd("C1", kPin, kPin);
  library.SOF_ChangePassWd("C1", kPin, kPin);
  const auto lines = LogReader::lines();
  EXPECT_GE(lines.size(), 7u);
  for (const std::string& line : lines) {
    EXPECT_EQ(line.find(kPin), std::string::npos) << line;
    EXPECT_EQ(line.find(kPinInBase64), std::string::npos) << line;
  }
}

// Set if a block that the library frees still contains the PIN in the form that requests carry.
bool pin_was_freed = false;
size_t blocks_freed = 0;
void (*real_free)(void*) = nullptr;

void free_after_a_look(void* block) {
  if (block) {
    ++blocks_freed;
    const std::string_view content(static_cast<const char*>(block), _msize(block));
    if (content.find(kPinInBase64) != std::string_view::npos) pin_was_freed = true;
  }
  real_free(block);
}

// Zeroed memory, so that free_after_a_look() finds only what the library itself has written.
void* blank_memory(size_t size) { return std::calloc(1, size); }

TEST_F(Pin, IsWipedFromTheRequestBeforeItsMemoryIsFreed) {
  service.answers(kSuccess, Answer::nothing());
  const ImportPatch blank(library.module(), "msvcrt.dll", "malloc", &blank_memory);
  const ImportPatch patch(library.module(), "msvcrt.dll", "free", &free_after_a_look);
  real_free = patch.original<void (*)(void*)>();
  EXPECT_EQ(library.SOF_Login("C1", kPin), SOR_OK);
  EXPECT_EQ(library.SOF_ChangePassWd("C1", "1", kPin), SOR_COMMUNICATIONERR);

  STANDIN(VELM_Openssl_Base64Encode).plays([](auto, auto, uint8_t* text, auto) {
    std::memcpy(text + 64, kPinInBase64, std::strlen(kPinInBase64));  // beyond the end of the request
    return -1;
  });
  service.answers(kSuccess);
  EXPECT_EQ(library.SOF_Login("C1", kPin), SOR_OK);
  EXPECT_GT(blocks_freed, 2u);
  EXPECT_FALSE(pin_was_freed);
}

using Prompt = Pin;

TEST_F(Prompt, IsNotShownWhenThePinIsGiven) {
  service.answers(kSuccess, kSuccess);
  library.SOF_Login("C1", kPin);
  library.SOF_Login("C1", "");
  EXPECT_THAT(standins.call_log("vc_"), testing::IsEmpty());
}

TEST_F(Prompt, ReturnsThePinThatIsSent) {
  for (const std::string& typed :
       {std::string(kPin), std::string(), std::string(31, 'p'), std::string("\xD6\xD0")}) {
    STANDIN(vc_input_pin).plays(types(typed));
    service.answers(kSuccess);
    EXPECT_EQ(library.SOF_Login("C1", nullptr), SOR_OK);
    EXPECT_EQ(sent(), login_request("C1", typed));
  }
}

TEST_F(Prompt, MayFillItsBufferOrLeaveItUnchanged) {
  STANDIN(vc_input_pin).plays([](uint32_t, uint32_t, char* pin) {
    std::memset(pin, 'p', 32);
    return 0;
  });
  service.answers(kSuccess, kSuccess);
  EXPECT_EQ(library.SOF_Login("C1", nullptr), SOR_OK);
  EXPECT_EQ(sent(), login_request("C1", std::string(32, 'p')));
  STANDIN(vc_input_pin).returns(0);
  EXPECT_EQ(library.SOF_Login("C1", nullptr), SOR_OK);
  EXPECT_EQ(sent(), login_request("C1", ""));
}

TEST_F(Prompt, LeavesNoPinOnTheStack) {
  const char* buffer = nullptr;
  for (int32_t result : {0, 1}) {
    STANDIN(vc_input_pin).plays([&](uint32_t, uint32_t, char* pin) {
      buffer = pin;
      std::strcpy(pin, kPin);
      return result;
    });
    if (result == 0) service.answers(kSuccess);
    char left[sizeof kPin];
    library.SOF_Login("C1", nullptr);
    std::memcpy(left, buffer, sizeof left);  // before another call overwrites the stack
    EXPECT_NE(std::string(left, sizeof left), std::string(kPin, sizeof kPin)) << result;
  }
}

TEST_F(Prompt, CancellingEndsTheCall) {
  for (int32_t result : {1, -1, 0x0B000447}) {
    LogReader::clear();
    STANDIN(vc_input_pin).plays(types(kPin, result));
    EXPECT_EQ(library.SOF_Login("C1", nullptr), 0x0B000447u);
    EXPECT_THAT(LogReader::messages(), testing::ElementsAre("SOF_Login pszContainerName=[C1]"));
  }
  EXPECT_THAT(service.requests(), testing::IsEmpty());
}

// The windows of this process, in the system's order of enumeration.
std::vector<HWND> own_windows() {
  std::vector<HWND> windows;
  EnumWindows(
      [](HWND window, LPARAM list) -> BOOL {
        DWORD process = 0;
        GetWindowThreadProcessId(window, &process);
        if (process == GetCurrentProcessId()) reinterpret_cast<std::vector<HWND>*>(list)->push_back(window);
        return TRUE;
      },
      reinterpret_cast<LPARAM>(&windows));
  return windows;
}

uint32_t low_32_bits(const void* handle) {
  return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(handle));
}

class PromptParent : public Pin {
 protected:
  // Returns the parent window that the prompt of a login receives.
  uint32_t parent() {
    STANDIN(vc_input_pin).plays(types(kPin));
    service.answers(kSuccess);
    EXPECT_EQ(library.SOF_Login("C1", nullptr), SOR_OK);
    const auto [kind, window, pin] = STANDIN(vc_input_pin).calls().back();
    EXPECT_EQ(kind, 1u);
    EXPECT_NE(pin, nullptr);
    return window;
  }
};

TEST_F(PromptParent, IsTheForegroundWindowWhenTheProcessOwnsNone) {
  ASSERT_THAT(own_windows(), testing::IsEmpty());
  ASSERT_EQ(GetActiveWindow(), nullptr);
  EXPECT_EQ(parent(), low_32_bits(GetForegroundWindow()));
}

TEST_F(PromptParent, IsAWindowOfTheProcess) {
  const HWND window = CreateWindowW(L"STATIC", L"own", WS_OVERLAPPEDWINDOW, 0, 0, 100, 100, nullptr, nullptr,
                                    nullptr, nullptr);
  ASSERT_NE(window, nullptr) << GetLastError();
  const auto windows = own_windows();
  EXPECT_THAT(windows, testing::Contains(window));
  EXPECT_EQ(parent(), low_32_bits(windows.at(0)));
  DestroyWindow(window);
}

// A simulated desktop. Its handles are wider than the prompt's 32-bit argument.
constexpr uintptr_t kHigh = 0x700000000;
const HWND kForeign = reinterpret_cast<HWND>(kHigh + 1), kOwn = reinterpret_cast<HWND>(kHigh + 2),
           kSecondOwn = reinterpret_cast<HWND>(kHigh + 3), kActive = reinterpret_cast<HWND>(kHigh + 4),
           kForeground = reinterpret_cast<HWND>(kHigh + 5);

struct Desktop {
  std::vector<HWND> windows;
  HWND active;
  HWND foreground;
  std::vector<HWND> asked;
};
Desktop desktop;

BOOL WINAPI list_windows(WNDENUMPROC visit, LPARAM parameter) {
  for (HWND window : desktop.windows) {
    if (!visit(window, parameter)) return FALSE;
  }
  return TRUE;
}

DWORD WINAPI owner_of(HWND window, DWORD* process) {
  desktop.asked.push_back(window);
  *process = GetCurrentProcessId() + (window == kForeign);
  return 1;
}

HWND WINAPI active_window() { return desktop.active; }
HWND WINAPI foreground_window() { return desktop.foreground; }

TEST_F(PromptParent, IsChosenInOrder) {
  const ImportPatch list(library.module(), "user32.dll", "EnumWindows", &list_windows);
  const ImportPatch owner(library.module(), "user32.dll", "GetWindowThreadProcessId", &owner_of);
  const ImportPatch active(library.module(), "user32.dll", "GetActiveWindow", &active_window);
  const ImportPatch foreground(library.module(), "user32.dll", "GetForegroundWindow", &foreground_window);

  desktop = {{kForeign, kOwn, kSecondOwn}, kActive, kForeground, {}};
  EXPECT_EQ(parent(), 2u);
  EXPECT_THAT(desktop.asked, testing::ElementsAre(kForeign, kOwn)) << "the first own window ends the search";

  desktop = {{kForeign}, kActive, kForeground, {}};
  EXPECT_EQ(parent(), 4u);
  desktop = {{kForeign}, nullptr, kForeground, {}};
  EXPECT_EQ(parent(), 5u);
  desktop = {{}, nullptr, nullptr, {}};
  EXPECT_EQ(parent(), 0u);
}

}  // namespace
