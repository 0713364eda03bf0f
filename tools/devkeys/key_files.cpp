#include "devkeys/key_files.h"

#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <fstream>
#include <iterator>
#include <system_error>
#include <utility>

namespace devkeys {
namespace {

namespace fs = std::filesystem;

void makeFolder(const fs::path& path, mode_t mode) {
  if (mkdir(path.c_str(), mode) != 0 && errno != EEXIST) failAt(path, errno);
}

// Beside the folder that it becomes, so that it becomes it by one rename; gone with the object
// until then.
class NewFolder {
 public:
  explicit NewFolder(const fs::path& target) : target_(target) {
    path_ = (target.parent_path() / (".new-" + target.filename().string() + "-XXXXXX")).string();
    if (mkdtemp(path_.data()) == nullptr) failAt(target, errno);
  }
  NewFolder(const NewFolder&) = delete;
  NewFolder& operator=(const NewFolder&) = delete;
  ~NewFolder() {
    std::error_code ignored;
    if (!path_.empty()) fs::remove_all(path_, ignored);
  }

  [[nodiscard]] fs::path path() const { return path_; }

  // Whatever lies at the target by now stays as it is.
  void finish() {
    int result = renameat2(AT_FDCWD, path_.c_str(), AT_FDCWD, target_.c_str(), RENAME_NOREPLACE);
    if (result != 0 && errno == EINVAL) {
      // A file system that cannot do that: a folder that is new cannot be anybody else's.
      if (mkdir(target_.c_str(), S_IRWXU) != 0) failAt(target_, errno);
      result = rename(path_.c_str(), target_.c_str());
    }
    if (result != 0) failAt(target_, errno);
    path_.clear();
  }

  // What lay at the target goes with the object.
  void exchange() {
    int result = renameat2(AT_FDCWD, path_.c_str(), AT_FDCWD, target_.c_str(), RENAME_EXCHANGE);
    if (result != 0 && errno == EINVAL) {
      // A file system that cannot do that: for a moment there is none.
      const std::string before = path_ + ".before";
      result = rename(target_.c_str(), before.c_str());
      if (result == 0) result = rename(path_.c_str(), target_.c_str());
      if (result == 0) path_ = before;
    }
    if (result != 0) failAt(target_, errno);
  }

 private:
  fs::path target_;
  std::string path_;
};

// While it lives, signals to this thread wait: one that ends the process finds the folder complete,
// or gone.
class SignalsHeld {
 public:
  SignalsHeld() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before_);
  }
  SignalsHeld(const SignalsHeld&) = delete;
  SignalsHeld& operator=(const SignalsHeld&) = delete;
  ~SignalsHeld() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

 private:
  sigset_t before_{};
};

}  // namespace

void failAt(const fs::path& path, int error) {
  throw FileError{"cannot make " + path.string() + ": " + std::strerror(error)};
}

void writeFile(const fs::path& path, const std::string& content, mode_t mode) {
  const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
  if (file < 0) failAt(path, errno);
  std::size_t written = 0;
  int error = 0;
  while (written < content.size() && error == 0) {
    const ssize_t count = write(file, content.data() + written, content.size() - written);
    if (count >= 0) {
      written += static_cast<std::size_t>(count);
    } else if (errno != EINTR) {
      error = errno;
    }
  }
  if (close(file) != 0 && error == 0) error = errno;
  if (error != 0) failAt(path, error);
}

std::string readFile(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  std::string content{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  if (!file) throw FileError{"cannot read " + path.string()};
  return content;
}

void KeyFiles::add(const std::string& name, std::string content, mode_t mode) {
  files_.push_back({name, std::move(content), mode});
}

void KeyFiles::addPair(const std::string& name, const std::string& certificate, const RsaKey& key) {
  add(name + ".der", certificate, 0644);
  add(name + ".key", key.privatePem(), 0600);
}

void KeyFiles::addRestOf(const fs::path& folder) {
  std::error_code failure;
  for (const fs::directory_entry& entry : fs::directory_iterator(folder, failure)) {
    const std::string name = entry.path().filename().string();
    const bool isThere = std::any_of(files_.begin(), files_.end(),
                                     [&name](const File& file) { return file.name == name; });
    if (isThere || !entry.is_regular_file(failure)) continue;
    add(name, readFile(entry.path()),
        static_cast<mode_t>(entry.status(failure).permissions()) & 0777);
  }
  if (failure) throw FileError{"cannot read " + folder.string() + ": " + failure.message()};
}

void KeyFiles::fill(const fs::path& folder) const {
  for (const File& file : files_) {
    const fs::path above = fs::path(file.name).parent_path();
    if (!above.empty()) makeFolder(folder / above, S_IRWXU);
    writeFile(folder / file.name, file.content, file.mode);
  }
}

void KeyFiles::write(const fs::path& directory) const {
  const SignalsHeld held;
  NewFolder folder(directory);
  fill(folder.path());
  folder.finish();
}

void KeyFiles::replace(const fs::path& directory) const {
  const SignalsHeld held;
  NewFolder folder(directory);
  fill(folder.path());
  folder.exchange();
}

}  // namespace devkeys
