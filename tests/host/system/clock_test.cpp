// The clock under SOURCE_DATE_EPOCH and the time zone biases.
#include <gtest/gtest.h>
#include <stdlib.h>

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

TEST(Clock, SourceDateEpochAtNewYearInKolkata) {
  REQUIRE_ZONE("Asia/Kolkata");
  ScopedEnv zone("TZ", "Asia/Kolkata");
  ScopedEnv epoch("SOURCE_DATE_EPOCH", "946683000");  // 1999-12-31T23:30:00Z
  SYSTEMTIME utc{}, local{};
  GetSystemTime(&utc);
  GetLocalTime(&local);
  EXPECT_EQ(utc.wYear, 1999);
  EXPECT_EQ(utc.wMonth, 12);
  EXPECT_EQ(utc.wDay, 31);
  EXPECT_EQ(utc.wDayOfWeek, 5);  // Friday
  EXPECT_EQ(utc.wHour, 23);
  EXPECT_EQ(utc.wMinute, 30);
  EXPECT_EQ(utc.wMilliseconds, 0);
  EXPECT_EQ(local.wYear, 2000);
  EXPECT_EQ(local.wMonth, 1);
  EXPECT_EQ(local.wDay, 1);
  EXPECT_EQ(local.wDayOfWeek, 6);
  EXPECT_EQ(local.wHour, 5);
  EXPECT_EQ(local.wMinute, 0);

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

TEST(TimeZone, UtcHasNoDaylightTime) {
  ScopedEnv zone("TZ", "UTC");
  ScopedEnv epoch("SOURCE_DATE_EPOCH", "1700000000");
  TIME_ZONE_INFORMATION tz{};
  EXPECT_EQ(GetTimeZoneInformation(&tz), TIME_ZONE_ID_UNKNOWN);
  EXPECT_EQ(tz.Bias, 0);
  EXPECT_EQ(tz.DaylightBias, 0);
}

TEST(TimeZone, NewYorkInBothSeasons) {
  REQUIRE_ZONE("America/New_York");
  ScopedEnv zone("TZ", "America/New_York");
  {
    ScopedEnv epoch("SOURCE_DATE_EPOCH", "1700000000");  // 2023-11-14, EST
    TIME_ZONE_INFORMATION tz{};
    EXPECT_EQ(GetTimeZoneInformation(&tz), TIME_ZONE_ID_STANDARD);
    EXPECT_EQ(tz.Bias, 300);
    EXPECT_EQ(tz.DaylightBias, -60);
    // Second Sunday of March and first Sunday of November, at 2:00.
    EXPECT_EQ(tz.DaylightDate.wMonth, 3);
    EXPECT_EQ(tz.DaylightDate.wDayOfWeek, 0);
    EXPECT_EQ(tz.DaylightDate.wDay, 2);
    EXPECT_EQ(tz.DaylightDate.wHour, 2);
    EXPECT_EQ(tz.StandardDate.wMonth, 11);
    EXPECT_EQ(tz.StandardDate.wDay, 1);
    EXPECT_EQ(tz.StandardDate.wHour, 2);
    EXPECT_EQ(std::u16string(tz.StandardName), u"EST");
  }
  {
    ScopedEnv epoch("SOURCE_DATE_EPOCH", "1690000000");  // 2023-07-22, EDT
    TIME_ZONE_INFORMATION tz{};
    EXPECT_EQ(GetTimeZoneInformation(&tz), TIME_ZONE_ID_DAYLIGHT);
    EXPECT_EQ(tz.Bias, 300);
    EXPECT_EQ(tz.Bias + tz.DaylightBias, 240);  // the offset in force
    EXPECT_EQ(std::u16string(tz.DaylightName), u"EDT");
    SYSTEMTIME local{};
    GetLocalTime(&local);
    EXPECT_EQ(local.wHour, 0);  // 04:26:40Z
  }
}

TEST(TimeZone, SouthernHemisphereDaylightSpansTheNewYear) {
  REQUIRE_ZONE("Australia/Adelaide");
  ScopedEnv zone("TZ", "Australia/Adelaide");          // +9:30, daylight +10:30
  ScopedEnv epoch("SOURCE_DATE_EPOCH", "1704067200");  // 2024-01-01
  TIME_ZONE_INFORMATION tz{};
  EXPECT_EQ(GetTimeZoneInformation(&tz), TIME_ZONE_ID_DAYLIGHT);
  EXPECT_EQ(tz.Bias, -570);
  EXPECT_EQ(tz.DaylightBias, -60);
  EXPECT_EQ(tz.StandardDate.wMonth, 4);
  EXPECT_EQ(tz.DaylightDate.wMonth, 10);
}

}  // namespace
