#include "stmt/row_blocks.h"

#include "wire/send.h"

namespace tarn {

void RowBlocks::send() noexcept {
    if (complete_ == 0) return;
    store_wire(block_.get(), static_cast<uint32_t>(complete_));
    put_bytes(channel_, block_.get(), length_size + complete_);
    complete_ = 0;
}

// Sends the complete rows, and grows the buffer if the row in progress, which moves to its start, still does
// not fit.
bool RowBlocks::make_room(Staging& at, size_t size) noexcept {
    const uint8_t* row = rows() + complete_;
    const size_t begun = static_cast<size_t>(at.to - row);
    send();
    std::memmove(rows(), row, begun);
    if (begun + size > room_) {
        const size_t other = length_size + short_run;
        void* grown = resize_zeroed(block_.get(), room_ + other, room_ + size + other);
        if (!grown) return false;
        (void)block_.release();
        block_.reset(static_cast<uint8_t*>(grown));
        room_ += size;
        longest_ = std::min(room_ - reserve_, size_);
    }
    at.to = rows() + begun;
    at.end = rows() + room_;
    return true;
}

} // namespace tarn
