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

// A text in two pieces, A then B: the decoded part of a container and the
// raw bytes the decoder leaves after it. B is empty for a text in one piece.
struct split_text {
	const char *a;
	size_t a_len;
	const char *b;
	size_t b_len;
};

// Offset of the first NEEDLE (at most ROM_CLOSE_LEN bytes) in the text, or
// -1.
long find_in(const split_text &t, const char *needle, size_t len)
{
	if (const char *p = find_text(t.a, t.a_len, needle, len))
		return p - t.a;
	if (t.b_len == 0)
		return -1;
	// Across the join: the last len - 1 bytes of A and the first of B.
	char window[2 * ROM_CLOSE_LEN];
	size_t left = std::min(t.a_len, len - 1);
	size_t right = std::min(t.b_len, len - 1);
	memcpy(window, t.a + t.a_len - left, left);
	memcpy(window + left, t.b, right);
	if (const char *p = find_text(window, left + right, needle, len))
		return static_cast<long>(t.a_len - left) + (p - window);
	if (const char *p = find_text(t.b, t.b_len, needle, len))
		return static_cast<long>(t.a_len) + (p - t.b);
	return -1;
}

bool opens_rom(const split_text &t)
{
	if (t.a_len + t.b_len < ROM_OPEN_LEN)
		return false;
	char head[ROM_OPEN_LEN];
	size_t from_a = std::min(t.a_len, ROM_OPEN_LEN);
	memcpy(head, t.a, from_a);
	if (from_a < ROM_OPEN_LEN)
		memcpy(head + from_a, t.b, ROM_OPEN_LEN - from_a);
	return memcmp(head, ROM_OPEN, ROM_OPEN_LEN) == 0;
}

// Length of the ROM file body of the text, or 0 (nothing is printed).
size_t body_of(const split_text &t)
{
	long close = find_in(t, ROM_CLOSE, ROM_CLOSE_LEN);
	return close >= 0 && opens_rom(t) ? static_cast<size_t>(close) + ROM_CLOSE_LEN : 0;
}

// As body_of, after the message when the text holds an opening marker but
// no body.
size_t text_body(const split_text &t, cfg_said *said)
{
	size_t body = body_of(t);
	if (!body && find_in(t, ROM_OPEN, ROM_OPEN_LEN) >= 0)
		cfg_say(said, "Current ROM file is not valid!\n");
	return body;
}

uint32_t body_checksum(const split_text &t, size_t body)
{
	size_t in_a = std::min(body, t.a_len);
	uint32_t crc = nox_crc32(reinterpret_cast<const unsigned char *>(t.a), in_a);
	if (body > in_a)
		crc = nox_crc32_update(reinterpret_cast<const unsigned char *>(t.b), body - in_a, crc);
	return crc;
}

void read_rest(const romfile_rest *rest)
{
	if (rest)
		rest->read(rest->ctx);
}

// Checksum of a decoded container's text: the decoded part followed, up to
// the raw image's size, by the raw bytes past it (the image the decoder
// leaves in the caller's buffer). A body whole in the decoded part is the
// body of that image too; only for an image without one, whose decoded part
// holds no NUL, is the raw tail read, where it lies.
uint32_t decoded_checksum(const char *raw, const romfile_rest *rest, const char *part, size_t part_len,
			  cfg_said *said)
{
	split_text t = { part, strnlen(part, part_len), nullptr, 0 };
	size_t body = body_of(t);
	if (!body) {
		if (t.a_len == part_len && part_len < ROMFILE_SIZE) {
			read_rest(rest);
			t.b = raw + part_len;
			t.b_len = strnlen(t.b, ROMFILE_SIZE - part_len);
		}
		body = text_body(t, said);
	}
	return body_checksum(t, body);
}

bool copy_is_valid(const romfile_sums &c)
{
	return c.computed == c.stored;
}

} // namespace

int romfile_real_length(const char *buf, size_t size, cfg_said *said)
{
	split_text t = { buf, strnlen(buf, size), nullptr, 0 };
	return static_cast<int>(text_body(t, said));
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

uint32_t romfile_image_checksum(const char *raw, const char *who, bool *ok, cfg_said *said, const romfile_rest *rest)
{
	*ok = true;
	if (!isCompressedConfigFile(raw)) {
		read_rest(rest);
		split_text t = { raw, strnlen(raw, ROMFILE_SIZE), nullptr, 0 };
		return body_checksum(t, text_body(t, said));
	}
	char *part = nullptr;
	size_t part_len = 0;
	if (cfg_decode_part(raw, &part, &part_len, said) != 0) {
		if (who)
			printf("%s: nox_configFileLzwDecoder fail!\n", who);
		*ok = false;
		return 0;
	}
	uint32_t sum = decoded_checksum(raw, rest, part, part_len, said);
	free(part);
	return sum;
}

int romfile_image_sums(const char *raw, const char *who, romfile_sums *sums, cfg_said *said, const romfile_rest *rest)
{
	const unsigned char *trailer = reinterpret_cast<const unsigned char *>(raw);
	sums->stored = be32_get(trailer + ROMFILE_CHECKSUM_OFFSET);
	sums->version = be32_get(trailer + ROMFILE_VERSION_OFFSET);
	bool ok;
	sums->computed = romfile_image_checksum(raw, who, &ok, said, rest);
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
