// The MTD driver on the simulated gateway, where /dev/mtdN are regular files.
// The real call is made first where a real MTD device could answer, so a
// real device works unchanged; on a partition file the driver's answer is
// given from /proc/mtd, as the kernel's MTD driver gives it: the partition
// is as large as listed however large the file is (so opening and writing,
// platform/common/mtd_dev_rw.c, keep to it), and a NOR partition has no bad
// blocks, no erase regions and no ECC corrections.
#include "mtd_dev.h"

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "proc_mtd.h"
#include "sim_drivers.h"

namespace {

constexpr size_t ERASE_CHUNK = 4096;

int fail(int err)
{
	errno = err;
	return -1;
}

// The listed partition whose /dev/mtdN is the regular file FD is open on.
bool partition_of(int fd, proc_mtd_entry *e, struct stat *st)
{
	return fstat(fd, st) == 0 && S_ISREG(st->st_mode) && proc_mtd_by_file(*st, e) && e->erase_size != 0;
}

int get_info(const proc_mtd_entry &e, void *arg)
{
	auto *info = static_cast<mtd_info_user *>(arg);
	memset(info, 0, sizeof *info);
	info->type = MTD_NORFLASH;
	info->flags = MTD_CAP_NORFLASH;
	info->size = e.size;
	info->erasesize = e.erase_size;
	info->writesize = 1;
	return 0;
}

int erase(int fd, const proc_mtd_entry &e, void *arg)
{
	const auto *req = static_cast<const erase_info_user *>(arg);
	uint64_t end = static_cast<uint64_t>(req->start) + req->length;
	if (end > e.size || req->start % e.erase_size || req->length % e.erase_size)
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

int get_bad_block(const proc_mtd_entry &e, void *arg)
{
	const auto *offset = static_cast<const loff_t *>(arg);
	return *offset < 0 || static_cast<uint64_t>(*offset) >= e.size ? fail(EINVAL) : 0;
}

int get_region_count(const proc_mtd_entry &, void *arg)
{
	*static_cast<int *>(arg) = 0;
	return 0;
}

int get_ecc_stats(const proc_mtd_entry &, void *arg)
{
	memset(arg, 0, sizeof(mtd_ecc_stats));
	return 0;
}

struct Request {
	unsigned long request;
	int (*answer)(const proc_mtd_entry &, void *);
};

// What a NOR partition answers; MEMERASE also needs the descriptor.
const Request REQUESTS[] = {
	{MEMGETINFO, get_info},
	{MEMGETBADBLOCK, get_bad_block},
	{MEMGETREGIONCOUNT, get_region_count},
	{ECCGETSTATS, get_ecc_stats},
};

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
	struct stat st = {};
	proc_mtd_entry e;
	if (!partition_of(fd, &e, &st))
		return fail(S_ISREG(st.st_mode) ? ENOTTY : saved);
	if (!arg)
		return fail(EFAULT);
	if (request == MEMERASE)
		return erase(fd, e, arg);
	for (const Request &r : REQUESTS) {
		if (r.request == request)
			return r.answer(e, arg);
	}
	return fail(ENOTTY);
}
