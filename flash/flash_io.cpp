#include "flash/flash_io.h"

#include <unistd.h>

namespace {

constexpr uint64_t FLASH_POS_LIMIT = 0x7FFFFFFF;

} // namespace

bool flash_seek(int fd, uint64_t offset)
{
	return offset <= FLASH_POS_LIMIT && lseek(fd, off_t(offset), SEEK_SET) >= 0;
}

// pread: one call per read, and the descriptor's own position stays where
// it was.
size_t flash_read_at(int fd, uint64_t offset, void *buf, size_t len)
{
	if (offset > FLASH_POS_LIMIT)
		return 0;
	unsigned char *out = static_cast<unsigned char *>(buf);
	size_t got = 0;
	while (got < len) {
		ssize_t n = pread(fd, out + got, len - got, off_t(offset + got));
		if (n <= 0)
			break;
		got += size_t(n);
	}
	return got;
}
