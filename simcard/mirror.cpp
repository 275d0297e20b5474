#include "simcard/mirror.h"

#include <algorithm>
#include <cstring>

#include "simcard/internal_cover.h"
#include "simcard/length_set.h"
#include "simcard/mirror_fields.h"

namespace simcard {

namespace {

uint64_t internal_bitmap(const tn *node) {
    if (!is_search(node) || !has_inode(node)) {
        return 0;
    }
    return node->sn_charray->ta_nodes[0]->in_ibmap;
}

uint16_t prefix_length(int level, uint32_t position) {
    return static_cast<uint16_t>(depth_of(level) - tbm_header_bits +
                                 InternalCover::length_of(position));
}

mask128 internal_lengths(const tn *node, int level) {
    const tn *holder = internal_of(const_cast<tn *>(node));
    mask128 mask{};
    for (uint32_t length = 0; holder != nullptr && length < tbm_stride_bits; ++length) {
        const uint64_t positions = ((uint64_t{1} << (1U << length)) - 1) << ((1U << length) - 1);
        if ((holder->in_ibmap & positions) != 0) {
            add_length(mask, depth_of(level) - tbm_header_bits + length);
        }
    }
    return mask;
}

/// Union of the lengths below the children of a bitmap.
mask128 lengths_below(const tn *node, uint64_t children) {
    mask128 mask{};
    for (uint64_t left = children; left != 0; left &= left - 1) {
        mask |= child_at(node, static_cast<uint32_t>(__builtin_ctzll(left)))->hint_mask;
    }
    return mask;
}

void prefetch_children(const tn *node) {
    const tree_array *array = node->sn_charray;
    for (int slot = 0; slot < array->ta_nnodes + (has_inode(node) ? 1 : 0); ++slot) {
        __builtin_prefetch(&array->ta_nodes[slot]->hint_mask);
    }
}

void prefetch_node(const tn *node) {
    const auto *bytes = reinterpret_cast<const uint8_t *>(node);
    __builtin_prefetch(bytes);
    __builtin_prefetch(bytes + 64);
    __builtin_prefetch(bytes + sizeof(tn) - 1);
}

/// Fetches the records of a node's children; they are visited soon.
void prefetch_visits(const tn *node) {
    const tree_array *array = node->sn_charray;
    for (int slot = 0; slot < array->ta_nnodes + (has_inode(node) ? 1 : 0); ++slot) {
        prefetch_node(array->ta_nodes[slot]);
    }
}

/// Fetches where the children keep their own children.
void prefetch_arrays(const tn *node) {
    const tree_array *array = node->sn_charray;
    const int first = has_inode(node) ? 1 : 0;
    for (int slot = first; slot < array->ta_nnodes + first; ++slot) {
        if (const tn *child = array->ta_nodes[slot]; is_search(child)) {
            __builtin_prefetch(child->sn_charray);
        }
    }
    for (int slot = first; slot < array->ta_nnodes + first; ++slot) {
        if (const tn *child = array->ta_nodes[slot]; is_search(child)) {
            __builtin_prefetch(child->sn_charray->ta_nodes);
        }
    }
}

}    // namespace

void Mirror::derive_node(tn *node, int level) {
    node->int_mask = internal_lengths(node, level);
    node->hint_mask = node->int_mask;
    uint64_t nested = 0;
    if (is_search(node)) {
        prefetch_children(node);
        for (uint64_t left = node->sn_ebmap; left != 0; left &= left - 1) {
            const auto group = static_cast<uint32_t>(__builtin_ctzll(left));
            const tn *child = child_at(node, group);
            node->hint_mask |= child->hint_mask;
            nested |= uint64_t{is_nested(child)} << group;
        }
    }
    set_nested_bitmap(node, nested);
    const bool covers =
        is_search(node) && (InternalCover(internal_bitmap(node)).covered & node->sn_ebmap) != 0;
    set_nested(node, nested != 0 || covers);
}

void Mirror::derive_up(tn *node, int level) {
    if (is_search(node)) {
        for (uint64_t left = node->sn_ebmap; left != 0; left &= left - 1) {
            derive_up(child_at(node, static_cast<uint32_t>(__builtin_ctzll(left))), level + 1);
        }
    }
    derive_node(node, level);
}

/// Re-derives the path from its end upwards, as far as something changes.
void Mirror::mark_changes(const Path &path) {
    choice_dirty_ = 0;
    for (int level = path.count - 1; level >= 0; --level) {
        tn *node = path.node[level];
        const mask128 lengths_before = node->hint_mask;
        const bool nested_before = is_nested(node);
        derive_node(node, level);
        choice_dirty_ |= 1U << level;
        // A node with a default route alone holds no length, and is new all the same.
        const bool silent = node->hint_mask.empty();
        if (!silent && node->hint_mask == lengths_before && is_nested(node) == nested_before) {
            break;
        }
    }
}

void Mirror::rebuild() {
    banks_.next_operation();
    path_ = nullptr;
    force_ = true;
    const tree_array &root = tree_.root();
    for (uint32_t slot = 0; slot < 1U << tbm_root_bits; ++slot) {
        if (tn *node = root.ta_nodes[slot]; node != nullptr) {
            derive_up(node, 0);
            visit_root(node, slot);
        }
    }
    force_ = false;
}

void Mirror::refresh(const Path &path, uint32_t root_slot) {
    banks_.next_operation();
    mark_changes(path);
    path_ = &path;
    visit_root(path.node[0], root_slot);
    path_ = nullptr;
}

/// A root is hinted as soon as it has children.
void Mirror::visit_root(tn *root, uint32_t slot) {
    const uint32_t hw_index = hw_index_make(0, phu_root_bank, slot);
    Inputs in;
    in.hinted = is_search(root);
    visit(root, 0, in, in.hinted ? hw_index : 0);
    banks_.set_root(slot, in.hinted);
    if (!in.hinted) {
        chip_.write_node(hw_index, {});
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

void Mirror::visit(tn *node, int level, const Inputs &in, uint32_t hw_index) {
    const bool hinted = node->hint_state != HINT_INIT;
    const bool same_inputs =
        hinted == in.hinted && node->bmsf == in.bmsf &&
        (!hinted || (node->par_bl_larray == in.cover && node->par_bl_offset == in.cover_offset &&
                     node->par_bl_len == in.cover_length));
    if (!force_ && same_inputs && node != retry_ && !on_path(node, level)) {
        if (node->hw_index != hw_index) {
            node->hw_index = hw_index;
            write_image(node);
        }
        return;
    }
    if (in.hinted) {
        visit_hinted(node, level, in, hw_index);
    } else {
        visit_unhinted(node, level, in);
    }
}

void Mirror::visit_unhinted(tn *node, int level, const Inputs &in) {
    const bool was_hinted = node->hint_state != HINT_INIT;
    const bool end_of_path = on_path(node, level) && level + 1 == path_->count;
    const bool all = force_ || was_hinted || end_of_path || node->bmsf != in.bmsf;
    if (was_hinted) {
        forget(node, level);
        clear_hardware(node);
    }
    node->bmsf = in.bmsf;
    if (force_ || was_hinted || on_path(node, level)) {
        set_masks(node, without(node->hint_mask, node->int_mask));
    }
    if (is_search(node)) {
        visit_children(node, level, in, all ? node->sn_ebmap : path_bit(node, level), {});
    }
}

void Mirror::visit_hinted(tn *node, int level, const Inputs &in, uint32_t hw_index) {
    const bool on = on_path(node, level);
    const bool inputs_changed =
        force_ || node->hint_state == HINT_INIT || node->bmsf != in.bmsf ||
        node->par_bl_larray != in.cover || node->par_bl_offset != in.cover_offset ||
        node->par_bl_len != in.cover_length || (on && level + 1 == path_->count);
    const Block old = child_block(node);
    const uint64_t old_hinted = node->hint_ebmap;
    node->hw_index = hw_index;
    node->bmsf = in.bmsf;
    node->par_bl_larray = in.cover;
    node->par_bl_offset = in.cover_offset;
    node->par_bl_len = in.cover_length;

    if (!inputs_changed && node != retry_ && (!on || (choice_dirty_ >> level & 1) == 0)) {
        visit_children(node, level, in, path_bit(node, level), old);
        write_image(node);
        return;
    }
    Choice choice = choose(node, in);
    const uint64_t wanted = choice.hinted;
    const Block block = place(node, level, old, choice);
    const bool moved = block.bank != old.bank || block.first != old.first;
    settle(node, level, choice, block);
    const auto starved = static_cast<uint32_t>(__builtin_popcountll(wanted & ~choice.hinted));
    count_unhinted(node, level, choice.refused + starved, starved != 0);
    if (is_search(node)) {
        const uint64_t affected = moved ? choice.hinted | old_hinted : choice.hinted ^ old_hinted;
        const uint64_t touch = inputs_changed ? ~uint64_t{0} : affected | path_bit(node, level);
        visit_children(node, level, in, touch & node->sn_ebmap, block);
    }
    if (node->hint_state == HINT_SEARCH_END) {
        write_end_node(node, node->en_hw_index);
    }
    write_image(node);
    if (moved && old.nodes != 0) {
        banks_.release_later(old);
    }
}

/// Hands each touched child its place and what covers it.
void Mirror::visit_children(tn *node, int level, const Inputs &in, uint64_t touch,
                            const Block &block) {
    const bool sweep = (touch & (touch - 1)) != 0;
    if (sweep) {
        prefetch_visits(node);
        prefetch_arrays(node);
    }
    const uint64_t bitmap = touch == 0 ? 0 : internal_bitmap(node);
    const InternalCover cover(bitmap);
    const uint64_t hinted = in.hinted ? node->hint_ebmap : 0;
    const uint32_t first = block.first + (node->hint_state == HINT_SEARCH_END ? 1 : 0);
    for (uint64_t left = touch; left != 0; left &= left - 1) {
        const auto group = static_cast<uint32_t>(__builtin_ctzll(left));
        Inputs child = in;
        child.hinted = (hinted >> group & 1) != 0;
        if ((cover.covered >> group & 1) != 0) {
            child.cover = internal_of(node)->in_lfarray;
            child.cover_offset = static_cast<uint16_t>(ones_below(bitmap, cover.position[group]));
            child.cover_length = prefix_length(level, cover.position[group]);
            child.bmsf = static_cast<uint8_t>(child.cover_length);
        } else if (bitmap != 0) {
            child.bmsf = 0;
        }
        const uint32_t place = child.hinted
                                   ? hw_index_make(static_cast<uint32_t>(level) + 1, block.bank,
                                                   first + ones_below(hinted, group))
                                   : 0;
        visit(child_at(node, group), level + 1, child, place);
    }
}

/// Which children get hardware nodes of their own.
///
/// A child may be hinted only when its bmsf can say what covers it: then its masks lack no length.
/// It may stay unhinted only when no leaf from this node down covers a node of its subtree: the
/// search falls back to the best leaf of the deepest hinted node and would report a shorter cover.
Mirror::Choice Mirror::choose(const tn *node, const Inputs &in) const {
    Choice choice;
    if (!is_search(node)) {
        return choice;
    }
    const uint64_t bitmap = internal_bitmap(node);
    const uint64_t covered = InternalCover(bitmap).covered;
    const uint64_t asked = (nested_bitmap(node) | covered) & node->sn_ebmap;
    const uint64_t allowed = bitmap == 0 || in.cover_length == 0 ? ~uint64_t{0} : covered;
    const uint32_t limit = memory_.phu().cfm_mask_count_limit;
    choice.needed = choice.hinted = asked & allowed;
    choice.refused = static_cast<uint32_t>(__builtin_popcountll(asked & ~allowed));
    if (choice.needed == 0 && lengths(node->hint_mask) <= limit) {
        choice.ext = without(node->hint_mask, node->int_mask);
        return choice;
    }
    prefetch_children(node);
    choice.ext = lengths_below(node, node->sn_ebmap & ~allowed);
    const uint32_t room = limit - std::min(limit, lengths(node->int_mask));

    struct Candidate {
        uint32_t group;
        mask128 mask;
        uint32_t count;
    };
    Candidate candidates[64];
    size_t count = 0;
    for (uint64_t left = node->sn_ebmap & allowed & ~choice.needed; left != 0; left &= left - 1) {
        const auto group = static_cast<uint32_t>(__builtin_ctzll(left));
        const mask128 mask = child_at(node, group)->hint_mask;
        candidates[count++] = {group, mask, lengths(mask)};
    }
    std::stable_sort(candidates, candidates + count,
                     [](const Candidate &a, const Candidate &b) { return a.count < b.count; });
    for (size_t i = 0; i < count; ++i) {
        const mask128 grown = choice.ext | candidates[i].mask;
        if (lengths(grown) <= room) {
            choice.ext = grown;
        } else {
            choice.hinted |= uint64_t{1} << candidates[i].group;
        }
    }
    return choice;
}

/// Child block for a choice: the old one when nothing moves, else a new one. With too little room
/// the choice shrinks to the children that need it, then to none.
Block Mirror::place(const tn *node, int level, const Block &old, Choice &choice) {
    for (;;) {
        if (choice.hinted == 0) {
            return {};
        }
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
        choice.ext = lengths_below(node, node->sn_ebmap & ~choice.hinted);
    }
}

/// Stores a choice and its block in the node.
void Mirror::settle(tn *node, int level, const Choice &choice, const Block &block) {
    set_masks(node, choice.ext);
    const bool match_end = !(node->int_mask | choice.ext).empty() || node->bmsf != 0;
    node->hint_state = choice.hinted == 0 ? HINT_END : match_end ? HINT_SEARCH_END : HINT_SEARCH;
    node->hint_ebmap = choice.hinted;
    store_copies(node, level, block);
    phu_context &context = memory_.phu();
    context.max_cfm_mask_count =
        std::max<uint8_t>(context.max_cfm_mask_count,
                          static_cast<uint8_t>(node->int_mask_count + node->ext_mask_count));
}

void Mirror::count_unhinted(tn *node, int level, uint32_t children, bool starved) {
    int32_t &total = memory_.phu().stride_value[level];
    total += static_cast<int32_t>(children) - unhinted_children(node);
    set_unhinted_children(node, static_cast<uint8_t>(children));
    starved_ += static_cast<uint32_t>(starved) - static_cast<uint32_t>(is_starved(node));
    set_starved(node, starved);
}

void Mirror::forget(tn *node, int level) {
    if (const Block block = child_block(node); block.nodes != 0) {
        banks_.release_later(block);
    }
    count_unhinted(node, level, 0, false);
}

void Mirror::write_end_node(const tn *node, uint32_t hw_index) {
    phu_node image;
    memcpy(image.low, node->hint_en_mask, sizeof image.low);
    memcpy(image.high, node->hint_en_mask + sizeof image.low, sizeof image.high);
    image.type_byte = PHU_NODE_EN;
    chip_.write_node(hw_index, image);
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
    chip_.write_node(node->hw_index, image);
}

void Mirror::fill_holes() {
    if (starved_ != 0 && banks_.take_freed()) {
        fill_all();
    }
    if (starved_ != 0) {
        banks_.avoid(banks_.sparse());
        fill_all();
        banks_.avoid(0);
    }
}

void Mirror::fill_all() {
    banks_.next_operation();
    const tree_array &root = tree_.root();
    for (int slot = 0; slot < root.ta_nnodes; ++slot) {
        if (tn *node = root.ta_nodes[slot]; node != nullptr) {
            fill_below(node, 0);
        }
    }
}

void Mirror::fill_below(tn *node, int level) {
    const Block block = child_block(node);
    if (is_starved(node) || (block.nodes != 0 && banks_.avoided(block.bank))) {
        Inputs in;
        in.hinted = true;
        in.bmsf = node->bmsf;
        in.cover = node->par_bl_larray;
        in.cover_offset = node->par_bl_offset;
        in.cover_length = node->par_bl_len;
        retry_ = node;
        visit(node, level, in, node->hw_index);
        retry_ = nullptr;
    }
    for (uint64_t left = node->hint_ebmap; left != 0; left &= left - 1) {
        fill_below(child_at(node, static_cast<uint32_t>(__builtin_ctzll(left))), level + 1);
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
