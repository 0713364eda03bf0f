// Sectioned key/value files:
//
//   ; a comment
//   [section]     anything behind the "]" is ignored
//   key = value
//
// Tabs count as spaces and carriage returns as nothing. Names, keys and values are byte strings.
#ifndef WZAPP_SUPPORT_CONFIG_FILE_H
#define WZAPP_SUPPORT_CONFIG_FILE_H

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

namespace wzapp {

// Such a file held in memory. Any thread may read it; the only exception is std::bad_alloc.
class ConfigFile {
 public:
  // Loads the file at `path`, at most kMaxFileSize octets of it (support/file_system.h). With
  // `skip` 1 nothing is loaded: the file is then empty and without fault, for a caller that has
  // already read it in another form.
  explicit ConfigFile(const std::string& path, int skip = 0);

  // The same for the text of the file at `path`, which is not read.
  [[nodiscard]] static ConfigFile ofText(const std::string& path, std::string text);

  // The value of the first `key` of `section`, trimmed unless `raw`; `defaultValue` when there is
  // none. Names are compared exactly. Never fails: a file that could not be read has no sections.
  [[nodiscard]] std::string getValue(const std::string& section, const std::string& key,
                                     const std::string& defaultValue, bool raw = false) const;

  // 0 without fault, -1 when the file could not be read, otherwise the number, from 1, of the first
  // line that is none of the three forms above. The lines around it are loaded all the same.
  [[nodiscard]] std::int32_t errorLine() const { return errorLine_; }

  [[nodiscard]] const std::string& fileName() const { return fileName_; }

  // The key lines of each section, each without leading spaces and with a line feed behind it.
  [[nodiscard]] const std::map<std::string, std::string>& sections() const { return sections_; }

 private:
  void loadText(std::string text);
  [[nodiscard]] bool loadLine(std::string_view line, std::string& section);

  std::string fileName_;
  std::map<std::string, std::string> sections_;
  std::int32_t errorLine_ = 0;
};

}  // namespace wzapp

#endif  // WZAPP_SUPPORT_CONFIG_FILE_H
