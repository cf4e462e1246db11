// Batches: one statement for many rows in few requests, with the values of each parameter gathered in an
// array. Internal: see connection::execute_batch and execute_columns.
#pragma once

#include <array>
#include <iterator>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "parameter.hpp"
#include "session.hpp"

namespace tarnsql::detail {

inline constexpr int32_t rows_in_request = 65535;            // a request counts rows in 16 bits
inline constexpr size_t bytes_in_request = size_t{64} << 20; // of a parameter; one more row may follow

struct array_place {
    TRN_HANDLE* connection;
    int32_t position;
    int32_t parameter_count;
    int32_t rows;

    int32_t bind(int32_t type, const void* values, size_t size, std::vector<int32_t>& lengths) const {
        if (size > INT32_MAX) out_of_range("a value of 2 GiB or more");
        return TRN_BindParamArrayByPos(connection, position, parameter_count, TRN_DIRECTION_IN, type, rows,
                                       const_cast<void*>(values), static_cast<int32_t>(size), lengths.data());
    }
};

template <class T> struct without_optional { using type = T; };
template <class T> struct without_optional<std::optional<T>> { using type = T; };

// One parameter's values for all rows of a request.
template <class T> class array_column {
    using value = typename without_optional<T>::type;
    static_assert(!std::is_same_v<value, large_object>, "large objects have no arrays: execute row by row");

  public:
    void add(const T& from) {
        if constexpr (is_optional<T>) {
            if (from)
                add_value(*from);
            else
                add_null();
        } else {
            add_value(from);
        }
    }
    int32_t bind(const array_place& at) {
        if constexpr (all_alike) lengths_.resize(elements_.size(), sizeof(number));
        return at.bind(encoder<value>::type, elements_.data(), size(), lengths_);
    }
    size_t size() const noexcept { return elements_.size() * sizeof(element); }
    void clear() noexcept {
        elements_.clear();
        if constexpr (!all_alike) lengths_.clear();
    }

  private:
    using number = typename encoder<value>::number;
    using element = std::conditional_t<is_fixed<value>, number, char>;
    static constexpr bool all_alike = is_fixed<value> && !is_optional<T>; // no nulls: one length for all

    // Four bytes precede texts and bytes: the length, which is ignored for bytes.
    void add_value(const value& from) {
        const auto encoded = encoder<value>::encode(from);
        if constexpr (is_fixed<value>) {
            elements_.push_back(encoded);
            if constexpr (!all_alike) lengths_.push_back(sizeof(number));
        } else {
            if (encoded.size() > INT32_MAX - 4) out_of_range("a value of 2 GiB or more");
            add_run(encoded.data(), encoded.size());
        }
    }
    void add_run(const void* bytes, size_t size) {
        const auto length = static_cast<int32_t>(size);
        elements_.append(reinterpret_cast<const char*>(&length), sizeof length);
        if (size > 0) elements_.append(static_cast<const char*>(bytes), size);
        lengths_.push_back(length);
    }
    void add_null() {
        if constexpr (is_fixed<value>)
            elements_.push_back(number{});
        else
            elements_.append(4, '\0');
        lengths_.push_back(0);
    }

    std::conditional_t<is_fixed<value>, std::vector<element>, std::string> elements_;
    std::vector<int32_t> lengths_;
};

// Collects rows and runs the statement whenever a request is full. Bindings do not outlive it.
template <class Columns> class batch {
  public:
    batch(session& of, const char* sql, Columns& columns) noexcept
        : session_(of), sql_(sql), columns_(columns) {}
    ~batch() { TRN_ResetParams(&session_.handle); }
    batch(const batch&) = delete;
    batch& operator=(const batch&) = delete;

    // After each row; a column is also full when it has enough bytes.
    void end_row(bool full) {
        ++rows_;
        if (rows_ == rows_in_request || full) flush();
    }

    int64_t finish() {
        if (rows_ > 0) flush();
        return sent_;
    }

  private:
    void flush() {
        std::apply(
            [&](auto&... column) {
                int32_t position = 0;
                (check(session_, column.bind(place_of(++position, sizeof...(column)))), ...);
                check(session_, TRN_ExecBatch(&session_.handle, sql_, rows_));
                (column.clear(), ...);
            },
            columns_);
        sent_ += rows_;
        rows_ = 0;
    }
    array_place place_of(int32_t position, size_t count) const noexcept {
        return {&session_.handle, position, static_cast<int32_t>(count), rows_};
    }

    session& session_;
    const char* sql_;
    Columns& columns_;
    int32_t rows_ = 0;
    int64_t sent_ = 0;
};

// ---- rows: tuples, pairs and arrays, or single values

template <class T, class = void> inline constexpr bool is_tuple = false;
template <class T>
inline constexpr bool is_tuple<T, std::void_t<decltype(std::tuple_size<T>::value)>> =
    !std::is_convertible_v<const T&, bytes_view>;

template <class Row> decltype(auto) as_tuple(const Row& row) {
    if constexpr (is_tuple<Row>)
        return (row);
    else
        return std::tuple<const Row&>(row);
}

template <class Tuple, class Index = std::make_index_sequence<std::tuple_size_v<Tuple>>> struct columns_of;
template <class Tuple, size_t... index> struct columns_of<Tuple, std::index_sequence<index...>> {
    using type = std::tuple<array_column<std::decay_t<std::tuple_element_t<index, Tuple>>>...>;
};

template <class Tuple, class Columns, size_t... index>
bool add_row(Columns& columns, const Tuple& row, std::index_sequence<index...>) {
    (std::get<index>(columns).add(std::get<index>(row)), ...);
    return ((std::get<index>(columns).size() >= bytes_in_request) || ...);
}

template <class Range, class Projection>
int64_t execute_rows(session& of, const char* sql, const Range& all, const Projection& project) {
    using row = std::decay_t<decltype(as_tuple(project(*std::begin(all))))>;
    typename columns_of<row>::type columns;
    batch run(of, sql, columns);
    for (const auto& each : all) {
        const auto& projected = project(each);
        run.end_row(
            add_row(columns, as_tuple(projected), std::make_index_sequence<std::tuple_size_v<row>>()));
    }
    return run.finish();
}

// ---- columns: ranges of values; those already laid out as the library expects are not copied here

template <class Range> using value_of = std::decay_t<decltype(*std::begin(std::declval<const Range&>()))>;

template <class Range, class = void> inline constexpr bool lies_ready = false;
template <class Range>
inline constexpr bool
    lies_ready<Range, std::enable_if_t<std::is_pointer_v<decltype(std::data(std::declval<const Range&>()))> &&
                                       !is_optional<value_of<Range>>>> =
        std::is_same_v<value_of<Range>, typename encoder<value_of<Range>>::number>;

// Any other range: its values are copied into an array.
template <class Range, bool ready = lies_ready<Range>> class range_column {
  public:
    explicit range_column(const Range& of) : next_(std::begin(of)) {}
    void add() { column_.add(*next_++); }
    size_t size() const noexcept { return column_.size(); }
    int32_t bind(const array_place& at) { return column_.bind(at); }
    void clear() noexcept { column_.clear(); }

  private:
    decltype(std::begin(std::declval<const Range&>())) next_;
    array_column<value_of<Range>> column_;
};

template <class Range> class range_column<Range, true> {
  public:
    explicit range_column(const Range& of) : next_(std::data(of)) {}
    void add() noexcept { ++rows_; }
    size_t size() const noexcept { return 0; }
    int32_t bind(const array_place& at) {
        lengths_.resize(rows_, sizeof *next_);
        return at.bind(encoder<value_of<Range>>::type, next_, rows_ * sizeof *next_, lengths_);
    }
    void clear() noexcept { next_ += std::exchange(rows_, 0); }

  private:
    const value_of<Range>* next_;
    size_t rows_ = 0;
    std::vector<int32_t> lengths_;
};

template <class First, class... Ranges>
int64_t execute_columns(session& of, const char* sql, const First& first, const Ranges&... others) {
    const size_t rows = std::size(first);
    if (((std::size(others) != rows) || ...)) misuse("columns of different lengths");
    std::tuple<range_column<First>, range_column<Ranges>...> columns(first, others...);
    batch run(of, sql, columns);
    for (size_t row = 0; row < rows; ++row)
        run.end_row(std::apply(
            [](auto&... column) {
                (column.add(), ...);
                return ((column.size() >= bytes_in_request) || ...);
            },
            columns));
    return run.finish();
}

} // namespace tarnsql::detail
