/// A run that has been recorded: a file with one JSON object a line, to be read, edited and kept.
///
///     {"recording":1,"app":"shop","entry":"desktop","parameters":{}}
///     {"at":0.31,"event":"console","level":"info","text":"ready"}
///     {"at":1.94,"event":"click","target":"#pay"}
///     {"at":2.6,"event":"type","target":"#amount","text":"1250"}
///
/// `at` is in seconds since the launch. Of each event of the story the lines keep what is the same
/// in every run: no places in scripts, no properties of the terminal. In what is compared, the text
/// "*" stands for any value.
#ifndef WZ_REPORTS_RECORDING_H
#define WZ_REPORTS_RECORDING_H

#include <rapidjson/document.h>

#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "support/mutex.h"
#include "wz/reports/run_report.h"

namespace wz {

inline constexpr int kRecordingVersion = 1;

/// What a story's line is in a recording, its time in `at`. Nothing for lines that are not kept.
std::optional<rapidjson::Document> recordedLine(const std::string& storyLine);

/// The line as text.
std::string lineText(const rapidjson::Value& line);

/// Whether a line is something that the user has done: click, type, press, choose.
bool isInput(const rapidjson::Value& line);

/// Writes a recording while the run goes on; each line is in the file when it is whole, so that a
/// run that is killed leaves what it had. Any thread.
class Recorder {
 public:
  Recorder() = default;
  ~Recorder();
  Recorder(const Recorder&) = delete;
  Recorder& operator=(const Recorder&) = delete;

  /// False, with the reason in `error`, when the file cannot be written.
  [[nodiscard]] bool begin(const std::string& file, const Launch& launch, std::string& error);

  void add(const std::string& storyLine);

  /// Writes what is left. False, with the reason in `error`, when not everything has been written.
  [[nodiscard]] bool finish(std::string& error);

 private:
  void write(const std::string& line) WZAPP_REQUIRES(mutex_);
  bool joinsTyping(const rapidjson::Value& line) WZAPP_REQUIRES(mutex_);
  void writeTyping() WZAPP_REQUIRES(mutex_);

  wzapp::Mutex mutex_;
  std::FILE* file_ WZAPP_GUARDED_BY(mutex_) = nullptr;
  // To which further characters are added.
  std::optional<rapidjson::Document> typing_ WZAPP_GUARDED_BY(mutex_);
  int error_ WZAPP_GUARDED_BY(mutex_) = 0;  // errno of the first failure
};

struct RecordedLine {
  int number = 0;  // in the file, from 1
  double at = 0;   // seconds
  rapidjson::Document json;
};

struct Recording {
  Launch launch;
  std::vector<RecordedLine> lines;
};

/// Reads a recording. False, with "FILE:LINE: what is wrong" in `error`.
[[nodiscard]] bool readRecording(const std::string& file, Recording& recording, std::string& error);

}  // namespace wz

#endif  // WZ_REPORTS_RECORDING_H
