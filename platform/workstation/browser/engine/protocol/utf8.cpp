#include "workstation/browser/engine/protocol/utf8.h"

#include <cstddef>

namespace workstation {
namespace {

constexpr char kReplacement[] = "\xEF\xBF\xBD";

// One row of the table of well-formed sequences: the first octet, the second one's limits, and how
// many follow the first.
struct SequenceForm {
  unsigned char firstLow, firstHigh, secondLow, secondHigh;
  std::size_t continuations;
};

constexpr SequenceForm kSequenceForms[] = {
    {0x00, 0x7F, 0x00, 0x00, 0}, {0xC2, 0xDF, 0x80, 0xBF, 1}, {0xE0, 0xE0, 0xA0, 0xBF, 2},
    {0xE1, 0xEC, 0x80, 0xBF, 2}, {0xED, 0xED, 0x80, 0x9F, 2}, {0xEE, 0xEF, 0x80, 0xBF, 2},
    {0xF0, 0xF0, 0x90, 0xBF, 3}, {0xF1, 0xF3, 0x80, 0xBF, 3}, {0xF4, 0xF4, 0x80, 0x8F, 3},
};

bool isBetween(char c, unsigned char low, unsigned char high) {
  const auto octet = static_cast<unsigned char>(c);
  return octet >= low && octet <= high;
}

// Length of the well-formed sequence at the start of `text`, 0 when there is none.
std::size_t sequenceLength(std::string_view text) {
  for (const SequenceForm& form : kSequenceForms) {
    if (!isBetween(text[0], form.firstLow, form.firstHigh)) continue;
    if (text.size() <= form.continuations) return 0;
    for (std::size_t i = 1; i <= form.continuations; ++i) {
      const bool second = i == 1;
      if (!isBetween(text[i], second ? form.secondLow : 0x80, second ? form.secondHigh : 0xBF))
        return 0;
    }
    return form.continuations + 1;
  }
  return 0;
}

std::string repaired(std::string_view text, bool keepNul) {
  std::string valid;
  valid.reserve(text.size());
  while (!text.empty()) {
    std::size_t length = sequenceLength(text);
    const bool keep = length > 0 && (keepNul || text[0] != '\0');
    if (length == 0) length = 1;
    valid += keep ? text.substr(0, length) : std::string_view(kReplacement);
    text.remove_prefix(length);
  }
  return valid;
}

}  // namespace

std::string wellFormed(std::string_view text) { return repaired(text, true); }

std::string wellFormedWithoutNul(std::string_view text) { return repaired(text, false); }

}  // namespace workstation
