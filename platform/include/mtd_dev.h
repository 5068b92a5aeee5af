/* Requests to the MTD character-device driver (MEMGETINFO, MEMERASE, ...).
 * On the gateway this is ioctl(2) on /dev/mtdN. */
#ifndef MTD_DEV_H
#define MTD_DEV_H

#include <sys/ioctl.h>
#include <mtd/mtd-user.h>

#ifdef __cplusplus
extern "C" {
#endif

/* As ioctl(2): 0 on success, -1 with errno set on failure. */
int mtd_dev_ioctl(int fd, unsigned long request, void *arg);

#ifdef __cplusplus
}
#endif

#endif
