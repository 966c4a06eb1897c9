// The engine's own check of a configuration, run the way a VPN session runs it.
#include "process/config_validation.h"

#include <gtest/gtest.h>

#include "base/utf.h"
#include "config/config_staging.h"
#include "machine/support/engine.h"
#include "machine/support/service_control.h"
#include "support/log_watch.h"
#include "unit/process/child_test_support.h"

namespace moorlak::machine {
namespace {

// The engines run with whatever rights the test can get.
EngineAccount account;

using Messages = std::vector<std::string>;

constexpr uint16_t kPort = 21080;
constexpr std::string_view kTimedOut = "Xray config validation timed out — terminating test process";

std::string FailedWith(const std::string& code) {
  return "Xray config validation failed (exit " + code + ")";
}

struct EngineConfigValidation : testing::Test {
  static std::string Engine() { return NarrowUtf16(InstallFolder()) + "\\xray\\xray.exe"; }

  bool Validate(const std::string& text) const {
    folder.Write(L"настройки 1.json", text);
    return ValidateXrayConfig(Engine(), folder.NarrowFile(L"настройки 1.json"), account);
  }

  // The folder's name contains a space and Cyrillic letters.
  const TestFolder folder;
  const LogWatch log;
  const StandardErrorCapture standardError;
};

TEST_F(EngineConfigValidation, AcceptsWhatTheEngineRuns) {
  EXPECT_TRUE(Validate(EngineConfig(kPort)));
  EXPECT_EQ(log.Messages(), Messages{});
  EXPECT_EQ(standardError.Text(), "");
}

TEST_F(EngineConfigValidation, RejectsWhatTheEngineRefusesWithItsExitCode) {
  for (const std::string text : {"", "{", "\xEF\xBB\xBF{}", R"({"inbounds":[{"port":1,"protocol":"unheard-of"}]})"}) {
    const LogWatch own;
    EXPECT_FALSE(Validate(text)) << text;
    EXPECT_EQ(own.Messages(), Messages{FailedWith("23")});
    EXPECT_TRUE(standardError.Text().ends_with("VPN Service: " + FailedWith("23") + "\n"));
  }
}

TEST_F(EngineConfigValidation, RejectsAMissingFile) {
  EXPECT_FALSE(ValidateXrayConfig(Engine(), folder.NarrowFile(L"missing.json"), account));
  EXPECT_EQ(log.Messages(), Messages{FailedWith("23")});
}

TEST_F(EngineConfigValidation, AcceptsTheStagedFileThatTheSessionHolds) {
  StagedConfig staged;
  ASSERT_TRUE(WriteStagedConfig(EngineConfig(kPort, "\"x\":{\"allowInsecure\":true},"), staged));
  EXPECT_TRUE(ValidateXrayConfig(Engine(), NarrowUtf16(staged.path), account));
  RemoveStagedConfig(staged);
}

TEST_F(EngineConfigValidation, RunsAnEngineInAFolderWithBlanksAndCyrillicLetters) {
  CopyFileW(WidenUtf8(Engine()).c_str(), folder.File(L"мой xray.exe").c_str(), TRUE);
  folder.Write(L"good.json", EngineConfig(kPort));
  folder.Write(L"bad.json", "{");
  EXPECT_TRUE(ValidateXrayConfig(folder.NarrowFile(L"мой xray.exe"), folder.NarrowFile(L"good.json"), account));
  EXPECT_FALSE(ValidateXrayConfig(folder.NarrowFile(L"мой xray.exe"), folder.NarrowFile(L"bad.json"), account));
}

TEST_F(EngineConfigValidation, RejectsWithoutAnExecutablePath) {
  EXPECT_FALSE(ValidateXrayConfig("", folder.NarrowFile(L"a.json"), account));
  EXPECT_EQ(log.Messages(), Messages{});
  EXPECT_EQ(standardError.Text(), "");
}

TEST_F(EngineConfigValidation, RejectsWithAMissingExecutable) {
  EXPECT_FALSE(ValidateXrayConfig(folder.NarrowFile(L"xray.exe"), folder.NarrowFile(L"a.json"), account));
  EXPECT_EQ(log.Messages(), Messages{});
  EXPECT_EQ(standardError.Text(), "VPN Service: Could not run xray config validation\n");
}

TEST_F(EngineConfigValidation, EndsATestThatHangsAfter15SecondsAsFailedWithExitCode1) {
  const EngineFaults faults("\"testHang\": true");
  const ULONGLONG begin = GetTickCount64();
  EXPECT_FALSE(Validate(EngineConfig(kPort)));
  EXPECT_GE(GetTickCount64() - begin, 15'000u - 16u);  // The clock advances in ticks.
  EXPECT_EQ(log.Messages(), (Messages{std::string(kTimedOut), FailedWith("1")}));
  EXPECT_EQ(standardError.Text(), "VPN Service: " + FailedWith("1") + "\n");
  EXPECT_TRUE(WaitForNoEngine());
}

}  // namespace
}  // namespace moorlak::machine
