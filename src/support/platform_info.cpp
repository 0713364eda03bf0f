#include "support/platform_info.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <cstring>

#include "platforminfo/platforminfo.h"

#include "support/file_system.h"
#include "support/mutex.h"
#include "support/text.h"

namespace wzapp {
namespace {

// Keys of the platform information service.
constexpr int kSerialNumberKey = 35;
constexpr int kMemoryKey = 39;
constexpr int kDisplayKey = 46;
constexpr int kModelKey = 68;
constexpr int kKeypadKey = 72;

// Sizes of the buffers that it is given, in octets.
constexpr std::size_t kSerialNumberSize = 17;
constexpr std::size_t kMemorySize = 16;
constexpr std::size_t kDisplaySize = 72;
constexpr std::size_t kModelSize = 13;
constexpr std::size_t kTerminalModelSize = 14;
constexpr std::size_t kKeypadSize = 52;

// Offsets of the 32-bit fields that are read, in octets.
constexpr std::size_t kMemoryOctetsField = 0;
constexpr std::size_t kDisplayColourField = 0;
constexpr std::size_t kDisplayWidthField = 4;
constexpr std::size_t kDisplayHeightField = 8;
constexpr std::size_t kKeypadKeysField = 12;

constexpr const char* kTouchDevice = "/sys/devices/platform/captouch.0";

template <std::size_t size>
class PlatformRecord {
 public:
  [[nodiscard]] bool query(int key) {
    unsigned int length = 0;
    return platforminfo_get(key, octets_.data(), static_cast<unsigned int>(size), &length) == 0;
  }

  [[nodiscard]] std::uint32_t field(std::size_t offset) const {
    std::uint32_t value = 0;
    std::memcpy(&value, octets_.data() + offset, sizeof value);
    return value;
  }

  [[nodiscard]] std::string_view text() const { return octets_.data(); }

 private:
  std::array<char, size + 1> octets_{};  // one more than the service is told: a text always ends
};

bool beginsWith(std::string_view name, std::string_view prefix) { return name.starts_with(prefix); }

bool beginsWithAnyCase(std::string_view name, std::string_view prefix) {
  return name.size() >= prefix.size() &&
         std::equal(prefix.begin(), prefix.end(), name.begin(),
                    [](char a, char b) { return toUpper(a) == toUpper(b); });
}

// --- Model name -------------------------------------------------------------------------------

constexpr const char* kTerminalsOfT30[] = {"LN-ZAP", "LNRADIOMOD7"};

struct NameCut {
  std::string_view prefix;
  std::size_t length;
};

// The first row that matches cuts the name, kOtherNameLength any other.
constexpr NameCut kNameCuts[] = {
    {"T30", 3}, {"T7", 2}, {"N255k", 5}, {"N273", 4}, {"N466k", 5}, {"N277w", 5},
};
constexpr std::size_t kOtherNameLength = 4;

using ModelRecord = PlatformRecord<kModelSize>;

bool hasColourDisplay() {
  PlatformRecord<kDisplaySize> display;
  return display.query(kDisplayKey) && display.field(kDisplayColourField) != 0;
}

// The view is of `record` or of a literal.
std::string_view normalizedModel(ModelRecord& record) {
  std::string_view name = record.query(kModelKey) ? record.text() : "unknown";
  name = name.substr(0, name.find(' '));
  if (name == "KM420" && hasColourDisplay()) name = "KM420C";
  for (const char* terminal : kTerminalsOfT30) {
    if (beginsWith(name, terminal)) name = "T30";
  }
  for (const NameCut& cut : kNameCuts) {
    if (beginsWith(name, cut.prefix)) return name.substr(0, cut.length);
  }
  return name.substr(0, kOtherNameLength);
}

// --- Touch screen and keypad ------------------------------------------------------------------

struct TouchRule {
  std::string_view prefix;
  bool (*matches)(std::string_view name, std::string_view prefix);
};

constexpr TouchRule kTouchRules[] = {
    {"T30", beginsWith},         {"T7", beginsWith},          {"N255k", beginsWithAnyCase},
    {"N273", beginsWithAnyCase}, {"k293", beginsWithAnyCase}, {"k291", beginsWithAnyCase},
};

bool findTouchScreen() {
  struct stat status;
  if (fileStat(kTouchDevice, status) == 0) return true;
  return hasTouchScreenOfModel(modelName());
}

struct KeyCountRule {
  std::string_view prefix;  // in any case
  int keys;
};

// The first row that matches counts. Rows of five and more characters match only the names that
// modelName() leaves at five; the table is kept whole all the same.
constexpr KeyCountRule kKeyCountRules[] = {
    {"K271", 15},  {"K335", 15},      {"K357", 15},  {"K379", 15},  //
    {"Qelta", 13}, {"DuoQelta8", 13},                               //
    {"WP105", 0},                                                   //
    {"WP200", 16}, {"WP201", 16},     {"WP310", 16},                //
    {"KM420", 24}, {"KM500", 15},     {"KM575", 24},                //
    {"KM580", 15}, {"KM585", 15},     {"KM590", 15},                //
    {"KM705", 24}, {"KM720", 15},     {"KM725", 15},                //
    {"T30", 0},    {"T7", 0},                                       //
    {"N255k", 15}, {"N273", 15},                                    //
    {"k247", 15},  {"k293", 15},      {"k291", 0},                  //
    {"T6000", 15}, {"G570", 15},
};

}  // namespace

const char* modelName() {
  static Mutex mutex;
  static char cache[kModelSize] = "";  // under `mutex` until it holds a name, and then for good

  const MutexLock lock(mutex);
  if (cache[0] == '\0') {
    ModelRecord record;
    const std::string_view name = normalizedModel(record);
    if (name.empty()) return "";  // asked for again the next time
    name.copy(cache, sizeof cache - 1);
  }
  return cache;
}

int hasTouchScreen() {
  static std::atomic<int> cache{-1};  // two threads at once find the same
  if (cache == -1) cache = findTouchScreen() ? 1 : 0;
  return cache;
}

bool hasTouchScreenOfModel(std::string_view name) {
  if (name.size() > 1 && name[1] != '2') return true;
  return std::any_of(std::begin(kTouchRules), std::end(kTouchRules),
                     [name](const TouchRule& rule) { return rule.matches(name, rule.prefix); });
}

void displayInfo(int& width, int& height, int& depth) {
  width = -1;
  height = -1;
  depth = 0;
  PlatformRecord<kDisplaySize> display;
  if (!display.query(kDisplayKey)) return;
  depth = display.field(kDisplayColourField) != 0 ? 24 : 1;
  width = static_cast<int>(display.field(kDisplayWidthField));
  height = static_cast<int>(display.field(kDisplayHeightField));
}

unsigned int memorySizeKB() {
  PlatformRecord<kMemorySize> memory;
  return memory.query(kMemoryKey) ? memory.field(kMemoryOctetsField) / 1024 : 0;
}

int keyCountOfModel(std::string_view name) {
  for (const KeyCountRule& rule : kKeyCountRules) {
    if (beginsWithAnyCase(name, rule.prefix)) return rule.keys;
  }
  if (name.size() < 2) return kUnknownKeyCount;
  return name[1] == '4' ? 15 : 21;
}

int keyCount() {
  const int keys = keyCountOfModel(modelName());
  if (keys != kUnknownKeyCount) return keys;
  PlatformRecord<kKeypadSize> keypad;
  return keypad.query(kKeypadKey) ? static_cast<int>(keypad.field(kKeypadKeysField)) : 0;
}

std::string terminalSerialNumber() {
  PlatformRecord<kSerialNumberSize> serialNumber;
  if (!serialNumber.query(kSerialNumberKey)) return "00000000000";
  return std::string(trimmed(serialNumber.text()));
}

std::string terminalModel() {
  PlatformRecord<kTerminalModelSize> model;
  return model.query(kModelKey) ? std::string(trimmed(model.text())) : std::string();
}

}  // namespace wzapp
