#include "batch.h"
#include "copy.h"
#include "csv.h"
#include "progress.h"
#include "text.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <iterator>

namespace tarnsh {

namespace {

constexpr std::size_t longest_value = 1 << 30; // arrays are counted in 31 bits

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
    std::vector<CsvField> fields;
    std::vector<std::string> names;
    if (plan.settings.header && reader.next(fields))
        for (const CsvField& field : fields)
            names.emplace_back(field.text);
    if (plan.list) names = names_of_list(*plan.list);
    if (!names.empty()) target.columns = columns_named(target, names);
    return target;
}

// Reads a file into batches.
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
        while (!batch.full()) {
            if (!reader_.next(fields_)) return false;
            if (!is_blank_line() || batch.columns.size() == 1) add(batch);
        }
        return true;
    }

  private:
    bool is_blank_line() const {
        return fields_.size() == 1 && fields_[0].text.empty() && !fields_[0].quoted;
    }

    void add(Batch& batch) {
        if (fields_.size() != batch.columns.size())
            reader_.refuse(fmt::format("{} for {}", counted(std::ssize(fields_), "field"),
                                       counted(std::ssize(batch.columns), "column")));
        if (any_binary_ || reader_.record_size() > longest_value) check_values();
        for (std::size_t i = 0; i < fields_.size(); ++i) {
            const CsvField& field = fields_[i];
            ColumnValues& values = batch.columns[i];
            if (is_null(field)) {
                values.add("");
            } else if (binary_[i]) {
                bytes_of_hex(field.text, bytes_);
                values.add(bytes_);
            } else {
                values.add_padded(field.text);
            }
        }
        batch.bytes += reader_.record_size();
        batch.lines.push_back(reader_.line());
    }

    // Before anything of the record is in the batch.
    void check_values() {
        for (std::size_t i = 0; i < fields_.size(); ++i) {
            if (fields_[i].text.size() > longest_value) reader_.refuse("a value of over 1 GiB");
            if (binary_[i] && !is_null(fields_[i]) && !bytes_of_hex(fields_[i].text, bytes_))
                reader_.refuse(names_[i] + " holds binary values, written as 0x and hexadecimal digits");
        }
    }

    bool is_null(const CsvField& field) const { return !field.quoted && field.text == null_text_; }

    CsvReader& reader_;
    std::string null_text_;
    std::vector<char> binary_;
    bool any_binary_ = false;
    std::vector<std::string> names_;
    std::vector<CsvField> fields_;
    std::string bytes_;
};

// A record that cannot be read does not keep those before it from being stored.
void store_all(Session& session, Records& records, Insert& insert, CsvReader& reader, Progress& progress,
               std::size_t columns) {
    Batch batch(columns);
    for (bool more = true; more;) {
        try {
            more = records.fill(batch);
        } catch (const Failure&) {
            insert.store(batch, reader.name());
            throw;
        }
        if (session.is_stopped && session.is_stopped()) fail(exit_statement, "stopped");
        if (batch.rows() > 0) insert.store(batch, reader.name());
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
        store_all(session, records, insert, reader, progress, target.columns.size());
    } catch (Failure& failure) {
        failure.text += fmt::format("\n{} stored", counted(insert.stored(), "row"));
        if (failure.code == exit_connection) failure.text += "; whether the next ones are is not known";
        throw;
    }
    progress.erase();
    note(session, fmt::format("{} stored in {:.2f} s", counted(insert.stored(), "row"), progress.seconds()));
}

} // namespace tarnsh
