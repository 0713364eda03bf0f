#!/usr/bin/env python3
"""Usage: schemas.py WZ SOURCE_DIR

Every JSON document that wz prints, on good ways and bad ones, and every sample fits its schema, by the
validator of python3-jsonschema. 77, which ctest shows as skipped: that is not installed.
"""
import copy
import difflib
import json
import os
import pathlib
import subprocess
import sys
import tempfile

try:
    import jsonschema
except ImportError:
    print("python3-jsonschema is not installed")
    sys.exit(77)

wz, source = os.path.abspath(sys.argv[1]), pathlib.Path(sys.argv[2])
files = list((source / "tools/wz/schemas").glob("*.schema.json"))
files.append(source / "tools/wz/new_application/manifest.schema.json")
files.append(source / "tools/wz/host/host.schema.json")
schemas = {}
for file in files:
    schema = json.loads(file.read_text())
    jsonschema.Draft202012Validator.check_schema(schema)
    schemas[schema["$id"]] = schema
failures = 0


def in_one(node, name):
    """A schema as a part of one that holds all, so that no file is looked for."""
    if isinstance(node, list):
        return [in_one(part, name) for part in node]
    if not isinstance(node, dict):
        return node
    copied = {key: in_one(value, name) for key, value in node.items() if key not in ("$id", "$schema")}
    reference = node.get("$ref")
    if isinstance(reference, str):
        local = reference.startswith("#/")
        copied["$ref"] = "#/$defs/" + (name + reference[1:] if local else reference.replace("#", ""))
    return copied


def faults(name, value):
    whole = {"$ref": "#/$defs/" + name, "$defs": {key: in_one(schemas[key], key) for key in schemas}}
    return list(jsonschema.Draft202012Validator(whole).iter_errors(value))


def complain(what, why):
    global failures
    failures += 1
    print(f"{what}: {why}")


def expect(name, value, what):
    for fault in faults(name, value):
        complain(what, f"{list(fault.absolute_path)}: {fault.message}")


def expect_refused(name, value, what):
    if not faults(name, value):
        complain(what, f"{name} takes it")


def ended(code, done, what):
    if done.returncode != code:
        complain(what, f"ended with {done.returncode}, not {code}: {done.stderr}")


def run(code, *arguments):
    """Runs a command that ends with `code`; its document, which fits its schema."""
    done = subprocess.run([wz, *arguments], capture_output=True, text=True, check=False)
    what = "wz " + " ".join(arguments)
    ended(code, done, what)
    try:
        document = json.loads(done.stdout)
    except ValueError:
        complain(what, "printed no JSON: " + done.stdout[:200])
        return {}
    # What has no schema of its own has the form that all have.
    name = document["schema"].split(":")[2] + ".schema.json"
    has_own = "command" in schemas.get(name, {}).get("properties", {})
    expect(name if has_own else "document.schema.json", document, what)
    if document.get("ok") != (code == 0):
        complain(what, "says ok where it is not, or the reverse")
    if code != 0 and not document["diagnostics"]:
        complain(what, "does not say why")
    return document


def run_lines(code, *arguments, meanwhile=None, awaited=""):
    """The same for a command that prints an object a line. What is done `meanwhile` begins when it has
    said what is awaited."""
    what = "wz " + " ".join(arguments)
    with subprocess.Popen([wz, *arguments], stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True) as program:
        if meanwhile:
            while awaited not in program.stderr.readline():
                pass
            meanwhile()
        out, errors = program.communicate(timeout=60)
    if program.returncode != code:
        complain(what, f"ended with {program.returncode}, not {code}: {errors}")
    lines = [json.loads(line) for line in out.splitlines()]
    for line in lines:
        expect("document.schema.json" if "command" in line else "event.schema.json", line, what)
    if (code != 0) != bool(lines and "command" in lines[-1]):
        complain(what, "ends with a document where it should not, or the reverse")
    return [line.get("event", "end") for line in lines]


def run_matrix(code, *arguments):
    """The lines of a matrix, which end with a document, whatever the code."""
    what = "wz matrix " + " ".join(arguments)
    done = subprocess.run([wz, "matrix", *arguments], capture_output=True, text=True, check=False)
    ended(code, done, what)
    lines = [json.loads(line) for line in done.stdout.splitlines()]
    for line in lines[:-1]:
        expect("matrix-line.schema.json", line, what)
    expect("matrix.schema.json", lines[-1], what)
    return lines


# What differs from build to build, by its key.
CHANGING = {"octets", "size", "serial", "serialOctets", "subjectKeyId", "authorityKeyId", "validFrom",
            "validTo", "issuer", "dates", "authorities", "detail", "acceptance", "version", "found", "time", "sha256"}


def stable(value, key=""):
    if isinstance(value, dict):
        return {name: stable(part, name) for name, part in value.items()}
    if key in CHANGING and value != "":
        return "..."
    if isinstance(value, list):
        return [stable(part) for part in value]
    if isinstance(value, str):
        return value.replace(os.getcwd(), "DIR").replace(str(keys), "KEYS")
    return value


def golden(name, document):
    """What a document is, but for what differs from build to build, stands in json/NAME.json beside
    this program; with WZ_GOLDEN=write it is put there."""
    path = pathlib.Path(__file__).parent / "json" / (name + ".json")
    text = json.dumps(stable(document), indent=1) + "\n"
    if os.environ.get("WZ_GOLDEN") == "write":
        path.parent.mkdir(exist_ok=True)
        path.write_text(text)
    wanted = path.read_text() if path.exists() else ""
    if text != wanted:
        lines = difflib.unified_diff(wanted.splitlines(), text.splitlines(), lineterm="")
        complain(name, "is another document than " + str(path) + ":\n" + "\n".join(lines))


os.environ.pop("WZ_TERMINAL", None)
keys = pathlib.Path(wz).parent.parent / "keys"
with tempfile.TemporaryDirectory() as folder:
    os.chdir(folder)
    os.environ["XDG_DATA_HOME"] = folder + "/data"
    golden("terminal-create", run(0, "terminal", "create", "--json", "desk"))
    golden("terminal-show", run(0, "terminal", "show", "--json", "desk"))
    golden("new", run(0, "new", "--json", "shop"))
    golden("pack", run(0, "pack", "--json", "shop", "-o", "shop.zip"))
    golden("keys-init", run(0, "keys", "init", "--json", "own"))
    golden("keys-issue", run(0, "keys", "issue", "--json", "ci", "--keys", "own"))
    golden("keys-issue-none", run(3, "keys", "issue", "--json", "other", "--keys", "ci"))
    golden("keys-rotate", run(0, "keys", "rotate", "--json", "own", "--role", "manifest", "--until", "2109-12-31"))
    golden("certs", run(0, "certs", "--json", "--terminal", "desk", "-o", "desk.tar"))
    pathlib.Path("bad.zip").write_bytes(pathlib.Path("shop.zip").read_bytes()[:2000])
    signer = str(keys / "signers/application.der")

    golden("check", run(0, "check", "--json", "shop", "shop.zip"))
    golden("inspect", run(0, "inspect", "--json", "shop.zip"))
    golden("inspect-cut-off", run(1, "inspect", "--json", "bad.zip"))
    golden("inspect-terminal", run(0, "inspect", "--json", "--terminal", "desk", "shop.zip"))
    golden("install-dry-run", run(0, "install", "--json", "--dry-run", "--terminal", "desk", "shop.zip"))
    golden("tamper", run(0, "tamper", "--json", "shop.zip", "-o", "lab"))
    expect("tamper-lab.schema.json", json.loads(pathlib.Path("lab/tamper.json").read_text()), "lab")
    run(1, "tamper", "--json", "bad.zip", "-o", "other")
    run(2, "tamper", "--json", "shop.zip")
    run(3, "tamper", "--json", "lab", "--run", "true")
    for arguments in (["--together"], ["-o", "found.jsonl"], ["--ungrouped", "--shard", "1/2"]):
        run_matrix(0, "--json", "shop.zip", "--terminals", "desk", *arguments)
    found = run_matrix(1, "--json", "shop.zip", "bad.zip", "--terminals", "desk", "-o", "found.jsonl")
    if found != run_matrix(1, "--json", "--merge", "found.jsonl"):
        complain("wz matrix --merge", "prints other lines than what it merges")
    expect_refused("matrix-line.schema.json", {**found[-2], "code": ""}, "a refusal without a code")
    expect_refused("matrix-line.schema.json", {**found[-2], "event": "package"}, "a cell that calls itself a package")
    run_matrix(3, "--json", "nowhere.zip", "--terminals", "desk")
    run_matrix(3, "--json", "shop.zip", "--terminals", "nowhere")
    golden("install", run(0, "install", "--json", "--terminal", "desk", "shop.zip"))
    golden("install-cut-off", run(1, "install", "--json", "--terminal", "desk", "bad.zip"))
    golden("list", run(0, "list", "--json", "--terminal", "desk"))
    golden("diff", run(0, "diff", "--json", "--terminal", "desk", "shop.zip"))
    golden("why", run(0, "why", "--json", "--terminal", "desk", "shop"))
    golden("remove", run(0, "remove", "--json", "--terminal", "desk", "shop"))
    golden("remove-none", run(1, "remove", "--json", "--terminal", "desk", "shop"))
    golden("history", run(0, "history", "--json", "--terminal", "desk"))
    golden("why-absent", run(0, "why", "--json", "--terminal", "desk", "shop"))
    for line in pathlib.Path("desk/history.jsonl").read_text().splitlines():
        expect("history-event.schema.json", json.loads(line), "a line of the history")
    pathlib.Path("install.log").write_text("Installing to x\nChecking dependencies\nChecking /x/shop.MFT\n"
                                           "Error: Missing trigger PAID\nRemoving app SHOP\n")
    golden("why-log", run(0, "why", "--json", "--log", "install.log"))
    run(1, "inspect", "--json", "shop.zip", "bad.zip")
    golden("keys-show", run(0, "keys", "show", "--json", signer))
    golden("keys-show-none", run(1, "keys", "show", "--json", "shop/manifest.mft"))
    golden("keys-show-package", run(0, "keys", "show", "--json", "shop.zip"))
    run(0, "keys", "show", "--json", "desk.tar", signer)
    run(1, "keys", "show", "--json", "desk/run")
    golden("explain", run(0, "explain", "--json", "WZ-0304"))
    golden("notify-nobody", run(1, "notify", "--json", "--terminal", "desk", "till", "PAY"))
    good = run(0, "explain", "--json")
    events = run_lines(0, "reply", "--json", "--terminal", "desk", "--count", "1", "till", "PAY", '{"paid": [true, 2]}',
                       awaited="answering PAY",
                       meanwhile=lambda: golden("notify", run(0, "notify", "--json", "--terminal", "desk", "till",
                                                              "PAY", "--wait")))
    if events != ["asked"]:
        complain("wz reply --json", str(events))
    events = run_lines(1, "listen", "--json", "--terminal", "desk", "till", "PAY", "--count", "2", "--timeout", "4",
                       awaited="listening at till",
                       meanwhile=lambda: subprocess.run([wz, "notify", "--terminal", "desk", "till", "PAY"],
                                                        check=True))
    if events != ["received", "end"]:
        complain("wz listen --json", str(events))
    example = subprocess.run([wz, "host", "--example"], capture_output=True, text=True, check=True).stdout
    expect("host.schema.json", json.loads(example), "wz host --example")
    pathlib.Path("host.json").write_text(example)
    events = run_lines(0, "host", "--json", "--terminal", "desk", "host.json", "--timeout", "1")
    events = run_lines(1, "run", "--json", "--terminal", "desk", "--headless", "--timeout", "3", "shop")
    if events[0] != "launched" or events[-1] != "end" or "exited" not in events:
        complain("wz run --json", str(events))
    with subprocess.Popen([wz, "workbench", "--json", "--no-open", "desk"], stdout=subprocess.PIPE, text=True) as bench:
        expect("event.schema.json", json.loads(bench.stdout.readline()), "wz workbench --json")
        bench.terminate()
    # What it finds depends on the machine.
    machine = subprocess.run([wz, "doctor", "--json"], capture_output=True, text=True, check=False)
    expect("doctor.schema.json", json.loads(machine.stdout), "wz doctor --json")

    # The wrong command line, and what is not there, of each command.
    for command in ("terminal create", "terminal show", "new", "pack", "check", "inspect", "install", "list",
                    "remove", "keys init", "keys issue", "keys rotate", "keys show", "certs", "explain", "notify", "history", "diff", "why", "replay", "doctor", "tamper", "matrix",
                    "run", "host", "listen", "reply", "test", "workbench"):
        run(2, *command.split(), "--json", "--no-such-option")
    golden("no-such-option", run(2, "list", "--json", "--terminl", "desk"))
    run(2, "certs", "--json", "--terminal", "desk", "-o", "-")
    run(3, "replay", "--json", "nowhere.jsonl", "shop")
    run(3, "test", "--json", "nowhere")
    run(3, "terminal", "create", "--json", "desk")
    run(3, "terminal", "show", "--json", "nowhere")
    run(3, "new", "--json", "shop")
    run(3, "pack", "--json", "nowhere", "-o", "no.zip")
    run(3, "pack", "--json", "shop", "-o", "no.zip", "--keys", "nowhere")
    run(3, "keys", "init", "--json", "own")
    run(3, "certs", "--json", "--terminal", "nowhere", "-o", "no.tar")
    run(3, "list", "--json", "--terminal", "nowhere")
    run(3, "inspect", "--json", "nowhere.zip")
    run(3, "check", "--json", "nowhere.zip")
    run(3, "install", "--json", "--terminal", "desk", "nowhere.zip")
    run(3, "install", "--json", "--dry-run", "--terminal", "desk", "nowhere.zip")
    run(3, "history", "--json", "--terminal", "nowhere")
    run(3, "diff", "--json", "nowhere.zip", "shop.zip")
    run(1, "diff", "--json", "bad.zip", "shop.zip")
    run(1, "why", "--json", "--terminal", "desk", "tip")
    run(3, "why", "--json", "--log", "nowhere.log")
    run(1, "why", "--json", "--log", "shop/index.html")
    run(3, "notify", "--json", "--terminal", "nowhere", "till", "PAY")
    run(3, "listen", "--json", "--terminal", "nowhere", "till", "PAY")

    pathlib.Path("shop/manifest.mft").write_text('{"application": {"id": "shop"}, "sponsers": []}')
    golden("check-warnings", run(0, "check", "--json", "shop"))
    pathlib.Path("shop/manifest.mft").write_text("{")
    golden("check-errors", run(1, "check", "--json", "shop"))
    golden("pack-errors", run(1, "pack", "--json", "shop", "-o", "no.zip"))

    expect("terminal.schema.json", json.loads(pathlib.Path("desk/terminal.json").read_text()), "desk")
    for manifest in pathlib.Path("desk/home/sys1/www").iterdir():
        value = json.loads(manifest.read_text())
        value["application"] = {"id": "terminal"}
        expect("manifest.schema.json", value, str(manifest))

# A schema that takes everything would be none.
bad = copy.deepcopy(good)
bad["result"]["codes"][0]["severity"] = "loud"
expect_refused("explain.schema.json", bad, "another severity")
expect_refused("terminal.schema.json", {"serial": 7}, "a terminal without a model")
expect_refused("marketplace-manifest.schema.json", {"application": {"id": "x"}, "sponsors": ["1"]},
               "a sponsor of one digit")

for manifest in source.glob("examples/*/manifest.mft"):
    expect("manifest.schema.json", json.loads(manifest.read_text()), str(manifest))

sys.exit(1 if failures else 0)
