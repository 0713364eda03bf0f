"""A copy of the tree with its build, in which mutants are made and tried."""

import hashlib
import json
import os
import re
import shlex
import shutil
import signal
import subprocess
import tempfile
from dataclasses import dataclass
from pathlib import Path

import sandbox

# The long way: what a mutant of any folder may be caught by. Tests with a browser are not among
# them: they take minutes for each mutant.
FAR_FOLDERS = [f"tests/{name}" for name in ("support", "crypto", "archive", "installer", "runtime")]
FAR_FOLDERS += ["fuzz", "tests/tools"]

# For many short builds and runs: no sanitizer, no optimisation, no debug information; the checks of
# the standard library stand in for what a sanitizer would have told. Warnings are none.
_BUILD = ["-DCMAKE_BUILD_TYPE=Debug", "-DCMAKE_CXX_FLAGS_DEBUG=-O0 -w -D_GLIBCXX_ASSERTIONS",
          "-DCMAKE_EXE_LINKER_FLAGS=-fuse-ld=gold", "-DCMAKE_EXPORT_COMPILE_COMMANDS=ON"]
# What was freed, or never written, is made to be seen.
_ENVIRONMENT = {"GTEST_FAIL_FAST": "1", "MALLOC_PERTURB_": "165"}
_INCLUDE = re.compile(r'^#include "([^"]+)"', re.MULTILINE)
# Beside what a test took before: a slower mutant, and for the time by the clock a busy machine.
_CPU_FACTOR, _CPU_EXTRA = 3, 5
_TIME_FACTOR, _TIME_EXTRA = 6, 60


class DoesNotBuild(Exception):
    pass


@dataclass(frozen=True)
class Effort:
    """What a test took: seconds by the clock, and of a processor."""

    seconds: float
    cpu: float


class Workshop:
    def __init__(self, root, home, prefix):
        self.root = Path(root)
        self.tree = Path(home) / "tree"
        self.build = self.tree / "build"
        self.prefix = prefix
        self.log = Path(home) / "last.log"

    # --- The tree ----------------------------------------------------------------------------

    def copy_tree(self):
        """Makes the copy what the tree is now, and returns a digest of that. The copy's build stays,
        and with it what has not changed."""
        listed = subprocess.run(
            ["git", "ls-files", "-coz", "--exclude-standard"],
            cwd=self.root, check=True, capture_output=True, text=True,
        ).stdout.split("\0")
        files = {name for name in listed if name and (self.root / name).is_file()}
        for old in [p for p in self.tree.rglob("*") if p.is_file() or p.is_symlink()]:
            name = str(old.relative_to(self.tree))
            if not name.startswith("build/") and name not in files:
                old.unlink()
        whole = hashlib.sha256()
        for name in sorted(files):
            target = self.tree / name
            source = (self.root / name).read_bytes()
            whole.update(name.encode() + b"\0" + hashlib.sha256(source).digest())
            if not target.exists() or target.read_bytes() != source:
                target.parent.mkdir(parents=True, exist_ok=True)
                shutil.copy2(self.root / name, target)
                os.utime(target)
        return whole.hexdigest()

    def read(self, file):
        return (self.tree / file).read_text()

    def write(self, file, text):
        (self.tree / file).write_text(text)

    # --- Building ------------------------------------------------------------------------------

    def configure(self):
        launcher = shutil.which("ccache")
        options = [f"-DCMAKE_CXX_COMPILER_LAUNCHER={launcher}"] if launcher else []
        self._run(
            ["cmake", "-S", str(self.tree), "-B", str(self.build), "-G", "Ninja", *_BUILD, *options]
        )

    def make(self, *targets, mutated=False):
        """Builds targets; DoesNotBuild with the compiler's words in the log. A mutant is compiled
        once: nothing of it is kept in the cache, where the source of the mutant before is found."""
        environment = dict(os.environ)
        if mutated:
            environment["CCACHE_READONLY"] = "1"
        self._run(["ninja", "-C", str(self.build), *targets], environment)

    def _run(self, arguments, environment=None):
        with open(self.log, "w") as log:
            done = subprocess.run(
                self.prefix + arguments, env=environment, stdout=log, stderr=subprocess.STDOUT
            )
        if done.returncode != 0:
            raise DoesNotBuild(" ".join(arguments))

    def code_of(self, file):
        """What an optimising compiler makes of a source as it is now. Two sources of the same code are
        the same program: no test can tell one from the other."""
        commands = json.loads((self.build / "compile_commands.json").read_text())
        command = next(one for one in commands if one["file"] == str(self.tree / file))
        words = shlex.split(command["command"])
        if Path(words[0]).name == "ccache":
            words = words[1:]
        with tempfile.NamedTemporaryFile(suffix=".o") as made:
            words[words.index("-o") + 1] = made.name
            subprocess.run(self.prefix + [*words, "-O2"], cwd=command["directory"], check=True,
                           stderr=subprocess.DEVNULL)
            return hashlib.sha256(Path(made.name).read_bytes()).hexdigest()

    # --- Tests ---------------------------------------------------------------------------------

    def tests_of(self, folder):
        """The tests of a folder as ctest knows them, without those labelled long."""
        shown = subprocess.run(
            ["ctest", "--test-dir", str(self.build / folder), "-LE", "long",
             "--show-only=json-v1"],
            check=True, capture_output=True, text=True,
        )
        tests = json.loads(shown.stdout)["tests"]
        return [dict(test, folder=folder) for test in tests]

    def targets_of(self, test):
        """What has to be built for a test: its program; for a script, and for the tools' tests, which
        call other programs, whatever their folder builds."""
        program = Path(test["command"][0])
        folder = test["folder"]
        if program.parent != self.build / "bin" or folder == "tests/tools":
            return [f"{folder}/all"]
        return [program.name]

    def suites_of(self, test):
        """The suites of a test program as it lists them; none for any other test."""
        program = Path(test["command"][0])
        if program.parent != self.build / "bin" or not program.name.endswith("_test"):
            return set()
        listed = subprocess.run(
            [*test["command"], "--gtest_list_tests"], capture_output=True, check=True
        ).stdout.decode(errors="replace")
        lines = re.findall(r"^(?:\w+/)?(\w+)(?:/\w+)?\.", listed, re.MULTILINE)
        return set(lines)

    def suites_about(self, file):
        """The suites of the tests that include the header of a source, by themselves or by way of a
        header of the tests: what is wrong there shows there first."""
        tests = {str(path.relative_to(self.tree)): path.read_text()
                 for path in (self.tree / "tests").rglob("*.*") if path.suffix in (".h", ".cpp")}
        including = {str(Path(file).relative_to("src").with_suffix(".h"))}
        size = 0
        while len(including) > size:
            size = len(including)
            including |= {name for name, text in tests.items() if name.endswith(".h")
                          and not including.isdisjoint(_INCLUDE.findall(text))}
        found = set()
        for name, text in tests.items():
            if not name.endswith("_test.cpp"):
                continue
            if Path(name).stem == f"{Path(file).stem}_test" \
                    or not including.isdisjoint(_INCLUDE.findall(text)):
                found |= set(re.findall(r"^(?:TYPED_)?TEST(?:_[FP])?\((\w+),", text, re.MULTILINE))
        return found

    def run_test(self, test, before=None, suites=()):
        """Runs one test, of a program only some suites if any are named. Returns "passed", "failed" or
        "timed out", and its effort."""
        properties = {p["name"]: p["value"] for p in test.get("properties", [])}
        limit = float(properties.get("TIMEOUT", 120)) * 6
        cpu = limit
        if before is not None:
            limit = before.seconds * _TIME_FACTOR + _TIME_EXTRA
            cpu = before.cpu * _CPU_FACTOR + _CPU_EXTRA
        command = list(test["command"])
        if suites:
            command.append("--gtest_filter=" + ":".join(f"*{suite}.*" for suite in sorted(suites)))
        environment = dict(os.environ, **_ENVIRONMENT)
        for pair in properties.get("ENVIRONMENT", []):
            name, value = pair.split("=", 1)
            environment[name] = value
        said = ""
        listen, report = os.pipe()
        with open(self.log, "wb") as log:
            child = subprocess.Popen(
                self.prefix + sandbox.command(report, limit, int(cpu), command),
                cwd=properties.get("WORKING_DIRECTORY", self.build), env=environment,
                stdin=subprocess.DEVNULL, stdout=log, stderr=subprocess.STDOUT,
                pass_fds=[report],
            )
            os.close(report)
            try:
                with os.fdopen(listen) as pipe:
                    said = pipe.read()
            finally:  # when the campaign is cut short
                if not said:
                    child.kill()
                child.wait()
        if not said:
            raise OSError(f"no end of {test['name']} was reported; see {self.log}")
        end = json.loads(said)
        code, effort = end["code"], Effort(end["seconds"], end["cpu"])
        if code is None or code == -signal.SIGXCPU:
            return "timed out", effort
        skipped = int(properties.get("SKIP_RETURN_CODE", -1))
        return ("passed" if code in (0, skipped) else "failed"), effort
