#include "factory_flash.h"

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>

#include "config_image.h"
#include "lib/byteorder.h"
#include "flash/fwtag.h"
#include "gateway_identity.h"
#include "romfile/image_builder.h"
#include "romfile/romfile.h"

namespace {

// One firmware release as the factory installs it. The unit ships with two
// releases so the newer one's higher image version decides which runs.
struct FirmwareRelease {
	const char *partition;
	uint32_t image_version;
	const char *internal_version;
	const char *external_version;
	uint64_t seed;
};

constexpr FirmwareRelease RELEASES[] = {
	{"tclinux", 3, "LN-SIMGW1_V1.03.07_240315", "V1.03.07", 0x9E3779B97F4A7C15u},
	{"Tclinux_main", 2, "LN-SIMGW1_V1.02.11_231120", "V1.02.11", 0xD1B54A32D192ED03u},
};

// Sizes of the packed kernel and root file system in every release.
constexpr size_t KERNEL_SIZE = 0x0C0000;
constexpr size_t ROOTFS_SIZE = 0x100000;

// Copy 2 starts one version ahead, so the reader's choice is visible from
// the first boot and the first save goes to copy 1.
constexpr uint32_t FIRST_COPY_VERSION = 1;
constexpr uint32_t SECOND_COPY_VERSION = 2;

// Larger files are no configuration the gateway could hold.
constexpr off_t CONFIG_MAX = 1 << 20;

char *config_text;
size_t config_len;
unsigned char *config_defaults;      // the container, also ROM-D's image
size_t config_defaults_len;
unsigned char *romfile_copies[2];    // copy 1 and copy 2, ROMFILE_SIZE each

bool complain(const char *what, const char *detail)
{
	fprintf(stderr, "gwsim: %s %s\n", what, detail);
	return false;
}

bool read_text(const char *path)
{
	FILE *f = fopen(path, "re");
	if (!f)
		return complain("cannot read", path);
	struct stat st;
	bool ok = fstat(fileno(f), &st) == 0 && st.st_size > 0 && st.st_size <= CONFIG_MAX;
	if (ok) {
		config_len = static_cast<size_t>(st.st_size);
		config_text = static_cast<char *>(malloc(config_len + 1));
		ok = config_text && fread(config_text, 1, config_len, f) == config_len;
	}
	fclose(f);
	if (!ok)
		return complain("unusable default configuration", path);
	config_text[config_len] = '\0';
	return true;
}

// Packed kernels and file systems look like noise; a fixed generator keeps
// every fresh unit bit-for-bit the same.
void fill_noise(unsigned char *buf, size_t len, uint64_t state)
{
	for (size_t i = 0; i < len; i++) {
		state ^= state >> 12;
		state ^= state << 25;
		state ^= state >> 27;
		buf[i] = static_cast<unsigned char>((state * 0x2545F4914F6CDD1Du) >> 56);
	}
}

bool fill_firmware(const FirmwareRelease &rel, unsigned char *buf, size_t size)
{
	unsigned char *payload = static_cast<unsigned char *>(malloc(KERNEL_SIZE + ROOTFS_SIZE));
	if (!payload)
		return complain("out of memory for", rel.partition);
	fill_noise(payload, KERNEL_SIZE + ROOTFS_SIZE, rel.seed);
	FwTag ident = {};
	ident.magic = FW_TAG_MAGIC;
	snprintf(ident.chipId, sizeof ident.chipId, "%s", GW_CHIP_ID);
	ident.modelId = GW_MODEL_ID;
	ident.imageVersion = rel.image_version;
	snprintf(ident.internalVersion, sizeof ident.internalVersion, "%s", rel.internal_version);
	snprintf(ident.externalVersion, sizeof ident.externalVersion, "%s", rel.external_version);
	FwImageParts parts = {payload, KERNEL_SIZE, payload + KERNEL_SIZE, ROOTFS_SIZE, config_defaults,
			      config_defaults_len};
	size_t len = fwimage_build(ident, parts, buf, size);
	free(payload);
	return len > 0 || complain("firmware image does not fit", rel.partition);
}

bool fill_romd(unsigned char *buf, size_t size)
{
	// ROM-D is read back as one erase block; the default must fit it.
	constexpr size_t ROMD_BLOCK = 0x10000;
	if (config_defaults_len > ROMD_BLOCK || config_defaults_len > size)
		return complain("default configuration does not fit", "romd");
	memcpy(buf, config_defaults, config_defaults_len);
	return true;
}

bool fill_romfile(int copy, unsigned char *buf, size_t size)
{
	if (size < ROMFILE_SIZE)
		return complain("partition too small for", copy == 0 ? "romfile" : "second_romfile");
	memcpy(buf, romfile_copies[copy], ROMFILE_SIZE);
	return true;
}

} // namespace

bool factory_flash_prepare(const char *default_config_path)
{
	if (!read_text(default_config_path))
		return false;
	config_defaults = romfile_build_container(config_text, config_len, &config_defaults_len);
	if (!config_defaults)
		return complain("cannot compress", default_config_path);
	const uint32_t versions[2] = {FIRST_COPY_VERSION, SECOND_COPY_VERSION};
	for (int i = 0; i < 2; i++) {
		romfile_copies[i] = static_cast<unsigned char *>(malloc(ROMFILE_SIZE));
		size_t container_len;
		if (!romfile_copies[i] || romfile_build_image(config_text, config_len, versions[i], romfile_copies[i],
							      &container_len) != ROMFILE_BUILT)
			return complain("default configuration does not fit", "romfile");
	}
	return true;
}

bool factory_fill_partition(const char *name, unsigned char *buf, size_t size)
{
	for (const FirmwareRelease &rel : RELEASES) {
		if (strcmp(name, rel.partition) == 0)
			return fill_firmware(rel, buf, size);
	}
	if (strcmp(name, "romfile") == 0)
		return fill_romfile(0, buf, size);
	if (strcmp(name, "second_romfile") == 0)
		return fill_romfile(1, buf, size);
	if (strcmp(name, "romd") == 0)
		return fill_romd(buf, size);
	return true;
}

const unsigned char *factory_romfile_copy(int index)
{
	return romfile_copies[index - 1];
}

// Only the file's presence and size matter to the simulation, so it holds a
// plain counting pattern rather than any radio's real layout.
void factory_radio_calibration(unsigned char *buf)
{
	for (size_t i = 0; i < RADIO_CALIBRATION_SIZE; i++)
		buf[i] = static_cast<unsigned char>(i);
}

void factory_flash_release()
{
	free(config_text);
	free(config_defaults);
	free(romfile_copies[0]);
	free(romfile_copies[1]);
}
