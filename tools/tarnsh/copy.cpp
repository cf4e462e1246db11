#include "copy.h"

#include "csv.h"
#include "progress.h"
#include "terminal.h"
#include "text.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <memory>
#include <optional>
#include <utility>

namespace tarnsh {

namespace {

// A batch ends at whichever comes first.
constexpr std::size_t batch_rows = 10000, batch_bytes = 8 << 20;
constexpr std::size_t longest_value = 1 << 30; // arrays are counted in 31 bits

struct Target {
    std::string table;
    std::vector<Column> columns;
};

// The values of one column, as arrays are bound: a length of four bytes before each.
struct ColumnValues {
    std::string bytes;
    std::vector<std::int32_t> lengths;

    void add(std::string_view value) {
        const auto length = static_cast<std::int32_t>(value.size());
        std::array<char, sizeof length> prefix;
        std::memcpy(prefix.data(), &length, sizeof length);
        bytes.append(prefix.data(), prefix.size()).append(value);
        lengths.push_back(length);
    }
};

struct Batch {
    std::vector<ColumnValues> columns;
    std::size_t rows = 0, bytes = 0;
    std::size_t first_line = 0;

    explicit Batch(std::size_t count) : columns(count) {}
    bool full() const { return rows >= batch_rows || bytes >= batch_bytes; }
};

// A prepared statement of the connection's, given up when it goes.
class Prepared {
  public:
    Prepared(Session& session, const std::string& sql) : session_(session) {
        check_call(session, TRN_Prepare2(&session.handle, sql.c_str(), name_.data()));
    }
    Prepared(const Prepared&) = delete;
    Prepared& operator=(const Prepared&) = delete;
    ~Prepared() {
        TRN_ResetParams(&session_.handle);
        if (session_.connected) TRN_UnPrepare(&session_.handle, name_.data());
        take_library_output(); // whatever it says, the copy has ended
    }
    std::string call() const { return std::string("? ") + name_.data(); }

  private:
    Session& session_;
    std::array<char, 32> name_{};
};

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

std::string insert_statement(const Target& target) {
    std::string names, marks;
    for (const Column& column : target.columns) {
        names += (names.empty() ? "" : ", ") + in_quotes(column.name, '"');
        marks += marks.empty() ? "?" : ", ?";
    }
    return fmt::format("INSERT INTO {} ({}) VALUES ({})", target.table, names, marks);
}

bool is_blank_line(const std::vector<CsvField>& fields) {
    return fields.size() == 1 && fields[0].text.empty() && !fields[0].quoted;
}

void add_record(Batch& batch, const Target& target, const std::vector<CsvField>& fields,
                const std::string& null_text, const CsvReader& reader) {
    if (fields.size() != batch.columns.size())
        reader.refuse(fmt::format("{} for {}", counted(std::ssize(fields), "field"),
                                  counted(std::ssize(batch.columns), "column")));
    for (std::size_t i = 0; i < fields.size(); ++i) {
        const CsvField& field = fields[i];
        if (field.text.size() > longest_value) reader.refuse("a value of over 1 GiB");
        std::string bytes;
        if (!field.quoted && field.text == null_text)
            batch.columns[i].add("");
        else if (!is_binary(target.columns[i].type))
            batch.columns[i].add(field.text);
        else if (bytes_of_hex(field.text, bytes))
            batch.columns[i].add(bytes);
        else
            reader.refuse(target.columns[i].name +
                          " holds binary values, written as 0x and hexadecimal digits");
        batch.bytes += field.text.size();
    }
    if (batch.rows++ == 0) batch.first_line = reader.line();
}

void send(Session& session, const Prepared& statement, const Target& target, Batch& batch) {
    const auto rows = static_cast<std::int32_t>(batch.rows),
               count = static_cast<std::int32_t>(batch.columns.size());
    TRN_ResetParams(&session.handle);
    for (std::int32_t i = 0; i < count; ++i) {
        ColumnValues& values = batch.columns[static_cast<std::size_t>(i)];
        const std::int32_t type =
            is_binary(target.columns[static_cast<std::size_t>(i)].type) ? TRN_TYPE_BYTES : TRN_TYPE_TEXT;
        check_call(session, TRN_BindParamArrayByPos(&session.handle, i + 1, count, TRN_DIRECTION_IN, type,
                                                    rows, values.bytes.data(),
                                                    static_cast<std::int32_t>(values.bytes.size()),
                                                    values.lengths.data()));
    }
    check_call(session, TRN_ExecBatch(&session.handle, statement.call().c_str(), rows));
}

void tell_rate(const Session& session, std::int64_t rows, const char* what, Progress& progress) {
    progress.erase();
    note(session, fmt::format("{} {} in {:.2f} s", counted(rows, "row"), what, progress.seconds()));
}

// The columns that the file fills: those of the list, or of the file's first line, or all.
Target find_target(Session& session, const std::string& table, const std::optional<std::string>& list,
                   CsvReader& reader, bool header) {
    Target target{table, describe(session, "SELECT * FROM " + table)};
    std::vector<CsvField> fields;
    std::vector<std::string> names;
    if (header && reader.next(fields))
        for (const CsvField& field : fields)
            names.push_back(field.text);
    if (list) names = names_of_list(*list);
    if (!names.empty()) target.columns = columns_named(target, names);
    return target;
}

// False when the file has no more records.
bool fill(Batch& batch, CsvReader& reader, const Target& target, const std::string& null_text) {
    std::vector<CsvField> fields;
    while (!batch.full()) {
        if (!reader.next(fields)) return false;
        if (!is_blank_line(fields) || batch.columns.size() == 1)
            add_record(batch, target, fields, null_text, reader);
    }
    return true;
}

std::int64_t send_records(Session& session, CsvReader& reader, const Target& target,
                          const std::string& null_text, Progress& progress) {
    const Prepared statement(session, insert_statement(target));
    std::int64_t stored = 0;
    for (bool more = true; more;) {
        Batch batch(target.columns.size());
        try {
            more = fill(batch, reader, target, null_text);
            if (session.is_stopped && session.is_stopped()) fail(exit_statement, "stopped");
            if (batch.rows > 0) send(session, statement, target, batch);
        } catch (Failure& failure) {
            if (batch.rows == 0) batch.first_line = reader.line();
            failure.text +=
                fmt::format("\n{} stored, those before line {}", counted(stored, "row"), batch.first_line);
            if (failure.code == exit_connection) failure.text += "; whether the next ones are is not known";
            throw;
        }
        stored += static_cast<std::int64_t>(batch.rows);
        progress.show(reader.bytes(), stored);
    }
    return stored;
}

void copy_from(Session& session, const std::string& table, const std::optional<std::string>& list,
               const std::string& path, const PrintSettings& settings) {
    CsvReader reader(path);
    const Target target = find_target(session, table, list, reader, settings.header);
    std::error_code unknown;
    const std::uintmax_t size = std::filesystem::file_size(std::u8string(path.begin(), path.end()), unknown);
    Progress progress(unknown ? 0 : size, session.quiet);
    const std::int64_t rows =
        send_records(session, reader, target, settings.null_text.value_or(""), progress);
    tell_rate(session, rows, "stored", progress);
}

// The file is made when the first rows are there: a query that fails leaves the one before alone.
class FileSink final : public RowSink {
  public:
    FileSink(std::string path, const PrintSettings& settings, Progress& progress)
        : path_(std::move(path)), settings_(settings), progress_(progress) {}

    void begin(const std::vector<Column>& columns) override {
        if (!printer_) {
            output_.emplace(path_);
            printer_ = make_printer(settings_, *output_);
        }
        printer_->begin(columns);
    }
    void row(const std::vector<Cell>& cells) override {
        printer_->row(cells);
        if (printer_->rows() % 1000 == 0) progress_.show(0, printer_->rows());
    }
    void end() override { printer_->end(); }

    // The rows written.
    std::int64_t close() {
        if (!printer_) fail(exit_statement, "the statement gives no rows");
        output_->close();
        return printer_->rows();
    }

  private:
    std::string path_;
    PrintSettings settings_;
    std::optional<Output> output_;
    std::unique_ptr<Printer> printer_;
    Progress& progress_;
};

void copy_to(Session& session, const std::string& query, const std::string& path, PrintSettings settings) {
    settings.format = Format::csv;
    Progress progress(0, session.quiet);
    FileSink sink(path, settings, progress);
    run_statement(session, query, sink);
    tell_rate(session, sink.close(), "written", progress);
}

} // namespace

bool copy(Session& session, std::string_view arguments, const PrintSettings& settings) {
    const std::string table = take_name(arguments); // empty before a query
    const std::optional<std::string> inside = take_brackets(arguments);
    const std::string direction = upper(take_word(arguments)), path = take_word(arguments);
    if (path.empty() || !arguments.empty() || (table.empty() && !inside)) return false;
    if (direction == "FROM" && !table.empty())
        copy_from(session, table, inside, path, settings);
    else if (direction == "TO" && table.empty())
        copy_to(session, *inside, path, settings);
    else if (direction == "TO")
        copy_to(session, fmt::format("SELECT {} FROM {}", inside.value_or("*"), table), path, settings);
    else
        return false;
    return true;
}

} // namespace tarnsh
