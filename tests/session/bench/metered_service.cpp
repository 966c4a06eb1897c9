#include "session/bench/metered_service.h"

#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>

#include "machine/support/service_control.h"

namespace moorlak::session {
namespace {

// Injects the DLL the way a debugger does: a thread in the service loads it. System DLLs have the same address in all
// processes.
void LoadInto(DWORD processId, const std::wstring& dll) {
  const KernelHandle process(OpenProcess(PROCESS_ALL_ACCESS, FALSE, processId));
  const size_t bytes = (dll.size() + 1) * sizeof(wchar_t);
  void* name = VirtualAllocEx(process.Get(), nullptr, bytes, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE);
  ASSERT_TRUE(WriteProcessMemory(process.Get(), name, dll.c_str(), bytes, nullptr));
  const auto load = reinterpret_cast<LPTHREAD_START_ROUTINE>(
      reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "LoadLibraryW")));
  const KernelHandle thread(CreateRemoteThread(process.Get(), nullptr, 0, load, name, 0, nullptr));
  ASSERT_TRUE(thread) << GetLastError();
  WaitForSingleObject(thread.Get(), INFINITE);
  DWORD module = 0;
  EXPECT_TRUE(GetExitCodeThread(thread.Get(), &module));
  EXPECT_NE(module, 0u) << "the meter does not load";
}

}  // namespace

MeteredService::MeteredService()
    : mapping(CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, sizeof(lab::MeterRecord),
                                 lab::kMeterMapping)),
      record(static_cast<lab::MeterRecord*>(MapViewOfFile(mapping.Get(), FILE_MAP_ALL_ACCESS, 0, 0, 0))) {
  EXPECT_NE(record, nullptr) << GetLastError();
  LoadInto(machine::ServiceProcessId(), machine::InstallFolder() + L"\\" + lab::kMeterModule);
}

MeteredService::~MeteredService() {
  UnmapViewOfFile(record);
}

void MeteredService::Clear() {
  record->count = 0;
  std::memset(static_cast<void*>(record->spans), 0, sizeof(record->spans));
}

std::vector<Span> MeteredService::Spans() const {
  LARGE_INTEGER frequency{};
  QueryPerformanceFrequency(&frequency);
  const double perMicrosecond = static_cast<double>(frequency.QuadPart) / 1e6;
  const uint32_t count = record->count;
  EXPECT_LE(count, lab::kMaxSpans) << "the meter's memory is too small";
  std::vector<Span> spans;
  for (uint32_t i = 0; i < std::min(count, lab::kMaxSpans); ++i) {
    const lab::MeterSpan& raw = record->spans[i];
    if (raw.complete == 0) continue;
    const auto since = [&](int64_t time) {
      return static_cast<double>(time - record->spans[0].begin) / perMicrosecond;
    };
    spans.push_back({raw.thread, since(raw.begin), since(raw.end), raw.name, raw.text});
  }
  std::ranges::stable_sort(spans, {}, &Span::begin);
  return spans;
}

}  // namespace moorlak::session
