// Small texts of the ground floor.
#include <gtest/gtest.h>

#include "base/text.h"
#include "conn/conn_string.h"

using namespace tarn;

TEST(text, comparison_folds_ascii_letters_only) {
    EXPECT_TRUE(equal_ignoring_case("Use_SSL", "uSE_ssl"));
    EXPECT_FALSE(equal_ignoring_case("a", "ab"));
    EXPECT_FALSE(equal_ignoring_case("[", "{"));
    EXPECT_FALSE(equal_ignoring_case("\xC4", "\xE4"));
}

TEST(text, fields_and_formats_are_cut_and_terminated) {
    char field[4] = {'x', 'x', 'x', 'x'};
    copy_to_field(field, sizeof field, "abcdef");
    EXPECT_STREQ(field, "abc");
    copy_to_field(field, sizeof field, "");
    EXPECT_STREQ(field, "");
    EXPECT_STREQ(format_text(8, "%s-%d", "abcdefgh", 5).get(), "abcdefg");
}

struct ParsedConn {
    explicit ParsedConn(const char* text) : parsed(parse_conn_string(text, conn)) {}
    ~ParsedConn() { release_address_list(conn.ips_attrs); }
    Conn conn{};
    bool parsed;
};

static std::string addresses(int count) {
    std::string list;
    for (int i = 1; i <= count; ++i)
        list += (i > 1 ? "," : "") + std::string("10.0.0.") + std::to_string(i);
    return list;
}

TEST(address_list, pieces_are_kept_as_written) {
    const ParsedConn p("db=a;IPS=10.0.0.1, 10.0.0.2 ,,x;port=5");
    ASSERT_TRUE(p.conn.ips_attrs);
    ASSERT_EQ(p.conn.ips_attrs->count, 4);
    EXPECT_STREQ(p.conn.ips_attrs->addresses[1], " 10.0.0.2 ");
    EXPECT_STREQ(p.conn.ips_attrs->addresses[2], "");
    EXPECT_EQ(p.conn.settings.port, 5);
}

TEST(address_list, takes_100_addresses_and_keeps_99_of_more) {
    struct {
        int given, kept;
    } const cases[] = {{1, 1}, {19, 19}, {20, 20}, {21, 21}, {99, 99}, {100, 100}, {101, 99}, {150, 99}};
    for (const auto& c : cases) {
        const ParsedConn p(("ips=" + addresses(c.given) + ";").c_str());
        ASSERT_TRUE(p.conn.ips_attrs) << c.given;
        EXPECT_EQ(p.conn.ips_attrs->count, c.kept) << c.given;
        EXPECT_EQ(p.conn.ips_attrs->addresses[c.kept - 1], "10.0.0." + std::to_string(c.kept));
    }
}

TEST(address_list, only_two_spellings_and_the_last_list_count) {
    EXPECT_FALSE(ParsedConn("Ips=10.0.0.1;db=x").conn.ips_attrs);
    const ParsedConn twice("IPS=10.0.0.1,10.0.0.2;ips=10.0.0.3;");
    ASSERT_TRUE(twice.conn.ips_attrs);
    EXPECT_EQ(twice.conn.ips_attrs->count, 1);
    EXPECT_STREQ(twice.conn.ips_attrs->addresses[0], "10.0.0.3");
    // Without ";" the commas separate segments, and a list ends with its segment.
    const ParsedConn commas("ips=10.0.0.1,db=x");
    EXPECT_EQ(commas.conn.ips_attrs->count, 1);
    EXPECT_STREQ(commas.conn.settings.database, "x");
}

TEST(conn_string, strings_without_separator_or_of_four_bytes_set_nothing) {
    EXPECT_FALSE(ParsedConn("db=somewhere").parsed);
    EXPECT_FALSE(ParsedConn("db=;").parsed);
    EXPECT_FALSE(ParsedConn("").parsed);
    EXPECT_TRUE(ParsedConn("db=x;").parsed);
}
