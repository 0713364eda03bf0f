#include "wz/reports/second_opinion.h"

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string_view>

#include "verifier/verdict.h"

namespace wz {
namespace {

constexpr int kFirstSignerKind = 3;  // those below are roots and authorities
constexpr const char* kAccepted = "accepted";
constexpr const char* kPath = "/mnt/flash/system/wz/package.zip";

// It has the package and its archives in memory.
constexpr std::uint64_t kMostOctets = std::uint64_t{256} << 20;

// False with the reason.
bool readFile(const PackageReport& report, std::string& octets, std::string& why) {
  std::error_code failure;
  std::uint64_t size = std::filesystem::file_size(report.file, failure);
  for (const PackageEntry& entry : report.entries) size += entry.size;
  for (const InnerReport& inner : report.inners) {
    for (const PackageEntry& entry : inner.entries) size += entry.size;
  }
  if (!failure && size > kMostOctets) {
    why = "the package is too large";
    return false;
  }
  std::ifstream file(report.file, std::ios::binary);
  octets.assign(std::istreambuf_iterator<char>(file), {});
  if (!failure && file.is_open()) return true;
  why = "the package cannot be read";
  return false;
}

verifier::Terminal terminalOf(std::span<const wzapp::Authority> authorities) {
  verifier::Terminal terminal;
  terminal.hasAllRoots = true;
  for (const wzapp::Authority& authority : authorities) {
    terminal.authorities.push_back(
        {authority.kind, std::string(authority.der.begin(), authority.der.end())});
  }
  return terminal;
}

// By which codes the verifier refuses what has that name; none: it accepts it.
std::set<std::string> refusals(const verifier::Verdict& verdict, const std::string& name) {
  std::set<std::string> codes;
  for (const auto* const list : {&verdict.findings, &verdict.causes}) {
    for (const verifier::Finding& finding : *list) {
      if (!finding.names.empty() && finding.names[0] == name) codes.insert(finding.code);
    }
  }
  return codes;
}

// The code by which the library refuses an entry.
std::string refusal(const PackageReport& report, const std::string& entry) {
  for (const Diagnostic& diagnostic : report.diagnostics) {
    if (diagnostic.entry == entry && isError(diagnostic)) return diagnostic.code;
  }
  return "refused";
}

// What is found after an archive was taken, of files that it brings, concerns the terminal.
bool isTaken(const verifier::Verdict& verdict, const std::string& entry) {
  return verdict.taken.count(entry) != 0 && refusals(verdict, entry).count("WZ-0101") == 0;
}

class Comparison {
 public:
  Comparison(const PackageReport& report, const verifier::Verdict& verdict, SecondOpinion& opinion)
      : report_(report), verdict_(verdict), opinion_(opinion) {}

  void compareFile() {
    add("", report_.refusal.empty(), refusals(verdict_, kPath).empty(), refusals(verdict_, kPath));
  }

  // What a terminal makes of a root or an authority in a package depends on its own roots.
  void compareCertificate(const PackageCertificate& certificate) {
    if (certificate.kind != 0 && certificate.kind < kFirstSignerKind) return;
    const std::set<std::string> codes = refusals(verdict_, certificate.entry);
    add(certificate.entry, certificate.kind != 0, codes.empty(), codes);
  }

  void compareArchive(const InnerReport& inner) {
    add(inner.entry, inner.isAccepted(), isTaken(verdict_, inner.entry),
        refusals(verdict_, inner.entry));
  }

 private:
  // Which of several causes is named may differ where both refuse.
  void add(const std::string& entry, bool isAccepted, bool isAcceptedByVerifier,
           const std::set<std::string>& codes) {
    if (isAccepted == isAcceptedByVerifier) return;
    opinion_.differences.push_back({entry, isAccepted ? kAccepted : refusal(report_, entry),
                                    isAcceptedByVerifier ? kAccepted
                                    : codes.empty()      ? "refused"
                                                         : *codes.begin()});
  }

  const PackageReport& report_;
  const verifier::Verdict& verdict_;
  SecondOpinion& opinion_;
};

}  // namespace

SecondOpinion secondOpinion(const PackageReport& report,
                            std::span<const wzapp::Authority> authorities) {
  SecondOpinion opinion;
  std::string octets;
  opinion.wasAsked = readFile(report, octets, opinion.whyNot);
  if (!opinion.wasAsked) return opinion;
  const verifier::Verdict verdict = verifier::judge(octets, kPath, terminalOf(authorities));
  Comparison comparison(report, verdict, opinion);
  comparison.compareFile();
  for (const PackageCertificate& certificate : report.certificates)
    comparison.compareCertificate(certificate);
  for (const InnerReport& inner : report.inners) comparison.compareArchive(inner);
  opinion.isAccepted =
      !report.inners.empty() &&
      std::all_of(report.inners.begin(), report.inners.end(),
                  [&](const auto& inner) { return isTaken(verdict, inner.entry); });
  return opinion;
}

}  // namespace wz
