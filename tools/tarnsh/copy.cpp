#include "copy.h"

#include "csv.h"
#include "progress.h"
#include "text.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <utility>

namespace tarnsh {

namespace {

// A file or program, if one is named.
std::optional<std::string> take_place(std::string_view& arguments, bool into_table) {
    const bool quoted = arguments.starts_with('\'');
    if (arguments.starts_with('|')) return "|" + std::string(trim(std::exchange(arguments, "").substr(1)));
    const std::string word = take_word(arguments), name = upper(word);
    if (quoted) return word;
    if (name == "PROGRAM")
        return arguments.starts_with('\'') ? std::optional("|" + take_word(arguments)) : std::nullopt;
    const bool is_standard =
        into_table ? name == "STDIN" || name == "PSTDIN" || word == "/dev/stdin" || word == "-"
                   : name == "STDOUT" || name == "PSTDOUT" || word == "/dev/stdout" || word == "-";
    if (is_standard) return "";
    return word.empty() ? std::nullopt : std::optional(word);
}

// One character in single quotes, or a tab as \t.
bool take_mark(std::string_view& arguments, char& mark) {
    std::string word = take_word(arguments);
    if (word == "\\t") word = "\t";
    if (word.size() != 1 || word == "\n" || word == "\r") return false;
    mark = word[0];
    return true;
}

// "on" and "off" may be left out.
bool take_switch(std::string_view& arguments) {
    std::string_view rest = arguments;
    const std::string word = upper(take_word(rest));
    const bool off = word == "OFF" || word == "FALSE" || word == "0";
    if (off || word == "ON" || word == "TRUE" || word == "1") arguments = rest;
    return !off;
}

bool take_option(std::string_view& arguments, PrintSettings& settings) {
    const std::string name = upper(take_word(arguments));
    if (name == "WITH" || name == "CSV") return true;
    if (name == "HEADER")
        settings.header = take_switch(arguments);
    else if (name == "NULL")
        settings.null_text = take_word(arguments);
    else if (name == "DELIMITER")
        return take_mark(arguments, settings.csv.delimiter);
    else if (name == "QUOTE")
        return take_mark(arguments, settings.csv.quote);
    else
        return name == "FORMAT" && upper(take_word(arguments)) == "CSV";
    return true;
}

// The brackets and commas of the longer form have no meaning.
std::string without_marks(std::string_view options) {
    std::string text;
    char quote = 0;
    for (const char c : options) {
        if (c == '\'') quote = quote ? '\0' : c;
        text += !quote && (c == '(' || c == ')' || c == ',') ? ' ' : c;
    }
    return text;
}

// The file is created when the first rows are there: a query that fails leaves an existing file alone.
class CopySink final : public RowSink {
  public:
    CopySink(const CopyPlan& plan, Output& standard, Progress& progress)
        : plan_(plan), standard_(standard), progress_(progress) {}

    void begin(const std::vector<Column>& columns) override {
        if (!printer_) {
            if (!plan_.path.empty()) output_.emplace(plan_.path);
            printer_ = make_printer(plan_.settings, output_ ? *output_ : standard_);
        }
        printer_->begin(columns);
    }
    RowMarks marks() const override { return printer_ ? printer_->marks() : RowMarks{}; }
    void row(const std::vector<Cell>& cells) override {
        printer_->row(cells);
        if (printer_->rows() % 1000 == 0) progress_.show(0, printer_->rows());
    }
    void end() override { printer_->end(); }

    // The rows written.
    std::int64_t close() {
        if (!printer_) fail(exit_statement, "the statement gives no rows");
        if (output_) output_->close();
        return printer_->rows();
    }

  private:
    const CopyPlan& plan_;
    Output& standard_;
    std::optional<Output> output_;
    std::unique_ptr<Printer> printer_;
    Progress& progress_;
};

} // namespace

std::optional<CopyPlan> plan_copy(std::string_view arguments, const PrintSettings& settings) {
    CopyPlan plan;
    plan.table = take_name(arguments);
    plan.settings = settings;
    plan.settings.format = Format::csv;
    plan.list = take_brackets(arguments);
    const std::string direction = upper(take_word(arguments));
    plan.into_table = direction == "FROM";
    const std::optional<std::string> place = take_place(arguments, plan.into_table);
    const bool is_known =
        direction == "FROM" ? !plan.table.empty() : direction == "TO" && (!plan.table.empty() || plan.list);
    if (!is_known || !place) return std::nullopt;
    plan.path = *place;
    const std::string options = without_marks(arguments);
    for (std::string_view rest = trim(options); !rest.empty();)
        if (!take_option(rest, plan.settings)) return std::nullopt;
    if (plan.settings.csv.delimiter == plan.settings.csv.quote) return std::nullopt;
    return plan;
}

void copy_to(Session& session, const CopyPlan& plan, Output& standard) {
    const std::string query = plan.table.empty()
                                  ? *plan.list
                                  : fmt::format("SELECT {} FROM {}", plan.list.value_or("*"), plan.table);
    Progress progress(0, session.quiet || plan.path.empty());
    CopySink sink(plan, standard, progress);
    run_statement(session, query, sink);
    const std::int64_t rows = sink.close();
    progress.erase();
    note(session, fmt::format("{} written in {:.2f} s", counted(rows, "row"), progress.seconds()));
}

bool copy(Session& session, std::string_view arguments, const PrintSettings& settings, Output& standard,
          std::FILE* input) {
    const std::optional<CopyPlan> plan = plan_copy(arguments, settings);
    if (!plan) return false;
    if (plan->into_table)
        copy_from(session, *plan, input);
    else
        copy_to(session, *plan, standard);
    return true;
}

} // namespace tarnsh
