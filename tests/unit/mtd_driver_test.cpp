// The MTD driver's answers on a NOR partition: the simulated gateway's
// partition files answer as the kernel's driver, which the kernel tier runs.
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include "flash/mtd.h"
#include "helpers.h"
#include "mtd_dev.h"

namespace {

constexpr const char DEV[] = "/dev/mtd7";
constexpr const char NAME[] = "reservearea";
constexpr off_t SIZE = 0x20000;
constexpr off_t ERASE = 0x10000;

class MtdDriver : public ::testing::Test {
protected:
	void SetUp() override
	{
		saved_ = read_file(DEV);
		ASSERT_EQ(saved_.size(), size_t(SIZE));
		fd_ = open(DEV, O_RDWR | O_CLOEXEC);
		ASSERT_GE(fd_, 0);
		mtd_info_user info = {};
		ASSERT_EQ(mtd_dev_ioctl(fd_, MEMGETINFO, &info), 0);
		if (info.type == MTD_NANDFLASH || info.type == MTD_MLCNANDFLASH) {
			close(fd_);
			fd_ = -1;
			GTEST_SKIP() << "NAND writes whole pages only";
		}
	}
	void TearDown() override
	{
		if (fd_ < 0)
			return;
		// A partition file is cut to its size again; the kernel's device written over.
		ASSERT_EQ(pwrite(fd_, saved_.data(), saved_.size(), 0), SIZE);
		struct stat st;
		if (fstat(fd_, &st) == 0 && S_ISREG(st.st_mode)) {
			ASSERT_EQ(ftruncate(fd_, SIZE), 0);
		}
		close(fd_);
	}
	std::string saved_;
	int fd_ = -1;
};

struct WriteCase { off_t offset; size_t len; ssize_t written; int err; };

TEST_F(MtdDriver, WritesStopAtThePartitionsEnd)
{
	const WriteCase cases[] = {
		{ SIZE - 4, 8, 4, 0 },	// cut short at the end
		{ SIZE - 1, 1, 1, 0 },	// the last byte
		{ SIZE, 1, -1, ENOSPC }, // nothing past it
		{ SIZE, 0, -1, ENOSPC },
		{ 0, 16, 16, 0 },
	};
	const std::string data(16, 'x');
	for (const WriteCase &c : cases) {
		ASSERT_EQ(lseek(fd_, c.offset, SEEK_SET), c.offset);
		errno = 0;
		EXPECT_EQ(mtd_dev_write(fd_, data.data(), c.len), c.written) << c.offset << "+" << c.len;
		if (c.written < 0) {
			EXPECT_EQ(errno, c.err) << c.offset << "+" << c.len;
		}
		mtd_info_user info = {};
		ASSERT_EQ(mtd_dev_ioctl(fd_, MEMGETINFO, &info), 0);
		EXPECT_EQ(info.size, uint32_t(SIZE));
	}
	EXPECT_EQ(read_file(DEV).size(), size_t(SIZE));
	EXPECT_EQ(read_file(DEV).substr(SIZE - 4), "xxxx");
}

TEST_F(MtdDriver, InfoNeverReportsAGrownPartition)
{
	// A plain write past the end grows a file; the kernel refuses it.
	(void)!pwrite(fd_, "grow", 4, SIZE + ERASE);
	mtd_info_user info = {};
	ASSERT_EQ(mtd_dev_ioctl(fd_, MEMGETINFO, &info), 0);
	EXPECT_EQ(info.size, uint32_t(SIZE));
	EXPECT_EQ(info.erasesize, uint32_t(ERASE));
	EXPECT_EQ(nox_mtd_size(NAME), uint32_t(SIZE));
}

TEST_F(MtdDriver, TruncatingOpenKeepsThePartition)
{
	int fd = mtd_dev_open(DEV, O_RDWR | O_TRUNC | O_CLOEXEC);
	ASSERT_GE(fd, 0);
	close(fd);
	EXPECT_EQ(read_file(DEV), saved_);
	fd = nox_open_mtd(NAME, O_RDWR | O_TRUNC);
	ASSERT_GE(fd, 0);
	close(fd);
	EXPECT_EQ(read_file(DEV), saved_);
}

// offset: MEMGETBADBLOCK's argument.
struct RequestCase { const char *what; unsigned long request; loff_t offset; int rc, err; };

TEST_F(MtdDriver, RequestsAreAnsweredAsOnNor)
{
	const RequestCase cases[] = {
		{ "first block is good", MEMGETBADBLOCK, 0, 0, 0 },
		{ "last block is good", MEMGETBADBLOCK, SIZE - ERASE, 0, 0 },
		{ "no block past the end", MEMGETBADBLOCK, SIZE, -1, EINVAL },
		{ "no negative offset", MEMGETBADBLOCK, -1, -1, EINVAL },
		{ "no erase regions", MEMGETREGIONCOUNT, 0, 0, 0 },
		{ "no corrections", ECCGETSTATS, 0, 0, 0 },
		{ "an unknown request", _IO('M', 0x7f), 0, -1, ENOTTY },
	};
	for (const RequestCase &c : cases) {
		union { loff_t offset; int count; mtd_ecc_stats stats; } arg;
		memset(&arg, 0x5A, sizeof arg);
		if (c.request == MEMGETBADBLOCK)
			arg.offset = c.offset;
		errno = 0;
		EXPECT_EQ(mtd_dev_ioctl(fd_, c.request, &arg), c.rc) << c.what;
		if (c.rc < 0) {
			EXPECT_EQ(errno, c.err) << c.what;
		}
		if (c.request == MEMGETREGIONCOUNT) {
			EXPECT_EQ(arg.count, 0) << c.what;
		}
		if (c.request == ECCGETSTATS) {
			mtd_ecc_stats zero = {};
			EXPECT_EQ(memcmp(&arg.stats, &zero, sizeof zero), 0) << c.what;
		}
	}
}

} // namespace
