/// Writes ZIP archives (PKWARE's APPNOTE.TXT) by minizip.
///
/// The same calls give the same octets: entries stand in the order in which they are added, every
/// time is 1980-01-01 00:00, and nothing of the file system but the contents goes in.
#ifndef PACKAGING_ZIP_WRITER_H
#define PACKAGING_ZIP_WRITER_H

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <utility>

namespace packaging {

/// An entry, or an archive, of this many octets or more is beyond what terminals read.
inline constexpr std::uint64_t kZipSizeLimit = 0xFFFFFFFF;

enum class ZipMethod {
  kDeflated,
  kStored,  ///< as it is: for what is compressed already
};

/// Every function returns false with a line of text in `error` on failure; the archive is then of
/// no use.
class ZipWriter {
 public:
  ZipWriter() = default;
  ZipWriter(const ZipWriter&) = delete;
  ZipWriter& operator=(const ZipWriter&) = delete;
  ~ZipWriter();

  /// Calls it behind each block that is read of a file.
  void setWatcher(std::function<void()> watcher) { watcher_ = std::move(watcher); }

  /// Begins the archive `path`, which is replaced where it exists.
  [[nodiscard]] bool create(const std::string& path, std::string& error);

  /// Adds an entry with the content of the file `source`.
  [[nodiscard]] bool addFile(const std::string& name, const std::string& source, ZipMethod method,
                             std::string& error);

  [[nodiscard]] bool addContent(const std::string& name, std::string_view content,
                                std::string& error);

  /// Writes the directory of the archive and closes it.
  [[nodiscard]] bool finish(std::string& error);

 private:
  bool begin(const std::string& name, ZipMethod method);
  bool write(std::string_view content);
  bool fail(std::string& error) const;

  void* archive_ = nullptr;  // minizip's
  std::function<void()> watcher_;
  std::string path_;
};

}  // namespace packaging

#endif  // PACKAGING_ZIP_WRITER_H
