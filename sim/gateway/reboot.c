/* /sbin/reboot of the simulated gateway: records the request and leaves the
 * gateway running, so a test can see that a reboot was asked for. */
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "gateway_paths.h"

#define LINE_MAX_LEN 4096

int main(int argc, char *argv[])
{
	char line[LINE_MAX_LEN];
	size_t len = 0;
	for (int i = 0; i < argc; i++) {
		const char *word = i == 0 ? "reboot" : argv[i];
		int n = snprintf(line + len, sizeof line - len, "%s%s", i ? " " : "", word);
		if (n < 0 || (size_t)n >= sizeof line - len - 1)
			break;
		len += (size_t)n;
	}
	line[len++] = '\n';
	int fd = open(GW_REBOOT_LOG, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
	if (fd < 0)
		return 1;
	int ok = write(fd, line, len) == (ssize_t)len;
	close(fd);
	return ok ? 0 : 1;
}
