#include "wz/reports/package_difference.h"

#include <algorithm>
#include <utility>

#include "support/text.h"
#include "wz/reports/installed_applications.h"
#include "wz/reports/output.h"

namespace wz {
namespace {

using Texts = std::vector<std::string>;
using Kind = ContentDifference::Kind;

Texts idsOf(const std::vector<Feature>& features) {
  Texts ids;
  for (const Feature& feature : features) {
    ids.push_back(feature.id + (feature.isOptional ? " (optional)" : ""));
  }
  return ids;
}

// ---- What a package brings ---------------------------------------------------------------------

void takeSigner(const PackageReport& report, const InnerReport& inner, Content& content) {
  content.signer = inner.signerKeyId;
  for (const PackageCertificate& certificate : report.certificates) {
    if (inner.signerKeyId.empty() || certificate.facts.subjectKeyId != inner.signerKeyId) continue;
    content.signer = certificate.facts.subject + " (" + inner.signerKeyId + ")";
    content.permissions = certificate.facts.permissions;
  }
}

Content contentOf(const PackageReport& report, const InnerReport& inner) {
  Content content;
  content.kind = inner.kind;
  content.id = inner.id;
  takeSigner(report, inner, content);
  for (const PackagedManifest& manifest : inner.manifests) {
    if (manifest.id == inner.id) takeManifest(manifest, content);
  }
  for (const PackageEntry& entry : inner.entries) {
    if (!entry.name.ends_with('/')) content.files[entry.name] = {entry.size, entry.sha256};
  }
  return content;
}

// ---- Differences -------------------------------------------------------------------------------

struct ListRow {
  const char* name;
  const char* words;
  Texts Content::*list;
};

constexpr ListRow kLists[] = {
    {"sponsors", "sponsors", &Content::sponsors},
    {"permissions", "permissions of the signer", &Content::permissions},
    {"exportsTriggers", "exports triggers", &Content::exportedTriggers},
    {"exportsInterfaces", "exports interfaces", &Content::exportedInterfaces},
    {"importsTriggers", "imports triggers", &Content::importedTriggers},
    {"importsInterfaces", "imports interfaces", &Content::importedInterfaces},
    {"versions", "versions", &Content::versions},
    {"platforms", "platforms", &Content::platforms},
};

Texts without(const Texts& texts, const Texts& others) {
  Texts rest;
  for (const std::string& text : texts) {
    if (std::find(others.begin(), others.end(), text) == others.end()) rest.push_back(text);
  }
  return rest;
}

void compareFiles(const Content& before, const Content& now, ContentDifference& difference) {
  for (const auto& [name, file] : now.files) {
    const auto older = before.files.find(name);
    if (older == before.files.end()) {
      difference.added.push_back({name, 0, file.size});
    } else if (older->second.sha256 != file.sha256) {
      difference.changed.push_back({name, older->second.size, file.size});
    } else {
      ++difference.sameFiles;
    }
  }
  for (const auto& [name, file] : before.files) {
    if (!now.files.contains(name)) difference.removed.push_back({name, file.size, 0});
  }
}

bool isSame(const ContentDifference& difference) {
  return difference.versionBefore == difference.versionNow &&
         difference.signerBefore == difference.signerNow && difference.added.empty() &&
         difference.removed.empty() && difference.changed.empty() &&
         std::all_of(
             difference.lists.begin(), difference.lists.end(),
             [](const ListDifference& list) { return list.added.empty() && list.removed.empty(); });
}

ContentDifference compare(const Content& before, const Content& now) {
  ContentDifference difference;
  difference.content = now.kind;
  difference.id = now.id.empty() ? before.id : now.id;
  difference.versionBefore = before.version;
  difference.versionNow = now.version;
  difference.isDowngrade = isOlderVersion(now.version, before.version);
  const bool areSignersKnown = !before.signer.empty() && !now.signer.empty();
  if (areSignersKnown) {
    difference.signerBefore = before.signer;
    difference.signerNow = now.signer;
  }
  for (const ListRow& row : kLists) {
    const bool isComparable = row.list != &Content::permissions || areSignersKnown;
    difference.lists.push_back({row.name, row.words, {}, {}});
    if (!isComparable) continue;
    difference.lists.back().added = without(now.*row.list, before.*row.list);
    difference.lists.back().removed = without(before.*row.list, now.*row.list);
  }
  compareFiles(before, now, difference);
  difference.kind = isSame(difference) ? Kind::kSame : Kind::kChanged;
  return difference;
}

const Content* findLike(const Contents& contents, const Content& like) {
  const std::string upperId = wzapp::toUpper(like.id);
  for (const Content& content : contents) {
    if (content.kind == like.kind && wzapp::toUpper(content.id) == upperId) return &content;
  }
  return nullptr;
}

// ---- In words ----------------------------------------------------------------------------------

constexpr const char* kKindWords[] = {"added", "removed", "changed", "same"};

std::string octets(std::uint64_t size) {
  return std::to_string(size) + (size == 1 ? " octet" : " octets");
}

std::string titleOf(const ContentDifference& difference) {
  return std::string(innerKindText(difference.content)) + " of " +
         (difference.id.empty() ? "what has no id" : difference.id);
}

std::string versionText(const std::string& version) {
  return version.empty() ? "no version" : version;
}

void printHead(const ContentDifference& difference) {
  std::string line = titleOf(difference) + ": ";
  switch (difference.kind) {
    case Kind::kAdded:
      line += "only in the second, " + versionText(difference.versionNow);
      break;
    case Kind::kRemoved:
      line += "only in the first, " + versionText(difference.versionBefore);
      break;
    case Kind::kSame:
      line += "the same, " + versionText(difference.versionNow);
      break;
    case Kind::kChanged:
      line +=
          difference.versionBefore == difference.versionNow
              ? "other content under " + versionText(difference.versionNow)
              : versionText(difference.versionBefore) + " -> " + versionText(difference.versionNow);
      break;
  }
  printLine(line + (difference.isDowngrade ? ", a downgrade" : ""));
}

void printBody(const ContentDifference& difference) {
  if (difference.signerBefore != difference.signerNow) {
    printLine("  signer: " + difference.signerBefore + " -> " + difference.signerNow);
  }
  for (const ListDifference& list : difference.lists) {
    for (const std::string& text : list.removed) {
      printLine(std::string("  - ") + list.words + ": " + text);
    }
    for (const std::string& text : list.added) {
      printLine(std::string("  + ") + list.words + ": " + text);
    }
  }
  for (const FileDifference& file : difference.removed) {
    printLine("  - file " + file.name + ", " + octets(file.sizeBefore));
  }
  for (const FileDifference& file : difference.added) {
    printLine("  + file " + file.name + ", " + octets(file.sizeNow));
  }
  for (const FileDifference& file : difference.changed) {
    printLine("  ~ file " + file.name + ", " + octets(file.sizeBefore) + " -> " +
              octets(file.sizeNow));
  }
  if (difference.sameFiles > 0) {
    printLine("  = " + std::to_string(difference.sameFiles) +
              (difference.sameFiles == 1 ? " other file" : " other files"));
  }
}

void putFiles(JsonWriter& writer, const char* key, const std::vector<FileDifference>& files) {
  putRows(writer, key, files, [&writer](const FileDifference& file) {
    putText(writer, "name", file.name);
    putNumber(writer, "octetsBefore", file.sizeBefore);
    putNumber(writer, "octetsNow", file.sizeNow);
  });
}

}  // namespace

void takeManifest(const PackagedManifest& manifest, Content& content) {
  content.version = manifest.version;
  content.sponsors = manifest.sponsors;
  content.exportedTriggers = idsOf(manifest.exportedTriggers);
  content.exportedInterfaces = idsOf(manifest.exportedInterfaces);
  content.importedTriggers = idsOf(manifest.importedTriggers);
  content.importedInterfaces = idsOf(manifest.importedInterfaces);
  content.versions = manifest.versions;
  content.platforms = manifest.platforms;
}

Contents contentsOf(const PackageReport& report) {
  Contents contents;
  for (const InnerReport& inner : report.inners) contents.push_back(contentOf(report, inner));
  return contents;
}

std::vector<ContentDifference> compareContents(const Contents& before, const Contents& now) {
  std::vector<ContentDifference> differences;
  for (const Content& content : now) {
    Content none;
    none.kind = content.kind;
    none.signer = content.signer;
    none.permissions = content.permissions;
    const Content* const older = findLike(before, content);
    differences.push_back(compare(older == nullptr ? none : *older, content));
    if (older == nullptr) differences.back().kind = Kind::kAdded;
  }
  for (const Content& content : before) {
    if (findLike(now, content) != nullptr) continue;
    Content none;
    none.kind = content.kind;
    none.signer = content.signer;
    none.permissions = content.permissions;
    differences.push_back(compare(content, none));
    differences.back().kind = Kind::kRemoved;
  }
  return differences;
}

void printDifferences(const std::vector<ContentDifference>& differences) {
  for (const ContentDifference& difference : differences) {
    printHead(difference);
    if (difference.kind != Kind::kSame) printBody(difference);
  }
}

void putDifferences(JsonWriter& writer, const std::vector<ContentDifference>& differences) {
  const auto isSame = [](const ContentDifference& one) { return one.kind == Kind::kSame; };
  putFlag(writer, "same", std::all_of(differences.begin(), differences.end(), isSame));
  putRows(writer, "contents", differences, [&writer](const ContentDifference& difference) {
    putText(writer, "change", kKindWords[static_cast<int>(difference.kind)]);
    putText(writer, "kind", innerKindText(difference.content));
    putText(writer, "id", difference.id);
    putText(writer, "versionBefore", difference.versionBefore);
    putText(writer, "versionNow", difference.versionNow);
    putFlag(writer, "downgrade", difference.isDowngrade);
    putText(writer, "signerBefore", difference.signerBefore);
    putText(writer, "signerNow", difference.signerNow);
    for (const ListDifference& list : difference.lists) {
      writer.Key(list.name);
      writer.StartObject();
      putTexts(writer, "added", list.added);
      putTexts(writer, "removed", list.removed);
      writer.EndObject();
    }
    writer.Key("files");
    writer.StartObject();
    putFiles(writer, "added", difference.added);
    putFiles(writer, "removed", difference.removed);
    putFiles(writer, "changed", difference.changed);
    putNumber(writer, "same", difference.sameFiles);
    writer.EndObject();
  });
}

}  // namespace wz
