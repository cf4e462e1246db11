// Non-owning views of bytes and texts, as arguments.
#pragma once

#include <cstddef>
#include <cstring>
#include <string>
#include <string_view>
#include <type_traits>

#include "error.hpp"

namespace tarnsql {

namespace detail {

template <class T>
inline constexpr bool is_byte = std::is_same_v<T, std::byte> || std::is_same_v<T, unsigned char>;

template <class T>
using element_of = std::remove_cv_t<std::remove_pointer_t<decltype(std::declval<const T&>().data())>>;

template <class T, class = void> inline constexpr bool holds_bytes = false;
template <class T>
inline constexpr bool holds_bytes<T, std::void_t<element_of<T>, decltype(std::declval<const T&>().size())>> =
    is_byte<element_of<T>>;

} // namespace detail

/// A view of bytes, like std::span<const std::byte>: a binary value to bind, or one read from a row. Converts
/// from anything with data() and size() over std::byte or unsigned char: vectors, arrays, std::span.
class bytes_view {
  public:
    using value_type = std::byte;            ///< the element type
    using const_iterator = const std::byte*; ///< its iterator

    /// No bytes.
    constexpr bytes_view() noexcept = default;
    /// size bytes at data.
    constexpr bytes_view(const std::byte* first, size_t count) noexcept : data_(first), size_(count) {}
    /// Bytes of any other type, such as a char array that is not text.
    bytes_view(const void* first, size_t count) noexcept
        : data_(static_cast<const std::byte*>(first)), size_(count) {}
    /// The bytes of a container.
    template <class Container, std::enable_if_t<detail::holds_bytes<Container>, int> = 0>
    bytes_view(const Container& bytes) noexcept // implicit, like std::span's
        : bytes_view(static_cast<const void*>(bytes.data()), bytes.size()) {}

    /// The first byte's address; may be null when there are none.
    constexpr const std::byte* data() const noexcept { return data_; }
    /// The number of bytes.
    constexpr size_t size() const noexcept { return size_; }
    /// Whether it is empty.
    constexpr bool empty() const noexcept { return size_ == 0; }
    /// The byte at index; not checked.
    constexpr std::byte operator[](size_t index) const noexcept { return data_[index]; }
    /// The first byte.
    constexpr const std::byte* begin() const noexcept { return data_; }
    /// Past the last byte.
    constexpr const std::byte* end() const noexcept { return data_ + size_; }
    /// A part of the view, clamped to its size.
    constexpr bytes_view part(size_t offset, size_t count = static_cast<size_t>(-1)) const noexcept {
        const size_t from = offset < size_ ? offset : size_;
        return {data_ + from, count < size_ - from ? count : size_ - from};
    }

  private:
    const std::byte* data_ = nullptr;
    size_t size_ = 0;
};

/// A NUL-terminated text, from a literal or a std::string, not copied. Throws usage_error for a std::string
/// with a zero byte inside, which would cut it short. A std::string_view does not convert, because it would
/// need a copy: write std::string(view).
class c_text {
  public:
    /// From a literal or another NUL-terminated text.
    c_text(const char* text) : text_(text) {
        if (!text) throw usage_error(TRN_ERR_ARGUMENT, "a null pointer instead of a text");
    }
    /// From a std::string, which must outlive the call.
    c_text(const std::string& text) : text_(text.c_str()) {
        if (std::memchr(text_, '\0', text.size()))
            throw usage_error(TRN_ERR_ARGUMENT, "a text with a zero byte inside");
    }
    /// The text.
    const char* c_str() const noexcept { return text_; }

  private:
    const char* text_;
};

} // namespace tarnsql
