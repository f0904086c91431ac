// The values of the path placeholders on this machine.
#include "basekit/basic/windows_path_values.h"

#include <gmock/gmock.h>

#include <cstring>

#include "basekit/basic/wow64.h"
#include "support/import_patch.h"
#include "unit/windows/eight_hours_east.h"

using namespace velm;
using path::expand_on_this_machine;
using testing::EndsWith;
using testing::MatchesRegex;
using testing::StartsWith;

namespace {

std::string expanded(std::string_view text) {
  std::string result;
  EXPECT_EQ(expand_on_this_machine(text, result), 0) << text;
  return result;
}

std::string variable(const char* name) {
  const char* value = std::getenv(name);
  return value ? value : "";
}

TEST(PathValues, TheLogTemplate) {
  EXPECT_THAT(expanded("{commonappdata}\\VELM\\log\\{date}\\velm_client_sof.log"),
              MatchesRegex(".:.ProgramData.VELM.log.\\d\\d\\d\\d\\d\\d\\d\\d.velm_client_sof.log"));
}

TEST(PathValues, FoldersOfTheSystem) {
  EXPECT_EQ(expanded("{sys64}"), variable("SystemRoot") + "\\sysnative\\");
  EXPECT_EQ(expanded("{sys32}"), variable("SystemRoot") + "\\SysWOW64\\");
  EXPECT_EQ(expanded("{pf64}"), variable("SystemDrive") + "\\Program Files\\");
  EXPECT_EQ(expanded("{pf32}"), variable("SystemDrive") + "\\Program Files (x86)\\");
}

TEST(PathValues, FoldersOfTheUser) {
  EXPECT_EQ(expanded("{userdir}"), variable("SystemDrive") + "\\Users\\" + variable("USERNAME"));
  EXPECT_EQ(expanded("{apptmp}"), variable("TEMP"));
  char temporary[MAX_PATH];
  GetTempPathA(sizeof temporary, temporary);
  EXPECT_EQ(expanded("{tmp}") + "\\", temporary);
  EXPECT_THAT(expanded("{locallow}"), EndsWith("\\LocalLow"));
}

TEST(PathValues, ARandomTextHasItsLengthAndAlphabet) {
  const std::string text = expanded("{rand8}");
  EXPECT_EQ(text.size(), 8u);
  EXPECT_EQ(text.find_first_not_of("0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ"),
            std::string::npos);
}

TEST(PathValues, TheClockRuns) {
  const auto before = static_cast<unsigned long>(std::clock());
  EXPECT_GE(std::stoul(expanded("{clock}")), before);
}

TEST(PathValues, TheHourIsNotPadded) {
  EXPECT_EQ(path::padded(9, 30, 5), "93005");
  EXPECT_EQ(path::padded(2024, 5, 6), "20240506");
}

TEST(PathValues, AMissingUserVariableFails) {
  std::string result = "untouched";
  for (const char* name : {"USERNAME", "TEMP"}) {
    const std::string kept = variable(name);
    for (const char* value : {static_cast<const char*>(nullptr), ""}) {
      SetEnvironmentVariableA(name, value);
      EXPECT_EQ(expand_on_this_machine(name == std::string("TEMP") ? "{apptmp}" : "{userdir}", result), -21);
    }
    SetEnvironmentVariableA(name, kept.c_str());
  }
  EXPECT_EQ(result, "untouched");
}

TEST(PathValues, AMissingSystemVariableLeavesThatPartEmpty) {
  const std::string root = variable("SystemRoot"), drive = variable("SystemDrive");
  SetEnvironmentVariableA("SystemRoot", nullptr);
  SetEnvironmentVariableA("SystemDrive", nullptr);
  EXPECT_EQ(expanded("{sys32}"), "\\SysWOW64\\");
  EXPECT_EQ(expanded("{pf64}"), "\\Program Files\\");
  SetEnvironmentVariableA("SystemRoot", root.c_str());
  SetEnvironmentVariableA("SystemDrive", drive.c_str());
}

WORD architecture = PROCESSOR_ARCHITECTURE_INTEL;

void WINAPI report_architecture(LPSYSTEM_INFO info) {
  *info = {};
  info->wProcessorArchitecture = architecture;
}

DWORD WINAPI no_temporary_path(DWORD, LPSTR) { return 0; }
BOOL WINAPI no_special_folder(HWND, LPSTR, int, BOOL) { return FALSE; }
BOOL WINAPI folder_without_local(HWND, LPSTR folder, int, BOOL) {
  std::strcpy(folder, "C:\\Users\\u\\Data");
  return TRUE;
}
BOOL WINAPI folder_with_two_locals(HWND, LPSTR folder, int, BOOL) {
  std::strcpy(folder, "C:\\LocalA\\Local\\x");
  return TRUE;
}

// Replaces an import of the test program itself.
template <class Function>
test::ImportPatch patch(const char* dll, const char* name, Function* replacement) {
  return test::ImportPatch(GetModuleHandleW(nullptr), dll, name, reinterpret_cast<void*>(replacement));
}

// A time at which the local date is already the next day.
__time64_t __cdecl fixed_time(__time64_t* result) {
  constexpr __time64_t kThen = 1714930245;  // 2024-05-05 17:30:45 UTC
  if (result) *result = kThen;
  return kThen;
}

TEST(PathValues, DateAndTimeAreLocal) {
  const test::EightHoursEast zone;
  const auto guard = patch("msvcrt.dll", "_time64", fixed_time);
  EXPECT_EQ(expanded("{date}"), "20240506");
  EXPECT_EQ(expanded("{time}"), "13045");
}

TEST(PathValues, On32BitTheSixtyFourBitFoldersStayUnexpanded) {
  const auto guard = patch("KERNEL32.dll", "GetNativeSystemInfo", report_architecture);
  for (const auto reported : {WORD{PROCESSOR_ARCHITECTURE_INTEL}, WORD{PROCESSOR_ARCHITECTURE_ARM64}}) {
    architecture = reported;
    EXPECT_EQ(expanded("{sys64}{pf64}"), "{sys64}{pf64}");
    EXPECT_EQ(expanded("{sys32}"), variable("SystemRoot") + "\\System32\\");
    EXPECT_EQ(expanded("{pf32}"), variable("SystemDrive") + "\\Program Files\\");
  }
}

TEST(PathValues, ItaniumCountsAs64Bit) {
  const auto guard = patch("KERNEL32.dll", "GetNativeSystemInfo", report_architecture);
  architecture = PROCESSOR_ARCHITECTURE_IA64;
  EXPECT_EQ(expanded("{sys64}"), variable("SystemRoot") + "\\sysnative\\");
  EXPECT_EQ(expanded("{pf32}"), variable("SystemDrive") + "\\Program Files (x86)\\");
}

TEST(PathValues, AFailingSystemCallFails) {
  std::string result = "untouched";
  {
    const auto guard = patch("KERNEL32.dll", "GetTempPathA", no_temporary_path);
    EXPECT_EQ(expand_on_this_machine("{tmp}", result), -21);
  }
  const auto guard = patch("SHELL32.dll", "SHGetSpecialFolderPathA", no_special_folder);
  EXPECT_EQ(expand_on_this_machine("{commonappdata}", result), -21);
  EXPECT_EQ(expand_on_this_machine("{locallow}", result), -21);
  EXPECT_EQ(result, "untouched");
}

TEST(PathValues, FolderWithoutLocalIsKeptForLocalLow) {
  const auto guard = patch("SHELL32.dll", "SHGetSpecialFolderPathA", folder_without_local);
  EXPECT_EQ(expanded("{locallow}"), "{locallow}");
}

TEST(PathValues, LocalLowReplacesTheFirstLocalAndTheRest) {
  const auto guard = patch("SHELL32.dll", "SHGetSpecialFolderPathA", folder_with_two_locals);
  EXPECT_EQ(expanded("{locallow}"), "C:\\LocalLow");
}

TEST(Wow64, ThisProcessIsNative) {
  wow64_state = kWow64Unknown;
  EXPECT_EQ(determine_wow64_state(nullptr), 0);
  EXPECT_EQ(wow64_state, kNative);
}

TEST(Wow64, InvalidHandleFailsAndKeepsTheState) {
  wow64_state = kWow64Unknown;
  EXPECT_EQ(determine_wow64_state(reinterpret_cast<HANDLE>(uintptr_t{0xDEAD0})), -1);
  EXPECT_EQ(wow64_state, kWow64Unknown);
}

FARPROC WINAPI no_function(HMODULE, LPCSTR) { return nullptr; }

TEST(Wow64, MissingFunctionsFailAndKeepTheState) {
  wow64_state = kWow64Unknown;
  const auto guard = patch("KERNEL32.dll", "GetProcAddress", no_function);
  EXPECT_EQ(determine_wow64_state(nullptr), -1);
  EXPECT_EQ(wow64_state, kWow64Unknown);
}

BOOL WINAPI says_wow64(HANDLE, BOOL* is_wow64) {
  *is_wow64 = TRUE;
  return TRUE;
}
BOOL WINAPI says_native(HANDLE, BOOL* is_wow64) {
  *is_wow64 = FALSE;
  return TRUE;
}
BOOL WINAPI says_nothing(HANDLE, BOOL*) { return FALSE; }
BOOL WINAPI says_32_bit_process(HANDLE, USHORT* process, USHORT* native) {
  *process = IMAGE_FILE_MACHINE_I386;
  *native = IMAGE_FILE_MACHINE_AMD64;
  return TRUE;
}
template <class Function>
FARPROC as_procedure(Function* function) {
  return reinterpret_cast<FARPROC>(reinterpret_cast<void*>(function));
}
// Simulates a system that has only the older function, with this answer.
template <BOOL(WINAPI* kAnswer)(HANDLE, BOOL*)>
FARPROC WINAPI only_the_older_function(HMODULE, LPCSTR name) {
  return std::strcmp(name, "IsWow64Process") == 0 ? as_procedure(kAnswer) : nullptr;
}
FARPROC WINAPI the_newer_function(HMODULE, LPCSTR name) {
  return std::strcmp(name, "IsWow64Process2") == 0 ? as_procedure(says_32_bit_process) : nullptr;
}

TEST(Wow64, EitherFunctionDetectsA32BitProcess) {
  for (auto* lookup : {only_the_older_function<says_wow64>, the_newer_function}) {
    wow64_state = kWow64Unknown;
    const auto guard = patch("KERNEL32.dll", "GetProcAddress", lookup);
    EXPECT_EQ(determine_wow64_state(nullptr), 0);
    EXPECT_EQ(wow64_state, kWow64);
  }
  wow64_state = kWow64Unknown;
}

TEST(Wow64, OlderFunctionDetectsANativeProcess) {
  wow64_state = kWow64Unknown;
  const auto guard = patch("KERNEL32.dll", "GetProcAddress", only_the_older_function<says_native>);
  EXPECT_EQ(determine_wow64_state(nullptr), 0);
  EXPECT_EQ(wow64_state, kNative);
}

TEST(Wow64, FailureOfTheOlderFunctionKeepsTheState) {
  const auto guard = patch("KERNEL32.dll", "GetProcAddress", only_the_older_function<says_nothing>);
  for (const Wow64State before : {kWow64Unknown, kWow64}) {
    wow64_state = before;
    EXPECT_EQ(determine_wow64_state(nullptr), -1);
    EXPECT_EQ(wow64_state, before);
  }
  wow64_state = kWow64Unknown;
}

}  // namespace
