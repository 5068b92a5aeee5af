#include "applog.h"

#include <fcntl.h>
#include <unistd.h>

int sim_append_log(const char *path, const char *text, size_t len)
{
	int fd = open(path, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
	if (fd < 0)
		return -1;
	ssize_t n = write(fd, text, len);
	close(fd);
	return n == static_cast<ssize_t>(len) ? 0 : -1;
}
