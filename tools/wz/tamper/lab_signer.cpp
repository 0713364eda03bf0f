#include "wz/tamper/lab_signer.h"

#include <cstdint>
#include <filesystem>

#include "authority_table/table_file.h"
#include "crypto/certificate/certificate_record.h"
#include "crypto/digest/digest.h"
#include "packaging/signature_writer.h"
#include "support/file_system.h"

namespace wz {
namespace {

namespace fs = std::filesystem;
using devkeys::RsaKey;

std::shared_ptr<const RsaKey> readKey(const std::string& path) {
  std::string pem;
  if (!wzapp::readFile(path.c_str(), pem)) return nullptr;
  try {
    return std::make_shared<const RsaKey>(pem);
  } catch (const devkeys::KeyError&) {
    return nullptr;
  }
}

std::optional<LabSigner> readSigner(const std::string& base) {
  LabSigner signer;
  signer.key = readKey(base + ".key");
  if (signer.key == nullptr || !wzapp::readFile((base + ".der").c_str(), signer.der)) {
    return std::nullopt;
  }
  return signer;
}

std::string sha256Of(const std::string& octets) {
  std::string digest(wzapp::kSha256Size, '\0');
  (void)wzapp::digestByOid(wzapp::kSha256Oid, wzapp::viewOf(octets),  // 0 for this digest
                           reinterpret_cast<std::uint8_t*>(digest.data()));
  return digest;
}

std::string keyIdOf(const std::string& der) {
  wzapp::CertificateRecord record;
  if (wzapp::parseCertificate(wzapp::viewOf(der), record) != 0) return {};
  return {record.subjectKeyId.begin(), record.subjectKeyId.end()};
}

}  // namespace

std::string LabSigner::sign(const std::string& archive) const {
  return signAs(archive, keyIdOf(der));
}

std::string LabSigner::signAs(const std::string& archive, const std::string& keyId) const {
  const std::string octets = packaging::octetsToSign(sha256Of(archive));
  return packaging::signatureFile(octets, keyId, key->sign(octets));
}

LabSigner LabAuthority::issue(const LabCertificate& order,
                              const std::shared_ptr<const RsaKey>& signerKey) const {
  const devkeys::CertificateOrder certificate{devkeys::Role::kSigner,
                                              devkeys::developmentName("Tamper lab"),
                                              devkeys::serialOctets("666666"),
                                              order.notBefore,
                                              order.notAfter,
                                              order.permissions};
  return {
      devkeys::makeCertificate(certificate, *signerKey, {*key, facts.name, facts.keyIdentifier}),
      signerKey};
}

LabKeys readLabKeys(const std::string& keyDirectory) {
  LabKeys keys;
  const fs::path signers = fs::path(keyDirectory) / "signers";
  keys.application = readSigner((signers / "application").string());
  keys.manifest = readSigner((signers / "manifest").string());
  std::error_code failure;
  if (!fs::exists(authority_table::tablePath(keyDirectory), failure)) return keys;
  authority_table::Findings ignored;
  for (const authority_table::TableRow& row : authority_table::readTable(keyDirectory, ignored)) {
    const fs::path path = row.certificate.path;
    LabAuthority authority{
        row.kind, readKey(fs::path(path).replace_extension(".key").string()), {}};
    if (authority.key == nullptr) continue;
    try {
      authority.facts = devkeys::readIssuer(row.certificate.der, *authority.key);
      keys.authorities.push_back(std::move(authority));
    } catch (const devkeys::KeyError&) {  // the key is another's: as if there were none
    }
  }
  return keys;
}

}  // namespace wz
