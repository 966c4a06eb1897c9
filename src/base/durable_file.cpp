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

KernelHandle CreateAnew(const FilePlace& place, PSECURITY_DESCRIPTOR security) {
  return OpenPlace(place, {.access = GENERIC_WRITE | DELETE,
                           .share = 0,
                           .kind = OpenKind::File,
                           .create = true,
                           .writeThrough = true,
                           .security = security});
}

// A folder or a read-only file cannot be replaced by a rename.
bool IsInTheWay(const FilePlace& place) {
  const KernelHandle file = OpenPlace(place, {.access = FILE_READ_ATTRIBUTES});
  if (!file) return false;
  const auto status = ReadStatus(file.Get());
  return status && status->Has(FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_READONLY);
}

bool Replace(HANDLE fresh, const FilePlace& place) {
  if (IsInTheWay(place) && !ClearName(place)) return false;
  return UnlessHeld([&] { return RenameTo(fresh, place, true); });
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

bool WriteFileDurably(const FilePlace& place, std::string_view content, PSECURITY_DESCRIPTOR security) {
  const FilePlace fresh = place.With(L".new");
  // A leftover of a crash, or another user's file under that name: never written to.
  if (place.name.empty() || !ClearName(fresh)) return false;
  const KernelHandle file = UnlessHeld([&] { return CreateAnew(fresh, security); });
  if (!file) return false;
  if (WriteWhole(file.Get(), content) && FlushFileBuffers(file.Get()) && Replace(file.Get(), place)) return true;
  const DWORD error = GetLastError();
  DeleteOpenFile(file.Get());
  SetLastError(error);
  return false;
}

std::optional<std::string> ReadWholeFile(const std::wstring& path, size_t maxBytes) {
  const KernelHandle file(CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_DELETE, nullptr,
                                      OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
  if (!file) return std::nullopt;
  return ReadAll(file.Get(), maxBytes);
}

FileRead ReadTrustedFile(const FilePlace& place, size_t maxBytes, std::string& content) {
  constexpr OpenWish kReading{.access = GENERIC_READ | READ_CONTROL, .share = FILE_SHARE_READ | FILE_SHARE_DELETE};
  const KernelHandle file = UnlessHeld([&] { return OpenPlace(place, kReading); });
  if (!file) {
    const DWORD error = GetLastError();
    return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND ? FileRead::Missing : FileRead::Unreadable;
  }
  LARGE_INTEGER size{};
  if (JudgeOpen(file.Get(), {.folder = false, .closed = true}) != ObjectVerdict::Ours ||
      (GetFileSizeEx(file.Get(), &size) && static_cast<unsigned long long>(size.QuadPart) > maxBytes)) {
    return FileRead::NotBelieved;
  }
  auto text = ReadAll(file.Get(), maxBytes);
  if (!text) return FileRead::Unreadable;
  content = std::move(*text);
  return FileRead::Done;
}

}  // namespace moorlak
