// The program's own command dispatcher, for the top-level table and `times`.
#pragma once

#include <cstdio>

#include "cmd_table.h"

// argv[0] is the word that selected this table, argv[1] the word to look up.
int sys_dispatch(const sys_cmd_entry *table, int argc, char *argv[], void *ctx);

// Prints "valid subcommands:" and the visible names in four 16-column cells
// per line.
void print_cmd_listing(FILE *out, const sys_cmd_entry *table, bool debug_enabled);
