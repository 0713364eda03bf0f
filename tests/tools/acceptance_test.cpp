#include "tools/wz/reports/acceptance.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <ostream>
#include <string>
#include <vector>

#include "tests/builders/certificate_builder.h"
#include "tests/builders/test_key.h"
#include "tools/wz/reports/development_key.h"
#include "tools/wz/terminal/development_roots.h"

namespace wzapp_test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using wz::Acceptance;
using wz::CertificateFacts;
using Result = wz::Acceptance::Result;

// Two roots and a table of four authorities: of signers, of applications, of manifests by the first
// root; of signers by the second.
class Chain {
 public:
  Chain() {
    add(root_, 1, {});
    add(otherRoot_, 2, {});
    authority(2, root_, 1);
    authority(3, root_, 1);
    authority(4, root_, 1);
    authority(2, otherRoot_, 2);
  }

  // What the authority of `row`, from 1, issues.
  [[nodiscard]] Octets issue(std::size_t row, CertificateBuilder builder) const {
    return sign(named(builder, row, 99), keys_[row - 1]);
  }

  [[nodiscard]] const Octets& der(std::size_t row) const { return ders_[row - 1]; }
  [[nodiscard]] const Octets& root() const { return roots_[0]; }

  [[nodiscard]] Acceptance judge(const Octets& der, const std::string& now = "20260101000000") {
    std::vector<wzapp::Authority> table;
    for (std::size_t i = 0; i < ders_.size(); ++i) table.push_back({kinds_[i], ders_[i]});
    std::string refusal;
    EXPECT_TRUE(wz::readFacts(der, now, facts_, refusal)) << refusal;
    return wz::judge(der, facts_, table);
  }

  // Of the last judgement.
  [[nodiscard]] std::string text(const Acceptance& acceptance) const {
    return wz::acceptanceText(acceptance, facts_);
  }

  // Key identifiers: of row n the octet n, of root n 0xF0 + n.
  static CertificateBuilder named(CertificateBuilder builder, std::size_t issuer,
                                  std::size_t subject) {
    return builder.authorityKeyId(Octets(20, static_cast<std::uint8_t>(issuer)))
        .subjectKeyId(Octets(20, static_cast<std::uint8_t>(subject)));
  }

  static Octets sign(const CertificateBuilder& builder, const TestKey& key) {
    return builder.signedWith([&key](const Octets& data) { return key.sign(data); });
  }

 private:
  void add(const TestKey& key, std::size_t number, CertificateBuilder builder) {
    builder.withoutExtensions().rsaKey(key.modulus(), key.exponent());
    roots_.push_back(sign(named(builder, 0xF0 + number, 0xF0 + number), key));
  }

  void authority(int kind, const TestKey& root, std::size_t rootNumber) {
    const TestKey& key = keys_[ders_.size()];
    CertificateBuilder builder;
    builder.withoutExtensions().rsaKey(key.modulus(), key.exponent());
    ders_.push_back(sign(named(builder, 0xF0 + rootNumber, ders_.size() + 1), root));
    kinds_.push_back(kind);
  }

  TestKey root_, otherRoot_;
  std::array<TestKey, 4> keys_;
  std::vector<Octets> roots_, ders_;
  std::vector<int> kinds_;
  CertificateFacts facts_;
};

CertificateBuilder plain() { return CertificateBuilder().withoutExtensions(); }

class AcceptanceTest : public testing::Test {
 protected:
  static void SetUpTestSuite() { chain_ = new Chain; }
  static void TearDownTestSuite() {
    delete chain_;
    chain_ = nullptr;
  }

  static Chain* chain_;
};

Chain* AcceptanceTest::chain_ = nullptr;

TEST_F(AcceptanceTest, AnAuthorityIsRecognised) {
  const Acceptance acceptance = chain_->judge(chain_->der(3));

  EXPECT_EQ(acceptance.result, Result::kAuthority);
  EXPECT_EQ(acceptance.kind, 4);
  EXPECT_THAT(acceptance.rows, ElementsAre(3));
  EXPECT_EQ(chain_->text(acceptance),
            "It is authority 3 of those compiled in; a terminal uses it when it has the root with "
            "the key identifier F1F1F1F1F1F1F1F1F1F1F1F1F1F1F1F1F1F1F1F1.");
}

TEST_F(AcceptanceTest, ARootIsRecognisedByWhatItIssued) {
  const Acceptance acceptance = chain_->judge(chain_->root());

  EXPECT_EQ(acceptance.result, Result::kRoot);
  EXPECT_EQ(acceptance.kind, 1);
  EXPECT_THAT(acceptance.rows, ElementsAre(1, 2, 3));
  EXPECT_EQ(chain_->text(acceptance),
            "A terminal that has it as its own certificate uses authorities 1, 2 and 3 of those "
            "compiled in.");
}

TEST_F(AcceptanceTest, TheKeyIdentifierAloneMakesNoRoot) {
  const TestKey stranger;
  const Octets der = Chain::sign(
      Chain::named(plain().rsaKey(stranger.modulus(), stranger.exponent()), 0xF1, 0xF1), stranger);

  EXPECT_EQ(chain_->judge(der).result, Result::kNoAuthority);
}

struct Signer {
  const char* name;
  std::size_t issuer;
  std::vector<std::string_view> permissions;
  Result result;
  int kind;
};

void PrintTo(const Signer& row, std::ostream* out) { *out << row.name; }

class SignerTest : public AcceptanceTest, public testing::WithParamInterface<Signer> {};

TEST_P(SignerTest, HasTheKindThatATerminalGivesIt) {
  CertificateBuilder builder = plain();
  if (!GetParam().permissions.empty()) builder.permissions(GetParam().permissions);

  const Acceptance acceptance = chain_->judge(chain_->issue(GetParam().issuer, builder));

  EXPECT_EQ(acceptance.result, GetParam().result);
  EXPECT_EQ(acceptance.kind, GetParam().kind);
  EXPECT_THAT(acceptance.rows, ElementsAre(GetParam().issuer));
}

INSTANTIATE_TEST_SUITE_P(
    Rows, SignerTest,
    testing::Values(
        Signer{"Application", 1, {"S14"}, Result::kAccepted, 3},
        Signer{"Manifest", 1, {"S11"}, Result::kAccepted, 4},
        Signer{"TheLastPermissionCounts", 1, {"S14", "S11"}, Result::kAccepted, 4},
        Signer{"TheLastThatSaysSomething", 4, {"S11", "S14", "S99"}, Result::kAccepted, 3},
        Signer{"Nothing", 1, {}, Result::kNoPermission, 0},
        Signer{"NothingKnown", 4, {"S1", "S140"}, Result::kNoPermission, 0},
        Signer{"OfApplicationsWhateverItsPermissions", 2, {"S11"}, Result::kAccepted, 3},
        Signer{"OfManifests", 3, {}, Result::kAccepted, 4}),
    [](const testing::TestParamInfo<Signer>& row) { return row.param.name; });

TEST_F(AcceptanceTest, AcceptedIsSaidWithTheAuthority) {
  const Acceptance acceptance = chain_->judge(chain_->issue(4, plain().permissions({"S14"})));

  EXPECT_EQ(chain_->text(acceptance), "Accepted by authority 4 of those compiled in.");
}

TEST_F(AcceptanceTest, MissingPermissionsAreNamed) {
  const Acceptance acceptance = chain_->judge(chain_->issue(1, plain()));

  EXPECT_THAT(chain_->text(acceptance), HasSubstr("name neither S14 (applications) nor S11"));
}

TEST_F(AcceptanceTest, AnExpiredCertificateIsAccepted) {
  const Octets der =
      chain_->issue(1, plain().permissions({"S14"}).validity("200101000000Z", "210101000000Z"));

  EXPECT_EQ(chain_->judge(der).result, Result::kAccepted);
}

TEST_F(AcceptanceTest, OneThatEndsBeforeItBeginsIsNot) {
  const Octets der =
      chain_->issue(1, plain().permissions({"S14"}).validity("300101000000Z", "210101000000Z"));

  const Acceptance acceptance = chain_->judge(der);

  EXPECT_EQ(acceptance.result, Result::kDates);
  EXPECT_EQ(acceptance.kind, 0);
  EXPECT_THAT(chain_->text(acceptance), HasSubstr("its dates contradict each other"));
  EXPECT_EQ(chain_->judge(der, "20310101000000").result, Result::kAccepted);
}

TEST_F(AcceptanceTest, AForeignSignatureIsNotTaken) {
  const TestKey stranger;
  const Octets der = Chain::sign(Chain::named(plain().permissions({"S14"}), 1, 99), stranger);

  const Acceptance acceptance = chain_->judge(der);

  EXPECT_EQ(acceptance.result, Result::kNotSigned);
  EXPECT_THAT(acceptance.rows, ElementsAre(1));
  EXPECT_THAT(chain_->text(acceptance), HasSubstr("the signature is not of that key"));
}

TEST_F(AcceptanceTest, AnUnknownIssuerIsNamed) {
  const Acceptance acceptance =
      chain_->judge(Chain::named(plain().permissions({"S14"}), 0x77, 99).encoding());

  EXPECT_EQ(acceptance.result, Result::kNoAuthority);
  EXPECT_THAT(acceptance.rows, IsEmpty());
  EXPECT_EQ(chain_->text(acceptance),
            "Refused: none of the authorities compiled in has the key identifier "
            "7777777777777777777777777777777777777777 that it names (\"CA not found\").");
}

TEST(KindTextTest, EveryKindIsAnother) {
  EXPECT_EQ(wz::kindText(1), "root certificate of a terminal");
  EXPECT_THAT(wz::kindText(2), HasSubstr("authority for the signers of packages"));
  EXPECT_THAT(wz::kindText(3), HasSubstr("may sign applications"));
  EXPECT_THAT(wz::kindText(4), HasSubstr("may sign manifest packages"));
  EXPECT_THAT(wz::kindText(0), HasSubstr("nothing"));
}

// ---- Development keys --------------------------------------------------------------------------

wz::PackageReport reportWith(const std::string& subject, const std::string& issuer) {
  wz::PackageCertificate certificate;
  certificate.entry = "a.crt";
  certificate.isRead = true;
  certificate.kind = 3;
  certificate.facts.subject = subject;
  certificate.facts.issuer = issuer;
  wz::PackageReport report;
  report.certificates.push_back(certificate);
  return report;
}

TEST(DevelopmentKeyTest, IsKnownByItsNameOrItsIssuers) {
  const std::string development = "O=Development keys, OU=Not for terminals, CN=Signer 500003";

  EXPECT_EQ(wz::developmentKeysIn(reportWith(development, "CN=x"), false).size(), 1U);
  EXPECT_EQ(wz::developmentKeysIn(reportWith("CN=x", development), false).size(), 1U);
  EXPECT_EQ(wz::developmentKeysIn(reportWith("O=Till makers", "O=Till makers"), false).size(), 0U);
}

// In a build that trusts development keys, whatever these accept is of development.
TEST(DevelopmentKeyTest, IsKnownByWhoAcceptsIt) {
  EXPECT_EQ(wz::developmentKeysIn(reportWith("O=Renamed", "O=Renamed"), true).empty(),
            wz::developmentRoots().empty());
}

}  // namespace
}  // namespace wzapp_test
