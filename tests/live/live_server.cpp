#include "live_server.h"

#include <csignal>
#include <fstream>
#include <poll.h>
#include <stdexcept>
#include <sys/inotify.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

// Tells when a file has been put into a folder.
class ArrivalWatch {
  public:
    explicit ArrivalWatch(const std::filesystem::path& folder) : descriptor_(::inotify_init1(IN_CLOEXEC)) {
        if (::inotify_add_watch(descriptor_, folder.c_str(), IN_MOVED_TO) < 0)
            throw std::runtime_error("cannot watch " + folder.string());
    }
    ~ArrivalWatch() { ::close(descriptor_); }
    ArrivalWatch(const ArrivalWatch&) = delete;
    ArrivalWatch& operator=(const ArrivalWatch&) = delete;

    // False when the process ends or the deadline passes first.
    bool wait(const ChildProcess& process) const {
        pollfd events[] = {{descriptor_, POLLIN, 0}, {process.descriptor(), POLLIN, 0}};
        const auto limit = std::chrono::milliseconds(child_deadline).count();
        return ::poll(events, 2, static_cast<int>(limit)) > 0 && (events[0].revents & POLLIN) != 0;
    }

  private:
    int descriptor_;
};

} // namespace

LiveServer::LiveServer(const std::vector<std::string>& options) {
    const std::filesystem::path port_file = folder_ / "port";
    std::vector<std::string> command{TARNLITE_PROGRAM, "--port", "0", "--port-file", port_file};
    command.insert(command.end(), options.begin(), options.end());
    const ArrivalWatch arrival(port_file.parent_path());
    process_ = std::make_unique<ChildProcess>(command, folder_ / "log");
    if (!arrival.wait(*process_) || !(std::ifstream(port_file) >> port_))
        throw std::runtime_error("tarnlite does not listen");
}

LiveServer::~LiveServer() {
    if (killed_) return;
    process_->signal(SIGTERM);
    const std::optional<int> status = process_->wait();
    EXPECT_TRUE(status && WIFEXITED(*status) && WEXITSTATUS(*status) == 0)
        << "tarnlite left with wait status " << status.value_or(-1);
}

std::string LiveServer::connection_string(const std::string& settings) const {
    return "server=127.0.0.1;port=" + std::to_string(port_) + ";db=demo;user=ada;pwd=secret;" + settings;
}

void LiveServer::kill() {
    killed_ = true;
    process_->signal(SIGKILL);
    EXPECT_TRUE(process_->wait());
}

Result::~Result() {
    while (handle && TRN_NextResult(&handle) == TRN_OK) {
    }
    TRN_FreeRowset(&handle);
}

std::string Result::text(std::int32_t column, std::int32_t target) {
    std::string value(256, '\0');
    std::int32_t length = 0;
    std::int32_t outcome;
    // A truncated value is asked for again with room for what was left out.
    while ((outcome = TRN_GetData(&handle, column, target, value.data(),
                                  static_cast<std::int32_t>(value.size()), &length)) == TRN_TRUNCATED)
        value.resize(value.size() + static_cast<std::size_t>(length));
    if (outcome == TRN_NULL_VALUE) return "NULL";
    if (outcome != TRN_OK) return "status " + std::to_string(outcome);
    value.resize(static_cast<std::size_t>(length));
    return value;
}

std::string Result::label(std::int32_t column) {
    char name[1025] = "";
    EXPECT_EQ(TRN_getResultcolname(&handle, column, name), TRN_OK);
    return name;
}

static std::string rows_text(Result& result, std::int32_t columns) {
    std::string text;
    for (std::int32_t i = 1; i <= columns; ++i)
        text += (i > 1 ? "," : "") + result.label(i);
    const char* mark = ": ";
    while (result.next()) {
        for (std::int32_t i = 1; i <= columns; ++i)
            text += (i > 1 ? "," : mark) + result.text(i);
        mark = "; ";
    }
    return text;
}

static std::string item_text(Result& result) {
    std::int32_t kind = 0;
    std::int32_t columns = 0;
    std::int32_t affected = 0;
    char identifier[32] = "";
    EXPECT_EQ(TRN_getResultRet(&result.handle, &kind, &columns, nullptr, &affected, identifier), TRN_OK);
    switch (kind) {
    case TRN_ITEM_INSERT: return std::string("insert ") + identifier;
    case TRN_ITEM_UPDATE: return "update " + std::to_string(affected);
    case TRN_ITEM_DELETE: return "delete " + std::to_string(affected);
    case TRN_ITEM_QUERY: return rows_text(result, columns);
    default: return "kind " + std::to_string(kind);
    }
}

std::string transcript(Connection& connection, const std::string& sql) {
    Result result(connection, sql);
    std::string text;
    if (!result.handle) return text;
    do
        text += item_text(result) + '\n';
    while (TRN_NextResult(&result.handle) == TRN_OK);
    return text;
}

std::string error_text(TRN_HANDLE& handle) {
    std::string text(static_cast<std::size_t>(TRN_GetErrorLen(&handle)), '\0');
    std::int32_t length = 0;
    TRN_GetError(&handle, text.data(), &length);
    EXPECT_EQ(static_cast<std::size_t>(length), text.size());
    return text;
}

std::string last_insert_id(Connection& connection) {
    char text[32];
    EXPECT_EQ(TRN_GetLastInsertId(&connection.handle, text), TRN_OK);
    return text;
}
