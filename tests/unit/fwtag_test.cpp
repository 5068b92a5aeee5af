#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>
#include <string>

#include "lib/byteorder.h"
#include "flash/crc32.h"
#include "flash/fwtag.h"
#include "flash/mrd.h"
#include "helpers.h"
#include "romfile/fw_validation.h"
#include "romfile_fixtures.h"

namespace {

const char TCLINUX[] = "/dev/mtd2";
const char TCLINUX_MAIN[] = "/dev/mtd3";
const char TCLINUX_BUFFER[] = "/dev/mtd4";
const std::string DEFCFG = "<ROMFILE><Wan/></ROMFILE>";

// Tests rewrite the boot block, the image partitions and the partition list.
class FirmwareFlash : public ::testing::Test {
protected:
	SavedFiles saved_{ "/proc/mtd", "/dev/mtd0", TCLINUX, TCLINUX_MAIN, TCLINUX_BUFFER };
};

// The record's identity, so an image built from it passes the model and chip checks.
FwTag gateway_identity(uint32_t version, const char *internal)
{
	unsigned char mrd[MRD_SIZE];
	EXPECT_EQ(MRDread(mrd), 1);
	FwTag t{};
	t.magic = FW_TAG_MAGIC;
	memcpy(t.chipId, mrd + MRD_CHIP_ID, MRD_CHIP_ID_LEN);
	t.modelId = be32_get(mrd + MRD_MODEL_ID);
	t.imageVersion = version;
	snprintf(t.internalVersion, sizeof t.internalVersion, "%s", internal);
	snprintf(t.externalVersion, sizeof t.externalVersion, "ext-%s", internal);
	return t;
}

std::string image_of(uint32_t version, const char *internal)
{
	return fw_image(gateway_identity(version, internal), "k", "rootfs", DEFCFG);
}

FwTag decode(const std::string &raw)
{
	FwTag t;
	fwtag_decode(bytes_of(raw), &t);
	return t;
}

// Arbitrary bytes in every numeric field: the round trip pins their decoding.
TEST(FwTagCodec, TextsEndAtTheirFieldsAndEveryByteComesBack)
{
	std::string raw = test_pattern(FW_TAG_SIZE, 1);
	raw.replace(FWTAG_CHIP_ID, FWTAG_CHIP_ID_LEN, std::string("SIMCHIP1") + std::string(16, '\0'));
	raw.replace(FWTAG_INTERNAL_VERSION, 2 * FWTAG_VERSION_LEN, std::string(32, 'v') + "ext" + std::string(29, '\0'));
	FwTag t = decode(raw);
	EXPECT_EQ(std::string(t.internalVersion), std::string(FWTAG_VERSION_LEN, 'v'));
	unsigned char back[FW_TAG_SIZE];
	fwtag_encode(t, back);
	EXPECT_EQ(std::string(reinterpret_cast<char *>(back), sizeof back), raw);
}

TEST(FwImage, BuiltImageReadsBackWithItsLayoutAndChecksums)
{
	const std::string kernel = test_pattern(70000, 1), rootfs = test_pattern(5, 2);
	std::string image = fw_image(gateway_identity(0x01020304, "1.2.3"), kernel, rootfs, DEFCFG);
	FwTag t = decode(image);
	EXPECT_EQ(t.magic, FW_TAG_MAGIC);
	EXPECT_EQ(t.imageVersion, 0x01020304u);
	EXPECT_EQ(t.imageLen, image.size());
	EXPECT_STREQ(t.externalVersion, "ext-1.2.3");
	EXPECT_EQ(image.substr(t.kernel.offset, t.kernel.len), kernel);
	EXPECT_EQ(image.substr(t.rootfs.offset, t.rootfs.len), rootfs);
	EXPECT_EQ(image.substr(t.defcfg.offset, t.defcfg.len), DEFCFG);
	// Validation recomputes the others the same way; this one pins the sum itself.
	EXPECT_EQ(t.kernelChksum, nox_crc32(bytes_of(kernel), kernel.size()));
	std::string small(100, '\0');
	FwImageParts parts = {};
	EXPECT_EQ(fwimage_build(t, parts, reinterpret_cast<unsigned char *>(&small[0]), small.size()), 0u);
}

std::string active_internal_version()
{
	unsigned char raw[FW_TAG_SIZE] = {};
	std::string out = capture_stdout([&] { nox_getFWtag(raw); });
	return std::string(decode(std::string(reinterpret_cast<char *>(raw), sizeof raw)).internalVersion) + "|" + out;
}

// The tag cache lives as long as the process: a child sees a fresh one.
TEST_F(FirmwareFlash, SecondTagReadInOneProcessComesFromMemory)
{
	put_file_bytes(TCLINUX, 0, image_of(1, "cached"));
	put_file_bytes(TCLINUX_MAIN, 0, image_of(0, "older"));
	auto child = [] {
		std::string report = active_internal_version();
		// Neither the image nor the partition list is looked at again.
		put_file_bytes(TCLINUX, 0, image_of(2, "rewritten"));
		write_file("/proc/mtd", "");
		report += "#" + active_internal_version() + "#";
		report += capture_stdout([] { printf("%d", nox_getFWtag(nullptr)); });
		fprintf(stderr, "%s", report.c_str());
		_exit(report == "cached|#cached|#Get FW tag fail!\n1" ? 0 : 1);
	};
	EXPECT_EXIT(child(), testing::ExitedWithCode(0), "");
}

TEST_F(FirmwareFlash, BootInfoReadsBcdBytesThroughTheirHexDigits)
{
	const struct {
		unsigned char bytes[7];
		const char *version, *date;
	} cases[] = {
		{ { 0x01, 0x05, 0x00, 0x12, 0x31, 0x20, 0x11 }, "V1.05", "12/31/2011" },
		{ { 0x10, 0x00, 0xAA, 0x01, 0x02, 0x20, 0x09 }, "V10.00", "01/02/0209" },
		{ { 0x80, 0x99, 0x00, 0x9F, 0x7F, 0xA0, 0x24 }, "V0.00", "00/07/0000" },
		{ { 0x1A, 0x3C, 0x00, 0x00, 0x00, 0x20, 0x85 }, "V1.03", "00/00/0020" },
	};
	char version[BOOT_VERSION_TEXT_SIZE], date[BOOT_DATE_TEXT_SIZE];
	for (const auto &c : cases) {
		put_file_bytes("/dev/mtd0", BOOT_INFO_OFFSET, std::string(reinterpret_cast<const char *>(c.bytes), 7));
		ASSERT_EQ(nox_getBootInfo(version, date), 1);
		EXPECT_STREQ(version, c.version);
		EXPECT_STREQ(date, c.date);
	}
	write_file("/dev/mtd0", std::string(BOOT_INFO_OFFSET + 13, '\0'));
	int rc = 1;
	EXPECT_EQ(capture_stdout([&] { rc = nox_getBootInfo(version, date); }), "read mtd device (MRD) error!!\n");
	EXPECT_EQ(rc, 0);
}

TEST_F(FirmwareFlash, ImageVersionWriteStoresCurrentPlusOneBigEndian)
{
	std::string image = image_of(9, "v");
	put_file_bytes(TCLINUX_MAIN, 0x10000, image);
	EXPECT_EQ(write_image_version(0x00FFFFFF, TCLINUX_MAIN, 0x10000), 0);
	image.replace(FWTAG_IMAGE_VERSION, 4, std::string("\x01\x00\x00\x00", 4));
	EXPECT_EQ(read_file(TCLINUX_MAIN).substr(0x10000, image.size()), image);
	int rc = 0;
	EXPECT_EQ(capture_stdout([&] { rc = write_image_version(1, "/nosuch/dev", 0); }),
		  "Could not open /nosuch/dev for write!!\n");
	EXPECT_EQ(rc, -1);
	EXPECT_EQ(capture_stdout([&] { rc = write_image_version(1, TCLINUX_MAIN, -100); }), "lseek error!!\n");
	EXPECT_EQ(rc, -1);
}

// The default configuration is opened before its ROMFILE markers are looked for.
TEST_F(FirmwareFlash, ValidationAcceptsAnImageBuiltForThisUnit)
{
	std::string image = fw_image(gateway_identity(3, "ok"), test_pattern(0x23456, 3), test_pattern(0x30001, 4),
				     make_container(independent_stream("<ROMFILE>" + std::string(5000, 'a') + "</ROMFILE>")));
	put_file_bytes(TCLINUX_BUFFER, 0x100, image);
	FwTag t = decode(image);
	char expected[600];
	snprintf(expected, sizeof expected,
		 "pTag->kernelChksum = %08x\npTag->rootfsChksum = %08x\npTag->defcfgChksum = %08x\n"
		 "cal kernelChksum = %08x\ncal rootfsChksum = %08x\ncal defcfgChksum = %08x\n"
		 "pTag->modelId = %08x\npTag->chipId = %s\nlen = %08x\n\n***** Upgrading Firmware *****\n",
		 t.kernelChksum, t.rootfsChksum, t.defcfgChksum, t.kernelChksum, t.rootfsChksum, t.defcfgChksum,
		 t.modelId, t.chipId, t.imageLen);
	int rc = 0;
	EXPECT_EQ(capture_stdout([&] { rc = nox_fwValidation("Tclinux_main", 0x100); }), expected);
	EXPECT_EQ(rc, 1);
}

TEST_F(FirmwareFlash, ValidationRejectsForeignDamagedOrOversizedImages)
{
	const char *checksum = "Illegal image! Image Checksum failed.\n";
	const char *chip = "Illegal image! chipID failed.\n", *model = "Illegal image! modelID failed.\n";
	const struct {
		const char *name;
		void (*spoil_ident)(FwTag &ident);
		void (*spoil_image)(std::string &image);
		std::string defcfg;
		const char *target, *verdict;
	} cases[] = {
		{ "kernel byte flipped", nullptr, [](std::string &i) { i[FW_TAG_AREA + 7] ^= 1; }, DEFCFG, "tclinux", checksum },
		{ "wrong magic", nullptr, [](std::string &i) { i[3] ^= 1; }, DEFCFG, "tclinux", checksum },
		{ "region past image end", nullptr, [](std::string &i) { i.replace(FWTAG_ROOTFS_LEN, 1, "\x7f"); }, DEFCFG,
		  "tclinux", checksum },
		{ "default config not a ROMFILE", nullptr, nullptr, "<ROMFILE> no end", "tclinux", checksum },
		{ "compressed default config not a ROMFILE", nullptr, nullptr,
		  make_container(independent_stream(std::string(5000, 'b'))), "tclinux", checksum },
		{ "other chip", [](FwTag &id) { id.chipId[7] ^= 1; }, nullptr, DEFCFG, "tclinux", chip },
		{ "chip id with a suffix", [](FwTag &id) { strcat(id.chipId, "X"); }, nullptr, DEFCFG, "tclinux", chip },
		{ "other model", [](FwTag &id) { id.modelId ^= 0x100; }, nullptr, DEFCFG, "tclinux", model },
		{ "too big for romd", nullptr, nullptr, DEFCFG, "romd", "Upload image too big for partition: romd\n" },
	};
	for (const auto &c : cases) {
		FwTag ident = gateway_identity(1, "bad");
		if (c.spoil_ident)
			c.spoil_ident(ident);
		std::string image = fw_image(ident, test_pattern(0x20000, 5), "rootfs", c.defcfg);
		if (c.spoil_image)
			c.spoil_image(image);
		put_file_bytes(TCLINUX_BUFFER, 0, image);
		int rc = 1;
		std::string out = capture_stdout([&] { rc = nox_fwValidation(c.target, 0); }); // verdict last
		EXPECT_EQ(out.substr(out.rfind('\n', out.size() - 2) + 1), c.verdict) << c.name;
		EXPECT_EQ(rc, 0) << c.name;
	}
}

} // namespace
