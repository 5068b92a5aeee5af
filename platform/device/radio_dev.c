/* Gateway build: requests go straight to the kernel's wireless driver. */
#include <sys/ioctl.h>

#include "radio_dev.h"

int radio_dev_ioctl(int sock, unsigned long request, struct iwreq *req)
{
	return ioctl(sock, request, req);
}
