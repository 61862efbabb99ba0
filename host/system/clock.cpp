// The clock and the time zone.
//
// SOURCE_DATE_EPOCH (decimal seconds since 1970-01-01T00:00:00Z), when set
// and valid, replaces the real clock, with no milliseconds, so that output
// made at different times can be compared byte for byte. An invalid value
// is ignored with a warning on stderr. The zone comes from TZ or the
// system's setting, read anew on each call.
#include <time.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <optional>
#include <string>

#include "host/system/wide_text.h"
#include "platform/win32.h"

namespace snk::host {
namespace {

// The largest instant SYSTEMTIME can hold (year 30827).
constexpr int64_t kMaxSeconds = 910692730085LL;
constexpr int64_t kDay = 86400;

std::optional<int64_t> SourceDateEpoch() {
  const char* text = std::getenv("SOURCE_DATE_EPOCH");
  if (!text) return std::nullopt;
  int64_t value = 0;
  bool valid = *text != '\0';
  for (const char* p = text; valid && *p; ++p) {
    valid = *p >= '0' && *p <= '9' && value <= (kMaxSeconds - (*p - '0')) / 10;
    if (valid) value = value * 10 + (*p - '0');
  }
  if (valid) return value;
  static std::once_flag warned;
  std::call_once(warned,
                 [&] { std::fprintf(stderr, "snk: ignoring invalid SOURCE_DATE_EPOCH \"%s\"\n", text); });
  return std::nullopt;
}

struct Instant {
  time_t seconds;
  WORD milliseconds;
};

Instant Now() {
  if (auto epoch = SourceDateEpoch()) return {static_cast<time_t>(*epoch), 0};
  timespec ts{};
  clock_gettime(CLOCK_REALTIME, &ts);
  return {ts.tv_sec, static_cast<WORD>(ts.tv_nsec / 1000000)};
}

// Broken-down local time; tzset first because localtime_r need not notice
// a changed TZ.
tm LocalAt(time_t t) {
  static std::mutex zoneMutex;
  std::lock_guard lock(zoneMutex);
  tzset();
  tm local{};
  localtime_r(&t, &local);
  return local;
}

void ToSystemTime(const tm& t, WORD ms, SYSTEMTIME* out) {
  out->wYear = static_cast<WORD>(t.tm_year + 1900);
  out->wMonth = static_cast<WORD>(t.tm_mon + 1);
  out->wDayOfWeek = static_cast<WORD>(t.tm_wday);
  out->wDay = static_cast<WORD>(t.tm_mday);
  out->wHour = static_cast<WORD>(t.tm_hour);
  out->wMinute = static_cast<WORD>(t.tm_min);
  out->wSecond = static_cast<WORD>(t.tm_sec);
  out->wMilliseconds = ms;
}

// Minutes to add to local time to get UTC.
LONG BiasOf(const tm& local) { return static_cast<LONG>(-local.tm_gmtoff / 60); }

// The first instant in (from, to] whose daylight flag differs from the one
// at `from`, found to the second; nullopt if none.
std::optional<time_t> NextTransition(time_t from, time_t to) {
  int dst = LocalAt(from).tm_isdst > 0;
  time_t step = from;
  while (step < to) {
    time_t next = std::min<time_t>(step + kDay, to);
    if ((LocalAt(next).tm_isdst > 0) != dst) {
      time_t lo = step, hi = next;  // flag at lo == dst, at hi != dst
      while (hi - lo > 1) {
        time_t mid = lo + (hi - lo) / 2;
        ((LocalAt(mid).tm_isdst > 0) == dst ? lo : hi) = mid;
      }
      return hi;
    }
    step = next;
  }
  return std::nullopt;
}

// A yearly transition as Windows records it: month, weekday, its
// occurrence in the month (5 = last) and the local clock time before it.
SYSTEMTIME TransitionRule(time_t at) {
  tm before = LocalAt(at - 1);
  time_t wall = at - 1 + before.tm_gmtoff + 1;  // local clock at the change
  tm clock{};
  gmtime_r(&wall, &clock);
  SYSTEMTIME rule{};
  rule.wMonth = static_cast<WORD>(clock.tm_mon + 1);
  rule.wDayOfWeek = static_cast<WORD>(clock.tm_wday);
  tm nextWeek = clock;
  nextWeek.tm_mday += 7;
  time_t probe = timegm(&nextWeek);
  gmtime_r(&probe, &nextWeek);
  bool last = nextWeek.tm_mon != clock.tm_mon;
  rule.wDay = static_cast<WORD>(last ? 5 : (clock.tm_mday - 1) / 7 + 1);
  rule.wHour = static_cast<WORD>(clock.tm_hour);
  rule.wMinute = static_cast<WORD>(clock.tm_min);
  rule.wSecond = static_cast<WORD>(clock.tm_sec);
  return rule;
}

void CopyName(const char* name, WCHAR (&field)[32]) {
  std::u16string wide = ToUtf16(name ? name : "");
  if (wide.size() > 31) wide.resize(31);
  std::memset(field, 0, sizeof field);
  std::memcpy(field, wide.data(), wide.size() * sizeof(char16_t));
}

}  // namespace
}  // namespace snk::host

extern "C" void GetSystemTime(SYSTEMTIME* time) {
  snk::host::Instant now = snk::host::Now();
  tm utc{};
  gmtime_r(&now.seconds, &utc);
  snk::host::ToSystemTime(utc, now.milliseconds, time);
}

extern "C" void GetLocalTime(SYSTEMTIME* time) {
  snk::host::Instant now = snk::host::Now();
  snk::host::ToSystemTime(snk::host::LocalAt(now.seconds), now.milliseconds, time);
}

// Bias is the standard offset; in daylight time Bias + DaylightBias is the
// offset in force. The transition rules describe the next two changes. A
// zone without a change in the coming year gives TIME_ZONE_ID_UNKNOWN.
extern "C" DWORD GetTimeZoneInformation(TIME_ZONE_INFORMATION* zone) {
  using namespace snk::host;
  std::memset(zone, 0, sizeof *zone);
  time_t now = Now().seconds;
  tm local = LocalAt(now);
  bool daylight = local.tm_isdst > 0;
  // A zone with no change in the coming year keeps its offset.
  std::optional<time_t> change = NextTransition(now, now + 366 * kDay);
  if (!change) {
    zone->Bias = BiasOf(local);
    CopyName(local.tm_zone, zone->StandardName);
    CopyName(local.tm_zone, zone->DaylightName);
    return TIME_ZONE_ID_UNKNOWN;
  }
  tm other = LocalAt(*change);
  const tm& standard = daylight ? other : local;
  const tm& summer = daylight ? local : other;
  zone->Bias = BiasOf(standard);
  zone->DaylightBias = BiasOf(summer) - BiasOf(standard);
  CopyName(standard.tm_zone, zone->StandardName);
  CopyName(summer.tm_zone, zone->DaylightName);
  // Both changes of the yearly cycle: the next one and the one after it.
  std::optional<time_t> second = NextTransition(*change, *change + 366 * kDay);
  for (std::optional<time_t> t : {change, second}) {
    if (!t) continue;
    bool toDaylight = LocalAt(*t).tm_isdst > 0;
    (toDaylight ? zone->DaylightDate : zone->StandardDate) = TransitionRule(*t);
  }
  return daylight ? TIME_ZONE_ID_DAYLIGHT : TIME_ZONE_ID_STANDARD;
}
