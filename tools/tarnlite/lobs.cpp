#include "lobs.h"

#include "bytes.h"
#include "database.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <utility>

namespace tarnlite {

namespace {

char inline_marker(WireType type) {
    return type == WireType::clob ? 'c' : 'b';
}

std::string name_of(WireType type, std::uint64_t number) {
    return fmt::format("{}{:012}", type == WireType::clob ? 'C' : 'B', number);
}

} // namespace

void LobStore::append_value(std::string& row, WireType type, const Value& value) {
    if (value.kind == Value::Kind::null) return put_text(row, {});
    std::string content = text_of(value);
    if (content.size() > longest_inline) return put_text(row, keep(type, std::move(content)));
    put_text(row, inline_marker(type) + content);
}

std::string LobStore::keep(WireType type, std::string content) {
    kept_ += content.size();
    while (kept_ > most_kept_ && !lobs_.empty()) {
        kept_ -= lobs_.begin()->second.content.size();
        lobs_.erase(lobs_.begin());
    }
    const std::uint64_t number = ++made_;
    std::string descriptor = fmt::format("{}:{}", name_of(type, number), content.size());
    lobs_.emplace(number, Lob{type, std::move(content)});
    return descriptor;
}

const LobStore::Lob& LobStore::find(const std::string& name) const {
    std::uint64_t number = 0;
    if (!name.empty()) std::from_chars(name.data() + 1, name.data() + name.size(), number);
    const auto found = lobs_.find(number);
    if (found == lobs_.end() || name_of(found->second.type, number) != name)
        throw SqlError(fmt::format("the large object {} is no longer available", shown_text(name)));
    return found->second;
}

void LobStore::reply_content(const std::string& name, std::uint64_t offset, std::uint64_t limit,
                             Reply& reply) const {
    const auto& [type, content] = find(name);
    const std::string_view all = content;
    reply.columns({ColumnDescription{"%lob", ColumnType{type, 0}, 0}});
    reply.pieces(all.substr(std::min<std::uint64_t>(offset, all.size()), limit));
}

} // namespace tarnlite
