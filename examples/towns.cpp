// towns - tarnsql.hpp in use: a table of towns and one of visits, a batch in a transaction, a report, a
// document.
//
//     towns "server=127.0.0.1;port=5139;db=demo;user=me;password=secret"
#include <chrono>
#include <iomanip>
#include <iostream>
#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "tarnsql.hpp"

namespace {

struct Town {
    int id;
    std::string name;
    std::optional<int64_t> people;
    tarnsql::date founded;
};

struct Visit {
    int town;
    tarnsql::moment at;
    double spent;
};

} // namespace

static tarnsql::date day(int64_t since_1970) {
    return tarnsql::date(tarnsql::days(since_1970));
}

static void create_tables(tarnsql::connection& db) {
    db.execute("DROP TABLE IF EXISTS visit; DROP TABLE IF EXISTS town");
    db.execute("CREATE TABLE town (id INTEGER PRIMARY KEY, name VARCHAR(40), people BIGINT, founded DATE, "
               "chronicle CLOB)");
    db.execute("CREATE TABLE visit (town INTEGER, at DATETIME, spent DOUBLE)");
}

// Either all visits are stored or none.
static void store_visits(tarnsql::connection& db, const std::vector<Visit>& visits) {
    tarnsql::transaction all(db);
    db.execute_batch("INSERT INTO visit VALUES (?, ?, ?)", visits,
                     [](const Visit& visit) { return std::tie(visit.town, visit.at, visit.spent); });
    all.commit();
}

static std::vector<Visit> some_visits(int count) {
    using namespace std::chrono_literals;
    std::vector<Visit> visits;
    for (int64_t i = 0; i < count; ++i)
        visits.push_back({static_cast<int>(1 + i * 7919 % 4), tarnsql::moment(1700000000s) + i * 1min,
                          static_cast<double>(i * 104729 % 10000) / 100});
    return visits;
}

// The rows stay on the server until they are read: memory does not grow with them.
static void report(tarnsql::connection& db) {
    std::map<std::string, double> spent;
    int64_t visits = 0;
    for (auto [name, amount] :
         db.stream<std::string, double>("SELECT name, spent FROM visit JOIN town ON id = town")) {
        spent[name] += amount;
        ++visits;
    }
    std::cout << visits << " visits by " << spent.size() << " towns\n" << std::fixed << std::setprecision(2);
    for (const auto& [name, sum] : spent)
        std::cout << std::left << std::setw(10) << name << std::right << std::setw(12) << sum << '\n';
}

static void keep_a_chronicle(tarnsql::connection& db) {
    tarnsql::large_object chronicle(tarnsql::lob_kind::character);
    tarnsql::lob_stream text(chronicle);
    for (int year = 1; year <= 2000; ++year)
        text << "In the year " << year << " little happened.\n";
    text.flush();
    db.execute("UPDATE town SET chronicle = ? WHERE name = ?", chronicle, "Ur");
    const auto stored = db.query_value<std::string>("SELECT chronicle FROM town WHERE name = 'Ur'");
    std::cout << "The chronicle of Ur has " << stored.size() << " bytes.\n";
}

int main(int argc, char** argv) try {
    if (argc != 2) {
        std::cerr << "usage: towns CONNECTION-STRING\n";
        return 2;
    }
    tarnsql::set_line_handler([](auto...) {}); // exceptions have the same texts
    tarnsql::connection db(argv[1]);
    create_tables(db);

    tarnsql::statement insert =
        db.prepare("INSERT INTO town (id, name, people, founded) VALUES (?, ?, ?, ?)");
    for (const Town& town :
         {Town{1, "Ur", 65000, day(-719528)}, Town{2, "Uruk", 40000, day(-719163)},
          Town{3, "Tarn", 41200, day(-264000)}, Town{4, "Eridu", std::nullopt, day(-700000)}})
        insert.execute(town.id, town.name, town.people, town.founded);

    for (const tarnsql::row town : db.query("SELECT name, people, founded FROM town ORDER BY name"))
        std::cout << town["name"].as<std::string_view>() << ", founded " << town["founded"].as<std::string>()
                  << ", " << town["people"].value_or<int64_t>(0) << " people\n";

    store_visits(db, some_visits(100000));
    report(db);
    keep_a_chronicle(db);
} catch (const tarnsql::error& error) {
    std::cerr << "towns: " << error.what() << '\n';
    return 1;
}
