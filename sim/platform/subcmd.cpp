// The platform's sub-command dispatcher used by the Wan, wlan, snmp and
// remmgmt groups.
#include "cmd_table.h"

#include <cstdio>
#include <cstring>

namespace {

// Same matching as the program's own dispatcher: the typed word is compared
// for its own length, so any prefix selects the first row it begins, and an
// empty word selects the first row. Debug-only rows are not hidden here.
const sys_cmd_entry *find_row(const sys_cmd_entry *table, const char *word)
{
	size_t len = strlen(word);
	for (const sys_cmd_entry *row = table; row->name; row++) {
		if (strncmp(word, row->name, len) == 0)
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
