// Certificates: each field changed, and replaced by those of others.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "crypto/certificate/certificate_record.h"
#include "support/byte_view.h"
#include "support/text.h"
#include "wz/tamper/lab.h"

namespace wz {
namespace {

using wzapp::ByteView;

std::string warning(const BaseInner& inner, const std::string& why) {
  return "Warning: Failed adding certificate '" + inner.certificate + "': " + why;
}

std::string unreadable(const BaseInner& inner, int number) {
  return "Warning: Failed reading certificate '" + inner.certificate + "': Error " +
         std::to_string(number);
}

std::string unknown(const BaseInner& inner) {
  return "Error: Signature '" + inner.signature + "' using unknown certificate";
}

Expected refusedFor(const Lab& lab, const BaseInner& inner, const std::string& line) {
  return lab.refused(inner, {line, unknown(inner)});
}

// A certificate in parts that can be changed where they stand.
class Fields {
 public:
  explicit Fields(std::string der) : der_(std::move(der)) {
    isRead_ = wzapp::parseCertificate(wzapp::viewOf(der_), record_) == 0;
  }

  [[nodiscard]] bool isRead() const { return isRead_; }
  [[nodiscard]] const wzapp::CertificateRecord& record() const { return record_; }
  [[nodiscard]] const std::string& der() const { return der_; }

  [[nodiscard]] std::string flipped(ByteView field, std::size_t index) const {
    std::string changed = der_;
    changed[offsetOf(field) + index] ^= 1;
    return changed;
  }
  [[nodiscard]] std::string withText(ByteView field, std::size_t index,
                                     std::string_view text) const {
    std::string changed = der_;
    changed.replace(offsetOf(field) + index, text.size(), text);
    return changed;
  }

 private:
  [[nodiscard]] std::size_t offsetOf(ByteView field) const {
    return static_cast<std::size_t>(field.data() -
                                    reinterpret_cast<const std::uint8_t*>(der_.data()));
  }

  std::string der_;
  wzapp::CertificateRecord record_;
  bool isRead_ = false;
};

// What the authority has signed is another text, or the signature another one.
void flipFields(Lab& lab, const BaseInner& inner, const Fields& fields) {
  const wzapp::CertificateRecord& record = fields.record();
  struct Field {
    const char* name;
    ByteView view;
  };
  const Field signedFields[] = {{"serial number", record.serialNumber},
                                {"modulus", record.modulus},
                                {"subject key identifier", record.subjectKeyId},
                                {"signature", record.signature}};
  for (const Field& field : signedFields) {
    const std::size_t last = field.view.size() - 1;
    for (const std::size_t index : {last / 2, last}) {
      lab.add("certificate",
              inner.certificate + ": octet " + std::to_string(index) + " of the " + field.name,
              lab.with(inner.certificate, fields.flipped(field.view, index)),
              refusedFor(lab, inner, warning(inner, "Validation failed")));
    }
  }
  lab.add("certificate", inner.certificate + ": another last year",
          lab.with(inner.certificate, fields.withText(record.notAfter, 1, "9")),
          refusedFor(lab, inner, warning(inner, "Validation failed")));
  lab.add("certificate", inner.certificate + ": the issuer's key identifier",
          lab.with(inner.certificate, fields.flipped(record.authorityKeyId, 0)),
          refusedFor(lab, inner, warning(inner, "CA not found")));
  lab.add(
      "certificate", inner.certificate + ": signed with an algorithm that nobody verifies",
      lab.with(inner.certificate, fields.withText(record.signatureAlgorithm,
                                                  record.signatureAlgorithm.size() - 1, "\x0C")),
      refusedFor(lab, inner, warning(inner, "Validation failed")));
  lab.add("certificate", inner.certificate + ": a last date that is none",
          lab.with(inner.certificate,
                   fields.withText(record.notAfter, record.notAfter.size() - 1, "+")),
          refusedFor(lab, inner, unreadable(inner, -6)));
}

void changeForm(Lab& lab, const BaseInner& inner, const Fields& fields) {
  const std::string& der = fields.der();
  const std::size_t version = der.find("\xA0\x03\x02\x01\x02");
  if (version != std::string::npos) {
    std::string changed = der;
    changed[version + 4] = 1;
    lab.add("form", inner.certificate + " of version 2", lab.with(inner.certificate, changed),
            refusedFor(lab, inner, unreadable(inner, -3)));
  }
  for (const std::size_t size : {std::size_t{1}, der.size() / 4, der.size() / 2, der.size() - 1}) {
    lab.add("form", inner.certificate + ", cut off behind octet " + std::to_string(size),
            lab.with(inner.certificate, der.substr(0, size)),
            refusedFor(lab, inner, unreadable(inner, -3)));
  }
  lab.add("form", inner.certificate + " with octets behind its end",
          lab.with(inner.certificate, der + "more"), installed());
  for (const char* const text : {"-----BEGIN CERTIFICATE-----\nMIIB\n", "none at all"}) {
    lab.add("form", inner.certificate + " is a text: " + std::string(text).substr(0, 11),
            lab.with(inner.certificate, text), refusedFor(lab, inner, unreadable(inner, -3)));
  }
  lab.add(
      "form", inner.certificate + " with more octets than a terminal reads of one",
      lab.with(inner.certificate, der + std::string(70000, '\0')),
      lab.refused(inner, {"Error: Failed to extract '" + inner.certificate + "'", unknown(inner)}));
}

// Both dates in the certificate by others of the same form: before all else a terminal asks whether
// it is now behind the last and before the first.
void contradictDates(Lab& lab, const BaseInner& inner, const Fields& fields) {
  const auto withDate = [](const Fields& from, ByteView field, const char* year) {
    const bool isLong = field.size() == 15;  // YYYYMMDDhhmmssZ
    return from.withText(field, 0, isLong ? year : year + 2);
  };
  const Fields first(withDate(fields, fields.record().notBefore, "2049"));
  if (!first.isRead()) return;
  const Fields both(withDate(first, first.record().notAfter, "2001"));
  lab.add("certificate", inner.certificate + " from 2049 to 2001",
          lab.with(inner.certificate, both.der()),
          refusedFor(lab, inner, warning(inner, "Expired")));
}

// ---- Replaced ----------------------------------------------------------------------------------

const LabAuthority* authorityOf(const LabKeys& keys, int kind) {
  const auto found =
      std::find_if(keys.authorities.begin(), keys.authorities.end(),
                   [kind](const LabAuthority& authority) { return authority.kind == kind; });
  return found == keys.authorities.end() ? nullptr : &*found;
}

struct Issued {
  const char* what;
  LabCertificate order;
  const char* warning;  // null: accepted
  int kind;             // what it may sign: 3 or 4
};

void replaceByIssued(Lab& lab, const LabAuthority& authority) {
  const Issued kIssued[] = {
      {"without permissions", {{}}, "Invalid file type", 0},
      {"with the permission S12 alone", {{"S12"}}, "Invalid file type", 0},
      {"with the permission s14, in lower case", {{"s14"}}, "Invalid file type", 0},
      {"with the permissions S14 and S11, in this order", {{"S14", "S11"}}, nullptr, 4},
      {"with the permissions S11 and S14, in this order", {{"S11", "S14"}}, nullptr, 3},
      {"with the permissions S14 and S99", {{"S14", "S99"}}, nullptr, 3},
      {"that has run out", {{"S14"}, "20100101000000Z", "20110101000000Z"}, nullptr, 3},
      {"that is not valid yet", {{"S14"}, "20480101000000Z", "20490101000000Z"}, nullptr, 3},
      {"that ends before it begins, both in the past",
       {{"S14"}, "20120101000000Z", "20110101000000Z"},
       nullptr,
       3},
      {"that ends before it begins, now in between",
       {{"S14"}, "20490101000000Z", "20110101000000Z"},
       "Expired",
       0},
  };
  const BaseInner& inner = lab.base().application;
  const std::string& archive = lab.base().contentOf(inner.archive);
  const auto key = std::make_shared<const devkeys::RsaKey>();
  for (const Issued& issued : kIssued) {
    const ZipItems items = lab.resigned(inner, archive, authority.issue(issued.order, key));
    const std::string what = std::string("the application's signer by one ") + issued.what;
    if (issued.warning != nullptr) {
      lab.add("replace", what, items, refusedFor(lab, inner, warning(inner, issued.warning)));
    } else if (issued.kind == 3) {
      lab.add("replace", what, items, installed());
    } else {
      lab.add("replace", what, items,
              lab.refused(inner, {"Error: File '" + wzapp::toUpper(inner.archive) +
                                  "' not signed using application certificate"}));
    }
  }
  LabAuthority liar = authority;
  liar.key = std::make_shared<const devkeys::RsaKey>();
  lab.add("replace", "the application's signer by one that only names its authority",
          lab.resigned(inner, archive, liar.issue({{"S14"}}, key)),
          refusedFor(lab, inner, warning(inner, "Validation failed")));
  LabAuthority stranger = liar;
  stranger.facts.keyIdentifier.assign(20, 'x');
  lab.add("replace", "the application's signer by one of another authority",
          lab.resigned(inner, archive, stranger.issue({{"S14"}}, key)),
          refusedFor(lab, inner, warning(inner, "CA not found")));
  stranger.facts.keyIdentifier.assign(32, 'x');
  lab.add("replace", "the application's signer by one with a key identifier of 32 octets",
          lab.resigned(inner, archive, stranger.issue({{"S14"}}, key)),
          refusedFor(lab, inner, unreadable(inner, -5)));
}

// Below authorities for one purpose permissions do not count.
void replaceByPurpose(Lab& lab) {
  const BaseInner& inner = lab.base().application;
  const std::string& archive = lab.base().contentOf(inner.archive);
  const auto key = std::make_shared<const devkeys::RsaKey>();
  if (const LabAuthority* const applications = authorityOf(lab.keys(), 3)) {
    lab.add("replace",
            "the application's signer by one below an authority for applications, with S11",
            lab.resigned(inner, archive, applications->issue({{"S11"}}, key)), installed());
  } else {
    lab.leaveOut("replace", "no private key of an authority for applications is there");
  }
  if (const LabAuthority* const manifests = authorityOf(lab.keys(), 4)) {
    lab.add("replace", "the application's signer by one below an authority for manifests, with S14",
            lab.resigned(inner, archive, manifests->issue({{"S14"}}, key)),
            lab.refused(inner, {"Error: File '" + wzapp::toUpper(inner.archive) +
                                "' not signed using application certificate"}));
  } else {
    lab.leaveOut("replace", "no private key of an authority for manifests is there");
  }
}

}  // namespace

void addCertificateVariants(Lab& lab) {
  for (const BaseInner* const inner : {&lab.base().application, &lab.base().marketplace}) {
    const Fields fields(lab.base().contentOf(inner->certificate));
    if (!fields.isRead()) continue;
    flipFields(lab, *inner, fields);
    changeForm(lab, *inner, fields);
    contradictDates(lab, *inner, fields);
  }
  if (const LabAuthority* const signers = authorityOf(lab.keys(), 2)) {
    replaceByIssued(lab, *signers);
  } else {
    lab.leaveOut("replace", "no private key of an authority for signers is there");
  }
  replaceByPurpose(lab);
}

}  // namespace wz
