#!/usr/bin/env python3
"""Changes the library in small ways and asks whether a test notices.

Everything happens in a copy below build/mutate; the tree itself is only read. A campaign that was
cut short goes on where it was when it is called again.
"""

import argparse
import collections
import fcntl
import hashlib
import json
import random
import shlex
import sys
import time
from dataclasses import asdict, astuple, dataclass
from difflib import unified_diff
from pathlib import Path

import candidates
from workshop import FAR_FOLDERS, DoesNotBuild, Effort, Workshop

KILLED, SURVIVED, UNBUILT, TIMED_OUT = "killed", "survived", "does not build", "timed out"
SURVIVED_NEAR = "survived its folder"  # the long way is still before it
SAME_CODE = "the same code"  # no change but in the text, as an optimising compiler sees it
RESULTS = (KILLED, TIMED_OUT, SURVIVED_NEAR, SURVIVED, SAME_CODE, UNBUILT)


def arguments():
    parser = argparse.ArgumentParser(
        prog="./dev mutate", description=__doc__, formatter_class=argparse.RawTextHelpFormatter
    )
    parser.add_argument("count", nargs="?", type=int, default=30, help="mutants to try (30)")
    parser.add_argument("--seed", type=int, help="choose the same ones again")
    parser.add_argument("--in", dest="folders", action="append", metavar="PATH",
                        help="mutate what is below PATH only (src); may be repeated")
    parser.add_argument("--headers", action="store_true", help="headers too: slow")
    parser.add_argument("--near", action="store_true",
                        help="only with the tests of its folder each, not the long way")
    parser.add_argument("--new", action="store_true", help="forget a campaign that was cut short")
    parser.add_argument("--with", dest="prefix", default="nice -n 19", metavar="COMMAND",
                        help="put before every build and test ('nice -n 19')")
    parser.add_argument("--report", action="store_true", help="say what is known and stop")
    return parser.parse_args()


# --- The campaign ---------------------------------------------------------------------------------


class Campaign:
    """The chosen mutants, and what became of them, in files that outlive the process."""

    def __init__(self, home):
        self.plan = home / "plan.json"
        self.results = home / "results.jsonl"
        self.seed, self.sources, self.mutants = None, None, []
        if self.plan.exists():
            plan = json.loads(self.plan.read_text())
            self.seed, self.sources = plan["seed"], plan["sources"]
            self.mutants = [candidates.Mutant(**m) for m in plan["mutants"]]

    def outcomes(self):
        """One of each mutant that was tried, in the order of the plan."""
        last = {}
        if self.results.exists():
            for line in self.results.read_text().splitlines():
                outcome = json.loads(line)
                last[outcome["key"]] = outcome
        return [last[m.key()] for m in self.mutants if m.key() in last]

    def remaining(self):
        """Those that were not tried yet, and those that have the long way before them."""
        results = {outcome["key"]: outcome["result"] for outcome in self.outcomes()}
        return ([m for m in self.mutants if m.key() not in results],
                [m for m in self.mutants if results.get(m.key()) == SURVIVED_NEAR])

    def begin(self, seed, sources, mutants):
        self.results.unlink(missing_ok=True)
        self.seed, self.sources, self.mutants = seed, sources, mutants
        plan = {"seed": seed, "sources": sources, "mutants": [asdict(m) for m in mutants]}
        self.plan.write_text(json.dumps(plan))

    def add(self, mutant, result, by, diff):
        outcome = {"key": mutant.key(), "file": mutant.file, "line": mutant.line,
                   "kind": mutant.kind, "result": result, "by": by, "diff": diff}
        with open(self.results, "a") as out:
            out.write(json.dumps(outcome) + "\n")


def source_files(root, folders, with_headers):
    endings = {".cpp", ".h"} if with_headers else {".cpp"}
    files = set()
    for folder in folders:
        start = root / folder
        found = [start] if start.is_file() else start.rglob("*")
        files |= {str(f.relative_to(root)) for f in found if f.suffix in endings}
    return sorted(files)


def digest(root, files):
    """What tells whether the sources are still those that a campaign was planned for."""
    whole = hashlib.sha256()
    for file in files:
        whole.update(file.encode() + b"\0" + (root / file).read_bytes() + b"\0")
    return whole.hexdigest()


# --- Trying one -------------------------------------------------------------------------------------


@dataclass(frozen=True)
class Trial:
    """A test, or of its program some suites."""

    test: dict
    suites: tuple

    def name(self):
        return " ".join([self.test["name"], *self.suites])


class Bench:
    """Tries mutants with the tests of a workshop."""

    def __init__(self, workshop, tree, home):
        self.workshop = workshop
        self.tree = tree  # digest of what the tests were seen to pass with
        self.file = home / "unchanged.json"
        self.tests = {}  # by folder, those that pass without a change
        self.suites = {}  # by test
        self.efforts = {}  # by trial; None where it fails without a change
        self.caught = collections.Counter()  # by file and trial, how many it has caught
        if self.file.exists():
            known = json.loads(self.file.read_text())
            if known["tree"] == tree:
                self.efforts = {name: effort and Effort(*effort)
                                for name, effort in known["efforts"].items()}

    def prepare(self, folder):
        """Builds a folder's tests without a change and learns what they hold."""
        if folder in self.tests:
            return
        self.workshop.make(f"{folder}/all")
        self.tests[folder] = self.workshop.tests_of(folder)
        for test in self.tests[folder]:
            self.suites[test["name"]] = self.workshop.suites_of(test)

    def passes_unchanged(self, trial):
        """Whether it passes without a change; if so, how fast is known."""
        if trial.name() not in self.efforts:
            self.workshop.make(*self.workshop.targets_of(trial.test))  # what a mutant has left
            result, effort = self.workshop.run_test(trial.test, None, trial.suites)
            self.efforts[trial.name()] = effort if result == "passed" else None
            known = {name: effort and astuple(effort) for name, effort in self.efforts.items()}
            self.file.write_text(json.dumps({"tree": self.tree, "efforts": known}))
            if result != "passed":
                print(f"  {trial.name()} is left out: {result} without any change", flush=True)
        return self.efforts[trial.name()] is not None

    def trials(self, file, folders, is_far):
        """What is run for a change in a file: the suites about it and then its whole folder; the long
        way, everything else. Each time first what has caught something there, then the quickest."""
        tests = [test for folder in folders for test in self.tests[folder]]
        whole = [Trial(test, ()) for test in tests]
        if is_far:
            return self.ranked(file, whole)
        about = self.workshop.suites_about(file)
        first = [Trial(test, tuple(sorted(about & self.suites[test["name"]]))) for test in tests]
        return self.ranked(file, [t for t in first if t.suites]) + self.ranked(file, whole)

    def ranked(self, file, trials):
        def rank(trial):
            return -self.caught[file, trial.name()], self.efforts[trial.name()].cpu
        return sorted(filter(self.passes_unchanged, trials), key=rank)

    def attempt(self, mutant, trials, survived):
        """What becomes of a mutant that is in place, and by what. No more is built than is run."""
        try:
            for trial in trials:
                self.workshop.make(*self.workshop.targets_of(trial.test), mutated=True)
                before = self.efforts[trial.name()]
                result, _ = self.workshop.run_test(trial.test, before, trial.suites)
                if result != "passed":
                    self.caught[mutant.file, trial.name()] += 1
                    return (TIMED_OUT if result == "timed out" else KILLED), trial.test["name"]
        except DoesNotBuild:
            return UNBUILT, "the compiler"
        return survived, ""

    def try_mutant(self, mutant, is_far):
        """Leaves the copy as it was. Returns the result, what told it, and the change."""
        near = f"tests/{Path(mutant.file).parts[1]}"
        folders = [folder for folder in FAR_FOLDERS if folder != near] if is_far else [near]
        for folder in folders:
            self.prepare(folder)
        trials = self.trials(mutant.file, folders, is_far)
        source = self.workshop.read(mutant.file)
        changed = mutant.apply(source)
        diff = "".join(
            unified_diff(source.splitlines(True), changed.splitlines(True), mutant.file,
                         mutant.file, n=1)
        )
        survived = SURVIVED if is_far else SURVIVED_NEAR
        self.workshop.write(mutant.file, changed)
        try:
            result, by = self.attempt(mutant, trials, survived)
            code = self.workshop.code_of(mutant.file) if result == survived else None
        finally:
            self.workshop.write(mutant.file, source)
        if result == survived and self.workshop.code_of(mutant.file) == code:
            result = SAME_CODE
        return result, by, diff


def run(campaign, bench, ways):
    """Each mutant with the tests of its folder; then the long way for those that are left."""
    for is_far in ways:
        for mutant in campaign.remaining()[is_far]:
            began = time.monotonic()
            result, by, diff = bench.try_mutant(mutant, is_far)
            campaign.add(mutant, result, by, diff)
            print(f"{mutant.file}:{mutant.line} {mutant.kind}: {result}"
                  f"{' by ' + by if by else ''} ({time.monotonic() - began:.0f} s)", flush=True)


# --- What is said -----------------------------------------------------------------------------------


def report(campaign):
    outcomes = campaign.outcomes()
    print(f"\nSeed {campaign.seed}: {len(outcomes)} of {len(campaign.mutants)} mutants tried\n")
    table = collections.defaultdict(collections.Counter)
    for outcome in outcomes:
        table[str(Path(outcome["file"]).parent)][outcome["result"]] += 1
    print(f"{'':24}" + "".join(f"{result:>16}" for result in RESULTS))
    for folder in sorted(table):
        print(f"{folder:24}" + "".join(f"{table[folder][result]:>16}" for result in RESULTS))
    whole = sum(table.values(), collections.Counter())
    print(f"{'all':24}" + "".join(f"{whole[result]:>16}" for result in RESULTS))
    valid = len(outcomes) - whole[UNBUILT] - whole[SAME_CODE]
    if valid:
        killed = whole[KILLED] + whole[TIMED_OUT]
        print(f"\n{100 * killed / valid:.1f} % of {valid} valid mutants killed")
    for outcome in outcomes:
        if outcome["result"] in (SURVIVED, SURVIVED_NEAR):
            print(f"\n{outcome['result'].capitalize()} ({outcome['kind']}):\n{outcome['diff']}", end="")


def main():
    options = arguments()
    root = Path(__file__).resolve().parents[2]
    home = root / "build/mutate"
    home.mkdir(parents=True, exist_ok=True)
    campaign = Campaign(home)
    if options.report:
        report(campaign)
        return 0

    lock = open(home / "lock", "w")
    try:
        fcntl.flock(lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
    except BlockingIOError:
        print("mutate: another campaign is going on in this tree", file=sys.stderr)
        return 3

    files = source_files(root, options.folders or ["src"], options.headers)
    sources = digest(root, files)
    if options.new or campaign.sources != sources or not any(campaign.remaining()):
        seed = options.seed if options.seed is not None else random.SystemRandom().randrange(10**6)
        found = [m for f in files for m in candidates.mutants(f, (root / f).read_text())]
        chosen = candidates.choose(found, options.count, random.Random(seed))
        campaign.begin(seed, sources, chosen)
        print(f"Seed {seed}: {len(chosen)} of {len(found)} mutants of {len(files)} files")
    else:
        print(f"Seed {campaign.seed}: going on")

    workshop = Workshop(root, home, shlex.split(options.prefix))
    try:
        tree = workshop.copy_tree()
        workshop.configure()
        ways = (False,) if options.near else (False, True)
        run(campaign, Bench(workshop, tree, home), ways)
    except DoesNotBuild as failure:
        print(f"mutate: {failure} failed; its words are in {workshop.log}", file=sys.stderr)
        return 1
    except KeyboardInterrupt:
        print("\nCut short; the same command goes on from here.")
    report(campaign)
    return 0


if __name__ == "__main__":
    sys.exit(main())
