#include "verifier/certificate.h"

#include <optional>
#include <set>

#include "verifier/element_walk.h"

namespace verifier {
namespace {

constexpr std::uint8_t kBoolean = 0x01, kInteger = 0x02, kBitString = 0x03, kOctetString = 0x04,
                       kOid = 0x06, kIa5String = 0x16, kSequence = 0x30, kPrimitive0 = 0x80,
                       kTag0 = 0xA0, kTag3 = 0xA3;
constexpr std::size_t kLongestKeyId = 31;
constexpr std::size_t kPermissionRoom = 256;

using Elements = std::vector<Element>;

// The octets of a certificate while it is read, and what has been found.
struct Reading {
  std::string_view der;
  Certificate& found;
  ElementWalk walk;                 // from the top to the bottom
  std::set<std::string> oids = {};  // of the extensions so far

  [[nodiscard]] const Element& element() const { return walk.element(); }

  // On to the field of that number in what is signed.
  [[nodiscard]] bool find(int number) {
    while (element().depth != 2 || element().index != number) {
      if (!(element().depth < 1 ? walk.next() : walk.nextSibling())) return false;
      if (element().depth < 2 && element().start > signedPart) return false;
    }
    return true;
  }
  std::size_t signedPart = 0;  // where it begins

  [[nodiscard]] bool nextIs(int depth, int index) {
    return walk.next() && element().depth == depth && element().index == index;
  }

  [[nodiscard]] std::string_view content(const Element& element) const {
    return element.content(der);
  }
  [[nodiscard]] Elements children(const Element& element) const { return childrenOf(der, element); }
};

std::string withoutLeadingZero(std::string_view number) {
  if (number.starts_with('\0')) number.remove_prefix(1);
  return std::string(number);
}

// Whether no part of it is left that cannot be read.
bool isReadToEnd(const Element& parent, const Elements& children) {
  const std::size_t end = parent.start + parent.header + parent.size;
  const Element& last = children.empty() ? parent : children.back();
  return parent.isIndefinite || parent.size == 0 ||
         (!children.empty() && (last.isIndefinite || last.start + last.header + last.size >= end));
}

bool isBooleanOfOneOctet(const Element& element) {
  return element.identifier == kBoolean && element.size == 1;
}

// ---- What extensions hold -------------------------------------------------------------------

using Octets = std::string_view;  // the value of an extension; it begins with `first`

Cause readAuthorityKeyId(Octets value, const Element& first, Certificate& found) {
  const Elements parts = childrenOf(value, first);
  if (parts.empty() || parts[0].identifier != kPrimitive0) return "WZ-0215";
  found.authorityKeyId = parts[0].content(value);
  return kGood;
}

Cause readSubjectKeyId(Octets value, const Element& first, Certificate& found) {
  if (first.identifier != kOctetString) return "WZ-0219";
  found.subjectKeyId = first.content(value);
  return kGood;
}

Cause readKeyUsage(Octets /*value*/, const Element& first, Certificate& /*found*/) {
  const bool isGood = first.identifier == kBitString && (first.size == 2 || first.size == 3);
  return isGood ? kGood : "WZ-0223";
}

Cause readBasicConstraints(Octets value, const Element& first, Certificate& /*found*/) {
  if (first.identifier != kSequence) return "WZ-0217";
  const Elements parts = childrenOf(value, first);
  if (parts.empty()) return kGood;
  if (!isBooleanOfOneOctet(parts[0])) return "WZ-0217";
  if (parts.size() > 1 &&
      (parts[1].identifier != kInteger || !smallInteger(parts[1].content(value)))) {
    return "WZ-0217";
  }
  return kGood;
}

std::vector<std::string> permissionsIn(Octets list) {
  std::vector<std::string> texts;
  std::size_t room = kPermissionRoom;
  const std::optional<Element> outer = elementAt(list, 0);
  if (!outer || outer->identifier != kSequence) return texts;
  for (const Element& element : childrenOf(list, *outer)) {
    if (element.identifier != kIa5String || element.size == 0 || element.size + 2 >= room) continue;
    room -= element.size + 1;
    texts.emplace_back(element.content(list));
  }
  return texts;
}

// The flag and the list stand in one SEQUENCE, or side by side.
Cause readPermissions(Octets value, const Element& first, Certificate& found) {
  Elements parts;
  if (first.identifier == kBoolean) {
    parts.push_back(first);
    const std::optional<Element> list = elementAt(value, first.header + first.size);
    if (list) parts.push_back(*list);
  } else {
    parts = childrenOf(value, first);
  }
  if (parts.size() < 2 || !isBooleanOfOneOctet(parts[0]) || parts[1].isIndefinite) return "WZ-0216";
  found.permissions = permissionsIn(parts[1].whole(value));
  return kGood;
}

Cause readFlag(const Element& first, Cause otherwise) {
  return isBooleanOfOneOctet(first) ? kGood : otherwise;
}

Cause readExtension2(Octets /*value*/, const Element& first, Certificate& /*found*/) {
  return readFlag(first, "WZ-0221");
}

Cause readExtension3(Octets value, const Element& first, Certificate& /*found*/) {
  const bool isGood = first.identifier == kInteger && smallInteger(first.content(value));
  return isGood ? kGood : "WZ-0222";
}

Cause readExtension4(Octets /*value*/, const Element& first, Certificate& /*found*/) {
  return readFlag(first, "WZ-0214");
}

Cause readAnything(Octets /*value*/, const Element& /*first*/, Certificate& /*found*/) {
  return kGood;
}

struct KnownExtension {
  std::string_view oid;
  Cause (*read)(Octets value, const Element& first, Certificate& found);
};

constexpr KnownExtension kKnownExtensions[] = {
    {"2.5.29.35", readAuthorityKeyId},
    {"2.5.29.14", readSubjectKeyId},
    {"2.5.29.15", readKeyUsage},
    {"2.5.29.19", readBasicConstraints},
    {"2.16.840.1.200000.1.1.1", readPermissions},
    {"2.16.840.1.200000.1.1.2", readExtension2},
    {"2.16.840.1.200000.1.1.3", readExtension3},
    {"2.16.840.1.200000.1.1.4", readExtension4},
    {"2.16.840.1.200000.1.1.5", readAnything},
};

// Extension ::= SEQUENCE { OBJECT IDENTIFIER, BOOLEAN OPTIONAL, OCTET STRING }
Cause readExtension(Reading& reading, const Element& extension) {
  // Its name is read first; it may run past the extension, but not past the certificate.
  const bool hasParts = extension.isConstructed && (extension.isIndefinite || extension.size > 0);
  const std::optional<Element> name = elementAt(reading.der, extension.start + extension.header);
  if (!hasParts || !name || name->identifier != kOid) return "WZ-0219";
  if (isLongOid(name->content(reading.der))) return "WZ-0220";
  // The parts are counted in the extension's own octets: none may run past them, and in the
  // indefinite form there are none to count in.
  if (extension.isIndefinite) return "WZ-0219";
  const Octets whole = extension.whole(reading.der);
  const std::optional<Element> own = elementAt(whole, 0);
  const Elements parts = own ? childrenOf(whole, *own) : Elements();
  if (parts.empty()) return "WZ-0219";
  const std::optional<std::string> oid = oidText(parts[0].content(whole));
  if (!oid || (parts.size() != 2 && parts.size() != 3) || !isReadToEnd(*own, parts)) {
    return "WZ-0219";
  }
  bool isCritical = false;
  if (parts.size() == 3) {
    if (!isBooleanOfOneOctet(parts[1])) return "WZ-0219";
    isCritical = parts[1].content(whole)[0] != 0;
  }
  if (parts.back().identifier != kOctetString) return "WZ-0219";
  const Octets value = parts.back().content(whole);
  const std::optional<Element> first = elementAt(value, 0);
  if (!first || first->isIndefinite) return "WZ-0222";
  if (!reading.oids.insert(*oid).second) return "WZ-0218";
  for (const KnownExtension& known : kKnownExtensions) {
    if (known.oid == *oid) return known.read(value, *first, reading.found);
  }
  return isCritical ? "WZ-0213" : kGood;
}

// ---- The parts of a certificate, in their order -----------------------------------------------

Cause readVersion(Reading& reading) {
  const bool isGood = reading.find(0) && reading.element().identifier == kTag0 &&
                      reading.walk.next() && reading.element().identifier == kInteger &&
                      smallInteger(reading.content(reading.element())) == 2;
  return isGood ? kGood : "WZ-0210";
}

Cause readSerialNumber(Reading& reading) {
  return reading.find(1) && !reading.element().isIndefinite ? kGood : "WZ-0226";
}

Cause readValidity(Reading& reading) {
  constexpr Cause kBad = "WZ-0227";
  if (!reading.find(4)) return kBad;
  for (std::string* const time : {&reading.found.validFrom, &reading.found.validTo}) {
    if (!reading.walk.next() || reading.element().depth != 3 || reading.element().isIndefinite) {
      return kBad;
    }
    *time = reading.content(reading.element());
  }
  return kGood;
}

// SubjectPublicKeyInfo ::= SEQUENCE { SEQUENCE { rsaEncryption, NULL }, BIT STRING }
Cause readKey(Reading& reading) {
  constexpr Cause kBad = "WZ-0211";
  // The subject on the way is walked through, not passed over.
  do {
    if (!reading.walk.next() || reading.element().depth < 2) return kBad;
  } while (reading.element().depth != 2 || reading.element().index != 6);
  // The parameters are one element without parts, mostly NULL: the key stands two elements behind
  // the algorithm.
  if (!reading.nextIs(3, 0) || !reading.nextIs(4, 0) ||
      !isOid(reading.content(reading.element()), "1.2.840.113549.1.1.1") || !reading.walk.next() ||
      !reading.nextIs(3, 1) || reading.element().identifier != kBitString ||
      reading.element().size == 0) {
    return kBad;
  }
  // The first two numbers count, whatever holds them or stands between them.
  const std::string_view bits = reading.content(reading.element()).substr(1);
  ElementWalk walk(bits);
  std::vector<std::string> numbers;
  while (numbers.size() < 2) {
    if (!walk.next()) return kBad;
    if (walk.element().identifier != kInteger) continue;
    numbers.push_back(withoutLeadingZero(walk.element().content(bits)));
  }
  reading.found.key = {numbers[0], numbers[1]};
  return kGood;
}

Cause readExtensions(Reading& reading) {
  constexpr Cause kBad = "WZ-0219";
  do {
    if (!reading.walk.nextSibling() || reading.element().depth < 2) return kBad;
  } while (reading.element().depth != 2 || reading.element().identifier != kTag3);
  const Elements lists = reading.children(reading.element());
  if (lists.empty()) return kBad;
  if (!lists[0].isConstructed) return kGood;  // one without parts has no extensions
  const Elements extensions = reading.children(lists[0]);
  for (const Element& extension : extensions) {
    if (const Cause cause = readExtension(reading, extension)) return cause;
  }
  return isReadToEnd(lists[0], extensions) ? kGood : kBad;
}

Cause readKeyIds(Reading& reading) {
  const Certificate& found = reading.found;
  return found.authorityKeyId.empty() || found.subjectKeyId.empty() ? "WZ-0212" : kGood;
}

// The walk goes on behind the extensions, wherever they have ended: what runs past the signed part
// takes octets from what follows it.
Cause readOuterSignature(Reading& reading) {
  constexpr Cause kBad = "WZ-0224";
  constexpr int kExtensionDepth = 4;
  if (!reading.walk.next()) return kBad;  // to the list
  do {
    if (!reading.walk.next()) return kBad;
  } while (reading.element().depth >= kExtensionDepth);
  while (reading.element().depth > 1) {
    if (!reading.walk.nextSibling()) return kBad;
  }
  if (reading.element().depth != 1 || reading.element().index != 1 || !reading.nextIs(2, 0) ||
      reading.element().identifier != kOid) {
    return kBad;
  }
  const std::optional<std::string> text = oidText(reading.content(reading.element()));
  if (text && text->size() <= kLongestOid) reading.found.algorithm = *text;
  do {
    if (!reading.walk.nextSibling() || reading.element().depth < 1) return kBad;
  } while (reading.element().depth != 1 || reading.element().index != 2);
  if (reading.element().identifier != kBitString || reading.element().size == 0) return kBad;
  reading.found.signature = reading.content(reading.element()).substr(1);
  return kGood;
}

// YYMMDDhhmmssZ or YYYYMMDDhhmmssZ, without the Z and with the century.
bool completeTime(std::string& time) {
  if ((time.size() != 13 && time.size() != 15) || time.back() != 'Z') return false;
  time.pop_back();
  if (time.size() == 12) time.insert(0, time[0] >= '5' ? "19" : "20");
  return true;
}

Cause checkSummary(Certificate& found) {
  if (found.authorityKeyId.size() > kLongestKeyId || found.subjectKeyId.size() > kLongestKeyId) {
    return "WZ-0231";
  }
  return completeTime(found.validFrom) && completeTime(found.validTo) ? kGood : "WZ-0232";
}

}  // namespace

Cause readCertificate(std::string_view file, Certificate& certificate) {
  const std::optional<Element> whole = elementAt(file, 0);
  if (!whole) return "WZ-0225";
  // It ends with its outermost element, whatever stands behind.
  const std::string_view der = whole->isIndefinite ? file : whole->whole(file);
  Reading reading{der, certificate, ElementWalk(der)};
  const Elements outer = childrenOf(der, *whole);
  if (outer.empty() || outer[0].isIndefinite) return "WZ-0225";
  certificate.toBeSigned = outer[0].whole(der);
  reading.signedPart = outer[0].start;
  for (const auto step :
       {readVersion, readSerialNumber, readValidity, readKey, readExtensions, readKeyIds}) {
    if (const Cause cause = step(reading)) return cause;
  }
  if (const Cause cause = readOuterSignature(reading)) return cause;
  return checkSummary(certificate);
}

Cause checkIssuer(const Certificate& certificate, const Certificate& issuer) {
  constexpr std::pair<std::string_view, Digest> kAlgorithms[] = {
      {"1.2.840.113549.1.1.5", Digest::kSha1},
      {"1.3.14.3.2.29", Digest::kSha1},
      {"1.2.840.113549.1.1.11", Digest::kSha256},
  };
  for (const auto& [oid, digest] : kAlgorithms) {
    if (certificate.algorithm != oid) continue;
    return checkSignature(issuer.key, digest, certificate.toBeSigned, certificate.signature);
  }
  return "WZ-0240";
}

}  // namespace verifier
