// Signature files: each field changed, and signatures by others.

#include <cstddef>
#include <string>
#include <string_view>

#include "crypto/signature/signature_file.h"
#include "support/byte_view.h"
#include "support/text.h"
#include "wz/tamper/lab.h"

namespace wz {
namespace {

using wzapp::ByteView;

std::string unknown(const BaseInner& inner) {
  return "Error: Signature '" + inner.signature + "' using unknown certificate";
}

// With a bit of one octet of a field changed.
std::string flipped(const std::string& octets, ByteView field, std::size_t index) {
  std::string changed = octets;
  const auto* const begin = reinterpret_cast<const std::uint8_t*>(octets.data());
  changed[static_cast<std::size_t>(field.data() - begin) + index] ^= 1;
  return changed;
}

void flipFields(Lab& lab, const BaseInner& inner) {
  const std::string& octets = lab.base().contentOf(inner.signature);
  wzapp::SignatureInfo info;
  if (wzapp::parseSignatureFile(wzapp::viewOf(octets), info) != 0) return;
  struct Field {
    const char* name;
    ByteView view;
    bool isNamingSigner;  // who the signer is depends on it
  };
  const Field fields[] = {{"digest of the archive", info.messageDigest, false},
                          {"signature itself", info.signature, false},
                          {"signer's key identifier", info.signerKeyId, true}};
  for (const Field& field : fields) {
    const std::size_t last = field.view.size() - 1;
    for (const std::size_t index : {std::size_t{0}, last / 2, last}) {
      lab.add(
          "signature",
          inner.signature + ": octet " + std::to_string(index) + " of the " + field.name,
          lab.with(inner.signature, flipped(octets, field.view, index)),
          lab.refused(inner, {field.isNamingSigner ? unknown(inner) : "Error: Invalid signature"}));
    }
  }
}

// A pattern of octets in the file by another one.
struct Change {
  const char* what;
  std::string_view from, to;
  bool isLast;  // where it stands several times
};

using namespace std::string_view_literals;

// The form is fixed: what has another one has no signer.
constexpr Change kChanges[] = {
    {"version 1, as others write it", "\x02\x01\x02"sv, "\x02\x01\x01"sv, false},
    {"version 3", "\x02\x01\x02"sv, "\x02\x01\x03"sv, false},
    {"version 1 of the signer", "\x02\x01\x02"sv, "\x02\x01\x01"sv, true},
    {"another type of content: data", "\x2A\x86\x48\x86\xF7\x0D\x01\x07\x02"sv,
     "\x2A\x86\x48\x86\xF7\x0D\x01\x07\x01"sv, false},
    {"the digest SHA-384", "\x60\x86\x48\x01\x65\x03\x04\x02\x01"sv,
     "\x60\x86\x48\x01\x65\x03\x04\x02\x02"sv, false},
    {"another digest of the signer", "\x60\x86\x48\x01\x65\x03\x04\x02\x01"sv,
     "\x60\x86\x48\x01\x65\x03\x04\x02\x02"sv, true},
    {"the signature algorithm RSA-PSS", "\x2A\x86\x48\x86\xF7\x0D\x01\x01\x01"sv,
     "\x2A\x86\x48\x86\xF7\x0D\x01\x01\x0A"sv, true},
    {"no attribute for the content's type", "\x2A\x86\x48\x86\xF7\x0D\x01\x09\x03"sv,
     "\x2A\x86\x48\x86\xF7\x0D\x01\x09\x05"sv, false},
    {"no attribute for the digest", "\x2A\x86\x48\x86\xF7\x0D\x01\x09\x04"sv,
     "\x2A\x86\x48\x86\xF7\x0D\x01\x09\x05"sv, false},
};

void changeForm(Lab& lab, const BaseInner& inner) {
  const std::string& octets = lab.base().contentOf(inner.signature);
  for (const Change& change : kChanges) {
    const std::size_t position =
        change.isLast ? octets.rfind(change.from) : octets.find(change.from);
    if (position == std::string::npos) continue;
    std::string changed = octets;
    changed.replace(position, change.from.size(), change.to);
    lab.add("form", inner.signature + ": " + change.what, lab.with(inner.signature, changed),
            lab.refused(inner, {unknown(inner)}));
  }
  for (const std::size_t size : {std::size_t{1}, octets.size() / 2, octets.size() - 1}) {
    lab.add("form", inner.signature + ", cut off behind octet " + std::to_string(size),
            lab.with(inner.signature, octets.substr(0, size)),
            lab.refused(inner, {unknown(inner)}));
  }
  lab.add("form", inner.signature + " with octets behind its end",
          lab.with(inner.signature, octets + "more"), installed());
  lab.add("form", inner.signature + " is a text",
          lab.with(inner.signature, "-----BEGIN PKCS7-----\n"),
          lab.refused(inner, {unknown(inner)}));
}

void signByOthers(Lab& lab) {
  const LabKeys& keys = lab.keys();
  if (!keys.application || !keys.manifest) {
    return lab.leaveOut("resign", "the private keys of the signers are not there");
  }
  const BasePackage& base = lab.base();
  const std::string& application = base.contentOf(base.application.archive);
  const std::string& marketplace = base.contentOf(base.marketplace.archive);
  lab.add("resign", "the application, by the signer of manifests",
          lab.with(base.application.signature, keys.manifest->sign(application)),
          onlyManifest({"Error: File '" + wzapp::toUpper(base.application.archive) +
                        "' not signed using application certificate"}));
  lab.add("resign", "the marketplace package, by the signer of applications",
          lab.with(base.marketplace.signature, keys.application->sign(marketplace)),
          onlyApplication(base.id, {"Error: File '" + wzapp::toUpper(base.marketplace.archive) +
                                    "' not signed using manifest certificate"}));
  const LabSigner stranger{keys.application->der, std::make_shared<const devkeys::RsaKey>()};
  lab.add("resign", "the application, by a key that is not the certificate's",
          lab.with(base.application.signature, stranger.sign(application)),
          onlyManifest({"Error: Invalid signature"}));
  lab.add("resign", "the application, with the signature of another archive",
          lab.with(base.application.signature, keys.application->sign(marketplace)),
          onlyManifest({"Error: Invalid signature"}));
  lab.add("resign", "the application, by a key identifier of 50 octets",
          lab.with(base.application.signature,
                   keys.application->signAs(application, std::string(50, 'k'))),
          onlyManifest({unknown(base.application)}));
  lab.add("resign", "the application, once more by its own signer",
          lab.resigned(base.application, application, *keys.application), installed());
}

}  // namespace

void addSignatureVariants(Lab& lab) {
  for (const BaseInner* const inner : {&lab.base().application, &lab.base().marketplace}) {
    flipFields(lab, *inner);
    changeForm(lab, *inner);
  }
  signByOthers(lab);
}

}  // namespace wz
