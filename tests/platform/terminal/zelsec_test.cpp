#include "zelsec/zelsec.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "tests/builders/no_descriptors.h"
#include "tests/builders/test_terminal.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using wzapp_test::testProfile;
using wzapp_test::TestTerminal;

constexpr int kCertificates = 2;
constexpr int kSponsors = 4;
constexpr int kEndOfList = -510;

// Reads a list to its end, which must be the one that lets it begin afresh.
std::vector<std::string> readList(int operation) {
  std::vector<std::string> records;
  std::vector<char> buffer(8192);
  unsigned short length = 0;
  int result = 0;
  while ((result = CMDiag(operation, buffer.data(), &length)) == 0) {
    records.emplace_back(buffer.data(), length);
  }
  EXPECT_EQ(result, kEndOfList);
  return records;
}

workstation::TerminalProfile profileWithRoots() {
  workstation::TerminalProfile profile = testProfile();
  profile.rootsDirectory = "roots";
  return profile;
}

TEST(ZelsecTest, CertificatesComeInTheOrderOfTheirNames) {
  TestTerminal terminal(profileWithRoots());
  terminal.writeFile("roots/c.der", "third");
  terminal.writeFile("roots/a.der", "first");
  terminal.writeFile("roots/b.crt", "second");
  terminal.writeFile("roots/readme.txt", "no certificate");

  EXPECT_THAT(readList(kCertificates), ElementsAre("first", "second", "third"));
  EXPECT_THAT(readList(kCertificates), ElementsAre("first", "second", "third"));
}

TEST(ZelsecTest, AListThatBeginsAfreshShowsWhatHasChanged) {
  TestTerminal terminal(profileWithRoots());
  terminal.writeFile("roots/a.der", "first");
  EXPECT_THAT(readList(kCertificates), ElementsAre("first"));

  terminal.writeFile("roots/b.der", "second");

  EXPECT_THAT(readList(kCertificates), ElementsAre("first", "second"));
}

TEST(ZelsecTest, ACertificateThatDoesNotFitIsSkipped) {
  TestTerminal terminal(profileWithRoots());
  const std::string largest(8192, 'x');
  terminal.writeFile("roots/a.der", std::string(8193, 'y'));
  terminal.writeFile("roots/b.der", largest);
  terminal.writeFile("roots/c.der", "");

  EXPECT_THAT(readList(kCertificates), ElementsAre(largest));
}

TEST(ZelsecTest, ATerminalWithoutRootsHasAnEmptyList) {
  const TestTerminal terminal;

  EXPECT_THAT(readList(kCertificates), IsEmpty());
}

TEST(ZelsecTest, TheSponsorRecordHasItsDigitsLeastSignificantFirst) {
  workstation::TerminalProfile profile = testProfile();
  profile.sponsorId = "012345";
  profile.sponsorText = "Shop";
  const TestTerminal terminal(profile);
  const std::uint32_t six = 6, four = 4;
  std::string expected(reinterpret_cast<const char*>(&six), 4);
  expected += std::string("\x05\x04\x03\x02\x01\x00", 6);
  expected.append(reinterpret_cast<const char*>(&six), 4);
  expected += std::string("\x02\x03\x20\x08\x21\xC5", 6);
  expected.append(reinterpret_cast<const char*>(&four), 4);
  expected += "Shop";

  EXPECT_THAT(readList(kSponsors), ElementsAre(expected));
  EXPECT_THAT(readList(kSponsors), ElementsAre(expected));
}

TEST(ZelsecTest, ATerminalWithoutSponsorHasAnEmptyList) {
  workstation::TerminalProfile profile = testProfile();
  profile.sponsorId = profile.sponsorText = "";
  const TestTerminal terminal(profile);

  EXPECT_THAT(readList(kSponsors), IsEmpty());
}

TEST(ZelsecTest, TheTwoListsDoNotDisturbEachOther) {
  TestTerminal terminal(profileWithRoots());
  terminal.writeFile("roots/a.der", "first");
  terminal.writeFile("roots/b.der", "second");
  char buffer[8192];
  unsigned short length = 0;

  ASSERT_EQ(CMDiag(kCertificates, buffer, &length), 0);
  EXPECT_EQ(readList(kSponsors).size(), 1U);

  EXPECT_THAT(readList(kCertificates), ElementsAre("second"));
}

TEST(ZelsecTest, WhatCannotBeAnsweredIsAFailureAndNoEndOfAList) {
  TestTerminal terminal;
  char buffer[8192];
  unsigned short length = 7;

  EXPECT_NE(CMDiag(3, buffer, &length), 0);
  EXPECT_NE(CMDiag(3, buffer, &length), kEndOfList);
  terminal.writeFile("terminal.json", "broken");
  EXPECT_NE(CMDiag(kCertificates, buffer, &length), 0);
  EXPECT_NE(CMDiag(kCertificates, buffer, &length), kEndOfList);

  EXPECT_EQ(length, 7);
}

// "No sponsor" would be an answer by which applications are judged.
TEST(ZelsecTest, EndsItsListWhereTheProfileCannotBeReadForNow) {
  const TestTerminal terminal;
  std::vector<char> buffer(8192);
  unsigned short length = 0;
  {
    const wzapp_test::NoDescriptors none;

    EXPECT_EQ(CMDiag(kSponsors, buffer.data(), &length), kEndOfList);
    EXPECT_EQ(CMDiag(kSponsors, buffer.data(), &length), kEndOfList);
  }

  EXPECT_EQ(CMDiag(kSponsors, buffer.data(), &length), 0);
}

}  // namespace
