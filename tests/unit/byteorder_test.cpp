// Numbers in flash and files have one byte order whatever the CPU's: each case
// pins the bytes of a value whose four bytes all differ, so a field accessed
// through a cast fails on one of the two machines (big- and little-endian).
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "lib/byteorder.h"
#include "flash/fwtag.h"
#include "romfile/container.h"
#include "romfile/romfile.h"

namespace {

std::string hex(const unsigned char *p, size_t n)
{
	std::string s;
	char byte[3];
	for (size_t i = 0; i < n; i++) {
		snprintf(byte, sizeof byte, "%02x", p[i]);
		s += byte;
	}
	return s;
}

TEST(ByteOrder, FirmwareTagNumbersAreBigEndian)
{
	FwTag tag{};
	tag.magic = FW_TAG_MAGIC;
	tag.modelId = 0x01020304u;
	tag.imageLen = 0x00A1B2C3u;
	tag.kernel = { 0x100u, 0x20304u };
	tag.rootfs = { 0x20404u, 0x5060708u };
	tag.defcfg = { 0x5080B0Cu, 0x0D0E0F10u };
	tag.imageVersion = 0x80000002u;
	tag.rootfsChksum = 0xDEADBEEFu;
	tag.kernelChksum = 0x12345678u;
	tag.defcfgChksum = 0xCAFEF00Du;
	unsigned char raw[FW_TAG_SIZE];
	fwtag_encode(tag, raw);
	const struct { size_t at; const char *bytes; } fields[] = {
		{ FWTAG_MAGIC, "04d0fc9c" },	      { FWTAG_MODEL_ID, "01020304" },
		{ FWTAG_IMAGE_LEN, "00a1b2c3" },      { FWTAG_KERNEL_OFFSET, "00000100" },
		{ FWTAG_KERNEL_LEN, "00020304" },     { FWTAG_ROOTFS_OFFSET, "00020404" },
		{ FWTAG_ROOTFS_LEN, "05060708" },     { FWTAG_DEFCFG_OFFSET, "05080b0c" },
		{ FWTAG_DEFCFG_LEN, "0d0e0f10" },     { FWTAG_IMAGE_VERSION, "80000002" },
		{ FWTAG_ROOTFS_CHKSUM, "deadbeef" },  { FWTAG_KERNEL_CHKSUM, "12345678" },
		{ FWTAG_DEFCFG_CHKSUM, "cafef00d" },
	};
	for (const auto &f : fields)
		EXPECT_EQ(hex(raw + f.at, 4), f.bytes) << "tag offset " << f.at;
	FwTag back{};
	fwtag_decode(raw, &back);
	EXPECT_EQ(back.defcfg.len, 0x0D0E0F10u);
	EXPECT_EQ(back.imageVersion, 0x80000002u);
}

TEST(ByteOrder, ContainerChunkHeaderIsLittleEndian)
{
	unsigned char raw[CFG_CHUNK_HEADER_SIZE];
	size_t offset = 0;
	cfg_write_chunk_header(raw, &offset, { CFG_CHUNK_ID, CFG_FASTLZ, 0x1234u, 0xAABBCCDDu, 0x10000u });
	EXPECT_EQ(hex(raw, sizeof raw), "1100" "0100" "34120000" "ddccbbaa" "00000100");
	EXPECT_EQ(offset, CFG_CHUNK_HEADER_SIZE);
	const unsigned char stream[] = { 0x11, 0x00, 0x00, 0x00, 0x04, 0x03, 0x02, 0x01,
					  0x0D, 0xF0, 0xFE, 0xCA, 0xFF, 0x00, 0x01, 0x00 };
	cfg_chunk_header h{};
	offset = 0;
	cfg_read_chunk_header(stream, &offset, &h);
	EXPECT_EQ(h.id, CFG_CHUNK_ID);
	EXPECT_EQ(h.options, CFG_STORED);
	EXPECT_EQ(h.size, 0x01020304u);
	EXPECT_EQ(h.checksum, 0xCAFEF00Du);
	EXPECT_EQ(h.extra, 0x100FFu);
}

TEST(ByteOrder, RomfileTrailerIsBigEndian)
{
	char *image = romfile_buf_alloc();
	ASSERT_NE(image, nullptr);
	strcpy(image, "<ROMFILE></ROMFILE>");
	const unsigned char trailer[] = { 0x12, 0x34, 0x56, 0x78, 0x00, 0x00, 0x01, 0x02 };
	memcpy(image + ROMFILE_CHECKSUM_OFFSET, trailer, sizeof trailer);
	romfile_sums sums{};
	EXPECT_EQ(romfile_image_sums(image, "test", &sums), 1);
	EXPECT_EQ(sums.stored, 0x12345678u);
	EXPECT_EQ(sums.version, 0x102u);
	free(image);
}

} // namespace
