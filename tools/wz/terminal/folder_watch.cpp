#include "wz/terminal/folder_watch.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <utility>

#include "support/file_system.h"

namespace wz {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

// One save of an editor is several events: what follows within this time belongs to it.
constexpr int kQuietMs = 12;
constexpr std::chrono::milliseconds kLongestBurst{150};

// How often it is looked whether the folder still has its name: a folder that is open somewhere
// says nothing when it is removed, and one nothing when what it stands in is moved.
constexpr int kCheckMs = 500;

// How often a folder that is gone is looked for: nothing tells when it comes back, since what it
// stood in may have gone too.
constexpr int kLookMs = 50;

constexpr std::uint32_t kEvents = IN_CLOSE_WRITE | IN_MOVED_TO | IN_MOVED_FROM | IN_CREATE |
                                  IN_DELETE | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;

bool endsWith(std::string_view text, std::string_view ending) {
  return text.size() >= ending.size() && text.substr(text.size() - ending.size()) == ending;
}

// Hidden files, and what editors put beside a file while they save it.
bool isHiddenOrACopy(std::string_view name) {
  return name.empty() || name.front() == '.' || endsWith(name, "~") || endsWith(name, ".swp") ||
         endsWith(name, ".tmp") || name == "4913";
}

std::string below(const std::string& parent, const std::string& name) {
  return parent.empty() ? name : parent + "/" + name;
}

// Whether a link of either sort is at `path`.
bool isLink(const std::string& path) {
  struct stat status {};
  return lstat(path.c_str(), &status) == 0 && (S_ISLNK(status.st_mode) || status.st_nlink > 1);
}

std::string watchError(const std::string& path) {
  if (errno == ENOSPC) {
    return "no inotify watches are left for " + path +
           "; the administrator can allow more: sysctl fs.inotify.max_user_watches=524288";
  }
  if (errno == EMFILE) {
    return "no inotify instances are left for " + path +
           "; the administrator can allow more: sysctl fs.inotify.max_user_instances=512";
  }
  return "cannot watch " + path + ": " + std::strerror(errno);
}

}  // namespace

FolderWatch::~FolderWatch() {
  if (thread_.joinable()) {
    const std::uint64_t one = 1;
    (void)!write(stop_, &one, sizeof one);
    thread_.join();
  }
  for (const int descriptor : {events_, stop_}) {
    if (descriptor >= 0) close(descriptor);
  }
}

bool FolderWatch::begin(const std::string& folder, Listener listener, std::string& error) {
  folder_ = folder;
  listener_ = std::move(listener);
  stop_ = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  if (!openAgain(error)) return false;
  thread_ = std::thread([this] { run(); });
  return true;
}

// Begins to watch the folder that now has the name.
bool FolderWatch::openAgain(std::string& error) {
  if (events_ >= 0) close(events_);
  folders_.clear();
  readIgnoreFile();
  events_ = inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
  if (events_ < 0) {
    error = watchError(folder_);
    return false;
  }
  struct stat status {};
  inode_ = stat(folder_.c_str(), &status) == 0 ? status.st_ino : 0;
  std::set<std::string> files;
  return watchTree("", files, error);
}

// Watches the folder `name` and those below it; `files` gets the files that are there.
bool FolderWatch::watchTree(const std::string& name, std::set<std::string>& files,
                            std::string& error) {
  const std::string path = name.empty() ? folder_ : folder_ + "/" + name;
  const int watch = inotify_add_watch(events_, path.c_str(), kEvents | IN_DONT_FOLLOW);
  if (watch < 0) {
    error = watchError(path);
    return false;
  }
  folders_[watch] = name;
  std::error_code failure;
  for (fs::directory_iterator entry(path, failure), end; !failure && entry != end;
       entry.increment(failure)) {
    const std::string child = entry->path().filename().string();
    std::error_code failed;
    const bool isFolder = entry->is_directory(failed) && !entry->is_symlink(failed);
    if (isNobodysBusiness(name, child, isFolder)) continue;
    if (!isFolder) {
      files.insert(below(name, child));
    } else if (!watchTree(below(name, child), files, error)) {
      return false;
    }
  }
  return true;
}

void FolderWatch::run() {
  std::set<std::string> changed;
  for (;;) {
    bool isGone = false;
    const Wait waited = waitForSome(kCheckMs);
    if (waited == Wait::kStop) return;
    if (waited == Wait::kNothing && isWhereItWas()) continue;
    if (waited == Wait::kNothing) isGone = true;
    const Clock::time_point begin = Clock::now();
    while (!isGone) {
      readEvents(changed, isGone);
      if (Clock::now() - begin > kLongestBurst || waitForSome(kQuietMs) != Wait::kEvents) break;
    }
    if (isGone) {
      awaitReturn();
      changed.clear();
      continue;
    }
    if (hasOtherRules_) watchByOtherRules();
    if (!changed.empty()) listener_.onChanged(std::exchange(changed, {}));
  }
}

FolderWatch::Wait FolderWatch::waitForSome(int timeoutMs) const {
  pollfd descriptors[] = {{events_, POLLIN, 0}, {stop_, POLLIN, 0}};
  while (poll(descriptors, 2, timeoutMs) < 0 && errno == EINTR) {
  }
  if (descriptors[1].revents != 0) return Wait::kStop;
  return descriptors[0].revents != 0 ? Wait::kEvents : Wait::kNothing;
}

bool FolderWatch::isWhereItWas() const {
  struct stat status {};
  return stat(folder_.c_str(), &status) == 0 && status.st_ino == inode_;
}

// Without such a file, or one that cannot be read, nothing is ignored: `wz check` tells of that.
void FolderWatch::readIgnoreFile() {
  std::string text;
  (void)wzapp::readFile((folder_ + "/" + packaging::kIgnoreFile).c_str(), text);
  ignored_ = packaging::IgnoreRules(text);
  hasOtherRules_ = false;
}

bool FolderWatch::isNobodysBusiness(const std::string& parent, const std::string& name,
                                    bool isFolder) const {
  if (isHiddenOrACopy(name)) return true;
  const std::string path = below(parent, name);
  for (std::size_t slash = path.find('/'); slash != std::string::npos;
       slash = path.find('/', slash + 1)) {
    if (ignored_.isIgnored(path.substr(0, slash), true)) return true;
  }
  return ignored_.isIgnored(path, isFolder);
}

void FolderWatch::readEvents(std::set<std::string>& changed, bool& isGone) {
  alignas(inotify_event) char buffer[16384];
  const ssize_t size = read(events_, buffer, sizeof buffer);
  for (ssize_t at = 0; at < size;) {
    const auto* const event = reinterpret_cast<const inotify_event*>(buffer + at);
    at += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
    if ((event->mask & IN_Q_OVERFLOW) != 0) {
      isGone = true;  // nobody knows what else has happened: everything is looked at anew
      continue;
    }
    const auto folder = folders_.find(event->wd);
    if (folder == folders_.end()) continue;
    const std::string parent = folder->second;
    if ((event->mask & (IN_DELETE_SELF | IN_MOVE_SELF)) != 0) {
      isGone = isGone || parent.empty();
      continue;
    }
    if ((event->mask & IN_IGNORED) != 0) {
      folders_.erase(folder);
      continue;
    }
    const bool isNew = (event->mask & (IN_CREATE | IN_MOVED_TO)) != 0;
    const bool isFolder = (event->mask & IN_ISDIR) != 0;
    if (event->len == 0) continue;
    // A file that is only being made will be closed when it has been written; a link never is.
    if ((event->mask & IN_CREATE) != 0 && !isFolder &&
        !isLink(folder_ + "/" + below(parent, event->name))) {
      continue;
    }
    noteEntry(parent, event->name, isFolder, isNew, changed);
  }
}

void FolderWatch::noteEntry(const std::string& parent, const std::string& name, bool isFolder,
                            bool isNew, std::set<std::string>& changed) {
  if (parent.empty() && name == packaging::kIgnoreFile) hasOtherRules_ = true;
  if (isNobodysBusiness(parent, name, isFolder)) return;
  changed.insert(below(parent, name));
  if (!isFolder || !isNew) return;
  std::string error;
  const bool isThere = fs::is_directory(folder_ + "/" + below(parent, name));
  if (!watchTree(below(parent, name), changed, error) && isThere) listener_.onTrouble(error);
}

// Folders that were ignored are watched from now on. Of those that are ignored now, the events are.
void FolderWatch::watchByOtherRules() {
  readIgnoreFile();
  std::set<std::string> files;
  std::string error;
  if (!watchTree("", files, error)) listener_.onTrouble(error);
}

void FolderWatch::awaitReturn() {
  struct stat status {};
  bool told = false;
  pollfd stop = {stop_, POLLIN, 0};
  for (;;) {
    const bool isThere = stat(folder_.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
    std::string error;
    if (isThere && openAgain(error)) break;
    if (isThere) listener_.onTrouble(error);
    if (!isThere && !std::exchange(told, true)) listener_.onGone();
    if (poll(&stop, 1, isThere ? 1000 : kLookMs) > 0) return;
  }
  listener_.onChanged({});
}

}  // namespace wz
