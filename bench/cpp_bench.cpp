// tarnsql.hpp against the C calls that it replaces: the same work through each, in one process, in turn. CPU
// time of the process, including the kernel.
//
//     cpp_bench [--quick] [--json FILE]
//     cpp_bench count CASE SIDE     one run of a case through "c" or "header", inside of measured(), for a
//                                   profiler
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "measure.h"
#include "peer.h"
#include "read_values.h"
#include "rows.h"
#include "tarnsql.hpp"

using namespace bench;

namespace {

struct Amounts {
    uint64_t rows; // of a large result
    int repeats;   // of calls with small replies
    size_t batch_rows;
};

struct Town {
    int32_t id;
    int64_t people;
    double area;
    std::string name;
};

constexpr size_t name_size = 20;
constexpr size_t row_size = 4 * 5 + 4 + 8 + 8 + name_size; // type and length before each value
constexpr size_t first_row_size = 4 * 10 + 4 + 8 + 8 + name_size;
constexpr const char* large_result = "0";
constexpr const char* one_row = "1";

// Answers short requests, with parameters too, and batches of towns.
void serve_statements(Link& link) {
    constexpr std::string_view answer("U\0\0\0\1K", 6);
    while (link.take_request())
        if (!link.send(answer)) return;
}

void serve_batches(Link& link) {
    constexpr std::string_view answer("U\0\0\0\1K", 6);
    std::string text;
    uint32_t word;
    while (link.receive_command(text, word)) {
        if (!link.drop(first_row_size)) return;
        for (size_t left = ((word >> 16) - 1) * row_size; left;) {
            uint32_t size;
            if (!link.receive_u32(size) || size > left || !link.drop(size)) return;
            left -= size;
        }
        if (!link.send(answer)) return;
    }
}

// One case through each side; both return a checksum of what they read.
struct Case {
    const char* name;
    std::function<uint64_t()> through_c;
    std::function<uint64_t()> through_header;
};

TRN_HANDLE query(TRN_HANDLE* conn, const char* reply) {
    TRN_HANDLE result = nullptr;
    check(TRN_ExecwithDataReader(conn, reply, &result, nullptr, nullptr, nullptr) >= 0, "the query failed");
    return result;
}

uint64_t read_through_c(TRN_HANDLE* conn, const char* reply) {
    TRN_HANDLE result = query(conn, reply);
    Checksum sum;
    while (TRN_ReadNext(&result) == TRN_OK) {
        add_value(sum, &result, Kind::integer, 1);
        add_value(sum, &result, Kind::bigint, 2);
        add_value(sum, &result, Kind::real, 3);
        add_value(sum, &result, Kind::text, 4);
        add_value(sum, &result, Kind::date, 5);
        add_value(sum, &result, Kind::nullable_text, 6);
    }
    TRN_FreeRowset(&result);
    return sum.value();
}

template <class Text, class Integer, class Bigint, class Real, class Date, class Nullable>
[[gnu::always_inline]] inline void add_row(Checksum& sum, Integer integer, Bigint bigint, Real real,
                                           const Text& text, Date date, const Nullable& nullable) {
    sum.add_integer(integer);
    sum.add_integer(bigint);
    sum.add_real(real);
    sum.add_text(text);
    sum.add_date(date_of_day(static_cast<int32_t>(date.time_since_epoch().count())));
    if (nullable)
        sum.add_text(*nullable);
    else
        sum.add_null();
}

uint64_t read_tuples(tarnsql::connection& conn, const char* reply) {
    using text = std::string_view;
    Checksum sum;
    for (const auto& [integer, bigint, real, name, day, nullable] :
         conn.query<int32_t, int64_t, double, text, tarnsql::date, std::optional<text>>(reply))
        add_row(sum, integer, bigint, real, name, day, nullable);
    return sum.value();
}

uint64_t read_fields(tarnsql::connection& conn, const char* reply) {
    Checksum sum;
    for (const tarnsql::row row : conn.query(reply)) {
        const auto integer = row[0].as<int32_t>();
        const auto bigint = row[1].as<int64_t>();
        const auto real = row[2].as<double>();
        const auto name = row[3].as<std::string_view>();
        const auto day = row[4].as<tarnsql::date>();
        const auto nullable = row[5].as<std::optional<std::string_view>>();
        add_row(sum, integer, bigint, real, name, day, nullable);
    }
    return sum.value();
}

// Texts that outlive their row.
uint64_t keep_texts_through_c(TRN_HANDLE* conn, std::vector<std::string>& kept) {
    kept.clear(); // first on both sides, because the allocator's behaviour depends on what is requested next
    TRN_HANDLE result = query(conn, large_result);
    char text[text_size + 1];
    int32_t length = 0;
    while (TRN_ReadNext(&result) == TRN_OK) {
        get_value(&result, 4, TRN_TYPE_TEXT, text, sizeof text, &length);
        kept.emplace_back(text, static_cast<size_t>(length));
    }
    TRN_FreeRowset(&result);
    return kept.size();
}

uint64_t keep_texts_through_header(tarnsql::connection& conn, std::vector<std::string>& kept) {
    kept.clear();
    for (const tarnsql::row row : conn.query(large_result))
        kept.push_back(row[3].as<std::string>());
    return kept.size();
}

void bind(TRN_HANDLE* conn, int32_t position, int32_t type, const void* value, size_t size) {
    check(TRN_BindParamByPos(conn, position, TRN_DIRECTION_IN, type, const_cast<void*>(value),
                             static_cast<int32_t>(size), nullptr) == TRN_OK,
          "a value cannot be bound");
}

uint64_t execute_through_c(TRN_HANDLE* conn, const Town& town, int repeats) {
    uint64_t changed = 0;
    for (int i = 0; i < repeats; ++i) {
        bind(conn, 1, TRN_TYPE_INTEGER, &town.id, sizeof town.id);
        bind(conn, 2, TRN_TYPE_BIGINT, &town.people, sizeof town.people);
        bind(conn, 3, TRN_TYPE_DOUBLE, &town.area, sizeof town.area);
        bind(conn, 4, TRN_TYPE_TEXT, town.name.data(), town.name.size());
        changed += static_cast<uint64_t>(TRN_Execute_no_query(conn, "INSERT INTO town VALUES (?, ?, ?, ?)"));
    }
    return changed;
}

uint64_t execute_through_header(tarnsql::connection& conn, const Town& town, int repeats) {
    uint64_t changed = 0;
    for (int i = 0; i < repeats; ++i)
        changed += static_cast<uint64_t>(
            conn.execute("INSERT INTO town VALUES (?, ?, ?, ?)", town.id, town.people, town.area, town.name));
    return changed;
}

template <class T> std::vector<T> column(const std::vector<Town>& towns, T Town::*member) {
    std::vector<T> values;
    values.reserve(towns.size());
    for (const Town& town : towns)
        values.push_back(town.*member);
    return values;
}

uint64_t batch_through_c(TRN_HANDLE* conn, const std::vector<Town>& towns) {
    const auto rows = static_cast<int32_t>(towns.size());
    std::vector<int32_t> ids = column(towns, &Town::id), lengths(towns.size(), 4),
                         long_lengths(towns.size(), 8), name_lengths;
    std::vector<int64_t> people = column(towns, &Town::people);
    std::vector<double> areas = column(towns, &Town::area);
    std::string names;
    for (const Town& town : towns) {
        const auto length = static_cast<int32_t>(town.name.size());
        names.append(reinterpret_cast<const char*>(&length), sizeof length).append(town.name);
        name_lengths.push_back(length);
    }
    const auto bind_array = [&](int32_t position, int32_t type, void* values, size_t size,
                                std::vector<int32_t>& of) {
        check(TRN_BindParamArrayByPos(conn, position, 4, TRN_DIRECTION_IN, type, rows, values,
                                      static_cast<int32_t>(size), of.data()) == TRN_OK,
              "an array cannot be bound");
    };
    bind_array(1, TRN_TYPE_INTEGER, ids.data(), ids.size() * 4, lengths);
    bind_array(2, TRN_TYPE_BIGINT, people.data(), people.size() * 8, long_lengths);
    bind_array(3, TRN_TYPE_DOUBLE, areas.data(), areas.size() * 8, long_lengths);
    bind_array(4, TRN_TYPE_TEXT, names.data(), names.size(), name_lengths);
    check(TRN_ExecBatch(conn, "INSERT INTO town VALUES (?, ?, ?, ?)", rows) >= 0, "the batch failed");
    return towns.size();
}

uint64_t batch_through_header(tarnsql::connection& conn, const std::vector<Town>& towns) {
    return static_cast<uint64_t>(
        conn.execute_batch("INSERT INTO town VALUES (?, ?, ?, ?)", towns, [](const Town& town) {
            return std::tie(town.id, town.people, town.area, town.name);
        }));
}

uint64_t repeated(int times, const std::function<uint64_t()>& work) {
    uint64_t sum = 0;
    for (int i = 0; i < times; ++i)
        sum += work();
    return sum;
}

// The profiler counts inside this function.
[[gnu::noinline]] uint64_t measured(const std::function<uint64_t()>& work) {
    return work();
}

double seconds_of(const std::function<uint64_t()>& work, uint64_t expected) {
    const double start = process_cpu_seconds();
    const uint64_t sum = measured(work);
    const double spent = process_cpu_seconds() - start;
    check(sum == expected, "the two ways do not come to the same");
    return spent;
}

void count(const std::vector<Case>& cases, const char* name, const char* side) {
    for (const Case& each : cases) {
        if (std::strcmp(each.name, name) != 0) continue;
        const auto& work = std::strcmp(side, "c") == 0 ? each.through_c : each.through_header;
        work(); // one-time work, such as symbol binding, does not count
        measured(work);
        return;
    }
    check(false, "no such case");
}

} // namespace

int main(int argc, char** argv) {
    const bool counting = argc == 4 && std::strcmp(argv[1], "count") == 0;
    const Options options = counting ? Options{true, nullptr} : parse_options(argc, argv);
    const Amounts amounts = options.quick ? Amounts{2000, 100, 2000} : Amounts{200000, 5000, 50000};
    const Table table = make_table(amounts.rows, kinds_of(six_columns));
    const Peer replies(
        [&] {
            return replay({tarnsql_reply(table), tarnsql_reply(make_table(1, kinds_of(six_columns)))});
        },
        1, 2);
    const Peer statements([] { return serve_statements; }, 1, 2);
    const Peer batches([] { return serve_batches; }, 1, 2);
    pin_to_cpu(0);
    std::vector<Town> towns;
    Random random;
    for (size_t i = 0; i < amounts.batch_rows; ++i)
        towns.push_back(
            {static_cast<int32_t>(i), random.between(0, 1000000), 0.5, random.letters(name_size)});

    TRN_HANDLE reading = replies.open(), executing = statements.open(), sending = batches.open();
    tarnsql::connection reader(replies.settings()), executer(statements.settings()),
        sender(batches.settings());
    std::vector<std::string> kept;
    const std::vector<Case> cases{
        {"rows_as_tuples", [&] { return read_through_c(&reading, large_result); },
         [&] { return read_tuples(reader, large_result); }},
        {"rows_by_field", [&] { return read_through_c(&reading, large_result); },
         [&] { return read_fields(reader, large_result); }},
        {"texts_kept", [&] { return keep_texts_through_c(&reading, kept); },
         [&] { return keep_texts_through_header(reader, kept); }},
        {"query_of_one_row",
         [&] { return repeated(amounts.repeats, [&] { return read_through_c(&reading, one_row); }); },
         [&] { return repeated(amounts.repeats, [&] { return read_tuples(reader, one_row); }); }},
        {"execute_with_4_parameters",
         [&] { return execute_through_c(&executing, towns[0], amounts.repeats); },
         [&] { return execute_through_header(executer, towns[0], amounts.repeats); }},
        {"batch_of_rows", [&] { return batch_through_c(&sending, towns); },
         [&] { return batch_through_header(sender, towns); }}};
    if (counting) {
        count(cases, argv[2], argv[3]);
    } else {
        Figures figures;
        for (const Case& each : cases) {
            const uint64_t expected = each.through_c();
            const std::vector<double> spent =
                medians(options.quick ? 1 : 31, {[&] { return seconds_of(each.through_c, expected); },
                                                 [&] { return seconds_of(each.through_header, expected); }});
            const std::string name = std::string("cpp/") + each.name;
            figures.add(name + "/c", spent[0] * 1e3, "ms");
            figures.add(name + "/header", spent[1] * 1e3, "ms");
            figures.add(name + "/ratio", spent[1] / spent[0], "of the C calls");
        }
        figures.report(options);
    }
    for (TRN_HANDLE* handle : {&reading, &executing, &sending})
        TRN_CloseConn(handle);
}
