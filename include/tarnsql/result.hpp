// Results: a range of rows, read by name and number, or as tuples of given types.
#pragma once

#include <iterator>
#include <memory>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>

#include "read_fast.hpp"
#include "result_state.hpp"

namespace tarnsql {

/// One value of the current row. Valid until the next row; may be read any number of times, as any type.
class field {
  public:
    /// The value as a T (the guide's page on C++ lists them): as<int>(), as<std::optional<std::string>>().
    /// Throws null_error for a null when T is no std::optional, range_error for a value that does not fit,
    /// value_error when there is no such conversion. A std::string_view or bytes_view is valid until the next
    /// row or the next read of the same column.
    template <class T> T as() const { return detail::read<T>(*from_, column_); }
    /// The value as a T, or the given one for a null.
    template <class T> T value_or(T otherwise) const {
        T value{};
        return detail::get(*from_, column_, value) ? value : otherwise;
    }
    /// Whether it is null. Empty texts and empty bytes arrive as nulls: the protocol has one length for both.
    bool is_null() const { return from_->is_null(column_); }
    /// The column's label, or its name when it has none.
    const std::string& name() const { return from_->name(column_); }
    /// The column's type, TRN_TYPE_*.
    int32_t type() const noexcept { return from_->type(column_); }

  private:
    friend class row;
    field(detail::result_state& from, int32_t column) noexcept : from_(&from), column_(column) {}

    detail::result_state* from_;
    int32_t column_;
};

/// The current row of a result. Valid until the next row is read or the result ends; copies refer to the same
/// row.
class row {
  public:
    /// The value of a column, counted from 0. Throws usage_error when there is no such column.
    template <class Index, std::enable_if_t<std::is_integral_v<Index>, int> = 0>
    field operator[](Index index) const {
        if (static_cast<size_t>(index) >= size()) detail::misuse("no such column");
        return {*from_, static_cast<int32_t>(index) + 1};
    }
    /// The value of the first column with this label or name, ignoring case. Throws usage_error when there is
    /// none.
    field operator[](std::string_view name) const {
        const int32_t column = from_->find(name);
        if (column == 0) throw usage_error(TRN_ERR_COLUMN, "no column is called " + std::string(name));
        return {*from_, column};
    }
    /// The number of columns.
    size_t size() const noexcept { return static_cast<size_t>(from_->column_count()); }
    /// All values as a tuple, one type for each column. Throws as field::as does, and usage_error for the
    /// wrong number of types.
    template <class... Ts> std::tuple<Ts...> as() const {
        if (sizeof...(Ts) != size()) detail::misuse("not as many columns as types");
        from_->direct = false;
        return detail::read_all<std::tuple<Ts...>>(*from_, std::index_sequence_for<Ts...>());
    }

  private:
    template <class, class> friend class row_iterator;
    explicit row(detail::result_state& from) noexcept : from_(&from) {}

    detail::result_state* from_;
};

/// A single-pass input iterator over rows; each dereference makes a new row or tuple. Source is internal.
template <class Source, class Value> class row_iterator {
  public:
    using iterator_category = std::input_iterator_tag; ///< single pass
    using value_type = Value;                          ///< a row or a tuple
    using difference_type = std::ptrdiff_t;            ///< required by the category
    using pointer = void;                              ///< there is none
    using reference = Value;                           ///< made by each dereference

    /// Past the last row.
    row_iterator() noexcept = default;
    /// At the next row of a source.
    explicit row_iterator(Source& source) : source_(&source) { ++*this; }

    /// The current row. A tuple throws as field::as does.
    Value operator*() const {
        if constexpr (std::is_same_v<Value, row>)
            return row(source_->current());
        else
            return detail::read_all<Value>(source_->current(),
                                           std::make_index_sequence<std::tuple_size_v<Value>>());
    }
    /// Moves to the next row. After the last one it throws server_error if the server ended the rows with an
    /// error or a warning; a cursor may throw connection_error too.
    row_iterator& operator++() {
        if (!source_->next()) source_ = nullptr;
        return *this;
    }
    /// Moves to the next row; returns nothing.
    void operator++(int) { ++*this; }
    /// Equal when both are at the end, or neither is.
    friend bool operator==(const row_iterator& a, const row_iterator& b) noexcept {
        return a.source_ == b.source_;
    }
    /// The opposite.
    friend bool operator!=(const row_iterator& a, const row_iterator& b) noexcept {
        return a.source_ != b.source_;
    }

  private:
    Source* source_ = nullptr;
};

/// What an item of a reply is.
enum class item_kind {
    none = 0,                 ///< the reply was empty
    insert = TRN_ITEM_INSERT, ///< rows were inserted
    update = TRN_ITEM_UPDATE, ///< rows were updated
    remove = TRN_ITEM_DELETE, ///< rows were deleted
    query = TRN_ITEM_QUERY    ///< rows to be read
};

/// A column as the server describes it.
struct column_info {
    std::string name;  ///< its name in the table, or what the server calls the expression
    std::string label; ///< from AS; empty when there is none
    std::string table; ///< its table, if the server sent it
    int32_t type;      ///< TRN_TYPE_*
    int32_t modifier;  ///< NUMERIC: precision * 65536 + scale; others: mostly the length
    int32_t flags;     ///< as the server sent them
};

/// What one statement, or several in one text, returned: a list of items, one of them current. A query's rows
/// are received whole, stay valid when the connection is closed, and are read forward, once. Rows and
/// iterators survive a move of the result; a moved-from result throws usage_error.
///
/// When the server ends rows with an error, it is thrown after the rows: at the end of the range or by
/// next_result().
class result {
  public:
    /// Iterates over the rows.
    using iterator = row_iterator<detail::result_state, row>;

    /// An empty result.
    result() : state_(std::make_unique<detail::result_state>()) {}
    /// Takes the rows over.
    result(result&& other) noexcept = default;
    /// Takes the rows over.
    result& operator=(result&& other) noexcept = default;

    /// At the next unread row. Throws as row_iterator does.
    iterator begin() { return iterator(state()); }
    /// Past the last row.
    iterator end() noexcept { return {}; }

    /// What the current item is.
    item_kind kind() const { return static_cast<item_kind>(state().kind); }
    /// The number of columns, 0 unless it is a query's.
    size_t column_count() const { return static_cast<size_t>(state().column_count()); }
    /// A column, counted from 0. Throws usage_error when there is no such column.
    column_info column(size_t index) const;
    /// The number of rows of a query, read or not.
    int64_t row_count() const { return attribute<int64_t>(TRN_ATTR_RESULT_ROWS); }
    /// The rows affected by an update or delete, as the server counts them.
    int64_t affected() const { return attribute<int32_t>(TRN_ATTR_RESULT_AFFECTED); }
    /// The identifier of the row that an insert made, as the server writes it.
    std::string inserted_id() const {
        char identifier[32] = "";
        TRN_getResultRet(&state().handle, nullptr, nullptr, nullptr, nullptr, identifier);
        return identifier; // at most 31 bytes
    }
    /// A server text that came between the rows or right after them; it is thrown at their end.
    std::string message() const { return detail::text_of(&state().handle); }

    /// Moves to the next item of the reply and releases the current one and its rows. False when there is
    /// none. Throws server_error when the reply ended with an error.
    bool next_result() { return state().next_item(); }

    /// The handle variable, for calls of tarnsql.h.
    TRN_HANDLE* native_handle() { return &state().handle; }

  private:
    friend class connection;
    friend class statement;
    template <class...> friend class rows;

    template <class T> T attribute(int32_t number) const {
        T value = 0;
        TRN_GetAttr(&state().handle, number, &value, sizeof value, nullptr, nullptr);
        return value;
    }

    detail::result_state& state() const {
        if (!state_) detail::misuse("the result was moved from");
        return *state_;
    }

    std::unique_ptr<detail::result_state> state_;
};

inline column_info result::column(size_t index) const {
    constexpr size_t longest = 1025;
    if (index >= column_count()) detail::misuse("no such column");
    std::string texts(3 * longest, '\0');
    char *const table = texts.data(), *const name = table + longest, *const label = name + longest;
    column_info info{};
    TRN_getResultColInfo(&state().handle, static_cast<int32_t>(index) + 1, table, name, label, &info.type,
                         &info.modifier, &info.flags);
    info.table = table;
    info.name = name;
    info.label = label;
    return info;
}

/// The rows of a query as tuples, for (auto [id, name] : connection.query<int64_t, std::string>(...)): a
/// single-pass range, with a type for each column; std::string_view and bytes_view are valid until the next
/// row and allocate nothing. Iterators survive a move.
template <class... Ts> class rows {
  public:
    /// Iterates over the rows.
    using iterator = row_iterator<detail::result_state, std::tuple<Ts...>>;

    /// Reads a result's rows as tuples. Throws usage_error for the wrong number of columns.
    explicit rows(result&& from) : result_(std::move(from)) { detail::check_columns<Ts...>(result_.state()); }

    /// At the next unread row. Throws as row_iterator does.
    iterator begin() { return iterator(result_.state()); }
    /// Past the last row.
    iterator end() noexcept { return {}; }
    /// The number of rows, read or not.
    int64_t row_count() const { return result_.row_count(); }

  private:
    result result_;
};

namespace detail {

// The return type of a query: by no types, or one for each column.
template <class... Ts> struct query_reader {
    using type = rows<Ts...>;
    static type read(result&& from) { return type(std::move(from)); }
};

template <> struct query_reader<> {
    using type = result;
    static type read(result&& from) { return std::move(from); }
};

template <class T>
inline constexpr bool is_view =
    std::is_same_v<T, std::string_view> || std::is_same_v<T, bytes_view> ||
    std::is_same_v<T, std::optional<std::string_view>> || std::is_same_v<T, std::optional<bytes_view>>;

// The first row, if any; the step past it throws an error that ended the reply.
template <class... Ts> std::optional<std::tuple<Ts...>> first_row(rows<Ts...> all) {
    static_assert(!(is_view<Ts> || ...),
                  "a view would outlive its row: read std::string or std::vector<std::byte>");
    std::optional<std::tuple<Ts...>> first;
    auto at = all.begin();
    if (at == all.end()) return first;
    first.emplace(*at);
    ++at;
    return first;
}

template <class T> T first_value(rows<T> all) {
    std::optional<std::tuple<T>> first = first_row(std::move(all));
    if constexpr (is_optional<T>) {
        if (!first) return std::nullopt;
    }
    if (!first) throw value_error(TRN_END, "the query gave no row");
    return std::get<0>(std::move(*first));
}

} // namespace detail

} // namespace tarnsql
