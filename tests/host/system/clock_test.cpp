// The clock under SOURCE_DATE_EPOCH and the time zone biases.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <cstdio>
#include <filesystem>
#include <optional>
#include <string>

#include "platform/win32.h"
#include "test_support.h"

namespace {

using snk::test::ScopedEnv;

bool HaveZone(const char* name) {
  return std::filesystem::exists(std::string("/usr/share/zoneinfo/") + name);
}

#define REQUIRE_ZONE(name) \
  if (!HaveZone(name)) GTEST_SKIP() << "no tzdata for " << name

// Date, day of the week and time of day as one line.
std::string Text(const SYSTEMTIME& t) {
  char text[64];
  std::snprintf(text, sizeof text, "%04d-%02d-%02d %d %02d:%02d:%02d.%03d", t.wYear, t.wMonth, t.wDay,
                t.wDayOfWeek, t.wHour, t.wMinute, t.wSecond, t.wMilliseconds);
  return text;
}

TEST(Clock, SourceDateEpochAtNewYearInKolkata) {
  REQUIRE_ZONE("Asia/Kolkata");
  ScopedEnv zone("TZ", "Asia/Kolkata");
  ScopedEnv epoch("SOURCE_DATE_EPOCH", "946683000");  // 1999-12-31T23:30:00Z
  SYSTEMTIME utc{}, local{};
  GetSystemTime(&utc);
  GetLocalTime(&local);
  EXPECT_EQ(Text(utc), "1999-12-31 5 23:30:00.000");  // a Friday
  EXPECT_EQ(Text(local), "2000-01-01 6 05:00:00.000");

  TIME_ZONE_INFORMATION tz{};
  EXPECT_EQ(GetTimeZoneInformation(&tz), TIME_ZONE_ID_UNKNOWN);
  EXPECT_EQ(tz.Bias, -330);  // UTC = local + Bias
}

TEST(Clock, InvalidOrMissingEpochUsesTheRealClock) {
  for (const char* value : {"12abc", "-5", "", static_cast<const char*>(nullptr)}) {
    ScopedEnv epoch("SOURCE_DATE_EPOCH", value);
    SYSTEMTIME utc{};
    GetSystemTime(&utc);
    EXPECT_GE(utc.wYear, 2024) << (value ? value : "unset");
  }
}

// A transition rule as month/day of the week/week of the month hour.
std::string Rule(const SYSTEMTIME& t) {
  return std::to_string(t.wMonth) + "/" + std::to_string(t.wDayOfWeek) + "/" + std::to_string(t.wDay) + " " +
         std::to_string(t.wHour);
}

TEST(TimeZone, BiasesAndRulesInEitherSeason) {
  struct Case {
    const char* zone;
    const char* epoch;
    DWORD id;
    LONG bias, daylightBias;
    const char* daylightRule;
    const char* standardRule;
    std::u16string name;  // of the season in force
    int localHour;
  } cases[] = {
      {"UTC", "1700000000", TIME_ZONE_ID_UNKNOWN, 0, 0, "0/0/0 0", "0/0/0 0", u"", 22},
      // Second Sunday of March and first Sunday of November, at 2:00.
      {"America/New_York", "1700000000", TIME_ZONE_ID_STANDARD, 300, -60, "3/0/2 2", "11/0/1 2", u"EST", 17},
      {"America/New_York", "1690000000", TIME_ZONE_ID_DAYLIGHT, 300, -60, "3/0/2 2", "11/0/1 2", u"EDT", 0},
      // +9:30, daylight +10:30 across the new year.
      {"Australia/Adelaide", "1704067200", TIME_ZONE_ID_DAYLIGHT, -570, -60, "10/0/1 2", "4/0/1 3", u"", 10},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.zone) + " at " + c.epoch);
    if (!HaveZone(c.zone)) continue;
    ScopedEnv zone("TZ", c.zone);
    ScopedEnv epoch("SOURCE_DATE_EPOCH", c.epoch);
    TIME_ZONE_INFORMATION tz{};
    EXPECT_EQ(GetTimeZoneInformation(&tz), c.id);
    EXPECT_EQ(tz.Bias, c.bias);  // UTC = local + Bias (+ DaylightBias in summer)
    EXPECT_EQ(tz.DaylightBias, c.daylightBias);
    EXPECT_EQ(Rule(tz.DaylightDate), c.daylightRule);
    EXPECT_EQ(Rule(tz.StandardDate), c.standardRule);
    if (!c.name.empty()) {
      EXPECT_EQ(std::u16string(c.id == TIME_ZONE_ID_DAYLIGHT ? tz.DaylightName : tz.StandardName), c.name);
    }
    SYSTEMTIME local{};
    GetLocalTime(&local);
    EXPECT_EQ(local.wHour, c.localHour);
  }
}

}  // namespace
