// What the parts of random packages mean, told by their octets: whoever makes a part notes what it
// is, and the model of the installer looks it up instead of reading it.
#ifndef WZAPP_TESTS_INSTALLER_SCENARIO_FACTS_H
#define WZAPP_TESTS_INSTALLER_SCENARIO_FACTS_H

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace wzapp_test::scenario {

// --- Archives ---------------------------------------------------------------------------------

struct ArchiveEntry {
  std::string name;
  std::string content;
  bool isBroken = false;  // its packed data are unreadable from the first octet
};

using ArchiveEntries = std::vector<ArchiveEntry>;  // in the order of the archive's directory

// --- Certificates and signatures --------------------------------------------------------------

struct CertificateFacts {
  std::string id;      // of the subject's key, in hexadecimal
  std::string issuer;  // the same of the issuer's
  int key = 0;         // by number
  int issuerKey = 0;   // that it is signed with
  std::vector<std::string> permissions;
  bool isExpired = false;
};

struct SignatureFacts {
  std::string signer;  // key identifier in hexadecimal
  int key = 0;
  std::string archive;  // that it signs
};

// --- Manifests --------------------------------------------------------------------------------

struct Import {
  std::string id;
  bool isOptional;
};

struct Manifest {
  // In JSON.
  bool isJSON = true;
  std::optional<std::string> id;
  std::vector<std::string> sponsors;
  bool isSponsorText = false;  // the first sponsor alone, as a string
  std::optional<std::string> version;
  std::map<std::string, std::vector<std::string>> exports;  // by key
  std::map<std::string, std::string> bounds;                // by key
  std::map<std::string, std::vector<Import>> imports;       // by key
  std::optional<std::vector<std::string>> platforms;

  // In the form of keys and values, by section: "appid" and "sponsor".
  std::map<std::string, std::string> appIds;
  std::map<std::string, std::string> sponsorLists;
  bool hasInvalidLine = false;
};

struct Facts {
  std::map<std::string, ArchiveEntries> archives;
  std::map<std::string, CertificateFacts> certificates;
  std::map<std::string, SignatureFacts> signatures;
  std::map<std::string, Manifest> manifests;
};

// --- Trees ------------------------------------------------------------------------------------

enum class NodeKind { kFile, kFolder, kOther };

struct Node {
  NodeKind kind;
  std::string content;  // of a file
  bool operator==(const Node& other) const = default;
};

using Tree = std::map<std::string, Node>;  // by absolute path

}  // namespace wzapp_test::scenario

#endif  // WZAPP_TESTS_INSTALLER_SCENARIO_FACTS_H
