#include "crypto/store/certificate_store.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ctime>

#include "support/install_result.h"
#include "tests/builders/collected_log.h"
#include "tests/crypto/authority_fixtures.h"
#include "tests/crypto/fake_clock.h"
#include "tests/crypto/fake_security_service.h"

namespace wzapp {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;
using wzapp_test::authorityCertificate;
using wzapp_test::authorityId;
using wzapp_test::authorityKey;
using wzapp_test::CertificateBuilder;
using wzapp_test::collectLine;
using wzapp_test::DerBuilder;
using wzapp_test::FakeClock;
using wzapp_test::FakeSecurityService;
using wzapp_test::hexOf;
using wzapp_test::issuedCertificate;
using wzapp_test::kApplicationRow;
using wzapp_test::kAuthorityKinds;
using wzapp_test::kManifestRow;
using wzapp_test::kSignerRow;
using wzapp_test::Lines;
using wzapp_test::Octets;
using wzapp_test::rootCertificate;
using wzapp_test::rootId;
using wzapp_test::rootKey;
using wzapp_test::signedBy;
using wzapp_test::strangerKey;

const Octets kSignerId(20, 0x5A);

// A package signer's certificate that the authority of a row has issued.
CertificateBuilder signerOf(std::size_t row) {
  return issuedCertificate(authorityId(row), kSignerId, "signer");
}

Octets signedSigner(std::size_t row) { return signedBy(authorityKey(), signerOf(row)); }

// A store on the nine authorities, and what it reports.
class CertificateStoreTest : public testing::Test {
 protected:
  CertificateStoreTest() {
    setInstallResult(kInstallOk);
    setInstallLog(collectLine, &lines);
  }
  ~CertificateStoreTest() override {
    setInstallLog(nullptr, nullptr);
    setInstallResult(kInstallOk);
  }

  // Whatever it took to get there is not what the test is about.
  void rebuildQuietly() {
    store.rebuild();
    lines.clear();
  }

  // The kind of what is stored under an identifier; -1 for nothing.
  [[nodiscard]] std::int32_t kindOf(const Octets& id) const {
    const std::shared_ptr<const Certificate> certificate = store.find(hexOf(id));
    return certificate == nullptr ? -1 : certificate->kind;
  }

  FakeSecurityService service{{rootCertificate(0), rootCertificate(1)}};
  CertificateStore store{authorities()};
  Lines lines;
};

// -------------------------------------------------------------------------------------------------

TEST_F(CertificateStoreTest, IsEmptyAtFirst) {
  EXPECT_EQ(store.find(hexOf(rootId())), nullptr);
  EXPECT_EQ(store.find(""), nullptr);
}

TEST_F(CertificateStoreTest, RebuildTakesTheRootsAndThenTheAuthorities) {
  store.rebuild();

  EXPECT_THAT(lines, ElementsAre("Adding OS certificate SN=000001\n",  //
                                 "Adding OS certificate SN=000002\n",  //
                                 "Adding certificate SN=207820\n",     //
                                 "Adding certificate SN=207821\n",     //
                                 "Adding certificate SN=207822\n",     //
                                 "Adding certificate SN=207823\n",     //
                                 "Adding certificate SN=207824\n",     //
                                 "Adding certificate SN=207825\n",     //
                                 "Adding certificate SN=207826\n",     //
                                 "Adding certificate SN=207827\n",     //
                                 "Adding certificate SN=207828\n"));
  EXPECT_EQ(installResult(), kInstallOk);
}

TEST_F(CertificateStoreTest, RebuiltHoldsEveryCertificateWithItsKind) {
  store.rebuild();

  EXPECT_EQ(kindOf(rootId(0)), kRootCertificate);
  EXPECT_EQ(kindOf(rootId(1)), kRootCertificate);
  EXPECT_THAT(store.find(hexOf(rootId(1)))->der, ElementsAreArray(rootCertificate(1)));
  for (std::size_t row = 0; row < kAuthorityCount; ++row) {
    EXPECT_EQ(kindOf(authorityId(row)), kAuthorityKinds[row]) << row;
    EXPECT_EQ(store.find(hexOf(authorityId(row)))->der, authorityCertificate(row)) << row;
  }
}

TEST_F(CertificateStoreTest, RebuildForgetsWhatPackagesBrought) {
  store.rebuild();
  store.add("A.CRT", signedSigner(kApplicationRow));
  ASSERT_NE(store.find(hexOf(kSignerId)), nullptr);

  store.rebuild();

  EXPECT_EQ(store.find(hexOf(kSignerId)), nullptr);
  EXPECT_NE(store.find(hexOf(authorityId(kApplicationRow))), nullptr);
}

TEST_F(CertificateStoreTest, RebuildSaysTheSameEachTime) {
  store.rebuild();
  const Lines first = lines;
  lines.clear();

  store.rebuild();

  EXPECT_EQ(lines, first);
}

TEST_F(CertificateStoreTest, RebuildTakesThePresentTerminal) {
  store.rebuild();
  service.records = {{rootCertificate(1)}};
  lines.clear();

  store.rebuild();

  EXPECT_THAT(lines,
              ElementsAre("Adding OS certificate SN=000002\n", "Adding certificate SN=207828\n"));
  EXPECT_EQ(kindOf(rootId(0)), -1);
}

TEST_F(CertificateStoreTest, RebuildCopiesNothingThatIsTheSame) {
  store.rebuild();
  store.add("A.CRT", signedSigner(kApplicationRow));
  const std::shared_ptr<const Certificate> root = store.find(hexOf(rootId(0)));
  const std::shared_ptr<const Certificate> authority = store.find(hexOf(authorityId(0)));
  const std::shared_ptr<const Certificate> signer = store.find(hexOf(kSignerId));

  store.rebuild();
  store.add("A.CRT", signedSigner(kApplicationRow));

  EXPECT_EQ(store.find(hexOf(rootId(0))), root);
  EXPECT_EQ(store.find(hexOf(authorityId(0))), authority);
  EXPECT_EQ(store.find(hexOf(kSignerId)), signer);
}

TEST_F(CertificateStoreTest, RebuiltTakesTheSameOctetsForAnotherKind) {
  store.rebuild();
  store.add("A.CRT", signedSigner(kApplicationRow));

  store.rebuild();
  store.add("A.CRT", signedSigner(kApplicationRow), kManifestCertificate);

  EXPECT_EQ(kindOf(kSignerId), kManifestCertificate);
}

// What was found good once is not verified again; everything else is.
TEST_F(CertificateStoreTest, RebuildVerifiesAnewUnderAnotherRootOfTheSameIdentifier) {
  store.rebuild();
  const CertificateBuilder otherRoot =
      issuedCertificate(rootId(), rootId(), "000009")
          .rsaKey(strangerKey().modulus(), strangerKey().exponent());
  service.records.assign(1, {signedBy(strangerKey(), otherRoot)});
  lines.clear();

  store.rebuild();

  ASSERT_GT(lines.size(), 3U);
  EXPECT_EQ(lines[1], "Adding certificate SN=207820\n");
  EXPECT_EQ(lines[2], "Warning: Failed adding certificate 'SN=207820': Validation failed\n");
  EXPECT_EQ(kindOf(authorityId(0)), -1);
}

TEST_F(CertificateStoreTest, RebuiltRefusesAForgeryOfWhatItHadBefore) {
  store.rebuild();
  store.add("A.CRT", signedSigner(kApplicationRow));
  Octets forged = signedSigner(kApplicationRow);
  forged.back() ^= 1;

  store.rebuild();
  lines.clear();
  store.add("A.CRT", forged);

  EXPECT_THAT(lines,
              ElementsAre("Adding certificate A.CRT\n",
                          "Warning: Failed adding certificate 'A.CRT': Validation failed\n"));
  EXPECT_EQ(kindOf(kSignerId), -1);
}

TEST_F(CertificateStoreTest, RebuiltTakesFromAPackageWhatItTookBefore) {
  store.rebuild();
  store.add("A.CRT", signedSigner(kApplicationRow));
  lines.clear();

  store.rebuild();
  store.add("B.CRT", signedSigner(kApplicationRow));

  EXPECT_EQ(lines.back(), "Adding certificate B.CRT\n");
  EXPECT_EQ(kindOf(kSignerId), kApplicationCertificate);
}

TEST_F(CertificateStoreTest, KeepsACertificateForWhoHoldsIt) {
  store.rebuild();
  store.add("A.CRT", signedSigner(kApplicationRow));
  const std::shared_ptr<const Certificate> signer = store.find(hexOf(kSignerId));

  store.rebuild();

  EXPECT_EQ(signer->kind, kApplicationCertificate);
  EXPECT_THAT(signer->der, ElementsAreArray(signedSigner(kApplicationRow)));
}

TEST_F(CertificateStoreTest, TakesOnlyRootsThatHaveIssuedAnAuthority) {
  const Octets otherId(20, 0xC0);
  Octets broken = rootCertificate(0);
  broken.pop_back();
  service.records = {
      {signedBy(rootKey(), issuedCertificate(otherId, otherId, "other"))},  // issued none
      {signedBy(rootKey(), issuedCertificate(rootId(), otherId, "other"))},
      {authorityCertificate(kSignerRow)},
      {broken},
      {Octets{0x30, 0x00}},
      {rootCertificate(1)},
  };

  store.rebuild();

  EXPECT_THAT(lines,
              ElementsAre("Adding OS certificate SN=000002\n", "Adding certificate SN=207828\n"));
  EXPECT_EQ(installResult(), kInstallOk);
}

// The security service answers for its certificates; nobody has to have signed them.
TEST_F(CertificateStoreTest, TakesARootWhateverItsSignatureAndItsTimes) {
  service.records = {{issuedCertificate(Octets(20, 0xC0), rootId(1), "000002")
                          .validity("000101000000Z", "000102000000Z")
                          .rsaKey(rootKey().modulus(), rootKey().exponent())
                          .encoding()}};

  store.rebuild();

  EXPECT_THAT(lines,
              ElementsAre("Adding OS certificate SN=000002\n", "Adding certificate SN=207828\n"));
}

TEST_F(CertificateStoreTest, TheLastOfTwoRootsOfOneIdentifierCounts) {
  const Octets other =
      signedBy(strangerKey(), issuedCertificate(rootId(1), rootId(1), "000003")
                                  .rsaKey(strangerKey().modulus(), strangerKey().exponent()));
  service.records = {{rootCertificate(1)}, {other}};

  store.rebuild();

  EXPECT_THAT(lines,
              ElementsAre("Adding OS certificate SN=000002\n", "Adding OS certificate SN=000003\n",
                          "Adding certificate SN=207828\n",
                          "Warning: Failed adding certificate 'SN=207828': Validation failed\n"));
  EXPECT_EQ(installResult(), kInstallWarning);
  EXPECT_EQ(kindOf(authorityId(8)), -1);
}

TEST_F(CertificateStoreTest, WithoutRootsThereIsNothing) {
  service.records.clear();

  store.rebuild();
  store.add("A.CRT", signedSigner(kSignerRow));

  EXPECT_THAT(lines, ElementsAre("Adding certificate A.CRT\n",
                                 "Warning: Failed adding certificate 'A.CRT': CA not found\n"));
  EXPECT_EQ(installResult(), kInstallWarning);
}

TEST_F(CertificateStoreTest, AFailedStartIsToldOnStandardErrorAlone) {
  service.failures[0] = -7;
  CaptureStderr();

  store.rebuild();

  EXPECT_EQ(GetCapturedStderr(), "CMDiag failed (ret=-7)\n");
  EXPECT_EQ(lines.size(), 11U);
  EXPECT_EQ(lines[0], "Adding OS certificate SN=000001\n");
  EXPECT_EQ(installResult(), kInstallOk);
}

TEST_F(CertificateStoreTest, AFailedReadEndsTheRoots) {
  service.failures[4] = -7;  // start reads three times, the first root is the fourth
  CaptureStderr();

  store.rebuild();

  EXPECT_EQ(GetCapturedStderr(), "");
  EXPECT_EQ(lines.size(), 9U);
  EXPECT_EQ(kindOf(rootId(1)), -1);
  EXPECT_EQ(kindOf(authorityId(8)), -1);
  EXPECT_EQ(installResult(), kInstallOk);
}

TEST_F(CertificateStoreTest, ARowThatDoesNotParseIsPassedOverInSilence) {
  const Octets broken(40, 0x30);
  const Authority table[] = {{kSignerAuthority, broken},
                             {kSignerAuthority, authorityCertificate(1)}};
  CertificateStore other(table);

  other.rebuild();

  EXPECT_THAT(lines,
              ElementsAre("Adding OS certificate SN=000001\n", "Adding certificate SN=207821\n"));
  EXPECT_EQ(installResult(), kInstallOk);
}

TEST_F(CertificateStoreTest, AnAuthorityMayHaveIssuedALaterOne) {
  const Octets id(20, 0xD0);
  const Octets below = signedBy(authorityKey(), issuedCertificate(authorityId(0), id, "below"));
  const Authority table[] = {{kManifestCertificate, below},
                             {kSignerAuthority, authorityCertificate(0)},
                             {kApplicationCertificate, below}};
  CertificateStore other(table);

  other.rebuild();

  EXPECT_THAT(lines,
              ElementsAre("Adding OS certificate SN=000001\n", "Adding certificate SN=207820\n",
                          "Adding certificate SN=below\n"));
  EXPECT_EQ(other.find(hexOf(id))->kind, kApplicationCertificate);
}

// -------------------------------------------------------------------------------------------------

TEST_F(CertificateStoreTest, AddsWhatAnAuthorityHasIssued) {
  rebuildQuietly();

  store.add("A.CRT", signedSigner(kApplicationRow));

  EXPECT_THAT(lines, ElementsAre("Adding certificate A.CRT\n"));
  EXPECT_EQ(installResult(), kInstallOk);
  EXPECT_EQ(kindOf(kSignerId), kApplicationCertificate);
  EXPECT_THAT(store.find(hexOf(kSignerId))->der, ElementsAreArray(signedSigner(kApplicationRow)));
}

TEST_F(CertificateStoreTest, FindsByUppercaseHexadecimalAlone) {
  const Octets id(20, 0xAB);
  rebuildQuietly();

  store.add("A.CRT",
            signedBy(authorityKey(), issuedCertificate(authorityId(kManifestRow), id, "1")));

  EXPECT_NE(store.find(hexOf(id)), nullptr);
  EXPECT_EQ(store.find(std::string(hexOf(id)).append("00")), nullptr);
  EXPECT_EQ(store.find("abababababababababababababababababababab"), nullptr);
}

TEST_F(CertificateStoreTest, TheSameTwiceIsOneEntry) {
  rebuildQuietly();
  store.add("A.CRT", signedSigner(kApplicationRow));

  store.add("B.CRT", signedSigner(kApplicationRow));

  EXPECT_THAT(lines, ElementsAre("Adding certificate A.CRT\n", "Adding certificate B.CRT\n"));
  EXPECT_EQ(kindOf(kSignerId), kApplicationCertificate);
  EXPECT_EQ(installResult(), kInstallOk);
}

TEST_F(CertificateStoreTest, AnotherOfTheSameIdentifierReplacesTheFirst) {
  rebuildQuietly();
  store.add("A.CRT", signedSigner(kApplicationRow));
  const std::shared_ptr<const Certificate> first = store.find(hexOf(kSignerId));

  store.add("B.CRT", signedSigner(kManifestRow));

  EXPECT_EQ(kindOf(kSignerId), kManifestCertificate);
  EXPECT_THAT(store.find(hexOf(kSignerId))->der, ElementsAreArray(signedSigner(kManifestRow)));
  EXPECT_EQ(first->kind, kApplicationCertificate);
}

TEST_F(CertificateStoreTest, OneThatIsRefusedReplacesNothing) {
  rebuildQuietly();
  store.add("A.CRT", signedSigner(kApplicationRow));

  store.add("B.CRT", signedBy(strangerKey(), signerOf(kManifestRow)));

  EXPECT_EQ(kindOf(kSignerId), kApplicationCertificate);
}

TEST_F(CertificateStoreTest, APackageCertificateMayIssueAnother) {
  const Octets belowId(20, 0x5B);
  rebuildQuietly();
  store.add(
      "A.CRT",
      signedBy(authorityKey(),
               signerOf(kManifestRow).rsaKey(strangerKey().modulus(), strangerKey().exponent())));

  store.add("B.CRT", signedBy(strangerKey(), issuedCertificate(kSignerId, belowId, "below")));

  EXPECT_EQ(kindOf(belowId), kManifestCertificate);
}

TEST_F(CertificateStoreTest, NamesMayHoldWhatFormatsMean) {
  rebuildQuietly();

  store.add("%s%n.CRT", {});

  EXPECT_THAT(lines, ElementsAre("Adding certificate %s%n.CRT\n",
                                 "Warning: Failed reading certificate '%s%n.CRT': Empty\n"));
}

TEST_F(CertificateStoreTest, OctetsBehindACertificateAreKept) {
  Octets longer = signedSigner(kApplicationRow);
  longer.push_back(0x0A);
  rebuildQuietly();

  store.add("A.CRT", longer);

  EXPECT_THAT(store.find(hexOf(kSignerId))->der, ElementsAreArray(longer));
}

// -------------------------------------------------------------------------------------------------

struct Refusal {
  const char* name;
  Octets (*der)();
  const char* warning;
};

void PrintTo(const Refusal& row, std::ostream* out) { *out << row.name; }

class StoreRefusal : public CertificateStoreTest, public testing::WithParamInterface<Refusal> {};

TEST_P(StoreRefusal, IsToldAsAWarning) {
  rebuildQuietly();

  store.add("A.CRT", GetParam().der());

  EXPECT_THAT(lines, ElementsAre("Adding certificate A.CRT\n", GetParam().warning));
  EXPECT_EQ(installResult(), kInstallWarning);
  EXPECT_EQ(store.find(hexOf(kSignerId)), nullptr);
}

TEST_P(StoreRefusal, HidesNoError) {
  rebuildQuietly();
  setInstallResult(kInstallError);

  store.add("A.CRT", GetParam().der());

  EXPECT_EQ(installResult(), kInstallError);
}

Octets anEmptyText() { return {}; }
Octets aText() { return wzapp_test::fromText("-----BEGIN CERTIFICATE-----"); }
Octets aLongKeyId() {
  return signedBy(authorityKey(),
                  issuedCertificate(authorityId(kSignerRow), Octets(32, 0x5A), "1"));
}
Octets aBadTime() {
  return signedBy(authorityKey(), signerOf(kSignerRow).validity("1601010000Z", "491231235959Z"));
}
Octets oneThatEndsBeforeItBegins() {
  return signedBy(authorityKey(),
                  signerOf(kApplicationRow).validity("21090101000000Z", "160101000000Z"));
}
Octets oneOfAnUnknownIssuer() {
  return signedBy(authorityKey(), issuedCertificate(Octets(20, 0xC0), kSignerId, "1"));
}
Octets oneThatIsItsOwnIssuer() {
  return signedBy(authorityKey(), issuedCertificate(kSignerId, kSignerId, "1"));
}
Octets oneThatAStrangerSigned() { return signedBy(strangerKey(), signerOf(kApplicationRow)); }
Octets oneThatWasChanged() {
  Octets changed = signedSigner(kApplicationRow);
  changed.back() ^= 0x01;
  return changed;
}
Octets oneOfAnotherAlgorithm() {
  return signedBy(authorityKey(), signerOf(kApplicationRow).algorithm("1.2.840.113549.1.1.12"));
}
Octets oneWithoutPermissions() { return signedSigner(kSignerRow); }
// What comes first decides what is said.
Octets oneOfAnUnknownIssuerThatEndsBeforeItBegins() {
  return issuedCertificate(Octets(20, 0xC0), kSignerId, "1")
      .validity("21090101000000Z", "160101000000Z")
      .encoding();
}
Octets oneWithoutPermissionsThatAStrangerSigned() {
  return signedBy(strangerKey(), signerOf(kSignerRow));
}

INSTANTIATE_TEST_SUITE_P(
    Certificates, StoreRefusal,
    testing::Values(
        Refusal{"Empty", anEmptyText, "Warning: Failed reading certificate 'A.CRT': Empty\n"},
        Refusal{"NotParsed", aText, "Warning: Failed reading certificate 'A.CRT': Error -3\n"},
        Refusal{"LongKeyId", aLongKeyId, "Warning: Failed reading certificate 'A.CRT': Error -5\n"},
        Refusal{"BadTime", aBadTime, "Warning: Failed reading certificate 'A.CRT': Error -6\n"},
        Refusal{"Expired", oneThatEndsBeforeItBegins,
                "Warning: Failed adding certificate 'A.CRT': Expired\n"},
        Refusal{"NoIssuer", oneOfAnUnknownIssuer,
                "Warning: Failed adding certificate 'A.CRT': CA not found\n"},
        Refusal{"OwnIssuer", oneThatIsItsOwnIssuer,
                "Warning: Failed adding certificate 'A.CRT': CA not found\n"},
        Refusal{"Stranger", oneThatAStrangerSigned,
                "Warning: Failed adding certificate 'A.CRT': Validation failed\n"},
        Refusal{"Changed", oneThatWasChanged,
                "Warning: Failed adding certificate 'A.CRT': Validation failed\n"},
        Refusal{"Algorithm", oneOfAnotherAlgorithm,
                "Warning: Failed adding certificate 'A.CRT': Validation failed\n"},
        Refusal{"NoPermission", oneWithoutPermissions,
                "Warning: Failed adding certificate 'A.CRT': Invalid file type\n"},
        Refusal{"ExpiredBeforeNoIssuer", oneOfAnUnknownIssuerThatEndsBeforeItBegins,
                "Warning: Failed adding certificate 'A.CRT': Expired\n"},
        Refusal{"StrangerBeforeNoPermission", oneWithoutPermissionsThatAStrangerSigned,
                "Warning: Failed adding certificate 'A.CRT': Validation failed\n"}),
    [](const auto& row) { return row.param.name; });

// -------------------------------------------------------------------------------------------------

constexpr std::time_t kNow = 1700000000;  // 2023-11-14 22:13:20 UTC

struct Validity {
  const char* name;
  const char* from;
  const char* to;
  bool isAccepted;
};

void PrintTo(const Validity& row, std::ostream* out) { *out << row.name; }

class StoreValidity : public CertificateStoreTest, public testing::WithParamInterface<Validity> {};

TEST_P(StoreValidity, RefusesOnlyWhatHasNotBegunAndHasEnded) {
  const FakeClock clock(kNow);
  rebuildQuietly();

  store.add("A.CRT", signedBy(authorityKey(),
                              signerOf(kApplicationRow).validity(GetParam().from, GetParam().to)));

  EXPECT_EQ(store.find(hexOf(kSignerId)) != nullptr, GetParam().isAccepted);
  EXPECT_EQ(lines.back(), GetParam().isAccepted
                              ? "Adding certificate A.CRT\n"
                              : "Warning: Failed adding certificate 'A.CRT': Expired\n");
}

INSTANTIATE_TEST_SUITE_P(
    Times, StoreValidity,
    testing::Values(Validity{"Valid", "231114221319Z", "231114221321Z", true},
                    Validity{"Ended", "200101000000Z", "231114221319Z", true},
                    Validity{"NotBegun", "231114221321Z", "21100101000000Z", true},
                    Validity{"EndedAndNotBegun", "231114221321Z", "231114221319Z", false},
                    Validity{"EndsBeforeItBeginsInThePast", "231114221319Z", "231114221318Z", true},
                    Validity{"EndsBeforeItBeginsInTheFuture", "231114221322Z", "231114221321Z",
                             true},
                    Validity{"BeginsNowAndHasEnded", "231114221320Z", "231114221319Z", true},
                    Validity{"NotBegunAndEndsNow", "231114221321Z", "231114221320Z", true},
                    Validity{"OtherCentury", "21100101000000Z", "500101000000Z", false}),
    [](const auto& row) { return row.param.name; });

// -------------------------------------------------------------------------------------------------

struct Kind {
  const char* name;
  std::size_t row;  // of the authority that issued the certificate
  std::vector<std::string_view> permissions;
  std::int32_t asked;
  std::int32_t kind;  // -1: refused
};

void PrintTo(const Kind& row, std::ostream* out) { *out << row.name; }

class StoreKind : public CertificateStoreTest, public testing::WithParamInterface<Kind> {};

TEST_P(StoreKind, ComesFromTheCallerTheIssuerOrThePermissions) {
  rebuildQuietly();

  store.add("A.CRT",
            signedBy(authorityKey(), signerOf(GetParam().row).permissions(GetParam().permissions)),
            GetParam().asked);

  EXPECT_EQ(kindOf(kSignerId), GetParam().kind);
  EXPECT_EQ(installResult(), GetParam().kind == -1 ? kInstallWarning : kInstallOk);
}

using std::string_view_literals::operator""sv;

INSTANTIATE_TEST_SUITE_P(
    Kinds, StoreKind,
    testing::Values(Kind{"S14", kSignerRow, {"S14"}, 0, 3},                //
                    Kind{"S11", kSignerRow, {"S11"}, 0, 4},                //
                    Kind{"S14ThenS11", kSignerRow, {"S14", "S11"}, 0, 4},  //
                    Kind{"S11ThenS14", kSignerRow, {"S11", "S14"}, 0, 3},  //
                    Kind{"OthersBetween", kSignerRow, {"S1", "S11", "S2"}, 0, 4},
                    Kind{"OtherSignerAuthority", 7, {"S14"}, 0, 3},
                    Kind{"None", kSignerRow, {}, 0, -1},
                    Kind{"Others", kSignerRow, {"S1", "S12", "S13"}, 0, -1},
                    Kind{"LowerCase", kSignerRow, {"s11", "s14"}, 0, -1},
                    Kind{"Longer", kSignerRow, {"S110", "S14 "}, 0, -1},
                    Kind{"NulInside", kSignerRow, {"S1\0S14"sv}, 0, 3},
                    Kind{"NulInFront", kSignerRow, {"\0S14"sv}, 0, -1},
                    Kind{"Application", kApplicationRow, {}, 0, 3},
                    Kind{"ApplicationWhateverItsPermissions", kApplicationRow, {"S11"}, 0, 3},
                    Kind{"OtherApplication", 4, {}, 0, 3}, Kind{"Manifest", kManifestRow, {}, 0, 4},
                    Kind{"ManifestWhateverItsPermissions", kManifestRow, {"S14"}, 0, 4},
                    Kind{"OtherManifest", 5, {"S2"}, 0, 4}, Kind{"AskedFor", kSignerRow, {}, 2, 2},
                    Kind{"AskedForWhateverThePermissions", kSignerRow, {"S14"}, 4, 4},
                    Kind{"AskedForWhateverTheIssuer", kManifestRow, {}, 3, 3},
                    Kind{"AskedForNegative", kSignerRow, {"S14"}, -2, -2}),
    [](const auto& row) { return row.param.name; });

TEST_F(CertificateStoreTest, WhatARootHasIssuedIsARoot) {
  rebuildQuietly();

  store.add("A.CRT", signedBy(rootKey(), issuedCertificate(rootId(), kSignerId, "1")));

  EXPECT_EQ(kindOf(kSignerId), kRootCertificate);
}

TEST_F(CertificateStoreTest, AnIssuerThatWasRefusedIssuesNothing) {
  service.records = {{rootCertificate(1)}};
  rebuildQuietly();

  store.add("A.CRT", signedSigner(kApplicationRow));

  EXPECT_THAT(lines, ElementsAre("Adding certificate A.CRT\n",
                                 "Warning: Failed adding certificate 'A.CRT': CA not found\n"));
}

TEST_F(CertificateStoreTest, IsSilentWithoutASink) {
  setInstallLog(nullptr, nullptr);

  store.rebuild();
  store.add("A.CRT", {});

  EXPECT_EQ(installResult(), kInstallWarning);
  EXPECT_EQ(kindOf(authorityId(0)), kSignerAuthority);
}

TEST_F(CertificateStoreTest, TheProcessHasOneOnItsAuthorities) {
  certificateStore().rebuild();

  EXPECT_EQ(certificateStore().find(hexOf(authorityId(kManifestRow)))->kind, kManifestCertificate);
  EXPECT_EQ(&certificateStore(), &certificateStore());
}

}  // namespace
}  // namespace wzapp
