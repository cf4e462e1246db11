/*
 * What is left of secrets in the memory of the process: after a login, whatever became of it, the password
 * stands in the connection's record and nowhere else, and after the close nowhere at all. The test looks
 * through all memory that can be written but its own stack. The library's calls run on another one, on which
 * their abandoned frames stay as they are.
 *
 * The test must not hold the secrets itself. The server is a child process, what to look for is computed by
 * another one, and here it exists only masked; connection strings are wiped behind the call. Linux only; an
 * unoptimised library is not asked.
 */
#include "client.h"
#include "conn/conn_string.h"
#include "conn/login_text.h"
#include "crypto/key_agreement.h"
#include "crypto/multi_precision.h"
#include "encrypted_channel.h"
#include "output_capture.h"
#include "replay_peer.h"
#include "wire_bytes.h"

#include <gtest/gtest.h>

#include <array>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <malloc.h>
#include <map>
#include <memory>
#include <set>
#include <stdexcept>
#include <sys/mman.h>
#include <sys/wait.h>
#include <ucontext.h>
#include <unistd.h>

using namespace test_support;

static std::size_t words_drawn;

/* What the library releases stays as it is, to be looked through: names that the linker gives, __real_free is
 * free. */
static bool in_library;
static std::vector<void*> released;
extern "C" void __real_free(void* block);
extern "C" void __wrap_free(void* block) {
    if (!in_library) return __real_free(block);
    in_library = false;
    released.push_back(block);
    in_library = true;
}
extern "C" void* __wrap_realloc(void* block, std::size_t size) {
    void* moved = std::malloc(size);
    if (moved && block) std::memcpy(moved, block, std::min(size, malloc_usable_size(block)));
    if (moved) __wrap_free(block);
    return moved;
}

/* In place of the system's random words: the session key of a login can be told. */
extern "C" std::uint32_t __wrap__ZNSt13random_device9_M_getvalEv(void*) {
    const std::uint64_t mixed = (words_drawn++ + 0x9E3779B97F4A7C15) * 0xBF58476D1CE4E5B9;
    return static_cast<std::uint32_t>(mixed ^ mixed >> 29);
}

namespace {

constexpr char mask = '\xA5';
constexpr std::uint64_t mask_word = 0xA5A5A5A5A5A5A5A5;

std::string masked(std::string_view bytes) {
    std::string out(bytes);
    for (char& byte : out)
        byte = static_cast<char>(byte ^ mask);
    return out;
}

template <std::size_t size> constexpr std::array<char, size> mask_text(const char (&text)[size]) {
    std::array<char, size> out{};
    for (std::size_t i = 0; i < size; ++i)
        out[i] = static_cast<char>(text[i] ^ mask);
    return out;
}

constexpr auto password = mask_text("Xq7vJ0pZ-w2LrT9e_KbN4sGhY1mCdU");
constexpr auto statement = mask_text("update accounts set pin = 'kV9-tW3z_Lq5' where id = 'bR7x'");
constexpr auto row_value = mask_text("zP4m-cY8n_hG6s_dJ1f-wT0k");

/* A text that exists while this does. */
class Unmasked {
  public:
    template <std::size_t size> explicit Unmasked(const std::array<char, size>& text) { add(text); }
    Unmasked(const std::string& before, const std::string& behind) {
        add(before);
        add(password);
        add(behind);
    }
    ~Unmasked() { explicit_bzero(text_, sizeof text_); }
    Unmasked(const Unmasked&) = delete;
    Unmasked& operator=(const Unmasked&) = delete;
    const char* get() const { return text_; }

  private:
    void add(const std::string& text) {
        text.copy(text_ + length_, text.size());
        length_ += text.size();
    }
    template <std::size_t size> void add(const std::array<char, size>& text) {
        for (std::size_t i = 0; i + 1 < size; ++i)
            text_[length_++] = static_cast<char>(text[i] ^ mask);
    }
    char text_[2048] = {};
    std::size_t length_ = 0;
};

struct Secret {
    std::string name, bytes; /* masked */
    std::size_t least;       /* so many bytes together are a find */
};

void add(std::vector<Secret>& all, const char* name, const void* bytes, std::size_t size,
         std::size_t least = 8) {
    all.push_back({name, masked({static_cast<const char*>(bytes), size}), least});
}

/* What the last multiplication leaves in its scratch when a block is raised to the public exponent. */
void add_scratch(std::vector<Secret>& all, const std::uint8_t* block) {
    using namespace tarn;
    Digit x[8], y[8], m[8], e[8] = {65536}, product[16], quotient[16], remainder[16];
    std::memcpy(x, block, sizeof x);
    std::memcpy(m, public_numbers().data() + 32, sizeof m);
    mp_mod_exp(y, x, e, m, 8);
    mp_mul(product, y, x, 8);
    mp_div(quotient, remainder, product, 16, m, 8);
    add(all, "product", product, sizeof product);
    add(all, "quotient", quotient, mp_digits(quotient, 16) * sizeof(Digit));
    add(all, "power", remainder, sizeof x);
}

/* Everything that a login has in its hands, computed as the library does. Runs in a child process. */
std::vector<Secret> secrets_of(const std::string& settings) {
    using namespace tarn;
    std::vector<Secret> all;
    const auto add = [&](const char* name, const void* bytes, std::size_t size, std::size_t least = 8) {
        ::add(all, name, bytes, size, least);
    };
    const Unmasked word(password), sql(statement), value(row_value);
    add("password", word.get(), password.size() - 1);
    add("statement", sql.get(), statement.size() - 1);
    add("row", value.get(), row_value.size() - 1);

    static Conn conn;
    parse_conn_string(Unmasked("a=b;pwd=", ";" + settings).get(), conn);
    std::strcpy(conn.protocol_version, "301");
    conn.settings.lock_timeout = 300;
    std::uint8_t area[2048] = {};
    char* text = reinterpret_cast<char*>(area + session_key_size);
    if (!build_login_text(conn, text, conn.settings.use_ssl ? max_encrypted_login_text : plain_login_limit))
        return all;
    add("login text", text, static_cast<std::size_t>(std::strstr(text, word.get()) - text) + password.size(),
        16);
    if (!conn.settings.use_ssl) return all;

    words_drawn = 0;
    make_session_key(word.get(), area);
    add("session key", area, session_key_size);
    std::uint32_t words[8];
    words_drawn -= std::size(words);
    for (std::uint32_t& drawn : words)
        drawn = __wrap__ZNSt13random_device9_M_getvalEv(nullptr);
    add("random words", words, sizeof words);

    TuringState state{};
    turing_set_key(state, area, session_key_size);
    add("key words", state.key_words, sizeof state.key_words);
    add("key tables", state.key_tables, sizeof state.key_tables);
    turing_set_iv(state, nullptr, 0);
    add("first register", state.lfsr, sizeof state.lfsr);
    turing_generate(state, state.ks_block);
    add("keystream", state.ks_block, sizeof state.ks_block);

    /* Of its clauses only the last stands nowhere else. */
    const std::size_t last_block =
        (session_key_size + pad_login_text(text) + 1) / rsa_block_size * rsa_block_size;
    const std::string_view block(reinterpret_cast<const char*>(area) + last_block, rsa_block_size);
    const std::string_view version = block.substr(std::min(block.find("version"), block.size()));
    add("RSA block", version.data(), version.size(), 12);
    add_scratch(all, area + last_block);
    all.pop_back(); /* the power is what is sent */
    return all;
}

/* A password as a block that is raised to a power. */
std::vector<Secret> secrets_of_block() {
    const Unmasked block(password);
    std::vector<Secret> all{{"password", masked(block.get()), 8}};
    add_scratch(all, reinterpret_cast<const std::uint8_t*>(block.get()));
    return all;
}

/* Runs a function in a child process and gives what it writes; the child ends when it has done that, or with
 * this record. */
class Child {
  public:
    explicit Child(const std::function<void(int output, int input)>& run) {
        int up[2], down[2];
        if (pipe(up) != 0 || pipe(down) != 0 || (id_ = fork()) < 0) throw std::runtime_error("no child");
        if (id_ == 0) {
            close(up[0]);
            close(down[1]);
            run(up[1], down[0]);
            _exit(0);
        }
        close(up[1]);
        close(down[0]);
        output_ = up[0];
        input_ = down[1];
    }
    ~Child() {
        close(input_);
        close(output_);
        waitpid(id_, nullptr, 0);
    }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;
    std::string read_all() const {
        std::string all;
        char part[4096];
        for (ssize_t count; (count = read(output_, part, sizeof part)) > 0;)
            all.append(part, static_cast<std::size_t>(count));
        return all;
    }
    std::uint16_t read_port() const {
        std::uint16_t port = 0;
        EXPECT_EQ(read(output_, &port, sizeof port), ssize_t(sizeof port));
        return port;
    }

  private:
    pid_t id_;
    int output_, input_;
};

void write_whole(int to, const void* bytes, std::size_t size) {
    if (write(to, bytes, size) != static_cast<ssize_t>(size)) _exit(1);
}

std::vector<Secret> computed_elsewhere(const std::function<std::vector<Secret>()>& compute) {
    const Child child([&](int output, int) {
        for (const Secret& secret : compute()) {
            const std::size_t head[] = {secret.name.size(), secret.bytes.size(), secret.least};
            write_whole(output, head, sizeof head);
            write_whole(output, secret.name.data(), head[0]);
            write_whole(output, secret.bytes.data(), head[1]);
        }
    });
    const std::string all = child.read_all();
    std::vector<Secret> secrets;
    for (std::size_t at = 0, head[3]; at < all.size(); at += head[0] + head[1]) {
        std::memcpy(head, all.data() + at, sizeof head);
        at += sizeof head;
        secrets.push_back({all.substr(at, head[0]), all.substr(at + head[0], head[1]), head[2]});
    }
    return secrets;
}

struct Find {
    std::string name;
    std::uintptr_t address;
};

/* Looks for every stretch of a secret in all memory that can be written. */
class Search {
  public:
    explicit Search(const std::vector<Secret>& secrets) : secrets_(secrets) {
        for (const Secret& secret : secrets_)
            for (std::size_t i = 0; i + secret.least <= secret.bytes.size(); ++i)
                starts_.emplace(word_at(secret.bytes.data() + i), std::pair{&secret, i});
        for (const auto& [word, place] : starts_)
            likely_[index_of(word)] = true;
    }
    std::vector<Find> run() const {
        std::vector<Find> found;
        std::FILE* maps = std::fopen("/proc/self/maps", "r");
        char line[512];
        for (std::uintptr_t first, last; maps && std::fgets(line, sizeof line, maps);)
            if (std::sscanf(line, "%" SCNxPTR "-%" SCNxPTR " rw", &first, &last) == 2 &&
                std::strstr(line, " rw") && !std::strstr(line, "[stack]"))
                look_through(first, last, found);
        if (maps) std::fclose(maps);
        return found;
    }

  private:
    static std::uint64_t word_at(const void* bytes) {
        std::uint64_t word;
        std::memcpy(&word, bytes, sizeof word);
        return word;
    }
    static std::size_t index_of(std::uint64_t word) { return word * 0x9E3779B97F4A7C15 >> 48; }
    void look_through(std::uintptr_t first, std::uintptr_t last, std::vector<Find>& found) const {
        for (std::uintptr_t at = first; at + sizeof mask_word <= last; ++at) {
            const std::uint64_t word = word_at(reinterpret_cast<const void*>(at)) ^ mask_word;
            if (!likely_[index_of(word)]) continue;
            const auto [begin, end] = starts_.equal_range(word);
            for (auto candidate = begin; candidate != end; ++candidate)
                if (const auto& [secret, offset] = candidate->second; is_at(*secret, offset, at, last)) {
                    found.push_back({secret->name, at});
                    break;
                }
        }
    }
    static bool is_at(const Secret& secret, std::size_t offset, std::uintptr_t at, std::uintptr_t last) {
        if (at + secret.least > last) return false;
        const char* here = reinterpret_cast<const char*>(at);
        for (std::size_t i = 0; i < secret.least; ++i)
            if ((here[i] ^ mask) != secret.bytes[offset + i]) return false;
        return true;
    }

    const std::vector<Secret>& secrets_;
    std::multimap<std::uint64_t, std::pair<const Secret*, std::size_t>> starts_;
    std::vector<bool> likely_ = std::vector<bool>(65536);
};

/* A stack for the library's calls. */
class OwnStack {
  public:
    OwnStack() : memory_(mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0)) {}
    ~OwnStack() { munmap(memory_, size); }
    OwnStack(const OwnStack&) = delete;
    OwnStack& operator=(const OwnStack&) = delete;
    void run(const std::function<void()>& call) {
        call_ = [&call] {
            in_library = true;
            call();
            in_library = false;
        };
        getcontext(&theirs_);
        theirs_.uc_stack.ss_sp = memory_;
        theirs_.uc_stack.ss_size = size;
        theirs_.uc_link = &ours_;
        current_ = this;
        makecontext(
            &theirs_, [] { current_->call_(); }, 0);
        swapcontext(&ours_, &theirs_);
    }

  private:
    static constexpr std::size_t size = 256 * 1024;
    static inline OwnStack* current_;
    std::function<void()> call_;
    ucontext_t ours_, theirs_;
    void* memory_;
};

/* Rows that the statement does not read stay in the receive buffer. */
std::string unread_rows() {
    return query({{"c", TRN_WIRE_CHAR}}, {row({wire_text(Unmasked(row_value).get())})}) + "K";
}

struct Login {
    std::string name, settings, answer; /* of the server; after "K" come the rows */
    std::int32_t status;
    Ending ending = Ending::orderly;
    std::size_t numbers = 64; /* bytes of the public numbers that come */
};

class secrets : public testing::TestWithParam<Login> {
  protected:
    void SetUp() override {
        const Login& login = GetParam();
        encrypted_ = login.settings.find("use_ssl=on") != std::string::npos;
        secrets_ = computed_elsewhere([&] { return secrets_of(login.settings); });
        server_ = std::make_unique<Child>([&](int output, int input) {
            const std::string numbers = encrypted_ ? public_numbers().substr(0, login.numbers) : "";
            ReplayPeer peer;
            peer.serve({numbers + login.answer + (login.answer == "K" ? unread_rows() : ""), login.ending,
                        SIZE_MAX, encrypted_});
            const std::uint16_t port = peer.port();
            write_whole(output, &port, sizeof port);
            char end;
            if (read(input, &end, 1) != 0) _exit(1);
            _exit(0);
        });
        port_ = server_->read_port();
    }
    void TearDown() override {
        for (void* block : released)
            __real_free(block);
        released.clear();
    }
    void call(std::function<void()> made) {
        OutputCapture output;
        stack_.run(std::move(made));
    }
    void open() {
        const Unmasked text("server=127.0.0.1;port=" + std::to_string(port_) + ";pwd=",
                            ";" + GetParam().settings);
        words_drawn = 0;
        call([&] { status_ = TRN_OpenConn(text.get(), &handle_); });
    }
    /* The record, and the states of an encrypted channel. */
    bool may_be_at(const Find& find) const {
        if (!handle_) return false;
        const auto* conn = static_cast<const tarn::Conn*>(handle_);
        const auto inside = [&](const auto* object) {
            const auto start = reinterpret_cast<std::uintptr_t>(object);
            return object && find.address >= start && find.address < start + sizeof *object;
        };
        if (find.name == "password") return inside(&conn->settings.password);
        if (find.name == "statement") return !encrypted_ && inside(&conn->channel.send_buf);
        if (find.name == "row") return inside(&conn->channel.recv_buf);
        const bool lasts = find.name.starts_with("key ") || find.name == "keystream";
        return lasts && (inside(conn->channel.recv_cipher) || inside(conn->channel.send_cipher));
    }
    /* Names what is where it must not be, and counts what is where it belongs. */
    std::string misplaced(const char* wanted = "") {
        std::string names;
        kept_ = 0;
        for (const Find& find : Search(secrets_).run()) {
            if (may_be_at(find))
                kept_ += find.name == wanted;
            else if (names.find(find.name) == std::string::npos)
                names += find.name + "; ";
        }
        return names;
    }

    bool encrypted_ = false;
    std::vector<Secret> secrets_;
    std::unique_ptr<Child> server_;
    std::uint16_t port_ = 0;
    OwnStack stack_;
    TRN_HANDLE handle_ = nullptr;
    std::int32_t status_ = 7777;
    int kept_ = 0;
};

TEST_P(secrets, are_wiped_by_every_way_out) {
    {
        const auto text = std::make_unique<Unmasked>(password); /* the search finds what there is */
        EXPECT_EQ(misplaced(), "password; ");
    }
    EXPECT_EQ(misplaced(), "");
    open();
    ASSERT_EQ(status_, GetParam().status);
    EXPECT_EQ(misplaced("password"), "") << "after the login";
    EXPECT_GT(kept_, 0);
    if (status_ == TRN_OPENED) {
        if (encrypted_) {
            EXPECT_EQ(misplaced("key tables"), "");
            EXPECT_GT(kept_, 2 * 4000);
        }
        call([&] { status_ = TRN_Execute_no_query(&handle_, Unmasked(statement).get()); });
        EXPECT_EQ(status_, 0);
        EXPECT_EQ(misplaced("row"), "") << "after a statement";
        EXPECT_GT(kept_, 0);
        words_drawn = 0;
        call([&] { status_ = TRN_ReconnectConn(&handle_); });
        EXPECT_EQ(status_, TRN_RECONNECTED);
        EXPECT_EQ(misplaced(), "") << "after a reconnect";
    }
    call([&] { TRN_CloseConn(&handle_); });
    EXPECT_EQ(misplaced(), "") << "after the close";
}

const std::string long_values = ";db=" + std::string(120, 'd') + ";user=" + std::string(63, 'u') +
                                ";char_set=" + std::string(63, 'c') + ";iso_level=" + std::string(63, 'i') +
                                ";current_schema=" + std::string(63, 's') +
                                ";keyword_filter=" + std::string(63, 'k');

/* The names of what a function leaves on its stack or in memory that it released. */
std::set<std::string> left_by(const std::vector<Secret>& secrets, const std::function<void()>& call) {
    OwnStack stack;
    stack.run(call);
    std::set<std::string> names;
    for (const Find& find : Search(secrets).run())
        names.insert(find.name);
    return names;
}

TEST(scratch, of_the_exponentiation_is_wiped) {
    static std::uint8_t block[2 * tarn::rsa_block_size];
    static const std::string numbers = public_numbers();
    static const auto* exponent = reinterpret_cast<const std::uint8_t*>(numbers.data());
    const std::vector<Secret> secrets = computed_elsewhere(secrets_of_block);
    const auto fill_block = [] { std::strcpy(reinterpret_cast<char*>(block), Unmasked(password).get()); };
    EXPECT_EQ(left_by(secrets, fill_block), std::set<std::string>{"password"});
    EXPECT_EQ(left_by(secrets,
                      [] {
                          tarn::rsa_encrypt_blocks(exponent, exponent + tarn::rsa_block_size, block,
                                                   tarn::rsa_block_size - 1);
                          explicit_bzero(block, sizeof block);
                      }),
              std::set<std::string>{});
    EXPECT_EQ(left_by(secrets,
                      [&] {
                          static tarn::Digit x[8], y[8], numbers_in_digits[2][8];
                          fill_block();
                          std::memcpy(x, block, sizeof x);
                          std::memcpy(numbers_in_digits, exponent, sizeof numbers_in_digits);
                          tarn::mp_mod_exp(y, x, numbers_in_digits[0], numbers_in_digits[1], 8);
                          explicit_bzero(block, sizeof block);
                          explicit_bzero(x, sizeof x);
                          explicit_bzero(y, sizeof y);
                      }),
              std::set<std::string>{});
}

TEST(scratch, of_the_session_key_is_wiped) {
    static std::uint8_t key[tarn::session_key_size];
    const std::vector<Secret> secrets =
        computed_elsewhere([] { return secrets_of("db=d;user=u;use_ssl=on"); });
    const auto make = [] {
        const Unmasked text(password);
        words_drawn = 0;
        tarn::make_session_key(text.get(), key);
    };
    EXPECT_EQ(left_by(secrets, make), std::set<std::string>{"session key"});
    EXPECT_EQ(left_by(secrets,
                      [&] {
                          make();
                          explicit_bzero(key, sizeof key);
                      }),
              std::set<std::string>{});
}

INSTANTIATE_TEST_SUITE_P(
    logins, secrets,
    testing::Values(
        Login{"plain", "db=d;user=u", "K", TRN_OPENED},
        Login{"plain_refused", "db=d;user=u", "E" + wire_text("no"), TRN_ERR_LOGIN},
        Login{"plain_reset", "db=d;user=u", "", TRN_ERR_LOGIN, Ending::reset},
        Login{"plain_too_long", "a=b" + long_values, "K", TRN_ERR_LOGIN},
        Login{"encrypted", "db=d;user=u;use_ssl=on", "K", TRN_OPENED},
        Login{"encrypted_refused", "db=d;user=u;use_ssl=on", "E" + wire_text("no"), TRN_ERR_LOGIN},
        Login{"encrypted_reset", "db=d;user=u;use_ssl=on", "", TRN_ERR_LOGIN, Ending::reset},
        Login{"encrypted_unanswered", "db=d;user=u;use_ssl=on", "", TRN_ERR_LOGIN, Ending::orderly, 0},
        Login{"encrypted_without_numbers", "db=d;user=u;use_ssl=on", "", TRN_ERR_LOGIN, Ending::orderly, 40},
        Login{"encrypted_too_long", "use_ssl=on" + long_values, "K", TRN_ERR_LOGIN}),
    [](const auto& login) { return login.param.name; });

} // namespace

/* A name that is bound at its first call saves the registers, with what they hold, on the stack: all are
 * bound before. */
int main(int argc, char** argv) {
    if (!std::getenv("LD_BIND_NOW")) {
        setenv("LD_BIND_NOW", "1", 1);
        execv("/proc/self/exe", argv);
    }
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
