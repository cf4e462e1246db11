// Rows of a result as Python tuples. A value is read from the library in the form that suits its column and
// made into an object directly; columns of types not handled here are read by callables of the Python side.
//
// The GIL is held throughout: nothing here blocks. But creating an object can run the garbage collector, and
// with it any Python code, which may close the reader: so the reader has its own handle, which is then null.
#include <chrono>
#include <cstring>
#include <new>

#include "core.h"

namespace tarn_python {

namespace {

struct RowReader;
using ReadValue = PyObject* (*)(RowReader&, int32_t column) noexcept;

// One column: how its values are read, and the callable for the types that Python reads.
struct Field {
    ReadValue read;
    PyObject* callable;
};

// Dates repeat within a result: a cache keeps recent ones, indexed by day.
struct KeptDate {
    int32_t day;
    PyObject* date;
};
constexpr uint32_t kept_dates = 256;

constexpr int32_t common_size = 1024; // of the buffer into which byte runs are first read
constexpr int32_t text_size = 64;     // of a number's text
constexpr int32_t longest_text = 63;  // the library cuts texts here

struct RowReader {
    PyObject_HEAD TRN_HANDLE* variable; // the cursor's
    TRN_HANDLE own;                     // the same record; null once closed, which the library refuses
    Field* fields;
    int32_t count;
    bool atoms; // no value can hold references to others
    long long rows_read;
    char* buffer;
    int32_t capacity;
    KeptDate* dates;
};

RowReader& reader_of(PyObject* self) noexcept {
    return *reinterpret_cast<RowReader*>(self);
}

// For the Python side.
PyObject* own_address(const RowReader& reader) noexcept {
    return PyLong_FromVoidPtr(const_cast<TRN_HANDLE*>(&reader.own));
}

PyObject* raise_failure(const RowReader& reader, int32_t status) noexcept {
    const Ref error(
        PyObject_CallFunction(hooks.failure, "iN", static_cast<int>(status), own_address(reader)));
    if (error) PyErr_SetObject(reinterpret_cast<PyObject*>(Py_TYPE(error.get())), error.get());
    return nullptr;
}

// None for the status of a null, an exception for any other.
PyObject* null_or_failure(const RowReader& reader, int32_t status) noexcept {
    return status == TRN_NULL_VALUE ? new_reference(Py_None) : raise_failure(reader, status);
}

template <class T, int32_t target> int32_t fetch(RowReader& reader, int32_t column, T& value) noexcept {
    return driver.get_data(&reader.own, column, target, &value, sizeof value, nullptr);
}

PyObject* read_boolean(RowReader& reader, int32_t column) noexcept {
    int32_t value = 0;
    const int32_t status = fetch<int32_t, TRN_TYPE_BOOLEAN>(reader, column, value);
    if (status) return null_or_failure(reader, status);
    return new_reference(value == 'T' || value == 't' || value == 1 ? Py_True : Py_False);
}

PyObject* read_integer(RowReader& reader, int32_t column) noexcept {
    int32_t value = 0;
    const int32_t status = fetch<int32_t, TRN_TYPE_INTEGER>(reader, column, value);
    return status ? null_or_failure(reader, status) : PyLong_FromLong(value);
}

PyObject* read_bigint(RowReader& reader, int32_t column) noexcept {
    int64_t value = 0;
    const int32_t status = fetch<int64_t, TRN_TYPE_BIGINT>(reader, column, value);
    return status ? null_or_failure(reader, status) : PyLong_FromLongLong(value);
}

PyObject* read_float(RowReader& reader, int32_t column) noexcept {
    float value = 0;
    const int32_t status = fetch<float, TRN_TYPE_FLOAT>(reader, column, value);
    return status ? null_or_failure(reader, status) : PyFloat_FromDouble(static_cast<double>(value));
}

PyObject* read_double(RowReader& reader, int32_t column) noexcept {
    double value = 0;
    const int32_t status = fetch<double, TRN_TYPE_DOUBLE>(reader, column, value);
    return status ? null_or_failure(reader, status) : PyFloat_FromDouble(value);
}

// Reads the value's bytes into the buffer, which grows as needed. Returns the status, and the length when it
// is 0.
int32_t read_bytes_into_buffer(RowReader& reader, int32_t column, int32_t& length) noexcept {
    if (!reader.buffer) {
        reader.buffer = static_cast<char*>(PyMem_Malloc(common_size));
        if (!reader.buffer) return TRN_ERR_MEMORY;
        reader.capacity = common_size;
    }
    int32_t status =
        driver.get_data(&reader.own, column, TRN_TYPE_BYTES, reader.buffer, reader.capacity, &length);
    if (status != TRN_TRUNCATED) return status;
    const size_t size = static_cast<size_t>(reader.capacity) + static_cast<size_t>(length);
    if (size > INT32_MAX) return TRN_TRUNCATED;
    void* larger = PyMem_Realloc(reader.buffer, size);
    if (!larger) return TRN_ERR_MEMORY;
    reader.buffer = static_cast<char*>(larger);
    reader.capacity = static_cast<int32_t>(size);
    return driver.get_data(&reader.own, column, TRN_TYPE_BYTES, reader.buffer, reader.capacity, &length);
}

PyObject* read_text(RowReader& reader, int32_t column) noexcept {
    int32_t length = 0;
    const int32_t status = read_bytes_into_buffer(reader, column, length);
    return status ? null_or_failure(reader, status) : PyUnicode_DecodeUTF8(reader.buffer, length, nullptr);
}

PyObject* read_bytes(RowReader& reader, int32_t column) noexcept {
    int32_t length = 0;
    const int32_t status = read_bytes_into_buffer(reader, column, length);
    return status ? null_or_failure(reader, status) : PyBytes_FromStringAndSize(reader.buffer, length);
}

PyObject* read_by_callable(RowReader& reader, int32_t column) noexcept {
    return PyObject_CallFunctionObjArgs(reader.fields[column - 1].callable, nullptr);
}

PyObject* read_numeric(RowReader& reader, int32_t column) noexcept {
    char text[text_size] = "";
    const int32_t status = driver.get_data(&reader.own, column, TRN_TYPE_TEXT, text, text_size, nullptr);
    if (status) return null_or_failure(reader, status);
    const size_t length = strnlen(text, text_size);
    if (length >= longest_text)
        return PyObject_CallFunction(hooks.long_number, "Ni", own_address(reader), static_cast<int>(column));
    const Ref digits(PyUnicode_DecodeUTF8(text, static_cast<Py_ssize_t>(length), nullptr));
    return digits ? PyObject_CallFunctionObjArgs(hooks.decimal, digits.get(), nullptr) : nullptr;
}

// Dates and times are made from their pickle form, big-endian bytes, which every version of Python accepts: a
// call with one argument instead of up to seven fields.
PyObject* make_from_state(PyObject* type, const uint8_t* state, Py_ssize_t size) noexcept {
    const Ref bytes(PyBytes_FromStringAndSize(reinterpret_cast<const char*>(state), size));
    return bytes ? PyObject_CallFunctionObjArgs(type, bytes.get(), nullptr) : nullptr;
}

// Writes four bytes: year, month, day. False with an exception set when Python has no such date.
bool put_date(int64_t days, uint8_t* state) noexcept {
    constexpr int64_t first = -719162, last = 2932896; // 0001-01-01 and 9999-12-31
    if (days < first || days > last) {
        PyErr_SetString(PyExc_ValueError, "the year is not within 1 to 9999");
        return false;
    }
    const std::chrono::year_month_day date{std::chrono::sys_days{std::chrono::days{days}}};
    const int year = static_cast<int>(date.year());
    state[0] = static_cast<uint8_t>(year >> 8);
    state[1] = static_cast<uint8_t>(year);
    state[2] = static_cast<uint8_t>(static_cast<unsigned>(date.month()));
    state[3] = static_cast<uint8_t>(static_cast<unsigned>(date.day()));
    return true;
}

// Writes six bytes: hour, minute, second, and three of microseconds.
void put_time(int32_t milliseconds, uint8_t* state) noexcept {
    const int32_t seconds = milliseconds / 1000, microseconds = milliseconds % 1000 * 1000;
    state[0] = static_cast<uint8_t>(seconds / 3600);
    state[1] = static_cast<uint8_t>(seconds / 60 % 60);
    state[2] = static_cast<uint8_t>(seconds % 60);
    state[3] = static_cast<uint8_t>(microseconds >> 16);
    state[4] = static_cast<uint8_t>(microseconds >> 8);
    state[5] = static_cast<uint8_t>(microseconds);
}

constexpr int32_t milliseconds_a_day = 86400000;

PyObject* read_date(RowReader& reader, int32_t column) noexcept {
    int32_t day = 0;
    const int32_t status =
        fetch<int32_t, TRN_TYPE_NUMERIC>(reader, column, day); // as stored: a count of days
    if (status) return null_or_failure(reader, status);
    if (!reader.dates) {
        reader.dates = static_cast<KeptDate*>(PyMem_Calloc(kept_dates, sizeof(KeptDate)));
        if (!reader.dates) return PyErr_NoMemory();
    }
    KeptDate* kept = &reader.dates[static_cast<uint32_t>(day) % kept_dates];
    if (kept->date && kept->day == day) return new_reference(kept->date);
    uint8_t state[4];
    if (!put_date(day, state)) return nullptr;
    PyObject* date = make_from_state(hooks.date, state, sizeof state);
    if (!date) return nullptr;
    PyObject* before = std::exchange(kept->date, new_reference(date));
    kept->day = day;
    Py_XDECREF(before);
    return date;
}

PyObject* read_time(RowReader& reader, int32_t column) noexcept {
    int32_t milliseconds = 0;
    const int32_t status = fetch<int32_t, TRN_TYPE_NUMERIC>(reader, column, milliseconds);
    if (status) return null_or_failure(reader, status);
    if (milliseconds < 0 || milliseconds >= milliseconds_a_day) {
        PyErr_SetString(PyExc_ValueError, "hour must be in 0..23");
        return nullptr;
    }
    uint8_t state[6];
    put_time(milliseconds, state);
    return make_from_state(hooks.time, state, sizeof state);
}

PyObject* read_datetime(RowReader& reader, int32_t column) noexcept {
    int64_t milliseconds = 0;
    const int32_t status = fetch<int64_t, TRN_TYPE_DATETIME_RAW>(reader, column, milliseconds);
    if (status) return null_or_failure(reader, status);
    int64_t days = milliseconds / milliseconds_a_day;
    int64_t rest = milliseconds % milliseconds_a_day;
    if (rest < 0) {
        rest += milliseconds_a_day;
        --days;
    }
    uint8_t state[10];
    if (!put_date(days, state)) return nullptr;
    put_time(static_cast<int32_t>(rest), state + 4);
    return make_from_state(hooks.datetime, state, sizeof state);
}

// One row for each type; values of all others are read by callables.
constexpr struct {
    int32_t code;
    ReadValue read;
} native_types[] = {
    {TRN_TYPE_BOOLEAN, read_boolean}, {TRN_TYPE_TINYINT, read_integer},   {TRN_TYPE_SMALLINT, read_integer},
    {TRN_TYPE_INTEGER, read_integer}, {TRN_TYPE_BIGINT, read_bigint},     {TRN_TYPE_FLOAT, read_float},
    {TRN_TYPE_DOUBLE, read_double},   {TRN_TYPE_TEXT, read_text},         {TRN_TYPE_BYTES, read_bytes},
    {TRN_TYPE_CLOB, read_text},       {TRN_TYPE_BLOB, read_bytes},        {TRN_TYPE_DATE, read_date},
    {TRN_TYPE_TIME, read_time},       {TRN_TYPE_DATETIME, read_datetime}, {TRN_TYPE_NUMERIC, read_numeric},
};

ReadValue native_reader(long code) noexcept {
    for (const auto& type : native_types)
        if (type.code == code) return type.read;
    return nullptr;
}

// A value could not be made: turns an exception of Python's conversions into the module's own.
void name_conversion_error() noexcept {
    if (!PyErr_ExceptionMatches(hooks.conversion_errors)) return;
    PyObject *kind, *value, *trace;
    PyErr_Fetch(&kind, &value, &trace);
    PyErr_NormalizeException(&kind, &value, &trace);
    const Ref owned_kind(kind), owned_value(value), owned_trace(trace);
    const Ref error(PyObject_CallFunctionObjArgs(hooks.conversion, value ? value : Py_None, nullptr));
    if (error) PyErr_SetObject(reinterpret_cast<PyObject*>(Py_TYPE(error.get())), error.get());
}

// The current row. It counts as read even on failure.
PyObject* make_row(RowReader& reader) noexcept {
    ++reader.rows_read;
    Ref row(PyTuple_New(reader.count));
    if (!row) return nullptr;
    for (int32_t i = 0; i < reader.count; ++i) {
        PyObject* value = reader.fields[i].read(reader, i + 1);
        if (!value) {
            name_conversion_error();
            return nullptr;
        }
        PyTuple_SetItem(row.get(), i, value);
    }
    // The tuple cannot be part of a cycle: untrack it now, as the collector would do later.
    if (reader.atoms) PyObject_GC_UnTrack(row.get());
    return row.release();
}

} // namespace

static PyObject* next(PyObject* self, PyObject*) noexcept {
    RowReader& reader = reader_of(self);
    return driver.read_next(&reader.own) ? new_reference(Py_None) : make_row(reader);
}

static PyObject* fill(PyObject* self, PyObject* arguments) noexcept {
    RowReader& reader = reader_of(self);
    PyObject* rows = nullptr;
    Py_ssize_t limit = 0;
    if (!PyArg_ParseTuple(arguments, "On", &rows, &limit)) return nullptr;
    for (; limit > 0; --limit) {
        if (driver.read_next(&reader.own)) return new_reference(Py_False);
        const Ref row(make_row(reader));
        if (!row || PyList_Append(rows, row.get())) return nullptr;
    }
    return new_reference(Py_True);
}

static PyObject* close(PyObject* self, PyObject*) noexcept {
    reader_of(self).own = nullptr;
    return new_reference(Py_None);
}

static PyObject* open(PyObject* self, PyObject*) noexcept {
    RowReader& reader = reader_of(self);
    reader.own = *reader.variable;
    return new_reference(Py_None);
}

static PyObject* rows_read(PyObject* self, void*) noexcept {
    return PyLong_FromLongLong(reader_of(self).rows_read);
}

static void release_reader(PyObject* self) noexcept {
    RowReader& reader = reader_of(self);
    for (int32_t i = 0; i < reader.count; ++i)
        Py_XDECREF(reader.fields[i].callable);
    PyMem_Free(reader.fields);
    PyMem_Free(reader.buffer);
    for (uint32_t i = 0; reader.dates && i < kept_dates; ++i)
        Py_XDECREF(reader.dates[i].date);
    PyMem_Free(reader.dates);
    PyTypeObject* type = Py_TYPE(self);
    PyObject_Free(self);
    Py_DECREF(type);
}

// Sets up the columns' types. For one that is not read here the Python side supplies a callable, which reads
// through the address of the handle. False with an exception set.
static bool take_fields(RowReader& reader, bool descriptors, PyObject* in_session) noexcept {
    int32_t room = 0;
    for (int32_t code = 0;; ++reader.count) {
        const int32_t number = reader.count + 1;
        if (driver.column_info(&reader.own, number, nullptr, nullptr, nullptr, &code, nullptr, nullptr))
            return true;
        if (number > room) {
            room += 16;
            void* larger = PyMem_Realloc(reader.fields, static_cast<size_t>(room) * sizeof(Field));
            if (!larger) return PyErr_NoMemory() != nullptr;
            reader.fields = static_cast<Field*>(larger);
        }
        const bool large = descriptors && (code == TRN_TYPE_CLOB || code == TRN_TYPE_BLOB);
        Field& field = reader.fields[reader.count];
        field = {large ? nullptr : native_reader(code), nullptr};
        if (field.read) continue;
        field.read = read_by_callable;
        field.callable = PyObject_CallFunction(hooks.value_reader, "NiiOO", PyLong_FromVoidPtr(&reader.own),
                                               number, code, descriptors ? Py_True : Py_False, in_session);
        if (!field.callable) return false;
        reader.atoms = false;
    }
}

static PyObject* new_reader(PyTypeObject* type, PyObject* arguments, PyObject*) noexcept {
    PyObject *result, *in_session;
    int descriptors = 0;
    if (!PyArg_ParseTuple(arguments, "OpO", &result, &descriptors, &in_session)) return nullptr;
    void* variable = address_of(result);
    if (PyErr_Occurred()) return nullptr;
    Ref self(reinterpret_cast<allocfunc>(PyType_GetSlot(type, Py_tp_alloc))(type, 0));
    if (!self) return nullptr;
    RowReader& reader = reader_of(self.get());
    reader.variable = static_cast<TRN_HANDLE*>(variable);
    reader.own = *reader.variable;
    reader.atoms = true;
    return take_fields(reader, descriptors != 0, in_session) ? self.release() : nullptr;
}

bool add_row_reader(PyObject* module) noexcept {
    static PyMethodDef methods[] = {
        {"next", next, METH_NOARGS, "The next row; None when there is none."},
        {"fill", fill, METH_VARARGS, "Appends up to so many rows to a list; whether they all came."},
        {"close", close, METH_NOARGS, "Ends reading, whoever still does."},
        {"open", open, METH_NOARGS, "Goes on with what is in the handle variable now."},
        {nullptr, nullptr, 0, nullptr},
    };
    static PyGetSetDef properties[] = {
        {"rows_read", rows_read, nullptr, "How many rows have been read.", nullptr},
        {nullptr, nullptr, nullptr, nullptr, nullptr},
    };
    static PyType_Slot slots[] = {
        {Py_tp_new, reinterpret_cast<void*>(new_reader)},
        {Py_tp_dealloc, reinterpret_cast<void*>(release_reader)},
        {Py_tp_methods, methods},
        {Py_tp_getset, properties},
        {0, nullptr},
    };
    static PyType_Spec layout = {"tarnsql._core.RowReader", sizeof(RowReader), 0, Py_TPFLAGS_DEFAULT, slots};
    return add_type(module, "RowReader", &layout);
}

// A name that the library copied without a terminator into a cleared buffer.
static PyObject* name_of(const char* buffer, size_t size) noexcept {
    return PyUnicode_DecodeUTF8(buffer, static_cast<Py_ssize_t>(strnlen(buffer, size)), "replace");
}

static PyObject* describe_column(const char* label, size_t size, int32_t code, int32_t modifier,
                                 int32_t flags) noexcept {
    constexpr int32_t not_null = 1;
    PyObject* name = name_of(label, size);
    if (!name) return nullptr;
    PyObject* null_ok = flags & not_null ? Py_False : Py_True;
    if (modifier <= 0)
        return Py_BuildValue("NiOOOOO", name, code, Py_None, Py_None, Py_None, Py_None, null_ok);
    if (code == TRN_TYPE_NUMERIC)
        return Py_BuildValue("NiOOiiO", name, code, Py_None, Py_None, modifier / 65536, modifier % 65536,
                             null_ok);
    return Py_BuildValue("NiOiOOO", name, code, Py_None, modifier, Py_None, Py_None, null_ok);
}

PyObject* describe(PyObject*, PyObject* result) noexcept {
    constexpr size_t name_size = 1025;
    auto* handle = static_cast<TRN_HANDLE*>(address_of(result));
    Ref columns(PyErr_Occurred() ? nullptr : PyList_New(0));
    if (!columns) return nullptr;
    char name[name_size], label[name_size];
    for (int32_t number = 1;; ++number) {
        std::memset(name, 0, sizeof name);
        std::memset(label, 0, sizeof label);
        int32_t code = 0, modifier = 0, flags = 0;
        if (driver.column_info(handle, number, nullptr, name, label, &code, &modifier, &flags))
            return columns.release();
        const Ref column(describe_column(*label ? label : name, name_size, code, modifier, flags));
        if (!column || PyList_Append(columns.get(), column.get())) return nullptr;
    }
}

} // namespace tarn_python
