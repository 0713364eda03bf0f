/// Makes variants of a package, group by group.
#ifndef WZ_TAMPER_LAB_H
#define WZ_TAMPER_LAB_H

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "wz/tamper/base_package.h"
#include "wz/tamper/expectation.h"
#include "wz/tamper/lab_signer.h"
#include "wz/tamper/variant.h"
#include "wz/tamper/zip_octets.h"

namespace wz {

/// What was not made, and why.
struct LeftOut {
  std::string group, why;
};

/// The package under changes. Every function gives a new list of entries.
class Lab {
 public:
  Lab(const BasePackage& base, const LabKeys& keys) : base_(base), keys_(keys) {}

  [[nodiscard]] const BasePackage& base() const { return base_; }
  [[nodiscard]] const LabKeys& keys() const { return keys_; }

  [[nodiscard]] ZipItems with(const std::string& entry, const std::string& content) const;
  [[nodiscard]] ZipItems without(const std::string& entry) const;
  [[nodiscard]] ZipItems renamed(const std::string& entry, const std::string& name) const;
  /// An archive in the place of one of the two, with its signature by `signer` and his certificate.
  [[nodiscard]] ZipItems resigned(const BaseInner& inner, const std::string& archive,
                                  const LabSigner& signer) const;

  /// Adds a variant that is one package file by the name of the application.
  void add(const std::string& group, const std::string& what, const ZipItems& items,
           Expected expected);
  void addOctets(const std::string& group, const std::string& what, std::string octets,
                 Expected expected);
  void addFiles(const std::string& group, const std::string& what, std::vector<DroppedFile> files,
                Expected expected);
  /// Calls it behind each.
  void setWatcher(std::function<void()> watcher) { watcher_ = std::move(watcher); }

  void leaveOut(const std::string& group, const std::string& why) {
    leftOut_.push_back({group, why});
  }

  [[nodiscard]] const Variants& variants() const { return variants_; }
  [[nodiscard]] const std::vector<LeftOut>& leftOut() const { return leftOut_; }

  /// The name of package files: the application's id and ".zip".
  [[nodiscard]] std::string fileName() const { return base_.id + ".zip"; }

  // What the log says where one of the two archives is refused with these lines.
  [[nodiscard]] Expected refused(const BaseInner& inner, Lines lines) const;

 private:
  const BasePackage& base_;
  const LabKeys& keys_;
  Variants variants_;
  std::function<void()> watcher_;
  std::vector<LeftOut> leftOut_;
};

// The groups, a source each.
void addOctetVariants(Lab& lab);      ///< flips, cuts, what cannot be unpacked
void addNameVariants(Lab& lab);       ///< renamed, missing, swapped, twice; names of package files
void addSignatureVariants(Lab& lab);  ///< the fields of signatures; signed by others
void addCertificateVariants(Lab& lab);  ///< the fields of certificates; replaced ones
void addContentVariants(Lab& lab);      ///< signed anew: applications and their imports
void addManifestVariants(Lab& lab);     ///< signed anew: marketplace and uninstall manifests

/// All of them. Throws devkeys::KeyError.
void addAllVariants(Lab& lab);

}  // namespace wz

#endif  // WZ_TAMPER_LAB_H
