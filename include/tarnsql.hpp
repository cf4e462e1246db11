// tarnsql.hpp - tarnsql for C++17 and later: the calls of tarnsql.h and tarnsql_ext.h as classes, header
// only.
//
//     tarnsql::connection db("server=127.0.0.1;port=5139;db=demo;user=me;password=secret");
//     db.execute("INSERT INTO town (id, name) VALUES (?, ?)", 1, "Ur");
//     for (auto [id, name] : db.query<int64_t, std::string>("SELECT id, name FROM town WHERE id < ?", 10))
//         std::cout << id << ' ' << name << '\n';
//
// What holds for all of it:
//   - Objects close what they own; they move and do not copy. Destructors never throw. A moved-from object
//     throws usage_error when used, and so does one whose connection was closed.
//   - Failures are exceptions derived from tarnsql::error.
//   - A value that does not fit the requested type throws range_error; a null throws null_error unless
//     std::optional takes it.
//   - Texts are bytes in the session's character set and are not converted.
//   - A connection and what was made from it are used by one thread at a time; different connections share
//     nothing.
//   - Names in tarnsql::detail are internal.
#pragma once

#include "tarnsql/batch.hpp"
#include "tarnsql/bytes.hpp"
#include "tarnsql/connection.hpp"
#include "tarnsql/cursor.hpp"
#include "tarnsql/error.hpp"
#include "tarnsql/large_object.hpp"
#include "tarnsql/lines.hpp"
#include "tarnsql/parameter.hpp"
#include "tarnsql/result.hpp"
#include "tarnsql/settings.hpp"
#include "tarnsql/statement.hpp"
#include "tarnsql/time.hpp"
#include "tarnsql/transaction.hpp"
