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

constexpr std::size_t read_size = 1 << 18, block_size = 64, no_block = ~std::size_t{0};

std::uint64_t repeated(char c) {
    return 0x0101010101010101U * static_cast<unsigned char>(c);
}

// Whether one of eight bytes is zero.
bool has_zero(std::uint64_t word) {
    return ((word - 0x0101010101010101U) & ~word & 0x8080808080808080U) != 0;
}

bool is_special(char c, CsvMarks marks) {
    return c == marks.delimiter || c == marks.quote || c == '\n' || c == '\r';
}

// One bit for each byte of a block that is one of the two.
std::uint64_t mask_of(const char* block, char first, char second) {
    std::uint64_t mask = 0;
#ifdef __SSE2__
    const __m128i firsts = _mm_set1_epi8(first), seconds = _mm_set1_epi8(second);
    for (unsigned part = 0; part < 4; ++part) {
        const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(block) + part);
        const __m128i found = _mm_or_si128(_mm_cmpeq_epi8(bytes, firsts), _mm_cmpeq_epi8(bytes, seconds));
        mask |= std::uint64_t{static_cast<unsigned>(_mm_movemask_epi8(found))} << (16 * part);
    }
#else
    for (std::size_t i = 0; i < block_size; ++i)
        mask |= std::uint64_t{block[i] == first || block[i] == second} << i;
#endif
    return mask;
}

} // namespace

bool needs_quotes(std::string_view text, std::string_view null_text, CsvMarks marks) {
    if (text == null_text) return true;
    if (text.size() < 8) return std::ranges::any_of(text, [marks](char c) { return is_special(c, marks); });
    const std::uint64_t delimiters = repeated(marks.delimiter), quotes = repeated(marks.quote);
    const auto holds_special = [=](const char* at) {
        std::uint64_t word;
        std::memcpy(&word, at, 8);
        return has_zero(word ^ delimiters) || has_zero(word ^ quotes) || has_zero(word ^ repeated('\n')) ||
               has_zero(word ^ repeated('\r'));
    };
    const char* const last = text.data() + text.size() - 8; // of the steps, which may overlap
    for (const char* at = text.data(); at < last; at += 8)
        if (holds_special(at)) return true;
    return holds_special(last);
}

bool padded_needs_quotes(std::string_view text, std::string_view null_text, CsvMarks marks) {
#ifdef __SSE2__
    if (text == null_text) return true;
    const __m128i delimiters = _mm_set1_epi8(marks.delimiter), quotes = _mm_set1_epi8(marks.quote),
                  feeds = _mm_set1_epi8('\n'), returns = _mm_set1_epi8('\r');
    for (std::size_t at = 0; at < text.size(); at += 16) {
        const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text.data() + at));
        const __m128i found =
            _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi8(bytes, delimiters), _mm_cmpeq_epi8(bytes, quotes)),
                         _mm_or_si128(_mm_cmpeq_epi8(bytes, feeds), _mm_cmpeq_epi8(bytes, returns)));
        const std::size_t left = text.size() - at;
        const unsigned own = left >= 16 ? 0xFFFFU : (1U << left) - 1;
        if ((static_cast<unsigned>(_mm_movemask_epi8(found)) & own) != 0) return true;
    }
    return false;
#else
    return needs_quotes(text, null_text, marks);
#endif
}

char* write_quoted(std::string_view text, CsvMarks marks, char* out) {
    *out++ = marks.quote;
    for (const char c : text) {
        if (c == marks.quote) *out++ = c;
        *out++ = c;
    }
    *out++ = marks.quote;
    return out;
}

void add_csv_field(std::string_view text, std::string_view null_text, CsvMarks marks, std::string& line) {
    if (!needs_quotes(text, null_text, marks)) {
        line += text;
        return;
    }
    const std::size_t before = line.size();
    line.resize(before + 2 * text.size() + 2);
    line.resize(static_cast<std::size_t>(write_quoted(text, marks, line.data() + before) - line.data()));
}

CsvReader::CsvReader(std::unique_ptr<CsvSource> source, CsvMarks marks)
    : source_(std::move(source)), marks_(marks), buffer_(read_size + block_size), block_(no_block) {}

void CsvReader::refuse(std::string_view reason) const {
    fail(exit_shell, fmt::format("{}, line {}: {}", name(), record_line_, reason));
}

// The record goes to the front of the buffer, with the fields that it has so far. False at the end.
bool CsvReader::more(std::vector<CsvField>& fields) {
    std::vector<std::size_t> places;
    for (const CsvField& field : fields)
        places.push_back(field.text.data() ? static_cast<std::size_t>(field.text.data() - buffer_.data())
                                           : record_);
    if (record_ > 0) std::memmove(buffer_.data(), buffer_.data() + record_, size_ - record_);
    if (size_ - record_ + block_size == buffer_.size()) buffer_.resize(2 * buffer_.size());
    for (std::size_t i = 0; i < fields.size(); ++i)
        fields[i].text = {buffer_.data() + (places[i] - record_), fields[i].text.size()};
    passed_ += record_;
    at_ -= record_;
    size_ -= std::exchange(record_, 0);
    block_ = no_block;
    const std::size_t got = source_->read(buffer_.data() + size_, buffer_.size() - block_size - size_);
    size_ += got;
    return got > 0;
}

inline void CsvReader::load(std::size_t block) {
    block_ = block;
    mask_ = mask_of(buffer_.data() + block, marks_.delimiter, '\n');
}

// The next delimiter or line feed; size_ when what was read has none.
inline std::size_t CsvReader::find_mark(std::size_t from) {
    std::size_t block = from & ~(block_size - 1);
    if (block >= size_) return size_;
    if (block != block_) load(block);
    std::uint64_t left = mask_ & (~std::uint64_t{0} << (from & (block_size - 1)));
    while (left == 0) {
        block += block_size;
        if (block >= size_) return size_;
        load(block);
        left = mask_;
    }
    return std::min(block + static_cast<std::size_t>(std::countr_zero(left)), size_);
}

std::size_t CsvReader::end_of_field(std::vector<CsvField>& fields) {
    std::size_t end = find_mark(at_);
    while (end == size_) {
        const std::size_t behind = end - at_;
        if (!more(fields)) return size_;
        end = find_mark(at_ + behind);
    }
    return end;
}

bool CsvReader::is_at(char c, std::vector<CsvField>& fields) {
    return (at_ < size_ || more(fields)) && buffer_[at_] == c;
}

// The next quote; the end of the file is a failure.
std::size_t CsvReader::find_quote(std::size_t from, std::vector<CsvField>& fields) {
    for (;;) {
        if (const void* const found = std::memchr(buffer_.data() + from, marks_.quote, size_ - from))
            return static_cast<std::size_t>(static_cast<const char*>(found) - buffer_.data());
        const std::size_t behind = size_ - record_;
        if (!more(fields)) refuse("a quoted field has no end");
        from = record_ + behind;
    }
}

// Behind the first quote, up to the last; doubled ones become one, in their place. Places are counted from the record,
// which may move.
void CsvReader::read_quoted(std::vector<CsvField>& fields) {
    const std::size_t begin = ++at_ - record_;
    std::size_t out = begin;
    for (;;) {
        const std::size_t from = at_ - record_, end = find_quote(at_, fields) - record_;
        char* const record = buffer_.data() + record_;
        line_ += static_cast<std::size_t>(std::count(record + from, record + end, '\n'));
        std::memmove(record + out, record + from, end - from);
        out += end - from;
        at_ = record_ + end + 1;
        if (!is_at(marks_.quote, fields)) break;
        buffer_[record_ + out++] = marks_.quote;
        ++at_;
    }
    fields.back() = {{buffer_.data() + record_ + begin, out - begin}, true};
}

bool CsvReader::next(std::vector<CsvField>& fields) {
    fields.clear();
    record_ = at_;
    record_line_ = line_;
    if (at_ == size_ && !more(fields)) return false;
    if (passed_ + at_ == 0 && std::string_view(buffer_.data(), size_).starts_with("\xEF\xBB\xBF"))
        record_ = at_ = 3; // a byte order mark
    for (;;) {
        if (at_ < size_ && buffer_[at_] != marks_.quote) [[likely]] { // most fields are short and bare
            const std::size_t end = find_mark(at_);
            if (end < size_) {
                fields.push_back({{buffer_.data() + at_, end - at_}, false});
                at_ = end + 1;
                if (buffer_[end] == marks_.delimiter) continue;
                ++line_;
                if (fields.back().text.ends_with('\r')) fields.back().text.remove_suffix(1);
                return true;
            }
        }
        fields.emplace_back();
        const bool quoted = is_at(marks_.quote, fields);
        if (quoted) read_quoted(fields);
        if (quoted && is_at('\r', fields)) ++at_;
        const std::size_t end = end_of_field(fields);
        CsvField& field = fields.back();
        if (quoted && end != at_) refuse("text behind the end of a quoted field");
        if (!quoted) field.text = {buffer_.data() + at_, end - at_};
        at_ = std::min(end + 1, size_);
        if (end < size_ && buffer_[end] == marks_.delimiter) continue;
        if (end < size_) ++line_;
        if (!quoted && field.text.ends_with('\r')) field.text.remove_suffix(1);
        return true;
    }
}

} // namespace tarnsh
