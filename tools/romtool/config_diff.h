// The differences between two configurations, node by node and attribute by
// attribute, as the store addresses them.
#pragma once

#include <cstdio>
#include <mxml.h>

// Writes one line per difference to OUT, in A's order then B's:
//   NODE ATTR: "OLD" -> "NEW"     NODE ATTR: added "NEW"
//   NODE ATTR: removed "OLD"      NODE: added / NODE: removed (no attributes)
// Values are quoted, with '"', '\' and bytes below 0x20 or 0x7F escaped, so
// every difference stays one line. Returns the number of differences.
size_t config_diff(mxml_node_t *a, mxml_node_t *b, FILE *out);

// VALUE quoted and escaped as config_diff writes it.
void config_print_value(FILE *out, const char *value);
