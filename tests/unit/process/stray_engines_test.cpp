#include "process/stray_engines.h"

#include <windows.h>

#include <filesystem>
#include <gtest/gtest.h>

#include "base/paths.h"
#include "base/utf.h"
#include "process/child_process.h"
#include "unit/process/child_test_support.h"

namespace moorlak {
namespace {

// A test child under another name in a folder below this program's. File and folder are removed at the end.
struct OwnEngine {
  explicit OwnEngine(const std::wstring& name) : file(folder + L"\\" + name) {
    std::filesystem::create_directory(folder);
    std::filesystem::copy_file(TestChildPath(), file);
  }
  OwnEngine(const OwnEngine&) = delete;
  OwnEngine& operator=(const OwnEngine&) = delete;
  ~OwnEngine() {
    DeleteFileW(file.c_str());
    RemoveDirectoryW(folder.c_str());
  }

  std::wstring folder = ExecutableFolder() + L"\\" + WidenUtf8(UniqueName("engines"));
  std::wstring file;
};

// An engine that runs until it is ended, at the latest by this struct.
struct LivingEngine {
  explicit LivingEngine(const std::wstring& path) {
    ChildOptions options;
    options.application = path;
    options.commandLine = L"engine " + WidenUtf8(life.Actions());
    EXPECT_EQ(StartChild(options, child), static_cast<DWORD>(ERROR_SUCCESS));
    EXPECT_TRUE(life.Started());
  }

  LifeSign life;
  ChildProcess child;
};

TEST(StrayEngines, BothEnginesBelowTheOwnFolderAreEnded) {
  const OwnEngine xray(L"Xray.exe");
  const OwnEngine tun2socks(L"tun2socks.exe");
  const LivingEngine livingXray(xray.file);
  const LivingEngine livingTun2Socks(tun2socks.file);
  KillStrayEngines();
  EXPECT_TRUE(livingXray.life.Ends());
  EXPECT_TRUE(livingTun2Socks.life.Ends());
}

TEST(StrayEngines, AUsersOwnEngineInAnotherFolderLivesOn) {
  const TestFolder folder;
  folder.AddChild(L"xray.exe");
  const LivingEngine foreign(folder.File(L"xray.exe"));
  // The stray engine shows that the search took place.
  const OwnEngine own(L"xray.exe");
  const LivingEngine stray(own.file);
  KillStrayEngines();
  EXPECT_TRUE(stray.life.Ends());
  EXPECT_TRUE(foreign.life.Lives());
  TerminateChild(foreign.child, 0);
  EXPECT_TRUE(foreign.life.Ends());
}

TEST(StrayEngines, AnotherProgramBelowTheOwnFolderLivesOn) {
  const OwnEngine other(L"xray-helper.exe");
  const LivingEngine living(other.file);
  KillStrayEngines();
  EXPECT_TRUE(living.life.Lives());
  TerminateChild(living.child, 0);
  EXPECT_TRUE(living.life.Ends());
}

}  // namespace
}  // namespace moorlak
