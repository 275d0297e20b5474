// Small trees built record by record, for what a healthy library never produces.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <map>

#include "records/context.h"
#include "records/tree.h"

/// Sets plu_shm_ctx, plu_ctx and phu_ctx. One at a time. All records lie in one static block in
/// ascending order: shared block, contexts, handle, root record, root slots, the node of slot 0,
/// then everything else as it is made. Records start zeroed; tests change their fields directly.
class hand_tree {
public:
    hand_tree();

    tbm_handle_record *handle() { return handle_; }
    tree_array *root_array() { return handle_->tbdb_root; }
    plu_context *plu() { return plu_; }
    phu_context *phu() { return &plu_->phu; }

    /// Node of a root slot, made on the first call.
    tn *root(int slot = 0, uint32_t type = TN_SEARCH, uint32_t stride = 6);

    /// Adds a child of a SEARCH node for one chunk of its stride, in its place in the child array.
    tn *add_search(tn *parent, uint32_t chunk, uint32_t stride = 6);
    tn *add_end(tn *parent, uint32_t chunk);
    tn *add_child(tn *parent, uint32_t chunk, uint32_t type, uint32_t stride = 6);

    /// Internal node of a SEARCH node, made (slot 0, inode flags, empty leaf array) when missing.
    tn *add_intern(tn *search_node);

    /// Nodes on the way of a prefix ("10.1.2.0/24", "2001:db8::/32"): all SEARCH nodes of stride 6
    /// down to `key_bits` (12, 18, 24, ...), made where missing.
    tn *search_at(const char *prefix, uint32_t key_bits, uint16_t vrf = 0);
    /// The same with an END node as the last one.
    tn *end_at(const char *prefix, uint32_t key_bits, uint16_t vrf = 0);

    /// A leaf record that hangs nowhere.
    leaf *make_leaf(const char *prefix, uint16_t vrf = 0);
    /// An array of n null leaves that no node owns.
    leaf_array *make_leaf_array(int n);
    /// Adds a leaf to a node's internal node: a SEARCH node's own (made when missing), an END or
    /// INTERN node itself; the place follows from the node's depth and the prefix.
    leaf *add_leaf(tn *node, const char *prefix, uint16_t vrf = 0);

    /// Key bits that lead to a node.
    uint32_t key_bits(const tn *node) const { return key_bits_.at(node); }

private:
    template <typename Record>
    Record *make(size_t count = 1);
    tn *make_node(uint32_t type, uint32_t stride, uint32_t key_bits);
    tn *node_at(const char *prefix, uint32_t key_bits, uint16_t vrf, uint32_t last_type);

    size_t used_ = 0;
    tbm_handle_record *handle_;
    plu_context *plu_;
    tn *first_node_;
    std::map<const tn *, uint32_t> key_bits_;
};

/// A mask of prefix lengths.
mask128 lengths(std::initializer_list<uint32_t> values);
