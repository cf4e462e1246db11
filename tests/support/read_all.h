/*
 * A walk over everything that can be asked of a result or an error text. Uses the public interface and the
 * standard library only, so that other programs than the test suites can take it in as a source.
 */
#ifndef TEST_SUPPORT_READ_ALL_H
#define TEST_SUPPORT_READ_ALL_H

#include "tarnsql.h"

#include <cstddef>
#include <string>

namespace test_support {

/* Whether a call may return it: a count, a kind or a status that the header names. */
bool is_known_status(std::int32_t status);

/* Calls every accessor of a chain of results, reads the values of its first rows in every way, and releases
 * the chain. Large objects behind descriptors are fetched. Statuses and what was written go into the log, if
 * there is one. False when a call returned a status that is not known. */
bool read_all(TRN_HANDLE* result, std::size_t longest_value, std::string* log = nullptr);

/* The calls that look at a handle's error text. */
bool read_error(TRN_HANDLE* handle, std::string* log = nullptr);

} // namespace test_support

#endif
