// Masks, hints and hardware nodes of the tree, all derived from the tree.
//
// A node is either hinted (it has a hardware node; so have all nodes above it) or an end node
// further up speaks for it. What is hinted depends on the tree alone, unless banks run out, so a
// change that is undone leaves the masks, the hint states and the bank usage as they were.
#pragma once

#include <cstdint>

#include "simcard/banks.h"
#include "simcard/chip.h"
#include "simcard/tree.h"

namespace simcard {

class Mirror {
public:
    Mirror(Memory &memory, Tree &tree, Banks &banks, Chip &chip)
        : memory_(memory), tree_(tree), banks_(banks), chip_(chip) {}

    /// Derives everything after a bulk load.
    void rebuild();

    /// Brings everything up to date after one leaf was added or removed at the last node of the
    /// path.
    void refresh(const Path &path, uint32_t root_slot);

    /// Gives the hardware child block of a node back that is about to leave the tree.
    void forget(tn *node, int level);

    /// Tries again to hint what could not be hinted for lack of bank room; where that does not
    /// help, moves blocks together so that banks become free for other levels.
    void fill_holes();

    /// Nodes whose children could not be hinted for lack of bank room.
    [[nodiscard]] uint32_t starved() const { return starved_; }
    /// Children left without hardware although the tree asks for it, for whatever reason.
    [[nodiscard]] int64_t unhinted() const;

    void reset() { starved_ = 0; }

private:
    /// What a node takes over from above.
    struct Inputs {
        bool hinted = false;
        uint8_t bmsf = 0;
        uint16_t cover_offset = 0;
        uint16_t cover_length = 0;
        leaf_array *cover = nullptr;    // leaf array of the longest covering leaf, null without one
    };
    struct Choice {
        uint64_t hinted = 0;     // children to hint
        uint64_t needed = 0;     // those that the search needs hinted
        mask128 ext{};           // lengths below the other children
        uint32_t refused = 0;    // children that need it but must not be hinted
    };

    void derive_up(tn *node, int level);
    void derive_node(tn *node, int level);
    void mark_changes(const Path &path);
    void visit_root(tn *root, uint32_t slot);
    void visit(tn *node, int level, const Inputs &in, uint32_t hw_index);
    void visit_unhinted(tn *node, int level, const Inputs &in);
    void visit_hinted(tn *node, int level, const Inputs &in, uint32_t hw_index);
    void visit_children(tn *node, int level, const Inputs &in, uint64_t touch, const Block &block);
    [[nodiscard]] Choice choose(const tn *node, const Inputs &in) const;
    [[nodiscard]] Block place(const tn *node, int level, const Block &old, Choice &choice);
    void settle(tn *node, int level, const Choice &choice, const Block &block);
    void count_unhinted(tn *node, int level, uint32_t children, bool starved);
    void write_end_node(const tn *node, uint32_t hw_index);
    void write_image(const tn *node);
    void fill_all();
    void fill_below(tn *node, int level);
    [[nodiscard]] bool on_path(const tn *node, int level) const;
    [[nodiscard]] uint64_t path_bit(const tn *node, int level) const;

    Memory &memory_;
    Tree &tree_;
    Banks &banks_;
    Chip &chip_;
    const Path *path_ = nullptr;    // nodes of the current change
    uint32_t choice_dirty_ = 0;     // bit l: the choice at path level l must be made afresh
    const tn *retry_ = nullptr;     // choice to be made afresh by the background job
    bool force_ = false;
    uint32_t starved_ = 0;
};

}    // namespace simcard
