/* Requests to the wireless driver (wireless-extensions ioctls on a datagram
 * socket, naming the interface in the request). On the gateway this is
 * ioctl(2). */
#ifndef RADIO_DEV_H
#define RADIO_DEV_H

#include <linux/wireless.h>

#ifdef __cplusplus
extern "C" {
#endif

/* As ioctl(2): 0 on success, -1 with errno set on failure (ENODEV when the
 * interface named in REQ does not exist). */
int radio_dev_ioctl(int sock, unsigned long request, struct iwreq *req);

#ifdef __cplusplus
}
#endif

#endif
