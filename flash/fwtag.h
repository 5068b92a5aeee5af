// The firmware tag: the 140-byte header at the start of an image partition
// (tclinux, Tclinux_main, or an upload in Tclinux_Buffer), and the boot
// loader's version and build date. Every number in the tag is stored most
// significant byte first, the gateway CPU's own order; the fields are read
// and written one by one through the be32 helpers so a little-endian host
// (the simulated gateway, a build machine) sees the same values.
#pragma once

#include <cstddef>
#include <cstdint>

constexpr size_t FW_TAG_SIZE = 140;
constexpr uint32_t FW_TAG_MAGIC = 0x04D0FC9C;
// The image's payload starts this far after the tag, which leaves the tag
// room to grow inside the block getImageVersion reads.
constexpr size_t FW_TAG_AREA = 256;

enum FwTagField : size_t {
	FWTAG_MAGIC = 0,
	FWTAG_CHIP_ID = 4,             // 24 bytes, zero-terminated text
	FWTAG_MODEL_ID = 28,
	FWTAG_IMAGE_LEN = 32,          // bytes counted from the tag's start
	FWTAG_KERNEL_OFFSET = 36,      // layout words: offsets from the tag's
	FWTAG_KERNEL_LEN = 40,         // start, lengths in bytes
	FWTAG_ROOTFS_OFFSET = 44,
	FWTAG_ROOTFS_LEN = 48,
	FWTAG_DEFCFG_OFFSET = 52,
	FWTAG_DEFCFG_LEN = 56,
	FWTAG_IMAGE_VERSION = 60,
	FWTAG_INTERNAL_VERSION = 64,   // 32 bytes, zero-terminated text
	FWTAG_EXTERNAL_VERSION = 96,   // 32 bytes, zero-terminated text
	FWTAG_ROOTFS_CHKSUM = 128,
	FWTAG_KERNEL_CHKSUM = 132,
	FWTAG_DEFCFG_CHKSUM = 136,
};

constexpr size_t FWTAG_CHIP_ID_LEN = 24;
constexpr size_t FWTAG_VERSION_LEN = 32;

// One region of the image named by the layout words.
struct FwRegion {
	uint32_t offset;
	uint32_t len;
};

// A tag's fields as host numbers and terminated texts. A text that fills its
// whole field is cut at the field's end.
struct FwTag {
	uint32_t magic;
	char chipId[FWTAG_CHIP_ID_LEN + 1];
	uint32_t modelId;
	uint32_t imageLen;
	FwRegion kernel;
	FwRegion rootfs;
	FwRegion defcfg;
	uint32_t imageVersion;
	char internalVersion[FWTAG_VERSION_LEN + 1];
	char externalVersion[FWTAG_VERSION_LEN + 1];
	uint32_t rootfsChksum;
	uint32_t kernelChksum;
	uint32_t defcfgChksum;
};

void fwtag_decode(const unsigned char *raw, FwTag *tag);
// Texts longer than their fields are cut; unused bytes of a field are zero.
void fwtag_encode(const FwTag &tag, unsigned char *raw);

// The three parts an image carries after its tag.
struct FwImageParts {
	const unsigned char *kernel;
	size_t kernel_len;
	const unsigned char *rootfs;
	size_t rootfs_len;
	const unsigned char *defcfg;
	size_t defcfg_len;
};

// Bytes fwimage_build needs for these parts (0 when they cannot fit the
// 32-bit layout words).
size_t fwimage_size(const FwImageParts &parts);
// Lays out tag, kernel, root file system and default configuration one after
// the other and fills the tag from the identity fields of `ident` (magic,
// chipId, modelId, imageVersion and the two version texts): image length,
// layout words and the three checksums are computed here, exactly as
// firmware validation recomputes them. Returns the image length, or 0 when
// out_size is too small.
size_t fwimage_build(const FwTag &ident, const FwImageParts &parts, unsigned char *out, size_t out_size);

// Copies the tag of the active image (the higher image version of tclinux
// and Tclinux_main, tclinux on a tie) into tag (FW_TAG_SIZE bytes; may be
// null). Read from flash once per process, then from memory. 1 = copied,
// 0 = failure after a message.
int nox_getFWtag(unsigned char *tag);
// The image version counter of the partition's tag; 0 when the magic is
// wrong, -1 when the partition cannot be read.
int getImageVersion(const char *name);

constexpr long BOOT_INFO_OFFSET = 0x1FFF2;
constexpr size_t BOOT_INFO_SIZE = 14;
constexpr size_t BOOT_VERSION_TEXT_SIZE = 16;
constexpr size_t BOOT_DATE_TEXT_SIZE = 24;
// Boot loader version ("V1.05") and build date ("12/31/2011") into buffers
// of BOOT_VERSION_TEXT_SIZE and BOOT_DATE_TEXT_SIZE bytes. 1 = written,
// 0 = failure after a message.
int nox_getBootInfo(char *version, char *date);

// Stores current + 1 as the image version of the tag at `offset` of the
// device file `path`. 0 = stored, -1 = failure after a message.
int write_image_version(int current, const char *path, long offset);

// Firmware validation (nox_fwValidation) also decodes the image's default
// configuration, so it lives with the container: romfile/fw_validation.h.

// The active image's tag, decoded; false after "Fail to get firmware Tag".
bool load_fw_tag(FwTag *tag);
