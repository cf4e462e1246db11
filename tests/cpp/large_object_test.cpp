// Large objects: as parameters, from rows with and without descriptors, as streams.
#include "cpp_fixture.h"

#include <istream>
#include <utility>
#include <vector>

using cpp_large_objects = CppTest;

static std::string content_of(size_t size) {
    std::string content(size, '\0');
    for (size_t i = 0; i < size; ++i)
        content[i] = static_cast<char>('a' + i % 23);
    return content;
}

TEST_F(cpp_large_objects, contents_of_every_size_come_back_by_value_and_by_descriptor) {
    db_.execute("CREATE TABLE t (c CLOB, b BLOB)");
    tarnsql::connection fetching(server_.connection_string("lob_ret=descriptor"));
    for (const size_t size : {1, 63, 64, 65536, 65537, 1048577, 3500000}) {
        SCOPED_TRACE(size);
        const std::string content = content_of(size);
        const tarnsql::large_object text{std::string_view(content)};
        const tarnsql::large_object bytes{tarnsql::bytes_view(content.data(), size)};
        db_.execute("INSERT INTO t VALUES (?, ?)", text, bytes);
        for (tarnsql::connection* db : {&db_, &fetching}) {
            auto row = db->query_row<tarnsql::large_object, tarnsql::large_object>("SELECT c, b FROM t");
            ASSERT_TRUE(row);
            auto& [clob, blob] = *row;
            EXPECT_EQ(clob.kind(), tarnsql::lob_kind::character);
            EXPECT_EQ(blob.kind(), tarnsql::lob_kind::binary);
            EXPECT_EQ(blob.size(), static_cast<int64_t>(size));
            EXPECT_TRUE(clob.to_string() == content);
            EXPECT_EQ(blob.to_bytes().size(), size);
            // Without a word of how it came.
            for (const tarnsql::row whole : db->query("SELECT c, b FROM t")) {
                EXPECT_TRUE(whole["c"].as<std::string>() == content);
                EXPECT_TRUE(whole["c"].as<std::string_view>() == content);
                EXPECT_EQ(whole["b"].as<std::vector<std::byte>>().size(), size);
                EXPECT_EQ(whole["b"].as<std::optional<tarnsql::bytes_view>>()->size(), size);
            }
        }
        db_.execute("DELETE FROM t");
    }
    db_.execute("INSERT INTO t VALUES (NULL, ?)", tarnsql::large_object());
    for (tarnsql::connection* db : {&db_, &fetching})
        for (auto [clob] : db->query<std::optional<tarnsql::large_object>>("SELECT c FROM t"))
            EXPECT_FALSE(clob);
    EXPECT_EQ(thrown<tarnsql::value_error>([&] { db_.query_value<tarnsql::large_object>("SELECT 1"); }),
              "column 1: a value of BIGINT is no large object");
}

TEST_F(cpp_large_objects, a_stream_writes_reads_and_seeks) {
    tarnsql::large_object lob(tarnsql::lob_kind::character);
    {
        tarnsql::lob_stream out(lob);
        for (int i = 0; i < 10000; ++i)
            out << i << '\n';
        EXPECT_EQ(out.tellp(), std::streampos(48890));
        out << std::string(100000, 'x') << '\n' << std::flush;
        EXPECT_EQ(lob.size(), 48890 + 100001);
        out << "the end";
    }
    EXPECT_EQ(lob.size(), 48890 + 100001 + 7);
    tarnsql::lob_stream in(lob);
    int expected = 0;
    for (int number; expected < 10000 && in >> number; ++expected)
        ASSERT_EQ(number, expected);
    EXPECT_EQ(expected, 10000);
    EXPECT_EQ(in.tellg(), std::streampos(48889));
    std::string rest(100010, ' ');
    in.seekg(1, std::ios::cur);
    in.read(rest.data(), 100002);
    EXPECT_EQ(rest.substr(0, 2) + rest.substr(99999, 3), "xxx\nt");
    in.seekg(-3, std::ios::end);
    EXPECT_TRUE(in >> rest && rest == "end");
    in.clear();
    EXPECT_FALSE(in.seekg(1, std::ios::end));
    in.clear();
    in.seekg(3886);
    int number = 0;
    EXPECT_TRUE(in >> number && number == 999) << number;
}

TEST_F(cpp_large_objects, positions_are_checked_and_moves_leave_an_empty_object) {
    tarnsql::large_object lob(std::string_view("0123456789"));
    char piece[4] = "";
    lob.seek(8);
    EXPECT_EQ(lob.read(piece, sizeof piece), 2U);
    EXPECT_EQ(lob.position(), 10);
    EXPECT_EQ(thrown<tarnsql::range_error>([&] { lob.seek(11); }), "a position outside the large object");
    tarnsql::large_object moved = std::move(lob);
    EXPECT_EQ(lob.size() + static_cast<int64_t>(lob.read(piece, 4)), 0); // NOLINT: on purpose
    lob.append(std::string_view("again"));
    EXPECT_EQ(lob.to_string() + moved.to_string(), "again0123456789");
    lob.clear();
    EXPECT_EQ(lob.size(), 0);
}
