#include "simcard/mirror.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "simcard/length_set.h"
#include "simcard/mirror_fields.h"
#include "simcard/prefetch.h"

namespace simcard {

namespace {

uint16_t prefix_length(int level, uint32_t position) {
    return static_cast<uint16_t>(depth_of(level) - tbm_header_bits +
                                 InternalCover::length_of(position));
}

mask128 internal_lengths(uint64_t bitmap, int level) {
    mask128 mask{};
    for (uint32_t length = 0; length < tbm_stride_bits; ++length) {
        const uint64_t positions = ((uint64_t{1} << (1U << length)) - 1) << ((1U << length) - 1);
        if ((bitmap & positions) != 0) {
            add_length(mask, depth_of(level) - tbm_header_bits + length);
        }
    }
    return mask;
}

uint32_t lowest(uint64_t groups) {
    return static_cast<uint32_t>(__builtin_ctzll(groups));
}

}    // namespace

/// What a node says of its hardware must be what the card has made of it.
void Mirror::demand_hardware(const tn *node) const {
    demand(memory_.seals(node).hardware == hardware_seal(node));
}

/// Before a node is changed.
void Mirror::open(const tn *node) {
    demand_hardware(node);
    memory_.undo().save(*node);
}

/// After its hardware was changed.
void Mirror::close(const tn *node) {
    uint32_t &seal = memory_.seals(node).hardware;
    memory_.undo().save(seal);
    seal = hardware_seal(node);
}

void Mirror::derive_node(const SoundNode &at, int level) {
    tn *node = at.node;
    memory_.undo().save(*node);
    node->int_mask = internal_lengths(at.bitmap(), level);
    node->hint_mask = node->int_mask;
    uint64_t nested = 0;
    prefetch_masks(at);
    for (uint64_t left = at.groups(); left != 0; left &= left - 1) {
        const tn *child = at.child(memory_.blocks(), lowest(left));
        node->hint_mask |= child->hint_mask;
        nested |= uint64_t{is_nested(child)} << lowest(left);
    }
    set_nested_bitmap(node, nested);
    const bool covers = at.groups() != 0 && (InternalCover(at.bitmap()).covered & at.groups()) != 0;
    set_nested(node, nested != 0 || covers);
}

void Mirror::derive_up(tn *node, uint32_t place, int level) {
    const SoundNode at(memory_, node, place);
    for (uint64_t left = at.groups(); left != 0; left &= left - 1) {
        const uint32_t group = lowest(left);
        derive_up(at.child(memory_.blocks(), group), place_below(place, group), level + 1);
    }
    derive_node(at, level);
}

/// Re-derives the path from its end upwards, as far as something changes.
void Mirror::mark_changes(const Path &path) {
    choice_dirty_ = 0;
    for (int level = path.count - 1; level >= 0; --level) {
        tn *node = path.node[level];
        const mask128 lengths_before = node->hint_mask;
        const bool nested_before = is_nested(node);
        derive_node(SoundNode(memory_, node, path.place[level]), level);
        choice_dirty_ |= 1U << level;
        // A node with a default route alone holds no length, and is new all the same.
        const bool silent = node->hint_mask.empty();
        if (!silent && node->hint_mask == lengths_before && is_nested(node) == nested_before) {
            break;
        }
    }
}

void Mirror::rebuild() {
    memory_.undo().keep(false);
    force_ = true;
    for (uint32_t slot = 0; slot < 1U << tbm_root_bits; ++slot) {
        if (tn *node = root_node(memory_, slot); node != nullptr) {
            derive_up(node, root_place(slot), 0);
            visit_root(node, slot);
        }
    }
    force_ = false;
    memory_.undo().keep(true);
}

void Mirror::refresh(const Path &path, uint32_t root_slot) {
    mark_changes(path);
    path_ = &path;
    visit_root(path.node[0], root_slot);
    path_ = nullptr;
}

void Mirror::abandon() {
    path_ = nullptr;
    retry_ = nullptr;
    force_ = false;
    memory_.undo().keep(true);
    banks_.avoid(0);
    banks_.roll_back();
}

/// A root is hinted as soon as it has children.
void Mirror::visit_root(tn *root, uint32_t slot) {
    const uint32_t hw_index = hw_index_make(0, phu_root_bank, slot);
    Inputs in;
    in.hinted = is_search(root);
    in.was_hinted = banks_.root_used(slot);
    visit(root, root_place(slot), 0, in, in.hinted ? hw_index : 0);
    banks_.set_root(slot, in.hinted);
    if (!in.hinted) {
        write_chip(hw_index, {});
    }
}

bool Mirror::on_path(const tn *node, int level) const {
    return path_ != nullptr && level < path_->count && path_->node[level] == node;
}

/// Bit of the child through which the current change goes on; 0 off the path and at its end.
uint64_t Mirror::path_bit(const tn *node, int level) const {
    return on_path(node, level) && level + 1 < path_->count ? uint64_t{1} << path_->group[level]
                                                            : 0;
}

void Mirror::visit(tn *node, uint32_t place, int level, const Inputs &in, uint32_t hw_index) {
    const bool hinted = node->hint_state != HINT_INIT;
    demand(hinted == in.was_hinted);
    const bool same_inputs =
        hinted == in.hinted && node->bmsf == in.bmsf &&
        (!hinted || (node->par_bl_larray == in.cover && node->par_bl_offset == in.cover_offset &&
                     node->par_bl_len == in.cover_length));
    if (!force_ && same_inputs && node != retry_ && !on_path(node, level)) {
        if (node->hw_index != hw_index) {
            open(node);
            node->hw_index = hw_index;
            write_image(node);
            close(node);
        }
        return;
    }
    if (in.hinted) {
        visit_hinted(node, place, level, in, hw_index);
    } else {
        visit_unhinted(node, place, level, in);
    }
}

void Mirror::visit_unhinted(tn *node, uint32_t place, int level, const Inputs &in) {
    const bool was_hinted = in.was_hinted;
    const uint64_t hinted_children = was_hinted ? node->hint_ebmap : 0;
    const bool end_of_path = on_path(node, level) && level + 1 == path_->count;
    const bool all = force_ || was_hinted || end_of_path || node->bmsf != in.bmsf;
    if (force_ || was_hinted || on_path(node, level)) {
        open(node);
        if (was_hinted) {
            forget(node, level);
            clear_hardware(node);
            close(node);
        }
        set_masks(node, without(node->hint_mask, node->int_mask));
    }
    memory_.undo().save(node->bmsf);
    node->bmsf = in.bmsf;
    const SoundNode at(memory_, node, place);
    const uint64_t touch = all ? at.groups() : path_bit(node, level);
    visit_children(at, level, in, touch, hinted_children, {});
}

void Mirror::visit_hinted(tn *node, uint32_t place, int level, const Inputs &in,
                          uint32_t hw_index) {
    open(node);
    const bool on = on_path(node, level);
    const bool inputs_changed =
        force_ || node->hint_state == HINT_INIT || node->bmsf != in.bmsf ||
        node->par_bl_larray != in.cover || node->par_bl_offset != in.cover_offset ||
        node->par_bl_len != in.cover_length || (on && level + 1 == path_->count);
    node->hw_index = hw_index;
    node->bmsf = in.bmsf;
    node->par_bl_larray = in.cover;
    node->par_bl_offset = in.cover_offset;
    node->par_bl_len = in.cover_length;
    const SoundNode at(memory_, node, place);
    if (inputs_changed || node == retry_ || (on && (choice_dirty_ >> level & 1) != 0)) {
        hint_anew(at, level, in, inputs_changed);
    } else {
        visit_children(at, level, in, path_bit(node, level), node->hint_ebmap, child_block(node));
    }
    write_image(node);
    close(node);
}

/// Makes a hinted node's choice afresh and visits the children that it concerns.
void Mirror::hint_anew(const SoundNode &at, int level, const Inputs &in, bool inputs_changed) {
    tn *node = at.node;
    const Block old = child_block(node);
    const uint64_t old_hinted = node->hint_ebmap;
    HintChoice choice = choose_hinted(memory_, at, in.cover_length != 0);
    const uint64_t wanted = choice.hinted;
    const Block block = place_block(at, level, old, choice);
    const bool moved = block.bank != old.bank || block.first != old.first;
    settle(node, level, choice, block);
    const auto starved = static_cast<uint32_t>(__builtin_popcountll(wanted & ~choice.hinted));
    count_unhinted(node, level, choice.refused + starved, starved != 0);
    const uint64_t affected = moved ? choice.hinted | old_hinted : choice.hinted ^ old_hinted;
    const uint64_t touch = inputs_changed ? ~uint64_t{0} : affected | path_bit(node, level);
    visit_children(at, level, in, touch & at.groups(), old_hinted, block);
    if (node->hint_state == HINT_SEARCH_END) {
        write_end_node(node, node->en_hw_index);
    }
    if (moved && old.nodes != 0) {
        banks_.release_later(old);
    }
}

/// What a child takes over from a node and from what the node took over itself.
Mirror::Inputs Mirror::inputs_of(const SoundNode &at, int level, const Inputs &in,
                                 const InternalCover &cover, uint32_t group) {
    Inputs child = in;
    child.hinted = in.hinted && (at.node->hint_ebmap >> group & 1) != 0;
    child.was_hinted = child.hinted;
    if ((cover.covered >> group & 1) != 0) {
        const uint32_t position = cover.position[group];
        child.cover = at.leaves();
        child.cover_offset = static_cast<uint16_t>(ones_below(at.bitmap(), position));
        child.cover_length = prefix_length(level, position);
        child.bmsf = static_cast<uint8_t>(child.cover_length);
    } else if (at.bitmap() != 0) {
        child.bmsf = 0;
    }
    return child;
}

/// Fetches where the children keep their own children.
void Mirror::prefetch_arrays(std::span<const Child> children) const {
    for (const Child &child : children) {
        prefetch_at(child.node->sn_charray, 0);
    }
    for (const Child &child : children) {
        if (memory_.blocks().among(Kind::child_array, child.node->sn_charray)) {
            prefetch_at(child.node->sn_charray->ta_nodes, 0);
        }
    }
}

/// Hands each touched child its place and what covers it.
void Mirror::visit_children(const SoundNode &at, int level, const Inputs &in, uint64_t touch,
                            uint64_t old_hinted, const Block &block) {
    Child children[64];
    size_t count = 0;
    for (uint64_t left = touch; left != 0; left &= left - 1) {
        children[count] = {at.child(memory_.blocks(), lowest(left)), lowest(left)};
        prefetch_node(children[count++].node);
    }
    if (count == 0) {
        return;
    }
    if (count > 1) {
        prefetch_arrays({children, count});
    }
    const InternalCover cover(at.bitmap());
    const uint64_t hinted = in.hinted ? at.node->hint_ebmap : 0;
    const uint32_t first = block.first + (at.node->hint_state == HINT_SEARCH_END ? 1 : 0);
    for (const Child &child : std::span(children, count)) {
        Inputs inputs = inputs_of(at, level, in, cover, child.group);
        inputs.was_hinted = (old_hinted >> child.group & 1) != 0;
        const uint32_t hw_index = inputs.hinted
                                      ? hw_index_make(static_cast<uint32_t>(level) + 1, block.bank,
                                                      first + ones_below(hinted, child.group))
                                      : 0;
        visit(child.node, place_below(at.place, child.group), level + 1, inputs, hw_index);
    }
}

/// Child block for a choice: the old one when nothing moves, else a new one. With too little room
/// the choice shrinks to the children that need it, then to none.
Block Mirror::place_block(const SoundNode &at, int level, const Block &old, HintChoice &choice) {
    const tn *node = at.node;
    while (choice.hinted != 0) {
        const mask128 masks = node->int_mask | choice.ext;
        const uint32_t match_end = !masks.empty() || node->bmsf != 0 ? 1 : 0;
        const uint32_t nodes =
            match_end + static_cast<uint32_t>(__builtin_popcountll(choice.hinted));
        const bool fits_old = old.nodes == nodes && choice.hinted == node->hint_ebmap &&
                              match_end == phu_word_me(node->hint_sn_word);
        if (fits_old && !banks_.avoided(old.bank)) {
            return old;
        }
        if (const auto block = banks_.allocate(level + 1, nodes)) {
            return *block;
        }
        if (fits_old) {
            return old;
        }
        choice.hinted = choice.hinted == choice.needed ? 0 : choice.needed;
        choice.ext = lengths_below(memory_, at, at.groups() & ~choice.hinted);
    }
    return {};
}

/// Stores a choice and its block in the node.
void Mirror::settle(tn *node, int level, const HintChoice &choice, const Block &block) {
    set_masks(node, choice.ext);
    const bool match_end = !(node->int_mask | choice.ext).empty() || node->bmsf != 0;
    node->hint_state = choice.hinted == 0 ? HINT_END : match_end ? HINT_SEARCH_END : HINT_SEARCH;
    node->hint_ebmap = choice.hinted;
    store_copies(node, level, block);
    uint8_t &most = memory_.phu().max_cfm_mask_count;
    const auto lengths = static_cast<uint8_t>(node->int_mask_count + node->ext_mask_count);
    if (lengths > most) {
        memory_.undo().save(most);
        most = lengths;
    }
}

void Mirror::count_unhinted(tn *node, int level, uint32_t children, bool starved) {
    if (children == unhinted_children(node) && starved == is_starved(node)) {
        return;
    }
    int32_t &total = memory_.phu().stride_value[level];
    memory_.undo().save(total);
    memory_.undo().save(starved_);
    advance(total, int64_t{children} - unhinted_children(node));
    set_unhinted_children(node, static_cast<uint8_t>(children));
    starved_ += static_cast<uint32_t>(starved) - static_cast<uint32_t>(is_starved(node));
    set_starved(node, starved);
}

void Mirror::forget(tn *node, int level) {
    open(node);
    if (const Block block = child_block(node); block.nodes != 0) {
        banks_.release_later(block);
    }
    count_unhinted(node, level, 0, false);
    close(node);
}

void Mirror::write_chip(uint32_t hw_index, const phu_node &image) {
    memory_.undo().save(chip_.node(hw_index));
    chip_.write_node(hw_index, image);
}

void Mirror::write_end_node(const tn *node, uint32_t hw_index) {
    phu_node image;
    memcpy(image.low, node->hint_en_mask, sizeof image.low);
    memcpy(image.high, node->hint_en_mask + sizeof image.low, sizeof image.high);
    image.type_byte = PHU_NODE_EN;
    write_chip(hw_index, image);
}

void Mirror::write_image(const tn *node) {
    if (node->hint_state == HINT_END) {
        write_end_node(node, node->hw_index);
        return;
    }
    phu_node image;
    memcpy(image.low, &node->hint_sn_bitmap, sizeof image.low);
    memcpy(image.high, &node->hint_sn_word, sizeof image.high);
    image.type_byte = PHU_NODE_SN;
    write_chip(node->hw_index, image);
}

void Mirror::fill_starved() {
    if (starved_ != 0 && banks_.take_freed()) {
        fill_all();
    }
}

void Mirror::fill_sparse() {
    if (starved_ != 0) {
        banks_.avoid(banks_.sparse());
        fill_all();
        banks_.avoid(0);
    }
}

void Mirror::fill_all() {
    for (uint32_t slot = 0; slot < 1U << tbm_root_bits; ++slot) {
        tn *node = root_node(memory_, slot);
        if (node != nullptr && is_search(node)) {
            Inputs in;
            in.hinted = in.was_hinted = true;
            fill_below(node, root_place(slot), 0, in);
        }
    }
}

void Mirror::fill_below(tn *node, uint32_t place, int level, const Inputs &in) {
    demand_hardware(node);
    const Block block = child_block(node);
    if (is_starved(node) || (block.nodes != 0 && banks_.avoided(block.bank))) {
        retry_ = node;
        visit(node, place, level, in, node->hw_index);
        retry_ = nullptr;
    }
    const SoundNode at(memory_, node, place);
    const InternalCover cover(at.bitmap());
    for (uint64_t left = node->hint_ebmap; left != 0; left &= left - 1) {
        const uint32_t group = lowest(left);
        fill_below(at.child(memory_.blocks(), group), place_below(place, group), level + 1,
                   inputs_of(at, level, in, cover, group));
    }
}

int64_t Mirror::unhinted() const {
    int64_t total = 0;
    for (const int32_t count : memory_.phu().stride_value) {
        total += count;
    }
    return total;
}

}    // namespace simcard
