// romtool diff: two backups from one input (split at its first two bytes'
// count). A backup never differs from itself, and two that differ do so in
// both directions.
#include <cstdio>
#include <cstdlib>

#include "tools/romtool/backup.h"
#include "tools/romtool/config_diff.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char *data, size_t size)
{
	if (size < 2)
		return 0;
	size_t split = 2 + ((static_cast<size_t>(data[0]) << 8 | data[1]) % (size - 1));
	const char *text = reinterpret_cast<const char *>(data);
	backup a, b;
	backup_load(text + 2, split - 2, &a);
	backup_load(text + split, size - split, &b);
	if (a.fault != BACKUP_OK || b.fault != BACKUP_OK)
		return 0;
	FILE *null = fopen("/dev/null", "w");
	if (config_diff(a.tree, a.tree, null) != 0)
		abort();
	if ((config_diff(a.tree, b.tree, null) == 0) != (config_diff(b.tree, a.tree, null) == 0))
		abort();
	fclose(null);
	return 0;
}
