#include "tests/agree/package_maker.h"

#include <openssl/evp.h>

#include <algorithm>
#include <vector>

#include "tests/agree/der_mutation.h"
#include "tests/agree/trusted_keys.h"
#include "tests/builders/signature_file_builder.h"
#include "tests/builders/zip_builder.h"

namespace wzapp_test {
namespace {

enum Level : unsigned {
  kOctets = 1U << 0,        // of the finished file
  kEntries = 1U << 1,       // what the headers of entries say
  kNames = 1U << 2,         // of entries
  kSignatures = 1U << 3,    // fields of signature files
  kCertificates = 1U << 4,  // fields of certificates, signed again
  kDer = 1U << 5,           // forms of both
  kManifests = 1U << 6,
  kSets = 1U << 7  // what a package holds, and by whom it is signed
};
constexpr const char* kLevelNames[] = {"octets",       "entries", "names",     "signatures",
                                       "certificates", "DER",     "manifests", "sets"};

template <std::size_t kCount>
std::string oneOf(const char* const (&texts)[kCount], RandomCases& random) {
  return texts[random.below(kCount)];
}

Octets digestOf(const std::string& data, bool isSha1) {
  Octets digest(isSha1 ? 20 : 32);
  EVP_Digest(data.data(), data.size(), digest.data(), nullptr, isSha1 ? EVP_sha1() : EVP_sha256(),
             nullptr);
  return digest;
}

// ---- Manifests ------------------------------------------------------------------------------

std::string version(RandomCases& random) {
  constexpr const char* kVersions[] = {
      "1",     "2.46", "2.46.6",         "2.46.6.0", "2.46.7", "3.1",    "3.2",
      "3.2.0", "3.10", " 3 . 2 ",        "",         "a.b",    "3.2x.1", "-1",
      "+3.2",  "3..2", "99999999999999", "03.02",    "0x3.2"};
  return oneOf(kVersions, random);
}

std::string quoted(const std::string& text) { return "\"" + text + "\""; }

std::string bounds(const std::string& lowest, const std::string& highest, RandomCases& random) {
  std::string text;
  if (random.oneIn(2)) text += quoted(lowest) + ":" + quoted(version(random)) + ",";
  if (random.oneIn(2)) text += quoted(highest) + ":" + quoted(version(random)) + ",";
  return text;
}

std::string imports(const std::string& key, RandomCases& random) {
  constexpr const char* kElements[] = {R"({"id":"known"})",
                                       R"({"id":"unknown"})",
                                       R"({"id":"unknown","optional":true})",
                                       R"({"id":"unknown","optional":1})",
                                       R"({"id":"unknown","optional":false})",
                                       R"({"id":7})",
                                       R"({})",
                                       R"("known")",
                                       "null"};
  return quoted(key) + ":[" + oneOf(kElements, random) + "," + oneOf(kElements, random) + "],";
}

std::string dependencies(RandomCases& random) {
  constexpr const char* kPlatforms[] = {R"(["T30"])",     R"(["480x800C0T"])", "[]",   R"(["t30"])",
                                        R"(["X","T30"])", R"("T30")",          "[30]", "null"};
  std::string text;
  if (random.oneIn(3)) {
    text += "\"imports_sdk\":{" + bounds("triggers_min_version", "triggers_max_version", random) +
            bounds("wzruntime_min_version", "wzruntime_max_version", random) + "\"x\":1},";
  }
  if (random.oneIn(4)) text += imports("imports_trigger", random);
  if (random.oneIn(4)) text += imports("imports_api", random);
  if (random.oneIn(4))
    text += R"("imports_hardware":{"platforms":)" + oneOf(kPlatforms, random) + "},";
  return text;
}

std::string manifestFor(const std::string& id, RandomCases& random, bool isChanged) {
  if (!isChanged) return R"({"application":{"id":")" + id + R"("},"sponsors":["123456"]})";
  constexpr const char* kIds[] = {"other", "",          ".",    "..",         "a/b",   "a\\\\b",
                                  "a:",    "a\\u0000b", "SHOP", "\\u0073hop", "shop ", "a:b"};
  constexpr const char* kSponsors[] = {
      R"(["123456"])",      R"("123456")",      "[123456]",       "[]",
      R"(["1", "123456"])", R"(["654321",""])", R"([" 123456"])", "null",
      R"({"0":"123456"})"};
  const std::string name = random.oneIn(2) ? oneOf(kIds, random) : id;
  if (random.oneIn(4)) {
    constexpr const char* kLists[] = {"123456", "1 , 123456", "", "12345", "123456,", "\"123456\""};
    constexpr const char* kFirst[] = {"",       "\xEF\xBB\xBF", "; comment\n", "key=value\n",
                                      "  \t\n", "[]\n"};
    constexpr const char* kSections[] = {"[install]", "[uninstall]",      "[ install]",
                                         "[install",  "\t[install] more", "[Install]"};
    std::string text = oneOf(kFirst, random);
    for (int i = 0; i < 2; ++i) {
      text += oneOf(kSections, random) + (random.oneIn(3) ? "\r\n" : "\n") + "appid = " + name +
              "\nsponsor=" + oneOf(kLists, random) + "\n";
    }
    return text;
  }
  std::string text = "{" + dependencies(random);
  if (!random.oneIn(8)) {
    text += R"("application":{"id":)" + (random.oneIn(10) ? "7" : quoted(name)) + "},";
  }
  if (random.oneIn(12)) text += R"("application":{"id":"second"},)";
  text += "\"sponsors\":" + oneOf(kSponsors, random) + "}";
  if (random.oneIn(6)) {
    constexpr const char* kEnds[] = {"\n", " \t\r\n", "x", "}", ",", "{}", " //"};
    text += oneOf(kEnds, random);
  }
  if (random.oneIn(10)) text.insert(0, oneOf({"\xEF\xBB\xBF", " ", "\n", "\xC0"}, random));
  if (random.oneIn(6)) {
    text[random.below(text.size())] = static_cast<char>(random.word());
  }
  return text;
}

// ---- Archives -------------------------------------------------------------------------------

std::string changedName(std::string name, RandomCases& random) {
  constexpr const char* kWhole[] = {
      "..",       ".",     "/etc/passwd", "C:/x", "a:",        "shop", "x.MFT",           ".MFT",
      "shop.mft", "a.crt", "-O.ZIP",      ".ZIP", "a/b/c.p7s", "\\x",  "shop/index.html", ""};
  switch (random.below(10)) {
    case 0:
      return oneOf(kWhole, random);
    case 1:
      return "../" + name;
    case 2:
      return name + oneOf({"/", "/..", "/.", ".", " ", "\\", ":", ".p7s", ".ZIP"}, random);
    case 3:
      return "a/../../" + name;
    case 4:
      return "/mnt/flash/etc/config/wzapp/wz/" + name;
    case 5:
      return std::string(251 + random.below(10) - std::min<std::size_t>(name.size(), 250), 'n') +
             "/" + name;
    case 6:
      return name.insert(random.below(name.size() + 1), 1, '\0');
    case 7:
      std::replace(name.begin(), name.end(), '/', '\\');
      return name;
    case 8:
      for (char& c : name) {
        if (random.oneIn(2) && c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
      }
      return name;
    default:
      if (!name.empty()) name[random.below(name.size())] = static_cast<char>(random.word());
      return name;
  }
}

void changeEntry(ZipEntry& entry, std::size_t number, RandomCases& random) {
  const std::uint32_t size = static_cast<std::uint32_t>(entry.content.size());
  switch (random.below(12)) {
    case 0:
      entry.size = size + 1 + static_cast<std::uint32_t>(random.below(9));
      break;
    case 1:
      entry.size = size - std::min<std::uint32_t>(size, 1 + random.word() % 9);
      break;
    case 2:
      entry.packedSize = static_cast<std::uint32_t>(random.below(size + 50));
      break;
    case 3:
      entry.crc = random.word();
      break;
    case 4:
      entry.method = static_cast<std::uint16_t>(random.oneIn(2) ? random.below(15) : 12);
      break;
    case 5:
      entry.flags = static_cast<std::uint16_t>(1U << random.below(16));
      break;
    case 6:
      entry.hasDataDescriptor = true;
      break;
    case 7:
      entry.localName = changedName(entry.name, random);
      break;
    case 8: {
      std::string data = deflated(entry.content);
      data[random.below(data.size())] ^= static_cast<char>(1U << random.below(8));
      entry.data = data;
      break;
    }
    case 9:
      entry.extra = textOf(random.octets(random.below(20)));
      break;
    case 10:
      entry.isDeflated = false;
      break;
    default:
      if (number > 0) entry.sharesDataOf = random.below(number);
  }
}

void changeWhole(ZipBuilder& zip, RandomCases& random) {
  switch (random.below(5)) {
    case 0:
      zip.prefix(textOf(random.octets(1 + random.below(60))));
      break;
    case 1:
      zip.comment(textOf(random.octets(random.below(60))));
      break;
    case 2:
      zip.statedEntries(random.below(12));
      break;
    case 3:
      zip.statedDirectorySize(random.below(900));
      break;
    default:
      zip.statedDirectoryOffset(random.below(4000));
  }
}

std::string archiveOf(std::vector<ZipEntry> entries, unsigned levels, RandomCases& random) {
  ZipBuilder zip;
  if ((levels & kEntries) != 0 && random.oneIn(3)) changeWhole(zip, random);
  const std::size_t chosen = random.below(entries.size());
  for (std::size_t i = 0; i < entries.size(); ++i) {
    const bool isChosen = i == chosen || random.oneIn(6);
    if ((levels & kEntries) != 0 && isChosen) changeEntry(entries[i], i, random);
    if ((levels & kNames) != 0 && isChosen) {
      entries[i].name = changedName(entries[i].name, random);
      if (random.oneIn(4)) zip.entry(entries[i]);
    }
    if (entries[i].sharesDataOf && *entries[i].sharesDataOf >= i) entries[i].sharesDataOf.reset();
    zip.entry(entries[i]);
  }
  return zip.build();
}

ZipEntry entryOf(std::string name, std::string content) {
  ZipEntry entry;
  entry.name = std::move(name);
  entry.content = std::move(content);
  return entry;
}

std::string applicationArchive(const std::string& id, unsigned levels, RandomCases& random) {
  const bool isChanged = (levels & kManifests) != 0;
  std::vector<ZipEntry> entries = {
      entryOf(id + "/index.html", "<p>" + id + std::string(random.below(300), 'p')),
      entryOf(id + "/pages/second.html", textOf(random.octets(random.below(80)))),
      entryOf(id + ".MFT", manifestFor(id, random, isChanged))};
  if (isChanged && random.oneIn(5)) {
    entries.push_back(entryOf("second.mft", manifestFor("second", random, random.oneIn(2))));
  }
  return archiveOf(std::move(entries), levels, random);
}

std::string manifestArchive(const std::string& id, unsigned levels, RandomCases& random) {
  const bool isChanged = (levels & kManifests) != 0;
  std::vector<ZipEntry> entries = {
      entryOf(id + "/mpmanifest.mft", manifestFor(id, random, isChanged)),
      entryOf(id + "/confOwner.json", "{}")};
  return archiveOf(std::move(entries), levels, random);
}

std::string removalArchive(const std::string& id, unsigned levels, RandomCases& random) {
  const bool isChanged = (levels & kManifests) != 0;
  return archiveOf({entryOf(id + "/appuninstall.mft", manifestFor(id, random, isChanged))}, levels,
                   random);
}

// ---- Certificates ---------------------------------------------------------------------------

struct SignerPlan {
  std::size_t row;
  std::uint8_t id;
  SignerKey key = SignerKey::kUsual;
};

void changeExtensions(CertificateBuilder& builder, RandomCases& random) {
  constexpr const char* kOids[] = {"2.5.29.15",
                                   "2.5.29.19",
                                   "2.5.29.37",
                                   "2.16.840.1.200000.1.1.1",
                                   "2.16.840.1.200000.1.1.2",
                                   "2.16.840.1.200000.1.1.3",
                                   "2.16.840.1.200000.1.1.4",
                                   "2.16.840.1.200000.1.1.5",
                                   "2.5.29.14",
                                   "1.2.840.113549.1.1.1.1.1.111111",
                                   "1.2.3.4"};
  const DerBuilder values[] = {
      DerBuilder().boolean(true),
      DerBuilder().integer(7),
      DerBuilder().bitString(Octets{0x84}, 2),
      DerBuilder().bitString(Octets{0x84, 0x80}, 2),
      DerBuilder().octetString(Octets(random.below(40), 0x31)),
      DerBuilder().sequence({}),
      DerBuilder().sequence(DerBuilder().boolean(true)),
      DerBuilder().sequence(DerBuilder().boolean(true).integer(3)),
      DerBuilder().boolean(true).sequence(DerBuilder().ia5String("S14")),
      DerBuilder().sequence(
          DerBuilder().boolean(false).sequence(DerBuilder().ia5String("S11").ia5String("S14"))),
      DerBuilder(),
      DerBuilder(random.octets(random.below(9))),
  };
  builder.extension(oneOf(kOids, random), values[random.below(std::size(values))], random.oneIn(3));
}

void changeFields(CertificateBuilder& builder, RandomCases& random) {
  constexpr const char* kTimes[] = {"200101000000Z", "20200101000000Z", "2001010000Z",
                                    "200101000000",  "21100101000000Z", "500101000000Z",
                                    "491231235959Z", "20010100000000Z", "zzzzzzzzzzzzZ"};
  constexpr const char* kAlgorithms[] = {"1.2.840.113549.1.1.5", "1.3.14.3.2.29",
                                         "1.2.840.113549.1.1.11", "1.2.840.113549.1.1.12",
                                         "1.2.840.113549.1.1.10"};
  switch (random.below(10)) {
    case 0:
      builder.version(
          DerBuilder().tagged(0, DerBuilder().integer(static_cast<int>(random.below(4)))));
      break;
    case 1:
      builder.serial(DerBuilder().integer(random.octets(random.below(20))));
      break;
    case 2:
      builder.validity(oneOf(kTimes, random), oneOf(kTimes, random));
      break;
    case 3:
      builder.algorithm(oneOf(kAlgorithms, random));
      break;
    case 4:
      builder.authorityKeyId(Octets(20, 0x10));
      break;
    case 5:
      builder.withoutExtensions()
          .authorityKeyId(rowId(random.below(9)))
          .subjectKeyId(Octets(random.below(36), 0x71));
      break;
    case 6:
      builder.rsaKey(Octets(random.below(300), static_cast<std::uint8_t>(random.word())),
                     Octets{3});
      break;
    case 7:
      builder.withoutExtensions();
      break;
    default:
      changeExtensions(builder, random);
  }
}

std::string certificateOf(const SignerPlan& plan, unsigned levels, RandomCases& random) {
  CertificateBuilder builder = signerCertificate(plan.row, Octets(20, plan.id), plan.key);
  if (plan.row == kFreeRow) {
    constexpr const char* kTexts[] = {"S14", "S11", "S12", "s14", ""};
    builder.permissions({oneOf(kTexts, random), oneOf(kTexts, random)});
  }
  if ((levels & kCertificates) != 0) {
    do changeFields(builder, random);
    while (random.oneIn(3));
  }
  Octets toBeSigned = builder.toBeSigned();
  const bool changesInside = (levels & kDer) != 0 && random.oneIn(2);
  if (changesInside) toBeSigned = mutatedDer(toBeSigned, random);
  const bool isSha1 = (levels & kCertificates) != 0 && random.oneIn(6);
  const FixedKey& issuer =
      (levels & kSets) != 0 && random.oneIn(6) ? signerKey(SignerKey::kStranger) : authorityKey();
  if ((levels & kDer) == 0 && !isSha1) {
    return textOf(builder.signedWith([&](const Octets& octets) { return issuer.sign(octets); }));
  }
  Octets der = DerBuilder()
                   .sequence(DerBuilder(toBeSigned)
                                 .raw(algorithmIdentifier(isSha1 ? "1.3.14.3.2.29"
                                                                 : "1.2.840.113549.1.1.11"))
                                 .bitString(issuer.sign(toBeSigned, isSha1)))
                   .octets();
  if ((levels & kDer) != 0 && !changesInside) der = mutatedDer(der, random);
  return textOf(der);
}

// ---- Signatures -----------------------------------------------------------------------------

void changeSignature(SignatureFileBuilder& file, RandomCases& random) {
  const DerBuilder algorithms[] = {
      algorithmIdentifier("1.3.14.3.2.26"), algorithmIdentifier("2.16.840.1.101.3.4.2.1"),
      algorithmIdentifier("2.16.840.1.101.3.4.2.2"), algorithmIdentifier("1.2.840.113549.1.1.1"),
      algorithmIdentifier("1.2.840.113549.1.1.11")};
  const auto algorithm = [&] { return algorithms[random.below(std::size(algorithms))]; };
  switch (random.below(9)) {
    case 0:
      file.contentType(DerBuilder().oid("1.2.840.113549.1.7.1"));
      break;
    case 1:
      file.version(DerBuilder().integer(static_cast<int>(random.below(4))));
      break;
    case 2:
      file.digestAlgorithms(DerBuilder().set(DerBuilder(algorithm()).raw(algorithm())));
      break;
    case 3:
      file.content(DerBuilder().sequence(DerBuilder()
                                             .oid("2.16.840.1.200000.1.2.2")
                                             .tagged(0, DerBuilder().octetString(Octets(3)))));
      break;
    case 4:
      file.signerVersion(DerBuilder().integer(static_cast<int>(random.below(4))));
      break;
    case 5:
      file.signerDigestAlgorithm(algorithm());
      break;
    case 6:
      file.signatureAlgorithm(algorithm());
      break;
    case 7:
      file.signerKeyId(Octets(random.below(54), 0x71));
      break;
    default:
      file.otherAttributes({});
  }
}

std::string signatureOf(const std::string& archive, const SignerPlan& plan, unsigned levels,
                        RandomCases& random) {
  SignatureFileBuilder file;
  file.signerKeyId(Octets(20, plan.id));
  bool isSha1 = (levels & (kSets | kSignatures)) != 0 && random.oneIn(4);
  if (isSha1) {
    file.sha1(digestOf(archive, true));
  } else {
    file.sha256(digestOf(archive, false));
  }
  if ((levels & kSignatures) != 0) {
    do changeSignature(file, random);
    while (random.oneIn(4));
    if (random.oneIn(6)) isSha1 = !isSha1;
  }
  const bool changesInside = (levels & kDer) != 0 && random.oneIn(3);
  if (changesInside) file.attributes(mutatedDer(file.signedOctets(), random));
  const auto key = (levels & kSets) != 0 && random.oneIn(8) ? SignerKey::kStranger : plan.key;
  Octets signature = signerKey(key).sign(file.signedOctets(), isSha1);
  if ((levels & kSignatures) != 0 && random.oneIn(4)) {
    signature.resize(random.below(signature.size() + 20), 0);
  }
  file.signature(DerBuilder().octetString(signature));
  Octets der = file.encoding();
  if ((levels & kDer) != 0 && !changesInside) der = mutatedDer(der, random);
  return textOf(der);
}

// ---- The file -------------------------------------------------------------------------------

void changeOctets(std::string& file, RandomCases& random) {
  do {
    const std::size_t near = std::min<std::size_t>(file.size(), 700);
    const std::size_t at =
        random.oneIn(2) ? random.below(file.size()) : file.size() - 1 - random.below(near);
    switch (random.below(6)) {
      case 0:
        file.resize(std::max<std::size_t>(1, at));
        break;
      case 1:
        file.insert(at, 1, static_cast<char>(random.word()));
        break;
      case 2:
        file.erase(at, 1);
        if (file.empty()) file = "P";
        break;
      case 3:
        file[at] = static_cast<char>(random.word());
        break;
      default:
        file[at] ^= static_cast<char>(1U << random.below(8));
    }
  } while (random.oneIn(3));
}

SignerPlan otherPlan(const SignerPlan& plan, RandomCases& random) {
  constexpr SignerKey kKeys[] = {SignerKey::kUsual, SignerKey::kShort, SignerKey::kExponent3,
                                 SignerKey::kExponent17, SignerKey::kStranger};
  SignerPlan other = plan;
  if (random.oneIn(2)) other.row = random.below(9);
  if (random.oneIn(3)) other.key = kKeys[random.below(kSignerKeys)];
  if (random.oneIn(4)) other.id = 0x72;
  return other;
}

// The levels of one package: none in eight is changed at all, most at one, some at several.
unsigned levelsOf(RandomCases& random) {
  if (random.oneIn(16)) return 0;
  unsigned levels = 0;
  do levels |= 1U << random.below(std::size(kLevelNames));
  while (random.oneIn(4));
  return levels;
}

std::string describe(unsigned levels) {
  std::string text;
  for (std::size_t i = 0; i < std::size(kLevelNames); ++i) {
    if ((levels >> i & 1) != 0) text += (text.empty() ? "" : ", ") + std::string(kLevelNames[i]);
  }
  return text.empty() ? "none" : text;
}

}  // namespace

MadePackage makePackage(std::uint64_t seed) {
  RandomCases random(seed);
  const unsigned levels = levelsOf(random);
  // A level changes one part, so that what lies behind it is reached, too.
  const auto part = [&] { return random.oneIn(2) ? levels : 0; };
  const bool hasOtherSet = (levels & kSets) != 0;
  const std::string id = oneOf({"shop", "Till", "a.b", "x"}, random);
  SignerPlan application{kApplicationRow, 0x71}, manifest{kManifestRow, 0x72};
  if (hasOtherSet && random.oneIn(2)) application = otherPlan(application, random);
  if (hasOtherSet && random.oneIn(3)) manifest = otherPlan(manifest, random);

  std::vector<ZipEntry> entries = {entryOf("a.crt", certificateOf(application, part(), random)),
                                   entryOf("m.crt", certificateOf(manifest, part(), random))};
  const auto add = [&](const std::string& name, const std::string& archive,
                       const SignerPlan& signer) {
    entries.push_back(entryOf(name + ".zip", archive));
    entries.push_back(
        entryOf(name + ".p7s", signatureOf(archive, signer, part() & ~unsigned{kEntries}, random)));
  };
  add(id, applicationArchive(id, part(), random), application);
  add(id + "-O", manifestArchive(id, part(), random), manifest);
  if (hasOtherSet && random.oneIn(3)) add(id + "-U", removalArchive(id, part(), random), manifest);
  if (hasOtherSet && random.oneIn(3)) {
    entries.erase(entries.begin() + static_cast<std::ptrdiff_t>(random.below(entries.size())));
  }
  MadePackage made{archiveOf(std::move(entries), part() & (kEntries | kNames), random),
                   describe(levels)};
  if ((levels & kOctets) != 0) changeOctets(made.octets, random);
  return made;
}

}  // namespace wzapp_test
