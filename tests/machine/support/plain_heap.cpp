#include "machine/support/plain_heap.h"

namespace moorlak::machine {
namespace {

constexpr wchar_t kOptions[] =
    L"Software\\Microsoft\\Windows NT\\CurrentVersion\\Image File Execution Options\\moorlak_service.exe";
constexpr wchar_t kFlags[] = L"GlobalFlag";

}  // namespace

PlainHeap::PlainHeap() {
  DWORD size = sizeof(flags);
  EXPECT_EQ(RegGetValueW(HKEY_LOCAL_MACHINE, kOptions, kFlags, RRF_RT_REG_DWORD, nullptr, &flags, &size),
            ERROR_SUCCESS);
  EXPECT_EQ(RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, kOptions, kFlags), ERROR_SUCCESS);
}

PlainHeap::~PlainHeap() {
  EXPECT_EQ(RegSetKeyValueW(HKEY_LOCAL_MACHINE, kOptions, kFlags, REG_DWORD, &flags, sizeof(flags)), ERROR_SUCCESS);
}

}  // namespace moorlak::machine
