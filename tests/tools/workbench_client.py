"""The workbench as a program drives it: for its tests and its measurements."""

import base64
import http.client
import json
import os
import shutil
import signal
import socket
import struct
import subprocess
import tempfile
import time

PATIENCE = 30  # seconds, for a machine that is busy


def until(what, patience=PATIENCE):
    """The first value of `what` that is true."""
    deadline = time.monotonic() + patience
    while True:
        value = what()
        if value:
            return value
        if time.monotonic() > deadline:
            raise AssertionError("it did not happen")
        time.sleep(0.01)


class Socket:
    """A WebSocket (RFC 6455) as a page has it: answers by the ids of their questions, and the rest in order."""

    def __init__(self, bench, **headers):
        self.socket = socket.create_connection(("127.0.0.1", bench.port), timeout=PATIENCE)
        fields = {
            "Host": f"127.0.0.1:{bench.port}",
            "Origin": f"http://127.0.0.1:{bench.port}",
            "Cookie": bench.cookie,
            **headers,
        }
        key = base64.b64encode(os.urandom(16)).decode()
        request = "GET /socket HTTP/1.1\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
        request += f"Sec-WebSocket-Version: 13\r\nSec-WebSocket-Key: {key}\r\n"
        request += "".join(f"{name}: {value}\r\n" for name, value in fields.items() if value is not None)
        self.socket.sendall(request.encode() + b"\r\n")
        self.data = b""
        while b"\r\n\r\n" not in self.data:
            block = self.socket.recv(65536)
            if not block:
                break
            self.data += block
        head, _, self.data = self.data.partition(b"\r\n\r\n")
        self.status = int(head.split()[1]) if head else 0
        self.answers, self.others, self.pictures, self.last = {}, [], [], 0
        self.closed = False

    def close(self):
        self.socket.close()

    def send_frame(self, payload, first=0x81, size=None):
        """`size` is what the frame states; without it the true one."""
        size = len(payload) if size is None else size
        head = bytes([first])
        if size < 126:
            head += bytes([0x80 | size])
        elif size < 65536:
            head += bytes([0x80 | 126]) + struct.pack(">H", size)
        else:
            head += bytes([0x80 | 127]) + struct.pack(">Q", size)
        self.socket.sendall(head + b"\0\0\0\0" + payload)  # the mask changes nothing

    def receive(self):
        """Takes one message more. False at the connection's end."""

        def need(count):
            while len(self.data) < count:
                block = self.socket.recv(1 << 20)
                if not block:
                    raise ConnectionError
                self.data += block

        try:
            need(2)
            size, at = self.data[1] & 127, 2
            if size == 126:
                need(4)
                size, at = struct.unpack(">H", self.data[2:4])[0], 4
            elif size == 127:
                need(10)
                size, at = struct.unpack(">Q", self.data[2:10])[0], 10
            need(at + size)
        except (ConnectionError, OSError):
            self.closed = True
            return False
        opcode, payload = self.data[0] & 15, self.data[at : at + size]
        self.data = self.data[at + size :]
        if opcode == 8:
            self.closed = True
            return False
        if opcode == 2:
            self.pictures.append(payload)
        elif opcode == 1:
            message = json.loads(payload)
            if "id" in message:
                self.answers[message["id"]] = message
            else:
                self.others += message["events"] if message["event"] == "stories" else [message]
        return True

    def tell(self, do, **members):
        """A question whose answer nobody waits for; gives its id."""
        self.last += 1
        self.send_frame(json.dumps({**members, "id": self.last, "do": do}).encode())
        return self.last

    def ask(self, do, **members):
        """The whole answer."""
        return self.answer(self.tell(do, **members))

    def answer(self, number):
        while number not in self.answers:
            if not self.receive():
                raise AssertionError("the connection has ended")
        return self.answers.pop(number)

    def result(self, do, **members):
        answer = self.ask(do, **members)
        if not answer["ok"]:
            raise AssertionError(answer["error"])
        return answer["result"]

    def until(self, fits):
        """The first message that is no answer and fits; it is taken out, and those before it stay."""
        at = 0
        while True:
            while at < len(self.others):
                if fits(self.others[at]):
                    return self.others.pop(at)
                at += 1
            if not self.receive():
                raise AssertionError("the connection has ended")

    def event(self, name, /, **members):
        """The first line of the story that is of this event and has these members."""

        def fits(message):
            line = message.get("line", {})
            return line.get("event") == name and all(line.get(key) == value for key, value in members.items())

        return self.until(fits)


class Workbench:
    """A running `wz workbench`, and a browser that has opened it. With an `environment` it opens one itself."""

    def __init__(self, wz, *arguments, folder=None, opened=True, environment=None):
        self.own = folder is None
        self.folder = folder or new_terminal(wz)
        self.process = subprocess.Popen(
            [wz, "workbench", self.folder + "/desk", "--json", *(arguments if environment else ("--no-open", *arguments))],
            stdout=subprocess.PIPE,
            stderr=subprocess.PIPE,
            text=True,
            env={**os.environ, "TMPDIR": self.folder + "/tmp", **(environment or {})},
        )
        line = self.process.stdout.readline()
        if not line.startswith("{"):
            raise AssertionError(line + self.process.stderr.read())
        self.address = json.loads(line)["address"]
        self.port = int(self.address.split(":")[2].split("/")[0])
        self.token = self.address.split("=")[1]
        self.cookie = None
        if opened:
            _, fields, _ = self.request("GET", "/?token=" + self.token)
            self.cookie = fields["Set-Cookie"].split(";")[0]

    def request(self, method, path, body=None, **headers):
        """(status, header fields, content); a field that is None is left out."""
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=PATIENCE)
        fields = {"Host": f"127.0.0.1:{self.port}", "Cookie": self.cookie, **headers}
        if method == "POST" and "Origin" not in headers:
            fields["Origin"] = f"http://127.0.0.1:{self.port}"
        connection.putrequest(method, path, skip_host=True, skip_accept_encoding=True)
        if body is not None:
            fields.setdefault("Content-Length", str(len(body)))
        for name, value in fields.items():
            if value is not None:
                connection.putheader(name, value)
        connection.endheaders(body)
        response = connection.getresponse()
        content = response.read()
        connection.close()
        return response.status, response.headers, content

    def upload(self, name, content):
        status, _, answer = self.request("POST", "/upload?name=" + name, content)
        assert status == 200, answer
        return json.loads(answer)["upload"]

    def children(self):
        return children_of(self.process.pid)

    def end(self, number=signal.SIGTERM):
        if self.process.poll() is None:
            self.process.send_signal(number)
        code = self.process.wait(PATIENCE)
        self.process.stdout.close()
        self.process.stderr.close()
        if self.own:
            shutil.rmtree(self.folder)
        return code


def new_terminal(wz):
    """A folder with the terminal "desk" and one for temporary files."""
    folder = tempfile.mkdtemp(prefix="wb")
    os.mkdir(folder + "/tmp")
    subprocess.run([wz, "terminal", "create", folder + "/desk"], check=True, stdout=subprocess.DEVNULL)
    return folder


def children_of(process):
    """All that this process has started, and they."""
    found = []
    try:
        for task in os.listdir(f"/proc/{process}/task"):
            with open(f"/proc/{process}/task/{task}/children", encoding="ascii") as children:
                found += [int(child) for child in children.read().split()]
    except OSError:
        pass
    return found + [deeper for child in found for deeper in children_of(child)]


def is_alive(process):
    try:
        with open(f"/proc/{process}/stat", encoding="ascii", errors="replace") as status:
            return status.read().rsplit(")", 1)[1].split()[0] != "Z"
    except OSError:
        return False


def command_of(process):
    try:
        with open(f"/proc/{process}/cmdline", "rb") as command:
            return command.read()
    except OSError:
        return b""


def send_on_bus(path, count):
    """Puts notifications COUNT with the payloads 0, 1, 2 ... on a bus (D-Bus specification, Message Protocol)."""

    def text(value):
        return struct.pack("<I", len(value)) + value + b"\0"

    def padded(data, to):
        return data + b"\0" * (-len(data) % to)

    def message(kind, serial, fields, body):
        header = b""
        for number, sign, value in fields:
            header = padded(header, 8) + bytes([number, 1]) + sign + b"\0"
            header += bytes([len(value)]) + value + b"\0" if sign == b"g" else padded_text(header, value)
        head = struct.pack("<cBBBII", b"l", kind, 0, 1, len(body), serial) + struct.pack("<I", len(header)) + header
        return padded(head, 8) + body

    def padded_text(before, value):
        return b"\0" * (-len(before) % 4) + text(value)

    def octets(value):
        return struct.pack("<I", len(value)) + value

    connection = socket.socket(socket.AF_UNIX)
    connection.connect(path)
    connection.sendall(b"\0AUTH EXTERNAL\r\nDATA\r\nBEGIN\r\n")
    name = b"org.freedesktop.DBus"
    call = [(1, b"o", b"/org/freedesktop/DBus"), (2, b"s", name), (3, b"s", b"Hello"), (6, b"s", name)]
    connection.sendall(message(1, 1, call, b""))
    fields = [(1, b"o", b"/zelipc"), (2, b"s", b"zelipc.Notifications"), (3, b"s", b"Notification"), (8, b"g", b"ssayayayayu")]
    for number in range(count):
        body = b""
        for part in [text(b"61"), text(b"62"), octets(b"wz"), octets(b"all"), octets(b"COUNT"), octets(b"%d" % number)]:
            body = padded(body, 4) + part
        connection.sendall(message(4, number + 2, fields, padded(body, 4) + struct.pack("<I", 0)))
    return connection
