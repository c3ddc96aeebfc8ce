"""pava.Decoder against `pava decode`: the same frames, offsets, records,
joined messages and skipped bytes, whatever pieces the stream arrives in."""

import json
import os
import random
import subprocess

import pytest

import pava
from conftest import to_tool_json

pytestmark = pytest.mark.skipif(pava.BACKEND != "module", reason="streams need the compiled module")


def split_message(n, rii):
    return {"msgId": 20020, "rii": rii, "text12b": b"LIST%08d" % n,
            "dataList": [{"itemId": i, "itemText": b"t%d" % i} for i in range(n)]}


def records():
    return [{"msgId": 20001, "rii": 5, "msgType": 1, "text12b": b"ADDRESS00001"},
            split_message(1200, 1),
            {"msgId": 20138, "text12b": b"ADDRESS00002",
             "recordList": [{"recInt": 1, "fieldList": [{"fieldType": 1, "fieldText1": b"LD0/LLN0.Mod"}]}]},
            {"msgId": 20018, "rii": 4, "text12b": b"LIST00000018",
             "dataList": [{"itemId": i, "itemText": b"A", "itemBlock": b"B%d" % i} for i in range(50)]},
            split_message(900, 2)]


def wire_frames():
    return [pava.wire(f) for r in records() for f in pava.encode(r)]


def damaged(frames, rnd):
    """Frames with junk between them, one frame's middle frame lost, one cut
    short by the next header, noise and a fragment at the end."""
    out = [b"\x00junk\xff"]
    for i, frame in enumerate(frames):
        if i == 2:
            continue  # a split message loses a frame
        if i == 4:
            frame = frame[:40]  # cut short by the next header
        out.append(frame)
        if rnd.random() < 0.4:
            out.append(bytes(rnd.choice(b"0123456789 \n\x00\xffAB") for _ in range(rnd.randrange(1, 30))))
    out.append(frames[0][:10])
    return b"".join(out)


STREAMS = {
    "wire": lambda: b"".join(wire_frames()),
    "damaged": lambda: damaged(wire_frames(), random.Random(26)),
    "noise": lambda: bytes(random.Random(7).choice(b"0123456789 2000\x00") for _ in range(20000)),
    "raw": lambda: b"".join(f for r in records() for f in pava.encode(r)) + b"\x00" * 100,
    "hex": lambda: b"".join(f.hex().encode() + b"\n" for f in wire_frames()) + b"zz\n",
}


def tool(stream, form, join, live):
    """`pava decode` on the stream: from a file (looking ahead) or a pipe (live)."""
    program = os.environ.get("PAVA")
    if not program:
        pytest.skip("PAVA names no pava tool")
    args = [program, "decode"] + (["--" + form] if form != "wire" else []) + (["--join"] if join else [])
    if live:
        p = subprocess.run(args + ["-"], input=stream, capture_output=True, timeout=60)
    else:
        path = f"/tmp/pava_stream_{os.getpid()}.bin"
        with open(path, "wb") as f:
            f.write(stream)
        try:
            p = subprocess.run(args + [path], capture_output=True, timeout=60)
        finally:
            os.unlink(path)
    damage = [line.split(": ", 1)[1] for line in p.stderr.decode().splitlines() if line.startswith("pava: offset")]
    return [json.loads(line) for line in p.stdout.decode().splitlines()], damage


def through_decoder(stream, form, join, live, chunk):
    decoder = pava.Decoder(join=join, form=form, look_ahead=not live)
    events = []
    for at in range(0, len(stream), chunk):
        decoder.feed(stream[at:at + chunk])
        events += decoder
    decoder.finish()
    while (event := decoder.next_event()) is not None:
        events.append(event)
    assert decoder.ended and decoder.buffered == 0
    records, damage = [], []
    for e in events:
        if isinstance(e, pava.Damage):
            damage.append(f"offset {e.offset}: {e.what}")
            continue
        line = {"offset": e.offset, "rc": e.rc}
        if isinstance(e, pava.Message):
            damage += [f"offset {p.offset}: {p.what}" for p in e.problems]
            line["frames"] = e.frames
            if not e.complete:
                line["complete"] = False
        line.update(to_tool_json(e.record))
        records.append(line)
    return records, damage


@pytest.mark.parametrize("name", STREAMS)
@pytest.mark.parametrize("join", [False, True])
@pytest.mark.parametrize("live", [False, True])
def test_decoder_reads_as_the_tool_in_any_pieces(name, join, live):
    form = name if name in ("raw", "hex") else "wire"
    stream = STREAMS[name]()
    expected = tool(stream, form, join, live)
    if name == "damaged":
        assert expected[1] and (not join or any("complete" in r for r in expected[0]))
    for chunk in (1, 7, 4096, len(stream)):
        assert through_decoder(stream, form, join, live, chunk) == expected, chunk


def test_decoder_refusals_and_read_frames(tmp_path):
    decoder = pava.Decoder()
    with pytest.raises(TypeError):
        decoder.feed("text")
    with pytest.raises(ValueError):
        pava.Decoder(form="json")
    data = bytearray(b"".join(wire_frames()))
    decoder.feed(data)
    data[:] = b"x" * len(data)  # the decoder holds its own copy of what it was fed
    decoder.finish()
    with pytest.raises(ValueError):
        decoder.feed(b"more")
    (tmp_path / "frames.pava").write_bytes(b"".join(wire_frames()))
    assert [e.offset for e in decoder] == [e.offset for e in pava.read_frames(tmp_path / "frames.pava")]
