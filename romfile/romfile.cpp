// The two romfile copies in flash: reading their sums, choosing which one to
// read and which one to overwrite, and stamping a new image.
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <unistd.h>

#include "flash/byteorder.h"
#include "flash/mtd.h"
#include "romfile/romfile.h"

namespace {

constexpr char FIRST_ROMFILE[] = "romfile";
constexpr char SECOND_ROMFILE[] = "second_romfile";

bool read_image(int fd, char *buf)
{
	if (lseek(fd, 0, SEEK_SET) < 0)
		return false;
	size_t got = 0;
	while (got < ROMFILE_SIZE) {
		ssize_t n = read(fd, buf + got, ROMFILE_SIZE - got);
		if (n <= 0)
			break;
		got += static_cast<size_t>(n);
	}
	return got == ROMFILE_SIZE;
}

bool read_copy(const char *partition, romfile_sums *sums)
{
	return getRomfileChecksumAndVersion(partition, &sums->computed, &sums->stored, &sums->version) == 1;
}

} // namespace

int getRomfileChecksumAndVersion(const char *partition, uint32_t *computed, uint32_t *stored,
				 uint32_t *version)
{
	char *buf = romfile_buf_alloc();
	int fd = nox_open_mtd(partition, O_RDONLY);
	if (fd < 0) {
		printf("Could not open mtd device: %s\n", partition);
		free(buf);
		return 0;
	}
	if (!read_image(fd, buf)) {
		printf("read mtd device (MRD) error!!\n");
		close(fd);
		free(buf);
		return 0;
	}
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
	romfile_sums first, second;
	if (!read_copy(FIRST_ROMFILE, &first)) {
		printf("get first romfile checksum and version error ");
		return ROMFILE_NONE;
	}
	if (!read_copy(SECOND_ROMFILE, &second)) {
		printf("get second romfile checksum and version error ");
		return ROMFILE_NONE;
	}
	return romfile_choose_read_index(first, second);
}

int get_write_romfile_index()
{
	romfile_sums first, second;
	if (!read_copy(FIRST_ROMFILE, &first)) {
		printf("get first romfile error ");
		return ROMFILE_NONE;
	}
	if (!read_copy(SECOND_ROMFILE, &second)) {
		printf("get second romfile error ");
		return ROMFILE_NONE;
	}
	return romfile_choose_write_index(first, second);
}

uint32_t nox_getRomChksum()
{
	char *buf = romfile_buf_alloc();
	int index = get_read_romfile_index();
	const char *partition = index == ROMFILE_SECOND ? SECOND_ROMFILE : FIRST_ROMFILE;
	int fd = nox_open_mtd(partition, O_RDONLY);
	if (fd < 0) {
		// Field tools match this line, which has always named the first copy.
		printf("Could not open mtd device: %s\n", FIRST_ROMFILE);
		free(buf);
		return 0;
	}
	if (!read_image(fd, buf)) {
		printf("read mtd device (MRD) error!!\n");
		close(fd);
		free(buf);
		return 0;
	}
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
	FILE *f = fopen(path, "r+");
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
