#include "crypto/store/security_service.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <vector>

#include "crypto/store/terminal_certificates.h"
#include "tests/builders/certificate_builder.h"
#include "tests/builders/child_process.h"
#include "tests/crypto/fake_security_service.h"

namespace wzapp {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::SizeIs;
using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;
using wzapp_test::CertificateBuilder;
using wzapp_test::DerBuilder;
using wzapp_test::FakeSecurityService;
using wzapp_test::Octets;
using wzapp_test::runInChild;
using wzapp_test::ServiceCall;

constexpr int kEnd = -510;

using Buffer = std::array<std::uint8_t, kCertificateBufferSize>;

int readNext() {
  Buffer buffer;
  return readNextCertificate(buffer);
}

// What is read from now on, the result that ends it included.
std::vector<int> readAll() {
  std::vector<int> results;
  do {
    results.push_back(readNext());
  } while (results.back() > 0 && results.size() < 100);
  return results;
}

TEST(SecurityService, GivesNothingBeforeAStart) {
  runInChild([] {
    FakeSecurityService service({Octets(3)});

    EXPECT_EQ(readNext(), 0);

    EXPECT_THAT(service.calls, SizeIs(0));
  });
}

TEST(SecurityService, ABufferThatIsTooSmallDoesNotMatterBeforeAStart) {
  runInChild([] {
    FakeSecurityService service({Octets(3)});
    std::array<std::uint8_t, 1> buffer;

    EXPECT_EQ(readNextCertificate(buffer), 0);
  });
}

TEST(SecurityService, StartReadsAListThatWasLeftInTheMiddleToItsEnd) {
  FakeSecurityService service({Octets(3), Octets(4), Octets(5)});
  service.position = 1;

  startCertificateReading();

  EXPECT_THAT(service.calls,
              ElementsAre(ServiceCall{2, 0, 0}, ServiceCall{2, 0, 0}, ServiceCall{2, 0, kEnd}));
  EXPECT_THAT(readAll(), ElementsAre(3, 4, 5, 0));
}

TEST(SecurityService, EveryCallIsOfOperation2WithTheLength0) {
  FakeSecurityService service({Octets(300), Octets(4)});

  startCertificateReading();
  readAll();

  EXPECT_THAT(service.calls,
              ElementsAre(ServiceCall{2, 0, 0}, ServiceCall{2, 0, 0}, ServiceCall{2, 0, kEnd},
                          ServiceCall{2, 0, 0}, ServiceCall{2, 0, 0}, ServiceCall{2, 0, kEnd}));
}

TEST(SecurityService, HandsOutTheOctetsOfACertificate) {
  FakeSecurityService service({Octets{1, 2, 3}});
  startCertificateReading();
  Buffer buffer;

  const int length = readNextCertificate(buffer);

  ASSERT_EQ(length, 3);
  EXPECT_THAT(ByteView(buffer).first(3), ElementsAre(1, 2, 3));
}

TEST(SecurityService, StaysSilentWhereTheListEnds) {
  FakeSecurityService service;
  CaptureStderr();

  startCertificateReading();
  EXPECT_EQ(readNext(), 0);

  EXPECT_EQ(GetCapturedStderr(), "");
}

TEST(SecurityService, TellsOfAStartThatFailsAndReadsAllTheSame) {
  for (const int result : {-1, -509, -511, 1, 510}) {
    FakeSecurityService service({Octets(3)});
    service.failures[0] = result;
    CaptureStderr();

    startCertificateReading();

    EXPECT_EQ(GetCapturedStderr(), "CMDiag failed (ret=" + std::to_string(result) + ")\n");
    EXPECT_THAT(service.calls, SizeIs(1)) << result;
    EXPECT_THAT(readAll(), ElementsAre(3, 0)) << result;
  }
}

TEST(SecurityService, TheEndOfTheListDisablesReading) {
  FakeSecurityService service({Octets(3)});
  startCertificateReading();
  readAll();
  const std::size_t calls = service.calls.size();

  EXPECT_THAT(readAll(), ElementsAre(0));

  EXPECT_THAT(service.calls, SizeIs(calls));
}

TEST(SecurityService, AFailureIsReturnedAndDisablesReading) {
  for (const int result : {-1, -511, 700}) {
    FakeSecurityService service({Octets(3), Octets(4), Octets(5)});
    startCertificateReading();
    service.failures[5] = result;

    EXPECT_EQ(readNext(), 3);
    EXPECT_EQ(readNext(), result);
    EXPECT_EQ(readNext(), 0);

    EXPECT_THAT(service.calls, SizeIs(6)) << result;
  }
}

TEST(SecurityService, ABufferThatIsTooSmallDisablesReading) {
  FakeSecurityService service({Octets(3)});
  startCertificateReading();
  const std::size_t calls = service.calls.size();
  std::array<std::uint8_t, 8191> buffer;

  EXPECT_EQ(readNextCertificate(buffer), -1);
  EXPECT_EQ(readNext(), 0);

  EXPECT_THAT(service.calls, SizeIs(calls));
}

TEST(SecurityService, ALargerBufferWillDo) {
  FakeSecurityService service({Octets(8192)});
  startCertificateReading();
  std::vector<std::uint8_t> buffer(8193);

  EXPECT_EQ(readNextCertificate(buffer), 8192);
}

TEST(SecurityService, ReturnsLengthsAsTheServiceStatesThem) {
  FakeSecurityService service;
  service.records = {{Octets(3), 65535}, {Octets(3), 8193}, {Octets(3), 0}, {Octets(4)}};
  startCertificateReading();

  EXPECT_EQ(readNext(), 65535);
  EXPECT_EQ(readNext(), 8193);
  EXPECT_EQ(readNext(), 0);
  EXPECT_EQ(readNext(), 4);  // a certificate without octets is not the end
}

TEST(SecurityService, BeginsAfreshAtAnyTime) {
  FakeSecurityService service({Octets(3), Octets(4)});
  startCertificateReading();
  EXPECT_EQ(readNext(), 3);

  startCertificateReading();

  EXPECT_THAT(readAll(), ElementsAre(3, 4, 0));
}

// -------------------------------------------------------------------------------------------------

Octets certificate(std::uint8_t serial) {
  return CertificateBuilder().serial(DerBuilder().integer(Octets{serial})).encoding();
}

// The serials of what is left to read.
std::vector<std::string> serialsOf(TerminalCertificates& certificates) {
  std::vector<std::string> serials;
  while (certificates.next()) serials.emplace_back(certificates.summary().serial);
  return serials;
}

TEST(TerminalCertificates, AreTheOnesThatSummarise) {
  Octets cut = certificate('B');
  cut.pop_back();
  const FakeSecurityService service(
      {certificate('A'), cut, Octets{0x30}, Octets(100), certificate('C')});

  TerminalCertificates certificates;

  EXPECT_THAT(serialsOf(certificates), ElementsAre("A", "C"));
}

TEST(TerminalCertificates, GoWithTheirOctets) {
  const FakeSecurityService service({certificate('A')});

  TerminalCertificates certificates;
  ASSERT_TRUE(certificates.next());

  EXPECT_THAT(certificates.der(), ElementsAreArray(certificate('A')));
}

// The octets behind a certificate would be ignored, but these are not the service's.
TEST(TerminalCertificates, OneOfMoreOctetsThanTheBufferHoldsIsPassedOver) {
  FakeSecurityService service;
  service.records = {{certificate('A'), 8193}, {certificate('B'), 65535}, {certificate('C'), 8192}};

  TerminalCertificates certificates;

  EXPECT_THAT(serialsOf(certificates), ElementsAre("C"));
}

TEST(TerminalCertificates, OneWithoutOctetsEndsThem) {
  FakeSecurityService service;
  service.records = {{certificate('A')}, {Octets(), 0}, {certificate('C')}};

  TerminalCertificates certificates;

  EXPECT_THAT(serialsOf(certificates), ElementsAre("A"));
}

TEST(TerminalCertificates, EndWhereTheServiceFails) {
  FakeSecurityService service({certificate('A'), certificate('B')});
  service.failures[4] = -1;

  TerminalCertificates certificates;

  EXPECT_THAT(serialsOf(certificates), ElementsAre("A"));
}

// The result could be taken for a length, and the buffer still held the certificate before.
TEST(TerminalCertificates, APositiveFailureIsNoCertificate) {
  FakeSecurityService service({certificate('A'), certificate('B')});
  service.failures[4] = 8000;

  TerminalCertificates certificates;

  EXPECT_THAT(serialsOf(certificates), ElementsAre("A"));
  EXPECT_THAT(service.calls, SizeIs(5));
}

TEST(TerminalCertificates, AreNoneWithoutAService) {
  CaptureStderr();
  TerminalCertificates certificates;

  EXPECT_FALSE(certificates.next());

  EXPECT_EQ(GetCapturedStderr(), "CMDiag failed (ret=-1)\n");
}

}  // namespace
}  // namespace wzapp
