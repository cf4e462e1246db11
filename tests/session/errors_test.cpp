/*
 * The three error calls over texts that a server sent: split into code and message, length limits, and texts
 * of result handles.
 */
#include "session_fixture.h"

namespace {

struct ErrorInfo {
    explicit ErrorInfo(TRN_HANDLE& handle) : status(TRN_GetErrorInfo(&handle, code.data(), message.data())) {}
    std::string code = std::string(8, '.'), message = std::string(300, '.');
    std::int32_t status;
};

TEST(errors, text_splits_into_code_and_message) {
    const auto x = [](std::size_t length) { return std::string(length, 'x'); };
    const std::string common = "common error\n", five = "EC011\0"s;
    // clang-format off
    const struct { std::string text; std::int32_t status; std::string code, message; } rows[] = {
        {"plain text", 0, "EC0100", common + "plain text"}, {"", 0, "EC0100", common},
        {"x[EC011]", 0, "EC0100", common + "x[EC011]"}, {"[EC011]five", 0, five, "five"},
        {"[EC0195]six", 0, "EC0195", "six"}, {"[EC011]", 0, five, ""}, {"[EC0195]", 0, "EC0195", ""},
        {"[", 0, "\0\0\0\0\0\0"s, ""}, {x(242), 0, "EC0100", common + x(242)}, {x(243), 2, "EC0100", common},
        {x(5000), 2, "EC0100", common}, {"[EC0195]" + x(254), 0, "EC0195", x(254)}, {"[EC0195]" + x(255), 2, "EC0195", ""},
        {"[EC011]" + x(254), 0, five, x(254)}, {"[EC011]" + x(255), 2, five, ""},
        {"[nocodes" + x(254), 0, "nocode", x(254)}, {"[nocodes" + x(70000), 2, "nocode", ""},
    };
    // clang-format on
    std::vector<Exchange> exchanges;
    for (const auto& each : rows)
        exchanges.push_back({"fail", E(each.text) + K});
    Session session(exchanges);
    OutputCapture output;
    for (const auto& each : rows) {
        SCOPED_TRACE(each.text.substr(0, 20) + " of " + std::to_string(each.text.size()));
        EXPECT_EQ(session.connection.run("fail"), -1);
        const ErrorInfo info(session.connection.handle);
        EXPECT_EQ(info.status, each.status);
        EXPECT_EQ(info.code, each.code + "..");
        EXPECT_EQ(info.message, each.message + std::string(300 - each.message.size(), '.'));
        EXPECT_TRUE(error_text(session.connection.handle) == each.text);
    }
}

TEST(errors, every_handle_has_its_own_text_or_none) {
    Session session({{"q", query({{"c", TRN_WIRE_CHAR}}, {}) + K},
                     {"noted", query({{"c", TRN_WIRE_CHAR}}, {M("[EC011]of the result")}) + K},
                     {"fail", E("of the connection") + K}});
    OutputCapture output;
    Reader silent(session.connection, "q"), noted(session.connection, "noted");
    for (TRN_HANDLE* handle : {session.handle(), &silent.result}) {
        char text[4] = "...";
        std::int32_t length = 77;
        EXPECT_EQ(TRN_GetError(handle, text, &length), 0);
        EXPECT_STREQ(text, "...");
        EXPECT_EQ(length, 77);
        const ErrorInfo info(*handle);
        EXPECT_EQ(info.status, TRN_END);
        EXPECT_EQ(info.code + info.message, std::string(308, '.'));
    }
    session.connection.run("fail");
    EXPECT_EQ(error_text(session.connection.handle), "of the connection");
    EXPECT_EQ(ErrorInfo(noted.result).message.substr(0, 14), "of the result.");
}

} // namespace
