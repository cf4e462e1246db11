// Reading through libpq: results of texts, turned into numbers with std::from_chars, and results in binary.
#include <bit>
#include <string>

#include <libpq-fe.h>

#include "client.h"

namespace bench {

namespace {

enum class Format {
    text,
    binary
};

template <class Unsigned> Unsigned load_big_endian(const char* at) {
    Unsigned value;
    std::memcpy(&value, at, sizeof value);
    if constexpr (std::endian::native == std::endian::little)
        value = sizeof value == 4 ? static_cast<Unsigned>(__builtin_bswap32(static_cast<uint32_t>(value)))
                                  : static_cast<Unsigned>(__builtin_bswap64(value));
    return value;
}

Date date_of_binary(const char* at) {
    constexpr int32_t first_day = 10957; // 2000-01-01
    return date_of_day(first_day + static_cast<int32_t>(load_big_endian<uint32_t>(at)));
}

void add_binary(Checksum& sum, Kind kind, const char* at, size_t size) {
    switch (kind) {
    case Kind::integer: return sum.add_integer(static_cast<int32_t>(load_big_endian<uint32_t>(at)));
    case Kind::bigint: return sum.add_integer(static_cast<int64_t>(load_big_endian<uint64_t>(at)));
    case Kind::real: return sum.add_real(std::bit_cast<double>(load_big_endian<uint64_t>(at)));
    case Kind::date: return sum.add_date(date_of_binary(at));
    case Kind::text:
    case Kind::short_text:
    case Kind::nullable_text: return sum.add_text({at, size});
    }
}

template <Format format> class LibpqReader {
  public:
    explicit LibpqReader(const Task& task) : kinds_(task.kinds) {
        const std::string settings = "hostaddr=127.0.0.1 port=" + std::to_string(task.port) +
                                     " dbname=d user=u password=p sslmode=disable gssencmode=disable";
        conn_ = PQconnectdb(settings.c_str());
        if (PQstatus(conn_) != CONNECTION_OK) fail("libpq", PQerrorMessage(conn_));
    }
    ~LibpqReader() { PQfinish(conn_); }
    LibpqReader(const LibpqReader&) = delete;
    LibpqReader& operator=(const LibpqReader&) = delete;

    void receive() {
        const char* query = "select * from t";
        result_ = format == Format::text
                      ? PQexec(conn_, query)
                      : PQexecParams(conn_, query, 0, nullptr, nullptr, nullptr, nullptr, 1);
        if (PQresultStatus(result_) != PGRES_TUPLES_OK) fail("libpq", PQerrorMessage(conn_));
    }

    void read(Checksum& sum) {
        const int rows = PQntuples(result_), columns = PQnfields(result_);
        for (int row = 0; row < rows; ++row)
            for (int column = 0; column < columns; ++column)
                add_value(sum, kinds_[static_cast<size_t>(column)], row, column);
    }

    void release() { PQclear(result_); }

  private:
    void add_value(Checksum& sum, Kind kind, int row, int column) {
        if (kind == Kind::nullable_text && PQgetisnull(result_, row, column)) return sum.add_null();
        const char* value = PQgetvalue(result_, row, column);
        if constexpr (format == Format::text)
            add_text_of(sum, kind, value, size_of(kind, row, column));
        else
            add_binary(sum, kind, value, size_of(kind, row, column));
    }

    // Sizes that the column's type tells are not asked for.
    size_t size_of(Kind kind, int row, int column) {
        const bool known = kind == Kind::date || (format == Format::binary && kind < Kind::text);
        return known ? 0 : static_cast<size_t>(PQgetlength(result_, row, column));
    }

    const std::vector<Kind>& kinds_;
    PGconn* conn_;
    PGresult* result_ = nullptr;
};

} // namespace

Costs measure_libpq_text(const Task& task) {
    LibpqReader<Format::text> reader(task);
    return measure(reader);
}

Costs measure_libpq_binary(const Task& task) {
    LibpqReader<Format::binary> reader(task);
    return measure(reader);
}

} // namespace bench
