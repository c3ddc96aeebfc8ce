"""PAVA over TCP with asyncio: records in and out of a stream.

    import asyncio, pava.aio

    async def main():
        stream = await pava.aio.open_connection("127.0.0.1", 7001)
        await stream.send({"msgId": 20001, "rii": 5, "text12b": b"ABCDEFGHIJKL"})
        async for record in stream:          # each record the peer sends
            print(record)
            break
        stream.close()
        await stream.wait_closed()

    asyncio.run(main())

A server hands each connection to a coroutine of its own:

    async def echo(stream):
        async for record in stream:
            await stream.send(record)

    server = await pava.aio.start_server(echo, "127.0.0.1", 0)

Frames are read with pava.Decoder as they arrive (a live link: each frame is
handed out as soon as its bytes are in). Bytes that are not a frame, and
frames whose decode failed, do not end the stream: they go to the stream's
on_problem callable (by default a warning on the "pava.aio" logger);
stream.events() yields every event, pava.Damage included.
"""

import asyncio
import logging
from collections.abc import AsyncIterator, Awaitable, Callable, Mapping
from typing import Any, Optional

from . import Damage, Decoder, Frame, Message, encode, wire

__all__ = ["Stream", "open_connection", "start_server"]

_log = logging.getLogger("pava.aio")
READ_SIZE = 1 << 16  # bytes asked of the transport at a time


def _warn(event: "Frame | Message | Damage") -> None:
    if isinstance(event, Damage):
        _log.warning("offset %d: %s", event.offset, event.what)
    else:
        _log.warning("offset %d: decode failed (0x%x)", event.offset, event.rc)


class Stream:
    """Records in and out of one connection.

    async for record in stream    the records the peer sends (dicts), frames
                                  joined into messages when join=True
    await stream.send(record)     encodes a record and writes its frames
    stream.close()                closes the connection (then await wait_closed())

    on_problem: called with each pava.Damage and each pava.Frame (or
    pava.Message) whose decode failed; the stream goes on.
    """

    def __init__(self, reader: asyncio.StreamReader, writer: asyncio.StreamWriter, *, join: bool = False,
                 full: bool = False, on_problem: Optional[Callable[[Any], object]] = _warn) -> None:
        self.reader = reader    # the asyncio.StreamReader
        self.writer = writer    # the asyncio.StreamWriter
        self.on_problem = on_problem
        self._decoder = Decoder(join=join, full=full)
        self._eof = False

    async def events(self) -> AsyncIterator["Frame | Message | Damage"]:
        """Every event of the incoming stream: pava.Frame (pava.Message with
        join=True) and pava.Damage, until the peer closes the connection."""
        while True:
            event = self._decoder.next_event()
            if event is not None:
                yield event
                continue
            if self._eof:
                return
            data = await self.reader.read(READ_SIZE)
            if data:
                self._decoder.feed(data)
            else:
                self._eof = True
                self._decoder.finish()

    def __aiter__(self) -> AsyncIterator[dict[str, Any]]:
        return self._records()

    async def _records(self) -> AsyncIterator[dict[str, Any]]:
        async for event in self.events():
            if isinstance(event, Damage) or event.rc != 0:
                if self.on_problem is not None:
                    self.on_problem(event)
                continue
            yield event.record

    async def send(self, record: Mapping[str, Any]) -> None:
        """Encodes the record and writes its frames (wire form); waits while
        the transport's buffer is full. Raises as pava.encode does, before
        anything is written."""
        self.writer.write(b"".join(wire(f) for f in encode(record)))
        await self.writer.drain()

    async def send_bytes(self, data: bytes) -> None:
        """Writes bytes as they are (frames made elsewhere, or anything else)."""
        self.writer.write(data)
        await self.writer.drain()

    def close(self) -> None:
        """Closes the connection."""
        self.writer.close()

    async def wait_closed(self) -> None:
        """Waits until the connection is closed."""
        try:
            await self.writer.wait_closed()
        except (ConnectionError, OSError):
            pass

    async def __aenter__(self) -> "Stream":
        return self

    async def __aexit__(self, *exc: object) -> None:
        self.close()
        await self.wait_closed()


async def open_connection(host: str, port: int, *, join: bool = False, full: bool = False,
                          on_problem: Optional[Callable[[Any], object]] = _warn, **kwargs: Any) -> Stream:
    """Connects to a PAVA peer; returns its Stream. kwargs go to
    asyncio.open_connection (ssl, local_addr, ...)."""
    reader, writer = await asyncio.open_connection(host, port, **kwargs)
    return Stream(reader, writer, join=join, full=full, on_problem=on_problem)


async def start_server(handler: Callable[[Stream], Awaitable[object]], host: Optional[str] = None, port: int = 0, *,
                       join: bool = False, full: bool = False,
                       on_problem: Optional[Callable[[Any], object]] = _warn, **kwargs: Any) -> asyncio.Server:
    """Serves PAVA peers: `await handler(stream)` for each connection, which
    is closed when the handler returns. Returns the asyncio.Server (port 0:
    any free port, see server.sockets[0].getsockname()). kwargs go to
    asyncio.start_server."""

    async def serve(reader, writer):
        stream = Stream(reader, writer, join=join, full=full, on_problem=on_problem)
        try:
            await handler(stream)
        finally:
            stream.close()
            await stream.wait_closed()

    return await asyncio.start_server(serve, host, port, **kwargs)

