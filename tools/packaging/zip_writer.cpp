#include "packaging/zip_writer.h"

#include <minizip/zip.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

namespace packaging {
namespace {

constexpr uLong kFirstDate = 0x00210000;  // 1980-01-01 00:00 as MS-DOS writes it
constexpr uLong kMadeBy = 20;             // version 2.0 of the format, no attributes of a system
constexpr uLong kUtf8Names = 0x0800;

using File = std::unique_ptr<std::FILE, decltype(&std::fclose)>;

bool isAscii(const std::string& text) {
  return std::ranges::all_of(text, [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

}  // namespace

ZipWriter::~ZipWriter() {
  if (archive_ != nullptr) zipClose(archive_, nullptr);
}

bool ZipWriter::create(const std::string& path, std::string& error) {
  path_ = path;
  archive_ = zipOpen64(path.c_str(), APPEND_STATUS_CREATE);
  return archive_ != nullptr || fail(error);
}

bool ZipWriter::addFile(const std::string& name, const std::string& source, ZipMethod method,
                        std::string& error) {
  const File file(std::fopen(source.c_str(), "rbe"), std::fclose);
  if (file == nullptr) {
    error = "cannot read " + source + ": " + std::strerror(errno);
    return false;
  }
  if (!begin(name, method)) return fail(error);
  std::array<char, 65536> block;
  std::uint64_t size = 0;
  while (const std::size_t count = std::fread(block.data(), 1, block.size(), file.get())) {
    size += count;
    if (size >= kZipSizeLimit) {
      error = source + " has 4 GiB or more, which terminals do not read; make it smaller";
      return false;
    }
    if (!write({block.data(), count})) return fail(error);
    if (watcher_) watcher_();
  }
  if (std::ferror(file.get()) != 0) {
    error = "cannot read " + source + ": " + std::strerror(errno);
    return false;
  }
  return zipCloseFileInZip(archive_) == ZIP_OK || fail(error);
}

bool ZipWriter::addContent(const std::string& name, std::string_view content, std::string& error) {
  return (begin(name, ZipMethod::kDeflated) && write(content) &&
          zipCloseFileInZip(archive_) == ZIP_OK) ||
         fail(error);
}

bool ZipWriter::finish(std::string& error) {
  const int result = zipClose(archive_, nullptr);
  archive_ = nullptr;
  return result == ZIP_OK || fail(error);
}

bool ZipWriter::begin(const std::string& name, ZipMethod method) {
  zip_fileinfo info{};
  info.dosDate = kFirstDate;
  const bool isStored = method == ZipMethod::kStored;
  return zipOpenNewFileInZip4_64(archive_, name.c_str(), &info, nullptr, 0, nullptr, 0, nullptr,
                                 isStored ? 0 : Z_DEFLATED,
                                 isStored ? Z_NO_COMPRESSION : Z_BEST_COMPRESSION, 0, -MAX_WBITS,
                                 DEF_MEM_LEVEL, Z_DEFAULT_STRATEGY, nullptr, 0, kMadeBy,
                                 isAscii(name) ? 0 : kUtf8Names, 0) == ZIP_OK;
}

bool ZipWriter::write(std::string_view content) {
  return zipWriteInFileInZip(archive_, content.data(), static_cast<unsigned>(content.size())) ==
         ZIP_OK;
}

bool ZipWriter::fail(std::string& error) const {
  error = "cannot write " + path_ + ": " +
          (errno != 0 ? std::strerror(errno) : "the archive was not taken");
  return false;
}

}  // namespace packaging
