#include "flash/flash_io.h"

#include <unistd.h>

namespace {

constexpr uint64_t FLASH_POS_LIMIT = 0x7FFFFFFF;

} // namespace

bool flash_seek(int fd, uint64_t offset)
{
	return offset <= FLASH_POS_LIMIT && lseek(fd, off_t(offset), SEEK_SET) >= 0;
}

size_t flash_read_at(int fd, uint64_t offset, void *buf, size_t len)
{
	if (!flash_seek(fd, offset))
		return 0;
	unsigned char *out = static_cast<unsigned char *>(buf);
	size_t got = 0;
	while (got < len) {
		ssize_t n = read(fd, out + got, len - got);
		if (n <= 0)
			break;
		got += size_t(n);
	}
	return got;
}
