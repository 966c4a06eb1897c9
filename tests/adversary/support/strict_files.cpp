#include "adversary/support/strict_files.h"

#include <windows.h>

#include <winternl.h>

// Slots of this program's import table, through which its code, including the product's, calls the system.
extern "C" {
extern decltype(&::CreateFileW) __imp_CreateFileW;
extern decltype(&::NtCreateFile) __imp_NtCreateFile;
extern decltype(&::GetFileInformationByHandleEx) __imp_GetFileInformationByHandleEx;
}

namespace moorlak::adversary {
namespace {

// Wine stores these attributes but gives them no meaning.
constexpr DWORD kReadOnlyMark = FILE_ATTRIBUTE_SYSTEM;
constexpr DWORD kLinkMark = FILE_ATTRIBUTE_HIDDEN;
constexpr DWORD kWritingAccess = FILE_WRITE_DATA | FILE_APPEND_DATA | GENERIC_WRITE | GENERIC_ALL;
constexpr NTSTATUS kAccessDenied = static_cast<NTSTATUS>(0xC0000022);

decltype(&::CreateFileW) systemCreateFile = nullptr;
decltype(&::NtCreateFile) systemNtCreateFile = nullptr;
decltype(&::GetFileInformationByHandleEx) systemGetFileInformation = nullptr;

bool IsReadOnlyFile(HANDLE file) {
  FILE_BASIC_INFO information{};
  return systemGetFileInformation(file, FileBasicInfo, &information, sizeof(information)) &&
         (information.FileAttributes & kReadOnlyMark) != 0 &&
         (information.FileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

HANDLE WINAPI CreateFileStrictly(LPCWSTR name, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES security,
                                 DWORD disposition, DWORD flags, HANDLE like) {
  const HANDLE file = systemCreateFile(name, access, share, security, disposition, flags, like);
  const DWORD error = GetLastError();
  if (file == INVALID_HANDLE_VALUE || (access & kWritingAccess) == 0 || !IsReadOnlyFile(file)) {
    SetLastError(error);
    return file;
  }
  CloseHandle(file);
  SetLastError(ERROR_ACCESS_DENIED);
  return INVALID_HANDLE_VALUE;
}

NTSTATUS NTAPI NtCreateFileStrictly(PHANDLE file, ACCESS_MASK access, POBJECT_ATTRIBUTES object,
                                    PIO_STATUS_BLOCK status, PLARGE_INTEGER size, ULONG attributes, ULONG share,
                                    ULONG disposition, ULONG options, PVOID extended, ULONG extendedBytes) {
  const NTSTATUS result = systemNtCreateFile(file, access, object, status, size, attributes, share, disposition,
                                             options, extended, extendedBytes);
  if (result < 0 || (access & kWritingAccess) == 0 || !IsReadOnlyFile(*file)) return result;
  CloseHandle(*file);
  *file = nullptr;
  return kAccessDenied;
}

BOOL WINAPI GetInformationStrictly(HANDLE file, FILE_INFO_BY_HANDLE_CLASS kind, LPVOID information, DWORD bytes) {
  if (!systemGetFileInformation(file, kind, information, bytes)) return FALSE;
  if (kind != FileBasicInfo) return TRUE;
  DWORD& attributes = static_cast<FILE_BASIC_INFO*>(information)->FileAttributes;
  if ((attributes & kLinkMark) != 0) attributes |= FILE_ATTRIBUTE_REPARSE_POINT;
  if ((attributes & kReadOnlyMark) != 0) attributes |= FILE_ATTRIBUTE_READONLY;
  return TRUE;
}

template <typename Function>
void Replace(Function& slot, Function& system, Function replacement) {
  system = slot;
  DWORD before = 0;
  VirtualProtect(&slot, sizeof(slot), PAGE_READWRITE, &before);
  slot = replacement;
  VirtualProtect(&slot, sizeof(slot), before, &before);
}

}  // namespace

void BeStrictAboutFiles() {
  Replace(__imp_CreateFileW, systemCreateFile, &CreateFileStrictly);
  Replace(__imp_NtCreateFile, systemNtCreateFile, &NtCreateFileStrictly);
  Replace(__imp_GetFileInformationByHandleEx, systemGetFileInformation, &GetInformationStrictly);
}

bool MarkAsReadOnly(const wchar_t* path) {
  return SetFileAttributesW(path, kReadOnlyMark) != FALSE;
}

bool IsMarkedAsReadOnly(const wchar_t* path) {
  return (GetFileAttributesW(path) & kReadOnlyMark) != 0;
}

bool MarkAsLink(const wchar_t* path) {
  return SetFileAttributesW(path, kLinkMark) != FALSE;
}

}  // namespace moorlak::adversary
