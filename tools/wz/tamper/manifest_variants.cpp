// Marketplace packages, signed anew by their own signer: sponsors, ids, places, removals.

#include <string>
#include <utility>

#include "installer/application_manifest.h"
#include "support/text.h"
#include "wz/tamper/lab.h"

namespace wz {
namespace {

constexpr std::size_t kTooLarge = (std::size_t{1} << 20) + 1;

// Adds variants of the marketplace package, which is made of these files alone.
class Marketplace {
 public:
  Marketplace(Lab& lab, const LabSigner& signer) : lab_(lab), signer_(signer) {
    own_ = manifest(lab.base().id, sponsorList());
  }

  void add(const std::string& what, const ZipItems& files, Expected expected) {
    addArchive(what, zipOctets(files), std::move(expected));
  }

  void addArchive(const std::string& what, const std::string& archive, Expected expected) {
    lab_.add("manifest", "a marketplace package " + what,
             lab_.resigned(lab_.base().marketplace, archive, signer_), std::move(expected));
  }

  // With this text for the marketplace manifest.
  void addText(const std::string& what, const std::string& text, Expected expected) {
    add(what, {{id() + "/" + wzapp::kMarketplaceManifest, text}}, std::move(expected));
  }

  // With this one for the uninstall manifest, beside a good marketplace manifest.
  void addUninstall(const std::string& what, const std::string& text, Expected expected) {
    add(what,
        {{id() + "/" + wzapp::kMarketplaceManifest, own_},
         {id() + "/" + wzapp::kUninstallManifest, text}},
        std::move(expected));
  }

  static std::string manifest(const std::string& id, const std::string& sponsors) {
    return R"({"application": {"id": ")" + id + R"("}, "sponsors": )" + sponsors + "}";
  }

  [[nodiscard]] std::string sponsorList() const {
    std::string list;
    for (const std::string& sponsor : lab_.base().sponsors) {
      list += (list.empty() ? "\"" : ", \"") + sponsor + "\"";
    }
    return "[" + list + "]";
  }

  [[nodiscard]] const std::string& id() const { return lab_.base().id; }
  [[nodiscard]] const std::string& own() const { return own_; }
  [[nodiscard]] Lab& lab() { return lab_; }
  [[nodiscard]] std::string path() const {
    return manifestPath(id() + "/" + wzapp::kMarketplaceManifest);
  }
  [[nodiscard]] std::string uninstallPath() const {
    return manifestPath(id() + "/" + wzapp::kUninstallManifest);
  }

  [[nodiscard]] Expected removed(Lines lines, Removal removal) const {
    return removedByRules(id(), id(), std::move(lines), removal);
  }

 private:
  Lab& lab_;
  const LabSigner& signer_;
  std::string own_;
};

std::string wrongSponsors(const std::string& list, const char* mode, const std::string& id) {
  return "Error: Invalid sponsor list '" + list + "' for " + mode + " '" + id +
         "', expecting sponsor '*'";
}

void addSponsors(Marketplace& marketplace) {
  const std::string& id = marketplace.id();
  const std::string first = marketplace.lab().base().sponsors.front();
  struct Row {
    const char* what;
    std::string sponsors;  // JSON
    std::string shown;     // in the log
  };
  const Row kRows[] = {
      {"for another sponsor", R"(["000000"])", "000000"},
      {"for other sponsors", R"(["000000", "000001"])", "000000,000001"},
      {"for no sponsor", "[]", ""},
      {"whose sponsors are a text", "\"" + first + "\"", ""},
      {"whose sponsor has a blank", "[\" " + first + "\"]", " " + first},
  };
  for (const Row& row : kRows) {
    marketplace.addText(
        row.what, Marketplace::manifest(id, row.sponsors),
        marketplace.removed({wrongSponsors(row.shown, "installing", id)}, Removal::kCounted));
  }
  marketplace.addText(
      "for others, too",
      Marketplace::manifest(id, "[\"000000\", " + marketplace.sponsorList().substr(1)),
      installed());
}

void addIds(Marketplace& marketplace) {
  const std::string& id = marketplace.id();
  const Expected missing =
      marketplace.removed({"Error: app id missing in " + marketplace.path()}, Removal::kUncounted);
  marketplace.addText("without an id", R"({"sponsors": )" + marketplace.sponsorList() + "}",
                      missing);
  marketplace.addText("with an empty id", Marketplace::manifest("", marketplace.sponsorList()),
                      missing);
  marketplace.addText("whose id is a path",
                      Marketplace::manifest("../" + id, marketplace.sponsorList()), missing);
  marketplace.add(
      "in a folder of another name",
      {{std::string("another/") + wzapp::kMarketplaceManifest, marketplace.own()}},
      removedByRules(id, "another", {"Mismatching directory name another"}, Removal::kCounted));
  const std::string upper = wzapp::toUpper(id);
  if (upper != id) {
    marketplace.add("in a folder in upper case",
                    {{upper + "/" + wzapp::kMarketplaceManifest, marketplace.own()}}, installed());
  }
}

void addForms(Marketplace& marketplace) {
  const std::string& id = marketplace.id();
  const std::string first = marketplace.lab().base().sponsors.front();
  const std::string appid = "[install]\nappid = " + id + "\nsponsor = ";
  marketplace.addText("with sections", appid + first + "\n", installed());
  marketplace.addText("with sections and several sponsors", appid + "000000 ,  " + first + "\n",
                      installed());
  marketplace.addText(
      "with sections for another sponsor", appid + "000000, 000001\n",
      marketplace.removed({wrongSponsors("000000, 000001", "installing", id)}, Removal::kCounted));
  const Expected missing =
      marketplace.removed({"Error: app id missing in " + marketplace.path()}, Removal::kUncounted);
  marketplace.addText("with sections, and no id", "[install]\nsponsor = " + first + "\n", missing);
  marketplace.addText("with the section of removals alone",
                      "[uninstall]\nappid = " + id + "\nsponsor = " + first + "\n", missing);
  const Expected unreadable = marketplace.removed(
      {"Error: Cannot read '" + marketplace.path() + "', invalid permissions or invalid format"},
      Removal::kUncounted);
  marketplace.addText("whose manifest has no form", "{\n", unreadable);
  marketplace.addText("whose manifest is larger than a terminal reads",
                      marketplace.own() + std::string(kTooLarge, ' '), unreadable);
}

void addArchives(Marketplace& marketplace) {
  const std::string& id = marketplace.id();
  const std::string& name = marketplace.lab().base().marketplace.archive;
  const Lines unreadable{"Error: Failed reading '" + name + "'"};
  marketplace.addArchive("that is no archive", "no archive", onlyApplication(id, unreadable));
  marketplace.addArchive("without files", zipOctets({}), onlyApplication(id, unreadable));
  marketplace.add(
      "without its manifest", {{id + "/note.txt", "x"}},
      marketplace.removed({"Warning: " + marketplace.path() + " not found"}, Removal::kUncounted));
  ZipItem locked{id + "/" + wzapp::kMarketplaceManifest, marketplace.own()};
  locked.method = 99;
  Expected lost = marketplace.removed(
      {"Error: Failed to extract '" + locked.name + "' -> '" + marketplace.path() + "'",
       "Warning: " + marketplace.path() + " not found"},
      Removal::kUncounted);
  marketplace.add("whose manifest cannot be unpacked", {locked, {id + "/note.txt", "x"}},
                  std::move(lost));
}

void addPlaces(Marketplace& marketplace) {
  const ZipItem own{marketplace.id() + "/" + wzapp::kMarketplaceManifest, marketplace.own()};
  const auto stray = [](const std::string& name) {
    return Lines{
        "Warning: " + manifestPath(name + "/" + wzapp::kMarketplaceManifest) + " not found",
        "Removing " + manifestPath(name)};
  };
  marketplace.add("with a file beside it", {own, {"stray.txt", "x"}},
                  installed(stray("stray.txt")));
  marketplace.add("with a file that climbs", {own, {"../../wz-tamper", "x"}},
                  installed(stray("_")));
  marketplace.add("with a file at /etc/wz-tamper", {own, {"/etc/wz-tamper", "x"}},
                  installed({"Error: Failed to extract '/etc/wz-tamper' -> '/etc/wz-tamper'"}));
  marketplace.add("with the manifest of another application",
                  {own,
                   {std::string("another/") + wzapp::kMarketplaceManifest,
                    Marketplace::manifest("another", marketplace.sponsorList())}},
                  installed());
}

void addRemovals(Marketplace& marketplace) {
  const std::string& id = marketplace.id();
  const std::string& path = marketplace.uninstallPath();
  const std::string removing = "Removing invalid uninstall package " + path;
  const std::string failed = "Error: Installation of " + id + " failed";
  marketplace.addUninstall("that removes it again", marketplace.own(), uninstalled(id));
  marketplace.addUninstall("with a removal of another",
                           Marketplace::manifest("another", marketplace.sponsorList()),
                           installed());
  marketplace.addUninstall(
      "with a removal for another sponsor", Marketplace::manifest(id, R"(["000000"])"),
      installed({wrongSponsors("000000", "uninstalling", id), removing, failed}));
  marketplace.addUninstall("with a removal of nothing",
                           R"({"sponsors": )" + marketplace.sponsorList() + "}",
                           installed({"Error: app id missing in " + path, removing, failed}));
  marketplace.addUninstall(
      "with a removal that has no form", "{\n",
      installed({"Error: Cannot read '" + path + "', invalid permissions or invalid format",
                 removing, failed}));
  marketplace.addUninstall("with a removal that has sections",
                           "[uninstall]\nappid = " + id +
                               "\nsponsor = " + marketplace.lab().base().sponsors.front() + "\n",
                           uninstalled(id));
}

}  // namespace

void addManifestVariants(Lab& lab) {
  if (!lab.keys().manifest) {
    return lab.leaveOut("manifest", "the private key of the signer of manifests is not there");
  }
  Marketplace marketplace(lab, *lab.keys().manifest);
  addSponsors(marketplace);
  addIds(marketplace);
  addForms(marketplace);
  addArchives(marketplace);
  addPlaces(marketplace);
  addRemovals(marketplace);
}

}  // namespace wz
