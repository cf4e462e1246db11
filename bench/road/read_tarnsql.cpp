// Reading through tarnsql: TRN_GetData with native targets; dates come as they are stored, in days.
#include <string>

#include "client.h"
#include "tarnsql.h"

namespace road {

namespace {

class TarnsqlReader {
  public:
    explicit TarnsqlReader(const Task& task) : columns_(static_cast<int32_t>(task.columns)) {
        const std::string settings =
            "server=127.0.0.1;port=" + std::to_string(task.port) + ";db=d;user=u;password=p";
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
        while (TRN_ReadNext(&result_) == TRN_OK)
            for (int32_t column = 1; column <= columns_; ++column)
                add_value(sum, kind_of_column(static_cast<unsigned>(column - 1)), column);
    }

    void release() { TRN_FreeRowset(&result_); }

  private:
    [[noreturn]] static void fail_with(TRN_HANDLE& handle) {
        std::string text(static_cast<size_t>(TRN_GetErrorLen(&handle)), ' ');
        TRN_GetError(&handle, text.data(), nullptr);
        fail("tarnsql", text);
    }

    // False for a null.
    bool get(int32_t column, int32_t target, void* destination, size_t size, int32_t* length = nullptr) {
        const int32_t status =
            TRN_GetData(&result_, column, target, destination, static_cast<int32_t>(size), length);
        if (status != TRN_OK && status != TRN_NULL_VALUE) fail("tarnsql", "no value");
        return status == TRN_OK;
    }

    template <class T> T get(int32_t column, int32_t target) {
        T value{};
        get(column, target, &value, sizeof value);
        return value;
    }

    void add_value(Checksum& sum, Kind kind, int32_t column) {
        char text[longest_text + 1];
        int32_t length = 0;
        switch (kind) {
        case Kind::integer: return sum.add_integer(get<int32_t>(column, TRN_TYPE_INTEGER));
        case Kind::bigint: return sum.add_integer(get<int64_t>(column, TRN_TYPE_BIGINT));
        case Kind::real: return sum.add_real(get<double>(column, TRN_TYPE_DOUBLE));
        case Kind::date: return sum.add_date(date_of_day(get<int32_t>(column, TRN_TYPE_NUMERIC)));
        case Kind::text:
            get(column, TRN_TYPE_TEXT, text, text_size + 1, &length);
            return sum.add_text({text, static_cast<size_t>(length)});
        case Kind::nullable_text:
            if (!get(column, TRN_TYPE_TEXT, text, sizeof text, &length)) return sum.add_null();
            return sum.add_text({text, static_cast<size_t>(length)});
        }
    }

    int32_t columns_;
    TRN_HANDLE conn_ = nullptr;
    TRN_HANDLE result_ = nullptr;
};

} // namespace

Costs measure_tarnsql(const Task& task) {
    TarnsqlReader reader(task);
    return measure(reader);
}

} // namespace road
