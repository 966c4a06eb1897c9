#include "base/data_files.h"

#include <windows.h>

#include <cstdlib>
#include <gtest/gtest.h>

namespace moorlak {
namespace {

constexpr int kSame = 7;
constexpr int kOther = 8;

// Made before the module's first use, so it ends after everything that the module destroys: background work may run as
// late.
struct LateUser {
  HANDLE before = nullptr;
  ~LateUser() {
    // What was freed is used again.
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
  // A process of its own, because in this one the module may have been used already.
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(EndAfterUse(), testing::ExitedWithCode(kSame), "");
}

}  // namespace
}  // namespace moorlak
