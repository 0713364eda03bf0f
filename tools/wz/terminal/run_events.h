/// What the threads of a running application leave for the main thread.
#ifndef WZ_TERMINAL_RUN_EVENTS_H
#define WZ_TERMINAL_RUN_EVENTS_H

#include <map>
#include <set>
#include <string>

#include "wz/terminal/inbox.h"

namespace wz {

using Properties = std::map<std::string, std::string>;

/// Something that the main thread acts on.
struct RunEvent {
  enum class Kind {
    kOpened,         ///< `number`: the invocation
    kPainted,        ///< likewise
    kLastPicture,    ///< `text`: a PNG, or with `failed` why there is none
    kEnded,          ///< `number`: the result; `properties`
    kLastRecord,     ///< `text`: why the application failed, if it did
    kFolderChanged,  ///< `names`: files, relative to the folder
    kFolderGone,     ///< until kFolderChanged
    kFolderTrouble,  ///< `text`: a part of it cannot be watched
    kKey,            ///< `number`: a character that the user has typed
    kStory,          ///< `text`: a line of the story
  };

  Kind kind;
  int number = 0;
  Properties properties = {};
  std::string text = {};
  bool failed = false;
  std::set<std::string> names = {};
};

using RunEvents = Inbox<RunEvent>;

}  // namespace wz

#endif  // WZ_TERMINAL_RUN_EVENTS_H
