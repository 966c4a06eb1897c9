#include "base/trust.h"

#include <windows.h>

#include <gtest/gtest.h>
#include <string>

#include "base/handle.h"
#include "unit/base/foreign_owner.h"
#include "unit/process/child_test_support.h"

namespace moorlak {
namespace {

constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

struct Trust : testing::Test {
  Trust() { folder.Write(L"file", "text"); }

  KernelHandle Open(const std::wstring& path, DWORD access) const {
    return KernelHandle(CreateFileW(path.c_str(), access, kShareAll, nullptr, OPEN_EXISTING,
                                    FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
  }

  const TestFolder folder;
  const std::wstring file = folder.File(L"file");
};

TEST_F(Trust, TheOwnUsersFilesAndFoldersAreTrusted) {
  EXPECT_TRUE(HasTrustedOwner(Open(file, READ_CONTROL).Get(), SE_FILE_OBJECT));
  EXPECT_TRUE(HasTrustedOwner(Open(folder.path, READ_CONTROL).Get(), SE_FILE_OBJECT));
}

TEST_F(Trust, AnotherUsersFileIsNotTrusted) {
  ASSERT_TRUE(SetForeignOwner(file));
  const KernelHandle object = Open(file, READ_CONTROL);
  ASSERT_TRUE(object);
  EXPECT_FALSE(HasTrustedOwner(object.Get(), SE_FILE_OBJECT));
  // The owner of the folder does not matter.
  EXPECT_TRUE(HasTrustedOwner(Open(folder.path, READ_CONTROL).Get(), SE_FILE_OBJECT));
}

TEST_F(Trust, AnOwnerThatCannotBeReadIsNotTrusted) {
  EXPECT_FALSE(HasTrustedOwner(nullptr, SE_FILE_OBJECT));
  const KernelHandle blind = Open(file, SYNCHRONIZE);
  ASSERT_TRUE(blind);
  EXPECT_FALSE(HasTrustedOwner(blind.Get(), SE_FILE_OBJECT));
}

TEST_F(Trust, KernelObjectsAreJudgedByTheirOwnerToo) {
  // An owner in a descriptor that is set at creation is read back unchanged.
  const auto isTrusted = [](const std::wstring& sddl) {
    const auto descriptor = DescriptorFrom(sddl);
    SECURITY_ATTRIBUTES attributes{sizeof(attributes), descriptor.Get(), FALSE};
    const KernelHandle event(CreateEventW(&attributes, TRUE, FALSE, nullptr));
    EXPECT_TRUE(descriptor && event) << GetLastError();
    return HasTrustedOwner(event.Get(), SE_KERNEL_OBJECT);
  };
  EXPECT_TRUE(isTrusted(L"O:SYD:(A;;GA;;;WD)"));
  EXPECT_TRUE(isTrusted(L"O:BAD:(A;;GA;;;WD)"));
  EXPECT_TRUE(isTrusted(L"O:" + UserSid(GetCurrentProcess()) + L"D:(A;;GA;;;WD)"));
  EXPECT_FALSE(isTrusted(L"O:BUD:(A;;GA;;;WD)"));
  EXPECT_FALSE(isTrusted(L"O:S-1-5-21-1-2-3-1001D:(A;;GA;;;WD)"));
}

TEST(UserSid, OfThisProcessIsAnAccountOfTheSystem) {
  EXPECT_TRUE(UserSid(GetCurrentProcess()).starts_with(L"S-1-5-")) << NarrowUtf16(UserSid(GetCurrentProcess()));
}

TEST(UserSid, IsEmptyWhenItCannotBeRead) {
  EXPECT_EQ(UserSid(nullptr), L"");
}

TEST_F(Trust, AnOrdinaryFileIsNoReparsePoint) {
  EXPECT_FALSE(IsReparsePoint(Open(file, FILE_READ_ATTRIBUTES).Get()));
}

TEST_F(Trust, AFileWhoseAttributesCannotBeReadCountsAsAReparsePoint) {
  EXPECT_TRUE(IsReparsePoint(nullptr));
}

}  // namespace
}  // namespace moorlak
