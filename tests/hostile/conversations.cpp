/*
 * The conversations; see the header.
 */
#include "conversations.h"

#include "encrypted_channel.h"
#include "read_all.h"

#include <algorithm>

Client::~Client() {
    TRN_CloseConn(&connection.handle);
    Release_IpsAttrs(&addresses);
}

void Client::open(std::uint16_t port, const std::string& settings) {
    const std::string text =
        "server=127.0.0.1;port=" + std::to_string(port) + ";db=d;user=u;pwd=p;" + settings;
    note(settings.starts_with("IPS=") ? TRN_OpenConn_Ips(text.c_str(), 1, &addresses, &connection.handle)
                                      : TRN_OpenConn(text.c_str(), &connection.handle));
}

void Client::note(std::int32_t status) {
    known = known && is_known_status(status);
    statuses += (statuses.empty() ? "" : " ") + std::to_string(status);
}

namespace {

/* The first rows as large objects, the rest as texts. */
Given read_texts(Hands& h) {
    Reader reader(h.connection, "q");
    Given given{reader.status, ""};
    std::vector<char> room(100000);
    for (int row = 0; row < 3 && reader.next(); ++row)
        for (std::int32_t column = 1; column <= 2; ++column) {
            TRN_HANDLE lob = nullptr;
            TRN_Create_Lob(&lob);
            TRN_GetData(&reader.result, column, TRN_TYPE_CLOB, &lob, 0, nullptr);
            while (const std::int32_t length = std::max(TRN_Get_Lob_data(&lob, room.data(), 100000), 0))
                given.handed.append(room.data(), std::size_t(length));
            TRN_Distroy_Lob(&lob);
        }
    given.handed += reader.transcript();
    return given;
}

/* A content of two chunks goes out by a set of the application's. */
Given send_lob(Hands& h) {
    TRN_HANDLE lob = nullptr, set = nullptr;
    const std::vector<char> content(1100000, 'c');
    const std::int32_t before =
        std::min({TRN_Create_Lob(&lob), TRN_Put_Lob_data(&lob, content.data(), std::int32_t(content.size())),
                  TRN_Put_Lob_data(&lob, nullptr, TRN_LOB_END), TRN_CreateParams(&set),
                  TRN_BindParamByPos(&set, 1, TRN_DIRECTION_IN, TRN_TYPE_CLOB, &lob, 0, nullptr),
                  TRN_BindParams2Conn(h.handle, &set)});
    const std::int32_t status = h.connection.run("q");
    TRN_Distroy_Lob(&lob);
    TRN_Drop(&set);
    return {before < 0 ? before : status, "", true};
}

/* By the names that the server's description gives. */
Given bind_described(Hands& h) {
    const std::int32_t status = bind_integer(h.handle, "FIRST", 1);
    return {status == TRN_OK ? bind_integer(h.handle, "second", 2) : status, ""};
}

const std::string columns = query({{"t.n%label", TRN_WIRE_INTEGER}}, {});
const std::string two_rows = columns + row({integer(1)}) + row({null_value()});

std::string one(std::int32_t type, const std::string& value) {
    return query({{"c", type}}, {row({value})}) + K;
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

/* A case behind what is there already. */
void add(Conversation& conversation, const Case& added) {
    for (const Case::Exchanges* exchanges : {&added.earlier, &added.own})
        for (const auto& [request, reply] : *exchanges)
            conversation.bytes += reply.empty() || reply.ends_with(K) ? reply : reply + K;
    conversation.calls.push_back(added.call);
    conversation.statuses += " " + std::to_string(added.status);
}

/* The table of exchanges, several on one connection; a case with calls that prepare begins a new one. */
std::vector<Conversation> exchanges() {
    std::vector<Conversation> all;
    for (const Case& each : cases()) {
        if (all.empty() || !each.earlier.empty() || all.back().bytes.size() > 300)
            all.push_back({each.name, "lob_ret=descriptor", "K", {}, "2"});
        add(all.back(), each);
    }
    return all;
}

} // namespace

const std::vector<Conversation>& conversations() {
    const auto named = [](const char* name) { return case_named(name).call; };
    static const auto count = named("counts"), single = named("short value"), read = named("rows and texts"),
                      call = named("procedure without slots"), procedure = named("procedure"),
                      prepare = named("prepare"), execute = named("named statement"),
                      unprepare = named("unprepare"), declare = named("cursor"), fetch = named("fetch"),
                      ref_cursor = named("ref cursor"), close = named("close of a cursor"),
                      batch = named("batch"), version = named("version");
    static const std::string description = "$" + be32(2) + wire_text("first") + be32(1) + be32(5) + be32(4) +
                                           wire_text("second") + be32(2) + be32(30) + be32(64);
    static const std::string piece_of_lob = be32(1) + wire_text("piece");
    static const std::string lob_row =
        query({{"c", 32}, {"b", 34}, {"i", 32}},
              {row({wire_text("C23456789012,1234"), wire_text("B234567890123 12"), wire_text("cdata")})});
    // clang-format off
    static const std::vector<Conversation> others = {
        {"counts and texts", "char_set=utf8", "NabcdK" + D(2) + K + K + E("no") + F("never") + W("well") + M("so") + K + W("w") + E(std::string(30, 'e')) + K, {count, count, count, count}, "2 2 0 1 -1"},
        {"unwanted outputs", "", "K" + O("out") + P("put") + K + O("out") + K, {count, call}, "2 -56 -56"},
        {"single values", "", "K" + one(5, null_value()) + one(32, null_value()) + one(9, wire_text(be_double(0.5))) + U(1) + K + D(1) + K + E("e") + K, {single, single, single, single, single, single}, "2 0 0 0 2 3 -1"},
        {"failed reads", "", "K" + two_rows + E("broken") + K + W("w") + K + F("f") + K + K, {read, read, read, read}, "2 2 -1 -1 0"},
        {"chunks of rows", "", "K" + query({}, {std::string(450, 'R')}) + K + U(1) + K, {procedure, count}, "2 200 1"},
        {"long version", "", "K" + one(32, wire_text(std::string(70, 'v'))), {version}, "2 0"},
        {"described statement", "return_rowid=on", "K" + columns + description + K + two_rows + K + E("no values") + K + K + K, {prepare, bind_described, execute, execute, unprepare}, "2 19665 0 2 -1 0"},
        {"refusals", "", "NabcdK" + two_rows + K + M("m") + description + K + E("no table") + K + E("no cursor") + K + E("e") + K + E("e") + K + E("e") + K, {batch, prepare, declare, fetch, ref_cursor, close}, "2 2 -1 -1 -1 0 -1"},
        {"large objects", "lob_ret=on", "K" + lob_row + K + columns + "R" + piece_of_lob + piece_of_lob + be32(0) + K + columns + "R" + be32(0) + K + U(1) + K, {read, count}, "2 1 1"},
        {"refusal", "", "E" + wire_text("who are you"), {count, single, read}, "-9 -4 -4 -4"},
        {"address list", "IPS=127.0.0.2,127.0.0.1", "K" + U(1) + K + one(30, wire_text("version")), {count, version}, "0 1 0"},
    };
    // clang-format on
    static const std::vector<Conversation> all = [&] {
        std::vector<Conversation> made = exchanges();
        made.insert(made.end(), others.begin(), others.end());
        made.push_back({"encrypted", "use_ssl=on", public_numbers() + "NabcdK", {}, "2", true});
        for (const char* name : {"rows and texts", "short value", "counts"})
            add(made.back(), case_named(name));
        return made;
    }();
    return all;
}

const std::vector<Conversation>& large_conversations() {
    const auto count = case_named("counts").call, single = case_named("short value").call;
    static const std::string large(70000, 'l'), huge(1300000, 'h');
    static const std::vector<Column> described = {{"c", TRN_WIRE_CHAR}, {"x", TRN_WIRE_BLOB}};
    static const std::string rows = hundreds_of_rows();
    static const std::string values =
        query(described, {row({wire_text("short"), wire_text(large)}), row({wire_text(large), null_value()}),
                          M(large), row({null_value(), wire_text(huge)}), rows});
    // clang-format off
    static const std::vector<Conversation> all = {
        {"hundreds of rows", "", "K" + query(described, {rows, rows}) + ";" + U(75) + I("row") + query(described, {rows}) + K + U(1) + K, {read_texts, count}, "2 700 1"},
        {"large values", "", "K" + values + U(1) + K, {read_texts}, "2 703"},
        {"large values, encrypted", "use_ssl=on", public_numbers() + "K" + query(described, {row({wire_text(large), null_value()}), rows}) + K, {read_texts}, "2 701", true},
        {"large texts", "", "K" + E(large) + K + one(32, wire_text(large)), {count, single}, "2 -1 0"},
        {"large object sent", "", "K" + U(1) + K, {send_lob}, "2 1"},
    };
    // clang-format on
    return all;
}

void converse(ReplayPeer& peer, const Conversation& conversation, Recording recording, Client& client) {
    const std::size_t longest_value = recording.bytes.size();
    std::string* const log = client.logging ? &client.log : nullptr;
    peer.serve(std::move(recording));
    client.open(peer.port(), conversation.settings);
    TRN_HANDLE* const handle = &client.connection.handle;
    Hands hands(client.connection);
    hands.read = [&](Reader& reader) {
        client.known = read_all(&reader.result, longest_value, log) && client.known;
        return "";
    };
    for (const auto& call : conversation.calls) {
        const Given given = call(hands);
        char id[32] = {};
        std::array<std::int32_t, 3> numbers{-1};
        std::array<char, 64> value{};
        client.note(given.counts && !is_known_status(given.status) ? TRN_OK : given.status);
        TRN_GetLastInsertId(handle, id);
        TRN_GetFunReturnType(handle, numbers.data());
        for (std::int32_t attribute = 2; attribute <= 13; ++attribute)
            TRN_GetAttr(handle, attribute, value.data(), 64, &numbers[1], &numbers[2]);
        client.known = read_error(handle, log) && client.known;
        if (log) *log += given.handed + std::string(id, sizeof id) + std::to_string(numbers[0]);
    }
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
    const std::int32_t connected = TRN_ReconnectConn(&client.connection.handle);
    if (connected != TRN_RECONNECTED) return "reconnect gave " + std::to_string(connected);
    SingleValue value(client.connection, "q");
    const std::string taken = value.take();
    if (value.status != TRN_OK || value.word != TRN_WIRE_CHAR || taken != "right")
        return "the value has status " + std::to_string(value.status) + " and is \"" + taken + "\"";
    const std::int32_t closed = TRN_CloseConn(&client.connection.handle);
    return closed == TRN_OK ? "" : "close gave " + std::to_string(closed);
}
