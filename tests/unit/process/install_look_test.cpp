#include "process/install_look.h"

#include <windows.h>

#include <gtest/gtest.h>

#include "base/file_place.h"
#include "base/trust.h"
#include "base/utf.h"
#include "process/config_validation.h"
#include "process/engine_process.h"
#include "unit/process/child_test_support.h"

namespace moorlak {
namespace {

// Everybody may write it. Under Wine a list comes down to what the owner may do, and everybody else.
void OpenToEverybody(const std::wstring& path) {
  const auto descriptor = DescriptorFrom(L"D:(A;;FA;;;" + UserSid(GetCurrentProcess()) + L")(A;;0x1301bf;;;WD)");
  const KernelHandle file = OpenPlace(path, {.access = WRITE_DAC});
  ASSERT_TRUE(file);
  ASSERT_TRUE(SetKernelObjectSecurity(file.Get(), DACL_SECURITY_INFORMATION, descriptor.Get()));
}

// An engine that everybody may change lies in the current folder, where the search for it begins.
struct InstallLook : testing::Test {
  InstallLook() : current(folder.path) {
    folder.AddChild(L"xray.exe");
    OpenToEverybody(folder.File(L"xray.exe"));
  }

  std::vector<std::string> Logged() const {
    return LogMessagesWith(folder.NarrowFile(L"xray.exe") + " can be changed");
  }
  std::string Xray() const { return folder.NarrowFile(L"xray.exe"); }

  TestFolder folder;
  CurrentFolder current;
  StandardErrorCapture standardError;
  EngineAccount account;
};

TEST_F(InstallLook, LogsAFileOnce) {
  LogWhatOthersCanChange();
  LogWhatOthersCanChange();
  EXPECT_EQ(Logged(), std::vector{ChangeableLine(Xray())});
}

TEST_F(InstallLook, IsTakenBeforeATest) {
  folder.Write(L"a.json", "exit=0");
  EXPECT_TRUE(ValidateXrayConfig(Xray(), folder.NarrowFile(L"a.json"), account));
  EXPECT_EQ(Logged(), std::vector{ChangeableLine(Xray())});
}

TEST_F(InstallLook, IsTakenBeforeXrayIsLaunched) {
  EXPECT_FALSE(LaunchXray(folder.NarrowFile(L"missing.exe"), folder.NarrowFile(L"a.json"), {}, account));
  EXPECT_EQ(Logged(), std::vector{ChangeableLine(Xray())});
}

TEST_F(InstallLook, IsTakenBeforeTun2SocksIsLaunched) {
  EXPECT_FALSE(LaunchTun2Socks(folder.NarrowFile(L"missing.exe"), 10807));
  EXPECT_EQ(Logged(), std::vector{ChangeableLine(Xray())});
}

TEST_F(InstallLook, LogsNothingForWhatIsClosed) {
  const TestFolder other;
  other.AddChild(L"xray.exe");
  const CurrentFolder there(other.path);
  LogWhatOthersCanChange();
  EXPECT_TRUE(LogMessagesWith(NarrowUtf16(other.path)).empty());
}

}  // namespace
}  // namespace moorlak
