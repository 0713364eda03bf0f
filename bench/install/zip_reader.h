/// ZIP archives by minizip, as the measured programs beside the library read them: in blocks of a
/// size of their own.
#ifndef WZAPP_BENCH_INSTALL_ZIP_READER_H
#define WZAPP_BENCH_INSTALL_ZIP_READER_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace bench {

/// Everything throws std::runtime_error when an archive cannot be read or a file not be written.
class ZipReader {
 public:
  struct Entry {
    std::string name;
    unsigned long offset, number;  // minizip's position
  };

  ZipReader(const std::string& path, std::size_t blockSize);
  ~ZipReader();
  ZipReader(const ZipReader&) = delete;
  ZipReader& operator=(const ZipReader&) = delete;

  /// In the order of their names.
  [[nodiscard]] const std::vector<Entry>& entries() const { return entries_; }

  /// Hands the entry block by block to `sink(const unsigned char*, std::size_t)`.
  template <class Sink>
  void read(const Entry& entry, Sink&& sink) {
    openEntry(entry);
    while (const std::size_t size = readBlock()) sink(block_.data(), size);
    closeEntry();
  }

  [[nodiscard]] std::string readWhole(const Entry& entry);
  void writeTo(const Entry& entry, const std::string& path);

 private:
  void readEntries();
  void openEntry(const Entry& entry);
  std::size_t readBlock();
  void closeEntry();

  std::string path_;
  void* handle_;  // minizip's
  std::vector<Entry> entries_;
  std::vector<unsigned char> block_;
};

/// True for a name that stands for a directory.
inline bool isDirectoryName(std::string_view name) { return name.ends_with('/'); }

/// Writes the files of an archive below `root`, which exists, with the folders that they need.
class TreeWriter {
 public:
  explicit TreeWriter(std::string root) : root_(std::move(root)) {}

  /// Returns the path of the file.
  std::string write(ZipReader& archive, const ZipReader::Entry& entry);

 private:
  std::string root_;
  std::string lastFolder_;  // was made: entries come in the order of their names
};

}  // namespace bench

#endif  // WZAPP_BENCH_INSTALL_ZIP_READER_H
