"""pava serve and pava send on the loopback address: scripted conversations,
expectations, every fault as the receiving side sees it, load, hostile peers
and shutdown by signal. Every wait is bounded."""

import json
import os
import select
import signal
import socket
import subprocess
import time

import pytest

PAVA = os.environ["PAVA"]
SANITIZED = os.environ.get("PAVA_SANITIZED") == "1"
# Sanitized builds run several times slower: bounds stretch, sizes do not.
SLOW = 4 if SANITIZED else 1
DEADLINE = 60 * SLOW


def events(text):
    return [json.loads(line) for line in text.splitlines() if line]


class Server:
    """A `pava serve` (or another listening command) on 127.0.0.1 and an ephemeral port."""

    def __init__(self, tmp_path, script=None, *args, command=("serve",)):
        cmd = [PAVA, *command, "--listen", "127.0.0.1:0", *args]
        if script is not None:
            path = tmp_path / f"script{id(self)}.json"
            path.write_text(json.dumps(script))
            cmd += ["--script", str(path)]
        self.p = subprocess.Popen(cmd, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        ready, _, _ = select.select([self.p.stderr], [], [], 10 * SLOW)
        assert ready, "serve printed no port"
        line = self.p.stderr.readline().decode()
        assert line.startswith("pava: listening on 127.0.0.1:"), line
        self.port = int(line.rsplit(":", 1)[1])
        self.address = f"127.0.0.1:{self.port}"

    def stop(self, sig=signal.SIGTERM):
        """Signals the server, waits for it, returns its events."""
        self.p.send_signal(sig)
        out, err = self.p.communicate(timeout=20 * SLOW)
        assert self.p.returncode == 0, err.decode()
        return events(out.decode())

    def kill(self):
        if self.p.poll() is None:
            self.p.kill()
            self.p.communicate(timeout=10)


@pytest.fixture
def serve(tmp_path):
    servers = []

    def start(script=None, *args):
        s = Server(tmp_path, script, *args)
        servers.append(s)
        return s

    yield start
    for s in servers:
        s.kill()


def send(tmp_path, address, records=None, *args, rc=0, stdin=None):
    cmd = [PAVA, "send", address]
    if records is not None:
        path = tmp_path / "records.json"
        path.write_text("\n".join(json.dumps(r) for r in records))
        cmd.append(str(path))
    cmd += list(args)
    p = subprocess.run(cmd, capture_output=True, timeout=DEADLINE, input=stdin)
    assert p.returncode == rc, p.stderr.decode()
    return events(p.stdout.decode()), p.stderr.decode()


def write(tmp_path, name, data):
    path = tmp_path / name
    path.write_text(json.dumps(data))
    return str(path)


def frames(evs, direction="in"):
    return [e for e in evs if e["event"] == "frame" and e["dir"] == direction]


PING = {"msgId": 20001, "rii": 5, "text12b": "PING"}
ANSWER_RULE = {"match": {"msgId": 20001, "text12b": ["PING", "PING2"]},
               "send": {"msgId": 20003, "rii": "$rii", "text12b": "$text12b"}}


def test_scripted_conversation_between_two_peers(serve, tmp_path):
    # The server greets; the client answers the greeting by its own script;
    # the server answers that with the RII and text copied from it.
    server = serve({"onConnect": {"send": {"msgId": 20001, "rii": 0, "text12b": "HELLO"}},
                    "rules": [ANSWER_RULE, {"match": {}, "send": []}]})
    client_script = write(tmp_path, "client.json", {"rules": [
        {"match": {"msgId": 20001, "text12b": "HELLO"}, "send": {"msgId": 20001, "rii": 42, "text12b": "PING2"}}]})
    expect = write(tmp_path, "expect.json", [{"msgId": 20001, "text12b": "HELLO"},
                                             {"msgId": 20003, "rii": 42, "text12b": "PING2"}])
    got, _ = send(tmp_path, server.address, None, "--script", client_script, "--expect", expect, "--wait", "5")
    assert [(e["msgId"], e.get("rii", 0), e["text12b"]) for e in frames(got)] == [
        (20001, 0, "HELLO"), (20003, 42, "PING2")]
    assert [e["text12b"] for e in frames(got, "out")] == ["PING2"]
    evs = server.stop()
    assert [e["event"] for e in evs] == ["open", "frame", "frame", "frame", "close"]
    assert [(e["dir"], e["offset"], e["text12b"]) for e in evs[1:4]] == [
        ("out", 0, "HELLO"), ("in", 0, "PING2"), ("out", 28, "PING2")]
    assert evs[-1]["framesIn"] == 1 and evs[-1]["framesOut"] == 2 and evs[-1]["bytesOut"] == 56


@pytest.mark.parametrize("expect,rc,missing", [
    ([{"msgId": 20003, "rii": 5}, {"msgId": 20003, "rii": 6}], 0, []),
    ({"order": "any", "messages": [{"msgId": 20003, "rii": 6}, {"msgId": 20003, "rii": [5, 7]}]}, 0, []),
    # In the given order, the second cannot come before the first.
    ([{"msgId": 20003, "rii": 6}, {"msgId": 20003, "rii": 5}], 1, ['{"msgId":20003,"rii":5}']),
    ([{"msgId": 20003, "text12b": "NEVER"}], 1, ['{"msgId":20003,"text12b":"NEVER"}']),
])
def test_expect(serve, tmp_path, expect, rc, missing):
    server = serve({"rules": [ANSWER_RULE]})
    path = write(tmp_path, "expect.json", expect)
    start = time.monotonic()
    _, err = send(tmp_path, server.address, [PING, dict(PING, rii=6)], "--expect", path, "--wait", "2", rc=rc)
    assert [line.split(": ", 2)[2] for line in err.splitlines() if "expected, not received" in line] == missing
    # Met expectations end the run at once; unmet ones wait it out.
    assert (time.monotonic() - start < 2) == (rc == 0)
    server.stop()


SPLIT = {"msgId": 20016, "rii": 5, "text12b": "ADDR",
         "dataList": [{"itemId": i, "itemText": "t" * (i % 20)} for i in range(1000)]}
ONE = {"msgId": 20001, "rii": 5, "text12b": "ONE"}
TWO = {"msgId": 20001, "rii": 6, "text12b": "TWO"}


def texts(evs):
    return [e.get("text12b") for e in frames(evs)]


def skipped(evs):
    return [(e["offset"], e["count"], e["what"]) for e in evs if e["event"] == "skipped"]


def problems(evs):
    return [p["what"] for e in frames(evs) for p in e.get("problems", [])]


# Each fault as the receiving side reads it.
FAULTS = [
    ("segments of 1 byte", [ONE, TWO], {"segments": [1], "gapMs": 1},
     lambda evs: texts(evs) == ["ONE", "TWO"] and not skipped(evs)),
    ("segments of 7 bytes", [ONE, TWO], {"segments": [7]}, lambda evs: texts(evs) == ["ONE", "TWO"]),
    ("header and body apart", [ONE], {"segments": "header", "gapMs": 50}, lambda evs: texts(evs) == ["ONE"]),
    ("wrong declared length", [ONE, TWO], {"length": 99999},
     lambda evs: skipped(evs) == [(0, 56, "56 bytes skipped: not a frame")]),
    ("declared length too short", [ONE], {"length": 3}, lambda evs: skipped(evs) == [(0, 28, "28 bytes skipped: not a frame")]),
    ("damaged header byte", [ONE], {"damageHeader": 4},
     lambda evs: skipped(evs) == [(0, 28, "28 bytes skipped: not a frame")]),
    ("split frame dropped", [SPLIT], {"drop": 2},
     lambda evs: problems(evs) == ["frame(s) 2 of 3 missing; message cut off at the end of the input"]),
    ("split frame repeated", [SPLIT], {"repeat": 2},
     lambda evs: "frame 2 of 3 received again; the repeat is dropped" in problems(evs)),
    ("split frames out of order", [SPLIT], {"swap": 2}, lambda evs: "frame 2 of 3 arrived after frame 3" in problems(evs)),
    ("closed halfway through a frame", [ONE, TWO], {"closeMidFrame": True},
     lambda evs: skipped(evs) == [(0, 22, "frame cut off at the end of the input: 22 of its 28 bytes")]
     and evs[-1]["reason"] == "peer closed"),
]


@pytest.mark.parametrize("name,records,faults,seen", FAULTS, ids=[f[0] for f in FAULTS])
def test_fault_as_the_receiver_sees_it(serve, tmp_path, name, records, faults, seen):
    server = serve({"onConnect": {"send": records, "faults": faults}})
    got, _ = send(tmp_path, server.address, None, "--join", "--wait", "1")
    assert seen(got), json.dumps(got)[:2000]
    server.stop()


def test_stall_and_delay_hold_the_frame_back(serve, tmp_path):
    server = serve({"rules": [{"match": {"msgId": 20001}, "send": {"msgId": 20003, "rii": "$rii"},
                               "delayMs": 200, "faults": {"stallMs": 300}}]})
    got, _ = send(tmp_path, server.address, [PING], "--wait", "2")
    out, back = frames(got, "out")[0], frames(got)[0]

    def t(e):
        return time.mktime(time.strptime(e["time"][:19], "%Y-%m-%dT%H:%M:%S")) + float("0" + e["time"][19:-1])

    assert t(back) - t(out) >= 0.5
    assert back["rii"] == 5
    server.stop()


@pytest.mark.parametrize("script,reason", [
    ("{", "not JSON"),
    ({"rules": [{"match": {"msgId": 20001, "text99": "x"}}]}, "rules[0].match.text99: no such member"),
    ({"rules": [{"match": {"msgId": 12345}}]}, "rules[0].match.msgId: no codec for id 12345"),
    ({"rules": [{"match": {"msgId": 20001, "intValue3": 1}}]}, "rules[0].match.intValue3: id 20001 does not carry"),
    ({"rules": [{"match": {}, "send": {"msgId": 20001, "rii": "$text12b"}}]}, 'rules[0].send.rii: "$text12b" is a text'),
    ({"rules": [{"match": {}, "send": {"msgId": 20001, "rii": "$nothing"}}]}, "no such member to copy"),
    ({"onConnect": {"send": [{"msgId": 20001}, {"msgId": 20001, "string1": "x"}]}},
     'onConnect.send[1]: 20001 cannot send it: string1: "x" not sent'),
    ({"onConnect": {"send": {"msgId": 20001}, "faults": {"segmnts": [1]}}}, "onConnect.faults.segmnts: unknown key"),
    ({"every": [{"send": {"msgId": 20001}}]}, "every[0].everyMs: missing"),
    ({"rule": []}, "rule: unknown key"),
])
def test_script_refused_whole_with_its_path_and_reason(tmp_path, script, reason):
    path = tmp_path / "bad.json"
    path.write_text(script if isinstance(script, str) else json.dumps(script))
    for cmd in (["serve"], ["send", "127.0.0.1:9"]):
        p = subprocess.run([PAVA, *cmd, "--script", str(path)], capture_output=True, timeout=10 * SLOW)
        assert p.returncode == 2 and p.stdout == b""
        assert p.stderr.decode().startswith(f"pava: {path}: ") and reason in p.stderr.decode(), p.stderr.decode()


def test_load_every_frame_answered_and_counted(serve, tmp_path):
    server = serve({"rules": [ANSWER_RULE]}, "-q")
    got, err = send(tmp_path, server.address, [PING], "--connections", "64", "--repeat", "1000", "-q", "--wait", "20")
    summary = got[-1]
    assert summary["event"] == "summary"
    assert (summary["framesOut"], summary["framesIn"], summary["answered"], summary["bytesIn"]) == (
        64000, 64000, 64000, 64000 * 28)
    assert 0 < summary["rttMicros"]["p50"] <= summary["rttMicros"]["p99"] <= summary["rttMicros"]["max"]
    assert "64000 answered" in err
    closes = [e for e in server.stop() if e["event"] == "close"]
    assert len(closes) == 64 and {(c["framesIn"], c["framesOut"]) for c in closes} == {(1000, 1000)}


def test_periodic_records_and_rate(serve, tmp_path):
    server = serve({"every": [{"everyMs": 100, "send": {"msgId": 20001, "rii": 1, "text12b": "TICK"}}]})
    got, _ = send(tmp_path, server.address, [PING], "--rate", "20", "--repeat", "10", "--wait", "0")
    ticks = texts(got).count("TICK")
    seconds = [e for e in got if e["event"] == "summary"][0]["seconds"]
    # Ten messages at 20 a second take about half a second, with a tick every 100 ms.
    assert 0.4 <= seconds < 2 * SLOW and 3 <= ticks <= 6 * SLOW
    server.stop()


def test_hostile_peers_cost_only_their_own_connection(serve, tmp_path):
    big = {"msgId": 20016, "rii": "$rii", "text12b": "ADDR",
           "dataList": [{"itemId": i, "itemText": "t" * 20} for i in range(200)]}
    server = serve({"rules": [{"match": {"msgId": 20001, "text12b": "BIG"}, "send": big}, ANSWER_RULE]},
                   "-q", "--max-pending", "65536", "--idle-timeout", "1")
    ping = subprocess.run([PAVA, "encode", "-"], input=json.dumps(PING).encode(), capture_output=True).stdout
    bigping = subprocess.run([PAVA, "encode", "-"], input=json.dumps(dict(PING, text12b="BIG")).encode(),
                             capture_output=True).stdout
    hostile = []

    def connect(small_buffer=False):
        s = socket.socket()
        if small_buffer:
            s.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 4096)
        s.connect(("127.0.0.1", server.port))
        hostile.append(s)
        return s

    connect().sendall(os.urandom(20000))                          # garbage
    connect().sendall(b"  520001" + b"99999" + b"  0" + b"x" * 100)  # a header declaring 99999
    connect().sendall(ping[:20])                                  # a frame cut off, then silence
    slow = connect()                                              # one byte at a time
    never = connect(small_buffer=True)                            # asks for much, never reads
    never.setblocking(False)
    # Until the server gives up on it and resets the connection.
    deadline = time.monotonic() + 10 * SLOW
    while time.monotonic() < deadline:
        try:
            never.send(bigping * 50)
        except BlockingIOError:
            time.sleep(0.01)
        except OSError:
            break
    for b in ping[:10]:
        slow.send(bytes([b]))
        time.sleep(0.02)
    # A well-behaved client beside them gets every answer.
    expect = write(tmp_path, "expect.json", [{"msgId": 20003, "rii": 5}, {"msgId": 20003, "rii": 6}])
    send(tmp_path, server.address, [PING, dict(PING, rii=6)], "--expect", expect, "--wait", "5")
    time.sleep(1.5)  # past the idle timeout
    for s in hostile:
        s.close()
    evs = server.stop()
    reasons = {e["conn"]: e["reason"] for e in evs if e["event"] == "close"}
    assert reasons[1] == "idle timeout" and reasons[2] == "idle timeout"
    assert reasons[3] == "idle timeout" and reasons[4] == "idle timeout"
    assert reasons[5].startswith("output limit")
    assert reasons[6] == "peer closed"
    skips = {e["conn"]: e for e in evs if e["event"] == "skipped"}
    assert skips[1]["count"] > 19000 and skips[2]["offset"] == 0
    assert skips[3]["what"] == "frame cut off at the end of the input: 20 of its 28 bytes"


def test_connections_past_the_limit_are_closed_as_they_come(serve):
    server = serve(None, "--max-connections", "1")
    held = socket.create_connection(("127.0.0.1", server.port), timeout=5)
    extra = socket.create_connection(("127.0.0.1", server.port), timeout=5 * SLOW)
    assert extra.recv(10) == b""
    held.close()
    extra.close()
    closes = [(e["conn"], e["reason"]) for e in server.stop() if e["event"] == "close"]
    assert (2, "too many connections") in closes


def test_signal_stops_listening_and_finishes_what_was_accepted(serve, tmp_path):
    server = serve({"rules": [dict(ANSWER_RULE, delayMs=1500)]})
    client = subprocess.Popen([PAVA, "send", server.address, write(tmp_path, "ping.json", PING), "--wait", "5",
                               "--expect", write(tmp_path, "e.json", [{"msgId": 20003, "rii": 5}])],
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    # The request is in, its answer not yet due: the server is told to stop.
    # Read from the descriptor itself: a buffered reader could hold the line
    # while select() waits for more.
    seen = b""
    deadline = time.monotonic() + 10 * SLOW
    fd = server.p.stdout.fileno()
    while b'"dir":"in"' not in seen and time.monotonic() < deadline:
        ready, _, _ = select.select([fd], [], [], 1)
        if ready:
            seen += os.read(fd, 65536)
    assert b'"dir":"in"' in seen
    server.p.send_signal(signal.SIGINT)
    out, err = client.communicate(timeout=DEADLINE)
    assert client.returncode == 0, err.decode()
    assert [e["rii"] for e in frames(events(out.decode()))] == [5]
    while chunk := os.read(fd, 65536):
        seen += chunk
    rest = events(seen.decode())[2:]
    assert server.p.wait(timeout=20 * SLOW) == 0
    assert [e["event"] for e in rest] == ["frame", "close"] and rest[-1]["reason"] == "shutdown", rest
    with pytest.raises(OSError):
        socket.create_connection(("127.0.0.1", server.port), timeout=2)


def test_recorded_sessions_decode_to_the_frames_exchanged(serve, tmp_path):
    # Both ends record; each recording, read back by `pava decode`, gives
    # every frame of each direction at its offset, as the server saw them.
    server = serve({"rules": [ANSWER_RULE]}, "--record", str(tmp_path / "serve.pcap"))
    split = {"msgId": 20014, "rii": 2, "text12b": "X",
             "dataList": [{"itemId": k, "itemText": f"I{k}"} for k in range(1200)]}
    send(tmp_path, server.address, [PING, split, dict(PING, rii=6)], "--record", str(tmp_path / "send.pcap"),
         "--wait", str(SLOW))
    evs = server.stop()
    want = {side: [(e["offset"], e["msgId"], e.get("rii", 0)) for e in frames(evs, d)]
            for side, d in (("client", "in"), ("server", "out"))}
    assert len(want["client"]) == 5 and len(want["server"]) == 2
    for name in ("serve.pcap", "send.pcap"):
        p = subprocess.run([PAVA, "decode", str(tmp_path / name)], capture_output=True, timeout=DEADLINE)
        assert p.returncode == 0, p.stderr.decode()
        lines = events(p.stdout.decode())
        assert {(line["conn"], line["dst" if line["from"] == "client" else "src"]) for line in lines} == {
            (1, server.address)}
        for side in ("client", "server"):
            assert [(l["offset"], l["msgId"], l.get("rii", 0)) for l in lines if l["from"] == side] == want[side]


def test_send_to_a_peer_that_never_reads_ends_as_stalled(tmp_path):
    # Accepts, never reads: once both socket buffers are full, nothing the
    # sender writes is taken, yet its output stays under --max-pending.
    listener = socket.socket()
    listener.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 4096)
    listener.bind(("127.0.0.1", 0))
    listener.listen(1)
    big = {"msgId": 20016, "rii": 1, "text12b": "ADDR",
           "dataList": [{"itemId": i, "itemText": "t" * 20} for i in range(200)]}
    try:
        started = time.monotonic()
        got, _ = send(tmp_path, "127.0.0.1:%d" % listener.getsockname()[1], [big], "-q",
                      "--repeat", "2000", "--wait", "1")
        elapsed = time.monotonic() - started
    finally:
        listener.close()
    closes = [e for e in got if e["event"] == "close"]
    assert [c["reason"] for c in closes] == ["stalled: the peer takes nothing of what is sent"]
    assert 0 < closes[0]["bytesOut"] < 2000 * 4000 and elapsed < 10 * SLOW
