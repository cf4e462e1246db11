// The peer of a fuzzed connection: the platform's sockets replaced by bytes in memory, and helpers of the
// targets.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "read_all.h"
#include "tarnsql.h"

namespace fuzz {

// Sets what is received from now on, at most piece bytes (at least 1) at a time; then the stream ends.
// Connects succeed; what is sent is dropped.
void serve(std::string_view bytes, size_t piece);

// The bytes of one run, taken from the front.
class Input {
  public:
    Input(const uint8_t* data, size_t size) : left_(reinterpret_cast<const char*>(data), size) {}
    uint8_t byte();
    int32_t number(); // of small or of any size
    std::string_view text(size_t size);
    std::string_view rest() const { return left_; }
    bool empty() const { return left_.empty(); }

  private:
    std::string_view left_;
};

// A connection whose login is accepted, and which then receives the rest of the input, in pieces whose size
// the input chooses.
class Session {
  public:
    explicit Session(const char* settings = "");
    ~Session() { TRN_CloseConn(&handle_); }
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;
    TRN_HANDLE* handle() { return &handle_; }
    void receive(Input& input);

  private:
    TRN_HANDLE handle_ = nullptr;
};

// Makes every call on what arrived.
using test_support::read_all;
using test_support::read_error;

} // namespace fuzz
