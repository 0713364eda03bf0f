"""Cuts the power between the changes that an installation makes, on file systems of its own.

    power_cuts.py POWER_HOST

The file system lies in an image on a loop device. Between two changes of the run the image is
copied: that is what the flash would hold if the power went now. Since most of it is still in the
kernel's memory then, some is brought to the image before, in another way at each cut. Every copy is
mounted, its journal is played back as after a cut, and the installer runs again: what comes of it
must be what comes of a run that nobody disturbs.

Ends with 77 where there is no root or no loop device.
"""

import contextlib
import os
import random
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

SKIPPED = 77
IMAGE_SIZE = 48 << 20  # above the reserve that the installer leaves
LEAST_CUTS = 200
APPLICATIONS = "flash/etc/config/wzapp/wz/"
# Kernel timers would write while an image is copied; nothing but the test does then.
NO_TIMER = "commit=1000,noatime"

# Name, how to make one, how to mount it.
FILE_SYSTEMS = [
    ("ext4", ["mkfs.ext4", "-qF"], f"data=ordered,{NO_TIMER}"),
    ("ext4", ["mkfs.ext4", "-qF"], f"data=writeback,{NO_TIMER}"),
    ("ext4", ["mkfs.ext4", "-qF"], f"data=writeback,nodelalloc,{NO_TIMER}"),
    ("f2fs", ["mkfs.f2fs", "-qf"], "noatime"),
]


def call(*arguments):
    subprocess.run(arguments, check=True, stdout=subprocess.DEVNULL)


@contextlib.contextmanager
def mounted(image, folder, kind, options):
    call("mount", "-t", kind, "-o", f"loop,{options}", str(image), str(folder))
    try:
        yield folder
    finally:
        call("umount", str(folder))


def tree(terminal):
    """Every file below the installer's folders with its content; a folder has none."""
    found = {}
    for top in ("flash/etc/config/wzapp", "flash/system/wz"):
        for path in sorted((terminal / top).rglob("*")):
            content = None if path.is_dir() else path.read_bytes()
            found[str(path.relative_to(terminal))] = content
    return found


def difference(is_, was):
    lines = []
    for name in sorted(is_.keys() | was.keys()):
        if name not in was:
            lines.append(f"{name} is there")
        elif name not in is_:
            lines.append(f"{name} is missing")
        elif is_[name] != was[name]:
            lines.append(f"{name} differs")
    return ", ".join(lines)


# --- What reaches the flash before the power goes ------------------------------------------------


def nothing(folder, chance):
    """Only what the program has asked for itself."""


def everything(folder, chance):
    call("sync", "--file-system", str(folder))


def journal(folder, chance):
    """The names and sizes, but of the octets only those that must come before them."""
    with open(folder / "unrelated", "w") as file:
        os.fsync(file.fileno())


def some_file(folder, chance):
    """One file with what it takes to find it, and no other's octets."""
    files = [path for path in sorted(folder.rglob("*")) if path.is_file()]
    with open(chance.choice(files), "rb") as file:
        os.fsync(file.fileno())


WAYS = [nothing, everything, journal, some_file]


# --- Cuts -----------------------------------------------------------------------------------------


class Host:
    """The program that installs; what it is asked, and answers, is said in power_host.cpp."""

    def __init__(self, program, messages):
        self.process = subprocess.Popen(
            [program], stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=messages, text=True
        )

    def do(self, *words):
        """For a command that does not stop on its way."""
        self.check_end(self.ask(*words))

    @staticmethod
    def check_end(answer):
        if answer != ["end", "0"]:
            raise RuntimeError(f"the host answers {answer}")

    def ask(self, *words):
        self.process.stdin.write(" ".join(map(str, words)) + "\n")
        self.process.stdin.flush()
        return self.process.stdout.readline().split()


class FileSystem:
    def __init__(self, host, scratch, kind, make, options):
        self.host, self.kind, self.options = host, kind, options
        self.image, self.copy = scratch / "image", scratch / "copy"
        self.folder, self.again = scratch / "mounted", scratch / "again"
        for folder in (self.folder, self.again):
            folder.mkdir(exist_ok=True)
        self.image.unlink(missing_ok=True)
        with open(self.image, "wb") as image:
            image.truncate(IMAGE_SIZE)
        call(*make, str(self.image))
        with self.mount() as folder:
            self.host.do("prepare", folder / "terminal")

    def mount(self):
        return mounted(self.image, self.folder, self.kind, self.options)

    def copied(self):
        call("cp", "--sparse=always", str(self.image), str(self.copy))

    def after_run(self):
        """What is there after a run on the copy."""
        with mounted(self.copy, self.again, self.kind, self.options) as folder:
            self.host.do("install", folder / "terminal")
            return tree(folder / "terminal")

    def cut(self, chance):
        """Yields the number of a change, how it was cut, and what the next run made of it."""
        with self.mount() as folder:
            answer = self.host.ask("step", folder / "terminal")
            number = 0
            while answer == ["change"]:
                # Two or three ways for each change; the second has what the first has brought.
                ways = [WAYS[number % 2 * 2], WAYS[(number + number // 4) % 4], some_file]
                for way in ways[: 3 if number % 3 == 0 else 2]:
                    way(folder, chance)
                    self.copied()
                    yield number, way.__name__, self.after_run()
                answer = self.host.ask("go")
                number += 1
            self.host.check_end(answer)


def check_undisturbed(expected):
    """A run that installs nothing would be made up for by anything."""
    applications = {path.split("/")[5] for path in expected if path.startswith(APPLICATIONS)}
    if not {"shop", "tool"} <= applications or "gone" in applications:
        raise RuntimeError(f"an undisturbed run installs {sorted(applications)}")


def try_file_system(host, scratch, kind, make, options, seed):
    chance = random.Random(seed)
    file_system = FileSystem(host, scratch, kind, make, options)
    file_system.copied()
    expected = file_system.after_run()
    check_undisturbed(expected)
    cuts, failures = 0, 0
    for number, way, after in file_system.cut(chance):
        cuts += 1
        if after != expected:
            failures += 1
            print(f"  before change {number}, {way}: {difference(after, expected)}", flush=True)
    print(f"{kind} {options}: {cuts} cuts, {failures} of them not made up for", flush=True)
    if cuts < LEAST_CUTS:
        print(f"  too few: {LEAST_CUTS} are wanted")
    return failures == 0 and cuts >= LEAST_CUTS


def missing(kind, make):
    """What it takes to have such a file system, if it is not there."""
    if shutil.which("modprobe"):
        subprocess.run(["modprobe", "-q", kind], stderr=subprocess.DEVNULL, check=False)
    if kind not in Path("/proc/filesystems").read_text().split():
        return "this kernel has none"
    return None if shutil.which(make[0]) else f"there is no {make[0]}"


def main():
    if os.geteuid() != 0 or not os.path.exists("/dev/loop-control"):
        print("skipped: this takes root and loop devices")
        return SKIPPED
    if "--inside" not in sys.argv:  # so that no mount is left behind, whatever happens
        os.execvp("unshare", ["unshare", "--mount", sys.executable, "-B", *sys.argv, "--inside"])
    seed = random.SystemRandom().randrange(10**6)
    print(f"Seed {seed}")
    good, tried = True, 0
    with tempfile.TemporaryDirectory(prefix="wzapp-power-") as scratch:
        scratch = Path(scratch)
        messages = scratch / "messages"
        host = Host(sys.argv[1], open(messages, "w"))
        for kind, make, options in FILE_SYSTEMS:
            why = missing(kind, make)
            if why:
                print(f"{kind}: left out, {why}")
                continue
            tried += 1
            good &= try_file_system(host, scratch, kind, make, options, seed)
    if tried == 0:
        return SKIPPED
    return 0 if good else 1


if __name__ == "__main__":
    sys.exit(main())
