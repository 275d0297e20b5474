// The simulated card with a table on it, ready for measurements.
#pragma once

#include <string>
#include <vector>

#include "bench/bare_walk.h"
#include "tests/card/powered_card.h"

/// The table of an argument: a number of generated prefixes, or a file's name.
std::vector<pfx_entry> chosen_table(const std::string &choice);

/// Powers the card on and loads a table; ends the program when a prefix is refused. Returns
/// seconds.
double load_card(const std::vector<pfx_entry> &table);

/// The tree's root table.
tree_array &card_root();

/// One line: prefixes by family, nodes by kind, bytes.
void print_shape(const std::string &name, const std::vector<pfx_entry> &table);

/// Ends the program with a message when the command's reply has another number behind the label.
void require(const std::string &reply, const std::string &label, long expected);

/// Every whole-tree check on a healthy card with this table.
void require_healthy(const std::vector<pfx_entry> &table);
