#include "batch.h"
#include "copy.h"
#include "csv.h"
#include "progress.h"
#include "text.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <optional>

namespace tarnsh {

namespace {

// A value begins inside the longest record: its offset and length fit in 32 and 31 bits.
constexpr std::size_t longest_value = 1U << 30, longest_record = 1U << 31;

std::vector<std::string> names_of_list(std::string_view list) {
    std::vector<std::string> names;
    for (bool more = true; more;) {
        const std::size_t comma = list.find(',');
        more = comma != list.npos;
        names.push_back(plain_name(trim(list.substr(0, comma))));
        list.remove_prefix(more ? comma + 1 : list.size());
    }
    return names;
}

// The table's columns of these names, which may be written in any letter case.
std::vector<Column> columns_named(const Target& target, const std::vector<std::string>& names) {
    std::vector<Column> chosen;
    for (const std::string& name : names) {
        const auto found = std::ranges::find_if(
            target.columns, [&](const Column& column) { return upper(column.name) == upper(name); });
        if (found == target.columns.end())
            fail(exit_shell, fmt::format("{} has no column \"{}\"", target.table, name));
        if (std::ranges::find(chosen, found->name, &Column::name) != chosen.end())
            fail(exit_shell, fmt::format("column \"{}\" is named twice", name));
        chosen.push_back(*found);
    }
    return chosen;
}

// The columns that the file fills: those of the list, or of the file's first line, or all.
Target find_target(Session& session, const CopyPlan& plan, CsvReader& reader) {
    Target target{plan.table, describe(session, "SELECT * FROM " + plan.table)};
    std::vector<std::string> names;
    for (bool more = plan.settings.header && reader.begin_record(); more;) {
        const CsvField field = reader.next_field();
        names.emplace_back(field.text);
        more = !field.last;
    }
    if (plan.list) names = names_of_list(*plan.list);
    if (!names.empty()) target.columns = columns_named(target, names);
    return target;
}

// Reads a file into batches, whose values stay where the reader has them.
class Records {
  public:
    Records(CsvReader& reader, const Target& target, std::string null_text)
        : reader_(reader), null_text_(std::move(null_text)) {
        for (const Column& column : target.columns) {
            binary_.push_back(is_binary(column.type));
            names_.push_back(column.name);
            any_binary_ = any_binary_ || binary_.back();
        }
    }

    // False when there are no more records.
    bool fill(Batch& batch) {
        reader_.keep();
        const std::size_t begin = reader_.bytes();
        const auto has_room = [&] {
            return batch.rows() == 0 ||
                   (batch.rows() < batch.most_rows() && reader_.bytes() - begin < Batch::most_bytes &&
                    !reader_.is_low(batch.columns())); // what is read next would have to be moved
        };
        std::size_t i = 0; // the next field
        while (i > 0 || has_room()) {
            if (i == 0 && !reader_.begin_record()) return false;
            const std::size_t rows = batch.rows();
            if (!any_binary_ && i < batch.columns()) i = take_bare(batch, i);
            if (i > 0 || batch.rows() == rows) i = take_field(batch, i);
        }
        return true;
    }

  private:
    // Takes fields from i on, of this record and the following ones, as long as they are unquoted, read
    // already, and as many as there are columns. Returns the index of the first field not taken.
    std::size_t take_bare(Batch& batch, std::size_t i) {
        const std::size_t count = batch.columns();
        const CsvReader::Marked at = reader_.marked();
        const char* const text = reader_.kept_text().data();
        if (static_cast<std::size_t>(at.window - text) > longest_record) return i;
        bool returns = false;
        const std::size_t fields =
            count_bare(at, count, count - i, batch.most_rows() - batch.rows(), returns);
        if (fields == 0) return i;
        TRNX_VALUE *const row = batch.row(batch.rows()), *const values = row + i,
                          *const end = values + fields;
        write_values(at, static_cast<std::uint32_t>(at.window - text), fields, values);
        values->offset = static_cast<std::uint32_t>(at.from - text);
        values->length = static_cast<std::uint32_t>(at.window + *at.next - at.from);
        if (returns)
            for (TRNX_VALUE* last = row + count - 1; last < end; last += count)
                if (last->length > 0 && text[last->offset + last->length - 1] == '\r') --last->length;
        if (!null_text_.empty())
            for (TRNX_VALUE* value = values; value < end; ++value)
                if (std::string_view(text + value->offset, value->length) == null_text_) value->length = 0;
        const std::size_t rows = (i + fields) / count;
        batch.end_rows(rows, reader_.line(), reader_.next_line());
        reader_.pass(fields, rows);
        return (i + fields) % count;
    }

    // Counts the fields that end in the marks expected of rows of count fields, the first of which has left
    // fields more. Tells whether a row may end in a carriage return.
    std::size_t count_bare(const CsvReader::Marked& at, std::size_t count, std::size_t left, std::size_t rows,
                           bool& returns) const {
        const char delimiter = reader_.marks().delimiter;
        const std::uint16_t* next = at.next;
        for (; rows > 0 && static_cast<std::size_t>(at.end - next) >= left; left = count, --rows) {
            const std::uint16_t* const last = next + left - 1;
            while (next < last && at.window[*next] == delimiter)
                ++next;
            const char* const end = at.window + *next;
            if (next < last || *end != '\n') break;
            returns |= end > at.from && end[-1] == '\r';
            ++next;
        }
        return static_cast<std::size_t>(next - at.next);
    }

    // The values between the marks; the first is only right if the mark before it ends its predecessor. As
    // many are written at once as the compiler takes together.
    static void write_values(const CsvReader::Marked& at, std::uint32_t window, std::size_t fields,
                             TRNX_VALUE* values) {
        constexpr std::size_t step = Batch::spare_values;
        for (std::size_t begin = 0; begin < fields; begin += step) {
            const std::uint16_t* const ends = at.next + begin;
            for (std::size_t i = 0; i < step; ++i) {
                const std::uint16_t previous = ends[i - 1], end = ends[i];
                values[begin + i] = {window + previous + 1U, static_cast<std::uint16_t>(end - previous - 1)};
            }
        }
    }

    // Takes any field of the row. Returns the index of the next one.
    std::size_t take_field(Batch& batch, std::size_t i) {
        const std::size_t count = batch.columns();
        const CsvField field = reader_.next_field();
        if (i == 0 && count > 1 && field.last && field.text.empty() && !field.quoted)
            return 0; // a blank line
        if (i < count) batch.row(batch.rows())[i] = value_of(field, i);
        ++i;
        if (!field.last) return i;
        if (i != count)
            reader_.refuse(fmt::format("{} for {}", counted(static_cast<std::int64_t>(i), "field"),
                                       counted(static_cast<std::int64_t>(count), "column")));
        batch.end_rows(1, reader_.line(), 0);
        return 0;
    }

    TRNX_VALUE value_of(const CsvField& field, std::size_t column) {
        const auto offset = static_cast<std::size_t>(field.text.data() - reader_.kept_text().data());
        std::size_t size = field.text.size();
        if (size > longest_value) reader_.refuse("a value of over 1 GiB");
        if (offset > longest_record) reader_.refuse("a record of over 2 GiB");
        if (!field.quoted && field.text == null_text_)
            size = 0;
        else if (binary_[column]) {
            const std::optional<std::size_t> bytes = decode_hex(reader_.place_of(field), size);
            if (!bytes)
                reader_.refuse(names_[column] + " holds binary values, written as 0x and hexadecimal digits");
            size = *bytes;
        }
        return {static_cast<std::uint32_t>(offset), static_cast<std::uint32_t>(size)};
    }

    CsvReader& reader_;
    std::string null_text_;
    std::vector<char> binary_;
    bool any_binary_ = false;
    std::vector<std::string> names_;
};

// When a record cannot be read, those before it are still stored.
void store_all(Session& session, Records& records, Insert& insert, CsvReader& reader, Progress& progress,
               const Target& target) {
    Batch batch(target.columns.size());
    const auto store = [&] {
        batch.text = reader.kept_text();
        insert.store(batch, reader.name());
    };
    for (bool more = true; more;) {
        try {
            more = records.fill(batch);
        } catch (const Failure&) {
            store();
            throw;
        }
        if (session.is_stopped && session.is_stopped()) fail(exit_statement, "stopped");
        store();
        progress.show(reader.bytes(), insert.stored());
    }
}

} // namespace

void copy_from(Session& session, const CopyPlan& plan, std::FILE* input) {
    CsvReader reader(plan.path.empty() ? lines_of(input) : open_source(plan.path), plan.settings.csv);
    const Target target = find_target(session, plan, reader);
    std::error_code unknown;
    const std::uintmax_t size =
        std::filesystem::file_size(std::u8string(plan.path.begin(), plan.path.end()), unknown);
    Progress progress(unknown ? 0 : size, session.quiet);
    Insert insert(session, target);
    Records records(reader, target, plan.settings.null_text.value_or(""));
    try {
        store_all(session, records, insert, reader, progress, target);
    } catch (Failure& failure) {
        failure.text += fmt::format("\n{} stored", counted(insert.stored(), "row"));
        if (failure.code == exit_connection) failure.text += "; whether the next ones are is not known";
        throw;
    }
    progress.erase();
    note(session, fmt::format("{} stored in {:.2f} s", counted(insert.stored(), "row"), progress.seconds()));
}

} // namespace tarnsh
