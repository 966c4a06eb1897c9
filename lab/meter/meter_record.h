// What the meter writes: one span for every call from the metered program into a system DLL. The measuring program
// creates the memory and reads it.
#pragma once

#include <windows.h>

#include <atomic>
#include <cstdint>

namespace moorlak::lab {

inline constexpr wchar_t kMeterMapping[] = L"Global\\MoorlakLabMeter";
inline constexpr wchar_t kMeterModule[] = L"moorlak_meter.dll";
// Set in the environment of a program that has the meter loaded. To look for the module itself in every call would cost
// more than the call: Wine searches all folders of the path for one that is not loaded.
inline constexpr wchar_t kMeterVariable[] = L"MOORLAK_LAB_METER";
inline constexpr uint32_t kMaxSpans = 400'000;
inline constexpr uint32_t kSpanTextSize = 96;

// Nested calls are not recorded. Times are from QueryPerformanceCounter.
struct MeterSpan {
  uint32_t thread;
  // Set last: until then the span is still being written.
  std::atomic<uint32_t> complete;
  int64_t begin;
  int64_t end;
  // The DLL and the function, as "KERNEL32.dll!CreateFileW"; "lab" for a stand-in that is not called through an import.
  char name[56];
  // WriteFile's bytes, a started process's command line, "process" for a wait for a process; otherwise empty.
  char text[kSpanTextSize];
};

struct MeterRecord {
  std::atomic<uint32_t> count;
  MeterSpan spans[kMaxSpans];
};

}  // namespace moorlak::lab
