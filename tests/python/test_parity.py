"""Every registered id through the package and through the C++ entry points:
the same return codes, the same frames byte for byte, the same records."""

import random

import pava
from pava import _lib
from conftest import to_tool_json

INTS = (_lib.KIND_INT32, _lib.KIND_UINT16)
TEXTS = (_lib.KIND_CHARS, _lib.KIND_STRING)


def sample(type_, rnd, hostile, depth=0):
    """Every member of an object type set: printable texts at full width, or
    any bytes and numbers for a hostile record."""
    out = {}
    for name, (kind, size, count, element) in pava._SCHEMA[type_].items():
        if kind == _lib.KIND_UINT16:
            out[name] = rnd.randrange(0, 65536) if hostile else rnd.randrange(0, 10)
        elif kind == _lib.KIND_INT32:
            out[name] = rnd.randrange(-2**31, 2**31) if hostile else rnd.randrange(0, 1000)
        elif kind in TEXTS:
            if kind == _lib.KIND_CHARS:
                n = size
            elif hostile:  # now and then a text longer than any body
                n = 9000 if rnd.random() < 0.03 else rnd.choice((0, 5, 40))
            else:
                n = rnd.choice((3, 20))
            if hostile:
                out[name] = rnd.randbytes(rnd.randrange(0, n + 1))
            else:
                out[name] = bytes(rnd.choice(b"ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789") for _ in range(n))
        elif kind == _lib.KIND_ROWS:
            out[name] = [bytes(rnd.choice(b"0123456789\x00\xff") for _ in range(rnd.randrange(0, size + 1)))
                         for _ in range(rnd.randrange(0, 6))]
        elif kind == _lib.KIND_OBJECT:
            out[name] = sample(element, rnd, hostile, depth)
        else:
            n = rnd.randrange(0, 5) if hostile else 2
            out[name] = [sample(element, rnd, hostile, depth + 1) for _ in range(n)]
    return out


def records_for(id_, rnd):
    rich = sample(_lib.TYPE_RECORD, rnd, False)
    hostile = sample(_lib.TYPE_RECORD, rnd, True)
    many = {"rii": 7, "text12b": b"MANYITEMS001",
            "dataList": [{"itemId": i, "itemText": b"t%d" % i, "itemBlock": b"B%d" % i} for i in range(450)]}
    return [dict(r, msgId=id_) for r in ({"rii": 1}, rich, hostile, many)]


def package_encode(record):
    try:
        return 0, pava.encode(record)
    except pava.PavaError as e:
        return e.code, e.frames


def package_decode(frame):
    try:
        return 0, pava.decode(frame)
    except pava.PavaError as e:
        return e.code, e.record


def hostile_frames(id_, rnd):
    """Frames of the id whose header declares any length and whose body is
    digits, blanks, letters, NULs and high bytes."""
    frames = []
    for _ in range(3):
        length = rnd.choice((0, 12, 100, 8192, 9999))
        head = b"%-3d%05d%c%-5d%c%c" % (rnd.randrange(0, 1000), id_, rnd.choice(b"0129A"), length,
                                     rnd.choice(b"0123"), rnd.choice(b"01"))
        body = bytes(rnd.choice(b"0123456789  ABC\x00\x00\xff") for _ in range(rnd.choice((16, 300, 8192))))
        frames.append((head + body).ljust(pava.FRAME_SIZE, b"\x00"))
    return frames


def test_every_id_encodes_and_decodes_as_the_entry_points(reference):
    rnd = random.Random(20001)
    records = [r for id_ in pava.ids() for r in records_for(id_, rnd)]
    expected = reference.encode(records)
    frames = []
    for record, (rc, cpp_frames) in zip(records, expected):
        got_rc, got_frames = package_encode(record)
        assert (got_rc, got_frames) == (rc, cpp_frames), f"{record['msgId']:05}"
        frames += cpp_frames
    for id_ in pava.ids():
        frames += hostile_frames(id_, rnd)
    frames += hostile_frames(12345, rnd)

    decoded = reference.decode(frames)
    for frame, (rc, record) in zip(frames, decoded):
        got_rc, got_record = package_decode(frame)
        assert (got_rc, to_tool_json(got_record)) == (rc, record), frame[:16]
        # The wire form decodes as the whole block when nothing follows the body.
        wire = pava.wire(frame)
        if not any(frame[len(wire):]):
            assert package_decode(wire) == (got_rc, got_record)
