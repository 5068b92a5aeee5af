#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "flash/flash_writer.h"
#include "flash/fwtag.h"
#include "helpers.h"

namespace {

constexpr size_t BLOCK = 0x10000;
const char SCRATCH_DEV[] = "/dev/mtd9";
const std::string UNTOUCHED(4 * BLOCK, '\xAA');

// A four-block partition "scratch" of 0xAA bytes beside the gateway's own.
class FlashWriter : public ::testing::Test {
protected:
	void SetUp() override
	{
		write_file("/proc/mtd", read_file("/proc/mtd") + "mtd9: 00040000 00010000 \"scratch\"\n");
		write_file(SCRATCH_DEV, UNTOUCHED);
	}
	SavedFiles saved_{ "/proc/mtd", "/dev/mtd3", "/dev/mtd4", SCRATCH_DEV };
};

int feed(const std::string &piece, bool last)
{
	return writeFlash("scratch", bytes_of(piece), int(piece.size()), last);
}

TEST_F(FlashWriter, StreamsFillBlocksInOrderAndPadTheLastWithZeros)
{
	// The last piece is marked last; blocks_written: erased and programmed in all.
	const struct { const char *name; std::vector<size_t> pieces; size_t blocks_written; } cases[] = {
		{ "small pieces in one block", { 100, 200, 50 }, 1 },
		{ "pieces crossing a block", { 0xC000, 0xC000, 10 }, 2 },
		{ "whole blocks, then an empty last piece", { BLOCK, BLOCK, 0 }, 3 },
		{ "whole block marked last", { BLOCK }, 2 },
		{ "piece longer than a block", { BLOCK + BLOCK / 2 }, 2 },
	};
	for (const auto &c : cases) {
		write_file(SCRATCH_DEV, UNTOUCHED);
		std::string stream;
		for (size_t i = 0; i < c.pieces.size(); i++) {
			stream += test_pattern(c.pieces[i], unsigned(i));
			ASSERT_EQ(feed(test_pattern(c.pieces[i], unsigned(i)), i + 1 == c.pieces.size()), 0) << c.name;
		}
		stream.resize(c.blocks_written * BLOCK, '\0');
		EXPECT_TRUE(read_file(SCRATCH_DEV) == stream + UNTOUCHED.substr(stream.size())) << c.name;
	}
}

TEST_F(FlashWriter, StreamPastThePartitionFailsAndTheNextStartsOver)
{
	const std::string block = test_pattern(BLOCK, 7);
	for (int i = 0; i < 3; i++)
		ASSERT_EQ(feed(block, false), 0);
	int rc = 0;
	EXPECT_EQ(capture_stderr([&] { rc = feed(block, false); }), "writeflash: error!!not enough flash space\n");
	EXPECT_EQ(rc, -1);
	// Each block was programmed as it filled, the last one too; they stay.
	EXPECT_TRUE(read_file(SCRATCH_DEV) == block + block + block + block);
	ASSERT_EQ(feed("new", true), 0);
	EXPECT_EQ(read_file(SCRATCH_DEV).substr(0, 4), std::string("new\0", 4));
}

TEST_F(FlashWriter, RefusalsAndIgnoredCalls)
{
	EXPECT_EQ(writeFlash("scratch", nullptr, 10, 1), 0);
	EXPECT_EQ(writeFlash("scratch", bytes_of("x"), -1, 1), 0);
	EXPECT_TRUE(read_file(SCRATCH_DEV) == UNTOUCHED);
	write_file("/tmp/not_a_partition", std::string(BLOCK, '\0'));
	const struct { const char *name, *message; } refusals[] = {
		{ "nosuch", "Could not open mtd device: nosuch\n" },
		{ "/tmp/not_a_partition", "Could not get MTD device info from /tmp/not_a_partition\n" },
		// A read-back that comes up short stops before anything is erased.
		{ "scratch", "writeflash: fail to read the 0 'st sector\n" },
	};
	write_file(SCRATCH_DEV, UNTOUCHED.substr(0, BLOCK / 2));
	for (const auto &r : refusals) {
		int rc = 0;
		EXPECT_EQ(capture_stderr([&] { rc = writeFlash(r.name, bytes_of("data"), 4, 1); }), r.message);
		EXPECT_EQ(rc, -1) << r.name;
	}
	EXPECT_TRUE(read_file(SCRATCH_DEV) == UNTOUCHED.substr(0, BLOCK / 2));
}

TEST_F(FlashWriter, InstallerCopiesTheUploadWithItsNewVersion)
{
	const struct { const char *name; uint32_t tag_offset; size_t kernel_len; const char *progress; } cases[] = {
		{ "tag at the start, three pieces", 0, 0x2A000, "###" },
		{ "tag near a 64 KiB boundary", 0x1FF80, 0x30000, "####" },
		{ "image inside the first region", 0x100, 0x800, "#" },
	};
	FwTag ident{};
	ident.magic = FW_TAG_MAGIC;
	for (const auto &c : cases) {
		std::string image = fw_image(ident, test_pattern(c.kernel_len, 9), "", "");
		put_file_bytes("/dev/mtd4", c.tag_offset, image);
		write_file("/dev/mtd3", std::string(0x200000, '\xFF'));
		int rc = 0;
		EXPECT_EQ(capture_stdout([&] { rc = nox_installFwImage(0x01000007, "Tclinux_main", c.tag_offset); }),
			  std::string(c.progress) + "\nDone\n") << c.name;
		EXPECT_EQ(rc, -1) << c.name;
		image.replace(FWTAG_IMAGE_VERSION, 4, "\x01\x00\x00\x07", 4);
		image.resize((image.size() + BLOCK - 1) / BLOCK * BLOCK, '\0'); // the last block padded
		EXPECT_TRUE(read_file("/dev/mtd3").substr(0, image.size() + 1) == image + '\xFF') << c.name;
	}
	write_file("/proc/mtd", "");
	EXPECT_EQ(capture_stdout([] { nox_installFwImage(1, "Tclinux_main", 0); }),
		  "Could not open mtd device: Tclinux_Buffer\n");
}

} // namespace
