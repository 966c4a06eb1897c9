#include "process/config_validation.h"

#include <gtest/gtest.h>

#include "base/durable_file.h"
#include "base/utf.h"
#include "unit/process/child_test_support.h"

namespace moorlak {
namespace {

// The engines run with whatever rights the test can get.
EngineAccount account;

using Messages = std::vector<std::string>;

constexpr std::string_view kNotRun = "VPN Service: Could not run xray config validation\n";

std::string FailedWith(const std::string& code) {
  return "Xray config validation failed (exit " + code + ")";
}

// The test child as the engine, in a folder with a space and Cyrillic letters in its name. The configuration contains
// its actions.
struct ConfigValidation : testing::Test {
  ConfigValidation() { folder.AddChild(L"xray.exe"); }

  bool Validate(const std::string& actions) {
    folder.Write(L"настройки 1.json", actions);
    return ValidateXrayConfig(folder.NarrowFile(L"xray.exe"), folder.NarrowFile(L"настройки 1.json"), account);
  }

  TestFolder folder;
  StandardErrorCapture standardError;
};

TEST_F(ConfigValidation, ExitCode0IsAcceptedInSilence) {
  const size_t failures = LogMessagesWith("Xray config validation").size();
  EXPECT_TRUE(Validate("exit=0"));
  EXPECT_EQ(standardError.Text(), "");
  EXPECT_EQ(LogMessagesWith("Xray config validation").size(), failures);
}

TEST_F(ConfigValidation, AnyOtherExitCodeIsReportedOnStandardErrorAndInTheLog) {
  std::string expected;
  for (const std::string code : {"1", "23", "259", "4294967295"}) {
    const size_t before = LogMessagesWith("Xray config validation").size();
    EXPECT_FALSE(Validate("exit=" + code)) << code;
    const Messages messages = LogMessagesWith("Xray config validation");
    ASSERT_EQ(messages.size(), before + 1);
    EXPECT_EQ(messages.back(), FailedWith(code));
    expected += "VPN Service: " + FailedWith(code) + "\n";
    EXPECT_EQ(standardError.Text(), expected);
  }
}

TEST_F(ConfigValidation, TheEngineRunsInItsOwnFolderWithoutAWindowOrRedirectedOutput) {
  const std::wstring answer = folder.File(L"answer.txt");
  ASSERT_TRUE(Validate("to=" + NarrowUtf16(answer) + "\ncmdline\ncwd\nexit=0"));
  const std::string here = NarrowUtf16(folder.path);
  EXPECT_EQ(ReadWholeFile(answer, 10'000), "cmdline=\"" + here + "\\xray.exe\" run -test -config \"" + here +
                                               "\\настройки 1.json\"\ncwd=" + here + "\n");
}

TEST_F(ConfigValidation, WithoutAnExecutablePathNothingIsAcceptedOrLogged) {
  EXPECT_FALSE(ValidateXrayConfig("", folder.NarrowFile(L"a.json"), account));
  EXPECT_EQ(standardError.Text(), "");
}

TEST_F(ConfigValidation, AnExecutableThatCannotBeStartedIsReportedOnStandardErrorOnly) {
  folder.Write(L"text.exe", "no program");
  const size_t before = LogMessagesWith("Xray config validation").size();
  std::string expected;
  for (const wchar_t* name : {L"missing.exe", L"text.exe", L"missing\\xray.exe"}) {
    EXPECT_FALSE(ValidateXrayConfig(folder.NarrowFile(name), folder.NarrowFile(L"a.json"), account));
    expected += kNotRun;
    EXPECT_EQ(standardError.Text(), expected);
  }
  EXPECT_EQ(LogMessagesWith("Xray config validation").size(), before);
}

}  // namespace
}  // namespace moorlak
