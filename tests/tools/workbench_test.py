#!/usr/bin/env python3
"""Usage: workbench_test.py WZ SOURCES [TEST...]

The server of the workbench as its page, its user and those who attack it meet it.
"""

import hashlib
import json
import os
import shutil
import signal
import socket
import struct
import subprocess
import sys
import tempfile
import time
import unittest

sys.dont_write_bytecode = True  # nothing is left in the sources
from workbench_client import PATIENCE, Socket, Workbench, command_of, is_alive, send_on_bus, until  # noqa: E402

WZ, SOURCES = (os.path.abspath(argument) for argument in sys.argv[1:3])
SHOWS = "document.body.textContent = 'Shop'"


class Shared(unittest.TestCase):
    """Tests that one workbench is enough for."""

    @classmethod
    def setUpClass(cls):
        cls.bench = Workbench(WZ, "--folder", SOURCES + "/examples/tip")

    @classmethod
    def tearDownClass(cls):
        cls.bench.end()

    def page(self, **headers):
        page = Socket(self.bench, **headers)
        self.addCleanup(page.close)
        return page

    def refused(self, method, path, **headers):
        self.assertEqual(self.bench.request(method, path, **headers)[0], 403)


class Admission(Shared):
    def test_the_token_is_good_for_one_cookie(self):
        status, fields, content = self.bench.request("GET", "/?token=" + self.bench.token, Cookie=None)
        self.assertEqual(status, 403)
        self.assertNotIn("Set-Cookie", fields)
        self.assertIn(b"has been used", content)

        self.assertEqual(self.bench.request("GET", "/?token=" + self.bench.token)[0], 303)

    def test_a_wrong_token_is_worth_nothing(self):
        bench = Workbench(WZ, opened=False)
        self.addCleanup(bench.end)
        for token in ["", "0" * 32, bench.token[:-1], bench.token + "0"]:
            self.assertEqual(bench.request("GET", "/?token=" + token)[0], 403)

        status, fields, _ = bench.request("GET", "/?token=" + bench.token)

        self.assertEqual((status, fields["Location"]), (303, "/"))
        for part in ["HttpOnly", "SameSite=Strict", "Path=/"]:
            self.assertIn(part, fields["Set-Cookie"])

    def test_the_users_browser_gets_the_token_by_a_file_that_others_cannot_read(self):
        bin_folder = tempfile.mkdtemp(prefix="wbbin")
        self.addCleanup(shutil.rmtree, bin_folder)
        with open(bin_folder + "/xdg-open", "w", encoding="ascii") as program:
            program.write(f'#!/bin/sh\n{{ stat -c %a "$1"; echo "$@"; cat "$1"; }} >{bin_folder}/part; mv {bin_folder}/part {bin_folder}/opened\n')
        os.chmod(bin_folder + "/xdg-open", 0o755)
        environment = {"DISPLAY": ":99", "PATH": bin_folder + ":" + os.environ["PATH"]}

        bench = Workbench(WZ, opened=False, environment=environment)
        self.addCleanup(bench.end)
        until(lambda: os.path.exists(bin_folder + "/opened"))

        with open(bin_folder + "/opened", encoding="ascii") as opened:
            mode, command, page = opened.read().split("\n", 2)
        self.assertEqual(mode, "600")
        self.assertNotIn(bench.token, command)
        self.assertIn(f"url={bench.address}", page)
        # What a file leads to is another site's to the browser, which would keep the cookie back behind a redirection.
        status, fields, content = bench.request("GET", "/?token=" + bench.token, **{"Sec-Fetch-Site": "cross-site"})
        self.assertEqual(status, 200)
        self.assertIn("Set-Cookie", fields)
        self.assertIn(b"url=/", content)

        bench.own = False
        bench.end()
        self.assertFalse(os.path.exists(command))
        shutil.rmtree(bench.folder)

    def test_nothing_is_to_be_had_without_the_cookie(self):
        for path in ["/", "/index.html", "/file?path=terminal.json", "/icon?application=tip", "/saved?name=x"]:
            self.refused("GET", path, Cookie=None)
            self.refused("GET", path, Cookie=self.bench.cookie + "0")
        self.refused("POST", "/upload?name=x", body=b"x", Cookie=None)

    def test_another_host_is_a_name_that_somebody_made_ours(self):
        port = self.bench.port
        for host in ["evil.example", f"evil.example:{port}", "127.0.0.1", f"127.0.0.1:{port + 1}", f"[::1]:{port}", None]:
            self.assertIn(self.bench.request("GET", "/", Host=host)[0], (400, 403), host)
        self.refused("GET", "/?token=" + self.bench.token, Host="evil.example")
        self.assertNotEqual(self.bench.request("GET", "/", Host=f"localhost:{port}")[0], 403)

    def test_another_site_posts_nothing(self):
        for origin in ["https://evil.example", "null", f"https://127.0.0.1:{self.bench.port}", None]:
            self.refused("POST", "/upload?name=x", body=b"x", Origin=origin)

    def test_another_site_reads_nothing(self):
        for site in ["cross-site", "same-site"]:
            self.refused("GET", "/file?path=terminal.json", **{"Sec-Fetch-Site": site})

    def test_another_site_gets_no_socket(self):
        for headers in [
            {"Origin": "https://evil.example"},
            {"Origin": None},
            {"Cookie": None},
            {"Cookie": "wzworkbench=1"},
            {"Host": "evil.example"},
        ]:
            self.assertEqual(self.page(**headers).status, 403, headers)
        self.assertEqual(self.page().status, 101)

    def test_it_is_on_the_loopback_interface_alone(self):
        with open("/proc/net/tcp", encoding="ascii") as table:
            places = [line.split()[1] for line in table if line.split()[3] == "0A"]
        self.assertIn(f"0100007F:{self.bench.port:04X}", places)
        self.assertNotIn(f"00000000:{self.bench.port:04X}", places)

    def test_every_answer_has_its_policy(self):
        for path in ["/", "/file?path=terminal.json", "/nothing", "/icon?folder=" + SOURCES + "/examples/tip"]:
            _, fields, _ = self.bench.request("GET", path)
            self.assertIn("default-src 'none'", fields["Content-Security-Policy"])
            self.assertNotIn("script-src 'unsafe", fields["Content-Security-Policy"])
            self.assertEqual(fields["X-Content-Type-Options"], "nosniff")
            self.assertNotIn("Access-Control-Allow-Origin", fields)

    def raw(self, *requests):
        """Sends requests (method, path, further fields, content) in one piece; all that is answered until the
        connection ends."""
        text = b"".join(
            f"{method} {path} HTTP/1.1\r\nHost: 127.0.0.1:{self.bench.port}\r\n"
            f"Cookie: {self.bench.cookie}\r\n{fields}\r\n".encode() + content
            for method, path, fields, content in requests)
        with socket.create_connection(("127.0.0.1", self.bench.port), timeout=PATIENCE) as connection:
            connection.sendall(text)
            answers = b""
            while octets := connection.recv(65536):
                answers += octets
        return answers

    def test_one_connection_is_enough_for_what_a_page_loads(self):
        get = ("GET", "/icon.svg", "", b"")
        answers = self.raw(get, get, get)
        self.assertEqual(answers.count(b"HTTP/1.1 200 "), 3)
        self.assertEqual(answers.count(b"Connection: keep-alive"), 3)

    def test_nothing_is_smuggled_behind_what_was_not_read(self):
        hidden = (f"GET /icon.svg HTTP/1.1\r\nHost: 127.0.0.1:{self.bench.port}\r\n"
                  f"Cookie: {self.bench.cookie}\r\n\r\n").encode()
        content = f"Content-Length: {len(hidden)}\r\n"
        for method, path, fields in [
            ("POST", "/upload?name=x", "Origin: https://evil.example\r\n" + content),
            ("POST", "/", content),
            ("GET", "/icon.svg", content),
            ("GET", "/nothing", content),
            ("GET", "/nothing", ""),
        ]:
            answers = self.raw((method, path, fields, hidden))
            self.assertEqual(answers.count(b"HTTP/1.1 "), 1, (method, path, fields))
            self.assertIn(b"Connection: close", answers)

    def test_what_is_not_asked_for_so_is_refused(self):
        for method, path in [("POST", "/"), ("GET", "/upload"), ("DELETE", "/file?path=terminal.json"), ("PUT", "/x")]:
            self.assertIn(self.bench.request(method, path, Origin=f"http://127.0.0.1:{self.bench.port}")[0], (404, 405))


    def test_a_command_line_that_cannot_be_meant_is_refused(self):
        desk = self.bench.folder + "/desk"
        for code, arguments in [(2, ["--folder", "/etc"]), (2, ["--port", "70000"]), (3, ["--port", str(self.bench.port)])]:
            ended = subprocess.run([WZ, "workbench", desk, "--no-open", *arguments], capture_output=True, check=False)
            self.assertEqual(ended.returncode, code, ended.stderr)
            self.assertIn(b"wz: ", ended.stderr)


class Files(Shared):
    def file(self, path):
        return self.bench.request("GET", "/file?path=" + path)

    def test_a_file_is_shown_as_text_that_acts_nowhere(self):
        status, fields, content = self.file("terminal.json")

        self.assertEqual(status, 200)
        self.assertEqual(fields["Content-Type"], "text/plain; charset=utf-8")
        self.assertIn("sandbox", fields["Content-Security-Policy"])
        with open(self.bench.folder + "/desk/terminal.json", "rb") as file:
            self.assertEqual(content, file.read())

    def test_no_path_leads_out(self):
        outside = self.bench.folder + "/outside"
        with open(outside, "w", encoding="ascii") as file:
            file.write("secret")
        desk = self.bench.folder + "/desk/"
        for name, target in [("link", outside), ("folder-link", self.bench.folder), ("up", ".."), ("proc", "/proc/self/root")]:
            os.symlink(target, desk + name)
            self.addCleanup(os.unlink, desk + name)
        paths = ["../outside", "flash/../../outside", "%2e%2e/outside", "..%2foutside", outside, "/etc/passwd", "link"]
        paths += ["folder-link/outside", "up/outside", "proc/etc/passwd", "", ".", "flash", "run/bus", "a%00b"]
        for path in paths:
            self.assertEqual(self.file(path)[0], 404, path)

        page = self.page()
        for path in ["..", "flash/../..", "/", "/etc", "folder-link", "up", "proc", "terminal.json"]:
            self.assertFalse(page.ask("files", path=path)["ok"], path)

    def test_a_link_is_told_and_stays_one(self):
        os.symlink("/etc", self.bench.folder + "/desk/etc-link")
        self.addCleanup(os.unlink, self.bench.folder + "/desk/etc-link")

        entries = {one["name"]: one for one in self.page().result("files", path="")["entries"]}

        self.assertEqual(entries["etc-link"]["kind"], "link")
        self.assertEqual(entries["flash"]["kind"], "folder")
        self.assertEqual(entries["terminal.json"]["kind"], "file")
        self.assertRegex(entries["terminal.json"]["mode"], "^rw-")

    def test_an_icon_is_of_an_application_that_is_offered(self):
        status, fields, _ = self.bench.request("GET", f"/icon?folder={SOURCES}/examples/tip")
        self.assertEqual((status, fields["Content-Type"]), (200, "image/svg+xml"))
        self.assertIn("sandbox", fields["Content-Security-Policy"])

        for query in ["folder=/etc", f"folder={SOURCES}/examples", "application=../tip", "application=", "folder="]:
            self.assertEqual(self.bench.request("GET", "/icon?" + query)[0], 404, query)

    def test_an_icon_that_is_none_or_lies_elsewhere_is_not_sent(self):
        for icon in ["../outside.png", "/etc/passwd", "link.png", "page.html", "missing.png"]:
            folder = tempfile.mkdtemp(dir=self.bench.folder)
            with open(self.bench.folder + "/outside.png", "w", encoding="ascii") as file:
                file.write("secret")
            os.symlink("../outside.png", folder + "/link.png")
            with open(folder + "/page.html", "w", encoding="ascii") as file:
                file.write("<script>")
            manifest = {"application": {"id": "icons"}, "desktop": {"file": "page.html", "icon": icon}}
            with open(folder + "/manifest.mft", "w", encoding="ascii") as file:
                json.dump(manifest, file)
            self.page().result("addFolder", path=folder)
            self.assertEqual(self.bench.request("GET", "/icon?folder=" + folder)[0], 404, icon)

    def test_only_what_was_saved_here_is_sent_as_saved(self):
        for name in ["../uploads", "../../desk/terminal.json", "/etc/passwd", ".", ""]:
            self.assertEqual(self.bench.request("GET", "/saved?name=" + name)[0], 404, name)


class Uploads(Shared):
    def kept(self):
        (folder,) = [name for name in os.listdir(self.bench.folder + "/tmp") if name.startswith("wz-workbench-")]
        return os.listdir(f"{self.bench.folder}/tmp/{folder}/uploads")

    def test_a_file_arrives_whole(self):
        content = os.urandom(300_000)

        status, _, answer = self.bench.request("POST", "/upload?name=shop%20one.zip", content)

        self.assertEqual(status, 200)
        upload = json.loads(answer)
        self.assertEqual((upload["name"], upload["size"]), ("shop one.zip", len(content)))
        self.assertEqual(upload["sha256"].lower(), hashlib.sha256(content).hexdigest())

    def test_a_name_is_a_name_alone(self):
        for name, plain in [("../../x", "x"), ("%2fetc%2fpasswd", "passwd"), ("-rf", "file-rf"), (".hidden", "file.hidden"), ("a%0ab", "a_b"), ("", "file")]:
            answer = self.bench.request("POST", "/upload?name=" + name, b"x")[2]
            self.assertEqual(json.loads(answer)["name"], plain)

    def test_what_is_too_large_is_refused_before_it_comes(self):
        before = self.kept()

        with socket.create_connection(("127.0.0.1", self.bench.port), timeout=PATIENCE) as connection:
            connection.sendall(self.head("Content-Length: 300000000"))
            self.assertIn(b" 413 ", connection.recv(65536).split(b"\r\n")[0])

        self.assertEqual(self.kept(), before)

    def test_what_is_cut_short_leaves_nothing(self):
        before = self.kept()

        with socket.create_connection(("127.0.0.1", self.bench.port), timeout=PATIENCE) as connection:
            connection.sendall(self.head("Content-Length: 1000000") + b"x" * 1000)
            until(lambda: len(self.kept()) > len(before))

        until(lambda: self.kept() == before)

    def head(self, field):
        place = f"127.0.0.1:{self.bench.port}"
        fields = f"Host: {place}\r\nOrigin: http://{place}\r\nCookie: {self.bench.cookie}\r\n{field}\r\n"
        return f"POST /upload?name=x HTTP/1.1\r\n{fields}\r\n".encode()


class Questions(Shared):
    def test_a_page_is_told_where_it_is(self):
        hello = self.page().until(lambda message: message["event"] == "hello")

        self.assertEqual(hello["terminal"]["folder"], os.path.realpath(self.bench.folder + "/desk"))
        self.assertEqual((hello["terminal"]["width"], hello["terminal"]["height"]), (480, 800))

    def test_what_is_no_question_is_answered_and_forgotten(self):
        page = self.page()
        for text in ["{", "", "[]", "7", '{"id":{},"do":"wz"}', "\x00", '{"do":"nothing"}', "[" * 100_000]:
            page.send_frame(text.encode())
            self.assertFalse(page.answer(None)["ok"], text[:20])
        for question in [{"do": "nothing"}, {"do": 7}, {}, {"do": "wz"}, {"do": "wz", "command": "exec"}]:
            page.last += 1
            page.send_frame(json.dumps({**question, "id": page.last}).encode())
            self.assertFalse(page.answer(page.last)["ok"], question)

        self.assertTrue(page.ask("applications")["ok"])

    def test_text_that_is_no_utf8_harms_nobody(self):
        page = self.page()
        page.send_frame(b'{"id":1,"do":"\xff\xfe"}')
        until(lambda: page.receive() is False or page.answers, 5)
        self.assertTrue(self.page().ask("applications")["ok"])

    def test_a_giant_message_ends_its_own_connection_alone(self):
        other = self.page()
        for parts in [1, 8]:
            page = self.page()
            try:
                for part in range(parts):
                    page.send_frame(b"x" * (5_000_000 // parts), first=0x01 if part == 0 else 0x00)
                page.send_frame(b"x", first=0x80)
                while page.receive():
                    pass
            except OSError:
                page.closed = True
            self.assertTrue(page.closed)

        self.assertTrue(other.ask("applications")["ok"])

    def test_a_message_that_only_claims_to_be_giant_costs_nothing(self):
        page = self.page()
        page.send_frame(b"x", size=1 << 40)
        self.assertTrue(self.page().ask("applications")["ok"])

    def test_the_commands_are_those_of_wz(self):
        page = self.page()

        listed = page.result("wz", command="list", arguments={})
        self.assertEqual((listed["exit"], listed["document"]["schema"]), (0, "urn:wzapp:list:1"))
        explained = page.result("wz", command="explain", arguments={"text": "WZ-0302"})
        self.assertEqual(explained["document"]["command"], "explain")
        refused = page.result("wz", command="why", arguments={"id": "--help"})
        self.assertEqual(refused["document"]["schema"], "urn:wzapp:why:1")
        told = page.result("wz", command="terminal", arguments={})
        self.assertEqual(told["document"]["result"]["serial"], "10000000001")

    def test_packages_are_looked_at_under_their_own_names(self):
        first, second = self.bench.upload("shop.zip", b"no zip"), self.bench.upload("shop.zip", b"none")

        answer = self.page().result("wz", command="inspect", arguments={"uploads": [first, second]})

        self.assertEqual(answer["exit"], 1)
        text = json.dumps(answer["document"])
        self.assertIn('"shop.zip"', text)
        self.assertIn('"2-shop.zip"', text)
        self.assertFalse(self.page().ask("wz", command="inspect", arguments={"uploads": ["u999"]})["ok"])

    def test_an_installation_tells_its_log_as_it_comes(self):
        page = self.page()
        page.result("follow", **{"from": 1})
        package = self.bench.upload("broken.zip", b"no zip")

        answer = page.result("wz", command="install", arguments={"uploads": [package]})

        self.assertEqual(answer["exit"], 1)
        self.assertEqual(page.event("install-begun")["line"]["files"], ["broken.zip"])
        line = page.until(lambda m: m.get("line", {}).get("event") == "install-line" and "code" in m["line"])
        self.assertEqual(line["source"], "installer")
        self.assertFalse(page.event("install-done")["line"]["done"])

    def test_a_story_of_another_is_read(self):
        recording = b'{"recording":1,"app":"shop","entry":"desktop","parameters":{}}\n{"at":1.5,"event":"click","target":"#pay"}\n'
        opened = self.page().result("openStory", upload=self.bench.upload("pay.jsonl", recording))
        self.assertEqual([one["line"]["event"] for one in opened["events"]], ["launched", "click"])
        self.assertEqual(opened["events"][1]["at"], 1_500_000)
        log = b"Jan 1 installer: Error: File 'SHOP.ZIP' not signed using application certificate\r\n<script>\n"
        opened = self.page().result("openStory", upload=self.bench.upload("install.log", log))
        self.assertIn("code", opened["events"][0]["line"])
        self.assertEqual(opened["events"][1]["line"]["text"], "<script>")

    def test_applications_have_what_pages_show(self):
        (tip,) = [one for one in self.page().result("applications")["folders"] if one["id"] == "tip"]

        self.assertEqual((tip["name"], tip["version"], tip["icon"]), ("Tip", "1.0.0", True))
        self.assertEqual([entry["entry"] for entry in tip["entries"]], ["desktop"])
        self.assertFalse(self.page().ask("addFolder", path="/etc")["ok"])

    def test_many_pages_at_once_hear_the_same(self):
        pages = [self.page() for _ in range(20)]
        for page in pages:
            page.result("follow", **{"from": 1})

        pages[0].result("host", text='{"address":"all","rules":[{"name":"A","silence":true}]}', on=True)

        told = {page.event("host-started")["sequence"] for page in pages}
        self.assertEqual(len(told), 1)

    def test_more_pages_than_there_is_room_for_are_turned_away(self):
        pages = [self.page() for _ in range(40)]
        statuses = [page.status for page in pages]
        self.assertIn(503, statuses)
        self.assertEqual(self.bench.request("GET", "/file?path=terminal.json")[0], 200)
        for page in pages:
            page.close()
        until(lambda: self.page().status == 101)


class Bus(unittest.TestCase):
    def setUp(self):
        self.bench = Workbench(WZ)
        self.addCleanup(self.bench.end)
        self.page = Socket(self.bench)
        self.addCleanup(self.page.close)
        self.page.result("follow", **{"from": 1})

    def test_a_message_its_reply_and_one_for_nobody_are_seen(self):
        rules = '{"address":"club","rules":[{"name":"LOOKUP","reply":{"known":true}}]}'
        host = self.page.result("host", text=rules, on=True)["hosts"][0]
        self.assertEqual((host["on"], host["addresses"]), (True, ["club"]))

        said = self.page.result("notify", to="club", name="LOOKUP", payload={"card": 7}, reply=True)

        self.assertEqual(said["exit"], 0)
        asked = self.page.event("bus-message", name="LOOKUP")["line"]
        self.assertEqual((asked["kind"], asked["to"], asked["payload"]), ("notify", "club", {"card": 7}))
        reply = self.page.event("bus-message", name="LOOKUP_reply")["line"]
        self.assertEqual((reply["kind"], reply["replyTo"], reply["payload"]), ("reply", asked["serial"], {"known": True}))
        self.assertGreater(reply["took"], 0)

        self.page.result("notify", to="nobody", name="HELLO", payload={})
        lost = self.page.event("bus-message", name="HELLO")["line"]
        error = self.page.event("bus-message", kind="error")["line"]
        self.assertEqual(error["replyTo"], lost["serial"])

    def test_a_host_has_faults_and_an_end(self):
        rules = '{"address":"club","rules":[{"name":"LOOKUP","sequence":[{"reply":1},{"reply":2}]}]}'
        host = self.page.result("host", text=rules, on=True, fault="malformed", delay=1)["host"]

        self.page.result("notify", to="club", name="LOOKUP", payload={})
        self.assertTrue(self.page.event("bus-message", name="LOOKUP_reply")["line"]["malformed"])

        self.page.result("host", host=host, fault="silence")
        self.page.result("notify", to="club", name="LOOKUP", payload={})
        self.page.event("not answered")

        (ended,) = self.page.result("host", host=host, on=False)["hosts"]
        self.assertFalse(ended["on"])
        self.assertFalse(self.page.ask("host", text='{"rules":7}', on=True)["ok"])
        self.assertFalse(self.page.ask("host", host=host, fault="fire")["ok"])

    def test_a_bus_that_is_killed_comes_back(self):
        (daemon,) = [
            int(name)
            for name in os.listdir("/proc")
            if name.isdigit() and self.bench.folder.encode() in command_of(name) and b"dbus-daemon" in command_of(name)
        ]

        os.kill(daemon, signal.SIGKILL)

        self.page.event("bus-lost")
        self.page.until(lambda message: message["event"] == "state" and message["bus"] == "down")
        self.page.others.clear()
        self.page.event("bus-back")
        self.page.until(lambda message: message["event"] == "state" and message["bus"] == "up")
        self.page.result("notify", to="nobody", name="AGAIN", payload={})
        self.page.event("bus-message", name="AGAIN")

    def test_ten_thousand_messages_are_told_each_and_a_slow_page_misses_none(self):
        slow = Socket(self.bench)
        self.addCleanup(slow.close)
        slow.socket.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 65536)
        slow.result("follow", **{"from": 1})

        sender = send_on_bus(self.bench.folder + "/desk/run/bus", 10_000)
        self.addCleanup(sender.close)

        for page in [self.page, slow]:
            serials = [page.event("bus-message", name="COUNT")["line"]["payload"] for _ in range(10_000)]
            self.assertEqual(serials, list(range(10_000)))

        # A page that comes later, or again, begins where it likes.
        late = Socket(self.bench)
        self.addCleanup(late.close)
        late.result("follow", **{"from": 5_000})
        self.assertEqual(late.until(lambda message: message["event"] == "story")["sequence"], 5_000)


class Ending(unittest.TestCase):
    def folder(self, script):
        folder = tempfile.mkdtemp(prefix="wbapp")
        self.addCleanup(shutil.rmtree, folder)
        manifest = {"application": {"id": "shop", "version": "1"}, "desktop": {"file": "index.html"}}
        with open(folder + "/manifest.mft", "w", encoding="ascii") as file:
            json.dump(manifest, file)
        with open(folder + "/index.html", "w", encoding="ascii") as file:
            file.write(f"<!doctype html><title>Shop</title><body><script>{script}</script>")
        return folder

    def begin(self):
        self.bench = Workbench(WZ)
        self.page = Socket(self.bench)
        self.addCleanup(self.page.close)
        self.page.result("follow", **{"from": 1})

    def left(self):
        """Files of the workbench, and those of the terminal that only a running program has."""
        return os.listdir(self.bench.folder + "/tmp") + [
            name for name in os.listdir(self.bench.folder + "/desk/run") if name in ("bus", "bus.conf", "bus.log")
        ]

    def test_a_child_that_dies_is_told_of(self):
        self.begin()
        self.addCleanup(self.bench.end)
        answer = self.page.ask("start", folder="/nothing")
        self.assertTrue(answer["ok"])
        ended = self.page.event("run-ended")["line"]
        self.assertIn("/nothing", ended["error"])

        host = self.page.result("host", text='{"address":"a","rules":[{"name":"N","silence":true}]}', on=True)["host"]
        (child,) = [one for one in self.bench.children() if b"host\0--json" in command_of(one)]
        os.kill(child, signal.SIGKILL)
        self.assertIn("137", self.page.event("host-ended")["line"]["error"])
        self.assertTrue(self.page.result("host", host=host, on=True)["hosts"][0]["on"])

    def test_an_interrupt_ends_all_and_leaves_nothing(self):
        self.begin()
        self.page.result("host", text='{"address":"a","rules":[{"name":"N","silence":true}]}', on=True)
        self.page.result("start", folder=self.folder(SHOWS), record=True)
        self.page.event("painted")
        children = self.bench.children()
        self.assertGreater(len(children), 2)

        self.bench.own = False
        code = self.bench.end(signal.SIGINT)

        self.assertEqual(code, 0)
        self.assertEqual([child for child in children if is_alive(child)], [])
        until(lambda: self.left() == [])
        shutil.rmtree(self.bench.folder)

    def test_no_child_outlives_a_workbench_that_is_killed(self):
        self.begin()
        self.page.result("host", text='{"address":"a","rules":[{"name":"N","silence":true}]}', on=True)
        self.page.result("start", folder=self.folder(SHOWS))
        self.page.event("painted")
        children = self.bench.children()

        self.bench.own = False
        self.bench.end(signal.SIGKILL)

        until(lambda: not [child for child in children if is_alive(child)])
        next_one = Workbench(WZ, folder=self.bench.folder)
        self.assertEqual(len(os.listdir(self.bench.folder + "/tmp")), 1)  # its own: the other's is swept
        next_one.end()
        until(lambda: self.left() == [])
        shutil.rmtree(self.bench.folder)

    def test_a_page_is_seen_pointed_at_typed_into_and_photographed(self):
        self.begin()
        self.addCleanup(self.bench.end)
        script = """
          document.body.innerHTML = '<button style="position:absolute;left:0;top:0;width:480px;height:400px">Pay</button>';
          document.querySelector('button').onclick = () => { console.log('clicked'); document.body.style.background = 'red'; };
          document.ontouchstart = () => console.log('touched');
          document.onkeydown = (event) => console.log('key ' + event.key);"""
        run = self.page.result("start", folder=self.folder(script), parameters={"a": "1"}, record=True)["run"]
        self.page.result("look", run=run, on=True)
        self.page.event("painted")
        until(lambda: self.page.pictures or not self.page.receive())
        number, frame, width, height = struct.unpack(">IIII", self.page.pictures[0][:16])
        self.assertEqual((number, width, height), (run, 480, 800))
        self.assertEqual(self.page.pictures[0][16:18], b"\xff\xd8")

        # Without a word that it was seen there is no other.
        for kind in ["down", "up"]:
            self.page.result("pointer", run=run, type=kind, x=100, y=100, button="left")
        self.page.event("console", text="clicked")
        self.page.event("input", action="click")
        time.sleep(0.3)
        self.page.result("applications")
        self.assertEqual(len(self.page.pictures), 1)
        self.page.result("seen", run=run, frame=frame)
        until(lambda: len(self.page.pictures) > 1 or not self.page.receive())

        self.page.result("key", run=run, type="press", key="Enter", code="Enter")
        self.page.event("console", text="key Enter")
        self.page.result("pointer", run=run, type="down", x=100, y=600, touch=True)
        self.page.result("pointer", run=run, type="up", x=100, y=600, touch=True)
        self.page.event("console", text="touched")

        name = self.page.result("screenshot", run=run)["name"]
        status, fields, png = self.bench.request("GET", "/saved?name=" + name)
        self.assertEqual((status, fields["Content-Type"], png[1:4]), (200, "image/png", b"PNG"))

        self.assertFalse(self.page.ask("pointer", run=run, type="dance", x=1, y=1)["ok"])
        self.page.result("cancel", run=run)
        self.page.event("run-ended")
        (recording,) = self.page.result("recordings")["recordings"]
        self.assertEqual(recording["application"], "shop")
        self.assertIn(b'"click"', self.bench.request("GET", "/saved?name=" + recording["name"])[2])
        self.assertIn("LAUNCH", [entry.get("event") for entry in self.page.result("log", application="shop")["entries"]])


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[3:]])
