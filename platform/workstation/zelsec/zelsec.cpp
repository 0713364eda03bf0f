#include <cstddef>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "workstation/mutex.h"
#include "workstation/terminal/terminal_directory.h"
#include "workstation/terminal/terminal_profile.h"
#include "workstation/zelsec/sponsor_record.h"

#pragma GCC visibility push(default)
#include "zelsec/zelsec.h"
#pragma GCC visibility pop

namespace {

using workstation::TerminalProfile;
using Record = std::vector<std::uint8_t>;

constexpr int kSuccess = 0;
constexpr int kNoTerminal = -1;  // no terminal, or its profile cannot be read
constexpr int kUnknownOperation = -2;
constexpr int kFailed = -3;
constexpr int kEndOfList = -510;

constexpr std::size_t kMaxRecordSize = workstation::kMaxCertificateSize;

// Empty when the file cannot be read, or is longer than a record can be.
Record readRecord(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  Record record(kMaxRecordSize + 1);
  file.read(reinterpret_cast<char*>(record.data()), static_cast<std::streamsize>(record.size()));
  record.resize(static_cast<std::size_t>(file.gcount()));
  if (record.size() > kMaxRecordSize) record.clear();
  return record;
}

std::vector<Record> certificates(const TerminalProfile& profile) {
  std::vector<Record> records;
  if (profile.rootsDirectory.empty()) return records;
  for (const std::string& file : workstation::certificateFiles(profile.rootsDirectory)) {
    Record record = readRecord(file);
    if (!record.empty()) records.push_back(std::move(record));
  }
  return records;
}

std::vector<Record> sponsors(const TerminalProfile& profile) {
  if (profile.sponsorId.empty()) return {};
  return {workstation::sponsorRecord(profile.sponsorId, profile.sponsorText)};
}

// A list that is handed out record by record, as it was when its first record was asked for.
struct RecordList {
  int operation;
  std::vector<Record> (*read)(const TerminalProfile&);
  std::vector<Record> records;
  std::size_t next;
  bool begun;
};

workstation::Mutex mutex;
RecordList lists[] WORKSTATION_GUARDED_BY(mutex) = {
    {2, certificates, {}, 0, false},
    {4, sponsors, {}, 0, false},
};

int begin(RecordList& list) {
  TerminalProfile profile;
  workstation::ProfileError error;
  const std::string terminal = workstation::terminalDirectory();
  if (terminal.empty()) return kNoTerminal;
  if (!loadTerminalProfile(terminal, profile, error)) {
    // For want of a descriptor, or the like, nobody is without a sponsor: the list is over for now.
    return error.isPassing ? kEndOfList : kNoTerminal;
  }
  list.records = list.read(profile);
  list.next = 0;
  list.begun = true;
  return kSuccess;
}

int nextRecord(RecordList& list, void* buffer, unsigned short* length) {
  if (!list.begun) {
    const int result = begin(list);
    if (result != kSuccess) return result;
  }
  if (list.next == list.records.size()) {
    list.records.clear();
    list.begun = false;
    return kEndOfList;
  }
  const Record& record = list.records[list.next++];
  std::memcpy(buffer, record.data(), record.size());
  *length = static_cast<unsigned short>(record.size());
  return kSuccess;
}

}  // namespace

int CMDiag(int operation, void* buffer, unsigned short* length) try {
  const workstation::MutexLock lock(mutex);
  for (RecordList& list : lists) {
    if (list.operation == operation) return nextRecord(list, buffer, length);
  }
  return kUnknownOperation;
} catch (const std::bad_alloc&) {
  throw;  // a list without records would be another answer
} catch (...) {
  return kFailed;
}
