// Records between C++ and Python in one pass each way: a record becomes a
// dict of the members away from their reset value (every member when full),
// and a dict is written into a record, checked member by member, with errors
// naming the member's path. Both walk the library's member table
// (record_schema.h), never a copy of the record's layout.
#ifndef ZMPAVA_PYTHON_CONVERT_H
#define ZMPAVA_PYTHON_CONVERT_H

#define PY_SSIZE_T_CLEAN
#include <Python.h>

#include "ZMPavaAnalyzer.h"

namespace pava::py {

// Builds the interned member names; false with a Python error set.
bool initConvert();

// The record as a dict (new reference); null with a Python error set.
PyObject* recordToDict(const PavaFullData& rec, bool full);

// Writes the members a mapping names into rec (which starts reset);
// false with KeyError, TypeError or ValueError naming the member's path.
bool dictToRecord(PyObject* mapping, PavaFullData& rec);

// The members of an object type as a list of (name, kind, size, count, element).
PyObject* memberTable(int type);

}  // namespace pava::py

#endif
