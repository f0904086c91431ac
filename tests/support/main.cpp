// The main function of every test program on Windows: runs the child that the command line names, or the tests.
#include <windows.h>

#include <gmock/gmock.h>

#include "support/fresh_process.h"

int main(int argument_count, char** arguments) {
  SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
  int exit_code;
  if (velm::test::ran_as_child(argument_count, arguments, exit_code)) return exit_code;
  testing::InitGoogleMock(&argument_count, arguments);
  return RUN_ALL_TESTS();
}
