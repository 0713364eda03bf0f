#include "installer/inner_package.h"

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "crypto/digest/digest.h"
#include "crypto/rsa/rsa.h"
#include "crypto/signature/package_signature.h"
#include "crypto/store/certificate_store.h"
#include "installer/archive_opening.h"
#include "installer/directories.h"
#include "installer/messages.h"
#include "installer/package_content.h"
#include "installer/temporary_file.h"
#include "support/install_result.h"
#include "support/text.h"

namespace wzapp {
namespace {

constexpr std::size_t kEndingSize = 4;  // of ".ZIP"

constexpr const char* kNotManifestSigner =
    "Error: File '%s' not signed using manifest certificate\n";
constexpr const char* kNotApplicationSigner =
    "Error: File '%s' not signed using application certificate\n";

struct PackageKind {
  std::string_view ending;  // of the upper-cased name
  std::int32_t signerKind;  // CertificateKind
  const char* wrongSigner;  // format: upper-cased name
  ContentTarget target;
};

// The first row that fits decides.
constexpr PackageKind kPackageKinds[] = {
    {"-O.ZIP", kManifestCertificate, kNotManifestSigner, {kManifestRoot, false}},
    {"-U.ZIP", kManifestCertificate, kNotManifestSigner, {kManifestRoot, false}},
    {"", kApplicationCertificate, kNotApplicationSigner, {kAppRoot, true}},
};

const PackageKind& kindOf(const std::string& upperName) {
  const PackageKind* kind = kPackageKinds;
  while (!upperName.ends_with(kind->ending)) ++kind;
  return *kind;
}

struct Digests {
  std::array<std::uint8_t, kSha1Size> sha1;
  std::array<std::uint8_t, kSha256Size> sha256;
  bool operator==(const Digests& other) const = default;
};

// One package on its way. Every step reports its own failure and is then false.
class InnerPackage {
 public:
  InnerPackage(PackageFile& file, UnZIP::Entry entry)
      : file_(file),
        entry_(entry),
        name_(entry->first.data()),
        upperName_(toUpper(entry->first)),
        kind_(kindOf(upperName_)) {}

  [[nodiscard]] bool findSignature();
  [[nodiscard]] bool readSignature();
  [[nodiscard]] bool findSigner();
  [[nodiscard]] bool checkSignerKind() const;
  [[nodiscard]] bool digestWhileCopying(TemporaryFile& copy);
  [[nodiscard]] bool checkSignature();
  void copyIfGivenUp(TemporaryFile& copy);
  [[nodiscard]] std::string extract(const TemporaryFile& copy) const;

 private:
  [[nodiscard]] bool takeWork(std::uint64_t octets);

  PackageFile& file_;
  UnZIP::Entry entry_;
  const char* const name_;
  std::string upperName_;
  const PackageKind& kind_;
  UnZIP::Entry signatureEntry_;
  std::vector<std::uint8_t> signature_;
  std::shared_ptr<const Certificate> signer_;
  Digests digests_{};
  std::uint64_t workTaken_ = 0;  // of the package file's
};

// False where the package file has caused enough.
bool InnerPackage::takeWork(std::uint64_t octets) {
  if (!file_.work.take(octets)) return false;
  workTaken_ += octets;
  return true;
}

// Either name will do, and of two entries the one that comes first in the index.
bool InnerPackage::findSignature() {
  std::string name;
  name.reserve(upperName_.size() + kSignatureEnding.size());
  name.append(upperName_).append(kSignatureEnding);
  const std::optional<UnZIP::Entry> behind = file_.signatures.find(name);
  name.erase(upperName_.size() - kEndingSize, kEndingSize);
  const std::optional<UnZIP::Entry> instead = file_.signatures.find(name);
  if (!behind && !instead) {
    reportError("Error: Signature '%s' not found\n", name.c_str());
    return false;
  }
  const bool isBehind = !instead || (behind && (*behind)->first < (*instead)->first);
  signatureEntry_ = isBehind ? *behind : *instead;
  return true;
}

bool InnerPackage::readSignature() {
  if (takeWork(kMaxCredentialSize) &&
      file_.archive.readEntry(signatureEntry_, signature_, kMaxCredentialSize) &&
      !signature_.empty()) {
    return true;
  }
  reportError(kUnreadableEntry, signatureEntry_->first.data());
  return false;
}

// A signature that cannot be parsed names nobody.
bool InnerPackage::findSigner() {
  char keyId[kSignerKeyIdText];
  if (readSignerKeyId(signature_, keyId) == 0) signer_ = certificateStore().find(keyId);
  if (signer_) return true;
  reportError("Error: Signature '%s' using unknown certificate\n", signatureEntry_->first.data());
  return false;
}

bool InnerPackage::checkSignerKind() const {
  if (signer_->kind == kind_.signerKind) return true;
  reportError(kind_.wrongSigner, upperName_.c_str());
  return false;
}

bool InnerPackage::digestWhileCopying(TemporaryFile& copy) {
  copy.begin(TemporaryFile::Space::kAllButReserve);
  const auto take = [this, &copy](ByteView block) {
    copy.append(block);
    return takeWork(block.size());
  };
  if (file_.archive.digestEntry(entry_, digests_.sha1, digests_.sha256, take)) return true;
  reportError(kUnreadableEntry, name_);
  return false;
}

bool InnerPackage::checkSignature() {
  report(kCheckingLine, name_);
  if (verifyPackage(signature_, digests_.sha1, digests_.sha256, signer_->der) == kSignatureValid) {
    file_.work.giveBack(workTaken_);
    return true;
  }
  reportError("Error: Invalid signature\n");
  return false;
}

// A package that is verified may take all the space that there is. Its file may have been changed
// since then, so that the copy counts only if it has the same digests. Nothing is reported: without
// a copy there will be nothing to open.
void InnerPackage::copyIfGivenUp(TemporaryFile& copy) {
  if (copy.copy() >= 0) return;
  Digests digests{};
  copy.begin(TemporaryFile::Space::kAll);
  const auto take = [&copy](ByteView block) {
    copy.append(block);
    return true;
  };
  const bool isRead = file_.archive.digestEntry(entry_, digests.sha1, digests.sha256, take);
  if (!isRead || digests != digests_) copy.giveUp();
}

// Returns the id of the application.
std::string InnerPackage::extract(const TemporaryFile& copy) const {
  report("Extracting %s\n", name_);
  std::optional<UnZIP> content;
  openPatiently(content, [&] { content.emplace(copy.copy()); });
  if (content->index().empty()) {
    reportError(kUnreadableArchive, name_);
    return "";
  }
  return extractContent(*content, kind_.target);
}

}  // namespace

void installInnerPackage(PackageFile& file, UnZIP::Entry entry, AppIds& installed) {
  InnerPackage package(file, entry);
  report("Found %s\n", entry->first.data());
  if (!package.findSignature() || !package.readSignature()) return;
  if (!package.findSigner() || !package.checkSignerKind()) return;
  TemporaryFile copy;  // gone on every way out from here
  if (!package.digestWhileCopying(copy) || !package.checkSignature()) return;
  package.copyIfGivenUp(copy);
  installed.insert(package.extract(copy));
}

}  // namespace wzapp
