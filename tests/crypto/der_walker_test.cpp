#include "crypto/der/der_walker.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>

#include "tests/builders/der_builder.h"

namespace wzapp {
namespace {

using testing::ElementsAre;
using wzapp_test::DerBuilder;
using wzapp_test::fromHex;
using wzapp_test::Octets;

// Where a walk stood: identifier octet, depth and index.
struct Stop {
  std::uint32_t identifier;
  std::uint32_t depth;
  std::uint32_t index;

  friend bool operator==(const Stop&, const Stop&) = default;
  friend void PrintTo(const Stop& stop, std::ostream* out) {
    *out << "{0x" << std::hex << stop.identifier << std::dec << ", " << stop.depth << ", "
         << stop.index << "}";
  }
};

Stop stopAt(const DerElement& element) {
  return {element.identifier, element.depth, element.index};
}

// The stops of a walk in pre-order, and the code that ended it.
std::vector<Stop> walkAll(ByteView der, int& end) {
  DerWalker walker(der);
  DerElement element;
  std::vector<Stop> stops;
  for (end = walker.first(element); end == 0; end = walker.next(element)) {
    stops.push_back(stopAt(element));
  }
  return stops;
}

// A { B, C { D }, E }
Octets sample() {
  return DerBuilder()
      .sequence(DerBuilder().integer(1).set(DerBuilder().octetString({})).null())
      .octets();
}
constexpr Stop kA{0x30, 0, 0};
constexpr Stop kB{0x02, 1, 0};
constexpr Stop kC{0x31, 1, 1};
constexpr Stop kD{0x04, 2, 0};
constexpr Stop kE{0x05, 1, 2};

TEST(DerWalker, GoesInPreOrder) {
  int end = 0;

  const std::vector<Stop> stops = walkAll(sample(), end);

  EXPECT_THAT(stops, ElementsAre(kA, kB, kC, kD, kE));
  EXPECT_EQ(end, kDerEnd);
}

TEST(DerWalker, RestartStopsNElementsOn) {
  const Octets der = sample();
  DerWalker walker(der);
  DerElement element;

  EXPECT_EQ(walker.walk(WalkMode::kRestart, 3, element), 0);
  EXPECT_EQ(stopAt(element), kD);
  EXPECT_EQ(walker.walk(WalkMode::kRestart, 0, element), 0);
  EXPECT_EQ(stopAt(element), kA);
  EXPECT_EQ(walker.walk(WalkMode::kRestart, 5, element), kDerEnd);
}

TEST(DerWalker, ToIndexGoesOnAndRestartsForWhatLiesBehindIt) {
  const Octets der = sample();
  DerWalker walker(der);
  DerElement element;

  EXPECT_EQ(walker.walk(WalkMode::kToIndex, 1, element), 0);
  EXPECT_EQ(stopAt(element), kB);
  EXPECT_EQ(walker.walk(WalkMode::kToIndex, 4, element), 0);
  EXPECT_EQ(stopAt(element), kE);
  EXPECT_EQ(walker.walk(WalkMode::kToIndex, 4, element), 0);
  EXPECT_EQ(stopAt(element), kE);
  EXPECT_EQ(walker.walk(WalkMode::kToIndex, 2, element), 0);
  EXPECT_EQ(stopAt(element), kC);
  EXPECT_EQ(walker.walk(WalkMode::kToIndex, 7, element), kDerEnd);
  EXPECT_EQ(walker.walk(WalkMode::kToIndex, 3, element), 0);
  EXPECT_EQ(stopAt(element), kD);
}

TEST(DerWalker, NextSiblingPassesOverAConstructedElement) {
  const Octets der = sample();
  DerWalker walker(der);
  DerElement element;
  std::vector<Stop> stops;
  ASSERT_EQ(walker.first(element), 0);

  int code = 0;
  while ((code = walker.nextSibling(element)) == 0) stops.push_back(stopAt(element));

  EXPECT_THAT(stops, ElementsAre(kB, kC, kE));
  EXPECT_EQ(code, kDerEnd);
}

TEST(DerWalker, NextAfterNextSiblingLeadsIntoWhatThatPassedOver) {
  const Octets der = sample();
  DerWalker walker(der);
  DerElement element;
  ASSERT_EQ(walker.first(element), 0);
  ASSERT_EQ(walker.nextSibling(element), 0);
  ASSERT_EQ(walker.nextSibling(element), 0);
  ASSERT_EQ(stopAt(element), kC);

  EXPECT_EQ(walker.next(element), 0);
  EXPECT_EQ(stopAt(element), kD);
  EXPECT_EQ(walker.next(element), 0);
  EXPECT_EQ(stopAt(element), kE);
}

TEST(DerWalker, NextAfterAFailedNextSiblingFailsAgain) {
  const Octets der = sample();
  DerWalker walker(der);
  DerElement element;
  ASSERT_EQ(walker.walk(WalkMode::kRestart, 4, element), 0);

  EXPECT_EQ(walker.nextSibling(element), kDerEnd);
  EXPECT_EQ(walker.next(element), kDerEnd);
  EXPECT_EQ(element.status, kDerBadHeader);
}

TEST(DerWalker, ToIndexAfterNextSiblingCountsFromTheSnapshot) {
  const Octets der = sample();
  DerWalker walker(der);
  DerElement element;
  ASSERT_EQ(walker.walk(WalkMode::kRestart, 1, element), 0);  // B is element 1
  ASSERT_EQ(walker.nextSibling(element), 0);
  ASSERT_EQ(stopAt(element), kC);

  EXPECT_EQ(walker.walk(WalkMode::kToIndex, 3, element), 0);
  EXPECT_EQ(stopAt(element), kD);
}

TEST(DerWalker, ToIndexOfTheSiblingItselfRestarts) {
  const Octets der = sample();
  DerWalker walker(der);
  DerElement element;
  ASSERT_EQ(walker.walk(WalkMode::kRestart, 1, element), 0);
  ASSERT_EQ(walker.nextSibling(element), 0);

  EXPECT_EQ(walker.walk(WalkMode::kToIndex, 2, element), 0);
  EXPECT_EQ(stopAt(element), kC);
  EXPECT_EQ(walker.next(element), 0);
  EXPECT_EQ(stopAt(element), kD);
}

TEST(DerWalker, IndicesOfAWalkBySiblingsCountOnlyItsSteps) {
  const Octets der = sample();
  DerWalker walker(der);
  DerElement element;
  ASSERT_EQ(walker.first(element), 0);
  ASSERT_EQ(walker.nextSibling(element), 0);  // 1: B
  ASSERT_EQ(walker.nextSibling(element), 0);  // 2: C, passed over
  ASSERT_EQ(walker.nextSibling(element), 0);  // 3: E
  ASSERT_EQ(stopAt(element), kE);

  EXPECT_EQ(walker.walk(WalkMode::kToIndex, 3, element), 0);  // not beyond: counts from the start
  EXPECT_EQ(stopAt(element), kD);
}

TEST(DerWalker, FreshWalkerBeginsAtTheOutermostElementInEveryMode) {
  const Octets der = sample();
  for (const WalkMode mode :
       {WalkMode::kRestart, WalkMode::kToIndex, WalkMode::kNext, WalkMode::kNextSibling}) {
    DerWalker walker(der);
    DerElement element;

    EXPECT_EQ(walker.walk(mode, 0, element), 0);
    EXPECT_EQ(stopAt(element), kA);
  }
}

TEST(DerWalker, WalkersDoNotDisturbEachOther) {
  const Octets der = sample();
  DerWalker one(der);
  DerWalker other(der);
  DerElement element;
  ASSERT_EQ(one.walk(WalkMode::kRestart, 2, element), 0);
  ASSERT_EQ(other.walk(WalkMode::kRestart, 4, element), 0);

  EXPECT_EQ(one.next(element), 0);
  EXPECT_EQ(stopAt(element), kD);
}

TEST(DerWalker, EmptyViewEndsAtOnce) {
  int end = 0;

  EXPECT_TRUE(walkAll({}, end).empty());
  EXPECT_EQ(end, kDerEnd);
}

TEST(DerWalker, OutermostLevelIsNeverFullAndZerosAreOrdinaryThere) {
  int end = 0;

  const std::vector<Stop> stops = walkAll(fromHex("00 00 05 00 00 00 30 00"), end);

  EXPECT_THAT(stops, ElementsAre(Stop{0, 0, 0}, Stop{5, 0, 1}, Stop{0, 0, 2}, Stop{0x30, 0, 3}));
  EXPECT_EQ(end, kDerEnd);
}

TEST(DerWalker, EndOfContentsClosesAnIndefiniteElement) {
  const Octets der =
      DerBuilder().indefinite(0x30, DerBuilder().indefinite(0x31, DerBuilder().null())).octets();
  int end = 0;

  const std::vector<Stop> stops = walkAll(der, end);

  // The end of contents is an element that the walk stops at, but no child that counts.
  EXPECT_THAT(stops, ElementsAre(Stop{0x30, 0, 0}, Stop{0x31, 1, 0}, Stop{5, 2, 0}, Stop{0, 2, 1},
                                 Stop{0, 1, 1}));
  EXPECT_EQ(end, kDerEnd);
}

TEST(DerWalker, NextElementStandsBesideAClosedIndefiniteOne) {
  const Octets der = DerBuilder()
                         .sequence(DerBuilder().indefinite(0x31, DerBuilder().null()).boolean(true))
                         .null()
                         .octets();
  int end = 0;

  const std::vector<Stop> stops = walkAll(der, end);

  EXPECT_THAT(stops, ElementsAre(Stop{0x30, 0, 0}, Stop{0x31, 1, 0}, Stop{5, 2, 0}, Stop{0, 2, 1},
                                 Stop{1, 1, 1}, Stop{5, 0, 1}));
}

TEST(DerWalker, ZerosInsideADefiniteElementCloseNothing) {
  int end = 0;

  const std::vector<Stop> stops = walkAll(fromHex("30 04 00 00 05 00"), end);

  EXPECT_THAT(stops, ElementsAre(Stop{0x30, 0, 0}, Stop{0, 1, 0}, Stop{5, 1, 1}));
}

TEST(DerWalker, PaddedZeroLengthIsNoEndOfContents) {
  int end = 0;

  const std::vector<Stop> stops = walkAll(fromHex("30 80 00 81 00 05 00 00 00"), end);

  EXPECT_THAT(stops, ElementsAre(Stop{0x30, 0, 0}, Stop{0, 1, 0}, Stop{5, 1, 1}, Stop{0, 1, 2}));
}

TEST(DerWalker, NextSiblingStillEntersAnIndefiniteElement) {
  const Octets der = DerBuilder().indefinite(0x30, DerBuilder().sequence(sample())).octets();
  DerWalker walker(der);
  DerElement element;
  std::vector<Stop> stops;

  while (walker.nextSibling(element) == 0) stops.push_back(stopAt(element));

  EXPECT_THAT(stops, ElementsAre(Stop{0x30, 0, 0}, Stop{0x30, 1, 0}, Stop{0, 1, 1}));
}

TEST(DerWalker, ElementThatRunsPastItsParentIsTaken) {
  int end = 0;

  // 30 { 31 { 04 of 4 octets } } where both parents claim to end before it does.
  const std::vector<Stop> stops = walkAll(fromHex("30 04 31 02 04 04 01 02 03 04 05 00"), end);

  EXPECT_THAT(stops, ElementsAre(Stop{0x30, 0, 0}, Stop{0x31, 1, 0}, Stop{4, 2, 0}, Stop{5, 0, 1}));
  EXPECT_EQ(end, kDerEnd);
}

struct FailureCase {
  const char* hex;
  std::size_t elements;
  int code;
};

class DerWalkerFailure : public testing::TestWithParam<FailureCase> {};

TEST_P(DerWalkerFailure, EndsTheWalk) {
  const Octets der = fromHex(GetParam().hex);
  int end = 0;

  EXPECT_EQ(walkAll(der, end).size(), GetParam().elements);
  EXPECT_EQ(end, GetParam().code);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, DerWalkerFailure,
    testing::Values(FailureCase{"30", 0, kDerBadHeader}, FailureCase{"30 01", 0, kDerBadHeader},
                    FailureCase{"30 03 05 00", 0, kDerBadHeader},
                    FailureCase{"30 02 05 00", 2, kDerEnd},
                    FailureCase{"04 82 7F FE", 0, kDerBadHeader},
                    FailureCase{"30 04 05 00 04 01", 2, kDerBadHeader},
                    FailureCase{"04 83 00 00 01 00", 0, kDerBadHeader},
                    FailureCase{"1F 80 80 01 00", 0, kDerBadHeader},
                    FailureCase{"04 80 00 00", 0, kDerIndefinitePrimitive},
                    FailureCase{"30 80 04 80 00 00", 1, kDerIndefinitePrimitive},
                    FailureCase{"30 80 05 00", 2, kDerEnd}));

// `levels` constructed elements inside each other.
Octets nested(std::size_t levels, bool indefinite) {
  DerBuilder der;
  for (std::size_t i = 0; i < levels; ++i) {
    DerBuilder outer;
    if (indefinite) outer.indefinite(0x30, der);
    if (!indefinite) outer.sequence(der);
    der = outer;
  }
  return der.octets();
}

TEST(DerWalker, ReadsTwentyFourLevelsBelowTheOutermost) {
  int end = 0;

  EXPECT_EQ(walkAll(nested(25, false), end).size(), 25U);  // the innermost is empty
  EXPECT_EQ(end, kDerEnd);
  EXPECT_EQ(walkAll(nested(24, true), end).size(), 48U);
  EXPECT_EQ(end, kDerEnd);
}

TEST(DerWalker, RefusesATwentyFifthLevelBelowTheOutermost) {
  int end = 0;

  EXPECT_EQ(walkAll(nested(26, false), end).size(), 24U);
  EXPECT_EQ(end, kDerTooLong);
  EXPECT_EQ(walkAll(nested(25, true), end).size(), 24U);
  EXPECT_EQ(end, kDerTooLong);
}

TEST(DerWalker, NextSiblingPassesOverWhatIsTooDeepToEnter) {
  const Octets der = nested(26, false);
  DerWalker walker(der);
  DerElement element;
  ASSERT_EQ(walker.walk(WalkMode::kRestart, 23, element), 0);

  EXPECT_EQ(walker.nextSibling(element), 0);
  EXPECT_EQ(element.depth, 24U);
  EXPECT_EQ(walker.next(element), kDerTooLong);
}

// What is too deep is refused before it is passed, so that the walk stands before it again.
TEST(DerWalker, StandsBeforeWhatItCouldNotEnterAfterPassingOverIt) {
  DerBuilder der = DerBuilder().null().sequence(DerBuilder().null()).integer(1);
  for (std::size_t depth = 24; depth > 0; --depth) der = DerBuilder().sequence(der);
  const Octets octets = der.octets();
  DerWalker walker(octets);
  DerElement element;
  ASSERT_EQ(walker.walk(WalkMode::kRestart, 24, element), 0);
  ASSERT_EQ(element.identifier, kDerNull);

  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(walker.nextSibling(element), 0);
    EXPECT_EQ(stopAt(element), (Stop{0x30, 24, 1}));
    EXPECT_EQ(walker.next(element), kDerTooLong);
    EXPECT_FALSE(element.isValid());
    EXPECT_EQ(element.depth, 24U);
    EXPECT_EQ(element.index, 1U);
    EXPECT_EQ(walker.walk(WalkMode::kToIndex, 25, element), kDerTooLong);
  }
  EXPECT_EQ(walker.nextSibling(element), 0);
  EXPECT_EQ(walker.nextSibling(element), 0);
  EXPECT_EQ(stopAt(element), (Stop{kDerInteger, 24, 2}));
}

TEST(DerWalker, LongestElementIsTaken) {
  const Octets der = DerBuilder().octetString(Octets(32766)).null().octets();
  int end = 0;

  EXPECT_THAT(walkAll(der, end), ElementsAre(Stop{4, 0, 0}, Stop{5, 0, 1}));
  EXPECT_EQ(end, kDerEnd);
}

TEST(DerWalker, EveryCutOfATextEndsTheWalkInsideIt) {
  const Octets der = DerBuilder()
                         .sequence(DerBuilder(sample())
                                       .octetString(Octets(200))
                                       .indefinite(0xA0, DerBuilder().sequence(sample())))
                         .octets();
  for (std::size_t length = 0; length < der.size(); ++length) {
    // A copy of just that many octets, so that a read behind them shows.
    const Octets cut(der.begin(), der.begin() + static_cast<std::ptrdiff_t>(length));
    int end = 0;

    walkAll(cut, end);

    EXPECT_TRUE(end == kDerEnd || end == kDerBadHeader) << length;
  }
}

TEST(DerWalker, CountsAllPartsBelowAnElement) {
  const Octets der = DerBuilder().raw(sample()).raw(sample()).octets();
  DerWalker walker(der);
  DerElement element;
  ASSERT_EQ(walker.first(element), 0);
  EXPECT_EQ(countParts(element), 4U);

  ASSERT_EQ(walker.walk(WalkMode::kToIndex, 2, element), 0);
  EXPECT_EQ(countParts(element), 1U);

  ASSERT_EQ(walker.next(element), 0);
  EXPECT_EQ(countParts(element), 0U);
}

TEST(DerWalker, CountsPartsUntilTheyCannotBeRead) {
  const Octets overrun = fromHex("30 06 05 00 05 00 04 05 00 00 00 00 00");
  DerElement element;
  ASSERT_EQ(DerWalker(overrun).first(element), 0);

  // The third part lies inside the text but not inside its parent.
  EXPECT_EQ(countParts(element), 2U);
}

TEST(DerWalker, CountsTheEndOfContentsAsAPart) {
  const Octets der = DerBuilder().indefinite(0x30, DerBuilder().null()).raw(sample()).octets();
  DerElement element;
  ASSERT_EQ(DerWalker(der).first(element), 0);

  EXPECT_EQ(countParts(element), 2U);
}

TEST(DerWalker, CountsNoPartsOfARecordThatIsNotValid) { EXPECT_EQ(countParts(DerElement{}), 0U); }

TEST(DerWalker, MebibyteOfZerosIsWalkedToItsEnd) {
  const Octets zeros(std::size_t{1} << 20);
  int end = 0;

  EXPECT_EQ(walkAll(zeros, end).size(), zeros.size() / 2);
  EXPECT_EQ(end, kDerEnd);
}

}  // namespace
}  // namespace wzapp
