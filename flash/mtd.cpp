#include "flash/mtd.h"

#include <cctype>
#include <climits>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>


namespace {

constexpr const char PROC_MTD[] = "/proc/mtd";
constexpr int PROC_MTD_LINE = 4096;

// A partition line starts "mtd<N>:"; the header line does not. The number
// is read whole: one past what the kernel can number a device is no
// partition line, never a smaller number.
bool parse_mtd_index(const char *line, int *index)
{
	if (strncmp(line, "mtd", 3) != 0 || !isdigit(static_cast<unsigned char>(line[3])))
		return false;
	long long n = 0;
	const char *p = line + 3;
	for (; isdigit(static_cast<unsigned char>(*p)); p++) {
		n = n * 10 + (*p - '0');
		if (n > INT_MAX)
			return false;
	}
	if (*p != ':')
		return false;
	*index = int(n);
	return true;
}

// The match is a plain substring test on the whole line, so "romfile" is
// found in "second_romfile" too when the kernel lists that one first.
int open_partition(const char *name, int flags)
{
	FILE *list = fopen(PROC_MTD, "r");
	if (list) {
		char line[PROC_MTD_LINE];
		while (fgets(line, sizeof line, list)) {
			int index;
			if (!parse_mtd_index(line, &index) || !strstr(line, name))
				continue;
			fclose(list);
			char dev[32];
			snprintf(dev, sizeof dev, "/dev/mtd%d", index);
			return mtd_dev_open(dev, flags);
		}
		fclose(list);
	}
	return mtd_dev_open(name, flags);
}

} // namespace

int nox_open_mtd(const char *name, int flags)
{
	return open_partition(name, flags);
}

int mtd_open(const char *name, int flags)
{
	return open_partition(name, flags);
}

bool mtd_read_info(int fd, const char *name, mtd_info_user *info, FILE *out, bool blocks_needed)
{
	memset(info, 0, sizeof *info);
	if (mtd_dev_ioctl(fd, MEMGETINFO, info) < 0 || (blocks_needed && info->erasesize == 0)) {
		fprintf(out, "Could not get MTD device info from %s\n", name);
		return false;
	}
	return true;
}

uint32_t nox_mtd_size(const char *name)
{
	int fd = nox_open_mtd(name, O_RDONLY);
	if (fd < 0) {
		printf("Could not open mtd device: %s\n", name);
		return 0;
	}
	mtd_info_user info;
	bool ok = mtd_read_info(fd, name, &info, stdout, false);
	close(fd);
	return ok ? info.size : 0;
}
