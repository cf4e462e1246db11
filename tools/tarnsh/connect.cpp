// Opening a session, reconnecting, and reading its attributes.
#include "library_lines.h"
#include "session.h"

#include "tarnsql_ext.h"
#include "text.h"

#include <fmt/format.h>

#include <array>
#include <cstdio>
#include <utility>

namespace tarnsh {

namespace {} // namespace

Session::~Session() {
    for (TRN_HANDLE& handle : handles)
        if (handle) TRN_CloseConn(&handle);
}

void say(const std::string& text) {
    fmt::print(stderr, "{}\n", printable(text, true));
    std::fflush(stderr);
}

void note(const Session& session, const std::string& text) {
    if (!session.quiet) say(text);
}

std::string error_text(Session& session) {
    std::string text(static_cast<std::size_t>(TRN_GetErrorLen(session.handle())), '\0');
    std::int32_t length = 0;
    if (!text.empty()) TRN_GetError(session.handle(), text.data(), &length);
    const std::size_t code = text.starts_with("[EX") ? text.find(']') : text.npos;
    return std::string(trim(code == text.npos ? text : text.substr(code + 1)));
}

std::int32_t number_attribute(Session& session, std::int32_t id) {
    std::int32_t value = 0;
    return TRN_GetAttr(session.handle(), id, &value, sizeof value, nullptr, nullptr) == TRN_OK ? value : 0;
}

std::string text_attribute(Session& session, std::int32_t id) {
    std::array<char, 256> value{};
    std::int32_t length = 0;
    if (TRN_GetAttr(session.handle(), id, value.data(), value.size() - 1, nullptr, &length) != TRN_OK)
        length = 0;
    drop_library_lines();
    return {value.data(), static_cast<std::size_t>(length)};
}

void open_session(Session& session, const std::string& connection, int timeout_seconds) {
    TRNX_OPTIONS options{};
    options.size = sizeof options;
    options.connect_timeout_ms = timeout_seconds * 1000;
    const std::size_t before = session.current;
    session.current = 1 - before;
    const std::int32_t status = TRNX_OpenConn(connection.c_str(), &options, session.handle());
    if (status < 0) {
        const std::string printed = take_printed(session).error, own = error_text(session);
        if (*session.handle()) TRN_CloseConn(session.handle());
        session.current = before;
        const std::string reason = own.empty() ? printed : own;
        const bool named = status == TRN_ERR_CONNECT && reason.starts_with("cannot connect");
        fail(exit_connection, named ? reason : "cannot connect: " + reason);
    }
    if (session.handles[before]) TRN_CloseConn(&session.handles[before]);
    drop_library_lines();
    session.connected = true;
    session.in_transaction = false;
    session.connection = connection;
    session.auto_commit = number_attribute(session, TRN_ATTR_CONN_AUTO_COMMIT_OFF) == 0;
    session.cursors = number_attribute(session, TRN_ATTR_CONN_CURSORS_OFF) == 0;
    session.descriptors = number_attribute(session, TRN_ATTR_CONN_LOB_DESCRIPTORS) == 1;
}

bool reconnect(Session& session) {
    session.connected = TRN_ReconnectConn(session.handle()) == TRN_RECONNECTED;
    drop_library_lines();
    if (!session.connected) {
        say("cannot connect again: " + error_text(session));
        return false;
    }
    const bool open = std::exchange(session.in_transaction, false);
    say(fmt::format("connected again; what the session had is gone: {}prepared statements, cursors, settings",
                    open ? "the open transaction, " : ""));
    return true;
}

bool cancel_call(Session& session) {
    return TRNX_Cancel(session.handle()) == 1;
}

void note_transaction(Session& session, const std::string& sql) {
    const std::string word = first_word(sql), rest = upper(sql);
    if (word == "BEGIN" || word == "START" || word == "SAVEPOINT")
        session.in_transaction = true;
    else if (word == "COMMIT" || word == "END")
        session.in_transaction = false;
    else if (word == "ROLLBACK")
        session.in_transaction = session.in_transaction && rest.find(" TO ") != rest.npos;
    else if (!session.auto_commit && word != "SET" && word != "PRAGMA")
        session.in_transaction = true;
}

} // namespace tarnsh
