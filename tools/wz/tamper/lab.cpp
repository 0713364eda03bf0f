#include "wz/tamper/lab.h"

#include <algorithm>
#include <utility>

namespace wz {

ZipItems Lab::with(const std::string& entry, const std::string& content) const {
  ZipItems items = base_.items;
  for (ZipItem& item : items) {
    if (item.name == entry) item.content = content;
  }
  return items;
}

ZipItems Lab::without(const std::string& entry) const {
  ZipItems items = base_.items;
  items.erase(std::remove_if(items.begin(), items.end(),
                             [&entry](const ZipItem& item) { return item.name == entry; }),
              items.end());
  return items;
}

ZipItems Lab::renamed(const std::string& entry, const std::string& name) const {
  ZipItems items = base_.items;
  for (ZipItem& item : items) {
    if (item.name == entry) item.name = name;
  }
  return items;
}

ZipItems Lab::resigned(const BaseInner& inner, const std::string& archive,
                       const LabSigner& signer) const {
  ZipItems items = base_.items;
  for (ZipItem& item : items) {
    if (item.name == inner.archive) item.content = archive;
    if (item.name == inner.signature) item.content = signer.sign(archive);
    if (item.name == inner.certificate) item.content = signer.der;
  }
  return items;
}

void Lab::add(const std::string& group, const std::string& what, const ZipItems& items,
              Expected expected) {
  addOctets(group, what, zipOctets(items), std::move(expected));
}

void Lab::addOctets(const std::string& group, const std::string& what, std::string octets,
                    Expected expected) {
  addFiles(group, what, {{fileName(), std::move(octets)}}, std::move(expected));
}

void Lab::addFiles(const std::string& group, const std::string& what,
                   std::vector<DroppedFile> files, Expected expected) {
  variants_.push_back({group, what, std::move(files), std::move(expected)});
  if (watcher_) watcher_();
}

Expected Lab::refused(const BaseInner& inner, Lines lines) const {
  return &inner == &base_.application ? onlyManifest(std::move(lines))
                                      : onlyApplication(base_.id, std::move(lines));
}

void addAllVariants(Lab& lab) {
  lab.add("as-it-is", "nothing but stored anew", lab.base().items, installed());
  addOctetVariants(lab);
  addNameVariants(lab);
  addSignatureVariants(lab);
  addCertificateVariants(lab);
  addContentVariants(lab);
  addManifestVariants(lab);
}

}  // namespace wz
