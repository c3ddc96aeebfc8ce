"""The generated Lua dissector in tshark against `pava dissect`: every field
of every frame, over TCP with odd segmentations, and damaged frames."""
import glob
import json
import os
import random
import re
import shutil
import subprocess

import pytest

from pcap import TcpStream, write_pcap

PAVA = os.environ.get("PAVA", "pava")
LUA = os.environ.get("PAVA_LUA", "pava.lua")
CORPUS = os.environ.get("PAVA_CORPUS_DIR", os.path.join(os.path.dirname(__file__), "..", "data"))
PORT = 7766
MAX_BODY = 8192

pytestmark = pytest.mark.skipif(shutil.which("tshark") is None, reason="tshark is not installed")


def read_decimal(data: bytes) -> int:
    """The codecs' decimal reader: blanks, a sign, digits, saturated."""
    text = data.split(b"\0")[0].lstrip(b" \t\n\v\f\r")
    sign = -1 if text[:1] == b"-" else 1
    digits = re.match(rb"[+-]?(\d*)", text).group(1)
    value = int(digits) if digits else 0
    return sign * min(value, 2**31 if sign < 0 else 2**31 - 1)


def declared(head: bytes) -> int:
    return read_decimal(head[9:16])


def wire(head: bytes, body: bytes) -> bytes:
    """A frame as it travels: the header and its declared body length."""
    n = max(0, min(declared(head), MAX_BODY))
    return head + body[:n].ljust(n, b"\0")


def latin1(text) -> bytes:
    """Corpus bytes: a text, or a list of texts and {"repeat", "times"} runs."""
    if isinstance(text, str):
        return text.encode("latin-1")
    return b"".join(latin1(p) if isinstance(p, str) else latin1(p["repeat"]) * p["times"] for p in text)


def corpus_frames():
    frames = []
    for path in sorted(glob.glob(os.path.join(CORPUS, "*.json"))):
        for case in json.load(open(path, encoding="utf-8"))["cases"]:
            pairs = case.get("frames", [])
            if "head" in case:
                pairs = pairs + [{"head": case["head"], "body": case.get("body", "")}]
            for frame in pairs:
                if frame.get("head") is None:
                    continue
                head = latin1(frame["head"])
                if len(head) == 16 and 0 <= declared(head) <= MAX_BODY:
                    frames.append(wire(head, latin1(frame["body"])))
    return frames


def generated_frames(tmp_path):
    """Records of every registered id with values in each member the id
    carries and a few list rows, through `pava encode`."""
    layouts = json.loads(run([PAVA, "layout", "--json"]))
    records = []
    for layout in layouts:
        rec = {"msgId": layout["id"], "rii": 7}
        owners = {}
        tail = (layout["description"] or {}).get("read") or {}
        for f in layout["readFields"] + tail.get("trailer", []):
            if f["member"]:
                owners[f["member"]] = f
        for name, f in owners.items():
            if f["owner"] == "record" and name not in ("msgId", "rii", "msgLen"):
                rec[name] = (layout["id"] + f["offset"]) % 90 + 1 if f["number"] else "T%d" % f["offset"]
        items = [{"itemId": k + 1, "itemText": "item-%d" % k, "itemText2": "v%d" % k, "itemInt2": 2,
                  "itemBlock": "B%d" % k} for k in range(3)]
        items[1]["itemText"] = "a text longer than eight"
        items[2]["itemText"] = "".join(chr(65 + k % 26) for k in range(300))  # past an escaped item's cut
        rec.update(dataList=items, settingList=[{"setId": 4, "setText": "set", "setText30": "s30"}],
                   recordList=[{"fieldList": [{"fieldType": 1, "fieldLen": 3, "fieldText1": "abc"}],
                                "fieldList2": [{"fieldType": 2, "fieldLen": 2, "fieldText1": "wh"}]}],
                   fbCount=2, fbCodes=["CODE1", "CODE2"], intValue14=2, intValue16=3)
        records.append(rec)
    # The generic tables read by function type and sub-type.
    by_id = {r["msgId"]: r for r in records}
    for msg_id, fn, sub in [(10001, 2, 2), (10002, 1, 1), (10002, 2, 1), (10006, 0, 1)]:
        records.append(dict(by_id[msg_id], intValue14=fn, intValue16=sub))
    source = tmp_path / "records.json"
    source.write_text(json.dumps(records))
    out = tmp_path / "generated.pava"
    subprocess.run([PAVA, "encode", str(source), "-o", str(out)], stdout=subprocess.DEVNULL, check=False)
    return cut(out.read_bytes())


def cut_short(frames):
    """The frames of ids of no fixed length with the last third of their body
    cut off: counts and lengths then point past the declared length, behind
    which the decoder reads NULs."""
    variable = {layout["id"] for layout in json.loads(run([PAVA, "layout", "--json"])) if layout["length"] is None}
    short = [(f, declared(f[:16]) * 2 // 3) for f in frames if int(f[3:8]) in variable]
    return [f[:9] + b"%-5d" % n + f[14:16 + n] for f, n in short if n]


def corrupted(frames, seed):
    """The frames with a few runs of body bytes overwritten by digits, blanks,
    signs, NULs and '$': counts, lengths and texts the encoder never writes."""
    rng = random.Random(seed)
    out = []
    for f in map(bytearray, frames):
        for _ in range(rng.choice([1, 2, 3, 6]) if len(f) > 16 else 0):
            at = rng.randrange(16, len(f))
            n = min(rng.choice([1, 2, 4, 8]), len(f) - at)
            f[at:at + n] = bytes(rng.choice(b"0123456789 -\0$") for _ in range(n))
        out.append(bytes(f))
    return out


def cut(data):
    """Wire-form frames, one after the other, cut at their declared lengths."""
    frames = []
    while len(data) >= 16:
        n = max(0, min(declared(data[:16]), MAX_BODY))
        frames.append(data[:16 + n])
        data = data[16 + n:]
    return frames


def run(args, **kw):
    return subprocess.run(args, capture_output=True, check=True, **kw).stdout.decode("latin-1")


def run_frames(args):
    """The output of `pava` on frames; exit 3 only says that frames whose
    header the tool does not trust were skipped."""
    result = subprocess.run(args, capture_output=True)
    assert result.returncode in (0, 1, 3), result.stderr[-2000:]
    return result.stdout.decode("latin-1")


def by_offset(frames, found):
    """Per frame of the file, what `pava` gave for the frame at its offset
    (empty where the tool skipped it)."""
    offsets, at = {}, 0
    for i, f in enumerate(frames):
        offsets[at] = i
        at += len(f)
    out = [[] for _ in frames]
    for offset, value in found:
        out[offsets[offset]] = value
    return out


# ---------------------------------------------------------------------------
# What `pava dissect` shows, frame by frame
# ---------------------------------------------------------------------------

def type_digit(c: int) -> int:
    """A header's type or flag character as the header reader gives it."""
    return int(chr(c), 16) if chr(c) in "0123456789ABCDEFabcdef" else c - 256 if c >= 128 else c


def field_name(path):
    """The dissector's field for a read's path: a member of the record as
    pava.<member>, of a record of the list as pava.record.<member>, of an item
    or setting as pava.item.<member>, of a table entry as pava.field.<member>;
    every count as pava.count, an item text's length or escape as
    pava.item.<what>, a row of a list of texts as pava.<list>."""
    lists = re.findall(r"(\w+)\[\d+\]", path)
    leaf = path.rsplit("]", 1)[-1].strip(".").split(".")
    if leaf[-1] == "count":
        return "pava.count"
    if leaf == [""]:
        return "pava." + lists[-1]
    if len(leaf) > 1:
        return "pava.item." + leaf[-1]
    if lists[:1] == ["recordList"]:
        return ("pava.record.", "pava.field.")[len(lists) - 1] + leaf[0]
    return ("pava.", "pava.item.")[len(lists)] + leaf[0]


def escaped(text: str) -> str:
    """A decoded text as `pava dissect` and the dissector show it."""
    out = "".join("\\" + c if c in '\\"' else c if " " <= c < "\x7f" else "\\x%02x" % ord(c) for c in text)
    return re.sub(r"(\\x00)+$", "", out)


def dissected(path, source_frames):
    """Each frame's header and every read `pava dissect --json` reports, in
    offset order, as dissector fields with the values tshark shows and the
    bytes they highlight."""
    heads, at = {}, 0
    for f in source_frames:
        heads[at], at = f[:16], at + len(f)
    found = []
    for line in run_frames([PAVA, "dissect", "--json", str(path)]).splitlines():
        j = json.loads(line)
        head = heads[j["offset"]]
        fields = [("pava.rii", str(read_decimal(head[:3])), (-16, 3)), ("pava.id", str(j["id"]), (-13, 5)),
                  ("pava.type", str(type_digit(head[8])), (-8, 1)), ("pava.length", str(j["length"]), (-7, 5)),
                  ("pava.flag", str(type_digit(head[14])), (-2, 1)), ("pava.cont", escaped(chr(head[15])), (-1, 1))]
        # Reads that begin at one offset (a value whose bytes the next item's
        # head is read from again) in the order of the items they fill.
        reads = sorted((s for s in j["spans"] if not s.get("unread")),
                       key=lambda s: (s["offset"], [int(i) for i in re.findall(r"\[(\d+)\]", s["path"])]))
        for s in reads:
            # What of the read lies within the declared length is highlighted
            # (tshark gives no place to a field that highlights nothing).
            at, end = (min(n, j["length"]) for n in (s["offset"], s["offset"] + s["width"]))
            value = str(s["value"]) if isinstance(s["value"], int) else escaped(s["value"])
            fields.append((field_name(s["path"]), value, (at, end - at) if end > at else None))
        found.append((j["offset"], fields))
    return by_offset(source_frames, found)


# ---------------------------------------------------------------------------
# What tshark shows
# ---------------------------------------------------------------------------

def tshark(pcap, *args):
    result = subprocess.run(["tshark", "-n", "-X", "lua_script:" + LUA, "-o", "pava.port:%d" % PORT,
                             "-r", str(pcap), *args], capture_output=True, timeout=120)
    out, err = result.stdout.decode("utf-8", "replace"), result.stderr.decode("utf-8", "replace")
    assert "Lua Error" not in out + err and "pava.failed" not in out, out[-2000:] + err
    return out


def flatten(pairs, out):
    for key, value in pairs:
        if isinstance(value, list) and value and isinstance(value[0], tuple):
            flatten(value, out)
        else:
            out.append((key, value))
    return out


def tshark_frames(pcap):
    """The PAVA layers of every packet, in order, each as its fields in tree
    order with the bytes each one highlights: (offset in the body, length)."""
    frames = []
    for packet in json.loads(tshark(pcap, "-T", "json", "-x"), object_pairs_hook=lambda p: p):
        for key, value in dict(dict(packet)["_source"])["layers"]:
            if key == "pava_raw":
                body = value[1] + 16
            elif key == "pava":
                fields, raw = [], {}
                for name, v in flatten(value, []):
                    if name.endswith("_raw"):
                        raw = {name[:-4]: (v[1] - body, v[2])}
                    else:
                        fields.append((name, v, raw.pop(name, None)))
                frames.append(fields)
    return frames


def assert_same_fields(expected, actual):
    """Every read dissect shows appears, with its value and place, in the same order."""
    rest = iter(actual)
    for field in expected:
        assert any(field == got for got in rest), "%s missing, different or out of order in %s" % (field, actual[:8])


def pcap_of(tmp_path, name, frames, seed):
    """The frames as one TCP stream cut at odd places: single bytes, a header
    split in two, several frames in one segment."""
    stream = TcpStream(40000 + seed, PORT)
    data = b"".join(frames)
    rng = random.Random(seed)
    while data:
        n = rng.choice([1, 5, 15, 16, 17, 40, 300, 1460, 9000, 20000])
        stream.send(data[:n])
        data = data[n:]
    path = tmp_path / (name + ".pcap")
    write_pcap(path, stream.packets)
    return path


@pytest.mark.parametrize("source", ["corpus", "generated", "corrupted"])
def test_every_field_as_pava_dissect_shows_it(tmp_path, source):
    frames = generated_frames(tmp_path) if source == "generated" else corpus_frames()
    if source == "generated":
        frames += cut_short(frames)
    elif source == "corrupted":
        frames = corrupted((frames + generated_frames(tmp_path)) * 3, seed=1)
    assert len(frames) > 100
    wire_file = tmp_path / "frames.pava"
    wire_file.write_bytes(b"".join(frames))
    expected = dissected(wire_file, frames)
    # Only frames with a header the tool does not trust are left out.
    assert sum(1 for f in expected if f) >= 0.9 * len(frames)
    # Every kind of read is met: counts, lengths, escapes, items, settings,
    # code rows, record numbers, table entries and values.
    assert {"pava.count", "pava.item.length", "pava.item.escape", "pava.item.itemText2", "pava.item.setText",
            "pava.fbCodes", "pava.record.recInt", "pava.field.fieldText1", "pava.field.fieldText2"} <= {
        field[0] for f in expected for field in f}
    actual = tshark_frames(pcap_of(tmp_path, source, frames, seed=len(frames)))
    # The headers the tool does not trust are bytes that are not a frame here too.
    assert len(actual) == sum(1 for f in expected if f)
    for want, got in zip([f for f in expected if f], actual):
        assert_same_fields(want, got)


def frame(msg_id: int, body: bytes, length=None) -> bytes:
    """A frame of RII 1 whose header declares `length` (the body's own by default)."""
    length = len(body) if length is None else length
    return ("1  %05d0%-5d00" % (msg_id, length)).encode() + body


def test_damaged_frames_get_expert_info(tmp_path):
    item = b"ALPHA" + b"\0" * 7 + b"312"
    cases = {
        "pava.body.past": frame(20002, b"9999" + item),
        "pava.id.unknown": frame(99999, b"hello"),
        "pava.junk.bytes": frame(20001, b"ABCDEFGHIJKLxtra"),  # a length its layout never has
        "pava.length.too_long": frame(20002, b"0" * 8200),
    }
    # Each algorithmic body meets a count or length that points past its end.
    algorithmic = [frame(20169, b"ADDRESS00001" + b"1 " + b"3   " + b"00000001$$$99999"),
                   frame(20155, b"ADDRESS000011 2 3 2   " + b"00000001"),
                   frame(61851, b"C" * 76 + b"2   " + b"R" * 10),
                   frame(10002, b"T" * 15 + b"2  " + b"1    " + b"1    " + b"1   " + b"2   " + b"010099abc"),
                   frame(20138, b"ADDRESS00001" + b"3 " + b"01999")]
    good = frame(20001, b"GOODADDRESS1")
    for i, (expert, damaged) in enumerate(cases.items()):
        pcap = pcap_of(tmp_path, "damaged%d" % i, [damaged, good], seed=i)
        out = tshark(pcap, "-T", "json")
        assert expert in out, (expert, out)
        assert "GOODADDRESS1" in out, out
    out = tshark(pcap_of(tmp_path, "algorithmic", algorithmic + [good], seed=99), "-T", "json")
    flagged = out.count("A count or length points past the body") + out.count("Read behind the declared length:")
    assert flagged >= len(algorithmic), out
    assert "GOODADDRESS1" in out
    # A frame as its encoder sends it (the text shorter than the field its
    # decoder reads) gets a note for the read behind its length, not a fault.
    sent = frame(20176, b"A" * 12 + b"B" * 12 + b"01" + b"C" * 12 + b"hello")
    out = tshark(pcap_of(tmp_path, "sent", [sent, good], seed=5), "-T", "json")
    assert "pava.body.behind" in out and "pava.body.past" not in out, out

    # Random bytes behind headers of every id: every frame dissected (tshark()
    # refuses a Lua error or a frame that could not be dissected).
    rng = random.Random(1)
    ids = [layout["id"] for layout in json.loads(run([PAVA, "layout", "--json"]))]
    noise = []
    for _ in range(300):
        alphabet = rng.choice([b"0123456789 ", b"0123456789 $\0", bytes(range(256))])
        body = bytes(rng.choice(alphabet) for _ in range(rng.choice([0, 1, 5, 20, 100, 300, 2000])))
        head = "%-3d%05d%s%-5d%s%s" % (rng.randrange(1000), rng.choice(ids), rng.choice("0129A"), len(body),
                                       rng.choice("0123"), rng.choice("01"))
        noise.append(head.encode() + body)
    out = tshark(pcap_of(tmp_path, "noise", noise, seed=7), "-T", "json")
    # Headers of fixed-length ids with other lengths are not frames.
    assert 0 < out.count('"pava.id":') < len(noise) and '"pava.junk"' in out


def test_split_messages_are_linked_and_other_ports_need_a_choice(tmp_path):
    # 20014 with more items than one frame holds: every frame after the first
    # points back at the first one.
    record = {"msgId": 20014, "rii": 3, "text12b": "SPLIT0000001",
              "dataList": [{"itemId": k, "itemText": "t%d" % k} for k in range(1100)]}
    (tmp_path / "split.json").write_text(json.dumps(record))
    subprocess.run([PAVA, "encode", str(tmp_path / "split.json"), "-o", str(tmp_path / "split.pava")],
                   check=True, stdout=subprocess.DEVNULL)
    frames = cut((tmp_path / "split.pava").read_bytes())
    assert len(frames) >= 2
    stream = TcpStream(41000, PORT)
    for f in frames:
        stream.send(f)
    pcap = tmp_path / "split.pcap"
    write_pcap(pcap, stream.packets)
    fields = run(["tshark", "-n", "-X", "lua_script:" + LUA, "-o", "pava.port:%d" % PORT, "-r", str(pcap),
                  "-Y", "pava", "-T", "fields", "-e", "frame.number", "-e", "pava.flag", "-e", "pava.type",
                  "-e", "pava.first"]).split("\n")
    rows = [line.split("\t") for line in fields if line]
    assert [int(r[1]) for r in rows] == list(range(1, len(frames) + 1))
    assert all(int(r[2]) == len(frames) for r in rows)
    assert {r[3] for r in rows} == {rows[0][0]}

    # On another port: nothing without the heuristic, whole frames with it.
    other = ["tshark", "-n", "-X", "lua_script:" + LUA, "-r", str(pcap), "-Y", "pava", "-T", "fields", "-e", "pava.id"]
    stream = TcpStream(42000, 9999)
    stream.send(frames[0][:10])
    stream.send(frames[0][10:] + frames[1])
    write_pcap(pcap, stream.packets)
    assert run(other).strip() == ""
    assert run(other + ["-o", "pava.heuristic:TRUE"]).replace(",", " ").split() == ["20014", "20014"]
    assert run(other + ["-d", "tcp.port==9999,pava"]).replace(",", " ").split() == ["20014", "20014"]
