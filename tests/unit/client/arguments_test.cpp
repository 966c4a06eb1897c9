#include "client/arguments.h"

#include <gtest/gtest.h>

namespace moorlak::client {
namespace {

std::string ErrorOf(const std::vector<std::string>& words) {
  return ParseArguments(words).error;
}

Arguments Accepted(const std::vector<std::string>& words) {
  const ParsedArguments parsed = ParseArguments(words);
  EXPECT_EQ(parsed.error, "");
  return parsed.arguments;
}

TEST(Arguments, EachCommandIsKnownByItsName) {
  EXPECT_EQ(Accepted({"ping"}).command, ClientCommand::Ping);
  EXPECT_EQ(Accepted({"start", "a.json"}).command, ClientCommand::Start);
  EXPECT_EQ(Accepted({"stop"}).command, ClientCommand::Stop);
  EXPECT_EQ(Accepted({"status"}).command, ClientCommand::Status);
  EXPECT_EQ(Accepted({"logs"}).command, ClientCommand::Logs);
  EXPECT_EQ(Accepted({"prepare", "a.json"}).command, ClientCommand::Prepare);
  EXPECT_EQ(CommandName(ClientCommand::Status), "status");
  EXPECT_EQ(CommandName(ClientCommand::None), "");
}

TEST(Arguments, NoCommandAndAnUnknownOneAreErrors) {
  EXPECT_EQ(ErrorOf({}), "A command is missing.");
  EXPECT_EQ(ErrorOf({"begin"}), "There is no command \"begin\".");
  EXPECT_EQ(ErrorOf({""}), "There is no command \"\".");
  EXPECT_EQ(ErrorOf({"Ping"}), "There is no command \"Ping\".");
}

TEST(Arguments, StartTakesProxyOnEitherSideOfTheFile) {
  const Arguments before = Accepted({"start", "--proxy", "a.json"});
  EXPECT_TRUE(before.proxyMode);
  EXPECT_EQ(before.file, "a.json");
  const Arguments behind = Accepted({"start", "a.json", "--proxy"});
  EXPECT_TRUE(behind.proxyMode);
  EXPECT_EQ(behind.file, "a.json");
  EXPECT_FALSE(Accepted({"start", "a.json"}).proxyMode);
}

TEST(Arguments, ASingleDashIsStandardInput) {
  EXPECT_EQ(Accepted({"start", "-"}).file, "-");
}

TEST(Arguments, WhatFollowsTwoDashesIsAFileName) {
  EXPECT_EQ(Accepted({"start", "--", "--proxy"}).file, "--proxy");
  EXPECT_FALSE(Accepted({"start", "--", "--proxy"}).proxyMode);
  EXPECT_EQ(Accepted({"start", "--", "--help"}).file, "--help");
  EXPECT_EQ(Accepted({"start", "--", "--"}).file, "--");
}

TEST(Arguments, StartNeedsExactlyOneFile) {
  EXPECT_EQ(ErrorOf({"start"}), "\"start\" needs a configuration: FILE or -.");
  EXPECT_EQ(ErrorOf({"start", "--proxy"}), "\"start\" needs a configuration: FILE or -.");
  EXPECT_EQ(ErrorOf({"start", "a", "b"}), "Unexpected argument \"b\".");
  EXPECT_EQ(ErrorOf({"start", ""}), "The name of the configuration file is empty.");
}

TEST(Arguments, AnOptionOfAnotherCommandIsRefused) {
  EXPECT_EQ(ErrorOf({"start", "--json", "a"}), "\"start\" has no option \"--json\".");
  EXPECT_EQ(ErrorOf({"ping", "--watch"}), "\"ping\" has no option \"--watch\".");
  EXPECT_EQ(ErrorOf({"logs", "-f"}), "\"logs\" has no option \"-f\".");
  EXPECT_EQ(ErrorOf({"stop", "now"}), "Unexpected argument \"now\".");
}

TEST(Arguments, PrepareTakesItsOptionsAndExactlyOneFile) {
  const Arguments both = Accepted({"prepare", "--meta", "a.json", "--log"});
  EXPECT_TRUE(both.meta);
  EXPECT_TRUE(both.log);
  EXPECT_EQ(both.file, "a.json");
  const Arguments none = Accepted({"prepare", "-"});
  EXPECT_FALSE(none.meta);
  EXPECT_FALSE(none.log);
  EXPECT_EQ(none.file, "-");
  EXPECT_EQ(Accepted({"prepare", "--", "--meta"}).file, "--meta");
  EXPECT_EQ(ErrorOf({"prepare", "--meta"}), "\"prepare\" needs a configuration: FILE or -.");
  EXPECT_EQ(ErrorOf({"prepare", "a", "b"}), "Unexpected argument \"b\".");
  EXPECT_EQ(ErrorOf({"prepare", ""}), "The name of the configuration file is empty.");
}

TEST(Arguments, PrepareAndStartDoNotShareOptions) {
  EXPECT_EQ(ErrorOf({"prepare", "--proxy", "a"}), "\"prepare\" has no option \"--proxy\".");
  EXPECT_EQ(ErrorOf({"start", "--meta", "a"}), "\"start\" has no option \"--meta\".");
  EXPECT_EQ(ErrorOf({"logs", "--log"}), "\"logs\" has no option \"--log\".");
}

TEST(Arguments, StatusAndLogsTakeTheirOptions) {
  const Arguments status = Accepted({"status", "--json", "--watch"});
  EXPECT_TRUE(status.json);
  EXPECT_TRUE(status.watch);
  EXPECT_FALSE(Accepted({"status"}).json);
  EXPECT_TRUE(Accepted({"logs", "--follow"}).follow);
}

TEST(Arguments, LogsTakesANumberOfLines) {
  EXPECT_EQ(Accepted({"logs"}).lines, std::nullopt);
  EXPECT_EQ(Accepted({"logs", "-n", "20"}).lines, 20u);
  EXPECT_EQ(Accepted({"logs", "-n20"}).lines, 20u);
  EXPECT_EQ(Accepted({"logs", "-n", "0"}).lines, 0u);
  const Arguments both = Accepted({"logs", "-n", "5", "--follow"});
  EXPECT_EQ(both.lines, 5u);
  EXPECT_TRUE(both.follow);
}

TEST(Arguments, ANumberOfLinesIsANumber) {
  for (const std::vector<std::string>& words : std::vector<std::vector<std::string>>{{"logs", "-n"},
                                                                                     {"logs", "-n", "--follow"},
                                                                                     {"logs", "-n", ""},
                                                                                     {"logs", "-n", "-1"},
                                                                                     {"logs", "-n", "5x"},
                                                                                     {"logs", "-n", " 5"},
                                                                                     {"logs", "-n", "4294967296"},
                                                                                     {"logs", "-nx"}}) {
    EXPECT_EQ(ErrorOf(words), "\"-n\" needs a number of lines.") << words.back();
  }
  EXPECT_EQ(ErrorOf({"status", "-n", "5"}), "\"status\" has no option \"-n\".");
  EXPECT_EQ(ErrorOf({"logs", "-n", "5", "6"}), "Unexpected argument \"6\".");
}

TEST(Arguments, DoctorTakesItsOption) {
  EXPECT_EQ(Accepted({"doctor"}).command, ClientCommand::Doctor);
  EXPECT_FALSE(Accepted({"doctor"}).json);
  EXPECT_TRUE(Accepted({"doctor", "--json"}).json);
  EXPECT_EQ(ErrorOf({"doctor", "--watch"}), "\"doctor\" has no option \"--watch\".");
  EXPECT_EQ(ErrorOf({"doctor", "now"}), "Unexpected argument \"now\".");
}

TEST(Arguments, ResetIsAlone) {
  EXPECT_EQ(Accepted({"reset"}).command, ClientCommand::Reset);
  EXPECT_EQ(ErrorOf({"reset", "--json"}), "\"reset\" has no option \"--json\".");
  EXPECT_EQ(ErrorOf({"reset", "now"}), "Unexpected argument \"now\".");
}

TEST(Arguments, HelpIsOfTheCommandAndWinsOverErrors) {
  EXPECT_TRUE(Accepted({"--help"}).help);
  EXPECT_EQ(Accepted({"--help"}).command, ClientCommand::None);
  EXPECT_TRUE(Accepted({"start", "--help"}).help);
  EXPECT_EQ(Accepted({"start", "--wrong", "-h"}).command, ClientCommand::Start);
  EXPECT_TRUE(Accepted({"nonsense", "--help"}).help);
}

TEST(Arguments, HelpIsAWordToo) {
  EXPECT_TRUE(Accepted({"help"}).help);
  EXPECT_EQ(Accepted({"help"}).command, ClientCommand::None);
  EXPECT_TRUE(Accepted({"help", "start"}).help);
  EXPECT_EQ(Accepted({"help", "start"}).command, ClientCommand::Start);
  EXPECT_TRUE(Accepted({"help", "--help"}).help);
  EXPECT_EQ(ErrorOf({"help", "nonsense"}), "There is no command \"nonsense\".");
  EXPECT_EQ(ErrorOf({"help", "start", "stop"}), "Unexpected argument \"stop\".");
}

TEST(Arguments, VersionIsAlone) {
  EXPECT_TRUE(Accepted({"--version"}).version);
  EXPECT_TRUE(Accepted({"version"}).version);
  EXPECT_EQ(ErrorOf({"version", "ping"}), "Unexpected argument \"ping\".");
  EXPECT_EQ(ErrorOf({"--version", "ping"}), "Unexpected argument \"ping\".");
  EXPECT_EQ(ErrorOf({"ping", "--version"}), "\"ping\" has no option \"--version\".");
}

}  // namespace
}  // namespace moorlak::client
