"""The compiled plugin in tshark against `pava dissect`: every read of every
frame over odd TCP segmentations, damaged bytes, and the Lua dissector
stepping aside where the plugin is loaded."""
import json
import os
import random
import re
import shutil
import subprocess
import tempfile

import pytest

from pcap import TcpStream, write_pcap
from test_dissector import (LUA, PAVA, PORT, by_offset, corpus_frames, cut, declared, escaped, flatten, frame,
                            generated_frames, pcap_of, read_decimal, run_frames)

PLUGIN = os.environ.get("PAVA_PLUGIN", "")

pytestmark = pytest.mark.skipif(not PLUGIN or shutil.which("tshark") is None, reason="the plugin is not built")


@pytest.fixture(scope="module")
def plugin_env():
    """A plugin folder tshark reads: Wireshark ignores personal plugins when it
    runs as root, so there tshark runs as nobody, which must read the folder."""
    root = tempfile.mkdtemp()
    os.chmod(root, 0o755)
    epan = os.path.join(root, "4.0", "epan")
    os.makedirs(epan)
    shutil.copy(PLUGIN, epan)
    shutil.copy(LUA, root)
    for d, _, files in os.walk(root):
        os.chmod(d, 0o755)
        for f in files:
            os.chmod(os.path.join(d, f), 0o755)
    env = dict(os.environ, WIRESHARK_PLUGIN_DIR=root, HOME="/nonexistent")
    user = ["setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"] if os.getuid() == 0 else []
    yield user, env, root
    shutil.rmtree(root)


def tshark(plugin_env, pcap, *args, plugin=True):
    """tshark with the plugin on the capture (copied where nobody reads it);
    without a capture, its -G report."""
    user, env, root = plugin_env
    command = ["tshark", *args]
    if pcap:
        shutil.copy(pcap, os.path.join(root, "capture.pcap"))
        os.chmod(os.path.join(root, "capture.pcap"), 0o644)
        command = ["tshark", "-n", "-o", "pava.port:%d" % PORT, "-r", os.path.join(root, "capture.pcap"), *args]
    if not plugin:
        env = dict(env, WIRESHARK_PLUGIN_DIR=os.path.join(root, "none"))
    result = subprocess.run(user + command, capture_output=True, env=env, timeout=300)
    out, err = result.stdout.decode("utf-8", "replace"), result.stderr.decode("utf-8", "replace")
    assert result.returncode == 0, err[-2000:]
    # An exception in the dissector (not expert info of the malformed group).
    assert not pcap or not any(s in out + err for s in ("Dissector bug", "_ws.malformed.expert", "Malformed Packet:")), out[-3000:]
    return out


def pava_layers(out):
    """The PAVA layers of every packet of tshark's JSON in order, as (key, value) pairs."""
    return [value for packet in json.loads(out, object_pairs_hook=lambda p: p)
            for key, value in dict(dict(packet)["_source"])["layers"] if key == "pava"]


def layers(out):
    """Each PAVA layer as its fields in tree order."""
    return [flatten(layer, []) for layer in pava_layers(out)]


ROW = re.compile(r'^\s+(\d+)\s+(\d+)\s+(\S+)\s+(\S+)\s+("(?:[^"\\]|\\.)*"(?: \+ \d+ NUL)?) -> (.*)$')


def shown(value: str) -> str:
    """A dissect value without quotes and NUL padding."""
    m = re.match(r'^"((?:[^"\\]|\\.)*)"', value)
    if not m:
        return value
    return re.sub(r"(\\x00)+$", "", m.group(1))


def expected_reads(path, frames_in, registered):
    """Per frame, the header and every read `pava dissect` shows, as the
    plugin's fields: the path without indices, else pava.read."""
    frames = []
    parts = re.split(r"^frame \d+ at offset (\d+): 16 header \+ (\d+) body bytes\n",
                     run_frames([PAVA, "dissect", str(path)]), flags=re.M)
    for offset, body, text in zip(parts[1::3], parts[2::3], parts[3::3]):
        fields = []
        for line in text.splitlines():
            head = re.match(r"^  (rii|id|length)\s+(\S+)$", line)
            row = ROW.match(line)
            if head:
                fields.append(("pava." + head.group(1), str(int(head.group(2)))))
            elif row and row.group(6) != "(past the body)":
                name = "pava." + re.sub(r"\[\d+\]", "", row.group(3))
                fields.append((name if name in registered else "pava.read", shown(row.group(6))))
            else:
                unread = re.match(r"^\s+(\d+)\s+(\d+)  \(unread\)", line)
                if unread and int(unread.group(2)) > 0 and int(unread.group(1)) < int(body):
                    fields.append(("pava.unread", None))
        frames.append((int(offset), fields))
    return by_offset(frames_in, frames)


def assert_reads(want, got):
    rest = iter(got)
    for name, value in want:
        assert any(k == name and (value is None or v == value) for k, v in rest), "%s = %s missing in %s" % (
            name, value, got)


@pytest.fixture(scope="module")
def registered(plugin_env):
    """The plugin's field names."""
    names = {line.split("\t")[2] for line in tshark(plugin_env, None, "-G", "fields").splitlines()
             if line.startswith("F\t") and "\tpava." in line}
    assert {"pava.id", "pava.dataList.itemText", "pava.recordList.fieldList.fieldText1"} <= names
    return names


@pytest.mark.parametrize("source", ["corpus", "generated"])
def test_every_read_as_pava_dissect_shows_it(tmp_path, plugin_env, registered, source):
    frames = corpus_frames() if source == "corpus" else generated_frames(tmp_path)
    wire_file = tmp_path / "frames.pava"
    wire_file.write_bytes(b"".join(frames))
    expected = expected_reads(wire_file, frames, registered)
    actual = layers(tshark(plugin_env, pcap_of(tmp_path, source, frames, seed=len(frames) + 1), "-T", "json"))
    assert len(actual) == sum(1 for f in expected if f)  # untrusted headers are not frames
    for want, got in zip([f for f in expected if f], actual):
        assert_reads(want, got)


def test_damage_is_shown_never_a_crash(tmp_path, plugin_env):
    rng = random.Random(5)
    ids = [layout["id"] for layout in json.loads(run_frames([PAVA, "layout", "--json"]))]
    frames = []
    for _ in range(400):
        alphabet = rng.choice([b"0123456789 ", b"0123456789 $\0", bytes(range(256))])
        body = bytes(rng.choice(alphabet) for _ in range(rng.choice([0, 1, 5, 20, 100, 300, 2000, 8192])))
        head = "%-3d%05d%s%-5d%s%s" % (rng.randrange(1000), rng.choice(ids + [99999]), rng.choice("0129A"),
                                       rng.choice([len(body)] * 4 + [max(0, len(body) - 3)]), rng.choice("0123"),
                                       rng.choice("01"))
        frames.append(head.encode() + body)
    out = tshark(plugin_env, pcap_of(tmp_path, "noise", frames, seed=3), "-V")
    assert 0 < out.count("    Message id: ") < len(frames)
    assert "Decoder:" in out and "No codec for this id" in out and "bytes that are not a frame" in out


def test_ports_decode_as_heuristic_and_the_lua_stepping_aside(tmp_path, plugin_env):
    frames = generated_frames(tmp_path)[:40]
    stream = TcpStream(42000, 9999)
    data = b"".join(frames)
    stream.send(data[:10])
    stream.send(data[10:])
    pcap = tmp_path / "other.pcap"
    write_pcap(pcap, stream.packets)
    ids = ["-Y", "pava", "-T", "fields", "-e", "pava.id"]
    assert tshark(plugin_env, pcap, *ids).strip() == ""
    with_heuristic = tshark(plugin_env, pcap, "-o", "pava.heuristic:TRUE", *ids).replace(",", " ").split()
    assert len(with_heuristic) == len(frames)
    assert tshark(plugin_env, pcap, "-d", "tcp.port==9999,pava", *ids).replace(",", " ").split() == with_heuristic
    # The Lua dissector loaded beside the plugin leaves PAVA to it.
    both = tshark(plugin_env, pcap, "-X", "lua_script:" + os.path.join(plugin_env[2], os.path.basename(LUA)), "-d", "tcp.port==9999,pava", "-T", "json")
    assert "Lua" not in both and '"pava.dataList.count"' in both


def record_fields(record, registered):
    """A record of `pava decode --join` as the plugin's fields of a joined
    message: the members that hold something."""
    return [(n if n in registered else "pava.read", v)
            for n, v in (("pava." + re.sub(r"\[\d+\]", "", path), value) for path, value in members(record))]


def members(record, prefix=""):
    out = []
    for key, value in record.items():
        if not prefix and key in ("offset", "rc", "frames", "complete"):
            continue
        if isinstance(value, list) and value and isinstance(value[0], dict):
            for i, element in enumerate(value):
                out += members(element, "%s%s[%d]." % (prefix, key, i))
        elif isinstance(value, list):
            out += [("%s%s[%d]" % (prefix, key, i), escaped(v)) for i, v in enumerate(value) if escaped(v)]
        elif isinstance(value, int) and value:
            out.append((prefix + key, str(value)))
        elif isinstance(value, str) and escaped(value):
            out.append((prefix + key, escaped(value)))
    return out


def joined_messages(out):
    """The joined messages tshark shows, each as its fields."""
    return [flatten(v, []) for layer in pava_layers(out) for k, v in layer if k.startswith("Joined message")]


EXTRA = ("pava.part", "pava.join.problem", "pava.decode.failed")  # beside the record


def test_split_messages_joined_as_pava_decode_joins_them(tmp_path, plugin_env, registered):
    records = [{"msgId": 20014, "rii": 3, "text12b": "SPLIT0000001",
                "dataList": [{"itemId": k, "itemText": "t%d" % k} for k in range(1100)]},
               {"msgId": 20018, "rii": 4, "text12b": "SPLIT-LIST-2",
                "dataList": [{"itemId": k + 1, "itemText": "x", "itemBlock": "B%d" % k} for k in range(700)]}]
    (tmp_path / "split.json").write_text(json.dumps(records))
    subprocess.run([PAVA, "encode", str(tmp_path / "split.json"), "-o", str(tmp_path / "split.pava")], check=True,
                   stdout=subprocess.DEVNULL)
    a, b = cut((tmp_path / "split.pava").read_bytes())[:3], cut((tmp_path / "split.pava").read_bytes())[3:]
    single = frame(20001, b"GOODADDRESS1")
    cases = {  # frames in the order sent; the problems the joiner reports
        "in order": (a + [single] + b, []),
        "interleaved": ([a[0], b[0], a[1], single, b[1], a[2]] + b[2:], []),
        "missing": ([a[0], a[2], single] + a + b, ["missing"]),  # reported when the next one begins
        "repeated": ([a[0], a[1], a[1], a[2]] + b, ["received again"]),
    }
    for name, (frames, problems) in cases.items():
        source = tmp_path / (name + ".pava")
        source.write_bytes(b"".join(frames))
        decoded = subprocess.run([PAVA, "decode", "--join", str(source)], capture_output=True)
        want = [record_fields(json.loads(line), registered) for line in decoded.stdout.decode().splitlines()
                if json.loads(line)["frames"] > 1]
        # One pass shows the record the joiner hands out; a second pass (as
        # the GUI does) joins the kept frames again.
        for passes in ([], ["-2"]):
            out = tshark(plugin_env, pcap_of(tmp_path, name, frames, seed=len(name)), *passes, "-T", "json")
            got = joined_messages(out)
            assert len(got) == len(want) >= 2, (name, passes)
            for w, g in zip(want, got):
                assert sorted(w) == sorted((k, v) for k, v in g if k.startswith("pava.") and k not in EXTRA), name
            assert out.count('"pava.join.problem"') >= len(problems), name
            assert all(p in out for p in problems), name
        assert '"pava.joined_in"' in out  # links back, from the second pass


@pytest.mark.parametrize("dissector", ["plugin", "lua"])
def test_reordered_segments_show_no_invented_frames(tmp_path, plugin_env, dissector):
    frames = generated_frames(tmp_path)
    stream = TcpStream(43000, PORT)
    data = b"".join(frames)
    while data:
        stream.send(data[:700])
        data = data[700:]
    packets = stream.packets
    for i in range(4, len(packets) - 1, 5):  # every fifth segment arrives after the next one
        packets[i], packets[i + 1] = packets[i + 1], packets[i]
    pcap = tmp_path / "reordered.pcap"
    write_pcap(pcap, packets)
    sent = [(read_decimal(f[:3]), int(f[3:8]), declared(f[:16])) for f in frames]
    lua = ["-X", "lua_script:" + os.path.join(plugin_env[2], os.path.basename(LUA))] if dissector == "lua" else []
    fields = ["-Y", "pava", "-T", "fields", "-E", "occurrence=a", "-e", "pava.rii", "-e", "pava.id", "-e", "pava.length"]
    for prefs in ([], ["-o", "tcp.reassemble_out_of_order:TRUE"]):
        out = tshark(plugin_env, pcap, *lua, *prefs, *fields, plugin=not lua)
        shown = [tuple(int(v) for v in head) for line in out.splitlines()
                 for head in zip(*(column.split(",") for column in line.split("\t")))]
        assert set(shown) <= set(sent)
        assert shown == sent if prefs else 0 < len(shown) < len(sent)
