#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "packaging/application_folder.h"
#include "wz/commands/commands.h"
#include "wz/reports/json_document.h"
#include "wz/reports/output.h"
#include "wz/words/application_template.h"
#include "wz/words/exit_code.h"
#include "wz/words/shell_word.h"

namespace wz {
namespace {

namespace fs = std::filesystem;

// Ids that stand for themselves in a manifest, a page and a file name.
bool isPlain(const std::string& id) {
  return std::ranges::all_of(id, [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '.' ||
           c == '_' || c == '-';
  });
}

int checkOptions(const NewOptions& options) {
  std::string why = packaging::whyNoApplicationId(options.id);
  if (why.empty() && !isPlain(options.id)) {
    why = "has other characters than letters, digits, dots, hyphens and underscores";
  }
  if (!why.empty()) {
    printMessage("the application id " + options.id + " " + why + "; give one with --id");
    return kUsage;
  }
  if (why = packaging::whyNoSponsor(options.sponsor); !why.empty()) {
    printMessage("the sponsor " + options.sponsor + " " + why);
    return kUsage;
  }
  return kDone;
}

// The last part of its name; "." and ".." are called what they are called where they are.
std::string nameOf(const fs::path& folder) {
  std::error_code failure;
  const fs::path whole = fs::absolute(folder, failure).lexically_normal();
  return (whole.has_filename() ? whole : whole.parent_path()).filename().string();
}

void replaceAll(std::string& text, std::string_view what, const std::string& by) {
  for (std::size_t at = text.find(what); at != std::string::npos;
       at = text.find(what, at + by.size())) {
    text.replace(at, what.size(), by);
  }
}

bool fail(const fs::path& path, const std::string& why) {
  printMessage("cannot make " + path.string() + ": " + why);
  return false;
}

bool writeFile(const fs::path& path, const std::string& content) {
  std::error_code failure;
  fs::create_directories(path.parent_path(), failure);
  if (failure) return fail(path, failure.message());
  std::ofstream file(path, std::ios::binary);
  file << content;
  file.close();
  return file ? true : fail(path, std::strerror(errno));
}

bool makeFolder(const fs::path& folder) {
  std::error_code failure;
  fs::create_directories(folder, failure);
  if (failure) return fail(folder, failure.message());
  if (!fs::is_empty(folder, failure) || failure) {
    return fail(folder, "it exists and is not empty; name a new folder");
  }
  return true;
}

// As `wz run` takes it for a folder, whatever is installed.
std::string folderWord(const std::string& directory) {
  const bool isName =
      directory.find('/') == std::string::npos && directory != "." && directory != "..";
  return isName ? "./" + directory : directory;
}

// Half an application is none, and would be in the way of the next try.
void removeFiles(const fs::path& folder, bool isNew) {
  std::error_code ignored;
  for (const TemplateFile& file : applicationTemplate())
    fs::remove_all(folder / *fs::path(file.name).begin(), ignored);
  if (isNew) fs::remove(folder, ignored);
}

void printJson(const NewOptions& options) {
  std::vector<std::string> files;
  for (const TemplateFile& file : applicationTemplate()) files.emplace_back(file.name);
  printJsonDocument("new", true, {}, [&](JsonWriter& writer) {
    putText(writer, "application", options.id);
    putText(writer, "folder", options.directory);
    putTexts(writer, "files", files);
  });
}

}  // namespace

int makeApplication(const NewOptions& given) {
  NewOptions options = given;
  const fs::path folder = fs::path(options.directory).lexically_normal();
  if (folder.empty()) {
    printMessage("name the new folder, or . for the current one");
    return kUsage;
  }
  if (options.id.empty()) options.id = nameOf(folder);
  if (const int code = checkOptions(options); code != kDone) return code;
  const bool isNew = !fs::exists(fs::symlink_status(folder));
  if (!makeFolder(folder)) return kEnvironment;
  for (const TemplateFile& file : applicationTemplate()) {
    std::string content(file.content);
    replaceAll(content, "@ID@", options.id);
    replaceAll(content, "@SPONSOR@", options.sponsor);
    if (writeFile(folder / file.name, content)) continue;
    removeFiles(folder, isNew);
    return kEnvironment;
  }
  if (options.asJson) {
    printJson(options);
    return kDone;
  }
  printSuccess("made the application " + options.id + " in " + options.directory);
  const std::string word = shellWord(folderWord(options.directory));
  printSuccess("  run it   wz run --watch " + word);
  printSuccess("  test it  wz test " + word);
  printSuccess("  pack it  wz pack " + word + " -o " + options.id + ".zip");
  return kDone;
}

}  // namespace wz
