/* Opening and writing a partition, on the gateway and on the simulated one
 * alike: they keep to what a partition is, whatever stands behind the
 * descriptor. The kernel's MTD driver ignores O_TRUNC and ends a write at
 * the partition's end; so do these, from the driver's own MEMGETINFO
 * (mtd_dev_ioctl: the kernel's, or the simulated driver's answer for a
 * partition file). */
#define _POSIX_C_SOURCE 200809L
#include <errno.h>
#include <fcntl.h>
#include <stdint.h>
#include <unistd.h>

#include "mtd_dev.h"

/* A partition is never emptied by its opening; any other file is. */
int mtd_dev_open(const char *path, int flags)
{
	int fd = open(path, flags & ~O_TRUNC);
	if (fd < 0 || !(flags & O_TRUNC))
		return fd;
	struct mtd_info_user info;
	if (mtd_dev_ioctl(fd, MEMGETINFO, &info) == 0)
		return fd;
	if (ftruncate(fd, 0) < 0) {
		int err = errno;
		close(fd);
		errno = err;
		return -1;
	}
	return fd;
}

/* Cut short at the partition's end; ENOSPC from there on. */
ssize_t mtd_dev_write(int fd, const void *buf, size_t len)
{
	struct mtd_info_user info;
	off_t at = lseek(fd, 0, SEEK_CUR);
	if (at >= 0 && mtd_dev_ioctl(fd, MEMGETINFO, &info) == 0) {
		if ((uint64_t)at >= info.size) {
			errno = ENOSPC;
			return -1;
		}
		if (len > info.size - (uint64_t)at)
			len = (size_t)(info.size - (uint64_t)at);
	}
	return write(fd, buf, len);
}
