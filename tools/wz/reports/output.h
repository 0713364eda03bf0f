/// What `wz` writes: whole lines, from any thread, with nothing in them that could act on the
/// user's terminal.
#ifndef WZ_REPORTS_OUTPUT_H
#define WZ_REPORTS_OUTPUT_H

#include <string>
#include <string_view>
#include <vector>

namespace wz {

/// `text` as it may be shown: control characters (C0, C1, DEL), the characters that turn the
/// direction of writing, and octets that are no UTF-8 stand as \n, \t, \r, \xNN or \u{NNNN}.
/// A backslash stays one; the result is for eyes, not to be read back.
std::string escaped(std::string_view text);

/// `texts` one behind the other.
std::string joined(const std::vector<std::string>& texts, std::string_view between = ", ");

/// How much is said: --quiet leaves out what tells only that all went well, --verbose tells more.
/// What a command was asked for is never left out.
enum class Volume { kQuiet, kUsual, kVerbose };

/// To be called before there is a second thread.
void setVolume(Volume volume);
[[nodiscard]] Volume volume();

/// Writes `line`, escaped, and a line feed to standard output, in one piece. On a screen the word
/// that it begins with may be in colour (screen.h).
void printLine(std::string_view line);

/// The same for what only tells that all went well.
void printSuccess(std::string_view line);

/// The same for several lines at once, parted by line feeds: they stand together.
void printBlock(std::string_view lines);

/// Writes "wz: ", `message`, escaped, and a line feed to standard error, in one piece: errors, and
/// what is said beside the results.
void printMessage(std::string_view message);

/// The same for what only tells how things are or go: not with --quiet.
void printNote(std::string_view message);

/// Writes a text of the program's own, of several lines, to standard output as it stands.
void printText(std::string_view text);

/// From now on messages are also kept. noteMessage() keeps one that is printed elsewhere.
void collectMessages();
void noteMessage(std::string_view message);
[[nodiscard]] std::vector<std::string> collectedMessages();

/// For screen.h: puts `text` to standard error as it stands. What is written next takes it away
/// first, by `erasing`.
void putLiveLine(const std::string& text, const char* erasing);
void takeLiveLine();

/// Where standard output could not be written to, says so and gives true; once.
[[nodiscard]] bool reportLostOutput();

/// For the beginning of a program: where a standard file is closed, one takes its place that can
/// neither be read from nor written to, so that no file opened later is taken for it.
void occupyStandardFiles();

}  // namespace wz

#endif  // WZ_REPORTS_OUTPUT_H
