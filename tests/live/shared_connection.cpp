#include "shared_connection.h"
#include "tarnsql_ext.h"

#include <array>
#include <random>

// The call counts under its name.
#define CHECKED(call, wanted) same(std::string(#call, 0, std::string(#call).find('(')), call, wanted)

static constexpr std::int32_t object_size = 70000; // above what comes with the row: a descriptor

static std::string object_content(char first) {
    std::string content(object_size, '\0');
    for (std::size_t i = 0; i < content.size(); ++i)
        content[i] = static_cast<char>(first + i % 23);
    return content;
}

static TRN_HANDLE complete_object(const std::string& content) {
    TRN_HANDLE lob = nullptr;
    TRN_Create_Lob(&lob);
    TRN_Put_Lob_data(&lob, content.data(), static_cast<std::int32_t>(content.size()));
    TRN_Put_Lob_data(&lob, nullptr, TRN_LOB_END);
    return lob;
}

SharedConnection::SharedConnection(const LiveServer& server, const std::string& settings, int number)
    : Connection(server, settings), table("shared" + std::to_string(number)),
      objects("objects" + std::to_string(number)) {
    EXPECT_EQ(opened, TRN_OPENED);
    EXPECT_EQ(run("create table " + table + "(worker varchar(20), n integer, object clob)"), 0);
    EXPECT_EQ(run("create table " + objects + "(k integer, c clob, b blob)"), 0);
    TRN_HANDLE text = complete_object(object_content('a')), bytes = complete_object(object_content('A'));
    TRN_BindParamByPos(&handle, 1, 1, TRN_TYPE_CLOB, &text, 0, nullptr);
    TRN_BindParamByPos(&handle, 2, 1, TRN_TYPE_BLOB, &bytes, 0, nullptr);
    EXPECT_EQ(run("insert into " + objects + " values(1, ?, ?)"), 1);
    TRN_Distroy_Lob(&text);
    TRN_Distroy_Lob(&bytes);
}

// Executions without parameters.
class Worker::Beside {
  public:
    explicit Beside(Worker& worker) : executing_(worker.shared_.bound_set) {}

  private:
    std::shared_lock<std::shared_mutex> executing_;
};

// From the first bind to the end of the execution. Procedures and cursors keep the set, emptied: it goes
// here.
class Worker::Alone {
  public:
    explicit Alone(Worker& worker) : conn_(worker.conn_), binding_(worker.shared_.bound_set) {}
    ~Alone() { TRN_ResetParams(conn_); }
    Alone(const Alone&) = delete;
    Alone& operator=(const Alone&) = delete;

  private:
    TRN_HANDLE* conn_;
    std::unique_lock<std::shared_mutex> binding_;
};

Worker::Worker(const LiveServer& server, SharedConnection& shared, const std::string& settings, int number,
               std::atomic<bool>& failed)
    : server_(server), shared_(shared), conn_(&shared.handle), settings_(settings),
      mine_("worker" + std::to_string(number)), failed_(failed), order_(static_cast<unsigned>(number)) {}

const Worker::Step Worker::steps[] = {&Worker::statements,
                                      &Worker::single_values,
                                      &Worker::results,
                                      &Worker::procedures,
                                      &Worker::refusals,
                                      &Worker::prepared,
                                      &Worker::cursors,
                                      &Worker::cursor_of_prepared_statement,
                                      &Worker::bound_values,
                                      &Worker::bound_prepared,
                                      &Worker::bound_procedure,
                                      &Worker::bound_cursor,
                                      &Worker::own_set,
                                      &Worker::default_statement,
                                      &Worker::batch,
                                      &Worker::large_objects,
                                      &Worker::what_promises_nothing,
                                      &Worker::other_connections};

void Worker::round() {
    ++round_;
    std::vector<Step> order(std::begin(steps), std::end(steps));
    std::shuffle(order.begin(), order.end(), std::minstd_rand(++order_ * 7919U));
    for (const Step step : order) {
        if (failed_) return;
        if (step == &Worker::what_promises_nothing) {
            const std::unique_lock only(shared_.whole);
            (this->*step)();
        } else {
            const std::shared_lock with_others(shared_.whole);
            (this->*step)();
        }
    }
}

// Rows that carry the worker's name: a number and a text each.
std::string Worker::rows_query(const char* count) const {
    return std::string("with recursive n(i) as (select 1 union all select i + 1 from n where i < ") + count +
           ") select i, '" + mine_ + ":' || i as t from n";
}

std::string Worker::rows_text(std::int32_t count) const {
    std::string text = "i,t: ";
    for (std::int32_t i = 1; i <= count; ++i)
        text += (i > 1 ? "; " : "") + std::to_string(i) + "," + mine_ + ":" + std::to_string(i);
    return text + "\n";
}

void Worker::runs(const std::string& sql, std::int32_t wanted) {
    same("TRN_Execute_no_query", shared_.run(sql), wanted);
}

void Worker::shows(const std::string& sql, const std::string& wanted) {
    same("TRN_Execute_query_with_one", SingleValue(shared_, sql).take(), wanted);
}

void Worker::reads(const std::string& sql, const std::string& wanted) {
    same("TRN_ExecwithDataReader", shared_.transcript(sql), wanted);
}

void Worker::bind_number(std::int32_t value) {
    CHECKED(TRN_BindParamByPos(conn_, 1, TRN_DIRECTION_IN, TRN_TYPE_INTEGER, &value, 4, nullptr), 0);
}

void Worker::statements() {
    const Beside others(*this);
    const std::string is_mine = " where worker = '" + mine_ + "'";
    for (int i = 0; i < 3; ++i)
        runs("insert into " + shared_.table + " values('" + mine_ + "', " + std::to_string(i) + ", null)", 1);
    runs("update " + shared_.table + " set n = n + 1" + is_mine, 3);
    reads("select count(*) as n, sum(n) as s, count(object) as o from " + shared_.table + is_mine,
          "n,s,o: 3,6,0\n");
    runs("delete from " + shared_.table + is_mine, 3);
}

void Worker::single_values() {
    const Beside others(*this);
    const std::string number = std::to_string(round_);
    shows("select '" + mine_ + " " + number + "'", mine_ + " " + number);
    shows("select hex(zeroblob(50)) || '" + mine_ + "'", std::string(100, '0') + mine_);
}

void Worker::results() {
    const Beside others(*this);
    reads(rows_query("40") + "; select '" + mine_ + "' as m", rows_text(40) + "m: " + mine_ + "\n");
    // More than the receive buffer, and rows that the call leaves unread.
    Reader large(shared_, rows_query("2000"));
    same("TRN_ExecwithDataReader", large.rows, 2000);
    runs(rows_query("500"), 0);
}

void Worker::procedures() {
    const Beside others(*this);
    CHECKED(TRN_Execute_procesure(conn_, "EXEC nothing(null)", nullptr), TRN_ERR_OUTPUTS);
    CHECKED(TRN_Execute_procesure(conn_, "EXEC numbers(300, null)", nullptr), 0);
    CHECKED(TRN_Execute_procesure(conn_, "drop table if exists never_made", nullptr), 0);
}

// Their texts are printed, so there are few.
void Worker::refusals() {
    if (round_ % 4) return;
    const Beside others(*this);
    CHECKED(TRN_Execute_procesure(conn_, ("EXEC fail('" + mine_ + "')").c_str(), nullptr), TRN_ERR_SERVER);
    runs("EXEC warn('" + mine_ + "')", TRN_WARNING);
    same("TRN_ExecwithDataReader", Reader(shared_, "selekt '" + mine_ + "'").status, TRN_ERR_SERVER);
}

void Worker::prepared() {
    std::array<char, 20> name{};
    CHECKED(TRN_Prepare2(conn_, rows_query("7").c_str(), name.data()), TRN_PREPARED_QUERY);
    for (int i = 0; i < 2; ++i) {
        const Beside others(*this);
        Reader reader;
        CHECKED(TRN_Execute2(conn_, name.data(), nullptr, &reader.result), 7);
        same("TRN_Execute2", reader.transcript(), rows_text(7));
    }
    CHECKED(TRN_UnPrepare(conn_, name.data()), 0);
    CHECKED(TRN_UnPrepare(conn_, name.data()), TRN_ERR_SERVER);
    CHECKED(TRN_Prepare2(conn_, "selekt 1", name.data()), TRN_ERR_SERVER);
}

void Worker::fetch_all(const std::string& cursor, std::int32_t rows) {
    Reader rowset;
    CHECKED(TRN_FetchServerCursorRowset_V2(conn_, ("FETCH 3 FROM " + cursor).c_str(), &rowset.result),
            3); // into nothing: dropped
    Reader first;
    std::int32_t wanted = 5;
    CHECKED(
        TRN_FetchRefCursorHead(conn_, cursor.c_str(), &first.result, &first.columns, &first.rows, &wanted),
        0);
    same("TRN_FetchRefCursorHead", first.rows, 5);
    same("TRN_FetchRefCursorHead", first.next() ? first.text(2) : "", mine_ + ":4");
    CHECKED(TRN_FetchServerCursorRowset_V2(conn_, ("FETCH 2 FROM " + cursor).c_str(), &first.result), 2);
    same("TRN_FetchServerCursorRowset_V2", first.transcript(),
         "i,t: 9," + mine_ + ":9; 10," + mine_ + ":10\n");
    CHECKED(TRN_FetchServerCursorRowset(conn_, cursor.c_str(), &rowset.result), rows - 10);
    same("TRN_FetchServerCursorRowset", rowset.next() ? rowset.text(2) : "", mine_ + ":11");
    close_cursor(cursor);
}

void Worker::close_cursor(const std::string& cursor) {
    CHECKED(TRN_CloseCursor(conn_, cursor.c_str()), 0);
    CHECKED(TRN_CloseCursor(conn_, cursor.c_str()), TRN_ERR_SERVER);
}

void Worker::cursors() {
    const std::string cursor = "cursor_of_" + mine_;
    for (const std::int32_t rows : {300, 30}) {
        {
            const Beside others(*this);
            Reader columns;
            CHECKED(TRN_ExecwithServerCursorReader(conn_, rows_query(std::to_string(rows).c_str()).c_str(),
                                                   cursor.c_str(), &columns.result, &columns.columns),
                    0);
            same("TRN_ExecwithServerCursorReader", columns.columns, 2);
        }
        fetch_all(cursor, rows);
    }
}

void Worker::cursor_of_prepared_statement() {
    std::array<char, 20> name{};
    std::array<char, 40> cursor{};
    CHECKED(TRN_Prepare2(conn_, rows_query("25").c_str(), name.data()), TRN_PREPARED_QUERY);
    {
        const Beside others(*this);
        Reader columns;
        CHECKED(TRN_Execute2(conn_, name.data(), cursor.data(), &columns.result), 0);
    }
    same("TRN_Execute2", cursor.data(), std::string(name.data()) + "_CUR");
    CHECKED(TRN_UnPrepare(conn_, name.data()), 0);
    fetch_all(cursor.data(), 25);
}

void Worker::bound_values() {
    {
        const Alone binding(*this);
        bind_number(41);
        shows("select '" + mine_ + "' || (? + 1)", mine_ + "42");
    }
    {
        const Alone binding(*this);
        bind_number(9);
        reads(rows_query("?"), rows_text(9));
    }
    const Alone binding(*this);
    std::string text = mine_ + " bound";
    std::int32_t length = static_cast<std::int32_t>(text.size());
    CHECKED(TRN_BindParamByName(conn_, "text", TRN_DIRECTION_IN, TRN_TYPE_TEXT, text.data(), length, nullptr,
                                &length),
            0);
    runs("insert into " + shared_.table + " values(:text, 1, null)", 1);
    runs("delete from " + shared_.table + " where worker = '" + text + "'", 1);
}

void Worker::bound_prepared() {
    std::array<char, 20> name{};
    for (const bool through_cursor : {false, true}) {
        const Alone binding(*this);
        CHECKED(TRN_Prepare2(conn_, rows_query("?").c_str(), name.data()), TRN_PREPARED_QUERY);
        bind_number(12);
        std::array<char, 40> cursor{};
        Reader reader;
        CHECKED(TRN_Execute2(conn_, name.data(), through_cursor ? cursor.data() : nullptr, &reader.result),
                through_cursor ? 0 : 12);
        if (through_cursor) {
            fetch_all(cursor.data(), 12);
        } else {
            same("TRN_Execute2", reader.transcript(), rows_text(12));
        }
        CHECKED(TRN_UnPrepare(conn_, name.data()), 0);
    }
}

void Worker::bound_procedure() {
    std::array<char, 32> greeting{}, cursor{};
    std::int32_t greeting_length = static_cast<std::int32_t>(mine_.size()), cursor_length = 0;
    {
        const Alone binding(*this);
        std::copy(mine_.begin(), mine_.end(), greeting.begin());
        TRN_BindParamByPos(conn_, 1, TRN_DIRECTION_INOUT, TRN_TYPE_TEXT, greeting.data(), 32,
                           &greeting_length);
        CHECKED(TRN_Execute_procesure(conn_, "EXEC greet(?)", nullptr), 0);
        same("TRN_Execute_procesure", std::string(greeting.data(), static_cast<std::size_t>(greeting_length)),
             "Hello, " + mine_);
        TRN_ResetParams(conn_);
        TRN_BindParamByPos(conn_, 1, TRN_DIRECTION_OUT, TRN_TYPE_TEXT, cursor.data(), 31, &cursor_length);
        CHECKED(TRN_Execute_procesure(conn_, "EXEC open_numbers(6, ?)", nullptr), 0);
    }
    Reader rows;
    std::int32_t wanted = 10;
    CHECKED(TRN_FetchRefCursorHead(conn_, cursor.data(), &rows.result, &rows.columns, &rows.rows, &wanted),
            0);
    same("TRN_FetchRefCursorHead", rows.rows, 6);
    close_cursor(cursor.data());
}

void Worker::bound_cursor() {
    const std::string cursor = "bound_cursor_of_" + mine_;
    {
        const Alone binding(*this);
        bind_number(50);
        Reader columns;
        CHECKED(TRN_ExecwithServerCursorReader(conn_, rows_query("?").c_str(), cursor.c_str(),
                                               &columns.result, nullptr),
                0);
    }
    fetch_all(cursor, 50);
}

void Worker::own_set() {
    TRN_HANDLE set = nullptr;
    std::int64_t value = round_;
    CHECKED(TRN_CreateParams(&set), 0);
    TRN_BindParamByPos(&set, 1, TRN_DIRECTION_IN, TRN_TYPE_BIGINT, &value, 8, nullptr);
    for (int i = 0; i < 2; ++i) {
        const Alone binding(*this);
        CHECKED(TRN_BindParams2Conn(conn_, &set), 0);
        shows("select '" + mine_ + "/' || ?", mine_ + "/" + std::to_string(value));
    }
    TRN_Drop(&set);
}

// There is one on a connection.
void Worker::default_statement() {
    const Alone binding(*this);
    CHECKED(TRN_Prepare2(conn_, rows_query("3").c_str(), nullptr), TRN_PREPARED_QUERY);
    CHECKED(TRN_Prepare2(conn_, rows_query("4").c_str(), nullptr),
            TRN_PREPARED_QUERY); // in its place
    Reader reader;
    CHECKED(TRN_Execute2(conn_, nullptr, nullptr, &reader.result), 4);
    same("TRN_Execute2", reader.transcript(), rows_text(4));
    CHECKED(TRN_UnPrepare(conn_, nullptr), 0);
    CHECKED(TRN_UnPrepare(conn_, nullptr), -1);
}

void Worker::batch() {
    constexpr std::int32_t rows = 200;
    std::array<std::int32_t, rows> numbers{}, lengths{};
    for (std::int32_t i = 0; i < rows; ++i)
        numbers[static_cast<std::size_t>(i)] = i;
    lengths.fill(4);
    const std::string name = mine_ + " batch", is_mine = " where worker = '" + name + "'",
                      insertion = "insert into " + shared_.table + " values('" + name + "', ?, null)";
    {
        const Alone binding(*this);
        CHECKED(TRN_BindParamArrayByPos(conn_, 1, 1, TRN_DIRECTION_IN, TRN_TYPE_INTEGER, rows, numbers.data(),
                                        rows * 4, lengths.data()),
                0);
        CHECKED(TRN_ExecBatch(conn_, insertion.c_str(), rows), 0);
        CHECKED(TRN_ExecBatch(conn_, "select 1", rows), -1); // the set is empty
    }
    const Beside others(*this);
    const std::int32_t type = TRN_TYPE_INTEGER;
    std::array<TRNX_VALUE, rows> values;
    for (std::uint32_t i = 0; i < rows; ++i)
        values[i] = {4 * i, 4};
    CHECKED(TRNX_ExecRows(conn_, insertion.c_str(), 1, &type, rows, values.data(), numbers.data(), rows * 4),
            0);
    shows("select cast(sum(n) as varchar) from " + shared_.table + is_mine, "39800");
    runs("delete from " + shared_.table + is_mine, 2 * rows);
}

void Worker::large_objects() {
    std::string content(object_size, '?');
    {
        Reader reader;
        {
            const Beside others(*this);
            reader.status = TRN_ExecwithDataReader(conn_, ("select c, b from " + shared_.objects).c_str(),
                                                   &reader.result, nullptr, nullptr, nullptr);
        }
        same("TRN_ExecwithDataReader", reader.next(), true);
        TRN_HANDLE lob = nullptr;
        TRN_Create_Lob(&lob);
        for (const std::int32_t column : {1, 2, 1}) {
            std::int32_t length = 0;
            CHECKED(TRN_GetData(&reader.result, column, column == 1 ? TRN_TYPE_CLOB : TRN_TYPE_BLOB, &lob, 0,
                                &length),
                    0);
            CHECKED(TRN_Get_Lob_data(&lob, content.data(), object_size), object_size);
            same("TRN_GetData", content == object_content(column == 1 ? 'a' : 'A'), true);
        }
        TRN_Distroy_Lob(&lob);
    }
    const std::string name = mine_ + " object";
    TRN_HANDLE lob = complete_object(content);
    const Alone binding(*this);
    CHECKED(TRN_BindParamByPos(conn_, 1, TRN_DIRECTION_IN, TRN_TYPE_CLOB, &lob, 0, nullptr), 0);
    runs("insert into " + shared_.table + " values('" + name + "', 0, ?)", 1);
    shows("select substr(object, 1, 20) || length(object) from " + shared_.table + " where worker = '" +
              name + "'",
          content.substr(0, 20) + std::to_string(object_size));
    runs("delete from " + shared_.table + " where worker = '" + name + "'", 1);
    TRN_Distroy_Lob(&lob);
}

// The only one on the connection meanwhile.
void Worker::what_promises_nothing() {
    std::array<char, 64> version{};
    std::int32_t type = 0, length = 0;
    CHECKED(TRN_GetAttr(conn_, 1, version.data(), 64, &type, &length), 0);
    same("TRN_GetAttr", length > 0 && version[0] != 0, true);
    TRN_HANDLE refused = nullptr;
    CHECKED(
        TRN_ExecwithServerCursorReader(conn_, "selekt", ("refused_of_" + mine_).c_str(), &refused, nullptr),
        TRN_ERR_SERVER);
    same("TRN_GetError", error_text(shared_.handle).empty(), false);
    CHECKED(TRN_Execute2(conn_, ("nowhere" + mine_).c_str(), nullptr, nullptr), TRN_ERR_SERVER);
    same("TRN_GetError", error_text(shared_.handle).rfind("sql:? nowhere" + mine_ + "  errinfo: ", 0), 0U);
}

void Worker::other_connections() {
    {
        Connection passing(server_, settings_);
        same("TRN_OpenConn", passing.opened, TRN_OPENED);
        CHECKED(TRN_ReconnectConn(&passing.handle), TRN_RECONNECTED);
        same("TRN_Execute_query_with_one", SingleValue(passing, "select '" + mine_ + "'").take(), mine_);
    }
    const std::string listed = "IPS=127.0.0.1,127.0.0.1;" + server_.connection_string(settings_);
    TRN_HANDLE passing = nullptr;
    void* addresses = nullptr;
    CHECKED(TRN_OpenConn_Ips(listed.c_str(), 1, &addresses, &passing), 0);
    CHECKED(TRN_CloseConn(&passing), 0);
    Release_IpsAttrs(&addresses);
}
