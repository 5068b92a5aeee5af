#include "flash/fwtag.h"

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

#include "lib/byteorder.h"
#include "flash/crc32.h"
#include "flash/flash_io.h"
#include "flash/mrd.h"
#include "flash/mtd.h"

namespace {

constexpr const char FIRST_IMAGE[] = "tclinux";
constexpr const char SECOND_IMAGE[] = "Tclinux_main";
constexpr const char BOOT_PARTITION[] = "bootloader";
constexpr size_t IMAGE_VERSION_READ = 256;

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

bool load_fw_tag(FwTag *tag)
{
	unsigned char raw[FW_TAG_SIZE];
	if (!nox_getFWtag(raw)) {
		printf("Fail to get firmware Tag\n");
		return false;
	}
	fwtag_decode(raw, tag);
	return true;
}
