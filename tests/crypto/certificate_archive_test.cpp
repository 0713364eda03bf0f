#include "crypto/store/certificate_archive.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <ctime>
#include <stdexcept>

#include "tests/builders/file_content.h"
#include "tests/builders/tar_reader.h"
#include "tests/builders/temporary_directory.h"
#include "tests/crypto/authority_fixtures.h"
#include "tests/crypto/fake_clock.h"
#include "tests/crypto/fake_security_service.h"
#include "wzapp/wzapp.h"

namespace wzapp {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;
using wzapp_test::authorityCertificate;
using wzapp_test::CertificateBuilder;
using wzapp_test::contentOf;
using wzapp_test::DerBuilder;
using wzapp_test::FakeClock;
using wzapp_test::FakeSecurityService;
using wzapp_test::fromText;
using wzapp_test::Octets;
using wzapp_test::readTar;
using wzapp_test::rootCertificate;
using wzapp_test::TarMember;
using wzapp_test::TemporaryDirectory;
using wzapp_test::textOf;

constexpr std::time_t kNow = 1700000000;

std::string archiveOf(std::span<const Authority> table) {
  std::string archive = "what was there before";
  writeCertificateArchive(table, archive);
  return archive;
}

std::vector<std::string> namesIn(const std::string& archive) {
  std::vector<std::string> names;
  for (const TarMember& member : readTar(archive)) names.push_back(member.name);
  return names;
}

// A certificate of so many octets in all.
Octets certificateOfSize(std::size_t size) {
  // Lengths from some bounds on take an octet more, so that one signature does not meet every size.
  constexpr std::size_t kMostOverhead = 40;  // of the extension that fills it up
  for (std::size_t signature = 60; signature < 128; ++signature) {
    CertificateBuilder builder;
    builder.signature(DerBuilder().bitString(Octets(signature)));
    const std::size_t missing = size - builder.encoding().size();
    for (std::size_t filler = missing - kMostOverhead; filler < missing; ++filler) {
      const Octets der = CertificateBuilder(builder)
                             .extension("1.2.3", DerBuilder().octetString(Octets(filler, 0x11)))
                             .encoding();
      if (der.size() == size) return der;
    }
  }
  throw std::runtime_error("no certificate of " + std::to_string(size) + " octets");
}

// One whose serial number holds these octets.
Octets certificateWithSerial(std::string_view serial) {
  return CertificateBuilder().serial(DerBuilder().integer(fromText(serial))).encoding();
}

// -------------------------------------------------------------------------------------------------

TEST(CertificateArchive, HoldsTheTerminalsCertificatesAndThenTheAuthorities) {
  const FakeSecurityService service({rootCertificate(0), rootCertificate(1)});

  const std::string archive = archiveOf(authorities());

  EXPECT_THAT(namesIn(archive),
              ElementsAre("os000001.crt", "os000002.crt", "wz207820.crt", "wz207821.crt",
                          "wz207822.crt", "wz207823.crt", "wz207824.crt", "wz207825.crt",
                          "wz207826.crt", "wz207827.crt", "wz207828.crt"));
}

TEST(CertificateArchive, MembersAreRegularFilesOfRoot) {
  const FakeClock clock(kNow);
  const FakeSecurityService service({rootCertificate()});

  for (const TarMember& member : readTar(archiveOf(authorities()))) {
    EXPECT_EQ(member.mode, 0644U) << member.name;
    EXPECT_EQ(member.uid, 0U) << member.name;
    EXPECT_EQ(member.gid, 0U) << member.name;
    EXPECT_EQ(member.mtime, static_cast<std::uint64_t>(kNow)) << member.name;
    EXPECT_EQ(member.type, '0') << member.name;
    EXPECT_EQ(member.owner, "root") << member.name;
    EXPECT_EQ(member.group, "root") << member.name;
  }
}

TEST(CertificateArchive, MembersHoldTheCertificates) {
  const FakeSecurityService service({rootCertificate()});

  const std::vector<TarMember> members = readTar(archiveOf(authorities()));

  ASSERT_EQ(members.size(), 1 + kAuthorityCount);
  EXPECT_EQ(members[0].content, textOf(rootCertificate()));
  for (std::size_t row = 0; row < kAuthorityCount; ++row) {
    EXPECT_EQ(members[1 + row].content, textOf(authorityCertificate(row))) << row;
  }
}

TEST(CertificateArchive, HoldsTheAuthoritiesAloneWhenTheTerminalHasNone) {
  const FakeSecurityService service;

  const std::string archive = archiveOf(authorities());

  EXPECT_EQ(readTar(archive).size(), kAuthorityCount);
  EXPECT_EQ(namesIn(archive).front(), "wz207820.crt");
}

TEST(CertificateArchive, WithoutMembersIsItsEndAlone) {
  const FakeSecurityService service;

  EXPECT_EQ(archiveOf({}), std::string(1024, '\0'));
}

TEST(CertificateArchive, SerialsAreReversedInNames) {
  const FakeSecurityService service;
  const Octets der = certificateWithSerial("828702");
  const Authority table[] = {{2, der}};

  EXPECT_THAT(namesIn(archiveOf(table)), ElementsAre("wz207828.crt"));
}

TEST(CertificateArchive, WhatDoesNotSummariseIsLeftOut) {
  const Octets longKeyId = CertificateBuilder()
                               .withoutExtensions()
                               .authorityKeyId(Octets(32))
                               .subjectKeyId({1})
                               .encoding();
  const Octets badTime = CertificateBuilder().validity("2001010000Z", "2001010000Z").encoding();
  const FakeSecurityService service(
      {Octets(300), rootCertificate(), longKeyId, badTime, Octets{0x30}});
  const Authority table[] = {{2, badTime}, {2, authorityCertificate(3)}, {2, {}}, {4, longKeyId}};

  EXPECT_THAT(namesIn(archiveOf(table)), ElementsAre("os000001.crt", "wz207823.crt"));
}

TEST(CertificateArchive, TheSameCertificateTwiceIsTwoMembers) {
  const FakeSecurityService service({rootCertificate(), rootCertificate()});

  EXPECT_THAT(namesIn(archiveOf({})), ElementsAre("os000001.crt", "os000001.crt"));
}

class ArchiveSize : public testing::TestWithParam<std::size_t> {};

TEST_P(ArchiveSize, IsThatOfTheCertificateUpToAWholeBlock) {
  const Octets der = certificateOfSize(GetParam());
  const FakeSecurityService service({der});
  const std::size_t padded = (GetParam() + 511) / 512 * 512;

  const std::string archive = archiveOf({});

  ASSERT_EQ(archive.size(), 512 + padded + 1024);
  EXPECT_EQ(archive.substr(512, der.size()), textOf(der));
  EXPECT_EQ(archive.substr(512 + der.size()), std::string(padded - der.size() + 1024, '\0'));
  EXPECT_THAT(namesIn(archive), ElementsAre("os\x03\x02\x01.crt"));
}

INSTANTIATE_TEST_SUITE_P(Octets, ArchiveSize, testing::Values(511, 512, 513, 1000, 1024, 8192));

// Names say what the certificates say, whatever that does to a reader who believes them.
struct HostileSerial {
  std::string octets;
  std::string name;
};

class ArchiveName : public testing::TestWithParam<HostileSerial> {};

TEST_P(ArchiveName, HoldsTheSerialAsItIs) {
  const Octets der = certificateWithSerial(GetParam().octets);
  const FakeSecurityService service({der});

  EXPECT_THAT(namesIn(archiveOf({})), ElementsAre(GetParam().name));
}

INSTANTIATE_TEST_SUITE_P(
    Serials, ArchiveName,
    testing::Values(HostileSerial{"A", "osA.crt"}, HostileSerial{"x/..", "os../x.crt"},
                    HostileSerial{"cte/../../", "os/../../etc.crt"},
                    HostileSerial{std::string("B\0A", 3), "osA.crt"},
                    HostileSerial{std::string("B\0", 2), "os.crt"},
                    HostileSerial{std::string("\0B", 2), "osB.crt"},
                    HostileSerial{"\n\x1B[2J", "osJ2[\x1B\n.crt"},
                    HostileSerial{"\xFF\xC3\x80", "os\x80\xC3\xFF.crt"},
                    HostileSerial{"%s%n", "osn%s%.crt"},
                    HostileSerial{"abcdefghijklmnopqrst", "oskjihgfedcba.crt"}));

// -------------------------------------------------------------------------------------------------

TEST(CertificateArchive, ReadsAListThatWasLeftInTheMiddleFromItsBeginning) {
  FakeSecurityService service({rootCertificate(0), rootCertificate(1)});
  service.position = 1;

  EXPECT_THAT(namesIn(archiveOf({})), ElementsAre("os000001.crt", "os000002.crt"));
}

TEST(CertificateArchive, AFailedReadEndsTheTerminalsCertificates) {
  FakeSecurityService service({rootCertificate(0), rootCertificate(1)});
  service.failures[4] = -7;

  EXPECT_THAT(namesIn(archiveOf({})), ElementsAre("os000001.crt"));
}

TEST(CertificateArchive, AFailedStartIsToldAndTheReadingGoesOn) {
  FakeSecurityService service({rootCertificate(0)});
  service.failures[0] = -7;
  CaptureStderr();

  const std::string archive = archiveOf({});

  EXPECT_EQ(GetCapturedStderr(), "CMDiag failed (ret=-7)\n");
  EXPECT_THAT(namesIn(archive), ElementsAre("os000001.crt"));
}

TEST(CertificateArchive, IsTheSameEachTime) {
  const FakeClock clock(kNow);
  const FakeSecurityService service({rootCertificate(0), rootCertificate(1)});

  EXPECT_EQ(archiveOf(authorities()), archiveOf(authorities()));
}

TEST(CertificateArchive, IsExported) {
  const FakeClock clock(kNow);
  const FakeSecurityService service({rootCertificate(0), rootCertificate(1)});
  std::string archive = "what was there before";

  wzGetCertificateArchive(archive);

  EXPECT_EQ(archive, archiveOf(authorities()));
}

// -------------------------------------------------------------------------------------------------

// What the system's tar prints, and how it ended.
struct TarRun {
  std::string output;
  int status = -1;
};

TarRun runTar(const std::string& arguments) {
  TarRun run;
  std::FILE* const pipe = popen(("LC_ALL=C tar " + arguments + " 2>&1").c_str(), "r");
  if (pipe == nullptr) return run;
  char block[4096];
  while (const std::size_t count = std::fread(block, 1, sizeof block, pipe)) {
    run.output.append(block, count);
  }
  run.status = pclose(pipe);
  return run;
}

TEST(CertificateArchive, IsListedByTar) {
  const FakeClock clock(kNow);
  const Octets der = certificateOfSize(1000);
  const FakeSecurityService service({der});
  const Octets other = certificateWithSerial("828702");
  const Authority table[] = {{2, other}};
  const TemporaryDirectory directory;
  const std::string file = directory.write("certificates.tar", archiveOf(table));

  const TarRun run = runTar("--utc --full-time -tvf " + file);

  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.output,
            "-rw-r--r-- root/root      1000 2023-11-14 22:13:20 os\\003\\002\\001.crt\n"
            "-rw-r--r-- root/root       " +
                std::to_string(other.size()) + " 2023-11-14 22:13:20 wz207828.crt\n");
}

TEST(CertificateArchive, IsExtractedByTar) {
  const FakeSecurityService service({rootCertificate(0), rootCertificate(1)});
  const std::string archive = archiveOf(authorities());
  const TemporaryDirectory directory;
  const std::string file = directory.write("certificates.tar", archive);

  const TarRun run = runTar("--no-same-owner -xf " + file + " -C " + directory.path());

  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.output, "");
  EXPECT_EQ(contentOf(directory / "os000002.crt"), textOf(rootCertificate(1)));
  for (std::size_t row = 0; row < kAuthorityCount; ++row) {
    EXPECT_EQ(contentOf(directory / ("wz20782" + std::to_string(row) + ".crt")),
              textOf(authorityCertificate(row)))
        << row;
  }
}

}  // namespace
}  // namespace wzapp
