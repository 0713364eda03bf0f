#include "devkeys/key_directory.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <deque>
#include <filesystem>
#include <iterator>
#include <system_error>
#include <vector>

#include "devkeys/certificate_order.h"
#include "devkeys/key_files.h"
#include "devkeys/rsa_key.h"

namespace devkeys {
namespace {

namespace fs = std::filesystem;

// ---- What is made ------------------------------------------------------------------------------

constexpr char kRootsFolder[] = "roots";
constexpr char kAuthoritiesFolder[] = "authorities";
constexpr char kSignersFolder[] = "signers";

constexpr char kAuthorityEnd[] = "21100101000000Z";

struct RootPlan {
  const char* name;    // of the files
  const char* serial;  // six digits, as a terminal shows them
};

constexpr RootPlan kRoots[] = {
    {"development-root-1", "100001"},
    {"development-root-2", "100002"},
};

struct AuthorityPlan {
  int kind;  // 2: of signers, 3: of applications, 4: of manifests
  std::size_t root;
  const char* serial;
  const char* notBefore;
  const char* notAfter;
};

// In the order of the table.
constexpr AuthorityPlan kAuthorities[] = {
    {2, 0, "200001", "20120301000000Z", kAuthorityEnd},
    {2, 0, "200002", "20120917000000Z", kAuthorityEnd},
    {3, 0, "300003", "20130204000000Z", kAuthorityEnd},
    {4, 0, "400004", "20130204000000Z", kAuthorityEnd},
    {3, 1, "300005", "20140602000000Z", kAuthorityEnd},
    {4, 1, "400006", "20140602000000Z", kAuthorityEnd},
    {2, 1, "200007", "20150511000000Z", kAuthorityEnd},
    {2, 1, "200008", "20161003000000Z", kAuthorityEnd},
    {2, 1, "200009", "20101117000000Z", "21010908000000Z"},
};

struct SignerPlan {
  const char* name;  // of the files
  const char* commonName;
  std::size_t authority;
  const char* serial;
  const char* permission;
};

constexpr SignerPlan kSigners[] = {
    {"application", "application signer", 0, "500001", "S14"},
    {"manifest", "manifest signer", 0, "500002", "S11"},
};

const char* kindName(int kind) {
  if (kind == 3) return "applications";
  return kind == 4 ? "manifests" : "signers";
}

// ---- The steps ---------------------------------------------------------------------------------

// A key and the name by which what it issues knows it.
struct Authority {
  RsaKey key;
  std::string name;
};

Issuer issuerOf(const Authority& authority) {
  return {authority.key, authority.name, authority.key.identifier()};
}

using Authorities = std::deque<Authority>;
using OnKey = std::function<void()>;

static_assert(std::size(kRoots) + std::size(kAuthorities) + std::size(kSigners) == kKeyCount);

Authorities makeRoots(KeyFiles& files, const OnKey& onKey) {
  Authorities roots;
  for (const RootPlan& plan : kRoots) {
    const std::string number = std::to_string(roots.size() + 1);
    const Authority& root =
        roots.emplace_back(Authority{{}, developmentName("Development root " + number)});
    const CertificateOrder order{Role::kRoot,       root.name,         serialOctets(plan.serial),
                                 "20100104000000Z", "21101231000000Z", {}};
    files.addPair(std::string(kRootsFolder) + "/" + plan.name,
                  makeCertificate(order, root.key, issuerOf(root)), root.key);
    onKey();
  }
  return roots;
}

Authorities makeAuthorities(KeyFiles& files, const Authorities& roots, const OnKey& onKey) {
  Authorities authorities;
  for (const AuthorityPlan& plan : kAuthorities) {
    const std::string number = std::to_string(authorities.size() + 1);
    const Authority& authority = authorities.emplace_back(Authority{
        {}, developmentName("Development authority " + number + " (" + kindName(plan.kind) + ")")});
    const CertificateOrder order{Role::kAuthority, authority.name, serialOctets(plan.serial),
                                 plan.notBefore,   plan.notAfter,  {}};
    const Authority& root = roots[plan.root];
    files.addPair(kAuthoritiesFolder + ("/" + number),
                  makeCertificate(order, authority.key, issuerOf(root)), authority.key);
    onKey();
  }
  return authorities;
}

void makeSigners(KeyFiles& files, const Authorities& authorities, const OnKey& onKey) {
  for (const SignerPlan& plan : kSigners) {
    const RsaKey key;
    const CertificateOrder order{Role::kSigner,
                                 developmentName(std::string("Development ") + plan.commonName),
                                 serialOctets(plan.serial),
                                 "20200101000000Z",
                                 kAuthorityEnd,
                                 {plan.permission}};
    const Authority& authority = authorities[plan.authority];
    files.addPair(std::string(kSignersFolder) + "/" + plan.name,
                  makeCertificate(order, key, issuerOf(authority)), key);
    onKey();
  }
}

std::string tableText() {
  std::string text;
  int number = 0;
  for (const AuthorityPlan& plan : kAuthorities) {
    text += std::to_string(plan.kind) + " " + kAuthoritiesFolder + "/" + std::to_string(++number) +
            ".der\n";
  }
  return text;
}

void makeAll(const fs::path& directory, const OnKey& onKey) {
  struct stat status {};
  if (lstat(directory.c_str(), &status) == 0) failAt(directory, EEXIST);
  const fs::path above = directory.parent_path();
  if (access(above.c_str(), W_OK | X_OK) != 0) failAt(directory, errno);
  KeyFiles files;
  const Authorities roots = makeRoots(files, onKey);
  const Authorities authorities = makeAuthorities(files, roots, onKey);
  makeSigners(files, authorities, onKey);
  files.add(kTableFile, tableText(), 0644);
  files.write(directory);
}

}  // namespace

bool makeKeyDirectory(const std::string& directory, std::string& error,
                      const std::function<void()>& onKey) {
  std::error_code failure;
  fs::path path = fs::absolute(directory, failure).lexically_normal();
  if (!path.has_filename()) path = path.parent_path();  // what ends in a "/"
  if (failure || !path.has_filename()) {
    error = "cannot make " + directory + ": no name for a folder";
    return false;
  }
  try {
    makeAll(
        path, onKey ? onKey : [] {});
    return true;
  } catch (const FileError& problem) {
    error = problem.text;
  } catch (const KeyError& problem) {
    error = problem.what();
  }
  return false;
}

}  // namespace devkeys
