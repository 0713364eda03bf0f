#include "support/config_file.h"

#include <algorithm>
#include <utility>

#include "support/file_system.h"
#include "support/text.h"

namespace wzapp {
namespace {

constexpr std::int32_t kUnreadable = -1;

// Takes the first line, which ends in a line feed or with the text, off the front of `text`.
std::string_view takeLine(std::string_view& text) {
  const std::size_t end = text.find('\n');
  const std::string_view line = text.substr(0, end);
  text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  return line;
}

}  // namespace

ConfigFile::ConfigFile(const std::string& path, int skip) : fileName_(path) {
  if (skip == 1) return;
  std::string text;
  if (!readFile(path.c_str(), text)) {
    errorLine_ = kUnreadable;
    return;
  }
  loadText(std::move(text));
}

ConfigFile ConfigFile::ofText(const std::string& path, std::string text) {
  ConfigFile file(path, 1);
  file.loadText(std::move(text));
  return file;
}

void ConfigFile::loadText(std::string text) {
  std::replace(text.begin(), text.end(), '\t', ' ');
  text.erase(std::remove(text.begin(), text.end(), '\r'), text.end());

  std::string section;
  std::string_view rest = text;
  for (std::int32_t number = 1; !rest.empty(); ++number) {
    if (!loadLine(takeLine(rest), section) && errorLine_ == 0) errorLine_ = number;
  }
}

// `section` is the current one, empty before the first header. False for an invalid line.
bool ConfigFile::loadLine(std::string_view line, std::string& section) {
  line.remove_prefix(std::min(line.find_first_not_of(' '), line.size()));
  if (line.empty() || line.front() == ';') return true;

  const std::size_t bracket = line.find(']');
  if (line.front() == '[' && bracket != std::string_view::npos) {
    section = line.substr(1, bracket - 1);
    sections_.try_emplace(section);
    return true;
  }

  // A "[" line that never closes may still be a key line.
  if (section.empty() || line.find('=') == std::string_view::npos) return false;
  sections_[section].append(line).append("\n");
  return true;
}

std::string ConfigFile::getValue(const std::string& section, const std::string& key,
                                 const std::string& defaultValue, bool raw) const {
  const auto found = sections_.find(section);
  if (found == sections_.end()) return defaultValue;
  for (std::string_view rest = found->second; !rest.empty();) {
    const std::string_view line = takeLine(rest);
    const std::size_t equals = line.find('=');
    if (equals == std::string_view::npos || trimmed(line.substr(0, equals)) != key) continue;
    const std::string_view value = line.substr(equals + 1);
    return std::string(raw ? value : trimmed(value));
  }
  return defaultValue;
}

}  // namespace wzapp
