#include "shell/dispatch.h"

#include <cstring>

#include "flash/mrd.h"

namespace {

constexpr int LISTING_CELLS = 4;
constexpr int LISTING_CELL_WIDTH = 16;
constexpr int LISTING_WIDTH = LISTING_CELLS * LISTING_CELL_WIDTH;

bool row_visible(const sys_cmd_entry *row, bool debug_enabled)
{
	return row->flags != CMD_FLAG_DEBUG_ONLY || debug_enabled;
}

// A line of 64 blank columns; names are copied in without their terminator,
// so the blanks behind a short name stay and every line has all 64 columns.
struct ListingLine {
	FILE *out;
	char cols[LISTING_WIDTH + 2];

	explicit ListingLine(FILE *o) : out(o) { clear(); }

	void clear()
	{
		memset(cols, ' ', LISTING_WIDTH);
		cols[LISTING_WIDTH] = '\n';
		cols[LISTING_WIDTH + 1] = '\0';
	}

	void put(int cell, const char *name, size_t len)
	{
		memcpy(cols + cell * LISTING_CELL_WIDTH, name, len);
	}

	void flush()
	{
		fputs(cols, out);
		clear();
	}
};

void list_name(ListingLine &line, int &cell, const char *name)
{
	size_t len = strlen(name);
	int spill = int(len / LISTING_CELL_WIDTH);
	if (len < LISTING_CELL_WIDTH || (len == LISTING_CELL_WIDTH && cell == 3)) {
		line.put(cell, name, len);
	} else if (spill + cell < LISTING_CELLS) {
		line.put(cell, name, len);
		cell += spill;
	} else if (len >= LISTING_WIDTH) {
		line.flush();
		fprintf(line.out, "%s\n", name);
		cell = -1;
	} else {
		line.flush();
		line.put(0, name, len);
		cell = spill;
	}
	if (cell == 3)
		line.flush();
	cell = (cell + 1) % LISTING_CELLS;
}

} // namespace

void print_cmd_listing(FILE *out, const sys_cmd_entry *table, bool debug_enabled)
{
	fprintf(out, "valid subcommands:\n");
	ListingLine line(out);
	int cell = 0;
	for (const sys_cmd_entry *row = table; row->name; row++) {
		if (row_visible(row, debug_enabled))
			list_name(line, cell, row->name);
	}
	if (cell != 0)
		line.flush();
}

namespace {

// The first visible row whose name begins with the typed word; an empty word
// therefore selects the first visible row.
const sys_cmd_entry *find_row(const sys_cmd_entry *table, const char *word, bool debug_enabled)
{
	size_t len = strlen(word);
	for (const sys_cmd_entry *row = table; row->name; row++) {
		if (row_visible(row, debug_enabled) && strncmp(word, row->name, len) == 0)
			return row;
	}
	return nullptr;
}

} // namespace

int sys_dispatch(const sys_cmd_entry *table, int argc, char *argv[], void *ctx)
{
	unsigned char mrd[MRD_SIZE];
	if (!MRDread(mrd)) {
		// Deliberately reported as success, not as an error code; no
		// command runs.
		printf("Fail to get MRD information!\n");
		return 0;
	}
	bool debug_enabled = mrd[MRD_DEBUG_FLAG] != 0;
	if (argc < 1) {
		printf("SUBCMD - Don't know what to do?\n");
		return -1;
	}
	const sys_cmd_entry *row = argc > 1 ? find_row(table, argv[1], debug_enabled) : nullptr;
	if (!row) {
		print_cmd_listing(stdout, table, debug_enabled);
		return -1;
	}
	int count = argc - 1;
	if (row->min_args < count)
		return row->handler ? row->handler(count, argv + 1, ctx) : 0;
	if (row->usage)
		printf("Usage: %s\n", row->usage);
	return -1;
}
