"""The package over the shared library through ctypes: the fallback where the
compiled module is absent (a Windows DLL with no compiler at hand). Same
functions as pava._pava, a C call per member instead of one per record."""

import ctypes
from collections.abc import Mapping

from . import PavaError, _lib
from ._lib import FRAME_SIZE, HEADER_SIZE

lib = _lib.load()


def rc_text(code):
    """What a return code means."""
    return lib.pava_rc_text(code).decode()


def _fail(code, path):
    """Raises the Python exception for a failed C call on a member path."""
    if code == _lib.RC_UNKNOWN_MEMBER:
        raise KeyError(f"{path}: unknown member")
    if code == _lib.RC_WRONG_KIND:
        raise TypeError(f"{path}: not a member of that kind")
    if code in (_lib.RC_TOO_LONG, _lib.RC_RANGE, _lib.RC_INDEX):
        raise ValueError(f"{path}: {lib.pava_rc_text(code).decode()}")
    if code == _lib.RC_NO_MEMORY:
        raise MemoryError(path)
    raise PavaError(code)


def members(type_):
    """The members of an object type: (name, kind, size, count, element) each."""
    count = ctypes.c_size_t()
    lib.pava_member_count(type_, ctypes.byref(count))
    out = []
    for i in range(count.value):
        info = _lib.MemberInfo(size=ctypes.sizeof(_lib.MemberInfo))
        lib.pava_member_at(type_, i, ctypes.byref(info))
        out.append((info.name.decode(), info.kind, info.bytes, info.count, info.element))
    return out


# Every object type's members, in declaration order, from the library itself.
_SCHEMA = [{m[0]: m[1:] for m in members(t)} for t in range(_lib.TYPE_FIELD_ITEM + 1)]


class _Record:
    """An owned record handle."""

    def __init__(self):
        self.handle = ctypes.c_void_p()
        if lib.pava_record_new(ctypes.byref(self.handle)) != _lib.RC_OK:
            raise MemoryError("pava record")

    def __del__(self):
        lib.pava_record_free(self.handle)

    def set_int(self, path, value):
        if type(value) is not int:  # bool is refused too: it is no member's type
            raise TypeError(f"{path}: expected an int, not {type(value).__name__}")
        if not -(1 << 63) <= value < (1 << 63):
            raise ValueError(f"{path}: {value} is out of range")
        rc = lib.pava_set_int(self.handle, path.encode(), value)
        if rc != _lib.RC_OK:
            _fail(rc, path)

    def set_bytes(self, path, value):
        if not isinstance(value, (bytes, bytearray, memoryview)):
            raise TypeError(f"{path}: expected bytes, not {type(value).__name__}")
        value = bytes(value)
        rc = lib.pava_set_bytes(self.handle, path.encode(), value, len(value))
        if rc != _lib.RC_OK:
            _fail(rc, path)

    def resize(self, path, size):
        rc = lib.pava_list_resize(self.handle, path.encode(), size)
        if rc != _lib.RC_OK:
            _fail(rc, path)

    def get_int(self, path):
        value = ctypes.c_int64()
        rc = lib.pava_get_int(self.handle, path.encode(), ctypes.byref(value))
        if rc != _lib.RC_OK:
            _fail(rc, path)
        return value.value

    def get_bytes(self, path):
        key = path.encode()
        length = ctypes.c_size_t()
        buffer = ctypes.create_string_buffer(256)
        rc = lib.pava_get_bytes(self.handle, key, buffer, len(buffer), ctypes.byref(length))
        if rc == _lib.RC_BUFFER:
            buffer = ctypes.create_string_buffer(length.value)
            rc = lib.pava_get_bytes(self.handle, key, buffer, len(buffer), ctypes.byref(length))
        if rc != _lib.RC_OK:
            _fail(rc, path)
        return buffer.raw[:length.value]

    def size(self, path):
        size = ctypes.c_size_t()
        rc = lib.pava_list_size(self.handle, path.encode(), ctypes.byref(size))
        if rc != _lib.RC_OK:
            _fail(rc, path)
        return size.value

    def fill(self, obj, type_=_lib.TYPE_RECORD, prefix=""):
        """Sets the members obj names; raises before anything is encoded."""
        if not isinstance(obj, Mapping):
            raise TypeError(f"{prefix or 'record'}: expected a dict, not {type(obj).__name__}")
        members = _SCHEMA[type_]
        for key, value in obj.items():
            path = f"{prefix}.{key}" if prefix else str(key)
            if key not in members:
                raise KeyError(f"{path}: unknown member")
            kind, _, count, element = members[key]
            if kind in (_lib.KIND_INT32, _lib.KIND_UINT16):
                self.set_int(path, value)
            elif kind in (_lib.KIND_CHARS, _lib.KIND_STRING):
                self.set_bytes(path, value)
            elif kind == _lib.KIND_OBJECT:
                self.fill(value, element, path)
            elif isinstance(value, (str, bytes, bytearray, Mapping)) or not hasattr(value, "__len__"):
                raise TypeError(f"{path}: expected a list, not {type(value).__name__}")
            elif kind == _lib.KIND_ROWS:
                if len(value) > count:
                    raise ValueError(f"{path}: {len(value)} rows do not fit the {count} rows")
                for i, row in enumerate(value):
                    self.set_bytes(f"{path}[{i}]", row)
            else:
                self.resize(path, len(value))
                for i, item in enumerate(value):
                    self.fill(item, element, f"{path}[{i}]")

    def read(self, full, type_=_lib.TYPE_RECORD, prefix=""):
        """The members as a dict; those at their reset value only when full."""
        out = {}
        for name, (kind, _, count, element) in _SCHEMA[type_].items():
            path = prefix + name
            if kind in (_lib.KIND_INT32, _lib.KIND_UINT16):
                value = self.get_int(path)
            elif kind in (_lib.KIND_CHARS, _lib.KIND_STRING):
                value = self.get_bytes(path)
            elif kind == _lib.KIND_OBJECT:
                value = self.read(full, element, path + ".")
            elif kind == _lib.KIND_ROWS:
                value = [self.get_bytes(f"{path}[{i}]") for i in range(count)]
                while value and not full and not value[-1]:
                    value.pop()
            else:
                value = [self.read(full, element, f"{path}[{i}].") for i in range(self.size(path))]
            if full or value:
                out[name] = value
        return out


def _frame_bytes(frame):
    if not isinstance(frame, (bytes, bytearray, memoryview)):
        raise TypeError(f"a frame is bytes, not {type(frame).__name__}")
    frame = bytes(frame)
    if not HEADER_SIZE <= len(frame) <= FRAME_SIZE:
        raise ValueError(f"a frame holds {HEADER_SIZE} to {FRAME_SIZE} bytes, not {len(frame)}")
    return frame


def encode(record):
    """Encodes a record dict; returns its frames, each as its full 8208-byte block.

    Raises KeyError, TypeError or ValueError naming the member path for a
    record that does not fit the record type (before anything is encoded),
    and PavaError when the library refuses it (.frames: the frames appended
    before the encoder failed)."""
    rec = _Record()
    rec.fill(record)
    frames = ctypes.c_void_p()
    if lib.pava_frames_new(ctypes.byref(frames)) != _lib.RC_OK:
        raise MemoryError("pava frames")
    try:
        rc = lib.pava_encode(rec.handle, frames)
        out = []
        pointer = ctypes.c_void_p()
        for i in range(lib.pava_frames_count(frames)):
            lib.pava_frames_at(frames, i, ctypes.byref(pointer), None)
            out.append(ctypes.string_at(pointer, FRAME_SIZE))
    finally:
        lib.pava_frames_free(frames)
    if rc != _lib.RC_OK:
        raise PavaError(rc, frames=out)
    return out


def wire(frame):
    """A frame's wire form: the 16 header bytes and the body up to its declared length."""
    frame = _frame_bytes(frame)
    size = ctypes.c_size_t()
    lib.pava_wire_size(frame, len(frame), ctypes.byref(size))
    return frame[:size.value]


def decode(frame, full=False):
    """Decodes one frame, its full 8208-byte block or its wire form, into a dict.

    Members at their reset value are left out unless full is true. Raises
    PavaError when the library refuses the frame (.record: what the decode
    left in the record)."""
    frame = _frame_bytes(frame)
    rec = _Record()
    rc = lib.pava_decode(frame, len(frame), rec.handle)
    if rc != _lib.RC_OK:
        raise PavaError(rc, record=rec.read(full))
    return rec.read(full)


def dissect(frame):
    """Every body byte of a frame as its decoder reads it: spans in offset
    order, each {"offset", "width", "kind", "path"} (path None when unread),
    a decimal one with the "value" the decoder took."""
    frame = _frame_bytes(frame)
    handle = ctypes.c_void_p()
    lib.pava_dissect(frame, len(frame), None, ctypes.byref(handle))
    if not handle:
        raise MemoryError()
    try:
        spans = []
        span = _lib.Span(size=ctypes.sizeof(_lib.Span))
        for i in range(lib.pava_dissection_count(handle)):
            lib.pava_dissection_span(handle, i, ctypes.byref(span))
            unread = span.kind == 0
            spans.append({"offset": span.offset, "width": span.width, "kind": _lib.SPAN_KINDS[span.kind],
                          "path": None if unread else span.path.decode()})
            if span.kind == 1:  # a decimal: the number the decoder took
                spans[-1]["value"] = span.number
        return spans
    finally:
        lib.pava_dissection_free(handle)


def version():
    """The loaded library's version, (major, minor, patch)."""
    parts = [ctypes.c_int() for _ in range(3)]
    lib.pava_version(*(ctypes.byref(p) for p in parts))
    return tuple(p.value for p in parts)


def ids():
    """Every registered message id, ascending."""
    count = ctypes.c_size_t()
    lib.pava_ids(None, 0, ctypes.byref(count))
    out = (ctypes.c_int * count.value)()
    lib.pava_ids(out, count.value, ctypes.byref(count))
    return list(out)


def layout(id_):
    """An id's description as the codecs run it (the stream pava_describe
    hands out, as dicts and lists): fixed fields, the decoder's fields,
    declared length, items, what follows the fixed fields, the description's
    tails and quirks, the split rule and the members it carries. PavaError
    0x10008 for an id without a codec."""
    stack = [[]]
    keys = []

    def put(name, value):
        parent = stack[-1]
        if isinstance(parent, list):
            parent.append(value)
        else:
            parent[name] = value

    def take(token_p, _user):
        t = token_p.contents
        name = t.name.decode() if t.name else None
        if t.token in (_lib.DESC_OBJECT, _lib.DESC_LIST):
            stack.append({} if t.token == _lib.DESC_OBJECT else [])
            keys.append(name)
        elif t.token == _lib.DESC_END:
            done = stack.pop()
            put(keys.pop(), done)
        elif t.token == _lib.DESC_NUMBER:
            put(name, t.number)
        elif t.token == _lib.DESC_BOOL:
            put(name, bool(t.number))
        elif t.token == _lib.DESC_TEXT:
            put(name, t.text.decode() if t.text is not None else None)
        return 0

    rc = lib.pava_describe(id_, _lib.DESC_FN(take), None)
    if rc != _lib.RC_OK:
        raise PavaError(rc)
    return stack[0][0]


_log_callback = None  # kept alive while the library may call it


def echo(record, full=False):
    """A record dict written into a record and read back."""
    rec = _Record()
    rec.fill(record)
    return rec.read(full)


def set_log(mode, sink=None):
    """Routes the codecs' log lines: a mode of the C interface and, for the
    callback mode, the callable that gets each line."""
    global _log_callback
    if mode != _lib.LOG_CALLBACK:
        lib.pava_set_log(mode, _lib.LOG_FN(), None)
        _log_callback = None
        return
    callback = _lib.LOG_FN(lambda text, _user: sink(text.decode("latin-1")))
    lib.pava_set_log(_lib.LOG_CALLBACK, callback, None)
    _log_callback = callback
