#include "base/own_folder.h"

#include "base/trust.h"

namespace moorlak {
namespace {

constexpr ObjectDemands kFolder{true, false};

// Another user may create a new one between two tries.
constexpr int kTries = 8;

// List access makes the system check sharing: a handle without access to the content blocks no one. Delete access is
// what is not shared.
constexpr DWORD kHoldingAccess = FILE_LIST_DIRECTORY | FILE_TRAVERSE | FILE_READ_ATTRIBUTES | READ_CONTROL;
constexpr DWORD kHoldingShare = FILE_SHARE_READ | FILE_SHARE_WRITE;

// A user who may list the folder may have opened it exclusively, or have an oplock on it. A handle without access to
// the content does not conflict with that. It does not prevent a rename, but our own folder can be renamed by
// administrators only, and what is opened below the handle does not depend on the folder's name.
constexpr DWORD kLookingAccess = FILE_READ_ATTRIBUTES | READ_CONTROL;

// The last two are for a console run by a plain user, who may use the service's folder but not set its rights.
KernelHandle OpenToHold(const FilePlace& place) {
  KernelHandle folder;
  for (const DWORD access : {kHoldingAccess | WRITE_DAC, kLookingAccess | WRITE_DAC, kHoldingAccess, kLookingAccess}) {
    folder = OpenPlace(place, {.access = access, .share = kHoldingShare});
    const DWORD error = GetLastError();
    if (folder || (error != ERROR_ACCESS_DENIED && error != ERROR_SHARING_VIOLATION)) break;
  }
  return folder;
}

KernelHandle Make(const OwnFolderWish& wish) {
  return OpenPlace(wish.place, {.access = kHoldingAccess | WRITE_DAC,
                                .share = kHoldingShare,
                                .kind = OpenKind::Folder,
                                .create = true,
                                .security = wish.security});
}

// Not SetSecurityInfo, which also changes everything in the folder: files left by an earlier version would lose the
// rights they inherited.
bool Close(const OwnFolderWish& wish, HANDLE folder) {
  if (wish.existing == ExistingFolder::KeepsItsRights) return true;
  constexpr SECURITY_INFORMATION kParts = DACL_SECURITY_INFORMATION | PROTECTED_DACL_SECURITY_INFORMATION;
  return SetKernelObjectSecurity(folder, kParts, wish.security) || wish.existing == ExistingFolder::IsClosedIfThatMayBe;
}

bool IsMissing() {
  return GetLastError() == ERROR_FILE_NOT_FOUND;
}

bool IsLinkByPath(const std::wstring& path) {
  const DWORD attributes = GetFileAttributesW(path.c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
}

}  // namespace

KernelHandle HoldOwnFolder(const OwnFolderWish& wish) {
  for (int tries = 0; tries < kTries; ++tries) {
    KernelHandle folder = OpenToHold(wish.place);
    if (!folder && IsMissing()) folder = Make(wish);
    // Checks the path, too, because not every system reports a link by its handle.
    if (folder && IsLinkByPath(wish.path)) break;
    if (folder && JudgeOpen(folder.Get(), kFolder) == ObjectVerdict::Ours) {
      if (Close(wish, folder.Get())) return folder;
      return {};
    }
    folder.Reset();
    if (!PutAside(wish.place, kFolder)) return {};
  }
  SetLastError(ERROR_ACCESS_DENIED);
  return {};
}

}  // namespace moorlak
