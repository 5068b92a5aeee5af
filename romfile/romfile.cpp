// The two romfile copies in flash: reading their sums, choosing which one to
// read and which one to overwrite, and stamping a new image.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

#include "lib/byteorder.h"
#include "flash/flash_io.h"
#include "flash/mtd.h"
#include "lib/safe_file.h"
#include "romfile/container.h"
#include "romfile/romfile.h"

namespace {

constexpr char FIRST_ROMFILE[] = "romfile";
constexpr char SECOND_ROMFILE[] = "second_romfile";

// How reading one copy ended.
enum copy_outcome { COPY_UNREAD, COPY_READ, COPY_NO_OPEN, COPY_SHORT, COPY_NO_DECODE };

// What one reading of a copy gave, kept for the rest of the invocation: the
// copies do not change while a command runs, and atsh and rominfo ask for
// the same copies several times. Every caller still prints exactly what a
// reading of its own would have printed.
struct copy_reading {
	copy_outcome outcome;
	romfile_sums sums;
	cfg_said said; // what the decoder and the text parser printed
};

copy_reading readings[2];

copy_reading *reading_slot(const char *partition)
{
	if (strcmp(partition, FIRST_ROMFILE) == 0)
		return &readings[0];
	if (strcmp(partition, SECOND_ROMFILE) == 0)
		return &readings[1];
	return nullptr;
}

void forget_reading(copy_reading *r)
{
	free(r->said.text);
	*r = copy_reading();
}

void read_copy_into(const char *partition, copy_reading *r)
{
	char *buf = romfile_buf_alloc();
	int fd = nox_open_mtd(partition, O_RDONLY);
	if (fd < 0) {
		r->outcome = COPY_NO_OPEN;
	} else if (flash_read_at(fd, 0, buf, ROMFILE_SIZE) != ROMFILE_SIZE) {
		r->outcome = COPY_SHORT;
	} else {
		romfile_sums sums;
		r->outcome = romfile_image_sums(&buf, nullptr, &sums) ? COPY_READ : COPY_NO_DECODE;
		r->sums = sums;
	}
	if (fd >= 0)
		close(fd);
	free(buf);
}

// Reads PARTITION, or recalls its reading; what the decoder said is printed
// either way. SHOWN is the name an open failure prints, WHO the routine a
// decoder failure names.
const copy_reading *recall_copy(const char *partition, const char *shown, const char *who, copy_reading *scratch)
{
	copy_reading *r = reading_slot(partition);
	if (r && r->outcome != COPY_UNREAD) {
		if (r->said.len)
			fputs(r->said.text, stdout);
	} else {
		if (!r) {
			r = scratch;
			*r = copy_reading();
		}
		cfg_said *outer = cfg_capture_said(&r->said);
		read_copy_into(partition, r);
		cfg_capture_said(outer);
		if (r->said.lost && r != scratch) {
			// Not kept: the next caller reads the copy again.
			*scratch = *r;
			scratch->said = cfg_said();
			forget_reading(r);
			r = scratch;
		}
	}
	if (r->outcome == COPY_NO_OPEN)
		printf("Could not open mtd device: %s\n", shown);
	else if (r->outcome == COPY_SHORT)
		printf("read mtd device (MRD) error!!\n");
	else if (r->outcome == COPY_NO_DECODE)
		printf("%s: nox_configFileLzwDecoder fail!\n", who);
	return r;
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

void romfile_forget_copies()
{
	for (copy_reading &r : readings)
		forget_reading(&r);
}

int getRomfileChecksumAndVersion(const char *partition, uint32_t *computed, uint32_t *stored,
				 uint32_t *version)
{
	copy_reading scratch = {};
	const copy_reading *r = recall_copy(partition, partition, "getRomfileChecksumAndVersion", &scratch);
	free(scratch.said.text);
	if (r->outcome != COPY_READ)
		return 0;
	*computed = r->sums.computed;
	*stored = r->sums.stored;
	*version = r->sums.version;
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
	copy_reading scratch = {};
	const copy_reading *r = recall_copy(partition, FIRST_ROMFILE, "nox_getRomChksum", &scratch);
	uint32_t sum = r->outcome == COPY_READ ? r->sums.computed : 0;
	free(scratch.said.text);
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
