#include "inspect/own_processes.h"

#include <gtest/gtest.h>

namespace moorlak::inspect {
namespace {

std::vector<uint32_t> Ids(const std::vector<NamedProcess>& named) {
  std::vector<uint32_t> ids;
  for (const ProcessView& process : OwnProcesses(named)) ids.push_back(process.id);
  return ids;
}

NamedProcess Service(uint32_t id, std::optional<bool> isInstalled) {
  return {{id, 1, "moorlak_service.exe", ""}, isInstalled};
}

NamedProcess Engine(uint32_t id, uint32_t parentId, std::optional<bool> isInstalled) {
  return {{id, parentId, "xray.exe", ""}, isInstalled};
}

using List = std::vector<uint32_t>;

TEST(OwnProcesses, AreThoseOfTheInstallation) {
  EXPECT_EQ(Ids({Service(10, true), Engine(20, 10, true), Engine(21, 5, true)}), (List{10, 20, 21}));
  EXPECT_EQ(Ids({Service(10, false), Engine(20, 10, false)}), List{});
}

TEST(OwnProcesses, WithAPathThatCannotBeReadAreAServiceAndItsEngines) {
  EXPECT_EQ(Ids({Service(10, std::nullopt), Engine(20, 10, std::nullopt)}), (List{10, 20}));
  EXPECT_EQ(Ids({Engine(20, 10, std::nullopt), Service(10, true)}), (List{20, 10}));
  EXPECT_EQ(Ids({Engine(20, 10, std::nullopt), Engine(21, 20, std::nullopt)}), List{});
  EXPECT_EQ(Ids({Service(10, true), Engine(20, 11, std::nullopt)}), List{10});
  EXPECT_EQ(Ids({Service(10, false), Engine(20, 10, std::nullopt)}), List{});
}

}  // namespace
}  // namespace moorlak::inspect
