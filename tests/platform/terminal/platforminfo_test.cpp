#include "platforminfo/platforminfo.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "tests/builders/no_descriptors.h"
#include "tests/builders/test_terminal.h"

namespace {

using wzapp_test::testProfile;
using wzapp_test::TestTerminal;

struct Answer {
  int result;
  std::vector<std::uint8_t> octets;

  std::uint32_t field(std::size_t offset) const {
    std::uint32_t value = 0;
    std::memcpy(&value, octets.data() + offset, sizeof(value));
    return value;
  }
  std::string text() const { return reinterpret_cast<const char*>(octets.data()); }
};

// Asks with a buffer of `size` octets; the octet behind it must stay as it was.
Answer ask(int key, unsigned size) {
  std::vector<std::uint8_t> buffer(size + 1, 0xEE);
  unsigned length = 4711;
  Answer answer{platforminfo_get(key, buffer.data(), size, &length), {}};
  EXPECT_EQ(buffer[size], 0xEE);
  if (answer.result != 0) {
    EXPECT_EQ(length, 4711U);
    return answer;
  }
  EXPECT_LE(length, size);
  buffer.resize(length);
  answer.octets = buffer;
  return answer;
}

TEST(PlatformInfoTest, SerialNumberAndModelAreZeroTerminatedTexts) {
  workstation::TerminalProfile profile = testProfile();
  profile.serial = "1234567890123456";
  profile.model = "LNRADIOMOD70";
  const TestTerminal terminal(profile);

  const Answer serial = ask(35, 17), model = ask(68, 13);

  EXPECT_EQ(serial.result, 0);
  EXPECT_EQ(serial.octets.size(), 17U);
  EXPECT_EQ(serial.text(), "1234567890123456");
  EXPECT_EQ(model.result, 0);
  EXPECT_EQ(model.octets.size(), 13U);
  EXPECT_EQ(model.text(), "LNRADIOMOD70");
}

TEST(PlatformInfoTest, TheDisplayRecordHoldsColourWidthAndHeight) {
  workstation::TerminalProfile profile = testProfile();
  profile.displayColour = false;
  TestTerminal terminal(profile);

  const Answer mono = ask(46, 72);
  profile.displayColour = true;
  terminal.setProfile(profile);
  const Answer colour = ask(46, 72);

  ASSERT_EQ(mono.octets.size(), 72U);
  EXPECT_EQ(mono.field(0), 0U);
  EXPECT_EQ(mono.field(4), 480U);
  EXPECT_EQ(mono.field(8), 800U);
  EXPECT_NE(colour.field(0), 0U);
}

TEST(PlatformInfoTest, TheMemoryRecordHoldsOctets) {
  workstation::TerminalProfile profile = testProfile();
  profile.memoryKB = 4194303;
  const TestTerminal terminal(profile);

  const Answer memory = ask(39, 16);

  ASSERT_EQ(memory.octets.size(), 16U);
  EXPECT_EQ(memory.field(0), 4294966272U);
}

TEST(PlatformInfoTest, TheKeypadRecordHoldsTheNumberOfKeysAtOctetTwelve) {
  workstation::TerminalProfile profile = testProfile();
  profile.keys = 24;
  const TestTerminal terminal(profile);

  const Answer keypad = ask(72, 52);

  ASSERT_EQ(keypad.octets.size(), 52U);
  EXPECT_EQ(keypad.field(0), 0U);
  EXPECT_EQ(keypad.field(12), 24U);
}

TEST(PlatformInfoTest, ASmallBufferGetsWhatFits) {
  const TestTerminal terminal;

  const Answer display = ask(46, 8), none = ask(46, 0);

  ASSERT_EQ(display.octets.size(), 8U);
  EXPECT_EQ(display.field(4), 480U);
  EXPECT_EQ(none.result, 0);
  EXPECT_TRUE(none.octets.empty());
}

TEST(PlatformInfoTest, WhatTheTerminalDoesNotKnowIsAFailure) {
  workstation::TerminalProfile profile = testProfile();
  profile.serial = profile.model = "";
  const TestTerminal terminal(profile);

  EXPECT_NE(ask(35, 17).result, 0);
  EXPECT_NE(ask(68, 13).result, 0);
  EXPECT_NE(ask(0, 64).result, 0);
  EXPECT_NE(ask(36, 64).result, 0);
}

TEST(PlatformInfoTest, ALengthIsNotNeeded) {
  const TestTerminal terminal;
  std::array<char, 17> buffer{};

  EXPECT_EQ(platforminfo_get(35, buffer.data(), 17, nullptr), 0);

  EXPECT_STREQ(buffer.data(), "10000000001");
}

TEST(PlatformInfoTest, WithoutASoundTerminalThereIsNoAnswer) {
  TestTerminal terminal;
  terminal.writeFile("terminal.json", "{}");

  EXPECT_NE(ask(35, 17).result, 0);

  const std::string directory = terminal.directory();
  unsetenv("WZ_TERMINAL");
  EXPECT_NE(ask(35, 17).result, 0);
  setenv("WZ_TERMINAL", directory.c_str(), 1);
}

// Otherwise the terminal would be taken for one without a display, and applications that want one
// be removed.
TEST(PlatformInfoTest, WhatCannotBeReadForTheMomentIsNoAnswerAtAll) {
  const TestTerminal terminal;
  std::array<char, 72> display{};
  unsigned length = 0;

  {
    const wzapp_test::NoDescriptors none;
    EXPECT_THROW(platforminfo_get(46, display.data(), 72, &length), std::bad_alloc);
  }

  EXPECT_EQ(platforminfo_get(46, display.data(), 72, &length), 0);
}

}  // namespace
