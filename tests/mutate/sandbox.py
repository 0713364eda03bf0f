"""Runs a command that may do anything to files, in namespaces of its own.

A mutant of what removes files can remove any. So everything is mounted read-only, /tmp is a new
memory file system, and what the command leaves running ends with it.

    sandbox.py REPORT SECONDS CPU COMMAND...    as command() begins it, in the namespaces it makes

Writes to the descriptor REPORT how the command ended, after how many seconds, and how many of them it
had a processor, as JSON. The times are taken in here, so that what stands before the whole command
line may wait for its turn.
"""

import ctypes
import json
import os
import resource
import subprocess
import sys
import time

_MOUNT_SETATTR = 442
_AT_FDCWD = -100
_AT_RECURSIVE = 0x8000
_RDONLY = 1
_LARGEST_FILE = 4 << 30
_MOST_MEMORY = 6 << 30  # a limit of the address space would be one of the sanitizers' shadow too


def command(report, seconds, cpu, arguments):
    """The command line that runs `arguments` inside for so many seconds at most, and so many of a
    processor for each process."""
    user = [] if os.geteuid() == 0 else ["--map-root-user"]
    return (
        ["unshare", *user, "--mount", "--pid", "--fork", "--kill-child", "--mount-proc"]
        + [sys.executable, "-B", os.path.abspath(__file__), str(report), str(seconds),
           str(cpu)]
        + arguments
    )


def _check(result, what):
    if result != 0:
        raise OSError(ctypes.get_errno(), what)


def _set_read_only(libc, path, on, flags=0):
    class MountAttributes(ctypes.Structure):
        _fields_ = [(n, ctypes.c_uint64) for n in ("set", "clear", "propagation", "userns")]

    attributes = MountAttributes(_RDONLY if on else 0, 0 if on else _RDONLY, 0, 0)
    _check(
        libc.syscall(
            _MOUNT_SETATTR, _AT_FDCWD, path.encode(), flags, ctypes.byref(attributes),
            ctypes.sizeof(attributes),
        ),
        f"mount_setattr {path}",
    )


def _memory():
    """What all processes of the namespace hold, in octets."""
    pages = 0
    for name in filter(str.isdigit, os.listdir("/proc")):
        try:
            with open(f"/proc/{name}/statm") as statm:
                pages += int(statm.read().split()[1])
        except OSError:
            pass  # it has ended
    return pages * os.sysconf("SC_PAGESIZE")


def _wait(child, deadline):
    """The child's exit code; None when it takes too long or too much memory."""
    while time.monotonic() < deadline and _memory() < _MOST_MEMORY:
        try:
            return child.wait(min(0.5, max(deadline - time.monotonic(), 0)))
        except subprocess.TimeoutExpired:
            pass
    return None


def main():
    libc = ctypes.CDLL(None, use_errno=True)
    _set_read_only(libc, "/", True, _AT_RECURSIVE)
    _set_read_only(libc, "/proc", False)
    for folder in ("/tmp", "/dev/shm"):
        if os.path.isdir(folder):
            _check(libc.mount(b"tmpfs", folder.encode(), b"tmpfs", 0, b"mode=1777,size=2g"), folder)
    os.environ["TMPDIR"] = "/tmp"
    resource.setrlimit(resource.RLIMIT_FSIZE, (_LARGEST_FILE, _LARGEST_FILE))
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))

    report, seconds, cpu = int(sys.argv[1]), float(sys.argv[2]), int(sys.argv[3])
    began = time.monotonic()
    child = subprocess.Popen(  # knows nothing of `report`
        sys.argv[4:], stdin=subprocess.DEVNULL,
        preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_CPU, (cpu, cpu)),
    )
    code = _wait(child, began + seconds)
    used = resource.getrusage(resource.RUSAGE_CHILDREN)
    end = {"code": code, "seconds": time.monotonic() - began, "cpu": used.ru_utime + used.ru_stime}
    os.write(report, json.dumps(end).encode())
    # As the first process of its namespace this takes all others there with it.


if __name__ == "__main__":
    main()
