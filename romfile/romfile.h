// The running configuration ("ROM file"): its <ROMFILE> text, its checksum,
// and the two copies in the "romfile" and "second_romfile" partitions, each
// with a checksum and version trailer in the last 8 bytes of its first
// 128 KiB.
#pragma once

#include <cstddef>
#include <cstdint>

#include "romfile/container.h"

constexpr size_t ROMFILE_SIZE = 0x20000;
constexpr size_t ROMFILE_CHECKSUM_OFFSET = 0x1FFF8;
constexpr size_t ROMFILE_VERSION_OFFSET = 0x1FFFC;
// Checksum of a buffer that holds no ROM file: nox_crc32 over nothing.
constexpr uint32_t ROMFILE_NO_BODY = 0xFFFFFFFFu;

// Copy indexes: 0 none, 1 "romfile", 2 "second_romfile".
constexpr int ROMFILE_NONE = 0;
constexpr int ROMFILE_FIRST = 1;
constexpr int ROMFILE_SECOND = 2;

// Length of the text from byte 0 through the first "</ROMFILE>", 0 when the
// buffer does not start with "<ROMFILE>" or has no closing marker. BUF is a
// NUL-terminated text.
int nox_parseRomFromBuffer(const char *buf);
// As nox_parseRomFromBuffer; a null BUF is refused with a message.
int nox_getRealRom(const char *buf);
// As nox_parseRomFromBuffer for a buffer of SIZE bytes that need not be
// terminated: the text ends at the first NUL or at SIZE. The message is also
// kept in SAID when not null.
int romfile_real_length(const char *buf, size_t size, cfg_said *said = nullptr);

struct romfile_sums {
	uint32_t computed; // nox_crc32 of the decoded ROM file text
	uint32_t stored;   // trailer checksum
	uint32_t version;  // trailer version
};

// Heap buffer for one raw image: ROMFILE_SIZE zero bytes and a spare NUL.
char *romfile_buf_alloc();
// The part of a raw image not read yet: a reader from flash reads only the
// trailer and what the container's decoding reads (cfg_image_reach), and
// READ(CTX) the rest, called before a reading looks past those bytes (a text
// not in a container, or one running past its decoded part).
struct romfile_rest {
	void (*read)(void *ctx);
	void *ctx;
};
// nox_crc32 over the ROM file text of the raw image RAW (ROMFILE_SIZE bytes,
// decoded first when it holds a container; RAW itself is left as it is), or 0
// after a decoder failure, reported with WHO when not null. *OK tells the
// two apart. What the decoder and the text parser print is also kept in SAID
// when not null. REST, when not null, reads what RAW does not hold yet.
uint32_t romfile_image_checksum(const char *raw, const char *who, bool *ok, cfg_said *said = nullptr,
				const romfile_rest *rest = nullptr);
// Checksums and version of the raw image RAW, as romfile_image_checksum. 1 on
// success, 0 on failure.
int romfile_image_sums(const char *raw, const char *who, romfile_sums *sums, cfg_said *said = nullptr,
		       const romfile_rest *rest = nullptr);

// The copy to read and the copy to overwrite, from both copies' sums.
int romfile_choose_read_index(const romfile_sums &first, const romfile_sums &second);
int romfile_choose_write_index(const romfile_sums &first, const romfile_sums &second);

// How reading one copy ended.
enum romfile_copy_outcome {
	ROMFILE_COPY_UNREAD,
	ROMFILE_COPY_READ,
	ROMFILE_COPY_NO_OPEN,
	ROMFILE_COPY_SHORT,
	ROMFILE_COPY_NO_DECODE,
};

// One reading of a copy: how it ended, its sums, and what the decoder and
// the text parser printed while it was read.
struct romfile_copy_reading {
	romfile_copy_outcome outcome;
	romfile_sums sums;
	cfg_said said;
};

// The two copies as one command reads them, owned by the command: the copies
// do not change while it runs, so each is read at most once, and asking for
// a copy again prints again, word for word, what its reading printed, as a
// reading of its own would have. Start from {} and free with
// romfile_readings_free.
struct romfile_readings {
	romfile_copy_reading first;  // "romfile"
	romfile_copy_reading second; // "second_romfile"
};
void romfile_readings_free(romfile_readings *readings);

// As getRomfileChecksumAndVersion, get_read_romfile_index,
// get_write_romfile_index and updateRomfileChecksumAndVersion, on the
// caller's readings.
int romfile_copy_sums(romfile_readings *readings, const char *partition, romfile_sums *sums);
int romfile_read_index(romfile_readings *readings);
int romfile_write_index(romfile_readings *readings);
int romfile_stamp_image(romfile_readings *readings, const char *path, int index);

// Each of these reads the copies it needs afresh.
int getRomfileChecksumAndVersion(const char *partition, uint32_t *computed, uint32_t *stored,
				 uint32_t *version);
int get_read_romfile_index();
int get_write_romfile_index();
uint32_t nox_getRomChksum();
// Stamps the image file PATH, about to be written to copy INDEX, with its
// checksum and the other copy's version plus one. 1 on success, 0 on failure.
int updateRomfileChecksumAndVersion(const char *path, int index);
