// Shared by the sources of the compiled core: Python's limited API, the calls of the driver library, and the
// objects that the module's Python side has passed in.
//
// The core does not link to the driver library: it calls the one that the Python side has loaded, through
// addresses passed to attach(). Every function here is called with the GIL held.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>

#define PY_SSIZE_T_CLEAN
#include <Python.h>

#include "tarnsql.h"

namespace tarn_python {

// The calls of the driver library that the core makes.
struct Driver {
    decltype(&TRN_ReadNext) read_next;
    decltype(&TRN_GetData) get_data;
    decltype(&TRN_getResultColInfo) column_info;
    decltype(&TRN_getResultRet) result_ret;
    decltype(&TRN_GetAttr) get_attr;
    decltype(&TRN_BindParamByPos) bind_by_pos;
    decltype(&TRN_BindParamByName) bind_by_name;
    decltype(&TRN_BindParamArrayByPos) bind_array_by_pos;
    decltype(&TRN_BindParamArrayByName) bind_array_by_name;
    decltype(&TRN_ResetParams) reset_params;
    decltype(&TRN_NextResult) next_result;
    decltype(&TRN_FreeRowset) free_rowset;
    decltype(&TRN_ExecwithDataReader) execute;
    decltype(&TRN_ExecBatch) execute_batch;
};

// Python objects that the core calls or makes values with; references held for the lifetime of the process.
struct Hooks {
    PyObject* failure;    // (status, handle variable) -> exception
    PyObject* conversion; // (exception) -> exception, for a value that Python's type cannot hold
    PyObject*
        value_reader;    // (address of a handle variable, column, type, descriptors, in_session) -> callable
    PyObject* statement; // (statement) -> bytes, or raises an error
    PyObject* encode;    // (value) -> (code, bytes or large object)
    PyObject* common_type; // (code, code) -> the code of a type that holds both; 0: none
    PyObject* convert;     // (from, to, bytes) -> bytes; None: there is no exact conversion
    PyObject* long_number; // (address of a handle variable, column) -> a NUMERIC whose text is cut
    PyObject* decimal;
    PyObject* date;
    PyObject* time;
    PyObject* datetime;
    PyObject* conversion_errors; // a tuple of classes
};

extern Driver driver;
extern Hooks hooks;

// Owns a reference.
class Ref {
  public:
    Ref() noexcept = default;
    explicit Ref(PyObject* owned) noexcept : object_(owned) {}
    Ref(Ref&& other) noexcept : object_(other.release()) {}
    Ref& operator=(Ref&& other) noexcept {
        std::swap(object_, other.object_);
        return *this;
    }
    ~Ref() { Py_XDECREF(object_); }

    PyObject* get() const noexcept { return object_; }
    PyObject* release() noexcept { return std::exchange(object_, nullptr); }
    explicit operator bool() const noexcept { return object_ != nullptr; }

  private:
    PyObject* object_ = nullptr;
};

inline PyObject* new_reference(PyObject* object) noexcept {
    Py_INCREF(object);
    return object;
}

// The address in an int object; null with an exception set when it is not one.
inline void* address_of(PyObject* number) noexcept {
    return PyLong_AsVoidPtr(number);
}

// Adds a type with this layout to the module. False with an exception set.
bool add_type(PyObject* module, const char* name, PyType_Spec* layout) noexcept;
// Defined in the other sources.
bool add_row_reader(PyObject* module) noexcept;
bool add_batch(PyObject* module) noexcept;
// Binds the values of a tuple or list, by position where names is None. Large objects join the list held, to
// live until the execution. The status of the first bind that fails, or 0; 1 with an exception set.
int32_t bind_values(TRN_HANDLE* connection, PyObject* names, PyObject* values, PyObject* held) noexcept;

PyObject* describe(PyObject* module, PyObject* arguments) noexcept;

} // namespace tarn_python
