#include "support/directory.h"

#include <unistd.h>

#include <algorithm>
#include <ctime>
#include <limits>

#include "support/file_system.h"

namespace wzapp {
namespace {

std::string cleanEntryPath(std::string path) {
  for (std::size_t at = path.find("//"); at != std::string::npos; at = path.find("//", at)) {
    path.erase(at, 1);
  }
  while (path.size() > 1 && path.starts_with("./")) path.erase(0, 2);
  return path;
}

std::int32_t entryType(mode_t mode) {
  switch (mode & S_IFMT) {
    case S_IFREG:
      return kRegularFileEntry;
    case S_IFDIR:
      return kDirectoryEntry;
    case S_IFLNK:
      return kLinkEntry;
    default:
      return kOtherEntry;
  }
}

// One triple of the permission bits decides, so that root sees what is written there.
std::uint32_t entryAccess(const struct stat& status) {
  mode_t readBit = S_IROTH;
  mode_t writeBit = S_IWOTH;
  if (getuid() == status.st_uid) {
    readBit = S_IRUSR;
    writeBit = S_IWUSR;
  } else if (getgid() == status.st_gid) {
    readBit = S_IRGRP;
    writeBit = S_IWGRP;
  }
  std::uint32_t access = 0;
  if ((status.st_mode & readBit) != 0) access |= kReadableAccess;
  if ((status.st_mode & writeBit) != 0) access |= kWritableAccess;
  return access;
}

void setModificationTime(DirEntry& entry, std::time_t time) {
  struct tm local = {};
  if (localtime_r(&time, &local) == nullptr) return;
  entry.year = local.tm_year + 1900;
  entry.month = static_cast<std::uint8_t>(local.tm_mon + 1);
  entry.day = static_cast<std::uint8_t>(local.tm_mday);
  entry.hour = static_cast<std::uint8_t>(local.tm_hour);
  entry.minute = static_cast<std::uint8_t>(local.tm_min);
  entry.second = static_cast<std::uint8_t>(local.tm_sec);
}

DirEntry examineEntry(std::string path, std::string name) {
  DirEntry entry;
  entry.path = std::move(path);
  entry.name = std::move(name);
  struct stat status;
  if (fileStat(entry.path.c_str(), status) != 0) {
    entry.type = kOtherEntry;
    return entry;
  }
  entry.type = entryType(status.st_mode);
  entry.access = entryAccess(status);
  entry.size = static_cast<std::int32_t>(
      std::min<off_t>(status.st_size, std::numeric_limits<std::int32_t>::max()));
  setModificationTime(entry, status.st_mtime);
  return entry;
}

}  // namespace

bool Directory::open(const std::string& path) {
  close();
  path_ = path;
  while (path_.size() >= 2 && path_.ends_with('/')) path_.pop_back();
  stream_.reset(opendir(path_.c_str()));
  return stream_ != nullptr;
}

bool Directory::read(DirEntry& entry) {
  if (pending_) {
    pending_ = false;
    entry = last_;
    return true;
  }
  if (!stream_) return false;
  const struct dirent* const found = readEntry(stream_.get());
  if (found == nullptr) return false;

  last_ = examineEntry(cleanEntryPath(path_ + "/" + found->d_name), found->d_name);
  entry = last_;
  return true;
}

void Directory::close() { stream_.reset(); }

}  // namespace wzapp
