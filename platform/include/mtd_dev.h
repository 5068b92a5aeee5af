/* The MTD character-device driver: opening /dev/mtdN, writing it and its
 * requests (MEMGETINFO, MEMERASE, ...). On the gateway these are open(2),
 * write(2) and ioctl(2) on the device. */
#ifndef MTD_DEV_H
#define MTD_DEV_H

#include <sys/ioctl.h>
#include <sys/types.h>
#include <mtd/mtd-user.h>

#ifdef __cplusplus
extern "C" {
#endif

/* As ioctl(2): 0 on success, -1 with errno set on failure. */
int mtd_dev_ioctl(int fd, unsigned long request, void *arg);

/* As open(2). The driver ignores O_TRUNC: a partition keeps its size and
 * contents. */
int mtd_dev_open(const char *path, int flags);

/* As write(2) at the descriptor's offset. The driver writes nothing past
 * the partition's end: a write that reaches it is cut short there, and one
 * that starts there fails with ENOSPC. */
ssize_t mtd_dev_write(int fd, const void *buf, size_t len);

#ifdef __cplusplus
}
#endif

#endif
