// The meter: loaded into a running program, it redirects each of the program's imports through a stub that records when
// the call began and when it returned. The program's code stays unchanged.
//
// A stub replaces the caller's return address with its own and keeps the caller's per thread. So it leaves out
// functions that look at the stack or never return; and the C library, whose calls count as the program's work.
#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>

#include "meter/meter_record.h"

namespace moorlak::lab {
namespace {

constexpr uint32_t kDeepest = 64;
constexpr size_t kStubBytes = 32;
constexpr size_t kMaxImports = 1024;
constexpr char kLabName[sizeof(MeterSpan::name)] = "lab";

// The stubs' code reads the first field, so it must stay first.
struct Import {
  void* original = nullptr;
  char name[sizeof(MeterSpan::name)] = {};
  bool takesText = false;
  bool startsProcess = false;
  bool startsProcessAs = false;
  bool waitsForOne = false;
};

struct Frame {
  void* returnAddress = nullptr;
  MeterSpan* span = nullptr;
};

// A thread's calls that have not returned yet.
struct ThreadCalls {
  uint32_t depth = 0;
  Frame frames[kDeepest];
};

MeterRecord* record = nullptr;
DWORD threadSlot = TLS_OUT_OF_INDEXES;
Import imports[kMaxImports];
size_t importCount = 0;

int64_t Now() {
  LARGE_INTEGER now{};
  QueryPerformanceCounter(&now);
  return now.QuadPart;
}

ThreadCalls& CallsOfThisThread() {
  auto* calls = static_cast<ThreadCalls*>(TlsGetValue(threadSlot));
  if (calls == nullptr) {
    calls = new ThreadCalls;
    TlsSetValue(threadSlot, calls);
  }
  return *calls;
}

MeterSpan* OpenSpan(const char* name) {
  const uint32_t index = record->count.fetch_add(1);
  if (index >= kMaxSpans) return nullptr;
  MeterSpan& span = record->spans[index];
  span.begin = Now();
  span.thread = GetCurrentThreadId();
  // An import's name has the same size and is null-terminated.
  std::memcpy(span.name, name, sizeof(span.name));
  return &span;
}

void CloseSpan(MeterSpan* span) {
  if (span == nullptr) return;
  span->end = Now();
  span->complete = 1;
}

void DescribeChild(const void* commandLine, MeterSpan& span) {
  if (commandLine == nullptr) return;
  WideCharToMultiByte(CP_UTF8, 0, static_cast<const wchar_t*>(commandLine), -1, span.text, kSpanTextSize - 1, nullptr,
                      nullptr);
}

void Describe(const Import& import, const void* first, const void* second, size_t third, MeterSpan& span) {
  if (import.takesText && second != nullptr) std::memcpy(span.text, second, std::min(third, size_t{kSpanTextSize - 1}));
  if (import.startsProcess) DescribeChild(second, span);
  if (import.startsProcessAs) DescribeChild(reinterpret_cast<const void*>(third), span);
  if (import.waitsForOne && GetProcessId(const_cast<void*>(first)) != 0) std::strcpy(span.text, "process");
}

}  // namespace

extern "C" {

void MeterEnter(Import* import, void** returnAddress, void* const* arguments);
void* MeterLeave();
void meterCommon();
void meterReturn();

__declspec(dllexport) void MeterLabBegins();
__declspec(dllexport) void MeterLabEnds();

void MeterEnter(Import* import, void** returnAddress, void* const* arguments) {
  const DWORD error = GetLastError();
  ThreadCalls& calls = CallsOfThisThread();
  if (calls.depth < kDeepest) {
    Frame& frame = calls.frames[calls.depth++];
    frame = {*returnAddress, calls.depth == 1 ? OpenSpan(import->name) : nullptr};
    if (frame.span != nullptr)
      Describe(*import, arguments[0], arguments[1], reinterpret_cast<size_t>(arguments[2]), *frame.span);
    *returnAddress = reinterpret_cast<void*>(meterReturn);
  }
  SetLastError(error);
}

void* MeterLeave() {
  const DWORD error = GetLastError();
  ThreadCalls& calls = CallsOfThisThread();
  const Frame frame = calls.frames[--calls.depth];
  CloseSpan(frame.span);
  SetLastError(error);
  return frame.returnAddress;
}

void MeterLabBegins() {
  ThreadCalls& calls = CallsOfThisThread();
  if (calls.depth < kDeepest) {
    Frame& frame = calls.frames[calls.depth++];
    frame = {nullptr, calls.depth == 1 ? OpenSpan(kLabName) : nullptr};
  }
}

void MeterLabEnds() {
  ThreadCalls& calls = CallsOfThisThread();
  if (calls.depth > 0) CloseSpan(calls.frames[--calls.depth].span);
}

}  // extern "C"

// On entry r11 is the import. The registers for arguments are preserved across MeterEnter, which gets the first four as
// an array; those for results are preserved across MeterLeave.
asm(R"(
  .text
  .globl meterCommon
meterCommon:
  subq $0x88, %rsp
  movq %rcx, 0x20(%rsp)
  movq %rdx, 0x28(%rsp)
  movq %r8, 0x30(%rsp)
  movq %r9, 0x38(%rsp)
  movq %r11, 0x40(%rsp)
  movups %xmm0, 0x48(%rsp)
  movups %xmm1, 0x58(%rsp)
  movups %xmm2, 0x68(%rsp)
  movups %xmm3, 0x78(%rsp)
  movq %r11, %rcx
  leaq 0x88(%rsp), %rdx
  leaq 0x20(%rsp), %r8
  call MeterEnter
  movq 0x20(%rsp), %rcx
  movq 0x28(%rsp), %rdx
  movq 0x30(%rsp), %r8
  movq 0x38(%rsp), %r9
  movq 0x40(%rsp), %r11
  movups 0x48(%rsp), %xmm0
  movups 0x58(%rsp), %xmm1
  movups 0x68(%rsp), %xmm2
  movups 0x78(%rsp), %xmm3
  addq $0x88, %rsp
  jmp *(%r11)
  .globl meterReturn
meterReturn:
  subq $0x40, %rsp
  movq %rax, 0x20(%rsp)
  movups %xmm0, 0x30(%rsp)
  call MeterLeave
  movq %rax, %r11
  movq 0x20(%rsp), %rax
  movups 0x30(%rsp), %xmm0
  addq $0x40, %rsp
  jmp *%r11
)");

namespace {

bool IsLeftOut(std::string_view dll, std::string_view function) {
  if (_stricmp(std::string(dll).c_str(), "msvcrt.dll") == 0) return true;
  for (const std::string_view part :
       {"Rtl", "Raise", "Tls", "ExitProcess", "ExitThread", "GetLastError", "SetLastError", "ThreadContext",
        "ExceptionHandler", "ExceptionFilter", "C_specific", "Virtual", "QueryPerformance", "GetCurrent"}) {
    if (function.find(part) != std::string_view::npos) return true;
  }
  return false;
}

// mov r11, import; mov rax, meterCommon; jmp rax
void WriteStub(uint8_t* stub, Import* import) {
  const void* common = reinterpret_cast<void*>(meterCommon);
  std::memcpy(stub, "\x49\xBB", 2);
  std::memcpy(stub + 2, &import, 8);
  std::memcpy(stub + 10, "\x48\xB8", 2);
  std::memcpy(stub + 12, &common, 8);
  std::memcpy(stub + 20, "\xFF\xE0", 2);
}

Import& RecordImport(const char* dll, const char* function, void* original) {
  Import& import = imports[importCount++];
  import.original = original;
  const std::string_view name(function);
  std::string(dll).append("!").append(name).copy(import.name, sizeof(import.name) - 1);
  import.takesText = name == "WriteFile";
  import.startsProcess = name == "CreateProcessW";
  import.startsProcessAs = name == "CreateProcessAsUserW";
  import.waitsForOne = name == "WaitForSingleObject";
  return import;
}

template <typename T>
T* At(HMODULE module, size_t offset) {
  return reinterpret_cast<T*>(reinterpret_cast<char*>(module) + offset);
}

void LeadThrough(void** slot, Import& import, uint8_t* stub) {
  WriteStub(stub, &import);
  DWORD before = 0;
  VirtualProtect(slot, sizeof(void*), PAGE_READWRITE, &before);
  // Atomic, because other threads may be calling through the slot.
  InterlockedExchangePointer(slot, stub);
  VirtualProtect(slot, sizeof(void*), before, &before);
}

void LeadAllThrough(HMODULE program, uint8_t* stubs) {
  const auto* dos = At<IMAGE_DOS_HEADER>(program, 0);
  const auto* headers = At<IMAGE_NT_HEADERS>(program, static_cast<size_t>(dos->e_lfanew));
  const IMAGE_DATA_DIRECTORY& directory = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
  for (auto* dll = At<IMAGE_IMPORT_DESCRIPTOR>(program, directory.VirtualAddress); dll->Name != 0; ++dll) {
    const char* dllName = At<char>(program, dll->Name);
    const auto* names = At<IMAGE_THUNK_DATA>(program, dll->OriginalFirstThunk);
    void** slots = At<void*>(program, dll->FirstThunk);
    for (size_t i = 0; names[i].u1.AddressOfData != 0 && importCount < kMaxImports; ++i) {
      if (IMAGE_SNAP_BY_ORDINAL(names[i].u1.Ordinal)) continue;
      const char* function =
          reinterpret_cast<char*>(At<IMAGE_IMPORT_BY_NAME>(program, names[i].u1.AddressOfData)->Name);
      if (IsLeftOut(dllName, function)) continue;
      uint8_t* stub = stubs + importCount * kStubBytes;
      LeadThrough(&slots[i], RecordImport(dllName, function, slots[i]), stub);
    }
  }
}

bool BeginMetering() {
  const HANDLE mapping = OpenFileMappingW(FILE_MAP_ALL_ACCESS, FALSE, kMeterMapping);
  record = static_cast<MeterRecord*>(MapViewOfFile(mapping, FILE_MAP_ALL_ACCESS, 0, 0, sizeof(MeterRecord)));
  auto* stubs = static_cast<uint8_t*>(
      VirtualAlloc(nullptr, kStubBytes * kMaxImports, MEM_RESERVE | MEM_COMMIT, PAGE_EXECUTE_READWRITE));
  threadSlot = TlsAlloc();
  if (record == nullptr || stubs == nullptr || threadSlot == TLS_OUT_OF_INDEXES) return false;
  LeadAllThrough(GetModuleHandleW(nullptr), stubs);
  return SetEnvironmentVariableW(kMeterVariable, L"1") != 0;
}

}  // namespace
}  // namespace moorlak::lab

// Never unloaded: threads return through its stubs until the program ends.
extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, void*) {
  if (reason != DLL_PROCESS_ATTACH) return TRUE;
  DisableThreadLibraryCalls(module);
  return moorlak::lab::BeginMetering();
}
