// Large objects: contents of up to 2 GiB in memory, to be bound, or read from a CLOB or BLOB.
#pragma once

#include <algorithm>
#include <cstdint>
#include <istream>
#include <memory>
#include <streambuf>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "bytes.hpp"
#include "parameter.hpp"
#include "result_state.hpp"

namespace tarnsql {

namespace detail {
inline int32_t bind_lob(const place& at, const large_object& lob);
inline bool get_lob(result_state& from, int32_t column, large_object& value);
} // namespace detail

/// Which type a large object has on the server.
enum class lob_kind {
    binary,   ///< a BLOB
    character ///< a CLOB
};

/// The content of a CLOB or BLOB: fill one and bind it, or read one from a row (as<large_object>()). It
/// outlives the row, the result and the connection; with lob_ret in the connection string the content is
/// fetched when it is read from the row, which needs the connection. One thread at a time. A moved-from
/// object is empty and can be filled again.
class large_object {
  public:
    /// An empty object.
    explicit large_object(lob_kind kind = lob_kind::binary) noexcept : kind_(kind) {}
    /// A BLOB with these bytes, which are copied. Throws error when memory is short.
    explicit large_object(bytes_view content) { append(content); }
    /// A CLOB with this text, which is copied. Throws error when memory is short.
    explicit large_object(std::string_view content) : kind_(lob_kind::character) { append(content); }
    /// Takes the content over.
    large_object(large_object&& other) noexcept
        : handle_(std::exchange(other.handle_, nullptr)), kind_(other.kind_),
          size_(std::exchange(other.size_, 0)), position_(std::exchange(other.position_, 0)) {}
    /// Takes the content over.
    large_object& operator=(large_object&& other) noexcept {
        std::swap(handle_, other.handle_);
        std::swap(kind_, other.kind_);
        std::swap(size_, other.size_);
        std::swap(position_, other.position_);
        return *this;
    }
    ~large_object() { TRN_Distroy_Lob(&handle_); }

    /// CLOB or BLOB.
    lob_kind kind() const noexcept { return kind_; }
    /// The size of the content in bytes.
    int64_t size() const noexcept { return size_; }

    /// Appends bytes. Throws range_error beyond 2 GiB, error when memory is short: the bytes appended so far
    /// stay.
    void append(bytes_view bytes) { append(bytes.data(), bytes.size()); }
    /// Appends a text.
    void append(std::string_view text) { append(text.data(), text.size()); }

    /// Copies up to size bytes from the read position, which it advances. Returns the bytes copied, 0 at the
    /// end.
    size_t read(void* to, size_t size) noexcept {
        size_t done = 0;
        while (handle_ && done < size) {
            const auto piece = static_cast<int32_t>(std::min<size_t>(size - done, INT32_MAX));
            const int32_t got = TRN_Get_Lob_data(&handle_, static_cast<char*>(to) + done, piece);
            if (got <= 0) break;
            done += static_cast<size_t>(got);
        }
        position_ += static_cast<int64_t>(done);
        return done;
    }
    /// The read position, from 0.
    int64_t position() const noexcept { return position_; }
    /// Moves the read position. Throws range_error unless it is from 0 to size().
    void seek(int64_t position) {
        if (position < 0 || position > size_) detail::out_of_range("a position outside the large object");
        if (handle_) TRN_LobRead_SetPos(&handle_, static_cast<int32_t>(position));
        position_ = position;
    }

    /// The whole content as bytes; the read position is then at the end.
    std::vector<std::byte> to_bytes() {
        std::vector<std::byte> all(static_cast<size_t>(size_));
        seek(0);
        read(all.data(), all.size());
        return all;
    }
    /// The whole content as a text; the read position is then at the end.
    std::string to_string() {
        std::string all(static_cast<size_t>(size_), '\0');
        seek(0);
        read(all.data(), all.size());
        return all;
    }

    /// Empties the object, to be filled again.
    void clear() noexcept {
        TRN_Distroy_Lob(&handle_);
        size_ = position_ = 0;
    }

    /// The handle variable, for calls of tarnsql.h; created on first use. Throws error when memory is short.
    TRN_HANDLE* native_handle() const {
        if (!handle_ && TRN_Create_Lob(&handle_) != TRN_OK) throw error(TRN_ERR_MEMORY, "out of memory");
        return &handle_;
    }

  private:
    friend bool detail::get_lob(detail::result_state& from, int32_t column, large_object& value);

    void append(const void* data, size_t size) {
        if (size > static_cast<size_t>(INT32_MAX - size_))
            detail::out_of_range("a large object of 2 GiB or more");
        if (size == 0) return;
        if (TRN_Put_Lob_data(native_handle(), data, static_cast<int32_t>(size)) != TRN_OK)
            throw error(TRN_ERR_MEMORY, "out of memory");
        size_ += static_cast<int64_t>(size);
    }

    mutable TRN_HANDLE handle_ = nullptr; // created on first use
    lob_kind kind_ = lob_kind::binary;
    int64_t size_ = 0;
    int64_t position_ = 0;
};

namespace detail {

// Only a large object marked complete is sent.
inline int32_t bind_lob(const place& at, const large_object& lob) {
    TRN_HANDLE* handle = lob.native_handle();
    TRN_Put_Lob_data(handle, nullptr, TRN_LOB_END);
    const int32_t type = lob.kind() == lob_kind::character ? TRN_TYPE_CLOB : TRN_TYPE_BLOB;
    return at.bind(TRN_DIRECTION_IN, type, handle, 0, nullptr);
}

// False for a null.
inline bool get_lob(result_state& from, int32_t column, large_object& value) {
    const int32_t type = from.type(column);
    const bool character = type == TRN_TYPE_CLOB || type == TRN_TYPE_TEXT;
    value = large_object(character ? lob_kind::character : lob_kind::binary);
    int32_t size = 0;
    const int32_t status =
        from.get(column, character ? TRN_TYPE_CLOB : TRN_TYPE_BLOB, value.native_handle(), 0, &size);
    switch (status) {
    case TRN_OK: value.size_ = size; return true;
    case TRN_NULL_VALUE: return false;
    case TRN_ERR_NETWORK:
        throw connection_error(status, "the large object could not be fetched: the link is lost");
    case TRN_ERR_ARGUMENT: throw error(TRN_ERR_MEMORY, "out of memory");
    default:
        throw value_error(status, "column " + from.name(column) + ": a value of " + name_of_type(type) +
                                      " is no large object");
    }
}

class lob_buffer : public std::streambuf {
  public:
    explicit lob_buffer(large_object& of) : lob_(of), area_(new char[2 * half]) {
        setp(area_.get(), area_.get() + half);
    }

    void write_out() {
        lob_.append(std::string_view(pbase(), static_cast<size_t>(pptr() - pbase())));
        setp(area_.get(), area_.get() + half);
    }

  protected:
    int_type overflow(int_type c) override {
        write_out();
        if (!traits_type::eq_int_type(c, traits_type::eof())) sputc(traits_type::to_char_type(c));
        return traits_type::not_eof(c);
    }
    std::streamsize xsputn(const char* from, std::streamsize count) override {
        if (count > epptr() - pptr()) write_out();
        if (count < half) return std::streambuf::xsputn(from, count);
        lob_.append(std::string_view(from, static_cast<size_t>(count)));
        return count;
    }
    int sync() override {
        write_out();
        return 0;
    }

    int_type underflow() override {
        write_out();
        char* const first = area_.get() + half;
        setg(first, first, first + lob_.read(first, half));
        return gptr() == egptr() ? traits_type::eof() : traits_type::to_int_type(*gptr());
    }
    std::streamsize xsgetn(char* to, std::streamsize count) override {
        write_out();
        const std::streamsize kept = std::min(count, static_cast<std::streamsize>(egptr() - gptr()));
        std::copy(gptr(), gptr() + kept, to);
        setg(eback(), gptr() + kept, egptr());
        return kept + static_cast<std::streamsize>(lob_.read(to + kept, static_cast<size_t>(count - kept)));
    }

    // Reads may seek; writes append, so the write position is always the end.
    pos_type seekoff(off_type offset, std::ios_base::seekdir from, std::ios_base::openmode which) override {
        write_out();
        if (!(which & std::ios_base::in))
            return offset == 0 && from != std::ios_base::beg ? pos_type(lob_.size()) : pos_type(off_type(-1));
        const off_type here = lob_.position() - (egptr() - gptr());
        const off_type start = from == std::ios_base::beg   ? 0
                               : from == std::ios_base::cur ? here
                                                            : lob_.size();
        if (start + offset < 0 || start + offset > lob_.size()) return pos_type(off_type(-1));
        lob_.seek(start + offset);
        setg(nullptr, nullptr, nullptr);
        return pos_type(start + offset);
    }
    pos_type seekpos(pos_type position, std::ios_base::openmode which) override {
        return seekoff(off_type(position), std::ios_base::beg, which);
    }

  private:
    static constexpr std::ptrdiff_t half = 16384; // of the buffer: one to write, one to read
    large_object& lob_;
    std::unique_ptr<char[]> area_;
};

} // namespace detail

/// A large object as a std::iostream: reading begins at its read position, writing appends. Written data
/// reaches the object at flush() or in the destructor (which drops it silently when memory is short). The
/// object must outlive the stream.
class lob_stream : private detail::lob_buffer, public std::iostream {
  public:
    /// A stream over an object.
    explicit lob_stream(large_object& lob)
        : detail::lob_buffer(lob), std::iostream(static_cast<detail::lob_buffer*>(this)) {}
    ~lob_stream() override {
        try {
            write_out();
        } catch (...) { // destructors must not throw
        }
    }
};

} // namespace tarnsql
