// Reads package archives: ZIP files, by way of minizip and zlib.
//
// Nothing here prints or throws (the exception of a sink or an opener passes through); a failure is
// a false result, for the caller to word. Memory that cannot be had is such a failure. An archive
// is used by one thread at a time, since every operation moves its one current position.
//
// An archive is hostile until its digest is verified, and these are the limits that hold:
// - The index costs memory for each name that is there, kMaxIndexSize at the most: one that would
//   be larger makes an archive unreadable. What the archive states about the number of its entries
//   costs nothing. Opening takes time in proportion to the central directory.
// - readEntry() keeps at most kMaxFileSize octets; the other operations keep one block.
// - Reading takes time in proportion to what comes out: of an entry at most the size that the
//   archive states and at most kMaxExpansion times the octets of the file. Any number of entries
//   may show the same octets, so that the sum has a limit, too: kMaxExpansion times the octets of
//   the file for all entries together, and what is beyond counts as unreadable. What has come out
//   of an entry once counts no more, so that an archive whose entries have octets of their own can
//   be read as often as one likes, however well it packs.
// - A file that changes meanwhile gives other octets or failures, nothing worse. Who needs the very
//   octets that were digested copies them in the same pass.
#ifndef WZAPP_ARCHIVE_UNZIP_H
#define WZAPP_ARCHIVE_UNZIP_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory_resource>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "archive/archive_file.h"
#include "crypto/digest/digest.h"
#include "support/block_resource.h"
#include "support/byte_view.h"
#include "support/file_system.h"

namespace wzapp {

// What the central directory says of an entry. The place is as minizip counts it (unz64_file_pos;
// its header stays out of here, since it changes what the system headers behind it declare).
struct EntryRecord {
  std::uint64_t offset;       // of the record, in octets from the beginning of the archive
  std::uint64_t number;       // from 0
  std::uint64_t size;         // stated, of the content: no more octets come out
  std::uint64_t counted = 0;  // octets that have come out once, and count no more
};

// How reading an entry in blocks ended.
enum class ReadEnd {
  kComplete,    // the whole entry was handed out
  kNotOpened,   // not an entry of the archive, or it cannot be opened: nothing was handed out
  kUnreadable,  // damaged, or the file cannot be read: what came before has been handed out
  kStopped      // the sink wanted no more
};

// An archive, open for reading from construction to destruction or, when it could not be read,
// never. It keeps one descriptor of its own, which no exec inherits.
//
// An entry is stated by its place in the index; end() stands for a name that is not in the archive,
// and every operation on it fails. No operation checks an entry's CRC: what is installed is
// verified by its digests.
class UnZIP {
 public:
  // Names of the entries, in ascending order of their octets. A name is what the archive has up to
  // the first NUL, every "\" replaced by "/", and the octet behind it is zero; of entries with the
  // same name the last counts. Directories (their names end in "/") are entries like any other.
  using Index = std::pmr::map<std::string_view, EntryRecord>;
  using Entry = Index::const_iterator;

  // Takes the next block of an entry, good during the call. False: no more are wanted.
  using BlockSink = std::function<bool(ByteView block)>;

  // Opens a file for writing and leaves it to the archive: a descriptor, or -1.
  using FileOpener = std::function<int()>;

  // The largest block that a sink is given, in octets.
  static constexpr std::size_t kBlockSize = 8192;

  // Octets that one octet of an archive can bring: a deflated stream spends two bits at least on a
  // repetition of 258 octets.
  static constexpr std::uint64_t kMaxExpansion = 1032;

  // Octets of memory that the index may use: about 70,000 entries with short names, on 64 bits. Two
  // archives are open at once, and a manifest that is read meanwhile takes more than both.
  static constexpr std::size_t kMaxIndexSize = std::size_t{6} << 20;

  // Names of this length in octets or longer make an archive unreadable.
  static constexpr std::size_t kNameLimit = 256;

  // Opens the archive at `path`. The index is empty when that is no regular file, cannot be opened
  // or is no archive whose directory can be read to its end; an archive without entries looks the
  // same. Never waits for the other end of a pipe.
  explicit UnZIP(const std::string& path);

  // The same for the regular file that `descriptor` shows, whatever its name, also when it has none
  // any more. The descriptor must be good for reading and stays the caller's: its position is
  // neither used nor moved, and it may be closed at once. A negative one is none, and errno stays
  // why.
  explicit UnZIP(int descriptor);

  UnZIP(const UnZIP&) = delete;
  UnZIP& operator=(const UnZIP&) = delete;
  virtual ~UnZIP();

  // Stays as it is while the archive lives.
  [[nodiscard]] const Index& index() const { return index_; }

  // Octets of the file, when it was opened.
  [[nodiscard]] std::uint64_t fileSize() const { return file_.size(); }

  // Writes the entry to the file `path`, created (mode 0666 before the process's mask) or cut to
  // nothing first; its directory must exist. A link that lies there is followed: who must not do
  // that opens the file himself. The file is only touched once the entry is open. True if the whole
  // entry was written and the file could be closed; a false result leaves in place what was.
  [[nodiscard]] bool extractToFile(Entry entry, const std::string& path);

  // The same for a file that the caller knows how to open: it is asked once the entry is open, and
  // what it gives is closed. What the file holds is written over from its start and cut off behind
  // that. It stays whole where a failing call of the system lets nothing of the entry be read or
  // written; an entry that is damaged from its first octet leaves it empty.
  [[nodiscard]] bool extractToFile(Entry entry, const FileOpener& openTarget);

  // Computes the digests of the entry. True if the whole entry was read. False with both outputs
  // filled with zero octets if reading failed midway, and with both as they were if the entry could
  // not be opened. The entry is left open until the next operation or the end of the archive.
  [[nodiscard]] bool digestEntry(Entry entry, std::span<std::uint8_t, kSha1Size> sha1,
                                 std::span<std::uint8_t, kSha256Size> sha256);

  // The same, and every block that was digested is handed on to `copy` in the same pass. That wants
  // no more when it returns false, and reading has failed then.
  [[nodiscard]] bool digestEntry(Entry entry, std::span<std::uint8_t, kSha1Size> sha1,
                                 std::span<std::uint8_t, kSha256Size> sha256,
                                 const BlockSink& copy);

  // Replaces `content` by the entry, cut at the size that the archive states for it. False if
  // there are fewer octets than that, with `content` holding those that could be read; and, with
  // `content` as it was, if the entry cannot be opened or is stated to have more than `maxSize`
  // octets. Memory grows as octets arrive.
  [[nodiscard]] bool readEntry(Entry entry, std::vector<std::uint8_t>& content,
                               std::size_t maxSize = kMaxFileSize);

  // Hands the entry to `sink` from its first octet to its last, in blocks of at most kBlockSize
  // octets, none of them empty. The entry is left open as by digestEntry().
  [[nodiscard]] ReadEnd readBlocks(Entry entry, const BlockSink& sink);

 private:
  void open(int descriptor);
  void close();
  [[nodiscard]] bool readIndex();
  [[nodiscard]] bool indexCurrentEntry();
  [[nodiscard]] std::string_view keep(std::string_view name);

  [[nodiscard]] bool goTo(Entry entry);
  [[nodiscard]] bool openEntry();
  [[nodiscard]] int readOpenOctets(std::span<std::uint8_t> block);
  [[nodiscard]] bool countOctets(std::uint64_t octets);
  void closeEntry();
  [[nodiscard]] bool readStatedOctets(std::uint64_t size, std::vector<std::uint8_t>& content);
  [[nodiscard]] ReadEnd readOpenEntry(const BlockSink& sink);
  [[nodiscard]] bool writeOpenEntry(int descriptor);

  ArchiveFile file_;
  void* handle_ = nullptr;  // minizip's; null when the archive could not be read
  BlockResource memory_;    // of the index, which only grows
  Index index_{&memory_};
  std::size_t indexSize_ = 0;       // octets of memory, as good as that can be told
  EntryRecord* current_ = nullptr;  // of the entry that is being read
  std::uint64_t position_ = 0;      // octets of it that have come out in this reading
  std::uint64_t octetsLeft_ = 0;    // that may still come out for the first time
};

}  // namespace wzapp

#endif  // WZAPP_ARCHIVE_UNZIP_H
