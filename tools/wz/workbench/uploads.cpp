#include "wz/workbench/uploads.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <utility>

#include "crypto/digest/digest.h"
#include "support/file_system.h"
#include "workstation/browser/engine/process/unique_fd.h"
#include "wz/reports/package_report.h"

namespace wz {
namespace {

constexpr std::size_t kLongestName = 100;

// Until the file is known to be whole.
class HalfFile {
 public:
  explicit HalfFile(std::string folder) : folder_(std::move(folder)) {}
  ~HalfFile() {
    if (isWhole_) return;
    if (!path_.empty()) unlink(path_.c_str());
    rmdir(folder_.c_str());
  }
  HalfFile(const HalfFile&) = delete;
  HalfFile& operator=(const HalfFile&) = delete;

  bool open(const std::string& name) {
    if (mkdir(folder_.c_str(), 0700) != 0) return false;
    path_ = folder_ + "/" + name;
    file_ = workstation::UniqueFd(
        ::open(path_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600));
    return static_cast<bool>(file_);
  }
  bool add(std::string_view octets) {
    return wzapp::writeWhole(file_.get(), wzapp::viewOf(octets));
  }
  void keep() { isWhole_ = true; }
  const std::string& path() const { return path_; }

 private:
  std::string folder_, path_;
  workstation::UniqueFd file_;
  bool isWhole_ = false;
};

}  // namespace

std::string plainFileName(const std::string& name) {
  constexpr std::string_view kPlain = "._-+ ()";
  std::string plain = name.substr(name.find_last_of("/\\") + 1);  // npos + 1 is 0
  for (char& letter : plain) {
    const bool isPlain = std::isalnum(static_cast<unsigned char>(letter)) != 0 ||
                         kPlain.find(letter) != std::string_view::npos;
    if (!isPlain) letter = '_';
  }
  // The end says what kind of file it is; a first "-" would make it an option.
  if (plain.size() > kLongestName) plain.erase(0, plain.size() - kLongestName);
  if (plain.empty() || plain.front() == '.' || plain.front() == '-') plain.insert(0, "file");
  return plain;
}

bool Uploads::reserve(std::uint64_t octets) {
  const wzapp::MutexLock lock(mutex_);
  if (octets > kLargestAll - taken_) return false;
  taken_ += octets;
  return true;
}

void Uploads::giveBack(std::uint64_t octets) {
  const wzapp::MutexLock lock(mutex_);
  taken_ -= octets;
}

UploadResult Uploads::take(const std::string& name, std::int64_t stated, const Source& source,
                           Upload& upload) {
  if (stated > static_cast<std::int64_t>(kLargest)) return UploadResult::kTooLarge;
  Upload taken;
  taken.name = plainFileName(name);
  {
    const wzapp::MutexLock lock(mutex_);
    taken.id = "u" + std::to_string(++lastId_);
  }
  HalfFile file(folder_ + "/" + taken.id);
  if (!file.open(taken.name)) return UploadResult::kNoSpace;

  wzapp::Sha256Context digest;
  wzapp::digestStart(&digest);
  std::vector<char> block(std::size_t{256} << 10);
  UploadResult result = UploadResult::kDone;
  int count = 0;
  while (result == UploadResult::kDone && (count = source(block.data(), block.size())) > 0) {
    const std::string_view octets(block.data(), static_cast<std::size_t>(count));
    if (octets.size() > kLargest - taken.size || !reserve(octets.size())) {
      result = UploadResult::kTooLarge;
      break;
    }
    taken.size += octets.size();
    wzapp::digestAdd(&digest, wzapp::viewOf(octets));
    if (!file.add(octets)) result = UploadResult::kNoSpace;
  }
  const bool isWhole =
      count == 0 && (stated < 0 || taken.size == static_cast<std::uint64_t>(stated));
  if (result == UploadResult::kDone && !isWhole) result = UploadResult::kCutShort;
  if (result != UploadResult::kDone) {
    giveBack(taken.size);
    return result;
  }
  std::array<std::uint8_t, wzapp::kSha256Size> sum{};
  wzapp::digestFinish(&digest, sum.data());
  taken.sha256 = hexText(sum);
  taken.path = file.path();
  file.keep();
  const wzapp::MutexLock lock(mutex_);
  uploads_[taken.id] = taken;
  upload = taken;
  return UploadResult::kDone;
}

bool Uploads::find(const std::string& id, Upload& upload) const {
  const wzapp::MutexLock lock(mutex_);
  const auto found = uploads_.find(id);
  if (found == uploads_.end()) return false;
  upload = found->second;
  return true;
}

bool Uploads::gather(const std::vector<std::string>& ids, std::string& folder,
                     std::vector<std::string>& names, std::string& error) {
  std::string made = folder_ + "/set-XXXXXX";
  if (mkdtemp(made.data()) == nullptr) {
    error = "there is no room for the uploads";
    return false;
  }
  for (const std::string& id : ids) {
    Upload upload;
    if (!find(id, upload)) {
      error = "there is no upload " + id;
      scatter(made);
      return false;
    }
    std::string name = upload.name;
    for (int i = 2; link(upload.path.c_str(), (made + "/" + name).c_str()) != 0; ++i) {
      if (errno != EEXIST) {
        error = "there is no room for the uploads";
        scatter(made);
        return false;
      }
      name = std::to_string(i) + "-" + upload.name;
    }
    names.push_back(name);
  }
  folder = made;
  return true;
}

void Uploads::scatter(const std::string& folder) {
  std::error_code ignored;
  std::filesystem::remove_all(folder, ignored);
}

}  // namespace wz
