#include "adversary/support/data_folder.h"

#include <windows.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <system_error>

#include "base/file_place.h"
#include "base/paths.h"
#include "base/trust.h"
#include "machine/support/child.h"
#include "support/files.h"
#include "support/log_watch.h"
#include "unit/base/flat_folder.h"
#include "unit/base/foreign_owner.h"

namespace moorlak::adversary {
namespace {

namespace fs = std::filesystem;

// Removes a file, or a folder with everything in it, but never through a link, which Wine would follow.
void RemoveTree(const fs::path& path) {
  std::error_code ignored;
  if (IsLink(path.wstring())) return;
  for (const auto& entry : fs::directory_iterator(path, ignored)) RemoveTree(entry.path());
  SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL);
  if (!DeleteFileW(path.c_str())) RemoveDirectoryW(path.c_str());
}

KernelHandle Hold(const std::wstring& folder, DWORD share) {
  KernelHandle holder(CreateFileW(folder.c_str(), FILE_LIST_DIRECTORY, share, nullptr, OPEN_EXISTING,
                                  FILE_FLAG_BACKUP_SEMANTICS, nullptr));
  EXPECT_TRUE(holder);
  return holder;
}

void RemoveDataFolders() {
  const fs::path parent = fs::path(kDataFolder).parent_path();
  const std::wstring name = fs::path(kDataFolder).filename();
  for (const std::wstring& found : NamesIn(parent.wstring(), name)) RemoveTree(parent / found);
}

}  // namespace

FreshMachine::FreshMachine() {
  RemoveDataFolders();
  EXPECT_FALSE(Exists(kDataFolder));
}

FreshMachine::~FreshMachine() {
  RemoveDataFolders();
}

void MakeDataFolders() {
  CreateDirectoryW(kDataFolder, nullptr);
  CreateDirectoryW(kLogFolder, nullptr);
}

void Plant(const std::wstring& path, std::string_view content) {
  std::ofstream file(fs::path(path), std::ios::binary | std::ios::trunc);
  file << content;
  EXPECT_TRUE(file.flush());
}

bool Exists(const std::wstring& path) {
  return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

bool IsFolder(const std::wstring& path) {
  const DWORD attributes = GetFileAttributesW(path.c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

void ChangeOwnerToUser(std::initializer_list<std::wstring> paths) {
  for (const std::wstring& path : paths) EXPECT_TRUE(SetForeignOwner(path));
}

bool GiveRights(const std::wstring& path, const std::wstring& sddl) {
  const auto descriptor = DescriptorFrom(sddl);
  const KernelHandle object(
      CreateFileW(path.c_str(), WRITE_DAC, kShareAll, nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
  return descriptor && object && SetKernelObjectSecurity(object.Get(), DACL_SECURITY_INFORMATION, descriptor.Get());
}

KernelHandle HoldInPlace(const std::wstring& folder) {
  return Hold(folder, FILE_SHARE_READ | FILE_SHARE_WRITE);
}

KernelHandle HoldAlone(const std::wstring& folder) {
  return Hold(folder, 0);
}

std::string ContentOf(const std::wstring& path) {
  return ReadSharedFile(path);
}

std::vector<std::string> LogMessages() {
  if (ContentOf(kLogFile).size() > (1u << 20)) return {"(a large log)"};
  return LogWatch::FromTheBeginning().Messages();
}

std::vector<std::wstring> NamesIn(const std::wstring& folder, std::wstring_view beginning) {
  std::vector<std::wstring> names;
  std::error_code ignored;
  for (const auto& entry : fs::directory_iterator(folder, ignored)) {
    const std::wstring name = entry.path().filename();
    if (name.starts_with(beginning)) names.push_back(name);
  }
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace moorlak::adversary
