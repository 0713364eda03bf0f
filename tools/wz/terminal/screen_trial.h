/// Another screen for one run, without another terminal.
#ifndef WZ_TERMINAL_SCREEN_TRIAL_H
#define WZ_TERMINAL_SCREEN_TRIAL_H

#include <string>
#include <vector>

#include "workstation/terminal/terminal_profile.h"

namespace wz {

/// What a run's terminal has otherwise than its profile says.
struct ScreenTrial {
  std::string size;  // WIDTHxHEIGHT; empty: as it is
  int keys = -1;     // -1: as it is
  bool noTouch = false;
  bool monochrome = false;
};

/// "480x800". False when it is nothing of that kind.
[[nodiscard]] bool readDisplaySize(const std::string& text, workstation::TerminalProfile& profile);

/// False after a message when the trial is of a screen that no terminal has, or `locale` is no
/// language tag (BCP 47; empty: none is asked for).
[[nodiscard]] bool checkScreen(const ScreenTrial& trial, const std::string& locale);

/// Makes this process play its terminal with that screen; inside of it, before there are threads.
/// False after a message.
[[nodiscard]] bool tryScreen(const ScreenTrial& trial);

/// How many keys the model has, by the library's own table; 0 where that does not know it.
int keysOfModel(const std::string& model);

/// Says where the terminal's model decides otherwise than its profile, as applications find it: a
/// sentence for each; nothing where they agree.
std::vector<std::string> modelContradictions(const workstation::TerminalProfile& profile);

}  // namespace wz

#endif  // WZ_TERMINAL_SCREEN_TRIAL_H
