// The terminal that tests, fuzz targets and benchmarks play.
#ifndef WZAPP_TESTS_BUILDERS_TEST_PROFILE_H
#define WZAPP_TESTS_BUILDERS_TEST_PROFILE_H

#include "workstation/terminal/terminal_profile.h"

namespace wzapp_test {

// T30, 480 x 800 colour pixels, 512 MiB, 15 keys, touch, serial number 10000000001, sponsor 123456,
// no roots.
inline workstation::TerminalProfile testProfile() {
  workstation::TerminalProfile profile;
  profile.serial = "10000000001";
  profile.model = "T30";
  profile.displayWidth = 480;
  profile.displayHeight = 800;
  profile.displayColour = true;
  profile.memoryKB = 524288;
  profile.keys = 15;
  profile.touch = true;
  profile.sponsorId = "123456";
  profile.sponsorText = "Test sponsor";
  return profile;
}

}  // namespace wzapp_test

#endif  // WZAPP_TESTS_BUILDERS_TEST_PROFILE_H
