/// Files that a page has sent, each in a folder of its own until the workbench ends.
#ifndef WZ_WORKBENCH_UPLOADS_H
#define WZ_WORKBENCH_UPLOADS_H

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "support/mutex.h"

namespace wz {

struct Upload {
  std::string id;    ///< "u1"
  std::string name;  ///< as the page calls it, made a plain file name
  std::string path;
  std::uint64_t size = 0;
  std::string sha256;
};

enum class UploadResult { kDone, kTooLarge, kCutShort, kNoSpace };

/// Any thread may call.
class Uploads {
 public:
  /// Reads up to `size` octets; what it gives is their number, 0 at the end, negative when the
  /// sender is gone.
  using Source = std::function<int(char* octets, std::size_t size)>;

  static constexpr std::uint64_t kLargest = std::uint64_t{256} << 20;
  static constexpr std::uint64_t kLargestAll = std::uint64_t{2} << 30;

  /// Files are kept in `folder`, which is there.
  void begin(const std::string& folder) { folder_ = folder; }

  /// Streams a file to the disk. What does not come whole leaves nothing.
  /// \param stated  the size that the sender states; negative: none.
  [[nodiscard]] UploadResult take(const std::string& name, std::int64_t stated,
                                  const Source& source, Upload& upload);

  [[nodiscard]] bool find(const std::string& id, Upload& upload) const;

  /// Puts uploads together into a new folder, under the names that their page knows: what a command
  /// that works there says of them, the page understands. False, with the reason in `error`, when
  /// one is not there.
  [[nodiscard]] bool gather(const std::vector<std::string>& ids, std::string& folder,
                            std::vector<std::string>& names, std::string& error);

  /// Removes such a folder; the uploads stay.
  static void scatter(const std::string& folder);

 private:
  [[nodiscard]] bool reserve(std::uint64_t octets);
  void giveBack(std::uint64_t octets);

  std::string folder_;
  mutable wzapp::Mutex mutex_;
  std::uint64_t lastId_ WZAPP_GUARDED_BY(mutex_) = 0;
  std::uint64_t taken_ WZAPP_GUARDED_BY(mutex_) = 0;  // octets
  std::map<std::string, Upload> uploads_ WZAPP_GUARDED_BY(mutex_);
};

/// A file name without anything that a command or a file system takes for more.
[[nodiscard]] std::string plainFileName(const std::string& name);

}  // namespace wz

#endif  // WZ_WORKBENCH_UPLOADS_H
