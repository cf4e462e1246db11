// A Python object as a parameter.
#pragma once

#include "core.h"

namespace tarn_python {

// Longer texts and bytes are sent as large objects.
constexpr Py_ssize_t longest_value = 65535;

// Initially a null.
struct EncodedValue {
    int32_t code = 0;
    int32_t size = 0;
    const char* bytes = "";  // in number, or in what owner keeps
    PyObject* lob = nullptr; // in place of bytes; owner keeps it
    char number[8];
    Ref owner;
};

// False with an exception set.
bool encode(PyObject* object, EncodedValue& value) noexcept;

} // namespace tarn_python
