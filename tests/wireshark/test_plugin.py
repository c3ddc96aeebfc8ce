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
from test_dissector import LUA, PAVA, PORT, ROW, by_offset, corpus_frames, flatten, generated_frames, pcap_of, run_frames, shown

PLUGIN = os.environ.get("PAVA_PLUGIN", "")
LIBRARY = os.environ.get("PAVA_LIBRARY", "")

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
    shutil.copy(LIBRARY, root)
    shutil.copy(LUA, root)
    for d, _, files in os.walk(root):
        os.chmod(d, 0o755)
        for f in files:
            os.chmod(os.path.join(d, f), 0o755)
    env = dict(os.environ, WIRESHARK_PLUGIN_DIR=root, LD_LIBRARY_PATH=root, HOME="/nonexistent")
    user = ["setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"] if os.getuid() == 0 else []
    yield user, env, root
    shutil.rmtree(root)


def tshark(plugin_env, pcap, *args):
    """tshark with the plugin on the capture (read from stdin, so that nobody
    need not read the test's folder); without a capture, its -G report."""
    user, env, _ = plugin_env
    command = ["tshark", "-n", "-o", "pava.port:%d" % PORT, "-r", "-", *args] if pcap else ["tshark", *args]
    with open(pcap or os.devnull, "rb") as source:
        result = subprocess.run(user + command, stdin=source, capture_output=True, env=env, timeout=300)
    out, err = result.stdout.decode("utf-8", "replace"), result.stderr.decode("utf-8", "replace")
    assert result.returncode == 0, err[-2000:]
    # An exception in the dissector (not expert info of the malformed group).
    assert not pcap or not any(s in out + err for s in ("Dissector bug", "_ws.malformed.expert", "Malformed Packet:")), out[-3000:]
    return out


def layers(out):
    """The PAVA layers of every packet in order, each as its fields in tree order."""
    frames = []
    for packet in json.loads(out, object_pairs_hook=lambda p: p):
        for key, value in dict(dict(packet)["_source"])["layers"]:
            if key == "pava":
                frames.append(flatten(value, []))
    return frames


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


@pytest.mark.parametrize("source", ["corpus", "generated"])
def test_every_read_as_pava_dissect_shows_it(tmp_path, plugin_env, source):
    frames = corpus_frames() if source == "corpus" else generated_frames(tmp_path)
    wire_file = tmp_path / "frames.pava"
    wire_file.write_bytes(b"".join(frames))
    registered = {line.split("\t")[2] for line in tshark(plugin_env, None, "-G", "fields").splitlines()
                  if line.startswith("F\t") and "\tpava." in line}
    assert {"pava.id", "pava.dataList.itemText", "pava.recordList.fieldList.fieldText1"} <= registered
    expected = expected_reads(wire_file, frames, registered)
    actual = layers(tshark(plugin_env, pcap_of(tmp_path, source, frames, seed=len(frames) + 1), "-T", "json"))
    assert len(actual) == len(expected) == len(frames)
    for want, got in zip(expected, actual):
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
    assert out.count("    Message id: ") >= len(frames) * 0.9
    assert "Decoder:" in out and "No codec for this id" in out


def test_ports_decode_as_heuristic_and_the_lua_stepping_aside(tmp_path, plugin_env):
    frames = corpus_frames()[:40]
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
