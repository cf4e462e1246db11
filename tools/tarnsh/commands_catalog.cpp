// Commands about what there is in the database.
#include "commands.h"

#include <fmt/format.h>

#include <string>
#include <vector>

namespace tarnsh {

namespace {

// The first column of all rows.
class TextSink final : public RowSink {
  public:
    void begin(const std::vector<Column>&) override {}
    void end() override {}
    void row(const std::vector<Cell>& cells) override { texts.emplace_back(cells.at(0).text); }

    std::vector<std::string> texts;
};

bool is_for_people(Format format) {
    return format == Format::table || format == Format::box || format == Format::vertical;
}

// Scripts get one result; interactive sessions also get indexes and statements.
void describe_further(Shell& shell, const std::string& table) {
    TextSink indexes, statements;
    run_statement(shell.session, indexes_query(table), indexes);
    run_statement(shell.session, statements_query(table), statements);
    if (!indexes.texts.empty()) {
        shell.rows().write("\n");
        run_statement(shell.session, indexes_query(table),
                      *make_printer(usual_job(shell).settings, shell.rows()));
    }
    for (const std::string& text : statements.texts)
        shell.rows().write(fmt::format("\n{};\n", text));
    shell.rows().flush();
}

} // namespace

bool describe_table(Shell& shell, const Call& call) {
    const std::string table(call.arguments);
    if (table.empty()) {
        run_query(shell, tables_query());
        return true;
    }
    describe(shell.session, "SELECT * FROM " + table); // refused when there is no such table
    const PrintJob job = usual_job(shell);
    run_statement(shell.session, columns_query(table), *make_printer(job.settings, shell.rows()));
    if (is_for_people(job.settings.format)) describe_further(shell, table);
    return true;
}

bool list_tables(Shell& shell, const Call& call) {
    run_query(shell, tables_query("table"));
    return call.arguments.empty();
}

bool list_views(Shell& shell, const Call& call) {
    run_query(shell, tables_query("view"));
    return call.arguments.empty();
}

bool list_indexes(Shell& shell, const Call& call) {
    run_query(shell, indexes_query());
    return call.arguments.empty();
}

bool list_databases(Shell& shell, const Call& call) {
    run_query(shell, databases_query());
    return call.arguments.empty();
}

} // namespace tarnsh
