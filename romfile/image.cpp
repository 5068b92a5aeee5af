// ROM file text, image checksums and the choice between the two copies, on
// buffers only (no flash access), so host tools share them.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "lib/byteorder.h"
#include "flash/crc32.h"
#include "romfile/container.h"
#include "romfile/romfile.h"

namespace {

constexpr char ROM_OPEN[] = "<ROMFILE>";
constexpr size_t ROM_OPEN_LEN = sizeof ROM_OPEN - 1;
constexpr char ROM_CLOSE[] = "</ROMFILE>";
constexpr size_t ROM_CLOSE_LEN = sizeof ROM_CLOSE - 1;

const char *find_text(const char *hay, size_t hay_len, const char *needle, size_t needle_len)
{
	return static_cast<const char *>(memmem(hay, hay_len, needle, needle_len));
}

uint32_t text_checksum(const char *text, size_t size, cfg_said *said)
{
	int real = romfile_real_length(text, size, said);
	return nox_crc32(reinterpret_cast<const unsigned char *>(text), static_cast<size_t>(real));
}

// Length of the ROM file body when the first SIZE bytes hold it whole, else
// 0 (and nothing is printed).
size_t body_length(const char *buf, size_t size)
{
	size_t text_len = strnlen(buf, size);
	const char *close = find_text(buf, text_len, ROM_CLOSE, ROM_CLOSE_LEN);
	if (close && text_len >= ROM_OPEN_LEN && memcmp(buf, ROM_OPEN, ROM_OPEN_LEN) == 0)
		return static_cast<size_t>(close - buf) + ROM_CLOSE_LEN;
	return 0;
}

// The body of a decoded container's text: the decoded part followed, up to
// the raw image's size, by the raw bytes past it (the image the decoder
// leaves in the caller's buffer). A body whole in the decoded part is the
// body of that image too; only an image without one, whose decoded part
// holds no NUL, is extended with its raw tail to be looked at as the decoder
// leaves it. False when the part could not be extended.
bool decoded_body(const char *raw, char **part, size_t part_len, cfg_said *said, size_t *body)
{
	*body = body_length(*part, part_len);
	if (*body)
		return true;
	if (part_len < ROMFILE_SIZE && !memchr(*part, '\0', part_len)) {
		if (cfg_extend_part(raw, part, part_len, said) != 0)
			return false;
		part_len = ROMFILE_SIZE;
	}
	*body = static_cast<size_t>(romfile_real_length(*part, part_len, said));
	return true;
}

bool copy_is_valid(const romfile_sums &c)
{
	return c.computed == c.stored;
}

} // namespace

int romfile_real_length(const char *buf, size_t size, cfg_said *said)
{
	size_t body = body_length(buf, size);
	if (body)
		return static_cast<int>(body);
	if (find_text(buf, strnlen(buf, size), ROM_OPEN, ROM_OPEN_LEN))
		cfg_say(said, "Current ROM file is not valid!\n");
	return 0;
}

int nox_parseRomFromBuffer(const char *buf)
{
	return romfile_real_length(buf, strlen(buf));
}

int nox_getRealRom(const char *buf)
{
	if (!buf) {
		printf("Input ROM file buffer is NULL!\n");
		return 0;
	}
	return nox_parseRomFromBuffer(buf);
}

char *romfile_buf_alloc()
{
	return static_cast<char *>(calloc(ROMFILE_SIZE + 1, 1));
}

uint32_t romfile_image_checksum(const char *raw, const char *who, bool *ok, cfg_said *said)
{
	*ok = true;
	if (!isCompressedConfigFile(raw))
		return text_checksum(raw, ROMFILE_SIZE, said);
	char *part = nullptr;
	size_t part_len = 0;
	size_t body = 0;
	*ok = cfg_decode_part(raw, &part, &part_len, said) == 0 && decoded_body(raw, &part, part_len, said, &body);
	if (!*ok && who)
		printf("%s: nox_configFileLzwDecoder fail!\n", who);
	uint32_t sum = *ok ? nox_crc32(reinterpret_cast<const unsigned char *>(part), body) : 0;
	free(part);
	return sum;
}

int romfile_image_sums(const char *raw, const char *who, romfile_sums *sums, cfg_said *said)
{
	const unsigned char *trailer = reinterpret_cast<const unsigned char *>(raw);
	sums->stored = be32_get(trailer + ROMFILE_CHECKSUM_OFFSET);
	sums->version = be32_get(trailer + ROMFILE_VERSION_OFFSET);
	bool ok;
	sums->computed = romfile_image_checksum(raw, who, &ok, said);
	return ok ? 1 : 0;
}

int romfile_choose_read_index(const romfile_sums &first, const romfile_sums &second)
{
	if (first.computed == ROMFILE_NO_BODY)
		return ROMFILE_SECOND;
	if (second.computed == ROMFILE_NO_BODY)
		return ROMFILE_FIRST;
	if (first.version < second.version) {
		if (copy_is_valid(second))
			return ROMFILE_SECOND;
		return copy_is_valid(first) ? ROMFILE_FIRST : ROMFILE_NONE;
	}
	if (copy_is_valid(first))
		return ROMFILE_FIRST;
	return copy_is_valid(second) ? ROMFILE_SECOND : ROMFILE_NONE;
}

// An invalid copy is overwritten first, else the older one; copy 1 when the
// versions are equal.
int romfile_choose_write_index(const romfile_sums &first, const romfile_sums &second)
{
	if (first.computed == ROMFILE_NO_BODY)
		return ROMFILE_FIRST;
	if (second.computed == ROMFILE_NO_BODY)
		return ROMFILE_SECOND;
	if (second.version < first.version) {
		if (!copy_is_valid(second))
			return ROMFILE_SECOND;
		return !copy_is_valid(first) ? ROMFILE_FIRST : ROMFILE_SECOND;
	}
	if (!copy_is_valid(first))
		return ROMFILE_FIRST;
	return !copy_is_valid(second) ? ROMFILE_SECOND : ROMFILE_FIRST;
}
