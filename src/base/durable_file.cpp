#include "base/durable_file.h"

#include <utility>

#include "base/handle.h"
#include "base/held_file.h"
#include "base/trust.h"

namespace moorlak {
namespace {

std::optional<std::string> ReadAll(HANDLE file, size_t maxBytes) {
  LARGE_INTEGER size{};
  if (!GetFileSizeEx(file, &size) || size.QuadPart < 0 || static_cast<unsigned long long>(size.QuadPart) > maxBytes) {
    return std::nullopt;
  }
  std::string content(static_cast<size_t>(size.QuadPart), '\0');
  size_t done = 0;
  while (done < content.size()) {
    DWORD got = 0;
    if (!ReadFile(file, content.data() + done, static_cast<DWORD>(content.size() - done), &got, nullptr)) {
      return std::nullopt;
    }
    if (got == 0) break;
    done += got;
  }
  content.resize(done);
  return content;
}

KernelHandle OpenForReading(const std::wstring& path, DWORD access, DWORD flags) {
  return KernelHandle(CreateFileW(path.c_str(), access, FILE_SHARE_READ | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                                  FILE_ATTRIBUTE_NORMAL | flags, nullptr));
}

KernelHandle CreateAnew(const std::wstring& path) {
  return KernelHandle(CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr));
}

bool Replace(const std::wstring& path, const std::wstring& fresh) {
  return MoveFileExW(fresh.c_str(), path.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) != FALSE;
}

}  // namespace

bool WriteWhole(HANDLE file, std::string_view content) {
  while (!content.empty()) {
    constexpr size_t kLargestWrite = 1u << 20;
    const DWORD wanted = static_cast<DWORD>(content.size() < kLargestWrite ? content.size() : kLargestWrite);
    DWORD written = 0;
    if (!WriteFile(file, content.data(), wanted, &written, nullptr) || written == 0) return false;
    content.remove_prefix(written);
  }
  return true;
}

bool WriteFileDurably(const std::wstring& path, std::string_view content) {
  const std::wstring fresh = path + L".new";
  // A leftover of a crash, or somebody else's file under that name: never written through.
  if (!DeleteUnlessHeld(fresh) && GetLastError() != ERROR_FILE_NOT_FOUND) return false;
  KernelHandle file = UnlessHeld([&] { return CreateAnew(fresh); });
  if (!file) return false;
  const bool whole = WriteWhole(file.Get(), content) && FlushFileBuffers(file.Get());
  file.Reset();
  if (whole && UnlessHeld([&] { return Replace(path, fresh); })) return true;
  const DWORD error = GetLastError();
  DeleteFileW(fresh.c_str());
  SetLastError(error);
  return false;
}

std::optional<std::string> ReadWholeFile(const std::wstring& path, size_t maxBytes) {
  const KernelHandle file = OpenForReading(path, GENERIC_READ, 0);
  if (!file) return std::nullopt;
  return ReadAll(file.Get(), maxBytes);
}

FileRead ReadTrustedFile(const std::wstring& path, size_t maxBytes, std::string& content) {
  const KernelHandle file =
      UnlessHeld([&] { return OpenForReading(path, GENERIC_READ | READ_CONTROL, FILE_FLAG_OPEN_REPARSE_POINT); });
  if (!file) {
    const DWORD error = GetLastError();
    return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND ? FileRead::Missing : FileRead::Unreadable;
  }
  LARGE_INTEGER size{};
  if (IsReparsePoint(file.Get()) || !HasTrustedOwner(file.Get(), SE_FILE_OBJECT) ||
      (GetFileSizeEx(file.Get(), &size) && static_cast<unsigned long long>(size.QuadPart) > maxBytes)) {
    return FileRead::NotBelieved;
  }
  auto text = ReadAll(file.Get(), maxBytes);
  if (!text) return FileRead::Unreadable;
  content = std::move(*text);
  return FileRead::Done;
}

}  // namespace moorlak
