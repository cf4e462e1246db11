/*
 * The table; see the header.
 */
#include "exchanges.h"
#include "tarnsql_ext.h"

#include <optional>

std::string settings_of_cases() {
    return account + ";lob_ret=descriptor";
}
Step expect_login_of_cases() {
    return expect_login(login_on_channel("D", "U", "P", default_settings + " lob_ret  =descriptor"));
}

namespace {

/* A call with nothing but a status. */
template <class Call> auto plain(Call call) {
    return [call](Hands& h) { return Given{h.made([&] { return call(h.handle); }), ""}; };
}

/* A call that hands over a result by a variable, which a failure leaves alone. */
template <class Call> auto result(Call call) {
    return [call](Hands& h) {
        int untouched = 0;
        Reader reader;
        reader.result = &untouched;
        const std::int32_t status = h.made([&] { return call(h.handle, reader); });
        if (reader.result == &untouched) {
            reader.result = nullptr;
            return Given{status, ""};
        }
        const std::string counts = std::to_string(reader.columns) + " " + std::to_string(reader.rows) + " " +
                                   std::to_string(reader.affected) + "\n";
        return Given{status, reader.result ? counts + error_text(reader.result) + h.read(reader) : "null"};
    };
}

Given no_query_of(Hands& h) {
    return {h.made([&] { return h.connection.run("q"); }), "", true};
}

Given behind_unread_rows(Hands& h) {
    h.connection.run("left");
    return no_query_of(h);
}

Given single(Hands& h) {
    std::optional<SingleValue> value;
    Given given{h.made([&] { return value.emplace(h.connection, "q").status; }), ""};
    given.handed = value->take();
    if (given.status == TRN_ERR_NETWORK && value->word != 7777) given.handed += std::to_string(value->word);
    return given;
}

/* A result that fails to be filled anew stays, empty. */
Given fetch_again(Hands& h) {
    Reader reader(h.connection, "held");
    const std::int32_t status =
        h.made([&] { return TRN_FetchServerCursorRowset_V2(h.handle, "FETCH", &reader.result); });
    const std::string left = h.read(reader);
    return {status, status < 0 && left == "\n" ? "" : left};
}

/* These calls make the variable null when there is no result. */
template <class Call> auto result_or_null(Call call) {
    return [call](Hands& h) {
        Given given = result(call)(h);
        if (given.handed == "null") given.handed.clear();
        return given;
    };
}

/* Slots of every direction. Values that came before a failure stay in them. */
Given procedure(Hands& h) {
    struct Slot {
        std::int32_t direction, type, size, length;
        Bytes value = Bytes(24, '.');
    } slots[] = {{TRN_DIRECTION_OUT, TRN_TYPE_TEXT, 24, 0},  {TRN_DIRECTION_OUT, TRN_TYPE_CLOB, 0, 0},
                 {TRN_DIRECTION_IN, TRN_TYPE_INTEGER, 4, 4}, {TRN_DIRECTION_INOUT, TRN_TYPE_INTEGER, 8, 4},
                 {TRN_DIRECTION_OUT, TRN_TYPE_DATE, 12, 0},  {TRN_DIRECTION_RETURN, TRN_TYPE_TEXT, 3, 0}};
    TRN_HANDLE lob = nullptr;
    TRN_Create_Lob(&lob);
    std::int32_t bound = TRN_OK;
    for (std::int32_t position = 1; Slot & slot : slots) {
        void* const value = slot.type == TRN_TYPE_CLOB ? static_cast<void*>(&lob) : slot.value.data();
        bound = std::min(bound, TRN_BindParamByPos(h.handle, position++, slot.direction, slot.type, value,
                                                   slot.size, &slot.length));
    }
    Given given{h.made([&] { return TRN_Execute_procesure(h.handle, "q", nullptr); }), ""};
    if (bound < 0) given.status = bound;
    TRN_ResetParams(h.handle);
    TRN_Get_Lob_data(&lob, slots[1].value.data(), 24);
    TRN_Distroy_Lob(&lob);
    if (given.status < 0) return given;
    for (const Slot& slot : slots)
        given.handed +=
            std::to_string(slot.length) + " " + std::string(slot.value.begin(), slot.value.end()) + "|";
    return given;
}

Given large_object(Hands& h) {
    Reader reader(h.connection, "held");
    if (!reader.next()) return {reader.status, ""};
    Bytes content(2000000);
    TRN_HANDLE lob = nullptr;
    std::int32_t length = -7;
    TRN_Create_Lob(&lob);
    const auto get = [&] { return TRN_GetData(&reader.result, 1, TRN_TYPE_CLOB, &lob, 0, &length); };
    Given given{h.made(get), ""};
    content.resize(std::size_t(std::max(TRN_Get_Lob_data(&lob, content.data(), 2000000), 0)));
    if (length != -7) given.handed = std::to_string(length) + " ";
    if (given.status == TRN_OK) given.handed.append(content.begin(), content.end());
    TRN_Distroy_Lob(&lob);
    return given;
}

Given bound_statement(Hands& h) {
    return {h.made([&] {
                std::int32_t status = bind_text(h.handle, 1, pattern(5000));
                if (status == TRN_OK) status = bind_integer(h.handle, "n", 9);
                return status == TRN_OK ? h.connection.run("q") : status;
            }),
            "", true};
}

Given batch(Hands& h) {
    return {h.made([&] {
                std::int32_t status = integers({1, 2, 3}).bind(h.handle, 1, 2);
                if (status == TRN_OK) status = texts({"a", "b", ""}).bind(h.handle, 0, 2);
                return status == TRN_OK ? TRN_ExecBatch(h.handle, "q", 3) : status;
            }),
            ""};
}

Given batch_of_rows(Hands& h) {
    const std::int32_t types[] = {TRN_TYPE_INTEGER, TRN_TYPE_TEXT};
    const Bytes data = exact(host_bytes(1) + host_bytes(2) + host_bytes(3) + "ab");
    const TRNX_VALUE values[] = {{0, 4}, {12, 1}, {4, 4}, {13, 1}, {8, 4}, {14, 0}};
    return {h.made([&] {
                return TRNX_ExecRows(h.handle, "q", 2, types, 3, values, data.data(),
                                     std::uint32_t(data.size()));
            }),
            ""};
}

Given version(Hands& h) {
    Bytes text(64, '.');
    std::int32_t type = -7, length = -7;
    const std::int32_t status =
        h.made([&] { return TRN_GetAttr(h.handle, 1, text.data(), 64, &type, &length); });
    return {status, status == TRN_OK ? std::string(text.begin(), text.end()) : ""};
}

/* What the calls that prepare a statement give, and its name. */
Given prepare(Hands& h) {
    char name[20] = {};
    const std::int32_t status = h.made([&] { return TRN_Prepare2(h.handle, "q", name); });
    return {status, status == TRN_PREPARED_QUERY ? name : ""};
}
Given prepare_again(Hands& h) {
    TRN_Prepare2(h.handle, "q", nullptr);
    return {h.made([&] { return TRN_Prepare2(h.handle, "q", nullptr); }), ""};
}
Given unprepare(Hands& h) {
    TRN_Prepare2(h.handle, "q", nullptr);
    return {h.made([&] { return TRN_UnPrepare(h.handle, nullptr); }), ""};
}
Given default_statement(Hands& h) {
    TRN_Prepare2(h.handle, "q", nullptr);
    return result(
        [](TRN_HANDLE* handle, Reader& r) { return TRN_Execute2(handle, nullptr, nullptr, &r.result); })(h);
}

const std::string columns = query({{"t.n%label", TRN_WIRE_INTEGER}, {"c", TRN_WIRE_CHAR}}, {});

std::string one_row(std::int64_t number, const std::string& text) {
    return row({integer(number), wire_text(text)});
}

} // namespace

const std::vector<Case>& cases() {
    const auto read = result_or_null([](TRN_HANDLE* h, Reader& r) {
        return TRN_ExecwithDataReader(h, "q", &r.result, &r.columns, &r.rows, &r.affected);
    });
    const auto execute =
        result([](TRN_HANDLE* h, Reader& r) { return TRN_Execute2(h, "S", nullptr, &r.result); });
    const auto execute_by_cursor = result([](TRN_HANDLE* h, Reader& r) {
        char cursor[20];
        return TRN_Execute2(h, "S", cursor, &r.result);
    });
    const auto declare = result([](TRN_HANDLE* h, Reader& r) {
        return TRN_ExecwithServerCursorReader(h, "q", "c", &r.result, &r.columns);
    });
    const auto fetch = result_or_null(
        [](TRN_HANDLE* h, Reader& r) { return TRN_FetchServerCursorRowset(h, "c", &r.result); });
    const auto fetch_by_command = result_or_null([](TRN_HANDLE* h, Reader& r) {
        r.result = nullptr;
        return TRN_FetchServerCursorRowset_V2(h, "FETCH", &r.result);
    });
    const auto ref_cursor = result_or_null([](TRN_HANDLE* h, Reader& r) {
        std::int32_t five = 5;
        return TRN_FetchRefCursorHead(h, "c", &r.result, &r.columns, &r.rows, &five);
    });
    const auto close = plain([](TRN_HANDLE* h) { return TRN_CloseCursor(h, "c"); });
    const auto call = [](Hands& h) {
        return Given{h.made([&] { return TRN_Execute_procesure(h.handle, "q", nullptr); }), "", true};
    };
    const std::string rows = columns + one_row(1, "one") + W("between") + one_row(2, "") + M("more") +
                             row_with_identifier("id", {null_value(), wire_text("four")});
    const std::string described = columns + "$" + be32(2) + wire_text("first") + be32(1) + be32(5) + be32(4) +
                                  wire_text("second") + be32(2) + be32(5) + be32(4);
    const std::string slots = entry("", TRN_DIRECTION_OUT, TRN_WIRE_CHAR, 0, "") +
                              entry("", TRN_DIRECTION_OUT, TRN_WIRE_CLOB, 0, "") +
                              entry("", TRN_DIRECTION_IN, TRN_WIRE_INTEGER, 4, "....") +
                              entry("", TRN_DIRECTION_INOUT, TRN_WIRE_INTEGER, 4, "....") +
                              entry("", TRN_DIRECTION_OUT, TRN_WIRE_CHAR, 0, "");
    const auto output = [](std::int32_t slot, std::int32_t type, const std::string& value) {
        return "P" + be32(slot) + be32(type) + wire_text(value);
    };
    const std::string outputs = M("note") + output(0, 30, "text") + output(1, 32, "content") +
                                output(3, 5, be32(9)) + output(4, 10, be32(11016)) + "O" + be32(9) +
                                wire_text(be_double(0.25)) + rows + output(0, 13, be64(1)) + K;
    const std::string descriptor = query({{"l", TRN_WIRE_CLOB}}, {row({wire_text("C23456789012,1234")})}) + K;
    const std::string pieces = query({{"l", TRN_WIRE_CLOB}}, {}) + "R" + be32(1) + wire_text("first, ") +
                               be32(1) + wire_text("") + be32(9) + wire_text("last") + be32(0);
    const std::string q = command("q"), no_columns = "A" + be32(0);
    const std::string get_lob = command("get lob 'C23456789012,' offset 0 limit 234 ");
    const Case::Exchanges prepared{{command("PREPARE STC0 AS q"), K}};
    const auto batch_of_three = [](const char* name) {
        return request("q", 3 << 16 | 2,
                       integer_entry(1) + text_entry("a", name) +
                           wire_text("\5" + integer(2) + "\x1e" + wire_text("b") + "\5" + integer(3) +
                                     "\x1e" + wire_text("")));
    };
    // clang-format off
    static const std::vector<Case> all{
        {"counts", {}, {{q, W("warning") + M("notice") + I("row 1") + I("row 2") + U(0x4b4b4b4b) + K}}, no_query_of, 0x4b4b4b4b},
        {"errors", {}, {{q, I("row") + E("K is not the end") + D(3) + F("fatal") + K}}, no_query_of, -1},
        {"unwanted outputs", {}, {{q, O("out") + P("put") + U(1) + K}}, no_query_of, 1},
        {"behind unread rows", {{command("left"), U(1) + "A"}}, {{q, rows.substr(1) + U(2) + I("K") + O("o") + P("p") + K + U(3) + K}}, behind_unread_rows, 3},
        {"rows and texts", {}, {{q, rows + K}}, read, 3},
        {"chain", {}, {{q, rows + ";" + U(5) + "," + D(6) + I("identifier") + E("between") + rows + M("end") + K}}, read, 3},
        {"no columns", {}, {{q, no_columns + "RRR" + W("w") + "R" + K}}, read, 4},
        {"every type", {}, {{q, rows_of_every_type() + K}}, read, 3},
        {"short value", {}, {{q, query({{"c", 30}, {"n", 5}}, {row({wire_text("short"), integer(1)}), row({null_value(), integer(2)}), W("w")}) + K}}, single, 0},
        {"long value", {}, {{q, query({{"c", 32}}, {row_with_identifier("id", {wire_text(std::string(80, 'v'))})}) + K}}, single, 0},
        {"insert instead of a value", {}, {{q, I("id") + I("id") + K}}, single, 1},
        {"two chunks", {}, {{q, no_columns + std::string(201, 'R') + K}, {".", ""}}, single, 0},
        {"prepare", {}, {{command("PREPARE STC0 AS q"), described + W("w") + columns + K}}, prepare, TRN_PREPARED_QUERY},
        {"prepare again", prepared, {{command("DEALLOCATE STC0 "), K}, {command("PREPARE STC1 AS q"), described + E("no") + K}}, prepare_again, -1},
        {"default statement", prepared, {{command("? STC0 "), rows + K}}, default_statement, 3},
        {"named statement", {}, {{command("? S "), rows + ";" + E("text") + U(1) + I("id") + K}}, execute, -1},
        {"cursor of a statement", {}, {{command("DECLARE  S_CUR CURSOR FOR S "), columns + ";" + E("text") + K}}, execute_by_cursor, -1},
        {"opened cursor of a statement", {}, {{command("DECLARE  S_CUR CURSOR FOR S "), columns + K}, {command("OPEN S_CUR ;"), K}}, execute_by_cursor, 0},
        {"unprepare", prepared, {{command("DEALLOCATE STC0 "), K}}, unprepare, 0},
        {"refused unprepare", prepared, {{command("DEALLOCATE STC0 "), E("kept") + K}}, unprepare, -1, TRN_ERR_NETWORK, -1},
        {"cursor", {}, {{command("DECLARE c CURSOR FOR q "), columns + W("w") + K}, {command("OPEN c ;"), K}}, declare, 0},
        {"refused cursor", {}, {{command("DECLARE c CURSOR FOR q "), columns + K}, {command("OPEN c ;"), E("text") + K}}, declare, -1, TRN_ERR_NETWORK, -1},
        {"fetch", {}, {{command("FETCH  20000  FROM  c "), rows + K}}, fetch, 3},
        {"fetch by a command", {}, {{command("FETCH"), rows + K}}, fetch_by_command, 3},
        {"fetch into a result", {{command("held"), rows + U(5) + K}}, {{command("FETCH"), rows + K}}, fetch_again, 3},
        {"ref cursor", {}, {{command("FETCH 5  FROM c "), rows + ";" + E("e") + K}}, ref_cursor, 0, 0, 0},
        {"close of a cursor", {}, {{command("CLOSE c "), K}}, close, 0},
        {"refused close of a cursor", {}, {{command("CLOSE c "), E("kept")}}, close, -1},
        {"procedure", {}, {{request("q", 5, slots), outputs}}, procedure, 3},
        {"procedure without slots", {}, {{q, O("o") + M("m") + P("p") + U(5) + K}}, call, 5},
        {"large object", {{command("held"), descriptor}}, {{get_lob, pieces}}, large_object, 0},
        {"parameters", {}, {{request("q", 2, text_entry(pattern(5000)) + integer_entry(9, "n")), U(2) + K}}, bound_statement, 2},
        {"batch", {}, {{batch_of_three("n"), U(3) + K}}, batch, 0},
        {"batch of rows", {}, {{batch_of_three(""), U(3) + K}}, batch_of_rows, 0},
        {"version", {}, {{command("show version"), query({{"v", 30}}, {row({wire_text("1.0")})}) + K}}, version, 0},
    };
    // clang-format on
    return all;
}

const Case& case_named(const std::string& name) {
    for (const Case& each : cases())
        if (each.name == name) return each;
    throw std::logic_error(name);
}

const std::vector<Case>& large_cases() {
    const auto with = [&](const std::string& name, const std::string& reply, std::int32_t status) {
        Case large = case_named(name);
        large.name += ", large";
        large.own.back().second = reply;
        large.status = status;
        return large;
    };
    static const std::vector<Case> all = [&] {
        std::string many = columns;
        for (int i = 0; i < 3000; ++i)
            many += one_row(i, std::string(std::size_t(i) % 400, 'm'));
        const std::string long_rows =
            columns + one_row(2, std::string(300, 'l')) + M("more") + one_row(3, std::string(70000, 'h'));
        const std::string pieces = query({{"l", TRN_WIRE_CLOB}}, {}) + "R" + be32(1) +
                                   wire_text(std::string(1000000, 'p')) + be32(1) +
                                   wire_text(std::string(300000, 'q')) + be32(0);
        Case copied = with("large object", K, 0);
        copied.own.clear();
        copied.earlier = {
            {command("held"),
             query({{"l", TRN_WIRE_CLOB}}, {row({wire_text("c" + std::string(1000000, 'v'))})}) + K}};
        return std::vector<Case>{with("rows and texts", many + K, 3000),
                                 with("rows and texts", long_rows + K, 2),
                                 with("rows and texts", "A" + be32(1) + be32(1025) + "RR" + K, 2),
                                 with("counts", W(std::string(3000000, 'w')) + U(1) + K, 1),
                                 with("large object", pieces, 0),
                                 copied};
    }();
    return all;
}
