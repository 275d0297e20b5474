// Masks, hints and hardware nodes of the tree, all derived from the tree.
//
// A node is either hinted (it has a hardware node; so have all nodes above it) or an end node
// further up speaks for it. What is hinted depends on the tree alone, unless banks run out, so a
// change that is undone leaves the masks, the hint states and the bank usage as they were.
#pragma once

#include <cstdint>
#include <span>

#include "simcard/banks.h"
#include "simcard/chip.h"
#include "simcard/hint_choice.h"
#include "simcard/tree.h"

namespace simcard {

/// Every function but `rebuild` throws `Damaged` when it meets a record that it cannot trust; what
/// it has changed until then is taken back by the memory, the banks and `abandon`.
class Mirror {
public:
    Mirror(Memory &memory, Banks &banks, Chip &chip)
        : memory_(memory), banks_(banks), chip_(chip) {}

    /// Derives everything after a bulk load.
    void rebuild();

    /// Brings everything up to date after one leaf was added or removed at the last node of the
    /// path.
    void refresh(const Path &path, uint32_t root_slot);

    /// Gives the hardware child block of a node back that is about to leave the tree.
    void forget(tn *node, int level);

    /// Tries again to hint what could not be hinted for lack of bank room, when nodes became free.
    void fill_starved();
    /// Where that did not help, moves blocks together so that banks become free for other levels.
    void fill_sparse();

    /// Ends a change that was given up.
    void abandon();

    /// Nodes whose children could not be hinted for lack of bank room.
    [[nodiscard]] uint32_t starved() const { return starved_; }
    /// Children left without hardware although the tree asks for it, for whatever reason.
    [[nodiscard]] int64_t unhinted() const;

    void reset() { starved_ = 0; }

private:
    /// What a node takes over from above.
    struct Inputs {
        bool hinted = false;
        bool was_hinted = false;    // before the current change, as the node above says
        uint8_t bmsf = 0;
        uint16_t cover_offset = 0;
        uint16_t cover_length = 0;
        leaf_array *cover = nullptr;    // leaf array of the longest covering leaf, null without one
    };
    struct Child {
        tn *node;
        uint32_t group;
    };

    void derive_up(tn *node, uint32_t place, int level);
    void derive_node(const SoundNode &at, int level);
    void mark_changes(const Path &path);
    void visit_root(tn *root, uint32_t slot);
    void visit(tn *node, uint32_t place, int level, const Inputs &in, uint32_t hw_index);
    void visit_unhinted(tn *node, uint32_t place, int level, const Inputs &in);
    void visit_hinted(tn *node, uint32_t place, int level, const Inputs &in, uint32_t hw_index);
    void hint_anew(const SoundNode &at, int level, const Inputs &in, bool inputs_changed);
    void visit_children(const SoundNode &at, int level, const Inputs &in, uint64_t touch,
                        uint64_t old_hinted, const Block &block);
    void prefetch_arrays(std::span<const Child> children) const;
    [[nodiscard]] static Inputs inputs_of(const SoundNode &at, int level, const Inputs &in,
                                          const InternalCover &cover, uint32_t group);
    [[nodiscard]] Block place_block(const SoundNode &at, int level, const Block &old,
                                    HintChoice &choice);
    void settle(tn *node, int level, const HintChoice &choice, const Block &block);
    void count_unhinted(tn *node, int level, uint32_t children, bool starved);
    void demand_hardware(const tn *node) const;
    void open(const tn *node);
    void close(const tn *node);
    void write_end_node(const tn *node, uint32_t hw_index);
    void write_image(const tn *node);
    void write_chip(uint32_t hw_index, const phu_node &image);
    void fill_all();
    void fill_below(tn *node, uint32_t place, int level, const Inputs &in);
    [[nodiscard]] bool on_path(const tn *node, int level) const;
    [[nodiscard]] uint64_t path_bit(const tn *node, int level) const;

    Memory &memory_;
    Banks &banks_;
    Chip &chip_;
    const Path *path_ = nullptr;    // nodes of the current change
    uint32_t choice_dirty_ = 0;     // bit l: the choice at path level l must be made afresh
    const tn *retry_ = nullptr;     // choice to be made afresh by the background job
    bool force_ = false;
    uint32_t starved_ = 0;
};

}    // namespace simcard
