#pragma once

#include <windows.h>

#include <string>

#include <gtest/gtest.h>

/** The token's service on its usual port, with a demo store of its own, for as long as the tests run. */
class ServiceProcess : public testing::Environment {
 public:
  void SetUp() override;
  void TearDown() override;

 private:
  std::wstring folder_;
  HANDLE process_ = nullptr;
};
