#include "wz/matrix/fleet_reader.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <system_error>
#include <utility>

#include "workstation/terminal/terminal_layout.h"
#include "wz/reports/output.h"
#include "wz/reports/package_report.h"
#include "wz/terminal/own_terminal.h"

namespace wz {
namespace {

namespace fs = std::filesystem;
using Type = JsonNode::Type;

constexpr std::size_t kMostMistakes = 10;
constexpr std::size_t kMostOctets = std::size_t{1} << 20;  // of one profile
constexpr std::size_t kLongestName = 200;
constexpr std::string_view kFactNames[] = {"name", "count", "installed", "exports"};

bool isFact(std::string_view key) {
  return std::find(std::begin(kFactNames), std::end(kFactNames), key) != std::end(kFactNames);
}

bool isTerminalFolder(const fs::path& folder) {
  std::error_code failure;
  return fs::exists(folder / workstation::kProfileFile, failure) &&
         fs::is_directory(folder / workstation::kFlashFolder, failure) &&
         fs::is_directory(folder / workstation::kHomeFolder, failure);
}

bool isBlank(std::string_view text) {
  return text.find_first_not_of(" \t\r\n") == std::string_view::npos;
}

// What is left of the text is a profile, each octet of which stands where it stood before.
std::string withoutFacts(std::string text, const JsonNode& root) {
  const auto blank = [&text](std::size_t from, std::size_t to) {
    for (std::size_t i = from; i < to; ++i) {
      if (text[i] != '\n') text[i] = ' ';
    }
  };
  for (std::size_t i = 0; i < root.members.size(); ++i) {
    if (!isFact(root.members[i].key)) continue;
    const std::size_t begin = root.members[i].offset;
    if (i + 1 < root.members.size()) {
      blank(begin, root.members[i + 1].offset);
      continue;
    }
    blank(begin, text.rfind('}'));
    const std::size_t before = text.find_last_not_of(" \t\r\n", begin - 1);
    if (text[before] == ',') text[before] = ' ';
  }
  return text;
}

bool areTexts(const JsonNode& node) {
  return node.type == Type::kArray &&
         std::all_of(node.items.begin(), node.items.end(),
                     [](const JsonNode& item) { return item.type == Type::kText; });
}

}  // namespace

// `line` is that of the text's beginning in the file.
struct FleetReader::Profile {
  std::string_view text;
  const std::string& file;
  std::size_t line = 1;
  bool isLine = false;  // one of many

  [[nodiscard]] fs::path folder() const { return fs::path(file).parent_path(); }
};

bool FleetReader::fail(const std::string& message) {
  ++mistakes_;
  if (mistakes_ <= kMostMistakes) printMessage(message);
  if (mistakes_ == kMostMistakes) printMessage("these are enough mistakes; there may be more");
  return false;
}

bool FleetReader::failAt(const Profile& profile, std::size_t offset, const std::string& message) {
  const TextPlace place = placeIn(profile.text, offset);
  return fail(profile.file + ":" + std::to_string(profile.line - 1 + place.line) + ":" +
              std::to_string(place.column) + ": " + message);
}

bool FleetReader::isEnough() const { return mistakes_ >= kMostMistakes; }

void FleetReader::add(FleetEntry entry, const std::string& place) {
  std::string error;
  if (!fleet_.add(std::move(entry), error)) (void)fail(place + ": " + error);
}

bool FleetReader::takeFact(const Profile& profile, const JsonMember& member, FleetEntry& entry) {
  const JsonNode& value = member.value;
  const auto wrong = [&](const char* what) {
    return failAt(profile, value.offset, "\"" + member.key + "\" must be " + what);
  };
  if (member.key == "name") {
    if (value.type != Type::kText || value.text.empty() || value.text.size() > kLongestName) {
      return wrong("a text of 1 to 200 octets");
    }
    entry.name = value.text;
  } else if (member.key == "count") {
    std::uint64_t count = 0;
    const std::string& digits = value.text;
    const auto read = std::from_chars(digits.data(), digits.data() + digits.size(), count);
    const bool isWhole = read.ec == std::errc() && read.ptr == digits.data() + digits.size();
    if (value.type != Type::kNumber || !isWhole || count == 0) {
      return wrong("a whole number above 0");
    }
    entry.count = count;
  } else if (member.key == "installed") {
    if (!areTexts(value)) return wrong("a list of package files");
    for (const JsonNode& item : value.items) {
      entry.installed.push_back((profile.folder() / item.text).string());
    }
  } else {
    if (value.type != Type::kObject) return wrong("an object");
    workstation::TerminalExports& exports = entry.image.terminal.exports;
    for (const JsonMember& part : value.members) {
      if (part.key == "triggers_version" && part.value.type == Type::kText) {
        exports.triggersVersion = part.value.text;
      } else if (part.key == "triggers" && areTexts(part.value)) {
        exports.triggers = textsAt(value, part.key);
      } else if (part.key == "interfaces" && areTexts(part.value)) {
        exports.interfaces = textsAt(value, part.key);
      } else {
        return failAt(profile, part.offset,
                      "\"exports\" has a text \"triggers_version\" and the lists of texts "
                      "\"triggers\" and \"interfaces\", and nothing else");
      }
    }
  }
  return true;
}

bool FleetReader::takeFacts(const Profile& profile, const JsonNode& root, FleetEntry& entry) {
  std::vector<std::string> seen;
  for (const JsonMember& member : root.members) {
    if (!isFact(member.key)) continue;
    if (std::find(seen.begin(), seen.end(), member.key) != seen.end()) {
      return failAt(profile, member.offset, "\"" + member.key + "\" stands here a second time");
    }
    seen.push_back(member.key);
    if (!takeFact(profile, member, entry)) return false;
  }
  return true;
}

// Its own certificates where it names some, otherwise those of a new terminal.
bool FleetReader::takeTrust(const Profile& profile, FleetEntry& entry) {
  workstation::NewTerminal& terminal = entry.image.terminal;
  std::string error;
  if (!std::exchange(isTrustRead_, true) && !addTrust(newTerminal_, error)) {
    return fail(error);
  }
  terminal.authorities = newTerminal_.authorities;
  if (terminal.profile.rootsDirectory.empty()) {
    terminal.ownRoots = newTerminal_.ownRoots;
    return true;
  }
  const std::string folder = (profile.folder() / terminal.profile.rootsDirectory).string();
  const auto known = roots_.find(folder);
  if (known != roots_.end()) {
    terminal.ownRoots = known->second;
    return true;
  }
  std::error_code failure;
  if (!fs::is_directory(folder, failure)) {
    return failAt(profile, profile.text.find("\"roots\""),
                  folder + " is no folder of certificates that can be read");
  }
  terminal.ownRoots = rootsIn(folder);
  roots_[folder] = terminal.ownRoots;
  return true;
}

void FleetReader::readProfile(const Profile& profile) {
  if (profile.text.starts_with(kByteOrderMark)) {
    (void)failAt(profile, 0, "a byte order mark stands here; write the file without one");
    return;
  }
  const JsonText json = readJsonText(profile.text);
  if (!json.isJson) {
    (void)failAt(profile, json.offset, "not JSON: " + json.problem);
    return;
  }
  FleetEntry entry;
  entry.name = profile.isLine ? profile.file + ":" + std::to_string(profile.line) : profile.file;
  entry.image.terminal.exports = defaultTerminal().exports;
  if (!takeFacts(profile, json.root, entry)) return;
  workstation::ProfileError error;
  if (!workstation::parseTerminalProfile(withoutFacts(std::string(profile.text), json.root),
                                         profile.file, entry.image.terminal.profile, error)) {
    if (error.line != 0) error.line += static_cast<int>(profile.line) - 1;
    (void)fail(error.text());
    return;
  }
  if (!takeTrust(profile, entry)) return;
  add(std::move(entry), profile.file + ":" + std::to_string(profile.line));
}

// A first line that is a value of its own is followed by others.
void FleetReader::readStream(std::istream& stream, const std::string& file) {
  std::string line;
  std::size_t number = 0, profiles = 0;
  while (!isEnough() && std::getline(stream, line)) {
    ++number;
    if (isBlank(line)) continue;
    ++profiles;
    if (profiles == 1 && !readJsonText(line).isJson) {
      std::string text = line + "\n";
      while (text.size() <= kMostOctets && std::getline(stream, line)) text += line + "\n";
      return readProfile({text, file, number, false});
    }
    readProfile({line, file, number, true});
  }
  if (profiles == 0) (void)fail(file + ": there is no profile in it");
}

void FleetReader::readFile(const std::string& file) {
  if (file == "-") return readStream(std::cin, "standard input");
  if (isPackageName(file)) {
    (void)fail(file + " is a package; name packages before --terminals");
    return;
  }
  std::error_code failure;
  const fs::file_status status = fs::status(file, failure);
  if (!fs::exists(status)) {
    (void)fail("cannot read " + file + ": " + (failure ? failure.message() : "it is not there"));
    return;
  }
  std::ifstream stream(file, std::ios::binary);
  if (!stream) {
    (void)fail("cannot read " + file + ": " + std::strerror(errno));
    return;
  }
  readStream(stream, file);
}

void FleetReader::readTerminal(const std::string& directory) {
  FleetEntry entry;
  entry.name = directory;
  std::string error;
  if (!readTerminalImage(directory, entry.image, error)) {
    (void)fail(error);
    return;
  }
  add(std::move(entry), directory);
}

void FleetReader::readFolder(const std::string& folder) {
  std::vector<std::string> paths;
  std::error_code failure;
  fs::directory_iterator entry(folder, failure);
  for (const fs::directory_iterator end; !failure && entry != end; entry.increment(failure)) {
    const std::string ending = entry->path().extension().string();
    if (isTerminalFolder(entry->path()) || ending == ".json" || ending == ".jsonl") {
      paths.push_back(entry->path().string());
    }
  }
  if (failure) {
    (void)fail("cannot list " + folder + ": " + failure.message());
    return;
  }
  if (paths.empty()) {
    (void)fail(folder + " is no terminal, and there are none in it: neither folders made by " +
               "wz terminal create nor profiles (*.json, *.jsonl)");
    return;
  }
  std::sort(paths.begin(), paths.end());
  for (const std::string& path : paths) {
    if (isEnough()) return;
    isTerminalFolder(path) ? readTerminal(path) : readFile(path);
  }
}

void FleetReader::readSource(const std::string& source) {
  fs::path path(source);
  std::error_code failure;
  if (fs::is_directory(path, failure)) {
    if (!path.has_filename()) path = path.parent_path();  // "desk/"
    std::error_code none;
    fs::exists(path / workstation::kProfileFile, none) ? readTerminal(path.string())
                                                       : readFolder(path.string());
    return;
  }
  const fs::path folder = path.has_parent_path() ? path.parent_path() : ".";
  if (path.filename() == workstation::kProfileFile && isTerminalFolder(folder)) {
    return readTerminal(folder.string());
  }
  readFile(source);
}

bool FleetReader::read(const std::vector<std::string>& sources) {
  for (const std::string& source : sources) {
    if (isEnough()) break;
    readSource(source);
  }
  return mistakes_ == 0;
}

}  // namespace wz
