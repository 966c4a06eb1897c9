#include "service/tunnel_log.h"

#include <windows.h>
#include <aclapi.h>

#include <atomic>
#include <ctime>
#include <exception>

#include "base/durable_file.h"
#include "base/handle.h"
#include "base/log.h"
#include "base/paths.h"
#include "base/trust.h"
#include "service/log_format.h"

namespace moorlak {
namespace {

constexpr wchar_t kFolderAccess[] = L"D:(A;;FA;;;SY)(A;;FA;;;BA)(A;;0x1200a3;;;BU)";
constexpr wchar_t kFileAccess[] = L"D:(A;;FA;;;SY)(A;;FA;;;BA)(A;;0x120185;;;BU)";

// Full access for LocalSystem, administrators and the owner.
constexpr wchar_t kMutexAccess[] = L"D:(A;;GA;;;SY)(A;;GA;;;BA)(A;;GA;;;S-1-3-4)";

std::atomic<bool> logAclApplied{false};

KernelHandle OpenLogMutex() {
  // Never destroyed: threads log until the process has gone.
  static const auto& descriptor = *new LocalMemory<PSECURITY_DESCRIPTOR>(OwnedDescriptor(kMutexAccess));
  SECURITY_ATTRIBUTES attributes{sizeof(attributes), descriptor.Get(), FALSE};
  return KernelHandle(CreateMutexW(&attributes, FALSE, kLogMutexName));
}

// Holds the log mutex for a scope. Without the mutex the line is still worth writing, so a failure to create it is no
// reason to stop. Nor is a stranger who holds it: the name of a service's session can be taken by every user, and the
// service must not wait for him.
class LogLock {
 public:
  LogLock() : mutex(OpenLogMutex()) {
    if (!mutex) return;
    DWORD result = WaitForSingleObject(mutex.Get(), 0);
    if (result == WAIT_TIMEOUT && HasTrustedOwner(mutex.Get(), SE_KERNEL_OBJECT)) {
      result = WaitForSingleObject(mutex.Get(), INFINITE);
    }
    // An abandoned mutex is a held one: its writer crashed between two lines or within one, and lines are independent.
    held = result == WAIT_OBJECT_0 || result == WAIT_ABANDONED;
  }
  LogLock(const LogLock&) = delete;
  LogLock& operator=(const LogLock&) = delete;
  ~LogLock() {
    if (held) ReleaseMutex(mutex.Get());
  }

 private:
  KernelHandle mutex;
  bool held = false;
};

DWORD SetDacl(const wchar_t* path, PSECURITY_DESCRIPTOR descriptor) {
  BOOL present = FALSE;
  BOOL defaulted = FALSE;
  PACL dacl = nullptr;
  if (!GetSecurityDescriptorDacl(descriptor, &present, &dacl, &defaulted)) return GetLastError();
  // The call takes the name as writable text but does not change it.
  std::wstring name(path);
  return SetNamedSecurityInfoW(name.data(), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr, dacl, nullptr);
}

void RotateWhenLarge() {
  WIN32_FILE_ATTRIBUTE_DATA attributes{};
  if (!GetFileAttributesExW(kLogFile, GetFileExInfoStandard, &attributes)) return;
  const uint64_t size = (uint64_t{attributes.nFileSizeHigh} << 32) | attributes.nFileSizeLow;
  if (!NeedsRotation(size)) return;
  DeleteFileW(kRotatedLogFile);
  MoveFileW(kLogFile, kRotatedLogFile);
  logAclApplied = false;
}

KernelHandle OpenLog() {
  return KernelHandle(CreateFileW(kLogFile, FILE_APPEND_DATA | SYNCHRONIZE,
                                  FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_ALWAYS,
                                  FILE_ATTRIBUTE_NORMAL, nullptr));
}

std::tm LocalTime() {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_s(&local, &now);
  return local;
}

void AppendLine(std::string_view message) {
  KernelHandle file = OpenLog();
  if (!file) {
    ApplyLogAccessRules();
    file = OpenLog();
  }
  if (!file) return;
  const std::string line = FormatLogLine(LocalTime(), message);
  DWORD written = 0;
  WriteFile(file.Get(), line.data(), static_cast<DWORD>(line.size()), &written, nullptr);
}

void WriteSupportNoteIfMissing() {
  if (GetFileAttributesW(kSupportNoteFile) != INVALID_FILE_ATTRIBUTES || GetLastError() != ERROR_FILE_NOT_FOUND) return;
  WriteFileDurably(kSupportNoteFile, SupportNoteText());
}

}  // namespace

void WriteLogLine(std::string_view message) noexcept {
  // A logger that fails must not take its caller down: the line is dropped.
  try {
    const LogLock lock;
    CreateDataFolders();
    if (!logAclApplied) ApplyLogAccessRules();
    RotateWhenLarge();
    AppendLine(message);
    // Catches the file that this line has created.
    if (!logAclApplied) ApplyLogAccessRules();
  } catch (const std::exception&) {
    return;
  }
}

void ApplyLogAccessRules() {
  // Access given through a folder that leads elsewhere would be given there. Whoever made these folders before the
  // service did can make them lead anywhere.
  if (!IsTrustedFolder(kDataFolder) || !IsTrustedFolder(kLogFolder)) return;
  const auto folderDescriptor = DescriptorFrom(kFolderAccess);
  const auto fileDescriptor = DescriptorFrom(kFileAccess);
  if (!folderDescriptor || !fileDescriptor) return;
  SetDacl(kLogFolder, folderDescriptor.Get());
  const DWORD result = SetDacl(kLogFile, fileDescriptor.Get());
  // Any other failure would only repeat at every line.
  if (result != ERROR_FILE_NOT_FOUND && result != ERROR_PATH_NOT_FOUND) logAclApplied = true;
}

void WriteSessionBanner(std::string_view role) noexcept {
  try {
    {
      const LogLock lock;
      CreateDataFolders();
      if (!logAclApplied) ApplyLogAccessRules();
      WriteSupportNoteIfMissing();
    }
    WriteLogLine(BannerLine(role, OsVersionText(), GetCurrentProcessId()));
    WriteLogLine(SupportLine());
  } catch (const std::exception&) {
    return;
  }
}

std::string OsVersionText() {
  // GetVersionEx answers by the manifest; this call tells the truth (Microsoft Learn, "RtlGetVersion").
  using RtlGetVersionCall = LONG(WINAPI*)(OSVERSIONINFOW*);
  const HMODULE ntdll = GetModuleHandleW(L"ntdll.dll");
  if (ntdll == nullptr) return "Windows(unknown)";
  const auto getVersion =
      reinterpret_cast<RtlGetVersionCall>(reinterpret_cast<void*>(GetProcAddress(ntdll, "RtlGetVersion")));
  OSVERSIONINFOW version{};
  version.dwOSVersionInfoSize = sizeof(version);
  if (getVersion == nullptr || getVersion(&version) != 0) return "Windows(unknown)";
  return "Windows " + std::to_string(version.dwMajorVersion) + "." + std::to_string(version.dwMinorVersion) + "." +
         std::to_string(version.dwBuildNumber);
}

}  // namespace moorlak
