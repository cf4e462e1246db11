/*
 * The walk over a result; see the header.
 */
#include "read_all.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace test_support {

bool is_known_status(std::int32_t status) {
    static constexpr std::int32_t failures[] = {
        TRN_ERR_SERVER,     TRN_ERR_ARGUMENT, TRN_ERR_NETWORK,  TRN_ERR_MEMORY,
        TRN_ERR_CONNECT,    TRN_ERR_LOGIN,    TRN_NULL_VALUE,   TRN_TRUNCATED,
        TRN_ERR_CONVERSION, TRN_ERR_COLUMN,   TRN_ERR_OFFSET,   TRN_ERR_POSITION_RANGE,
        TRN_ERR_DIRECTION,  TRN_ERR_NAME,     TRN_ERR_POSITION, TRN_ERR_POSITION_JUMP,
        TRN_ERR_ARRAY_TYPE, TRN_ERR_UNBOUND,  TRN_ERR_OUTPUTS};
    return status >= 0 || std::find(std::begin(failures), std::end(failures), status) != std::end(failures);
}

namespace {

/* A value is written into a room that has place for the longest one; what the library left alone keeps its
 * filler. */
class Walk {
  public:
    Walk(std::size_t longest_value, std::string* log) : room_(longest_value + 64), log_(log) {}
    bool known() const { return known_; }

    void error(TRN_HANDLE* handle) {
        char code[6] = {}, message[255] = {};
        note(TRN_GetErrorInfo(handle, code, message));
        std::vector<char> text(static_cast<std::size_t>(TRN_GetErrorLen(handle)));
        std::int32_t length = 0;
        if (!text.empty()) note(TRN_GetError(handle, text.data(), &length));
        add(code, sizeof code);
        add(message, sizeof message);
        add(text.data(), text.size());
    }

    void item(TRN_HANDLE* result) {
        std::int32_t columns = 0, numbers[5] = {};
        char identifier[32] = {};
        note(TRN_getResultColumnsnum(result, &columns));
        note(TRN_getResultRecordnum(result, &numbers[0]));
        note(TRN_getResultRet(result, &numbers[1], &numbers[2], &numbers[3], &numbers[4], identifier));
        add(numbers, sizeof numbers);
        add(identifier, sizeof identifier);
        for (std::int32_t id = 60; id <= 67; ++id) {
            std::int64_t value = 0;
            std::int32_t type = 0, length = 0;
            note(TRN_GetAttr(result, id, &value, sizeof value, &type, &length));
            add(&value, sizeof value);
        }
        for (std::int32_t column = 0; column <= std::min(columns, most_columns); ++column)
            description(result, column);
        constexpr int most_rows = 8;
        for (int row = 0; row < most_rows && TRN_ReadNext(result) == TRN_OK; ++row)
            for (std::int32_t column = 0; column <= std::min(columns, most_columns); ++column)
                value(result, column);
        error(result);
    }

  private:
    static constexpr std::int32_t most_columns = 40;

    void note(std::int32_t status) {
        known_ = known_ && is_known_status(status);
        if (log_) *log_ += " " + std::to_string(status);
    }
    void add(const void* bytes, std::size_t size) {
        if (log_ && size) log_->append(static_cast<const char*>(bytes), size);
    }

    void description(TRN_HANDLE* result, std::int32_t column) {
        char texts[3][1025] = {}, name[1025] = {};
        std::int32_t numbers[5] = {};
        note(TRN_getResultColInfo(result, column, texts[0], texts[1], texts[2], &numbers[0], &numbers[1],
                                  &numbers[2]));
        note(TRN_getResultcolType(result, column, &numbers[3]));
        note(TRN_getResultcolmodi(result, column, &numbers[4]));
        const std::int32_t named = TRN_getResultcolname(result, column, name);
        note(named);
        if (named == TRN_OK) note(TRN_getResultcolseq(result, name));
        for (const char* text : {texts[0], texts[1], texts[2], name})
            add(text, std::strlen(text));
        add(numbers, sizeof numbers);
    }

    void lob(TRN_HANDLE* result, std::int32_t column, std::int32_t target) {
        TRN_HANDLE lob = nullptr;
        std::int32_t length = 0, count = 0;
        note(TRN_Create_Lob(&lob));
        note(TRN_GetData(result, column, target, &lob, 0, &length));
        note(length);
        while ((count = TRN_Get_Lob_data(&lob, room_.data(), static_cast<std::int32_t>(room_.size()))) > 0)
            add(room_.data(), static_cast<std::size_t>(count));
        TRN_Distroy_Lob(&lob);
    }

    void convert(TRN_HANDLE* result, std::int32_t column, std::int32_t target, std::int32_t size) {
        if (log_) std::fill(room_.begin(), room_.end(), '?');
        std::int32_t length = target == TRN_TYPE_BYTES_PIECEWISE ? size / 2 : 0;
        note(TRN_GetData(result, column, target, room_.data(), size, &length));
        note(length);
        if (!log_) return;
        const auto end = std::find_if(room_.rbegin(), room_.rend(), [](char c) { return c != '?'; });
        add(room_.data(), static_cast<std::size_t>(room_.rend() - end));
    }

    /* Only texts and bytes look at the size. */
    void value(TRN_HANDLE* result, std::int32_t column) {
        for (std::int32_t target = 0; target <= TRN_TYPE_OPAQUE; ++target) {
            if (target == TRN_TYPE_CLOB || target == TRN_TYPE_BLOB)
                lob(result, column, target);
            else
                convert(result, column, target, static_cast<std::int32_t>(room_.size()));
        }
        for (const std::int32_t target :
             {TRN_TYPE_TEXT, TRN_TYPE_DATE, TRN_TYPE_BYTES, TRN_TYPE_BYTES_PIECEWISE})
            for (const std::int32_t size : {1, 0, -1})
                convert(result, column, target, size);
    }

    std::vector<char> room_;
    std::string* log_;
    bool known_ = true;
};

} // namespace

bool read_all(TRN_HANDLE* result, std::size_t longest_value, std::string* log) {
    Walk walk(longest_value, log);
    while (*result != nullptr) {
        walk.item(result);
        if (TRN_NextResult(result) != TRN_OK) TRN_FreeRowset(result);
    }
    return walk.known();
}

bool read_error(TRN_HANDLE* handle, std::string* log) {
    Walk walk(0, log);
    walk.error(handle);
    return walk.known();
}

} // namespace test_support
