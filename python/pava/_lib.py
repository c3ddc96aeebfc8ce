"""The C interface's constants, and the shared library loaded for ctypes (the
fallback when the compiled module is absent)."""

import ctypes
import ctypes.util
import os
import sys

FRAME_SIZE = 8208
HEADER_SIZE = 16

# Return codes.
RC_OK = 0
RC_NULL = 0x10004
RC_NO_HANDLER = 0x10008
RC_DECODE = 0x10009
RC_ENCODE = 0x1000A
RC_UNKNOWN_MEMBER = 0x10101
RC_WRONG_KIND = 0x10102
RC_INDEX = 0x10103
RC_TOO_LONG = 0x10104
RC_RANGE = 0x10105
RC_BUFFER = 0x10106
RC_SIZE = 0x10107
RC_NO_MEMORY = 0x10108
RC_ARGUMENT = 0x10109

# Object types and member kinds.
TYPE_RECORD, TYPE_FILE_BLOCK, TYPE_DATA_ITEM, TYPE_SETTING_ITEM, TYPE_RECORD_ITEM, TYPE_FIELD_ITEM = range(6)
KIND_INT32, KIND_UINT16, KIND_CHARS, KIND_STRING, KIND_LIST, KIND_OBJECT, KIND_ROWS = range(1, 8)

LOG_STDOUT, LOG_OFF, LOG_CALLBACK = range(3)


class MemberInfo(ctypes.Structure):
    _fields_ = [("size", ctypes.c_size_t), ("name", ctypes.c_char_p), ("kind", ctypes.c_int), ("bytes", ctypes.c_int),
                ("count", ctypes.c_int), ("element", ctypes.c_int)]


class DescToken(ctypes.Structure):
    _fields_ = [("size", ctypes.c_size_t), ("token", ctypes.c_int), ("name", ctypes.c_char_p),
                ("number", ctypes.c_int64), ("text", ctypes.c_char_p)]


DESC_OBJECT, DESC_LIST, DESC_END, DESC_NUMBER, DESC_TEXT, DESC_BOOL = 1, 2, 3, 4, 5, 6
DESC_FN = ctypes.CFUNCTYPE(ctypes.c_int, ctypes.POINTER(DescToken), ctypes.c_void_p)


class Span(ctypes.Structure):
    _fields_ = [("size", ctypes.c_size_t), ("offset", ctypes.c_int), ("width", ctypes.c_int),
                ("kind", ctypes.c_int), ("path", ctypes.c_char_p), ("number", ctypes.c_int64)]


SPAN_KINDS = ("unread", "decimal", "text", "raw", "marker")  # by PAVA_SPAN_*


# The library's calling convention is cdecl on every platform.
LOG_FN = ctypes.CFUNCTYPE(None, ctypes.c_char_p, ctypes.c_void_p)

_NAMES = {
    "win32": ("ZMPavaAnalyzer.dll",),
    "darwin": ("libZMPavaAnalyzer.dylib",),
}.get(sys.platform, ("libZMPavaAnalyzer.so",))


def _candidates():
    """Where the library is looked for, in order."""
    env = os.environ.get("PAVA_LIBRARY")
    if env:
        yield env
        return
    here = os.path.dirname(os.path.abspath(__file__))
    for folder in (here, os.path.dirname(here)):
        for name in _NAMES:
            path = os.path.join(folder, name)
            if os.path.exists(path):
                yield path
    found = ctypes.util.find_library("ZMPavaAnalyzer")
    if found:
        yield found
    yield from _NAMES


def _load():
    errors = []
    for candidate in _candidates():
        try:
            return ctypes.CDLL(candidate)
        except OSError as e:
            errors.append(f"{candidate}: {e}")
    raise OSError("cannot load the ZMPavaAnalyzer library (set PAVA_LIBRARY to its path): "
                  + "; ".join(errors))


def _declare(lib):
    p, i, sz, i64 = ctypes.c_void_p, ctypes.c_int, ctypes.c_size_t, ctypes.c_int64
    s, psz = ctypes.c_char_p, ctypes.POINTER(ctypes.c_size_t)
    signatures = {
        "pava_rc_text": (s, [i]),
        "pava_record_new": (i, [ctypes.POINTER(p)]),
        "pava_record_free": (None, [p]),
        "pava_record_reset": (i, [p]),
        "pava_record_copy": (i, [p, p]),
        "pava_get_int": (i, [p, s, ctypes.POINTER(i64)]),
        "pava_set_int": (i, [p, s, i64]),
        "pava_get_bytes": (i, [p, s, p, sz, psz]),
        "pava_set_bytes": (i, [p, s, s, sz]),
        "pava_list_size": (i, [p, s, psz]),
        "pava_list_resize": (i, [p, s, sz]),
        "pava_frames_new": (i, [ctypes.POINTER(p)]),
        "pava_frames_free": (None, [p]),
        "pava_frames_count": (sz, [p]),
        "pava_frames_at": (i, [p, sz, ctypes.POINTER(p), psz]),
        "pava_encode": (i, [p, p]),
        "pava_encode_into": (i, [p, p, sz, psz]),
        "pava_decode": (i, [s, sz, p]),
        "pava_wire_size": (i, [s, sz, psz]),
        "pava_dissect": (i, [s, sz, p, ctypes.POINTER(p)]),
        "pava_dissection_free": (None, [p]),
        "pava_dissection_count": (sz, [p]),
        "pava_dissection_span": (i, [p, sz, ctypes.POINTER(Span)]),
        "pava_member_count": (i, [i, psz]),
        "pava_member_at": (i, [i, sz, ctypes.POINTER(MemberInfo)]),
        "pava_ids": (i, [ctypes.POINTER(i), sz, psz]),
        "pava_version": (None, [ctypes.POINTER(i)] * 3),
        "pava_describe": (i, [i, DESC_FN, p]),
        "pava_set_log": (i, [i, LOG_FN, p]),
    }
    for name, (restype, argtypes) in signatures.items():
        fn = getattr(lib, name)
        fn.restype = restype
        fn.argtypes = argtypes
    return lib



def load():
    """The library, loaded and declared."""
    return _declare(_load())
