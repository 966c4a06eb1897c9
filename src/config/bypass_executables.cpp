#include "config/bypass_executables.h"

#include <algorithm>
#include <array>
#include <unordered_set>

#include "config/config_meta.h"
#include "text/letter_case.h"
#include "text/text_scan.h"

namespace moorlak {
namespace {

bool IsSeparator(char byte) {
  return byte == '\\' || byte == '/';
}

bool IsDriveLetter(char byte) {
  const char letter = FoldLetter(byte);
  return letter >= 'a' && letter <= 'z';
}

constexpr size_t kMaxFromOneFolder = 12;

// A program and the companions that it starts; its own name comes first.
using CompanionGroup = std::array<std::string_view, 3>;
constexpr std::array<CompanionGroup, 11> kCompanions{{{"firefox.exe", "plugin-container.exe"},
                                                      {"msedge.exe", "msedge_proxy.exe", "msedgewebview2.exe"},
                                                      {"chrome.exe", "chrome_proxy.exe", "chrome_pwa_launcher.exe"},
                                                      {"brave.exe", "brave_proxy.exe"},
                                                      {"opera.exe"},
                                                      {"vivaldi.exe"},
                                                      {"discord.exe", "discordptb.exe", "discordcanary.exe"},
                                                      {"steam.exe", "steamwebhelper.exe"},
                                                      {"whatsapp.exe"},
                                                      {"telegram.exe"},
                                                      {"spotify.exe"}}};

struct NameCollection {
  std::vector<std::string> names;
  std::unordered_set<std::string> known;
};

// False if the name is already in the collection.
bool Add(NameCollection& collection, std::string_view name) {
  if (!collection.known.emplace(name).second) return false;
  collection.names.emplace_back(name);
  return true;
}

void AddWithCompanions(NameCollection& collection, const std::string& name) {
  const auto group = std::ranges::find(kCompanions, name, [](const CompanionGroup& each) { return each.front(); });
  if (group == kCompanions.end()) {
    Add(collection, name);
    return;
  }
  for (const std::string_view companion : *group) {
    if (!companion.empty()) Add(collection, companion);
  }
}

// The name is in lower case.
bool IsHelperProgram(std::string_view name) {
  if (name.starts_with("unins") || name == "setup.exe" || name == "update.exe") return true;
  const auto contains = [name](std::string_view part) { return name.find(part) != kNotFound; };
  return contains("uninstall") || contains("updater") || contains("crashpad") || contains("notification_helper");
}

void AddFromFolder(NameCollection& collection, const std::string& app, const ListExecutables& listExecutables) {
  const size_t nameLength = BaseName(app).size();
  if (nameLength == app.size()) return;
  const std::string folder = app.substr(0, app.size() - nameLength - 1);
  if (folder.empty() || FoldLetters(app).find("\\windowsapps\\") != kNotFound) return;
  size_t added = 0;
  listExecutables(folder, [&](std::string_view fileName) {
    const std::string name = FoldLetters(fileName);
    if (!name.empty() && !IsHelperProgram(name) && Add(collection, name)) ++added;
    return added < kMaxFromOneFolder;
  });
}

}  // namespace

bool IsLocalFolder(std::string_view folder, const IsOwnDrive& isOwnDrive) {
  // The path that will be listed: the folder "\" followed by a name would be another machine's.
  const std::string path = std::string(folder) + "\\*";
  if (IsSeparator(path[0]) && (IsSeparator(path[1]) || path.substr(1, 2) == "??")) return false;
  if (path[1] != ':') return isOwnDrive({});
  return IsDriveLetter(path[0]) && isOwnDrive(path.substr(0, 2) + "\\");
}

std::vector<std::string> CollectBypassExecutables(const std::vector<std::string>& blockedApps,
                                                  const ListExecutables& listExecutables) {
  NameCollection collection;
  for (const std::string& app : blockedApps) {
    AddWithCompanions(collection, FoldLetters(BaseName(app)));
    AddFromFolder(collection, app, listExecutables);
  }
  return std::move(collection.names);
}

}  // namespace moorlak
