#include "process/engine_files.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <system_error>

#include "base/paths.h"
#include "base/utf.h"
#include "unit/process/child_test_support.h"

namespace moorlak {
namespace {

using std::filesystem::path;

// Exists in the test program's own folder while this lives, so each name must belong to one test.
struct FileNextToProgram {
  explicit FileNextToProgram(const path& relative) : file(path(ExecutableFolder()) / relative) {
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file) << "x";
  }
  FileNextToProgram(const FileNextToProgram&) = delete;
  FileNextToProgram& operator=(const FileNextToProgram&) = delete;
  ~FileNextToProgram() {
    std::error_code ignored;
    std::filesystem::remove(file, ignored);
  }

  path file;
};

void Touch(const path& file) {
  std::filesystem::create_directories(file.parent_path());
  std::ofstream(file) << "x";
}

std::string Narrow(const path& file) {
  return NarrowUtf16(file.wstring());
}

TEST(EngineFiles, FindsXrayInACurrentFolderWithACyrillicNameAndLogsIt) {
  const TestFolder folder;
  Touch(path(folder.path) / "xray" / "xray.exe");
  const CurrentFolder current(folder.path);
  const StandardErrorCapture standardError;
  const std::string wanted = Narrow(path(folder.path) / "xray" / "xray.exe");
  EXPECT_EQ(FindXray(), wanted);
  EXPECT_EQ(standardError.Text(), "VpnService: using xray at " + wanted + "\n");
}

TEST(EngineFiles, PrefersTheCurrentFolderItselfToItsXrayFolder) {
  const TestFolder folder;
  Touch(path(folder.path) / "xray" / "xray.exe");
  Touch(path(folder.path) / "xray.exe");
  const CurrentFolder current(folder.path);
  EXPECT_EQ(FindXray(), Narrow(path(folder.path) / "xray.exe"));
}

TEST(EngineFiles, LooksInTheXrayFolderNextToTheCurrentFolder) {
  const TestFolder folder;
  Touch(path(folder.path) / "xray" / "xray.exe");
  std::filesystem::create_directory(path(folder.path) / "inner");
  const CurrentFolder current(folder.File(L"inner"));
  EXPECT_EQ(FindXray(), Narrow(path(folder.path) / "xray" / "xray.exe"));
}

// All three states in one test, because all tests share the program's folder.
TEST(EngineFiles, FindsTun2SocksNextToTheProgramFromTheSystemFolderUnlessTheCurrentFolderHasIt) {
  const StandardErrorCapture standardError;
  {
    const CurrentFolder current(L"C:\\windows\\system32");
    EXPECT_EQ(FindTun2Socks(), "");
    EXPECT_EQ(standardError.Text(), "");
    const FileNextToProgram beside(path("xray") / "tun2socks.exe");
    EXPECT_EQ(FindTun2Socks(), Narrow(beside.file));
    EXPECT_EQ(standardError.Text(), "VpnService: using tun2socks at " + Narrow(beside.file) + "\n");
  }
  const FileNextToProgram beside(path("xray") / "tun2socks.exe");
  const TestFolder folder;
  Touch(path(folder.path) / "tun2socks.exe");
  const CurrentFolder current(folder.path);
  EXPECT_EQ(FindTun2Socks(), Narrow(path(folder.path) / "tun2socks.exe"));
}

TEST(EngineFiles, PrefersWintunInTheXrayFolderAndReportsNothing) {
  const TestFolder empty;
  const CurrentFolder current(empty.path);
  const StandardErrorCapture standardError;
  EXPECT_EQ(FindWintun(), std::vector<std::wstring>{});
  const FileNextToProgram beside("wintun.dll");
  EXPECT_EQ(FindWintun(), std::vector{beside.file.wstring()});
  const FileNextToProgram below(path("xray") / "wintun.dll");
  EXPECT_EQ(FindWintun(), (std::vector{below.file.wstring(), beside.file.wstring()}));
  EXPECT_EQ(standardError.Text(), "");
}

}  // namespace
}  // namespace moorlak
