#include "wz/matrix/fleet.h"

#include <array>
#include <filesystem>
#include <system_error>
#include <utility>

#include "wz/reports/output.h"
#include "wz/reports/package_report.h"
#include "wz/terminal/package_files.h"

namespace wz {
namespace {

void addEntries(const ImageEntries& entries, Fingerprint& fingerprint) {
  fingerprint.add(static_cast<std::int64_t>(entries.size()));
  for (const ImageEntry& entry : entries) {
    fingerprint.add(entry.path).add(entry.isFolder ? 1 : 0).add(entry.content);
  }
}

void addProfile(const workstation::TerminalProfile& profile, Fingerprint& fingerprint) {
  fingerprint.add(profile.model)
      .add(profile.displayWidth)
      .add(profile.displayHeight)
      .add(profile.displayColour ? 1 : 0)
      .add(profile.keys)
      .add(profile.touch ? 1 : 0)
      .add(profile.sponsorId);
}

void addTexts(const std::vector<std::string>& texts, Fingerprint& fingerprint) {
  fingerprint.add(static_cast<std::int64_t>(texts.size()));
  for (const std::string& text : texts) fingerprint.add(text);
}

// Certificates count in the order of their files' names, the names themselves do not.
void addTrust(const workstation::NewTerminal& terminal, Fingerprint& fingerprint) {
  fingerprint.add(static_cast<std::int64_t>(terminal.ownRoots.size()));
  for (const workstation::RootCertificate& root : terminal.ownRoots) fingerprint.add(root.der);
  fingerprint.add(static_cast<std::int64_t>(terminal.authorities.size()));
  for (const workstation::AuthorityRow& row : terminal.authorities) {
    fingerprint.add(row.kind).add(row.der);
  }
}

void addExports(const TerminalImage& image, Fingerprint& fingerprint) {
  const workstation::TerminalExports& exports = image.terminal.exports;
  fingerprint.add(image.hasOwnExports ? 1 : 0);
  if (image.hasOwnExports) return addEntries(image.exports, fingerprint);
  fingerprint.add(exports.triggersVersion);
  addTexts(exports.triggers, fingerprint);
  addTexts(exports.interfaces, fingerprint);
}

}  // namespace

std::string sha256Behind(const std::string& file) {
  std::error_code failure;
  const std::filesystem::path path = std::filesystem::canonical(file, failure);
  return failure ? std::string() : sha256OfFile(path.string());
}

Fingerprint::Fingerprint() { wzapp::digestStart(&context_); }

Fingerprint& Fingerprint::add(std::string_view text) {
  add(static_cast<std::int64_t>(text.size()));
  wzapp::digestAdd(&context_, wzapp::viewOf(text));
  return *this;
}

Fingerprint& Fingerprint::add(std::int64_t number) {
  std::array<std::uint8_t, 8> octets;
  for (std::size_t i = 0; i < octets.size(); ++i) {
    octets[i] = static_cast<std::uint8_t>(static_cast<std::uint64_t>(number) >> (8 * i));
  }
  wzapp::digestAdd(&context_, octets);
  return *this;
}

std::string Fingerprint::text() {
  std::array<std::uint8_t, wzapp::kSha256Size> digest{};
  wzapp::digestFinish(&context_, digest.data());
  return hexText(digest);
}

bool Fleet::digestsOf(const std::vector<std::string>& packages, Fingerprint& fingerprint,
                      std::string& error) {
  fingerprint.add(static_cast<std::int64_t>(packages.size()));
  for (const std::string& package : packages) {
    std::string& digest = digests_[package];
    if (digest.empty()) digest = sha256Behind(package);
    if (digest.empty()) {
      error = "cannot read " + package + ", which is to be installed there";
      return false;
    }
    fingerprint.add(digest);
  }
  return true;
}

bool Fleet::add(FleetEntry entry, std::string& error) {
  if (!names_.insert(escaped(entry.name)).second) {
    error = "a second terminal is called " + entry.name;
    return false;
  }
  Fingerprint fingerprint;
  addProfile(entry.image.terminal.profile, fingerprint);
  addTrust(entry.image.terminal, fingerprint);
  addExports(entry.image, fingerprint);
  addEntries(entry.image.installed, fingerprint);
  if (!digestsOf(entry.installed, fingerprint, error)) return false;
  const std::string text = fingerprint.text();
  const auto [known, isNew] = known_.emplace(text, groups_.size());
  if (!isNew && grouping_ == Grouping::kOne) {
    terminals_[known->second].count += entry.count;
    return true;
  }
  const bool isOwn = isNew || grouping_ == Grouping::kNone;
  terminals_.push_back({entry.name, entry.count, isOwn ? groups_.size() : known->second});
  if (isOwn) groups_.push_back({text, std::move(entry.image), std::move(entry.installed)});
  return true;
}

}  // namespace wz
