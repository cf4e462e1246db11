// What the live tests share: a tarnlite of their own on a port of the system's choosing, and connections to
// it. Uses the public header only.
#pragma once

#include "client.h"
#include "server_process.h"

#include <gtest/gtest.h>

#include <csignal>

using namespace std::string_literals;
using test_support::error_text, test_support::last_insert_id, test_support::Reader, test_support::SingleValue;

// Unless killed it ends by SIGTERM with the test, which expects it to leave with 0.
class LiveServer : public ServerProcess {
  public:
    using ServerProcess::ServerProcess;
    ~LiveServer() {
        if (killed_) return;
        signal(SIGTERM);
        EXPECT_EQ(wait().value_or(-1), 0) << errors();
    }
    // "server=...;port=...;db=...;user=...;pwd=...;" and the settings, of which a later one wins.
    std::string connection_string(const std::string& settings = "") const {
        return "server=127.0.0.1;port=" + std::to_string(port()) + ";db=demo;user=ada;pwd=secret;" + settings;
    }
    void kill() {
        killed_ = true;
        signal(SIGKILL);
        EXPECT_TRUE(wait());
    }

  private:
    bool killed_ = false;
};

struct Connection : test_support::Connection {
    explicit Connection(const LiveServer& server, const std::string& settings = "")
        : test_support::Connection(server.connection_string(settings)) {}
    // Every item of the reply to a statement (see Reader::transcript).
    std::string transcript(const std::string& sql) { return Reader(*this, sql).transcript(); }
};
