#include "support/terminal_identity.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "tests/builders/child_process.h"
#include "tests/support/fake_platform.h"

namespace wzapp {
namespace {

using testing::Each;
using testing::SizeIs;
using wzapp_test::DiagAnswer;
using wzapp_test::FakePlatform;
using wzapp_test::octetsOf;
using wzapp_test::runInChild;

constexpr int kEnd = -510;
const char* const kFirstIdentifier = "\x02\x03\x20\x08\x21\xc5";

// A sponsor record: sponsor 123456, "ACME", unless told otherwise.
struct SponsorRecord {
  std::string digits = std::string("\6\5\4\3\2\1", 6);
  std::string identifier = kFirstIdentifier;
  std::string text = "ACME";
  std::optional<std::uint32_t> digitsLength = std::nullopt;
  std::optional<std::uint32_t> identifierLength = std::nullopt;
  std::optional<std::uint32_t> textLength = std::nullopt;

  [[nodiscard]] std::string octets() const {
    return field(digits, digitsLength) + field(identifier, identifierLength) +
           field(text, textLength);
  }

  // The first octets only, as many as reach up to the text's length.
  [[nodiscard]] std::string withoutText() const {
    return field(digits, digitsLength) + field(identifier, identifierLength);
  }

 private:
  static std::string field(const std::string& octets, std::optional<std::uint32_t> length) {
    return octetsOf(length.value_or(static_cast<std::uint32_t>(octets.size()))) + octets;
  }
};

DiagAnswer answer(const SponsorRecord& record) { return {0, record.octets()}; }

struct Identity {
  std::string id = "before";
  std::string text = "before";
  bool operator==(const Identity& other) const = default;
};

void PrintTo(const Identity& identity, std::ostream* out) {
  *out << '"' << identity.id << "\" \"" << identity.text << '"';
}

const Identity kNobody = {"", ""};

Identity ask() {
  Identity identity;
  getTerminalSponsor(identity.id, identity.text);
  return identity;
}

struct IdentityCase {
  const char* name;
  std::vector<DiagAnswer> answers;
  Identity identity;
  std::size_t calls;
};

void PrintTo(const IdentityCase& row, std::ostream* out) { *out << row.name; }

class TerminalSponsorTest : public testing::TestWithParam<IdentityCase> {};

TEST_P(TerminalSponsorTest, ComesFromTheFirstSponsorRecord) {
  runInChild([] {
    FakePlatform platform;
    platform.diag = GetParam().answers;

    EXPECT_EQ(ask(), GetParam().identity);

    EXPECT_THAT(platform.diagOperations, SizeIs(GetParam().calls));
    EXPECT_THAT(platform.diagOperations, Each(4));
  });
}

// A failure is not kept, so that the look-up after it finds the sponsor; a success is.
TEST_P(TerminalSponsorTest, IsKeptUnlessItFailed) {
  runInChild([] {
    FakePlatform platform;
    platform.diag = GetParam().answers;
    const Identity first = ask();
    platform.diag = {answer({.text = "later"})};

    EXPECT_EQ(ask(), first == kNobody ? (Identity{"123456", "later"}) : first);

    EXPECT_THAT(platform.diagOperations, SizeIs(GetParam().calls + (first == kNobody ? 1 : 0)));
  });
}

const Identity kAcme = {"123456", "ACME"};

INSTANTIATE_TEST_SUITE_P(
    Identifiers, TerminalSponsorTest,
    testing::Values(
        IdentityCase{"First", {answer({})}, kAcme, 1},
        IdentityCase{"Second", {answer({.identifier = "\x02\x03\x01\x02\x36\x51"})}, kAcme, 1},
        IdentityCase{"Third", {answer({.identifier = "\x02\x03\x20\x87\x16\x77"})}, kAcme, 1},
        IdentityCase{"Fourth", {answer({.identifier = "\x02\x03\x20\x87\x20\x19"})}, kAcme, 1},
        IdentityCase{"LongerThanSix",
                     {answer({.identifier = std::string(kFirstIdentifier) + "more"})},
                     kAcme,
                     1}));

INSTANTIATE_TEST_SUITE_P(
    Skipped, TerminalSponsorTest,
    testing::Values(
        IdentityCase{"UnknownIdentifier",
                     {answer({.identifier = "\x02\x03\x20\x08\x21\xc4"}), answer({})},
                     kAcme,
                     2},
        IdentityCase{"ShortIdentifier",
                     {answer({.identifier = "\x02\x03\x20\x08\x21"}), answer({})},
                     kAcme,
                     2},
        IdentityCase{"EmptyIdentifier", {answer({.identifier = ""}), answer({})}, kAcme, 2},
        IdentityCase{
            "IdentifierBeyondTheRecord", {answer({.identifierLength = 15}), answer({})}, kAcme, 2},
        IdentityCase{"IdentifierFarBeyondTheRecord",
                     {answer({.identifierLength = 0xffffffff}), answer({})},
                     kAcme,
                     2},
        IdentityCase{"FiveDigits", {answer({.digits = "\1\2\3\4\5"}), answer({})}, kAcme, 2},
        IdentityCase{"SevenDigits", {answer({.digits = "\1\2\3\4\5\6\7"}), answer({})}, kAcme, 2},
        IdentityCase{"HugeDigits", {answer({.digitsLength = 0xffffffff}), answer({})}, kAcme, 2},
        IdentityCase{
            "NegativeDigits", {answer({.digitsLength = 0x80000006}), answer({})}, kAcme, 2},
        IdentityCase{
            "DigitAboveNine", {answer({.digits = "\1\2\x0a\4\5\6"}), answer({})}, kAcme, 2},
        IdentityCase{
            "DigitOfFifteen", {answer({.digits = "\1\2\4\4\5\xff"}), answer({})}, kAcme, 2},
        IdentityCase{"LengthOnly", {{0, octetsOf(6)}, answer({})}, kAcme, 2},
        IdentityCase{"CutDigits", {{0, octetsOf(6) + "\1\2\3\4\5"}, answer({})}, kAcme, 2},
        IdentityCase{"DigitsOnly", {{0, octetsOf(6) + "\1\2\3\4\5\6"}, answer({})}, kAcme, 2},
        IdentityCase{"CutIdentifierLength",
                     {{0, octetsOf(6) + "\1\2\3\4\5\6" + octetsOf(6).substr(0, 3)}, answer({})},
                     kAcme,
                     2},
        IdentityCase{"CutIdentifier",
                     {{0, SponsorRecord{}.withoutText().substr(0, 19)}, answer({})},
                     kAcme,
                     2},
        IdentityCase{"Several",
                     {answer({.identifier = "unknown"}), answer({.digits = ""}), answer({}),
                      answer({.text = "unread"})},
                     kAcme,
                     3}));

INSTANTIATE_TEST_SUITE_P(
    Digits, TerminalSponsorTest,
    testing::Values(
        IdentityCase{
            "One", {answer({.digits = std::string("\1\0\0\0\0\0", 6)})}, {"000001", "ACME"}, 1},
        IdentityCase{"LeadingZero",
                     {answer({.digits = std::string("\5\4\3\2\1\0", 6)})},
                     {"012345", "ACME"},
                     1},
        IdentityCase{"Largest", {answer({.digits = "\x9\x9\x9\x9\x9\x9"})}, {"999999", "ACME"}, 1},
        IdentityCase{"HighBitsDoNotCount", {answer({.digits = "654321"})}, {"123456", "ACME"}, 1},
        IdentityCase{"HighBitsDoNotCountEither",
                     {answer({.digits = "\xf6\xf5\xf4\xf3\xf2\xf1"})},
                     {"123456", "ACME"},
                     1},
        IdentityCase{"Zero", {answer({.digits = std::string(6, '\0')}), answer({})}, kNobody, 1},
        IdentityCase{"ZeroWithHighBits", {answer({.digits = "000000"}), answer({})}, kNobody, 1}));

INSTANTIATE_TEST_SUITE_P(
    Texts, TerminalSponsorTest,
    testing::Values(
        IdentityCase{"OneOctet", {answer({.text = "A"})}, {"123456", "A"}, 1},
        IdentityCase{"127Octets",
                     {answer({.text = std::string(127, 'x')})},
                     {"123456", std::string(127, 'x')},
                     1},
        IdentityCase{"128Octets",
                     {answer({.text = std::string(128, 'x')})},
                     {"123456", std::string(127, 'x')},
                     1},
        IdentityCase{"200Octets",
                     {answer({.text = std::string(200, 'x')})},
                     {"123456", std::string(127, 'x')},
                     1},
        IdentityCase{"LongestRecord",
                     {answer({.text = std::string(65535 - 24, 'x')})},
                     {"123456", std::string(127, 'x')},
                     1},
        IdentityCase{"OctetsBehindIt", {answer({.text = "ACMEmore", .textLength = 4})}, kAcme, 1},
        IdentityCase{"Empty", {answer({.text = ""}), answer({})}, kNobody, 1},
        IdentityCase{"NoLength", {{0, SponsorRecord{}.withoutText()}, answer({})}, kNobody, 1},
        IdentityCase{"CutLength",
                     {{0, SponsorRecord{}.withoutText() + std::string(3, '\1')}, answer({})},
                     kNobody,
                     1},
        IdentityCase{"BeyondTheRecord", {answer({.textLength = 5}), answer({})}, kNobody, 1},
        IdentityCase{
            "FarBeyondTheRecord", {answer({.textLength = 0xffffffff}), answer({})}, kNobody, 1}));

INSTANTIATE_TEST_SUITE_P(
    Service, TerminalSponsorTest,
    testing::Values(IdentityCase{"NoAnswer", {}, kNobody, 1},
                    IdentityCase{"OtherError", {{-1, ""}, answer({})}, kNobody, 1},
                    IdentityCase{"PositiveError", {{1, ""}, answer({})}, kNobody, 1},
                    IdentityCase{"EndThenRecord", {{kEnd, ""}, answer({})}, kAcme, 2},
                    IdentityCase{"EndTwice", {{kEnd, ""}, {kEnd, ""}, answer({})}, kNobody, 2},
                    IdentityCase{"EndThenError", {{kEnd, ""}, {-1, ""}, answer({})}, kNobody, 2},
                    IdentityCase{
                        "EndTwiceWithRecordsBetween",
                        {{kEnd, ""}, answer({.identifier = "unknown"}), {kEnd, ""}, answer({})},
                        kNobody,
                        3},
                    IdentityCase{"EndInTheMiddle",
                                 {answer({.identifier = "unknown"}), {kEnd, ""}, answer({})},
                                 kAcme,
                                 3},
                    IdentityCase{"ErrorAfterASkippedRecord",
                                 {answer({.identifier = "unknown"}), {-2, ""}, answer({})},
                                 kNobody,
                                 2},
                    IdentityCase{"EmptyRecord", {{0, ""}, answer({})}, kNobody, 1},
                    IdentityCase{"RecordOfThreeOctets", {{0, "abc"}, answer({})}, kNobody, 1}));

struct FindingCase {
  const char* name;
  std::vector<DiagAnswer> answers;
  Finding finding;
};

void PrintTo(const FindingCase& row, std::ostream* out) { *out << row.name; }

class TerminalSponsorFindingTest : public testing::TestWithParam<FindingCase> {};

TEST_P(TerminalSponsorFindingTest, TellsNoSponsorFromAnUnknownOne) {
  runInChild([] {
    FakePlatform platform;
    platform.diag = GetParam().answers;
    std::string id;
    std::string text;

    EXPECT_EQ(getTerminalSponsor(id, text), GetParam().finding);
  });
}

INSTANTIATE_TEST_SUITE_P(
    Answers, TerminalSponsorFindingTest,
    testing::Values(FindingCase{"Sponsor", {answer({})}, Finding::kFound},
                    FindingCase{"EndThenSponsor", {{kEnd, ""}, answer({})}, Finding::kFound},
                    FindingCase{
                        "EndTwice", {{kEnd, ""}, {kEnd, ""}, answer({})}, Finding::kUnknown},
                    FindingCase{"OtherRecordsBetween",
                                {answer({.identifier = "unknown"}),
                                 {kEnd, ""},
                                 answer({.identifier = "unknown"}),
                                 {kEnd, ""}},
                                Finding::kUnknown},
                    FindingCase{"Refused", {{-1, ""}}, Finding::kNone},
                    FindingCase{"EndThenRefused", {{kEnd, ""}, {-3, ""}}, Finding::kNone},
                    FindingCase{"ShortRecord", {{0, "abc"}}, Finding::kNone},
                    FindingCase{"ShortRecordBehindAnEnd", {{kEnd, ""}, {0, "abc"}}, Finding::kNone},
                    FindingCase{"EmptyText", {answer({.text = ""})}, Finding::kNone}),
    [](const testing::TestParamInfo<FindingCase>& row) { return row.param.name; });

TEST(TerminalSponsorCacheTest, IsFilledOnceByManyThreads) {
  runInChild([] {
    FakePlatform platform;
    platform.diag = {answer({.identifier = "unknown"}), answer({})};
    std::vector<Identity> identities(8);
    std::vector<std::thread> threads;

    for (Identity& identity : identities) {
      threads.emplace_back([&identity] {
        for (int i = 0; i < 100; ++i) identity = ask();
      });
    }
    for (std::thread& thread : threads) thread.join();

    EXPECT_THAT(identities, Each(kAcme));
    EXPECT_THAT(platform.diagOperations, SizeIs(2));
  });
}

TEST(TerminalSponsorCacheTest, LeavesTheLockAfterAFailure) {
  runInChild([] {
    const FakePlatform platform;
    EXPECT_EQ(ask(), kNobody);
    Identity identity;

    std::thread([&identity] { identity = ask(); }).join();

    EXPECT_EQ(identity, kNobody);
    EXPECT_THAT(platform.diagOperations, SizeIs(2));
  });
}

}  // namespace
}  // namespace wzapp
