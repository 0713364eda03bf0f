/// Plays the programs around an application as they were when it was recorded.
#ifndef WZ_TERMINAL_RECORDED_HOST_H
#define WZ_TERMINAL_RECORDED_HOST_H

#include <deque>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "support/mutex.h"
#include "wz/reports/recording.h"
#include "zelipc/zelipc.h"

namespace wz {

/// For as long as it lives, answers the application's notifications with the recorded replies, in
/// their order; takes those that had no reply; and is not there where nobody was.
class RecordedHost {
 public:
  explicit RecordedHost(const Recording& recording);
  ~RecordedHost();
  RecordedHost(const RecordedHost&) = delete;
  RecordedHost& operator=(const RecordedHost&) = delete;

 private:
  struct Reply {
    bool isSilence = false;
    std::string name, payload;
  };
  struct Receiver {
    std::string address, name;
    wzapp::Mutex mutex;
    // To what comes, in order; the last one stays.
    std::deque<Reply> replies WZAPP_GUARDED_BY(mutex);
  };
  using Receivers = std::map<std::pair<std::string, std::string>, std::unique_ptr<Receiver>>;

  static void onNotification(void* receiver, const std::string& from, const std::string& to,
                             const std::string& name, const zelipc::JSObject& payload,
                             unsigned flags);
  void addReplies(const Recording& recording);

  Receivers receivers_;
};

}  // namespace wz

#endif  // WZ_TERMINAL_RECORDED_HOST_H
