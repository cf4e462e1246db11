// Parameter sets: the parameters of one statement, bound by name or by position, as single values or as
// arrays of a batch.
//
// An input value is copied when it is bound; other directions keep the application's buffer and length. A set
// is shared by its handle and by the connections it is attached to, and lives as long as one of them.
#pragma once

#include <cstdint>
#include <utility>

#include "base/memory.h"
#include "conn/conn.h"
#include "conn/handle.h"
#include "lob/lob.h"

namespace tarn {

enum class ParamMode : int32_t {
    implicit,  // made by the first bind on a connection, used by one execution
    explicit_, // made by TRN_CreateParams, kept across executions
    described, // made by a prepare: names and positions are from the server
};

inline constexpr int32_t param_limit = 4000;
inline constexpr int32_t param_growth = 128;

struct ParamSlot {
    char* name; // owned; null: bound by position
    uint32_t data_type;
    int32_t direction; // TRN_DIRECTION_*; 0: not bound
    int32_t buffer_length;

    Lob* lob;            // an input of a large-object type; a reference
    void* value;         // a copy, or the application's buffer; arrays: the first element
    int32_t* length;     // arrays: one a row
    int32_t value_bytes; // at value, as given at the bind; 0: not given, see readable_bytes
    int32_t rows;        // lengths at length: an array's rows, 1 for a single value, 0 for none
    bool owns_value;
    bool owns_length;
    bool by_position; // arrays
};

struct ParamSet {
    Handle head; // TRN_KIND_PARAMETERS; its error text is from the last bind through the set's own handle
    int32_t references;
    ParamMode mode;
    int32_t count; // slots in use
    int32_t capacity;
    int32_t array_size;     // rows of an array-bound set, else 0
    int32_t array_capacity; // slots that the first array bind announced, and what was added to them
    ParamSlot* slots;
};

ParamSet* create_params(ParamMode mode) noexcept;

// Empties the set: no slots, no rows.
void release_params_content(ParamSet& set) noexcept;

// Empties a set after its execution; a set that the application made keeps its values, and null is accepted.
void release_used_values(ParamSet* set) noexcept;

// The same when the values have been sent and the reply has not arrived: a set with a slot that is not an
// input is kept, so that output values find their slots, and so are arrays, which were not sent.
void release_sent_inputs(ParamSet* set) noexcept;

void drop_params_reference(ParamSet* set) noexcept;

// Releases the set behind a handle when the application made it, and clears the variable; other sets are left
// alone.
void drop_params(TRN_HANDLE* handle) noexcept;

// Makes a set the connection's bound one, replacing any other; the connection takes over a reference.
void attach_params(Conn& conn, ParamSet* set) noexcept;

// Detaches the bound set from the connection; it is released unless the application made it.
void detach_params(Conn& conn) noexcept;

// Detaches the bound set from a connection for one execution, after which it is released unless the
// application made it.
class BoundParams {
  public:
    explicit BoundParams(Conn& conn) noexcept;
    ~BoundParams();
    BoundParams(const BoundParams&) = delete;
    BoundParams& operator=(const BoundParams&) = delete;
    ParamSet* get() const noexcept { return set_; } // null: nothing bound

  private:
    ParamSet* set_;
};

// The large object that a bound value refers to.
struct LobValue {
    Lob* lob;   // null: none
    bool wrong; // a record of another kind
};

// The value is the address of the application's handle variable, or of the object itself; null refers to
// none.
LobValue lob_of_value(void* value) noexcept;

// The highest slot number that a set has or can grow to in one step.
inline int32_t slot_limit(const ParamSet& set, int32_t first_capacity) noexcept {
    return (set.capacity ? set.capacity : first_capacity) + param_growth;
}

// Makes room for slots up to a number; the first layout has first_capacity slots. False when the number is
// above slot_limit or memory is short.
bool reserve_slots(ParamSet& set, int32_t number, int32_t first_capacity) noexcept;

// Releases the value that a slot owns; keeps its name.
void release_slot_value(ParamSlot& slot) noexcept;

// The set that a bind on a handle fills, and where its error texts go. A connection without a set gets an
// implicit one at the first bind that passes its checks.
class BindTarget {
  public:
    explicit BindTarget(TRN_HANDLE* handle) noexcept;
    bool valid() const noexcept { return errors_ != nullptr; }
    bool is_connection() const noexcept { return conn_ != nullptr; }
    ParamSet* set() noexcept; // null when memory is short
    void fail(Owned<char> text) noexcept { set_error_text(*errors_, std::move(text)); }

  private:
    Conn* conn_ = nullptr;
    ParamSet* set_ = nullptr;
    Handle* errors_ = nullptr;
};

// The size of the area in which a bind's error text is formatted.
inline constexpr size_t bind_error_area = 80;

constexpr bool is_direction(int32_t direction) noexcept {
    return direction == TRN_DIRECTION_IN || direction == TRN_DIRECTION_OUT ||
           direction == TRN_DIRECTION_INOUT || direction == TRN_DIRECTION_RETURN;
}

// The index of the first slot with that name, ignoring case; -1 when there is none.
int32_t find_slot(const ParamSet& set, const char* name) noexcept;

} // namespace tarn
