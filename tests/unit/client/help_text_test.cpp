#include "client/help_text.h"

#include <gtest/gtest.h>
#include <string>

#include "client/config_text.h"
#include "client/exit_code.h"

namespace moorlak::client {
namespace {

constexpr ClientCommand kAll[] = {ClientCommand::None,    ClientCommand::Ping,   ClientCommand::Start,
                                  ClientCommand::Stop,    ClientCommand::Status, ClientCommand::Logs,
                                  ClientCommand::Prepare, ClientCommand::Doctor, ClientCommand::Reset};

TEST(HelpText, EachCommandHasItsOwnWithItsUsage) {
  for (const ClientCommand command : kAll) {
    if (command == ClientCommand::None) continue;
    EXPECT_TRUE(HelpText(command).starts_with("Usage: moorlakctl " + CommandName(command))) << CommandName(command);
    EXPECT_NE(HelpText(ClientCommand::None).find("moorlakctl " + CommandName(command)), std::string_view::npos);
  }
}

TEST(HelpText, FitsATerminalOfEightyColumns) {
  for (const ClientCommand command : kAll) {
    const std::string_view text = HelpText(command);
    EXPECT_EQ(text.back(), '\n');
    for (size_t begin = 0; begin < text.size();) {
      const size_t end = text.find('\n', begin);
      EXPECT_LT(end - begin, 80U) << text.substr(begin, end - begin);
      begin = end + 1;
    }
  }
}

TEST(HelpText, ListsEveryExitCode) {
  for (int code = 0; code <= static_cast<int>(ExitCode::ResetRefused); ++code) {
    EXPECT_NE(HelpText(ClientCommand::None).find("\n  " + std::to_string(code) + "  "), std::string_view::npos) << code;
  }
}

TEST(HelpText, NamesTheLimitThatIsEnforced) {
  EXPECT_NE(HelpText(ClientCommand::Start).find(std::to_string(kMaxConfigBytes)), std::string_view::npos);
  EXPECT_NE(HelpText(ClientCommand::Prepare).find(std::to_string(kMaxConfigBytes)), std::string_view::npos);
}

TEST(HelpText, TheDryRunsOwnProgramHasTheSameUnderItsOwnName) {
  const std::string help = PrepareProgramHelp();
  EXPECT_TRUE(help.starts_with("Usage: moorlak-prepare [--meta] [--log] FILE|-\n")) << help;
  EXPECT_EQ(help.find("moorlakctl"), std::string::npos);
  EXPECT_TRUE(HelpText(ClientCommand::Prepare).ends_with(help.substr(help.find('\n'))));
}

}  // namespace
}  // namespace moorlak::client
