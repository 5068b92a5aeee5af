// Firmware validation: an uploaded image in Tclinux_Buffer checked before it
// is installed. It needs the firmware tag, the manufacturing record and the
// configuration container (the image carries a default configuration), so it
// sits above both flash/ and the container.
#include "romfile/fw_validation.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

#include "lib/byteorder.h"
#include "flash/crc32.h"
#include "flash/flash_io.h"
#include "flash/fwtag.h"
#include "flash/mrd.h"
#include "flash/mtd.h"
#include "romfile/container.h"

namespace {

constexpr const char UPLOAD_BUFFER[] = "Tclinux_Buffer";
constexpr size_t CHECKSUM_STEP = 0x10000;
constexpr size_t DEFCFG_MAX = 0x20000;

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
