#include "romfile/container.h"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>

#include "fastlz.h"
#include "flash/byteorder.h"
#include "lib/safe_file.h"

namespace {

constexpr char CFG_MAGIC[] = "<compressed len=";
constexpr size_t CFG_MAGIC_LEN = sizeof CFG_MAGIC - 1;
constexpr char TMP_COMPRESS[] = "/tmp/tmp_compress";
constexpr uint32_t ADLER_BASE = 65521;
constexpr size_t ADLER_NMAX = 5552;
// FastLZ level 1 may expand incompressible input by one control byte per 32
// literals and needs at least 66 bytes of output.
constexpr size_t FASTLZ_OUT_MAX = CFG_BLOCK_SIZE + CFG_BLOCK_SIZE / 16 + 66;
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
	unsigned char raw[CFG_CHUNK_HEADER_SIZE] = {};
	if (w->pos < w->src_size) {
		size_t have = std::min<uint64_t>(CFG_CHUNK_HEADER_SIZE, w->src_size - w->pos);
		memcpy(raw, w->src + w->pos, have);
	}
	size_t off = 0;
	cfg_read_chunk_header(raw, &off, h);
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

void report_mismatch(int method, uint32_t got, uint32_t expected)
{
	printf("Error: checksum mismatch. Skipped.\n");
	printf("case %d: Got %08lX Expecting %08lX\n", method, static_cast<unsigned long>(got),
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
	scratch packed;
	scratch unpacked;
};

// Room left in the output at the current output offset.
size_t output_room(const decode_state &d)
{
	return d.out_pos < d.out_size ? d.out_size - d.out_pos : 0;
}

// A stored chunk is copied to the output but the output offset stays where it
// was, so a stored chunk only ever works as the last one of a stream; the
// gateway's images rely on exactly this layout.
void decode_stored_chunk(decode_state *d, const cfg_chunk_header &h)
{
	d->total += h.size;
	size_t take = std::min(readable_payload(d->walk, h.size), output_room(*d));
	unsigned char *at = d->out + std::min<uint64_t>(d->out_pos, d->out_size);
	if (take)
		memcpy(at, d->walk.src + d->walk.pos, take);
	d->walk.pos += h.size;
	uint32_t got = cfg_adler32(1, at, take);
	if (got != h.checksum)
		report_mismatch(0, got, h.checksum);
}

int expand_block(const decode_state &d, size_t packed_len, uint32_t extra)
{
	if (packed_len == 0 || extra == 0 || extra > d.unpacked.capacity)
		return 0;
	return fastlz_decompress(d.packed.data, static_cast<int>(packed_len), d.unpacked.data,
				 static_cast<int>(extra));
}

void decode_fastlz_chunk(decode_state *d, const cfg_chunk_header &h)
{
	size_t take = readable_payload(d->walk, h.size);
	if (!scratch_reserve(&d->packed, take, FASTLZ_IN_PAD)) {
		printf("Error: compressed_buffer calloc fail. Skipped.\n");
		return;
	}
	// A block that cannot fit in the output is never expanded, so its scratch
	// is not grown for it either.
	bool fits = h.extra <= output_room(*d);
	if (fits && !scratch_reserve(&d->unpacked, h.extra, 0)) {
		printf("Error: decompressed_buffer calloc fail. Skipped.\n");
		return;
	}
	if (take)
		memcpy(d->packed.data, d->walk.src + d->walk.pos, take);
	memset(d->packed.data + take, 0, FASTLZ_IN_PAD);
	d->walk.pos += h.size;
	uint32_t got = cfg_adler32(1, d->packed.data, take);
	d->total += h.extra;
	if (got != h.checksum) {
		report_mismatch(1, got, h.checksum);
		return;
	}
	int produced = fits ? expand_block(*d, take, h.extra) : 0;
	if (produced < 0 || static_cast<uint32_t>(produced) != h.extra) {
		printf("Error: decompression failed. Skipped.\n");
		return;
	}
	if (h.extra)
		memcpy(d->out + d->out_pos, d->unpacked.data, h.extra);
	d->out_pos += h.extra;
}

size_t put_chunk(unsigned char *dst, size_t q, const cfg_chunk_header &h, const unsigned char *payload)
{
	cfg_write_chunk_header(dst + q, &q, h);
	memcpy(dst + q, payload, h.size);
	return q + h.size;
}

bool read_whole_file(FILE *f, unsigned char *buf, size_t size)
{
	return fread(buf, 1, size, f) == size;
}

} // namespace

uint32_t cfg_adler32(uint32_t adler, const unsigned char *data, size_t len)
{
	uint32_t a = adler & 0xFFFF;
	uint32_t b = adler >> 16;
	while (len > 0) {
		size_t n = std::min(len, ADLER_NMAX);
		len -= n;
		while (n--) {
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
	char head[CFG_HEADER_SIZE + 1];
	memcpy(head, buf, CFG_HEADER_SIZE);
	head[CFG_HEADER_SIZE] = '\0';
	char *end = static_cast<char *>(memchr(head, '>', CFG_HEADER_SIZE));
	if (!end)
		return 0;
	*end = '\0';
	// atoi's value for numbers beyond int is undefined; clamp the way a
	// saturating conversion would, which the size check below refuses anyway.
	long value = strtol(head + CFG_MAGIC_LEN, nullptr, 10);
	int n = static_cast<int>(std::max<long>(INT_MIN, std::min<long>(INT_MAX, value)));
	if (static_cast<unsigned>(n) > CFG_MAX_STREAM_LEN) {
		printf("Oversized length %d in compressed config file header\n", n);
		return 0;
	}
	return n;
}

size_t cfg_stream_bound(size_t len)
{
	size_t blocks = (len + CFG_BLOCK_SIZE - 1) / CFG_BLOCK_SIZE;
	return len + len / 16 + blocks * (CFG_CHUNK_HEADER_SIZE + 66);
}

int compressCfgBufToBuf(const char *src, char *dst, size_t dst_size, int *len)
{
	unsigned char block[CFG_BLOCK_SIZE];
	unsigned char packed[FASTLZ_OUT_MAX];
	memset(block, 0, sizeof block);
	memset(packed, 0, sizeof packed);
	unsigned char *out = bytes(dst);
	int64_t remaining = *len;
	int64_t consumed = 0;
	size_t q = 0;
	size_t k = 0;
	bool compress = true;
	while (remaining > 0) {
		size_t block_len;
		size_t from = k * CFG_BLOCK_SIZE;
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
		memcpy(block, src + from, block_len);
		cfg_chunk_header h;
		h.id = CFG_CHUNK_ID;
		const unsigned char *payload;
		if (compress) {
			int m = fastlz_compress_level(1, block, static_cast<int>(block_len), packed);
			h.options = CFG_FASTLZ;
			h.size = static_cast<uint32_t>(m);
			h.checksum = cfg_adler32(1, packed, h.size);
			payload = packed;
		} else {
			// The stored payload comes from the compression scratch, not from
			// the block: gateways in the field wrote (and read back) exactly
			// these bytes, while the checksum covers the real input.
			h.options = CFG_STORED;
			h.size = static_cast<uint32_t>(block_len);
			h.checksum = cfg_adler32(1, block, block_len);
			payload = packed;
		}
		h.extra = static_cast<uint32_t>(block_len);
		if (q + CFG_CHUNK_HEADER_SIZE + h.size > dst_size)
			break;
		q = put_chunk(out, q, h, payload);
		consumed += static_cast<int64_t>(block_len);
	}
	if (consumed != *len) {
		printf("Error: reading CfgBuf failed!\n");
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

int decompressCfgBufToBuf(const char *src, size_t src_size, int *len, char *dst, size_t dst_size)
{
	decode_state d = {};
	d.walk = { bytes(src), src_size, static_cast<uint64_t>(std::max(*len, 0)), 0 };
	d.out = bytes(dst);
	d.out_size = dst_size;
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
			printf("Error: unknown compression method (%d)\n", h.options);
	}
	free(d.packed.data);
	free(d.unpacked.data);
	*len = static_cast<int>(std::min<uint64_t>(d.total, INT_MAX));
	return 0;
}

int nox_configFileLzDecoder(char **buf, int *len)
{
	int n = nox_getCompressedConfigFileLength(*buf);
	*len = n;
	const char *stream = *buf + CFG_HEADER_SIZE;
	size_t readable = CFG_IMAGE_BUF_SIZE - CFG_HEADER_SIZE;
	// The work area is eight times the stream, or the whole image when the
	// chunks promise more; an image beyond any the gateway writes is refused
	// as if the area could not be had.
	uint64_t promised = cfg_stream_decoded_length(stream, readable, static_cast<uint32_t>(n));
	uint64_t work_size = std::max<uint64_t>(8 * static_cast<uint64_t>(n), promised);
	char *work = nullptr;
	if (promised <= CFG_MAX_DECODED_LEN)
		work = static_cast<char *>(calloc(std::max<uint64_t>(work_size, 1), 1));
	if (!work) {
		printf("%s: fastlz calloc compressed buffer fail!\n", "nox_configFileLzDecoder");
		return -1;
	}
	if (decompressCfgBufToBuf(stream, readable, len, work, work_size) != 0) {
		printf("%s: decompressed fail!\n", "nox_configFileLzDecoder");
		free(work);
		return -1;
	}
	size_t decoded = std::min<uint64_t>(static_cast<unsigned>(*len), work_size);
	*len = static_cast<int>(decoded);
	if (decoded > CFG_IMAGE_BUF_SIZE) {
		char *grown = static_cast<char *>(realloc(*buf, decoded + 1));
		if (!grown) {
			printf("Error: %s realloc fail!\n", "nox_configFileLzDecoder");
			free(work);
			return -1;
		}
		grown[decoded] = '\0';
		*buf = grown;
	}
	memset(*buf, 0, decoded);
	memcpy(*buf, work, decoded);
	free(work);
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
	char *area = static_cast<char *>(calloc(area_size, 1));
	if (!area) {
		printf("%s: fastlz calloc compressed buffer fail!\n", "nox_configFileLzEncoder");
		return -1;
	}
	int n = 0;
	if (cfg_build_container(buf, plain, area, area_size, &n) != 0) {
		printf("Error: compressCfgBufToBuf fail!\n");
		free(area);
		return -1;
	}
	printf("compressed len = %d, uncompressed len = %d\n", n, plain);
	// The container replaces the text in place, so it must fit in it.
	if (static_cast<int64_t>(plain) < static_cast<int64_t>(n) + static_cast<int64_t>(CFG_HEADER_SIZE)) {
		printf("Error: input buffer is not enough!\n");
		free(area);
		return -1;
	}
	memset(buf, 0, static_cast<size_t>(plain));
	memcpy(buf, area, static_cast<size_t>(n) + CFG_HEADER_SIZE);
	*len = n;
	free(area);
	return 0;
}

int nox_compressCfgBufferToFile(char *out_path, size_t out_size, char *buf, int *len)
{
	if (nox_configFileLzEncoder(buf, len) != 0) {
		printf("%s: lz encode error!\n", "nox_compressCfgBufferToFile");
		return 0;
	}
	FILE *f = safe_fopen(TMP_COMPRESS, "w");
	if (!f) {
		printf("%s: open file %s error!\n", "nox_compressCfgBufferToFile", TMP_COMPRESS);
		return 0;
	}
	fwrite(buf, 1, static_cast<size_t>(*len) + CFG_HEADER_SIZE, f);
	fclose(f);
	if (out_size > 0)
		snprintf(out_path, out_size, "%s", TMP_COMPRESS);
	return 1;
}

int compressCfgFileToFile(const char *in_path, const char *out_path)
{
	struct stat st;
	if (stat(in_path, &st) != 0) {
		printf("Error: stat error.\n");
		return -1;
	}
	FILE *in = fopen(in_path, "rb");
	if (!in) {
		printf("Error: could not open %s. Aborted.\n\n", in_path);
		return -1;
	}
	size_t size = static_cast<size_t>(st.st_size);
	printf("intput file size = %u\n", static_cast<unsigned>(size));
	unsigned char *plain = static_cast<unsigned char *>(calloc(std::max<size_t>(size, 1), 1));
	size_t out_size = cfg_stream_bound(size);
	char *out = static_cast<char *>(calloc(out_size, 1));
	if (!plain || !out || size > INT_MAX || !read_whole_file(in, plain, size)) {
		printf("Error: could not open %s. Aborted.\n\n", in_path);
		fclose(in);
		free(plain);
		free(out);
		return -1;
	}
	fclose(in);
	int len = static_cast<int>(size);
	int rc = compressCfgBufToBuf(reinterpret_cast<const char *>(plain), out, out_size, &len);
	free(plain);
	printf("output len = %u\n", static_cast<unsigned>(len));
	FILE *existing = fopen(out_path, "rb");
	if (existing) {
		fclose(existing);
		printf("Error: file %s already exists. Aborted.\n\n", out_path);
		free(out);
		return -1;
	}
	FILE *f = fopen(out_path, "wb");
	if (!f) {
		printf("Error: could not create %s. Aborted.\n\n", out_path);
		free(out);
		return -1;
	}
	fwrite(out, 1, static_cast<size_t>(len), f);
	fclose(f);
	free(out);
	return rc;
}
