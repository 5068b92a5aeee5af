#include "proc_mtd.h"

#include <cstdio>
#include <cstring>

#include "gateway_paths.h"

namespace {

bool parse_line(const char *line, proc_mtd_entry *e)
{
	char colon = 0;
	if (sscanf(line, "mtd%u%c", &e->index, &colon) != 2 || colon != ':')
		return false;
	unsigned size = 0, erase = 0;
	if (sscanf(strchr(line, ':') + 1, "%x %x", &size, &erase) != 2)
		size = erase = 0;
	e->size = size;
	e->erase_size = erase;
	snprintf(e->dev, sizeof e->dev, "/dev/mtd%u", e->index);
	return true;
}

// The first partition line for which MATCH holds, in listed order.
template <typename Match>
bool find_partition(Match match, proc_mtd_entry *found)
{
	FILE *list = fopen(GW_PROC_MTD, "re");
	if (!list)
		return false;
	char line[4096];
	bool hit = false;
	while (!hit && fgets(line, sizeof line, list))
		hit = parse_line(line, found) && match(line, *found);
	fclose(list);
	return hit;
}

} // namespace

bool proc_mtd_by_name(const char *name, proc_mtd_entry *found)
{
	return find_partition([name](const char *line, const proc_mtd_entry &) { return strstr(line, name) != nullptr; },
			      found);
}

bool proc_mtd_by_file(const struct stat &st, proc_mtd_entry *found)
{
	return find_partition(
		[&st](const char *, const proc_mtd_entry &e) {
			struct stat dev_st;
			return e.erase_size != 0 && stat(e.dev, &dev_st) == 0 && dev_st.st_dev == st.st_dev &&
			       dev_st.st_ino == st.st_ino;
		},
		found);
}
