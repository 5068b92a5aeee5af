#include "flash/mrd.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

#include "lib/byteorder.h"
#include "flash/flash_io.h"
#include "lib/safe_file.h"
#include "shell_cmd.h"

namespace {

constexpr const char MRD_DEVICE[] = "/dev/mtd0";
constexpr const char BOOT_IMAGE_FILE[] = "/tmp/boot.bin";
constexpr const char BOOT_WRITE_CMD[] = "/userfs/bin/mtd -f write /tmp/boot.bin bootloader";

// Made afresh and kept open until the flash utility has run, so the file
// handed over is the one written here, not one planted at the same name.
int write_boot_image(const unsigned char *block)
{
	int fd = safe_create(BOOT_IMAGE_FILE);
	if (fd < 0)
		return -1;
	if (write(fd, block, BOOT_BLOCK_SIZE) != static_cast<ssize_t>(BOOT_BLOCK_SIZE)) {
		close(fd);
		return -1;
	}
	return fd;
}

int hex_digit(char c)
{
	if (c >= '0' && c <= '9')
		return c - '0';
	if (c >= 'A' && c <= 'F')
		return c - 'A' + 10;
	if (c >= 'a' && c <= 'f')
		return c - 'a' + 10;
	return -1;
}

} // namespace

int MRDread(unsigned char *buf)
{
	int fd = open(MRD_DEVICE, O_RDONLY);
	if (fd < 0) {
		printf("open mtd device (MRD) error!!\n");
		return 0;
	}
	size_t got = flash_read_at(fd, MRD_OFFSET, buf, MRD_SIZE);
	close(fd);
	if (got < MRD_SIZE) {
		printf("read mtd device (MRD) error!!\n");
		return 0;
	}
	return 1;
}

int MRDwrite(const unsigned char *buf)
{
	unsigned char *block = static_cast<unsigned char *>(calloc(1, BOOT_BLOCK_SIZE));
	if (!block)
		return 0;
	int fd = open(MRD_DEVICE, O_RDONLY);
	if (fd < 0) {
		printf("open mtd device (MRD) error!!\n");
		free(block);
		return 0;
	}
	if (flash_read_at(fd, 0, block, BOOT_BLOCK_SIZE) < BOOT_BLOCK_SIZE) {
		printf("read mtd device (Bootloader) error!!\n");
		close(fd);
		free(block);
		return 0;
	}
	memcpy(block + MRD_OFFSET, buf, MRD_SIZE);
	int image = write_boot_image(block);
	close(fd);
	free(block);
	if (image < 0 || !safe_file_is(image, BOOT_IMAGE_FILE)) {
		if (image >= 0)
			close(image);
		printf("Open file error!!\n");
		return 0;
	}
	run_system_cmd(BOOT_WRITE_CMD);
	close(image);
	return 1;
}

uint32_t MRDmodelId(const unsigned char *mrd)
{
	return be32_get(mrd + MRD_MODEL_ID);
}

void MRDsetModelId(unsigned char *mrd, uint32_t id)
{
	be32_put(mrd + MRD_MODEL_ID, id);
}

uint32_t lib_xtoi(const char *text)
{
	if (text[0] == '0' && text[1] == 'x')
		text += 2;
	uint32_t value = 0;
	for (int d; (d = hex_digit(*text)) >= 0; text++)
		value = value * 16 + uint32_t(d);
	return value;
}
