/*
 * The sending side: command frames byte for byte, texts around the sizes at which they leave the send buffer,
 * and two threads on one connection.
 */
#include "session_fixture.h"

#include <thread>

namespace {

const std::string K = end_of_reply;

TEST(request, is_one_frame_with_length_text_zero_and_no_parameters) {
    Session session({expect(default_login), send("K"), expect("?\0\0\0\x08"s + "SELECT 1" + "\0\0\0\0\0"s),
                     send(K), expect("?\0\0\0\0\0\0\0\0\0"s), send(K),
                     expect("?\0\0\1\2"s + std::string(258, 'x') + "\0\0\0\0\0"s), send(K)});
    char area[64] = {};
    std::uint32_t word = 0;
    EXPECT_EQ(TRN_Execute_no_query(session.handle(), "SELECT 1"), 0);
    EXPECT_EQ(TRN_Execute_query_with_one(session.handle(), "", area, &word), 0);
    EXPECT_EQ(Reader(session.handle(), std::string(258, 'x').c_str()).status, 0);
}

TEST(request, texts_travel_unchanged_whatever_they_begin_with) {
    const std::vector<std::string> texts = {"\tselect 1",
                                            "  \r\nselect 1 ;",
                                            "(select 1)",
                                            "-- note\nselect 1",
                                            "insert\xff\x80",
                                            "\xe5\xad\x97",
                                            "STC1",
                                            "exec p",
                                            "?",
                                            "~ssl~",
                                            "K"};
    std::vector<Exchange> exchanges;
    for (const std::string& text : texts)
        exchanges.insert(exchanges.end(), 2, {text, K});
    Session session(exchanges);
    for (const std::string& text : texts) {
        EXPECT_EQ(TRN_Execute_no_query(session.handle(), text.c_str()), 0);
        EXPECT_EQ(Reader(session.handle(), text.c_str()).status, 0);
    }
}

TEST(request, texts_of_every_size_arrive_whole) {
    const std::size_t sizes[] = {1,    2046, 2047, 2048, 2049, 4096,  8000,  8180,   8181,   8182,
                                 8186, 8187, 8191, 8192, 8193, 16384, 65536, 100000, 3000000};
    std::vector<std::string> texts;
    std::vector<Exchange> exchanges;
    for (const std::size_t size : sizes) {
        std::string text(size, ' ');
        for (std::size_t i = 0; i < size; ++i)
            text[i] = static_cast<char>('a' + (i * 7 + i / 251) % 26);
        exchanges.push_back({text, update_count(static_cast<std::int32_t>(size)) + K});
        texts.push_back(std::move(text));
    }
    Session session(exchanges);
    for (const std::string& text : texts)
        ASSERT_EQ(TRN_Execute_no_query(session.handle(), text.c_str()),
                  static_cast<std::int32_t>(text.size()));
}

TEST(request, of_another_thread_waits_for_the_reply) {
    constexpr int calls = 300;
    const auto echo = [](const std::string& text) {
        return query({{"c", TRN_WIRE_CHAR}}, {row({characters(text)})}) + K;
    };
    Session session({expect(default_login), send("K"), serve_commands(2 * calls, echo)});
    const auto work = [&](const std::string& mark) {
        for (int i = 0; i < calls; ++i) {
            const std::string text = mark + std::to_string(i);
            Reader reader(session.handle(), text.c_str());
            ASSERT_EQ(reader.status, 1);
            ASSERT_EQ(TRN_ReadNext(&reader.result), 0);
            ASSERT_EQ(text_value(&reader.result, 1), text);
        }
    };
    std::thread other([&] { work("other "); });
    work("own ");
    other.join();
}

} // namespace
