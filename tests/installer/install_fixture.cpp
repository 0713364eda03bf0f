#include "tests/installer/install_fixture.h"
#include "tests/builders/upper_case.h"

#include <cstdarg>
#include <random>

#include "tests/crypto/authority_fixtures.h"
#include "wzapp/wzapp.h"

namespace wzapp_test {
namespace {

constexpr const char* kRootsFolder = "roots";

const TestKey& signerKey() {
  static const TestKey key(2048);
  return key;
}

Signer makeSigner(const Octets& issuerId, std::uint8_t number, const TestKey& issuer,
                  const std::vector<std::string_view>& permissions = {}) {
  const Octets id(20, number);
  CertificateBuilder builder =
      issuedCertificate(issuerId, id, "10000" + std::to_string(number % 10));
  builder.rsaKey(signerKey().modulus(), signerKey().exponent());
  if (!permissions.empty()) builder.permissions(permissions);
  return {signedBy(issuer, builder), id, &signerKey()};
}

workstation::TerminalProfile profileWithRoots() {
  workstation::TerminalProfile profile = testProfile();
  profile.rootsDirectory = kRootsFolder;
  return profile;
}

}  // namespace

const Signer& applicationSigner() {
  static const Signer signer = makeSigner(authorityId(kApplicationRow), 0x71, authorityKey());
  return signer;
}

const Signer& manifestSigner() {
  static const Signer signer = makeSigner(authorityId(kManifestRow), 0x72, authorityKey());
  return signer;
}

const Signer& strangeSigner() {
  static const Signer signer = makeSigner(Octets(20, 0x73), 0x73, strangerKey());
  return signer;
}

Signer signerWithPermissions(const std::vector<std::string_view>& permissions) {
  return makeSigner(authorityId(kSignerRow), 0x74, authorityKey(), permissions);
}

std::string noise(std::size_t size) {
  std::mt19937 random(1);
  std::string octets;
  while (octets.size() < size) octets += static_cast<char>(random() & 0xFF);
  return octets;
}

ZipBuilder applicationArchive(const std::string& id) {
  return ZipBuilder()
      .directory(id)
      .file(id + "/index.html", "<p>" + id)
      .file(id + "/pages/second.html", "<h1>" + id)
      .file(id + ".MFT", manifestFor(id));
}

ZipBuilder manifestArchive(const std::string& id, const std::string& sponsor) {
  return ZipBuilder().file(id + "/mpmanifest.mft", manifestFor(id, sponsor));
}

PackageBuilder withSigners() {
  return PackageBuilder()
      .certificate("a.crt", applicationSigner())
      .certificate("m.crt", manifestSigner());
}

PackageBuilder applicationPackage(const std::string& id) {
  return withSigners()
      .inner(upper(id) + ".ZIP", applicationArchive(id))
      .signedBy(applicationSigner())
      .inner(upper(id) + "-O.ZIP", manifestArchive(id))
      .signedBy(manifestSigner());
}

Lines logOf(std::initializer_list<LogPart> parts) {
  Lines lines;
  for (const LogPart& part : parts) {
    lines.insert(lines.end(), part.lines.begin(), part.lines.end());
  }
  return lines;
}

Lines beginLines() { return {"Installing to " + kApps + "\n"}; }

Lines openLines(const std::string& name) {
  Lines lines = {"Install " + kSource + "/" + name + "\n", "Adding OS certificate SN=000001\n",
                 "Adding OS certificate SN=000002\n"};
  for (std::size_t row = 0; row < wzapp::kAuthorityCount; ++row) {
    lines.push_back("Adding certificate SN=20782" + std::to_string(row) + "\n");
  }
  return lines;
}

Lines signerLines() { return {"Adding certificate a.crt\n", "Adding certificate m.crt\n"}; }

Lines foundLines(const std::string& name) {
  return {"Found " + name + "\n", "Checking " + name + "\n"};
}

Lines extractedLines(const std::string& name) {
  return logOf({foundLines(name), "Extracting " + name + "\n"});
}

Lines packageLines(const std::string& id) {
  return logOf({openLines(id + ".zip"), signerLines(), extractedLines(upper(id) + "-O.ZIP"),
                extractedLines(upper(id) + ".ZIP")});
}

Lines rulesLines() { return {"postinstall\n", "Checking dependencies\n"}; }

Lines rulesLines(const std::string& id) {
  const std::string manifest = kApps + "/" + id + ".MFT\n";
  return {"postinstall\n", "Checking " + id + "\n", "Checking dependencies\n",
          "Reading " + manifest, "Checking " + manifest};
}

Lines endLines(std::initializer_list<std::string> ids, const std::string& word) {
  Lines lines = {"List of installed applications:\n"};
  for (const std::string& id : ids) lines.push_back(id + "\n");
  lines.push_back("Overall result: " + word + "\n");
  return lines;
}

InstallTest::InstallTest() : terminal(profileWithRoots()) {
  for (const std::size_t root : {std::size_t{0}, std::size_t{1}}) {
    const Octets& der = rootCertificate(root);
    terminal.writeFile(std::string(kRootsFolder) + "/" + std::to_string(root) + ".der",
                       std::string(der.begin(), der.end()));
  }
  terminal.makeFolder(kSource);
}

InstallTest::~InstallTest() { wzapp::setInstallLog(nullptr, nullptr); }

int InstallTest::install() {
  lines.clear();
  return wzapp::wzInstall(takeLine, this);
}

void InstallTest::takeLine(void* user, const char* format, ...) {
  auto* const test = static_cast<InstallTest*>(user);
  va_list arguments;
  va_start(arguments, format);
  test->lines.push_back(formatLine(format, arguments));
  va_end(arguments);
  if (test->atLine) test->atLine(test->lines.back());
}

}  // namespace wzapp_test
