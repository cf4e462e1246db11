/*
 * TRN_Execute_procesure: output values of every type in all their forms, the statuses of its replies, rows
 * that come along, and what becomes of the parameter set.
 */
#include "parameter_wire.h"

#include <array>
#include <limits>

namespace {

/* A slot that the server fills. The buffer has its exact size, one byte at least, and dots where nothing
 * came. */
struct Output {
    explicit Output(std::int32_t slot_size, std::int32_t first_length = 0, std::string_view content = "")
        : size(slot_size), length(first_length), buffer(std::size_t(std::max(size, 1)), '.') {
        std::copy(content.begin(), content.end(), buffer.begin());
    }
    std::int32_t bind(TRN_HANDLE* handle, std::int32_t position, std::int32_t direction,
                      std::int32_t type = TRN_TYPE_TEXT) {
        return TRN_BindParamByPos(handle, position, direction, type, buffer.data(), size, &length);
    }
    std::string taken() const {
        return std::to_string(length) + ":" + std::string(buffer.begin(), buffer.end());
    }

    std::int32_t size, length;
    Bytes buffer;
};

/* How a value arrives, and what a slot of texts and any other slot gets of it. */
struct Form {
    std::int32_t code;
    std::string wire, text = wire, memory = wire;
};

std::string returned(std::int32_t code, std::string_view bytes) {
    return "O" + be32(code) + wire_text(bytes);
}
std::string output(std::int32_t slot, std::int32_t code, std::string_view bytes) {
    return "P" + be32(slot) + be32(code) + wire_text(bytes);
}
std::int32_t call(Session& session) {
    return TRN_Execute_procesure(session.handle(), "call", &session);
}

std::vector<Form> forms() {
    const float largest = std::numeric_limits<float>::max();
    std::vector<Form> all{
        {3, "\x85", "-123"},
        {3, "\x7f", "127"},
        {4, be16(-300), "-300", host_bytes<std::int16_t>(-300)},
        {5, be32(INT32_MIN), "-2147483648", host_bytes(INT32_MIN)},
        {5, be32(42), "42", host_bytes(42)},
        {6, be64(INT64_MIN), "-9223372036854775808", host_bytes(INT64_MIN)},
        {7, "-12.50"},
        {7, std::string(80, '9')},
        {8, be_float(-1.5f), "-1.500000", host_bytes(-1.5f)},
        {8, be_float(largest), "340282346638528859811704183484516925440.000000", host_bytes(largest)},
        {9, be_double(0.1), "0.1", host_bytes(0.1)},
        {9, be_double(-1.0 / 3), "-0.3333333333333333", host_bytes(-1.0 / 3)},
        {9, be_double(1e100), "1e+100", host_bytes(1e100)},
        {10, be32(11016), "2000-02-29", host_bytes(std::array{2000, 2, 29})},
        {10, be32(-719528), "0000-01-01", host_bytes(std::array{0, 1, 1})},
        {10, be32(INT32_MAX), "5881580-07-11", host_bytes(std::array{5881580, 7, 11})},
        {11, be32(37230005), "10:20:30.005", host_bytes(std::array{10, 20, 30, 5})},
        {11, be32(-1), "00:00:00.-01", host_bytes(std::array{0, 0, 0, -1})},
        {11, be32(360000000), "100:00:00.00", host_bytes(std::array{100, 0, 0, 0})},
        {12, be32(1) + be16(60)},
        {13, be64(951827400999), "2000-02-29 12:30:00", host_bytes<std::int64_t>(951827400999)},
        {13, be64(-1), "1969-12-31 23:59:59", host_bytes<std::int64_t>(-1)},
        {13, be64(253402300800000), "10000-01-01 00:00:00", host_bytes<std::int64_t>(253402300800000)},
        {30, "zero\0inside"s},
        {30, std::string(20000, 'x')},
        /* Widths that are not the type's: the bytes as they came. */
        {3, "ab"},
        {4, "a"},
        {4, "abc"},
        {5, "a"},
        {5, be64(1)},
        {6, be32(1)},
        {8, "abc"},
        {9, be32(1)},
        {10, "abc"},
        {10, be64(1)},
        {11, "a"},
        {11, be64(1)},
        {13, be32(1)},
        {13, std::string(9, 'x')},
    };
    for (const std::int32_t plain : {0,  1,  2,  14, 15, 16, 17, 18, 19, 20, 21,   22, 23,        24,
                                     25, 26, 27, 28, 29, 31, 32, 33, 34, 45, 1008, -1, INT32_MIN, INT32_MAX})
        all.push_back({plain, plain < 24 ? be32(0x01020304) : be64(0x0102030405060708)});
    return all;
}

/* What a large object holds. */
std::string content(TRN_HANDLE& lob) {
    std::string bytes(100, '\0');
    TRN_LobRead_SetPos(&lob, 0);
    bytes.resize(static_cast<std::size_t>(TRN_Get_Lob_data(&lob, bytes.data(), 100)));
    return bytes;
}

/* Of the return value, -1 before there was one. */
std::int32_t function_type(Session& session) {
    std::int32_t type = -7;
    return TRN_GetFunReturnType(session.handle(), &type) == 0 ? type : -1;
}
std::int32_t function_type_of(std::int32_t code) {
    constexpr std::int32_t types[] = {-1, 2,  1,  3,  4,  5,  6,  9,  7,  8,  10, 11, 12, 13, 14, 21, 28, 21,
                                      21, 21, 21, 21, 21, 21, 31, 21, 21, 21, 2,  69, 2,  2,  41, 15, 42};
    return code < 1 ? -1 : code < std::ssize(types) ? types[code] : 2;
}

TEST(output_values, arrive_as_text_or_in_host_form_and_are_cut_to_the_buffer) {
    struct Try {
        std::int32_t direction, type, size, status;
        std::string taken;
    };
    for (const Form& form : forms()) {
        std::vector<Try> tries;
        std::vector<std::pair<std::string, std::string>> exchanges;
        for (const std::int32_t direction : {TRN_DIRECTION_OUT, TRN_DIRECTION_INOUT, TRN_DIRECTION_RETURN})
            for (const std::int32_t type : {TRN_TYPE_TEXT, TRN_TYPE_INTEGER, TRN_TYPE_TEXT_PARAMETER}) {
                const std::string& value = type == TRN_TYPE_TEXT ? form.text : form.memory;
                const std::string sent =
                    entry("", direction, type == TRN_TYPE_INTEGER ? TRN_WIRE_INTEGER : TRN_WIRE_CHAR, 0, "");
                const auto length = std::int32_t(value.size());
                for (const std::int32_t size : {length, length + 3, length - 1, 0, -1}) {
                    std::string taken = value.substr(0, std::size_t(std::max(size, 0)));
                    taken.resize(std::size_t(std::max(size, 1)), '.');
                    tries.push_back({direction, type, size, size < length ? TRN_TRUNCATED : 0,
                                     std::to_string(length) + ":" + taken});
                    if (direction == TRN_DIRECTION_RETURN)
                        exchanges.push_back({request("call", 0), returned(form.code, form.wire) + K});
                    else
                        exchanges.push_back({request("call", 1, sent), output(0, form.code, form.wire) + K});
                }
            }
        Session session(asked(exchanges));
        for (const auto& [direction, type, size, status, taken] : tries) {
            SCOPED_TRACE(
                std::to_string(form.code) + " " + form.text.substr(0, 40) +
                " direction, type, size: " + testing::PrintToString(Statuses{direction, type, size}));
            Output slot(size);
            EXPECT_EQ(slot.bind(session.handle(), 1, direction, type), 0);
            EXPECT_EQ(call(session), status);
            ASSERT_EQ(slot.taken(), taken);
            ASSERT_EQ(function_type(session),
                      direction == TRN_DIRECTION_RETURN ? function_type_of(form.code) : -1);
        }
        EXPECT_EQ(error_text(session.connection.handle), "");
    }
}

/* An input, an output, both in one, and the return value, bound in this order. */
struct Slots {
    explicit Slots(TRN_HANDLE* handle) {
        EXPECT_EQ((Statuses{bind_text(handle, 1, "in"), out.bind(handle, 2, 2),
                            both.bind(handle, 3, 3, TRN_TYPE_INTEGER), back.bind(handle, 4, 6)}),
                  Statuses(4));
    }
    std::string taken() const { return out.taken() + " " + both.taken() + " " + back.taken(); }

    Output out{8, 3, "abc"}, both{4, 4, host_bytes(5)}, back{8, 77};
};
std::string call_with(const std::string& out, std::int32_t both) {
    return request("call", 3,
                   text_entry("in") + entry_head("", 2) + be16(30) + wire_text(out) +
                       entry("", 3, 5, 4, be32(both)));
}
const std::string call_at_first = call_with("abc", 5),
                  rows_of_two = query({{"n", 5}}, {row({integer(1)}), row({integer(2)})});
const std::string new_out = output(1, 30, "new"), long_out = output(1, 30, "long value"),
                  new_back = returned(5, be32(42));

TEST(procedure, statuses_and_values_follow_the_messages) {
    const std::string out = "3:abc.....", both = "4:" + host_bytes(5), back = "77:........";
    const std::string e = "Server Error e \n", w = "Server Warning w \n", m = "Server Message m \n";
    const struct {
        std::string reply;
        std::int32_t status;
        std::string out, both, back, text, printed;
    } cases[] = {
        {"", 0, out, both, back, "", ""},
        {new_out + output(2, 5, be32(6)) + new_back, 0, "3:new.....", "4:" + host_bytes(6), "2:42......", "",
         ""},
        {new_out + output(1, 4, be16(-7)) + returned(30, "first") + new_back, 0, "2:-7w.....", both,
         "2:42rst...", "", ""},
        {output(1, 30, "") + output(2, 5, "") + returned(5, ""), 0, "0:abc.....", "0:" + host_bytes(5),
         "0:........", "", ""},
        /* Slots that take nothing: of another direction, and outside the set. */
        {output(0, 30, "x") + output(3, 30, "x") + output(0, 30, "") + output(3, 30, "") + new_out, 0,
         "3:new.....", both, back, "", ""},
        {output(4, 30, "x") + output(-1, 30, "x") + output(127, 30, "") + output(INT32_MAX, 30, "x") +
             output(INT32_MIN, 5, "") + new_back,
         0, out, both, "2:42......", "", ""},
        {long_out, -12, "10:long val", both, back, "", ""},
        {output(2, 6, be64(7)), -12, out, "8:" + host_bytes(7), back, "", ""},
        {returned(30, "nine char"), -12, out, both, "9:nine cha", "", ""},
        {long_out + new_out, -12, "3:newg val", both, back, "", ""},
        {long_out + W("w"), 1, "10:long val", both, back, "w", w},
        {M("m") + long_out, -12, "10:long val", both, back, "m", m},
        {E("e") + new_out, -1, "3:new.....", both, back, "e", e},
        {E("x") + M("m") + F("e"), -1, out, both, back, "e", "Server Error x \n" + m + e},
        {long_out + rows_of_two + new_back, 2, "10:long val", both, "2:42......", "", ""},
        {rows_of_two + W("w") + new_out, 2, "3:new.....", both, back, "", ""},
        {rows_of_two + query({{"n", 5}}, {row({integer(3)})}), 1, out, both, back, "", ""},
        {E("e") + query({{"n", 5}}, {}), 0, out, both, back, "e", e},
        /* Counts are no messages of a procedure: what follows them is passed over. */
        {new_out + U(5) + new_back, 0, "3:new.....", both, back, "", ""},
        {I("K"), 0, out, both, back, "", ""},
        {M("m") + D(0x4b4b4b4b) + long_out, 1, out, both, back, "m", m},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(hex_difference(each.reply, ""));
        Session session(asked({{call_at_first, each.reply + K}, {command("next"), U(7) + K}}));
        const Slots slots(session.handle());
        OutputCapture output;
        EXPECT_EQ(call(session), each.status);
        EXPECT_EQ(output.text(), each.printed);
        EXPECT_EQ(slots.taken(), each.out + " " + each.both + " " + each.back);
        EXPECT_EQ(error_text(session.connection.handle), each.text);
        EXPECT_EQ(session.connection.run("next"), 7);
    }
}

/* Rows come in chunks of 200; the second is asked for, and rows behind it are passed over. */
TEST(procedure, receives_two_chunks_of_rows_and_drops_them) {
    for (const int count : {0, 1, 199, 200, 201, 399, 400, 401, 1000})
        for (const bool outputs : {false, true}) {
            SCOPED_TRACE(std::to_string(count) + (outputs ? " and outputs" : ""));
            std::vector<std::string> rows;
            for (int i = 0; i < count; ++i)
                rows.push_back(i % 2 ? row({integer(i)}) : row_with_identifier("K", {null_value()}));
            const std::string values = outputs ? new_out + new_back : "";
            Script script{expect(call_at_first), send(query({{"K", 5}}, rows) + values + K)};
            const bool asks = count > 200 || (count == 200 && outputs);
            if (asks) script.push_back(expect("."));
            script.insert(script.end(), {expect_command("next"), send(U(7) + K)});
            Session session(logged_in(script));
            const Slots slots(session.handle());
            EXPECT_EQ(call(session), std::min(asks ? count - 200 : count, 200));
            EXPECT_EQ(slots.out.taken() + slots.back.taken(),
                      outputs && count <= 400 ? "3:new.....2:42......" : "3:abc.....77:........");
            EXPECT_EQ(session.connection.run("next"), 7);
        }
}

const std::string unbound_return = "[EC060]Error params-return value need bind, here params without "
                                   "bindparams inout type is return value \n",
                  unbound_output = "[EC060]Error params-out type need bind, here params without "
                                   "bindparams inout type is out or inout \n";

TEST(procedure, without_slots_for_them_refuses_outputs) {
    const std::string no_set = "[EC0056]when execute sql with output params or return value need bind_params";
    const struct {
        bool set;
        std::string reply;
        std::int32_t status;
        std::string text;
    } cases[] = {
        {true, new_back, -59, unbound_return},
        {true, new_out, -59, unbound_output},
        {true, new_out + new_back + rows_of_two, 2, unbound_return},
        {false, new_back, -56, no_set},
        {false, new_out, -56, no_set},
        {false, U(5), 5, ""},
        {false, I("1") + I("2"), 2, ""},
        {true, "", 0, ""},
    };
    for (const auto& [with_set, reply, status, text] : cases) {
        SCOPED_TRACE(hex_difference(reply, ""));
        Session session({{"call", reply + K}, {"next", U(7) + K}});
        ParamSet set;
        if (with_set) set.attach(session);
        EXPECT_EQ(call(session), status);
        EXPECT_EQ(error_text(session.connection.handle), text);
        EXPECT_EQ(session.connection.run("next"), 7);
    }
}

/* Inputs are released once they were sent, unless the application made the set: an output then finds no
 * slots. Whatever else a set holds keeps its slots, also those of inputs. */
TEST(procedure, refuses_outputs_for_a_set_of_inputs) {
    const std::string one = request("call", 1, text_entry("in")), to_input = output(0, 30, "x");
    const std::string two = request("call", 2, text_entry("in") + entry("", 2, 30, 0, ""));
    const std::string gap = request("call", 2, entry("", 0, 1, 0, "") + text_entry("in"));
    const struct {
        bool made_by_application;
        std::int32_t position, output_position;
        std::string sent, reply;
        std::int32_t status;
        std::string text;
    } cases[] = {
        {false, 1, 0, one, to_input, -59, unbound_output},
        {false, 1, 0, one, returned(30, "x"), -59, unbound_return},
        {false, 1, 0, one, output(0, 30, ""), 0, ""},
        {false, 1, 0, one, to_input + W("w"), 1, "w"},
        {false, 1, 2, two, to_input + returned(30, "x"), 0, ""},
        {false, 2, 0, gap, to_input + returned(30, "x"), 0, ""}, /* a slot passed over is no input */
        {true, 1, 0, one, to_input + returned(30, "x"), 0, ""},
    };
    for (const auto& [made_by_application, position, output_position, sent, reply, status, text] : cases) {
        SCOPED_TRACE(hex_difference(reply, "") + (made_by_application ? " own" : ""));
        Session session(asked({{sent, reply + K}, {command("next"), U(7) + K}}));
        ParamSet set;
        Output slot(8);
        TRN_HANDLE* handle = made_by_application ? &set.handle : session.handle();
        EXPECT_EQ(bind_text(handle, position, "in"), 0);
        EXPECT_EQ(output_position > 0 ? slot.bind(handle, output_position, 2) : 0, 0);
        if (made_by_application) set.attach(session);
        EXPECT_EQ(call(session), status);
        EXPECT_EQ(error_text(session.connection.handle), text);
        if (made_by_application) TRN_ResetParams(session.handle());
        EXPECT_EQ(session.connection.run("next"), 7);
    }
    /* Described parameters without any value are inputs. */
    Session session(asked(
        {{command("PREPARE STC0 AS s"), "$" + be32(1) + wire_text("a") + be32(1) + be32(5) + be32(4) + K},
         {request("call", 1, entry("a", 0, 5, 0, "")), to_input + K}}));
    EXPECT_EQ(TRN_Prepare2(session.handle(), "s", Bytes(20).data()), 0);
    EXPECT_EQ(call(session), -59);
}

/* An application's set can be used many times: what came in goes out the next time, as far as it fits. */
TEST(procedure, keeps_a_set_of_the_application_attached) {
    Session session(asked({{call_at_first, new_out + output(2, 5, be32(6)) + K},
                           {call_with("new", 6), long_out + output(2, 5, be32(7)) + new_back + K},
                           {call_with("long val", 7), new_out + K},
                           {command("next"), new_out + K}}));
    ParamSet set;
    const Slots slots(&set.handle);
    set.attach(session);
    EXPECT_EQ((Statuses{call(session), call(session), call(session)}), (Statuses{0, -12, 0}));
    EXPECT_EQ(slots.taken(), "3:newg val 4:" + host_bytes(7) + " 2:42......");
    TRN_Drop(&set.handle); /* the connection finds it empty */
    EXPECT_EQ(session.connection.run("next"), -56);
}

TEST(procedure, leaves_the_connection_an_empty_set) {
    Session session(asked({{call_at_first, new_out + K},
                           {command("call"), output(1, 30, "late") + returned(30, "late") + K},
                           {request("call", 1, text_entry("again")), K},
                           {command("next"), K},
                           {command("call"), new_out + K}}));
    const Slots slots(session.handle());
    EXPECT_EQ((Statuses{call(session), call(session), bind_text(session.handle(), 1, "again"), call(session),
                        session.connection.run("next"), call(session)}),
              (Statuses{0, -59, 0, 0, 0, -56}));
    EXPECT_EQ(slots.taken(), "3:new..... 4:" + host_bytes(5) + " 77:........");
}

/* Outputs name slots in the order of the set, one without buffer or length is passed over, and only a last
 * slot takes the return value. */
TEST(procedure, finds_the_slots_of_outputs_by_their_order) {
    const std::string empty = entry("", 2, 30, 0, "");
    Session session(asked({{request("call", 2, integer_entry(1, "a") + entry("b", 2, 30, 0, "")),
                            output(1, 30, "b") + returned(30, "r") + K},
                           {request("call", 3, empty + empty + empty),
                            output(1, 30, "o") + output(2, 30, "o") + returned(30, "r") + K}}));
    Output named(4), last(4), first(4), part(4), other(4);
    TRN_HANDLE* handle = session.handle();
    const auto bind = [&](Output& slot, const char* name, std::int32_t direction) {
        return TRN_BindParamByName(handle, name, direction, 2, slot.buffer.data(), 4, nullptr, &slot.length);
    };
    EXPECT_EQ(
        (Statuses{bind_integer(handle, "a", 1), bind(named, "b", 2), bind(last, "r", 6), call(session),
                  first.bind(handle, 1, 6), TRN_BindParamByPos(handle, 2, 2, 2, nullptr, 4, &part.length),
                  TRN_BindParamByPos(handle, 3, 2, 2, part.buffer.data(), 4, nullptr),
                  other.bind(handle, 4, 2), call(session)}),
        Statuses(9));
    EXPECT_EQ(named.taken() + last.taken() + first.taken() + part.taken() + other.taken(),
              "1:b...1:r...0:....0:....0:....");
}

TEST(procedure, lengths_out_of_bounds_fail_the_call_and_the_next) {
    for (const std::int32_t length : {-1, INT32_MIN, INT32_MAX})
        for (const std::string& head : {"O" + be32(5), "P" + be32(1) + be32(5)}) {
            SCOPED_TRACE(head + std::to_string(length));
            OutputCapture output;
            Session session(
                logged_in({expect(call_at_first), send(head + be32(length) + K), close_connection()}));
            const Slots slots(session.handle());
            const std::int32_t status = call(session); /* memory for the largest may be had */
            EXPECT_TRUE(status == TRN_ERR_NETWORK || (status == TRN_ERR_MEMORY && length == INT32_MAX))
                << status;
            EXPECT_EQ(call(session), TRN_ERR_NETWORK);
            EXPECT_TRUE(output.text().ends_with("Net Error recv_noQuery_OP \n"));
        }
}

/* The bound buffer is a handle: written over, it would be a pointer of the server's choice. */
TEST(output_values, become_the_content_of_a_large_object) {
    Session session(asked({{request("call", 2) + entry("", 2, 32, 0, "") + entry("", 2, 34, 0, ""),
                            output(0, 32, "text of server") + output(1, 5, be32(1)) + K}}));
    TRN_HANDLE lob = nullptr, none = nullptr;
    std::int32_t lengths[] = {8, 8};
    ASSERT_EQ(TRN_Create_Lob(&lob), 0);
    const TRN_HANDLE before = lob;
    TRN_BindParamByPos(session.handle(), 1, TRN_DIRECTION_OUT, TRN_TYPE_CLOB, &lob, 8, &lengths[0]);
    TRN_BindParamByPos(session.handle(), 2, TRN_DIRECTION_OUT, TRN_TYPE_BLOB, &none, 8, &lengths[1]);
    EXPECT_EQ(call(session), 0);
    EXPECT_EQ(lob, before);
    EXPECT_EQ(none, nullptr);
    EXPECT_EQ(content(lob), "text of server");
    EXPECT_EQ(lengths[0], 14);
    EXPECT_EQ(lengths[1], 8);
    TRN_Distroy_Lob(&lob);
}

} // namespace
