/*
 * The sending side: command frames byte for byte, texts around the sizes at which they leave the send buffer,
 * and two threads on one connection.
 */
#include "session_fixture.h"

#include <thread>

namespace {

TEST(request, is_one_frame_with_length_text_zero_and_no_parameters) {
    const std::string x(258, 'x'), zeros(5, '\0');
    Session session(
        logged_in({expect("?\0\0\0\x08"s + "SELECT 1" + zeros), send(K), expect("?" + be32(0) + zeros),
                   send(K), expect("?\0\0\1\2"s + x + zeros), send(K)}));
    EXPECT_EQ(run(no_query, session.connection, "SELECT 1"), 0);
    EXPECT_EQ(run(single_value, session.connection, ""), 0);
    EXPECT_EQ(run(data_reader, session.connection, x), 0);
}

TEST(request, texts_of_every_form_and_size_arrive_whole) {
    std::vector<std::string> texts = {"\tselect 1",     "  \r\nselect 1 ;",
                                      "(select 1)",     "-- note\nselect 1",
                                      "insert\xff\x80", "STC1",
                                      "exec p",         "?",
                                      "~ssl~",          "K"};
    for (const std::size_t size : {1, 2046, 2047, 2048, 2049, 3399, 4096, 8186, 8187, 8191, 8192, 8193, 16384,
                                   20000, 65536, 100000, 3000000}) {
        std::string text(size, ' ');
        for (std::size_t i = 0; i < size; ++i)
            text[i] = static_cast<char>('a' + (i * 7 + i / 251) % 26);
        texts.push_back(std::move(text));
    }
    std::vector<Exchange> exchanges;
    for (const std::string& text : texts)
        exchanges.push_back({text, U(static_cast<std::int32_t>(text.size())) + K});
    Session session(exchanges);
    for (const std::string& text : texts)
        ASSERT_EQ(session.connection.run(text), static_cast<std::int32_t>(text.size()));
}

TEST(request, of_another_thread_waits_for_the_reply) {
    constexpr int calls = 300;
    const auto echo = [](const std::string& text) {
        return query({{"c", TRN_WIRE_CHAR}}, {row({wire_text(text)})}) + K;
    };
    Session session(logged_in(Script{serve_commands(2 * calls, echo)}));
    const auto work = [&](const std::string& mark) {
        for (int i = 0; i < calls; ++i) {
            const std::string text = mark + std::to_string(i);
            ASSERT_EQ(Reader(session.connection, text).transcript(), "c: " + text + "\n");
        }
    };
    std::thread other([&] { work("other "); });
    work("own ");
    other.join();
}

} // namespace
