#include "verifier/signature_file.h"

#include <optional>

#include "verifier/element_walk.h"

namespace verifier {
namespace {

constexpr std::uint8_t kInteger = 0x02, kIa5String = 0x16, kTag2 = 0xA2;
constexpr std::size_t kLongestKeyId = 49;
constexpr std::string_view kSignedData = "1.2.840.113549.1.7.2";
constexpr std::string_view kPackageContent = "2.16.840.1.200000.1.2.2";
constexpr std::string_view kSignerKeyId = "2.16.840.1.200000.1.2.1";
constexpr std::string_view kContentType = "1.2.840.113549.1.9.3";
constexpr std::string_view kMessageDigest = "1.2.840.113549.1.9.4";
constexpr std::string_view kRsaEncryption = "1.2.840.113549.1.1.1";

struct DigestName {
  std::string_view oid;
  Digest digest;
  std::size_t size;
};
constexpr DigestName kDigests[] = {{"1.3.14.3.2.26", Digest::kSha1, 20},
                                   {"2.16.840.1.101.3.4.2.1", Digest::kSha256, 32}};

// A file while it is read. A walk goes from the top to the bottom; what is not found where it was
// looked for leaves the walk where it was.
struct Reading {
  std::string_view file;
  ElementWalk walk;
  SignatureFile& found;
  const DigestName* digest = nullptr;
  std::size_t attributesEnd = 0;

  [[nodiscard]] std::string_view content() const { return walk.element().content(file); }

  // On to the next element of that content that lies at least `depth` deep, without coming up to
  // less than `floor`.
  bool findOid(std::string_view oid, int depth, int floor) {
    const ElementWalk before = walk;
    while (walk.next() && walk.element().depth >= floor) {
      if (walk.element().depth >= depth && isOid(content(), oid)) return true;
    }
    walk = before;
    return false;
  }

  bool skip(int count, int floor) {
    while (count-- > 0) {
      if (!walk.next() || walk.element().depth < floor) return false;
    }
    return true;
  }

  bool isInteger2() {
    return walk.element().identifier == kInteger && smallInteger(content()) == 2;
  }
};

Cause readOuter(Reading& reading) {
  bool isFound = false;
  while (!isFound && reading.walk.next()) isFound = isOid(reading.content(), kSignedData);
  const Element& element = reading.walk.element();
  return isFound && (element.depth == 1 || element.index == 0) ? kGood : "WZ-0320";
}

Cause readVersion(Reading& reading) {
  return reading.walk.find(3, 0) && reading.isInteger2() ? kGood : "WZ-0321";
}

Cause readDigestAlgorithm(Reading& reading) {
  if (!reading.walk.find(3, 1)) return "WZ-0322";
  for (const DigestName& name : kDigests) {
    if (!reading.findOid(name.oid, 5, 4)) continue;
    reading.digest = &name;
    reading.found.digest = name.digest;
    // To where the set has ended; nothing is found behind an end that cannot be read.
    while (reading.walk.next() && reading.walk.element().depth > 3) {
    }
    return kGood;
  }
  return "WZ-0322";
}

Cause readContent(Reading& reading) {
  constexpr Cause kBad = "WZ-0323";
  // Behind the set of digests, wherever that has ended.
  if (!reading.findOid(kPackageContent, 4, 3)) return kBad;
  return reading.skip(2, 4) && reading.walk.element().identifier == kIa5String ? kGood : kBad;
}

Cause readSigner(Reading& reading) {
  const bool isFound = reading.walk.find(3, 3) && reading.skip(2, 4);
  return isFound && reading.isInteger2() ? kGood : "WZ-0321";
}

Cause readSignerDigest(Reading& reading) {
  const bool isFound = reading.walk.find(5, 2) && reading.findOid(reading.digest->oid, 6, 6);
  return isFound ? kGood : "WZ-0322";
}

Cause readSignedAttributes(Reading& reading) {
  while (reading.walk.next() && reading.walk.element().depth >= 5) {
    const Element& element = reading.walk.element();
    if (element.identifier != kTag2) continue;
    if (element.isIndefinite) break;
    reading.found.signedOctets = reading.content();
    reading.attributesEnd = element.start + element.header + element.size;
    return kGood;
  }
  return "WZ-0324";
}

// Of the signed attributes: a walk of its own, so that nothing that is not signed is taken for the
// value of one. The value stands two elements behind the name.
std::optional<std::string_view> valueOf(std::string_view oid, ElementWalk& walk,
                                        std::string_view attributes) {
  while (walk.next()) {
    if (!isOid(walk.element().content(attributes), oid)) continue;
    if (!walk.next() || !walk.next()) return std::nullopt;
    return walk.element().content(attributes);
  }
  return std::nullopt;
}

Cause readAttributes(Reading& reading) {
  const std::string_view attributes = reading.found.signedOctets;
  ElementWalk walk(attributes);
  const auto type = valueOf(kContentType, walk, attributes);
  if (!type || !isOid(*type, kPackageContent)) return "WZ-0326";
  // It follows the other.
  const auto digest = valueOf(kMessageDigest, walk, attributes);
  if (!digest || digest->size() != reading.digest->size) return "WZ-0322";
  reading.found.messageDigest = *digest;
  return kGood;
}

Cause readSignature(Reading& reading) {
  constexpr Cause kBad = "WZ-0325";
  // The algorithm stands behind the attributes, not among them.
  do {
    if (!reading.walk.next() || reading.walk.element().depth < 5) return kBad;
  } while (reading.walk.element().depth != 5 ||
           reading.walk.element().start < reading.attributesEnd);
  if (!isOid(reading.content(), kRsaEncryption) && !reading.findOid(kRsaEncryption, 6, 6)) {
    return kBad;
  }
  if (!reading.skip(2, 5) || reading.walk.element().isIndefinite) return kBad;
  reading.found.signature = reading.content();
  return kGood;
}

Cause readSignerKeyId(Reading& reading) {
  const bool isBehind = reading.findOid(kSignerKeyId, 5, 5);
  if (isBehind) {
    if (!reading.skip(2, 5) || reading.walk.element().isIndefinite) return "WZ-0327";
    reading.found.signerKeyId = reading.content();
    return kGood;
  }
  const std::string_view attributes = reading.found.signedOctets;
  ElementWalk walk(attributes);
  const auto id = valueOf(kSignerKeyId, walk, attributes);
  if (!id) return "WZ-0327";
  reading.found.signerKeyId = *id;
  return kGood;
}

}  // namespace

Cause readSignatureFile(std::string_view file, SignatureFile& found) {
  // It ends with its outermost element, whatever stands behind.
  const std::optional<Element> whole = elementAt(file, 0);
  if (whole && !whole->isIndefinite) file = whole->whole(file);
  Reading reading{file, ElementWalk(file), found};
  for (const auto step :
       {readOuter, readVersion, readDigestAlgorithm, readContent, readSigner, readSignerDigest,
        readSignedAttributes, readAttributes, readSignature, readSignerKeyId}) {
    if (const Cause cause = step(reading)) return cause;
  }
  return found.signerKeyId.size() > kLongestKeyId ? "WZ-0332" : kGood;
}

Cause checkArchive(const SignatureFile& file, std::string_view archive, const Certificate& signer) {
  if (file.signerKeyId != signer.subjectKeyId) return "WZ-0311";
  if (file.messageDigest != digestOf(file.digest, archive)) return "WZ-0310";
  return checkSignature(signer.key, file.digest, file.signedOctets, file.signature);
}

}  // namespace verifier
