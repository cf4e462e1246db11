/*
 * The ends of buffers, the library's and the application's: what is read or written one byte too far meets a
 * page that nobody may touch. In builds without a sanitizer the library's heap blocks end at such pages too.
 */
#include "guarded.h"
#include "parameter_wire.h"
#include "tarnsql_ext.h"

#include "base/short_copy.h"
#include "reply/rows.h"

#include <array>
#include <cstddef>
#include <map>
#include <random>

using namespace test_support;

#ifdef GUARD_HEAP
constexpr bool exact_ends = true;
/* What the library allocates without zeroing it: rows, texts, chunks of large objects. Names that the linker
 * gives. */
static std::map<void*, std::pair<std::unique_ptr<Guarded>, std::size_t>> guarded_blocks;
extern "C" {
void __real_free(void* block);

void* __wrap_malloc(std::size_t size) {
    auto memory = std::make_unique<Guarded>(size);
    void* block = memory->area(size);
    guarded_blocks[block] = {std::move(memory), size};
    return block;
}
void __wrap_free(void* block) {
    if (guarded_blocks.erase(block) == 0) __real_free(block);
}
void* __wrap_realloc(void* block, std::size_t size) {
    void* moved = __wrap_malloc(size);
    const auto found = guarded_blocks.find(block);
    if (found != guarded_blocks.end()) std::memcpy(moved, block, std::min(size, found->second.second));
    __wrap_free(block);
    return moved;
}
}
#else
constexpr bool exact_ends = false;
#endif

namespace {

std::uint8_t* bytes(char* area) {
    return reinterpret_cast<std::uint8_t*>(area);
}

TEST(buffer_ends, of_short_copies) {
    const std::string content = pattern(64);
    Guarded source(64), target(65);
    for (const bool last : {true, false})
        for (std::size_t size = 0; size <= 64; ++size) {
            char* to = target.area(size, last);
            content.copy(source.area(size, last), size);
            tarn::copy_short(bytes(to), bytes(source.area(size, last)), size);
            ASSERT_EQ(std::string(to, size), content.substr(0, size)) << size;
            if (size < 16) continue;
            tarn::clear_short(bytes(to), size);
            ASSERT_EQ(std::string(to, size), std::string(size, '\0')) << size;
        }
}

/* A connection without a server: what it has received ends where its buffer does. */
class Received {
  public:
    Received() : memory_(sizeof(tarn::Channel)) {
        /* To the byte, where nobody minds that the record is not aligned. */
        channel =
            reinterpret_cast<tarn::Channel*>(memory_.area(exact_ends ? recv_buf_end : sizeof(tarn::Channel)));
        conn_.references = 1;
        result.reset(tarn::create_result(conn_, TRN_ITEM_QUERY));
    }
    void put(const std::string& received) {
        channel->pushed_back = tarn::MessageType::none;
        channel->recv_fill = sizeof channel->recv_buf;
        channel->recv_pos = static_cast<std::uint32_t>(sizeof channel->recv_buf - received.size());
        std::memcpy(channel->recv_buf + channel->recv_pos, received.data(), received.size());
    }
    /* Reads a query behind its letter: columns, then so many rows as there are. */
    std::int64_t read(const std::string& columns, const std::string& rows) {
        tarn::drop_rows(*result);
        put(columns.substr(1));
        EXPECT_EQ(tarn::read_columns(*channel, *result), TRN_OK);
        put(rows);
        EXPECT_EQ(tarn::read_rows(*channel, *result, INT32_MAX).status, TRN_ERR_NETWORK);
        tarn::end_rows(*result);
        handle = result.get();
        return result->row_count;
    }

    tarn::Channel* channel;
    tarn::OwnedResult result;
    TRN_HANDLE handle = nullptr;

  private:
    static constexpr std::size_t recv_buf_end =
        offsetof(tarn::Channel, recv_buf) + sizeof(tarn::Channel::recv_buf);
    static_assert(sizeof(tarn::Channel) - recv_buf_end < alignof(tarn::Channel), "the buffer is its last");
    Guarded memory_; /* zeroed */
    tarn::Conn conn_{};
};

std::string value(TRN_HANDLE& handle, std::int32_t column) {
    char area[400];
    std::int32_t length = 0;
    const std::int32_t status = TRN_GetData(&handle, column, TRN_TYPE_TEXT, area, sizeof area, &length);
    if (status == TRN_NULL_VALUE) return "NULL";
    EXPECT_EQ(status, TRN_OK);
    return {area, static_cast<std::size_t>(length)};
}

TEST(buffer_ends, of_what_was_received_cut_at_every_byte) {
    const std::string columns = query({{"c", TRN_WIRE_CHAR}, {"n", TRN_WIRE_INTEGER}}, {});
    Received received;
    for (std::size_t size = 0; size < 300;
         size = size < 20 || (size > 230 && size < 250) ? size + 1 : size + 13) {
        const std::string text = pattern(size);
        const std::string whole = row({wire_text(text), integer(int(size))});
        for (std::size_t cut = 0; cut <= whole.size(); ++cut) {
            const std::string rows = whole + whole + whole.substr(0, whole.size() - cut);
            ASSERT_EQ(received.read(columns, rows), cut ? 2 : 3) << size << ", cut " << cut;
            while (TRN_ReadNext(&received.handle) == TRN_OK) {
                ASSERT_EQ(value(received.handle, 2), std::to_string(size));
                ASSERT_EQ(value(received.handle, 1), size ? text : "NULL");
            }
        }
    }
}

/* Runs of short rows that end before, at and behind the end of a block. */
TEST(buffer_ends, of_the_blocks_that_rows_are_kept_in) {
    const auto stored = [](std::size_t size) { return char(size) + pattern(size - 1); };
    for (std::size_t first = 1; first <= 40; ++first)
        for (std::size_t size = 1; size <= 40; ++size) {
            tarn::RowStore store{};
            std::vector<std::string> all{stored(first)};
            ASSERT_TRUE(tarn::store_short_rows(store, bytes(all[0].data()), first));
            for (int run = 0; run < 20; ++run) {
                std::string rows;
                for (int i = 0; i <= run % 3; ++i)
                    rows += all.emplace_back(stored(size));
                ASSERT_TRUE(tarn::store_short_rows(store, bytes(rows.data()), rows.size()));
            }
            tarn::RowCursor cursor = tarn::first_row(store);
            for (const std::string& row : all) {
                const std::uint8_t* found = tarn::next_row(cursor);
                ASSERT_TRUE(found && std::memcmp(found, row.data() + 1, row.size() - 1) == 0)
                    << first << " " << size;
            }
            EXPECT_FALSE(tarn::next_row(cursor));
            tarn::release_rows(store);
        }
}

/* Around the sizes of machine words: the columns that are null in one row are those that are not in the
 * other. */
TEST(buffer_ends, of_rows_with_many_columns_and_nulls_among_them) {
    std::mt19937 random(7);
    Received received;
    for (const std::size_t count : {1, 2, 31, 32, 33, 63, 64, 65, 127, 128, 129, 300})
        for (std::size_t round = count < 200 ? 0 : count; round <= count + 2; ++round) {
            std::vector<Column> columns;
            std::vector<std::string> cells[2], expected[2];
            std::vector<std::int32_t> order;
            for (std::size_t i = 0; i < count; ++i) {
                const bool text = i % 3 == 0;
                columns.push_back({"c", text ? TRN_WIRE_CHAR : TRN_WIRE_SMALLINT});
                /* One column differs from the others, all are alike, every second does, or chance has it. */
                const bool alone =
                    round < count ? i == round
                                  : (round == count ? false : (round == count + 1 ? i % 2 : random() % 2));
                for (const bool first : {true, false}) {
                    const bool null = alone == first;
                    cells[first].push_back(null ? null_value()
                                                : wire_text(text ? std::to_string(i) : be16(int(i))));
                    expected[first].push_back(null ? "NULL" : std::to_string(i));
                }
                order.push_back(std::int32_t(i) + 1);
            }
            ASSERT_EQ(received.read(query(columns, {}), row(cells[0]) + row(cells[1]) + row(cells[0])), 3);
            for (const int which : {0, 1, 0}) {
                ASSERT_EQ(TRN_ReadNext(&received.handle), TRN_OK);
                for (const std::int32_t column : order)
                    ASSERT_EQ(value(received.handle, column), expected[which][std::size_t(column) - 1])
                        << count << " columns, round " << round << ", column " << column;
                std::shuffle(order.begin(), order.end(), random);
            }
            EXPECT_EQ(TRN_ReadNext(&received.handle), TRN_END);
        }
}

/* What a target makes of a value in so much room: the status, the length and the area. */
struct Delivered {
    std::int32_t status, length;
    std::string area;
    bool operator==(const Delivered&) const = default;
};

Delivered expected(std::int32_t target, bool made, const std::string& text, std::size_t room,
                   std::size_t offset) {
    const std::string left = text.substr(offset);
    const auto size = std::int32_t(left.size());
    const auto filled = [room](std::string kept) { return kept.append(room - kept.size(), '\0'); };
    const bool piece = target == TRN_TYPE_BYTES_PIECEWISE;
    if (piece && size == 0) return {TRN_OK, 0, std::string(room, '.')};
    if (room == 0) return {TRN_TRUNCATED, size, ""};
    if (piece) return {TRN_OK, std::min(size, std::int32_t(room)), filled(left.substr(0, room))};
    if (left.size() + made <= room) return {TRN_OK, size, filled(left)};
    const std::size_t kept = target == TRN_TYPE_TEXT ? room - 1 : room;
    return {TRN_TRUNCATED, size - std::int32_t(kept), filled(left.substr(0, kept))};
}

void expect_delivery(TRN_HANDLE& handle, std::int32_t column, std::int32_t target, const std::string& text,
                     std::size_t room, std::size_t offset) {
    static Guarded memory(200);
    for (const bool last : {true, false}) {
        char* area = memory.area(room, last);
        std::fill_n(area, room, '.');
        Delivered got{0, std::int32_t(offset), ""};
        got.status = TRN_GetData(&handle, column, target, area, std::int32_t(room), &got.length);
        got.area.assign(area, room);
        ASSERT_TRUE(got == expected(target, column == 2, text, room, offset))
            << text.size() << " bytes from " << offset << " to " << room << ", target " << target << ": "
            << got.status << " " << got.length << " " << got.area;
    }
}

TEST(buffer_ends, of_the_applications_areas_for_values) {
    const std::string columns = query({{"c", TRN_WIRE_CHAR}, {"n", TRN_WIRE_BIGINT}}, {});
    Received received;
    for (std::size_t size = 1; size <= 100; ++size) {
        const std::string text = pattern(size), digits = std::string(size % 18 + 1, '7');
        received.read(columns, row({wire_text(text), wire_text(be64(std::stoll(digits)))}));
        ASSERT_EQ(TRN_ReadNext(&received.handle), TRN_OK);
        for (std::size_t room = 0; room <= 100; ++room) {
            expect_delivery(received.handle, 1, TRN_TYPE_TEXT, text, room, 0);
            expect_delivery(received.handle, 1, TRN_TYPE_BYTES, text, room, 0);
            for (const std::size_t offset : {std::size_t{0}, std::size_t{1}, size / 2, size - 1, size})
                expect_delivery(received.handle, 1, TRN_TYPE_BYTES_PIECEWISE, text, room, offset);
            if (size < 19) expect_delivery(received.handle, 2, TRN_TYPE_TEXT, digits, room, 0);
            ASSERT_FALSE(testing::Test::HasFailure());
        }
    }
}

/* Contents of a large object that end before, at and behind the end of a chunk, put in pieces that do. */
TEST(buffer_ends, of_the_chunks_of_a_large_object) {
    constexpr std::size_t chunk = 1024 * 1024;
    const std::string content = pattern(2 * chunk + 1);
    Guarded source(2 * chunk + 1), target(2 * chunk + 1);
    for (const std::size_t size : {chunk - 1, chunk, chunk + 1, 2 * chunk - 1, 2 * chunk, 2 * chunk + 1})
        for (const std::size_t piece : {chunk / 3, chunk - 1, chunk, chunk + 1, size}) {
            SCOPED_TRACE(std::to_string(size) + " by " + std::to_string(piece));
            TRN_HANDLE lob = nullptr;
            TRN_Create_Lob(&lob);
            for (std::size_t put = 0; put < size; put += piece) {
                const std::size_t count = std::min(piece, size - put);
                content.copy(source.area(count), count, put);
                ASSERT_EQ(TRN_Put_Lob_data(&lob, source.area(count), std::int32_t(count)), TRN_OK);
            }
            EXPECT_EQ(TRN_Put_Lob_data(&lob, nullptr, 5), TRN_OK);
            for (const std::size_t start : {std::size_t{0}, chunk - 1, chunk, size - 1, size})
                for (const std::size_t room : {std::size_t{1}, std::size_t{2}, chunk, size}) {
                    if (start > size) continue;
                    const std::size_t count = std::min(room, size - start);
                    char* area = target.area(count);
                    ASSERT_EQ(TRN_LobRead_SetPos(&lob, std::int32_t(start)), std::int32_t(start));
                    ASSERT_EQ(TRN_Get_Lob_data(&lob, area, std::int32_t(room)), std::int32_t(count));
                    ASSERT_TRUE(content.compare(start, count, area, count) == 0) << start << " " << room;
                }
            TRN_Distroy_Lob(&lob);
        }
}

/* The second row of a batch: the first one travels as entries. */
std::string batch_of_nulls_and(const std::string& entries, std::int32_t parameters, const std::string& row) {
    return request("q", 2 << 16 | parameters, entries) + wire_text(row);
}

/* Short values at the very end of an array and of the rows' memory, for servers of both kinds. */
TEST(buffer_ends, of_the_applications_values_in_a_batch) {
    constexpr std::size_t most = 70;
    Guarded memory(most + 100);
    const std::int32_t text = TRN_TYPE_TEXT;
    for (const bool typed : {false, true}) {
        std::vector<std::pair<std::string, std::string>> exchanges;
        for (std::size_t size = 1; size <= most; ++size) {
            const std::string row = (typed ? "\x1e" : "") + wire_text(pattern(size));
            exchanges.insert(exchanges.end(), 2, {batch_of_nulls_and(text_entry(""), 1, row), U(2) + K});
        }
        Script script = asked(exchanges);
        if (typed) script[1] = send("N\1\2\3\4K");
        Session session(script);
        for (std::size_t size = 1; size <= most; ++size) {
            const auto length = static_cast<std::int32_t>(size);
            const auto before = static_cast<std::uint32_t>(most + 100 - size);
            char* element = memory.area(size);
            pattern(size).copy(element, size);
            const TRNX_VALUE values[] = {{0, 0}, {before, std::uint32_t(size)}};
            ASSERT_EQ(TRNX_ExecRows(session.handle(), "q", 1, &text, 2, values, element - before,
                                    before + std::uint32_t(size)),
                      0);
            const std::int32_t heads[] = {0, length}; /* of two elements, which hold their lengths */
            std::int32_t lengths[] = {0, length};
            std::memcpy(element - sizeof heads, heads, sizeof heads);
            ASSERT_EQ(TRN_BindParamArrayByPos(session.handle(), 1, 2, TRN_DIRECTION_IN, text, 2,
                                              element - sizeof heads, length + 8, lengths),
                      0);
            ASSERT_EQ(TRN_ExecBatch(session.handle(), "q", 2), 0);
        }
    }
}

/* A row that fills a block nearly or wholly, and goes on. */
TEST(buffer_ends, of_the_blocks_of_a_batch) {
    constexpr std::size_t room = 131072 + 100 * 69, most_left = 80;
    const std::vector<std::int32_t> texts(3, TRN_TYPE_TEXT);
    const std::string data = pattern(room);
    std::vector<std::pair<std::string, std::string>> exchanges;
    const auto sizes = [](std::size_t left) {
        return std::array{room - 4 - left, std::size_t{10}, std::size_t{1000}};
    };
    for (std::size_t left = 0; left <= most_left; ++left) {
        std::string row;
        for (const std::size_t size : sizes(left))
            row += wire_text(data.substr(0, size));
        exchanges.push_back(
            {batch_of_nulls_and(text_entry("") + text_entry("") + text_entry(""), 3, row), U(2) + K});
    }
    Session session(asked(exchanges));
    for (std::size_t left = 0; left <= most_left; ++left) {
        std::vector<TRNX_VALUE> values(3);
        for (const std::size_t size : sizes(left))
            values.push_back({0, std::uint32_t(size)});
        ASSERT_EQ(TRNX_ExecRows(session.handle(), "q", 3, texts.data(), 2, values.data(), data.data(), room),
                  0);
    }
}

} // namespace
