// What the live tests share: a tarnlite of their own on a port of the system's choosing, and connections to it. Uses the public
// header only.
#pragma once

#include "child_process.h"
#include "client.h"

#include <gtest/gtest.h>

#include <memory>

using namespace std::string_literals;
using test_support::error_text, test_support::last_insert_id, test_support::Reader, test_support::SingleValue;

// Listens when constructed, or throws std::runtime_error. Unless killed it ends by SIGTERM with the test, which expects it to
// leave with 0.
class LiveServer {
  public:
    // Port 0 lets the system choose.
    explicit LiveServer(const std::vector<std::string>& options = {}, unsigned port = 0);
    ~LiveServer();
    LiveServer(const LiveServer&) = delete;
    LiveServer& operator=(const LiveServer&) = delete;

    // "server=...;port=...;db=...;user=...;pwd=...;" and the settings, of which a later one wins.
    std::string connection_string(const std::string& settings = "") const;
    unsigned port() const { return port_; }
    void kill();

  private:
    TemporaryFolder folder_;
    std::unique_ptr<ChildProcess> process_;
    unsigned port_ = 0;
    bool killed_ = false;
};

struct Connection : test_support::Connection {
    explicit Connection(const LiveServer& server, const std::string& settings = "")
        : test_support::Connection(server.connection_string(settings)) {}
    // Every item of the reply to a statement (see Reader::transcript).
    std::string transcript(const std::string& sql) { return Reader(*this, sql).transcript(); }
};

// A server and a connection to it.
class LiveTest : public testing::Test {
  protected:
    LiveServer server_;
    Connection connection_{server_};
};
