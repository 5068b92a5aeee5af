// MTD requests on the simulated gateway, where /dev/mtdN are regular files.
// The real request is tried first, so a real MTD device works unchanged; when
// the descriptor turns out to be a partition file, the driver's answer is
// emulated from /proc/mtd.
#include "mtd_dev.h"

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "proc_mtd.h"
#include "sim_drivers.h"

namespace {

constexpr size_t ERASE_CHUNK = 4096;

// The erase size /proc/mtd lists for the partition whose /dev/mtdN is the
// same file as st. 0 when the file is no listed partition.
uint32_t listed_erase_size(const struct stat &st)
{
	proc_mtd_entry e;
	return proc_mtd_by_file(st, &e) ? e.erase_size : 0;
}

int fail(int err)
{
	errno = err;
	return -1;
}

int get_info(const struct stat &st, uint32_t erase_size, mtd_info_user *info)
{
	memset(info, 0, sizeof *info);
	info->type = MTD_NORFLASH;
	info->flags = MTD_CAP_NORFLASH;
	info->size = static_cast<uint32_t>(st.st_size);
	info->erasesize = erase_size;
	info->writesize = 1;
	return 0;
}

int erase(int fd, const struct stat &st, uint32_t erase_size, const erase_info_user *req)
{
	uint64_t end = static_cast<uint64_t>(req->start) + req->length;
	if (end > static_cast<uint64_t>(st.st_size) || req->start % erase_size || req->length % erase_size)
		return fail(EINVAL);
	unsigned char ones[ERASE_CHUNK];
	memset(ones, 0xFF, sizeof ones);
	for (uint64_t pos = req->start; pos < end;) {
		size_t n = end - pos < sizeof ones ? static_cast<size_t>(end - pos) : sizeof ones;
		ssize_t done = pwrite(fd, ones, n, static_cast<off_t>(pos));
		if (done <= 0)
			return fail(done < 0 ? errno : EIO);
		pos += static_cast<uint64_t>(done);
	}
	return 0;
}

} // namespace

int mtd_dev_ioctl(int fd, unsigned long request, void *arg)
{
	int rc = ioctl(fd, request, arg);
	if (rc == 0 || (errno != ENOTTY && errno != EINVAL && errno != ENOSYS))
		return rc;
	return sim_mtd_request(fd, request, arg, errno);
}

int sim_mtd_request(int fd, unsigned long request, void *arg, int saved)
{
	struct stat st;
	if (fstat(fd, &st) < 0 || !S_ISREG(st.st_mode))
		return fail(saved);
	if (request != MEMGETINFO && request != MEMERASE)
		return fail(ENOTTY);
	uint32_t erase_size = listed_erase_size(st);
	if (erase_size == 0)
		return fail(ENOTTY);
	if (!arg)
		return fail(EFAULT);
	if (request == MEMGETINFO)
		return get_info(st, erase_size, static_cast<mtd_info_user *>(arg));
	return erase(fd, st, erase_size, static_cast<const erase_info_user *>(arg));
}
