// Whole installation runs by the library, by a peer program and by a program that does the least
// that any must do (peer_program.cpp, floor_program.cpp), on a file system in memory.
//
// The three take turns, each in a process of its own and on a fresh terminal; what counts is the
// processor time of the whole process. Printed are the medians: the library's time, and the ratios
// of times in the same round, beside their goals. Every run's result and what it installed is
// checked.
//
//     install_bench [--set a|b|c]... [--rounds N] [--stored]
//     install_bench --set a|b|c --prepare DIR [--stored]
//
// The programs are looked for beside this one. The archives inside the package files are deflated
// once more, unless --stored leaves them as the kit packs them. The second form only makes the
// existing folder DIR what a run begins with, DIR/packages and DIR/terminal, for a look at one
// program with a profiler.

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/install/bench_terminal.h"
#include "bench/install/measured_process.h"
#include "bench/install/package_sets.h"
#include "bench/median.h"

namespace {

namespace fs = std::filesystem;

constexpr double kMemoryGoalMB = 10;

struct Goals {
  char set;
  double floorRatio;  // at most
  double floorAim;    // 0: none beyond the goal
  double peerRatio;   // at most
  int rounds;         // unless told otherwise
};

constexpr Goals kGoals[] = {
    {'a', 1.0, 0.95, 0.85, 9},
    {'b', 1.15, 0, 0.6, 9},
    {'c', 1.0, 0.95, 0.85, 3},
};

struct Options {
  std::string sets;  // names; empty: all
  int rounds = 0;    // 0: those of each set
  bench::Packing packing = bench::Packing::kDeflated;
  std::string prepare;  // a folder; empty: measure
};

// --- Programs ---------------------------------------------------------------------------------

enum Program { kLibrary, kPeer, kFloor, kPrograms };

struct ProgramTraits {
  const char* file;
  bool deletesPackages;
};

constexpr ProgramTraits kTraits[kPrograms] = {
    {"install_by_library", true},
    {"install_by_peer", true},
    {"install_by_floor", false},
};

using Samples = std::vector<bench::Measured>;

// Installations of one set of packages.
class Contest {
 public:
  Contest(const bench::PackageSet& set, bench::Packing packing, std::string programs,
          std::string keys, const std::string& folder)
      : set_(set),
        programs_(std::move(programs)),
        keys_(std::move(keys)),
        packages_(folder + "/packages"),
        terminal_(folder + "/terminal"),
        log_(folder + "/log") {
    fs::create_directory(packages_);
    bench::makePackages(set, packing, keys_, packages_);
  }

  void prepare() { bench::makeTerminal(terminal_, keys_ + "/roots", packages_); }

  void run(int rounds) {
    for (int round = 0; round < rounds; ++round) {
      for (int turn = 0; turn < kPrograms; ++turn) install((round + turn) % kPrograms);
    }
  }

  [[nodiscard]] const Samples& samples(Program program) const { return samples_[program]; }

 private:
  void install(int program);
  void check(const ProgramTraits& program, const bench::Measured& measured);

  const bench::PackageSet& set_;
  std::string programs_, keys_, packages_, terminal_, log_;
  std::string installed_;  // digest of what the first run installed
  Samples samples_[kPrograms];
};

void Contest::install(int program) {
  prepare();
  const ProgramTraits& traits = kTraits[program];
  const bench::Measured measured = bench::measure(programs_ + "/" + traits.file, terminal_, log_);
  check(traits, measured);
  samples_[program].push_back(measured);
}

void Contest::check(const ProgramTraits& program, const bench::Measured& measured) {
  const std::string name = program.file;
  if (measured.result != 0) {
    throw std::runtime_error(name + " ended with the result " + std::to_string(measured.result));
  }
  const std::size_t left =
      program.deletesPackages ? 0 : static_cast<std::size_t>(set_.applications);
  if (bench::leftPackages(terminal_).size() != left) {
    throw std::runtime_error(name + " left other packages than it should");
  }
  const std::string installed = bench::digestOfInstalled(terminal_);
  if (installed_.empty()) installed_ = installed;
  if (installed != installed_) throw std::runtime_error(name + " installed something else");
}

// --- Figures ----------------------------------------------------------------------------------

double medianSeconds(const Samples& samples) {
  std::vector<double> seconds;
  for (const bench::Measured& sample : samples) seconds.push_back(sample.seconds);
  return bench::median(seconds);
}

double medianRatio(const Samples& ours, const Samples& others) {
  std::vector<double> ratios;
  for (std::size_t i = 0; i < ours.size(); ++i) {
    ratios.push_back(ours[i].seconds / others[i].seconds);
  }
  return bench::median(ratios);
}

double peakMB(const Samples& samples) {
  const auto byPeak = [](const auto& a, const auto& b) { return a.peakKB < b.peakKB; };
  return static_cast<double>(std::ranges::max(samples, byPeak).peakKB) * 1024e-6;
}

const char* mark(double value, double goal) { return value <= goal ? "" : "  MISSED"; }

void print(const bench::PackageSet& set, const Goals& goals, const Contest& contest) {
  const Samples& library = contest.samples(kLibrary);
  const Samples& peer = contest.samples(kPeer);
  const Samples& floor = contest.samples(kFloor);
  const double floorRatio = medianRatio(library, floor);
  const double peerRatio = medianRatio(library, peer);
  std::printf("%c  %s, %zu rounds\n", set.name, set.description, library.size());
  std::printf("   library %9.1f ms\n", medianSeconds(library) * 1e3);
  std::printf("   floor   %9.1f ms   ratio %.3f   goal %.2f", medianSeconds(floor) * 1e3,
              floorRatio, goals.floorRatio);
  if (goals.floorAim > 0) std::printf(" (aim %.2f)", goals.floorAim);
  std::printf("%s\n", mark(floorRatio, goals.floorRatio));
  std::printf("   peer    %9.1f ms   ratio %.3f   goal %.2f%s\n", medianSeconds(peer) * 1e3,
              peerRatio, goals.peerRatio, mark(peerRatio, goals.peerRatio));
  std::printf("   memory  %9.1f MB                 goal %.2f%s   (peer %.1f MB, floor %.1f MB)\n",
              peakMB(library), kMemoryGoalMB, mark(peakMB(library), kMemoryGoalMB), peakMB(peer),
              peakMB(floor));
  std::fflush(stdout);
}

// --- Command line -----------------------------------------------------------------------------

[[noreturn]] void refuse(const std::string& word) {
  throw std::runtime_error(word +
                           "? The options are --set a|b|c, --rounds N, --stored and --prepare DIR");
}

int positiveNumber(const std::string& text) {
  int number = 0;
  const char* const end = text.data() + text.size();
  const auto [rest, failure] = std::from_chars(text.data(), end, number);
  if (failure != std::errc() || rest != end || number < 1) refuse(text);
  return number;
}

bool isSetName(char name) {
  return std::ranges::any_of(bench::kPackageSets,
                             [name](const bench::PackageSet& set) { return set.name == name; });
}

// What is meant for the other benchmarks is passed over.
Options parse(const std::vector<std::string>& words) {
  Options options;
  for (std::size_t i = 0; i < words.size(); ++i) {
    if (words[i].starts_with("--benchmark_")) continue;
    if (words[i] == "--stored") {
      options.packing = bench::Packing::kStored;
      continue;
    }
    if (i + 1 == words.size()) refuse(words[i]);
    const std::string& value = words[i + 1];
    if (words[i] == "--set" && value.size() == 1 && isSetName(value[0])) {
      options.sets += value;
    } else if (words[i] == "--rounds") {
      options.rounds = positiveNumber(value);
    } else if (words[i] == "--prepare") {
      options.prepare = value;
    } else {
      refuse(words[i] + " " + value);
    }
    ++i;
  }
  return options;
}

unsigned long long neededOctets(const bench::PackageSet& set) {
  // The application, its package inside and its package file, and a little for the rest.
  return 4ULL * static_cast<unsigned>(set.applications) * static_cast<unsigned>(set.files) *
             set.fileOctets +
         (64ULL << 20);
}

void runSet(const bench::PackageSet& set, const Goals& goals, const Options& options,
            const std::string& programs) {
  if (!options.prepare.empty()) {
    Contest(set, options.packing, programs, KEY_DIRECTORY, options.prepare).prepare();
    return;
  }
  const bench::WorkFolder folder(neededOctets(set));
  Contest contest(set, options.packing, programs, KEY_DIRECTORY, folder.path());
  contest.run(options.rounds > 0 ? options.rounds : goals.rounds);
  print(set, goals, contest);
}

}  // namespace

int main(int argc, char** argv) try {
  const Options options = parse({argv + 1, argv + argc});
  const std::string programs = fs::read_symlink("/proc/self/exe").parent_path();
  for (std::size_t i = 0; i < std::size(bench::kPackageSets); ++i) {
    const bench::PackageSet& set = bench::kPackageSets[i];
    if (!options.sets.empty() && options.sets.find(set.name) == std::string::npos) continue;
    runSet(set, kGoals[i], options, programs);
  }
  return EXIT_SUCCESS;
} catch (const std::exception& problem) {
  std::fprintf(stderr, "install_bench: %s\n", problem.what());
  return EXIT_FAILURE;
}
