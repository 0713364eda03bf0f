"""A copy of the tree with its build, in which mutants are made and tried."""

import hashlib
import json
import os
import shutil
import subprocess
from pathlib import Path

import sandbox

# The long way: what a mutant of any folder may be caught by. Tests with a browser are not among
# them: they take minutes for each mutant.
FAR_FOLDERS = [f"tests/{name}" for name in ("support", "crypto", "archive", "installer", "runtime")]
FAR_FOLDERS += ["fuzz", "tests/tools"]

_PRESET = "asan"
# Beside the time that a test took before: another machine, a busy one, a slower mutant.
_TIME_FACTOR = 6
_TIME_EXTRA = 20


class DoesNotBuild(Exception):
    pass


class Workshop:
    def __init__(self, root, home, prefix):
        self.root = Path(root)
        self.tree = Path(home) / "tree"
        self.build = self.tree / "build" / _PRESET
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
        launcher = self.tree / "tests/mutate/launch"
        self._run(
            ["cmake", "--preset", _PRESET, f"-DCMAKE_CXX_COMPILER_LAUNCHER={launcher}"], self.tree
        )

    def make(self, *targets, mutated=False):
        """Builds targets; DoesNotBuild with the compiler's words in the log."""
        environment = dict(os.environ)
        if mutated:
            environment["WZAPP_MUTANT"] = "1"
        self._run(
            ["cmake", "--build", str(self.build), "--target", *targets], self.tree, environment
        )

    def object_of(self, file):
        return f"src/CMakeFiles/wzapp_objects.dir/{Path(file).relative_to('src')}.o"

    def _run(self, arguments, folder, environment=None):
        with open(self.log, "w") as log:
            done = subprocess.run(
                self.prefix + arguments, cwd=folder, env=environment, stdout=log,
                stderr=subprocess.STDOUT,
            )
        if done.returncode != 0:
            raise DoesNotBuild(" ".join(arguments))

    # --- Tests ---------------------------------------------------------------------------------

    def tests_of(self, folder):
        """The tests of a folder as ctest knows them, without those labelled long."""
        shown = subprocess.run(
            ["ctest", "--test-dir", str(self.build / folder), "-LE", "long",
             "--show-only=json-v1"],
            check=True, capture_output=True, text=True,
        )
        return json.loads(shown.stdout)["tests"]

    def run_test(self, test, before=None):
        """Runs one test. Returns "passed", "failed" or "timed out", and the seconds it took."""
        properties = {p["name"]: p["value"] for p in test.get("properties", [])}
        limit = float(properties.get("TIMEOUT", 120)) * 3
        if before is not None:
            limit = before * _TIME_FACTOR + _TIME_EXTRA
        environment = dict(os.environ, GTEST_FAIL_FAST="1")
        for pair in properties.get("ENVIRONMENT", []):
            name, value = pair.split("=", 1)
            environment[name] = value
        said = ""
        listen, report = os.pipe()
        with open(self.log, "wb") as log:
            child = subprocess.Popen(
                self.prefix + sandbox.command(report, limit, test["command"]),
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
        code, seconds = end["code"], end["seconds"]
        if code is None:
            return "timed out", seconds
        skipped = int(properties.get("SKIP_RETURN_CODE", -1))
        return ("passed" if code in (0, skipped) else "failed"), seconds
