#include "csv.h"

#include "failure.h"
#include "terminal.h"
#include "text.h"

#include <fmt/format.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <utility>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace tarnsh {

namespace {

constexpr std::size_t read_size = 1 << 21, window_size = 1 << 14, block_size = 64, cache_line = 64;

// One bit for each byte of a block that is a mark.
[[gnu::always_inline]] inline std::uint64_t mask_of(const char* block, CsvMarks marks) {
#ifdef __SSE2__
    const __m128i delimiters = _mm_set1_epi8(marks.delimiter), quotes = _mm_set1_epi8(marks.quote),
                  feeds = _mm_set1_epi8('\n');
    const auto mask_of_part = [&](std::size_t part) {
        const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(block) + part);
        const __m128i found =
            _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi8(bytes, delimiters), _mm_cmpeq_epi8(bytes, quotes)),
                         _mm_cmpeq_epi8(bytes, feeds));
        return std::uint64_t{static_cast<unsigned>(_mm_movemask_epi8(found))} << (16 * part);
    };
    return mask_of_part(0) | mask_of_part(1) | mask_of_part(2) | mask_of_part(3);
#else
    std::uint64_t mask = 0;
    for (std::size_t i = 0; i < block_size; ++i)
        mask |= std::uint64_t{block[i] == marks.delimiter || block[i] == marks.quote || block[i] == '\n'}
                << i;
    return mask;
#endif
}

// Writes the offsets of the marks and returns their end. Most blocks have no more than eight: eight are
// written at once, and those too many are overwritten.
[[gnu::always_inline]] inline std::uint16_t* write_marks_inline(const char* text, std::size_t size,
                                                                CsvMarks marks, std::uint16_t* out) {
    for (std::size_t begin = 0; begin < size; begin += block_size) {
        std::uint64_t mask = mask_of(text + begin, marks);
        if (size - begin < block_size) mask &= (std::uint64_t{1} << (size - begin)) - 1;
        const auto write_two = [&] {
            for (int i = 0; i < 2; ++i, mask &= mask - 1)
                *out++ = static_cast<std::uint16_t>(begin + static_cast<unsigned>(std::countr_zero(mask)));
        };
        std::uint16_t* const end = out + std::popcount(mask);
        do {
            write_two(), write_two(), write_two(), write_two();
        } while (out < end);
        out = end;
    }
    return out;
}

#ifdef __x86_64__
// The same with the bit instructions that nearly every processor has.
[[gnu::target("avx,bmi,popcnt")]] std::uint16_t* write_marks_avx(const char* text, std::size_t size,
                                                                 CsvMarks marks, std::uint16_t* out) {
    return write_marks_inline(text, size, marks, out);
}
#endif

std::uint16_t* write_marks(const char* text, std::size_t size, CsvMarks marks, std::uint16_t* out) {
#ifdef __x86_64__
    if (__builtin_cpu_supports("avx") && __builtin_cpu_supports("bmi") && __builtin_cpu_supports("popcnt"))
        return write_marks_avx(text, size, marks, out);
#endif
    return write_marks_inline(text, size, marks, out);
}

} // namespace

SpecialFinder::SpecialFinder(CsvMarks marks) {
    const char characters[] = {marks.delimiter, marks.quote, '\n', '\r'};
    for (std::size_t i = 0; i < special_.size(); ++i)
        special_[i].fill(characters[i]);
}

bool SpecialFinder::finds_in(std::string_view text) const {
#ifdef __SSE2__
    const auto load = [](const char* from) {
        return _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
    };
    for (std::size_t at = 0; at < text.size(); at += step) {
        const __m128i bytes = load(text.data() + at);
        __m128i found = _mm_cmpeq_epi8(bytes, load(special_[0].data()));
        for (std::size_t i = 1; i < special_.size(); ++i)
            found = _mm_or_si128(found, _mm_cmpeq_epi8(bytes, load(special_[i].data())));
        const std::size_t left = text.size() - at;
        const unsigned own = left >= step ? 0xFFFFU : (1U << left) - 1;
        if ((static_cast<unsigned>(_mm_movemask_epi8(found)) & own) != 0) return true;
    }
    return false;
#else
    return std::ranges::any_of(text, [this](char c) {
        return c == special_[0][0] || c == special_[1][0] || c == special_[2][0] || c == special_[3][0];
    });
#endif
}

void add_csv_quoted(std::string_view text, CsvMarks marks, std::string& line) {
    line += marks.quote;
    for (std::size_t at; (at = text.find(marks.quote)) != text.npos; text.remove_prefix(at + 1))
        line.append(text.substr(0, at)).append(2, marks.quote);
    line.append(text) += marks.quote;
}

void add_csv_field(std::string_view text, std::string_view null_text, CsvMarks marks, std::string& line) {
    const auto is_special = [marks](char c) {
        return c == marks.delimiter || c == marks.quote || c == '\n' || c == '\r';
    };
    if (text == null_text || std::ranges::any_of(text, is_special))
        add_csv_quoted(text, marks, line);
    else
        line += text;
}

CsvReader::CsvReader(std::unique_ptr<CsvSource> source, CsvMarks marks)
    : source_(std::move(source)), marks_(marks), buffer_(cache_line + read_size + block_size),
      places_(1 + window_size + block_size), next_mark_(places_.data() + 1), marks_end_(next_mark_) {}

void CsvReader::refuse(std::string_view reason) const {
    fail(exit_shell, fmt::format("{}, line {}: {}", name(), record_line_, reason));
}

// Called when everything read is scanned and no mark is left: moves the kept text to the front of the buffer
// and reads on. False at the end. Reads go to the beginning of a cache line: many processors copy several
// times slower to other places.
bool CsvReader::more() {
    const std::size_t kept = size_ - kept_;
    if (kept + cache_line + block_size >= buffer_.size()) buffer_.resize(2 * buffer_.size());
    const std::size_t front = -(reinterpret_cast<std::uintptr_t>(buffer_.data()) + kept) % cache_line;
    std::memmove(buffer_.data() + front, buffer_.data() + kept_, kept);
    at_ += front - kept_;
    kept_ = front;
    scanned_ = size_ = front + kept;
    const std::size_t got = source_->read(buffer_.data() + size_, buffer_.size() - block_size - size_);
    size_ += got;
    if (std::exchange(read_, read_ + got) == 0 && kept_text().starts_with("\xEF\xBB\xBF"))
        kept_ = at_ += 3; // a byte order mark
    return got > 0;
}

// False when none is left up to the end.
bool CsvReader::find_mark() {
    while (next_mark_ == marks_end_) {
        if (scanned_ == size_ && !more()) return false;
        const std::size_t size = std::min(window_size, size_ - scanned_);
        marks_end_ = write_marks(buffer_.data() + scanned_, size, marks_, places_.data() + 1);
        next_mark_ = places_.data() + 1;
        window_ = std::exchange(scanned_, scanned_ + size);
    }
    return true;
}

// Takes the end of a field: a delimiter, a line feed, or the end of input. True when the record has another
// field.
bool CsvReader::pass_end(std::size_t end) {
    at_ = end;
    if (end == size_) return false;
    ++at_;
    ++next_mark_;
    if (buffer_[end] == marks_.delimiter) return true;
    ++line_;
    return false;
}

// Whether the next mark is a quote at this distance from the field's beginning.
bool CsvReader::is_at_quote(std::size_t distance) {
    return find_mark() && mark_place() == at_ + distance && buffer_[mark_place()] == marks_.quote;
}

// Doubled quotes become one, in place. Offsets are from the first quote, which may move.
CsvField CsvReader::read_quoted() {
    ++next_mark_;
    std::size_t from = 1, out = 1;
    for (;;) {
        while (find_mark() && buffer_[mark_place()] != marks_.quote)
            line_ += buffer_[mark_place()] == '\n' ? 1 : 0, ++next_mark_;
        if (next_mark_ == marks_end_) refuse("a quoted field has no end");
        const std::size_t end = mark_place() - at_;
        ++next_mark_;
        std::memmove(buffer_.data() + at_ + out, buffer_.data() + at_ + from, end - from);
        out += end - from;
        from = end + 1;
        if (!is_at_quote(from)) break;
        buffer_[at_ + out++] = marks_.quote;
        ++from;
        ++next_mark_;
    }
    const std::size_t end = find_mark() ? mark_place() : size_;
    if (at_ + from < size_ && buffer_[at_ + from] == '\r') ++from;
    if (end != at_ + from || is_at_quote(from)) refuse("text after the end of a quoted field");
    const std::string_view text(buffer_.data() + at_ + 1, out - 1);
    return {text, true, !pass_end(end)};
}

CsvField CsvReader::next_field() {
    if (is_at_quote(0)) return read_quoted();
    while (find_mark() && buffer_[mark_place()] == marks_.quote)
        ++next_mark_; // inside, quotes are text
    const std::size_t end = next_mark_ != marks_end_ ? mark_place() : size_;
    std::string_view text(buffer_.data() + at_, end - at_);
    const bool last = !pass_end(end);
    if (last && text.ends_with('\r')) text.remove_suffix(1);
    return {text, false, last};
}

} // namespace tarnsh
