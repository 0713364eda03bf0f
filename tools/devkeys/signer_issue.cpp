#include "devkeys/signer_issue.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <functional>
#include <optional>
#include <system_error>
#include <utility>

#include "devkeys/certificate_order.h"
#include "devkeys/key_directory.h"
#include "devkeys/key_files.h"
#include "devkeys/rsa_key.h"

namespace devkeys {
namespace {

namespace fs = std::filesystem;

constexpr int kSignersKind = 2;

struct RoleRow {
  const char* name;  // of the files
  const char* commonName;
  const char* permission;
  int kind;  // of an authority all of whose signers sign this
};

constexpr RoleRow kRoles[] = {
    {"application", "application signer", "S14", 3},
    {"manifest", "manifest signer", "S11", 4},
};

constexpr char kRegister[] = "issued", kRetired[] = "retired", kSigners[] = "signers";

bool canIssue(int kind, const RoleRow& role) { return kind == kSignersKind || kind == role.kind; }

fs::path keyOf(const std::string& certificate) {
  return fs::path(certificate).replace_extension(".key");
}

// ---- The authority -----------------------------------------------------------------------------

struct LoadedAuthority {
  std::size_t row;  // from 1
  int kind;
  RsaKey key;
  IssuerFacts facts;
};

std::string placeOf(const IssueOrder& order, std::size_t row) {
  return "authority " + std::to_string(row) + " of " + order.keys;
}

std::optional<LoadedAuthority> load(const IssueOrder& order, std::size_t row) {
  const AuthorityFile& file = order.table[row - 1];
  std::error_code failure;
  if (!fs::exists(keyOf(file.path), failure)) return std::nullopt;
  try {
    RsaKey key(readFile(keyOf(file.path)));
    IssuerFacts facts = readIssuer(readFile(file.path), key);
    if (facts.keyIdentifier.empty()) throw KeyError("its certificate has no key identifier");
    return LoadedAuthority{row, file.kind, std::move(key), std::move(facts)};
  } catch (const KeyError& problem) {
    throw KeyError(placeOf(order, row) + " cannot issue: " + problem.what());
  }
}

[[noreturn]] void refuseWithoutKey(const IssueOrder& order, const std::string& which) {
  throw KeyError(which + " of " + order.keys +
                 " has its private key there; only who has an authority's key issues signers");
}

LoadedAuthority chooseAuthority(const IssueOrder& order) {
  if (order.table.empty()) {
    throw KeyError(order.keys + " has no table of authorities (" + kTableFile + ")");
  }
  if (order.authority > order.table.size()) {
    throw KeyError("there is no " + placeOf(order, order.authority) + ", which has " +
                   std::to_string(order.table.size()));
  }
  if (order.authority != 0) {
    if (auto authority = load(order, order.authority)) return std::move(*authority);
    refuseWithoutKey(order, "no authority " + std::to_string(order.authority));
  }
  for (std::size_t row = 1; row <= order.table.size(); ++row) {
    if (auto authority = load(order, row)) return std::move(*authority);
  }
  refuseWithoutKey(order, "no authority");
}

std::vector<const RoleRow*> rolesFor(const IssueOrder& order, const LoadedAuthority& authority) {
  std::vector<const RoleRow*> roles;
  for (const RoleRow& role : kRoles) {
    const bool isAsked = order.roles.empty() || std::find(order.roles.begin(), order.roles.end(),
                                                          role.name) != order.roles.end();
    if (!isAsked) continue;
    if (canIssue(authority.kind, role)) {
      roles.push_back(&role);
    } else if (!order.roles.empty()) {
      throw KeyError(placeOf(order, authority.row) + " is of kind " +
                     std::to_string(authority.kind) + ", whose signers never sign for the role " +
                     role.name);
    }
  }
  return roles;
}

// ---- Serial numbers ----------------------------------------------------------------------------

// 0: it is none of ours.
unsigned numberOf(const std::string& serial) {
  constexpr std::size_t kDigits = 6;
  if (serial.size() != kDigits) return 0;
  unsigned number = 0;
  for (const char c : serial) {
    if (c < '0' || c > '9') return 0;
    number = 10 * number + static_cast<unsigned>(c - '0');
  }
  return number;
}

unsigned highestSerial(const std::string& keys) {
  unsigned highest = 500000;
  for (const char* const folder : {kSigners, kRegister, kRetired}) {
    std::error_code failure;
    for (const fs::directory_entry& entry :
         fs::directory_iterator(fs::path(keys) / folder, failure)) {
      if (entry.path().extension() != ".der") continue;
      highest = std::max(highest, numberOf(shownSerial(readFile(entry.path()))));
    }
  }
  return highest;
}

// ---- Issuing -----------------------------------------------------------------------------------

struct NewSigner {
  const RoleRow* role;
  RsaKey key;
  std::string der;
  IssuedSigner facts;
};

std::string lastSecondOf(const std::string& day) { return day + "235959Z"; }

// Puts the certificate into the register under a number that nobody else has taken meanwhile.
NewSigner issue(const IssueOrder& order, const LoadedAuthority& authority, const RoleRow& role) {
  const fs::path registered = fs::path(order.keys) / kRegister;
  if (mkdir(registered.c_str(), S_IRWXU) != 0 && errno != EEXIST) failAt(registered, errno);
  NewSigner signer{&role, {}, {}, {}};
  const std::string notAfter =
      order.until.empty() ? authority.facts.notAfter : lastSecondOf(order.until);
  const Issuer issuer{authority.key, authority.facts.name, authority.facts.keyIdentifier};
  for (unsigned number = highestSerial(order.keys) + 1;; ++number) {
    const std::string serial = std::to_string(number);
    if (numberOf(serial) == 0) throw KeyError("there are no serial numbers left");
    const fs::path file = registered / (serial + ".der");
    std::error_code failure;
    if (fs::exists(file, failure)) continue;
    const CertificateOrder certificate{
        Role::kSigner,
        withCommonName(authority.facts.name, "Signer " + serial + " (" + role.commonName + ")"),
        serialOctets(serial),
        order.today + "000000Z",
        notAfter,
        {role.permission}};
    signer.der = makeCertificate(certificate, signer.key, issuer);
    writeFile(file, signer.der, 0644);
    signer.facts = {role.name, {}, serial, authority.row, role.permission, notAfter, {}};
    return signer;
  }
}

// The path that a table names, as it is to be in a folder of its own.
std::string nameInDirectory(const IssueOrder& order, const std::string& path) {
  const fs::path relative = fs::path(path).lexically_relative(order.keys);
  const bool isInside = !relative.empty() && *relative.begin() != "..";
  return isInside ? relative.string() : "authorities/" + fs::path(path).filename().string();
}

void addPublicPart(const IssueOrder& order, KeyFiles& files) {
  std::string table;
  for (const AuthorityFile& authority : order.table) {
    const std::string name = nameInDirectory(order, authority.path);
    table += std::to_string(authority.kind) + " " + name + "\n";
    files.add(name, readFile(authority.path), 0644);
  }
  files.add(kTableFile, table, 0644);
  std::error_code failure;
  for (const fs::directory_entry& entry :
       fs::directory_iterator(fs::path(order.keys) / "roots", failure)) {
    if (entry.path().extension() != ".der") continue;
    files.add("roots/" + entry.path().filename().string(), readFile(entry.path()), 0644);
  }
}

void issueAll(const IssueOrder& order, const fs::path& directory,
              std::vector<IssuedSigner>& issued) {
  std::error_code failure;
  if (fs::exists(fs::symlink_status(directory, failure))) failAt(directory, EEXIST);
  if (access(directory.parent_path().c_str(), W_OK | X_OK) != 0) failAt(directory, errno);
  const LoadedAuthority authority = chooseAuthority(order);
  KeyFiles files;
  for (const RoleRow* const role : rolesFor(order, authority)) {
    NewSigner signer = issue(order, authority, *role);
    const std::string name = std::string(kSigners) + "/" + role->name;
    files.addPair(name, signer.der, signer.key);
    signer.facts.file = name + ".der";
    issued.push_back(signer.facts);
  }
  addPublicPart(order, files);
  files.write(directory);
}

// ---- Rotation ----------------------------------------------------------------------------------

// The authority below which the signer lies that is to be replaced.
LoadedAuthority authorityOfSigner(const IssueOrder& order, const std::string& der) {
  for (std::size_t row = 1; row <= order.table.size(); ++row) {
    if (!isNamedIssuer(der, readFile(order.table[row - 1].path))) continue;
    if (auto authority = load(order, row)) return std::move(*authority);
    refuseWithoutKey(order, "no authority " + std::to_string(row) + ", which issued the signer,");
  }
  throw KeyError("none of the authorities of " + order.keys +
                 " issued its signer; name one with --authority");
}

// Copies, so that at no time there is none; what a run that was cut has left is the same.
std::string retire(const IssueOrder& order, const std::string& role) {
  const fs::path signers = fs::path(order.keys) / kSigners,
                 retired = fs::path(order.keys) / kRetired;
  const std::string der = readFile(signers / (role + ".der"));
  if (mkdir(retired.c_str(), S_IRWXU) != 0 && errno != EEXIST) failAt(retired, errno);
  const std::string serial = shownSerial(der);
  const fs::path base = retired / (role + "-" + (numberOf(serial) == 0 ? "0" : serial));
  std::error_code failure;
  for (const char* const ending : {".key", ".der"}) {
    const fs::path from = signers / (role + ending), to = base.string() + ending;
    if (fs::exists(to, failure) || !fs::exists(from, failure)) continue;
    writeFile(to, readFile(from), ending == std::string(".key") ? 0600 : 0644);
  }
  return base.string() + ".der";
}

void rotateAll(const IssueOrder& order, std::vector<IssuedSigner>& issued) {
  const fs::path folder = fs::path(order.keys) / kSigners;
  KeyFiles files;
  std::vector<std::string> roles = order.roles;
  std::error_code failure;
  for (const RoleRow& role : kRoles) {
    if (order.roles.empty() && fs::exists(folder / (std::string(role.name) + ".der"), failure)) {
      roles.emplace_back(role.name);
    }
  }
  if (roles.empty()) throw KeyError(folder.string() + " has no signers to replace");
  IssueOrder one = order;
  for (const std::string& name : roles) {
    one.roles = {name};
    const std::string der = readFile(folder / (name + ".der"));
    const LoadedAuthority authority =
        order.authority != 0 ? chooseAuthority(order) : authorityOfSigner(order, der);
    for (const RoleRow* const role : rolesFor(one, authority)) {
      NewSigner signer = issue(order, authority, *role);
      files.addPair(name, signer.der, signer.key);
      signer.facts.file = (folder / (name + ".der")).string();
      issued.push_back(signer.facts);
    }
  }
  for (IssuedSigner& signer : issued) signer.retired = retire(order, signer.role);
  files.addRestOf(folder);
  files.replace(folder);
}

bool attempt(const std::function<void()>& work, std::string& error) {
  try {
    work();
    return true;
  } catch (const FileError& problem) {
    error = problem.text;
  } catch (const KeyError& problem) {
    error = problem.what();
  }
  return false;
}

}  // namespace

bool issueSigners(const IssueOrder& order, const std::string& directory,
                  std::vector<IssuedSigner>& issued, std::string& error) {
  std::error_code failure;
  fs::path path = fs::absolute(directory, failure).lexically_normal();
  if (!path.has_filename()) path = path.parent_path();  // what ends in a "/"
  if (failure || !path.has_filename()) {
    error = "cannot make " + directory + ": no name for a folder";
    return false;
  }
  if (!attempt([&] { issueAll(order, path, issued); }, error)) return false;
  for (IssuedSigner& signer : issued) signer.file = (fs::path(directory) / signer.file).string();
  return true;
}

bool rotateSigners(const IssueOrder& order, std::vector<IssuedSigner>& issued, std::string& error) {
  return attempt([&] { rotateAll(order, issued); }, error);
}

}  // namespace devkeys
