#include "lib/console_ctrl.h"

#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

#include "lib/safe_file.h"

namespace {

constexpr const char CONSOLE_CTRL_FILE[] = "/proc/tc3162/tcci_cmd";

} // namespace

// The file is opened as fopen's "w" opens it and written in one go, without
// a stream: the line needs no buffering, and the command pays for no stream
// or heap set-up it has no other use for.
bool console_ctrl_write(const char *line, int *closed)
{
	int fd = open(CONSOLE_CTRL_FILE, O_WRONLY | O_CREAT | O_TRUNC, 0666);
	if (fd < 0) {
		printf("open /proc/tc3162/tcci_cmd fail\n");
		return false;
	}
	bool written = write_all(fd, line, strlen(line));
	*closed = close(fd) == 0 && written ? 0 : EOF;
	return true;
}
