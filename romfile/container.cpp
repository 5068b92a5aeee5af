// The container codec: buffers in, buffers out; no files or flash.
#include "romfile/container.h"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdarg>
#include <cstdlib>
#include <cstring>

#include "fastlz.h"
#include "lib/byteorder.h"

namespace {

constexpr uint32_t ADLER_BASE = 65521;
constexpr size_t ADLER_NMAX = 5552;
// FastLZ level 1 may expand incompressible input by one control byte per 32
// literals and needs at least 66 bytes of output.
constexpr size_t fastlz_out_max(size_t in_len)
{
	return in_len + in_len / 16 + 66;
}
constexpr size_t FASTLZ_OUT_MAX = fastlz_out_max(CFG_BLOCK_SIZE);
// The expander may look a few bytes past the end of a damaged block; the
// compressed scratch keeps zeros there so it never leaves its allocation.
constexpr size_t FASTLZ_IN_PAD = 16;

const unsigned char *bytes(const char *p)
{
	return reinterpret_cast<const unsigned char *>(p);
}

unsigned char *bytes(char *p)
{
	return reinterpret_cast<unsigned char *>(p);
}

// Walks the chunk headers the way the decoder does. The stream is SRC_SIZE
// readable bytes and LEN bytes long by its header; a chunk header cut by the
// end of the readable bytes reads the missing bytes as zero.
struct chunk_walk {
	const unsigned char *src;
	size_t src_size;
	uint64_t len;
	uint64_t pos;
};

bool next_chunk_header(chunk_walk *w, cfg_chunk_header *h)
{
	if (w->pos >= w->len)
		return false;
	size_t off = 0;
	if (w->pos + CFG_CHUNK_HEADER_SIZE <= w->src_size) {
		cfg_read_chunk_header(w->src + w->pos, &off, h);
	} else {
		unsigned char raw[CFG_CHUNK_HEADER_SIZE] = {};
		if (w->pos < w->src_size)
			memcpy(raw, w->src + w->pos, w->src_size - w->pos);
		cfg_read_chunk_header(raw, &off, h);
	}
	w->pos += off;
	return true;
}

// Bytes of a payload of SIZE at the walk's position that lie inside the
// readable stream.
size_t readable_payload(const chunk_walk &w, uint32_t size)
{
	if (w.pos >= w.src_size)
		return 0;
	return std::min<uint64_t>(size, w.src_size - w.pos);
}

// Where the decoder continues after a header: the payload of stored and
// compressed chunks is passed over; for any other id or method the next
// header is read straight after this one.
bool chunk_has_payload(const cfg_chunk_header &h)
{
	return h.id == CFG_CHUNK_ID && (h.options == CFG_STORED || h.options == CFG_FASTLZ);
}

// The decoder counts a chunk's length in its total whether or not the chunk
// decodes.
uint64_t counted_length(const cfg_chunk_header &h)
{
	if (h.id != CFG_CHUNK_ID)
		return 0;
	if (h.options == CFG_STORED)
		return h.size;
	if (h.options == CFG_FASTLZ)
		return h.extra;
	return 0;
}

void report_mismatch(cfg_said *said, int method, uint32_t got, uint32_t expected)
{
	cfg_say(said, "Error: checksum mismatch. Skipped.\n");
	cfg_say(said, "case %d: Got %08lX Expecting %08lX\n", method, static_cast<unsigned long>(got),
	       static_cast<unsigned long>(expected));
}

// Scratch areas of the block decoder, grown only when a chunk needs more and
// reused across chunks.
struct scratch {
	unsigned char *data = nullptr;
	size_t capacity = 0;
};

bool scratch_reserve(scratch *s, size_t need, size_t pad)
{
	if (s->data && need <= s->capacity)
		return true;
	free(s->data);
	s->data = static_cast<unsigned char *>(calloc(need + pad, 1));
	s->capacity = s->data ? need : 0;
	return s->data != nullptr;
}

struct decode_state {
	chunk_walk walk;
	unsigned char *out;
	size_t out_size;
	uint64_t out_pos;
	uint64_t total;
	// Blocks are expanded straight into the output when nothing past the
	// output offset has been kept yet; otherwise (and always for callers
	// that own the destination's other bytes) through the scratch areas.
	bool direct;
	// End of the output bytes written and kept; beyond it the image reads
	// as zeros.
	uint64_t kept_end;
	// End of what a failed direct expansion may have written past
	// kept_end; cleared again at the end.
	uint64_t dirty_end;
	scratch packed;
	scratch unpacked;
	cfg_said *said; // where the messages about skipped chunks are kept
};

// Room left in the output at the current output offset.
size_t output_room(const decode_state &d)
{
	return d.out_pos < d.out_size ? d.out_size - d.out_pos : 0;
}

void keep_output(decode_state *d, uint64_t end)
{
	d->kept_end = std::max(d->kept_end, end);
}

// A stored chunk is copied to the output but the output offset stays where it
// was, so a stored chunk only ever works as the last one of a stream; the
// gateway's images rely on exactly this layout.
void decode_stored_chunk(decode_state *d, const cfg_chunk_header &h)
{
	d->total += h.size;
	size_t take = std::min(readable_payload(d->walk, h.size), output_room(*d));
	const unsigned char *payload = d->walk.src + d->walk.pos;
	if (take) {
		memcpy(d->out + d->out_pos, payload, take);
		keep_output(d, d->out_pos + take);
	}
	d->walk.pos += h.size;
	uint32_t got = cfg_adler32(1, payload, take);
	if (got != h.checksum)
		report_mismatch(d->said, 0, got, h.checksum);
}

// The payload to expand: in the stream itself when the expander's overreach
// stays inside the readable bytes, else a copy followed by zeros.
const unsigned char *packed_payload(decode_state *d, size_t take)
{
	const unsigned char *at = d->walk.src + d->walk.pos;
	if (d->walk.pos + take + FASTLZ_IN_PAD <= d->walk.src_size)
		return at;
	if (take)
		memcpy(d->packed.data, at, take);
	memset(d->packed.data + take, 0, FASTLZ_IN_PAD);
	return d->packed.data;
}

bool needs_packed_copy(const decode_state &d, size_t take)
{
	return d.walk.pos + take + FASTLZ_IN_PAD > d.walk.src_size;
}

int expand_block(const unsigned char *packed, size_t packed_len, unsigned char *to, uint32_t extra)
{
	if (packed_len == 0 || extra == 0)
		return 0;
	return fastlz_decompress(packed, static_cast<int>(packed_len), to, static_cast<int>(extra));
}

void decode_fastlz_chunk(decode_state *d, const cfg_chunk_header &h)
{
	size_t take = readable_payload(d->walk, h.size);
	if (needs_packed_copy(*d, take) && !scratch_reserve(&d->packed, take, FASTLZ_IN_PAD)) {
		cfg_say(d->said, "Error: compressed_buffer calloc fail. Skipped.\n");
		return;
	}
	// A block that cannot fit in the output is never expanded, so its scratch
	// is not grown for it either.
	bool fits = h.extra <= output_room(*d);
	// A block larger than any the encoder writes goes through the scratch
	// area: a failed expansion of it leaves nothing in the output to clear.
	bool direct = fits && d->direct && d->kept_end <= d->out_pos && h.extra <= CFG_BLOCK_SIZE;
	if (fits && !direct && !scratch_reserve(&d->unpacked, h.extra, 0)) {
		cfg_say(d->said, "Error: decompressed_buffer calloc fail. Skipped.\n");
		return;
	}
	const unsigned char *packed = packed_payload(d, take);
	d->walk.pos += h.size;
	uint32_t got = cfg_adler32(1, packed, take);
	d->total += h.extra;
	if (got != h.checksum) {
		report_mismatch(d->said, 1, got, h.checksum);
		return;
	}
	unsigned char *to = direct ? d->out + d->out_pos : d->unpacked.data;
	int produced = fits ? expand_block(packed, take, to, h.extra) : 0;
	if (produced < 0 || static_cast<uint32_t>(produced) != h.extra) {
		if (direct)
			d->dirty_end = std::max<uint64_t>(d->dirty_end, d->out_pos + h.extra);
		cfg_say(d->said, "Error: decompression failed. Skipped.\n");
		return;
	}
	if (h.extra && !direct)
		memcpy(d->out + d->out_pos, d->unpacked.data, h.extra);
	d->out_pos += h.extra;
	keep_output(d, d->out_pos);
}

// Expands the chunk stream of LEN bytes (SRC_SIZE readable) into OUT and
// returns the sum of the chunks' lengths. Output bytes no chunk gave are left
// as they were; with DIRECT the output must come zero-filled, and what a
// failed expansion wrote there is cleared again.
uint64_t decode_stream(const unsigned char *src, size_t src_size, uint64_t len, unsigned char *out,
		       size_t out_size, bool direct, cfg_said *said)
{
	decode_state d = {};
	d.said = said;
	d.walk = { src, src_size, len, 0 };
	d.out = out;
	d.out_size = out_size;
	d.direct = direct;
	cfg_chunk_header h;
	while (next_chunk_header(&d.walk, &h)) {
		// A chunk of another id is not skipped: its payload is read as the
		// next header, as every gateway's reader has always done.
		if (h.id != CFG_CHUNK_ID)
			continue;
		if (h.options == CFG_STORED)
			decode_stored_chunk(&d, h);
		else if (h.options == CFG_FASTLZ)
			decode_fastlz_chunk(&d, h);
		else
			cfg_say(said, "Error: unknown compression method (%d)\n", h.options);
	}
	free(d.packed.data);
	free(d.unpacked.data);
	if (d.dirty_end > d.kept_end)
		memset(out + d.kept_end, 0, d.dirty_end - d.kept_end);
	return d.total;
}

// PAYLOAD may already be in place after the header.
size_t put_chunk(unsigned char *dst, size_t q, const cfg_chunk_header &h, const unsigned char *payload)
{
	cfg_write_chunk_header(dst + q, &q, h);
	if (payload != dst + q)
		memcpy(dst + q, payload, h.size);
	return q + h.size;
}

} // namespace

namespace {

void said_append(cfg_said *c, const char *text, size_t len)
{
	if (c->lost)
		return;
	if (c->len + len + 1 > c->capacity) {
		size_t want = std::max<size_t>(std::max(2 * c->capacity, c->len + len + 1), 256);
		char *grown = static_cast<char *>(realloc(c->text, want));
		if (!grown) {
			c->lost = true;
			return;
		}
		c->text = grown;
		c->capacity = want;
	}
	memcpy(c->text + c->len, text, len);
	c->len += len;
	c->text[c->len] = '\0';
}

// The length number of the container header at BUF as the decoder takes it
// into *N; false when the header has no closing '>'. Nothing is printed.
bool header_number(const char *buf, int *n)
{
	char head[CFG_HEADER_SIZE + 1];
	memcpy(head, buf, CFG_HEADER_SIZE);
	head[CFG_HEADER_SIZE] = '\0';
	char *end = static_cast<char *>(memchr(head, '>', CFG_HEADER_SIZE));
	if (!end)
		return false;
	*end = '\0';
	// atoi's value for numbers beyond int is undefined; clamp the way a
	// saturating conversion would, which the size check refuses anyway.
	long value = strtol(head + CFG_MAGIC_LEN, nullptr, 10);
	*n = static_cast<int>(std::max<long>(INT_MIN, std::min<long>(INT_MAX, value)));
	return true;
}

bool usable_length(int n)
{
	return static_cast<unsigned>(n) <= CFG_MAX_STREAM_LEN;
}

// The length number of the container header at BUF; see
// nox_getCompressedConfigFileLength.
int header_length(const char *buf, cfg_said *said)
{
	int n;
	if (!header_number(buf, &n))
		return 0;
	if (!usable_length(n)) {
		cfg_say(said, "Oversized length %d in compressed config file header\n", n);
		return 0;
	}
	return n;
}

// Puts RAW's bytes past LEN, up to the raw image's size, behind the decoded
// image in IMAGE (room for that size and a NUL), as the decoder leaves them.
void add_raw_tail(const char *raw, char *image, size_t len)
{
	if (len >= CFG_IMAGE_BUF_SIZE)
		return;
	memcpy(image + len, raw + len, CFG_IMAGE_BUF_SIZE - len);
	image[CFG_IMAGE_BUF_SIZE] = '\0';
}

// Decodes the container at RAW into a new buffer of *DECODED bytes, the
// chunks' output (zeros where a chunk was skipped), and a NUL; when
// WHOLE_FROM is at most the decoded length, with room for the raw image's
// size and a NUL as well, and *WHOLE is set. The buffer is zero-filled as it
// is allocated: for an image promising far more than its chunks give, no
// zeros are written by hand. *HEADER_LEN receives the header's length
// number. Null after the message when the image is beyond any the gateway
// writes, which is refused as if its work area could not be had.
unsigned char *decode_container(const char *raw, uint64_t whole_from, uint64_t *decoded, bool *whole,
				int *header_len, cfg_said *said)
{
	int n = header_length(raw, said);
	*header_len = n;
	const unsigned char *stream = bytes(raw) + CFG_HEADER_SIZE;
	size_t readable = CFG_IMAGE_BUF_SIZE - CFG_HEADER_SIZE;
	*decoded = cfg_stream_decoded_length(raw + CFG_HEADER_SIZE, readable, static_cast<uint32_t>(n));
	*whole = *decoded >= whole_from;
	uint64_t room = *whole ? std::max<uint64_t>(*decoded, CFG_IMAGE_BUF_SIZE) : *decoded;
	unsigned char *image = nullptr;
	if (*decoded <= CFG_MAX_DECODED_LEN)
		image = static_cast<unsigned char *>(calloc(room + 1, 1));
	if (!image) {
		cfg_say(said, "%s: fastlz calloc compressed buffer fail!\n", "nox_configFileLzDecoder");
		return nullptr;
	}
	decode_stream(stream, readable, static_cast<uint64_t>(n), image, *decoded, true, said);
	return image;
}

} // namespace

void cfg_say(cfg_said *keep, const char *fmt, ...)
{
	char line[256];
	va_list ap;
	va_start(ap, fmt);
	int n = vsnprintf(line, sizeof line, fmt, ap);
	va_end(ap);
	if (n < 0)
		return;
	bool fits = static_cast<size_t>(n) < sizeof line;
	if (keep && keep->held) {
		if (fits)
			said_append(keep, line, static_cast<size_t>(n));
		if (fits && !keep->lost)
			return;
		// A line that cannot be kept is printed now, after what was held.
		cfg_said_let_go(keep);
	}
	if (!fits) {
		// Longer than any message of the library: printed whole, not kept.
		va_start(ap, fmt);
		vprintf(fmt, ap);
		va_end(ap);
		if (keep)
			keep->lost = true;
		return;
	}
	fputs(line, stdout);
	if (keep)
		said_append(keep, line, static_cast<size_t>(n));
}

void cfg_said_let_go(cfg_said *said)
{
	if (!said->held)
		return;
	said->held = false;
	if (said->len)
		fputs(said->text, stdout);
}

void cfg_said_free(cfg_said *said)
{
	free(said->text);
	*said = cfg_said();
}

// Sixteen bytes per step with the sums reduced once per 5552 bytes, the most
// that cannot overflow 32 bits.
uint32_t cfg_adler32(uint32_t adler, const unsigned char *data, size_t len)
{
	uint32_t a = adler & 0xFFFF;
	uint32_t b = adler >> 16;
	while (len > 0) {
		size_t n = std::min(len, ADLER_NMAX);
		len -= n;
		// Over sixteen bytes d0..d15, a gains their sum and b gains
		// 16 a + 16 d0 + 15 d1 + ... + d15: no chain from byte to byte.
		for (; n >= 16; n -= 16, data += 16) {
			uint32_t sum = 0, weighted = 0;
			for (uint32_t i = 0; i < 16; i++) {
				sum += data[i];
				weighted += (16 - i) * data[i];
			}
			b += 16 * a + weighted;
			a += sum;
		}
		for (; n > 0; n--) {
			a += *data++;
			b += a;
		}
		a %= ADLER_BASE;
		b %= ADLER_BASE;
	}
	return b << 16 | a;
}

void cfg_write_chunk_header(unsigned char *stream, size_t *offset, const cfg_chunk_header &h)
{
	le16_put(stream, h.id);
	le16_put(stream + 2, h.options);
	le32_put(stream + 4, h.size);
	le32_put(stream + 8, h.checksum);
	le32_put(stream + 12, h.extra);
	*offset += CFG_CHUNK_HEADER_SIZE;
}

void cfg_read_chunk_header(const unsigned char *stream, size_t *offset, cfg_chunk_header *h)
{
	h->id = le16_get(stream);
	h->options = le16_get(stream + 2);
	h->size = le32_get(stream + 4);
	h->checksum = le32_get(stream + 8);
	h->extra = le32_get(stream + 12);
	*offset += CFG_CHUNK_HEADER_SIZE;
}

int isCompressedConfigFile(const char *buf)
{
	return memcmp(buf, CFG_MAGIC, CFG_MAGIC_LEN) == 0;
}

int nox_getCompressedConfigFileLength(const char *buf)
{
	return header_length(buf, nullptr);
}

int cfg_header_length(const char *buf, cfg_said *said)
{
	return header_length(buf, said);
}

size_t cfg_image_reach(const char *raw, size_t have)
{
	if (have < CFG_HEADER_SIZE)
		return CFG_HEADER_SIZE;
	int n;
	if (!header_number(raw, &n) || !usable_length(n))
		return CFG_HEADER_SIZE;
	size_t readable = CFG_IMAGE_BUF_SIZE - CFG_HEADER_SIZE;
	// The stream as its header names it first, then what the walk over it
	// meets past that: a chunk header cut by the stream's end, a payload
	// running past it, and the expander's look past a payload.
	uint64_t reach = std::min<uint64_t>(static_cast<uint64_t>(n) + FASTLZ_IN_PAD, readable);
	chunk_walk w = { bytes(raw) + CFG_HEADER_SIZE, readable, static_cast<uint64_t>(n), 0 };
	cfg_chunk_header h;
	while (CFG_HEADER_SIZE + reach <= have && w.pos < w.len) {
		reach = std::max<uint64_t>(reach, w.pos + CFG_CHUNK_HEADER_SIZE);
		if (CFG_HEADER_SIZE + reach > have)
			break;
		next_chunk_header(&w, &h);
		if (chunk_has_payload(h)) {
			reach = std::max<uint64_t>(reach, w.pos + h.size + FASTLZ_IN_PAD);
			w.pos += h.size;
		}
	}
	return static_cast<size_t>(std::min<uint64_t>(CFG_HEADER_SIZE + reach, CFG_IMAGE_BUF_SIZE));
}

size_t cfg_stream_bound(size_t len)
{
	size_t blocks = (len + CFG_BLOCK_SIZE - 1) / CFG_BLOCK_SIZE;
	return len + len / 16 + blocks * (CFG_CHUNK_HEADER_SIZE + 66);
}

int compressCfgBufToBuf(const char *src, char *dst, size_t dst_size, int *len)
{
	unsigned char *out = bytes(dst);
	// Compressed blocks go straight to their place in DST; this scratch is
	// used only where DST is too short for a block's worst case.
	unsigned char packed[FASTLZ_OUT_MAX];
	// The first bytes of the compression scratch, which a stored chunk
	// carries as its payload: zeros until a block has been compressed.
	unsigned char scratch_head[CFG_MIN_COMPRESS] = {};
	int64_t remaining = *len;
	int64_t consumed = 0;
	size_t q = 0;
	size_t k = 0;
	bool compress = true;
	while (remaining > 0) {
		size_t block_len;
		const unsigned char *block = bytes(src) + k * CFG_BLOCK_SIZE;
		if (remaining <= static_cast<int64_t>(CFG_BLOCK_SIZE)) {
			block_len = static_cast<size_t>(remaining);
			remaining = 0;
		} else {
			block_len = CFG_BLOCK_SIZE;
			remaining -= CFG_BLOCK_SIZE;
			k++;
		}
		if (block_len < CFG_MIN_COMPRESS)
			compress = false;
		cfg_chunk_header h;
		h.id = CFG_CHUNK_ID;
		h.extra = static_cast<uint32_t>(block_len);
		const unsigned char *payload;
		if (compress) {
			bool in_place = q + CFG_CHUNK_HEADER_SIZE + fastlz_out_max(block_len) <= dst_size;
			unsigned char *to = in_place ? out + q + CFG_CHUNK_HEADER_SIZE : packed;
			int m = fastlz_compress_level(1, block, static_cast<int>(block_len), to);
			h.options = CFG_FASTLZ;
			h.size = static_cast<uint32_t>(m);
			h.checksum = cfg_adler32(1, to, h.size);
			memcpy(scratch_head, to, std::min<size_t>(h.size, sizeof scratch_head));
			payload = to;
		} else {
			// The stored payload comes from the compression scratch, not from
			// the block: gateways in the field wrote (and read back) exactly
			// these bytes, while the checksum covers the real input.
			h.options = CFG_STORED;
			h.size = static_cast<uint32_t>(block_len);
			h.checksum = cfg_adler32(1, block, block_len);
			payload = scratch_head;
		}
		if (q + CFG_CHUNK_HEADER_SIZE + h.size > dst_size)
			break;
		q = put_chunk(out, q, h, payload);
		consumed += static_cast<int64_t>(block_len);
	}
	if (consumed != *len) {
		cfg_say(nullptr, "Error: reading CfgBuf failed!\n");
		return -1;
	}
	*len = static_cast<int>(q);
	return 0;
}

uint64_t cfg_stream_decoded_length(const char *src, size_t src_size, uint32_t len)
{
	chunk_walk w = { bytes(src), src_size, len, 0 };
	cfg_chunk_header h;
	uint64_t total = 0;
	while (next_chunk_header(&w, &h)) {
		total += counted_length(h);
		if (chunk_has_payload(h))
			w.pos += h.size;
	}
	return total;
}

uint32_t cfg_stream_chunk_count(const char *src, size_t src_size, uint32_t len)
{
	chunk_walk w = { bytes(src), src_size, len, 0 };
	cfg_chunk_header h;
	uint32_t count = 0;
	while (next_chunk_header(&w, &h)) {
		count++;
		if (chunk_has_payload(h))
			w.pos += h.size;
	}
	return count;
}

uint64_t cfg_stream_walk_end(const char *src, size_t src_size, uint32_t len, bool *all_known)
{
	chunk_walk w = { bytes(src), src_size, len, 0 };
	cfg_chunk_header h;
	*all_known = true;
	while (next_chunk_header(&w, &h)) {
		if (chunk_has_payload(h))
			w.pos += h.size;
		else
			*all_known = false;
	}
	return w.pos;
}

int decompressCfgBufToBuf(const char *src, size_t src_size, int *len, char *dst, size_t dst_size)
{
	uint64_t total = decode_stream(bytes(src), src_size, static_cast<uint64_t>(std::max(*len, 0)), bytes(dst),
				       dst_size, false, nullptr);
	*len = static_cast<int>(std::min<uint64_t>(total, INT_MAX));
	return 0;
}

// The decoded image replaces the raw one: bytes up to the decoded length are
// the chunks' output (zeros where a chunk was skipped), and the raw image's
// bytes after it stay as they were. Whichever copies less: a short image is
// copied over the raw buffer; a long one takes a buffer of its own, behind
// which the raw bytes after it are copied.
int nox_configFileLzDecoder(char **buf, int *len)
{
	uint64_t decoded;
	bool whole;
	unsigned char *image = decode_container(*buf, CFG_IMAGE_BUF_SIZE / 2, &decoded, &whole, len, nullptr);
	if (!image)
		return -1;
	if (whole) {
		add_raw_tail(*buf, reinterpret_cast<char *>(image), static_cast<size_t>(decoded));
		free(*buf);
		*buf = reinterpret_cast<char *>(image);
	} else {
		memcpy(*buf, image, static_cast<size_t>(decoded));
		free(image);
	}
	*len = static_cast<int>(decoded);
	return 0;
}

int cfg_decode_part(const char *raw, char **out, size_t *out_len, cfg_said *said)
{
	uint64_t decoded;
	bool whole;
	int header_len;
	unsigned char *image = decode_container(raw, UINT64_MAX, &decoded, &whole, &header_len, said);
	if (!image)
		return -1;
	*out = reinterpret_cast<char *>(image);
	*out_len = static_cast<size_t>(decoded);
	return 0;
}

int cfg_build_container(const char *src, int len, char *out, size_t out_size, int *stream_len)
{
	if (out_size < CFG_HEADER_SIZE)
		return -1;
	int n = len;
	if (compressCfgBufToBuf(src, out + CFG_HEADER_SIZE, out_size - CFG_HEADER_SIZE, &n) != 0)
		return -1;
	memset(out, 0, CFG_HEADER_SIZE);
	snprintf(out, CFG_HEADER_SIZE, "%s%d>", CFG_MAGIC, n);
	*stream_len = n;
	return 0;
}

int nox_configFileLzEncoder(char *buf, int *len)
{
	int plain = *len;
	size_t area_size = CFG_HEADER_SIZE + cfg_stream_bound(static_cast<size_t>(std::max(plain, 0)));
	char *area = static_cast<char *>(malloc(area_size));
	if (!area) {
		cfg_say(nullptr, "%s: fastlz calloc compressed buffer fail!\n", "nox_configFileLzEncoder");
		return -1;
	}
	int n = 0;
	if (cfg_build_container(buf, plain, area, area_size, &n) != 0) {
		cfg_say(nullptr, "Error: compressCfgBufToBuf fail!\n");
		free(area);
		return -1;
	}
	cfg_say(nullptr, "compressed len = %d, uncompressed len = %d\n", n, plain);
	// The container replaces the text in place, so it must fit in it.
	if (static_cast<int64_t>(plain) < static_cast<int64_t>(n) + static_cast<int64_t>(CFG_HEADER_SIZE)) {
		cfg_say(nullptr, "Error: input buffer is not enough!\n");
		free(area);
		return -1;
	}
	// The rest of the caller's buffer is cleared.
	size_t used = static_cast<size_t>(n) + CFG_HEADER_SIZE;
	memcpy(buf, area, used);
	memset(buf + used, 0, static_cast<size_t>(plain) - used);
	*len = n;
	free(area);
	return 0;
}
