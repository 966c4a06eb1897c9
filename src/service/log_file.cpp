#include "service/log_file.h"

#include <windows.h>
#include <aclapi.h>

#include <atomic>
#include <utility>

#include "base/data_files.h"
#include "base/file_place.h"
#include "base/mutex.h"
#include "base/paths.h"
#include "base/trust.h"
#include "service/tunnel_log.h"

namespace moorlak {
namespace {

constexpr wchar_t kFolderAccess[] = L"D:(A;;FA;;;SY)(A;;FA;;;BA)(A;;0x1200a3;;;BU)";
constexpr wchar_t kFileAccess[] = L"D:(A;;FA;;;SY)(A;;FA;;;BA)(A;;0x120185;;;BU)";

// The log that was checked, kept open so that no other file gets its identity. Never destroyed: threads log until the
// process ends.
struct KnownLog {
  Mutex lock;  // never held while opening or writing a file
  KernelHandle passive GUARDED_BY(lock);
  uint64_t index GUARDED_BY(lock) = 0;
  // Set and read while writing a line, mostly with the log's mutex held.
  std::atomic<bool> areRulesApplied{false};
};
KnownLog& Known() {
  static KnownLog& known = *new KnownLog;
  return known;
}

FilePlace LogPlace(const wchar_t* name) {
  const HANDLE folder = LogFolder();
  return folder == nullptr ? FilePlace() : FilePlace(folder, name);
}

// The log's folder is held open and the log is not reached through a link, so it is always on the same volume.
bool IsKnown(const FileStatus& status) {
  KnownLog& known = Known();
  const MutexGuard guard(known.lock);
  return known.passive && known.index == status.index;
}

// Called while the log is open for appending, so that no other process has it open alone in between.
void Watch(const FileStatus& status) {
  KernelHandle passive = OpenPlace(LogPlace(kLogName), {.access = GENERIC_READ});
  const auto opened = passive ? ReadStatus(passive.Get()) : std::nullopt;
  if (!opened || opened->index != status.index) return;
  KnownLog& known = Known();
  const MutexGuard guard(known.lock);
  std::swap(known.passive, passive);
  known.index = status.index;
}

void StopWatching() {
  KernelHandle passive;
  KnownLog& known = Known();
  const MutexGuard guard(known.lock);
  std::swap(known.passive, passive);
}

KernelHandle CreateLog() {
  const auto security = OwnedDescriptor(kFileAccess);
  return OpenPlace(LogPlace(kLogName), {.access = FILE_APPEND_DATA | FILE_READ_ATTRIBUTES | READ_CONTROL,
                                        .kind = OpenKind::File,
                                        .create = true,
                                        .security = security.Get()});
}

KernelHandle OpenOrCreateLog() {
  KernelHandle file = OpenPlace(LogPlace(kLogName), {.access = FILE_APPEND_DATA | FILE_READ_ATTRIBUTES | READ_CONTROL});
  return file || GetLastError() != ERROR_FILE_NOT_FOUND ? std::move(file) : CreateLog();
}

// A known log was checked when it had one name, and stays ours whatever users have done to it since. Any other log is
// checked fully.
LogNameStep StepFor(HANDLE file, const FileStatus& status) {
  if (!IsKnown(status)) return DecideLogName(ReadFacts(file), OwnUserSid());
  return status.Has(FILE_ATTRIBUTE_READONLY) ? LogNameStep::MakeWritable : LogNameStep::Use;
}

// Makes what has this name usable, or moves it out of the way. True if opening the log may succeed now.
bool Mend(const FilePlace& place) {
  const KernelHandle file = OpenPlace(place, {.access = FILE_READ_ATTRIBUTES | FILE_WRITE_ATTRIBUTES | READ_CONTROL});
  const auto status = file ? ReadStatus(file.Get()) : std::nullopt;
  if (!status) return PutAside(place, {});
  switch (StepFor(file.Get(), *status)) {
    case LogNameStep::Use:
      return false;
    case LogNameStep::MakeWritable:
      return MakeWritable(file.Get());
    case LogNameStep::PutAside:
      return PutAside(place, {});
  }
  return false;
}

bool IsUsable(HANDLE file, const FileStatus& status) {
  if (StepFor(file, status) != LogNameStep::Use) return false;
  if (!IsKnown(status)) Watch(status);
  return true;
}

// True if the rotated name is free afterwards.
bool ClearRotatedName() {
  const FilePlace place = LogPlace(kRotatedLogName);
  const KernelHandle file =
      OpenPlace(place, {.access = DELETE | FILE_READ_ATTRIBUTES | FILE_WRITE_ATTRIBUTES | READ_CONTROL});
  if (!file) return GetLastError() == ERROR_FILE_NOT_FOUND || PutAside(place, {});
  if (JudgeOpen(file.Get(), {}) != ObjectVerdict::Ours) return PutAside(place, {});
  MakeWritable(file.Get());
  return DeleteOpenFile(file.Get());
}

// False if the log was not renamed.
bool Rotate(const FileStatus& log) {
  if (!ClearRotatedName()) return false;
  const KernelHandle file = OpenPlace(LogPlace(kLogName), {.access = DELETE | FILE_READ_ATTRIBUTES});
  const auto status = file ? ReadStatus(file.Get()) : std::nullopt;
  if (!status || status->index != log.index) return false;
  if (!RenameTo(file.Get(), LogPlace(kRotatedLogName), false)) return false;
  StopWatching();
  Known().areRulesApplied = false;
  return true;
}

KernelHandle TryToOpen(bool mayRotate) {
  KernelHandle file = OpenOrCreateLog();
  const auto status = file ? ReadStatus(file.Get()) : std::nullopt;
  if (!status || !IsUsable(file.Get(), *status)) return {};
  if (!mayRotate || !NeedsRotation(status->bytes) || !Rotate(*status)) return file;
  file = CreateLog();
  if (!file) return {};
  if (const auto fresh = ReadStatus(file.Get())) Watch(*fresh);
  return file;
}

DWORD SetDacl(HANDLE file, PSECURITY_DESCRIPTOR descriptor) {
  BOOL present = FALSE;
  BOOL defaulted = FALSE;
  PACL dacl = nullptr;
  if (!GetSecurityDescriptorDacl(descriptor, &present, &dacl, &defaulted)) return GetLastError();
  return SetSecurityInfo(file, SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr, dacl, nullptr);
}

}  // namespace

KernelHandle OpenLogFile(bool mayRotate) {
  KernelHandle file = TryToOpen(mayRotate);
  if (!file && Mend(LogPlace(kLogName))) file = TryToOpen(mayRotate);
  return file;
}

bool AreLogRulesApplied() noexcept {
  return Known().areRulesApplied;
}

void ApplyLogAccessRules() {
  const auto folderDescriptor = DescriptorFrom(kFolderAccess);
  const auto fileDescriptor = DescriptorFrom(kFileAccess);
  const HANDLE folder = LogFolder();
  if (!folderDescriptor || !fileDescriptor || folder == nullptr) return;
  const KernelHandle file = OpenPlace(LogPlace(kLogName), {.access = FILE_READ_ATTRIBUTES | READ_CONTROL | WRITE_DAC});
  // The folder stays closed until it contains the log (base/data_files.cpp).
  if (!file && GetLastError() == ERROR_FILE_NOT_FOUND) return;
  // Only the folder itself: SetSecurityInfo would also change what others have put into it.
  if (!IsReparsePoint(folder)) SetKernelObjectSecurity(folder, DACL_SECURITY_INFORMATION, folderDescriptor.Get());
  // Any failure except a missing file would only repeat for every line. A file that is not ours gets no rights.
  if (file && JudgeOpen(file.Get(), {}) == ObjectVerdict::Ours) {
    const DWORD result = SetDacl(file.Get(), fileDescriptor.Get());
    if (result == ERROR_FILE_NOT_FOUND || result == ERROR_PATH_NOT_FOUND) return;
  }
  Known().areRulesApplied = true;
}

}  // namespace moorlak
