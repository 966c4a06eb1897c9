#include "client/status_text.h"

#include <gtest/gtest.h>
#include <limits>

namespace moorlak::client {
namespace {

constexpr int64_t kMaxCounter = std::numeric_limits<int64_t>::max();

TEST(StatusText, BytesBelowOneKibibyteAreWhole) {
  EXPECT_EQ(FormatBytes(0), "0 B");
  EXPECT_EQ(FormatBytes(1023), "1023 B");
  EXPECT_EQ(FormatBytes(-5), "-5 B");
}

TEST(StatusText, LargerAmountsHaveOneDecimal) {
  EXPECT_EQ(FormatBytes(1024), "1.0 KiB");
  EXPECT_EQ(FormatBytes(1536), "1.5 KiB");
  EXPECT_EQ(FormatBytes(5 * 1024 * 1024), "5.0 MiB");
  EXPECT_EQ(FormatBytes(kMaxCounter), "8.0 EiB");
}

TEST(StatusText, RoundingNeverShows1024OfAUnit) {
  EXPECT_EQ(FormatBytes(1024 * 1024 - 1), "1.0 MiB");
  EXPECT_EQ(FormatBytes(1024 * 1024 - 103), "1023.9 KiB");
}

TEST(StatusText, TheFirstSampleHasNoRate) {
  RateMeter meter;
  const TrafficRates rates = MeasureRates(meter, {true, true, 1000, 2000}, 5);
  EXPECT_EQ(rates.up, 0);
  EXPECT_EQ(rates.down, 0);
}

TEST(StatusText, RatesArePerSecondOfTheTimeBetweenSamples) {
  RateMeter meter;
  MeasureRates(meter, {true, true, 1000, 2000}, 10000);
  const TrafficRates half = MeasureRates(meter, {true, true, 1500, 2000}, 10500);
  EXPECT_EQ(half.up, 1000);
  EXPECT_EQ(half.down, 0);
  const TrafficRates two = MeasureRates(meter, {true, true, 1600, 6000}, 12500);
  EXPECT_EQ(two.up, 50);
  EXPECT_EQ(two.down, 2000);
}

TEST(StatusText, AFallenCounterAndNoTimeGiveNoRate) {
  RateMeter meter;
  MeasureRates(meter, {true, true, 1000, 1000}, 0);
  const TrafficRates fallen = MeasureRates(meter, {true, true, 10, 3000}, 1000);
  EXPECT_EQ(fallen.up, 0);
  EXPECT_EQ(fallen.down, 2000);
  EXPECT_EQ(MeasureRates(meter, {true, true, 5000, 5000}, 1000).up, 0);
}

TEST(StatusText, ExtremeCountersDoNotOverflow) {
  RateMeter meter;
  MeasureRates(meter, {true, true, std::numeric_limits<int64_t>::min(), 0}, 0);
  EXPECT_EQ(MeasureRates(meter, {true, true, kMaxCounter, 0}, 1).up, kMaxCounter);
}

TEST(StatusText, TheLineNamesEachState) {
  EXPECT_EQ(StatusLine({false, false, 0, 0}, {}), "stopped, sent 0 B, received 0 B");
  EXPECT_EQ(StatusLine({true, false, 0, 0}, {}), "running, session not up, sent 0 B, received 0 B");
  EXPECT_EQ(StatusLine({true, true, 1024, 2048}, {}), "session up, sent 1.0 KiB, received 2.0 KiB");
  EXPECT_EQ(StatusLine({false, true, 0, 0}, {}), "stopping, sent 0 B, received 0 B");
}

TEST(StatusText, TheLineCarriesRatesWhenThereAreSome) {
  EXPECT_EQ(StatusLine({true, true, 1024, 2048}, TrafficRates{10, 1024}),
            "session up, sent 1.0 KiB (10 B/s), received 2.0 KiB (1.0 KiB/s)");
}

TEST(StatusText, JsonHasTheDocumentedFieldsInOrder) {
  EXPECT_EQ(StatusJson({true, false, 1, -2}, {}), R"({"running":true,"tunnel":false,"up":1,"down":-2})");
  EXPECT_EQ(StatusJson({false, true, kMaxCounter, 0}, {}),
            R"({"running":false,"tunnel":true,"up":9223372036854775807,"down":0})");
  EXPECT_EQ(StatusJson({true, true, 1, 2}, TrafficRates{3, 4}),
            R"({"running":true,"tunnel":true,"up":1,"down":2,"upRate":3,"downRate":4})");
}

}  // namespace
}  // namespace moorlak::client
