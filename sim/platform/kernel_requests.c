/* The simulated gateway's kernel as its programs reach it: every dynamic
 * program inside the gateway loads this library first (the gateway's
 * /etc/ld.so.preload), so a program's ioctl(2) comes here before the C
 * library's, goes to the workstation's kernel, and what that kernel does
 * not serve for the gateway's devices (partition files, the radio) is
 * answered as the gateway's drivers answer it. Every other request is the
 * kernel's alone. */
#include <errno.h>
#include <stdarg.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "sim_drivers.h"

int ioctl(int fd, unsigned long request, ...)
{
	va_list ap;
	va_start(ap, request);
	void *arg = va_arg(ap, void *);
	va_end(ap);
	int rc;
	if (sim_radio_request(request, arg, &rc))
		return rc;
	rc = (int)syscall(SYS_ioctl, fd, request, arg);
	if (rc == 0 || (errno != ENOTTY && errno != EINVAL && errno != ENOSYS))
		return rc;
	return sim_mtd_request(fd, request, arg, errno);
}
