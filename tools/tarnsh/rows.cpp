#include "rows.h"

#include "failure.h"
#include "text.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstddef>

namespace tarnsh {

namespace {

constexpr std::size_t name_area = 1025;

// The destination is cleared before it is filled, so that a large one for every value would cost time.
std::int32_t read_text(Result& result, std::int32_t column, std::string& text) {
    std::array<char, 256> area;
    std::int32_t length = 0;
    std::int32_t status = TRN_GetData(result.handle(), column, TRN_TYPE_TEXT, area.data(),
                                      static_cast<std::int32_t>(area.size()), &length);
    if (status == TRN_OK) text.assign(area.data(), static_cast<std::size_t>(length));
    if (status != TRN_TRUNCATED) return status;
    text.resize(area.size() + static_cast<std::size_t>(length) + 1);
    status = TRN_GetData(result.handle(), column, TRN_TYPE_TEXT, text.data(),
                         static_cast<std::int32_t>(text.size()), &length);
    if (status == TRN_OK) text.resize(static_cast<std::size_t>(length));
    return status;
}

// The shortest text that reads back as the same number.
template <typename Number>
std::int32_t read_number(Result& result, std::int32_t column, std::int32_t type, std::string& text) {
    Number number = 0;
    const std::int32_t status = TRN_GetData(result.handle(), column, type, &number, sizeof number, nullptr);
    if (status == TRN_OK) text = fmt::format("{}", number);
    return status;
}

std::int32_t read_date_time(Result& result, std::int32_t column, std::string& text) {
    const std::int32_t status = read_text(result, column, text);
    std::int64_t milliseconds = 0;
    if (status != TRN_OK || TRN_GetData(result.handle(), column, TRN_TYPE_DATETIME_RAW, &milliseconds,
                                        sizeof milliseconds, nullptr) != TRN_OK)
        return status;
    const std::int64_t fraction = (milliseconds % 1000 + 1000) % 1000;
    if (fraction != 0) text += fmt::format(".{:03}", fraction);
    return TRN_OK;
}

std::int32_t read_lob(Result& result, std::int32_t column, std::int32_t type, Lob& lob, std::string& text) {
    const std::int32_t status = TRN_GetData(result.handle(), column, type, lob.handle(), 0, nullptr);
    if (status != TRN_OK) return status;
    std::array<char, 1 << 16> piece;
    TRN_LobRead_SetPos(lob.handle(), 0);
    text.clear();
    for (std::int32_t got; (got = TRN_Get_Lob_data(lob.handle(), piece.data(), piece.size())) > 0;)
        text.append(piece.data(), static_cast<std::size_t>(got));
    return status;
}

bool is_lob(std::int32_t type) {
    return type == TRN_TYPE_CLOB || type == TRN_TYPE_BLOB;
}

} // namespace

Lob::Lob() {
    if (TRN_Create_Lob(&handle_) != TRN_OK) fail(exit_shell, "out of memory");
}

void Result::release() {
    if (!handle_) return;
    while (next_item()) {
    }
    TRN_FreeRowset(&handle_);
}

bool is_number(std::int32_t type) {
    return type >= TRN_TYPE_TINYINT && type <= TRN_TYPE_NUMERIC;
}

bool is_binary(std::int32_t type) {
    return type == TRN_TYPE_BYTES || type == TRN_TYPE_BLOB;
}

std::vector<Column> columns_of(Result& result) {
    std::int32_t count = 0;
    TRN_getResultColumnsnum(result.handle(), &count);
    std::vector<Column> columns;
    for (std::int32_t i = 1; i <= count; ++i) {
        std::array<char, name_area> name{};
        std::int32_t type = TRN_TYPE_TEXT;
        TRN_getResultcolname(result.handle(), i, name.data());
        TRN_getResultcolType(result.handle(), i, &type);
        columns.push_back({name.data(), type});
    }
    return columns;
}

std::int32_t read_value(Result& result, std::int32_t column, std::int32_t type, Lob* lob, Cell& cell) {
    std::int32_t status;
    if (is_lob(type) && lob)
        status = read_lob(result, column, type, *lob, cell.text);
    else if (type == TRN_TYPE_DOUBLE)
        status = read_number<double>(result, column, type, cell.text);
    else if (type == TRN_TYPE_FLOAT)
        status = read_number<float>(result, column, type, cell.text);
    else if (type == TRN_TYPE_DATETIME)
        status = read_date_time(result, column, cell.text);
    else
        status = read_text(result, column, cell.text);
    cell.null = status == TRN_NULL_VALUE;
    if (cell.null) cell.text.clear();
    return cell.null ? TRN_OK : status;
}

std::int32_t read_cell(Result& result, std::int32_t column, std::int32_t type, Lob* lob, Cell& cell) {
    const std::int32_t status = read_value(result, column, type, lob, cell);
    if (is_binary(type) && status == TRN_OK && !cell.null) cell.text = hex_of(cell.text);
    return status;
}

} // namespace tarnsh
