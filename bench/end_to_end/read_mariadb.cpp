// Reading through the MariaDB client: results of texts, turned into numbers with std::from_chars, and a
// prepared statement's binary results, fetched into bound variables. Both are received whole before the first
// row is read.
#include <string>
#include <vector>

#include <mysql.h>

#include "client.h"

namespace bench {

namespace {

constexpr std::string_view query = "select * from t";

class Connection {
  public:
    explicit Connection(const Task& task) {
        if (!mysql_real_connect(handle, "127.0.0.1", "u", "p", "d", task.port, nullptr, 0)) fail();
    }
    ~Connection() { mysql_close(handle); }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    [[noreturn]] void fail() const { bench::fail("mariadb", mysql_error(handle)); }

    MYSQL* const handle = mysql_init(nullptr);
};

class TextReader {
  public:
    explicit TextReader(const Task& task) : conn_(task), kinds_(task.kinds) {}

    void receive() {
        if (mysql_real_query(conn_.handle, query.data(), query.size()) != 0) conn_.fail();
        result_ = mysql_store_result(conn_.handle);
        if (!result_) conn_.fail();
    }

    void read(Checksum& sum) {
        const unsigned columns = mysql_num_fields(result_);
        while (const MYSQL_ROW row = mysql_fetch_row(result_)) {
            const unsigned long* sizes = mysql_fetch_lengths(result_);
            for (unsigned column = 0; column < columns; ++column)
                if (row[column])
                    add_text_of(sum, kinds_[column], row[column], sizes[column]);
                else
                    sum.add_null();
        }
    }

    void release() { mysql_free_result(result_); }

  private:
    Connection conn_;
    const std::vector<Kind>& kinds_;
    MYSQL_RES* result_ = nullptr;
};

// The variables of one column; its kind tells which of them is bound.
struct Slot {
    int32_t integer;
    int64_t bigint;
    double real;
    MYSQL_TIME date;
    char text[longest_text];
    unsigned long size;
    my_bool null;
};

void bind(MYSQL_BIND& to, Slot& slot, Kind kind) {
    const auto variable = [&to](enum_field_types type, auto* pointer, unsigned long size) {
        to.buffer_type = type;
        to.buffer = pointer;
        to.buffer_length = size;
    };
    to.length = &slot.size;
    to.is_null = &slot.null;
    switch (kind) {
    case Kind::integer: return variable(MYSQL_TYPE_LONG, &slot.integer, sizeof slot.integer);
    case Kind::bigint: return variable(MYSQL_TYPE_LONGLONG, &slot.bigint, sizeof slot.bigint);
    case Kind::real: return variable(MYSQL_TYPE_DOUBLE, &slot.real, sizeof slot.real);
    case Kind::date: return variable(MYSQL_TYPE_DATE, &slot.date, sizeof slot.date);
    case Kind::text:
    case Kind::short_text:
    case Kind::nullable_text: return variable(MYSQL_TYPE_STRING, slot.text, sizeof slot.text);
    }
}

void add_slot(Checksum& sum, const Slot& slot, Kind kind) {
    switch (kind) {
    case Kind::integer: return sum.add_integer(slot.integer);
    case Kind::bigint: return sum.add_integer(slot.bigint);
    case Kind::real: return sum.add_real(slot.real);
    case Kind::date: return sum.add_date({static_cast<int>(slot.date.year), slot.date.month, slot.date.day});
    case Kind::text:
    case Kind::short_text: return sum.add_text({slot.text, slot.size});
    case Kind::nullable_text: return slot.null ? sum.add_null() : sum.add_text({slot.text, slot.size});
    }
}

class PreparedReader {
  public:
    explicit PreparedReader(const Task& task)
        : conn_(task), kinds_(task.kinds), slots_(kinds_.size()), statement_(mysql_stmt_init(conn_.handle)) {
        std::vector<MYSQL_BIND> bindings(kinds_.size());
        for (size_t column = 0; column < kinds_.size(); ++column)
            bind(bindings[column], slots_[column], kinds_[column]);
        require(mysql_stmt_prepare(statement_, query.data(), query.size()) == 0 &&
                !mysql_stmt_bind_result(statement_, bindings.data()));
    }

    void receive() {
        require(mysql_stmt_execute(statement_) == 0 && mysql_stmt_store_result(statement_) == 0);
    }

    void read(Checksum& sum) {
        int status;
        while ((status = mysql_stmt_fetch(statement_)) == 0)
            for (size_t column = 0; column < slots_.size(); ++column)
                add_slot(sum, slots_[column], kinds_[column]);
        require(status == MYSQL_NO_DATA);
    }

    // Only closing frees the rows.
    void release() { mysql_stmt_close(statement_); }

  private:
    void require(bool succeeded) const {
        if (!succeeded) fail("mariadb", mysql_stmt_error(statement_));
    }

    Connection conn_;
    const std::vector<Kind>& kinds_;
    std::vector<Slot> slots_;
    MYSQL_STMT* statement_;
};

} // namespace

Costs measure_mariadb_text(const Task& task) {
    TextReader reader(task);
    return measure(reader);
}

Costs measure_mariadb_prepared(const Task& task) {
    PreparedReader reader(task);
    return measure(reader);
}

} // namespace bench
