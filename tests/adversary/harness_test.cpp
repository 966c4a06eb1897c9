// Shows that a role does what it says, in a separate process.
#include <gtest/gtest.h>

#include "adversary/support/data_folder.h"
#include "adversary/support/role.h"
#include "base/paths.h"
#include "service/tunnel_log.h"

namespace moorlak::adversary {
namespace {

using Harness = FreshMachine;

TEST_F(Harness, ALineIsWrittenWhereNothingWasBefore) {
  EXPECT_EQ(Play("line", "first and only").exitCode, 0u);
  EXPECT_EQ(LogMessages(), std::vector<std::string>{"first and only"});
}

TEST_F(Harness, ASessionIsOpenedWithItsNote) {
  EXPECT_EQ(Play("banner", "adversary").exitCode, 0u);
  EXPECT_EQ(ContentOf(kSupportNoteFile), SupportNoteText());
  EXPECT_EQ(LogMessages().size(), 2u);
}

TEST_F(Harness, AnUnknownRoleIsReported) {
  EXPECT_EQ(Play("nobody", "").exitCode, 2u);
  EXPECT_FALSE(Exists(kDataFolder));
}

}  // namespace
}  // namespace moorlak::adversary
