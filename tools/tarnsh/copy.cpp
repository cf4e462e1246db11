#include "copy.h"

#include "catalog.h"
#include "csv.h"
#include "progress.h"
#include "terminal.h"
#include "text.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <optional>
#include <utility>

namespace tarnsh {

namespace {

// A batch ends at whichever comes first.
constexpr std::size_t batch_rows = 10000, batch_bytes = 8 << 20;
constexpr std::size_t longest_value = 1 << 30; // arrays are counted in 31 bits

constexpr const char* usage =
    "\\copy TABLE [(COLUMN, ...)] FROM FILE, \\copy (QUERY) TO FILE or \\copy TABLE TO FILE";

struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

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

std::vector<std::string> names_in_brackets(std::string_view list) {
    std::vector<std::string> names;
    while (!list.empty()) {
        const std::string_view name = trim(list.substr(0, list.find(',')));
        list.remove_prefix(
            std::min(list.size(), list.find(',') == list.npos ? list.size() : list.find(',') + 1));
        names.emplace_back(name.size() > 1 && name.front() == '"' ? name.substr(1, name.size() - 2) : name);
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
        chosen.push_back(*found);
    }
    return chosen;
}

std::string insert_statement(const Target& target) {
    std::string names, marks;
    for (const Column& column : target.columns) {
        names += (names.empty() ? "" : ", ") + quoted_name(column.name);
        marks += marks.empty() ? "?" : ", ?";
    }
    return fmt::format("INSERT INTO {} ({}) VALUES ({})", target.table, names, marks);
}

bool is_blank_line(const std::vector<CsvField>& fields) {
    return fields.size() == 1 && fields[0].text.empty() && !fields[0].quoted;
}

void add_record(Batch& batch, const Target& target, const std::vector<CsvField>& fields,
                const std::string& null_text, std::size_t line) {
    if (fields.size() != batch.columns.size())
        fail(exit_shell,
             fmt::format("line {}: {} fields for {} columns", line, fields.size(), batch.columns.size()));
    for (std::size_t i = 0; i < fields.size(); ++i) {
        const CsvField& field = fields[i];
        if (field.text.size() > longest_value)
            fail(exit_shell, fmt::format("line {}: a value of over 1 GiB", line));
        std::string bytes;
        if (!field.quoted && field.text == null_text)
            batch.columns[i].add("");
        else if (!is_binary(target.columns[i].type))
            batch.columns[i].add(field.text);
        else if (bytes_of_hex(field.text, bytes))
            batch.columns[i].add(bytes);
        else
            fail(exit_shell,
                 fmt::format("line {}: {} holds binary values, written as 0x and hexadecimal digits", line,
                             target.columns[i].name));
        batch.bytes += field.text.size();
    }
    if (batch.rows++ == 0) batch.first_line = line;
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

void tell_rate(const Session& session, const char* what, std::int64_t rows, double seconds) {
    note(session, fmt::format("{} rows {} in {:.2f} s", grouped(rows), what, seconds));
}

// The table and those of its columns that the file fills: named in brackets, or by the file's first line, or all.
Target find_target(Session& session, std::string_view place, CsvReader& reader, bool header) {
    const std::size_t bracket = place.ends_with(')') ? place.find('(') : place.npos;
    Target target{std::string(trim(place.substr(0, bracket))), {}};
    target.columns = describe(session, "SELECT * FROM " + target.table);
    std::vector<CsvField> fields;
    std::vector<std::string> names;
    if (header && reader.next(fields))
        for (const CsvField& field : fields)
            names.push_back(field.text);
    if (bracket != place.npos)
        names = names_in_brackets(place.substr(bracket + 1, place.size() - bracket - 2));
    if (!names.empty()) target.columns = columns_named(target, names);
    return target;
}

// False when the file has no more records.
bool fill(Batch& batch, CsvReader& reader, const Target& target, const std::string& null_text) {
    std::vector<CsvField> fields;
    while (!batch.full()) {
        if (!reader.next(fields)) return false;
        if (!is_blank_line(fields) || batch.columns.size() == 1)
            add_record(batch, target, fields, null_text, reader.line());
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
                fmt::format("\n{} rows were stored, those before line {}", stored, batch.first_line);
            if (failure.code == exit_connection) failure.text += "; whether the next ones were is not known";
            throw;
        }
        stored += static_cast<std::int64_t>(batch.rows);
        progress.show(reader.bytes(), stored);
    }
    return stored;
}

void copy_from(Session& session, std::string_view place, const std::string& path,
               const PrintSettings& settings) {
    const File file(open_file(path, "rb"));
    if (!file) fail(exit_shell, "cannot read " + path + ": " + std::strerror(errno));
    CsvReader reader(file.get());
    const Target target = find_target(session, place, reader, settings.header);
    std::error_code unknown;
    const std::uintmax_t size = std::filesystem::file_size(std::u8string(path.begin(), path.end()), unknown);
    std::int64_t rows = 0;
    double seconds = 0;
    {
        Progress progress(unknown ? 0 : size, session.quiet);
        rows = send_records(session, reader, target, settings.null_text.value_or(""), progress);
        seconds = progress.seconds();
    }
    tell_rate(session, "stored", rows, seconds);
}

// The file is made when the first rows are there: a query that fails leaves the one before alone.
class FileSink final : public RowSink {
  public:
    FileSink(std::string path, const PrintSettings& settings, bool quiet)
        : path_(std::move(path)), settings_(settings), progress_(0, quiet) {}

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
    double seconds() const { return progress_.seconds(); }

  private:
    std::string path_;
    PrintSettings settings_;
    std::optional<Output> output_;
    std::unique_ptr<Printer> printer_;
    Progress progress_;
};

void copy_to(Session& session, std::string_view source, const std::string& path, PrintSettings settings) {
    settings.format = Format::csv;
    std::string query = "SELECT * FROM " + std::string(source);
    if (source.starts_with('(') && source.ends_with(')')) query = trim(source.substr(1, source.size() - 2));
    std::int64_t rows = 0;
    double seconds = 0;
    {
        FileSink sink(path, settings, session.quiet);
        run_statement(session, query, sink);
        rows = sink.close();
        seconds = sink.seconds();
    }
    tell_rate(session, "written", rows, seconds);
}

// The place of a word outside of quotes and brackets, letter case aside; npos when it is not there.
std::size_t find_word(std::string_view text, std::string_view word) {
    int depth = 0;
    char quote = 0;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const char c = text[at];
        if (quote) {
            if (c == quote) quote = 0;
        } else if (c == '\'' || c == '"') {
            quote = c;
        } else if (c == '(' || c == ')') {
            depth += c == '(' ? 1 : -1;
        } else if (depth == 0 &&
                   (at == 0 || std::isspace(static_cast<unsigned char>(text[at - 1])) ||
                    text[at - 1] == ')') &&
                   first_word(text.substr(at)) == word) {
            return at;
        }
    }
    return text.npos;
}

} // namespace

void copy(Session& session, std::string_view arguments, const PrintSettings& settings) {
    const std::size_t from = find_word(arguments, "FROM"), to = find_word(arguments, "TO");
    const std::size_t at = std::min(from, to);
    if (at == arguments.npos || at == 0) fail(exit_shell, std::string("usage: ") + usage);
    std::string_view rest = arguments.substr(at + (at == from ? 4 : 2));
    const std::string path = take_word(rest);
    if (path.empty() || !rest.empty()) fail(exit_shell, std::string("usage: ") + usage);
    const std::string_view place = trim(arguments.substr(0, at));
    if (at == from)
        copy_from(session, place, path, settings);
    else
        copy_to(session, place, path, settings);
}

} // namespace tarnsh
