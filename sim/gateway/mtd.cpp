// /userfs/bin/mtd: the gateway's flash utility.
//
//   mtd [-f] write FILE PARTITION    erase the partition, then program FILE
//   mtd [-f] erase PARTITION         erase the whole partition
//   mtd writeflash FILE LENGTH OFFSET PARTITION
//                                    program LENGTH bytes of FILE at OFFSET,
//                                    keeping the rest of the erase blocks
//
// The partition is worked erase block by erase block (erase, program, read
// back, next), as on real flash: an interrupted run leaves the blocks before
// the cut new, the block at the cut erased and the blocks after it old. A
// block whose contents do not change is neither erased nor programmed, so a
// write of the whole boot-loader partition that changes only the
// manufacturing record's block never puts the boot code's block at risk.
// Power cuts for tests (SIGKILL, so nothing after the cut runs):
// GWSIM_MTD_KILL_AFTER_BLOCKS=N cuts after the Nth block is done (erased and
// programmed); GWSIM_MTD_KILL_AFTER_ERASES=N cuts right after the Nth block
// is erased, before it is programmed.
// Slow flash for tests: GWSIM_MTD_ERASE_DELAY_US=N makes every block erase
// take N microseconds more, as erasing a block of real NOR flash takes long.
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "lib/safe_file.h"
#include "mtd_dev.h"
#include "proc_mtd.h"

namespace {

__attribute__((format(printf, 1, 2))) int fail(const char *fmt, ...)
{
	va_list ap;
	va_start(ap, fmt);
	fputs("mtd: ", stderr);
	vfprintf(stderr, fmt, ap);
	fputc('\n', stderr);
	va_end(ap);
	return 1;
}

class Partition {
public:
	~Partition()
	{
		if (fd_ >= 0)
			close(fd_);
		free(block_);
		free(current_);
	}

	int open_named(const char *name)
	{
		// Partitions are found as the program finds them; an unlisted
		// name is taken as a path, opened like any file in /tmp.
		proc_mtd_entry listed;
		if (proc_mtd_by_name(name, &listed))
			fd_ = open(listed.dev, O_RDWR | O_CLOEXEC);
		else
			fd_ = safe_open(name, O_RDWR);
		if (fd_ < 0)
			return fail("cannot open partition %s", name);
		if (mtd_dev_ioctl(fd_, MEMGETINFO, &info_) < 0 || info_.erasesize == 0)
			return fail("%s is not an MTD partition", name);
		block_ = static_cast<unsigned char *>(malloc(info_.erasesize));
		current_ = static_cast<unsigned char *>(malloc(info_.erasesize));
		if (!block_ || !current_)
			return fail("out of memory for %s", name);
		kill_after_ = env_number("GWSIM_MTD_KILL_AFTER_BLOCKS");
		kill_after_erases_ = env_number("GWSIM_MTD_KILL_AFTER_ERASES");
		erase_delay_us_ = env_number("GWSIM_MTD_ERASE_DELAY_US");
		return 0;
	}

	uint32_t size() const { return info_.size; }
	uint32_t erase_size() const { return info_.erasesize; }
	unsigned char *block() { return block_; }

	bool read_block(uint32_t start)
	{
		return pread(fd_, block_, info_.erasesize, start) == static_cast<ssize_t>(info_.erasesize);
	}

	// Makes the block at START hold the staged block buffer: erased and
	// programmed only when its contents change, then read back.
	bool update_block(uint32_t start)
	{
		if (pread(fd_, current_, info_.erasesize, start) == static_cast<ssize_t>(info_.erasesize) &&
		    memcmp(current_, block_, info_.erasesize) == 0)
			return true;
		erase_info_user req = {start, info_.erasesize};
		if (erase_delay_us_ > 0)
			usleep(static_cast<useconds_t>(erase_delay_us_));
		if (mtd_dev_ioctl(fd_, MEMERASE, &req) < 0)
			return false;
		if (kill_after_erases_ >= 0 && ++erases_done_ >= kill_after_erases_)
			raise(SIGKILL);
		if (!staged_is_erased() &&
		    pwrite(fd_, block_, info_.erasesize, start) != static_cast<ssize_t>(info_.erasesize))
			return false;
		if (kill_after_ >= 0 && ++blocks_done_ >= kill_after_)
			raise(SIGKILL);
		return pread(fd_, current_, info_.erasesize, start) == static_cast<ssize_t>(info_.erasesize) &&
		       memcmp(current_, block_, info_.erasesize) == 0;
	}

private:
	bool staged_is_erased() const
	{
		for (uint32_t i = 0; i < info_.erasesize; i++) {
			if (block_[i] != 0xFF)
				return false;
		}
		return true;
	}

	static long env_number(const char *var)
	{
		const char *value = getenv(var);
		return value && *value ? atol(value) : -1;
	}

	int fd_ = -1;
	mtd_info_user info_ = {};
	unsigned char *block_ = nullptr;
	unsigned char *current_ = nullptr;
	long kill_after_ = -1;
	long blocks_done_ = 0;
	long kill_after_erases_ = -1;
	long erases_done_ = 0;
	long erase_delay_us_ = -1;
};

// Reads up to len bytes; returns how many arrived, or -1 on error.
ssize_t read_full(int fd, unsigned char *buf, size_t len)
{
	size_t got = 0;
	while (got < len) {
		ssize_t n = read(fd, buf + got, len - got);
		if (n < 0 && errno == EINTR)
			continue;
		if (n < 0)
			return -1;
		if (n == 0)
			break;
		got += static_cast<size_t>(n);
	}
	return static_cast<ssize_t>(got);
}

int erase_partition(const char *name)
{
	Partition part;
	if (part.open_named(name))
		return 1;
	memset(part.block(), 0xFF, part.erase_size());
	for (uint32_t start = 0; start < part.size(); start += part.erase_size()) {
		if (!part.update_block(start))
			return fail("erase of %s failed", name);
	}
	return 0;
}

int write_partition(const char *file, const char *name)
{
	Partition part;
	if (part.open_named(name))
		return 1;
	int in = safe_open(file, O_RDONLY);
	if (in < 0)
		return fail("cannot open %s", file);
	struct stat st;
	if (fstat(in, &st) < 0 || static_cast<uint64_t>(st.st_size) > part.size()) {
		close(in);
		return fail("%s does not fit the partition", file);
	}
	int rc = 0;
	for (uint32_t start = 0; start < part.size() && rc == 0; start += part.erase_size()) {
		memset(part.block(), 0xFF, part.erase_size());
		ssize_t got = read_full(in, part.block(), part.erase_size());
		if (got < 0)
			rc = fail("cannot read %s", file);
		else if (!part.update_block(start))
			rc = fail("write of %s failed", name);
	}
	close(in);
	return rc;
}

bool parse_number(const char *text, uint64_t *value)
{
	char *end;
	errno = 0;
	unsigned long long v = strtoull(text, &end, 0);
	if (errno || end == text || *end || text[0] == '-')
		return false;
	*value = v;
	return true;
}

int write_range(const char *file, const char *length_text, const char *offset_text, const char *name)
{
	uint64_t length, offset;
	if (!parse_number(length_text, &length))
		return fail("bad length %s", length_text);
	if (!parse_number(offset_text, &offset))
		return fail("bad offset %s", offset_text);
	Partition part;
	if (part.open_named(name))
		return 1;
	if (offset + length > part.size() || offset + length < offset)
		return fail("range is beyond the end of %s", name);
	int in = safe_open(file, O_RDONLY);
	if (in < 0)
		return fail("cannot open %s", file);
	unsigned char *data = static_cast<unsigned char *>(malloc(length ? length : 1));
	ssize_t got = data ? read_full(in, data, length) : -1;
	close(in);
	int rc = 0;
	if (got < 0 || static_cast<uint64_t>(got) < length)
		rc = fail("%s is shorter than the length", file);
	uint32_t erase = part.erase_size();
	uint64_t end = offset + length;
	for (uint64_t start = offset / erase * erase; rc == 0 && start < end; start += erase) {
		if (!part.read_block(static_cast<uint32_t>(start))) {
			rc = fail("cannot read %s", name);
			break;
		}
		uint64_t from = offset > start ? offset : start;
		uint64_t to = end < start + erase ? end : start + erase;
		memcpy(part.block() + (from - start), data + (from - offset), to - from);
		if (!part.update_block(static_cast<uint32_t>(start)))
			rc = fail("write of %s failed", name);
	}
	free(data);
	return rc;
}

int usage()
{
	fprintf(stderr, "usage: mtd [-f] write FILE PARTITION | mtd [-f] erase PARTITION | "
			"mtd writeflash FILE LENGTH OFFSET PARTITION\n");
	return 1;
}

} // namespace

int main(int argc, char *argv[])
{
	int i = 1;
	if (i < argc && strcmp(argv[i], "-f") == 0)
		i++;
	int args = argc - i - 1;
	if (i >= argc)
		return usage();
	const char *verb = argv[i];
	char **arg = argv + i + 1;
	if (strcmp(verb, "write") == 0 && args == 2)
		return write_partition(arg[0], arg[1]);
	if (strcmp(verb, "erase") == 0 && args == 1)
		return erase_partition(arg[0]);
	if (strcmp(verb, "writeflash") == 0 && args == 4)
		return write_range(arg[0], arg[1], arg[2], arg[3]);
	return usage();
}
