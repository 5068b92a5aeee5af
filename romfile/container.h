// The compressed configuration container: a 40-byte text header
// "<compressed len=N>" followed by N bytes of chunks. Each chunk is a 16-byte
// little-endian header {id 17, options, size, Adler-32, uncompressed length}
// and one block of at most 65536 input bytes, compressed with FastLZ level 1
// or stored.
#pragma once

#include <cstddef>
#include <cstdint>

// The container header's text before the length digits.
constexpr char CFG_MAGIC[] = "<compressed len=";
constexpr size_t CFG_MAGIC_LEN = sizeof CFG_MAGIC - 1;
constexpr size_t CFG_HEADER_SIZE = 40;
constexpr size_t CFG_CHUNK_HEADER_SIZE = 16;
constexpr size_t CFG_BLOCK_SIZE = 65536;
constexpr size_t CFG_MIN_COMPRESS = 32;          // shorter blocks are stored
constexpr uint32_t CFG_MAX_STREAM_LEN = 0x20000; // largest header length accepted
constexpr uint16_t CFG_CHUNK_ID = 17;
constexpr uint16_t CFG_STORED = 0;
constexpr uint16_t CFG_FASTLZ = 1;
// Raw configuration images are read 128 KiB at a time; the decoder grows the
// caller's buffer only for an image larger than that.
constexpr size_t CFG_IMAGE_BUF_SIZE = 0x20000;
// Largest decoded image the decoder will build. A 128 KiB chunk stream of the
// most repetitive text FastLZ can express stays well under it; a header
// promising more describes no image the gateway ever wrote.
constexpr uint64_t CFG_MAX_DECODED_LEN = 0x1000000;

struct cfg_chunk_header {
	uint16_t id;
	uint16_t options;
	uint32_t size;     // payload bytes after the chunk header
	uint32_t checksum; // Adler-32 of the payload (of the input for stored chunks)
	uint32_t extra;    // uncompressed length of the block
};

// What the library printed about one configuration image, kept by the
// caller that asked for it (a reading of a romfile copy keeps its lines so
// that asking for the copy again says them again word for word).
struct cfg_said {
	char *text;      // NUL-terminated, heap; the owner frees it
	size_t len;
	size_t capacity;
	bool lost;       // something was printed that could not be kept
	bool held;       // kept, not printed, until cfg_said_let_go
};
// Prints one of the library's messages on standard output and, when KEEP is
// not null, appends it to KEEP.
void cfg_say(cfg_said *keep, const char *fmt, ...) __attribute__((format(printf, 2, 3)));
void cfg_said_free(cfg_said *said);
// Prints what a held SAID kept and stops holding; nothing when it is not
// held (its lines were printed as they came).
void cfg_said_let_go(cfg_said *said);

uint32_t cfg_adler32(uint32_t adler, const unsigned char *data, size_t len);
void cfg_write_chunk_header(unsigned char *stream, size_t *offset, const cfg_chunk_header &h);
void cfg_read_chunk_header(const unsigned char *stream, size_t *offset, cfg_chunk_header *h);

// Non-zero when BUF (at least 16 bytes) starts with "<compressed len=".
int isCompressedConfigFile(const char *buf);
// The chunk-stream length of the 40-byte header at BUF, 0 when the header is
// unusable (after a message when the number is too large).
int nox_getCompressedConfigFileLength(const char *buf);
// The same, its message also kept in SAID when not null.
int cfg_header_length(const char *buf, cfg_said *said);
// Bytes from the start of the raw image RAW that decoding it reads (the
// header, the chunk headers and payloads its walk meets, the expander's look
// past a payload), at most CFG_IMAGE_BUF_SIZE, as far as the first HAVE bytes
// tell: while the result is beyond HAVE, read up to it and ask again. Lets a
// reader from flash leave the rest of a 128 KiB copy unread. Nothing is
// printed.
size_t cfg_image_reach(const char *raw, size_t have);

// Decodes the container in *BUF, a heap buffer of at least
// CFG_IMAGE_BUF_SIZE bytes. On success the decoded image replaces the first
// *LEN bytes of *BUF, the raw bytes after them staying as they were, or, for
// an image larger than CFG_IMAGE_BUF_SIZE, *BUF is replaced by a buffer of
// the image and a spare NUL byte; 0 is returned. -1 on failure.
int nox_configFileLzDecoder(char **buf, int *len);
// The decoded part alone of the container in RAW (CFG_IMAGE_BUF_SIZE bytes,
// left as it is): on success *OUT is a new heap buffer of *OUT_LEN decoded
// bytes and a NUL, and 0 is returned; -1 on failure. Messages go to standard
// output and to SAID when not null.
int cfg_decode_part(const char *raw, char **out, size_t *out_len, cfg_said *said);
// Encodes the *LEN bytes of BUF into a container in place. On success BUF
// holds header and chunks, *LEN the chunk-stream length, and 0 is returned;
// -1 when encoding fails or the container does not fit in *LEN bytes.
int nox_configFileLzEncoder(char *buf, int *len);
// Files (container_file.cpp).
// Encodes BUF in place, writes the container to /tmp/tmp_compress and copies
// that path into OUT_PATH (OUT_SIZE bytes). 1 on success, 0 on failure.
int nox_compressCfgBufferToFile(char *out_path, size_t out_size, char *buf, int *len);
// Writes the chunk stream (no header) of the file IN_PATH to the new file
// OUT_PATH. 0 on success, -1 on failure.
int compressCfgFileToFile(const char *in_path, const char *out_path);

// Room a chunk stream of LEN input bytes may need at most.
size_t cfg_stream_bound(size_t len);
// Chunk stream of the *LEN bytes at SRC into DST (DST_SIZE bytes, at least
// cfg_stream_bound). 0 with *LEN = stream bytes written, or -1.
int compressCfgBufToBuf(const char *src, char *dst, size_t dst_size, int *len);
// Expands the chunk stream of *LEN bytes at SRC (of which SRC_SIZE bytes are
// readable) into DST (DST_SIZE bytes). Bad chunks are reported and skipped;
// *LEN becomes the sum of the chunks' uncompressed lengths. Always 0.
int decompressCfgBufToBuf(const char *src, size_t src_size, int *len, char *dst, size_t dst_size);
// The sum decompressCfgBufToBuf will report for the same stream.
uint64_t cfg_stream_decoded_length(const char *src, size_t src_size, uint32_t len);
// Number of chunk headers the decoder reads in the stream.
uint32_t cfg_stream_chunk_count(const char *src, size_t src_size, uint32_t len);
// Where the decoder's walk over the stream ends: LEN exactly for a stream
// the encoder wrote; *ALL_KNOWN is cleared when a header of another id or
// method was met.
uint64_t cfg_stream_walk_end(const char *src, size_t src_size, uint32_t len, bool *all_known);

// Header and chunk stream of the LEN bytes at SRC into OUT (OUT_SIZE bytes, at
// least CFG_HEADER_SIZE + cfg_stream_bound(LEN)); *STREAM_LEN receives the
// chunk-stream length. 0 or -1. Prints only the block encoder's messages.
int cfg_build_container(const char *src, int len, char *out, size_t out_size, int *stream_len);
