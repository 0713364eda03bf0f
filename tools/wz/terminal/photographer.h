/// Takes the picture that the user wants of a running application.
#ifndef WZ_TERMINAL_PHOTOGRAPHER_H
#define WZ_TERMINAL_PHOTOGRAPHER_H

#include <chrono>
#include <functional>
#include <string>

#include "wz/terminal/inbox.h"

namespace wz {

/// When a picture is to be taken.
struct PictureTime {
  enum class Kind { kFirstPaint, kExit, kDelay, kElement } kind = Kind::kFirstPaint;
  std::chrono::milliseconds delay{0};  // kDelay: since the page has been opened
  std::string selector;                // kElement
};

/// Reads "", "exit", "2", "1.5s", "300ms" or a CSS selector. False for a delay that is none.
[[nodiscard]] bool readPictureTime(const std::string& text, PictureTime& time);

/// For the main thread.
class Photographer {
 public:
  /// `onTaken` is called for each picture that has been saved in `file`; empty: none is wanted.
  Photographer(std::string file, PictureTime time, std::function<void()> onTaken);

  void onOpened(int invocation);
  void onPainted();

  /// The page has ended, with this picture or, `failed`, with the reason why there is none.
  void onLastPicture(const std::string& octets, bool failed);

  /// When onTime is to be called next.
  Deadline due() const { return due_; }
  void onTime();

  /// False after a message when a picture was wanted and none could be taken.
  bool finish() const;

 private:
  void take();
  void lookForElement();

  const std::string file_;
  const PictureTime time_;
  const std::function<void()> onTaken_;
  int invocation_ = -1;
  Deadline due_ = kNoDeadline;
  bool painted_ = false;
  bool taken_ = false;
  std::string error_;
};

}  // namespace wz

#endif  // WZ_TERMINAL_PHOTOGRAPHER_H
