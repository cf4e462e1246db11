#include "batch.h"

#include "protocol.h"

namespace tarnlite {

bool BatchRows::next() {
    if (left_ <= 1) return false;
    --left_;
    if (!row_.empty()) read_row();
    if (left_ == 1 && block_left_ > 0) throw ProtocolError("a block continues after the last row");
    return true;
}

void BatchRows::read_row() {
    if (block_left_ == 0) block_left_ = transport_.read_u32();
    std::uint64_t allowance = longest_parameters;
    for (Parameter& parameter : row_)
        read_value(parameter, allowance);
}

void BatchRows::read_value(Parameter& parameter, std::uint64_t& allowance) {
    if (typed_) {
        take_from_block(sizeof(std::uint8_t));
        parameter.wire_type = static_cast<unsigned char>(transport_.read_byte());
    }
    take_from_block(sizeof(std::uint32_t));
    const auto length = static_cast<std::int32_t>(transport_.read_u32());
    const std::size_t size = value_size(parameter.wire_type, length, allowance);
    take_from_block(size);
    set_value(parameter, transport_.read_bytes(size));
}

void BatchRows::take_from_block(std::size_t count) {
    if (count > block_left_) throw ProtocolError("a row runs past its block");
    block_left_ -= static_cast<std::uint32_t>(count);
}

} // namespace tarnlite
