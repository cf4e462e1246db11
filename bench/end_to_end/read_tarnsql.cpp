// Reading through tarnsql, over the plain or the encrypted channel.
#include <string>

#include "client.h"
#include "read_values.h"

namespace bench {

namespace {

class TarnsqlReader {
  public:
    TarnsqlReader(const Task& task, const char* keys) : kinds_(task.kinds) {
        const std::string settings =
            "server=127.0.0.1;port=" + std::to_string(task.port) + ";db=d;user=u;password=p" + keys;
        if (TRN_OpenConn(settings.c_str(), &conn_) != TRN_OPENED) fail_with(conn_);
    }
    ~TarnsqlReader() { TRN_CloseConn(&conn_); }
    TarnsqlReader(const TarnsqlReader&) = delete;
    TarnsqlReader& operator=(const TarnsqlReader&) = delete;

    void receive() {
        if (TRN_ExecwithDataReader(&conn_, "select * from t", &result_, nullptr, nullptr, nullptr) < 0)
            fail_with(conn_);
    }

    void read(Checksum& sum) {
        const int32_t columns = static_cast<int32_t>(kinds_.size());
        while (TRN_ReadNext(&result_) == TRN_OK)
            for (int32_t column = 1; column <= columns; ++column)
                add_value(sum, &result_, kinds_[static_cast<size_t>(column - 1)], column);
    }

    void release() { TRN_FreeRowset(&result_); }

  private:
    [[noreturn]] static void fail_with(TRN_HANDLE& handle) {
        std::string text(static_cast<size_t>(TRN_GetErrorLen(&handle)), ' ');
        TRN_GetError(&handle, text.data(), nullptr);
        fail("tarnsql", text);
    }

    const std::vector<Kind>& kinds_;
    TRN_HANDLE conn_ = nullptr;
    TRN_HANDLE result_ = nullptr;
};

} // namespace

Costs measure_tarnsql(const Task& task) {
    TarnsqlReader reader(task, "");
    return measure(reader);
}

Costs measure_tarnsql_encrypted(const Task& task) {
    TarnsqlReader reader(task, ";use_ssl=on");
    return measure(reader);
}

} // namespace bench
