#include "decoder.h"

#include <cstring>
#include <deque>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "frame_reader.h"
#include "multiframe/joiner.h"

namespace pava::py {

namespace {

// Events handed out: tuples with named fields, made in C.
PyTypeObject* g_frameType = nullptr;
PyTypeObject* g_messageType = nullptr;
PyTypeObject* g_damageType = nullptr;

PyStructSequence_Field kFrameFields[] = {
    {"offset", "where the frame starts in the stream (hex: its line)"},
    {"length", "the bytes it took: header and declared body (raw: 8208; hex: its line)"},
    {"rc", "the decode's return code: 0, or that of the PavaError decode would raise"},
    {"record", "the decoded record as decode() gives it (what was decoded, when rc is not 0)"},
    {nullptr, nullptr},
};
PyStructSequence_Desc kFrameDesc = {"pava.Frame", "One frame of the stream, decoded.", kFrameFields, 4};

PyStructSequence_Field kMessageFields[] = {
    {"offset", "where its first frame starts in the stream"},
    {"rc", "the first failing decode result of its frames, else 0"},
    {"frames", "how many frames were joined"},
    {"complete", "False when frames are missing (see problems)"},
    {"problems", "what is wrong with its frames: a list of pava.Damage (length 0)"},
    {"record", "the joined record: every item (or record) of all its frames in order"},
    {nullptr, nullptr},
};
PyStructSequence_Desc kMessageDesc = {
    "pava.Message", "One message of the stream, its split frames joined (Decoder(join=True)).", kMessageFields, 6};

PyStructSequence_Field kDamageFields[] = {
    {"offset", "where the bytes start in the stream (for a message's problem: the frame concerned)"},
    {"length", "the bytes skipped"},
    {"what", "what they are, as `pava decode` says it"},
    {nullptr, nullptr},
};
PyStructSequence_Desc kDamageDesc = {"pava.Damage", "Bytes of the stream that are not a whole frame.", kDamageFields,
                                     3};

// One event of a batch, before it becomes a Python object.
struct Pending {
    enum Kind { Frame, Message, Damage } kind = Frame;
    uint64_t offset = 0;
    uint64_t length = 0;
    int rc = 0;
    size_t frames = 0;
    bool complete = true;
    std::string what;
    std::vector<JoinProblem> problems;
    size_t record = 0;  // index into the batch's records
};

constexpr size_t kBatch = 256;  // events decoded per release of the interpreter lock

struct State {
    FrameReader reader;
    MessageJoiner joiner;
    bool join;
    bool full;
    bool finishing = false;  // finish() was called
    bool ended = false;      // every byte is accounted for
    PavaMsg frame;
    // Input fed and not yet taken by the reader: immutable bytes objects.
    std::deque<PyObject*> input;
    size_t inputUsed = 0;  // bytes of input.front() taken
    // The batch: events and the records they refer to (reused between batches).
    std::vector<Pending> events;
    std::vector<PavaFullData> records;
    size_t handed = 0;  // events of the batch already handed out
    State(FrameForm form, bool lookAhead, bool j, bool f) : reader(form, lookAhead), join(j), full(f) {}
};

struct DecoderObject {
    PyObject_HEAD
    State* state;
    bool busy;  // a call is working with the lock released
};

PavaFullData& recordSlot(State& s, size_t index) {
    if (index == s.records.size()) s.records.emplace_back();
    return s.records[index];
}

void popMessages(State& s, size_t& used) {
    JoinedMessage m;
    while (s.joiner.pop(m)) {
        Pending e;
        e.kind = Pending::Message;
        e.offset = m.tag;
        e.rc = m.rc;
        e.frames = m.frames;
        e.complete = m.complete;
        e.problems = std::move(m.problems);
        e.record = used;
        recordSlot(s, used++) = std::move(m.record);
        s.events.push_back(std::move(e));
    }
}

// Decodes up to kBatch events from the input; runs without the interpreter
// lock (touches no Python object: the input's bytes are immutable and held).
// Returns input objects fully taken, to be released under the lock.
void runBatch(State& s, std::vector<PyObject*>& done) {
    s.events.clear();
    s.handed = 0;
    size_t used = 0;
    while (s.events.size() < kBatch && !s.ended) {
        const ReadEvent ev = s.reader.next(s.frame);
        switch (ev.kind) {
        case ReadKind::NeedData:
            if (!s.input.empty()) {
                PyObject* b = s.input.front();
                const char* data = PyBytes_AS_STRING(b);
                const size_t size = static_cast<size_t>(PyBytes_GET_SIZE(b));
                s.inputUsed += s.reader.feed(data + s.inputUsed, size - s.inputUsed);
                if (s.inputUsed == size) {
                    done.push_back(b);
                    s.input.pop_front();
                    s.inputUsed = 0;
                }
                continue;
            }
            if (s.finishing) {
                s.reader.finish();
                continue;
            }
            return;
        case ReadKind::Frame:
            if (s.join) {
                if (s.joiner.push(&s.frame, ev.offset) != PAVA_OK) throw std::bad_alloc();
                popMessages(s, used);
            } else {
                Pending e;
                e.offset = ev.offset;
                e.length = ev.length;
                e.record = used;
                e.rc = Pava_To_Data(&s.frame, &recordSlot(s, used++));
                s.events.push_back(std::move(e));
            }
            break;
        case ReadKind::Skipped: {
            Pending e;
            e.kind = Pending::Damage;
            e.offset = ev.offset;
            e.length = ev.length;
            e.what = describe(ev);
            s.events.push_back(std::move(e));
            break;
        }
        case ReadKind::End:
            if (s.join) {
                s.joiner.finish();
                popMessages(s, used);
            }
            s.ended = true;
            return;
        }
    }
}

PyObject* damageObject(uint64_t offset, uint64_t length, const std::string& what) {
    PyObject* d = PyStructSequence_New(g_damageType);
    if (!d) return nullptr;
    PyObject* items[] = {PyLong_FromUnsignedLongLong(offset), PyLong_FromUnsignedLongLong(length),
                         PyUnicode_DecodeLatin1(what.data(), static_cast<Py_ssize_t>(what.size()), nullptr)};
    for (int i = 0; i < 3; ++i) {
        if (!items[i]) {
            for (PyObject* o : items) Py_XDECREF(o);
            Py_DECREF(d);
            return nullptr;
        }
    }
    for (int i = 0; i < 3; ++i) PyStructSequence_SET_ITEM(d, i, items[i]);
    return d;
}

PyObject* eventObject(State& s, const Pending& e) {
    if (e.kind == Pending::Damage) return damageObject(e.offset, e.length, e.what);
    PyObject* record = recordToDict(s.records[e.record], s.full);
    if (!record) return nullptr;
    if (e.kind == Pending::Frame) {
        PyObject* f = PyStructSequence_New(g_frameType);
        if (!f) {
            Py_DECREF(record);
            return nullptr;
        }
        PyStructSequence_SET_ITEM(f, 0, PyLong_FromUnsignedLongLong(e.offset));
        PyStructSequence_SET_ITEM(f, 1, PyLong_FromUnsignedLongLong(e.length));
        PyStructSequence_SET_ITEM(f, 2, PyLong_FromLong(e.rc));
        PyStructSequence_SET_ITEM(f, 3, record);
        for (int i = 0; i < 3; ++i)
            if (!PyStructSequence_GET_ITEM(f, i)) {
                Py_DECREF(f);
                return nullptr;
            }
        return f;
    }
    PyObject* problems = PyList_New(static_cast<Py_ssize_t>(e.problems.size()));
    PyObject* m = problems ? PyStructSequence_New(g_messageType) : nullptr;
    if (!m) {
        Py_XDECREF(problems);
        Py_DECREF(record);
        return nullptr;
    }
    PyStructSequence_SET_ITEM(m, 0, PyLong_FromUnsignedLongLong(e.offset));
    PyStructSequence_SET_ITEM(m, 1, PyLong_FromLong(e.rc));
    PyStructSequence_SET_ITEM(m, 2, PyLong_FromSize_t(e.frames));
    PyStructSequence_SET_ITEM(m, 3, PyBool_FromLong(e.complete));
    PyStructSequence_SET_ITEM(m, 4, problems);
    PyStructSequence_SET_ITEM(m, 5, record);
    for (size_t i = 0; i < e.problems.size(); ++i) {
        PyObject* d = damageObject(e.problems[i].tag, 0, e.problems[i].what);
        if (!d) {
            Py_DECREF(m);
            return nullptr;
        }
        PyList_SET_ITEM(problems, static_cast<Py_ssize_t>(i), d);
    }
    for (int i = 0; i < 3; ++i)
        if (!PyStructSequence_GET_ITEM(m, i)) {
            Py_DECREF(m);
            return nullptr;
        }
    return m;
}

bool enter(DecoderObject* self) {
    if (self->busy) {
        PyErr_SetString(PyExc_RuntimeError, "the Decoder is in use by another thread");
        return false;
    }
    self->busy = true;
    return true;
}

// The next event; null with no error set when none is ready.
PyObject* nextEvent(DecoderObject* self) {
    if (!enter(self)) return nullptr;
    State& s = *self->state;
    PyObject* out = nullptr;
    if (s.handed == s.events.size() && !s.ended) {
        std::vector<PyObject*> done;
        bool failed = false;
        Py_BEGIN_ALLOW_THREADS
        try {
            runBatch(s, done);
        } catch (const std::bad_alloc&) {
            failed = true;
        }
        Py_END_ALLOW_THREADS
        for (PyObject* b : done) Py_DECREF(b);
        if (failed) {
            self->busy = false;
            return PyErr_NoMemory();
        }
    }
    if (s.handed < s.events.size()) out = eventObject(s, s.events[s.handed++]);
    self->busy = false;
    return out;
}

int decoderInit(DecoderObject* self, PyObject* args, PyObject* kwargs) {
    static const char* names[] = {"join", "form", "look_ahead", "full", nullptr};
    int join = 0, lookAhead = 0, full = 0;
    const char* form = "wire";
    if (!PyArg_ParseTupleAndKeywords(args, kwargs, "|psp$p", const_cast<char**>(names), &join, &form, &lookAhead,
                                     &full))
        return -1;
    FrameForm f;
    if (std::strcmp(form, "wire") == 0)
        f = FrameForm::Wire;
    else if (std::strcmp(form, "raw") == 0)
        f = FrameForm::Raw;
    else if (std::strcmp(form, "hex") == 0)
        f = FrameForm::Hex;
    else {
        PyErr_Format(PyExc_ValueError, "form is \"wire\", \"raw\" or \"hex\", not \"%s\"", form);
        return -1;
    }
    if (self->busy) {
        PyErr_SetString(PyExc_RuntimeError, "the Decoder is in use by another thread");
        return -1;
    }
    try {
        auto* fresh = new State(f, lookAhead != 0, join != 0, full != 0);
        if (self->state) {
            for (PyObject* b : self->state->input) Py_DECREF(b);
            delete self->state;
        }
        self->state = fresh;
    } catch (const std::bad_alloc&) {
        PyErr_NoMemory();
        return -1;
    }
    return 0;
}

void decoderDealloc(DecoderObject* self) {
    if (self->state) {
        for (PyObject* b : self->state->input) Py_DECREF(b);
        delete self->state;
    }
    PyTypeObject* type = Py_TYPE(self);
    type->tp_free(self);
    Py_DECREF(type);
}

bool ready(DecoderObject* self) {
    if (!self->state) {
        PyErr_SetString(PyExc_RuntimeError, "Decoder.__init__ was not called");
        return false;
    }
    return true;
}

PyObject* feed(DecoderObject* self, PyObject* data) {
    if (!ready(self) || !enter(self)) return nullptr;
    self->busy = false;
    State& s = *self->state;
    if (s.finishing) {
        PyErr_SetString(PyExc_ValueError, "feed() after finish()");
        return nullptr;
    }
    PyObject* b;
    if (PyBytes_CheckExact(data)) {
        b = Py_NewRef(data);  // immutable: held, not copied
    } else if (PyObject_CheckBuffer(data) && !PyUnicode_Check(data)) {
        b = PyBytes_FromObject(data);  // a copy: the caller may change theirs
        if (!b) return nullptr;
    } else {
        PyErr_Format(PyExc_TypeError, "feed() takes bytes, not %s", Py_TYPE(data)->tp_name);
        return nullptr;
    }
    if (PyBytes_GET_SIZE(b) == 0) {
        Py_DECREF(b);
        Py_RETURN_NONE;
    }
    try {
        s.input.push_back(b);
    } catch (const std::bad_alloc&) {
        Py_DECREF(b);
        return PyErr_NoMemory();
    }
    Py_RETURN_NONE;
}

PyObject* finish(DecoderObject* self, PyObject*) {
    if (!ready(self) || !enter(self)) return nullptr;
    self->busy = false;
    self->state->finishing = true;
    Py_RETURN_NONE;
}

PyObject* nextEventMethod(DecoderObject* self, PyObject*) {
    if (!ready(self)) return nullptr;
    PyObject* e = nextEvent(self);
    if (e || PyErr_Occurred()) return e;
    Py_RETURN_NONE;
}

PyObject* iterNext(DecoderObject* self) {
    if (!ready(self)) return nullptr;
    return nextEvent(self);  // null without an error ends the iteration
}

PyObject* getEnded(DecoderObject* self, void*) {
    if (!ready(self)) return nullptr;
    return PyBool_FromLong(self->state->ended && self->state->handed == self->state->events.size());
}

PyObject* getBuffered(DecoderObject* self, void*) {
    if (!ready(self) || !enter(self)) return nullptr;
    self->busy = false;
    const State& s = *self->state;
    size_t n = s.reader.buffered();
    for (PyObject* b : s.input) n += static_cast<size_t>(PyBytes_GET_SIZE(b));
    return PyLong_FromSize_t(n - s.inputUsed);
}

PyMethodDef kDecoderMethods[] = {
    {"feed", reinterpret_cast<PyCFunction>(feed), METH_O,
     "feed($self, data, /)\n--\n\n"
     "Takes the next bytes of the stream, of any length (held, not yet read:\n"
     "the work is done as events are asked for)."},
    {"finish", reinterpret_cast<PyCFunction>(finish), METH_NOARGS,
     "finish($self, /)\n--\n\n"
     "The end of the stream: what is left is judged as it stands (a frame cut\n"
     "off, messages still waiting for frames). No feed() after it."},
    {"next_event", reinterpret_cast<PyCFunction>(nextEventMethod), METH_NOARGS,
     "next_event($self, /)\n--\n\n"
     "The next event (pava.Frame, pava.Message or pava.Damage), or None when\n"
     "the bytes fed so far hold no more."},
    {nullptr, nullptr, 0, nullptr},
};

PyGetSetDef kDecoderGetSet[] = {
    {"ended", reinterpret_cast<getter>(getEnded), nullptr,
     "True once finish() was called and every event was handed out.", nullptr},
    {"buffered", reinterpret_cast<getter>(getBuffered), nullptr, "Bytes fed and not yet accounted for by an event.",
     nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr},
};

const char kDecoderDoc[] =
    "Decoder(join=False, form='wire', look_ahead=False, *, full=False)\n--\n\n"
    "Frames out of a byte stream fed in pieces of any size, with the header\n"
    "checks, resynchronisation and offsets of `pava decode`. No I/O: feed it\n"
    "bytes from a file, a socket, a thread or asyncio, then iterate (or call\n"
    "next_event()) for the events the bytes hold so far:\n\n"
    "  pava.Frame(offset, length, rc, record)          a decoded frame\n"
    "  pava.Message(offset, rc, frames, complete, problems, record)\n"
    "                                                  with join=True: a message,\n"
    "                                                  its split frames joined\n"
    "  pava.Damage(offset, length, what)               bytes that are not a frame\n\n"
    "Iteration stops when the bytes fed hold no more; feed more and iterate\n"
    "again, and call finish() at the end of the stream. Frames are decoded in\n"
    "batches with the interpreter lock released.\n\n"
    "form: 'wire' (header and declared body, back to back), 'raw' (8208-byte\n"
    "blocks) or 'hex' (a frame per line). look_ahead: hold each frame until a\n"
    "frame's worth of what follows is in, so a cut frame is told from a good\n"
    "one (right for files; a live link wants False, the default, so a frame is\n"
    "handed out as soon as it is in). full: records with every member.\n"
    "One Decoder serves one thread at a time.";

PyType_Slot kDecoderSlots[] = {
    {Py_tp_doc, const_cast<char*>(kDecoderDoc)},
    {Py_tp_init, reinterpret_cast<void*>(decoderInit)},
    {Py_tp_new, reinterpret_cast<void*>(PyType_GenericNew)},
    {Py_tp_dealloc, reinterpret_cast<void*>(decoderDealloc)},
    {Py_tp_iter, reinterpret_cast<void*>(PyObject_SelfIter)},
    {Py_tp_iternext, reinterpret_cast<void*>(iterNext)},
    {Py_tp_methods, kDecoderMethods},
    {Py_tp_getset, kDecoderGetSet},
    {0, nullptr},
};

PyType_Spec kDecoderSpec = {"pava.Decoder", sizeof(DecoderObject), 0, Py_TPFLAGS_DEFAULT, kDecoderSlots};

PyTypeObject* newStructType(PyStructSequence_Desc* desc) { return PyStructSequence_NewType(desc); }

}  // namespace

bool addDecoderType(PyObject* module) {
    if (!g_frameType && !(g_frameType = newStructType(&kFrameDesc))) return false;
    if (!g_messageType && !(g_messageType = newStructType(&kMessageDesc))) return false;
    if (!g_damageType && !(g_damageType = newStructType(&kDamageDesc))) return false;
    PyObject* decoder = PyType_FromSpec(&kDecoderSpec);
    if (!decoder) return false;
    if (PyModule_AddObject(module, "Decoder", decoder) < 0) {
        Py_DECREF(decoder);
        return false;
    }
    const struct {
        const char* name;
        PyTypeObject* type;
    } types[] = {{"Frame", g_frameType}, {"Message", g_messageType}, {"Damage", g_damageType}};
    for (const auto& t : types) {
        Py_INCREF(t.type);
        if (PyModule_AddObject(module, t.name, reinterpret_cast<PyObject*>(t.type)) < 0) {
            Py_DECREF(t.type);
            return false;
        }
    }
    return true;
}

}  // namespace pava::py
