// A small model of an installation run, over a tree in memory and packages whose parts are known.
#ifndef WZAPP_TESTS_INSTALLER_SCENARIO_MODEL_H
#define WZAPP_TESTS_INSTALLER_SCENARIO_MODEL_H

#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tests/builders/collected_log.h"
#include "tests/installer/scenario_facts.h"

namespace wzapp_test::scenario {

struct TerminalFacts {
  std::string sponsor;
  std::string descriptor;  // of the hardware
  std::string model;
  std::vector<CertificateFacts> roots;  // in the order of the security service
  std::vector<std::string> rootSerials;
  std::vector<std::pair<int, CertificateFacts>> authorities;  // with their kinds, in order
};

using Orders = std::map<std::string, std::vector<std::string>>;  // the names in a folder, by path

class Model {
 public:
  // The orders tell in which order folders are listed, not what is in them.
  Model(const TerminalFacts& terminal, const Facts& facts, Tree& tree, const Orders& orders)
      : terminal_(terminal), facts_(facts), tree_(tree), orders_(orders) {}

  int run();
  [[nodiscard]] const Lines& lines() const { return lines_; }

 private:
  using Index = std::map<std::string, const ArchiveEntry*>;
  struct Trusted {
    int kind;
    int key;
  };

  // Messages.
  void say(const std::string& line) { lines_.push_back(line + "\n"); }
  void error(const std::string& text);
  void warning(const std::string& text);

  // The tree.
  [[nodiscard]] bool exists(const std::string& path) const { return tree_.contains(path); }
  [[nodiscard]] bool isFolder(const std::string& path) const;
  [[nodiscard]] const std::string* contentOf(const std::string& path) const;
  [[nodiscard]] std::vector<std::string> list(const std::string& folder) const;
  bool makeFolders(const std::string& path);
  void removeTree(const std::string& path);
  void removePlainly(const std::string& path);

  // Packages.
  void installPackage(const std::string& path);
  void rebuildStore();
  void addCertificate(const std::string& name, const CertificateFacts* facts, int kind);
  void installInner(const Index& index, const ArchiveEntry& entry);
  void installContent(const ArchiveEntries& entries, bool isApplication);
  bool writeEntry(const ArchiveEntry& entry, const std::string& root,
                  const std::string& destination);
  static Index indexOf(const ArchiveEntries& entries);

  // Manifests.
  [[nodiscard]] const Manifest* jsonOf(const std::string& path) const;
  [[nodiscard]] std::string appIdOf(const std::string& path) const;
  bool checkSponsor(bool isUninstall, const std::string& path, std::string& id);

  // What may stay.
  void applyMarketplaceRules();
  void judgeManifests(const std::string& folder, const std::string& name);
  void removeEverything();
  void checkDependencies();
  void collectExports(bool isFirst);
  bool checkApplications();
  void checkApplication(const Manifest& manifest);
  void checkBounds(const Manifest& manifest, const std::string& key, const std::string& word,
                   const std::string& version);
  void checkImports(const Manifest& manifest, const std::string& kind);
  void cleanUp();
  void listApplications();

  const TerminalFacts& terminal_;
  const Facts& facts_;
  Tree& tree_;
  const Orders& orders_;

  Lines lines_;
  int result_ = 0;
  std::map<std::string, Trusted> store_;
  std::set<std::string> installed_;
  std::set<std::string> removed_;
  std::set<std::string> valid_;
  std::set<std::string> toUninstall_;
  std::set<std::string> failing_;
  std::string version_;
  std::map<std::string, std::set<std::string>> exported_;
};

}  // namespace wzapp_test::scenario

#endif  // WZAPP_TESTS_INSTALLER_SCENARIO_MODEL_H
