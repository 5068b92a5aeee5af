// The two romfile copies in flash: reading their sums, choosing which one to
// read and which one to overwrite, and stamping a new image.
#include <algorithm>
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

romfile_copy_reading *reading_slot(romfile_readings *readings, const char *partition)
{
	if (strcmp(partition, FIRST_ROMFILE) == 0)
		return &readings->first;
	if (strcmp(partition, SECOND_ROMFILE) == 0)
		return &readings->second;
	return nullptr;
}

void forget_reading(romfile_copy_reading *r)
{
	cfg_said_free(&r->said);
	*r = romfile_copy_reading();
}

// A copy in flash, read only as far as its reading looks: the trailer
// first (a partition too short for it is refused before anything is
// decoded), then the container and the chunks its walk meets, and the rest
// only for a text that runs past them. The buffer's other pages are never
// touched, so reading a copy costs the command about its container's size in
// memory, not 128 KiB.
struct flash_copy {
	int fd;
	char *buf; // ROMFILE_SIZE bytes, of which the first HAVE and the trailer are read
	size_t have;
	bool failed; // a read came back short
};

bool read_up_to(flash_copy *c, size_t end)
{
	if (end <= c->have)
		return true;
	size_t want = end - c->have;
	if (flash_read_at(c->fd, c->have, c->buf + c->have, want) != want) {
		// What the reading would look at is defined, though it is thrown away.
		memset(c->buf + c->have, 0, ROMFILE_CHECKSUM_OFFSET - c->have);
		c->have = ROMFILE_CHECKSUM_OFFSET;
		c->failed = true;
		return false;
	}
	c->have = end;
	return true;
}

void read_rest_of_copy(void *ctx)
{
	read_up_to(static_cast<flash_copy *>(ctx), ROMFILE_CHECKSUM_OFFSET);
}

bool read_copy_start(flash_copy *c)
{
	size_t trailer = ROMFILE_SIZE - ROMFILE_CHECKSUM_OFFSET;
	if (flash_read_at(c->fd, ROMFILE_CHECKSUM_OFFSET, c->buf + ROMFILE_CHECKSUM_OFFSET, trailer) != trailer)
		return false;
	// The bytes from the trailer on are read already.
	size_t reach = CFG_HEADER_SIZE;
	while (reach > c->have && c->have < ROMFILE_CHECKSUM_OFFSET) {
		if (!read_up_to(c, std::min(reach, ROMFILE_CHECKSUM_OFFSET)))
			return false;
		reach = isCompressedConfigFile(c->buf) ? cfg_image_reach(c->buf, c->have) : ROMFILE_CHECKSUM_OFFSET;
	}
	return true;
}

void read_copy_into(const char *partition, romfile_copy_reading *r)
{
	flash_copy c = { -1, static_cast<char *>(malloc(ROMFILE_SIZE)), 0, false };
	c.fd = c.buf ? nox_open_mtd(partition, O_RDONLY) : -1;
	if (c.fd < 0) {
		r->outcome = ROMFILE_COPY_NO_OPEN;
	} else if (!read_copy_start(&c)) {
		r->outcome = ROMFILE_COPY_SHORT;
	} else {
		// The reading's lines wait until the copy is read as far as it
		// needs: a copy flash fails to give says only that, as when it
		// was read whole before decoding.
		romfile_rest rest = { read_rest_of_copy, &c };
		r->said.held = true;
		bool ok = romfile_image_sums(c.buf, nullptr, &r->sums, &r->said, &rest) == 1;
		r->outcome = c.failed ? ROMFILE_COPY_SHORT : ok ? ROMFILE_COPY_READ : ROMFILE_COPY_NO_DECODE;
		if (c.failed && r->said.held)
			cfg_said_free(&r->said);
		cfg_said_let_go(&r->said);
	}
	if (c.fd >= 0)
		close(c.fd);
	free(c.buf);
}

// Reads PARTITION into the caller's readings, or says again what its reading
// printed; then the line for a failed reading. SHOWN is the name an open
// failure prints, WHO the routine a decoder failure names. A partition that
// is not one of the copies, or a reading whose lines could not all be kept,
// is read into SCRATCH (the caller frees its lines).
const romfile_copy_reading *recall_copy(romfile_readings *readings, const char *partition, const char *shown,
					const char *who, romfile_copy_reading *scratch)
{
	romfile_copy_reading *r = reading_slot(readings, partition);
	if (r && r->outcome != ROMFILE_COPY_UNREAD) {
		if (r->said.len)
			fputs(r->said.text, stdout);
	} else {
		if (r)
			forget_reading(r);
		else
			r = scratch;
		read_copy_into(partition, r);
		if (r->said.lost && r != scratch) {
			*scratch = *r;
			*r = romfile_copy_reading();
			r = scratch;
		}
	}
	if (r->outcome == ROMFILE_COPY_NO_OPEN)
		printf("Could not open mtd device: %s\n", shown);
	else if (r->outcome == ROMFILE_COPY_SHORT)
		printf("read mtd device (MRD) error!!\n");
	else if (r->outcome == ROMFILE_COPY_NO_DECODE)
		printf("%s: nox_configFileLzwDecoder fail!\n", who);
	return r;
}

// Both copies' sums handed to CHOOSE, or ROMFILE_NONE after the message for
// the copy that could not be read.
int choose_copy(romfile_readings *readings, const char *first_error, const char *second_error,
		int (*choose)(const romfile_sums &, const romfile_sums &))
{
	romfile_sums first, second;
	if (!romfile_copy_sums(readings, FIRST_ROMFILE, &first)) {
		printf("%s", first_error);
		return ROMFILE_NONE;
	}
	if (!romfile_copy_sums(readings, SECOND_ROMFILE, &second)) {
		printf("%s", second_error);
		return ROMFILE_NONE;
	}
	return choose(first, second);
}

} // namespace

void romfile_readings_free(romfile_readings *readings)
{
	forget_reading(&readings->first);
	forget_reading(&readings->second);
}

int romfile_copy_sums(romfile_readings *readings, const char *partition, romfile_sums *sums)
{
	romfile_copy_reading scratch = {};
	const romfile_copy_reading *r =
		recall_copy(readings, partition, partition, "getRomfileChecksumAndVersion", &scratch);
	bool read = r->outcome == ROMFILE_COPY_READ;
	if (read)
		*sums = r->sums;
	cfg_said_free(&scratch.said);
	return read ? 1 : 0;
}

int romfile_read_index(romfile_readings *readings)
{
	return choose_copy(readings, "get first romfile checksum and version error ",
			   "get second romfile checksum and version error ", romfile_choose_read_index);
}

int romfile_write_index(romfile_readings *readings)
{
	return choose_copy(readings, "get first romfile error ", "get second romfile error ",
			   romfile_choose_write_index);
}

int getRomfileChecksumAndVersion(const char *partition, uint32_t *computed, uint32_t *stored,
				 uint32_t *version)
{
	romfile_readings readings = {};
	romfile_sums sums;
	int rc = romfile_copy_sums(&readings, partition, &sums);
	romfile_readings_free(&readings);
	if (rc) {
		*computed = sums.computed;
		*stored = sums.stored;
		*version = sums.version;
	}
	return rc;
}

int get_read_romfile_index()
{
	romfile_readings readings = {};
	int index = romfile_read_index(&readings);
	romfile_readings_free(&readings);
	return index;
}

int get_write_romfile_index()
{
	romfile_readings readings = {};
	int index = romfile_write_index(&readings);
	romfile_readings_free(&readings);
	return index;
}

// The copy to read is chosen, then read again for its checksum: each copy is
// read from flash once and the second reading says again what the first said.
uint32_t nox_getRomChksum()
{
	romfile_readings readings = {};
	int index = romfile_read_index(&readings);
	const char *partition = index == ROMFILE_SECOND ? SECOND_ROMFILE : FIRST_ROMFILE;
	// Field tools match the open failure line, which has always named the
	// first copy.
	romfile_copy_reading scratch = {};
	const romfile_copy_reading *r = recall_copy(&readings, partition, FIRST_ROMFILE, "nox_getRomChksum", &scratch);
	uint32_t sum = r->outcome == ROMFILE_COPY_READ ? r->sums.computed : 0;
	cfg_said_free(&scratch.said);
	romfile_readings_free(&readings);
	return sum;
}

int romfile_stamp_image(romfile_readings *readings, const char *path, int index)
{
	char *buf = romfile_buf_alloc();
	FILE *f = buf ? safe_fopen(path, "r+") : nullptr;
	if (!f) {
		printf("Error: can't open romfile\n");
		free(buf);
		return 0;
	}
	size_t got = fread(buf, 1, ROMFILE_SIZE, f);
	(void)got; // a short image is stamped all the same; the rest reads as zeros
	bool ok;
	uint32_t checksum = romfile_image_checksum(buf, "updateRomfileChecksumAndVersion", &ok);
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
	if (!romfile_copy_sums(readings, other, &other_sums)) {
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

int updateRomfileChecksumAndVersion(const char *path, int index)
{
	romfile_readings readings = {};
	int rc = romfile_stamp_image(&readings, path, index);
	romfile_readings_free(&readings);
	return rc;
}
