// Octets that are others, or not there at all, without anybody having signed anew.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "wz/tamper/lab.h"

namespace wz {
namespace {

constexpr std::string_view kEndMagic = "PK\x05\x06";
constexpr std::uint16_t kUnknownMethod = 99;

std::string at(std::size_t position) { return "at octet " + std::to_string(position); }

// Any octet of an archive, wherever it stands: its digest is another one.
void flipArchive(Lab& lab, const BaseInner& inner) {
  constexpr std::size_t kFlips = 20;
  const std::string& octets = lab.base().contentOf(inner.archive);
  for (std::size_t i = 0; i < kFlips; ++i) {
    const std::size_t position = (octets.size() - 1) * i / (kFlips - 1);
    std::string changed = octets;
    changed[position] ^= static_cast<char>(1 << i % 8);
    lab.add("flip", "a bit of " + inner.archive + " " + at(position),
            lab.with(inner.archive, changed), lab.refused(inner, {"Error: Invalid signature"}));
  }
  lab.add("flip", inner.archive + " with an octet more", lab.with(inner.archive, octets + '\0'),
          lab.refused(inner, {"Error: Invalid signature"}));
  lab.add("flip", inner.archive + " with an octet less",
          lab.with(inner.archive, octets.substr(0, octets.size() - 1)),
          lab.refused(inner, {"Error: Invalid signature"}));
}

// Up to the first archive inside there is nothing that a reader could take for the end of one.
void cutPackage(Lab& lab) {
  constexpr std::size_t kCuts = 16;
  const std::string octets = zipOctets(lab.base().items);
  const std::size_t firstEnd = octets.find(kEndMagic);
  const Lines unreadable{"Error: Failed reading '" + sourcePath(lab.fileName()) + "'"};
  for (std::size_t i = 0; i < kCuts; ++i) {
    const std::size_t size = i < 4 ? i : firstEnd * (i - 3) / (kCuts - 4);
    lab.addOctets("cut", "the package, cut off behind octet " + std::to_string(size),
                  octets.substr(0, size), nothing(unreadable));
  }
  lab.addOctets("cut", "the package without its last 18 octets",
                octets.substr(0, octets.size() - 18), nothing(unreadable));
  // The length of a comment, which there is not.
  lab.addOctets("cut", "the package without its last 2 octets", octets.substr(0, octets.size() - 2),
                installed());
  // What is left ends like the archive inside, and is taken for it: there is nothing to install.
  const std::size_t lastInner = octets.rfind(kEndMagic, octets.rfind(kEndMagic) - 1);
  constexpr std::size_t kEndSize = 22;
  lab.addOctets("cut", "the package, cut off right behind the last archive inside",
                octets.substr(0, lastInner + kEndSize), nothing({}));
}

void changeAround(Lab& lab) {
  const std::string octets = zipOctets(lab.base().items);
  lab.addOctets("around", "octets in front of the package", "#!/bin/sh\nexit\n" + octets,
                installed());
  lab.addOctets("around", "octets behind the package", octets + std::string(100, 'x'), installed());
  const Lines unreadable{"Error: Failed reading '" + sourcePath(lab.fileName()) + "'"};
  lab.addOctets("around", "a text instead of a package", "This is no package.\n",
                nothing(unreadable));
  lab.addOctets("around", "an archive without entries", zipOctets({}), nothing(unreadable));
  lab.addOctets("around", "an archive with a text alone",
                zipOctets({{"readme.txt", "Nothing to install.\n"}}), nothing({}));
}

// What stands in the directory, but cannot be unpacked or is empty.
void spoilEntries(Lab& lab, const BaseInner& inner) {
  const auto unreadable = [](const std::string& entry) {
    return "Error: Failed to extract '" + entry + "'";
  };
  const std::string unknown =
      "Error: Signature '" + inner.signature + "' using unknown certificate";
  const auto spoiled = [&lab](const std::string& entry) {
    ZipItems items = lab.base().items;
    for (ZipItem& item : items) {
      if (item.name == entry) item.method = kUnknownMethod;
    }
    return items;
  };
  lab.add("unpack", inner.archive + " packed in a way that nobody knows", spoiled(inner.archive),
          lab.refused(inner, {unreadable(inner.archive)}));
  lab.add("unpack", inner.signature + " packed in a way that nobody knows",
          spoiled(inner.signature), lab.refused(inner, {unreadable(inner.signature)}));
  lab.add("unpack", inner.certificate + " packed in a way that nobody knows",
          spoiled(inner.certificate), lab.refused(inner, {unreadable(inner.certificate), unknown}));
  lab.add("empty", inner.archive + " without an octet", lab.with(inner.archive, ""),
          lab.refused(inner, {"Error: Invalid signature"}));
  lab.add("empty", inner.signature + " without an octet", lab.with(inner.signature, ""),
          lab.refused(inner, {unreadable(inner.signature)}));
  lab.add("empty", inner.certificate + " without an octet", lab.with(inner.certificate, ""),
          lab.refused(inner, {unreadable(inner.certificate), unknown}));
}

}  // namespace

void addOctetVariants(Lab& lab) {
  for (const BaseInner* const inner : {&lab.base().application, &lab.base().marketplace}) {
    flipArchive(lab, *inner);
    spoilEntries(lab, *inner);
  }
  cutPackage(lab);
  changeAround(lab);
}

}  // namespace wz
