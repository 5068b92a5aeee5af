#include "flash/fwtag.h"

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

#include "flash/byteorder.h"
#include "flash/crc32.h"
#include "flash/flash_io.h"
#include "flash/mrd.h"
#include "flash/mtd.h"
#include "romfile/container.h"

namespace {

constexpr const char FIRST_IMAGE[] = "tclinux";
constexpr const char SECOND_IMAGE[] = "Tclinux_main";
constexpr const char UPLOAD_BUFFER[] = "Tclinux_Buffer";
constexpr const char BOOT_PARTITION[] = "bootloader";
constexpr size_t IMAGE_VERSION_READ = 256;
constexpr size_t CHECKSUM_STEP = 0x10000;
constexpr size_t DEFCFG_MAX = 0x20000;

// Boot information bytes the program uses.
enum BootInfoByte : size_t {
	BOOT_MAJOR = 0,
	BOOT_MINOR = 1,
	BOOT_DATE_FIRST = 3,
	BOOT_DATE_SECOND = 4,
	BOOT_YEAR_HIGH = 5,
	BOOT_YEAR_LOW = 6,
};

// Kept for the life of the process: the active image does not change while
// a command runs, and atsh asks for it more than once.
struct TagCache {
	bool filled;
	unsigned char raw[FW_TAG_SIZE];
};
TagCache tag_cache;

// The boot loader writes its version bytes as two BCD digits, but they were
// always turned into numbers by printing them in hexadecimal as signed
// characters and reading the digits back as decimal. A byte of 0x80 or more
// thus prints as "ffffff80" and reads as 0; the year is its two bytes
// printed one after the other without padding (0x20 0x09 gives 209).
void append_bcd_digits(char *text, size_t size, unsigned char byte)
{
	uint32_t sign_extended = byte >= 0x80 ? 0xFFFFFF00u | byte : byte;
	size_t used = strlen(text);
	snprintf(text + used, size - used, "%x", sign_extended);
}

int decimal_prefix(const char *text)
{
	long v = 0;
	for (const char *p = text; *p >= '0' && *p <= '9'; p++)
		v = v * 10 + (*p - '0');
	return int(v);
}

int bcd_value(unsigned char byte)
{
	char text[12] = "";
	append_bcd_digits(text, sizeof text, byte);
	return decimal_prefix(text);
}

int bcd_year(unsigned char high, unsigned char low)
{
	char text[24] = "";
	append_bcd_digits(text, sizeof text, high);
	append_bcd_digits(text, sizeof text, low);
	return decimal_prefix(text);
}

// CRC over one region of the upload, read in 64 KiB steps as a flash
// partition delivers it. False when the region leaves the image or a read
// comes up short.
bool region_crc(int fd, uint32_t tag_offset, uint32_t image_len, const FwRegion &r, uint32_t *crc)
{
	*crc = 0xFFFFFFFFu;
	if (r.offset > image_len || r.len > image_len - r.offset)
		return false;
	unsigned char *step = static_cast<unsigned char *>(malloc(CHECKSUM_STEP));
	if (!step)
		return false;
	bool ok = true;
	uint64_t pos = uint64_t(tag_offset) + r.offset;
	for (uint32_t left = r.len; left > 0;) {
		size_t n = left < CHECKSUM_STEP ? left : CHECKSUM_STEP;
		if (flash_read_at(fd, pos, step, n) != n) {
			ok = false;
			break;
		}
		*crc = nox_crc32_update(step, n, *crc);
		pos += n;
		left -= uint32_t(n);
	}
	free(step);
	return ok;
}

// The default configuration must be a ROMFILE text, plain or in its
// compressed container, or the upgraded unit could not restore defaults.
bool defcfg_usable(int fd, uint32_t tag_offset, const FwRegion &r)
{
	if (r.len == 0)
		return true;
	if (r.len > DEFCFG_MAX)
		return false;
	char *cfg = static_cast<char *>(calloc(1, DEFCFG_MAX));
	if (!cfg)
		return false;
	bool ok = flash_read_at(fd, uint64_t(tag_offset) + r.offset, cfg, r.len) == r.len;
	size_t len = r.len;
	if (ok && isCompressedConfigFile(cfg)) {
		int decoded = 0;
		ok = nox_configFileLzDecoder(&cfg, &decoded) == 0 && decoded > 0;
		len = ok ? size_t(decoded) : 0;
	}
	static const char open_mark[] = "<ROMFILE>";
	static const char close_mark[] = "</ROMFILE>";
	ok = ok && len >= sizeof open_mark - 1 && memcmp(cfg, open_mark, sizeof open_mark - 1) == 0 &&
	     memmem(cfg, len, close_mark, sizeof close_mark - 1) != nullptr;
	free(cfg);
	return ok;
}

// The record's chip identifier is 8 characters without a terminator.
bool chip_matches(const FwTag &tag, const unsigned char *mrd)
{
	char chip[MRD_CHIP_ID_LEN + 1];
	memcpy(chip, mrd + MRD_CHIP_ID, MRD_CHIP_ID_LEN);
	chip[MRD_CHIP_ID_LEN] = '\0';
	return strcmp(tag.chipId, chip) == 0;
}

void print_validation_values(const FwTag &tag, uint32_t kernel, uint32_t rootfs, uint32_t defcfg)
{
	printf("pTag->kernelChksum = %08x\n", tag.kernelChksum);
	printf("pTag->rootfsChksum = %08x\n", tag.rootfsChksum);
	printf("pTag->defcfgChksum = %08x\n", tag.defcfgChksum);
	printf("cal kernelChksum = %08x\n", kernel);
	printf("cal rootfsChksum = %08x\n", rootfs);
	printf("cal defcfgChksum = %08x\n", defcfg);
	printf("pTag->modelId = %08x\n", tag.modelId);
	printf("pTag->chipId = %s\n", tag.chipId);
	printf("len = %08x\n", tag.imageLen);
}

int validate_upload(int fd, const char *target, uint32_t tag_offset)
{
	unsigned char raw[FW_TAG_SIZE];
	if (flash_read_at(fd, tag_offset, raw, sizeof raw) != sizeof raw) {
		printf("read mtd device (NoxFW tag) error!!\n");
		return 0;
	}
	FwTag tag;
	fwtag_decode(raw, &tag);
	uint32_t kernel, rootfs, defcfg;
	bool readable = region_crc(fd, tag_offset, tag.imageLen, tag.kernel, &kernel);
	readable = region_crc(fd, tag_offset, tag.imageLen, tag.rootfs, &rootfs) && readable;
	readable = region_crc(fd, tag_offset, tag.imageLen, tag.defcfg, &defcfg) && readable;
	print_validation_values(tag, kernel, rootfs, defcfg);
	if (!readable || tag.magic != FW_TAG_MAGIC || kernel != tag.kernelChksum ||
	    rootfs != tag.rootfsChksum || defcfg != tag.defcfgChksum ||
	    !defcfg_usable(fd, tag_offset, tag.defcfg)) {
		printf("Illegal image! Image Checksum failed.\n");
		return 0;
	}
	unsigned char mrd[MRD_SIZE];
	if (!MRDread(mrd))
		return 0;
	if (!chip_matches(tag, mrd)) {
		printf("Illegal image! chipID failed.\n");
		return 0;
	}
	if (tag.modelId != be32_get(mrd + MRD_MODEL_ID)) {
		printf("Illegal image! modelID failed.\n");
		return 0;
	}
	if (tag.imageLen > nox_mtd_size(target)) {
		printf("Upload image too big for partition: %s\n", target);
		return 0;
	}
	printf("\n***** Upgrading Firmware *****\n");
	return 1;
}

} // namespace

int getImageVersion(const char *name)
{
	unsigned char *buf = static_cast<unsigned char *>(calloc(1, IMAGE_VERSION_READ));
	if (!buf) {
		printf("buffer allocation failed.\n");
		return -1;
	}
	int fd = nox_open_mtd(name, O_RDONLY);
	if (fd < 0) {
		printf("Could not open mtd device: %s for read!!\n", name);
		free(buf);
		return -1;
	}
	size_t got = flash_read_at(fd, 0, buf, IMAGE_VERSION_READ);
	close(fd);
	int version = -1;
	if (got < IMAGE_VERSION_READ) {
		printf("read device %s (NoxFW tag) error!!\n", name);
	} else if (be32_get(buf + FWTAG_MAGIC) == FW_TAG_MAGIC) {
		version = int(be32_get(buf + FWTAG_IMAGE_VERSION));
	} else {
		printf("It is illegal firmware, so can't get image version!!\n");
		version = 0;
	}
	free(buf);
	return version;
}

// The magic is not checked here: whatever the chosen partition holds is
// taken as its tag.
int nox_getFWtag(unsigned char *tag)
{
	if (!tag_cache.filled) {
		int second = getImageVersion(SECOND_IMAGE);
		int first = getImageVersion(FIRST_IMAGE);
		const char *active = first < second ? SECOND_IMAGE : FIRST_IMAGE;
		int fd = nox_open_mtd(active, O_RDONLY);
		if (fd < 0) {
			// Always named tclinux, whichever image was chosen.
			printf("Could not open mtd device: %s\n", FIRST_IMAGE);
			return 0;
		}
		size_t got = flash_read_at(fd, 0, tag_cache.raw, FW_TAG_SIZE);
		close(fd);
		if (got < FW_TAG_SIZE) {
			printf("read mtd device (NoxFW tag) error!!\n");
			return 0;
		}
		tag_cache.filled = true;
	}
	if (tag)
		memcpy(tag, tag_cache.raw, FW_TAG_SIZE);
	else
		printf("Get FW tag fail!\n");
	return 1;
}

int nox_getBootInfo(char *version, char *date)
{
	int fd = nox_open_mtd(BOOT_PARTITION, O_RDONLY);
	if (fd < 0) {
		printf("Could not open mtd device: %s\n", BOOT_PARTITION);
		return 0;
	}
	unsigned char info[BOOT_INFO_SIZE];
	size_t got = flash_read_at(fd, BOOT_INFO_OFFSET, info, sizeof info);
	close(fd);
	if (got < sizeof info) {
		// The manufacturing record's message, as the boot block is where
		// both live.
		printf("read mtd device (MRD) error!!\n");
		return 0;
	}
	snprintf(version, BOOT_VERSION_TEXT_SIZE, "V%d.%02d", bcd_value(info[BOOT_MAJOR]),
		 bcd_value(info[BOOT_MINOR]));
	snprintf(date, BOOT_DATE_TEXT_SIZE, "%02d/%02d/%04d", bcd_value(info[BOOT_DATE_FIRST]),
		 bcd_value(info[BOOT_DATE_SECOND]), bcd_year(info[BOOT_YEAR_HIGH], info[BOOT_YEAR_LOW]));
	return 1;
}

int write_image_version(int current, const char *path, long offset)
{
	int fd = open(path, O_RDWR);
	if (fd < 0) {
		printf("Could not open %s for write!!\n", path);
		return -1;
	}
	int rc = 0;
	unsigned char word[4];
	be32_put(word, uint32_t(current) + 1);
	if (offset > LONG_MAX - long(FWTAG_IMAGE_VERSION) ||
	    lseek(fd, offset + long(FWTAG_IMAGE_VERSION), SEEK_SET) < 0) {
		printf("lseek error!!\n");
		rc = -1;
	} else if (write(fd, word, sizeof word) != ssize_t(sizeof word)) {
		printf("write image version error!!\n");
		rc = -1;
	}
	close(fd);
	return rc;
}

int nox_fwValidation(const char *target, uint32_t tag_offset)
{
	int fd = nox_open_mtd(UPLOAD_BUFFER, O_RDONLY);
	if (fd < 0) {
		printf("Could not open mtd device: %s\n", UPLOAD_BUFFER);
		return 0;
	}
	int ok = validate_upload(fd, target, tag_offset);
	close(fd);
	return ok;
}
