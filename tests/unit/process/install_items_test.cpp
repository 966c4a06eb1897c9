#include <algorithm>
#include <gtest/gtest.h>
#include <set>
#include <system_error>

#include "process/install_look.h"
#include "unit/process/search_root.h"

namespace moorlak {
namespace {

using std::filesystem::path;

const path kSystem = kRoot / "Windows" / "System32";
const path kFolder = kRoot / "Program Files" / "Moorlak";
const path kAssets = kFolder / "data" / "flutter_assets";
const path kService = kFolder / "moorlak_service.exe";
const path kEngines = kFolder / "xray";
const SearchBases kBases = {kSystem, kFolder};

// The folders that are searched before the program's folder.
const Paths kBefore = {kSystem, kSystem / "xray", kSystem / "windows" / "xray", kRoot / "Windows" / "xray"};

Paths Items(const std::set<path>& files, const SearchBases& bases = kBases) {
  return InstallItems(bases, kService, [&](const path& candidate) { return files.count(candidate) != 0; });
}

Paths Joined(Paths left, const Paths& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

TEST(InstallItems, AreTheProgramTheEnginesAndTheFoldersThatAreSearchedForThem) {
  const Paths own = Joined({kFolder, kService}, kBefore);
  EXPECT_EQ(Items({kEngines / "xray.exe", kEngines / "tun2socks.exe", kEngines / "wintun.dll"}),
            Joined(own, {kEngines, kEngines / "xray.exe", kEngines / "tun2socks.exe", kEngines / "wintun.dll"}));
}

TEST(InstallItems, EndWithTheEngineThatIsFound) {
  const SearchBases console = {kFolder, kFolder};
  const Paths items = Items({kFolder / "xray.exe", kFolder / "tun2socks.exe", kEngines / "wintun.dll"}, console);
  EXPECT_EQ(items, (Paths{kFolder, kService, kFolder / "xray.exe", kFolder / "tun2socks.exe", kEngines,
                          kEngines / "wintun.dll"}));
}

TEST(InstallItems, AreAllFoldersWhereAnEngineIsMissing) {
  const Paths items = Items({});
  for (const path& folder :
       Joined(kBefore, {kFolder, kEngines, kAssets, kAssets / "xray", kAssets / "windows" / "xray"})) {
    EXPECT_EQ(std::count(items.begin(), items.end(), folder), 1) << folder;
  }
  EXPECT_EQ(items.size(), 10u);
}

// The first copy that can be loaded is used; the folders in which there is none matter before the first one only.
TEST(InstallItems, AreAllCopiesOfWintun) {
  const Paths items =
      Items({kFolder / "xray.exe", kFolder / "tun2socks.exe", kSystem / "wintun.dll", kAssets / "xray" / "wintun.dll"});
  EXPECT_EQ(items, Joined(Joined({kFolder, kService}, kBefore),
                          {kFolder / "xray.exe", kFolder / "tun2socks.exe", kSystem / "wintun.dll", kAssets / "xray",
                           kAssets / "xray" / "wintun.dll"}));
}

TEST(InstallItems, WithoutTheProgramsFolderAreThoseOfTheCurrentOne) {
  EXPECT_EQ(InstallItems({kSystem, {}}, {}, [](const path&) { return false; }), kBefore);
}

TEST(InstallItems, OfASearchThatFailsAreThoseBefore) {
  const auto fail = [](const path& candidate) -> bool {
    if (candidate.parent_path() == kSystem) return false;
    throw std::filesystem::filesystem_error("status", candidate, std::make_error_code(std::errc::permission_denied));
  };
  EXPECT_EQ(InstallItems(kBases, kService, fail), (Paths{kFolder, kService, kSystem}));
}

TEST(InstallItems, AreLoggedWithTheirPath) {
  EXPECT_EQ(ChangeableLine("C:\\Игры\\xray.exe"),
            "WARNING: C:\\Игры\\xray.exe can be changed by others: whoever changes it commands this service");
}

}  // namespace
}  // namespace moorlak
