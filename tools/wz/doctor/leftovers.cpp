#include "wz/doctor/leftovers.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <set>
#include <string_view>
#include <system_error>

namespace wz {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kProfile = "browser-";
constexpr std::string_view kWork[] = {"wz-try-", "wz-check-", "wz-tamper-", "wz-", ".wz-"};
constexpr std::string_view kHeldWork[] = {"wz-workbench-", "wz-test-"};

// As mkdtemp(3) makes one: of this user alone, six letters and digits behind `pattern`.
bool isMadeBy(std::string_view pattern, const fs::path& path) {
  constexpr std::size_t kRandom = 6;
  constexpr mode_t kOwnersAlone = 0700;
  const std::string name = path.filename().string();
  struct stat status {};
  return name.starts_with(pattern) && name.size() == pattern.size() + kRandom &&
         std::all_of(name.end() - kRandom, name.end(),
                     [](unsigned char c) { return std::isalnum(c) != 0; }) &&
         lstat(path.c_str(), &status) == 0 && (status.st_mode & 07777) == kOwnersAlone;
}

template <std::size_t kCount>
bool isMadeByAny(const std::string_view (&patterns)[kCount], const fs::path& path) {
  return std::ranges::any_of(patterns,
                             [&path](std::string_view pattern) { return isMadeBy(pattern, path); });
}

bool isOwnFolder(const fs::path& path) {
  struct stat status {};
  return lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode) && status.st_uid == geteuid();
}

// Another wz; 0: none.
pid_t findOther() {
  std::error_code failure;
  for (fs::directory_iterator entry("/proc", failure), end; !failure && entry != end;
       entry.increment(failure)) {
    const std::string name = entry->path().filename().string();
    if (std::isdigit(static_cast<unsigned char>(name[0])) == 0) continue;
    if (name == std::to_string(getpid())) continue;
    std::ifstream file(entry->path() / "comm");
    std::string program;
    if (std::getline(file, program) && program == "wz") return std::stoi(name);
  }
  return 0;
}

bool isLocked(int file) {
  const bool isFree = flock(file, LOCK_EX | LOCK_NB) == 0;
  close(file);
  return !isFree;
}

// Its host holds the lock for as long as it lives.
bool isProfileInUse(const fs::path& path) {
  const int file = open((path / "host.lock").c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW);
  if (file < 0) return true;  // is being made, or removed, at this moment
  return isLocked(file);
}

// Of a command that holds its folder itself for as long as it lives.
bool isHeldInUse(const fs::path& path) {
  const int folder = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NOFOLLOW);
  return folder >= 0 && isLocked(folder);
}

template <typename Chosen>
void findIn(const fs::path& folder, const Chosen& isChosen, std::vector<std::string>& found) {
  std::error_code failure;
  for (fs::directory_iterator entry(folder, failure), end; !failure && entry != end;
       entry.increment(failure)) {
    if (isOwnFolder(entry->path()) && isChosen(entry->path())) {
      found.push_back(entry->path().string());
    }
  }
}

}  // namespace

Leftovers findLeftovers(const std::string& terminal) {
  const auto isProfile = [](const fs::path& path) {
    return path.filename().string().starts_with(kProfile) && !isProfileInUse(path);
  };
  const auto isHeldWork = [](const fs::path& path) {
    return isMadeByAny(kHeldWork, path) && !isHeldInUse(path);
  };
  const auto isWork = [](const fs::path& path) { return isMadeByAny(kWork, path); };
  std::error_code failure;
  const fs::path temporary = fs::temp_directory_path(failure);
  Leftovers left;
  if (!terminal.empty()) findIn(fs::path(terminal) / "run", isProfile, left.folders);
  findIn(temporary / ("wz-browser-" + std::to_string(geteuid())), isProfile, left.folders);
  findIn(temporary, isHeldWork, left.folders);
  left.other = findOther();
  if (left.other == 0) {
    // Two of them may be one.
    std::set<fs::path> folders;
    for (const fs::path& folder : {temporary, fs::path("/dev/shm"), fs::path(".")}) {
      folders.insert(fs::weakly_canonical(folder, failure));
    }
    for (const fs::path& folder : folders) findIn(folder, isWork, left.folders);
  }
  std::ranges::sort(left.folders);
  return left;
}

bool removeLeftover(const std::string& path) {
  std::error_code failure;
  fs::remove_all(path, failure);
  return !failure;
}

}  // namespace wz
