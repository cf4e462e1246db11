// The arrays of a batch: rows of Python objects, laid out column by column as TRN_BindParamArrayByPos takes
// them.
//
// A column has the type of its first non-null value. A value of another type is accepted if the Python side
// knows a common type; otherwise the batch ends before the row, which begins the next one.
#include <cstring>
#include <new>
#include <vector>

#include "binding.h"

namespace tarn_python {

namespace {

struct Column {
    int32_t code = 0; // 0: nulls only so far
    std::vector<char> values;
    std::vector<int32_t> lengths;
    size_t size_before_row = 0; // of the values
};

struct Batch {
    PyObject_HEAD std::vector<Column>* columns;
    bool named;
    int32_t rows;
    size_t size;
};

enum class Fit {
    fits,
    other_type,
    failed // with an exception set
};

} // namespace

static Batch& batch_of(PyObject* self) noexcept {
    return *reinterpret_cast<Batch*>(self);
}

// The size of a fixed-size element; 0: a length and the bytes.
static size_t width_of(int32_t code) noexcept {
    switch (code) {
    case TRN_TYPE_BOOLEAN: return 1;
    case TRN_TYPE_BIGINT:
    case TRN_TYPE_DOUBLE:
    case TRN_TYPE_DATETIME_RAW: return 8;
    default: return 0;
    }
}

static void append_element(Column& column, const char* bytes, int32_t size) {
    const size_t width = width_of(column.code);
    const size_t before = column.values.size();
    if (width) {
        column.values.resize(before + width); // zeros, which a null keeps
    } else {
        column.values.resize(before + sizeof size + static_cast<size_t>(size));
        std::memcpy(column.values.data() + before, &size, sizeof size);
    }
    if (size)
        std::memcpy(column.values.data() + before + (width ? 0 : sizeof size), bytes,
                    static_cast<size_t>(size));
    column.lengths.push_back(size);
}

static void append_null(Column& column) {
    if (column.code) return append_element(column, "", 0);
    column.lengths.push_back(0);
}

// Sets the type of a column that has only nulls so far.
static void begin_type(Column& column, int32_t code) {
    const size_t nulls = column.lengths.size();
    column.code = code;
    column.lengths.clear();
    for (size_t i = 0; i < nulls; ++i)
        append_null(column);
    column.size_before_row = column.values.size();
}

// Converts the content to another type; empty without an exception when there is no exact conversion.
static Ref converted(int32_t from, int32_t to, const char* bytes, int32_t size) noexcept {
    Ref content(PyObject_CallFunction(hooks.convert, "iiy#", static_cast<int>(from), static_cast<int>(to),
                                      bytes, static_cast<Py_ssize_t>(size)));
    if (content && !PyBytes_Check(content.get())) return Ref();
    return content;
}

static void append_converted(Column& column, PyObject* content) {
    append_element(column, PyBytes_AsString(content), static_cast<int32_t>(PyBytes_Size(content)));
}

// Converts the values so far to another type.
static Fit widen(Column& column, int32_t code) {
    Column wider;
    wider.code = code;
    wider.lengths.reserve(column.lengths.size());
    const size_t width = width_of(column.code);
    const char* element = column.values.data();
    for (const int32_t size : column.lengths) {
        if (!width) element += sizeof size;
        if (size) {
            const Ref content = converted(column.code, code, element, size);
            if (!content) return PyErr_Occurred() ? Fit::failed : Fit::other_type;
            append_converted(wider, content.get());
        } else {
            append_null(wider);
        }
        element += width ? width : static_cast<size_t>(size);
    }
    wider.size_before_row = wider.values.size();
    column = std::move(wider);
    return Fit::fits;
}

// A value of another type than the column's.
static Fit append_other(Column& column, const EncodedValue& value) {
    const Ref answer(PyObject_CallFunction(hooks.common_type, "ii", static_cast<int>(column.code),
                                           static_cast<int>(value.code)));
    if (!answer) return Fit::failed;
    const auto common = static_cast<int32_t>(PyLong_AsLong(answer.get()));
    if (!common) return Fit::other_type;
    if (common != column.code) {
        const Fit fit = widen(column, common);
        if (fit != Fit::fits) return fit;
    }
    if (common == value.code) {
        append_element(column, value.bytes, value.size);
        return Fit::fits;
    }
    const Ref content = converted(value.code, common, value.bytes, value.size);
    if (!content) return PyErr_Occurred() ? Fit::failed : Fit::other_type;
    append_converted(column, content.get());
    return Fit::fits;
}

static Fit append_value(const Batch& batch, Column& column, PyObject* object) {
    column.size_before_row = column.values.size();
    if (object == Py_None) {
        append_null(column);
        return Fit::fits;
    }
    EncodedValue value;
    if (!encode(object, value)) return Fit::failed;
    if (value.lob) return Fit::other_type;
    if (batch.named && value.code == TRN_TYPE_BYTES)
        return Fit::other_type; // bound by name it would be sent 4 bytes late
    if (!value.code) {
        append_null(column);
        return Fit::fits;
    }
    if (!column.code) begin_type(column, value.code);
    if (column.code != value.code) return append_other(column, value);
    append_element(column, value.bytes, value.size);
    return Fit::fits;
}

// Removes the values of a row that does not fit.
static void drop_row(Batch& batch) {
    const auto rows = static_cast<size_t>(batch.rows);
    for (Column& column : *batch.columns) {
        if (column.lengths.size() == rows) continue;
        column.lengths.resize(rows);
        if (column.code) column.values.resize(column.size_before_row);
    }
}

static Fit append_row(Batch& batch, PyObject* row) {
    size_t size = 0;
    Py_ssize_t i = 0;
    for (Column& column : *batch.columns) {
        const Fit fit = append_value(batch, column, PyTuple_GetItem(row, i++));
        if (fit != Fit::fits) {
            drop_row(batch);
            return fit;
        }
        size += column.values.size();
    }
    batch.size = size;
    ++batch.rows;
    return Fit::fits;
}

static PyObject* odd_row(Ref row) noexcept {
    return PyTuple_Pack(1, row.get());
}

// Takes rows (tuples or lists of the right length) from an iterator until there are that many rows or bytes.
// Returns a row of another kind or that does not fit, in a tuple; None when the batch is full or the rows
// have ended.
static PyObject* fill(PyObject* self, PyObject* arguments) noexcept {
    Batch& batch = batch_of(self);
    PyObject* rows = nullptr;
    int row_limit = 0;
    Py_ssize_t size_limit = 0;
    if (!PyArg_ParseTuple(arguments, "Oin", &rows, &row_limit, &size_limit)) return nullptr;
    const auto width = static_cast<Py_ssize_t>(batch.columns->size());
    try {
        while (batch.rows < row_limit && batch.size < static_cast<size_t>(size_limit)) {
            Ref row(PyIter_Next(rows));
            if (!row) return PyErr_Occurred() ? nullptr : new_reference(Py_None);
            // A copy of a list: it may change while its values are encoded.
            const bool list = Py_TYPE(row.get()) == &PyList_Type;
            if (!list && Py_TYPE(row.get()) != &PyTuple_Type) return odd_row(std::move(row));
            const Ref values(list ? PyList_AsTuple(row.get()) : new_reference(row.get()));
            if (!values) return nullptr;
            if (PyTuple_Size(values.get()) != width) return odd_row(std::move(row));
            const Fit fit = append_row(batch, values.get());
            if (fit == Fit::failed) return nullptr;
            if (fit == Fit::other_type) return odd_row(std::move(row));
        }
    } catch (const std::bad_alloc&) {
        return PyErr_NoMemory();
    }
    return new_reference(Py_None);
}

// (connection, names or None): the status of the first bind that fails, or 0. The batch must live until the
// execution.
static PyObject* bind_arrays(PyObject* self, PyObject* arguments) noexcept {
    Batch& batch = batch_of(self);
    PyObject *connection, *names;
    if (!PyArg_ParseTuple(arguments, "OO", &connection, &names)) return nullptr;
    auto* handle = static_cast<TRN_HANDLE*>(address_of(connection));
    if (PyErr_Occurred()) return nullptr;
    const auto count = static_cast<int32_t>(batch.columns->size());
    int32_t position = 0, status = 0;
    for (Column& column : *batch.columns) {
        if (!column.code) begin_type(column, TRN_TYPE_TEXT);
        const auto size = static_cast<int32_t>(column.values.size());
        ++position;
        const char* name = nullptr;
        if (names != Py_None) {
            name = PyBytes_AsString(PyList_GetItem(names, position - 1));
            if (!name) return nullptr;
        }
        Py_BEGIN_ALLOW_THREADS; // a bind that fails prints a line, which may end in Python
        if (!name) {
            status = driver.bind_array_by_pos(handle, position, count, TRN_DIRECTION_IN, column.code,
                                              batch.rows, column.values.data(), size, column.lengths.data());
        } else {
            status = driver.bind_array_by_name(handle, name, count, TRN_DIRECTION_IN, column.code, batch.rows,
                                               column.values.data(), size, column.lengths.data());
        }
        Py_END_ALLOW_THREADS;
        if (status < 0) break;
    }
    return PyLong_FromLong(status);
}

static PyObject* rows_of(PyObject* self, void*) noexcept {
    return PyLong_FromLong(batch_of(self).rows);
}

static void release_batch(PyObject* self) noexcept {
    delete batch_of(self).columns;
    PyTypeObject* type = Py_TYPE(self);
    PyObject_Free(self);
    Py_DECREF(type);
}

static PyObject* new_batch(PyTypeObject* type, PyObject* arguments, PyObject*) noexcept {
    int columns = 0, named = 0;
    if (!PyArg_ParseTuple(arguments, "ip", &columns, &named)) return nullptr;
    Ref self(reinterpret_cast<allocfunc>(PyType_GetSlot(type, Py_tp_alloc))(type, 0));
    if (!self) return nullptr;
    batch_of(self.get()).named = named != 0;
    try {
        batch_of(self.get()).columns = new std::vector<Column>(static_cast<size_t>(columns));
    } catch (const std::bad_alloc&) {
        return PyErr_NoMemory();
    }
    return self.release();
}

bool add_batch(PyObject* module) noexcept {
    static PyMethodDef methods[] = {
        {"fill", fill, METH_VARARGS, "Takes rows from an iterator; the row that does not fit, or None."},
        {"bind", bind_arrays, METH_VARARGS, "Binds the columns to a connection."},
        {nullptr, nullptr, 0, nullptr},
    };
    static PyGetSetDef properties[] = {
        {"rows", rows_of, nullptr, "How many rows there are.", nullptr},
        {nullptr, nullptr, nullptr, nullptr, nullptr},
    };
    static PyType_Slot slots[] = {
        {Py_tp_new, reinterpret_cast<void*>(new_batch)},
        {Py_tp_dealloc, reinterpret_cast<void*>(release_batch)},
        {Py_tp_methods, methods},
        {Py_tp_getset, properties},
        {0, nullptr},
    };
    static PyType_Spec layout = {"tarnsql._core.Batch", sizeof(Batch), 0, Py_TPFLAGS_DEFAULT, slots};
    return add_type(module, "Batch", &layout);
}

} // namespace tarn_python
