/*
 * Rows that lie across the end of the receive buffer. A filler row, of which the server sends a part,
 * stands at the buffer's beginning; when the rest has come the buffer is full to its last byte, and its
 * end lies where the filler's size puts it.
 */
#include "client_socket.h"
#include "parameter_wire.h"

#include <set>

namespace {

constexpr std::size_t buffer = tarn::recv_buffer_size;
constexpr std::size_t fixed_part = 12; /* of a row's columns: two lengths and an integer */

/* Rows of a text and a number. */
const std::string columns = query({{"c", TRN_WIRE_CHAR}, {"n", TRN_WIRE_INTEGER}}, {});

/* A row whose columns take so many bytes. */
struct Row {
    std::size_t size;
    std::int32_t number;
    enum Form {
        usual,
        with_identifier,
        behind_text
    } form = usual;

    std::string text() const { return pattern(size).substr(fixed_part); }
    std::string bytes() const {
        const std::vector<std::string> values{wire_text(text()), integer(number)};
        if (form == with_identifier) return row_with_identifier("identifier", values);
        return (form == behind_text ? W("text") : "") + row(values);
    }
};

struct Reply {
    std::string bytes;
    std::vector<Row> rows;
    std::size_t cut; /* inside the filler */

    void add(const Row& row) {
        bytes += row.bytes();
        rows.push_back(row);
    }
    /* Rows of 14 bytes, and then one that begins at the front of the buffer, with offset bytes left behind
     * it. */
    static Reply up_to_edge(std::size_t offset, int rows_before = 0) {
        Reply reply{columns, {}, 0};
        for (int i = 0; i < rows_before; ++i)
            reply.add({14, i});
        const std::size_t filler = buffer - offset;
        reply.cut = reply.bytes.size() + 1 + std::min<std::size_t>(filler / 2, 50000);
        reply.add({filler, rows_before});
        return reply;
    }
};

bool is_row(Reader& reader, const Row& row) {
    std::int32_t number = -1;
    return reader.next() && reader.text(1) == row.text() &&
           TRN_GetData(&reader.result, 2, TRN_TYPE_INTEGER, &number, 4, nullptr) == TRN_OK &&
           number == row.number;
}

/* One connection for many replies. */
class buffer_edge : public testing::Test {
  protected:
    using Make = std::function<Reply(std::size_t round)>;

    /* Asks for one reply after another; each is read by the call given and followed by one that must be in
     * step. */
    void serve(std::size_t rounds, const Make& make, bool chunks,
               const std::function<void(const Reply&, std::size_t)>& ask) {
        ClientSocket client;
        ScriptedServer server(logged_in({{"answer", [&](ScriptedServer& peer) {
                                              for (std::size_t round = 0; round < rounds; ++round)
                                                  answer(peer, client, make(round), chunks);
                                          }}}));
        Connection connection(connection_string(server.port()));
        ASSERT_EQ(connection.opened, TRN_OPENED);
        connection_ = &connection;
        client.set(connection.handle);
        for (std::size_t round = 0; round < rounds && !HasFailure(); ++round) {
            ask(make(round), round);
            EXPECT_EQ(connection.run("next"), 7) << round;
        }
    }
    static void answer(ScriptedServer& peer, const ClientSocket& client, const Reply& reply, bool chunks) {
        expect_command("q").run(peer);
        client.send_cut(peer, reply.bytes + K, {reply.cut});
        if (chunks && reply.rows.size() > 200) expect(".").run(peer);
        expect_command("next").run(peer);
        send(U(7) + K).run(peer);
    }
    void read_all(const Reply& reply, std::size_t round) {
        Reader reader(*connection_, "q");
        ASSERT_EQ(reader.status, std::int32_t(reply.rows.size() % 20000)) << round;
        ASSERT_EQ(reader.rows, std::int64_t(reply.rows.size())) << round;
        for (std::size_t i = 0; i < reply.rows.size(); ++i)
            ASSERT_TRUE(is_row(reader, reply.rows[i])) << "round " << round << " row " << i;
        EXPECT_FALSE(reader.next());
    }
    Connection* connection_ = nullptr;
};

/* Rows on both sides of the size up to which they are kept with a short head. */
TEST_F(buffer_edge, may_be_at_every_byte_of_a_row) {
    for (const std::size_t size : {13, 14, 252, 253, 254, 255, 256, 300})
        for (const Row::Form form : {Row::usual, Row::with_identifier, Row::behind_text}) {
            if (form != Row::usual && size != 13 && size != 254) continue;
            SCOPED_TRACE(std::to_string(size) + " form " + std::to_string(form));
            const Row across{size, -1, form};
            serve(
                across.bytes().size() + 1,
                [&](std::size_t round) {
                    Reply reply = Reply::up_to_edge(round);
                    reply.add(across);
                    reply.add({size, -2});
                    reply.add({14, -3, Row::with_identifier});
                    return reply;
                },
                false, [this](const Reply& reply, std::size_t round) { read_all(reply, round); });
            ASSERT_FALSE(HasFailure());
        }
}

/* The places in a large row that are worth a visit: its ends, its length fields, the middle. */
std::vector<std::size_t> places_in(std::size_t size) {
    std::set<std::size_t> all{size / 2};
    for (std::size_t i = 0; i < 10; ++i)
        all.insert({i, size - i, size + 1 - i, size - i / 2 * 3});
    std::erase_if(all, [](std::size_t place) { return place > buffer - 1000; });
    return {all.begin(), all.end()};
}

TEST_F(buffer_edge, may_be_in_rows_as_large_as_the_buffer_and_several_times_as_large) {
    for (const std::size_t size : {buffer - 2, buffer - 1, buffer, buffer + 1, buffer + 2, 2 * buffer - 1,
                                   2 * buffer, 2 * buffer + 1, 5 * buffer + 77}) {
        SCOPED_TRACE(size);
        const std::vector<std::size_t> places = places_in(size);
        serve(
            places.size(),
            [&](std::size_t round) {
                Reply reply = Reply::up_to_edge(places[round]);
                reply.add({size, -1});
                reply.add({14, -2});
                reply.add({size, -3, Row::with_identifier});
                reply.add({300, -4});
                return reply;
            },
            false, [this](const Reply& reply, std::size_t round) { read_all(reply, round); });
        ASSERT_FALSE(HasFailure());
    }
}

/* Chunks of 200 rows and batches of 20,000 that end before, with and behind the row that lies across. */
Reply around_limit(std::size_t limit, std::size_t size, std::size_t place, std::size_t round) {
    Reply reply = Reply::up_to_edge(place, int(limit - 4 + round % 4));
    for (std::int32_t number = -1; number > -6; --number)
        reply.add({size, number});
    return reply;
}

TEST_F(buffer_edge, may_meet_the_end_of_a_batch) {
    constexpr std::size_t places[] = {0, 1, 5, 14, 15};
    for (const std::size_t size : {14, 300})
        serve(
            4 * std::size(places),
            [&](std::size_t round) { return around_limit(20000, size, places[round / 4], round); }, false,
            [this](const Reply& reply, std::size_t round) { read_all(reply, round); });
}

TEST_F(buffer_edge, may_meet_the_end_of_a_chunk) {
    std::int32_t taken = 0;
    for (const bool procedure : {false, true})
        for (const std::size_t size : {std::size_t{14}, std::size_t{300}, buffer + 1})
            serve(
                4 * std::min<std::size_t>(size + 2, 24),
                [&](std::size_t round) { return around_limit(200, size, round / 4, round); }, true,
                [&](const Reply& reply, std::size_t round) {
                    if (procedure) {
                        ParamSet set;
                        EXPECT_EQ(TRN_BindParams2Conn(&connection_->handle, &set.handle), 0);
                        taken = TRN_Execute_procesure(&connection_->handle, "q", nullptr);
                        EXPECT_EQ(taken, std::int32_t(reply.rows.size() - 200)) << round;
                        return;
                    }
                    SingleValue value(*connection_, "q");
                    EXPECT_EQ(value.status, TRN_OK) << round;
                    EXPECT_EQ(value.take(), reply.rows[0].text()) << round;
                });
}

} // namespace
