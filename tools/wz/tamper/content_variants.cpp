// Applications, signed anew by their own signer: what they import, how they are packed, where their
// files are to go, older and newer versions.

#include <string>
#include <utility>

#include "support/text.h"
#include "wz/tamper/lab.h"
#include "wz/words/drop_if.h"

namespace wz {
namespace {

// Adds variants of the application's archive.
class Applications {
 public:
  Applications(Lab& lab, const LabSigner& signer)
      : lab_(lab), signer_(signer), id_(lab.base().id) {}

  void add(const std::string& what, const ZipItems& files, Expected expected) {
    addArchive(what, zipOctets(files), std::move(expected));
  }

  void addArchive(const std::string& what, const std::string& archive, Expected expected) {
    lab_.add("content", "an application " + what,
             lab_.resigned(lab_.base().application, archive, signer_), std::move(expected));
  }

  // With these members in its manifest, which names it.
  void addManifest(const std::string& what, const std::string& members, Expected expected) {
    addManifestText(what,
                    R"({"application": {"id": ")" + id_ + R"("})" + (members.empty() ? "" : ", ") +
                        members + "}",
                    std::move(expected));
  }

  void addManifestText(const std::string& what, const std::string& text, Expected expected) {
    ZipItems files = lab_.base().applicationFiles;
    for (ZipItem& file : files) {
      if (file.name == id_ + ".MFT") file.content = text;
    }
    add(what, files, std::move(expected));
  }

  [[nodiscard]] ZipItems with(const ZipItem& more) const {
    ZipItems files = lab_.base().applicationFiles;
    files.push_back(more);
    return files;
  }

  [[nodiscard]] const std::string& id() const { return id_; }
  [[nodiscard]] Lab& lab() { return lab_; }

 private:
  Lab& lab_;
  const LabSigner& signer_;
  std::string id_;
};

struct Import {
  const char* what;
  const char* members;
  Lines missing;
};

void addImports(Applications& applications) {
  const std::string platform = "Error: Platform * or model * not supported";
  const Import kImports[] = {
      {"for newer triggers",
       R"("imports_sdk": {"triggers_min_version": "999.0"})",
       {"Error: trigger version * less than 999.0"}},
      {"for older triggers",
       R"("imports_sdk": {"triggers_max_version": "0"})",
       {"Error: trigger version * higher than 0"}},
      {"for a newer runtime",
       R"("imports_sdk": {"wzruntime_min_version": "2.46.7"})",
       {"Error: WZ runtime version 2.46.6 less than 2.46.7"}},
      {"for a runtime with a number more",
       R"("imports_sdk": {"wzruntime_min_version": "2.46.6.0"})",
       {"Error: WZ runtime version 2.46.6 less than 2.46.6.0"}},
      {"for an older runtime",
       R"("imports_sdk": {"wzruntime_max_version": "2.46.5"})",
       {"Error: WZ runtime version 2.46.6 higher than 2.46.5"}},
      {"for a runtime with a number less",
       R"("imports_sdk": {"wzruntime_max_version": "2.46"})",
       {"Error: WZ runtime version 2.46.6 higher than 2.46"}},
      {"that needs a trigger",
       R"("imports_trigger": [{"id": "NO_SUCH_TRIGGER"}])",
       {"Error: Missing trigger NO_SUCH_TRIGGER"}},
      {"that needs an interface",
       R"("imports_api": [{"id": "no.such.api"}])",
       {"Error: Missing api no.such.api"}},
      {"for no platform at all", R"("imports_hardware": {"platforms": []})", {platform}},
      {"for another platform",
       R"("imports_hardware": {"platforms": ["1x1M0N", "X1"]})",
       {platform}},
      {"that misses everything",
       R"("imports_sdk": {"wzruntime_min_version": "3"}, "imports_trigger": [{"id": "A1"}, {"id": "A2"}],
          "imports_api": [{"id": "B1"}], "imports_hardware": {"platforms": ["X1"]})",
       {"Error: WZ runtime version 2.46.6 less than 3", "Error: Missing trigger A1",
        "Error: Missing trigger A2", "Error: Missing api B1", platform}},
  };
  for (const Import& import : kImports) {
    applications.addManifest(import.what, import.members,
                             removedByDependencies(applications.id(), import.missing));
  }
  const std::pair<const char*, const char*> kMet[] = {
      {"for this very runtime",
       R"("imports_sdk": {"wzruntime_min_version": "2.46.6", "wzruntime_max_version": "2.46.6"})"},
      {"for a runtime from 2.46 on", R"("imports_sdk": {"wzruntime_min_version": "2.46"})"},
      {"that can do without a trigger",
       R"("imports_trigger": [{"id": "NO_SUCH_TRIGGER", "optional": true}])"},
      {"that can do without an interface",
       R"("imports_api": [{"id": "no.such.api", "optional": true}])"},
      {"that needs what it exports itself",
       R"("exports_trigger": [{"id": "OWN"}], "imports_trigger": [{"id": "OWN"}])"},
  };
  for (const auto& [what, members] : kMet) applications.addManifest(what, members, installed());
}

void addVersions(Applications& applications) {
  for (const char* const version : {R"("0.0.1")", R"("999.0")", R"("1.2.0")", R"("")", "7"}) {
    applications.addManifestText(
        std::string("of the version ") + version,
        R"({"application": {"id": ")" + applications.id() + R"(", "version": )" + version + "}}",
        installed());
  }
}

void addManifestForms(Applications& applications) {
  const std::string path = applicationPath(applications.id() + ".MFT");
  const Expected notJson = installed({path + " not in JSON format, skipping."});
  applications.addManifestText("whose manifest has sections",
                               "[install]\nappid = " + applications.id() + "\n", notJson);
  applications.addManifestText("whose manifest is no JSON", "{\"application\": ", notJson);
  applications.addManifestText("whose manifest begins with a byte order mark", "\xEF\xBB\xBF{}",
                               notJson);
  applications.addManifestText("whose manifest is empty", "", notJson);
  applications.addManifestText("whose manifest names nothing", "{}", installed());
  applications.addManifestText("whose manifest names another",
                               R"({"application": {"id": "another"}})", installed());
  applications.addManifestText("whose manifest names a path",
                               R"({"application": {"id": "../another"}})", installed());
  ZipItems files = applications.lab().base().applicationFiles;
  dropIf(files,
         [&applications](const ZipItem& file) { return file.name == applications.id() + ".MFT"; });
  applications.add("without a manifest", files, installed());
}

void addArchives(Applications& applications) {
  const std::string& name = applications.lab().base().application.archive;
  const Expected unreadable = onlyManifest({"Error: Failed reading '" + name + "'"});
  applications.addArchive("that is no archive", "no archive", unreadable);
  applications.addArchive("without files", zipOctets({}), unreadable);
  applications.add("with a name of 256 octets",
                   applications.with({applications.id() + "/" + std::string(256, 'n'), "x"}),
                   unreadable);
}

std::string notExtracted(const std::string& name, const std::string& destination) {
  return "Error: Failed to extract '" + name + "' -> '" + destination + "'";
}

void addPlaces(Applications& applications) {
  const std::string id = applications.id();
  applications.add("with a file at /etc/wz-tamper", applications.with({"/etc/wz-tamper", "x"}),
                   installed({notExtracted("/etc/wz-tamper", "/etc/wz-tamper")}));
  applications.add("with a file at C:/wz-tamper", applications.with({"C:/wz-tamper", "x"}),
                   installed({notExtracted("C:/wz-tamper", "C:/wz-tamper")}));
  applications.add("with a file that climbs", applications.with({"../../wz-tamper", "x"}),
                   installed(strayApplication("_")));
  applications.add("with a file that climbs out of its folder",
                   applications.with({id + "/../wz-tamper", "x"}), installed());
  applications.add("with a file behind backslashes", applications.with({id + "\\deep\\file", "x"}),
                   installed());
  applications.add("with files of another application",
                   applications.with({"another/index.html", "x"}),
                   installed(strayApplication("another")));
  applications.add("with a file beside it", applications.with({"stray.txt", "x"}),
                   installed(strayApplication("stray.txt")));
  applications.add("with another manifest beside it", applications.with({"another.MFT", "{}"}),
                   installed({"Removing " + applicationPath("another.MFT")}));
  ZipItem locked{id + "/locked", "x"};
  locked.method = 99;
  applications.add("with a file packed in a way that nobody knows", applications.with(locked),
                   installed({notExtracted(id + "/locked", applicationPath(id + "/locked"))}));
  applications.add("with an empty folder", applications.with({id + "/empty/", ""}), installed());
}

}  // namespace

void addContentVariants(Lab& lab) {
  if (!lab.keys().application) {
    return lab.leaveOut("content", "the private key of the signer of applications is not there");
  }
  Applications applications(lab, *lab.keys().application);
  addImports(applications);
  addVersions(applications);
  addManifestForms(applications);
  addArchives(applications);
  addPlaces(applications);
}

}  // namespace wz
