// The parameter entries after a command, and binding them to a statement. An entry is
//
//   u16 name length, name   without a name the entry belongs to the parameter of its own position
//   u16 direction           1 input, 2 output, 3 both
//   u16 wire type
//   i32 length, value       below 1: null, without bytes; types of a fixed width have it whatever the length
//                           says
//
// Values in wire types that the client copies from its memory as they are (3) are little-endian, all others
// big-endian.
#pragma once

#include "transport.h"
#include "values.h"

#include <cstddef>
#include <cstdint>
#include <sqlite3.h>
#include <string>
#include <vector>

namespace tarnlite {

constexpr std::uint16_t input_direction = 1;
constexpr std::uint16_t output_direction = 2;
constexpr std::uint16_t both_directions = 3;

struct Parameter {
    std::string name;
    std::uint16_t direction = 0;
    std::uint16_t wire_type = 0;
    Value value;         // without its bytes
    std::string content; // the bytes of a text or binary value
};
using Parameters = std::vector<Parameter>;

// The limit for names and values of one command, or one row of a batch. SQLite stores no larger row.
constexpr std::uint64_t longest_parameters = std::uint64_t{1} << 30;

// The size of a value of this wire type and length, which is deducted from `allowance`. Throws ProtocolError
// for an unknown type, whose values cannot be skipped, and for a value beyond the allowance.
std::size_t value_size(std::uint16_t wire_type, std::int32_t length, std::uint64_t& allowance);

// Sets the parameter's value from these bytes, by its wire type; none: null.
void set_value(Parameter& parameter, std::string bytes);

// Throws ProtocolError for an entry that cannot be read or does not arrive.
Parameters read_parameters(Transport& transport, std::size_t count);

// Which value each parameter of a statement gets: by name, ignoring case and prefix (":", "@", "$" or "?"),
// or by position. Of two values of one name the later one counts.
class ParameterPlaces {
  public:
    // Takes the names of all parameters, without prefix; empty for those without one. Both throw SqlError
    // unless every parameter has a value, and every value a parameter.
    ParameterPlaces(const std::vector<std::string>& names, const Parameters& parameters);
    ParameterPlaces(sqlite3_stmt* statement, const Parameters& parameters);

    // The index of the value that goes to a parameter, both counted from 0.
    std::size_t source(std::size_t parameter) const { return sources_[parameter]; }

    // The parameters, arranged like those of the constructor, must outlive the statement's run. Throws
    // SqlError.
    void bind(sqlite3* database, sqlite3_stmt* statement, const Parameters& parameters) const;

  private:
    std::vector<std::size_t> sources_; // of parameter number i + 1
};

// The name of the statement's parameter number `index`, from 1, without its prefix; empty when it has none.
std::string parameter_name(sqlite3_stmt* statement, int index);

} // namespace tarnlite
