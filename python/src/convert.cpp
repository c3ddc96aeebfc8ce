#include "convert.h"

#include <cstdint>
#include <cstring>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include "record_schema.h"

namespace pava::py {

namespace {

// An owned reference, released at scope end.
struct Ref {
    PyObject* p = nullptr;
    explicit Ref(PyObject* o = nullptr) : p(o) {}
    ~Ref() { Py_XDECREF(p); }
    Ref(const Ref&) = delete;
    Ref& operator=(const Ref&) = delete;
    PyObject* release() {
        PyObject* o = p;
        p = nullptr;
        return o;
    }
};

// Per object type: each member's name as an interned str (in schema order),
// and a dict from name to its index. Built once at import, never changed.
std::vector<PyObject*> g_names[kTypeCount];
PyObject* g_index[kTypeCount] = {};
PyObject* g_mapping = nullptr;  // collections.abc.Mapping

// Runs of members held in the object's own bytes (numbers, character
// arrays, rows) next to each other: when all their bytes are zero, every
// member of the run is at its reset value and the run is passed over in one
// test. (Bytes between them are padding; should they not be zero, the
// members are tested one by one.)
struct Run {
    size_t end = 0;  // the entry after the run's last
    ptrdiff_t from = 0, to = 0;  // its bytes in the object
};
std::vector<Run> g_runs[kTypeCount];  // by the run's first entry; end 0 where none starts

constexpr char kZeros[1024] = {};

bool allZero(const char* p, size_t n) {
    if (n >= 64) {
        for (; n > sizeof kZeros; p += sizeof kZeros, n -= sizeof kZeros)
            if (std::memcmp(p, kZeros, sizeof kZeros) != 0) return false;
        return std::memcmp(p, kZeros, n) == 0;
    }
    uint64_t acc = 0;
    size_t i = 0;
    for (; i + 8 <= n; i += 8) {
        uint64_t w;
        std::memcpy(&w, p + i, 8);
        acc |= w;
    }
    for (; i < n; ++i) acc |= static_cast<unsigned char>(p[i]);
    return acc == 0;
}

// A character array's value: its bytes up to the last non-NUL one.
size_t charsLength(const char* p, size_t size) {
    if (allZero(p, size)) return 0;
    while (p[size - 1] == '\0') --size;
    return size;
}

PyObject* objectToDict(int type, const char* object, bool full);

// The elements of a list as dicts.
template <class Vector>
PyObject* listToPy(const Vector& list, int element, bool full) {
    Ref out(PyList_New(static_cast<Py_ssize_t>(list.size())));
    if (!out.p) return nullptr;
    for (size_t i = 0; i < list.size(); ++i) {
        PyObject* item = objectToDict(element, reinterpret_cast<const char*>(&list[i]), full);
        if (!item) return nullptr;
        PyList_SET_ITEM(out.p, static_cast<Py_ssize_t>(i), item);
    }
    return out.release();
}

PyObject* rowsToPy(const char* rows, int count, int size, bool full) {
    int used = count;
    if (!full) {
        if (allZero(rows, static_cast<size_t>(count) * size)) return nullptr;
        while (used > 0 && allZero(rows + static_cast<size_t>(used - 1) * size, size)) --used;
    }
    Ref out(PyList_New(used));
    if (!out.p) return nullptr;
    for (int i = 0; i < used; ++i) {
        const char* row = rows + static_cast<size_t>(i) * size;
        PyObject* v = PyBytes_FromStringAndSize(row, static_cast<Py_ssize_t>(charsLength(row, size)));
        if (!v) return nullptr;
        PyList_SET_ITEM(out.p, i, v);
    }
    return out.release();
}

// object: the C++ object of the type; for the file block, the block itself
// (its members' offsets are within it). Members at their reset value are
// left out unless full.
PyObject* objectToDict(int type, const char* object, bool full) {
    Ref dict(PyDict_New());
    if (!dict.p) return nullptr;
    const auto& entries = schema()[type];
    const auto& runs = g_runs[type];
    for (size_t i = 0; i < entries.size(); ++i) {
        if (!full && runs[i].end > i &&
            allZero(object + runs[i].from, static_cast<size_t>(runs[i].to - runs[i].from))) {
            i = runs[i].end - 1;
            continue;
        }
        const SchemaEntry& e = entries[i];
        const char* at = object + e.offset;
        PyObject* value = nullptr;
        switch (e.info.kind) {
        case PAVA_KIND_INT32: {
            int32_t v;
            std::memcpy(&v, at, sizeof v);
            if (v == 0 && !full) continue;
            value = PyLong_FromLong(v);
            break;
        }
        case PAVA_KIND_UINT16: {
            uint16_t v;
            std::memcpy(&v, at, sizeof v);
            if (v == 0 && !full) continue;
            value = PyLong_FromLong(v);
            break;
        }
        case PAVA_KIND_CHARS: {
            const size_t n = charsLength(at, static_cast<size_t>(e.info.bytes));
            if (n == 0 && !full) continue;
            value = PyBytes_FromStringAndSize(at, static_cast<Py_ssize_t>(n));
            break;
        }
        case PAVA_KIND_STRING: {
            const auto& s = *reinterpret_cast<const std::string*>(at);
            if (s.empty() && !full) continue;
            value = PyBytes_FromStringAndSize(s.data(), static_cast<Py_ssize_t>(s.size()));
            break;
        }
        case PAVA_KIND_OBJECT:
            value = objectToDict(e.info.element, at, full);
            if (value && !full && PyDict_GET_SIZE(value) == 0) {
                Py_DECREF(value);
                continue;
            }
            break;
        case PAVA_KIND_ROWS:
            value = rowsToPy(at, e.info.count, e.info.bytes, full);
            if (!value && !PyErr_Occurred()) continue;  // every row empty
            break;
        case PAVA_KIND_LIST: {
            auto* owner = const_cast<char*>(object);
            const bool empty = listSize(owner, e.container) == 0;
            if (empty && !full) continue;
            value = withList(owner, e.container,
                             [&](const auto& list) { return listToPy(list, e.info.element, full); });
            break;
        }
        default: continue;
        }
        if (!value) return nullptr;
        const int rc = PyDict_SetItem(dict.p, g_names[type][i], value);
        Py_DECREF(value);
        if (rc < 0) return nullptr;
    }
    return dict.release();
}

// ---------------------------------------------------------------------------
// dict -> record
// ---------------------------------------------------------------------------

// The path of a member below prefix, as the errors name it.
std::string memberPath(const std::string& prefix, PyObject* key) {
    std::string name = "?";
    if (Ref text{PyObject_Str(key)}; text.p) {
        if (const char* s = PyUnicode_AsUTF8(text.p)) name = s;
    }
    PyErr_Clear();
    return prefix.empty() ? name : prefix + "." + name;
}

std::string indexPath(const std::string& path, Py_ssize_t i) { return path + "[" + std::to_string(i) + "]"; }

const char* typeName(PyObject* o) { return Py_TYPE(o)->tp_name; }

// 1 for a mapping, 0 for anything else, -1 with an error set.
int isMapping(PyObject* o) {
    if (PyDict_Check(o)) return 1;
    return PyObject_IsInstance(o, g_mapping);
}

bool setInt(char* at, int kind, PyObject* value, const std::string& path) {
    if (!PyLong_CheckExact(value)) {  // bool is refused too: it is no member's type
        PyErr_Format(PyExc_TypeError, "%s: expected an int, not %s", path.c_str(), typeName(value));
        return false;
    }
    int overflow = 0;
    const long long v = PyLong_AsLongLongAndOverflow(value, &overflow);
    if (overflow != 0) {
        PyErr_Format(PyExc_ValueError, "%s: %S is out of range", path.c_str(), value);
        return false;
    }
    if (v == -1 && PyErr_Occurred()) return false;
    if (kind == PAVA_KIND_INT32 ? (v < INT32_MIN || v > INT32_MAX) : (v < 0 || v > UINT16_MAX)) {
        PyErr_Format(PyExc_ValueError, "%s: number out of the member's range", path.c_str());
        return false;
    }
    if (kind == PAVA_KIND_INT32) {
        const auto n = static_cast<int32_t>(v);
        std::memcpy(at, &n, sizeof n);
    } else {
        const auto n = static_cast<uint16_t>(v);
        std::memcpy(at, &n, sizeof n);
    }
    return true;
}

// The bytes of bytes, bytearray or memoryview; false with TypeError for anything else.
bool bytesOf(PyObject* value, const std::string& path, Ref& holder, const char*& data, Py_ssize_t& size) {
    if (PyBytes_Check(value)) {
        data = PyBytes_AS_STRING(value), size = PyBytes_GET_SIZE(value);
        return true;
    }
    if (PyByteArray_Check(value)) {
        data = PyByteArray_AS_STRING(value), size = PyByteArray_GET_SIZE(value);
        return true;
    }
    if (PyMemoryView_Check(value)) {
        holder.p = PyBytes_FromObject(value);
        if (!holder.p) return false;
        data = PyBytes_AS_STRING(holder.p), size = PyBytes_GET_SIZE(holder.p);
        return true;
    }
    PyErr_Format(PyExc_TypeError, "%s: expected bytes, not %s", path.c_str(), typeName(value));
    return false;
}

bool setChars(char* at, int capacity, PyObject* value, const std::string& path) {
    Ref holder;
    const char* data = nullptr;
    Py_ssize_t size = 0;
    if (!bytesOf(value, path, holder, data, size)) return false;
    if (size > capacity) {
        PyErr_Format(PyExc_ValueError, "%s: bytes longer than the character array", path.c_str());
        return false;
    }
    if (size > 0) std::memcpy(at, data, static_cast<size_t>(size));
    std::memset(at + size, 0, static_cast<size_t>(capacity - size));
    return true;
}

bool setString(char* at, PyObject* value, const std::string& path) {
    Ref holder;
    const char* data = nullptr;
    Py_ssize_t size = 0;
    if (!bytesOf(value, path, holder, data, size)) return false;
    reinterpret_cast<std::string*>(at)->assign(data, static_cast<size_t>(size));
    return true;
}

// A list member's value as a tuple we own (a copy of a list, so that code
// run while filling cannot change it under us); null with an error set.
PyObject* sequenceOf(PyObject* value, const std::string& path) {
    const int mapping = isMapping(value);
    if (mapping < 0) return nullptr;
    if (mapping || PyUnicode_Check(value) || PyBytes_Check(value) || PyByteArray_Check(value) ||
        !PyObject_HasAttrString(value, "__len__")) {
        PyErr_Format(PyExc_TypeError, "%s: expected a list, not %s", path.c_str(), typeName(value));
        return nullptr;
    }
    return PySequence_Tuple(value);
}

bool fillObject(int type, char* object, PyObject* mapping, const std::string& prefix);

bool fillMember(int type, char* object, const SchemaEntry& e, PyObject* value, const std::string& path) {
    char* at = object + e.offset;
    switch (e.info.kind) {
    case PAVA_KIND_INT32:
    case PAVA_KIND_UINT16: return setInt(at, e.info.kind, value, path);
    case PAVA_KIND_CHARS: return setChars(at, e.info.bytes, value, path);
    case PAVA_KIND_STRING: return setString(at, value, path);
    case PAVA_KIND_OBJECT: return fillObject(e.info.element, at, value, path);
    case PAVA_KIND_ROWS: {
        Ref rows(sequenceOf(value, path));
        if (!rows.p) return false;
        const Py_ssize_t n = PyTuple_GET_SIZE(rows.p);
        if (n > e.info.count) {
            PyErr_Format(PyExc_ValueError, "%s: %zd rows do not fit the %d rows", path.c_str(), n, e.info.count);
            return false;
        }
        for (Py_ssize_t i = 0; i < n; ++i)
            if (!setChars(at + i * e.info.bytes, e.info.bytes, PyTuple_GET_ITEM(rows.p, i), indexPath(path, i)))
                return false;
        return true;
    }
    case PAVA_KIND_LIST: {
        Ref items(sequenceOf(value, path));
        if (!items.p) return false;
        const Py_ssize_t n = PyTuple_GET_SIZE(items.p);
        return withList(object, e.container, [&](auto& list) {
            list.clear();
            list.resize(static_cast<size_t>(n));
            for (Py_ssize_t i = 0; i < n; ++i)
                if (!fillObject(e.info.element, reinterpret_cast<char*>(&list[static_cast<size_t>(i)]),
                                PyTuple_GET_ITEM(items.p, i), indexPath(path, i)))
                    return false;
            return true;
        });
    }
    default: break;
    }
    (void)type;
    PyErr_Format(PyExc_TypeError, "%s: not a member of that kind", path.c_str());
    return false;
}

bool fillPair(int type, char* object, PyObject* key, PyObject* value, const std::string& prefix) {
    PyObject* index = PyDict_GetItemWithError(g_index[type], key);  // borrowed
    if (!index) {
        if (PyErr_Occurred()) {
            if (!PyErr_ExceptionMatches(PyExc_TypeError)) return false;
            PyErr_Clear();  // an unhashable key names no member
        }
        PyErr_Format(PyExc_KeyError, "%s: unknown member", memberPath(prefix, key).c_str());
        return false;
    }
    const SchemaEntry& e = schema()[type][static_cast<size_t>(PyLong_AsSsize_t(index))];
    const std::string path = prefix.empty() ? std::string(e.info.name) : prefix + "." + e.info.name;
    return fillMember(type, object, e, value, path);
}

bool fillObject(int type, char* object, PyObject* mapping, const std::string& prefix) {
    const int isMap = isMapping(mapping);
    if (isMap < 0) return false;
    if (!isMap) {
        PyErr_Format(PyExc_TypeError, "%s: expected a dict, not %s", prefix.empty() ? "record" : prefix.c_str(),
                     typeName(mapping));
        return false;
    }
    if (PyDict_Check(mapping)) {
        // Safe against changes made by code run while filling: the position
        // is checked against the dict as it is, and the pair is held.
        Py_ssize_t pos = 0;
        PyObject *key, *value;
        while (PyDict_Next(mapping, &pos, &key, &value)) {
            Py_INCREF(key);
            Py_INCREF(value);
            const bool ok = fillPair(type, object, key, value, prefix);
            Py_DECREF(key);
            Py_DECREF(value);
            if (!ok) return false;
        }
        return true;
    }
    Ref items(PyMapping_Items(mapping));
    if (!items.p) return false;
    for (Py_ssize_t i = 0; i < PyList_GET_SIZE(items.p); ++i) {
        PyObject* pair = PyList_GET_ITEM(items.p, i);
        if (!PyTuple_Check(pair) || PyTuple_GET_SIZE(pair) != 2) {
            PyErr_SetString(PyExc_TypeError, "a mapping's items() gave something else than pairs");
            return false;
        }
        if (!fillPair(type, object, PyTuple_GET_ITEM(pair, 0), PyTuple_GET_ITEM(pair, 1), prefix)) return false;
    }
    return true;
}

// The bytes a member holds in its object; 0 for one held elsewhere (strings, lists).
ptrdiff_t inlineSize(const pava_member_info& m) {
    switch (m.kind) {
    case PAVA_KIND_INT32: return 4;
    case PAVA_KIND_UINT16: return 2;
    case PAVA_KIND_CHARS: return m.bytes;
    case PAVA_KIND_ROWS: return static_cast<ptrdiff_t>(m.count) * m.bytes;
    default: return 0;
    }
}

void findRuns(int type) {
    const auto& entries = schema()[type];
    auto& runs = g_runs[type];
    runs.assign(entries.size(), Run{});
    for (size_t i = 0; i < entries.size();) {
        size_t j = i;
        while (j < entries.size() && inlineSize(entries[j].info) > 0) ++j;
        if (j - i >= 2) {
            const SchemaEntry& last = entries[j - 1];
            runs[i] = Run{j, entries[i].offset, last.offset + inlineSize(last.info)};
        }
        i = j == i ? i + 1 : j;
    }
}

}  // namespace

bool initConvert() {
    for (int type = 0; type < kTypeCount; ++type) {
        if (g_index[type]) continue;
        findRuns(type);
        g_index[type] = PyDict_New();
        if (!g_index[type]) return false;
        const auto& entries = schema()[type];
        for (size_t i = 0; i < entries.size(); ++i) {
            PyObject* name = PyUnicode_InternFromString(entries[i].info.name);
            if (!name) return false;
            g_names[type].push_back(name);
            Ref index(PyLong_FromSize_t(i));
            if (!index.p || PyDict_SetItem(g_index[type], name, index.p) < 0) return false;
        }
    }
    if (!g_mapping) {
        Ref abc(PyImport_ImportModule("collections.abc"));
        if (!abc.p) return false;
        g_mapping = PyObject_GetAttrString(abc.p, "Mapping");
        if (!g_mapping) return false;
    }
    return true;
}

PyObject* recordToDict(const PavaFullData& rec, bool full) {
    return objectToDict(PAVA_TYPE_RECORD, reinterpret_cast<const char*>(&rec), full);
}

bool dictToRecord(PyObject* mapping, PavaFullData& rec) {
    try {
        return fillObject(PAVA_TYPE_RECORD, reinterpret_cast<char*>(&rec), mapping, std::string());
    } catch (const std::bad_alloc&) {
        PyErr_NoMemory();
    } catch (const std::length_error&) {
        PyErr_NoMemory();
    }
    return false;
}

PyObject* memberTable(int type) {
    if (type < 0 || type >= kTypeCount) {
        PyErr_SetString(PyExc_ValueError, "no such object type");
        return nullptr;
    }
    const auto& entries = schema()[type];
    Ref out(PyList_New(static_cast<Py_ssize_t>(entries.size())));
    if (!out.p) return nullptr;
    for (size_t i = 0; i < entries.size(); ++i) {
        const pava_member_info& m = entries[i].info;
        PyObject* row = Py_BuildValue("(siiii)", m.name, m.kind, m.bytes, m.count, m.element);
        if (!row) return nullptr;
        PyList_SET_ITEM(out.p, static_cast<Py_ssize_t>(i), row);
    }
    return out.release();
}

}  // namespace pava::py
