// The cost of releasing a result: TRN_Drop of a million rows of six columns, in CPU time per row. Once as the
// first result of a process, and once as one of many, with memory that the allocator reuses.
#include "measure.h"
#include "peer.h"
#include "rows.h"

using namespace bench;

int main(int argc, char** argv) {
    const Options options = parse_options(argc, argv);
    const uint64_t rows = options.quick ? 20000 : 1000000;
    const Peer peer([&] { return replay({tarnsql_reply(make_table(rows, kinds_of(six_columns)))}); });
    pin_to_cpu(0);
    const auto drop_result_of = [&](TRN_HANDLE* conn) {
        TRN_HANDLE result = nullptr;
        int64_t received = 0;
        check(TRN_ExecwithDataReader(conn, "0", &result, nullptr, &received, nullptr) >= 0 &&
                  received == static_cast<int64_t>(rows),
              "the rows did not arrive");
        const double start = thread_cpu_seconds();
        TRN_Drop(&result);
        const double spent = thread_cpu_seconds() - start;
        check(!result, "the result was not released");
        return spent;
    };
    const int rounds = options.quick ? 1 : 7;
    const double first = medians(rounds, {[&] {
                                     return in_own_process([&] {
                                         TRN_HANDLE conn = peer.open();
                                         const double spent = drop_result_of(&conn);
                                         TRN_CloseConn(&conn);
                                         return spent;
                                     });
                                 }})[0];
    TRN_HANDLE conn = peer.open();
    const double later = medians(rounds, {[&] { return drop_result_of(&conn); }})[0];
    TRN_CloseConn(&conn);

    Figures figures;
    figures.add("free/rows", static_cast<double>(rows), "rows");
    figures.add("free/first_result", first * 1e9 / static_cast<double>(rows), "ns/row");
    figures.add("free/later_results", later * 1e9 / static_cast<double>(rows), "ns/row");
    figures.report(options);
}
