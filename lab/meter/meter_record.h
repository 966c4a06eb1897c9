// What the meter writes: one span for every call that the metered program makes into a system DLL, in memory that the
// measuring program has made and reads.
#pragma once

#include <windows.h>

#include <atomic>
#include <cstdint>

namespace moorlak::lab {

inline constexpr wchar_t kMeterMapping[] = L"Global\\MoorlakLabMeter";
inline constexpr wchar_t kMeterModule[] = L"moorlak_meter.dll";
inline constexpr uint32_t kMostSpans = 400'000;
inline constexpr uint32_t kSpanTextSize = 96;

// Calls within a call are not recorded. Times are those of QueryPerformanceCounter.
struct MeterSpan {
  uint32_t thread;
  // Set last: a span without it is still being written.
  std::atomic<uint32_t> complete;
  int64_t begin;
  int64_t end;
  // The DLL and the function, "KERNEL32.dll!CreateFileW"; "lab" for a stand-in that is not called through an import.
  char name[56];
  // WriteFile's bytes, CreateProcessW's command line, "process" for a wait for a process; else empty.
  char text[kSpanTextSize];
};

struct MeterRecord {
  std::atomic<uint32_t> count;
  MeterSpan spans[kMostSpans];
};

}  // namespace moorlak::lab
