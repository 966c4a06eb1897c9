#include "base/data_files.h"

#include <windows.h>

#include <cstdlib>
#include <gtest/gtest.h>

namespace moorlak {
namespace {

constexpr int kSame = 7;
constexpr int kOther = 8;

// Constructed before the module's first use, so it is destroyed after everything that the module destroys: background
// work may run that late.
struct LateUser {
  HANDLE before = nullptr;
  ~LateUser() {
    // Reuses memory that was freed.
    for (int i = 0; i < 64; ++i) new std::wstring(20 + static_cast<size_t>(i % 8), L'#');
    const HANDLE now = RecoveryFile(L"late.v1").folder;
    ExitProcess(now != nullptr && now == before ? kSame : kOther);
  }
};

[[noreturn]] void EndAfterUse() {
  static LateUser user;
  user.before = RecoveryFile(L"late.v1").folder;
  std::exit(0);
}

TEST(DataFilesDeathTest, AreFoundByWorkThatIsStillRunningWhenTheProgramEnds) {
  // Runs in a new process, because in this one the module may have been used already.
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(EndAfterUse(), testing::ExitedWithCode(kSame), "");
}

}  // namespace
}  // namespace moorlak
