"""PAVA frames from Python: records as dicts, frames as bytes.

Records and frames
    frames = pava.encode({"msgId": 20001, "rii": 5, "text12b": b"ABCDEFGHIJKL"})
    record = pava.decode(frames[0])          # {"rii": 5, "msgId": 20001, ...}
    pava.wire(frames[0])                     # the bytes sent: header + declared body
    pava.dissect(frames[0])                  # every body byte as the decoder reads it:
                                             # [{"offset", "width", "kind", "path"}, ...]

    A record is a dict named by the record's members: integers as int,
    character arrays and strings as bytes (exact), lists as lists of dicts,
    fileBlock as a dict whose fbCodes is a list of bytes. A member left out is
    at its reset value (zero, empty). encode returns every frame as its full
    8208-byte block; decode takes that block or the wire form.

Streams
    decoder = pava.Decoder(join=True)        # no I/O: feed it bytes from anywhere
    decoder.feed(chunk)                      # any chunk sizes
    for event in decoder: ...                # pava.Frame, pava.Message, pava.Damage
    decoder.finish()                         # the end of the input
    for event in pava.read_frames("capture.pava"): ...

    pava.aio (asyncio): open_connection(host, port) and start_server(handler,
    host, port) give a stream: `async for record in stream`,
    `await stream.send(record)`, `stream.close()`.

Errors
    KeyError, TypeError, ValueError name the member path of a record that does
    not fit; PavaError carries the library's return code (.code), the frames
    an encoder appended before it failed (.frames) and what a failed decode
    left in the record (.record).

Tables
    pava.ids() lists the message ids, pava.layout(id) an id's description as
    the codecs run it (the data `pava layout --json ID` prints);
    pava.set_log(sink) routes the codecs' log lines.

The work is done by the compiled module pava._pava, which carries its own copy
of the library. Where it is absent, the same functions run over the shared
library through ctypes (PAVA_LIBRARY names it), one C call per member; the
streams need the compiled module. PAVA_BACKEND=ctypes forces that fallback.
"""

import os as _os

from . import _lib

__all__ = ["PavaError", "encode", "decode", "dissect", "wire", "ids", "layout", "version", "set_log", "STDOUT",
           "FRAME_SIZE", "HEADER_SIZE", "Decoder", "Frame", "Message", "Damage", "read_frames",
           "BACKEND"]

FRAME_SIZE = _lib.FRAME_SIZE    # bytes of a whole frame: header and full body
HEADER_SIZE = _lib.HEADER_SIZE  # bytes of a frame's header


class PavaError(Exception):
    """A failed encode or decode.

    code:   the entry points' return code (0x10004, 0x10008, 0x10009, 0x1000a)
    frames: the frames an encoder appended before it failed (list of bytes)
    record: what a failed decode left in the record (dict)
    """

    def __init__(self, code, frames=None, record=None):
        super().__init__(f"{_rc_text(code)} (0x{code:x})")
        self.code = code
        self.frames = frames if frames is not None else []
        self.record = record


def _backend():
    choice = _os.environ.get("PAVA_BACKEND", "")
    if choice != "ctypes":
        try:
            from . import _pava
            _pava._set_error(PavaError)
            return _pava
        except ImportError:
            if choice == "module":
                raise
    from . import _ctypes_backend
    return _ctypes_backend


_impl = _backend()
BACKEND = "module" if _impl.__name__.endswith("_pava") else "ctypes"  # which one runs

encode = _impl.encode
decode = _impl.decode
dissect = _impl.dissect
wire = _impl.wire
ids = _impl.ids
version = _impl.version
layout = _impl.layout
_rc_text, _echo, _set_log = _impl.rc_text, _impl.echo, _impl.set_log

# Every object type's members in declaration order: {name: (kind, size, count, element)}.
_SCHEMA = [{m[0]: m[1:] for m in _impl.members(t)} for t in range(_lib.TYPE_FIELD_ITEM + 1)]
del _impl


class _Record:
    """A record filled from a dict and read back (for tests of the conversion)."""

    def __init__(self):
        self._record = {}

    def fill(self, obj):
        _echo(obj)  # raises as encode would
        self._record = obj

    def read(self, full):
        return _echo(self._record, full)


STDOUT = object()  # set_log(STDOUT): the library's own standard output, its default


def set_log(sink):
    """Routes the codecs' log lines: a callable gets each line as str
    (one character per byte), None switches them off, STDOUT restores the
    library's standard output."""
    if sink is None:
        _set_log(_lib.LOG_OFF)
    elif sink is STDOUT:
        _set_log(_lib.LOG_STDOUT)
    elif callable(sink):
        _set_log(_lib.LOG_CALLBACK, sink)
    else:
        raise TypeError(f"a log sink is a callable, None or pava.STDOUT, not {type(sink).__name__}")


if BACKEND == "module":
    from ._stream import Damage, Decoder, Frame, Message, read_frames
else:
    def _no_streams(*_args, **_kwargs):
        """Streams need the compiled module pava._pava."""
        raise ImportError("pava.Decoder needs the compiled module pava._pava, which is not installed")

    Decoder = read_frames = _no_streams
    Frame = Message = Damage = None
