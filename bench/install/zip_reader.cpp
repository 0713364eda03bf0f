#include "bench/install/zip_reader.h"

#include <fcntl.h>
#include <minizip/unzip.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <stdexcept>

namespace bench {
namespace {

constexpr std::size_t kNameSize = 256;

[[noreturn]] void fail(const std::string& path) {
  throw std::runtime_error("cannot read or write " + path);
}

void writeAll(int file, const unsigned char* data, std::size_t size, const std::string& path) {
  while (size > 0) {
    const ssize_t written = ::write(file, data, size);
    if (written <= 0) fail(path);
    data += written;
    size -= static_cast<std::size_t>(written);
  }
}

}  // namespace

ZipReader::ZipReader(const std::string& path, std::size_t blockSize)
    : path_(path), handle_(unzOpen64(path.c_str())), block_(blockSize) {
  if (handle_ == nullptr) fail(path);
  readEntries();
}

ZipReader::~ZipReader() { unzClose(handle_); }

void ZipReader::readEntries() {
  unz_global_info info;
  if (unzGetGlobalInfo(handle_, &info) != UNZ_OK) fail(path_);
  for (uLong left = info.number_entry; left > 0; --left) {
    unz_file_info entryInfo;  // minizip writes it in any case
    char name[kNameSize];
    unz_file_pos position;
    if (unzGetCurrentFileInfo(handle_, &entryInfo, name, sizeof name, nullptr, 0, nullptr, 0) !=
            UNZ_OK ||
        unzGetFilePos(handle_, &position) != UNZ_OK) {
      fail(path_);
    }
    entries_.push_back({name, position.pos_in_zip_directory, position.num_of_file});
    if (left > 1 && unzGoToNextFile(handle_) != UNZ_OK) fail(path_);
  }
  std::ranges::sort(entries_, {}, &Entry::name);
}

void ZipReader::openEntry(const Entry& entry) {
  unz_file_pos position = {entry.offset, entry.number};
  if (unzGoToFilePos(handle_, &position) != UNZ_OK || unzOpenCurrentFile(handle_) != UNZ_OK) {
    fail(path_);
  }
}

std::size_t ZipReader::readBlock() {
  const int count =
      unzReadCurrentFile(handle_, block_.data(), static_cast<unsigned>(block_.size()));
  if (count < 0) fail(path_);
  return static_cast<std::size_t>(count);
}

void ZipReader::closeEntry() {
  if (unzCloseCurrentFile(handle_) != UNZ_OK) fail(path_);
}

std::string ZipReader::readWhole(const Entry& entry) {
  std::string content;
  read(entry, [&content](const unsigned char* data, std::size_t size) {
    content.append(reinterpret_cast<const char*>(data), size);
  });
  return content;
}

void ZipReader::writeTo(const Entry& entry, const std::string& path) {
  const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  if (file < 0) fail(path);
  read(entry, [file, &path](const unsigned char* data, std::size_t size) {
    writeAll(file, data, size, path);
  });
  if (close(file) != 0) fail(path);
}

std::string TreeWriter::write(ZipReader& archive, const ZipReader::Entry& entry) {
  std::string path = root_ + "/" + entry.name;
  std::string folder = path.substr(0, path.rfind('/'));
  if (folder != lastFolder_) {
    std::filesystem::create_directories(folder);
    lastFolder_ = std::move(folder);
  }
  archive.writeTo(entry, path);
  return path;
}

}  // namespace bench
