#include "wz/reports/inner_examination.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <string>

#include "crypto/rsa/rsa.h"
#include "crypto/signature/package_signature.h"
#include "crypto/signature/signature_file.h"
#include "crypto/store/certificate_store.h"
#include "installer/application_manifest.h"
#include "installer/unverified_work.h"
#include "support/file_system.h"
#include "support/text.h"
#include "wz/reports/archive_cause.h"
#include "wz/reports/packaged_manifest.h"
#include "wz/reports/screen.h"
#include "wz/reports/unnamed_file.h"
#include "wz/words/explain.h"

namespace wz {
namespace {

using wzapp::Authority;
using wzapp::ByteView;
using wzapp::UnZIP;

// One inner package on its way through the checks; a check that fails ends them.
class InnerExamination {
 public:
  InnerExamination(UnZIP& archive, UnZIP::Entry entry, EntrySizes sizes, const Trust& trust,
                   const PackageReport& report, Diagnostics& diagnostics)
      : archive_(archive),
        entry_(entry),
        sizes_(sizes),
        trust_(trust),
        report_(report),
        diagnostics_(diagnostics) {}

  InnerReport run() {
    inner_.entry = entry_->first;
    inner_.kind = kindOf(wzapp::toUpper(inner_.entry));
    // Also what is not accepted can be looked into.
    const bool isUnpacked = unpack();
    if (findSignature() && readSignature() && findSigner() && checkSignerKind() &&
        checkUnpacked(isUnpacked) && checkDigest() && checkSignature() && checkContent()) {
      (void)checkManifest();
    }
    return std::move(inner_);
  }

 private:
  static InnerKind kindOf(const std::string& upperName) {
    constexpr std::size_t kLongerThan = 5;
    if (upperName.size() > kLongerThan && upperName.ends_with("-O.ZIP")) {
      return InnerKind::kMarketplace;
    }
    if (upperName.size() > kLongerThan && upperName.ends_with("-U.ZIP"))
      return InnerKind::kUninstall;
    return InnerKind::kApplication;
  }

  bool pass(const char* name, std::string detail) {
    inner_.checks.push_back({name, true, std::move(detail)});
    return true;
  }

  // `message` is the verdict, a sentence about this archive.
  bool fail(const char* name, const char* code, const std::string& message, std::string detail) {
    diagnostics_.push_back({code, message, report_.file, inner_.entry, 0, 0, detail});
    inner_.checks.push_back({name, false, std::move(detail)});
    return false;
  }

  bool unpack() {
    if (file_.get() < 0) return false;
    bool isWritten = true;
    Progress progress("verifying " + inner_.entry);
    const bool isRead = archive_.digestEntry(entry_, sha1_, sha256_, [&](ByteView block) {
      size_ += block.size();
      progress.step();
      isWritten = isWritten && wzapp::writeWhole(file_.get(), block);
      return true;
    });
    if (!isRead || !isWritten) return false;
    UnZIP content(file_.get());
    listContent(content);
    return true;
  }

  [[nodiscard]] std::string sizeText() const { return std::to_string(size_) + " octets"; }

  void listContent(UnZIP& content) {
    Progress progress("reading " + inner_.entry, content.index().size());
    for (auto entry = content.index().begin(); entry != content.index().end(); ++entry) {
      progress.step();
      inner_.entries.push_back(describeEntry(content, entry, sizes_));
      if (wzapp::toUpper(entry->first).ends_with(".MFT")) readManifest(content, entry);
    }
  }

  // The id of the last manifest is the one that the terminal takes for the package.
  void readManifest(UnZIP& content, UnZIP::Entry entry) {
    const UnnamedFile file;
    if (file.get() < 0 || !content.extractToFile(entry, file.path())) return;
    inner_.manifests.push_back(readPackagedManifest(file.path(), std::string(entry->first)));
    inner_.id = inner_.manifests.back().id;
  }

  bool findSignature() {
    const std::string upperName = wzapp::toUpper(inner_.entry);
    const std::string first = upperName.substr(0, upperName.size() - 4) + ".P7S";
    const std::string second = upperName + ".P7S";
    for (auto entry = archive_.index().begin(); entry != archive_.index().end(); ++entry) {
      const std::string name = wzapp::toUpper(entry->first);
      if (name != first && name != second) continue;
      signatureEntry_ = entry;
      inner_.signatureEntry = entry->first;
      return pass("signature found", inner_.signatureEntry);
    }
    return fail("signature found", "WZ-0301", inner_.entry + " has no signature",
                "there is neither " + first + " nor " + second);
  }

  bool readSignature() {
    if (!archive_.readEntry(signatureEntry_, signature_, wzapp::kMaxCredentialSize) ||
        signature_.empty()) {
      return fail("signature file read", "WZ-0102",
                  "the signature of " + inner_.entry + " cannot be unpacked",
                  "it is empty, or cannot be unpacked");
    }
    if (const int number = wzapp::parseSignatureFile(signature_, info_); number != 0) {
      const Code* const row = findCode(Layer::kSignatureFile, number);
      const Code& code = row == nullptr ? codeOf("WZ-0331") : *row;
      return fail("signature file read", code.id,
                  "the signature of " + inner_.entry + " is none: " + lowerFirst(code.title),
                  std::string(code.title) + " (" + std::to_string(number) + ")");
    }
    return pass("signature file read", std::to_string(signature_.size()) + " octets");
  }

  bool findSigner() {
    char keyId[wzapp::kSignerKeyIdText];
    if (wzapp::readSignerKeyId(signature_, keyId) != 0) {
      return fail("signer known", "WZ-0332",
                  "the signature of " + inner_.entry + " names its signer in too many octets",
                  "the key identifier has more than 49 octets");
    }
    keyId_ = keyId;
    inner_.signerKeyId = keyId_;
    for (const PackageCertificate& certificate : report_.certificates) {
      if (certificate.facts.subjectKeyId == keyId_ && certificate.kind == 0) signerRefused_ = true;
    }
    // From the end: of two with one key identifier the later one counts.
    for (auto row = trust_.rows.rbegin(); row != trust_.rows.rend(); ++row) {
      CertificateFacts facts;
      std::string refusal;
      if (!readFacts(row->der, currentTime(), facts, refusal) || facts.subjectKeyId != keyId_) {
        continue;
      }
      signer_ = *row;
      return pass("signer known", facts.subject + " (" + keyId_ + ")");
    }
    if (signerRefused_) {
      return fail("signer known", "WZ-0313",
                  "the certificate of the signer of " + inner_.entry + " is refused",
                  "the certificate " + keyId_ + " is in the package, but is refused");
    }
    return fail("signer known", "WZ-0312",
                "the certificate of the signer of " + inner_.entry + " is not in the package",
                "no certificate in the package has the key identifier " + keyId_);
  }

  bool checkSignerKind() {
    const bool isApplication = inner_.kind == InnerKind::kApplication;
    const int needed = isApplication ? wzapp::kApplicationCertificate : wzapp::kManifestCertificate;
    const std::string detail = "kind " + std::to_string(signer_.kind) + ", needed is " +
                               std::to_string(needed) + ": " + kindText(needed);
    if (signer_.kind == needed) return pass("signer may sign this", detail);
    return fail("signer may sign this", isApplication ? "WZ-0304" : "WZ-0303",
                "the signer of " + inner_.entry + " may not sign " +
                    (isApplication ? "applications" : "manifest packages"),
                detail);
  }

  bool checkUnpacked(bool isUnpacked) {
    if (isUnpacked) return pass("archive unpacked", sizeText());
    return fail("archive unpacked", "WZ-0102", inner_.entry + " cannot be unpacked",
                "it is damaged, comes to 4 GiB, or there is no room for it");
  }

  // Enough of a digest to tell it from another.
  static std::string shortHex(ByteView digest) {
    constexpr std::size_t kShown = 4;
    return hexText(digest.first(std::min(kShown, digest.size()))) + "...";
  }

  bool checkDigest() {
    const bool isSha1 = info_.messageDigest.size() == wzapp::kSha1Size;
    const ByteView computed = isSha1 ? ByteView(sha1_) : ByteView(sha256_);
    const std::string name = isSha1 ? "SHA-1" : "SHA-256";
    if (std::ranges::equal(info_.messageDigest, computed)) {
      return pass("digest of the archive", name);
    }
    return fail("digest of the archive", "WZ-0310",
                inner_.entry + " is not the archive that was signed",
                name + " differs: the archive has " + shortHex(computed) + ", what is signed is " +
                    shortHex(info_.messageDigest));
  }

  bool checkSignature() {
    const int result = wzapp::verifyPackage(signature_, sha1_, sha256_, signer_.der);
    if (result == wzapp::kSignatureValid) {
      return pass("RSA signature", "verified with the signer's key");
    }
    const Code* const code = findCode(Layer::kRsa, result);
    return fail("RSA signature", code == nullptr ? "WZ-0311" : code->id,
                "the signature of " + inner_.entry + " is not of its signer's key",
                code == nullptr ? "the key of the certificate " + inner_.signerKeyId +
                                      " opens it to something else than the signed digest"
                                : std::string(code->title));
  }

  bool checkContent() {
    if (inner_.entries.empty()) {
      const ArchiveCause cause = whyNoArchive(file_.path());
      return fail("archive readable", cause.code.c_str(),
                  "the content of " + inner_.entry +
                      " cannot be read: " + lowerFirst(codeOf(cause.code).title),
                  cause.evidence);
    }
    return pass("archive readable", std::to_string(inner_.entries.size()) +
                                        (inner_.entries.size() == 1 ? " entry" : " entries"));
  }

  // What lies elsewhere is unpacked all the same, but the rules that follow take it away again.
  bool checkManifest() {
    const auto isIt = [this](const PackageEntry& entry) { return isItsManifest(entry.name); };
    const auto found = std::ranges::find_if(inner_.entries, isIt);
    if (!inner_.id.empty() && found != inner_.entries.end()) {
      return pass("manifest in its place", found->name + " names " + inner_.id);
    }
    const std::string id = inner_.id.empty() ? "ID" : inner_.id;
    return fail(
        "manifest in its place", "WZ-0105",
        "the manifest of " + inner_.entry + " is not in its place",
        (inner_.id.empty() ? "no manifest names an application; there must be " : "there is no ") +
            (inner_.kind == InnerKind::kApplication ? id + ".MFT" : id + "/" + fileName()));
  }

  [[nodiscard]] const char* fileName() const {
    return inner_.kind == InnerKind::kMarketplace ? wzapp::kMarketplaceManifest
                                                  : wzapp::kUninstallManifest;
  }

  [[nodiscard]] bool isItsManifest(const std::string& name) const {
    const std::string upperId = wzapp::toUpper(inner_.id);
    if (inner_.kind == InnerKind::kApplication) return wzapp::toUpper(name) == upperId + ".MFT";
    const std::size_t slash = std::min(name.find('/'), name.size());
    return wzapp::toUpper(name.substr(0, slash)) == upperId &&
           name.substr(slash) == std::string("/") + fileName();
  }

  UnZIP& archive_;
  UnZIP::Entry entry_;
  EntrySizes sizes_;
  const Trust& trust_;
  const PackageReport& report_;
  Diagnostics& diagnostics_;

  InnerReport inner_;
  UnnamedFile file_;
  std::uint64_t size_ = 0;
  std::array<std::uint8_t, wzapp::kSha1Size> sha1_{};
  std::array<std::uint8_t, wzapp::kSha256Size> sha256_{};
  UnZIP::Entry signatureEntry_;
  std::vector<std::uint8_t> signature_;
  wzapp::SignatureInfo info_;
  std::string keyId_;
  bool signerRefused_ = false;
  Authority signer_{};
};

}  // namespace

PackageEntry describeEntry(UnZIP& archive, UnZIP::Entry entry, EntrySizes sizes) {
  PackageEntry described{std::string(entry->first), 0, {}};
  if (sizes == EntrySizes::kLeftOut) return described;
  const bool isDigested = sizes == EntrySizes::kDigested;
  wzapp::Sha256Context context;
  wzapp::digestStart(&context);
  (void)archive.readBlocks(entry, [&](ByteView block) {
    described.size += block.size();
    if (isDigested) wzapp::digestAdd(&context, block);
    return true;
  });
  if (!isDigested) return described;
  std::array<std::uint8_t, wzapp::kSha256Size> digest{};
  wzapp::digestFinish(&context, digest.data());
  described.sha256 = hexText(digest);
  return described;
}

InnerReport examineInner(UnZIP& archive, UnZIP::Entry entry, EntrySizes sizes, const Trust& trust,
                         const PackageReport& report, Diagnostics& diagnostics) {
  return InnerExamination(archive, entry, sizes, trust, report, diagnostics).run();
}

}  // namespace wz
