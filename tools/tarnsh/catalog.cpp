#include "catalog.h"

namespace tarnsh {

namespace {

// Rows of table and column, ordered by the table.
class NameSink final : public RowSink {
  public:
    void begin(const std::vector<Column>&) override {}
    void end() override {}
    void row(const std::vector<Cell>& cells) override {
        if (tables.empty() || tables.back().name != cells.at(0).text)
            tables.push_back({cells.at(0).text, {}});
        if (!cells.at(1).null) tables.back().columns.push_back(cells.at(1).text);
    }

    std::vector<TableNames> tables;
};

constexpr const char* of_users = "type IN ('table', 'view') AND name NOT LIKE 'sqlite\\_%' ESCAPE '\\'";

// The name without the double quotes that it may stand in.
std::string plain_name(const std::string& name) {
    return name.size() > 1 && name.front() == '"' && name.back() == '"' ? name.substr(1, name.size() - 2)
                                                                        : name;
}

} // namespace

std::string tables_query() {
    return std::string("SELECT name, type AS kind FROM sqlite_master WHERE ") + of_users + " ORDER BY name";
}

std::string columns_query(const std::string& table) {
    return "SELECT name, type, CASE \"notnull\" WHEN 1 THEN 'yes' END AS \"not null\", dflt_value AS "
           "\"default\", "
           "CASE WHEN pk > 0 THEN pk END AS \"key\" FROM pragma_table_info(" +
           quoted_literal(plain_name(table)) + ") ORDER BY cid";
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

std::string quoted_literal(const std::string& text) {
    std::string out = "'";
    for (const char c : text)
        out += c == '\'' ? "''" : std::string(1, c);
    return out + "'";
}

std::string quoted_name(std::string_view name) {
    std::string out = "\"";
    for (const char c : name)
        out += c == '"' ? "\"\"" : std::string(1, c);
    return out + "\"";
}

} // namespace tarnsh
