"""The pava tool on the shapes of input a live link gives: streams through
standard input, damaged and cut-off streams, split messages, lossy records,
and a stream far larger than the memory the tool may use."""

import json
import os
import random
import subprocess

import pytest

PAVA = os.environ["PAVA"]
SHIPPED = os.environ["PAVA_SHIPPED_RECORDS"]
SANITIZED = os.environ.get("PAVA_SANITIZED") == "1"


def run(*args, stdin=b"", check_rc=None):
    p = subprocess.run([PAVA, *args], input=stdin, capture_output=True, timeout=300)
    if check_rc is not None:
        assert p.returncode == check_rc, p.stderr.decode()
    return p


def encode(records, *args):
    text = "\n".join(json.dumps(r) for r in records).encode()
    return run("encode", "-", *args, stdin=text, check_rc=0).stdout


def lines(out):
    return [json.loads(line) for line in out.decode().splitlines()]


@pytest.fixture(scope="module")
def shipped():
    """The shipped records in wire form, and where each frame starts."""
    wire = run("encode", SHIPPED, check_rc=0).stdout
    offsets = [r["offset"] for r in lines(run("decode", "-", stdin=wire, check_rc=0).stdout)]
    frames = [wire[a:b] for a, b in zip(offsets, offsets[1:] + [len(wire)])]
    return wire, frames


def test_mixed_ids_through_standard_input(shipped, tmp_path):
    wire, frames = shipped
    records = lines(run("decode", "-", "-o", "-", stdin=wire, check_rc=0).stdout)
    assert len(records) == len(frames) >= 5
    assert len({r["msgId"] for r in records}) >= 5
    assert all(r["rc"] == 0 for r in records)
    # The same through a file named on the command line and -o FILE.
    (tmp_path / "in.pava").write_bytes(wire)
    run("decode", str(tmp_path / "in.pava"), "-o", str(tmp_path / "out.jsonl"), check_rc=0)
    assert lines((tmp_path / "out.jsonl").read_bytes()) == records
    # Hex and raw forms carry the same frames.
    def without_offset(rs):
        return [{k: v for k, v in r.items() if k != "offset"} for r in rs]

    from_hex = lines(run("decode", "--hex", stdin=run("encode", "--hex", SHIPPED, check_rc=0).stdout, check_rc=0).stdout)
    assert without_offset(from_hex) == without_offset(records)
    raw = run("encode", "--raw", SHIPPED, check_rc=0).stdout
    assert len(raw) == 8208 * len(frames)
    assert [r["msgId"] for r in lines(run("decode", "--raw", stdin=raw).stdout)] == [r["msgId"] for r in records]


def test_damaged_stream_keeps_every_good_frame(shipped):
    # Where the reader finds each kind of damage is pinned in tests/unit/frame_reader_test.cpp;
    # here how the tool reports it, on standard error, with exit code 3.
    _, f = shipped
    data = b"GARBAGE!" + f[0] + f[3][:30] + f[4] + f[-1][:-1]
    p = run("decode", "-", stdin=data, check_rc=3)
    assert [r["offset"] for r in lines(p.stdout)] == [8, 8 + len(f[0]) + 30]
    assert p.stderr.decode().splitlines() == [
        "pava: offset 0: 8 bytes skipped: not a frame",
        f"pava: offset {8 + len(f[0])}: frame cut short: 30 of its {len(f[3])} bytes before the next header",
        f"pava: offset {len(data) - len(f[-1]) + 1}: frame cut off at the end of the input: "
        f"{len(f[-1]) - 1} of its {len(f[-1])} bytes",
    ]
    # --strict stops at the first damage.
    strict = run("decode", "--strict", "-", stdin=f[0] + b"xx" + f[1], check_rc=3)
    assert len(lines(strict.stdout)) == 1
    # dissect reports the same, with each frame's offset.
    d = run("dissect", "-", stdin=data, check_rc=3)
    assert f"frame 2 at offset {8 + len(f[0]) + 30}:" in d.stdout.decode()


def test_inputs_that_hold_no_frame(tmp_path):
    letters = bytes(random.Random(3).choice(b"abcdefghijklmnopqrstuvwxyz") for _ in range(1600))
    p = run("decode", "-", stdin=letters, check_rc=3)
    assert p.stdout == b"" and p.stderr == b"pava: offset 0: 1600 bytes skipped: not a frame\n"
    assert run("decode", "-", stdin=b"", check_rc=0).stdout == b""
    assert b"is a directory" in run("decode", str(tmp_path), check_rc=4).stderr
    assert b"No such file" in run("dissect", str(tmp_path / "none"), check_rc=4).stderr
    run("decode", "--raw", "--hex", check_rc=2)
    run("decode", "--no-such-option", check_rc=2)


def test_log_lines_never_mix_into_the_data(shipped):
    wire, frames = shipped
    p = run("--log", "decode", "-", stdin=wire, check_rc=0)
    assert len(lines(p.stdout)) == len(frames)
    assert "pava: offset 0: log: Pava_20001_To_Data!" in p.stderr.decode().splitlines()
    carried = lines(run("--log=json", "decode", "-", stdin=wire, check_rc=0).stdout)
    assert carried[0]["log"] == ["Pava_20001_To_Data!\n"]


def split_records():
    def items(n, value=50):
        return [{"itemText": f"r{i}", "itemId": i % 99, "itemInt2": value, "itemText2": "w" * value} for i in range(n)]

    table = [{"fieldList": [{"fieldType": 1, "fieldLen": 100, "fieldText1": "v" * 100}] * 5}] * 30
    return [
        {"msgId": 20018, "rii": 5, "text12b": "ADDR", "dataList": [{"itemId": i, "itemText": "x", "itemBlock": "B" * 15} for i in range(700)]},
        {"msgId": 20016, "rii": 5, "text12b": "ADDR", "dataList": [{"itemId": i, "itemText": "t" * (i % 20)} for i in range(600)]},
        {"msgId": 10002, "rii": 6, "text64b": "ABCDEFGHIJKLMNOPQ", "intValue14": 2, "intValue16": 1, "recordList": table},
        {"msgId": 10006, "rii": 6, "intValue16": 1, "recordList": table},
        {"msgId": 61851, "rii": 6, "msgType": 3, "text12a": "A", "string4": "S", "dataList": items(100)},
        {"msgId": 61858, "text12a": "A", "string4": "S", "recordList": [{"fieldList": [{"fieldText1": "ref", "fieldType": 3, "fieldLen": 500, "fieldText2": "q" * 500}] * 3}] * 10},
        {"msgId": 61901, "rii": 2, "text12a": "A", "string4": "S", "dataList": items(100, 30)},
    ]


def test_join_gives_one_record_per_message_and_encodes_back():
    wire = encode(split_records())
    frames = lines(run("decode", "-", stdin=wire, check_rc=0).stdout)
    joined = lines(run("decode", "--join", "-", stdin=wire, check_rc=0).stdout)
    assert len(joined) == len(split_records()) < len(frames)
    assert all(m["frames"] >= 2 and m["rc"] == 0 for m in joined)
    assert [len(m.get("dataList", m.get("recordList"))) for m in joined] == [700, 600, 30, 30, 100, 10, 100]
    back = run("encode", "-", stdin=b"\n".join(json.dumps(m).encode() for m in joined), check_rc=0)
    assert back.stdout == wire and back.stderr == b""


def test_join_reports_a_missing_frame():
    wire = encode(split_records()[:1] * 2)  # two messages of three frames
    offsets = [r["offset"] for r in lines(run("decode", "-", stdin=wire).stdout)]
    assert len(offsets) == 6
    damaged = wire[: offsets[1]] + wire[offsets[2]:]  # frame 2 of the first message lost
    p = run("decode", "--join", "-", stdin=damaged, check_rc=3)
    got = lines(p.stdout)
    assert [m.get("complete", True) for m in got] == [False, True]
    assert "frame(s) 2 of 3 missing" in p.stderr.decode()


def test_encode_reports_what_did_not_survive():
    records = [
        {"msgId": 20014, "text12b": "A", "intValue3": 123, "dataList": [{"itemId": 1}, {"itemId": 123456789}]},
        {"msgId": 20001, "text12b": "A", "string1": "not carried"},
        {"msgId": 10001, "intValue14": 4},
        {"msgId": 20001, "text12b": "ABCDEFGHIJKL"},
        # Decoded as two records (without and with the where-items): nothing lost.
        {"msgId": 10001, "text64b": "TABLE", "intValue14": 2, "intValue16": 2,
         "recordList": [{"fieldList": [{"fieldType": 1, "fieldLen": 3, "fieldText1": "abc"}],
                         "fieldList2": [{"fieldType": 2, "fieldLen": 2, "fieldText1": "wh"}]}]},
    ]
    text = "\n".join(json.dumps(r) for r in records).encode()
    p = run("encode", "-", stdin=text, check_rc=0)
    assert p.stderr.decode().splitlines() == [
        "pava: record 1 (20014): intValue3: 123 sent as 12",
        "pava: record 1 (20014): dataList[1].itemId: 123456789 sent as 12345678",
        'pava: record 2 (20001): string1: "not carried" not sent',
        "pava: record 3 (10001): no frame sent: the codec produced none for this record",
    ]
    assert len(lines(run("decode", "-", stdin=p.stdout).stdout)) == 4
    strict = run("encode", "--strict", "-", stdin=text, check_rc=1)
    assert strict.stdout == b""
    bad = run("encode", "-", stdin=b'{"msgId": 20001, "nosuch": 1}\n{"msgId": 20001}', check_rc=3)
    assert b"record 1: nosuch: unknown member" in bad.stderr and len(bad.stdout) > 0


def test_large_stream_in_constant_memory(shipped, tmp_path):
    wire, _ = shipped
    small = tmp_path / "small.pava"
    large = tmp_path / "large.pava"
    small.write_bytes(wire * 100)
    # 16 MB where the tool runs slowly (sanitizers) or again and again (scripts/mutate.py).
    target = (16 if SANITIZED or os.environ.get("PAVA_MUTATION") == "1" else 96) << 20
    with open(large, "wb") as f:
        for _ in range(target // len(wire)):
            f.write(wire)

    # AddressSanitizer keeps freed memory in quarantine (256 MB by default);
    # a small one keeps the comparison about the tool's own memory.
    env = dict(os.environ, ASAN_OPTIONS=os.environ.get("ASAN_OPTIONS", "") + ":quarantine_size_mb=4")

    def peak(path, *args):
        with open(path, "rb") as inp:
            p = subprocess.Popen([PAVA, *args, "-"], stdin=inp, stdout=subprocess.DEVNULL, env=env)
            _, status, usage = os.wait4(p.pid, 0)
        assert os.waitstatus_to_exitcode(status) == 0
        return usage.ru_maxrss * 1024

    for command in (["decode"], ["decode", "--join"], ["dissect"]):
        base, big = peak(small, *command), peak(large, *command)
        assert big < base + (16 << 20), command
        if not SANITIZED:
            assert big < 64 << 20, command


def test_version_help_and_exit_codes():
    assert run("--version", check_rc=0).stdout.decode().startswith("pava ")
    for command in ("encode", "decode", "dissect"):
        out = run(command, "--help", check_rc=0).stdout.decode()
        assert "Exit codes:" in out and "--strict" in out
    for command in ("ids", "layout"):
        run(command, "--help", check_rc=0)
