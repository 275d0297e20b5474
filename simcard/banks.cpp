#include "simcard/banks.h"

#include <algorithm>
#include <utility>

namespace simcard {

namespace {

constexpr uint32_t first_usable_node = 1;    // bank 0 node 0 would be index 0: no node

uint64_t bit(uint32_t n) {
    return uint64_t{1} << n;
}

}    // namespace

void Banks::set_up(phu_context &context) {
    context_ = &context;
    waiting_.clear();
    waiting_nodes_ = 0;
    avoided_ = 0;
    freed_ = false;
    for (int b = 0; b < phu_banks; ++b) {
        phu_bank_record &bank = context.bank[b];
        bank.bank_id = static_cast<uint8_t>(b);
        bank.stride_level = b == phu_root_bank ? 0 : phu_no_level;
        bank.bank_size = static_cast<uint16_t>(phu_bank_nodes(b));
        bank.bitmap_size = static_cast<uint16_t>(phu_bank_nodes(b) / 64);
        longest_run_[static_cast<size_t>(b)] = bank.bank_size;
    }
    context.stride[0].bank_used = 1;
    context.stride[0].bank_bitmap = bit(phu_root_bank);
    context.bank_bitmap = bit(phu_root_bank) | bit(phu_reserved_bank);
}

std::optional<Block> Banks::allocate(int level, uint32_t nodes) {
    std::optional<Block> block = allocate_now(level, nodes);
    while (!block && reclaim()) {
        block = allocate_now(level, nodes);
    }
    return block;
}

std::optional<Block> Banks::allocate_now(int level, uint32_t nodes) {
    const uint64_t usable = context_->stride[level].bank_bitmap & ~avoided_;
    for (uint64_t left = usable; left != 0; left &= left - 1) {
        if (auto block = allocate_in(static_cast<uint32_t>(__builtin_ctzll(left)), nodes)) {
            return block;
        }
    }
    const auto bank = avoided_ != 0 ? std::nullopt : assign_bank(level);
    return bank ? allocate_in(*bank, nodes) : std::nullopt;
}

/// First run of free nodes that is long enough.
std::optional<Block> Banks::allocate_in(uint32_t bank, uint32_t nodes) {
    const phu_bank_record &record = context_->bank[bank];
    if (longest_run_[bank] < nodes ||
        static_cast<uint32_t>(record.bank_size - record.node_used) < nodes) {
        return std::nullopt;
    }
    uint32_t at = bank == 0 ? first_usable_node : 0;
    while (at + nodes <= record.bank_size) {
        const uint64_t used = record.node_bitmap[at / 64] >> (at % 64);
        if (used != 0 && (used & 1) != 0) {
            at += static_cast<uint32_t>(~used == 0 ? 64 : __builtin_ctzll(~used));
            continue;
        }
        uint32_t end = at;    // extend over the free run
        while (end < record.bank_size && end - at < nodes) {
            const uint64_t word = record.node_bitmap[end / 64] >> (end % 64);
            const uint32_t in_word = 64 - end % 64;
            const uint32_t run = word == 0 ? in_word : static_cast<uint32_t>(__builtin_ctzll(word));
            end += run;
            if (run < in_word) {
                break;
            }
        }
        if (end - at >= nodes) {
            const Block block{bank, at, nodes};
            mark(block, true);
            return block;
        }
        at = end + 1;
    }
    longest_run_[bank] = nodes - 1;
    return std::nullopt;
}

std::optional<uint32_t> Banks::assign_bank(int level) {
    for (uint32_t b = 0; b < phu_reserved_bank; ++b) {
        if (context_->bank[b].stride_level == phu_no_level) {
            phu_stride_record &stride = context_->stride[level];
            context_->bank[b].stride_level = static_cast<uint8_t>(level);
            stride.level = static_cast<uint8_t>(level);
            stride.bank_used++;
            stride.bank_bitmap |= bit(b);
            context_->bank_bitmap |= bit(b);
            return b;
        }
    }
    return std::nullopt;
}

void Banks::mark(const Block &block, bool used) {
    phu_bank_record &record = context_->bank[block.bank];
    for (uint32_t n = block.first; n < block.first + block.nodes; ++n) {
        record.node_bitmap[n / 64] = used ? record.node_bitmap[n / 64] | bit(n % 64)
                                          : record.node_bitmap[n / 64] & ~bit(n % 64);
    }
    const auto change = static_cast<int32_t>(used ? block.nodes : -block.nodes);
    record.node_used = static_cast<uint16_t>(record.node_used + change);
    context_->bank_node_used += change;
    context_->max_bank_nodes_usage =
        std::max(context_->max_bank_nodes_usage, context_->bank_node_used);
}

void Banks::set_root(uint32_t slot, bool used) {
    phu_bank_record &record = context_->bank[phu_root_bank];
    const bool was = (record.node_bitmap[slot / 64] & bit(slot % 64)) != 0;
    if (was != used) {
        record.node_bitmap[slot / 64] ^= bit(slot % 64);
        record.node_used = static_cast<uint16_t>(record.node_used + (used ? 1 : -1));
    }
}

void Banks::release_later(const Block &block) {
    waiting_.push_back({block, operation_, tick_});
    waiting_nodes_ += block.nodes;
}

/// Frees the block that has waited longest; a bank without nodes loses its level.
void Banks::free_front() {
    const Block block = waiting_.front().block;
    waiting_.pop_front();
    waiting_nodes_ -= block.nodes;
    mark(block, false);
    for (uint32_t n = block.first; n < block.first + block.nodes; ++n) {
        clear_(clear_context_, block.bank, n);
    }
    phu_bank_record &record = context_->bank[block.bank];
    longest_run_[block.bank] = record.bank_size;
    freed_ = true;
    if (record.node_used != 0) {
        return;
    }
    phu_stride_record &stride = context_->stride[record.stride_level];
    stride.bank_used--;
    stride.bank_bitmap &= ~bit(block.bank);
    if (stride.bank_used == 0) {
        stride.level = 0;
    }
    context_->bank_bitmap &= ~bit(block.bank);
    record.stride_level = phu_no_level;
}

void Banks::flush() {
    while (!waiting_.empty() && waiting_.front().tick < tick_) {
        free_front();
    }
    ++tick_;
}

/// Takes everything back that earlier operations released: the parents were switched long ago.
bool Banks::reclaim() {
    bool any = false;
    while (!waiting_.empty() && waiting_.front().operation < operation_) {
        free_front();
        any = true;
    }
    return any;
}

uint64_t Banks::sparse() const {
    uint64_t result = 0;
    for (int level = 1; level < phu_stride_levels; ++level) {
        int32_t room = 0;
        int32_t fewest = phu_large_bank_nodes + 1;
        uint32_t emptiest = 0;
        for (uint64_t left = context_->stride[level].bank_bitmap; left != 0; left &= left - 1) {
            const auto b = static_cast<uint32_t>(__builtin_ctzll(left));
            const phu_bank_record &bank = context_->bank[b];
            room += bank.bank_size - bank.node_used;
            if (bank.node_used < fewest) {
                fewest = bank.node_used;
                emptiest = b;
            }
        }
        if (fewest <= phu_large_bank_nodes &&
            room - (context_->bank[emptiest].bank_size - fewest) >= fewest) {
            result |= bit(emptiest);
        }
    }
    return result;
}

bool Banks::take_freed() {
    return std::exchange(freed_, false);
}

}    // namespace simcard
