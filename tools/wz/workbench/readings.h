/// What pages read: folders of the terminal, what was saved, stories of others, published logs.
#ifndef WZ_WORKBENCH_READINGS_H
#define WZ_WORKBENCH_READINGS_H

#include <string>

#include "wz/workbench/answer.h"
#include "wz/workbench/uploads.h"
#include "zelipc/zelipc.h"

namespace wz {

// Any thread may call these. Their answers are as docs/workbench.md has them.

/// Answers with what is in the folder `path` of `terminal`; "" is its top.
void listFiles(const std::string& terminal, const std::string& path, const Answer& answer);

/// Answers with the recordings in the folder `saved`.
void listRecordings(const std::string& saved, const Answer& answer);

/// Answers with the lines of a recording, of a story (wz run --json), or of an installer's log, as
/// events.
void openStory(const Upload& upload, const Answer& answer);

/// Adds the entries of a published record ("_WZLog") to a list, as people read them.
void addLogEntries(const zelipc::JSObject& record, zelipc::JSObject& entries);

}  // namespace wz

#endif  // WZ_WORKBENCH_READINGS_H
