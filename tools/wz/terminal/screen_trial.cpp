#include "wz/terminal/screen_trial.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <string_view>

#include "support/platform_info.h"
#include "wz/reports/output.h"

namespace wz {
namespace {

bool readNumber(std::string_view text, int& number) {
  const char* const end = text.data() + text.size();
  const auto [rest, failure] = std::from_chars(text.data(), end, number);
  return failure == std::errc() && rest == end;
}

bool isUnchanged(const ScreenTrial& trial) {
  return trial.size.empty() && trial.keys < 0 && !trial.noTouch && !trial.monochrome;
}

}  // namespace

bool readDisplaySize(const std::string& text, workstation::TerminalProfile& profile) {
  const std::size_t cross = text.find('x');
  if (cross == std::string::npos) return false;
  return readNumber(std::string_view(text).substr(0, cross), profile.displayWidth) &&
         readNumber(std::string_view(text).substr(cross + 1), profile.displayHeight);
}

bool checkScreen(const ScreenTrial& trial, const std::string& locale) {
  constexpr int kWidest = 16384;
  workstation::TerminalProfile profile;
  const auto isSide = [](int pixels) { return pixels >= 1 && pixels <= kWidest; };
  const bool isSize =
      trial.size.empty() || (readDisplaySize(trial.size, profile) && isSide(profile.displayWidth) &&
                             isSide(profile.displayHeight));
  if (!isSize) {
    printMessage("--size is WIDTHxHEIGHT in pixels, such as 480x800, not " + trial.size);
    return false;
  }
  const auto isPart = [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-';
  };
  const bool isTag = locale.size() != 1 && locale.size() <= 35 &&
                     std::all_of(locale.begin(), locale.end(), isPart) &&
                     (locale.empty() || (locale.front() != '-' && locale.back() != '-'));
  if (isTag) return true;
  printMessage("--locale is a language tag such as de or pt-BR, not " + locale);
  return false;
}

bool tryScreen(const ScreenTrial& trial) {
  if (isUnchanged(trial)) return true;
  workstation::TerminalProfile profile;
  workstation::ProfileError error;
  if (!workstation::loadTerminalProfile(workstation::terminalDirectory(), profile, error)) {
    printMessage(error.text());
    return false;
  }
  if (!trial.size.empty()) (void)readDisplaySize(trial.size, profile);  // it has been read before
  if (trial.keys >= 0) profile.keys = trial.keys;
  if (trial.noTouch) profile.touch = false;
  if (trial.monochrome) profile.displayColour = false;
  const std::string text = workstation::formatTerminalProfile(profile);
  if (::setenv(workstation::kProfileVariable, text.c_str(), 1) == 0) return true;
  printMessage("there is no memory for another screen");
  return false;
}

int keysOfModel(const std::string& model) {
  const int keys = wzapp::keyCountOfModel(model);
  return keys == wzapp::kUnknownKeyCount ? 0 : keys;
}

std::vector<std::string> modelContradictions(const workstation::TerminalProfile& profile) {
  std::vector<std::string> found;
  const std::string model = "the model " + profile.model;
  if (profile.model.empty()) return found;  // the service's own answers count then
  const int keys = wzapp::keyCountOfModel(profile.model);
  if (keys != wzapp::kUnknownKeyCount && keys != profile.keys) {
    found.push_back(model + " has " + (keys == 0 ? "no" : std::to_string(keys)) +
                    " keys whatever \"keys\" says, which is " + std::to_string(profile.keys));
  }
  if (!profile.touch && wzapp::hasTouchScreenOfModel(profile.model))
    found.push_back(model + " has a touch screen whatever \"touch\" says, which is false");
  return found;
}

}  // namespace wz
