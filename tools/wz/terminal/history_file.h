/// The file in a terminal's folder that keeps its history: an event a line (history_event.h).
///
/// It is only ever appended to, by who has the right to change the terminal. A program that is
/// killed while it writes leaves a line without an end, which readers pass over and the next event
/// takes the place of. Above kMaxHistorySize the older half of the events goes.
#ifndef WZ_TERMINAL_HISTORY_FILE_H
#define WZ_TERMINAL_HISTORY_FILE_H

#include <cstddef>
#include <string>
#include <vector>

#include "wz/reports/history_event.h"

namespace wz {

inline constexpr char kHistoryFile[] = "history.jsonl";

/// Octets of the file.
inline constexpr std::size_t kMaxHistorySize = std::size_t{8} << 20;

/// Octets of the log that one event keeps; of a longer one the middle is left out.
inline constexpr std::size_t kMaxLogSize = std::size_t{1} << 20;

struct History {
  std::vector<HistoryEvent> events;
  std::vector<std::string> remarks;  ///< what could not be read of it, a sentence each
};

/// Reads the history of the terminal in a folder; one without the file has none. False with a line
/// of text in `error` when there is a file that cannot be read.
[[nodiscard]] bool readHistory(const std::string& terminalDir, History& history,
                               std::string& error);

/// Enters the terminal that a command was given (enterChosenTerminal()) and reads its history; what
/// could not be read of it is printed. False after a message.
[[nodiscard]] bool enterToReadHistory(const std::string& terminal, History& history);

/// Appends an event, which gets its number and, where its log is too long, a shorter one. False
/// with a line of text in `error`; the file is then as it was.
[[nodiscard]] bool appendHistory(const std::string& terminalDir, HistoryEvent& event,
                                 std::string& error);

/// Puts `text` in the place of the file `path`, whole or not at all, on stable storage. False with
/// errno.
[[nodiscard]] bool replaceFile(const std::string& path, const std::string& text);

}  // namespace wz

#endif  // WZ_TERMINAL_HISTORY_FILE_H
