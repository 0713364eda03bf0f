#include "workstation/terminal/terminal_directory.h"

#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string_view>
#include <system_error>
#include <utility>

#include "workstation/terminal/bus_daemon.h"
#include "workstation/terminal/folder_stream.h"
#include "workstation/terminal/owner_check.h"
#include "workstation/terminal/terminal_layout.h"

namespace workstation {
namespace {

namespace fs = std::filesystem;

constexpr const char* kCertificateEndings[] = {".der", ".crt", ".cer"};

char toLower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

bool fail(std::string& error, const std::string& what, const std::string& why) {
  error = what + ": " + why;
  return false;
}

bool fail(std::string& error, const std::string& what, const std::error_code& why) {
  return fail(error, what, why.message());
}

bool makeFolder(const fs::path& folder, std::string& error) {
  std::error_code failure;
  fs::create_directories(folder, failure);
  return failure ? fail(error, "cannot make " + folder.string(), failure) : true;
}

bool writeFile(const fs::path& path, const std::string& content, std::string& error) {
  std::ofstream file(path, std::ios::binary);
  file << content;
  file.close();
  return file ? true : fail(error, "cannot write " + path.string(), "is there space left?");
}

// An empty folder of the user's own, made when there is none. `isNew` says who made it.
bool prepareFolder(const fs::path& folder, bool& isNew, std::string& error) {
  std::error_code failure;
  const fs::file_status status = fs::status(folder, failure);
  isNew = status.type() == fs::file_type::not_found;
  if (isNew) return makeFolder(folder, error);
  if (status.type() != fs::file_type::directory) {
    return fail(error, folder.string(), failure ? failure.message() : "is no folder");
  }
  if (!checkOwner(folder.string(), error)) return false;
  const bool isEmpty = fs::is_empty(folder, failure);
  if (failure) return fail(error, "cannot list " + folder.string(), failure);
  if (!isEmpty) {
    return fail(error, folder.string(), "is not empty; a terminal needs a folder of its own");
  }
  return true;
}

bool makeFolders(const fs::path& terminal, std::string& error) {
  if (!makeFolder(terminal / kFlashFolder, error) || !makeFolder(terminal / kRootsFolder, error) ||
      !makeFolder(terminal / kRunFolder, error)) {
    return false;
  }
  for (const std::string& user : terminalUsers()) {
    if (!makeFolder(terminal / kHomeFolder / user, error)) return false;
  }
  std::error_code failure;
  fs::permissions(terminal / kRunFolder, fs::perms::owner_all, failure);
  return failure ? fail(error, (terminal / kRunFolder).string(), failure) : true;
}

// Only a name before the ending makes it one: ".der" is a hidden file.
bool isCertificateName(std::string_view name) {
  const std::size_t dot = name.rfind('.');
  if (dot == std::string_view::npos || dot == 0) return false;
  return std::any_of(std::begin(kCertificateEndings), std::end(kCertificateEndings),
                     [ending = name.substr(dot)](std::string_view known) {
                       return std::equal(ending.begin(), ending.end(), known.begin(), known.end(),
                                         [](char a, char b) { return toLower(a) == b; });
                     });
}

bool isRegularFile(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

bool writeRoots(const fs::path& terminal, const std::vector<RootCertificate>& roots,
                std::string& error) {
  for (const RootCertificate& root : roots) {
    if (!writeFile(terminal / kRootsFolder / root.fileName, root.der, error)) return false;
  }
  return true;
}

bool writeAuthorities(const fs::path& terminal, const std::vector<AuthorityRow>& rows,
                      std::string& error) {
  if (rows.empty()) return true;
  const fs::path folder = terminal / kAuthoritiesFolder;
  if (!makeFolder(folder, error)) return false;
  std::string table;
  for (const AuthorityRow& row : rows) {
    const std::string name = std::to_string(&row - rows.data() + 1) + ".der";
    table += std::to_string(row.kind) + " " + name + "\n";
    if (!writeFile(folder / name, row.der, error)) return false;
  }
  return writeFile(folder / kAuthoritiesFile, table, error);
}

bool copyRoots(const fs::path& terminal, const std::string& roots, std::string& error) {
  std::error_code failure;
  if (!fs::is_directory(roots, failure)) {
    return fail(error, roots, failure ? failure.message() : "is no folder of certificates");
  }
  const std::vector<std::string> files = certificateFiles(roots);
  if (files.empty()) {
    return fail(error, roots, "holds no certificates (*.der, *.crt or *.cer)");
  }
  for (const fs::path file : files) {
    const std::uintmax_t size = fs::file_size(file, failure);
    if (failure) return fail(error, file.string(), failure);
    if (size == 0 || size > kMaxCertificateSize) {
      return fail(error, file.string(),
                  "a certificate has 1 to " + std::to_string(kMaxCertificateSize) +
                      " octets, this file " + std::to_string(size));
    }
    fs::copy_file(file, terminal / kRootsFolder / file.filename(), failure);
    if (failure) return fail(error, "cannot copy " + file.string(), failure);
  }
  return true;
}

std::string manifestText(const TerminalExports& exports) {
  rapidjson::StringBuffer buffer;
  rapidjson::PrettyWriter<rapidjson::StringBuffer> writer(buffer);
  writer.SetIndent(' ', 2);
  const auto text = [&writer](const std::string& value) {
    writer.String(value.data(), static_cast<rapidjson::SizeType>(value.size()));
  };
  const auto list = [&](const char* key, const std::vector<std::string>& ids) {
    writer.Key(key);
    writer.StartArray();
    for (const std::string& id : ids) {
      writer.StartObject();
      writer.Key("id");
      text(id);
      writer.EndObject();
    }
    writer.EndArray();
  };
  writer.StartObject();
  writer.Key("exports_sdk");
  writer.StartObject();
  writer.Key("triggers_version");
  text(exports.triggersVersion);
  writer.EndObject();
  list("exports_trigger", exports.triggers);
  list("exports_api", exports.interfaces);
  writer.EndObject();
  return std::string(buffer.GetString(), buffer.GetSize()) + "\n";
}

bool placeRoots(const fs::path& terminal, const NewTerminal& wanted, std::string& error) {
  if (wanted.roots.empty()) return writeRoots(terminal, wanted.ownRoots, error);
  return copyRoots(terminal, wanted.roots, error);
}

bool writeManifest(const fs::path& terminal, const TerminalExports& exports, std::string& error) {
  const fs::path manifest = terminal / kTerminalManifest;
  return makeFolder(manifest.parent_path(), error) &&
         writeFile(manifest, manifestText(exports), error);
}

// What would not be read back is refused before it is written.
bool writeProfile(const fs::path& terminal, TerminalProfile profile, std::string& error) {
  profile.rootsDirectory = kRootsFolder;
  ProfileError profileError;
  if (!checkTerminalProfile(profile, profileError)) {
    error = profileError.message;
    return false;
  }
  return writeFile(terminal / kProfileFile, formatTerminalProfile(profile), error);
}

void removeParts(const fs::path& terminal, bool isNew) {
  std::error_code ignored;
  for (const char* const part :
       {kFlashFolder, kHomeFolder, kRootsFolder, kAuthoritiesFolder, kRunFolder, kProfileFile}) {
    fs::remove_all(terminal / part, ignored);
  }
  if (isNew) fs::remove(terminal, ignored);
}

}  // namespace

bool createTerminal(const std::string& directory, const NewTerminal& terminal, std::string& error) {
  std::error_code failure;
  const fs::path folder = fs::absolute(directory, failure).lexically_normal();
  if (failure) return fail(error, directory, failure);
  if (!checkBusPath(folder.string(), error)) return false;
  bool isNew = false;
  if (!prepareFolder(folder, isNew, error)) return false;
  // The profile comes last: a folder without one is no terminal yet.
  if (makeFolders(folder, error) && placeRoots(folder, terminal, error) &&
      writeAuthorities(folder, terminal.authorities, error) &&
      writeManifest(folder, terminal.exports, error) &&
      writeProfile(folder, terminal.profile, error)) {
    return true;
  }
  removeParts(folder, isNew);
  return false;
}

std::vector<std::string> certificateFiles(const std::string& folder) {
  std::vector<std::string> files;
  const FolderStream stream(opendir(folder.c_str()));
  if (stream == nullptr) return files;
  while (const dirent* const entry = readdir(stream.get())) {
    if (!isCertificateName(entry->d_name)) continue;
    std::string path = folder + "/" + entry->d_name;
    if (isRegularFile(path)) files.push_back(std::move(path));
  }
  std::sort(files.begin(), files.end());
  return files;
}

}  // namespace workstation
