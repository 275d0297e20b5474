#include "tbm/search.h"

#include <cstring>

#include "reply/reply.h"
#include "reply/text.h"
#include "reply/unreadable.h"
#include "tbm/access.h"
#include "tbm/depth_guard.h"
#include "tbm/internal_lookup.h"
#include "tbm/key.h"
#include "tbm/node_dump.h"

uint32_t tbm_search_detail = 0;

namespace {

constexpr uint32_t internal_prefix_bits = 5;
// A damaged node may claim a stride of up to 15; the key then reads as 0 behind its end.
constexpr size_t padded_key_bytes = tbm_walk_levels * 15 / 8 + 8;

/// Group of a chunk among the 64 groups of a search node; below stride 6 a chunk is its own group.
uint32_t chunk_group(uint32_t chunk, uint32_t stride) {
    return stride < tbm_stride_bits ? chunk : chunk >> (stride - tbm_stride_bits);
}

/// The top 5 bits of a chunk.
uint32_t chunk_internal_prefix(uint32_t chunk, uint32_t stride) {
    return stride < internal_prefix_bits ? chunk << (internal_prefix_bits - stride)
                                         : chunk >> (stride - internal_prefix_bits);
}

bool bit_set(uint64_t bitmap, uint32_t position) {
    return position < 64 && (bitmap >> position & 1) != 0;
}

mask128 en_copy_mask(const tn *node) {
    mask128 mask;
    memcpy(&mask, node->hint_en_mask, sizeof mask);
    return mask;
}

/// One search; every line of it goes out as it walks.
class hint_search {
public:
    hint_search(const uint8_t *key, tbm_search_result &result) : key_(key), result_(result) {
        memcpy(padded_key_, key, tbm_key_bytes);
        phu_pfx[0] = static_cast<uint8_t>(key[0] / 4);
        phu_pfx[1] = static_cast<uint8_t>(key[0] % 4 * 16 + key[1] / 16);
    }

    uint32_t run(const tn *node) {
        while (node != nullptr && guard_.enter(result_.level, node)) {
            tbm_node_dump(node, static_cast<int>(position_), key_, tbm_search_detail);
            const uint8_t state = node->hint_state;
            if (state != 0) {
                note_best_leaf(node);
            }
            stride_ = tn_stride(node);
            chunk_ = key_bits_extract(padded_key_, position_, stride_);
            position_ += stride_;
            const bool search_node = tn_is_search(node);
            const uint64_t hinted = search_node && state != 0 ? node->hint_ebmap : 0;
            if (bit_set(hinted, chunk_)) {
                node = hint_descent(node, hinted);
                continue;
            }
            if (state != 0) {
                verify(node, state);
            }
            const uint64_t groups = tn_is_search(node) ? node->sn_ebmap : 0;
            if (!bit_set(groups, chunk_group(chunk_, stride_))) {
                take_leaf(node);
                return 0;
            }
            node = descend(node, "sn_ebmap", groups);
        }
        return tbm_search_no_node;
    }

private:
    void note_best_leaf(const tn *node) {
        const leaf_array *array = node->par_bl_larray;
        if (array == nullptr) {
            return;
        }
        const uint16_t offset = node->par_bl_offset;
        best_array_ = array;
        best_offset_ = offset;
        plu_debug_printf("best leaf tn %p la %p offset %d\n", static_cast<const void *>(node),
                         static_cast<const void *>(array), offset);
    }

    /// Resolved when it is needed: the array's slots move when the library changes it meanwhile.
    [[nodiscard]] leaf **best_leaf_slot() const {
        leaf **slot = leaf_array_slot(best_array_, best_offset_);
        if (slot == nullptr && best_array_ != nullptr) {
            name_fault(best_array_);
        }
        return slot;
    }

    /// Names a leaf array whose slots cannot be read; one without slots is none.
    static void name_fault(const leaf_array *array) {
        if (!readable_memory::holds(array)) {
            report_unreadable(array);
        } else if (leaf **leaves = current(array->la_leaves); leaves != nullptr) {
            report_unreadable(leaves);
        }
    }

    const tn *hint_descent(const tn *node, uint64_t bitmap) {
        const tn *child = descend(node, "hint_ebmap", bitmap);
        if (child != nullptr) {
            trail_entry().hw_index = node->hw_index;
            ++result_.hint_level;
        }
        return child;
    }

    /// Takes the child of the chunk, if there is one, and keeps the chunk, so that phu_pfx is the
    /// path of the node reached.
    const tn *descend(const tn *node, const char *bitmap_name, uint64_t bitmap) {
        const tn_slot slot = tn_child_slot(node, chunk_, stride_);
        plu_debug_printf("pfx 0x%x bitused %d level %d tn %p %s 0x%016lx next tn %p\n", chunk_,
                         static_cast<int>(position_), result_.level,
                         static_cast<const void *>(node), bitmap_name, bitmap,
                         static_cast<const void *>(slot.child));
        const tn *child = tn_slot_node(slot);
        if (child == nullptr) {
            name_missing_child(node, slot);
        }
        if (child != nullptr) {
            if (const int at = result_.level + 2; at < phu_pfx_entries) {
                phu_pfx[at] = static_cast<uint8_t>(chunk_);
            }
            ++result_.level;
        }
        return child;
    }

    static void name_missing_child(const tn *node, const tn_slot &slot) {
        const void *fault = slot.child != nullptr && !readable_memory::holds(slot.child)
                                ? slot.child
                                : tn_child_slots(node).fault;
        if (fault != nullptr) {
            report_unreadable(fault);
        }
    }

    /// A damaged tree may lead through more hint levels than the trail holds.
    hint_trail_entry &trail_entry() {
        return result_.hint_level < hint_trail_entries ? result_.trail[result_.hint_level]
                                                       : beyond_trail_;
    }

    void verify(const tn *node, uint8_t state) {
        result_.calculated_mask = tn_expected_mask(node);
        if (state > HINT_END) {
            return;
        }
        trail_entry().hw_index = node->hw_index;
        if (state == HINT_SEARCH) {
            check_bmsf(node);
            return;
        }
        if (state == HINT_SEARCH_END) {
            trail_entry().en_hw_index = node->en_hw_index;
        }
        check_mask(node, state);
    }

    /// Text of the path of the node under examination.
    const char *path_text() const {
        phu_pfx_to_str(result_.level + 1U);
        return phu_pfx_str;
    }

    void check_bmsf(const tn *node) {
        const auto stored = static_cast<uint8_t>(node->hint_sn_word >> 24);
        const uint8_t bmsf = node->bmsf;
        if (stored != bmsf) {
            plu_debug_printf(
                "ERR PHU:[S:%s][%s Node with Leafs - incorrect][bmsf:%x][cal bmsf:%x]\n",
                path_text(), hint_state_label(HINT_SEARCH), stored, bmsf);
        }
    }

    /// IPv4 has only the 32 leftmost positions: the image starts with them, the mask ends in them.
    void check_mask(const tn *node, uint8_t state) {
        const mask128 calculated = result_.calculated_mask;
        const mask128 stored = en_copy_mask(node);
        const bool equal = tbm_key_is_ipv6(key_)
                               ? stored == calculated
                               : static_cast<uint32_t>(stored.low) == calculated.high >> 32;
        if (!equal) {
            plu_debug_printf(
                "ERR PHU:[S:%s][%s Node incorrect][Mask:%lx%lx][Calculated Mask:%lx%lx]\n",
                path_text(), hint_state_label(state), stored.low, stored.high, calculated.low,
                calculated.high);
        }
    }

    /// Internal node of the last node of the way; names what cannot be read.
    static const tn *inode_of(const tn *node) {
        const child_slots children = tn_child_slots(node);
        const tn *inode = tn_inode(node);
        if (children.fault != nullptr) {
            report_unreadable(children.fault);
        } else if (children.first == 1 && inode == nullptr && children.nodes[0] != nullptr) {
            report_unreadable(children.nodes[0]);
        } else if (const leaf_array *array = inode_leaves(inode);
                   array != nullptr && leaf_array_slot(array, 0) == nullptr) {
            name_fault(array);
        }
        return inode;
    }

    void take_leaf(const tn *node) {
        leaf **slot =
            tbm_retrieve_leaf_local(inode_of(node), chunk_internal_prefix(chunk_, stride_));
        if (slot == nullptr) {
            plu_debug_printf("no match, take best leaf\n");
            slot = best_leaf_slot();
        }
        result_.best = slot == nullptr ? nullptr : current(*slot);
    }

    const uint8_t *key_;
    tbm_search_result &result_;
    uint8_t padded_key_[padded_key_bytes] = {};
    uint32_t position_ = tbm_root_bits;    // key bits consumed
    uint32_t stride_ = 0;                  // of the node under examination
    uint32_t chunk_ = 0;                   // key bits that it consumes
    const leaf_array *best_array_ = nullptr;
    uint16_t best_offset_ = 0;
    hint_trail_entry beyond_trail_{};
    depth_guard guard_;
};

}    // namespace

uint32_t tbm_search_hint(const tbm_handle_record *handle, const uint8_t *key,
                         tbm_search_result &result) {
    result.level = 0;
    result.hint_level = 0;
    hint_search search(key, result);
    const root_table root = tbdb_root_of(handle);
    tn *const *slot = tbm_root_slot(handle, key);
    const tn *stored = slot == nullptr ? nullptr : current(*slot);
    const tn *node = readable_memory::holds(stored) ? stored : nullptr;
    if (root.fault != nullptr || stored != node) {
        report_unreadable(root.fault != nullptr ? root.fault : stored);
    }
    return search.run(node);
}
