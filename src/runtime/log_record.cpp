#include "runtime/log_record.h"

#include <cstdlib>
#include <ctime>
#include <iterator>
#include <span>

#include "runtime/attempt.h"
#include "support/platform_info.h"
#include "support/terminal_identity.h"
#include "zelipc/zelipc.h"

namespace wzapp {
namespace {

using zelipc::JSObject;

constexpr char kLogReceiver[] = "1";
constexpr char kLogNotification[] = "_WZLog";
constexpr std::string_view kDefaultSystem = "ZTK";

constexpr const char* kLevelNames[] = {"APP_EMERGENCY", "APP_ALERT",  "APP_CRITICAL", "APP_ERROR",
                                       "APP_WARNING",   "APP_NOTICE", "APP_INFO",     "APP_DEBUG"};
constexpr int kLevelCount = static_cast<int>(std::size(kLevelNames));

bool hasName(int level) { return level >= 0 && level < kLevelCount; }

const char* messageType(const WZLogEntry& entry) {
  switch (entry.kind) {
    case kApplicationEntry:
      return "APPLICATION";
    case kErrorEntry:
      return "ERROR";
    case kScriptEntry:
      return hasName(entry.level) ? kLevelNames[entry.level] : "";
    default:
      return "<unknown>";
  }
}

// A text of an entry, and the member of a record that carries it.
struct TextMember {
  const char* key;
  std::string WZLogEntry::*text;
  bool evenEmpty;
};

constexpr TextMember kApplicationTexts[] = {{"msg", &WZLogEntry::message, true},
                                            {"aE", &WZLogEntry::event, true}};
constexpr TextMember kErrorTexts[] = {{"msg", &WZLogEntry::message, true},
                                      {"eC", &WZLogEntry::errorCode, true},
                                      {"eN", &WZLogEntry::errorName, true},
                                      {"eMsg", &WZLogEntry::errorMessage, false},
                                      {"eD", &WZLogEntry::errorData, false}};
constexpr TextMember kScriptTexts[] = {{"msg", &WZLogEntry::message, true},
                                       {"aD", &WZLogEntry::detail, false}};
constexpr TextMember kScriptErrorTexts[] = {{"eC", &WZLogEntry::errorCode, true},
                                            {"eN", &WZLogEntry::errorName, false},
                                            {"msg", &WZLogEntry::message, false}};

std::span<const TextMember> textMembers(const WZLogEntry& entry) {
  switch (entry.kind) {
    case kApplicationEntry:
      return kApplicationTexts;
    case kErrorEntry:
      return kErrorTexts;
    case kScriptEntry:
      if (!hasName(entry.level)) return {};
      if (entry.level == kErrorLevel) return kScriptErrorTexts;
      return kScriptTexts;
    default:
      return {};
  }
}

JSObject messageObject(const WZLogEntry& entry) {
  JSObject message;
  message["t"] = timeStampText(entry.time);
  message["s"] = entry.level;
  message["msgT"] = messageType(entry);
  for (const TextMember& member : textMembers(entry)) {
    const std::string& text = entry.*member.text;
    if (member.evenEmpty || !text.empty()) message[member.key] = text;
  }
  return message;
}

void addUnlessEmpty(JSObject& object, const char* key, std::string_view text) {
  if (!text.empty()) object[key] = std::string(text);
}

// Seconds by which local time is ahead of UTC. The two differ by less than a day, so that only the
// sign of the difference in days counts; 366 makes a step of the year outweigh that of the day.
int utcOffset(const tm& local, const tm& utc) {
  constexpr int kDaySeconds = 86400;
  const int offset = (local.tm_hour - utc.tm_hour) * 3600 + (local.tm_min - utc.tm_min) * 60 +
                     (local.tm_sec - utc.tm_sec);
  const int days = (local.tm_year - utc.tm_year) * 366 + (local.tm_yday - utc.tm_yday);
  if (days > 0) return offset + kDaySeconds;
  if (days < 0) return offset - kDaySeconds;
  return offset;
}

// Appends the last `digits` digits of `value`, which is not negative, and what separates them from
// the next. A line has ten of these; a printf of them all would cost more than the rest of it.
void appendField(std::string& text, int value, std::size_t digits, const char* separator) {
  text.append(digits, '0');
  for (auto digit = text.rbegin(); value > 0 && digits > 0; ++digit, --digits, value /= 10) {
    *digit = static_cast<char>('0' + value % 10);
  }
  text += separator;
}

}  // namespace

std::string timeStampText(const LogTime& time) {
  const std::time_t seconds = time.seconds;
  tm local = {};
  tm utc = {};
  localtime_r(&seconds, &local);
  gmtime_r(&seconds, &utc);
  const int offset = utcOffset(local, utc);
  const int distance = std::abs(offset);

  std::string text;
  text.reserve(std::size("2024-03-05T14:07:09.123+01:00:00"));
  // The years that 32 bits of seconds reach have four digits.
  appendField(text, local.tm_year + 1900, 4, "-");
  appendField(text, local.tm_mon + 1, 2, "-");
  appendField(text, local.tm_mday, 2, "T");
  appendField(text, local.tm_hour, 2, ":");
  appendField(text, local.tm_min, 2, ":");
  appendField(text, local.tm_sec, 2, ".");
  appendField(text, time.nanoseconds / 1000000, 3, offset < 0 ? "-" : "+");
  appendField(text, distance / 3600, 2, ":");
  appendField(text, distance % 3600 / 60, 2, ":");
  appendField(text, distance % 60, 2, "");
  return text;
}

void publishLog(const LogOrigin& origin, const std::vector<WZLogEntry>& entries) noexcept {
  attempt([&] {
    const std::string appId(origin.appId);
    std::string sponsorId;
    std::string sponsorText;
    getTerminalSponsor(sponsorId, sponsorText);

    JSObject record;
    JSObject& data = record["data"];
    data["sys"] = std::string(origin.system.empty() ? kDefaultSystem : origin.system);
    data["sSys"] = appId;
    data["v"] = std::string(origin.version);
    data["spId"] = sponsorId;
    data["h"] = terminalSerialNumber();
    if (!entries.empty()) {
      JSObject& messages = data["msgs"];
      for (const WZLogEntry& entry : entries) messages.append(messageObject(entry));
    }

    if (!origin.merchantId.empty() || !origin.system.empty() || !origin.systemVersion.empty()) {
      JSObject& host = record["wz_private"];
      addUnlessEmpty(host, "wz_merchantId", origin.merchantId);
      addUnlessEmpty(host, "wz_system", origin.system);
      addUnlessEmpty(host, "wz_system_version", origin.systemVersion);
    }
    zelipc::ipcNotify(kLogReceiver, kLogNotification, record, 0, appId);
  });
}

}  // namespace wzapp
