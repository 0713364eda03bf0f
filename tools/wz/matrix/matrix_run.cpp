#include "wz/matrix/matrix_run.h"

#include <utility>

namespace wz {
namespace {

// What a trial costs beside what the package's octets do, in octets.
constexpr double kTrialWeight = 1000000;

double weightOf(const MatrixPackage& package) {
  return kTrialWeight + static_cast<double>(package.octets);
}

double weightOf(const MatrixPackages& packages, const Fleet& fleet, const MatrixPlan& plan) {
  double weight = 0;
  for (std::size_t package = 0; package < packages.all().size(); ++package) {
    for (std::size_t group = 0; group < fleet.groups().size(); ++group) {
      if (plan.isShared(package, group)) weight += weightOf(packages.all()[package]);
    }
  }
  return weight;
}

}  // namespace

MatrixRun::MatrixRun(MatrixPackages& packages, const Fleet& fleet, const MatrixPlan& plan,
                     Hearer hear)
    : packages_(packages),
      fleet_(fleet),
      plan_(plan),
      hear_(std::move(hear)),
      terminalsOf_(fleet.groups().size()),
      kept_(packages.all().size() * fleet.groups().size()),
      progress_(plan.cellCount(), weightOf(packages, fleet, plan)) {
  for (const FleetTerminal& terminal : fleet.terminals()) ++terminalsOf_[terminal.group];
  skipOthers();
}

MatrixRun::Kept& MatrixRun::keptOf(std::size_t package, std::size_t group) {
  return kept_[package * fleet_.groups().size() + group];
}

void MatrixRun::keep(std::size_t package, std::size_t group, Verdict verdict) {
  std::weak_ptr<const Verdict>& known = equal_[verdict.json];
  Kept kept = known.lock();
  if (kept == nullptr) known = kept = std::make_shared<const Verdict>(std::move(verdict));
  keptOf(package, group) = std::move(kept);
}

void MatrixRun::skipOthers() {
  while (!isTold_ && !plan_.isShared(at_.package, fleet_.terminals()[at_.terminal].group)) goOn();
}

void MatrixRun::goOn() { isTold_ = !at_.next(plan_.shape()); }

bool MatrixRun::tell() {
  while (!isTold_) {
    const Kept& kept = keptOf(at_.package, fleet_.terminals()[at_.terminal].group);
    if (kept == nullptr) return true;
    if (!hear_(at_, *kept)) return false;
    goOn();
    skipOthers();
  }
  return true;
}

bool MatrixRun::takeEarlier(const CellPlace& place, const Verdict& verdict) {
  if (isTold_ || place.package != at_.package || place.terminal != at_.terminal) return false;
  const std::size_t group = fleet_.terminals()[place.terminal].group;
  if (keptOf(place.package, group) == nullptr) {
    keep(place.package, group, verdict);
    progress_.leaveOut(terminalsOf_[group], weightOf(packages_.all()[place.package]));
  }
  hasFailed_ = !hear_(place, verdict);
  goOn();
  skipOthers();
  return true;
}

std::optional<Batch> MatrixRun::nextBatch() {
  const auto isKnown = [this](std::size_t package, std::size_t group) {
    return keptOf(package, group) != nullptr;
  };
  const std::optional<MatrixPlan::Work> work = plan_.nextWork(isKnown);
  if (!work) return std::nullopt;
  const TerminalImage& image = fleet_.groups()[work->group].image;
  Batch batch{work->group, {}};
  const auto add = [&](std::vector<std::size_t> packages) {
    std::shared_ptr<const PackageFiles> files = packages_.open(packages, image);
    hasFailed_ = hasFailed_ || files == nullptr;
    batch.trials.push_back({std::move(files), std::move(packages)});
  };
  if (plan_.shape().isTogether) {
    add(work->packages);
  } else {
    for (const std::size_t package : work->packages) add({package});
  }
  if (hasFailed_) return std::nullopt;
  return batch;
}

bool MatrixRun::run(unsigned jobs, std::chrono::milliseconds longest) {
  hasFailed_ = hasFailed_ || !tell();
  CellWorkers workers(fleet_.groups(), jobs, longest);
  const CellWorkers::Calls calls{[this] { return hasFailed_ ? std::nullopt : nextBatch(); },
                                 [this](std::size_t package, std::size_t group, Verdict verdict) {
                                   keep(package, group, std::move(verdict));
                                   progress_.add(terminalsOf_[group],
                                                 weightOf(packages_.all()[package]));
                                 },
                                 [this] {
                                   hasFailed_ = hasFailed_ || !tell();
                                   if (!hasFailed_) progress_.show();
                                   return !hasFailed_;
                                 }};
  const bool isDone = !hasFailed_ && workers.run(calls) && !hasFailed_;
  progress_.clear();
  return isDone;
}

}  // namespace wz
