#include "device/format.h"

#include "device/text.h"
#include "device/time.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace zanctl {
namespace {

TEST(FixedWidth, padsAndCutsToTheWidth) {
  EXPECT_EQ(fmtText("abc", 5), "abc  ");
  EXPECT_EQ(fmtText("abcdef", 3), "abc");
  EXPECT_EQ(fmtText("", 2), "  ");
  EXPECT_EQ(fmtInt(-12, 4), "-12 ");
  EXPECT_EQ(fmtPercent(100, 3), "100");
  EXPECT_EQ(fmtPercent(100, 2), "10");
  EXPECT_EQ(fmtIntUnit(1410, "MHz", 8), "1410MHz ");
  EXPECT_EQ(fmtMemory(-5, 40960, 18), "-5MiB / 40960MiB  ");
}

TEST(FixedWidth, showsAllOnesAsUnavailableWhereTheFieldHasSuchAForm) {
  EXPECT_EQ(fmtPercent(-1, 6), "N/A   ");
  EXPECT_EQ(fmtIntUnit(-1, "C", 5), "N/A  ");
  EXPECT_EQ(fmtInt(-1, 3), "-1 ");
  EXPECT_EQ(fmtMemory(-1, -1, 15), "-1MiB / -1MiB  ");
}

TEST(FixedWidth, namesComputeModes) {
  EXPECT_EQ(fmtComputeMode(0, 10), "Default   ");
  EXPECT_EQ(fmtComputeMode(1, 10), "E. Thread ");
  EXPECT_EQ(fmtComputeMode(2, 10), "Prohibited");
  EXPECT_EQ(fmtComputeMode(3, 10), "E. Process");
  EXPECT_EQ(fmtComputeMode(4, 4), "N/A ");
  EXPECT_EQ(fmtComputeMode(0xFFFFFFFF, 4), "N/A ");
}

TEST(Text, steersNoTerminal) {
  EXPECT_EQ(cleanText("Zanthe <K&V> \u00e9\u20ac\U0001F600"),
            "Zanthe <K&V> \u00e9\u20ac\U0001F600");
  EXPECT_EQ(cleanText("\x1b]52;\x07\n\t\x7f\u0085|"), "?]52;?????|");
  EXPECT_EQ(cleanText("\u202e\u2066\u2069\uffff\u200b\ufffd"), "????\u200b\ufffd");
  EXPECT_EQ(cleanText("\xff|\xc3|\xe2\x82|\xed\xa0\x80|\xc0\xaf|\xf4\x90\x80\x80"),
            "?|?|??|???|??|????");
}

TEST(Text, isCutBetweenCharacters) {
  EXPECT_EQ(fmtText("ab\u20ac", 4), "ab  ");
  EXPECT_EQ(fmtText("ab\u20ac", 5), "ab\u20ac");
  EXPECT_EQ(endOf("\u20acab", 4), "ab");
  EXPECT_EQ(endOf("\u20acab", 9), "\u20acab");
}

TEST(BusId, isUpperCaseHexadecimalWithFunctionZero) {
  nvmlPciInfo_t pci{};
  pci.domain = 0x1a;
  pci.bus = 0x3b;
  pci.device = 0x1f;
  EXPECT_EQ(busIdText(pci), "0000001A:3B:1F.0");
}

TEST(Time, stampsAreLocalAndFixedWidth) {
  setenv("TZ", "UTC0", 1);
  tzset();
  constexpr std::time_t kMarch = 1772841845;  // 2026-03-07 00:04:05 UTC
  EXPECT_EQ(dateStamp(kMarch), "20260307");
  EXPECT_EQ(timeStamp(kMarch), "00:04:05");
  EXPECT_EQ(timestampLine(kMarch), "Timestamp    Sat Mar  7 00:04:05 2026\n");
  constexpr std::time_t kFarAway = 253'402'300'800;  // the year 10000
  EXPECT_EQ(calendarTime(kFarAway), "Sat Jan  1 00:00:00 10000");
  EXPECT_EQ(dateTimeStamp(kFarAway), "10000-01-01 00:00:00");
}

TEST(Time, doesNotSleepWhenTheIntervalHasPassedOrTheClockWasSetBack) {
  timeval past = currentTime();
  past.tv_sec -= 10;
  timeval future = currentTime();
  future.tv_sec += 100'000;
  const timeval before = currentTime();
  paceInterval(past, 9'000'000);
  paceInterval(future, 50'000'000);
  EXPECT_LT(currentTime().tv_sec - before.tv_sec, 8);
}

}  // namespace
}  // namespace zanctl
