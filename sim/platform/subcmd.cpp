// The platform's sub-command dispatcher used by the Wan, wlan, snmp and
// remmgmt groups.
#include "cmd_table.h"

#include <cstdio>

namespace {

// True when WORD begins NAME; the empty word begins every name. Compared
// here rather than through the C library: every group command comes this
// way, and its first call of a library routine costs a symbol lookup.
bool begins(const char *word, const char *name)
{
	while (*word && *word == *name) {
		word++;
		name++;
	}
	return *word == '\0';
}

// Same matching as the program's own dispatcher: the typed word is compared
// for its own length, so any prefix selects the first row it begins, and an
// empty word selects the first row. Debug-only rows are not hidden here.
const sys_cmd_entry *find_row(const sys_cmd_entry *table, const char *word)
{
	for (const sys_cmd_entry *row = table; row->name; row++) {
		if (begins(word, row->name))
			return row;
	}
	return nullptr;
}

// The listing is one name per line, indented by two blanks, on stdout.
void print_listing(const sys_cmd_entry *table)
{
	printf("valid subcommands:\n");
	for (const sys_cmd_entry *row = table; row->name; row++)
		printf("  %s\n", row->name);
}

} // namespace

int subcmd(const sys_cmd_entry *table, int argc, char *argv[], void *ctx)
{
	const sys_cmd_entry *row = argc > 1 ? find_row(table, argv[1]) : nullptr;
	if (!row) {
		print_listing(table);
		return -1;
	}
	int count = argc - 1;
	if (row->min_args < count)
		return row->handler ? row->handler(count, argv + 1, ctx) : 0;
	if (row->usage)
		printf("Usage: %s\n", row->usage);
	return -1;
}
