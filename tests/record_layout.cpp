// Compiled at C++11 with pedantic warnings as errors: the public header asks no
// newer language of its callers, and this build lays the records out as the
// Windows DLL's C++ callers do (record_layout.h).
#include "record_layout.h"
