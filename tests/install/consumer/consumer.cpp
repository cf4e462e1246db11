// An outside program in C++: what it uses needs no server.
#include <cstdio>
#include <string>

#include <tarnsql.hpp>

int main() {
    int failures = 0;
    const auto check = [&](const char* what, bool holds) {
        if (!holds) std::fprintf(stderr, "consumer: %s\n", what);
        failures += !holds;
    };
    tarnsql::large_object lob;
    tarnsql::lob_stream(lob) << "in the year " << 2000;
    check("a large object keeps what is written to it", lob.to_string() == "in the year 2000");
    try {
        tarnsql::connection refused("server=127.0.0.1;port=0;db=d;user=u;pwd=p");
        check("a connection string with a mistake is refused", false);
    } catch (const tarnsql::usage_error& error) {
        check("the refusal has its code", error.code() == "EX004");
    }
    std::printf("consumer of tarnsql.hpp %s: %d failures\n", TRNX_Version(), failures);
    return failures != 0;
}
