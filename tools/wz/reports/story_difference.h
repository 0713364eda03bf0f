/// Where a run differs from the recorded one.
#ifndef WZ_REPORTS_STORY_DIFFERENCE_H
#define WZ_REPORTS_STORY_DIFFERENCE_H

#include <rapidjson/document.h>

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "wz/reports/recording.h"

namespace wz {

/// Compares what happens with what a recording has. What is not ordered among itself in an
/// application, such as its console and its messages, is compared each for itself. For one thread.
class StoryDifference {
 public:
  explicit StoryDifference(const Recording& recording);

  /// A line of this run, made as for a recording.
  void add(rapidjson::Document line);

  /// Whether as much has happened as the recording has before its line with index `end`, of every
  /// kind.
  bool hasComeTo(std::size_t end) const;

  /// The differences, a line of text each, in the order of the recording. What it has from index
  /// `end` on does not count, and nothing of this run that would come there.
  std::vector<std::string> differences(std::size_t end) const;

 private:
  using Lanes = std::map<std::string, std::vector<std::size_t>>;  // indices, by the kind of event

  const Recording& recording_;
  Lanes expected_;
  std::map<std::string, std::vector<rapidjson::Document>> seen_;
};

/// Whether `seen` is what `expected` says; the text "*" in it stands for any value. Members `at`
/// are not looked at.
bool isAsExpected(const rapidjson::Value& expected, const rapidjson::Value& seen);

}  // namespace wz

#endif  // WZ_REPORTS_STORY_DIFFERENCE_H
