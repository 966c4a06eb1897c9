#include <gtest/gtest.h>

#include "service/tunnel_log.h"

namespace moorlak {
namespace {

std::tm SomeTime() {
  std::tm time{};
  time.tm_year = 126;
  time.tm_mon = 0;
  time.tm_mday = 31;
  time.tm_hour = 9;
  time.tm_min = 5;
  time.tm_sec = 7;
  return time;
}

TEST(LogFormat, PutsTheLocalTimeBeforeTheMessageAndCrLfAfterIt) {
  EXPECT_EQ(FormatLogLine(SomeTime(), "MoorlakTunnel: stopped"), "2026-01-31 09:05:07 MoorlakTunnel: stopped\r\n");
}

TEST(LogFormat, LeavesTheMessageBytesUnchanged) {
  const std::string message("%d \0 \xff\n\xe2\x80\x94", 10);
  EXPECT_EQ(FormatLogLine(SomeTime(), message), "2026-01-31 09:05:07 " + message + "\r\n");
}

TEST(LogFormat, RotatesOnlyAboveFiveMebibytes) {
  EXPECT_FALSE(NeedsRotation(5'242'880));
  EXPECT_TRUE(NeedsRotation(5'242'881));
}

TEST(LogFormat, EndsEveryLineOfTheSupportNoteInCrCrLf) {
  const std::string note = SupportNoteText();
  EXPECT_TRUE(note.starts_with("Moorlak Windows support logs\r\r\n============================\r\r\n\r\r\n"));
  EXPECT_TRUE(note.ends_with("Also disconnect other VPNs before testing Moorlak.\r\r\n"));
  size_t lines = 0;
  for (size_t at = note.find('\n'); at != std::string::npos; at = note.find('\n', at + 1)) {
    ++lines;
    ASSERT_GE(at, 2u);
    EXPECT_EQ(note.substr(at - 2, 3), "\r\r\n") << "line " << lines;
  }
  EXPECT_EQ(lines, 15u);
}

TEST(LogFormat, NamesTheLogsMenuWithAnArrow) {
  EXPECT_NE(SupportNoteText().find("In the app: Settings \xe2\x86\x92 Logs (opens the logs folder).\r\r\n"),
            std::string::npos);
}

TEST(LogFormat, WritesTheBanner) {
  EXPECT_EQ(BannerLine("tunnel_service", "Windows 10.0.19045", 4242),
            "=== session banner role=tunnel_service os=Windows 10.0.19045 pid=4242 ===");
}

TEST(LogFormat, ReportsWhereToSendTheLog) {
  EXPECT_EQ(SupportLine(),
            "Support: if something fails, send C:\\ProgramData\\Moorlak\\logs\\tunnel.log to Moorlak support (see "
            "C:\\ProgramData\\Moorlak\\SUPPORT.txt)");
}

}  // namespace
}  // namespace moorlak
