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
        tail = layout["description"]["read"] or {}
        for f in layout["readFields"] + [f for key in ("itemReadFields", "trailer") for f in tail.get(key, [])]:
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

ROW = re.compile(r'^\s+(\d+)\s+(\d+)\s+(\S+)\s+(\S+)\s+("(?:[^"\\]|\\.)*"(?: \+ \d+ NUL)?) -> (.*)$')


def shown(value: str) -> str:
    """A dissect value without quotes and NUL padding."""
    m = re.match(r'^"((?:[^"\\]|\\.)*)"', value)
    if not m:
        return value
    return re.sub(r"(\\x00)+$", "", m.group(1))


def dissected(path, source_frames):
    """The fields of each frame's fixed table and of its fixed-size items (the
    rest of the body is compared through decoded_lists), as dissector fields."""
    layouts = {layout["id"]: layout for layout in json.loads(run([PAVA, "layout", "--json"]))}
    frames = []
    parts = re.split(r"^frame \d+ at offset (\d+): .*\n", run_frames([PAVA, "dissect", str(path)]), flags=re.M)
    for offset, text in zip(parts[1::2], parts[2::2]):
        fields, layout, length = [], None, 0
        for line in text.splitlines():
            head = re.match(r"^  (rii|id|type|length|flag|continuation)\s+(.*)$", line)
            if head:
                name, value = head.groups()
                if name in ("type", "flag"):
                    value = value.split(" = ")[1]
                elif name == "continuation":
                    name, value = "cont", re.match(r"'(.*)' \(", value).group(1)
                elif name == "id":
                    value = str(int(value))
                    layout = layouts.get(int(value))
                elif name == "length":
                    length = int(value)
                fields.append(("pava." + name, value))
            elif line.startswith("  decoded"):
                break
            else:
                row = ROW.match(line)
                if row and layout and row.group(6) != "(past the body)":
                    name = field_name(layout, length, int(row.group(1)), int(row.group(2)), row.group(3))
                    if name:
                        fields.append((name, shown(row.group(6))))
        frames.append((int(offset), fields))
    return by_offset(source_frames, frames)


def fixed_size_items(layout):
    """Whether the id's items or rows all have one size and a field table."""
    tail = layout["description"]["read"] or {}
    return (tail.get("format") == "items" or (tail.get("kind") == "rows" and tail["list"] == "settingList")
            or tail.get("width") == "none")


def field_name(layout, length, offset, width, path):
    """The dissector's field for a dissect row of the fixed fields or of a
    list of fixed-size items within the declared length; None for the other
    reads."""
    item = re.fullmatch(r"(?:dataList|settingList)\[\d+\]\.(\w+)", path)
    if item:
        return "pava.item." + item.group(1) if fixed_size_items(layout) and offset + width <= length else None
    if not any(f["offset"] == offset and f["width"] == width for f in layout["readFields"]):
        return None
    if re.fullmatch(r"\w+", path):
        return "pava." + path
    return "pava.count" if path.endswith(".count") or path == "count" else None


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
    """The PAVA layers of every packet, in order, each as its fields in tree order."""
    frames = []
    for packet in json.loads(tshark(pcap, "-T", "json"), object_pairs_hook=lambda p: p):
        layers = dict(packet)["_source"]
        for key, value in dict(layers)["layers"]:
            if key == "pava":
                frames.append(flatten(value, []))
    return frames


def assert_same_fields(expected, actual):
    """Every field dissect shows appears, with its value, in the same order."""
    rest = iter(actual)
    for field in expected:
        assert any(field == got for got in rest), "%s missing or different in %s" % (field, actual)


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


def escaped(text: str) -> str:
    """A decoded text as `pava dissect` and the dissector show it."""
    out = "".join("\\" + c if c in '\\"' else c if " " <= c < "\x7f" else "\\x%02x" % ord(c) for c in text)
    return re.sub(r"(\\x00)+$", "", out)


def decoded_lists(path, source_frames):
    """The items and table entries `pava decode` reads from the algorithmic
    bodies (the walkers of the helper file), frame by frame, as dissector fields."""
    layouts = {layout["id"]: layout for layout in json.loads(run([PAVA, "layout", "--json"]))}
    frames = []
    for line in run_frames([PAVA, "decode", str(path)]).splitlines():
        line = line.strip().rstrip(",")
        if not line.startswith("{"):
            continue
        rec = json.loads(line)
        layout = layouts[rec["msgId"]]
        tail = layout["description"]["read"] or {}
        rows, prefix = [], "pava.item."
        if tail.get("format") in ("escaped-items", "prefixed-items") or tail.get("width") in ("member", "length"):
            rows = rec.get("dataList", [])
        elif tail.get("kind") in ("table", "value-records", "records"):
            prefix = "pava.field."
            records = rec.get("recordList", [])
            # A decoder that stores a record again with its where-items.
            records = [r for i, r in enumerate(records)
                       if not (i + 1 < len(records) and r.get("fieldList") == records[i + 1].get("fieldList")
                               and "fieldList2" not in r)]
            rows = [e for r in records for e in r.get("fieldList", []) + r.get("fieldList2", [])]
        fields = []
        for row in rows:
            for member in layout["members"]:
                if member in row:
                    value = row[member]
                    fields.append((prefix + member, str(value) if isinstance(value, int) else escaped(value)))
        frames.append((rec["offset"], fields if rec["rc"] == 0 else []))
    return by_offset(source_frames, frames)


@pytest.mark.parametrize("source", ["corpus", "generated"])
def test_every_field_as_pava_dissect_shows_it(tmp_path, source):
    frames = corpus_frames() if source == "corpus" else generated_frames(tmp_path)
    assert len(frames) > 100
    wire_file = tmp_path / "frames.pava"
    wire_file.write_bytes(b"".join(frames))
    expected = dissected(wire_file, frames)
    # Only frames with a header the tool does not trust are left out.
    assert sum(1 for f in expected if f) >= 0.9 * len(frames)
    actual = tshark_frames(pcap_of(tmp_path, source, frames, seed=len(frames)))
    # The headers the tool does not trust are bytes that are not a frame here too.
    assert len(actual) == sum(1 for f in expected if f)
    for want, got in zip([f for f in expected if f], actual):
        assert_same_fields(want, got)
    if source == "generated":
        lists = decoded_lists(wire_file, frames)
        assert sum(len(f) for f in lists) > 50
        for want, got in zip([w for w, f in zip(lists, expected) if f], actual):
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
    assert out.count("A count or length points past the body") >= len(algorithmic), out
    assert "GOODADDRESS1" in out

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
