// Prefix tables for the measurements, the same for one size on every machine.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "records/tree.h"

/// `count` different prefixes in random order, shaped like the tables of a provider's edge: 4 of 5
/// IPv4 (mostly /24 down from /16 to /23, customers' hosts and links in VRFs), the others IPv6
/// (/48, /32, /40, /44...). Every second prefix nests below or lies beside an earlier one.
std::vector<pfx_entry> internet_table(size_t count);

/// A file's prefixes; ends the program with a message when it cannot be read.
std::vector<pfx_entry> table_of_file(const std::string &file);
