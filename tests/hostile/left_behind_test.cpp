/*
 * What stays behind: earlier address lists, objects that are destroyed while something refers to them, sets
 * that several connections share. Nothing is left over at the end, and what was released is filled with other
 * bytes at once, so that who still reads it shows.
 */
#include "output_capture.h"
#include "session/parameter_wire.h"
#include "watched_memory.h"

namespace {

/* All that the library takes must be back when the test ends; handles of the test are closed before. */
class left_behind : public testing::Test {
  protected:
    left_behind() { watch = &memory_; }
    ~left_behind() override {
        watch = nullptr;
        EXPECT_EQ(memory_.live.size(), 0u);
    }
    Watch memory_;
};

std::string lob_entry(std::string_view content) {
    return entry_head("", TRN_DIRECTION_IN) + be16(TRN_WIRE_CLOB) + wire_text(content);
}

TRN_HANDLE complete_lob(const std::string& content) {
    TRN_HANDLE lob = nullptr;
    EXPECT_EQ(TRN_Create_Lob(&lob), 0);
    EXPECT_EQ(TRN_Put_Lob_data(&lob, content.data(), std::int32_t(content.size())), 0);
    EXPECT_EQ(TRN_Put_Lob_data(&lob, nullptr, TRN_LOB_END), 0);
    return lob;
}

std::int32_t bind_lob(TRN_HANDLE* to, std::int32_t position, TRN_HANDLE* lob) {
    return TRN_BindParamByPos(to, position, TRN_DIRECTION_IN, TRN_TYPE_CLOB, lob, 0, nullptr);
}

TEST_F(left_behind, of_earlier_address_lists_is_nothing) {
    const std::string none = "IPS=127.0.0.1,127.0.0.1",
                      text = "a=b;port=" + std::to_string(test_refusing_port());
    void *state = nullptr, *before = nullptr;
    for (const std::int32_t number : {0, -1, -1, 5, 1, -1}) {
        TRN_HANDLE handle = nullptr;
        if (number == 1) before = state; /* only -1 releases the record of an earlier search */
        EXPECT_EQ(TRN_OpenConn_Ips((text + ";" + none + ";" + none).c_str(), number, &state, &handle),
                  TRN_ERR_CONNECT);
        EXPECT_EQ(TRN_ReconnectConn(&handle), TRN_ERR_CONNECT);
        EXPECT_EQ(TRN_CloseConn(&handle), 0);
    }
    EXPECT_EQ(Release_IpsAttrs(&before), 0);
    EXPECT_EQ(Release_IpsAttrs(&state), 0);
    TRN_HANDLE handle = nullptr;
    EXPECT_EQ(TRN_OpenConn((text + ";" + none + ";" + none + ";ips=127.0.0.2").c_str(), &handle),
              TRN_ERR_CONNECT);
    EXPECT_EQ(TRN_CloseConn(&handle), 0);
}

/* A bound object is held by its parameter, and empty once it is destroyed. */
TEST_F(left_behind, of_large_objects_destroyed_while_bound_is_an_empty_one) {
    for (const bool own_set : {false, true}) {
        Session session(asked({{request("q", 2, lob_entry("") + lob_entry("second")), K},
                               {request("q", 2, lob_entry("third") + lob_entry("second")), K}}));
        TRN_HANDLE first = complete_lob("first"), second = complete_lob("second"),
                   third = complete_lob("third");
        TRN_HANDLE set = nullptr, *to = session.handle();
        if (own_set) {
            EXPECT_EQ((Statuses{TRN_CreateParams(&set), TRN_BindParams2Conn(to, &set)}), Statuses(2));
            to = &set;
        }
        const auto bind = [&](TRN_HANDLE* lob) {
            return Statuses{bind_lob(to, 1, &third), bind_lob(to, 1, lob), bind_lob(to, 2, &second)};
        };
        EXPECT_EQ(bind(&first), Statuses(3));
        EXPECT_EQ(TRN_Distroy_Lob(&first), 0);
        EXPECT_EQ(session.connection.run("q"), 0);
        if (own_set) {
            EXPECT_EQ(TRN_BindParams2Conn(session.handle(), &set), 0);
        }
        EXPECT_EQ(bind(&third), Statuses(3));
        EXPECT_EQ(session.connection.run("q"), 0);
        EXPECT_EQ(bind(&third), Statuses(3));
        EXPECT_EQ((Statuses{TRN_Distroy_Lob(&third), TRN_Distroy_Lob(&second)}), Statuses(2));
        TRN_Drop(&set);
    }
}

/* A set lives as long as its handle or a connection has it, and is emptied when its handle goes. */
TEST_F(left_behind, of_sets_is_what_connections_still_have) {
    const std::string full = request("q", 1, integer_entry(5)), empty = request("q", 0);
    Session first(asked({{full, K}, {full, K}, {empty, K}, {full, K}})),
        second(asked({{full, K}, {empty, K}}));
    TRN_HANDLE set = nullptr, other = nullptr;
    const auto attach = [](Session& to, TRN_HANDLE& attached) {
        return TRN_BindParams2Conn(to.handle(), &attached);
    };
    const auto fill = [](TRN_HANDLE& filled) {
        std::int32_t value = 5, length = 4;
        return TRN_BindParamByPos(&filled, 1, TRN_DIRECTION_IN, TRN_TYPE_INTEGER, &value, 4, &length);
    };
    EXPECT_EQ((Statuses{TRN_CreateParams(&set), TRN_CreateParams(&other), fill(set), fill(other)}),
              Statuses(4));
    EXPECT_EQ((Statuses{attach(first, set), attach(first, set), attach(first, other), attach(first, set),
                        attach(second, set)}),
              Statuses(5));
    EXPECT_EQ((Statuses{first.connection.run("q"), second.connection.run("q")}), Statuses(2));
    EXPECT_EQ((Statuses{attach(first, set), TRN_ResetParams(first.handle()), attach(first, set)}),
              Statuses(3));
    EXPECT_EQ(first.connection.run("q"), 0);
    EXPECT_EQ((Statuses{attach(first, set), attach(second, set)}), Statuses(2));
    TRN_Drop(&set);
    EXPECT_EQ((Statuses{first.connection.run("q"), second.connection.run("q")}), Statuses(2));
    EXPECT_EQ((Statuses{attach(first, other), first.connection.run("q"), attach(first, other),
                        attach(second, other)}),
              Statuses(4));
    EXPECT_EQ((Statuses{TRN_CloseConn(first.handle()), TRN_CloseConn(second.handle())}), Statuses(2));
    TRN_Drop(&other);
}

/* A result holds the record of the connection that it came from last. */
TEST_F(left_behind, of_connections_is_what_results_need) {
    const std::string rows =
        query({{"c", TRN_WIRE_CHAR}}, {row({wire_text("one")}), row({wire_text("two")})}) + K;
    for (const bool first_closes_first : {true, false}) {
        Reader reader, chain;
        {
            Session first({{"q", rows}, {"q", rows.substr(0, rows.size() - 1) + U(3) + rows}}),
                second({{"FETCH", rows}});
            TRN_ExecwithDataReader(first.handle(), "q", &reader.result, nullptr, nullptr, nullptr);
            TRN_ExecwithDataReader(first.handle(), "q", &chain.result, nullptr, nullptr, nullptr);
            EXPECT_EQ(TRN_FetchServerCursorRowset_V2(second.handle(), "FETCH", &reader.result), 2);
            TRN_CloseConn((first_closes_first ? first : second).handle());
            EXPECT_TRUE(reader.next());
            EXPECT_EQ(reader.text(1), "one");
        }
        EXPECT_TRUE(reader.next());
        EXPECT_EQ(reader.text(1), "two");
        EXPECT_EQ(chain.transcript(), "c: one; two\nupdate 3\nc: one; two\n");
    }
}

} // namespace
