// pava._pava: the codecs for Python, one call per frame or record. The module
// links the library's objects statically, so a package built with it carries
// its own copy of the library and finds nothing at run time.
#include <algorithm>
#include <cstring>
#include <new>
#include <utility>
#include <vector>

#include "convert.h"
#include "decoder.h"
#include "ZMPavaAnalyzer.h"
#include "ZMPavaAnalyzerC.h"

namespace pava::py {

PyObject* g_pavaError = nullptr;  // pava.PavaError, handed over by the package at import
PyObject* g_logSink = nullptr;    // the callable the library's log lines go to

PyObject* pavaError(int rc, PyObject* frames, PyObject* record) {
    if (!g_pavaError) {
        PyErr_Format(PyExc_RuntimeError, "%s (0x%x)", pava_rc_text(rc), rc);
        return nullptr;
    }
    PyObject* kwargs = PyDict_New();
    if (!kwargs) return nullptr;
    if ((frames && PyDict_SetItemString(kwargs, "frames", frames) < 0) ||
        (record && PyDict_SetItemString(kwargs, "record", record) < 0)) {
        Py_DECREF(kwargs);
        return nullptr;
    }
    PyObject* args = Py_BuildValue("(i)", rc);
    if (args) {
        PyObject* error = PyObject_Call(g_pavaError, args, kwargs);
        if (error) {
            PyErr_SetObject(g_pavaError, error);
            Py_DECREF(error);
        }
        Py_DECREF(args);
    }
    Py_DECREF(kwargs);
    return nullptr;
}

bool frameArg(PyObject* frame, Py_buffer& view) {
    if (!PyBytes_Check(frame) && !PyByteArray_Check(frame) && !PyMemoryView_Check(frame)) {
        PyErr_Format(PyExc_TypeError, "a frame is bytes, not %s", Py_TYPE(frame)->tp_name);
        return false;
    }
    if (PyObject_GetBuffer(frame, &view, PyBUF_SIMPLE) < 0) return false;
    if (view.len < PAVA_HEADER_SIZE || view.len > PAVA_FRAME_SIZE) {
        PyErr_Format(PyExc_ValueError, "a frame holds %d to %d bytes, not %zd", PAVA_HEADER_SIZE, PAVA_FRAME_SIZE,
                     view.len);
        PyBuffer_Release(&view);
        return false;
    }
    return true;
}

size_t wireSize(const char* head) {
    size_t n = 0;
    pava_wire_size(head, PAVA_HEADER_SIZE, &n);
    return n;
}

int decodeBytes(const char* data, size_t size, PavaFullData& rec) {
    if (size == PAVA_FRAME_SIZE) return Pava_To_Data(reinterpret_cast<const PavaMsg*>(data), &rec);
    // The wire form: the body up to its declared length, zero behind it.
    PavaMsg whole;
    const size_t n = std::min(size, wireSize(data));
    std::memcpy(whole.head, data, n);
    std::memset(whole.head + n, 0, sizeof whole - n);
    return Pava_To_Data(&whole, &rec);
}

namespace {

// Arguments (frame, full=False) of a fast call.
bool frameAndFull(PyObject* const* args, Py_ssize_t nargs, PyObject* kwnames, PyObject*& frame, int& full) {
    frame = nargs > 0 ? args[0] : nullptr;
    PyObject* fullArg = nargs > 1 ? args[1] : nullptr;
    if (nargs > 2) {
        PyErr_SetString(PyExc_TypeError, "decode() takes at most 2 positional arguments");
        return false;
    }
    if (kwnames) {
        for (Py_ssize_t i = 0; i < PyTuple_GET_SIZE(kwnames); ++i) {
            const char* name = PyUnicode_AsUTF8(PyTuple_GET_ITEM(kwnames, i));
            if (!name) return false;
            PyObject*& slot = std::strcmp(name, "full") == 0 ? fullArg : frame;
            if (std::strcmp(name, "full") != 0 && std::strcmp(name, "frame") != 0) {
                PyErr_Format(PyExc_TypeError, "decode() got an unexpected keyword argument '%s'", name);
                return false;
            }
            if (slot) {
                PyErr_Format(PyExc_TypeError, "decode() got multiple values for argument '%s'", name);
                return false;
            }
            slot = args[nargs + i];
        }
    }
    if (!frame) {
        PyErr_SetString(PyExc_TypeError, "decode() missing required argument 'frame'");
        return false;
    }
    full = fullArg ? PyObject_IsTrue(fullArg) : 0;
    return full >= 0;
}

PyObject* decode(PyObject*, PyObject* const* args, Py_ssize_t nargs, PyObject* kwnames) {
    PyObject* frame;
    int full;
    if (!frameAndFull(args, nargs, kwnames, frame, full)) return nullptr;
    Py_buffer view;
    if (!frameArg(frame, view)) return nullptr;
    PavaFullData rec;
    const int rc = decodeBytes(static_cast<const char*>(view.buf), static_cast<size_t>(view.len), rec);
    PyBuffer_Release(&view);
    PyObject* dict = recordToDict(rec, full != 0);
    if (!dict || rc == PAVA_OK) return dict;
    pavaError(rc, nullptr, dict);
    Py_DECREF(dict);
    return nullptr;
}

PyObject* encode(PyObject*, PyObject* record) {
    PavaFullData rec;
    if (!dictToRecord(record, rec)) return nullptr;
    PavaMsgList frames;
    int rc;
    try {
        rc = Data_To_Pava(&rec, &frames);
    } catch (const std::bad_alloc&) {
        return PyErr_NoMemory();
    }
    PyObject* out = PyList_New(static_cast<Py_ssize_t>(frames.size()));
    if (!out) return nullptr;
    for (size_t i = 0; i < frames.size(); ++i) {
        PyObject* b = PyBytes_FromStringAndSize(frames[i].head, sizeof(PavaMsg));
        if (!b) {
            Py_DECREF(out);
            return nullptr;
        }
        PyList_SET_ITEM(out, static_cast<Py_ssize_t>(i), b);
    }
    if (rc == PAVA_OK) return out;
    pavaError(rc, out, nullptr);
    Py_DECREF(out);
    return nullptr;
}

PyObject* wire(PyObject*, PyObject* frame) {
    Py_buffer view;
    if (!frameArg(frame, view)) return nullptr;
    const size_t n = wireSize(static_cast<const char*>(view.buf));
    PyObject* out = PyBytes_FromStringAndSize(static_cast<const char*>(view.buf),
                                              static_cast<Py_ssize_t>(std::min(n, static_cast<size_t>(view.len))));
    PyBuffer_Release(&view);
    return out;
}

PyObject* echo(PyObject*, PyObject* args) {
    PyObject* record;
    int full = 0;
    if (!PyArg_ParseTuple(args, "O|p", &record, &full)) return nullptr;
    PavaFullData rec;
    if (!dictToRecord(record, rec)) return nullptr;
    return recordToDict(rec, full != 0);
}

PyObject* ids(PyObject*, PyObject*) {
    size_t count = 0;
    pava_ids(nullptr, 0, &count);
    std::vector<int> all(count);
    pava_ids(all.data(), all.size(), &count);
    PyObject* out = PyList_New(static_cast<Py_ssize_t>(count));
    if (!out) return nullptr;
    for (size_t i = 0; i < count; ++i) PyList_SET_ITEM(out, static_cast<Py_ssize_t>(i), PyLong_FromLong(all[i]));
    return out;
}

PyObject* version(PyObject*, PyObject*) {
    int major = 0, minor = 0, patch = 0;
    pava_version(&major, &minor, &patch);
    return Py_BuildValue("(iii)", major, minor, patch);
}

PyObject* members(PyObject*, PyObject* arg) {
    const long type = PyLong_AsLong(arg);
    if (type == -1 && PyErr_Occurred()) return nullptr;
    return memberTable(static_cast<int>(type));
}

PyObject* rcText(PyObject*, PyObject* arg) {
    const long rc = PyLong_AsLong(arg);
    if (rc == -1 && PyErr_Occurred()) return nullptr;
    return PyUnicode_FromString(pava_rc_text(static_cast<int>(rc)));
}

// Builds Python dicts and lists from the description stream: each object or
// list is built apart and put into its parent when it closes. A failure
// stops the stream with the Python error set.
class DescBuilder {
public:
    ~DescBuilder() {
        for (Open& o : m_open) {
            Py_XDECREF(o.name);
            Py_XDECREF(o.value);
        }
        Py_XDECREF(m_result);
    }

    static int PAVA_CALL take(const pava_desc_token* t, void* user) {
        return static_cast<DescBuilder*>(user)->add(*t) ? 0 : 1;
    }

    // The whole description (a new reference), or null.
    PyObject* release() { return std::exchange(m_result, nullptr); }

private:
    struct Open {
        PyObject* name;  // the key in the parent; null in a list or at the top
        PyObject* value;
    };

    bool add(const pava_desc_token& t) {
        switch (t.token) {
        case PAVA_DESC_OBJECT:
        case PAVA_DESC_LIST: {
            PyObject* name = t.name != nullptr ? PyUnicode_FromString(t.name) : nullptr;
            PyObject* value = t.token == PAVA_DESC_OBJECT ? PyDict_New() : PyList_New(0);
            if ((t.name != nullptr && !name) || !value) {
                Py_XDECREF(name);
                Py_XDECREF(value);
                return false;
            }
            m_open.push_back({name, value});
            return true;
        }
        case PAVA_DESC_END: {
            const Open done = m_open.back();
            m_open.pop_back();
            if (m_open.empty()) {
                Py_XDECREF(done.name);
                m_result = done.value;
                return true;
            }
            const bool ok = put(done.name, done.value);
            Py_XDECREF(done.name);
            Py_DECREF(done.value);
            return ok;
        }
        case PAVA_DESC_NUMBER: return putNew(t.name, PyLong_FromLongLong(t.number));
        case PAVA_DESC_BOOL: return putNew(t.name, PyBool_FromLong(t.number != 0));
        case PAVA_DESC_TEXT:
            return putNew(t.name, t.text != nullptr ? PyUnicode_FromString(t.text) : Py_NewRef(Py_None));
        default: return true;
        }
    }

    bool put(PyObject* name, PyObject* value) {
        PyObject* parent = m_open.back().value;
        return PyList_Check(parent) ? PyList_Append(parent, value) == 0 : PyDict_SetItem(parent, name, value) == 0;
    }

    // Puts a new reference (null: a failure already set) and drops it.
    bool putNew(const char* name, PyObject* value) {
        if (!value) return false;
        bool ok = false;
        if (PyList_Check(m_open.back().value)) {
            ok = PyList_Append(m_open.back().value, value) == 0;
        } else {
            ok = PyDict_SetItemString(m_open.back().value, name, value) == 0;
        }
        Py_DECREF(value);
        return ok;
    }

    std::vector<Open> m_open;
    PyObject* m_result = nullptr;
};

PyObject* layout(PyObject*, PyObject* arg) {
    const long id = PyLong_AsLong(arg);
    if (id == -1 && PyErr_Occurred()) return nullptr;
    DescBuilder builder;
    const int rc = pava_describe(static_cast<int>(id), DescBuilder::take, &builder);
    if (rc == PAVA_RC_OK) return builder.release();
    if (PyErr_Occurred()) return nullptr;
    return pavaError(rc, nullptr, nullptr);
}

// The library's log lines to the Python callable; any thread, GIL held or not.
void PAVA_CALL logToPython(const char* text, void*) {
    const PyGILState_STATE state = PyGILState_Ensure();
    if (g_logSink) {
        PyObject* sink = Py_NewRef(g_logSink);
        PyObject* line = PyUnicode_DecodeLatin1(text, static_cast<Py_ssize_t>(std::strlen(text)), nullptr);
        PyObject* result = line ? PyObject_CallOneArg(sink, line) : nullptr;
        if (!result) PyErr_WriteUnraisable(sink);
        Py_XDECREF(result);
        Py_XDECREF(line);
        Py_DECREF(sink);
    }
    PyGILState_Release(state);
}

PyObject* setLog(PyObject*, PyObject* args) {
    int mode;
    PyObject* sink = Py_None;
    if (!PyArg_ParseTuple(args, "i|O", &mode, &sink)) return nullptr;
    int rc;
    if (mode == PAVA_LOG_SINK_CALLBACK) {
        if (!PyCallable_Check(sink)) {
            PyErr_SetString(PyExc_TypeError, "a log sink is a callable");
            return nullptr;
        }
        PyObject* old = g_logSink;
        g_logSink = Py_NewRef(sink);
        rc = pava_set_log(mode, logToPython, nullptr);
        Py_XDECREF(old);
    } else {
        rc = pava_set_log(mode, nullptr, nullptr);
        Py_CLEAR(g_logSink);
    }
    if (rc != PAVA_RC_OK) return pavaError(rc, nullptr, nullptr);
    Py_RETURN_NONE;
}

const char* const kSpanKinds[] = {"unread", "decimal", "text", "raw", "marker"};

// A frame's body as its decoder reads it: a list of span dicts.
PyObject* dissect(PyObject*, PyObject* frame) {
    Py_buffer view;
    if (!frameArg(frame, view)) return nullptr;
    pava_dissection* d = nullptr;
    const int rc = pava_dissect(static_cast<const char*>(view.buf), static_cast<size_t>(view.len), nullptr, &d);
    PyBuffer_Release(&view);
    if (d == nullptr) return PyErr_NoMemory();
    const size_t n = pava_dissection_count(d);
    PyObject* list = PyList_New(static_cast<Py_ssize_t>(n));
    for (size_t i = 0; list != nullptr && i < n; ++i) {
        pava_span s{};
        s.size = sizeof s;
        pava_dissection_span(d, i, &s);
        // A decimal span carries the number the decoder took from it.
        PyObject* span = s.kind == PAVA_SPAN_UNREAD
                             ? Py_BuildValue("{s:i,s:i,s:s,s:O}", "offset", s.offset, "width", s.width, "kind",
                                             kSpanKinds[s.kind], "path", Py_None)
                         : s.kind == PAVA_SPAN_DECIMAL
                             ? Py_BuildValue("{s:i,s:i,s:s,s:s,s:L}", "offset", s.offset, "width", s.width, "kind",
                                             kSpanKinds[s.kind], "path", s.path, "value",
                                             static_cast<long long>(s.number))
                             : Py_BuildValue("{s:i,s:i,s:s,s:s}", "offset", s.offset, "width", s.width, "kind",
                                             kSpanKinds[s.kind], "path", s.path);
        if (span == nullptr) Py_CLEAR(list);
        else PyList_SET_ITEM(list, static_cast<Py_ssize_t>(i), span);
    }
    pava_dissection_free(d);
    (void)rc;  // a failed decode is explained as far as it read
    return list;
}

PyObject* setError(PyObject*, PyObject* cls) {
    Py_XSETREF(g_pavaError, Py_NewRef(cls));
    Py_RETURN_NONE;
}

#define FAST_KW(fn) reinterpret_cast<PyCFunction>(reinterpret_cast<void (*)()>(fn))

PyMethodDef kMethods[] = {
    {"decode", FAST_KW(decode), METH_FASTCALL | METH_KEYWORDS,
     "decode($module, /, frame, full=False)\n--\n\n"
     "Decodes one frame, its full 8208-byte block or its wire form, into a dict.\n\n"
     "Members at their reset value are left out unless full is true. Raises\n"
     "PavaError when the library refuses the frame (.record: what the decode\n"
     "left in the record), TypeError for a frame that is not bytes-like and\n"
     "ValueError for one shorter than a header or longer than 8208 bytes."},
    {"encode", encode, METH_O,
     "encode($module, record, /)\n--\n\n"
     "Encodes a record dict; returns its frames, each as its full 8208-byte block.\n\n"
     "Raises KeyError, TypeError or ValueError naming the member path for a\n"
     "record that does not fit the record type (before anything is encoded),\n"
     "and PavaError when the library refuses it (.frames: the frames appended\n"
     "before the encoder failed)."},
    {"wire", wire, METH_O,
     "wire($module, frame, /)\n--\n\n"
     "A frame's wire form: the 16 header bytes and the body up to its declared length."},
    {"dissect", dissect, METH_O,
     "dissect($module, frame, /)\n--\n\n"
     "Every body byte of a frame (full block or wire form) as its decoder reads\n"
     "it: a list of spans in offset order, each a dict of offset, width, kind\n"
     "(\"decimal\", \"text\", \"raw\", \"marker\", or \"unread\" for bytes no read\n"
     "covers) and path (the member path the read fills, None when unread); a\n"
     "decimal span also has value, the number the decoder took. A failed\n"
     "decode shows what it read before it failed."},
    {"ids", ids, METH_NOARGS, "ids($module, /)\n--\n\nEvery registered message id, ascending."},
    {"version", version, METH_NOARGS,
     "version($module, /)\n--\n\nThe loaded library's version, (major, minor, patch)."},
    {"layout", layout, METH_O,
     "layout($module, id, /)\n--\n\n"
     "An id's description as the codecs run it (the stream pava_describe hands\n"
     "out, as dicts and lists): fixed fields, the decoder's fields, declared\n"
     "length, items, what follows the fixed fields, the description's tails\n"
     "and quirks, the split rule and the members it carries. PavaError\n"
     "0x10008 for an id without a codec."},
    {"members", members, METH_O, "The members of an object type: (name, kind, size, count, element) each."},
    {"rc_text", rcText, METH_O, "What a return code means."},
    {"echo", echo, METH_VARARGS, "A record dict written into a record and read back (full or not)."},
    {"set_log", setLog, METH_VARARGS, "Routes the codecs' log lines: (mode, callable)."},
    {"_set_error", setError, METH_O, "The exception class library refusals raise."},
    {nullptr, nullptr, 0, nullptr},
};

int exec(PyObject* module) {
    if (!initConvert()) return -1;
    if (PyModule_AddIntConstant(module, "FRAME_SIZE", PAVA_FRAME_SIZE) < 0 ||
        PyModule_AddIntConstant(module, "HEADER_SIZE", PAVA_HEADER_SIZE) < 0)
        return -1;
    return addDecoderType(module) ? 0 : -1;
}

PyModuleDef_Slot kSlots[] = {{Py_mod_exec, reinterpret_cast<void*>(exec)}, {0, nullptr}};

PyModuleDef kModule = {
    PyModuleDef_HEAD_INIT, "_pava", "The PAVA codecs, compiled in: the engine of the pava package.", 0, kMethods,
    kSlots, nullptr, nullptr, nullptr,
};

}  // namespace

}  // namespace pava::py

PyMODINIT_FUNC PyInit__pava() { return PyModuleDef_Init(&pava::py::kModule); }
