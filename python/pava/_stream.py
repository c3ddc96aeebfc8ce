"""Streams of frames: the compiled Decoder and read_frames over it."""

import os

from ._pava import Damage, Decoder, Frame, Message

__all__ = ["Damage", "Decoder", "Frame", "Message", "read_frames"]

CHUNK = 1 << 20  # bytes read at a time


def read_frames(source, join=False, form="wire", *, full=False, look_ahead=True, chunk=CHUNK):
    """The events of a file of frames, as `pava decode` reads it: a path, or a
    binary file object (anything with read(n)), read in chunks of `chunk`
    bytes; yields pava.Frame (pava.Message with join=True) and pava.Damage.

    A path is opened and closed here; a file object is left open. look_ahead
    (the default for files) holds each frame until a frame's worth of what
    follows it is read, so a frame cut short is told from a good one."""
    if isinstance(source, (str, bytes, os.PathLike)):
        with open(source, "rb") as file:
            yield from read_frames(file, join, form, full=full, look_ahead=look_ahead, chunk=chunk)
        return
    decoder = Decoder(join, form, look_ahead, full=full)
    while True:
        data = source.read(chunk)
        if not data:
            break
        decoder.feed(data)
        yield from decoder
    decoder.finish()
    yield from decoder
