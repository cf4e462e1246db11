// The extension module tarnsql._core: attaching the Python side, and the functions it calls for every
// statement.
#include <cstring>

#include "core.h"

namespace tarn_python {

Driver driver;
Hooks hooks;

bool add_type(PyObject* module, const char* name, PyType_Spec* layout) noexcept {
    PyObject* type = PyType_FromSpec(layout);
    if (type && PyModule_AddObject(module, name, type) == 0) return true;
    Py_XDECREF(type);
    return false;
}

template <class Call> static bool take_call(PyObject* calls, const char* name, Call& call) noexcept {
    PyObject* address = PyDict_GetItemString(calls, name);
    if (!address) {
        PyErr_Format(PyExc_KeyError, "%s", name);
        return false;
    }
    void* pointer = address_of(address);
    if (!pointer) return false;
    std::memcpy(&call, &pointer, sizeof call);
    return true;
}

static bool take_hook(PyObject* given, const char* name, PyObject*& hook) noexcept {
    PyObject* object = PyDict_GetItemString(given, name);
    if (!object) {
        PyErr_Format(PyExc_KeyError, "%s", name);
        return false;
    }
    Py_XDECREF(std::exchange(hook, new_reference(object)));
    return true;
}

static PyObject* attach(PyObject*, PyObject* calls) noexcept {
    const bool whole = take_call(calls, "TRN_ReadNext", driver.read_next) &&
                       take_call(calls, "TRN_GetData", driver.get_data) &&
                       take_call(calls, "TRN_getResultColInfo", driver.column_info) &&
                       take_call(calls, "TRN_getResultRet", driver.result_ret) &&
                       take_call(calls, "TRN_GetAttr", driver.get_attr) &&
                       take_call(calls, "TRN_BindParamByPos", driver.bind_by_pos) &&
                       take_call(calls, "TRN_BindParamByName", driver.bind_by_name) &&
                       take_call(calls, "TRN_BindParamArrayByPos", driver.bind_array_by_pos) &&
                       take_call(calls, "TRN_BindParamArrayByName", driver.bind_array_by_name) &&
                       take_call(calls, "TRN_ResetParams", driver.reset_params) &&
                       take_call(calls, "TRN_NextResult", driver.next_result) &&
                       take_call(calls, "TRN_FreeRowset", driver.free_rowset) &&
                       take_call(calls, "TRN_ExecwithDataReader", driver.execute) &&
                       take_call(calls, "TRN_ExecBatch", driver.execute_batch);
    return whole ? new_reference(Py_None) : nullptr;
}

static PyObject* configure(PyObject*, PyObject* given) noexcept {
    const bool whole =
        take_hook(given, "failure", hooks.failure) && take_hook(given, "conversion", hooks.conversion) &&
        take_hook(given, "conversion_errors", hooks.conversion_errors) &&
        take_hook(given, "encode", hooks.encode) && take_hook(given, "common_type", hooks.common_type) &&
        take_hook(given, "convert", hooks.convert) && take_hook(given, "value_reader", hooks.value_reader) &&
        take_hook(given, "statement", hooks.statement) &&
        take_hook(given, "long_number", hooks.long_number) && take_hook(given, "Decimal", hooks.decimal) &&
        take_hook(given, "date", hooks.date) && take_hook(given, "time", hooks.time) &&
        take_hook(given, "datetime", hooks.datetime);
    return whole ? new_reference(Py_None) : nullptr;
}

// The statement as UTF-8. Null with an exception set if it is not a text.
static Ref encoded_statement(PyObject* text) noexcept {
    if (PyUnicode_Check(text)) {
        Ref encoded(PyUnicode_AsUTF8String(text));
        char* bytes = nullptr;
        if (encoded && !PyBytes_AsStringAndSize(encoded.get(), &bytes, nullptr))
            return encoded; // no zero byte inside
        PyErr_Clear();
    }
    return Ref(PyObject_CallFunctionObjArgs(hooks.statement, text, nullptr));
}

// Describes a result item: its kind, the rows affected, the identifier of the inserted row, the number of
// rows.
static PyObject* describe_item(int32_t status, TRN_HANDLE* result) noexcept {
    constexpr int32_t rows_attribute = 62;
    int32_t kind = 0, affected = 0;
    int64_t rows = 0;
    char identifier[33] = "";
    driver.result_ret(result, &kind, nullptr, nullptr, &affected, identifier);
    if (kind == TRN_ITEM_QUERY) driver.get_attr(result, rows_attribute, &rows, sizeof rows, nullptr, nullptr);
    return Py_BuildValue("iiiyL", status, kind, affected, identifier, static_cast<long long>(rows));
}

// (connection, statement, result, names or None, values or None, held): the status of TRN_ExecwithDataReader,
// or of the bind that failed, and the first result item. The connection is left without parameters.
static PyObject* run(PyObject*, PyObject* arguments) noexcept {
    PyObject *connection, *text, *result, *names, *values, *held;
    if (!PyArg_ParseTuple(arguments, "OOOOOO", &connection, &text, &result, &names, &values, &held))
        return nullptr;
    auto* connection_variable = static_cast<TRN_HANDLE*>(address_of(connection));
    auto* result_variable = static_cast<TRN_HANDLE*>(address_of(result));
    const Ref statement = PyErr_Occurred() ? Ref() : encoded_statement(text);
    if (!statement) return nullptr;
    int32_t status = values == Py_None ? 0 : bind_values(connection_variable, names, values, held);
    if (status == 0) {
        const char* sql = PyBytes_AsString(statement.get());
        Py_BEGIN_ALLOW_THREADS;
        status = driver.execute(connection_variable, sql, result_variable, nullptr, nullptr, nullptr);
        Py_END_ALLOW_THREADS;
    }
    if (values != Py_None) driver.reset_params(connection_variable);
    return PyErr_Occurred() ? nullptr : describe_item(status, result_variable);
}

// Releases all items of a result.
static PyObject* release(PyObject*, PyObject* result) noexcept {
    auto* variable = static_cast<TRN_HANDLE*>(address_of(result));
    if (PyErr_Occurred()) return nullptr;
    TRN_HANDLE item = std::exchange(*variable, nullptr); // from now on no other thread finds it
    Py_BEGIN_ALLOW_THREADS;
    while (driver.next_result(&item) == TRN_OK && item) {
    }
    driver.free_rowset(&item);
    Py_END_ALLOW_THREADS;
    return new_reference(Py_None);
}

// (connection, statement, rows): the status of TRN_ExecBatch.
static PyObject* execute_batch(PyObject*, PyObject* arguments) noexcept {
    PyObject* connection;
    const char* sql = nullptr;
    int rows = 0;
    if (!PyArg_ParseTuple(arguments, "Oyi", &connection, &sql, &rows)) return nullptr;
    auto* connection_variable = static_cast<TRN_HANDLE*>(address_of(connection));
    if (PyErr_Occurred()) return nullptr;
    int32_t status = 0;
    Py_BEGIN_ALLOW_THREADS;
    status = driver.execute_batch(connection_variable, sql, rows);
    Py_END_ALLOW_THREADS;
    return PyLong_FromLong(status);
}

static PyObject* item(PyObject*, PyObject* result) noexcept {
    auto* handle = static_cast<TRN_HANDLE*>(address_of(result));
    return PyErr_Occurred() ? nullptr : describe_item(TRN_OK, handle);
}

static PyMethodDef functions[] = {
    {"attach", attach, METH_O, "Takes the addresses of the library's calls."},
    {"configure", configure, METH_O, "Takes the classes and functions of the Python side."},
    {"run", run, METH_VARARGS, "Runs a statement with its parameters; other threads run meanwhile."},
    {"release", release, METH_O, "Releases a result."},
    {"execute_batch", execute_batch, METH_VARARGS, "Runs a batch; other threads run meanwhile."},
    {"item", item, METH_O, "What a result item is."},
    {"describe", describe, METH_O, "The columns of a result item."},
    {nullptr, nullptr, 0, nullptr},
};

static PyModuleDef definition = {
    PyModuleDef_HEAD_INIT,
    "tarnsql._core",
    "The hot functions of tarnsql, compiled.",
    -1,
    functions,
    nullptr,
    nullptr,
    nullptr,
    nullptr,
};

} // namespace tarn_python

PyMODINIT_FUNC PyInit__core() {
    using namespace tarn_python;
    PyObject* module = PyModule_Create(&definition);
    if (module && add_row_reader(module) && add_batch(module)) return module;
    Py_XDECREF(module);
    return nullptr;
}
