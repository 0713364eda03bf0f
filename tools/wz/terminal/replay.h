/// Does again what the user of a recorded run did.
#ifndef WZ_TERMINAL_REPLAY_H
#define WZ_TERMINAL_REPLAY_H

#include <cstddef>
#include <string>
#include <vector>

#include "wz/reports/recording.h"
#include "wz/reports/story_difference.h"
#include "wz/terminal/application_run.h"

namespace wz {

/// One replay, from the application's start to its end. For the main thread.
///
/// Each click and key waits until as much has happened as had when it was recorded, and for its
/// element. The pauses between are the recorded ones, but a long one is cut short.
class Replay {
 public:
  /// The story of `run` comes as events of kind kStory. `tolerance` is in seconds: what comes later
  /// than recorded by more than that counts as missing.
  Replay(const Recording& recording, ApplicationRun& run, double tolerance);

  /// What wzAppRun has refused it with, or 0.
  int run();

  /// Where the run has differed, a line of text each; after run().
  const std::vector<std::string>& differences() const { return differences_; }

 private:
  bool awaitEventsBefore(std::size_t index);
  bool pauseBefore(std::size_t index);
  bool act(std::size_t index);
  bool actOnce(const workstation::PageEvent::Input& input, std::size_t index);
  bool hasEndedSoon();
  void awaitEnd();
  bool take(Deadline deadline);
  void stopAt(std::size_t index, const std::string& why);
  std::string lineName(std::size_t index) const;

  const Recording& recording_;
  ApplicationRun& run_;
  const double tolerance_;
  StoryDifference story_;
  std::vector<std::string> differences_;
  std::size_t end_;  // up to where it has come
};

}  // namespace wz

#endif  // WZ_TERMINAL_REPLAY_H
