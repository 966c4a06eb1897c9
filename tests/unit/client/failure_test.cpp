#include "client/failure.h"

#include <gtest/gtest.h>
#include <set>

namespace moorlak::client {
namespace {

std::string TextOf(Failure failure, ServiceState state = ServiceState::Unknown) {
  FailureReport report;
  report.failure = failure;
  report.serviceState = state;
  return FailureText(report);
}

bool Contains(const std::string& text, std::string_view part) {
  return text.find(part) != std::string::npos;
}

TEST(Failure, EachFailureHasItsOwnText) {
  const std::set<std::string> texts{TextOf(Failure::Absent),   TextOf(Failure::Busy),    TextOf(Failure::AccessDenied),
                                    TextOf(Failure::Impostor), TextOf(Failure::Refused), TextOf(Failure::BadReply),
                                    TextOf(Failure::TimedOut), TextOf(Failure::System)};
  EXPECT_EQ(texts.size(), 8U);
  EXPECT_EQ(texts.count(""), 0U);
}

TEST(Failure, AMissingPipeIsWordedByTheServicesState) {
  EXPECT_TRUE(Contains(TextOf(Failure::Absent, ServiceState::NotInstalled), "Install it"));
  EXPECT_TRUE(Contains(TextOf(Failure::Absent, ServiceState::Stopped), "sc start MoorlakTunnel"));
  EXPECT_TRUE(Contains(TextOf(Failure::Absent, ServiceState::Starting), "still starting"));
  EXPECT_TRUE(Contains(TextOf(Failure::Absent, ServiceState::Stopping), "just stopping"));
  EXPECT_TRUE(Contains(TextOf(Failure::Absent, ServiceState::Running), "pipe does not exist"));
}

TEST(Failure, WhoeverHoldsThePipesNameCannotEndASession) {
  for (const Failure failure : {Failure::Impostor, Failure::Busy, Failure::AccessDenied, Failure::Refused}) {
    EXPECT_TRUE(MaySessionGoOn(failure)) << TextOf(failure);
  }
  for (const Failure failure :
       {Failure::None, Failure::Absent, Failure::BadReply, Failure::TimedOut, Failure::System}) {
    EXPECT_FALSE(MaySessionGoOn(failure)) << TextOf(failure);
  }
}

TEST(Failure, ARefusalNamesTheRemedyAndBothPlaces) {
  FailureReport report;
  report.failure = Failure::Refused;
  report.ownFolder = "C:\\Tools";
  report.serviceCommandLine = "\"C:\\Moorlak\\moorlak_service.exe\"";
  const std::string text = FailureText(report);
  EXPECT_TRUE(Contains(text, "moorlakctl.exe must lie in the same folder as the service"));
  EXPECT_TRUE(Contains(text, "C:\\Tools"));
  EXPECT_TRUE(Contains(text, "C:\\Moorlak\\moorlak_service.exe"));
}

TEST(Failure, AStrangeReplyIsShownWithoutItsControlCharactersAndShortened) {
  FailureReport report;
  report.failure = Failure::BadReply;
  report.reply = "\x1B[31m" + std::string(300, 'x');
  const std::string text = FailureText(report);
  EXPECT_TRUE(Contains(text, "\\x1B[31mxxx"));
  EXPECT_FALSE(Contains(text, "\x1B"));
  EXPECT_LT(text.size(), 300U);
}

TEST(Failure, AnErrorOfTheSystemKeepsItsNumberAndWords) {
  FailureReport report;
  report.failure = Failure::System;
  report.systemError = 1450;
  report.systemText = "Insufficient resources";
  EXPECT_EQ(FailureText(report), "The control pipe failed: error 1450 (Insufficient resources)");
}

TEST(Failure, ExitCodesAreTheDocumentedNumbers) {
  EXPECT_EQ(static_cast<int>(ExitCodeOf(Failure::None)), 0);
  EXPECT_EQ(static_cast<int>(ExitCodeOf(Failure::Absent)), 3);
  EXPECT_EQ(static_cast<int>(ExitCodeOf(Failure::Busy)), 4);
  EXPECT_EQ(static_cast<int>(ExitCodeOf(Failure::Refused)), 5);
  EXPECT_EQ(static_cast<int>(ExitCodeOf(Failure::BadReply)), 7);
  EXPECT_EQ(static_cast<int>(ExitCodeOf(Failure::Impostor)), 10);
  EXPECT_EQ(static_cast<int>(ExitCodeOf(Failure::TimedOut)), 7);
  EXPECT_EQ(static_cast<int>(ExitCodeOf(Failure::System)), 7);
  EXPECT_EQ(static_cast<int>(ExitCodeOf(Failure::AccessDenied)), 8);
  EXPECT_EQ(static_cast<int>(ExitCode::ServiceError), 1);
  EXPECT_EQ(static_cast<int>(ExitCode::Usage), 2);
  EXPECT_EQ(static_cast<int>(ExitCode::SessionEnded), 6);
}

TEST(Failure, APipeOfTheSystemOrTheAdministratorsMayBeTheServices) {
  constexpr std::string_view kUser = "S-1-5-21-1-2-3-1001";
  for (const bool isElevated : {false, true}) {
    EXPECT_TRUE(MayBeService("S-1-5-18", kUser, isElevated));
    EXPECT_TRUE(MayBeService("S-1-5-32-544", kUser, isElevated));
    for (const std::string_view owner :
         {"S-1-5-21-1-2-3-1002", "S-1-5-21-1-2-3-100", "S-1-5-32-545", "S-1-5-19", "S-1-1-0", "S-1-5-180", ""}) {
      EXPECT_FALSE(MayBeService(owner, kUser, isElevated)) << owner;
    }
    EXPECT_FALSE(MayBeService("", "", isElevated));
  }
}

TEST(Failure, APipeOfTheOwnUserMayBeTheServicesUnlessTheClientIsElevated) {
  constexpr std::string_view kUser = "S-1-5-21-1-2-3-1001";
  EXPECT_TRUE(MayBeService(kUser, kUser, false));
  EXPECT_FALSE(MayBeService(kUser, kUser, true));
}

TEST(Failure, APipeBetweenTwoClientsIsTriedAgain) {
  EXPECT_EQ(JudgeOpenError(231), OpenVerdict::Retry);
  EXPECT_EQ(JudgeOpenError(2), OpenVerdict::Retry);
  EXPECT_EQ(JudgeOpenError(676), OpenVerdict::Retry);
  EXPECT_EQ(JudgeOpenError(5), OpenVerdict::Denied);
  EXPECT_EQ(JudgeOpenError(87), OpenVerdict::Failed);
}

TEST(Failure, APipeThatWasEverOccupiedIsBusyNotAbsent) {
  EXPECT_EQ(ExhaustedOpen(true), Failure::Busy);
  EXPECT_EQ(ExhaustedOpen(false), Failure::Absent);
}

TEST(Failure, AConnectionClosedBeforeTheReplyIsARefusal) {
  for (const uint32_t error : {109U, 232U, 233U}) {
    EXPECT_EQ(JudgeTransferError(error, false), Failure::Refused) << error;
    EXPECT_EQ(JudgeTransferError(error, true), Failure::System) << error;
  }
  EXPECT_EQ(JudgeTransferError(1450, false), Failure::System);
}

TEST(Failure, OnlyOkAloneOrWithFieldsIsOk) {
  EXPECT_TRUE(IsOkReply("OK"));
  EXPECT_TRUE(IsOkReply("OK running=0 tunnel=0 up=0 down=0"));
  EXPECT_FALSE(IsOkReply("OKAY"));
  EXPECT_FALSE(IsOkReply("ok"));
  EXPECT_FALSE(IsOkReply(""));
  EXPECT_FALSE(IsOkReply("ERR:OK"));
}

}  // namespace
}  // namespace moorlak::client
