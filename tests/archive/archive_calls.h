// Counts what the archive reader calls, and lets a chosen call fail.
//
// The linker replaces the functions (--wrap) in this program; what minizip calls itself is not
// seen.
#ifndef WZAPP_TESTS_ARCHIVE_ARCHIVE_CALLS_H
#define WZAPP_TESTS_ARCHIVE_ARCHIVE_CALLS_H

#include <array>
#include <cstddef>

namespace wzapp_test {

enum class Call {
  kUnzOpen,
  kUnzGetGlobalInfo,
  kUnzGetCurrentFileInfo,
  kUnzGetFilePos,
  kUnzGoToNextFile,
  kUnzGoToFilePos,
  kUnzOpenCurrentFile,
  kUnzReadCurrentFile,
  kUnzCloseCurrentFile,  // a failing one closes all the same, as does the next
  kUnzClose,
  kOpen,
  kFcntl,
  kFstat,
  kPread,
  kWrite,
  kClose,
  kNew,    // operator new; a failing one throws std::bad_alloc
  kCount,  // not a call
};

// Watches the calls of the whole program while it lives. One at a time.
class ArchiveCalls {
 public:
  ArchiveCalls();
  ArchiveCalls(const ArchiveCalls&) = delete;
  ArchiveCalls& operator=(const ArchiveCalls&) = delete;
  ~ArchiveCalls();

  // Lets the call of this number, from 1 and counted from now on, fail.
  void fail(Call call, int number);
  void failNothing();

  // Lets pread(2) give, or write(2) take, at most so many octets at once.
  void limitReads(std::size_t octets) { readLimit = octets; }
  void limitWrites(std::size_t octets) { writeLimit = octets; }
  // Lets the next write(2) be interrupted by a signal.
  void interruptWrite() { isWriteInterrupted = true; }

  [[nodiscard]] int count(Call call) const { return counts[static_cast<std::size_t>(call)]; }
  // Archives that are open, and whether an entry of the last one is.
  [[nodiscard]] int openArchives() const { return archives; }
  [[nodiscard]] bool isEntryOpen() const { return hasOpenEntry; }

  // How many octets the last read of an entry asked for.
  [[nodiscard]] unsigned lastReadSize() const { return readSize; }

  // For the replacements.
  bool mustFail(Call call);
  std::array<int, static_cast<std::size_t>(Call::kCount)> counts{};
  Call failing = Call::kCount;
  int failingNumber = 0;
  std::size_t readLimit = 0;  // 0: none
  std::size_t writeLimit = 0;
  bool isWriteInterrupted = false;
  int archives = 0;
  bool hasOpenEntry = false;
  unsigned readSize = 0;
};

}  // namespace wzapp_test

#endif  // WZAPP_TESTS_ARCHIVE_ARCHIVE_CALLS_H
