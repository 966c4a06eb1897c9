#include "base/own_folder.h"

#include "base/trust.h"

namespace moorlak {
namespace {

constexpr ObjectDemands kFolder{true, false};

// Somebody may make another one between two of these.
constexpr int kTries = 8;

// Listing is asked for because it makes the system look at what is shared: a handle without access to the content keeps
// nobody from anything. Deletion is what is not shared.
constexpr DWORD kHoldingAccess = FILE_LIST_DIRECTORY | FILE_TRAVERSE | FILE_READ_ATTRIBUTES | READ_CONTROL;
constexpr DWORD kHoldingShare = FILE_SHARE_READ | FILE_SHARE_WRITE;

// Whoever may list the folder may have opened it for himself alone, or have an oplock on it. Without access to the
// content the handle does not conflict with his. It keeps nobody from renaming the folder, which with one of ours only
// administrators may; what is opened below the handle does not depend on the folder's name.
constexpr DWORD kLookingAccess = FILE_READ_ATTRIBUTES | READ_CONTROL;

// The last two are for a console's plain user, who may use the service's folder, but not set its rights.
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

// Not SetSecurityInfo, which goes through all that lies in a folder: what an earlier version left there would lose the
// rights that it has from above.
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
    // The path is asked too, because not every system tells a link by its handle.
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
