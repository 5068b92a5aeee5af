#include "factory/factory_common.h"

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <unistd.h>

#include "lib/safe_file.h"

void print_ok()
{
	printf("\nOK\n");
}

void print_error()
{
	printf("\nERROR\n");
}

bool write_flag_file(const char *path, unsigned char value)
{
	int fd = safe_open_own(path, O_WRONLY | O_CREAT, 0644);
	bool ok = fd >= 0 && ftruncate(fd, 0) == 0 && write(fd, &value, 1) == 1;
	if (fd >= 0)
		close(fd);
	if (!ok) {
		printf("Open file error!!\n");
		print_error();
	}
	return ok;
}

int set_block0_permission(unsigned char value)
{
	return write_flag_file(BLOCK0_PERMISSION_FILE, value) ? 1 : 0;
}

// An empty file reads as 0, the value of no permission; so does another
// user's file, which cannot be used.
int get_block0_permission()
{
	int fd = safe_open_own(BLOCK0_PERMISSION_FILE, O_RDONLY);
	if (fd < 0) {
		printf("Open file error!!\n");
		print_error();
		return 0;
	}
	unsigned char value = 0;
	if (read(fd, &value, 1) != 1)
		value = 0;
	close(fd);
	return value;
}

int decimal_int(const char *text)
{
	long value = strtol(text, nullptr, 10);
	if (value > INT_MAX)
		return INT_MAX;
	if (value < INT_MIN)
		return INT_MIN;
	return static_cast<int>(value);
}
