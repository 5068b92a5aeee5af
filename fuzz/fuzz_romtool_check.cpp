// romtool check, info and decode: any file through the backup reader and its
// verdict. A backup judged loadable must have the text, checksum and tree
// the verdict rests on.
#include <cstdlib>

#include "flash/crc32.h"
#include "tools/romtool/backup.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char *data, size_t size)
{
	backup b;
	backup_load(reinterpret_cast<const char *>(data), size, &b);
	if (b.fault != BACKUP_OK)
		return b.reason.empty() ? (abort(), 0) : 0;
	if (!b.tree || b.body == 0 || b.body > b.text.size() ||
	    nox_crc32(reinterpret_cast<const unsigned char *>(b.text.data()), b.body) != b.computed ||
	    (b.has_trailer && b.computed != b.stored))
		abort();
	return 0;
}
