#include "catalog.h"

#include "text.h"

#include <fmt/format.h>

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

// The name as a function of the catalogue takes it, with its schema behind it.
std::string arguments_of(const std::string& table) {
    const std::size_t dot = last_dot(table);
    const std::size_t name = dot == table.npos ? 0 : dot + 1;
    const std::string arguments = in_quotes(plain_name(table.substr(name)), '\'');
    return name > 0 ? arguments + ", " + in_quotes(plain_name(table.substr(0, dot)), '\'') : arguments;
}

} // namespace

std::string tables_query() {
    return std::string("SELECT name, type AS kind FROM sqlite_master WHERE ") + of_users + " ORDER BY name";
}

std::string tables_query(std::string_view kind) {
    return fmt::format("SELECT name FROM sqlite_master WHERE {} AND type = '{}' ORDER BY name", of_users,
                       kind);
}

std::string columns_query(const std::string& table) {
    return "SELECT name, type, CASE \"notnull\" WHEN 1 THEN 'yes' END AS \"not null\", "
           "dflt_value AS \"default\", CASE WHEN pk > 0 THEN pk END AS \"key\" "
           "FROM pragma_table_info(" +
           arguments_of(table) + ") ORDER BY cid";
}

std::string indexes_query(const std::string& table) {
    return fmt::format("SELECT i.name, CASE i.\"unique\" WHEN 1 THEN 'yes' END AS \"unique\", "
                       "(SELECT group_concat(name, ', ') FROM pragma_index_info(i.name)) AS \"columns\" "
                       "FROM pragma_index_list({}) i ORDER BY i.seq",
                       arguments_of(table));
}

std::string indexes_query() {
    return "SELECT i.name, t.name AS \"table\", CASE i.\"unique\" WHEN 1 THEN 'yes' END AS \"unique\", "
           "(SELECT group_concat(name, ', ') FROM pragma_index_info(i.name)) AS \"columns\" "
           "FROM sqlite_master t JOIN pragma_index_list(t.name) i WHERE t.type = 'table' ORDER BY t.name, "
           "i.seq";
}

std::string statements_query(const std::string& table) {
    const std::size_t dot = last_dot(table);
    const std::string name = plain_name(table.substr(dot == table.npos ? 0 : dot + 1));
    const std::string schema = dot == table.npos ? "" : table.substr(0, dot + 1);
    return fmt::format(
        "SELECT sql FROM {}sqlite_master WHERE tbl_name = {} COLLATE NOCASE AND sql IS NOT NULL "
        "ORDER BY type <> 'table', type <> 'view', name",
        schema, in_quotes(name, '\''));
}

std::string databases_query() {
    return "SELECT name, file FROM pragma_database_list ORDER BY seq";
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
