// The state that a result shares with its rows and fields: the item being read, its columns, and buffers for
// string and byte views. Internal.
#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "session.hpp"

namespace tarnsql::detail {

// As a target of TRN_GetData it only reports whether there is a value.
inline constexpr int32_t probe = TRN_TYPE_INTERVAL;

inline const char* name_of_type(int32_t type) noexcept {
    switch (type) {
    case TRN_TYPE_BOOLEAN: return "BOOLEAN";
    case TRN_TYPE_TEXT: return "CHAR";
    case TRN_TYPE_TINYINT: return "TINYINT";
    case TRN_TYPE_SMALLINT: return "SMALLINT";
    case TRN_TYPE_INTEGER: return "INTEGER";
    case TRN_TYPE_BIGINT: return "BIGINT";
    case TRN_TYPE_FLOAT: return "FLOAT";
    case TRN_TYPE_DOUBLE: return "DOUBLE";
    case TRN_TYPE_NUMERIC: return "NUMERIC";
    case TRN_TYPE_DATE: return "DATE";
    case TRN_TYPE_TIME: return "TIME";
    case TRN_TYPE_TIME_TZ: return "TIME WITH TIME ZONE";
    case TRN_TYPE_DATETIME: return "DATETIME";
    case TRN_TYPE_DATETIME_TZ: return "DATETIME WITH TIME ZONE";
    case TRN_TYPE_BYTES: return "BINARY";
    case TRN_TYPE_INTERVAL: return "INTERVAL";
    case TRN_TYPE_INTERVAL_YEAR_TO_MONTH: return "INTERVAL YEAR TO MONTH";
    case TRN_TYPE_INTERVAL_DAY_TO_SECOND: return "INTERVAL DAY TO SECOND";
    case TRN_TYPE_CLOB: return "CLOB";
    case TRN_TYPE_BLOB: return "BLOB";
    case TRN_TYPE_OPAQUE: return "OPAQUE";
    default: return "type of its own";
    }
}

// A column and the buffer for views of its values: short ones are kept in the slot, longer ones in a block
// that grows. The short buffer is cheap to read into, because the library clears what a text leaves of it.
struct column_slot {
    static constexpr int32_t short_size = 64;

    int32_t type; // TRN_TYPE_*
    char short_area[short_size];
    std::unique_ptr<char[]> block;
    size_t block_size = 0;

    char* at_least(size_t size) {
        if (size > block_size) {
            block_size = size + size / 2;
            block.reset(new char[block_size]);
        }
        return block.get();
    }
};

class result_state {
  public:
    result_state() = default;
    ~result_state() { release(); }
    result_state(const result_state&) = delete;
    result_state& operator=(const result_state&) = delete;

    // Releasing the handle releases only its current item, so walk through all of them.
    void release() noexcept {
        if (!handle) return;
        while (TRN_NextResult(&handle) == TRN_OK) {
        }
        TRN_FreeRowset(&handle);
    }

    // Called when a call has filled the handle. An error after rows is kept until they have been read.
    void take(session& of, int32_t status) {
        lobs_marked = of.lobs_marked;
        text_told_ = false;
        if (status < 0) {
            std::string text = text_of(&of.handle);
            describe();
            if (status != TRN_ERR_SERVER || kind != TRN_ITEM_QUERY) fail_with(status, text, of);
            error_behind_ = std::make_unique<server_error>(status, text.empty() ? text_of(&handle) : text);
        } else {
            describe();
        }
    }

    // Reads the kind and columns of the current item.
    void describe() {
        kind = 0;
        count_ = 0;
        if (names_) names_.reset();
        if (!handle) return;
        TRN_getResultRet(&handle, &kind, &count_, nullptr, nullptr, nullptr);
        if (count_ > room_) {
            many_columns_.reset(new column_slot[static_cast<size_t>(count_)]);
            columns_ = many_columns_.get();
            room_ = count_;
        }
        for (int32_t i = 0; i < count_; ++i)
            TRN_getResultcolType(&handle, i + 1, &columns_[static_cast<size_t>(i)].type);
    }

    result_state& current() noexcept { return *this; }
    int32_t column_count() const noexcept { return count_; }

    bool next() {
        if (TRN_ReadNext(&handle) == TRN_OK) return true;
        end();
        return false;
    }

    bool next_item() {
        if (!handle || TRN_NextResult(&handle) != TRN_OK) {
            throw_error_behind();
            return false;
        }
        describe();
        text_told_ = false;
        return true;
    }

    void throw_error_behind() {
        if (!error_behind_) return;
        const std::unique_ptr<server_error> told = std::move(error_behind_);
        throw server_error(*told);
    }

    // Columns are numbered from 1, as in the library.
    column_slot& slot(int32_t column) const noexcept { return columns_[static_cast<size_t>(column) - 1]; }
    int32_t type(int32_t column) const noexcept { return slot(column).type; }

    int32_t get(int32_t column, int32_t target, void* to, int32_t size, int32_t* length = nullptr) noexcept {
        return TRN_GetData(&handle, column, target, to, size, length);
    }

    // Whether the current row's value is null.
    bool is_null(int32_t column) noexcept {
        char nothing;
        return get(column, probe, &nothing, 0) == TRN_NULL_VALUE;
    }

    const std::string& name(int32_t column) { return known_names().names[static_cast<size_t>(column) - 1]; }

    // The first column with a name, ignoring case; 0 when there is none. Most programs ask for names in
    // column order, for every row.
    int32_t find(std::string_view name) {
        column_names& known = known_names();
        const size_t count = known.names.size();
        for (size_t i = 0; i < count; ++i) {
            const size_t at = known.hint + i < count ? known.hint + i : known.hint + i - count;
            if (!same_name(known.names[at], name)) continue;
            known.hint = at + 1 < count ? at + 1 : 0;
            return known.first_of_name[at];
        }
        return 0;
    }

    TRN_HANDLE handle = nullptr;
    int32_t kind = 0;         // TRN_ITEM_*
    bool lobs_marked = false; // CLOB and BLOB values begin with a marker
    bool direct = false;      // the fast path applies to every column of the tuple

  private:
    struct column_names {
        std::vector<std::string> names;
        std::vector<int32_t> first_of_name;
        size_t hint = 0;
    };

    static char lower(char c) noexcept {
        return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
    }

    static bool same_name(std::string_view a, std::string_view b) noexcept {
        if (a.size() != b.size()) return false;
        for (size_t i = 0; i < a.size(); ++i)
            if (a[i] != b[i] && lower(a[i]) != lower(b[i])) return false;
        return true;
    }

    column_names& known_names() {
        if (names_) return *names_;
        names_ = std::make_unique<column_names>();
        for (int32_t column = 1; column <= count_; ++column) {
            char name[1025] = "";
            TRN_getResultcolname(&handle, column, name);
            names_->names.emplace_back(name);
            names_->first_of_name.push_back(TRN_getResultcolseq(&handle, name));
        }
        return *names_;
    }

    // After the last row: throws the server text that came between or after the rows without changing a
    // status, then the error that ended the reply, if this was its last item.
    void end() {
        if (!handle) return throw_error_behind();
        if (!text_told_ && TRN_GetErrorLen(&handle) > 0) {
            text_told_ = true;
            throw server_error(TRN_ERR_SERVER, text_of(&handle));
        }
        if (!error_behind_) return;
        int32_t further = 0;
        TRN_GetAttr(&handle, TRN_ATTR_RESULT_FOLLOWED, &further, sizeof further, nullptr, nullptr);
        if (!further) throw_error_behind();
    }

    static constexpr int32_t few = 8;
    int32_t count_ = 0;  // of the columns
    int32_t room_ = few; // slots allocated
    column_slot* columns_ = few_columns_;
    column_slot few_columns_[few]; // enough for most queries, without an allocation
    std::unique_ptr<column_slot[]> many_columns_;
    std::unique_ptr<column_names> names_; // null until asked for
    std::unique_ptr<server_error> error_behind_;
    bool text_told_ = false;
};

} // namespace tarnsql::detail
