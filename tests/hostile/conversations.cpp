/*
 * The conversations; see the header.
 */
#include "conversations.h"

#include "client.h"
#include "encrypted_channel.h"
#include "wire_bytes.h"

#include <algorithm>
#include <array>
#include <cstring>

using namespace test_support;
using namespace std::string_literals;

Client::~Client() {
    TRN_CloseConn(&handle);
    Release_IpsAttrs(&addresses_);
}

void Client::open(const std::string& text) {
    const bool list = text.find("IPS=") != std::string::npos;
    status(list ? TRN_OpenConn_Ips(text.c_str(), 1, &addresses_, &handle)
                : TRN_OpenConn(text.c_str(), &handle));
}

void Client::status(std::int32_t status) {
    known = known && is_known_status(status);
    statuses += (statuses.empty() ? "" : " ") + std::to_string(status);
}

void Client::bytes(const void* data, std::size_t size) {
    if (logging_) log.append(static_cast<const char*>(data), size);
}

void Client::results(TRN_HANDLE* result) {
    known = read_all(result, longest_value_, log_or_none()) && known;
}

void Client::errors() {
    char id[32] = {};
    std::int32_t type = -1;
    TRN_GetLastInsertId(&handle, id);
    TRN_GetFunReturnType(&handle, &type);
    bytes(id, sizeof id);
    bytes(&type, sizeof type);
    known = read_error(&handle, log_or_none()) && known;
}

namespace {

/* The count of an update is the server's: any number of 32 bits. */
void count_only(Client& client) {
    const std::int32_t count = TRN_Execute_no_query(&client.handle, "q");
    client.status(is_known_status(count) ? count : 0);
    client.errors();
}

void single_value(Client& client) {
    std::array<char, 64> area{};
    std::uint32_t type = 0;
    const std::int32_t status = TRN_Execute_query_with_one(&client.handle, "q", area.data(), &type);
    client.status(status);
    if (status == TRN_OK && type >= TRN_HANDED_OVER) {
        void* value;
        std::uint32_t length;
        std::memcpy(&length, area.data(), sizeof length);
        std::memcpy(&value, area.data() + 4, sizeof value);
        if (value != nullptr) client.bytes(value, length);
        TRN_FreePtr(&value);
        area.fill(0);
    }
    client.bytes(area.data(), area.size());
    client.errors();
}

void read(Client& client) {
    TRN_HANDLE result = nullptr;
    std::int32_t columns, affected;
    std::int64_t rows;
    client.status(TRN_ExecwithDataReader(&client.handle, "q", &result, &columns, &rows, &affected));
    client.results(&result);
    client.errors();
}

/* The first rows as large objects, the rest as texts. */
void read_texts(Client& client) {
    Reader reader;
    client.status(TRN_ExecwithDataReader(&client.handle, "q", &reader.result, nullptr, nullptr, nullptr));
    std::vector<char> room(100000);
    for (int row = 0; row < 3 && reader.next(); ++row)
        for (std::int32_t column = 1; column <= 2; ++column) {
            TRN_HANDLE lob = nullptr;
            TRN_Create_Lob(&lob);
            TRN_GetData(&reader.result, column, TRN_TYPE_CLOB, &lob, 0, nullptr);
            while (const std::int32_t length = std::max(TRN_Get_Lob_data(&lob, room.data(), 100000), 0))
                client.bytes(room.data(), static_cast<std::size_t>(length));
            TRN_Distroy_Lob(&lob);
        }
    const std::string texts = reader.transcript();
    client.bytes(texts.data(), texts.size());
    client.errors();
}

void attributes(Client& client) {
    std::array<char, 4096> value{};
    std::int32_t type = 0, length = 0;
    for (const int version : {1, 2})
        client.status(TRN_GetAttr(&client.handle, 1, value.data(), 64 * version * version, &type, &length));
    client.bytes(value.data(), value.size());
    for (std::int32_t id = 2; id <= 13; ++id)
        TRN_GetAttr(&client.handle, id, value.data(), 64, &type, &length);
    client.errors();
}

void bind_by_name(Client& client, const char* name, std::int32_t value) {
    std::int32_t length = 4;
    client.status(TRN_BindParamByName(&client.handle, name, TRN_DIRECTION_IN, TRN_TYPE_INTEGER, &value, 4,
                                      nullptr, &length));
}

void named_statement(Client& client) {
    char name[20] = {};
    TRN_HANDLE result = nullptr;
    client.status(TRN_Prepare2(&client.handle, "q", name));
    bind_by_name(client, "FIRST", 1);
    bind_by_name(client, "second", 2);
    client.status(TRN_Execute2(&client.handle, name, nullptr, &result));
    client.results(&result);
    client.status(TRN_Execute2(&client.handle, name, nullptr, nullptr));
    client.errors();
    client.status(TRN_UnPrepare(&client.handle, name));
}

/* The second one is left to the close of the connection. */
void default_statement(Client& client) {
    TRN_HANDLE result = nullptr;
    client.status(TRN_Prepare2(&client.handle, "q", nullptr));
    client.status(TRN_Execute2(&client.handle, nullptr, nullptr, &result));
    client.results(&result);
    client.status(TRN_UnPrepare(&client.handle, nullptr));
    client.errors();
    client.status(TRN_Prepare2(&client.handle, "q", nullptr));
}

void fetch(Client& client, const char* cursor) {
    TRN_HANDLE rowset = nullptr, none = nullptr;
    client.status(TRN_FetchServerCursorRowset(&client.handle, cursor, &rowset));
    client.status(TRN_FetchServerCursorRowset_V2(&client.handle, "FETCH", &rowset));
    client.status(TRN_FetchServerCursorRowset_V2(&client.handle, "FETCH", &none));
    client.results(&rowset);
    client.status(TRN_CloseCursor(&client.handle, cursor));
    client.errors();
}

void cursor_of_statement(Client& client) {
    char name[20] = {}, cursor[64] = {};
    TRN_HANDLE columns = nullptr;
    client.status(TRN_Prepare2(&client.handle, "q", name));
    client.status(TRN_Execute2(&client.handle, name, cursor, &columns));
    client.results(&columns);
    fetch(client, cursor);
}

void cursor_of_query(Client& client) {
    TRN_HANDLE columns = nullptr;
    std::int32_t count = 0;
    bind_by_name(client, "a", 1);
    client.status(TRN_ExecwithServerCursorReader(&client.handle, "q", "c", &columns, &count));
    client.results(&columns);
    fetch(client, "c");
}

void ref_cursor(Client& client) {
    TRN_HANDLE result = nullptr;
    std::int32_t columns, wanted = 5;
    std::int64_t rows;
    client.status(TRN_FetchRefCursorHead(&client.handle, "c", &result, &columns, &rows, &wanted));
    client.results(&result);
}

/* An input, an output, both in one, and the return value. */
void procedure(Client& client) {
    struct Slot {
        std::int32_t direction, type, size;
        std::array<char, 24> value{'7'};
        std::int32_t length = 4;
    } slots[] = {{TRN_DIRECTION_IN, TRN_TYPE_INTEGER, 4},
                 {TRN_DIRECTION_OUT, TRN_TYPE_TEXT, 24},
                 {TRN_DIRECTION_INOUT, TRN_TYPE_INTEGER, 8},
                 {TRN_DIRECTION_OUT, TRN_TYPE_DATE, 12},
                 {TRN_DIRECTION_RETURN, TRN_TYPE_TEXT, 3}};
    for (std::int32_t position = 1; Slot & slot : slots)
        client.status(TRN_BindParamByPos(&client.handle, position++, slot.direction, slot.type,
                                         slot.value.data(), slot.size, &slot.length));
    client.status(TRN_Execute_procesure(&client.handle, "q", nullptr));
    for (const Slot& slot : slots) {
        client.bytes(slot.value.data(), slot.value.size());
        client.bytes(&slot.length, sizeof slot.length);
    }
    client.errors();
}

void procedure_without_slots(Client& client) {
    client.status(TRN_Execute_procesure(&client.handle, "q", nullptr));
    client.errors();
}

void batch(Client& client) {
    std::int32_t numbers[] = {1, 2, 3}, lengths[] = {4, 4, -1}, sizes[] = {4, 4, 4};
    std::int32_t words[] = {4, 0x61616161, 4, 0x62626262, 4, 0x63636363};
    client.status(TRN_BindParamArrayByPos(&client.handle, 1, 2, TRN_DIRECTION_IN, TRN_TYPE_INTEGER, 3,
                                          numbers, sizeof numbers, lengths));
    client.status(TRN_BindParamArrayByName(&client.handle, "w", 2, TRN_DIRECTION_IN, TRN_TYPE_TEXT, 3, words,
                                           sizeof words, sizes));
    client.status(TRN_ExecBatch(&client.handle, "q", 3));
    client.errors();
}

/* A content of two chunks goes out by a set of the application's. */
void send_lob(Client& client) {
    TRN_HANDLE lob = nullptr, set = nullptr;
    const std::vector<char> content(1100000, 'c');
    client.status(TRN_Create_Lob(&lob));
    client.status(TRN_Put_Lob_data(&lob, content.data(), static_cast<std::int32_t>(content.size())));
    client.status(TRN_Put_Lob_data(&lob, nullptr, TRN_LOB_END));
    client.status(TRN_CreateParams(&set));
    client.status(TRN_BindParamByPos(&set, 1, TRN_DIRECTION_IN, TRN_TYPE_CLOB, &lob, 0, nullptr));
    client.status(TRN_BindParams2Conn(&client.handle, &set));
    count_only(client);
    TRN_Distroy_Lob(&lob);
    TRN_Drop(&set);
}

const std::string K = end_of_reply;
const std::string columns = query({{"t.n%label", TRN_WIRE_INTEGER}}, {});
const std::string two_rows = columns + row({integer(1)}) + row({null_value()});
constexpr auto U = update_count, D = delete_count;
constexpr auto I = inserted, E = server_error, F = fatal_error, W = warning, M = notice;
constexpr auto O = output_value, P = output_block;

std::string one(std::int32_t type, const std::string& value) {
    return query({{"c", type}}, {row({value})}) + K;
}

std::string output(std::int32_t slot, std::int32_t type, const std::string& value) {
    return "P" + be32(slot) + be32(type) + wire_text(value);
}

std::string repeated(const std::string& text, int count) {
    std::string all;
    while (count-- > 0)
        all += text;
    return all;
}

std::string hundreds_of_rows() {
    std::string all;
    for (std::size_t i = 0; i < 700; ++i) {
        const std::vector<std::string> values = {wire_text(std::string(i % 50, 'K')),
                                                 i % 3 ? null_value() : wire_text(be64(1 << i % 30))};
        all += i % 5 ? row(values) : row_with_identifier("id", values);
        if (i % 100 == 99) all += M("still reading");
    }
    return all;
}

const std::string description = "$" + be32(2) + wire_text("first") + be32(1) + be32(5) + be32(4) +
                                wire_text("second") + be32(2) + be32(30) + be32(64);
const std::string piece_of_lob = be32(1) + wire_text("piece");

} // namespace

const std::vector<Conversation>& conversations() {
    static const std::string plain_rows =
        query({{"t.a%b", 5}, {"c", 30}},
              {row({integer(1), wire_text("one")}), M("in between"), row({null_value(), wire_text("")}),
               W("more"), row_with_identifier("row 3", {integer(3), null_value()}), E("less")});
    static const std::string fetched = two_rows + K + M("note") + two_rows + K + two_rows + K;
    static const std::string lob_row =
        query({{"c", 32}, {"b", 34}, {"i", 32}},
              {row({wire_text("C23456789012,1234"), wire_text("B234567890123 12"), wire_text("cdata")})});
    // clang-format off
    static const std::vector<Conversation> all = {
        {"counts", "", "K" + U(7) + K + D(2) + K + I("row 1") + I("row 2") + K + K, {count_only, count_only, count_only, count_only}, "2 7 2 2 0"},
        {"texts", "char_set=utf8", "NabcdK" + E("no") + F("never") + W("well") + M("so") + K + W("w") + E(std::string(30, 'e')) + K, {count_only, count_only}, "2 1 -1"},
        {"unwanted outputs", "", "K" + O("out") + P("put") + K + O("out") + K, {count_only, procedure_without_slots}, "2 -56 -56"},
        {"single values", "", "K" + one(30, wire_text("short")) + one(32, wire_text("handed over")) + one(5, null_value()) + one(9, wire_text(be_double(0.5))),
         {single_value, single_value, single_value, single_value}, "2 0 0 0 0"},
        {"no single values", "", "K" + U(1) + K + I("id") + K + D(1) + K + E("e") + K, {single_value, single_value, single_value, single_value}, "2 2 1 3 -1"},
        {"rows and texts", "return_rowid=on", "NabcdK" + plain_rows + K, {read}, "2 3"},
        {"every type", "", "K" + rows_of_every_type() + K, {read}, "2 3"},
        {"chain", "", "K" + two_rows + ";" + U(5) + ";" + I("row") + D(6) + "," + two_rows + ";" + columns + K, {read}, "2 0"},
        {"failed reads", "", "K" + two_rows + E("broken") + K + W("w") + K + F("f") + K + K, {read, read, read, read}, "2 2 -1 -1 0"},
        {"chunks of rows", "", "K" + query({}, {repeated("R", 201)}) + K + query({}, {repeated("R", 450)}) + K + U(1) + K, {single_value, procedure, count_only}, "2 0 0 0 0 0 0 200 1"},
        {"version", "", "K" + one(30, wire_text("version 1")) + one(32, wire_text(std::string(70, 'v'))), {attributes}, "2 0 0"},
        {"named statement", "", "K" + columns + description + K + two_rows + K + E("no values") + K + K, {named_statement}, "2 19665 0 0 2 -1 0"},
        {"default statement", "", "NabcdK" + M("m") + description + K + U(1) + K + E("e") + K + K + K, {default_statement}, "2 -1 0 -1 0"},
        {"cursor of a statement", "", "K" + K + columns + K + K + fetched + K, {cursor_of_statement}, "2 0 0 2 2 2 0"},
        {"cursor of a query", "", "K" + columns + K + K + fetched + E("gone") + K, {cursor_of_query}, "2 0 0 2 2 2 -1"},
        {"refused cursor", "", "K" + E("no table") + K + E("no cursor") + K + E("no cursor") + K + two_rows + K + K + K, {cursor_of_query}, "2 0 -1 -1 2 0 0"},
        {"ref cursor", "", "K" + two_rows + U(1) + K + E("e") + K, {ref_cursor, ref_cursor}, "2 0 0"},
        {"procedure", "", "K" + M("m") + output(1, 30, "text") + output(2, 5, be32(9)) + output(3, 10, be32(11016)) + "O" + be32(9) + wire_text(be_double(0.25)) + two_rows + output(1, 13, be64(1)) + K,
         {procedure}, "2 0 0 0 0 0 2"},
        {"batch", "", "NabcdK" + U(3) + K + two_rows + K, {batch, batch}, "2 0 0 0 0 0 2"},
        {"large objects", "lob_ret=on", "K" + lob_row + K + columns + "R" + piece_of_lob + piece_of_lob + be32(0) + K + columns + "R" + be32(0) + K + U(1) + K, {read, count_only}, "2 1 1"},
        {"unread replies", "", "K" + two_rows + U(1) + I("id") + E("e") + O("o") + P("p") + two_rows + K + U(3) + K + one(5, integer(1)), {count_only, count_only, single_value}, "2 0 3 0"},
        {"refusal", "", "E" + wire_text("who are you"), {count_only, single_value, read}, "-9 -4 -4 -4"},
        {"address list", "IPS=127.0.0.2,127.0.0.1", "K" + U(1) + K + one(30, wire_text("version")), {count_only, attributes}, "0 1 0 -4"},
        {"encrypted", "use_ssl=on", public_numbers() + "NabcdK" + plain_rows + K + one(30, wire_text("short")) + U(4) + K, {read, single_value, count_only}, "2 3 0 4", true},
    };
    // clang-format on
    return all;
}

const std::vector<Conversation>& large_conversations() {
    static const std::string large(70000, 'l'), huge(1300000, 'h');
    static const std::vector<Column> described = {{"c", TRN_WIRE_CHAR}, {"x", TRN_WIRE_BLOB}};
    static const std::string rows = hundreds_of_rows();
    static const std::string values =
        query(described, {row({wire_text("short"), wire_text(large)}), row({wire_text(large), null_value()}),
                          M(large), row({null_value(), wire_text(huge)}), rows});
    // clang-format off
    static const std::vector<Conversation> all = {
        {"hundreds of rows", "", "K" + query(described, {rows, rows}) + ";" + U(75) + I("row") + query(described, {rows}) + K + U(1) + K, {read_texts, count_only}, "2 700 1"},
        {"large values", "", "K" + values + U(1) + K, {read_texts}, "2 703"},
        {"large values, encrypted", "use_ssl=on", public_numbers() + "K" + query(described, {row({wire_text(large), null_value()}), rows}) + K, {read_texts}, "2 701", true},
        {"large texts", "", "K" + E(large) + K + one(32, wire_text(large)), {count_only, single_value}, "2 -1 0"},
        {"large object sent", "", "K" + U(1) + K, {send_lob}, "2 0 0 0 0 0 0 1"},
    };
    // clang-format on
    return all;
}

void converse(ReplayPeer& peer, const Conversation& conversation, Recording recording, Client& client) {
    peer.serve(std::move(recording));
    client.open("server=127.0.0.1;port=" + std::to_string(peer.port()) + ";db=d;user=u;pwd=p;" +
                conversation.settings);
    for (const auto call : conversation.calls)
        call(client);
}

std::vector<std::string> flipped(const std::string& bytes, std::size_t offset) {
    std::vector<std::string> all(3, bytes);
    for (std::size_t i = 0; i < 3; ++i)
        all[i][offset] = static_cast<char>(bytes[offset] ^ "\x01\x80\xff"[i]);
    return all;
}

std::vector<std::string> recounted(const std::string& bytes, std::size_t offset) {
    std::vector<std::string> all;
    if (offset + 4 > bytes.size()) return all;
    std::uint32_t number = 0;
    for (std::size_t i = offset; i < offset + 4; ++i)
        number = number << 8 | static_cast<unsigned char>(bytes[i]);
    for (const std::uint32_t other : {0u, number + 1, 0xFFFFFFFFu, 0xFFFFFFFEu, 0x7FFFFFFFu, 0x80000000u})
        if (other != number) all.push_back(std::string(bytes).replace(offset, 4, be32(other)));
    return all;
}

std::string fault_after(ReplayPeer& peer, const Conversation& conversation, Client& client) {
    const std::string sound = "K" + one(TRN_WIRE_CHAR, wire_text("right"));
    peer.serve({conversation.encrypted ? public_numbers() + sound : sound, Ending::orderly, SIZE_MAX,
                conversation.encrypted});
    const std::int32_t connected = TRN_ReconnectConn(&client.handle);
    if (connected != TRN_RECONNECTED) return "reconnect gave " + std::to_string(connected);
    char area[64] = {};
    std::uint32_t type = 0;
    const std::int32_t status = TRN_Execute_query_with_one(&client.handle, "q", area, &type);
    if (status != TRN_OK || type != TRN_WIRE_CHAR || area != "right"s)
        return "the value has status " + std::to_string(status) + " and is \"" + area + "\"";
    const std::int32_t closed = TRN_CloseConn(&client.handle);
    return closed == TRN_OK ? "" : "close gave " + std::to_string(closed);
}
