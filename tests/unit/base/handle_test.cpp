#include "base/handle.h"

#include <gtest/gtest.h>
#include <utility>
#include <vector>

namespace moorlak {
namespace {

std::vector<int> closed;

// Numbers as handles. Closing one sets the last error, as system calls may.
void CloseNumber(int number) noexcept {
  closed.push_back(number);
  SetLastError(ERROR_INVALID_HANDLE);
}
using Number = UniqueHandle<int, CloseNumber>;
using Closed = std::vector<int>;

struct Handle : testing::Test {
  Handle() { closed.clear(); }
};

TEST_F(Handle, IsClosedOnceAtTheEndOfItsScope) {
  {
    const Number number(1);
    EXPECT_EQ(closed, Closed{});
  }
  EXPECT_EQ(closed, Closed{1});
}

TEST_F(Handle, MoveAssignmentClosesTheOldValue) {
  Number target(1);
  Number source(2);
  target = std::move(source);
  EXPECT_EQ(closed, Closed{1});
  EXPECT_EQ(target.Get(), 2);
  EXPECT_FALSE(source);
}

TEST_F(Handle, MoveAssignmentToItselfClosesNothing) {
  Number number(1);
  Number& same = number;
  number = std::move(same);
  EXPECT_EQ(closed, Closed{});
  EXPECT_EQ(number.Get(), 1);
}

TEST_F(Handle, MoveConstructionLeavesOneOwner) {
  {
    Number source(1);
    const Number target(std::move(source));
    EXPECT_FALSE(source);
    EXPECT_EQ(target.Get(), 1);
  }
  EXPECT_EQ(closed, Closed{1});
}

TEST_F(Handle, ReleaseDoesNotClose) {
  {
    Number number(1);
    EXPECT_EQ(number.Release(), 1);
    EXPECT_FALSE(number);
  }
  EXPECT_EQ(closed, Closed{});
}

TEST_F(Handle, ResetClosesTheOldValueAndKeepsTheNewOne) {
  Number number(1);
  number.Reset(2);
  EXPECT_EQ(closed, Closed{1});
  EXPECT_EQ(number.Get(), 2);
  number.Reset();
  EXPECT_EQ(closed, (Closed{1, 2}));
}

TEST_F(Handle, OutClosesWhatIsHeld) {
  Number number(1);
  *number.Out() = 2;
  EXPECT_EQ(closed, Closed{1});
  EXPECT_EQ(number.Get(), 2);
}

TEST_F(Handle, AnEmptyOneIsNeverClosed) {
  {
    Number number;
    number.Reset();
    number = Number();
  }
  EXPECT_EQ(closed, Closed{});
}

TEST_F(Handle, MinusOneIsEmptyToo) {
  {
    const Number number(-1);
    EXPECT_FALSE(number);
  }
  EXPECT_EQ(closed, Closed{});
}

TEST_F(Handle, GetLastErrorSurvivesAClose) {
  SetLastError(ERROR_FILE_NOT_FOUND);
  {
    Number number(1);
    number = Number(2);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
  }
  EXPECT_EQ(closed, (Closed{1, 2}));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
}

TEST_F(Handle, BothEmptyValuesOfKernelHandlesAreInvalid) {
  EXPECT_FALSE(KernelHandle());
  EXPECT_FALSE(KernelHandle(INVALID_HANDLE_VALUE));
  const KernelHandle event(CreateEventW(nullptr, TRUE, FALSE, nullptr));
  EXPECT_TRUE(event);
}

TEST_F(Handle, AClosedKernelHandleIsGone) {
  KernelHandle event(CreateEventW(nullptr, TRUE, FALSE, nullptr));
  const HANDLE raw = event.Get();
  DWORD flags = 0;
  ASSERT_TRUE(GetHandleInformation(raw, &flags));
  event.Reset();
  EXPECT_FALSE(GetHandleInformation(raw, &flags));
}

}  // namespace
}  // namespace moorlak
