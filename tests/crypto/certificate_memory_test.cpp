// No memory: the exported function hands out nothing rather than a part, and the store can be
// rebuilt afterwards.

#include <gtest/gtest.h>

#include <new>
#include <string>

#include "crypto/certificate/certificate_record.h"
#include "crypto/der/seen_oids.h"
#include "crypto/store/certificate_store.h"
#include "support/install_result.h"
#include "tests/builders/certificate_builder.h"
#include "tests/builders/failing_memory.h"
#include "tests/builders/tar_reader.h"
#include "tests/crypto/authority_fixtures.h"
#include "tests/crypto/fake_security_service.h"
#include "wzapp/wzapp.h"

namespace wzapp {
namespace {

using wzapp_test::authorityId;
using wzapp_test::CertificateBuilder;
using wzapp_test::DerBuilder;
using wzapp_test::endShortage;
using wzapp_test::failAllocation;
using wzapp_test::FakeSecurityService;
using wzapp_test::hexOf;
using wzapp_test::Octets;
using wzapp_test::rootCertificate;
using wzapp_test::Shortage;

constexpr int kMoreThanAnyAllocations = 1000;
constexpr std::size_t kMoreThanAnyCalls = 100;

// Without allocations of its own.
class CertificateMemoryTest : public testing::TestWithParam<Shortage> {
 protected:
  CertificateMemoryTest() { (void)authorities(); }

  void SetUp() override { service.calls.reserve(kMoreThanAnyCalls); }

  FakeSecurityService service{{rootCertificate(0), rootCertificate(1)}};
};

TEST_P(CertificateMemoryTest, AnArchiveIsWholeOrEmpty) {
  int nth = 1;
  for (; nth < kMoreThanAnyAllocations; ++nth) {
    std::string archive(5000, 'x');
    service.calls.clear();

    failAllocation(nth, GetParam());
    wzGetCertificateArchive(archive);
    if (!endShortage()) {
      EXPECT_EQ(wzapp_test::readTar(archive).size(), 2 + kAuthorityCount);
      break;
    }

    EXPECT_EQ(archive, "") << nth;
  }
  EXPECT_GT(nth, 1);
  EXPECT_LT(nth, kMoreThanAnyAllocations);
}

TEST_P(CertificateMemoryTest, ACertificateOfMoreExtensionsThanMemoryIsRefused) {
  CertificateBuilder builder;
  for (std::size_t i = 0; i < SeenOids::kInline; ++i) {
    builder.extension("1.2.3." + std::to_string(i), DerBuilder().null());
  }
  const Octets certificate = builder.encoding();
  for (int nth = 1; nth <= 2; ++nth) {  // both key identifiers stand in the row, too
    CertificateRecord record;

    failAllocation(nth, GetParam());
    const int code = parseCertificate(certificate, record);

    EXPECT_TRUE(endShortage());
    EXPECT_EQ(code, kBadExtension) << nth;
  }
  CertificateRecord record;
  EXPECT_EQ(parseCertificate(certificate, record), 0);
}

TEST_P(CertificateMemoryTest, AStoreIsRebuiltAfterAFailure) {
  CertificateStore store(authorities());
  int nth = 1;
  for (; nth < kMoreThanAnyAllocations; ++nth) {
    service.calls.clear();
    setInstallResult(kInstallOk);
    bool wasThrown = false;

    failAllocation(nth, GetParam());
    try {
      store.rebuild();
    } catch (const std::bad_alloc&) {
      wasThrown = true;
    }
    if (!endShortage()) break;

    // Without memory a signature is one that does not verify, which is reported.
    EXPECT_TRUE(wasThrown || installResult() == kInstallWarning) << nth;
  }
  EXPECT_GT(nth, 1);
  EXPECT_LT(nth, kMoreThanAnyAllocations);
  for (std::size_t row = 0; row < kAuthorityCount; ++row) {
    EXPECT_NE(store.find(hexOf(authorityId(row))), nullptr) << row;
  }
}

INSTANTIATE_TEST_SUITE_P(Shortages, CertificateMemoryTest,
                         testing::Values(Shortage::kOnce, Shortage::kForGood));

}  // namespace
}  // namespace wzapp
