"""pava replay on the loopback address: a session recorded by `pava serve
--record` is played again against a fresh peer (either side) and to a client
(--serve), on the recorded clock scaled by --speed; damaged and wrong
captures are refused clearly. Every wait is bounded."""

import json
import subprocess
from datetime import datetime

import pytest

from test_peer import DEADLINE, PAVA, SLOW, Server, events, frames, send, serve, write  # noqa: F401 (fixture)

SCRIPT = {"onConnect": {"send": {"msgId": 20001, "rii": 0, "text12b": "HELLO"}},
          "rules": [{"match": {"msgId": [20001, 20014]},
                     "send": {"msgId": 20003, "rii": "$rii", "text12b": "$text12b"}}]}
SPLIT = {"msgId": 20014, "rii": 2, "text12b": "X",
         "dataList": [{"itemId": k, "itemText": f"I{k}"} for k in range(1200)]}
RECORDS = [{"msgId": 20001, "rii": 5, "text12b": "PING"}, SPLIT, {"msgId": 20001, "rii": 6, "text12b": "PING2"}]


def key(e):
    return (e["offset"], e["msgId"], e.get("rii", 0), e.get("text12b"))


@pytest.fixture(scope="module")
def recording(tmp_path_factory):
    """A session recorded by the server (messages half a second apart),
    and its frames per side as `pava decode` reads them back."""
    d = tmp_path_factory.mktemp("recording")
    server = Server(d, SCRIPT, "--record", str(d / "a.pcap"))
    try:
        send(d, server.address, RECORDS, "--rate", "2", "--wait", "0.3")
        server.stop()
    finally:
        server.kill()
    p = subprocess.run([PAVA, "decode", str(d / "a.pcap")], capture_output=True, timeout=DEADLINE)
    assert p.returncode == 0, p.stderr.decode()
    lines = events(p.stdout.decode())
    sides = {side: [line for line in lines if line["from"] == side] for side in ("client", "server")}
    assert [len(sides["client"]), len(sides["server"])] == [5, 6]
    return d / "a.pcap", sides


def seconds(e):
    return datetime.fromisoformat(e["time"].replace("Z", "+00:00")).timestamp()


def replay(capture, *args, rc=0):
    p = subprocess.run([PAVA, "replay", str(capture), *args], capture_output=True, timeout=DEADLINE)
    assert p.returncode == rc, p.stderr.decode()
    return events(p.stdout.decode()), p.stderr.decode()


@pytest.mark.parametrize("side,script,args", [
    ("client", SCRIPT, ["--expect", "EXPECT"]),
    ("server", None, ["--as-fast-as-possible"]),
])
def test_replay_to_a_fresh_peer_gives_the_recorded_frames(serve, tmp_path, recording, side, script, args):
    capture, recorded = recording
    other = "server" if side == "client" else "client"
    server = serve(script)
    args = [write(tmp_path, "expect.json", [{"msgId": 20003, "rii": 6}]) if a == "EXPECT" else a for a in args]
    got, _ = replay(capture, "--to", server.address, "--side", side, "--wait", str(SLOW), *args)
    assert [key(e) for e in frames(got, "out")] == [key(e) for e in recorded[side]]
    assert [key(e) for e in frames(server.stop())] == [key(e) for e in recorded[side]]
    if script is not None:  # the fresh server answers as the recorded one did
        assert [key(e) for e in frames(got)] == [key(e) for e in recorded[other]]


@pytest.mark.parametrize("sent,answers,reason,args", [
    (RECORDS, 6, "peer closed", []),
    # Each answer also waits for its recorded time (here halved) since the connection opened.
    (RECORDS, 6, "peer closed", ["--timed", "--speed", "2"]),
    # Each recorded answer waits for the client frames it followed; a client
    # that sends no more is given up after --wait.
    (RECORDS[:1], 2, "stalled", []),
    ([], 1, "stalled", []),
])
def test_serve_answers_as_the_recorded_server_did(tmp_path, recording, sent, answers, reason, args):
    capture, recorded = recording
    want = recorded["server"][:answers]
    server = Server(tmp_path, None, "--wait", str(SLOW), *args, command=("replay", str(capture), "--serve"))
    try:
        # The whole conversation ends as soon as the last answer is in.
        expect = ["--expect", write(tmp_path, "e.json", [{"msgId": 20003, "rii": 6}])] if answers == 6 else []
        got, _ = send(tmp_path, server.address, sent, "--wait", str(3 * SLOW), *expect)
        assert [key(e) for e in frames(got)] == [key(e) for e in want]
        played = server.stop()
        closes = [e for e in played if e["event"] == "close"]
        assert len(closes) == 1 and closes[0]["reason"].startswith(reason), closes
    finally:
        server.kill()
    if args:  # on the replaying server's clock: from its connection's open
        for e, r in zip(frames(played, "out"), want):
            assert seconds(e) - seconds(played[0]) >= (r["ts"] - want[0]["ts"]) / 2 - 0.002, (e, r)


@pytest.mark.parametrize("speed", [0.5, 4])
def test_speed_scales_the_recorded_clock(serve, recording, speed):
    capture, recorded = recording
    server = serve(SCRIPT)
    got, _ = replay(capture, "--to", server.address, "--speed", str(speed), "--wait", "0.2")
    server.stop()
    opened = seconds(got[0])
    first = recorded["client"][0]["ts"]
    out = frames(got, "out")
    assert len(out) == len(recorded["client"])
    for e, r in zip(out, recorded["client"]):
        due = (r["ts"] - first) / speed
        # Never early; late by no more than a generous margin (at --speed 4
        # the last frame is due at 0.25 s, unscaled at 1 s).
        assert due - 0.002 <= seconds(e) - opened <= due + 0.5 * SLOW, (speed, e, r)


def test_damaged_and_wrong_captures_are_refused_clearly(serve, tmp_path, recording):
    capture, recorded = recording
    data = capture.read_bytes()
    cut = tmp_path / "cut.pcap"
    cut.write_bytes(data[:len(data) * 2 // 3])
    server = serve(SCRIPT)
    got, err = replay(cut, "--to", server.address, "--as-fast-as-possible", "--wait", "0.2", rc=3)
    server.stop()
    assert "cut.pcap: damaged capture after packet" in err
    played = [key(e) for e in frames(got, "out")]
    assert played and played == [key(e) for e in recorded["client"]][:len(played)]

    (tmp_path / "junk.pcap").write_bytes(b"not a capture at all")
    for args, rc, says in [
        ([str(tmp_path / "junk.pcap"), "--to", "127.0.0.1:9"], 4, "junk.pcap: not read as a capture"),
        ([str(capture), "--to", "127.0.0.1:9", "--connection", "2"], 2, "no connection 2 in the capture (1 carry"),
        ([str(capture)], 2, "--to HOST:PORT or --serve"),
    ]:
        p = subprocess.run([PAVA, "replay", *args], capture_output=True, timeout=DEADLINE)
        assert (p.returncode, p.stdout) == (rc, b"") and says in p.stderr.decode(), p.stderr.decode()
