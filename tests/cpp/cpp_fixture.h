// What the tests of tarnsql.hpp share: a tarnlite and a connection to it, and short ways to expect
// exceptions.
#pragma once

#include "live_server.h"
#include "tarnsql.hpp"

#include <string>

class CppTest : public testing::Test {
  protected:
    CppTest() {
        tarnsql::set_line_handler([](tarnsql::line_kind, std::string_view) {});
    }

    LiveServer server_;
    tarnsql::connection db_{server_.connection_string()};
};

// The exception's text when it is of this very class; else a word on what happened instead.
template <class Error, class Work> std::string thrown(Work work) {
    try {
        work();
    } catch (const tarnsql::error& error) {
        return typeid(error) == typeid(Error) ? error.what() : "another error: " + std::string(error.what());
    }
    return "nothing was thrown";
}
