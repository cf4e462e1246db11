/*
 * Every call that waits for a reply, with the requests and replies of its conversation and what it gives: the
 * one table behind the tests of replies that are cut, late, broken off or damaged, and of memory that runs
 * out inside a call.
 */
#ifndef EXCHANGES_H
#define EXCHANGES_H

#include "parameter_wire.h"

/* What a call gave: its status, and everything that it handed over, written out. Nothing when it failed. */
struct Given {
    std::int32_t status = 0;
    std::string handed;
    bool counts = false; /* the status may be any number that the server sent */
    std::string text() const { return std::to_string(status) + " " + handed; }
};

/* A connection, how results are read, and what is to happen right before and right behind the call in
 * question. */
struct Hands {
    explicit Hands(Connection& used) : connection(used), handle(&used.handle) {}
    template <class Call> std::int32_t made(Call call) {
        if (before) before();
        const std::int32_t status = call();
        if (behind) behind();
        return status;
    }
    Connection& connection;
    TRN_HANDLE* const handle;
    std::function<void()> before, behind;
    std::function<std::string(Reader&)> read = [](Reader& reader) { return reader.transcript(); };
};

struct Case {
    using Exchanges = std::vector<std::pair<std::string, std::string>>; /* requests and their replies */
    std::string name;
    Exchanges earlier; /* of calls that only prepare */
    Exchanges own;
    std::function<Given(Hands&)> call;
    std::int32_t status;
    std::int32_t broken_off = TRN_ERR_NETWORK;   /* when a byte is missing */
    std::int32_t without_last = TRN_ERR_NETWORK; /* when only the last one is */
};

/* On connections that ask for descriptors of large objects. */
const std::vector<Case>& cases();
const Case& case_named(const std::string& name);
/* The same with megabytes. */
const std::vector<Case>& large_cases();

std::string settings_of_cases();
Step expect_login_of_cases();

#endif
