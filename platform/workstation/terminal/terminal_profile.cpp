#include "workstation/terminal/terminal_profile.h"

#include <fcntl.h>
#include <rapidjson/error/en.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/prettywriter.h>
#include <rapidjson/reader.h>
#include <rapidjson/stringbuffer.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <string_view>

namespace workstation {
namespace {

constexpr std::size_t kMaxProfileSize = std::size_t{64} * 1024;

// ---- The table of the format -------------------------------------------------------------------

enum class Kind { kText, kInteger, kBoolean, kObject };

bool isPrintable(const std::string& text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return c >= 0x20 && c < 0x7F; });
}

bool isSponsorId(const std::string& text) {
  return text.size() == 6 && text != "000000" &&
         std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

bool hasNoZero(const std::string& text) { return text.find('\0') == std::string::npos; }

struct Field {
  const char* path;  // keys joined by "."
  Kind kind;
  bool required;
  std::int64_t least, most;             // of an integer, or of a text's length in octets
  bool (*isValid)(const std::string&);  // of a text; null: every text of that length
  const char* expectation;              // what it must be, in words
  void (*storeText)(TerminalProfile&, const std::string&);
  void (*storeNumber)(TerminalProfile&, std::int64_t);  // integers and booleans
};

using Profile = TerminalProfile;

constexpr Field kFields[] = {
    {"serial", Kind::kText, true, 0, 16, isPrintable, "0 to 16 printable ASCII characters",
     [](Profile& p, const std::string& v) { p.serial = v; }, nullptr},
    {"model", Kind::kText, true, 0, 12, isPrintable, "0 to 12 printable ASCII characters",
     [](Profile& p, const std::string& v) { p.model = v; }, nullptr},
    {"display", Kind::kObject, true, 0, 0, nullptr, "", nullptr, nullptr},
    {"display.width", Kind::kInteger, true, 1, 16384, nullptr, "from 1 to 16384", nullptr,
     [](Profile& p, std::int64_t v) { p.displayWidth = static_cast<int>(v); }},
    {"display.height", Kind::kInteger, true, 1, 16384, nullptr, "from 1 to 16384", nullptr,
     [](Profile& p, std::int64_t v) { p.displayHeight = static_cast<int>(v); }},
    {"display.colour", Kind::kBoolean, true, 0, 1, nullptr, "", nullptr,
     [](Profile& p, std::int64_t v) { p.displayColour = v != 0; }},
    {"memory", Kind::kInteger, true, 0, 4194303, nullptr,
     "from 0 to 4194303 (units of 1024 octets)", nullptr,
     [](Profile& p, std::int64_t v) { p.memoryKB = static_cast<unsigned>(v); }},
    {"keys", Kind::kInteger, true, 0, 255, nullptr, "from 0 to 255", nullptr,
     [](Profile& p, std::int64_t v) { p.keys = static_cast<int>(v); }},
    {"touch", Kind::kBoolean, true, 0, 1, nullptr, "", nullptr,
     [](Profile& p, std::int64_t v) { p.touch = v != 0; }},
    {"engine", Kind::kInteger, false, 1, 9999, nullptr, "from 1 to 9999", nullptr,
     [](Profile& p, std::int64_t v) { p.engine = static_cast<unsigned>(v); }},
    {"sponsor", Kind::kObject, false, 0, 0, nullptr, "", nullptr, nullptr},
    {"sponsor.id", Kind::kText, true, 6, 6, isSponsorId, "six digits, not all of them 0",
     [](Profile& p, const std::string& v) { p.sponsorId = v; }, nullptr},
    {"sponsor.text", Kind::kText, true, 1, 127, hasNoZero, "1 to 127 octets without U+0000",
     [](Profile& p, const std::string& v) { p.sponsorText = v; }, nullptr},
    {"roots", Kind::kText, false, 1, 4095, hasNoZero, "the path of a folder",
     [](Profile& p, const std::string& v) { p.rootsDirectory = v; }, nullptr},
};

constexpr std::size_t kFieldCount = std::size(kFields);

const char* kindName(Kind kind) {
  constexpr const char* kNames[] = {"a text", "a whole number", "true or false", "an object"};
  return kNames[static_cast<int>(kind)];
}

// "display" for "display.width", "" for "display".
std::string_view objectOf(std::string_view path) {
  const std::size_t dot = path.rfind('.');
  return dot == std::string_view::npos ? std::string_view() : path.substr(0, dot);
}

std::string quoted(std::string_view text) { return "\"" + std::string(text) + "\""; }

std::string knownKeys(std::string_view object) {
  std::string list;
  for (const Field& field : kFields) {
    const std::string_view path = field.path;
    if (objectOf(path) != object) continue;
    if (!list.empty()) list += ", ";
    list += quoted(path.substr(object.empty() ? 0 : object.size() + 1));
  }
  return list;
}

// ---- Reading -----------------------------------------------------------------------------------

// Takes the reader's events in the order of the text. A profile has no arrays and objects at two
// levels only, so `object_` and `field_` say where the text stands.
class ProfileHandler : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, ProfileHandler> {
 public:
  ProfileHandler(const std::string& text, const rapidjson::MemoryStream& stream)
      : text_(text), stream_(stream) {}

  bool Null() { return wrongType("null"); }
  bool Bool(bool value) {
    if (!expect(Kind::kBoolean, "true or false")) return false;
    field_->storeNumber(profile_, value ? 1 : 0);
    return finishEvent();
  }
  bool Int(int value) { return integer(value); }
  bool Uint(unsigned value) { return integer(value); }
  bool Int64(std::int64_t value) { return integer(value); }
  bool Uint64(std::uint64_t) { return integer(INT64_MAX); }
  bool Double(double) { return wrongType("a number with a fraction or exponent"); }

  bool String(const char* octets, rapidjson::SizeType length, bool) {
    if (!expect(Kind::kText, "a text")) return false;
    const std::string value(octets, length);
    const auto size = static_cast<std::int64_t>(length);
    const bool fits = size >= field_->least && size <= field_->most;
    if (!fits || (field_->isValid != nullptr && !field_->isValid(value))) {
      return fail(quoted(field_->path) + " must be " + field_->expectation);
    }
    field_->storeText(profile_, value);
    return finishEvent();
  }

  bool StartObject() {
    if (depth_ > 0) {
      if (!expect(Kind::kObject, "an object")) return false;
      object_ = field_->path;
    }
    ++depth_;
    return finishBrace();
  }

  bool Key(const char* octets, rapidjson::SizeType length, bool) {
    const std::string key(octets, length);
    const std::string path = object_.empty() ? key : object_ + "." + key;
    const Field* const field =
        std::find_if(std::begin(kFields), std::end(kFields), [&](const Field& candidate) {
          return candidate.path == path && objectOf(candidate.path) == object_;
        });
    if (field == std::end(kFields)) {
      return fail("unknown key " + quoted(printable(key)) + "; known here are " +
                  knownKeys(object_));
    }
    bool& seen = seen_[field - std::begin(kFields)];
    if (seen) return fail(quoted(path) + " stands here a second time");
    seen = true;
    field_ = field;
    return finishEvent();
  }

  bool EndObject(rapidjson::SizeType) {
    for (std::size_t i = 0; i < kFieldCount; ++i) {
      if (objectOf(kFields[i].path) != object_ || !kFields[i].required || seen_[i]) continue;
      return fail(quoted(kFields[i].path) + " is missing");
    }
    object_.clear();
    --depth_;
    return finishBrace();
  }

  bool StartArray() { return wrongType("an array"); }

  const TerminalProfile& profile() const { return profile_; }
  const std::string& message() const { return message_; }
  std::size_t errorOffset() const { return errorOffset_; }

 private:
  bool integer(std::int64_t value) {
    if (!expect(Kind::kInteger, "a number")) return false;
    if (value < field_->least || value > field_->most) {
      return fail(quoted(field_->path) + " must be " + field_->expectation + ", not " +
                  tokenText());
    }
    field_->storeNumber(profile_, value);
    return finishEvent();
  }

  bool expect(Kind kind, const char* found) {
    return depth_ > 0 && field_->kind == kind ? true : wrongType(found);
  }

  bool wrongType(const char* found) {
    if (depth_ == 0) return fail(std::string("a profile must be an object, not ") + found);
    return fail(quoted(field_->path) + " must be " + kindName(field_->kind) + ", not " + found);
  }

  bool fail(const std::string& message) {
    message_ = message;
    errorOffset_ = tokenStart();
    return false;
  }

  bool finishEvent() {
    lastEnd_ = stream_.Tell();
    return true;
  }

  // The reader reports a brace before it steps over it.
  bool finishBrace() {
    lastEnd_ = stream_.Tell() + 1;
    return true;
  }

  // The reader tells where a token ends; it begins behind the previous one and what may stand
  // between two tokens.
  std::size_t tokenStart() const {
    const std::size_t start = text_.find_first_not_of(" \t\r\n,:", lastEnd_);
    return start == std::string::npos ? text_.size() : start;
  }

  std::string tokenText() const {
    const std::size_t start = tokenStart();
    return text_.substr(start, stream_.Tell() - start);
  }

  static std::string printable(const std::string& text) {
    std::string result = text.substr(0, 40);
    std::replace_if(
        result.begin(), result.end(), [](char c) { return c < 0x20 || c == 0x7F; }, '?');
    return result;
  }

  const std::string& text_;
  const rapidjson::MemoryStream& stream_;
  TerminalProfile profile_;
  std::string object_;            // path of the object whose members are being read
  const Field* field_ = nullptr;  // the member being read
  bool seen_[kFieldCount] = {};
  int depth_ = 0;
  std::size_t lastEnd_ = 0;  // end of the previous token
  std::string message_;      // of the handler's own failure
  std::size_t errorOffset_ = 0;
};

void placeError(const std::string& text, std::size_t offset, ProfileError& error) {
  const std::string_view before(text.data(), std::min(offset, text.size()));
  const std::size_t lineStart = before.rfind('\n') + 1;  // npos + 1 is 0
  error.line = 1 + static_cast<int>(std::count(before.begin(), before.end(), '\n'));
  error.column = 1 + static_cast<int>(before.size() - lineStart);
}

// Reads at most one octet more than a profile may have. 0, or an errno value.
int readProfileFile(const std::string& file, std::string& text) {
  // Without blocking: whatever somebody put there, a pipe included, is only looked at.
  const int descriptor = open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (descriptor < 0) return errno;
  // On the stack: the heap of a program that asks who it belongs to is not to show the profile's
  // largest size.
  std::array<char, kMaxProfileSize + 1> octets;
  int failure = 0;
  std::size_t size = 0;
  while (size < octets.size()) {
    const ssize_t count = read(descriptor, octets.data() + size, octets.size() - size);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) failure = errno;
    if (count <= 0) break;
    size += static_cast<std::size_t>(count);
  }
  close(descriptor);
  text.assign(octets.data(), size);
  return failure;
}

}  // namespace

std::string ProfileError::text() const {
  if (line == 0) return file + ": " + message;
  return file + ":" + std::to_string(line) + ":" + std::to_string(column) + ": " + message;
}

bool parseTerminalProfile(const std::string& text, const std::string& file,
                          TerminalProfile& profile, ProfileError& error) {
  error = ProfileError();
  error.file = file;
  if (text.size() > kMaxProfileSize) {
    error.message = "larger than a profile can be (65536 octets)";
    return false;
  }
  rapidjson::MemoryStream stream(text.data(), text.size());
  ProfileHandler handler(text, stream);
  rapidjson::Reader reader;
  constexpr unsigned kFlags =
      rapidjson::kParseIterativeFlag | rapidjson::kParseValidateEncodingFlag;
  const rapidjson::ParseResult result = reader.Parse<kFlags>(stream, handler);
  if (!result) {
    const bool own = !handler.message().empty();
    error.message = own ? handler.message()
                        : std::string("not JSON: ") + rapidjson::GetParseError_En(result.Code());
    placeError(text, own ? handler.errorOffset() : result.Offset(), error);
    return false;
  }
  profile = handler.profile();
  return true;
}

bool loadTerminalProfile(const std::string& terminalDir, TerminalProfile& profile,
                         ProfileError& error) {
  const std::string file = terminalDir + "/" + kProfileFile;
  std::string text;
  const char* const standIn = std::getenv(kProfileVariable);
  const int failure = standIn != nullptr ? 0 : readProfileFile(file, text);
  if (standIn != nullptr) text = standIn;
  if (failure != 0) {
    error = ProfileError();
    error.file = file;
    error.message = std::string("cannot be read: ") + std::strerror(failure);
    error.isPassing = failure == EMFILE || failure == ENFILE || failure == ENOMEM || failure == EIO;
    return false;
  }
  TerminalProfile loaded;
  if (!parseTerminalProfile(text, file, loaded, error)) return false;
  if (!loaded.rootsDirectory.empty() && loaded.rootsDirectory.front() != '/') {
    loaded.rootsDirectory = terminalDir + "/" + loaded.rootsDirectory;
  }
  profile = loaded;
  return true;
}

std::string formatTerminalProfile(const TerminalProfile& profile) {
  rapidjson::StringBuffer buffer;
  rapidjson::PrettyWriter<rapidjson::StringBuffer> writer(buffer);
  writer.SetIndent(' ', 2);
  const auto text = [&writer](const char* key, const std::string& value) {
    writer.Key(key);
    writer.String(value.data(), static_cast<rapidjson::SizeType>(value.size()));
  };
  const auto integer = [&writer](const char* key, std::int64_t value) {
    writer.Key(key);
    writer.Int64(value);
  };
  const auto boolean = [&writer](const char* key, bool value) {
    writer.Key(key);
    writer.Bool(value);
  };

  writer.StartObject();
  text("serial", profile.serial);
  text("model", profile.model);
  writer.Key("display");
  writer.StartObject();
  integer("width", profile.displayWidth);
  integer("height", profile.displayHeight);
  boolean("colour", profile.displayColour);
  writer.EndObject();
  integer("memory", profile.memoryKB);
  integer("keys", profile.keys);
  boolean("touch", profile.touch);
  if (profile.engine != 0) integer("engine", profile.engine);
  if (!profile.sponsorId.empty()) {
    writer.Key("sponsor");
    writer.StartObject();
    text("id", profile.sponsorId);
    text("text", profile.sponsorText);
    writer.EndObject();
  }
  if (!profile.rootsDirectory.empty()) text("roots", profile.rootsDirectory);
  writer.EndObject();
  return std::string(buffer.GetString(), buffer.GetSize()) + "\n";
}

bool checkTerminalProfile(const TerminalProfile& profile, ProfileError& error) {
  TerminalProfile readBack;
  return parseTerminalProfile(formatTerminalProfile(profile), kProfileFile, readBack, error);
}

std::string terminalDirectory() {
  const char* const directory = std::getenv("WZ_TERMINAL");
  return directory == nullptr ? std::string() : directory;
}

}  // namespace workstation
