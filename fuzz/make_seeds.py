#!/usr/bin/env python3
"""Seed corpora for the fuzz harnesses, made from the golden corpus.

decode/: every frame of tests/data/*.json in wire form (16 header bytes, the
body up to its last non-NUL byte). encode/ and roundtrip/: the record's id as
two big-endian bytes (the harnesses pick codecs by id), then the bytes of the
case's first frame body, which the harness reads as values.
"""
import hashlib
import json
import pathlib
import sys


def text_of(value):
    """Bytes of a corpus text: one character per byte, or a list of pieces."""
    if isinstance(value, str):
        return value.encode("latin-1")
    out = b""
    for piece in value:
        if isinstance(piece, str):
            out += piece.encode("latin-1")
        else:
            out += piece["repeat"].encode("latin-1") * piece["times"]
    return out


def main():
    data_dir, out_dir = pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2])
    seeds = {"decode": set(), "encode": set(), "roundtrip": set()}
    for path in sorted(data_dir.glob("*.json")):
        for case in json.loads(path.read_text(encoding="utf-8"))["cases"]:
            frames = [(text_of(f["head"]), text_of(f["body"])) for f in case.get("frames", [])]
            if case.get("head") is not None:
                frames.append((text_of(case["head"]), text_of(case.get("body", ""))))
            for head, body in frames:
                seeds["decode"].add(head.ljust(16, b"\0")[:16] + body)
            record = case.get("record")
            if isinstance(record, dict) and "msgId" in record and case.get("head") is None:
                key = int(record["msgId"]).to_bytes(2, "big")
                values = frames[0][1] if frames else b""
                seeds["encode"].add(key + values)
                seeds["roundtrip"].add(key + values)
    for name, items in seeds.items():
        target = out_dir / name
        target.mkdir(parents=True, exist_ok=True)
        for seed in items:
            (target / hashlib.sha1(seed).hexdigest()).write_bytes(seed)
        print(f"{name}: {len(items)} seeds")


if __name__ == "__main__":
    main()
