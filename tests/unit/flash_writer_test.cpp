#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>
#include <string>
#include <vector>

#include "flash/byteorder.h"
#include "flash/flash_writer.h"
#include "flash/fwtag.h"
#include "helpers.h"

namespace {

constexpr size_t BLOCK = 0x10000;
constexpr size_t SCRATCH_BLOCKS = 4;
const char SCRATCH_DEV[] = "/dev/mtd9";
const char UNTOUCHED = '\xAA';

std::string bytes(size_t len, unsigned seed)
{
	std::string s(len, '\0');
	for (size_t i = 0; i < len; i++)
		s[i] = char((i * 29 + seed * 101 + (i >> 11)) & 0xFF);
	return s;
}

template <typename Fn>
std::string capture_stderr(Fn fn)
{
	fflush(stderr);
	char path[] = "/tmp/stderr.XXXXXX";
	int fd = mkstemp(path);
	int saved = dup(2);
	dup2(fd, 2);
	fn();
	fflush(stderr);
	dup2(saved, 2);
	close(saved);
	close(fd);
	std::string out = read_file(path);
	unlink(path);
	return out;
}

// A four-block partition "scratch" whose untouched bytes are 0xAA, next to
// the gateway's own list.
class FlashWriter : public ::testing::Test {
protected:
	void SetUp() override
	{
		proc_mtd_ = read_file("/proc/mtd");
		buffer_ = read_file("/dev/mtd4");
		main_ = read_file("/dev/mtd3");
		write_file("/proc/mtd", proc_mtd_ + "mtd9: 00040000 00010000 \"scratch\"\n");
		write_file(SCRATCH_DEV, std::string(SCRATCH_BLOCKS * BLOCK, UNTOUCHED));
	}
	void TearDown() override
	{
		write_file("/proc/mtd", proc_mtd_);
		write_file("/dev/mtd4", buffer_);
		write_file("/dev/mtd3", main_);
		unlink(SCRATCH_DEV);
	}
	std::string proc_mtd_, buffer_, main_;
};

int feed(const std::string &piece, bool last)
{
	return writeFlash("scratch", reinterpret_cast<const unsigned char *>(piece.data()), int(piece.size()), last);
}

struct StreamCase {
	const char *name;
	std::vector<size_t> pieces; // the last one is marked last
	size_t blocks_written;      // blocks erased and programmed in all
};

TEST_F(FlashWriter, StreamsFillBlocksInOrderAndPadTheLastWithZeros)
{
	const StreamCase cases[] = {
		{ "small pieces in one block", { 100, 200, 50 }, 1 },
		{ "pieces crossing a block", { 0xC000, 0xC000, 10 }, 2 },
		{ "whole blocks, then an empty last piece", { BLOCK, BLOCK, 0 }, 3 },
		{ "whole block marked last", { BLOCK }, 2 },
		{ "piece longer than a block", { BLOCK + BLOCK / 2 }, 2 },
	};
	for (const StreamCase &c : cases) {
		write_file(SCRATCH_DEV, std::string(SCRATCH_BLOCKS * BLOCK, UNTOUCHED));
		std::string stream;
		for (size_t i = 0; i < c.pieces.size(); i++) {
			std::string piece = bytes(c.pieces[i], unsigned(i));
			stream += piece;
			ASSERT_EQ(feed(piece, i + 1 == c.pieces.size()), 0) << c.name;
		}
		std::string expected = stream;
		expected.resize(c.blocks_written * BLOCK, '\0');
		expected.resize(SCRATCH_BLOCKS * BLOCK, UNTOUCHED);
		EXPECT_TRUE(read_file(SCRATCH_DEV) == expected) << c.name;
	}
}

TEST_F(FlashWriter, EachBlockIsProgrammedAsSoonAsItFills)
{
	std::string first = bytes(BLOCK + 16, 1);
	ASSERT_EQ(feed(first, false), 0);
	std::string flash = read_file(SCRATCH_DEV);
	EXPECT_TRUE(flash.substr(0, BLOCK) == first.substr(0, BLOCK));
	EXPECT_TRUE(flash.substr(BLOCK) == std::string(3 * BLOCK, UNTOUCHED));
	ASSERT_EQ(feed("", true), 0);
	EXPECT_EQ(read_file(SCRATCH_DEV).substr(BLOCK, 17), first.substr(BLOCK) + '\0');
}

TEST_F(FlashWriter, StreamPastThePartitionFailsAndTheNextStartsOver)
{
	std::string err;
	int rc = 0;
	for (size_t i = 0; i < SCRATCH_BLOCKS - 1; i++)
		ASSERT_EQ(feed(bytes(BLOCK, 7), false), 0);
	err = capture_stderr([&] { rc = feed(bytes(BLOCK, 7), false); });
	EXPECT_EQ(rc, -1);
	EXPECT_EQ(err, "writeflash: error!!not enough flash space\n");
	// The blocks already programmed stay programmed.
	EXPECT_TRUE(read_file(SCRATCH_DEV) == bytes(BLOCK, 7) + bytes(BLOCK, 7) + bytes(BLOCK, 7) + bytes(BLOCK, 7));
	ASSERT_EQ(feed("new", true), 0);
	EXPECT_EQ(read_file(SCRATCH_DEV).substr(0, 4), std::string("new\0", 4));
}

TEST_F(FlashWriter, RefusalsAndIgnoredCalls)
{
	int rc = 0;
	EXPECT_EQ(writeFlash("scratch", nullptr, 10, 1), 0);
	EXPECT_EQ(writeFlash("scratch", reinterpret_cast<const unsigned char *>("x"), -1, 1), 0);
	EXPECT_TRUE(read_file(SCRATCH_DEV) == std::string(SCRATCH_BLOCKS * BLOCK, UNTOUCHED));

	const unsigned char data[] = "data";
	EXPECT_EQ(capture_stderr([&] { rc = writeFlash("nosuch", data, 4, 1); }),
		  "Could not open mtd device: nosuch\n");
	EXPECT_EQ(rc, -1);
	write_file("/tmp/not_a_partition", std::string(BLOCK, '\0'));
	EXPECT_EQ(capture_stderr([&] { rc = writeFlash("/tmp/not_a_partition", data, 4, 1); }),
		  "Could not get MTD device info from /tmp/not_a_partition\n");
	EXPECT_EQ(rc, -1);
	// A read-back that comes up short stops before anything is erased.
	write_file(SCRATCH_DEV, std::string(BLOCK / 2, UNTOUCHED));
	EXPECT_EQ(capture_stderr([&] { rc = writeFlash("scratch", data, 4, 1); }),
		  "writeflash: fail to read the 0 'st sector\n");
	EXPECT_EQ(rc, -1);
	EXPECT_TRUE(read_file(SCRATCH_DEV) == std::string(BLOCK / 2, UNTOUCHED));
}

FwTag upload_identity()
{
	FwTag t;
	memset(&t, 0, sizeof t);
	t.magic = FW_TAG_MAGIC;
	snprintf(t.chipId, sizeof t.chipId, "chip");
	t.imageVersion = 3;
	return t;
}

std::string upload_image(size_t kernel_len)
{
	std::string kernel = bytes(kernel_len, 9);
	FwImageParts parts = { reinterpret_cast<const unsigned char *>(kernel.data()), kernel.size(), nullptr, 0,
			       nullptr, 0 };
	std::string image(fwimage_size(parts), '\0');
	fwimage_build(upload_identity(), parts, reinterpret_cast<unsigned char *>(&image[0]), image.size());
	return image;
}

struct InstallCase {
	const char *name;
	uint32_t tag_offset;
	size_t kernel_len;
	const char *progress;
};

TEST_F(FlashWriter, InstallerCopiesTheUploadWithItsNewVersion)
{
	const InstallCase cases[] = {
		{ "tag at the start, three pieces", 0, 0x2A000, "###" },
		{ "tag near a 64 KiB boundary", 0x1FF80, 0x30000, "####" },
		{ "image inside the first region", 0x100, 0x800, "#" },
	};
	for (const InstallCase &c : cases) {
		std::string image = upload_image(c.kernel_len);
		std::string buffer = read_file("/dev/mtd4");
		buffer.replace(c.tag_offset, image.size(), image);
		write_file("/dev/mtd4", buffer);
		write_file("/dev/mtd3", std::string(0x200000, '\xFF'));
		int rc = 0;
		EXPECT_EQ(capture_stdout([&] { rc = nox_installFwImage(0x01000007, "Tclinux_main", c.tag_offset); }),
			  std::string(c.progress) + "\nDone\n")
			<< c.name;
		EXPECT_EQ(rc, -1) << c.name;
		std::string installed = read_file("/dev/mtd3");
		be32_put(reinterpret_cast<unsigned char *>(&image[FWTAG_IMAGE_VERSION]), 0x01000007);
		EXPECT_TRUE(installed.substr(0, image.size()) == image) << c.name;
		size_t end = (image.size() + BLOCK - 1) / BLOCK * BLOCK;
		EXPECT_TRUE(installed.substr(image.size(), end - image.size()) == std::string(end - image.size(), '\0'))
			<< c.name;
		EXPECT_EQ(installed[end], '\xFF') << c.name;
	}
	write_file("/proc/mtd", "");
	EXPECT_EQ(capture_stdout([] { nox_installFwImage(1, "Tclinux_main", 0); }),
		  "Could not open mtd device: Tclinux_Buffer\n");
}

} // namespace
