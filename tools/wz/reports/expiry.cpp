#include "wz/reports/expiry.h"

#include <cstdio>
#include <ctime>

namespace wz {
namespace {

constexpr std::time_t kDay = 86400;

// Seconds since 1970; nothing for what is no time.
std::optional<std::time_t> secondsOf(const std::string& time) {
  std::tm utc{};
  if (std::sscanf(time.c_str(), "%4d%2d%2d%2d%2d%2d", &utc.tm_year, &utc.tm_mon, &utc.tm_mday,
                  &utc.tm_hour, &utc.tm_min, &utc.tm_sec) != 6) {
    return std::nullopt;
  }
  utc.tm_year -= 1900;
  --utc.tm_mon;
  return timegm(&utc);
}

std::string dayOf(const std::string& time) {
  return time.substr(0, 4) + "-" + time.substr(4, 2) + "-" + time.substr(6, 2);
}

std::string counted(std::time_t days) {
  return std::to_string(days) + (days == 1 ? " day" : " days");
}

}  // namespace

std::optional<Diagnostic> expiryOf(const CertificateFacts& facts, const std::string& file,
                                   const std::string& entry, const std::string& now,
                                   unsigned days) {
  const auto last = secondsOf(facts.validTo), today = secondsOf(now);
  if (!last || !today || *last - *today > static_cast<std::time_t>(days) * kDay) {
    return std::nullopt;
  }
  const std::string day = dayOf(facts.validTo);
  if (*last < *today) {
    return Diagnostic{"WZ-0906", "the certificate was to be used until " + day, file, entry, 0,
                      0,         counted((*today - *last) / kDay) + " ago"};
  }
  return Diagnostic{"WZ-0907", "the certificate is to be used until " + day, file, entry, 0,
                    0,         "in " + counted((*last - *today) / kDay)};
}

}  // namespace wz
