#include "wz/reports/certificate_source.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string_view>
#include <system_error>

#include "archive/unzip.h"
#include "installer/unverified_work.h"
#include "support/file_system.h"
#include "support/text.h"
#include "wz/reports/output.h"
#include "wz/reports/readable_file.h"
#include "wz/reports/tar_members.h"

namespace wz {
namespace {

namespace fs = std::filesystem;
using wzapp::UnZIP;

// Terminals do not look at entries with shorter names.
constexpr std::size_t kShortestName = 5;

// Unlike what a terminal reads, this may be a pipe that its writer fills while it is read.
bool readWaiting(const std::string& file, std::string& content) {
  std::ifstream stream(file, std::ios::binary);
  std::array<char, 4096> block;
  while (stream && content.size() <= wzapp::kMaxFileSize) {
    stream.read(block.data(), block.size());
    content.append(block.data(), static_cast<std::size_t>(stream.gcount()));
  }
  return stream.eof() && content.size() <= wzapp::kMaxFileSize;
}

bool isCertificateName(const std::string& name) {
  const std::string upper = wzapp::toUpper(name);
  return upper.ends_with(".DER") || upper.ends_with(".CRT");
}

bool startsLikeArchive(const std::string& path) {
  std::array<char, 4> begin{};
  std::ifstream stream(path, std::ios::binary);
  stream.read(begin.data(), begin.size());
  return stream.gcount() == 4 && std::string_view(begin.data(), 4) == "PK\x03\x04";
}

bool readFileInto(const std::string& path, std::vector<CertificateOctets>& certificates) {
  std::string content;
  if (!readWaiting(path, content)) {
    printMessage(unreadText(path));
    return false;
  }
  if (!isTarArchive(content)) {
    certificates.push_back({path, "", std::move(content)});
    return true;
  }
  for (const TarMember& member : tarMembers(content)) {
    certificates.push_back({path, std::string(member.name), std::string(member.content)});
  }
  return true;
}

bool readFolder(const std::string& path, std::vector<CertificateOctets>& certificates) {
  std::vector<std::string> files;
  std::error_code failure;
  const auto options = fs::directory_options::skip_permission_denied;
  for (fs::recursive_directory_iterator entry(path, options, failure), end;
       !failure && entry != end; entry.increment(failure)) {
    std::error_code ignored;
    const bool isFile = entry->is_regular_file(ignored);
    if (isFile && isCertificateName(entry->path().filename().string())) {
      files.push_back(entry->path().string());
    }
  }
  if (failure) {
    printMessage("cannot read " + path + ": " + failure.message());
    return false;
  }
  std::sort(files.begin(), files.end());
  return std::all_of(files.begin(), files.end(), [&certificates](const std::string& file) {
    return readFileInto(file, certificates);
  });
}

// What cannot be unpacked is shown as what it is to a terminal, too: no certificate.
void readPackage(const std::string& path, std::vector<CertificateOctets>& certificates) {
  UnZIP archive(path);
  for (auto entry = archive.index().begin(); entry != archive.index().end(); ++entry) {
    const std::string name(entry->first);
    if (name.size() < kShortestName || !wzapp::toUpper(name).ends_with(".CRT")) continue;
    std::vector<std::uint8_t> octets;
    if (!archive.readEntry(entry, octets, wzapp::kMaxCredentialSize)) octets.clear();
    certificates.push_back({path, name, std::string(octets.begin(), octets.end())});
  }
}

}  // namespace

bool readCertificates(const std::string& path, std::vector<CertificateOctets>& certificates) {
  std::error_code failure;
  if (fs::is_directory(path, failure)) return readFolder(path, certificates);
  // A pipe can be read only once.
  if (fs::is_regular_file(path, failure) && startsLikeArchive(path)) {
    readPackage(path, certificates);
    return true;
  }
  return readFileInto(path, certificates);
}

}  // namespace wz
