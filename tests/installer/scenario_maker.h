// Makes random packages and manifests, and notes what they mean and, for people, what they are.
#ifndef WZAPP_TESTS_INSTALLER_SCENARIO_MAKER_H
#define WZAPP_TESTS_INSTALLER_SCENARIO_MAKER_H

#include <string>
#include <vector>

#include "tests/crypto/random_cases.h"
#include "tests/installer/scenario_facts.h"
#include "tests/installer/scenario_model.h"

namespace wzapp_test::scenario {

class Maker {
 public:
  Maker(RandomCases& random, const TerminalFacts& terminal);

  [[nodiscard]] const Facts& facts() const { return facts_; }

  // What a folder of packages may be given: the content of a file, mostly a package.
  std::string packageFile();
  std::string packageFileName();

  std::string appId();
  std::string exportManifest();
  std::string applicationManifest(const std::string& id);
  std::string marketplaceManifest(const std::string& id);

  // Adds to the description, and takes it.
  void tell(const std::string& text) { description_ += text; }
  [[nodiscard]] std::string takeDescription();

 private:
  template <class T>
  const T& of(const std::vector<T>& items) {
    return items[random_.below(items.size())];
  }

  Manifest manifestOf(const std::string& id);
  void addExports(Manifest& manifest);
  void addImports(Manifest& manifest);
  std::string note(const Manifest& manifest);
  std::string sponsor();

  std::string archiveOf(const ArchiveEntries& entries);
  ArchiveEntries applicationEntries(const std::string& id);
  ArchiveEntries manifestEntries(const std::string& id, bool isUninstall);
  ArchiveEntry oddEntry(const std::string& id);
  void addCertificates(ArchiveEntries& entries);
  void addInner(ArchiveEntries& entries, const std::string& id, bool isApplication);
  void addSignature(ArchiveEntries& entries, const std::string& name, const std::string& archive,
                    bool isApplication);
  std::string signatureFile(const std::string& archive, bool isApplication);
  void shuffle(ArchiveEntries& entries);

  RandomCases& random_;
  const TerminalFacts& terminal_;
  Facts facts_;
  std::string description_;
};

}  // namespace wzapp_test::scenario

#endif  // WZAPP_TESTS_INSTALLER_SCENARIO_MAKER_H
