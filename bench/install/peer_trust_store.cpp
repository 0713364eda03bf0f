#include "bench/install/peer_trust_store.h"

#include <openssl/x509v3.h>

#include <array>
#include <cstdio>
#include <set>

#include "bench/install/peer_der.h"
#include "crypto/store/authorities.h"
#include "zelsec/zelsec.h"

namespace bench::peer {
namespace {

constexpr int kCertificateRecords = 2;  // operation of the security service
constexpr std::size_t kRecordSize = 8192;
constexpr char kPermissions[] = "2.16.840.1.200000.1.1.1";

CertificatePointer parse(std::string_view der) {
  const auto* data = reinterpret_cast<const unsigned char*>(der.data());
  return CertificatePointer(d2i_X509(nullptr, &data, static_cast<long>(der.size())));
}

std::string_view octetsOf(const ASN1_OCTET_STRING* string) {
  if (string == nullptr) return {};
  return {reinterpret_cast<const char*>(ASN1_STRING_get0_data(string)),
          static_cast<std::size_t>(ASN1_STRING_length(string))};
}

std::string_view subjectKeyId(const CertificatePointer& certificate) {
  return octetsOf(X509_get0_subject_key_id(certificate.get()));
}

std::string_view issuerKeyId(const CertificatePointer& certificate) {
  return octetsOf(X509_get0_authority_key_id(certificate.get()));
}

std::string serialOf(const CertificatePointer& certificate) {
  return std::string(octetsOf(X509_get0_serialNumber(certificate.get())));
}

const ASN1_OBJECT* permissionsType() {
  static const ASN1_OBJECT* const type = OBJ_txt2obj(kPermissions, 1);
  return type;
}

// SEQUENCE { BOOLEAN, SEQUENCE OF IA5String }
int kindOfPermissions(const CertificatePointer& certificate) {
  const int position = X509_get_ext_by_OBJ(certificate.get(), permissionsType(), -1);
  if (position < 0) return kUndecided;
  DerReader value(octetsOf(X509_EXTENSION_get_data(X509_get_ext(certificate.get(), position))));
  std::string_view content;
  if (!value.take(V_ASN1_SEQUENCE, content)) return kUndecided;
  DerReader parts(content);
  std::string_view texts;
  if (!parts.skip(V_ASN1_BOOLEAN) || !parts.take(V_ASN1_SEQUENCE, texts)) return kUndecided;
  int kind = kUndecided;
  DerReader list(texts);
  std::string_view permission;
  while (list.take(V_ASN1_IA5STRING, permission)) {
    if (permission == "S11") kind = kManifest;
    if (permission == "S14") kind = kApplication;
  }
  return kind;
}

bool endsBeforeItBegins(const CertificatePointer& certificate) {
  return ASN1_TIME_compare(X509_get0_notBefore(certificate.get()),
                           X509_get0_notAfter(certificate.get())) > 0;
}

std::string_view viewOf(wzapp::ByteView octets) {
  return {reinterpret_cast<const char*>(octets.data()), octets.size()};
}

}  // namespace

void TrustStore::rebuild() {
  certificates_.clear();
  struct Row {
    CertificatePointer certificate;
    int kind;
  };
  std::array<Row, wzapp::kAuthorityCount> rows;
  std::set<std::string, std::less<>> roots;
  for (std::size_t i = 0; i < rows.size(); ++i) {
    const wzapp::Authority& authority = wzapp::authorities()[i];
    rows[i] = {parse(viewOf(authority.der)), authority.kind};
    if (rows[i].certificate != nullptr) roots.emplace(issuerKeyId(rows[i].certificate));
  }
  std::array<char, kRecordSize> record;
  unsigned short length = 0;
  while (CMDiag(kCertificateRecords, record.data(), &length) == 0) {
    CertificatePointer certificate = parse({record.data(), length});
    if (certificate == nullptr || !roots.contains(subjectKeyId(certificate))) continue;
    std::printf("Adding OS certificate SN=%s\n", serialOf(certificate).c_str());
    insert(std::move(certificate), kRoot);
  }
  for (Row& row : rows) {
    if (row.certificate == nullptr || find(issuerKeyId(row.certificate)) == nullptr) continue;
    const std::string name = "SN=" + serialOf(row.certificate);
    add(name, std::move(row.certificate), row.kind);
  }
}

void TrustStore::add(const std::string& name, std::string_view der) {
  add(name, parse(der), kUndecided);
}

void TrustStore::add(const std::string& name, CertificatePointer certificate, int kind) {
  std::printf("Adding certificate %s\n", name.c_str());
  if (!verify(std::move(certificate), kind)) {
    std::printf("Warning: Failed adding certificate '%s'\n", name.c_str());
  }
}

bool TrustStore::verify(CertificatePointer certificate, int kind) {
  if (certificate == nullptr || endsBeforeItBegins(certificate)) return false;
  const Trusted* const issuer = find(issuerKeyId(certificate));
  if (issuer == nullptr) return false;
  EVP_PKEY* const key = X509_get0_pubkey(issuer->certificate.get());
  if (key == nullptr || X509_verify(certificate.get(), key) != 1) return false;
  if (kind == kUndecided) {
    kind = issuer->kind == kSignerAuthority ? kindOfPermissions(certificate) : issuer->kind;
  }
  if (kind == kUndecided) return false;
  insert(std::move(certificate), kind);
  return true;
}

const Trusted* TrustStore::find(std::string_view keyId) const {
  const auto found = certificates_.find(keyId);
  return found == certificates_.end() ? nullptr : &found->second;
}

void TrustStore::insert(CertificatePointer certificate, int kind) {
  std::string keyId(subjectKeyId(certificate));
  certificates_[std::move(keyId)] = {std::move(certificate), kind};
}

}  // namespace bench::peer
