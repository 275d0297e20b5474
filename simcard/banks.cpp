#include "simcard/banks.h"

#include <algorithm>
#include <utility>

#include "simcard/memory.h"

namespace simcard {

namespace {

constexpr uint32_t first_usable_node = 1;    // bank 0 node 0 would be index 0: no node

uint64_t bit(uint32_t n) {
    return uint64_t{1} << n;
}

/// End of the free run that begins at a node, at most so many nodes long.
uint32_t free_run_end(const uint64_t *bitmap, uint32_t begin, uint32_t size, uint32_t nodes) {
    uint32_t end = begin;
    while (end < size && end - begin < nodes) {
        const uint64_t word = bitmap[end / 64] >> (end % 64);
        const uint32_t in_word = 64 - end % 64;
        const uint32_t run = word == 0 ? in_word : static_cast<uint32_t>(__builtin_ctzll(word));
        end += run;
        if (run < in_word) {
            break;
        }
    }
    return end;
}

}    // namespace

void Banks::set_up(phu_context &context) {
    context_ = &context;
    waiting_.clear();
    allocated_.clear();
    waiting_nodes_ = 0;
    nodes_used_ = 0;
    avoided_ = 0;
    freed_ = false;
    level_banks_ = {};
    for (uint32_t b = 0; b < phu_banks; ++b) {
        const auto size = static_cast<uint32_t>(phu_bank_nodes(static_cast<int>(b)));
        banks_[b] = {b == phu_root_bank ? uint8_t{0} : phu_no_level, size, 0, size, {}};
        phu_bank_record &shown = context.bank[b];
        shown.bank_id = static_cast<uint8_t>(b);
        shown.stride_level = banks_[b].level;
        shown.bank_size = static_cast<uint16_t>(size);
        shown.bitmap_size = static_cast<uint16_t>(size / 64);
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
    if (block) {
        allocated_.push_back(*block);
    }
    return block;
}

std::optional<Block> Banks::allocate_now(int level, uint32_t nodes) {
    const uint64_t usable = level_banks_[static_cast<size_t>(level)] & ~avoided_;
    for (uint64_t left = usable; left != 0; left &= left - 1) {
        if (auto block = allocate_in(static_cast<uint32_t>(__builtin_ctzll(left)), nodes)) {
            return block;
        }
    }
    const auto bank = avoided_ != 0 ? std::nullopt : assign_bank(level);
    return bank ? allocate_in(*bank, nodes) : std::nullopt;
}

/// First run of free nodes that is long enough.
std::optional<Block> Banks::allocate_in(uint32_t number, uint32_t nodes) {
    Bank &bank = banks_[number];
    if (bank.longest_run < nodes || bank.size - bank.used < nodes) {
        return std::nullopt;
    }
    uint32_t at = number == 0 ? first_usable_node : 0;
    while (at + nodes <= bank.size) {
        const uint64_t used = bank.bitmap[at / 64] >> (at % 64);
        if ((used & 1) != 0) {
            at += static_cast<uint32_t>(~used == 0 ? 64 : __builtin_ctzll(~used));
            continue;
        }
        const uint32_t end = free_run_end(bank.bitmap.data(), at, bank.size, nodes);
        if (end - at >= nodes) {
            const Block block{number, at, nodes};
            mark(block, true);
            return block;
        }
        at = end + 1;
    }
    bank.longest_run = nodes - 1;
    return std::nullopt;
}

std::optional<uint32_t> Banks::assign_bank(int level) {
    for (uint32_t b = 0; b < phu_reserved_bank; ++b) {
        if (banks_[b].level == phu_no_level) {
            banks_[b].level = static_cast<uint8_t>(level);
            level_banks_[static_cast<size_t>(level)] |= bit(b);
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
    Bank &bank = banks_[block.bank];
    phu_bank_record &shown = context_->bank[block.bank];
    for (uint32_t n = block.first; n < block.first + block.nodes; ++n) {
        for (uint64_t *word : {&bank.bitmap[n / 64], &shown.node_bitmap[n / 64]}) {
            *word = used ? *word | bit(n % 64) : *word & ~bit(n % 64);
        }
    }
    const int64_t change = used ? block.nodes : -int64_t{block.nodes};
    advance(bank.used, change);
    advance(shown.node_used, change);
    advance(context_->bank_node_used, change);
    nodes_used_ += static_cast<int32_t>(change);
    context_->max_bank_nodes_usage = std::max(context_->max_bank_nodes_usage, nodes_used_);
}

void Banks::set_root(uint32_t slot, bool used) {
    Bank &bank = banks_[phu_root_bank];
    phu_bank_record &shown = context_->bank[phu_root_bank];
    const bool was = (bank.bitmap[slot / 64] & bit(slot % 64)) != 0;
    if (was != used) {
        bank.bitmap[slot / 64] ^= bit(slot % 64);
        shown.node_bitmap[slot / 64] ^= bit(slot % 64);
        advance(bank.used, used ? 1 : -1);
        advance(shown.node_used, used ? 1 : -1);
    }
}

void Banks::next_operation() {
    ++operation_;
    allocated_.clear();
}

void Banks::roll_back() {
    while (!waiting_.empty() && waiting_.back().operation == operation_) {
        waiting_nodes_ -= waiting_.back().block.nodes;
        waiting_.pop_back();
    }
    for (const Block &block : allocated_) {
        free_now(block);
    }
    allocated_.clear();
}

void Banks::release_later(const Block &block) {
    waiting_.push_back({block, operation_, tick_});
    waiting_nodes_ += block.nodes;
}

/// A bank without nodes loses its level.
void Banks::free_now(const Block &block) {
    mark(block, false);
    for (uint32_t n = block.first; n < block.first + block.nodes; ++n) {
        clear_(clear_context_, block.bank, n);
    }
    Bank &bank = banks_[block.bank];
    bank.longest_run = bank.size;
    freed_ = true;
    if (bank.used != 0) {
        return;
    }
    level_banks_[bank.level] &= ~bit(block.bank);
    phu_stride_record &stride = context_->stride[bank.level];
    stride.bank_used--;
    stride.bank_bitmap &= ~bit(block.bank);
    if (level_banks_[bank.level] == 0) {
        stride.level = 0;
    }
    bank.level = phu_no_level;
    context_->bank_bitmap &= ~bit(block.bank);
    context_->bank[block.bank].stride_level = phu_no_level;
}

/// Frees the block that has waited longest.
void Banks::free_front() {
    const Block block = waiting_.front().block;
    waiting_.pop_front();
    waiting_nodes_ -= block.nodes;
    free_now(block);
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
    for (const uint64_t of_level : level_banks_) {
        uint32_t room = 0;
        uint32_t fewest = phu_large_bank_nodes + 1;
        uint32_t emptiest = 0;
        for (uint64_t left = of_level; left != 0; left &= left - 1) {
            const auto b = static_cast<uint32_t>(__builtin_ctzll(left));
            room += banks_[b].size - banks_[b].used;
            if (banks_[b].used < fewest) {
                fewest = banks_[b].used;
                emptiest = b;
            }
        }
        if (of_level != 0 && room - (banks_[emptiest].size - fewest) >= fewest) {
            result |= bit(emptiest);
        }
    }
    return result;
}

bool Banks::take_freed() {
    return std::exchange(freed_, false);
}

}    // namespace simcard
