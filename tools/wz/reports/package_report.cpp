#include "wz/reports/package_report.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "archive/unzip.h"
#include "crypto/certificate_store.h"
#include "crypto/hex.h"
#include "crypto/package_signature.h"
#include "crypto/rsa.h"
#include "crypto/signature_file.h"
#include "installer/application_manifest.h"
#include "installer/unverified_work.h"
#include "packaging/temporary_folders.h"
#include "support/file_system.h"
#include "support/text.h"
#include "wz/reports/identity_warnings.h"
#include "wz/reports/packaged_manifest.h"

namespace wz {
namespace {

using wzapp::Authority;
using wzapp::ByteView;
using wzapp::UnZIP;

// Entries whose names are shorter are not looked at.
constexpr std::size_t kShortestName = 5;

bool isLookedAt(const std::string& name) {
  return name.size() >= kShortestName && !name.ends_with('/');
}

// 0 where sizes are left out.
std::uint64_t sizeOf(UnZIP& archive, UnZIP::Entry entry, EntrySizes sizes) {
  std::uint64_t size = 0;
  if (sizes == EntrySizes::kLeftOut) return size;
  (void)archive.readBlocks(entry, [&size](ByteView block) {
    size += block.size();
    return true;
  });
  return size;
}

// ---- A file without a name ---------------------------------------------------------------------

class UnnamedFile {
 public:
  UnnamedFile() {
    std::error_code failure;
    const std::string folder = std::filesystem::temp_directory_path(failure).string();
    number_ = open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
    if (number_ >= 0) return;
    // A file system that cannot make one without a name.
    std::string path = folder + "/wz-XXXXXX";
    if (!packaging::makeTemporaryFolder(path)) return;
    number_ = open((path + "/file").c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    packaging::removeTemporaryFolder(path);
  }
  UnnamedFile(const UnnamedFile&) = delete;
  UnnamedFile& operator=(const UnnamedFile&) = delete;
  ~UnnamedFile() {
    if (number_ >= 0) close(number_);
  }

  [[nodiscard]] int get() const { return number_; }
  // By which those who only know paths can read it.
  [[nodiscard]] std::string path() const { return "/proc/self/fd/" + std::to_string(number_); }

 private:
  int number_ = -1;
};

// ---- Certificates ------------------------------------------------------------------------------

// The authorities, and the certificates of the package that have been accepted so far. The later of
// two with the same key identifier counts, as in the terminal's store.
struct Trust {
  std::vector<Authority> rows;
  std::size_t authorityCount = 0;
  std::vector<std::vector<std::uint8_t>> certificates;  // what the rows behind the first are of
};

PackageCertificate examineCertificate(const std::string& name, const std::vector<std::uint8_t>& der,
                                      const Trust& trust) {
  PackageCertificate certificate;
  certificate.entry = name;
  certificate.isRead = readFacts(der, currentTime(), certificate.facts, certificate.refusal);
  if (!certificate.isRead) return certificate;
  const Acceptance acceptance = judge(der, certificate.facts, trust.rows);
  certificate.kind = acceptance.kind;
  const bool isByOther = acceptance.rows.size() == 1 && acceptance.rows[0] > trust.authorityCount;
  certificate.acceptance = isByOther && certificate.kind != 0
                               ? "Accepted by another certificate of the package."
                               : acceptanceText(acceptance, certificate.facts);
  return certificate;
}

void examineCertificates(UnZIP& archive, Trust& trust, PackageReport& report) {
  for (auto entry = archive.index().begin(); entry != archive.index().end(); ++entry) {
    if (!isLookedAt(entry->first) || !wzapp::toUpper(entry->first).ends_with(".CRT")) continue;
    std::vector<std::uint8_t> der;
    if (!archive.readEntry(entry, der, wzapp::kMaxCredentialSize) || der.empty()) {
      report.certificates.push_back({entry->first, false, "it cannot be unpacked", {}, 0, {}});
      continue;
    }
    report.certificates.push_back(examineCertificate(entry->first, der, trust));
    const int kind = report.certificates.back().kind;
    if (kind == 0) continue;
    trust.certificates.push_back(std::move(der));
    trust.rows.push_back({kind, trust.certificates.back()});
  }
}

// ---- Signatures --------------------------------------------------------------------------------

struct SignatureWords {
  int code;
  const char* words;
};

constexpr SignatureWords kSignatureWords[] = {
    {wzapp::kNotSignedData, "it is no PKCS#7 signedData"},
    {wzapp::kBadSignatureVersion, "its version, or the signer's, is not 2"},
    {wzapp::kNoSignatureDigest,
     "it names neither SHA-1 nor SHA-256, or its digest is of another length"},
    {wzapp::kNoSignedContent, "it has no content of the type of packages"},
    {wzapp::kNoSignedAttributes, "it has no signed attributes in [2]"},
    {wzapp::kNoRsaSignature, "it has no RSA signature"},
    {wzapp::kBadContentType, "its contentType attribute is missing or of another type"},
    {wzapp::kNoSignerKeyId, "it does not name the key of its signer"},
};

std::string whyNoSignature(int code) {
  for (const SignatureWords& row : kSignatureWords) {
    if (row.code == code) return std::string(row.words) + " (" + std::to_string(code) + ")";
  }
  return "it does not parse (" + std::to_string(code) + ")";
}

// One inner package on its way through the checks; a check that fails ends them.
class InnerExamination {
 public:
  InnerExamination(UnZIP& archive, UnZIP::Entry entry, EntrySizes sizes, const Trust& trust,
                   const PackageReport& report)
      : archive_(archive), entry_(entry), sizes_(sizes), trust_(trust), report_(report) {}

  InnerPackage run() {
    inner_.entry = entry_->first;
    inner_.kind = kindOf(wzapp::toUpper(inner_.entry));
    // Also what is not accepted can be looked into.
    const bool isUnpacked = unpack();
    if (findSignature() && readSignature() && findSigner() && checkSignerKind() &&
        pass("archive unpacked", isUnpacked,
             isUnpacked ? sizeText()
                        : "it is damaged, comes to 4 GiB, or there is no room for it") &&
        checkDigest() && checkSignature() && checkContent()) {
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

  bool pass(const char* name, bool passed, std::string detail) {
    inner_.checks.push_back({name, passed, std::move(detail)});
    return passed;
  }

  bool unpack() {
    if (file_.get() < 0) return false;
    bool isWritten = true;
    const bool isRead = archive_.digestEntry(entry_, sha1_, sha256_, [&](ByteView block) {
      size_ += block.size();
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
    for (auto entry = content.index().begin(); entry != content.index().end(); ++entry) {
      inner_.entries.push_back({entry->first, sizeOf(content, entry, sizes_)});
      if (wzapp::toUpper(entry->first).ends_with(".MFT")) readManifest(content, entry);
    }
  }

  // The id of the last manifest is the one that the terminal takes for the package.
  void readManifest(UnZIP& content, UnZIP::Entry entry) {
    const UnnamedFile file;
    if (file.get() < 0 || !content.extractToFile(entry, file.path())) return;
    inner_.manifests.push_back(readPackagedManifest(file.path(), entry->first));
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
      return pass("signature found", true, entry->first);
    }
    return pass("signature found", false, "there is neither " + first + " nor " + second);
  }

  bool readSignature() {
    if (!archive_.readEntry(signatureEntry_, signature_, wzapp::kMaxCredentialSize) ||
        signature_.empty()) {
      return pass("signature file read", false, "it is empty, or cannot be unpacked");
    }
    if (const int code = wzapp::parseSignatureFile(signature_, info_); code != 0) {
      return pass("signature file read", false, whyNoSignature(code));
    }
    return pass("signature file read", true, std::to_string(signature_.size()) + " octets");
  }

  bool findSigner() {
    char keyId[wzapp::kSignerKeyIdText];
    if (wzapp::readSignerKeyId(signature_, keyId) != 0) {
      return pass("signer known", false, "the key identifier has more than 49 octets");
    }
    keyId_ = keyId;
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
      return pass("signer known", true, facts.subject + " (" + keyId_ + ")");
    }
    return pass("signer known", false,
                signerRefused_ ? "the certificate " + keyId_ + " is in the package, but is refused"
                               : "no certificate in the package has the key identifier " + keyId_);
  }

  bool checkSignerKind() {
    const int needed = inner_.kind == InnerKind::kApplication ? wzapp::kApplicationCertificate
                                                              : wzapp::kManifestCertificate;
    return pass("signer may sign this", signer_.kind == needed,
                "kind " + std::to_string(signer_.kind) + ", needed is " + std::to_string(needed) +
                    ": " + kindText(needed));
  }

  bool checkDigest() {
    const bool isSha1 = info_.messageDigest.size() == wzapp::kSha1Size;
    const ByteView computed = isSha1 ? ByteView(sha1_) : ByteView(sha256_);
    const bool isSame = std::ranges::equal(info_.messageDigest, computed);
    return pass("digest of the archive", isSame,
                std::string(isSha1 ? "SHA-1" : "SHA-256") +
                    (isSame ? "" : " differs: the archive is not the one that was signed"));
  }

  bool checkSignature() {
    const int result = wzapp::verifyPackage(signature_, sha1_, sha256_, signer_.der);
    const bool isValid = result == wzapp::kSignatureValid;
    return pass("RSA signature", isValid,
                isValid ? "verified with the signer's key"
                        : "it is not of the signer's key (" + std::to_string(result) + ")");
  }

  bool checkContent() {
    if (inner_.entries.empty()) {
      return pass("archive readable", false,
                  "it is no ZIP archive, has no entries, or has names of 256 octets or more");
    }
    return pass("archive readable", true,
                std::to_string(inner_.entries.size()) +
                    (inner_.entries.size() == 1 ? " entry" : " entries"));
  }

  // What lies elsewhere is unpacked all the same, but the rules that follow take it away again.
  bool checkManifest() {
    const auto isIt = [this](const PackageEntry& entry) { return isItsManifest(entry.name); };
    const auto found = std::ranges::find_if(inner_.entries, isIt);
    if (!inner_.id.empty() && found != inner_.entries.end()) {
      return pass("manifest in its place", true, found->name + " names " + inner_.id);
    }
    const std::string id = inner_.id.empty() ? "ID" : inner_.id;
    return pass(
        "manifest in its place", false,
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

  InnerPackage inner_;
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

void listEntries(UnZIP& archive, EntrySizes sizes, PackageReport& report) {
  for (auto entry = archive.index().begin(); entry != archive.index().end(); ++entry) {
    report.entries.push_back({entry->first, sizeOf(archive, entry, sizes)});
  }
}

std::string whyNoArchive(const std::string& file) {
  struct stat status {};
  if (stat(file.c_str(), &status) != 0) return std::strerror(errno);
  if (!S_ISREG(status.st_mode)) return "it is no file";
  if (access(file.c_str(), R_OK) != 0) return std::strerror(errno);
  return "it is no ZIP archive, has no entries, or has names of 256 octets or more";
}

}  // namespace

const char* innerKindText(InnerKind kind) {
  switch (kind) {
    case InnerKind::kApplication:
      return "application";
    case InnerKind::kMarketplace:
      return "marketplace manifest";
    case InnerKind::kUninstall:
      return "removal";
  }
  return "?";
}

bool PackageReport::isAccepted() const {
  return refusal.empty() && !inners.empty() &&
         std::ranges::all_of(inners, [](const InnerPackage& inner) { return inner.isAccepted(); });
}

bool isPackageName(const std::string& file) {
  constexpr std::string_view kEnding = ".ZIP";
  const std::string name = wzapp::toUpper(std::filesystem::path(file).filename().string());
  return name.size() > kEnding.size() && name.ends_with(kEnding);
}

PackageReport examinePackage(const std::string& file, std::span<const Authority> authorities,
                             EntrySizes sizes) {
  PackageReport report;
  report.file = file;
  UnZIP archive(file);
  if (archive.index().empty()) {
    report.refusal = whyNoArchive(file);
    return report;
  }
  listEntries(archive, sizes, report);
  Trust trust;
  trust.rows.assign(authorities.begin(), authorities.end());
  trust.authorityCount = authorities.size();
  examineCertificates(archive, trust, report);
  for (auto entry = archive.index().begin(); entry != archive.index().end(); ++entry) {
    if (!isLookedAt(entry->first) || !wzapp::toUpper(entry->first).ends_with(".ZIP")) continue;
    report.inners.push_back(InnerExamination(archive, entry, sizes, trust, report).run());
  }
  report.warnings = identityWarnings(report.inners);
  return report;
}

}  // namespace wz
