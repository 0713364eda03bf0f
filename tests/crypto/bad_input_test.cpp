// Input that nobody should send: every parser answers with a code of its table, reads nothing
// outside and takes no longer than the length of the input asks for.

#include <gtest/gtest.h>
#include <time.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "crypto/certificate/certificate_check.h"
#include "crypto/certificate/certificate_record.h"
#include "crypto/certificate/certificate_summary.h"
#include "crypto/der/der_search.h"
#include "crypto/der/element_iterator.h"
#include "crypto/der/seen_oids.h"
#include "crypto/signature/package_signature.h"
#include "crypto/signature/signature_file.h"
#include "tests/builders/certificate_builder.h"
#include "tests/builders/signature_file_builder.h"
#include "tests/crypto/allocation_faults.h"

namespace wzapp {
namespace {

using wzapp_test::AllocationWatch;
using wzapp_test::attribute;
using wzapp_test::CertificateBuilder;
using wzapp_test::DerBuilder;
using wzapp_test::extensionElement;
using wzapp_test::fromHex;
using wzapp_test::Octets;
using wzapp_test::SignatureFileBuilder;

// A certificate with every extension and a subject with every attribute that is read.
Octets richCertificate() {
  return CertificateBuilder()
      .rsaKey(Octets(64, 0xC3), Octets{1, 0, 1})
      .signature(DerBuilder().bitString(Octets(64, 0x11)))
      .subjectAttributes(DerBuilder(attribute("2.5.4.45", DerBuilder().bitString(Octets{2, 3})))
                             .raw(attribute("2.5.4.3", DerBuilder().printableString("name"))))
      .extension("2.5.29.15", DerBuilder().bitString(Octets{0x84}, 2), true)
      .extension("2.5.29.19", DerBuilder().sequence(DerBuilder().boolean(true).integer(3)), true)
      .permissions({"S11", "S14"})
      .extension("2.16.840.1.200000.1.1.2", DerBuilder().boolean(false))
      .extension("2.16.840.1.200000.1.1.3", DerBuilder().integer(7))
      .extension("2.16.840.1.200000.1.1.4", DerBuilder().boolean(true))
      .extension("2.16.840.1.200000.1.1.5", DerBuilder().sequence(DerBuilder().null()))
      .extension("1.2.3.4", DerBuilder().null())
      .encoding();
}

Octets richSignatureFile() { return SignatureFileBuilder().sha1(Octets(20, 1)).encoding(); }

bool isCertificateCode(int code) {
  static const std::vector<int> kCodes{0,    -102, -103, -104, -105, -107, -108, -109, -110, -111,
                                       -112, -113, -114, -115, -116, -117, -118, -119, -122};
  return std::find(kCodes.begin(), kCodes.end(), code) != kCodes.end();
}

// Lets every parser at `input`, in memory of exactly its size so that a sanitizer sees the first
// octet too many.
void expectCodes(const Octets& input) {
  const auto octets = std::make_unique<std::uint8_t[]>(input.size());
  std::copy(input.begin(), input.end(), octets.get());
  const ByteView view(octets.get(), input.size());

  CertificateRecord record;
  const int parsed = parseCertificate(view, record);
  EXPECT_TRUE(isCertificateCode(parsed)) << parsed;
  CertificateSummary summary;
  const int summarised = summariseCertificate(view, summary);
  EXPECT_TRUE(summarised == 0 || summarised == -5 || summarised == -6 || summarised == -3)
      << summarised;
  EXPECT_EQ(summarised == -3, parsed != 0);

  SignatureInfo info;
  const int file = parseSignatureFile(view, info);
  EXPECT_TRUE(file == 0 || (file <= -215 && file >= -222)) << file;
  char hex[kSignerKeyIdText];
  const int keyId = readSignerKeyId(view, hex);
  EXPECT_TRUE(keyId == 0 || keyId == -4 || keyId == -5) << keyId;
  const Octets sha1(20);
  const Octets sha256(32);
  const int verified = verifyPackage(view, sha1, sha256, view);
  EXPECT_TRUE(verified <= 0 && verified >= -4) << verified;
  const int checked = checkAgainstAuthority(view, view);
  EXPECT_TRUE(checked <= 0 && checked >= -4) << checked;

  ByteView value;
  ElementIterator iterator(view);
  for (std::size_t position = 1; position != iterator.position();) {
    position = iterator.position();
    if (iterator.next(value) == 0 && value.data() == nullptr) break;
  }
}

class BadInput : public testing::TestWithParam<Octets (*)()> {};

TEST_P(BadInput, TruncatedAtEveryOctet) {
  const Octets whole = GetParam()();
  for (std::size_t length = 0; length < whole.size(); ++length) {
    expectCodes(Octets(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length)));
  }
}

// The outermost length says less, so that the cut is not seen there.
TEST_P(BadInput, TruncatedAtEveryOctetWithALengthThatFits) {
  const Octets whole = GetParam()();
  ASSERT_EQ(whole[1], 0x82);
  for (std::size_t length = 4; length < whole.size(); ++length) {
    Octets cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
    cut[2] = static_cast<std::uint8_t>((length - 4) >> 8);
    cut[3] = static_cast<std::uint8_t>(length - 4);
    expectCodes(cut);
  }
}

TEST_P(BadInput, EveryOctetFlipped) {
  const Octets whole = GetParam()();
  for (std::size_t i = 0; i < whole.size(); ++i) {
    for (const unsigned mask : {0x01U, 0x20U, 0x7FU, 0x80U, 0xFFU}) {
      Octets changed = whole;
      changed[i] = static_cast<std::uint8_t>(changed[i] ^ mask);
      expectCodes(changed);
    }
  }
}

TEST_P(BadInput, EveryOctetReplacedByALengthOfEveryForm) {
  const Octets whole = GetParam()();
  const char* const forms[] = {"80",       "81",       "81 00",    "81 FF",       "82 00 00",
                               "82 7F FE", "82 7F FF", "82 80 00", "83 00 00 01", "84 FF FF FF FF",
                               "FF"};
  for (std::size_t i = 0; i < whole.size(); ++i) {
    for (const char* form : forms) {
      const Octets length = fromHex(form);
      Octets changed = whole;
      const auto at = changed.erase(changed.begin() + static_cast<std::ptrdiff_t>(i));
      changed.insert(at, length.begin(), length.end());
      expectCodes(changed);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(OfCertificatesAndSignatureFiles, BadInput,
                         testing::Values(richCertificate, richSignatureFile));

TEST(BadInputs, RichTextsAreSound) {
  CertificateRecord record;
  SignatureInfo info;

  EXPECT_EQ(parseCertificate(richCertificate(), record), 0);
  EXPECT_EQ(parseSignatureFile(richSignatureFile(), info), 0);
}

TEST(BadInputs, EmptyAndZeroInput) {
  expectCodes({});
  expectCodes(Octets(1));
  expectCodes(Octets(std::size_t{1} << 20));
  expectCodes(Octets(std::size_t{1} << 20, 0x30));
  expectCodes(Octets(std::size_t{1} << 20, 0xFF));
}

// Elements of indefinite length inside each other, with and without their ends.
TEST(BadInputs, NestingToTheLimitAndPastIt) {
  for (const std::size_t levels : {23U, 24U, 25U, 26U, 27U, 10000U}) {
    Octets open;
    for (std::size_t i = 0; i < levels; ++i) open.insert(open.end(), {0x30, 0x80});
    Octets closed = open;
    closed.insert(closed.end(), 2 * levels, 0);
    expectCodes(open);
    expectCodes(closed);
  }
}

TEST(BadInputs, NestingInsideTheSubject) {
  // Certificate, certificate body and subject lie around the value: with 22 levels more the walk
  // is at its limit.
  for (const auto& [levels, code] : {std::pair{20, 0}, std::pair{21, 0}, std::pair{22, 0},
                                     std::pair{23, static_cast<int>(kBadPublicKey)}}) {
    DerBuilder value;
    for (int i = 0; i < levels; ++i) value = DerBuilder().sequence(value);
    CertificateRecord record;

    EXPECT_EQ(parseCertificate(CertificateBuilder().subjectAttributes(value).encoding(), record),
              code)
        << levels;
  }
}

// -------------------------------------------------------------------------------------------------

// Both key identifiers and `count` extensions more, in a list of indefinite length: no other holds
// that many.
Octets manyExtensions(std::size_t count, bool repeatsTheLast = false) {
  DerBuilder list =
      DerBuilder(extensionElement("2.5.29.35",
                                  DerBuilder().sequence(DerBuilder().element(0x80, Octets{1}))))
          .raw(extensionElement("2.5.29.14", DerBuilder().octetString(Octets{2})));
  Octets octets = list.octets();
  for (std::size_t i = 0; i < count; ++i) {
    // 1.2 and an arc of four octets.
    const auto number = static_cast<unsigned>(i);
    const std::uint8_t extension[] = {0x30,
                                      0x0B,
                                      0x06,
                                      0x05,
                                      0x2A,
                                      0x81,
                                      static_cast<std::uint8_t>(0x80 | (number >> 14)),
                                      static_cast<std::uint8_t>(0x80 | (number >> 7)),
                                      static_cast<std::uint8_t>(number & 0x7F),
                                      0x04,
                                      0x02,
                                      0x05,
                                      0x00};
    octets.insert(octets.end(), std::begin(extension), std::end(extension));
  }
  if (repeatsTheLast) octets.insert(octets.end(), octets.end() - 13, octets.end());

  // A body of the greatest length, which its extensions run past, inside of a certificate that has
  // no length at all.
  const Octets body = CertificateBuilder().extensions({}).toBeSigned();
  const Octets fields(body.begin() + 4, body.end());
  const Octets extensions =
      DerBuilder().indefinite(0xA3, DerBuilder().indefinite(0x30, DerBuilder(octets))).octets();
  const std::size_t length = std::min<std::size_t>(32766, fields.size() + extensions.size());
  return DerBuilder()
      .indefinite(0x30, DerBuilder(Octets{0x30, 0x82, static_cast<std::uint8_t>(length >> 8),
                                          static_cast<std::uint8_t>(length)})
                            .raw(fields)
                            .raw(extensions)
                            .raw(wzapp_test::algorithmIdentifier("1.2.840.113549.1.1.11"))
                            .bitString(Octets(64)))
      .octets();
}

TEST(BadInputs, TenThousandExtensionsAreRead) {
  CertificateRecord record;

  EXPECT_EQ(parseCertificate(manyExtensions(10000), record), 0);
  EXPECT_EQ(parseCertificate(manyExtensions(10000, true), record), kDuplicateExtension);
}

TEST(BadInputs, ParsingAllocatesForExtensionsBeyondTheRowAndElseNever) {
  const Octets file = richSignatureFile();
  const Octets few = manyExtensions(SeenOids::kInline - 2);
  const Octets more = manyExtensions(SeenOids::kInline - 1);
  const auto allocations = [](const Octets& certificate) {
    CertificateRecord record;
    const AllocationWatch watch;
    EXPECT_EQ(parseCertificate(certificate, record), 0);
    return watch.count();
  };

  EXPECT_EQ(allocations(richCertificate()), 0);
  EXPECT_EQ(allocations(few), 0);
  EXPECT_EQ(allocations(more), 1);

  const AllocationWatch watch;
  SignatureInfo info;
  char hex[kSignerKeyIdText];
  CertificateSummary summary;
  EXPECT_EQ(parseSignatureFile(file, info), 0);
  EXPECT_EQ(readSignerKeyId(file, hex), 0);
  EXPECT_EQ(summariseCertificate(few, summary), 0);
  EXPECT_EQ(watch.count(), 0);
}

// -------------------------------------------------------------------------------------------------

double cpuSeconds() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

// The shortest of several runs: what else the machine does only ever adds.
double shortestRun(const std::function<void()>& run) {
  double shortest = 1e9;
  for (int i = 0; i < 5; ++i) {
    const double start = cpuSeconds();
    run();
    shortest = std::min(shortest, cpuSeconds() - start);
  }
  return shortest;
}

struct GrowthCase {
  const char* name;
  Octets (*make)(std::size_t size);  // of about `size` octets
  int certificateCode;
  int signatureFileCode;
};

class Growth : public testing::TestWithParam<GrowthCase> {};

// Sixteen times the input may take forty times as long; the square of it would be 256 times.
TEST_P(Growth, IsLinear) {
  constexpr std::size_t kSmall = 40000;
  constexpr std::size_t kFactor = 16;
  const Octets small = GetParam().make(kSmall);
  const Octets large = GetParam().make(kFactor * kSmall);
  // What is refused early in one of them takes no time there, and says nothing.
  for (const Octets* input : {&small, &large}) {
    CertificateRecord record;
    SignatureInfo info;
    EXPECT_EQ(parseCertificate(*input, record), GetParam().certificateCode);
    EXPECT_EQ(parseSignatureFile(*input, info), GetParam().signatureFileCode);
  }
  const auto run = [](const Octets& input, int repeats) {
    return shortestRun([&input, repeats] {
      for (int i = 0; i < repeats; ++i) {
        CertificateRecord record;
        SignatureInfo info;
        ByteView value;
        (void)parseCertificate(input, record);
        (void)parseSignatureFile(input, info);
        (void)ElementIterator(input).next(value);
      }
    });
  };

  const double smallTime = run(small, 8) / 8;
  const double largeTime = run(large, 1);

  EXPECT_LT(largeTime, 40 * smallTime + 0.001);
}

Octets zeros(std::size_t size) { return Octets(size); }

Octets extensionsOf(std::size_t size) { return manyExtensions(size / 13); }

// Object identifiers that share all bits but the last ones, in falling order.
Octets alikeExtensions(std::size_t size) {
  Octets octets;
  for (std::size_t i = size / 20; i > 0; --i) {
    const std::uint8_t extension[] = {0x30,
                                      0x0F,
                                      0x06,
                                      0x09,
                                      0x2A,
                                      0x01,
                                      0x01,
                                      0x01,
                                      0x01,
                                      0x01,
                                      static_cast<std::uint8_t>(0x80 | (i >> 14)),
                                      static_cast<std::uint8_t>(0x80 | (i >> 7)),
                                      static_cast<std::uint8_t>(i & 0x7F),
                                      0x04,
                                      0x02,
                                      0x05,
                                      0x00};
    octets.insert(octets.end(), std::begin(extension), std::end(extension));
  }
  Octets fields = CertificateBuilder().extensions({}).toBeSigned();
  return DerBuilder()
      .indefinite(0x30, DerBuilder(fromHex("30 82 7F FE"))
                            .raw(Octets(fields.begin() + 4, fields.end()))
                            .raw(fromHex("A3 80 30 80"))
                            .raw(octets))
      .octets();
}

// Many attributes in the subject, none of which is looked for.
Octets longSubject(std::size_t size) {
  Octets names;
  while (names.size() < size) {
    const Octets name = attribute("2.5.4.7", DerBuilder().printableString("place")).octets();
    names.insert(names.end(), name.begin(), name.end());
  }
  Octets fields = CertificateBuilder()
                      .subject(DerBuilder().indefinite(0x30, DerBuilder(names)))
                      .extensions({})
                      .toBeSigned();
  return DerBuilder()
      .indefinite(0x30,
                  DerBuilder(fromHex("30 82 7F FE")).raw(Octets(fields.begin() + 4, fields.end())))
      .octets();
}

Octets nestedOpen(std::size_t size) {
  Octets octets;
  while (octets.size() < size) octets.insert(octets.end(), {0x30, 0x80});
  return octets;
}

// 24 levels again and again, each opened and closed.
Octets nestedClosed(std::size_t size) {
  Octets octets = fromHex("30 80");
  while (octets.size() < size) {
    for (int i = 0; i < 23; ++i) octets.insert(octets.end(), {0x30, 0x80});
    octets.insert(octets.end(), 46, 0);
  }
  return octets;
}

// A signature file whose digest algorithms never end.
Octets manyDigests(std::size_t size) {
  Octets octets = fromHex("30 80 06 09 2A 86 48 86 F7 0D 01 07 02 A0 80 30 80 02 01 02 31 80");
  const Octets digest = wzapp_test::algorithmIdentifier("1.2.840.113549.2.5").octets();
  while (octets.size() < size) octets.insert(octets.end(), digest.begin(), digest.end());
  return octets;
}

std::string growthName(const testing::TestParamInfo<GrowthCase>& growth) {
  return growth.param.name;
}

INSTANTIATE_TEST_SUITE_P(
    Inputs, Growth,
    testing::Values(GrowthCase{"Zeros", zeros, kNoToBeSigned, kNotSignedData},
                    GrowthCase{"Extensions", extensionsOf, 0, kNotSignedData},
                    GrowthCase{"AlikeExtensions", alikeExtensions, kMissingKeyId, kNotSignedData},
                    GrowthCase{"LongSubject", longSubject, kBadPublicKey, kNotSignedData},
                    GrowthCase{"NestedOpen", nestedOpen, kNoToBeSigned, kNotSignedData},
                    GrowthCase{"NestedClosed", nestedClosed, kNoToBeSigned, kNotSignedData},
                    GrowthCase{"ManyDigests", manyDigests, kBadVersion, kNoSignatureDigest}),
    growthName);

}  // namespace
}  // namespace wzapp
