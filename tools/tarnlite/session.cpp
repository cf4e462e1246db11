#include "session.h"

#include "batch.h"
#include "bytes.h"
#include "encrypted_login.h"
#include "engine.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <thread>

namespace tarnlite {

namespace {

constexpr std::size_t longest_login = 4096;
constexpr std::string_view encrypted_opening = "~ssl~";
constexpr std::chrono::seconds default_lock_timeout{5};
constexpr std::chrono::seconds longest_lock_timeout{3600};

EngineSettings engine_settings(const Login& login, const SharedState& shared) {
    EngineSettings result;
    result.database = shared.database;
    result.allow_files = shared.settings.allow_files;
    result.time_limit = shared.settings.statement_timeout;
    result.auto_commit = login.auto_commit;
    result.lobs_by_descriptor = login.lobs_by_descriptor;
    result.lock_timeout =
        login.lock_timeout > 0
            ? std::min<std::chrono::seconds>(std::chrono::seconds(login.lock_timeout), longest_lock_timeout)
            : default_lock_timeout;
    return result;
}

std::string no_room(const Settings& settings) {
    return fmt::format("the server already has {} connections, its limit (--max-connections)",
                       settings.most_connections);
}

} // namespace

void Session::run() {
    try {
        const auto login = read_login();
        if (!login) return;
        if (settings_.faults.drop_after) transport_.drop_after(*settings_.faults.drop_after);
        delay_reply();
        if (const auto reason = reason_to_refuse(*login)) return refuse(*reason);
        if (!admit_()) return refuse(no_room(settings_));
        serve(*login);
    } catch (const ConnectionLost&) {
        // The usual end of a session.
    } catch (const ProtocolError& error) {
        take_last_leave(error.what());
    } catch (const PeerSilent& error) {
        take_last_leave(error.what());
    }
}

// The start of the next command is no longer known.
void Session::take_last_leave(std::string_view reason) {
    try {
        Reply reply(transport_);
        reply.error(reason);
        reply.end();
        transport_.finish();
    } catch (const ConnectionLost&) {
        // The client did not wait for its answer.
    }
}

std::optional<Login> Session::read_login() {
    const auto deadline = Transport::Clock::now() + settings_.login_timeout;
    Login login;
    for (;;) {
        const std::string_view text = transport_.arrived();
        if (text.starts_with(encrypted_opening)) return read_encrypted_login(deadline);
        // A partial encrypted opening is neither the beginning of a plain login nor wrong.
        const bool undecided = encrypted_opening.starts_with(text);
        const LoginState state = undecided ? LoginState::incomplete : parse_login(text, login);
        if (state == LoginState::complete) {
            transport_.consume(login.length);
            return login;
        }
        if (state == LoginState::malformed || text.size() > longest_login) {
            refuse("this is not a login");
            return std::nullopt;
        }
        if (!transport_.wait_for_more(deadline)) return std::nullopt;
    }
}

std::optional<Login> Session::read_encrypted_login(Transport::Clock::time_point deadline) {
    transport_.consume(encrypted_opening.size());
    if (settings_.refuse_ssl) {
        refuse("encrypted logins are not accepted");
        return std::nullopt;
    }
    return receive_encrypted_login(transport_, deadline);
}

std::optional<std::string> Session::reason_to_refuse(const Login& login) const {
    if (settings_.faults.refuse_login) return "logins are refused";
    if (settings_.require_ssl && !transport_.is_encrypted()) return "only encrypted logins are admitted";
    const auto& wanted = settings_.credentials;
    if (wanted && (login.user != wanted->user || login.password != wanted->password)) {
        return "wrong user or password";
    }
    return std::nullopt;
}

void Session::delay_reply() const {
    constexpr std::chrono::milliseconds longest_nap{20};
    const auto end = Transport::Clock::now() + settings_.faults.delay;
    for (auto now = Transport::Clock::now(); now < end && !shared_.stopping && !socket_.peer_has_gone();
         now = Transport::Clock::now())
        std::this_thread::sleep_for(std::min<Transport::Clock::duration>(end - now, longest_nap));
}

// "N", four bytes (the protocol's number) and "K" in protocol 301; "K" alone in 201.
void Session::accept() {
    std::string answer;
    if (settings_.protocol == 301) {
        answer.push_back('N');
        put_integer(answer, static_cast<std::uint32_t>(settings_.protocol));
    }
    answer.push_back('K');
    transport_.write(answer);
    transport_.flush();
}

void Session::refuse(std::string_view reason) {
    Reply(transport_).error(reason);
    transport_.finish();
}

void Session::serve(const Login& login) {
    std::optional<Engine> engine;
    try {
        engine.emplace(engine_settings(login, shared_), shared_.watcher, socket_);
    } catch (const SqlError& error) {
        return refuse(error.what());
    }
    accept();
    transport_.limit_silence(settings_.request_timeout);
    while (const auto command = read_command(transport_)) {
        answer(*command, *engine);
    }
}

void Session::answer(const Command& command, Engine& engine) {
    const bool typed_rows = settings_.protocol != 201;
    BatchRows rows(transport_, read_parameters(transport_, command.parameter_count), command.batch_rows,
                   typed_rows);
    Reply reply(transport_);
    delay_reply();
    try {
        if (settings_.faults.error) throw SqlError(*settings_.faults.error);
        if (command.batch_rows > 0) {
            engine.run_batch(command.text, rows, reply);
        } else {
            engine.run(command.text, rows.row(), reply);
        }
    } catch (const SqlError& error) {
        while (rows.next()) {
            // The rest of the command must still be read.
        }
        reply.error(error.what());
    }
    reply.end();
}

} // namespace tarnlite
