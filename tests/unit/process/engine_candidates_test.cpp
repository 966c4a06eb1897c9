#include <algorithm>
#include <gtest/gtest.h>
#include <set>
#include <system_error>

#include "process/engine_files.h"
#include "unit/process/search_root.h"

namespace moorlak {
namespace {

using std::filesystem::path;

const path kWork = kRoot / "work";
const path kCurrent = kWork / "current";
const path kProgram = kRoot / "Program Files" / "Moorlak";
const SearchBases kBases = {kCurrent, kProgram};

ExistenceTest Existing(std::set<path> files) {
  return [files = std::move(files)](const path& candidate) { return files.count(candidate) != 0; };
}

TEST(EngineCandidates, ListsTheNinePlacesOfAnExecutableInOrder) {
  const path assets = kProgram / "data" / "flutter_assets";
  EXPECT_EQ(ExecutableCandidates(kBases, "xray.exe"),
            (Paths{kCurrent / "xray.exe", kCurrent / "xray" / "xray.exe", kCurrent / "windows" / "xray" / "xray.exe",
                   kWork / "xray" / "xray.exe", kProgram / "xray.exe", kProgram / "xray" / "xray.exe",
                   assets / "xray.exe", assets / "xray" / "xray.exe", assets / "windows" / "xray" / "xray.exe"}));
}

TEST(EngineCandidates, UsesOneListForBothExecutables) {
  Paths xray = ExecutableCandidates(kBases, "xray.exe");
  for (path& candidate : xray) candidate.replace_filename("tun2socks.exe");
  EXPECT_EQ(ExecutableCandidates(kBases, "tun2socks.exe"), xray);
}

TEST(EngineCandidates, ListsTheSixPlacesOfWintunWithTheXrayFolderFirst) {
  EXPECT_EQ(WintunCandidates(kBases),
            (Paths{kCurrent / "xray" / "wintun.dll", kCurrent / "wintun.dll", kWork / "xray" / "wintun.dll",
                   kProgram / "xray" / "wintun.dll", kProgram / "wintun.dll",
                   kProgram / "data" / "flutter_assets" / "xray" / "wintun.dll"}));
}

TEST(EngineCandidates, AreThoseOfTheCurrentFolderOnlyWhenTheProgramsFolderIsUnknown) {
  const SearchBases bases = {kCurrent, {}};
  EXPECT_EQ(ExecutableCandidates(bases, "xray.exe"),
            (Paths{kCurrent / "xray.exe", kCurrent / "xray" / "xray.exe", kCurrent / "windows" / "xray" / "xray.exe",
                   kWork / "xray" / "xray.exe"}));
  EXPECT_EQ(WintunCandidates(bases),
            (Paths{kCurrent / "xray" / "wintun.dll", kCurrent / "wintun.dll", kWork / "xray" / "wintun.dll"}));
}

TEST(EngineCandidates, TakeARootAsItsOwnParent) {
  EXPECT_EQ(ExecutableCandidates({kRoot, kProgram}, "xray.exe")[3], kRoot / "xray" / "xray.exe");
}

TEST(EngineSearch, FindsFilesNextToTheProgramFromTheSystemFolder) {
  const path system = kRoot / "windows" / "system32";
  const path wanted = kProgram / "xray" / "xray.exe";
  EXPECT_EQ(FindFirstExisting(ExecutableCandidates({system, kProgram}, "xray.exe"), Existing({wanted})).path, wanted);
}

TEST(EngineSearch, PrefersTheCurrentFolderToTheProgramsXrayFolder) {
  const path wanted = kCurrent / "xray.exe";
  const auto result =
      FindFirstExisting(ExecutableCandidates(kBases, "xray.exe"), Existing({wanted, kProgram / "xray" / "xray.exe"}));
  EXPECT_EQ(result.path, wanted);
}

TEST(EngineSearch, PrefersWintunInTheXrayFolderToTheFolderAboveIt) {
  const path wanted = kProgram / "xray" / "wintun.dll";
  const auto result = FindFirstExisting(WintunCandidates(kBases), Existing({kProgram / "wintun.dll", wanted}));
  EXPECT_EQ(result.path, wanted);
}

TEST(EngineSearch, PrefersAnExecutableInTheFolderToItsXrayFolder) {
  const path wanted = kProgram / "xray.exe";
  const auto result =
      FindFirstExisting(ExecutableCandidates(kBases, "xray.exe"), Existing({wanted, kProgram / "xray" / "xray.exe"}));
  EXPECT_EQ(result.path, wanted);
}

TEST(EngineSearch, IsEmptyWithoutAFailureWhenNoCandidateExists) {
  const auto result = FindFirstExisting(ExecutableCandidates(kBases, "xray.exe"), Existing({}));
  EXPECT_TRUE(result.path.empty());
  EXPECT_EQ(result.failure, "");
}

TEST(EngineSearch, TestsEveryCandidateInOrderUntilOneExists) {
  Paths tested;
  const Paths candidates = ExecutableCandidates(kBases, "xray.exe");
  FindFirstExisting(candidates, [&](const path& candidate) {
    tested.push_back(candidate);
    return candidate == candidates[2];
  });
  EXPECT_EQ(tested, Paths(candidates.begin(), candidates.begin() + 3));
}

TEST(EngineSearch, EndsEmptyAtAnErrorThoughALaterCandidateExists) {
  const auto result = FindFirstExisting({kCurrent / "a", kCurrent / "b"}, [](const path& candidate) {
    if (candidate.filename() == "b") return true;
    throw std::filesystem::filesystem_error("status", candidate, std::make_error_code(std::errc::permission_denied));
  });
  EXPECT_TRUE(result.path.empty());
  EXPECT_NE(result.failure.find("status"), std::string::npos);
}

TEST(EngineSearch, FindsAllThatExistInTheirOrderAndEachOnce) {
  const Paths candidates = {kCurrent / "c", kCurrent / "a", kCurrent / "b", kCurrent / "c"};
  const auto results = FindAllExisting(candidates, Existing({kCurrent / "b", kCurrent / "c"}));
  EXPECT_EQ(results.paths, (Paths{kCurrent / "c", kCurrent / "b"}));
  EXPECT_EQ(results.failure, "");
}

TEST(EngineSearch, KeepsWhatItFoundBeforeAnError) {
  const auto results = FindAllExisting({kCurrent / "a", kCurrent / "b", kCurrent / "c"}, [](const path& candidate) {
    if (candidate.filename() != "b") return true;
    throw std::filesystem::filesystem_error("status", candidate, std::make_error_code(std::errc::permission_denied));
  });
  EXPECT_EQ(results.paths, Paths{kCurrent / "a"});
  EXPECT_NE(results.failure.find("status"), std::string::npos);
}

#ifndef _WIN32
TEST(EngineSearch, ReportsTheOperationOfAnErrorThatTheFilesystemRaises) {
  const path tooLong = kRoot / std::string(300, 'a');
  const auto result =
      FindFirstExisting({tooLong, kRoot}, [](const path& candidate) { return std::filesystem::exists(candidate); });
  EXPECT_TRUE(result.path.empty());
  EXPECT_NE(result.failure.find("status"), std::string::npos) << result.failure;
}
#endif

}  // namespace
}  // namespace moorlak
