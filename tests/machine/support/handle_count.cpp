#include "machine/support/handle_count.h"

#include <algorithm>
#include <cstdint>
#include <gtest/gtest.h>
#include <vector>

namespace moorlak::machine {
namespace {

constexpr ULONG kSystemExtendedHandleInformation = 64;
constexpr LONG kLengthMismatch = static_cast<LONG>(0xC0000004);

// These layouts are documented only in the headers of the Windows driver kit.
struct HandleEntry {
  void* object;
  uintptr_t processId;
  uintptr_t handle;
  uint32_t access;
  uint16_t creatorBackTraceIndex;
  uint16_t typeIndex;
  uint32_t attributes;
  uint32_t reserved;
};
struct HandleList {
  uintptr_t count;
  uintptr_t reserved;
  HandleEntry entries[1];
};

using QueryCall = LONG(WINAPI*)(ULONG, void*, ULONG, ULONG*);

}  // namespace

size_t CountHandles(DWORD processId) {
  const auto query = reinterpret_cast<QueryCall>(
      reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "NtQuerySystemInformation")));
  // Elements of uintptr_t give the buffer the list's alignment.
  std::vector<uintptr_t> buffer(1u << 16);
  LONG status = kLengthMismatch;
  while (status == kLengthMismatch) {
    buffer.resize(buffer.size() * 2);
    status = query(kSystemExtendedHandleInformation, buffer.data(),
                   static_cast<ULONG>(buffer.size() * sizeof(buffer.front())), nullptr);
  }
  EXPECT_GE(status, 0) << std::hex << status;
  const auto* list = reinterpret_cast<const HandleList*>(buffer.data());
  const HandleEntry* first = list->entries;
  return static_cast<size_t>(std::count_if(
      first, first + list->count, [processId](const HandleEntry& entry) { return entry.processId == processId; }));
}

}  // namespace moorlak::machine
