#include "tests/support/hand_tree.h"

#include <arpa/inet.h>
#include <cstring>
#include <stdexcept>
#include <string>

#include "shm/contexts.h"
#include "tbm/access.h"
#include "tbm/key.h"

namespace {

constexpr size_t block_size = 4 << 20;
constexpr int root_slots = 4096;
alignas(16) uint8_t block[block_size];

tbm_key key_of(const char *prefix, uint16_t vrf) {
    const std::string text(prefix);
    const size_t slash = text.find('/');
    const std::string address = text.substr(0, slash);
    const bool v6 = address.find(':') != std::string::npos;
    pfx_entry entry{};
    entry.type = v6 ? PFX_IPV6 : PFX_IPV4;
    entry.vrf[0] = static_cast<uint8_t>(vrf >> 8);
    entry.vrf[1] = static_cast<uint8_t>(vrf);
    if (slash == std::string::npos ||
        inet_pton(v6 ? AF_INET6 : AF_INET, address.c_str(), entry.address) != 1) {
        throw std::invalid_argument(text);
    }
    entry.set_length(static_cast<uint8_t>(std::stoi(text.substr(slash + 1))));
    tbm_key key{};
    pfx_entry_to_tbm_key(entry, key);
    return key;
}

}    // namespace

template <typename Record>
Record *hand_tree::make(size_t count) {
    used_ = (used_ + 15) & ~size_t{15};
    void *at = block + used_;
    used_ += count * sizeof(Record);    // NOLINT(bugprone-sizeof-expression): slots are pointers
    if (used_ > block_size) {
        throw std::bad_alloc();
    }
    return static_cast<Record *>(at);
}

hand_tree::hand_tree() {
    memset(block, 0, sizeof block);
    plu_shm_ctx = make<plu_shm_block>();
    plu_ = make<plu_context>();
    handle_ = make<tbm_handle_record>();
    handle_->tbdb_root = make<tree_array>();
    handle_->tbdb_root->ta_nnodes = root_slots;
    handle_->tbdb_root->ta_nodes = make<tn *>(root_slots);
    first_node_ = make<tn>();
    plu_->phu.tbm_handle = handle_;
    plu_shm_ctx->ready = shm_ready_mark;
    plu_shm_ctx->context = plu_;
    plu_ctx = plu_;
    phu_ctx = &plu_->phu;
}

tn *hand_tree::make_node(uint32_t type, uint32_t stride, uint32_t key_bits) {
    tn *node = key_bits_.contains(first_node_) ? make<tn>() : first_node_;
    node->tn_flags = static_cast<uint16_t>(type | stride << tn_stride_shift);
    if (type == TN_END || type == TN_INTERN) {
        node->tn_flags |= tn_inode_flag;
        node->in_lfarray = make_leaf_array(0);
    } else if (type == TN_SEARCH) {
        node->sn_charray = make<tree_array>();
    }
    key_bits_[node] = key_bits;
    return node;
}

tn *hand_tree::root(int slot, uint32_t type, uint32_t stride) {
    tn *&at = handle_->tbdb_root->ta_nodes[slot];
    if (at == nullptr) {
        at = make_node(type, stride, tbm_root_bits);
    }
    return at;
}

tn *hand_tree::add_search(tn *parent, uint32_t chunk, uint32_t stride) {
    return add_child(parent, chunk, TN_SEARCH, stride);
}

tn *hand_tree::add_end(tn *parent, uint32_t chunk) {
    return add_child(parent, chunk, TN_END);
}

tn *hand_tree::add_child(tn *parent, uint32_t chunk, uint32_t type, uint32_t stride) {
    const uint32_t parent_stride = tn_stride(parent);
    const uint32_t group_slots = 1U << (parent_stride - 6);
    const uint32_t group = chunk / group_slots;
    tree_array *array = parent->sn_charray;
    const uint32_t place =
        bitmap_count_below(parent->sn_ebmap, group) * group_slots + tn_inode_bit(parent);
    if ((parent->sn_ebmap >> group & 1) == 0) {
        const uint32_t slots = static_cast<uint32_t>(array->ta_nnodes) + tn_inode_bit(parent);
        tn **grown = make<tn *>(slots + group_slots);
        for (uint32_t i = 0; i < slots; ++i) {
            grown[i < place ? i : i + group_slots] = array->ta_nodes[i];
        }
        array->ta_nodes = grown;
        array->ta_nnodes = static_cast<int16_t>(array->ta_nnodes + group_slots);
        parent->sn_ebmap |= uint64_t{1} << group;
    }
    tn *child = make_node(type, stride, key_bits(parent) + parent_stride);
    array->ta_nodes[place + chunk % group_slots] = child;
    return child;
}

tn *hand_tree::add_intern(tn *search_node) {
    tree_array *array = search_node->sn_charray;
    if (tn_inode_bit(search_node) == 0) {
        const auto slots = static_cast<size_t>(array->ta_nnodes);
        tn **grown = make<tn *>(slots + 1);
        for (size_t i = 0; i < slots; ++i) {
            grown[i + 1] = array->ta_nodes[i];
        }
        grown[0] = make_node(TN_INTERN, tn_stride(search_node), key_bits(search_node));
        array->ta_nodes = grown;
        array->ta_inode_exists = 1;
        search_node->tn_flags |= tn_inode_flag;
    }
    return array->ta_nodes[0];
}

tn *hand_tree::node_at(const char *prefix, uint32_t bits, uint16_t vrf, uint32_t last_type) {
    const tbm_key key = key_of(prefix, vrf);
    tn *node = root(static_cast<int>(key_bits_extract(key.bytes, 0, tbm_root_bits)),
                    bits == tbm_root_bits ? last_type : uint32_t{TN_SEARCH});
    for (uint32_t at = tbm_root_bits; at < bits; at += tbm_stride_bits) {
        const uint32_t chunk = key_bits_extract(key.bytes, at, tbm_stride_bits);
        tn *child =
            (node->sn_ebmap >> chunk & 1) == 0 ? nullptr : tn_child_slot(node, chunk, 6).child;
        const uint32_t type = at + tbm_stride_bits >= bits ? last_type : uint32_t{TN_SEARCH};
        node = child == nullptr ? add_child(node, chunk, type) : child;
    }
    return node;
}

tn *hand_tree::search_at(const char *prefix, uint32_t bits, uint16_t vrf) {
    return node_at(prefix, bits, vrf, TN_SEARCH);
}

tn *hand_tree::end_at(const char *prefix, uint32_t bits, uint16_t vrf) {
    return node_at(prefix, bits, vrf, TN_END);
}

leaf *hand_tree::make_leaf(const char *prefix, uint16_t vrf) {
    const tbm_key key = key_of(prefix, vrf);
    leaf *made = make<leaf>();
    made->key_bits_used = static_cast<uint16_t>(key.key_bits_used);
    memcpy(made->key, key.bytes, sizeof made->key);
    return made;
}

leaf_array *hand_tree::make_leaf_array(int n) {
    auto *array = make<leaf_array>();
    array->la_nnodes = n;
    array->la_leaves = make<leaf *>(static_cast<size_t>(n));
    return array;
}

leaf *hand_tree::add_leaf(tn *node, const char *prefix, uint16_t vrf) {
    const uint32_t depth = key_bits(node);
    tn *inode = tn_is_search(node) ? add_intern(node) : node;
    leaf *added = make_leaf(prefix, vrf);
    const uint32_t length = added->key_bits_used - depth;
    if (added->key_bits_used < depth || length > 5) {
        throw std::invalid_argument(std::string(prefix) + " does not belong to the node");
    }
    const tbm_key key = key_of(prefix, vrf);
    const uint32_t position = (1U << length) - 1 + key_bits_extract(key.bytes, depth, length);
    const auto place = static_cast<int>(bitmap_count_below(inode->in_ibmap, position));
    leaf_array *array = inode->in_lfarray;
    leaf **grown = make<leaf *>(static_cast<size_t>(array->la_nnodes) + 1);
    for (int i = 0; i < array->la_nnodes; ++i) {
        grown[i < place ? i : i + 1] = array->la_leaves[i];
    }
    grown[place] = added;
    array->la_leaves = grown;
    ++array->la_nnodes;
    inode->in_ibmap |= uint64_t{1} << position;
    return added;
}

mask128 lengths(std::initializer_list<uint32_t> values) {
    mask128 mask{};
    for (const uint32_t value : values) {
        mask_set_from_left(mask, value);
    }
    return mask;
}
