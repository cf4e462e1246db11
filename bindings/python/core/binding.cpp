// Python objects as single parameters. The most common types are handled here; all others are encoded by the
// Python side, into the same form: a type code and the bytes in memory order.
#include "binding.h"

#include <cstring>

namespace tarn_python {

// From the Python side: (code, content), the content bytes or a large object.
static bool encode_by_hook(PyObject* object, EncodedValue& value) noexcept {
    value.owner = Ref(PyObject_CallFunctionObjArgs(hooks.encode, object, nullptr));
    if (!value.owner) return false;
    PyObject* content = nullptr;
    if (!PyArg_ParseTuple(value.owner.get(), "iO", &value.code, &content)) return false;
    if (!PyBytes_Check(content)) {
        value.lob = content;
        return true;
    }
    char* bytes = nullptr;
    Py_ssize_t size = 0;
    PyBytes_AsStringAndSize(content, &bytes, &size);
    value.bytes = bytes;
    value.size = static_cast<int32_t>(size);
    return true;
}

template <class T> static void encode_number(EncodedValue& value, int32_t code, T number) noexcept {
    std::memcpy(value.number, &number, sizeof number);
    value.code = code;
    value.bytes = value.number;
    value.size = sizeof number;
}

static bool encode_integer(PyObject* object, EncodedValue& value) noexcept {
    int overflow = 0;
    const long long number = PyLong_AsLongLongAndOverflow(object, &overflow);
    if (overflow) return encode_by_hook(object, value);
    encode_number<int64_t>(value, TRN_TYPE_BIGINT, number);
    return true;
}

static bool encode_bytes(PyObject* object, EncodedValue& value, int32_t code, Ref bytes) noexcept {
    char* content = nullptr;
    Py_ssize_t size = 0;
    // The Python side reports what is wrong with a text that is not valid UTF-8, and makes a large object of
    // a long one.
    if (!bytes || PyBytes_AsStringAndSize(bytes.get(), &content, &size) || size > longest_value) {
        PyErr_Clear();
        return encode_by_hook(object, value);
    }
    value.code = code;
    value.bytes = content;
    value.size = static_cast<int32_t>(size);
    value.owner = std::move(bytes);
    return true;
}

bool encode(PyObject* object, EncodedValue& value) noexcept {
    const PyTypeObject* type = Py_TYPE(object);
    if (object == Py_None) return true;
    if (type == &PyLong_Type) return encode_integer(object, value);
    if (type == &PyUnicode_Type)
        return encode_bytes(object, value, TRN_TYPE_TEXT, Ref(PyUnicode_AsUTF8String(object)));
    if (type == &PyFloat_Type) {
        encode_number(value, TRN_TYPE_DOUBLE, PyFloat_AsDouble(object));
        return true;
    }
    if (type == &PyBool_Type) {
        encode_number<int8_t>(value, TRN_TYPE_BOOLEAN, object == Py_True);
        return true;
    }
    if (type == &PyBytes_Type) return encode_bytes(object, value, TRN_TYPE_BYTES, Ref(new_reference(object)));
    return encode_by_hook(object, value);
}

static int32_t bind_one(TRN_HANDLE* connection, const char* name, int32_t position, const EncodedValue& value,
                        void* content) noexcept {
    if (name)
        return driver.bind_by_name(connection, name, TRN_DIRECTION_IN, value.code, content, value.size,
                                   nullptr, nullptr);
    return driver.bind_by_pos(connection, position, TRN_DIRECTION_IN, value.code, content, value.size,
                              nullptr);
}

// The address of a large object's handle variable, which the Python side keeps.
static void* variable_of(PyObject* lob) noexcept {
    const Ref address(PyObject_GetAttrString(lob, "address"));
    return address ? address_of(address.get()) : nullptr;
}

int32_t bind_values(TRN_HANDLE* connection, PyObject* names, PyObject* values, PyObject* held) noexcept {
    constexpr int32_t raised = 1;
    const Ref row(PySequence_Tuple(values)); // a list may change while its values are encoded
    if (!row) return raised;
    int32_t status = 0;
    const Py_ssize_t count = PyTuple_Size(row.get());
    for (Py_ssize_t i = 0; i < count && status >= 0; ++i) {
        EncodedValue value;
        if (!encode(PyTuple_GetItem(row.get(), i), value)) return raised;
        void* content = const_cast<char*>(value.bytes);
        if (value.lob) {
            content = variable_of(value.lob);
            if (!content || PyList_Append(held, value.lob)) return raised;
        }
        char* name = nullptr;
        if (names != Py_None && PyBytes_AsStringAndSize(PyList_GetItem(names, i), &name, nullptr))
            return raised;
        status = bind_one(connection, name, static_cast<int32_t>(i + 1), value, content);
    }
    return status < 0 ? status : 0;
}

} // namespace tarn_python
