/*
 * The three error calls over texts that a server sent: split into code and message, length limits, and texts of
 * result handles.
 */
#include "session_fixture.h"

namespace {

struct ErrorInfo {
    explicit ErrorInfo(TRN_HANDLE* handle) : status(TRN_GetErrorInfo(handle, code.data(), message.data())) {}
    std::string code = std::string(8, '.'), message = std::string(300, '.');
    std::int32_t status;
};

TEST(errors, text_splits_into_code_and_message) {
    const auto filled = [](const std::string& start, std::size_t length) {
        return start + std::string(length - start.size(), 'x');
    };
    const struct {
        std::string text;
        std::int32_t status;
        std::string code, message;
    } rows[] = {
        {"plain text", 0, "EC0100", "common error\nplain text"},
        {"", 0, "EC0100", "common error\n"},
        {"x[EC011]", 0, "EC0100", "common error\nx[EC011]"},
        {"[EC011]five", 0, "EC011\0"s, "five"},
        {"[EC0195]six", 0, "EC0195", "six"},
        {"[EC011]", 0, "EC011\0"s, ""},
        {"[EC0195]", 0, "EC0195", ""},
        {"[", 0, "\0\0\0\0\0\0"s, ""},
        {filled("", 242), 0, "EC0100", "common error\n" + filled("", 242)},
        {filled("", 243), 2, "EC0100", "common error\n"},
        {filled("", 5000), 2, "EC0100", "common error\n"},
        {filled("[EC0195]", 262), 0, "EC0195", filled("", 254)},
        {filled("[EC0195]", 263), 2, "EC0195", ""},
        {filled("[EC011]", 261), 0, "EC011\0"s, filled("", 254)},
        {filled("[EC011]", 262), 2, "EC011\0"s, ""},
        {filled("[nocodes", 262), 0, "nocode", filled("", 254)},
        {filled("[nocodes", 70000), 2, "nocode", ""},
    };
    for (const auto& each : rows) {
        SCOPED_TRACE(each.text.substr(0, 20) + " of " + std::to_string(each.text.size()));
        Session session({{"fail", server_error(each.text) + end_of_reply}});
        OutputCapture output;
        EXPECT_EQ(TRN_Execute_no_query(session.handle(), "fail"), -1);
        const ErrorInfo info(session.handle());
        EXPECT_EQ(info.status, each.status);
        EXPECT_EQ(info.code, each.code + "..");
        EXPECT_EQ(info.message, each.message + std::string(300 - each.message.size(), '.'));
        EXPECT_TRUE(error_text(session.handle()) == each.text);
    }
}

TEST(errors, a_handle_without_text_gives_nothing) {
    Session session({{"q", query({{"c", TRN_WIRE_CHAR}}, {}) + end_of_reply}});
    Reader reader(session.handle(), "q");
    for (TRN_HANDLE* handle : {session.handle(), &reader.result}) {
        char text[4] = "...";
        std::int32_t length = 77;
        EXPECT_EQ(TRN_GetError(handle, text, &length), 0);
        EXPECT_STREQ(text, "...");
        EXPECT_EQ(length, 77);
        EXPECT_EQ(TRN_GetErrorLen(handle), 0);
        const ErrorInfo info(handle);
        EXPECT_EQ(info.status, TRN_END);
        EXPECT_EQ(info.code, "........");
        EXPECT_EQ(info.message, std::string(300, '.'));
    }
}

TEST(errors, the_latest_text_replaces_the_earlier_and_survives_success) {
    Session session({{"a", server_error("a long first text") + end_of_reply},
                     {"b", warning("short") + end_of_reply},
                     {"c", update_count(1) + end_of_reply}});
    OutputCapture output;
    TRN_Execute_no_query(session.handle(), "a");
    EXPECT_EQ(error_text(session.handle()), "a long first text");
    TRN_Execute_no_query(session.handle(), "b");
    EXPECT_EQ(error_text(session.handle()), "short");
    TRN_Execute_no_query(session.handle(), "c");
    std::string text(8, '.');
    EXPECT_EQ(TRN_GetError(session.handle(), text.data(), nullptr), 0);
    EXPECT_EQ(text, "short...");
}

TEST(errors, results_carry_texts_of_their_own) {
    Session session({{"q", query({{"c", TRN_WIRE_CHAR}}, {notice("[EC011]of the result")}) + end_of_reply},
                     {"fail", server_error("of the connection") + end_of_reply}});
    OutputCapture output;
    Reader reader(session.handle(), "q");
    TRN_Execute_no_query(session.handle(), "fail");
    const ErrorInfo info(&reader.result);
    EXPECT_EQ(info.status, 0);
    EXPECT_EQ(info.code, "EC011\0.."s);
    EXPECT_EQ(info.message.substr(0, 14), "of the result.");
    EXPECT_EQ(error_text(session.handle()), "of the connection");
}

} // namespace
