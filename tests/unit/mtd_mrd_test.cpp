#include <gtest/gtest.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <string>

#include "flash/mrd.h"
#include "flash/mtd.h"
#include "helpers.h"

namespace {

// Tests rewrite the partition list and the boot-loader partition.
class GatewayFlash : public ::testing::Test {
protected:
	void SetUp() override { ASSERT_EQ(mtd0_.size(), BOOT_BLOCK_SIZE); }
	SavedFiles saved_{ "/proc/mtd", "/dev/mtd0" };
	const std::string mtd0_ = read_file("/dev/mtd0");
};

// Which /dev/mtdN the name opens, or "" when the open fails.
std::string opened_device(int (*open_fn)(const char *, int), const char *name)
{
	int fd = open_fn(name, O_RDONLY);
	if (fd < 0)
		return "";
	struct stat opened, st;
	int known = fstat(fd, &opened);
	close(fd);
	for (int n = 0; known == 0 && n < 16; n++) {
		std::string dev = "/dev/mtd" + std::to_string(n);
		if (stat(dev.c_str(), &st) == 0 && st.st_ino == opened.st_ino)
			return dev;
	}
	return "other";
}

const char PARTITIONS[] = "dev:    size   erasesize  name\n"
			  "mtd0: 00020000 00010000 \"bootloader\"\n"
			  "mtd1: 00020000 00010000 \"second_romfile\"\n"
			  "mtd5: 00020000 00010000 \"romfile\"\n"
			  "mtd6: 00020000 00010000 \"romd\"\n";

struct OpenCase { const char *list, *name, *device; };

TEST_F(GatewayFlash, OpenByNameTakesTheFirstLineContainingIt)
{
	const OpenCase cases[] = {
		{ PARTITIONS, "bootloader", "/dev/mtd0" },
		{ PARTITIONS, "romfile", "/dev/mtd1" }, // a substring of second_romfile
		{ PARTITIONS, "romd", "/dev/mtd6" },
		{ PARTITIONS, "mtd5", "/dev/mtd5" },	// the device name is part of the line too
		{ PARTITIONS, "/dev/mtd3", "/dev/mtd3" }, // a path passes straight through
		{ PARTITIONS, "size", "" },		// only the header has it: not a partition
		{ PARTITIONS, "tclinux", "" },
		{ "mtdx: 1 1 \"romd\"\nmtd: 1 1 \"romd\"\nmtd7 \"romd\"\n", "romd", "" },
		// A number is read whole, leading zeros and all; one past int is no line.
		{ "mtd2147483647: 1 1 \"romd_old\"\nmtd5: 1 1 \"romd\"\n", "romd", "/dev/mtd6" },
		{ "mtd002147483647: 1 1 \"romd_old\"\nmtd5: 1 1 \"romd\"\n", "romd", "/dev/mtd6" },
		{ "mtd10000000: 1 1 \"romd_old\"\nmtd5: 1 1 \"romd\"\n", "romd", "" },
		{ "mtd2147483648: 1 1 \"romd_old\"\nmtd5: 1 1 \"romd\"\n", "romd", "/dev/mtd5" },
		{ "mtd99999999999999999999: 1 1 \"romd_old\"\nmtd5: 1 1 \"romd\"\n", "romd", "/dev/mtd5" },
		{ "", "romd", "" },
	};
	ASSERT_EQ(symlink("/dev/mtd6", "/dev/mtd2147483647"), 0);
	for (const OpenCase &c : cases) {
		write_file("/proc/mtd", c.list);
		EXPECT_EQ(opened_device(nox_open_mtd, c.name), c.device) << c.name;
		EXPECT_EQ(opened_device(mtd_open, c.name), c.device) << c.name;
	}
	unlink("/dev/mtd2147483647");
}

TEST_F(GatewayFlash, WithoutAPartitionListTheNameIsAPath)
{
	unlink("/proc/mtd");
	EXPECT_EQ(opened_device(nox_open_mtd, "romd"), ""); // no /romd in the root
	EXPECT_EQ(opened_device(nox_open_mtd, "/dev/mtd6"), "/dev/mtd6");
}

TEST_F(GatewayFlash, SizeComesFromTheDriver)
{
	write_file("/tmp/plainfile", "not flash");
	const struct { const char *name; uint32_t size; const char *printed; } cases[] = {
		{ "romd", 0x20000u, "" },
		{ "tclinux", 0x200000u, "" },
		{ "nosuchpart", 0, "Could not open mtd device: nosuchpart\n" },
		{ "/tmp/plainfile", 0, "Could not get MTD device info from /tmp/plainfile\n" },
	};
	for (const auto &c : cases) {
		uint32_t size = 1;
		EXPECT_EQ(capture_stdout([&] { size = nox_mtd_size(c.name); }), c.printed) << c.name;
		EXPECT_EQ(size, c.size) << c.name;
	}
}

// keep: bytes of /dev/mtd0 left; negative: no device at all.
struct BrokenBootCase { const char *what; long keep; const char *read_msg, *write_msg; };

TEST_F(GatewayFlash, UnreadableRecordIsReported)
{
	const BrokenBootCase cases[] = {
		{ "no device", -1, "open mtd device (MRD) error!!\n", "open mtd device (MRD) error!!\n" },
		{ "record cut short", MRD_OFFSET + 166, "read mtd device (MRD) error!!\n",
		  "read mtd device (Bootloader) error!!\n" },
		{ "empty device", 0, "read mtd device (MRD) error!!\n", "read mtd device (Bootloader) error!!\n" },
	};
	for (const BrokenBootCase &c : cases) {
		if (c.keep < 0)
			unlink("/dev/mtd0");
		else
			write_file("/dev/mtd0", mtd0_.substr(0, static_cast<size_t>(c.keep)));
		unsigned char mrd[MRD_SIZE] = {};
		EXPECT_EQ(capture_stdout([&] { EXPECT_EQ(MRDread(mrd), 0); }), c.read_msg) << c.what;
		EXPECT_EQ(capture_stdout([&] { EXPECT_EQ(MRDwrite(mrd), 0); }), c.write_msg) << c.what;
	}
}

} // namespace
