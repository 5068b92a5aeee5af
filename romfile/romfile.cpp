// The two romfile copies in flash: reading their sums, choosing which one to
// read and which one to overwrite, and stamping a new image.
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <unistd.h>

#include "flash/byteorder.h"
#include "flash/flash_io.h"
#include "flash/mtd.h"
#include "lib/safe_file.h"
#include "romfile/romfile.h"

namespace {

constexpr char FIRST_ROMFILE[] = "romfile";
constexpr char SECOND_ROMFILE[] = "second_romfile";

// Opens PARTITION and reads its raw image into *BUF, a new
// romfile_buf_alloc buffer. Returns the open descriptor, or -1 after the
// failure is reported and *BUF freed; SHOWN is the partition name the open
// failure prints.
int open_image(const char *partition, const char *shown, char **buf)
{
	*buf = romfile_buf_alloc();
	int fd = nox_open_mtd(partition, O_RDONLY);
	if (fd < 0) {
		printf("Could not open mtd device: %s\n", shown);
	} else if (flash_read_at(fd, 0, *buf, ROMFILE_SIZE) != ROMFILE_SIZE) {
		printf("read mtd device (MRD) error!!\n");
		close(fd);
		fd = -1;
	}
	if (fd < 0) {
		free(*buf);
		*buf = nullptr;
	}
	return fd;
}

bool read_copy(const char *partition, romfile_sums *sums)
{
	return getRomfileChecksumAndVersion(partition, &sums->computed, &sums->stored, &sums->version) == 1;
}

// Both copies' sums handed to CHOOSE, or ROMFILE_NONE after the message for
// the copy that could not be read.
int choose_copy(const char *first_error, const char *second_error,
		int (*choose)(const romfile_sums &, const romfile_sums &))
{
	romfile_sums first, second;
	if (!read_copy(FIRST_ROMFILE, &first)) {
		printf("%s", first_error);
		return ROMFILE_NONE;
	}
	if (!read_copy(SECOND_ROMFILE, &second)) {
		printf("%s", second_error);
		return ROMFILE_NONE;
	}
	return choose(first, second);
}

} // namespace

int getRomfileChecksumAndVersion(const char *partition, uint32_t *computed, uint32_t *stored,
				 uint32_t *version)
{
	char *buf;
	int fd = open_image(partition, partition, &buf);
	if (fd < 0)
		return 0;
	romfile_sums sums;
	int ok = romfile_image_sums(&buf, "getRomfileChecksumAndVersion", &sums);
	free(buf);
	close(fd);
	if (!ok)
		return 0;
	*computed = sums.computed;
	*stored = sums.stored;
	*version = sums.version;
	return 1;
}

int get_read_romfile_index()
{
	return choose_copy("get first romfile checksum and version error ",
			   "get second romfile checksum and version error ", romfile_choose_read_index);
}

int get_write_romfile_index()
{
	return choose_copy("get first romfile error ", "get second romfile error ", romfile_choose_write_index);
}

uint32_t nox_getRomChksum()
{
	int index = get_read_romfile_index();
	const char *partition = index == ROMFILE_SECOND ? SECOND_ROMFILE : FIRST_ROMFILE;
	// Field tools match the open failure line, which has always named the
	// first copy.
	char *buf;
	int fd = open_image(partition, FIRST_ROMFILE, &buf);
	if (fd < 0)
		return 0;
	bool ok;
	uint32_t sum = romfile_image_checksum(&buf, "nox_getRomChksum", &ok);
	free(buf);
	// After a decoder failure the partition is left open, as it always was;
	// the command exits right after.
	if (ok)
		close(fd);
	return sum;
}

int updateRomfileChecksumAndVersion(const char *path, int index)
{
	char *buf = romfile_buf_alloc();
	FILE *f = safe_fopen(path, "r+");
	if (!f) {
		printf("Error: can't open romfile\n");
		free(buf);
		return 0;
	}
	size_t got = fread(buf, 1, ROMFILE_SIZE, f);
	(void)got; // a short image is stamped all the same; the rest reads as zeros
	bool ok;
	uint32_t checksum = romfile_image_checksum(&buf, "updateRomfileChecksumAndVersion", &ok);
	free(buf);
	if (!ok) {
		fclose(f);
		return 0;
	}
	const char *other;
	if (index == ROMFILE_FIRST) {
		other = SECOND_ROMFILE;
	} else if (index == ROMFILE_SECOND) {
		other = FIRST_ROMFILE;
	} else {
		printf("Error: the romfile index is error.\n");
		fclose(f);
		return 0;
	}
	romfile_sums other_sums;
	if (!read_copy(other, &other_sums)) {
		printf("get romfile checksum and version error ");
		fclose(f);
		return 0;
	}
	unsigned char trailer[8];
	be32_put(trailer, checksum);
	be32_put(trailer + 4, other_sums.version + 1);
	fseek(f, static_cast<long>(ROMFILE_CHECKSUM_OFFSET), SEEK_SET);
	fwrite(trailer, 1, sizeof trailer, f);
	fclose(f);
	return 1;
}
