// pava.Decoder: frames read from bytes fed in any pieces, decoded in bulk
// with the interpreter lock released, handed out one event at a time.
#ifndef ZMPAVA_PYTHON_DECODER_H
#define ZMPAVA_PYTHON_DECODER_H

#include "convert.h"

namespace pava::py {

// Adds the Decoder type to the module; false with a Python error set.
bool addDecoderType(PyObject* module);

// Shared with the module's functions.
PyObject* pavaError(int rc, PyObject* frames, PyObject* record);  // sets the error, returns null
int decodeBytes(const char* data, size_t size, PavaFullData& rec);

}  // namespace pava::py

#endif
