#include "base/file_place.h"

#include <cstddef>
#include <cstring>
#include <string_view>
#include <winternl.h>

#include "base/held_file.h"
#include "base/trust.h"

namespace moorlak {
namespace {

// From ntstatus.h, ntifs.h and winbase.h; missing in the toolchain's headers.
constexpr NTSTATUS kOplockBreakInProgress = 0x00000108;
constexpr auto kObjectPathNotFound = static_cast<NTSTATUS>(0xC000003A);
constexpr ULONG kCompleteIfOplocked = 0x00000100;
constexpr ULONG kWriteThrough = 0x00000002;
constexpr ULONG kOpenReparsePoint = 0x00200000;
constexpr auto kFileInternalInformation = static_cast<FILE_INFORMATION_CLASS>(6);
constexpr auto kFileRenameInformation = static_cast<FILE_INFORMATION_CLASS>(10);
constexpr auto kFileDispositionInfoEx = static_cast<FILE_INFO_BY_HANDLE_CLASS>(21);
constexpr DWORD kDeleteAtOnce = 0x1 | 0x2;  // delete, POSIX semantics
constexpr DWORD kReadOnlyToo = 0x10;        // some systems know the other two but not this one

constexpr uint64_t kNumbersTried = 32;

UNICODE_STRING Counted(std::wstring& text) {
  const auto bytes = static_cast<USHORT>(text.size() * sizeof(wchar_t));
  return {bytes, bytes, text.data()};
}

bool FailWith(NTSTATUS status) {
  SetLastError(RtlNtStatusToDosError(status));
  return false;
}

// The name in the form that the native calls take. Empty for nowhere, and for a name too long for a UNICODE_STRING.
std::wstring NativeName(const FilePlace& place) {
  if (place.name.empty() || place.name.size() > 32000) return {};
  if (place.folder != nullptr) return place.name;
  std::wstring name = L"\\??\\" + place.name;
  for (wchar_t& letter : name) {
    if (letter == L'/') letter = L'\\';
  }
  return name;
}

ULONG OptionsOf(const OpenWish& wish) {
  ULONG options = FILE_SYNCHRONOUS_IO_NONALERT | kCompleteIfOplocked;
  if (!wish.throughLinks) options |= kOpenReparsePoint;
  if (wish.kind == OpenKind::File) options |= FILE_NON_DIRECTORY_FILE;
  if (wish.kind == OpenKind::Folder) options |= FILE_DIRECTORY_FILE;
  if (wish.writeThrough) options |= kWriteThrough;
  return options;
}

// Tries without READ_CONTROL, too: another user's file may deny reading its owner.
KernelHandle OpenToMove(const FilePlace& place) {
  KernelHandle file = OpenPlace(place, {.access = DELETE | FILE_READ_ATTRIBUTES | READ_CONTROL});
  if (file || GetLastError() != ERROR_ACCESS_DENIED) return file;
  return OpenPlace(place, {.access = DELETE | FILE_READ_ATTRIBUTES});
}

bool IsNameTaken() {
  const DWORD error = GetLastError();
  return error == ERROR_ALREADY_EXISTS || error == ERROR_FILE_EXISTS;
}

bool IsNameFree() {
  const DWORD error = GetLastError();
  return error == ERROR_FILE_NOT_FOUND;
}

// Someone may have taken all the first numbers, but hardly the number from the clock.
bool RenameAside(HANDLE file, const FilePlace& place) {
  for (uint64_t number = 1; number <= kNumbersTried; ++number) {
    if (RenameTo(file, {place.folder, AsideName(place.name, number)}, false)) return true;
    if (!IsNameTaken()) return false;
  }
  LARGE_INTEGER ticks{};
  QueryPerformanceCounter(&ticks);
  return RenameTo(file, {place.folder, AsideName(place.name, static_cast<uint64_t>(ticks.QuadPart))}, false);
}

}  // namespace

KernelHandle OpenPlace(const FilePlace& place, const OpenWish& wish) {
  std::wstring name = NativeName(place);
  if (name.empty()) {
    SetLastError(ERROR_PATH_NOT_FOUND);
    return {};
  }
  UNICODE_STRING counted = Counted(name);
  OBJECT_ATTRIBUTES object{};
  InitializeObjectAttributes(&object, &counted, OBJ_CASE_INSENSITIVE, place.folder, wish.security);
  IO_STATUS_BLOCK block{};
  KernelHandle file;
  const NTSTATUS status =
      NtCreateFile(file.Out(), wish.access | SYNCHRONIZE, &object, &block, nullptr, FILE_ATTRIBUTE_NORMAL, wish.share,
                   wish.create ? FILE_CREATE : FILE_OPEN, OptionsOf(wish), nullptr, 0);
  if (status == kOplockBreakInProgress) {
    file.Reset();
    SetLastError(ERROR_SHARING_VIOLATION);
  } else if (!NT_SUCCESS(status)) {
    file.Release();
    FailWith(status);
  }
  return file;
}

std::optional<FileStatus> ReadStatus(HANDLE file) {
  FILE_BASIC_INFO basic{};
  FILE_STANDARD_INFO standard{};
  if (!GetFileInformationByHandleEx(file, FileBasicInfo, &basic, sizeof(basic)) ||
      !GetFileInformationByHandleEx(file, FileStandardInfo, &standard, sizeof(standard))) {
    return std::nullopt;
  }
  IO_STATUS_BLOCK block{};
  LARGE_INTEGER index{};  // The only member of FILE_INTERNAL_INFORMATION.
  const NTSTATUS status = NtQueryInformationFile(file, &block, &index, sizeof(index), kFileInternalInformation);
  if (!NT_SUCCESS(status)) {
    FailWith(status);
    return std::nullopt;
  }
  return FileStatus{basic.FileAttributes, standard.NumberOfLinks, static_cast<uint64_t>(standard.EndOfFile.QuadPart),
                    static_cast<uint64_t>(index.QuadPart)};
}

bool RenameTo(HANDLE file, const FilePlace& target, bool replace) {
  struct RenameInformation {
    BOOLEAN replace;
    HANDLE folder;
    ULONG nameBytes;
    wchar_t name[1];
  };
  const std::wstring name = NativeName(target);
  if (name.empty()) return FailWith(kObjectPathNotFound);
  const size_t nameBytes = name.size() * sizeof(wchar_t);
  std::string buffer(sizeof(RenameInformation) + nameBytes, '\0');
  RenameInformation head{};
  head.replace = replace ? TRUE : FALSE;
  head.folder = target.folder;
  head.nameBytes = static_cast<ULONG>(nameBytes);
  std::memcpy(buffer.data(), &head, sizeof(head));
  std::memcpy(buffer.data() + offsetof(RenameInformation, name), name.data(), nameBytes);
  // The same as SetFileInformationByHandle(FileRenameInfo) with a folder's handle, which not every system accepts
  // there.
  IO_STATUS_BLOCK block{};
  const NTSTATUS status =
      NtSetInformationFile(file, &block, buffer.data(), static_cast<ULONG>(buffer.size()), kFileRenameInformation);
  return NT_SUCCESS(status) || FailWith(status);
}

bool DeleteOpenFile(HANDLE file) {
  for (DWORD atOnce : {kDeleteAtOnce | kReadOnlyToo, kDeleteAtOnce}) {
    if (SetFileInformationByHandle(file, kFileDispositionInfoEx, &atOnce, sizeof(atOnce))) return true;
  }
  FILE_DISPOSITION_INFO disposition{TRUE};
  return SetFileInformationByHandle(file, FileDispositionInfo, &disposition, sizeof(disposition)) != FALSE;
}

bool MakeWritable(HANDLE file) {
  FILE_BASIC_INFO information{};  // Times of 0 stay as they are.
  information.FileAttributes = FILE_ATTRIBUTE_NORMAL;
  return SetFileInformationByHandle(file, FileBasicInfo, &information, sizeof(information)) != FALSE;
}

bool PutAside(const FilePlace& place, const ObjectDemands& demands) {
  const KernelHandle file = OpenToMove(place);
  if (!file) return IsNameFree();
  if (JudgeOpen(file.Get(), demands) == ObjectVerdict::Ours) return true;
  return RenameAside(file.Get(), place);
}

bool DeletePlace(const FilePlace& place) {
  return UnlessHeld([&] {
    const KernelHandle file = OpenPlace(place, {.access = DELETE, .kind = OpenKind::File});
    return file && DeleteOpenFile(file.Get());
  });
}

bool ClearName(const FilePlace& place) {
  const KernelHandle file = UnlessHeld([&] { return OpenPlace(place, {.access = DELETE | FILE_READ_ATTRIBUTES}); });
  if (!file) return IsNameFree();
  FILE_STANDARD_INFO information{};
  const bool isFolder =
      !GetFileInformationByHandleEx(file.Get(), FileStandardInfo, &information, sizeof(information)) ||
      information.Directory;
  if (!isFolder && DeleteOpenFile(file.Get())) return true;
  return RenameAside(file.Get(), place);
}

}  // namespace moorlak
