#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "workstation/terminal/terminal_profile.h"

#pragma GCC visibility push(default)
#include "platforminfo/platforminfo.h"
#pragma GCC visibility pop

// The answers, laid out as the terminal's service gives them. Fields are 32-bit in the machine's
// order of octets; what a record holds beyond those named here is zero.

namespace {

using workstation::TerminalProfile;
using Answer = std::vector<std::uint8_t>;  // empty: no answer

constexpr std::size_t kDisplayRecordSize = 72;
constexpr std::size_t kMemoryRecordSize = 16;
constexpr std::size_t kKeypadRecordSize = 52;

void setField(Answer& record, std::size_t offset, std::uint32_t value) {
  std::memcpy(record.data() + offset, &value, sizeof(value));
}

// With its terminating zero.
Answer textAnswer(const std::string& text) {
  if (text.empty()) return {};
  Answer answer(text.begin(), text.end());
  answer.push_back(0);
  return answer;
}

Answer serialNumber(const TerminalProfile& profile) { return textAnswer(profile.serial); }

Answer modelName(const TerminalProfile& profile) { return textAnswer(profile.model); }

// colour (0 or 1), width, height
Answer displayRecord(const TerminalProfile& profile) {
  Answer record(kDisplayRecordSize);
  setField(record, 0, profile.displayColour ? 1 : 0);
  setField(record, 4, static_cast<std::uint32_t>(profile.displayWidth));
  setField(record, 8, static_cast<std::uint32_t>(profile.displayHeight));
  return record;
}

// size in octets
Answer memoryRecord(const TerminalProfile& profile) {
  Answer record(kMemoryRecordSize);
  setField(record, 0, profile.memoryKB * 1024U);
  return record;
}

// three unused fields, number of keys
Answer keypadRecord(const TerminalProfile& profile) {
  Answer record(kKeypadRecordSize);
  setField(record, 12, static_cast<std::uint32_t>(profile.keys));
  return record;
}

struct Question {
  int key;
  Answer (*answer)(const TerminalProfile&);
};

constexpr Question kQuestions[] = {
    {35, serialNumber}, {39, memoryRecord}, {46, displayRecord},
    {68, modelName},    {72, keypadRecord},
};

// Of a terminal about which nothing is known callers would think that it is another one. So what
// cannot be read for a reason that passes is a failure of resources, of which memory is the one
// that an interface without such an answer can tell.
bool loadProfile(TerminalProfile& profile) {
  const std::string terminal = workstation::terminalDirectory();
  if (terminal.empty()) return false;
  workstation::ProfileError error;
  if (loadTerminalProfile(terminal, profile, error)) return true;
  if (error.isPassing) throw std::bad_alloc();
  return false;
}

Answer answerTo(int key) {
  for (const Question& question : kQuestions) {
    if (question.key != key) continue;
    TerminalProfile profile;
    return loadProfile(profile) ? question.answer(profile) : Answer();
  }
  return {};
}

}  // namespace

int platforminfo_get(int key, void* buffer, unsigned int size, unsigned int* length) try {
  constexpr int kNoAnswer = -1;
  if (buffer == nullptr) return kNoAnswer;
  const Answer answer = answerTo(key);
  if (answer.empty()) return kNoAnswer;
  const std::size_t count = std::min<std::size_t>(size, answer.size());
  std::memcpy(buffer, answer.data(), count);
  if (length != nullptr) *length = static_cast<unsigned int>(count);
  return 0;
} catch (const std::bad_alloc&) {
  throw;
} catch (...) {
  return -2;
}
