// The same installation run as an able engineer would write it with OpenSSL, minizip and RapidJSON:
// every step of the work, good plain code, and none of the defence against whoever may write to
// the source directory meanwhile.

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <string>
#include <vector>

#include "bench/install/measured_program.h"
#include "bench/install/peer_manifests.h"
#include "bench/install/peer_signature.h"
#include "bench/install/peer_trust_store.h"
#include "bench/install/zip_reader.h"
#include "installer/directories.h"

namespace {

namespace fs = std::filesystem;
using bench::ZipReader;
namespace peer = bench::peer;

constexpr std::size_t kBlockSize = 65536;
constexpr int kOk = 0;
constexpr int kNoPackage = 1;
constexpr int kError = 2;

std::string upper(std::string text) {
  std::ranges::transform(text, text.begin(),
                         [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
  return text;
}

bool leadsElsewhere(const std::string& name) {
  return name.starts_with('/') || ("/" + name).find("/../") != std::string::npos;
}

// A package file on its way.
class Package {
 public:
  Package(const std::string& path, peer::TrustStore& store)
      : archive_(path, kBlockSize), store_(store) {}

  // False when an inner package was refused.
  bool install();

 private:
  bool installInner(const ZipReader::Entry& entry);
  bool isSigned(const ZipReader::Entry& entry, bool isManifestPackage);
  void extract(const char* root, bool isReplaced);

  ZipReader archive_;
  peer::TrustStore& store_;
};

bool Package::install() {
  store_.rebuild();
  for (const ZipReader::Entry& entry : archive_.entries()) {
    if (upper(entry.name).ends_with(".CRT")) store_.add(entry.name, archive_.readWhole(entry));
  }
  bool areInstalled = true;
  for (const ZipReader::Entry& entry : archive_.entries()) {
    if (upper(entry.name).ends_with(".ZIP")) areInstalled = installInner(entry) && areInstalled;
  }
  return areInstalled;
}

bool Package::installInner(const ZipReader::Entry& entry) {
  const std::string name = upper(entry.name);
  const bool isManifestPackage = name.ends_with("-O.ZIP") || name.ends_with("-U.ZIP");
  std::printf("Found %s\n", entry.name.c_str());
  if (!isSigned(entry, isManifestPackage)) {
    std::puts("Error: Invalid signature");
    return false;
  }
  std::printf("Extracting %s\n", entry.name.c_str());
  archive_.writeTo(entry, wzapp::kTemporaryFile);
  extract(isManifestPackage ? wzapp::kManifestRoot : wzapp::kAppRoot, !isManifestPackage);
  fs::remove(wzapp::kTemporaryFile);
  return true;
}

bool Package::isSigned(const ZipReader::Entry& entry, bool isManifestPackage) {
  const std::string name = upper(entry.name);
  const std::string signatures[] = {name.substr(0, name.size() - 4) + ".P7S", name + ".P7S"};
  const auto found = std::ranges::find_if(archive_.entries(), [&](const ZipReader::Entry& other) {
    const std::string otherName = upper(other.name);
    return otherName == signatures[0] || otherName == signatures[1];
  });
  if (found == archive_.entries().end()) return false;
  const std::string file = archive_.readWhole(*found);
  peer::SignatureFile signature;
  if (!peer::parseSignatureFile(file, signature)) return false;
  const peer::Trusted* const signer = store_.find(signature.signerKeyId);
  const int kind = isManifestPackage ? peer::kManifest : peer::kApplication;
  if (signer == nullptr || signer->kind != kind) return false;
  std::printf("Checking %s\n", entry.name.c_str());
  return peer::isSignedBy(X509_get0_pubkey(signer->certificate.get()), signature,
                          peer::digestEntry(archive_, entry));
}

void Package::extract(const char* root, bool isReplaced) {
  ZipReader content(wzapp::kTemporaryFile, kBlockSize);
  if (isReplaced) {
    std::string last;
    for (const ZipReader::Entry& entry : content.entries()) {
      const std::size_t slash = entry.name.find('/');
      std::string top = slash == std::string::npos ? last : entry.name.substr(0, slash);
      if (top == last) continue;
      last = std::move(top);
      fs::remove_all(fs::path(root) / last);
    }
  }
  bench::TreeWriter tree(root);
  for (const ZipReader::Entry& entry : content.entries()) {
    if (bench::isDirectoryName(entry.name) || leadsElsewhere(entry.name)) continue;
    const std::string path = tree.write(content, entry);
    if (upper(entry.name).ends_with(".MFT")) {
      std::printf("Installed %s\n", peer::applicationId(path).c_str());
    }
  }
}

bool synchronize() {
  const int root = open(wzapp::kConfigRoot, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  const bool isDone = root >= 0 && syncfs(root) == 0;
  if (root >= 0) close(root);
  return isDone;
}

std::vector<fs::path> packageFiles() {
  std::vector<fs::path> files;
  for (const fs::directory_entry& entry : fs::directory_iterator(wzapp::kSourceDir)) {
    if (upper(entry.path().extension()) == ".ZIP") files.push_back(entry.path());
  }
  return files;
}

bool installFile(const fs::path& file, peer::TrustStore& store) try {
  std::printf("Install %s\n", file.c_str());
  return Package(file, store).install();
} catch (const std::exception& problem) {
  std::printf("Error: %s\n", problem.what());
  return false;
}

int install() {
  fs::create_directories(wzapp::kAppRoot);
  fs::create_directories(wzapp::kManifestRoot);
  const std::vector<fs::path> files = packageFiles();
  peer::TrustStore store;
  bool isGood = true;
  for (const fs::path& file : files) isGood = installFile(file, store) && isGood;
  const std::string sponsor = peer::terminalSponsor();
  isGood = peer::applySponsorRules(sponsor) && isGood;
  isGood = peer::checkDependencies() && isGood;
  if (synchronize()) {
    for (const fs::path& file : files) fs::remove(file);
  }
  peer::listApplications(sponsor);
  if (!isGood) return kError;
  return files.empty() ? kNoPackage : kOk;
}

}  // namespace

int main(int argc, char** argv) { return bench::runMeasured(argc, argv, install); }
