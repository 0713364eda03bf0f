#include "devkeys/key_directory.h"

#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <deque>
#include <filesystem>
#include <system_error>
#include <utility>
#include <vector>

#include "devkeys/certificate_order.h"
#include "devkeys/rsa_key.h"

namespace devkeys {
namespace {

namespace fs = std::filesystem;

// ---- What is made ------------------------------------------------------------------------------

constexpr char kRootsFolder[] = "roots";
constexpr char kAuthoritiesFolder[] = "authorities";
constexpr char kSignersFolder[] = "signers";
constexpr const char* kFolders[] = {kRootsFolder, kAuthoritiesFolder, kSignersFolder};

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

// A terminal shows the octets of a serial number last to first.
std::string serialOctets(const char* shown) {
  const std::string text = shown;
  return std::string(text.rbegin(), text.rend());
}

// ---- Files -------------------------------------------------------------------------------------

struct FileError {
  std::string text;
};

[[noreturn]] void failAt(const fs::path& path, int error) {
  throw FileError{"cannot make " + path.string() + ": " + std::strerror(error)};
}

void makeFolder(const fs::path& path, mode_t mode) {
  if (mkdir(path.c_str(), mode) != 0) failAt(path, errno);
}

void writeFile(const fs::path& path, const std::string& content, mode_t mode) {
  const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
  if (file < 0) failAt(path, errno);
  std::size_t written = 0;
  int error = 0;
  while (written < content.size() && error == 0) {
    const ssize_t count = write(file, content.data() + written, content.size() - written);
    if (count >= 0) {
      written += static_cast<std::size_t>(count);
    } else if (errno != EINTR) {
      error = errno;
    }
  }
  if (close(file) != 0 && error == 0) error = errno;
  if (error != 0) failAt(path, error);
}

// Beside the folder that it becomes, so that it becomes it by one rename; gone with the object
// until then.
class NewFolder {
 public:
  explicit NewFolder(const fs::path& target) : target_(target) {
    path_ = (target.parent_path() / (".new-" + target.filename().string() + "-XXXXXX")).string();
    if (mkdtemp(path_.data()) == nullptr) failAt(target, errno);
  }
  NewFolder(const NewFolder&) = delete;
  NewFolder& operator=(const NewFolder&) = delete;
  ~NewFolder() {
    std::error_code ignored;
    if (!path_.empty()) fs::remove_all(path_, ignored);
  }

  [[nodiscard]] fs::path operator/(const std::string& name) const { return fs::path(path_) / name; }

  // Whatever lies at the target by now stays as it is.
  void finish() {
    int result = renameat2(AT_FDCWD, path_.c_str(), AT_FDCWD, target_.c_str(), RENAME_NOREPLACE);
    if (result != 0 && errno == EINVAL) {
      // A file system that cannot do that: a folder that is new cannot be anybody else's.
      makeFolder(target_, S_IRWXU);
      result = rename(path_.c_str(), target_.c_str());
    }
    if (result != 0) failAt(target_, errno);
    path_.clear();
  }

 private:
  fs::path target_;
  std::string path_;
};

// While it lives, signals to this thread wait: one that ends the process finds the folder complete,
// or gone.
class SignalsHeld {
 public:
  SignalsHeld() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before_);
  }
  SignalsHeld(const SignalsHeld&) = delete;
  SignalsHeld& operator=(const SignalsHeld&) = delete;
  ~SignalsHeld() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

 private:
  sigset_t before_{};
};

// What becomes a key directory, in memory: making keys takes seconds, writing them an instant.
class KeyFiles {
 public:
  void add(const std::string& name, std::string content, mode_t mode) {
    files_.push_back({name, std::move(content), mode});
  }

  void addPair(const std::string& name, const std::string& certificate, const RsaKey& key) {
    add(name + ".der", certificate, 0644);
    add(name + ".key", key.privatePem(), 0600);
  }

  void write(const fs::path& directory) const {
    const SignalsHeld held;
    NewFolder folder(directory);
    for (const char* const name : kFolders) makeFolder(folder / name, S_IRWXU);
    for (const File& file : files_) writeFile(folder / file.name, file.content, file.mode);
    folder.finish();
  }

 private:
  struct File {
    std::string name;  // in the directory
    std::string content;
    mode_t mode;
  };

  std::vector<File> files_;
};

// ---- The steps ---------------------------------------------------------------------------------

// A key and the name by which what it issues knows it.
struct Authority {
  RsaKey key;
  std::string commonName;
};

using Authorities = std::deque<Authority>;

Authorities makeRoots(KeyFiles& files) {
  Authorities roots;
  for (const RootPlan& plan : kRoots) {
    const std::string number = std::to_string(roots.size() + 1);
    const Authority& root = roots.emplace_back(Authority{{}, "Development root " + number});
    const CertificateOrder order{Role::kRoot,       root.commonName,   serialOctets(plan.serial),
                                 "20100104000000Z", "21101231000000Z", {}};
    files.addPair(std::string(kRootsFolder) + "/" + plan.name,
                  makeCertificate(order, root.key, {root.key, root.commonName}), root.key);
  }
  return roots;
}

Authorities makeAuthorities(KeyFiles& files, const Authorities& roots) {
  Authorities authorities;
  for (const AuthorityPlan& plan : kAuthorities) {
    const std::string number = std::to_string(authorities.size() + 1);
    const Authority& authority = authorities.emplace_back(Authority{
        {}, std::string("Development authority ") + number + " (" + kindName(plan.kind) + ")"});
    const CertificateOrder order{Role::kAuthority, authority.commonName, serialOctets(plan.serial),
                                 plan.notBefore,   plan.notAfter,        {}};
    const Authority& root = roots[plan.root];
    files.addPair(kAuthoritiesFolder + ("/" + number),
                  makeCertificate(order, authority.key, {root.key, root.commonName}),
                  authority.key);
  }
  return authorities;
}

void makeSigners(KeyFiles& files, const Authorities& authorities) {
  for (const SignerPlan& plan : kSigners) {
    const RsaKey key;
    const CertificateOrder order{Role::kSigner,
                                 std::string("Development ") + plan.commonName,
                                 serialOctets(plan.serial),
                                 "20200101000000Z",
                                 kAuthorityEnd,
                                 {plan.permission}};
    const Authority& authority = authorities[plan.authority];
    files.addPair(std::string(kSignersFolder) + "/" + plan.name,
                  makeCertificate(order, key, {authority.key, authority.commonName}), key);
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

void makeAll(const fs::path& directory) {
  struct stat status {};
  if (lstat(directory.c_str(), &status) == 0) failAt(directory, EEXIST);
  const fs::path above = directory.parent_path();
  if (access(above.c_str(), W_OK | X_OK) != 0) failAt(directory, errno);
  KeyFiles files;
  const Authorities roots = makeRoots(files);
  const Authorities authorities = makeAuthorities(files, roots);
  makeSigners(files, authorities);
  files.add(kTableFile, tableText(), 0644);
  files.write(directory);
}

}  // namespace

bool makeKeyDirectory(const std::string& directory, std::string& error) {
  std::error_code failure;
  fs::path path = fs::absolute(directory, failure).lexically_normal();
  if (!path.has_filename()) path = path.parent_path();  // what ends in a "/"
  if (failure || !path.has_filename()) {
    error = "cannot make " + directory + ": no name for a folder";
    return false;
  }
  try {
    makeAll(path);
    return true;
  } catch (const FileError& problem) {
    error = problem.text;
  } catch (const KeyError& problem) {
    error = problem.what();
  }
  return false;
}

}  // namespace devkeys
