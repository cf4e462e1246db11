/*
 * Where the library's lines go, and the trace of the protocol.
 */
#include "session_fixture.h"
#include "tarnsql_ext.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <future>
#include <sstream>

#ifndef _WIN32
#include <csignal>
#include <fcntl.h>
#include <unistd.h>
#endif

namespace {

struct Lines {
    Lines() { TRNX_SetTrace(take, this); }
    ~Lines() {
        TRNX_SetTrace(nullptr, nullptr);
        TRNX_SetProtocolTrace(TRNX_TRACE_OFF, 100);
    }
    Lines(const Lines&) = delete;
    Lines& operator=(const Lines&) = delete;

    static void take(void* user, std::int32_t kind, const char* line) {
        Lines& lines = *static_cast<Lines*>(user);
        lines.all.push_back({kind, line});
        if (kind == TRNX_LINE_PRINTED && lines.then) lines.then();
    }
    /* Of the protocol trace, without time, thread and socket. */
    std::vector<std::string> protocol() const {
        std::vector<std::string> found;
        for (const auto& [kind, line] : all) {
            if (kind != TRNX_LINE_PROTOCOL) continue;
            int head = 0;
            std::sscanf(line.c_str(), "%*2u:%*2u:%*2u.%*3u thread %*x socket %*u %n", &head);
            EXPECT_GT(head, 0) << line;
            found.push_back(line.substr(static_cast<size_t>(head)));
        }
        return found;
    }

    std::vector<std::pair<std::int32_t, std::string>> all;
    std::function<void()> then;
};

} // namespace

TEST(lines, go_to_the_application_when_the_lock_is_free) {
    Session session({{"q", W("careful") + K}, {"in between", update_count(3) + K}});
    std::int32_t nested = -7;
    {
        Lines lines;
        OutputCapture output;
        lines.then = [&] { nested = session.connection.run("in between"); };
        EXPECT_EQ(session.connection.run("q"), TRN_WARNING);
        ASSERT_EQ(lines.all.size(), 1u);
        EXPECT_EQ(lines.all[0], std::make_pair(TRNX_LINE_PRINTED, "Server Warning careful "s));
        EXPECT_EQ(output.text(), "");
    }
    EXPECT_EQ(nested, 3);
}

TEST(lines, beyond_a_mebibyte_of_a_reply_are_counted) {
    std::string reply;
    for (int i = 0; i < 60000; ++i)
        reply += M("n");
    Session session({{"q", reply + K}});
    Lines lines;
    EXPECT_EQ(session.connection.run("q"), TRN_WARNING);
    ASSERT_GT(lines.all.size(), 10000u);
    ASSERT_LT(lines.all.size(), 60000u);
    EXPECT_EQ(lines.all.back().second, std::to_string(60001 - lines.all.size()) + " more lines left out");
}

TEST(protocol_trace, tells_every_message_and_no_secret) {
    Lines lines;
    ASSERT_EQ(TRNX_SetProtocolTrace(TRNX_TRACE_MESSAGES, 12), TRN_OK);
    {
        const std::string rows = query({{"n", TRN_WIRE_INTEGER}}, {row({integer(1)}), row({integer(2)})});
        Session session(logged_in({expect_command("SELECT secrets FROM t"), send(rows + W("w") + K)}));
        EXPECT_EQ(Reader(session.connection, "SELECT secrets FROM t").status, 2);
    }
    std::string all;
    for (const std::string& line : lines.protocol())
        all += line + "\n";
    for (const char* told :
         {"> login to 127.0.0.1 port ", "> '?' command, 21 bytes, 0 parameters, 0 rows: SELECT secre...\n",
          "< 'A' columns and rows of a query, 40 bytes\n", "< 'W' warning, 6 bytes\n",
          "< 'K' end of reply, 1 bytes\n"})
        EXPECT_NE(all.find(told), std::string::npos) << told << "\n" << all;
    EXPECT_EQ(all.find("'P'"), std::string::npos); /* the password */
}

TEST(protocol_trace, shows_values_on_request_only) {
    for (const std::int32_t level : {TRNX_TRACE_MESSAGES, TRNX_TRACE_VALUES}) {
        Lines lines;
        ASSERT_EQ(TRNX_SetProtocolTrace(level, 5), TRN_OK);
        Session session(
            logged_in({{"command", [](ScriptedServer& s) { s.receive(1); }}, reset_connection()}));
        std::string value = "a\tbcdefgh";
        std::int32_t length = static_cast<std::int32_t>(value.size());
        ASSERT_EQ(TRN_BindParamByPos(session.handle(), 1, TRN_DIRECTION_IN, TRN_TYPE_TEXT, value.data(),
                                     length, &length),
                  TRN_OK);
        EXPECT_EQ(session.connection.run("q"), TRN_ERR_NETWORK);
        const std::vector<std::string> told = lines.protocol();
        const bool shown = std::any_of(told.begin(), told.end(), [](const std::string& line) {
            return line.find("9 bytes: a\\x09bcd...") != std::string::npos;
        });
        EXPECT_EQ(shown, level == TRNX_TRACE_VALUES);
    }
}

TEST(protocol_trace, refuses_other_levels) {
    EXPECT_EQ(TRNX_SetProtocolTrace(-1, 0), TRN_ERR_ARGUMENT);
    EXPECT_EQ(TRNX_SetProtocolTrace(3, 0), TRN_ERR_ARGUMENT);
    EXPECT_EQ(TRNX_SetProtocolTrace(1, -1), TRN_ERR_ARGUMENT);
}

TEST(version, is_that_of_the_header) {
    EXPECT_STREQ(TRNX_Version(), TRN_VERSION);
}

#ifndef _WIN32

namespace {

/* The standard output put aside, and another descriptor in its place. */
class OutputInto {
  public:
    explicit OutputInto(int fd) : saved_(dup(1)) {
        std::fflush(stdout);
        dup2(fd, 1);
    }
    ~OutputInto() {
        std::fflush(stdout);
        dup2(saved_, 1);
        close(saved_);
    }

  private:
    int saved_;
};

/* Runs in a process of its own, for the environment is read once. */
int lines_with_environment(const char* destination, const std::string& on_stdout,
                           const std::string& on_stderr) {
    setenv("TARNSQL_TRACE", destination, 1);
    Session session({{"q", E("wrong") + K}});
    testing::internal::CaptureStderr();
    OutputCapture output;
    const std::int32_t status = session.connection.run("q");
    const std::string printed = output.text(), told = testing::internal::GetCapturedStderr();
    return status == TRN_ERR_SERVER && printed == on_stdout && told == on_stderr ? 0 : 1;
}

} // namespace

TEST(lines_death, go_where_the_environment_says) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const std::string line = "Server Error wrong \n";
    EXPECT_EXIT(_exit(lines_with_environment("stdout", line, "")), testing::ExitedWithCode(0), "");
    EXPECT_EXIT(_exit(lines_with_environment("stderr", "", line)), testing::ExitedWithCode(0), "");
    EXPECT_EXIT(_exit(lines_with_environment("none", "", "")), testing::ExitedWithCode(0), "");
    EXPECT_EXIT(_exit(lines_with_environment("/nowhere/at/all", line, "")), testing::ExitedWithCode(0), "");
    const std::string own_path = testing::TempDir() + "tarnsql_trace_" + std::to_string(getpid());
    setenv("TRACE_TEST_FILE", own_path.c_str(), 0); /* the child, which runs this anew, keeps the parent's */
    const std::string path = getenv("TRACE_TEST_FILE");
    EXPECT_EXIT(_exit(lines_with_environment(path.c_str(), "", "")), testing::ExitedWithCode(0), "");
    std::ifstream file(path);
    std::ostringstream content;
    content << file.rdbuf();
    std::remove(path.c_str());
    EXPECT_EQ(content.str(), line);
}

TEST(lines, raise_no_signal_when_nobody_reads_them) {
    Session session({{"q", E("wrong") + K}, {"r", K}});
    int pipe_ends[2];
    ASSERT_EQ(pipe(pipe_ends), 0);
    close(pipe_ends[0]);
    std::int32_t status;
    {
        const OutputInto nobody(pipe_ends[1]);
        status = session.connection.run("q"); /* SIGPIPE would end the process */
    }
    close(pipe_ends[1]);
    EXPECT_EQ(status, TRN_ERR_SERVER);
    sigset_t pending;
    sigpending(&pending);
    EXPECT_EQ(sigismember(&pending, SIGPIPE), 0);
    EXPECT_EQ(session.connection.run("r"), 0);
}

TEST(lines, that_nobody_takes_hold_up_their_own_call_only) {
    std::promise<void> answered;
    Step tell{"tell", [&](ScriptedServer&) { answered.set_value(); }};
    Session session(logged_in(
        {expect_command("q"), send(E("wrong") + K), tell, expect_command("r"), send(update_count(5) + K)}));
    int pipe_ends[2];
    ASSERT_EQ(pipe(pipe_ends), 0);
    fcntl(pipe_ends[1], F_SETFL, O_NONBLOCK);
    const std::string page(4096, 'x');
    while (write(pipe_ends[1], page.data(), page.size()) > 0) {
    }
    fcntl(pipe_ends[1], F_SETFL, 0);
    std::future<std::int32_t> held_up, other;
    {
        const OutputInto full(pipe_ends[1]);
        held_up = std::async(std::launch::async, [&] { return session.connection.run("q"); });
        answered.get_future().wait();
        other = std::async(std::launch::async, [&] { return session.connection.run("r"); });
        EXPECT_EQ(other.wait_for(std::chrono::seconds(60)), std::future_status::ready);
        std::string taken(1 << 20, 0);
        fcntl(pipe_ends[0], F_SETFL, O_NONBLOCK);
        while (held_up.wait_for(std::chrono::milliseconds(1)) != std::future_status::ready)
            while (read(pipe_ends[0], taken.data(), taken.size()) > 0) {
            }
    }
    close(pipe_ends[0]);
    close(pipe_ends[1]);
    EXPECT_EQ(held_up.get(), TRN_ERR_SERVER);
    EXPECT_EQ(other.get(), 5);
}

#endif
