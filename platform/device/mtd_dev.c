/* Gateway build: requests go straight to the kernel's MTD driver. */
#include <sys/ioctl.h>

#include "mtd_dev.h"

int mtd_dev_ioctl(int fd, unsigned long request, void *arg)
{
	return ioctl(fd, request, arg);
}
