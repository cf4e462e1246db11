// A million rows of five columns sent in batches of array-bound parameters, against the bare stream: the same
// bytes sent over loopback in the same blocks to the same peer, which discards them and answers each batch.
// Wall time.
#include <algorithm>
#include <cstring>

#include "measure.h"
#include "peer.h"

using namespace bench;

namespace {

constexpr int32_t columns = 5;
constexpr size_t row_size = columns * 5 + 4 + 8 + 8 + 20 + 10; // type and length before each value
constexpr size_t first_row_size = columns * 10 + 4 + 8 + 8 + 20 + 10;
constexpr size_t block_size = 448000; // the driver ends a block after the row that exceeds this
constexpr char answer[] = {'U', 0, 0, 0, 1, 'K'};

// One batch as the application has it, and as it is sent after its command.
struct Batch {
    int32_t rows;
    std::vector<int32_t> integers;
    std::vector<int64_t> bigints;
    std::vector<double> doubles;
    std::string texts; // each after its length
    std::string dates;
    std::string first_row;
    std::string other_rows;
};

void put_entry(std::string& bytes, uint64_t wire_type, const std::string& value) {
    put_u16(bytes, 0);
    put_u16(bytes, TRN_DIRECTION_IN);
    put_u16(bytes, wire_type);
    put_counted(bytes, value);
}

void put_staged(std::string& bytes, uint64_t wire_type, const std::string& value) {
    bytes += static_cast<char>(wire_type);
    put_counted(bytes, value);
}

Batch build_batch(int32_t rows) {
    Batch batch{rows, {}, {}, {}, {}, {}, {}, {}};
    Random random;
    for (int32_t row = 0; row < rows; ++row) {
        batch.integers.push_back(static_cast<int32_t>(random.next()));
        batch.bigints.push_back(static_cast<int64_t>(random.next()));
        batch.doubles.push_back(static_cast<double>(random.between(-1000000, 1000000)) / 100);
        const std::string text = random.letters(20);
        const int32_t length = 20;
        batch.texts.append(reinterpret_cast<const char*>(&length), sizeof length).append(text);
        const std::string date = "20" + std::to_string(random.between(10, 99)) + "-0" +
                                 std::to_string(random.between(1, 9)) + "-" +
                                 std::to_string(random.between(10, 28));
        batch.dates += date;

        std::string integer, bigint, number;
        uint64_t bits;
        std::memcpy(&bits, &batch.doubles.back(), sizeof bits);
        put_u32(integer, static_cast<uint64_t>(batch.integers.back()));
        put_u64(bigint, static_cast<uint64_t>(batch.bigints.back()));
        put_u64(number, bits);
        const auto put = row == 0 ? put_entry : put_staged;
        std::string& bytes = row == 0 ? batch.first_row : batch.other_rows;
        put(bytes, TRN_WIRE_INTEGER, integer);
        put(bytes, TRN_WIRE_BIGINT, bigint);
        put(bytes, TRN_WIRE_DOUBLE, number);
        put(bytes, TRN_WIRE_CHAR, text);
        put(bytes, TRN_WIRE_CHAR, date);
    }
    return batch;
}

// Reads the rows of a batch; compares them with the expected ones, if given.
bool take_rows(Link& link, size_t rows, const Batch* expected) {
    std::string bytes(first_row_size, '\0');
    if (!link.receive(bytes.data(), bytes.size())) return false;
    bool same = !expected || bytes == expected->first_row;
    for (size_t left = (rows - 1) * row_size; left;) {
        uint32_t size;
        if (!link.receive_u32(size) || size > left) return false;
        if (expected) {
            bytes.resize(size);
            if (!link.receive(bytes.data(), size)) return false;
            same = same && expected->other_rows.compare(expected->other_rows.size() - left, size, bytes) == 0;
        } else if (!link.drop(size)) {
            return false;
        }
        left -= size;
    }
    return same;
}

Service take_batches(const Batch& batch) {
    return [&batch](Link& link) {
        std::string text;
        uint32_t word;
        while (link.receive_command(text, word)) {
            const Batch* expected = text.find("check") != std::string::npos ? &batch : nullptr;
            if (word && !take_rows(link, word >> 16, expected)) return; // the client sees the link end
            if (!link.send(word ? std::string_view(answer, sizeof answer) : "K")) return;
        }
    };
}

void bind(TRN_HANDLE* conn, Batch& batch, std::vector<std::vector<int32_t>>& lengths) {
    int32_t position = 0;
    const auto bind_array = [&](int32_t type, void* values, size_t size) {
        int32_t* row_lengths = lengths[static_cast<size_t>(position++)].data();
        check(TRN_BindParamArrayByPos(conn, position, columns, TRN_DIRECTION_IN, type, batch.rows, values,
                                      static_cast<int32_t>(size), row_lengths) == TRN_OK,
              "an array cannot be bound");
    };
    const size_t rows = static_cast<size_t>(batch.rows);
    bind_array(TRN_TYPE_INTEGER, batch.integers.data(), rows * 4);
    bind_array(TRN_TYPE_BIGINT, batch.bigints.data(), rows * 8);
    bind_array(TRN_TYPE_DOUBLE, batch.doubles.data(), rows * 8);
    bind_array(TRN_TYPE_TEXT, batch.texts.data(), batch.texts.size());
    bind_array(TRN_TYPE_DATE, batch.dates.data(), batch.dates.size());
}

} // namespace

int main(int argc, char** argv) {
    const Options options = parse_options(argc, argv);
    Batch batch = build_batch(options.quick ? 5000 : 20000);
    const int batches = options.quick ? 2 : 50;
    std::vector<std::vector<int32_t>> lengths;
    for (const int32_t length : {4, 8, 8, 20, 10})
        lengths.emplace_back(batch.rows, length);
    const Peer peer([&] { return take_batches(batch); }, 1, 2);
    pin_to_cpu(0);

    TRN_HANDLE conn = peer.open();
    char statement[20];
    check(TRN_Prepare2(&conn, "INSERT INTO t VALUES (?, ?, ?, ?, ?)", statement) == TRN_OK, "no statement");
    const std::string command = std::string("? ") + statement + " ";
    bind(&conn, batch, lengths);
    check(TRN_ExecBatch(&conn, (command + "check").c_str(), batch.rows) == 0,
          "the rows that arrived are not those bound");

    double binding = 0; // seconds, of the last run
    const auto send_by_driver = [&] {
        double executing = 0;
        binding = 0;
        for (int i = 0; i < batches; ++i) {
            const double start = wall_seconds();
            bind(&conn, batch, lengths);
            const double bound = wall_seconds();
            check(TRN_ExecBatch(&conn, command.c_str(), batch.rows) == 0, "a batch failed");
            executing += wall_seconds() - bound;
            binding += bound - start;
        }
        return executing;
    };

    std::string head = "?";
    put_counted(head, command);
    head += '\0';
    put_u32(head, static_cast<uint64_t>(batch.rows) << 16 | columns);
    head += batch.first_row;
    std::vector<std::string> blocks;
    for (size_t done = 0, size; done < batch.other_rows.size(); done += size) {
        size = std::min((block_size / row_size + 1) * row_size, batch.other_rows.size() - done);
        put_counted(blocks.emplace_back(), batch.other_rows.substr(done, size));
    }
    size_t wire_bytes = head.size();
    for (const std::string& block : blocks)
        wire_bytes += block.size();

    Link link = peer.connect();
    const auto send_bare = [&] {
        const double start = wall_seconds();
        for (int i = 0; i < batches; ++i) {
            bool sent = link.send(head);
            for (const std::string& block : blocks)
                sent = sent && link.send(block);
            char received[sizeof answer];
            check(sent && link.receive(received, sizeof received), "the bare stream broke");
        }
        return wall_seconds() - start;
    };
    const std::vector<double> seconds =
        medians(options.quick ? 1 : 7, {send_by_driver, [&] { return binding; }, send_bare});
    TRN_CloseConn(&conn);

    const double megabytes = static_cast<double>(wire_bytes) * batches / 1e6;
    Figures figures;
    figures.add("batch/rows", static_cast<double>(batch.rows) * batches, "rows");
    figures.add("batch/wire", megabytes, "MB");
    figures.add("batch/execute", megabytes / seconds[0], "MB/s");
    figures.add("batch/bind_and_execute", megabytes / (seconds[0] + seconds[1]), "MB/s");
    figures.add("batch/loopback", megabytes / seconds[2], "MB/s");
    figures.add("batch/execute/ratio", seconds[2] / seconds[0], "of loopback");
    figures.add("batch/bind_and_execute/ratio", seconds[2] / (seconds[0] + seconds[1]), "of loopback");
    figures.report(options);
}
