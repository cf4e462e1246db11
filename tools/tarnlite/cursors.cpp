#include "cursors.h"

#include "values.h"

#include <fmt/format.h>

#include <utility>

namespace tarnlite {

void Cursors::declare(const std::string& name, Statement statement, Parameters parameters, Reply& reply) {
    const Cursor& cursor = add(name, std::move(statement), std::move(parameters));
    reply.columns(describe_columns(database_, cursor.statement.get()));
}

void Cursors::open(const std::string& name) {
    Cursor& cursor = find(name);
    if (cursor.rows) throw SqlError(fmt::format("the cursor {} is already open", shown_text(name)));
    start(cursor);
}

void Cursors::fetch(const std::string& name, std::uint64_t count, Reply& reply) {
    Cursor& cursor = find(name);
    if (!cursor.rows) throw SqlError(fmt::format("the cursor {} is not open", shown_text(name)));
    reply.columns(cursor.rows->columns());
    try {
        while (count > 0 && cursor.rows->reply_next(reply))
            --count;
    } catch (const SqlError&) {
        stop(cursor);
        throw;
    }
}

void Cursors::close(const std::string& name) {
    find(name);
    cursors_.erase(name);
}

void Cursors::stop_all() {
    for (auto& [name, cursor] : cursors_)
        stop(cursor);
}

std::string Cursors::open_unnamed(Statement statement, Parameters parameters) {
    std::string name;
    do
        name = fmt::format("REF_CURSOR_{}", ++named_);
    while (cursors_.contains(name));
    try {
        start(add(name, std::move(statement), std::move(parameters)));
    } catch (const SqlError&) {
        cursors_.erase(name);
        throw;
    }
    return name;
}

Cursors::Cursor& Cursors::add(const std::string& name, Statement statement, Parameters parameters) {
    if (sqlite3_column_count(statement.get()) == 0 || sqlite3_stmt_readonly(statement.get()) == 0) {
        throw SqlError("a cursor needs a query that does not write");
    }
    if (cursors_.size() >= most_cursors) {
        throw SqlError(fmt::format("there are already {} cursors", most_cursors));
    }
    Cursor cursor{std::move(statement), std::move(parameters), std::nullopt};
    ParameterPlaces(cursor.statement.get(), cursor.parameters)
        .bind(database_, cursor.statement.get(), cursor.parameters);
    const auto [place, added] = cursors_.try_emplace(name, std::move(cursor));
    if (!added) throw SqlError(fmt::format("the cursor {} already exists", shown_text(name)));
    return place->second;
}

Cursors::Cursor& Cursors::find(const std::string& name) {
    const auto found = cursors_.find(name);
    if (found == cursors_.end()) throw SqlError(fmt::format("there is no cursor {}", shown_text(name)));
    return found->second;
}

void Cursors::start(Cursor& cursor) {
    try {
        cursor.rows.emplace(database_, cursor.statement.get(), lobs_);
    } catch (const SqlError&) {
        stop(cursor);
        throw;
    }
}

void Cursors::stop(Cursor& cursor) {
    cursor.rows.reset();
    sqlite3_reset(cursor.statement.get());
}

} // namespace tarnlite
