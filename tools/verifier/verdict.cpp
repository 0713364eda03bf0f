#include "verifier/verdict.h"

#include <optional>

#include "verifier/archive.h"
#include "verifier/certificate_store.h"
#include "verifier/installed_files.h"
#include "verifier/manifest.h"
#include "verifier/signature_file.h"
#include "verifier/stay_rules.h"

namespace verifier {
namespace {

constexpr std::size_t kShortestName = 5, kEnding = 4;
constexpr std::size_t kLargestProof = std::size_t{64} << 10;  // a certificate, a signature

struct PackageKind {
  int signer;
  const char* wrongSigner;
  const std::string& root;
};

PackageKind kindOf(const std::string& upperName) {
  const bool isManifest = upperName.size() > kShortestName &&
                          (upperName.ends_with("-O.ZIP") || upperName.ends_with("-U.ZIP"));
  if (isManifest) return {kManifests, "WZ-0303", kManifestRoot};
  return {kApplications, "WZ-0304", kApplicationRoot};
}

struct Judging {
  const Terminal& terminal;
  const Archive& package;
  CertificateStore store;
  InstalledFiles files;
  std::set<std::string> installed;  // ids; the empty one for an archive without one
  Verdict& verdict;
};

bool isConsidered(const std::string& name) {
  return name.size() >= kShortestName && !name.ends_with('/');
}

void addCertificates(Judging& judging) {
  for (const auto& [name, entry] : judging.package.entries()) {
    if (!isConsidered(name) || !upperCase(name).ends_with(".CRT")) continue;
    const auto der = judging.package.unpackWhole(entry, kLargestProof);
    if (!der || der->empty()) {
      report(judging.verdict, "WZ-0102", {name});
      continue;
    }
    const CertificateStore::Refusal refusal = judging.store.add(*der);
    if (refusal.code == kGood) continue;
    std::vector<std::string> names{name};
    if (refusal.code == std::string("WZ-0202")) {
      const std::string cause = refusal.cause;
      names.push_back(cause == "WZ-0231" ? "-5" : cause == "WZ-0232" ? "-6" : "-3");
    }
    report(judging.verdict, refusal.code, names);
    if (refusal.cause != kGood) judging.verdict.causes.insert({refusal.cause, {name}});
  }
}

// The first entry of the one name, or, where there is none, of the other.
std::optional<std::string> findSignature(const Judging& judging, const std::string& upperName) {
  const std::string stem = upperName.substr(0, upperName.size() - kEnding) + ".P7S";
  for (const auto& [name, entry] : judging.package.entries()) {
    const std::string upper = upperCase(name);
    if (upper == stem || upper == upperName + ".P7S") return name;
  }
  return std::nullopt;
}

// The octets of an archive whose signature is good.
std::optional<std::string> verifiedArchive(Judging& judging, const std::string& name) {
  Verdict& verdict = judging.verdict;
  const std::string upper = upperCase(name);
  const std::optional<std::string> signatureName = findSignature(judging, upper);
  if (!signatureName) {
    report(verdict, "WZ-0301", {upper.substr(0, upper.size() - kEnding) + ".P7S"});
    return std::nullopt;
  }
  const auto& entries = judging.package.entries();
  const auto signature = judging.package.unpackWhole(entries.at(*signatureName), kLargestProof);
  if (!signature || signature->empty()) {
    report(verdict, "WZ-0102", {*signatureName});
    return std::nullopt;
  }
  SignatureFile file;
  const Cause unreadable = readSignatureFile(*signature, file);
  const CertificateStore::Row* const signer =
      unreadable == kGood ? judging.store.find(file.signerKeyId) : nullptr;
  if (signer == nullptr) {
    report(verdict, "WZ-0302", {*signatureName});
    if (unreadable != kGood) verdict.causes.insert({unreadable, {*signatureName}});
    return std::nullopt;
  }
  const PackageKind kind = kindOf(upper);
  if (signer->kind != kind.signer) {
    report(verdict, kind.wrongSigner, {upper});
    return std::nullopt;
  }
  std::optional<std::string> archive = judging.package.unpack(entries.at(name));
  if (!archive) {
    report(verdict, "WZ-0102", {name});
    return std::nullopt;
  }
  if (const Cause cause = checkArchive(file, *archive, signer->certificate)) {
    report(verdict, "WZ-0305", {});
    verdict.causes.insert({cause, {name}});
    return std::nullopt;
  }
  return archive;
}

void removeOldVersions(Judging& judging, const Archive& archive) {
  std::set<std::string> folders;
  for (const auto& [name, entry] : archive.entries()) {
    if (name.find('/') != std::string::npos) folders.insert(name.substr(0, name.find('/')));
  }
  for (const std::string& folder : folders) {
    const std::string path = destinationOf(folder, kApplicationRoot);
    if (liesBelow(path, kApplicationRoot)) judging.files.remove(path);
  }
}

// The id that its last manifest names.
std::string unpackArchive(Judging& judging, const Archive& archive, const PackageKind& kind) {
  std::string id;
  for (const auto& [name, entry] : archive.entries()) {
    if (name.ends_with('/')) continue;
    const std::string path = destinationOf(name, kind.root);
    const std::optional<std::string> content = archive.unpack(entry);
    // The folders are made before the entry is looked at. What breaks off leaves what came before.
    if (!liesBelow(path, kind.root) || !judging.files.makeFolders(path) ||
        !archive.canOpen(entry) || !judging.files.write(path, content.value_or("")) || !content) {
      report(judging.verdict, "WZ-0103", {name, path});
      continue;
    }
    if (upperCase(path).ends_with(".MFT")) id = Manifest(*content).appId();
  }
  return id;
}

void installArchive(Judging& judging, const std::string& name) {
  const std::optional<std::string> octets = verifiedArchive(judging, name);
  if (!octets) return;
  judging.verdict.taken.insert(name);
  const Archive archive(*octets);
  std::string id;
  if (archive.cause() != kGood) {
    report(judging.verdict, "WZ-0101", {name});
    judging.verdict.causes.insert({archive.cause(), {name}});
  } else {
    const PackageKind kind = kindOf(upperCase(name));
    if (kind.signer == kApplications) removeOldVersions(judging, archive);
    id = unpackArchive(judging, archive, kind);
  }
  judging.installed.insert(id);
}

void judgeWhatStays(Judging& judging) {
  StayRun run{judging.terminal, judging.files, judging.verdict, {}};
  applyMarketplaceRules(run);
  checkDependencies(run);
  for (const std::string& id : judging.installed) {
    if (!run.removed.contains(id)) continue;
    report(judging.verdict, "WZ-0519", {id});
    break;
  }
  listApplications(run);
}

enum class Weight { kNone, kWarning, kError };

// What a message does to the result of the run; those of no family here do nothing.
Weight weightOf(const std::string& code) {
  static const std::set<std::string> errors = {"WZ-0101", "WZ-0102", "WZ-0103", "WZ-0301",
                                               "WZ-0302", "WZ-0303", "WZ-0304", "WZ-0305",
                                               "WZ-0501", "WZ-0502", "WZ-0503", "WZ-0519"};
  if (errors.contains(code)) return Weight::kError;
  const bool isWarning = code.starts_with("WZ-02") || code == "WZ-0504";
  return isWarning ? Weight::kWarning : Weight::kNone;
}

}  // namespace

void report(Verdict& verdict, const char* code, std::vector<std::string> names) {
  const Weight weight = weightOf(code);
  if (weight == Weight::kError) verdict.result = 2;
  if (weight == Weight::kWarning && verdict.result == 0) verdict.result = 3;
  verdict.findings.insert({code, std::move(names)});
}

Verdict judge(std::string_view package, const std::string& path, const Terminal& terminal) {
  Verdict verdict;
  const Archive archive(package);
  Judging judging{terminal, archive, CertificateStore(terminal), {}, {}, verdict};
  if (archive.cause() != kGood) {
    report(verdict, "WZ-0101", {path});
    verdict.causes.insert({archive.cause(), {path}});
  } else {
    addCertificates(judging);
    for (const auto& [name, entry] : archive.entries()) {
      if (isConsidered(name) && upperCase(name).ends_with(".ZIP")) installArchive(judging, name);
    }
  }
  judgeWhatStays(judging);
  return verdict;
}

}  // namespace verifier
