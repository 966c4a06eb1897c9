#include "base/data_files.h"

#include <shlobj.h>
#include <string>

#include "base/guarded.h"
#include "base/handle.h"
#include "base/mutex.h"
#include "base/own_folder.h"
#include "base/paths.h"
#include "base/standard_error.h"
#include "base/trust.h"
#include "base/utf.h"
#include "text/letter_case.h"

namespace moorlak {
namespace {

// Users may read the note that is meant for them, and pass through to the logs.
constexpr wchar_t kUsersReadAndTraverse[] = L"(A;;0x1200a9;;;BU)";

struct HeldFolder {
  Mutex lock;
  KernelHandle handle GUARDED_BY(lock);  // once set, never changed
  bool reported GUARDED_BY(lock) = false;
};

// Never destroyed: threads may log, and a background restore may run, until the process ends.
struct HeldFolders {
  HeldFolder data;
  HeldFolder logs;
  HeldFolder common;
};
HeldFolders& Held() {
  static HeldFolders& held = *new HeldFolders;
  return held;
}

template <typename Hold>
HANDLE HoldOnce(HeldFolder& held, const std::wstring& path, Hold hold) {
  const MutexGuard guard(held.lock);
  if (held.handle) return held.handle.Get();
  held.handle = hold();
  if (held.handle) return held.handle.Get();
  if (!held.reported) {
    WriteStandardErrorLine("Cannot use " + NarrowUtf16(path) + ", which is not ours (error " +
                           std::to_string(GetLastError()) + ")");
  }
  held.reported = true;
  return nullptr;
}

HANDLE HoldDataFolder(HeldFolder& held, const std::wstring& path) {
  return HoldOnce(held, path, [&] {
    const auto security = ClosedDescriptor(kUsersReadAndTraverse);
    return HoldOwnFolder({path, path, security.Get(), ExistingFolder::IsClosedIfThatMayBe});
  });
}

// Created closed: users may add files to it only once it contains the log. A user who may add files to an empty folder
// can turn it into a link ("FSCTL_SET_REPARSE_POINT" on Microsoft Learn).
KernelHandle HoldLogFolder(HANDLE data) {
  const auto security = ClosedDescriptor(L"");
  KernelHandle logs =
      HoldOwnFolder({{data, kLogFolderName}, kLogFolder, security.Get(), ExistingFolder::KeepsItsRights});
  // Before the log folder was in it, the data folder, too, may have been empty, and from an earlier version: it must
  // not be a link.
  if (logs && IsReparsePoint(data)) {
    SetLastError(ERROR_ACCESS_DENIED);
    return {};
  }
  return logs;
}

const std::wstring& CommonDataFolder() {
  // Cached: a session asks for a dozen files, and every query to the shell opens the registry several times.
  static const std::wstring& folder = *new std::wstring([] {
    wchar_t common[MAX_PATH] = {};
    const bool known = SHGetFolderPathW(nullptr, CSIDL_COMMON_APPDATA, nullptr, SHGFP_TYPE_CURRENT, common) == S_OK;
    return (known ? std::wstring(common) : L"C:\\ProgramData") + L"\\Moorlak";
  }());
  return folder;
}

HANDLE RecoveryFolder() {
  const std::wstring& path = CommonDataFolder();
  if (EqualFolded(path, kDataFolder)) return DataFolder();
  return HoldDataFolder(Held().common, path);
}

}  // namespace

HANDLE DataFolder() noexcept {
  return Guarded(HANDLE{}, [] { return HoldDataFolder(Held().data, kDataFolder); });
}

HANDLE LogFolder() noexcept {
  return Guarded(HANDLE{}, [] {
    const HANDLE data = DataFolder();
    if (data == nullptr) return HANDLE{};
    return HoldOnce(Held().logs, kLogFolder, [data] { return HoldLogFolder(data); });
  });
}

FilePlace RecoveryFile(const wchar_t* name) {
  const HANDLE folder = RecoveryFolder();
  return folder == nullptr ? FilePlace() : FilePlace(folder, name);
}

FileRead ReadRecoveryFile(const wchar_t* name, size_t maxBytes, std::string& content) {
  return ReadTrustedFile(RecoveryFile(name), maxBytes, content);
}

bool WriteRecoveryFile(const wchar_t* name, std::string_view content) {
  const auto security = ClosedDescriptor(L"");
  return WriteFileDurably(RecoveryFile(name), content, security.Get());
}

bool DeleteRecoveryFile(const wchar_t* name) {
  return DeletePlace(RecoveryFile(name));
}

}  // namespace moorlak
