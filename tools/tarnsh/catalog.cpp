#include "catalog.h"

#include "text.h"

namespace tarnsh {

namespace {

// Rows of table and column, ordered by the table.
class NameSink final : public RowSink {
  public:
    void begin(const std::vector<Column>&) override {}
    void end() override {}
    void row(const std::vector<Cell>& cells) override {
        if (tables.empty() || tables.back().name != cells.at(0).text)
            tables.push_back({std::string(cells.at(0).text), {}});
        if (!cells.at(1).null) tables.back().columns.emplace_back(cells.at(1).text);
    }

    std::vector<TableNames> tables;
};

constexpr const char* of_users = "type IN ('table', 'view') AND name NOT LIKE 'sqlite\\_%' ESCAPE '\\'";

} // namespace

std::string tables_query() {
    return std::string("SELECT name, type AS kind FROM sqlite_master WHERE ") + of_users + " ORDER BY name";
}

std::string columns_query(const std::string& table) {
    const std::size_t dot = last_dot(table);
    const std::size_t name = dot == table.npos ? 0 : dot + 1;
    std::string arguments = in_quotes(plain_name(table.substr(name)), '\'');
    if (name > 0) arguments += ", " + in_quotes(plain_name(table.substr(0, dot)), '\'');
    return "SELECT name, type, CASE \"notnull\" WHEN 1 THEN 'yes' END AS \"not null\", "
           "dflt_value AS \"default\", CASE WHEN pk > 0 THEN pk END AS \"key\" "
           "FROM pragma_table_info(" +
           arguments + ") ORDER BY cid";
}

std::vector<TableNames> read_names(Session& session) {
    NameSink sink;
    session.silent = true;
    try {
        run_statement(session,
                      std::string("SELECT t.name, c.name FROM (SELECT name FROM sqlite_master WHERE ") +
                          of_users + ") t LEFT JOIN pragma_table_info(t.name) c ORDER BY t.name, c.cid",
                      sink);
    } catch (const Failure&) {
        sink.tables.clear(); // a lost link shows itself at the next statement
    }
    session.silent = false;
    return std::move(sink.tables);
}

} // namespace tarnsh
