#include "wz/reports/story_difference.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace wz {
namespace {

using rapidjson::Document;
using rapidjson::Value;

std::string eventOf(const Value& line) {
  const auto event = line.FindMember("event");
  return event != line.MemberEnd() && event->value.IsString() ? event->value.GetString() : "";
}

bool isTime(const Value& name) { return std::strcmp(name.GetString(), "at") == 0; }

std::size_t sizeWithoutTime(const Value& object) {
  return object.MemberCount() - (object.HasMember("at") ? 1 : 0);
}

bool membersAreAsExpected(const Value& expected, const Value& seen) {
  if (sizeWithoutTime(expected) != sizeWithoutTime(seen)) return false;
  for (const auto& member : expected.GetObject()) {
    if (isTime(member.name)) continue;
    const auto other = seen.FindMember(member.name);
    if (other == seen.MemberEnd() || !isAsExpected(member.value, other->value)) return false;
  }
  return true;
}

// What a line says, without its time.
std::string contentOf(const Value& line) {
  Document copy;
  copy.CopyFrom(line, copy.GetAllocator());
  // RemoveMember would put the last member into the gap; a line is read best as it was written.
  copy.EraseMember("at");
  return lineText(copy);
}

// One step of the alignment of two sequences, and where in the recording it belongs.
struct Difference {
  std::size_t at;  // index of a recorded line
  std::string text;
};

// Of two sequences, how long the longest common one behind each pair of places is.
class Alignment {
 public:
  Alignment(const std::vector<const Value*>& expected, const std::vector<Document>& seen)
      : columns_(seen.size() + 1), lengths_((expected.size() + 1) * columns_) {
    for (std::size_t i = expected.size(); i-- > 0;) {
      for (std::size_t j = seen.size(); j-- > 0;) {
        at(i, j) = isAsExpected(*expected[i], seen[j]) ? at(i + 1, j + 1) + 1
                                                       : std::max(at(i + 1, j), at(i, j + 1));
      }
    }
  }

  std::size_t& at(std::size_t i, std::size_t j) { return lengths_[i * columns_ + j]; }

 private:
  std::size_t columns_;
  std::vector<std::size_t> lengths_;
};

}  // namespace

bool isAsExpected(const Value& expected, const Value& seen) {
  if (expected.IsString() && std::strcmp(expected.GetString(), "*") == 0) return true;
  if (expected.IsObject() && seen.IsObject()) return membersAreAsExpected(expected, seen);
  if (!expected.IsArray() || !seen.IsArray()) return expected == seen;
  return expected.Size() == seen.Size() &&
         std::equal(expected.Begin(), expected.End(), seen.Begin(), isAsExpected);
}

StoryDifference::StoryDifference(const Recording& recording) : recording_(recording) {
  for (std::size_t i = 0; i < recording.lines.size(); ++i) {
    const Value& line = recording.lines[i].json;
    if (!isInput(line)) expected_[eventOf(line)].push_back(i);
  }
}

void StoryDifference::add(Document line) {
  const std::string event = eventOf(line);
  seen_[event].push_back(std::move(line));
}

bool StoryDifference::hasComeTo(std::size_t end) const {
  for (const auto& [event, indices] : expected_) {
    const auto wanted = static_cast<std::size_t>(
        std::lower_bound(indices.begin(), indices.end(), end) - indices.begin());
    const auto seen = seen_.find(event);
    if (wanted > (seen == seen_.end() ? 0 : seen->second.size())) return false;
  }
  return true;
}

std::vector<std::string> StoryDifference::differences(std::size_t end) const {
  // An application that floods the bus or its console is compared as far as anybody would look.
  constexpr std::size_t kMostLines = 2000;
  std::vector<Difference> found;
  std::map<std::string, std::vector<std::size_t>> lanes = expected_;
  for (const auto& [event, lines] : seen_) lanes[event];
  for (const auto& [event, lines] : lanes) {
    const std::vector<std::size_t>& indices =
        lines;  // clang 14's lambdas cannot take parts of a pair
    std::vector<const Value*> expected;
    for (const std::size_t index : indices) {
      if (index < end && expected.size() < kMostLines)
        expected.push_back(&recording_.lines[index].json);
    }
    // A recording that stops before the end says nothing about it.
    if (event == "exited" && expected.empty()) continue;
    static const std::vector<Document> kNone;
    const auto lane = seen_.find(event);
    const std::vector<Document>& seen = lane == seen_.end() ? kNone : lane->second;
    if (seen.size() > kMostLines) {
      found.push_back({0, "there are " + std::to_string(seen.size()) + " events \"" + event +
                              "\", too many to compare"});
      continue;
    }
    Alignment alignment(expected, seen);
    const auto place = [&](std::size_t i) { return i < expected.size() ? indices[i] : end; };
    const auto number = [&](std::size_t i) {
      return "line " + std::to_string(recording_.lines[indices[i]].number) + ": ";
    };
    for (std::size_t i = 0, j = 0; i < expected.size() || j < seen.size();) {
      const bool hasBoth = i < expected.size() && j < seen.size();
      if (hasBoth && isAsExpected(*expected[i], seen[j])) {
        ++i;
        ++j;
      } else if (hasBoth && alignment.at(i + 1, j + 1) >= alignment.at(i + 1, j) &&
                 alignment.at(i + 1, j + 1) >= alignment.at(i, j + 1)) {
        found.push_back({place(i), number(i) + "recorded " + contentOf(*expected[i]) + ", now " +
                                       contentOf(seen[j])});
        ++i;
        ++j;
      } else if (j == seen.size() ||
                 (hasBoth && alignment.at(i + 1, j) >= alignment.at(i, j + 1))) {
        found.push_back({place(i), number(i) + "missing " + contentOf(*expected[i])});
        ++i;
      } else {
        found.push_back({place(i), "not recorded " + contentOf(seen[j])});
        ++j;
      }
    }
  }
  std::stable_sort(found.begin(), found.end(),
                   [](const Difference& a, const Difference& b) { return a.at < b.at; });
  std::vector<std::string> texts;
  texts.reserve(found.size());
  for (Difference& difference : found) texts.push_back(std::move(difference.text));
  return texts;
}

}  // namespace wz
