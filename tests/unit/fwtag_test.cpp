#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <string>
#include <vector>

#include "flash/byteorder.h"
#include "flash/crc32.h"
#include "flash/fwtag.h"
#include "flash/mrd.h"
#include "helpers.h"
#include "romfile/container.h"

namespace {

const char TCLINUX[] = "/dev/mtd2";
const char TCLINUX_MAIN[] = "/dev/mtd3";
const char TCLINUX_BUFFER[] = "/dev/mtd4";

// Tests rewrite the boot block, the image partitions and the partition
// list; the gateway's originals come back afterwards.
class FirmwareFlash : public ::testing::Test {
protected:
	void SetUp() override
	{
		for (const char *path : saved_paths)
			saved_.push_back(read_file(path));
		ASSERT_EQ(saved_[1].size(), BOOT_BLOCK_SIZE);
	}
	void TearDown() override
	{
		for (size_t i = 0; i < saved_.size(); i++)
			write_file(saved_paths[i], saved_[i]);
	}
	static constexpr const char *saved_paths[] = { "/proc/mtd", "/dev/mtd0", TCLINUX, TCLINUX_MAIN,
						       TCLINUX_BUFFER };
	std::vector<std::string> saved_;
};

// The identity the gateway's manufacturing record carries, so an image built
// from it passes the model and chip checks.
FwTag gateway_identity(uint32_t version, const char *internal)
{
	unsigned char mrd[MRD_SIZE];
	EXPECT_EQ(MRDread(mrd), 1);
	FwTag t;
	memset(&t, 0, sizeof t);
	t.magic = FW_TAG_MAGIC;
	memcpy(t.chipId, mrd + MRD_CHIP_ID, MRD_CHIP_ID_LEN);
	t.modelId = be32_get(mrd + MRD_MODEL_ID);
	t.imageVersion = version;
	snprintf(t.internalVersion, sizeof t.internalVersion, "%s", internal);
	snprintf(t.externalVersion, sizeof t.externalVersion, "ext-%s", internal);
	return t;
}

std::string pattern(size_t len, unsigned seed)
{
	std::string s(len, '\0');
	for (size_t i = 0; i < len; i++)
		s[i] = char((i * 131 + seed * 7 + (i >> 9)) & 0xFF);
	return s;
}

const std::string DEFAULT_CFG = "<ROMFILE><Wan/></ROMFILE>";

std::string build_image(const FwTag &ident, const std::string &kernel, const std::string &rootfs,
			const std::string &defcfg = DEFAULT_CFG)
{
	FwImageParts parts = { reinterpret_cast<const unsigned char *>(kernel.data()), kernel.size(),
			       reinterpret_cast<const unsigned char *>(rootfs.data()), rootfs.size(),
			       reinterpret_cast<const unsigned char *>(defcfg.data()), defcfg.size() };
	std::string image(fwimage_size(parts), '\0');
	size_t len = fwimage_build(ident, parts, reinterpret_cast<unsigned char *>(&image[0]), image.size());
	EXPECT_EQ(len, image.size());
	return image;
}

// Writes data at offset of a partition file, keeping its size.
void put_flash(const char *dev, size_t offset, const std::string &data)
{
	std::string flash = read_file(dev);
	ASSERT_LE(offset + data.size(), flash.size());
	flash.replace(offset, data.size(), data);
	write_file(dev, flash);
}

FwTag decode(const std::string &raw)
{
	FwTag t;
	fwtag_decode(reinterpret_cast<const unsigned char *>(raw.data()), &t);
	return t;
}

// The tag cache lives as long as the process, so each look at a fresh cache
// runs in a child; it reports back as text.
template <typename Fn>
std::string in_child(Fn fn)
{
	int fds[2];
	if (pipe(fds) != 0)
		return "pipe failed";
	fflush(stdout);
	pid_t pid = fork();
	if (pid == 0) {
		close(fds[0]);
		std::string report = fn();
		if (write(fds[1], report.data(), report.size()) < 0)
			_exit(2);
		_exit(0);
	}
	close(fds[1]);
	std::string report;
	char buf[512];
	ssize_t n;
	while ((n = read(fds[0], buf, sizeof buf)) > 0)
		report.append(buf, size_t(n));
	close(fds[0]);
	int status = 0;
	waitpid(pid, &status, 0);
	return report;
}

std::string active_internal_version()
{
	std::string report;
	std::string out = capture_stdout([&] {
		unsigned char raw[FW_TAG_SIZE];
		if (nox_getFWtag(raw))
			report = decode(std::string(reinterpret_cast<char *>(raw), sizeof raw)).internalVersion;
		else
			report = "failed";
	});
	return report + "|" + out;
}

TEST(FwTagCodec, ReadsBigEndianFieldsFromHandMadeBytes)
{
	std::string raw(FW_TAG_SIZE, '\0');
	const unsigned char magic[] = { 0x04, 0xD0, 0xFC, 0x9C };
	raw.replace(0, 4, reinterpret_cast<const char *>(magic), 4);
	raw.replace(FWTAG_CHIP_ID, 8, "VX185B02");
	raw.replace(FWTAG_MODEL_ID, 4, "\x4C\x4E\x22\x04", 4);
	raw.replace(FWTAG_IMAGE_LEN, 4, "\x00\x12\x34\x56", 4);
	raw.replace(FWTAG_IMAGE_VERSION, 4, "\x80\x00\x00\x01", 4);
	raw.replace(FWTAG_KERNEL_CHKSUM, 4, "\xDE\xAD\xBE\xEF", 4);
	raw.replace(FWTAG_INTERNAL_VERSION, FWTAG_VERSION_LEN, std::string(FWTAG_VERSION_LEN, 'v'));
	FwTag t = decode(raw);
	EXPECT_EQ(t.magic, FW_TAG_MAGIC);
	EXPECT_STREQ(t.chipId, "VX185B02");
	EXPECT_EQ(t.modelId, 0x4C4E2204u);
	EXPECT_EQ(t.imageLen, 0x123456u);
	EXPECT_EQ(t.imageVersion, 0x80000001u);
	EXPECT_EQ(t.kernelChksum, 0xDEADBEEFu);
	// A text filling its whole field ends at the field's end.
	EXPECT_EQ(std::string(t.internalVersion), std::string(FWTAG_VERSION_LEN, 'v'));

	unsigned char back[FW_TAG_SIZE];
	fwtag_encode(t, back);
	EXPECT_EQ(std::string(reinterpret_cast<char *>(back), sizeof back), raw);
}

TEST_F(FirmwareFlash, BuiltImageReadsBackWithItsLayoutAndChecksums)
{
	const std::string kernel = pattern(70000, 1), rootfs = pattern(5, 2);
	std::string image = build_image(gateway_identity(0x01020304, "1.2.3"), kernel, rootfs);
	FwTag t = decode(image.substr(0, FW_TAG_SIZE));
	EXPECT_EQ(t.magic, FW_TAG_MAGIC);
	EXPECT_EQ(t.imageVersion, 0x01020304u);
	EXPECT_EQ(t.imageLen, image.size());
	EXPECT_STREQ(t.internalVersion, "1.2.3");
	EXPECT_STREQ(t.externalVersion, "ext-1.2.3");
	EXPECT_EQ(image.substr(t.kernel.offset, t.kernel.len), kernel);
	EXPECT_EQ(image.substr(t.rootfs.offset, t.rootfs.len), rootfs);
	EXPECT_EQ(image.substr(t.defcfg.offset, t.defcfg.len), DEFAULT_CFG);
	const unsigned char *p = reinterpret_cast<const unsigned char *>(image.data());
	EXPECT_EQ(t.kernelChksum, nox_crc32(p + t.kernel.offset, t.kernel.len));
	EXPECT_EQ(t.rootfsChksum, nox_crc32(p + t.rootfs.offset, t.rootfs.len));
	EXPECT_EQ(t.defcfgChksum, nox_crc32(p + t.defcfg.offset, t.defcfg.len));
	// The version counter sits big-endian at byte 60 whatever the host.
	EXPECT_EQ(image.substr(FWTAG_IMAGE_VERSION, 4), std::string("\x01\x02\x03\x04", 4));

	std::string small(100, '\0');
	FwImageParts parts = {};
	EXPECT_EQ(fwimage_build(t, parts, reinterpret_cast<unsigned char *>(&small[0]), small.size()), 0u);
}

struct SelectCase {
	const char *name;
	int tclinux_version; // -1: wrong magic
	int main_version;
	const char *active;
};

TEST_F(FirmwareFlash, TheHigherImageVersionIsActiveAndTiesGoToTclinux)
{
	const SelectCase cases[] = {
		{ "tie", 5, 5, "first" },
		{ "main newer", 5, 6, "second" },
		{ "tclinux newer", 7, 6, "first" },
		{ "main not an image", 0, -1, "first" },
		{ "tclinux not an image", -1, 1, "second" },
	};
	for (const SelectCase &c : cases) {
		std::string first = build_image(gateway_identity(uint32_t(c.tclinux_version), "first"), "k", "r");
		std::string second = build_image(gateway_identity(uint32_t(c.main_version), "second"), "k", "r");
		if (c.tclinux_version < 0)
			first[0] = 0;
		if (c.main_version < 0)
			second[0] = 0;
		put_flash(TCLINUX, 0, first);
		put_flash(TCLINUX_MAIN, 0, second);
		std::string report = in_child(active_internal_version);
		EXPECT_EQ(report.substr(0, report.find('|')), c.active) << c.name << ": " << report;
	}
}

TEST_F(FirmwareFlash, SecondTagReadInOneProcessComesFromMemory)
{
	put_flash(TCLINUX, 0, build_image(gateway_identity(1, "cached"), "k", "r"));
	put_flash(TCLINUX_MAIN, 0, build_image(gateway_identity(0, "older"), "k", "r"));
	std::string report = in_child([] {
		std::string first = active_internal_version();
		// Neither the image nor the partition list is looked at again.
		put_flash(TCLINUX, 0, build_image(gateway_identity(2, "rewritten"), "k", "r"));
		write_file("/proc/mtd", "");
		std::string second = active_internal_version();
		std::string no_buffer = capture_stdout([] { printf("%d", nox_getFWtag(nullptr)); });
		return first + "#" + second + "#" + no_buffer;
	});
	EXPECT_EQ(report, "cached|#cached|#Get FW tag fail!\n1");
}

struct BootCase {
	unsigned char bytes[7];
	const char *version;
	const char *date;
};

TEST_F(FirmwareFlash, BootInfoReadsBcdBytesThroughTheirHexDigits)
{
	const BootCase cases[] = {
		{ { 0x01, 0x05, 0x00, 0x12, 0x31, 0x20, 0x11 }, "V1.05", "12/31/2011" },
		{ { 0x10, 0x00, 0xAA, 0x01, 0x02, 0x20, 0x09 }, "V10.00", "01/02/0209" },
		{ { 0x80, 0x99, 0x00, 0x9F, 0x7F, 0xA0, 0x24 }, "V0.00", "00/07/0000" },
		{ { 0x1A, 0x3C, 0x00, 0x00, 0x00, 0x20, 0x85 }, "V1.03", "00/00/0020" },
	};
	for (const BootCase &c : cases) {
		put_flash("/dev/mtd0", BOOT_INFO_OFFSET, std::string(reinterpret_cast<const char *>(c.bytes), 7));
		char version[BOOT_VERSION_TEXT_SIZE], date[BOOT_DATE_TEXT_SIZE];
		ASSERT_EQ(nox_getBootInfo(version, date), 1);
		EXPECT_STREQ(version, c.version);
		EXPECT_STREQ(date, c.date);
	}
	write_file("/dev/mtd0", std::string(BOOT_INFO_OFFSET + 13, '\0'));
	char version[BOOT_VERSION_TEXT_SIZE], date[BOOT_DATE_TEXT_SIZE];
	int rc = 1;
	EXPECT_EQ(capture_stdout([&] { rc = nox_getBootInfo(version, date); }), "read mtd device (MRD) error!!\n");
	EXPECT_EQ(rc, 0);
}

TEST_F(FirmwareFlash, ImageVersionWriteStoresCurrentPlusOneBigEndian)
{
	std::string image = build_image(gateway_identity(9, "v"), "k", "r");
	put_flash(TCLINUX_MAIN, 0x10000, image);
	EXPECT_EQ(write_image_version(0x00FFFFFF, TCLINUX_MAIN, 0x10000), 0);
	std::string after = read_file(TCLINUX_MAIN).substr(0x10000, image.size());
	image.replace(FWTAG_IMAGE_VERSION, 4, std::string("\x01\x00\x00\x00", 4));
	EXPECT_EQ(after, image);

	int rc = 0;
	EXPECT_EQ(capture_stdout([&] { rc = write_image_version(1, "/nosuch/dev", 0); }),
		  "Could not open /nosuch/dev for write!!\n");
	EXPECT_EQ(rc, -1);
	EXPECT_EQ(capture_stdout([&] { rc = write_image_version(1, TCLINUX_MAIN, -100); }), "lseek error!!\n");
	EXPECT_EQ(rc, -1);
}

std::string validate(const char *target, uint32_t tag_offset, int *rc)
{
	return capture_stdout([&] { *rc = nox_fwValidation(target, tag_offset); });
}

std::string last_line(const std::string &out)
{
	if (out.size() < 2)
		return out;
	size_t start = out.rfind('\n', out.size() - 2);
	return start == std::string::npos ? out : out.substr(start + 1);
}

TEST_F(FirmwareFlash, ValidationAcceptsAnImageBuiltForThisUnit)
{
	std::string image = build_image(gateway_identity(3, "ok"), pattern(0x23456, 3), pattern(0x30001, 4));
	put_flash(TCLINUX_BUFFER, 0x100, image);
	FwTag t = decode(image.substr(0, FW_TAG_SIZE));
	char expected[600];
	snprintf(expected, sizeof expected,
		 "pTag->kernelChksum = %08x\npTag->rootfsChksum = %08x\npTag->defcfgChksum = %08x\n"
		 "cal kernelChksum = %08x\ncal rootfsChksum = %08x\ncal defcfgChksum = %08x\n"
		 "pTag->modelId = %08x\npTag->chipId = %s\nlen = %08x\n\n***** Upgrading Firmware *****\n",
		 t.kernelChksum, t.rootfsChksum, t.defcfgChksum, t.kernelChksum, t.rootfsChksum, t.defcfgChksum,
		 t.modelId, t.chipId, t.imageLen);
	int rc = 0;
	EXPECT_EQ(validate("Tclinux_main", 0x100, &rc), expected);
	EXPECT_EQ(rc, 1);
}

// A default configuration kept in its compressed container is opened before
// its ROMFILE markers are looked for.
TEST_F(FirmwareFlash, ValidationOpensACompressedDefaultConfiguration)
{
	std::string text = "<ROMFILE>" + std::string(5000, 'a') + "</ROMFILE>";
	for (const char *body : { "", "not a ROMFILE" }) {
		std::string plain = body[0] ? std::string(5000, 'b') : text;
		std::string container(CFG_HEADER_SIZE + cfg_stream_bound(plain.size()), '\0');
		int stream_len = 0;
		ASSERT_EQ(cfg_build_container(plain.data(), int(plain.size()), &container[0], container.size(), &stream_len), 0);
		container.resize(CFG_HEADER_SIZE + size_t(stream_len));
		ASSERT_LT(container.size(), plain.size());
		put_flash(TCLINUX_BUFFER, 0, build_image(gateway_identity(1, "z"), "kernel", "rootfs", container));
		int rc = -1;
		std::string out = validate("tclinux", 0, &rc);
		EXPECT_EQ(rc, body[0] ? 0 : 1) << out;
	}
}

struct RejectCase {
	const char *name;
	void (*spoil_ident)(FwTag &ident);
	void (*spoil_image)(std::string &image);
	const char *defcfg;
	const char *target;
	const char *verdict;
};

TEST_F(FirmwareFlash, ValidationRejectsForeignDamagedOrOversizedImages)
{
	const char *checksum = "Illegal image! Image Checksum failed.\n";
	const RejectCase cases[] = {
		{ "kernel byte flipped", nullptr, [](std::string &img) { img[FW_TAG_AREA + 7] ^= 1; },
		  DEFAULT_CFG.c_str(), "tclinux", checksum },
		{ "wrong magic", nullptr, [](std::string &img) { img[3] ^= 1; }, DEFAULT_CFG.c_str(), "tclinux",
		  checksum },
		{ "region past image end", nullptr,
		  [](std::string &img) { be32_put(reinterpret_cast<unsigned char *>(&img[FWTAG_ROOTFS_LEN]), 0x7FFFFFFF); },
		  DEFAULT_CFG.c_str(), "tclinux", checksum },
		{ "default config not a ROMFILE", nullptr, nullptr, "<ROMFILE> no end", "tclinux", checksum },
		{ "other chip", [](FwTag &id) { id.chipId[7] ^= 1; }, nullptr, DEFAULT_CFG.c_str(), "tclinux",
		  "Illegal image! chipID failed.\n" },
		{ "chip id with a suffix", [](FwTag &id) { strcat(id.chipId, "X"); }, nullptr, DEFAULT_CFG.c_str(),
		  "tclinux", "Illegal image! chipID failed.\n" },
		{ "other model", [](FwTag &id) { id.modelId ^= 0x100; }, nullptr, DEFAULT_CFG.c_str(), "tclinux",
		  "Illegal image! modelID failed.\n" },
		{ "too big for romd", nullptr, nullptr, DEFAULT_CFG.c_str(), "romd",
		  "Upload image too big for partition: romd\n" },
	};
	for (const RejectCase &c : cases) {
		FwTag ident = gateway_identity(1, "bad");
		if (c.spoil_ident)
			c.spoil_ident(ident);
		std::string image = build_image(ident, pattern(0x20000, 5), "rootfs", c.defcfg);
		if (c.spoil_image)
			c.spoil_image(image);
		put_flash(TCLINUX_BUFFER, 0, image);
		int rc = 1;
		std::string out = validate(c.target, 0, &rc);
		EXPECT_EQ(last_line(out), c.verdict) << c.name;
		EXPECT_EQ(rc, 0) << c.name;
	}
}

} // namespace
