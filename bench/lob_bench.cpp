// A large object of 256 MiB sent as a parameter and received by a descriptor or as a value, against the bare
// stream: the same bytes over loopback, sent in blocks of 1 MiB, or received into a buffer of 64 KiB or into
// memory that is kept. Wall time.
#include <cstring>

#include <sys/mman.h>

#include "measure.h"
#include "peer.h"

using namespace bench;

namespace {

constexpr size_t block_size = 1024 * 1024;
constexpr char answer[] = {'U', 0, 0, 0, 1, 'K'};

// A piece of the content: an 8-byte head (it continues, its size) and a block. Blocks differ only in their
// first bytes, a number, so that the peer always sends them from cached memory.
class Piece {
  public:
    Piece() {
        put_u32(bytes_, 1);
        put_counted(bytes_, Random().letters(block_size));
    }
    std::string_view numbered(uint64_t number) {
        std::memcpy(bytes_.data() + head_size, &number, sizeof number);
        return bytes_;
    }
    std::string_view block(uint64_t number) { return numbered(number).substr(head_size); }

    static constexpr size_t head_size = 8;

  private:
    std::string bytes_;
};

std::string build_content(size_t blocks) {
    Piece piece;
    std::string content;
    content.reserve(blocks * block_size);
    for (size_t i = 0; i < blocks; ++i)
        content += piece.block(i);
    return content;
}

std::string result_of_one_row() {
    return result_head({TRN_WIRE_BLOB}) + 'R';
}

// The descriptor has an object's name in 13 characters and its length.
bool send_descriptor(Link& link, size_t size) {
    std::string reply = result_of_one_row();
    put_counted(reply, "B234567890123 " + std::to_string(size));
    return link.send(reply + 'K');
}

constexpr std::string_view end_of_pieces("\0\0\0\0K", 5);

size_t pieces_size(size_t blocks) {
    return result_of_one_row().size() + blocks * (Piece::head_size + block_size) + end_of_pieces.size();
}

bool send_pieces(Link& link, size_t blocks) {
    Piece piece;
    bool good = link.send(result_of_one_row());
    for (size_t i = 0; good && i < blocks; ++i)
        good = link.send(piece.numbered(i));
    return good && link.send(end_of_pieces);
}

bool send_value(Link& link, size_t blocks) {
    Piece piece;
    std::string head = result_of_one_row();
    put_u32(head, blocks * block_size);
    bool good = link.send(head);
    for (size_t i = 0; good && i < blocks; ++i)
        good = link.send(piece.block(i));
    return good && link.send("K");
}

// Reads one parameter; compares it with the expected one, if given.
bool take_parameter(Link& link, const std::string* expected) {
    uint32_t length;
    if (!link.drop(6) || !link.receive_u32(length)) return false;
    if (!expected) return link.drop(length);
    std::string bytes(length, '\0');
    return link.receive(bytes.data(), length) && bytes == *expected;
}

Service serve_content(const std::string& content) {
    return [&content, blocks = content.size() / block_size](Link& link) {
        std::string text;
        uint32_t word;
        bool good = true;
        while (good && link.receive_command(text, word)) {
            if (word) // the client sees the link end when the parameter is not what was expected
                good = take_parameter(link, text == "check" ? &content : nullptr) &&
                       link.send(answer, sizeof answer);
            else if (text == "descriptor")
                good = send_descriptor(link, content.size());
            else
                good = text == "value" ? send_value(link, blocks) : send_pieces(link, blocks);
        }
    };
}

std::string command(const std::string& text, uint64_t word = 0) {
    std::string bytes = "?";
    put_counted(bytes, text);
    bytes += '\0';
    put_u32(bytes, word);
    return bytes;
}

TRN_HANDLE query(TRN_HANDLE* conn, const char* text) {
    TRN_HANDLE result = nullptr;
    check(TRN_ExecwithDataReader(conn, text, &result, nullptr, nullptr, nullptr) == 1, "no value arrived");
    return result;
}

// Every measurement opens its own connection and returns seconds.
struct Bench {
    const Peer& peer;
    const std::string& content;
    size_t reply_size; // of the pieces

    enum class Counted {
        putting,
        sending
    };

    double send(Counted counted, const char* text = "store") const {
        TRN_HANDLE conn = peer.open();
        TRN_HANDLE lob = nullptr;
        check(TRN_Create_Lob(&lob) == TRN_OK, "no large object");
        const double start = wall_seconds();
        for (size_t done = 0; done < content.size(); done += block_size / 4)
            check(TRN_Put_Lob_data(&lob, content.data() + done, block_size / 4) == TRN_OK, "out of memory");
        TRN_Put_Lob_data(&lob, nullptr, TRN_LOB_END);
        const double put = wall_seconds();
        check(TRN_BindParamByPos(&conn, 1, TRN_DIRECTION_IN, TRN_TYPE_BLOB, &lob, 0, nullptr) == TRN_OK &&
                  TRN_Execute_no_query(&conn, text) == 1,
              "the content did not arrive as it was sent");
        const double sent = wall_seconds();
        TRN_Distroy_Lob(&lob);
        TRN_CloseConn(&conn);
        return counted == Counted::putting ? put - start : sent - put;
    }

    double send_bare() const {
        Link link = peer.connect();
        const std::string own(content); // as well cached as a large object just filled
        std::string head = command("store", 1);
        put_u16(head, 0);
        put_u16(head, TRN_DIRECTION_IN);
        put_u16(head, TRN_WIRE_BLOB);
        put_u32(head, own.size());
        const double start = wall_seconds();
        bool good = link.send(head);
        for (size_t done = 0; good && done < own.size(); done += block_size)
            good = link.send(std::string_view(own).substr(done, block_size));
        char received[sizeof answer];
        check(good && link.receive(received, sizeof received), "the bare stream broke");
        return wall_seconds() - start;
    }

    // Receiving by the descriptor; or receiving and reading in pieces.
    double fetch(bool reading) const {
        TRN_HANDLE conn = peer.open(";lob_ret=descriptor");
        TRN_HANDLE result = query(&conn, "descriptor");
        TRN_HANDLE lob = nullptr;
        int32_t length = 0;
        check(TRN_ReadNext(&result) == TRN_OK && TRN_Create_Lob(&lob) == TRN_OK, "no descriptor");
        double start = wall_seconds();
        check(TRN_GetData(&result, 1, TRN_TYPE_BLOB, &lob, 0, &length) == TRN_OK &&
                  static_cast<size_t>(length) == content.size(),
              "the content did not arrive");
        double spent = wall_seconds() - start;
        char piece[65536];
        bool same = true;
        size_t read = 0;
        for (int32_t size = 1; size > 0; read += static_cast<size_t>(size)) {
            start = wall_seconds();
            size = TRN_Get_Lob_data(&lob, piece, sizeof piece);
            if (reading) spent += wall_seconds() - start;
            same = same && size >= 0 &&
                   content.compare(read, static_cast<size_t>(size), piece, static_cast<size_t>(size)) == 0;
        }
        check(same && read == content.size(), "another content arrived");
        TRN_Distroy_Lob(&lob);
        TRN_FreeRowset(&result);
        TRN_CloseConn(&conn);
        return spent;
    }

    double receive_value(bool reading) const {
        std::string bytes(content.size(), '\0');
        TRN_HANDLE conn = peer.open();
        const double start = wall_seconds();
        TRN_HANDLE result = query(&conn, "value");
        const double received = wall_seconds();
        check(TRN_ReadNext(&result) == TRN_OK &&
                  TRN_GetData(&result, 1, TRN_TYPE_BYTES, bytes.data(), static_cast<int32_t>(bytes.size()),
                              nullptr) == TRN_OK,
              "the value cannot be read");
        const double read = wall_seconds();
        check(bytes == content, "another content arrived");
        TRN_FreeRowset(&result);
        TRN_CloseConn(&conn);
        return (reading ? read : received) - start;
    }

    double receive_bare() const {
        Link link = peer.connect();
        const double start = wall_seconds();
        check(link.send(command("get lob")) && link.drop(reply_size), "the bare stream broke");
        return wall_seconds() - start;
    }

    // The same into fresh memory, as needed by anyone who keeps the content.
    double receive_bare_and_keep() const {
        Link link = peer.connect();
        const double start = wall_seconds();
        const std::unique_ptr<char[]> kept(new char[reply_size]);
        check(link.send(command("get lob")) && link.receive(kept.get(), reply_size), "the bare stream broke");
        return wall_seconds() - start;
    }
};

// A virtual machine may have to fetch unused pages from its host: do that before the clock runs.
void touch_memory(size_t size) {
    void* memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    check(memory != MAP_FAILED, "out of memory");
    std::memset(memory, 1, size);
    munmap(memory, size);
}

} // namespace

int main(int argc, char** argv) {
    const Options options = parse_options(argc, argv);
    const size_t blocks = options.quick ? 8 : 256;
    const std::string content = build_content(blocks);
    const Peer peer([&] { return serve_content(content); });
    pin_to_cpu(0);
    const Bench bench{peer, content, pieces_size(blocks)};
    bench.send(Bench::Counted::sending, "check");

    // Each in its own process, so that memory kept by the allocator does not help the next.
    const auto measured = [&](const Measurement& measurement) {
        return [&, measurement] {
            return in_own_process([&] {
                touch_memory(3 * content.size());
                return measurement();
            });
        };
    };
    const std::vector<double> seconds = medians(
        options.quick ? 1 : 7,
        {measured([&] { return bench.send(Bench::Counted::sending); }),
         measured([&] { return bench.send_bare(); }),
         measured([&] { return bench.send(Bench::Counted::putting); }),
         measured([&] { return bench.fetch(false); }), measured([&] { return bench.fetch(true); }),
         measured([&] { return bench.receive_value(false); }),
         measured([&] { return bench.receive_value(true); }), measured([&] { return bench.receive_bare(); }),
         measured([&] { return bench.receive_bare_and_keep(); })});

    const double megabytes = static_cast<double>(content.size()) / 1e6;
    Figures figures;
    figures.add("lob/size", megabytes, "MB");
    const auto add_speed = [&](const char* name, double spent) {
        figures.add(std::string("lob/") + name, megabytes / spent, "MB/s");
    };
    const double bare_send = seconds[1], bare_receive = seconds[7], bare_keep = seconds[8];
    const auto add_sent = [&](const char* name, double spent) {
        add_speed(name, spent);
        figures.add(std::string("lob/") + name + "/ratio", bare_send / spent, "of loopback");
    };
    const auto add_received = [&](const char* name, double spent) {
        add_speed(name, spent);
        figures.add(std::string("lob/") + name + "/ratio", bare_receive / spent, "of loopback");
        figures.add(std::string("lob/") + name + "/kept_ratio", bare_keep / spent,
                    "of loopback into kept memory");
    };
    add_sent("send", seconds[0]);
    add_sent("put_and_send", seconds[2] + seconds[0]);
    add_speed("loopback_send", bare_send);
    add_received("fetch", seconds[3]);
    add_received("fetch_and_read", seconds[4]);
    add_received("receive_value", seconds[5]);
    add_received("receive_value_and_read", seconds[6]);
    add_speed("loopback_receive", bare_receive);
    add_speed("loopback_receive_and_keep", bare_keep);
    figures.add("lob/loopback_receive_and_keep/ratio", bare_receive / bare_keep, "of loopback");
    figures.report(options);
}
