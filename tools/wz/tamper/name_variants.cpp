// Everything signed as it was, but by other names, in other places, twice or not there.

#include <string>
#include <utility>

#include "support/text.h"
#include "wz/tamper/lab.h"

namespace wz {
namespace {

std::string upperStem(const std::string& archive) {
  return wzapp::toUpper(archive.substr(0, archive.size() - 4));
}

std::string notFound(const std::string& archive) {
  return "Error: Signature '" + upperStem(archive) + ".P7S' not found";
}

std::string unknown(const std::string& signature) {
  return "Error: Signature '" + signature + "' using unknown certificate";
}

void dropEntries(Lab& lab, const BaseInner& inner) {
  lab.add("missing", inner.archive + " is not there", lab.without(inner.archive),
          lab.refused(inner, {}));
  lab.add("missing", inner.signature + " is not there", lab.without(inner.signature),
          lab.refused(inner, {notFound(inner.archive)}));
  lab.add("missing", inner.certificate + " is not there", lab.without(inner.certificate),
          lab.refused(inner, {unknown(inner.signature)}));
}

void renameEntries(Lab& lab, const BaseInner& inner) {
  const std::string stem = inner.archive.substr(0, inner.archive.size() - 4);
  lab.add("rename", "the signature by another name", lab.renamed(inner.signature, "other.p7s"),
          lab.refused(inner, {notFound(inner.archive)}));
  lab.add("rename", "the signature as .p7m", lab.renamed(inner.signature, stem + ".p7m"),
          lab.refused(inner, {notFound(inner.archive)}));
  lab.add("rename", "the signature as .zip.p7s", lab.renamed(inner.signature, stem + ".zip.p7s"),
          installed());
  lab.add("rename", "the signature in upper case",
          lab.renamed(inner.signature, wzapp::toUpper(inner.signature)), installed());
  lab.add("rename", "the certificate by another name", lab.renamed(inner.certificate, "other.crt"),
          installed());
  lab.add("rename", "the certificate as .cer", lab.renamed(inner.certificate, "other.cer"),
          lab.refused(inner, {unknown(inner.signature)}));
  lab.add("rename", "the certificate in a folder",
          lab.renamed(inner.certificate, "some/where/" + inner.certificate), installed());
  lab.add("rename", "the certificate by a name that is too short",
          lab.renamed(inner.certificate, ".crt"), lab.refused(inner, {unknown(inner.signature)}));
  lab.add("rename", "the archive as .zap", lab.renamed(inner.archive, stem + ".zap"),
          lab.refused(inner, {}));
  lab.add("rename", "the archive in upper case",
          lab.renamed(inner.archive, wzapp::toUpper(inner.archive)), installed());
  lab.add("rename", "the archive as a folder", lab.renamed(inner.archive, inner.archive + "/"),
          lab.refused(inner, {}));
  lab.add("rename", "the archive by a name that is too short", lab.renamed(inner.archive, ".zip"),
          lab.refused(inner, {}));
  lab.add("rename", "the archive in a folder, its signature not",
          lab.renamed(inner.archive, "in/" + inner.archive),
          lab.refused(inner, {notFound("in/" + inner.archive)}));
  ZipItems items = lab.base().items;
  for (ZipItem& item : items) {
    if (item.name == inner.archive || item.name == inner.signature) item.name = "in\\" + item.name;
  }
  lab.add("rename", "the archive and its signature in a folder, with a backslash", items,
          installed());
}

// What a name ends in says what an archive is, and so who has to sign it.
void changeKinds(Lab& lab) {
  const BaseInner& application = lab.base().application;
  const BaseInner& marketplace = lab.base().marketplace;
  const auto asPair = [&lab](const BaseInner& inner, const std::string& stem) {
    ZipItems items = lab.base().items;
    for (ZipItem& item : items) {
      if (item.name == inner.archive) item.name = stem + ".zip";
      if (item.name == inner.signature) item.name = stem + ".p7s";
    }
    return items;
  };
  for (const char* const stem : {"x-O", "x-U", "x-o"}) {
    lab.add("kind", std::string("the application as ") + stem + ".zip", asPair(application, stem),
            onlyManifest({"Error: File '" + wzapp::toUpper(stem) +
                          ".ZIP' not signed using manifest certificate"}));
  }
  lab.add("kind", "the marketplace package as market.zip", asPair(marketplace, "market"),
          onlyApplication(lab.base().id,
                          {"Error: File 'MARKET.ZIP' not signed using application certificate"}));
  lab.add("kind", "the marketplace package as x-U.zip", asPair(marketplace, "x-U"), installed());
}

void swapEntries(Lab& lab) {
  const BaseInner& application = lab.base().application;
  const BaseInner& marketplace = lab.base().marketplace;
  const auto swapped = [&lab](const std::string& one, const std::string& other) {
    ZipItems items = lab.base().items;
    for (ZipItem& item : items) {
      if (item.name == one) {
        item.content = lab.base().contentOf(other);
      } else if (item.name == other) {
        item.content = lab.base().contentOf(one);
      }
    }
    return items;
  };
  const std::string application2 = wzapp::toUpper(application.archive);
  const std::string marketplace2 = wzapp::toUpper(marketplace.archive);
  lab.add("swap", "the certificates", swapped(application.certificate, marketplace.certificate),
          installed());
  lab.add("swap", "the signatures", swapped(application.signature, marketplace.signature),
          nothing({"Error: File '" + application2 + "' not signed using application certificate",
                   "Error: File '" + marketplace2 + "' not signed using manifest certificate"}));
  lab.add("swap", "the archives", swapped(application.archive, marketplace.archive),
          nothing({"Error: Invalid signature", "Error: Invalid signature"}));
}

// Of two entries of one name the later one counts.
void doubleEntries(Lab& lab, const BaseInner& inner) {
  const auto doubled = [&lab](const std::string& entry, bool isLast) {
    ZipItems items = lab.base().items;
    const ZipItem junk{entry, "junk"};
    items.insert(isLast ? items.end() : items.begin(), junk);
    return items;
  };
  const std::string unknownSigner = unknown(inner.signature);
  lab.add("twice", inner.archive + ", the second one junk", doubled(inner.archive, true),
          lab.refused(inner, {"Error: Invalid signature"}));
  lab.add("twice", inner.archive + ", the first one junk", doubled(inner.archive, false),
          installed());
  lab.add("twice", inner.signature + ", the second one junk", doubled(inner.signature, true),
          lab.refused(inner, {unknownSigner}));
  lab.add("twice", inner.signature + ", the first one junk", doubled(inner.signature, false),
          installed());
}

void namePackageFiles(Lab& lab) {
  const std::string octets = zipOctets(lab.base().items);
  for (const char* const name : {"PACKAGE.ZIP", "a.zip", "with blanks.ZiP"}) {
    lab.addFiles("file", std::string("the package as ") + name, {{name, octets}}, installed());
  }
  for (const char* const name : {".zip", "abc", "readme.txt", "package.zip.txt", "zip"}) {
    lab.addFiles("file", std::string("the package as ") + name, {{name, octets}}, noPackage());
  }
  lab.addFiles("file", "a folder named like a package", {{"folder.zip", "", true}},
               nothing({"Error: Failed reading '" + sourcePath("folder.zip") + "'"}));
  lab.addFiles("file", "beside the package one that is none",
               {{lab.fileName(), octets}, {"none.zip", "none"}},
               installed({"Error: Failed reading '" + sourcePath("none.zip") + "'"}));
  lab.addFiles("file", "the package twice, by two names", {{"a.zip", octets}, {"b.zip", octets}},
               installed());
  const BaseInner& application = lab.base().application;
  lab.addFiles(
      "file", "the application's certificate in a package of its own",
      {{lab.fileName(), zipOctets(lab.without(application.certificate))},
       {"signer.zip",
        zipOctets({{application.certificate, lab.base().contentOf(application.certificate)}})}},
      onlyManifest({unknown(application.signature)}));
}

}  // namespace

void addNameVariants(Lab& lab) {
  for (const BaseInner* const inner : {&lab.base().application, &lab.base().marketplace}) {
    dropEntries(lab, *inner);
    renameEntries(lab, *inner);
    doubleEntries(lab, *inner);
  }
  changeKinds(lab);
  swapEntries(lab);
  namePackageFiles(lab);
}

}  // namespace wz
