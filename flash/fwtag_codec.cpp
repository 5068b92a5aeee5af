// The tag's byte layout and the image builder. Kept apart from the flash
// routines so host-side tools can build images with nothing but this file
// and the CRC-32 helpers.
#include "flash/fwtag.h"

#include <cstring>

#include "lib/byteorder.h"
#include "flash/crc32.h"

namespace {

void get_text(const unsigned char *field, size_t len, char *text)
{
	size_t n = 0;
	while (n < len && field[n])
		n++;
	memcpy(text, field, n);
	text[n] = '\0';
}

void put_text(unsigned char *field, size_t len, const char *text)
{
	memset(field, 0, len);
	size_t n = strnlen(text, len);
	memcpy(field, text, n);
}

void put_region(unsigned char *raw, size_t at, const FwRegion &r)
{
	be32_put(raw + at, r.offset);
	be32_put(raw + at + 4, r.len);
}

FwRegion get_region(const unsigned char *raw, size_t at)
{
	return FwRegion{ be32_get(raw + at), be32_get(raw + at + 4) };
}

// The same CRC the validation computes block by block over flash.
uint32_t region_crc(const unsigned char *image, const FwRegion &r)
{
	return nox_crc32(image + r.offset, r.len);
}

} // namespace

void fwtag_decode(const unsigned char *raw, FwTag *tag)
{
	memset(tag, 0, sizeof *tag);
	tag->magic = be32_get(raw + FWTAG_MAGIC);
	get_text(raw + FWTAG_CHIP_ID, FWTAG_CHIP_ID_LEN, tag->chipId);
	tag->modelId = be32_get(raw + FWTAG_MODEL_ID);
	tag->imageLen = be32_get(raw + FWTAG_IMAGE_LEN);
	tag->kernel = get_region(raw, FWTAG_KERNEL_OFFSET);
	tag->rootfs = get_region(raw, FWTAG_ROOTFS_OFFSET);
	tag->defcfg = get_region(raw, FWTAG_DEFCFG_OFFSET);
	tag->imageVersion = be32_get(raw + FWTAG_IMAGE_VERSION);
	get_text(raw + FWTAG_INTERNAL_VERSION, FWTAG_VERSION_LEN, tag->internalVersion);
	get_text(raw + FWTAG_EXTERNAL_VERSION, FWTAG_VERSION_LEN, tag->externalVersion);
	tag->rootfsChksum = be32_get(raw + FWTAG_ROOTFS_CHKSUM);
	tag->kernelChksum = be32_get(raw + FWTAG_KERNEL_CHKSUM);
	tag->defcfgChksum = be32_get(raw + FWTAG_DEFCFG_CHKSUM);
}

void fwtag_encode(const FwTag &tag, unsigned char *raw)
{
	memset(raw, 0, FW_TAG_SIZE);
	be32_put(raw + FWTAG_MAGIC, tag.magic);
	put_text(raw + FWTAG_CHIP_ID, FWTAG_CHIP_ID_LEN, tag.chipId);
	be32_put(raw + FWTAG_MODEL_ID, tag.modelId);
	be32_put(raw + FWTAG_IMAGE_LEN, tag.imageLen);
	put_region(raw, FWTAG_KERNEL_OFFSET, tag.kernel);
	put_region(raw, FWTAG_ROOTFS_OFFSET, tag.rootfs);
	put_region(raw, FWTAG_DEFCFG_OFFSET, tag.defcfg);
	be32_put(raw + FWTAG_IMAGE_VERSION, tag.imageVersion);
	put_text(raw + FWTAG_INTERNAL_VERSION, FWTAG_VERSION_LEN, tag.internalVersion);
	put_text(raw + FWTAG_EXTERNAL_VERSION, FWTAG_VERSION_LEN, tag.externalVersion);
	be32_put(raw + FWTAG_ROOTFS_CHKSUM, tag.rootfsChksum);
	be32_put(raw + FWTAG_KERNEL_CHKSUM, tag.kernelChksum);
	be32_put(raw + FWTAG_DEFCFG_CHKSUM, tag.defcfgChksum);
}

size_t fwimage_size(const FwImageParts &parts)
{
	const size_t limit = UINT32_MAX;
	const size_t lens[] = { parts.kernel_len, parts.rootfs_len, parts.defcfg_len };
	size_t total = FW_TAG_AREA;
	for (size_t len : lens) {
		if (len > limit - total)
			return 0;
		total += len;
	}
	return total;
}

size_t fwimage_build(const FwTag &ident, const FwImageParts &parts, unsigned char *out, size_t out_size)
{
	size_t total = fwimage_size(parts);
	if (total == 0 || total > out_size)
		return 0;
	FwTag tag = ident;
	uint32_t at = FW_TAG_AREA;
	tag.kernel = FwRegion{ at, uint32_t(parts.kernel_len) };
	at += tag.kernel.len;
	tag.rootfs = FwRegion{ at, uint32_t(parts.rootfs_len) };
	at += tag.rootfs.len;
	tag.defcfg = FwRegion{ at, uint32_t(parts.defcfg_len) };
	tag.imageLen = uint32_t(total);

	memset(out, 0, FW_TAG_AREA);
	if (parts.kernel_len)
		memcpy(out + tag.kernel.offset, parts.kernel, parts.kernel_len);
	if (parts.rootfs_len)
		memcpy(out + tag.rootfs.offset, parts.rootfs, parts.rootfs_len);
	if (parts.defcfg_len)
		memcpy(out + tag.defcfg.offset, parts.defcfg, parts.defcfg_len);
	tag.kernelChksum = region_crc(out, tag.kernel);
	tag.rootfsChksum = region_crc(out, tag.rootfs);
	tag.defcfgChksum = region_crc(out, tag.defcfg);
	fwtag_encode(tag, out);
	return total;
}
