// sys: the gateway's console command. One command per invocation; whole
// invocations are serialised by an advisory lock so that one command's store
// writes, saves and flash writes finish before the next command starts.
#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

#include "lib/safe_file.h"
#include "shell/dispatch.h"
#include "shell/sys_table.h"

namespace {

constexpr const char LOCK_FILE[] = "/tmp/syslockfd";

void set_lock(int fd, short type, int cmd)
{
	struct flock lock = {};
	lock.l_type = type;
	lock.l_whence = SEEK_SET;
	lock.l_start = 0;
	lock.l_len = 0;
	fcntl(fd, cmd, &lock);
}

} // namespace

int main(int argc, char *argv[])
{
	int fd = safe_open(LOCK_FILE, O_RDWR | O_CREAT, 0666);
	if (fd < 0) {
		printf("open lock file error!\n");
		return sys_dispatch(sys_cmd_table, argc, argv, nullptr);
	}
	set_lock(fd, F_WRLCK, F_SETLKW);
	int rc = sys_dispatch(sys_cmd_table, argc, argv, nullptr);
	set_lock(fd, F_UNLCK, F_SETLK);
	return rc;
}
