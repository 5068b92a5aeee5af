/* Gateway build: requests go straight to the kernel's MTD driver. */
#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "mtd_dev.h"

int mtd_dev_ioctl(int fd, unsigned long request, void *arg)
{
	return ioctl(fd, request, arg);
}

int mtd_dev_open(const char *path, int flags)
{
	return open(path, flags);
}

ssize_t mtd_dev_write(int fd, const void *buf, size_t len)
{
	return write(fd, buf, len);
}
