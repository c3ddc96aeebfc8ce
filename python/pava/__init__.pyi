# Types of the pava package (its functions come from the compiled module).
import os
from collections.abc import Callable, Iterator, Mapping, Sequence
from typing import Any, BinaryIO, Literal, NamedTuple, Union

Record = dict[str, Any]
"""A record: members by name; int, bytes, list of Record, fileBlock a Record."""
BytesLike = Union[bytes, bytearray, memoryview]
Form = Literal["wire", "raw", "hex"]

FRAME_SIZE: int
HEADER_SIZE: int
BACKEND: Literal["module", "ctypes"]
STDOUT: object

class PavaError(Exception):
    code: int
    frames: list[bytes]
    record: Record | None
    def __init__(self, code: int, frames: list[bytes] | None = ..., record: Record | None = ...) -> None: ...

def encode(record: Mapping[str, Any], /) -> list[bytes]: ...
def decode(frame: BytesLike, full: bool = ...) -> Record: ...
def wire(frame: BytesLike, /) -> bytes: ...
def ids() -> list[int]: ...
def layout(id: int, /) -> dict[str, Any]: ...
def set_log(sink: Callable[[str], object] | None | object) -> None: ...

class Frame(NamedTuple):
    offset: int
    length: int
    rc: int
    record: Record

class Damage(NamedTuple):
    offset: int
    length: int
    what: str

class Message(NamedTuple):
    offset: int
    rc: int
    frames: int
    complete: bool
    problems: list[Damage]
    record: Record

Event = Union[Frame, Message, Damage]

class Decoder(Iterator[Event]):
    ended: bool
    buffered: int
    def __init__(self, join: bool = ..., form: Form = ..., look_ahead: bool = ..., *, full: bool = ...) -> None: ...
    def feed(self, data: BytesLike, /) -> None: ...
    def finish(self) -> None: ...
    def next_event(self) -> Event | None: ...
    def __iter__(self) -> Decoder: ...
    def __next__(self) -> Event: ...

def read_frames(source: str | bytes | os.PathLike[str] | BinaryIO, join: bool = ..., form: Form = ..., *,
                full: bool = ..., look_ahead: bool = ..., chunk: int = ...) -> Iterator[Event]: ...
