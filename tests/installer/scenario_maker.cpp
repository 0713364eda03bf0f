#include "tests/installer/scenario_maker.h"

#include <utility>

#include "tests/builders/zip_builder.h"
#include "tests/installer/scenario_signers.h"

namespace wzapp_test::scenario {
namespace {

const std::vector<std::string> kIds = {"shop", "Shop", "pay", "loyal", "x"};
const std::vector<std::string> kFeatures = {"t0", "t1", "t2", "t3"};
const std::vector<std::string> kVersions = {"1", "1.2", "1.2.0", "1.10", "2.46.6", "x", ""};
const std::vector<std::string> kPlatforms = {"T7", "480x800C0N"};
const std::vector<std::string> kSponsors = {"123456", "654321", "000001", ""};
const std::vector<std::string> kFileNames = {"a.zip",         "b.ZIP", "c.Zip",     "pack.zip",
                                             "long name.zip", "Z.ZIP", "e.zip.zip", "a.z",
                                             "abc",           ".zip",  "no.txt",    "install.zi"};
constexpr char kInvalidDeflateBlock[] = "\x07";  // of a type that there is not

std::string upper(std::string text) {
  for (char& c : text) c = c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c;
  return text;
}

std::string quoted(const std::string& text) { return "\"" + text + "\""; }

template <class Items, class Write>
std::string joined(const Items& items, const Write& write) {
  std::string text;
  bool isFirst = true;
  for (const auto& item : items) {
    text += (isFirst ? "" : ",") + write(item);
    isFirst = false;
  }
  return text;
}

std::string jsonText(const Manifest& manifest) {
  std::vector<std::string> members;
  const auto member = [&members](const std::string& key, const std::string& value) {
    members.push_back(quoted(key) + ":" + value);
  };
  if (manifest.id) member("application", "{\"id\":" + quoted(*manifest.id) + "}");
  if (manifest.isSponsorText) {
    member("sponsors", quoted(manifest.sponsors.empty() ? "" : manifest.sponsors.front()));
  } else {
    member("sponsors", "[" + joined(manifest.sponsors, quoted) + "]");
  }
  if (manifest.version) {
    member("exports_sdk", "{\"triggers_version\":" + quoted(*manifest.version) + "}");
  }
  for (const auto& [key, ids] : manifest.exports) {
    const auto write = [](const std::string& id) { return "{\"id\":" + quoted(id) + "}"; };
    member(key, "[" + joined(ids, write) + "]");
  }
  if (!manifest.bounds.empty()) {
    const auto write = [](const auto& row) { return quoted(row.first) + ":" + quoted(row.second); };
    member("imports_sdk", "{" + joined(manifest.bounds, write) + "}");
  }
  for (const auto& [key, imports] : manifest.imports) {
    const auto write = [](const Import& import) {
      return "{\"id\":" + quoted(import.id) + (import.isOptional ? ",\"optional\":true}" : "}");
    };
    member(key, "[" + joined(imports, write) + "]");
  }
  if (manifest.platforms) {
    member("imports_hardware", "{\"platforms\":[" + joined(*manifest.platforms, quoted) + "]}");
  }
  return "{" + joined(members, [](const std::string& text) { return text; }) + "}";
}

std::string keyValueText(const Manifest& manifest) {
  std::string text;
  if (manifest.hasInvalidLine) text += "nonsense\n";
  for (const auto& [section, id] : manifest.appIds) {
    text += "[" + section + "]\nappid = " + id + "\n";
    const auto list = manifest.sponsorLists.find(section);
    if (list != manifest.sponsorLists.end()) text += "sponsor=" + list->second + "\n";
  }
  return text;
}

}  // namespace

Maker::Maker(RandomCases& random, const TerminalFacts& terminal)
    : random_(random), terminal_(terminal) {
  for (const KnownCertificate& known : knownCertificates()) {
    facts_.certificates[known.octets] = known.facts;
  }
}

std::string Maker::takeDescription() { return std::exchange(description_, ""); }

// --- Manifests --------------------------------------------------------------------------------

std::string Maker::appId() { return of(kIds); }

std::string Maker::sponsor() { return random_.oneIn(8) ? of(kSponsors) : terminal_.sponsor; }

std::string Maker::note(const Manifest& manifest) {
  const std::string text = manifest.isJSON ? jsonText(manifest) : keyValueText(manifest);
  facts_.manifests[text] = manifest;
  return text;
}

Manifest Maker::manifestOf(const std::string& id) {
  Manifest manifest;
  const std::string own = random_.oneIn(20) ? (random_.oneIn(2) ? "" : appId()) : id;
  manifest.isJSON = !random_.oneIn(6);
  if (manifest.isJSON) {
    if (!random_.oneIn(30)) manifest.id = own;
    for (std::size_t i = random_.below(3); i > 0; --i) manifest.sponsors.push_back(of(kSponsors));
    manifest.sponsors.push_back(sponsor());
    manifest.isSponsorText = random_.oneIn(40);
    return manifest;
  }
  manifest.hasInvalidLine = random_.oneIn(10);
  for (const char* section : {"install", "uninstall"}) {
    if (random_.oneIn(5)) continue;
    manifest.appIds[section] = own;
    if (!random_.oneIn(8)) {
      manifest.sponsorLists[section] = (random_.oneIn(2) ? of(kSponsors) + ", " : "") + sponsor();
    }
  }
  return manifest;
}

void Maker::addExports(Manifest& manifest) {
  if (random_.oneIn(3)) manifest.version = of(kVersions);
  for (const char* key : {"exports_trigger", "exports_api"}) {
    for (std::size_t i = random_.below(3); i > 0; --i) {
      manifest.exports[key].push_back(of(kFeatures));
    }
  }
}

void Maker::addImports(Manifest& manifest) {
  for (const char* key : {"triggers_min_version", "triggers_max_version", "wzruntime_min_version",
                          "wzruntime_max_version"}) {
    if (random_.oneIn(20)) manifest.bounds[key] = of(kVersions);
  }
  for (const char* key : {"imports_trigger", "imports_api"}) {
    if (random_.oneIn(4)) manifest.imports[key].push_back({of(kFeatures), random_.oneIn(4)});
  }
  if (!random_.oneIn(8)) return;
  manifest.platforms.emplace();
  for (std::size_t i = random_.below(3); i > 0; --i) manifest.platforms->push_back(of(kPlatforms));
  if (random_.oneIn(2)) {
    manifest.platforms->push_back(random_.oneIn(2) ? terminal_.descriptor : terminal_.model);
  }
}

std::string Maker::exportManifest() {
  if (random_.oneIn(10)) return "neither form";
  Manifest manifest;
  addExports(manifest);
  return note(manifest);
}

std::string Maker::applicationManifest(const std::string& id) {
  Manifest manifest = manifestOf(id);
  if (manifest.isJSON && random_.oneIn(2)) addExports(manifest);
  if (manifest.isJSON && random_.oneIn(2)) addImports(manifest);
  return note(manifest);
}

std::string Maker::marketplaceManifest(const std::string& id) { return note(manifestOf(id)); }

// --- Inner packages ---------------------------------------------------------------------------

std::string Maker::archiveOf(const ArchiveEntries& entries) {
  ZipBuilder builder;
  for (const ArchiveEntry& entry : entries) {
    ZipEntry row;
    row.name = entry.name;
    row.content = entry.content;
    row.isDeflated = entry.isBroken || !random_.oneIn(4);
    if (entry.isBroken) row.data = kInvalidDeflateBlock;
    builder.entry(std::move(row));
    tell("      " + entry.name + (entry.isBroken ? " (broken)" : "") + "\n");
  }
  std::string archive = builder.build();
  facts_.archives[archive] = entries;
  return archive;
}

ArchiveEntry Maker::oddEntry(const std::string& id) {
  const std::string root = "/mnt/flash/etc/config/wzapp/wz/";
  const std::vector<ArchiveEntry> entries = {
      {"../up.txt", "<p>up"},
      {"..", "<p>parent"},
      {".", "<p>itself"},
      {id + "/../../over.txt", "<p>over"},
      {id + "/..", "<p>end"},
      {"../../" + id + "/..", "<p>far"},
      {"/etc/absolute.txt", "<p>absolute"},
      {"C:/drive.txt", "<p>drive"},
      {"drive:", "<p>drive"},
      {root + id + "/absolute.txt", "<p>below the root"},
      {root + "../outside.txt", "<p>outside"},
      {id + "\\back\\slash.txt", "<p>back"},
      {"./dot.txt", "<p>dot"},
      {id + "//double.txt", "<p>double"},
      {"top.txt", "<p>top"},
      {id, "<p>in the way of the folder"},
      {id + "/index.html/deeper.txt", "<p>below a file"},
      {id + "/index.html", "<p>the second of its name"},
      {id + "/broken.txt", "<p>broken", true},
      {id + ".MFT", "<p>broken manifest", true},
      {id + "/inner.mft", applicationManifest(appId())},
      {appId() + ".mft", applicationManifest(appId())},
      {appId() + "/", ""},
      {id + "/empty.txt", ""},
      {"pages.mft/index.html", "<p>in a folder with the name of a manifest"},
  };
  return entries[random_.below(entries.size())];
}

ArchiveEntries Maker::applicationEntries(const std::string& id) {
  ArchiveEntries entries;
  if (random_.oneIn(2)) entries.push_back({id + "/", ""});
  entries.push_back({id + "/index.html", "<p>" + std::to_string(random_.below(100))});
  if (random_.oneIn(3)) entries.push_back({id + "/pages/more.html", "<p>more"});
  if (!random_.oneIn(12)) {
    entries.push_back({id + (random_.oneIn(4) ? ".mft" : ".MFT"), applicationManifest(id)});
  }
  while (random_.oneIn(4)) entries.push_back(oddEntry(id));
  return entries;
}

ArchiveEntries Maker::manifestEntries(const std::string& id, bool isUninstall) {
  ArchiveEntries entries;
  const std::string folder = random_.oneIn(12) ? appId() : random_.oneIn(6) ? upper(id) : id;
  if (!isUninstall || random_.oneIn(4)) {
    entries.push_back({folder + "/mpmanifest.mft", marketplaceManifest(id)});
  }
  if (isUninstall || random_.oneIn(20)) {
    entries.push_back({folder + "/appuninstall.mft", marketplaceManifest(id)});
  }
  if (random_.oneIn(3)) entries.push_back({folder + "/confOwner.json", "{}"});
  while (random_.oneIn(10)) entries.push_back(oddEntry(id));
  if (entries.empty()) entries.push_back({folder + "/confOwner.json", "{}"});
  return entries;
}

// --- Package files ----------------------------------------------------------------------------

void Maker::shuffle(ArchiveEntries& entries) {
  for (std::size_t i = entries.size(); i > 1; --i) {
    std::swap(entries[i - 1], entries[random_.below(i)]);
  }
}

void Maker::addCertificates(ArchiveEntries& entries) {
  const auto& known = knownCertificates();
  for (std::size_t i = 0; i < known.size(); ++i) {
    if (i < 2 ? random_.oneIn(15) : !random_.oneIn(10)) continue;
    const std::string name = std::string(1, static_cast<char>('a' + random_.below(26))) +
                             (random_.oneIn(3) ? ".CRT" : ".crt");
    entries.push_back({random_.oneIn(5) ? "certs/" + name : name, known[i].octets});
    tell("    certificate " + known[i].what + " as " + entries.back().name + "\n");
  }
  if (random_.oneIn(15)) entries.push_back({"empty.crt", ""});
  if (random_.oneIn(15)) entries.push_back({"broken.crt", known[0].octets, true});
  if (random_.oneIn(30)) entries.push_back({"folder.crt/", ""});
  if (random_.oneIn(30)) entries.push_back({".crt", known[0].octets});
}

std::string Maker::signatureFile(const std::string& archive, bool isApplication) {
  const auto& all = identities();
  const std::size_t fitting = isApplication ? kApplicationIdentities : kManifestIdentities;
  std::size_t chosen = random_.oneIn(3) ? random_.below(fitting) : 0;
  if (!isApplication) chosen += kApplicationIdentities;
  if (random_.oneIn(8)) chosen = random_.below(all.size());
  const bool isOther = random_.oneIn(20);
  const std::string octets = isOther ? archive + "." : archive;
  const std::string signature = signatureBy(all[chosen], octets, random_.oneIn(4));
  facts_.signatures[signature] = {"", all[chosen].key, octets};
  for (const std::uint8_t octet : all[chosen].keyId) {
    facts_.signatures[signature].signer += "0123456789ABCDEF"[octet >> 4];
    facts_.signatures[signature].signer += "0123456789ABCDEF"[octet & 15];
  }
  tell("    signed by " + all[chosen].what + (isOther ? ", other octets\n" : "\n"));
  return signature;
}

void Maker::addSignature(ArchiveEntries& entries, const std::string& name,
                         const std::string& archive, bool isApplication) {
  if (random_.oneIn(20)) return;
  const std::string stem = name.substr(0, name.size() - 4);
  const auto add = [&](const std::string& entryName) {
    ArchiveEntry entry{entryName, signatureFile(archive, isApplication)};
    if (random_.oneIn(30)) entry.content = random_.oneIn(2) ? "" : "no signature";
    entry.isBroken = random_.oneIn(40);
    tell("      in " + entryName + " of " + std::to_string(entry.content.size()) + " octets" +
         (entry.isBroken ? " (broken)\n" : "\n"));
    entries.push_back(entry);
  };
  if (random_.oneIn(6)) {
    add(name + ".p7s");
    if (random_.oneIn(2)) return;
  }
  add(stem + (random_.oneIn(4) ? ".p7s" : ".P7S"));
  if (random_.oneIn(20)) add(stem + ".P7S");
}

void Maker::addInner(ArchiveEntries& entries, const std::string& id, bool isApplication) {
  const bool isUninstall = !isApplication && random_.oneIn(5);
  std::string name = isApplication ? id : id + (isUninstall ? "-U" : "-O");
  name = (random_.oneIn(6) ? "sub/" : "") + name + (random_.oneIn(4) ? ".Zip" : ".zip");
  if (random_.oneIn(3)) name = upper(name);
  tell("    inner " + name + "\n");
  std::string archive =
      archiveOf(isApplication ? applicationEntries(id) : manifestEntries(id, isUninstall));
  if (random_.oneIn(20)) {
    archive = random_.oneIn(2) ? archive.substr(0, archive.size() - 10) : archiveOf({});
    tell("      which cannot be read\n");
  }
  const bool isBroken = random_.oneIn(40);
  if (isBroken) tell("      broken\n");
  entries.push_back({name, archive, isBroken});
  addSignature(entries, name, archive, isApplication);
}

std::string Maker::packageFile() {
  if (random_.oneIn(25)) {
    tell("    not an archive\n");
    return "not an archive";
  }
  ArchiveEntries entries;
  addCertificates(entries);
  for (std::size_t i = 1 + random_.below(2); i > 0; --i) {
    const std::string id = appId();
    if (!random_.oneIn(5)) addInner(entries, id, true);
    if (!random_.oneIn(8)) addInner(entries, id, false);
  }
  if (random_.oneIn(10)) entries.push_back({"readme.txt", "read me"});
  if (random_.oneIn(40)) entries.push_back({std::string(256, 'n'), "a name that is too long"});
  shuffle(entries);
  tell("    as a whole\n");
  std::string archive = archiveOf(entries);
  for (const ArchiveEntry& entry : entries) {
    if (entry.name.size() >= 256) facts_.archives.erase(archive);
  }
  return archive;
}

std::string Maker::packageFileName() { return of(kFileNames); }

}  // namespace wzapp_test::scenario
