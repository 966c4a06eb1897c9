#include "client/folder_executables.h"

#include <exception>
#include <filesystem>
#include <optional>
#include <system_error>
#include <utility>

#include "text/text_scan.h"

namespace moorlak::client {
namespace {

std::u8string AsUtf8(std::string_view text) {
  return {text.begin(), text.end()};
}

// nullopt if the bytes are not UTF-8 and the system's paths have another encoding.
std::optional<std::filesystem::path> PathOfFolder(const std::string& folder) {
  // The system would cut the path at the zero and list another folder.
  if (folder.find('\0') != std::string::npos) return std::nullopt;
  try {
    std::filesystem::path path(AsUtf8(folder));
    // "C:" alone is the current folder of that drive, not its root.
    path += std::filesystem::path::preferred_separator;
    return path;
  } catch (const std::exception&) {
    return std::nullopt;
  }
}

// Empty for a folder, for another kind of file, and for a name that cannot be converted to UTF-8.
std::string ExecutableName(const std::filesystem::directory_entry& entry) {
  std::error_code ignored;
  if (entry.is_directory(ignored)) return {};
  try {
    const std::u8string name = entry.path().filename().u8string();
    const std::string bytes(name.begin(), name.end());
    return FoldLetters(bytes).ends_with(".exe") ? bytes : std::string();
  } catch (const std::exception&) {
    return {};
  }
}

void ListFolder(const std::string& folder, const ExecutableVisitor& visit) {
  const std::optional<std::filesystem::path> path = PathOfFolder(folder);
  if (!path) return;
  std::error_code error;
  std::filesystem::directory_iterator entry(*path, error);
  const std::filesystem::directory_iterator end;
  while (!error && entry != end) {
    const std::string name = ExecutableName(*entry);
    if (!name.empty() && !visit(name)) return;
    entry.increment(error);
  }
}

}  // namespace

ListExecutables PortableListing(IsOwnDrive isOwnDrive) {
  return [isOwnDrive = std::move(isOwnDrive)](const std::string& folder, const ExecutableVisitor& visit) {
    if (IsLocalFolder(folder, isOwnDrive)) ListFolder(folder, visit);
  };
}

}  // namespace moorlak::client
