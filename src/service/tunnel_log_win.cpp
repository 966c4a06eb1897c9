#include <windows.h>

#include <atomic>
#include <ctime>
#include <exception>

#include "base/data_files.h"
#include "base/durable_file.h"
#include "base/handle.h"
#include "base/log.h"
#include "base/paths.h"
#include "base/system_function.h"
#include "base/trust.h"
#include "service/log_file.h"
#include "service/tunnel_log.h"

namespace moorlak {
namespace {

// Full access for LocalSystem, administrators and the owner.
constexpr wchar_t kMutexAccess[] = L"D:(A;;GA;;;SY)(A;;GA;;;BA)(A;;GA;;;S-1-3-4)";

// A working writer holds it only for a moment.
constexpr DWORD kLongestWaitMs = 10'000;

// Set once the mutex was held for that long: callers then try only once, until it is free again.
std::atomic<bool> isMutexStuck{false};

KernelHandle OpenLogMutex() {
  // Never destroyed: threads log until the process ends.
  static const auto& descriptor = *new LocalMemory<PSECURITY_DESCRIPTOR>(OwnedDescriptor(kMutexAccess));
  SECURITY_ATTRIBUTES attributes{sizeof(attributes), descriptor.Get(), FALSE};
  return KernelHandle(CreateMutexW(&attributes, FALSE, kLogMutexName));
}

// Holds the log mutex for a scope. The line is written even without the mutex: if it cannot be created, if another user
// holds it (any user can take its name in the service's session, and the service must not wait for that user), and if a
// trusted holder keeps it too long, because it may itself be blocked.
class LogLock {
 public:
  LogLock() : mutex(OpenLogMutex()) {
    if (!mutex) return;
    DWORD result = WaitForSingleObject(mutex.Get(), 0);
    if (result == WAIT_TIMEOUT && !isMutexStuck && HasTrustedOwner(mutex.Get(), SE_KERNEL_OBJECT)) {
      result = WaitForSingleObject(mutex.Get(), kLongestWaitMs);
      isMutexStuck = result == WAIT_TIMEOUT;
    }
    // An abandoned mutex counts as held: its writer crashed between two lines or within one, and lines are independent.
    held = result == WAIT_OBJECT_0 || result == WAIT_ABANDONED;
    if (held) isMutexStuck = false;
  }
  LogLock(const LogLock&) = delete;
  LogLock& operator=(const LogLock&) = delete;
  ~LogLock() {
    if (held) ReleaseMutex(mutex.Get());
  }

  bool IsHeld() const { return held; }

 private:
  KernelHandle mutex;
  bool held = false;
};

std::tm LocalTime() {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_s(&local, &now);
  return local;
}

// Rotates only with the mutex: without it another writer may be rotating.
void AppendLine(std::string_view message, bool mayRotate) {
  KernelHandle file = OpenLogFile(mayRotate);
  if (!file) {
    ApplyLogAccessRules();
    file = OpenLogFile(mayRotate);
  }
  if (!file) return;
  const std::string line = FormatLogLine(LocalTime(), message);
  DWORD written = 0;
  WriteFile(file.Get(), line.data(), static_cast<DWORD>(line.size()), &written, nullptr);
}

void WriteSupportNoteIfMissing() {
  const HANDLE folder = DataFolder();
  if (folder == nullptr) return;
  const FilePlace note(folder, kSupportNoteName);
  if (OpenPlace(note, {.access = FILE_READ_ATTRIBUTES}) || GetLastError() != ERROR_FILE_NOT_FOUND) return;
  const auto security = ClosedDescriptor(L"(A;;FR;;;BU)");
  WriteFileDurably(note, SupportNoteText(), security.Get());
}

}  // namespace

void WriteLogLine(std::string_view message) noexcept {
  // A failing logger must not harm its caller: the line is dropped.
  try {
    const LogLock lock;
    if (LogFolder() == nullptr) return;
    if (!AreLogRulesApplied()) ApplyLogAccessRules();
    AppendLine(message, lock.IsHeld());
    // For the file that this line has just created.
    if (!AreLogRulesApplied()) ApplyLogAccessRules();
  } catch (const std::exception&) {
    return;
  }
}

void WriteSessionBanner(std::string_view role) noexcept {
  try {
    {
      const LogLock lock;
      if (LogFolder() != nullptr && !AreLogRulesApplied()) ApplyLogAccessRules();
      WriteSupportNoteIfMissing();
    }
    WriteLogLine(BannerLine(role, OsVersionText(), GetCurrentProcessId()));
    WriteLogLine(SupportLine());
  } catch (const std::exception&) {
    return;
  }
}

std::string OsVersionText() {
  // The result of GetVersionEx depends on the manifest; this call returns the real version ("RtlGetVersion" on
  // Microsoft Learn).
  using RtlGetVersionCall = LONG(WINAPI*)(OSVERSIONINFOW*);
  const auto getVersion = FindSystemFunction<RtlGetVersionCall>(L"ntdll.dll", "RtlGetVersion");
  OSVERSIONINFOW version{};
  version.dwOSVersionInfoSize = sizeof(version);
  if (getVersion == nullptr || getVersion(&version) != 0) return "Windows(unknown)";
  return "Windows " + std::to_string(version.dwMajorVersion) + "." + std::to_string(version.dwMinorVersion) + "." +
         std::to_string(version.dwBuildNumber);
}

}  // namespace moorlak
