// Sectioned files: what is loaded obeys the rules of a section's text, is found by its key, and
// reads back when it is written.

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <vector>

#include "fuzz/check.h"
#include "support/config_file.h"
#include "support/text.h"

namespace {

// A file in memory, the same for every input.
class MemoryFile {
 public:
  MemoryFile() : descriptor_(memfd_create("config", MFD_CLOEXEC)) { FUZZ_CHECK(descriptor_ >= 0); }

  void write(const std::string& content) const {
    FUZZ_CHECK(ftruncate(descriptor_, 0) == 0);
    FUZZ_CHECK(pwrite(descriptor_, content.data(), content.size(), 0) ==
               static_cast<ssize_t>(content.size()));
  }

  [[nodiscard]] std::string path() const { return "/proc/self/fd/" + std::to_string(descriptor_); }

 private:
  int descriptor_;
};

// The lines of a section's text, each without its line feed.
std::vector<std::string> linesOf(const std::string& text) {
  std::vector<std::string> lines;
  wzapp::splitString(lines, text, '\n', false);
  FUZZ_CHECK(lines.back().empty());
  lines.pop_back();
  return lines;
}

void checkLine(const std::string& line) {
  FUZZ_CHECK(line.find('=') != std::string::npos);
  FUZZ_CHECK(line.find_first_of("\t\r") == std::string::npos);
  FUZZ_CHECK(line.front() != ' ' && line.front() != ';');
}

// The first line of each key, which the search must find.
void checkValues(const wzapp::ConfigFile& file, const std::string& name,
                 const std::vector<std::string>& lines) {
  std::vector<std::string> seen;
  for (const std::string& line : lines) {
    const std::string key = wzapp::trim(line.substr(0, line.find('=')));
    if (std::find(seen.begin(), seen.end(), key) != seen.end()) continue;
    seen.push_back(key);
    const std::string raw = line.substr(line.find('=') + 1);
    FUZZ_CHECK(file.getValue(name, key, "none", true) == raw);
    FUZZ_CHECK(file.getValue(name, key, "none") == wzapp::trim(raw));
    if (seen.size() > 20) break;
  }
  // No key holds an equals sign.
  FUZZ_CHECK(file.getValue(name, "a=b", "none") == "none");
}

std::string written(const wzapp::ConfigFile& file) {
  std::string text;
  for (const auto& [name, lines] : file.sections()) text += "[" + name + "]\n" + lines;
  return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const MemoryFile memory;
  const std::string content(reinterpret_cast<const char*>(data), size);
  memory.write(content);

  const wzapp::ConfigFile file(memory.path());

  const auto lineFeeds = std::count(content.begin(), content.end(), '\n');
  FUZZ_CHECK(file.errorLine() >= 0 && file.errorLine() <= lineFeeds + 1);
  for (const auto& [name, text] : file.sections()) {
    FUZZ_CHECK(name.find_first_of("]\t\r\n") == std::string::npos);
    FUZZ_CHECK(!name.empty() || text.empty());
    const std::vector<std::string> lines = linesOf(text);
    for (const std::string& line : lines) checkLine(line);
    checkValues(file, name, lines);
  }

  memory.write(written(file));
  const wzapp::ConfigFile again(memory.path());
  FUZZ_CHECK(again.errorLine() == 0);
  FUZZ_CHECK(again.sections() == file.sections());
  return 0;
}
