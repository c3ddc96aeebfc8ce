#!/usr/bin/env python3
"""The Python package's speed, each figure beside a plain-Python baseline
measured in the same run: the same work done by slicing bytes and int().

    PYTHONPATH=build/release/python /usr/bin/python3 bench/python_bench.py [--mb 50]

Figures are the best of several repetitions (the least disturbed by other
work on the machine). Not a test: it prints, it judges nothing.
"""

import argparse
import random
import time

import pava


def best(fn, number, repeat=7):
    """Seconds per call of fn, the best of repeat runs of number calls."""
    times = []
    for _ in range(repeat):
        start = time.perf_counter()
        for _ in range(number):
            fn()
        times.append((time.perf_counter() - start) / number)
    return min(times)


# --- the plain-Python baselines ----------------------------------------------

def header_fields(f):
    return {"rii": int(f[0:3]), "msgId": int(f[3:8]), "msgType": int(f[8:9]), "msgLen": int(f[9:14]),
            "headFlag": int(f[14:15]), "contFlag": int(f[15:16])}


def slice_20001(f):
    """A 20001 frame cut by hand: the header fields and the body's address."""
    record = header_fields(f)
    record["text12b"] = f[16:28]
    return record


def item_slicer(id_):
    """Cuts the items of an id's list by its layout's item table: decimal
    fields through int(), the others as bytes up to their first NUL."""
    shape = pava.layout(id_)["description"]["read"]
    cuts = [(f["member"], f["offset"], f["offset"] + f["width"], f["kind"] == "decimal")
            for f in shape["itemFields"] if f["member"]]
    count_at, width = 16 + shape["countAt"], shape["countWidth"]
    items_at, size = 16 + shape["itemsAt"], shape["itemSize"]

    def cut(f):
        record = header_fields(f)
        record["text12b"] = f[16:28]
        items = []
        at = items_at
        for _ in range(int(f[count_at:count_at + width])):
            item = {}
            for name, begin, end, decimal in cuts:
                raw = f[at + begin:at + end]
                item[name] = int(raw) if decimal else raw.split(b"\0", 1)[0]
            items.append(item)
            at += size
        record["dataList"] = items
        return record

    return cut


def format_20001(r):
    """A 20001 frame made by hand: header and body by %-formatting."""
    body = r["text12b"].ljust(12, b"\0")
    return (b"%-3d%05d%d%-5d%d%d" % (r["rii"], r["msgId"], r["msgType"], len(body), 0, 0) + body).ljust(
        pava.FRAME_SIZE, b"\0")


def split_stream(data):
    """Frames cut from a stream by the body length of each header."""
    at, end, frames = 0, len(data), 0
    while at + 16 <= end:
        length = int(data[at + 9:at + 14])
        frame = data[at:at + 16 + length]
        header_fields(frame)
        at += 16 + length
        frames += 1
    return frames


# --- the stream of mixed frames ---------------------------------------------

def mixed_stream(megabytes, rnd):
    """Wire frames of the shipped kinds back to back: one-frame ids, item
    lists of a few to a few hundred items, split messages."""
    samples = []
    for id_ in (20001, 20002, 20003, 20005, 20010):
        samples.append({"msgId": id_, "rii": 3, "msgType": 1, "text12b": b"ADDR%08d" % id_})
    for n in (3, 40, 339):
        samples.append({"msgId": 20018, "rii": 4, "text12b": b"LIST00000018",
                        "dataList": [{"itemId": i, "itemText": b"A", "itemBlock": b"B%d" % i} for i in range(n)]})
    samples.append({"msgId": 20020, "rii": 5, "text12b": b"LIST00000020",
                    "dataList": [{"itemId": i} for i in range(1200)]})
    pieces = []
    for record in samples:
        try:
            pieces.append(b"".join(pava.wire(f) for f in pava.encode(record)))
        except pava.PavaError:
            continue
    out, size, target = [], 0, megabytes * 1_000_000
    while size < target:
        piece = rnd.choice(pieces)
        out.append(piece)
        size += len(piece)
    return b"".join(out)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--mb", type=int, default=50, help="size of the mixed stream (MB)")
    args = parser.parse_args()
    pava.set_log(None)
    print(f"pava backend: {pava.BACKEND}")
    rows = []

    record = {"msgId": 20001, "rii": 5, "msgType": 1, "text12b": b"ABCDEFGHIJKL"}
    block = pava.encode(record)[0]
    wire = pava.wire(block)
    assert slice_20001(wire) == dict(pava.decode(wire, full=False), headFlag=0, contFlag=0)
    base = best(lambda: slice_20001(wire), 20000)
    rows.append(("decode 20001, 8208-byte block", best(lambda: pava.decode(block), 20000), base, "us", 1))
    rows.append(("decode 20001, wire form", best(lambda: pava.decode(wire), 20000), base, "us", 1))

    items = {"msgId": 20018, "rii": 4, "text12b": b"LIST00000018",
             "dataList": [{"itemId": i, "itemText": b"A", "itemBlock": b"B%d" % i} for i in range(339)]}
    frames = pava.encode(items)
    assert len(frames) == 1
    cut = item_slicer(20018)
    assert [dict(i) for i in cut(frames[0])["dataList"]] == [
        dict({"itemId": 0, "itemText": b"", "itemBlock": b""}, **i) for i in pava.decode(frames[0])["dataList"]]
    rows.append(("decode 20018 of 339 items, per item", best(lambda: pava.decode(frames[0]), 300) / 339,
                 best(lambda: cut(frames[0]), 300) / 339, "us", 1))

    assert format_20001(record) == block
    rows.append(("encode 20001", best(lambda: pava.encode(record), 20000),
                 best(lambda: format_20001(record), 20000), "us", 1))

    data = mixed_stream(args.mb, random.Random(26))

    def decode_stream(join):
        decoder = pava.Decoder(join=join)
        n = 0
        for at in range(0, len(data), 1 << 20):  # 1 MB reads, as from a file or socket
            decoder.feed(data[at:at + (1 << 20)])
            for _ in decoder:
                n += 1
        decoder.finish()
        for _ in decoder:
            n += 1
        return n

    mb = len(data) / 1e6
    base = best(lambda: split_stream(data), 1, 3)
    rows.append((f"Decoder over {mb:.0f} MB of mixed frames", mb / best(lambda: decode_stream(False), 1, 3),
                 mb / base, "MB/s", 0))
    rows.append((f"Decoder(join=True) over {mb:.0f} MB", mb / best(lambda: decode_stream(True), 1, 3),
                 mb / base, "MB/s", 0))

    print(f"{'':44} {'pava':>10} {'baseline':>10}")
    for name, value, baseline, unit, is_time in rows:
        scale = 1e6 if is_time else 1
        print(f"{name:44} {value * scale:8.3f} {unit:4} {baseline * scale:8.3f} {unit}")


if __name__ == "__main__":
    main()
