#include "crypto/der/der_search.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/builders/der_builder.h"

namespace wzapp {
namespace {

using wzapp_test::DerBuilder;
using wzapp_test::fromHex;
using wzapp_test::Octets;

// (0,0) { (1,0) { (2,0) algorithm { sha1, null }, (2,1) int 7 }, (1,1) { rsa, null, bits } }
Octets sample() {
  return DerBuilder()
      .sequence(
          DerBuilder()
              .sequence(DerBuilder().sequence(DerBuilder().oid("1.3.14.3.2.26").null()).integer(7))
              .sequence(DerBuilder().oid("1.2.840.113549.1.1.1").null().bitString(Octets{1, 2, 3})))
      .octets();
}

int search(const Octets& der, const DerQuery& query, DerElement& result) {
  DerWalker walker(der);
  return derSearch(walker, query, WalkMode::kRestart, result);
}

TEST(DerSearch, FollowsAPathFromDepthToDepth) {
  const Octets der = sample();
  const DerPathStep path[] = {{2, 1}};
  DerElement result;

  ASSERT_EQ(search(der, {.path = path}, result), 0);

  EXPECT_EQ(result.identifier, 0x02U);
  EXPECT_EQ(result.depth, 2U);
  EXPECT_EQ(result.index, 1U);
}

TEST(DerSearch, EntersWhatAPathLeadsThroughWhenItGoesMoreThanOneLevelDeeper) {
  const Octets der = sample();
  const DerPathStep path[] = {{1, 0}, {3, 1}};
  DerElement result;

  ASSERT_EQ(search(der, {.path = path}, result), 0);

  EXPECT_EQ(result.identifier, 0x05U);
}

TEST(DerSearch, PassesOverAnElementForAStepOneLevelDeeper) {
  const Octets der = sample();
  const DerPathStep path[] = {{1, 0}, {2, 0}};
  DerElement result;

  EXPECT_EQ(search(der, {.path = path}, result), kDerEnd);
}

TEST(DerSearch, FindsAnIdentifierAtLeastSoDeep) {
  const Octets der = sample();
  DerElement result;

  ASSERT_EQ(search(der, {.kind = DerSearchKind::kByIdentifier, .identifier = 0x30}, result), 0);
  EXPECT_EQ(result.depth, 0U);
  ASSERT_EQ(
      search(der, {.kind = DerSearchKind::kByIdentifier, .depthOffset = 2, .identifier = 0x30},
             result),
      0);
  EXPECT_EQ(result.depth, 2U);
  EXPECT_EQ(search(der, {.kind = DerSearchKind::kByIdentifier, .identifier = 0x31}, result),
            kDerEnd);
}

TEST(DerSearch, FindsAnOidAndSkipsOn) {
  const Octets der = sample();
  DerElement result;

  ASSERT_EQ(
      search(der, {.kind = DerSearchKind::kByOid, .skipCount = 2, .oid = "1.2.840.113549.1.1.1"},
             result),
      0);

  EXPECT_EQ(result.identifier, 0x03U);
}

TEST(DerSearch, OidThatIsNowhereIsNotFound) {
  const Octets der = sample();
  DerElement result;
  result.identifier = 0x77;

  EXPECT_EQ(search(der, {.kind = DerSearchKind::kByOid, .oid = "1.2.3"}, result), kDerNotFound);
  EXPECT_EQ(result.identifier, 0x77U);
}

TEST(DerSearch, OidOutsideTheSubtreeEndsTheSearch) {
  const Octets der = sample();
  const DerPathStep path[] = {{3, 0}};
  DerElement result;

  EXPECT_EQ(
      search(der, {.path = path, .kind = DerSearchKind::kByOid, .oid = "1.2.840.113549.1.1.1"},
             result),
      kDerEnd);
}

TEST(DerSearch, ElementOfThePathIsNoMatchItself) {
  const Octets der = sample();
  const DerPathStep path[] = {{1, 0}};
  DerElement result;

  ASSERT_EQ(
      search(der, {.path = path, .kind = DerSearchKind::kByIdentifier, .identifier = 0x30}, result),
      0);

  EXPECT_EQ(result.depth, 2U);
}

TEST(DerSearch, SkippingStaysAsDeepAsTheMatch) {
  const Octets der = sample();
  const DerPathStep path[] = {{2, 0}};
  DerElement result;

  EXPECT_EQ(search(der,
                   {.path = path,
                    .kind = DerSearchKind::kByOid,
                    .depthOffset = 1,
                    .skipCount = 2,
                    .oid = "1.3.14.3.2.26"},
                   result),
            kDerEnd);
  EXPECT_EQ(
      search(der,
             {.path = path, .kind = DerSearchKind::kByOid, .skipCount = 2, .oid = "1.3.14.3.2.26"},
             result),
      0);
  EXPECT_EQ(result.identifier, 0x02U);
}

TEST(DerSearch, SkippingPastTheTextEnds) {
  const Octets der = sample();
  DerElement result;

  EXPECT_EQ(
      search(der, {.kind = DerSearchKind::kByOid, .skipCount = 3, .oid = "1.2.840.113549.1.1.1"},
             result),
      kDerEnd);
}

TEST(DerSearch, GoesOnFromWhereTheWalkerStands) {
  const Octets der = sample();
  DerWalker walker(der);
  DerElement result;
  const DerQuery query{.kind = DerSearchKind::kByIdentifier, .identifier = kDerNull};
  ASSERT_EQ(derSearch(walker, query, WalkMode::kRestart, result), 0);
  const std::size_t firstOffset = result.offset;

  ASSERT_EQ(derSearch(walker, query, WalkMode::kNext, result), 0);

  EXPECT_GT(result.offset, firstOffset);
  EXPECT_EQ(derSearch(walker, query, WalkMode::kNext, result), kDerEnd);
}

TEST(DerSearch, WithoutPathAndKindGivesTheFirstStep) {
  const Octets der = sample();
  DerElement result;

  ASSERT_EQ(search(der, {}, result), 0);
  EXPECT_EQ(result.offset, 0U);
  ASSERT_EQ(search(der, {.skipCount = 1}, result), 0);
  EXPECT_EQ(result.depth, 1U);
}

TEST(DerSearch, UnknownKindIsRefused) {
  const Octets der = sample();
  DerElement result;

  EXPECT_EQ(search(der, {.kind = static_cast<DerSearchKind>(3)}, result), kDerUnknownSearch);
}

TEST(DerSearch, ErrorsOfTheWalkPassThrough) {
  const Octets broken = fromHex("30 06 05 00 04 09 00 00");
  const Octets primitive = fromHex("30 04 04 80 00 00");
  const DerPathStep path[] = {{1, 3}};
  DerElement result;

  EXPECT_EQ(search(broken, {.path = path}, result), kDerBadHeader);
  EXPECT_EQ(search(broken, {.kind = DerSearchKind::kByOid, .oid = "1.2.3"}, result), kDerBadHeader);
  EXPECT_EQ(search(primitive, {.kind = DerSearchKind::kByIdentifier, .identifier = 1}, result),
            kDerIndefinitePrimitive);
  EXPECT_EQ(search(broken, {.skipCount = 2}, result), kDerBadHeader);
}

TEST(DerSearch, LooksForAnOidInAnyContent) {
  const Octets der = DerBuilder().octetString(fromHex("2B 0E 03 02 1A")).octets();
  DerElement result;

  EXPECT_EQ(search(der, {.kind = DerSearchKind::kByOid, .oid = "1.3.14.3.2.26"}, result), 0);
}

TEST(DerSearch, FindsAnOidWithPaddedArcs) {
  const Octets der = DerBuilder().element(0x06, fromHex("2B 80 80 0E 03 02 80 1A")).octets();
  DerElement result;

  EXPECT_EQ(search(der, {.kind = DerSearchKind::kByOid, .oid = "1.3.14.3.2.26"}, result), 0);
}

TEST(DerSearch, FindsATextOfThirtyCharactersAndNeverALongerOne) {
  const std::string thirty = "1.2.3.4.5.6.7.8.9.10.11.12.133";
  const std::string longer = "1.2.3.4.5.6.7.8.9.10.11.12.1334";
  ASSERT_EQ(thirty.size(), 30U);
  const Octets der = DerBuilder().oid(longer).oid(thirty).octets();
  DerElement result;

  ASSERT_EQ(search(der, {.kind = DerSearchKind::kByOid, .oid = thirty}, result), 0);
  EXPECT_EQ(result.index, 1U);
  EXPECT_EQ(search(der, {.kind = DerSearchKind::kByOid, .oid = longer}, result), kDerNotFound);
}

}  // namespace
}  // namespace wzapp
