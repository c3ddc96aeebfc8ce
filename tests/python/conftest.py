"""The C++ entry points through the pava_reference helper, and record dicts in
the tool's JSON form (texts one character per byte, fileBlock members flat)."""

import json
import os
import struct
import subprocess

import pytest

import pava

FRAME = pava.FRAME_SIZE


def to_tool_json(value):
    if isinstance(value, bytes):
        return value.decode("latin-1")
    if isinstance(value, list):
        return [to_tool_json(v) for v in value]
    if isinstance(value, dict):
        out = {}
        for key, v in value.items():
            if key == "fileBlock":
                out.update(to_tool_json(v))
            else:
                out[key] = to_tool_json(v)
        return out
    return value


class Reference:
    def __init__(self, program, tmp_path):
        self.program = program
        self.tmp = tmp_path

    def encode(self, records):
        """[(rc, [frame bytes])] for each record dict, from Data_To_Pava."""
        src, out = self.tmp / "records.json", self.tmp / "frames.bin"
        src.write_text(json.dumps([to_tool_json(r) for r in records]))
        subprocess.run([self.program, "encode", str(src), str(out)], check=True)
        data, at, results = out.read_bytes(), 0, []
        for _ in records:
            rc, count = struct.unpack_from("<iI", data, at)
            at += 8
            results.append((rc, [data[at + i * FRAME:at + (i + 1) * FRAME] for i in range(count)]))
            at += count * FRAME
        assert at == len(data)
        return results

    def decode(self, frames):
        """[(rc, record in tool JSON)] for each whole frame, from Pava_To_Data."""
        src = self.tmp / "decode.bin"
        src.write_bytes(b"".join(frames))
        out = subprocess.run([self.program, "decode", str(src)], check=True, capture_output=True)
        return [(r["rc"], r["record"]) for r in json.loads(out.stdout)]


@pytest.fixture
def reference(tmp_path):
    program = os.environ.get("PAVA_REFERENCE")
    if not program:
        pytest.skip("PAVA_REFERENCE names no reference program")
    return Reference(program, tmp_path)


@pytest.fixture(autouse=True)
def quiet():
    pava.set_log(None)
    yield
    pava.set_log(None)
