// The running configuration ("ROM file"): its <ROMFILE> text, its checksum,
// and the two copies in the "romfile" and "second_romfile" partitions, each
// with a checksum and version trailer in the last 8 bytes of its first
// 128 KiB.
#pragma once

#include <cstddef>
#include <cstdint>

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
// terminated: the text ends at the first NUL or at SIZE.
int romfile_real_length(const char *buf, size_t size);

struct romfile_sums {
	uint32_t computed; // nox_crc32 of the decoded ROM file text
	uint32_t stored;   // trailer checksum
	uint32_t version;  // trailer version
};

// Heap buffer for one raw image: ROMFILE_SIZE zero bytes and a spare NUL.
char *romfile_buf_alloc();
// Checksums and version of the raw image in *IMAGE (a romfile_buf_alloc
// buffer, replaced by the decoded image when compressed). WHO names the
// caller in the decoder's failure message (none when null). 1 on success, 0
// on failure.
int romfile_image_sums(char **image, const char *who, romfile_sums *sums);
// nox_crc32 over the ROM file text of *IMAGE after decoding it, or 0 after a
// decoder failure reported with WHO. *OK tells the two apart.
uint32_t romfile_image_checksum(char **image, const char *who, bool *ok);

// The copy to read and the copy to overwrite, from both copies' sums.
int romfile_choose_read_index(const romfile_sums &first, const romfile_sums &second);
int romfile_choose_write_index(const romfile_sums &first, const romfile_sums &second);

// The two copies are read at most once per invocation: getRomfileChecksumAndVersion,
// the index choices and nox_getRomChksum keep what they read (and what was
// printed while reading, which they print again) until this is called, as a
// writer of a copy or a test that rewrites flash must.
void romfile_forget_copies();

int getRomfileChecksumAndVersion(const char *partition, uint32_t *computed, uint32_t *stored,
				 uint32_t *version);
int get_read_romfile_index();
int get_write_romfile_index();
uint32_t nox_getRomChksum();
// Stamps the image file PATH, about to be written to copy INDEX, with its
// checksum and the other copy's version plus one. 1 on success, 0 on failure.
int updateRomfileChecksumAndVersion(const char *path, int index);
