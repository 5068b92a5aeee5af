// The container reader on any 128 KiB flash image: header length, chunk
// walk and decoder, with whatever header numbers and chunk sizes. The decoder
// must give exactly the image of the plain reading: every chunk expanded
// through the scratch areas into a zero-filled work area, copied over the raw
// buffer.
//
// One raw buffer and one work area serve every input: a fresh 128 KiB
// buffer per input costs more in page faults than the decoding itself.
#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "romfile/container.h"

namespace {

char *raw_buf;
// The plain reading's work area: as large as any image the decoder builds,
// zeroed per input only as far as the chunks promise.
char work[CFG_MAX_DECODED_LEN + 1];

// The chunks' output the plain reading gives, in the zero-filled work area
// (*LEN bytes), or false when the decoder must fail. The work area needs no
// more than the chunks' lengths: a chunk is never expanded past their sum.
bool plain_reading(const char *raw, size_t *len)
{
	int n = nox_getCompressedConfigFileLength(raw);
	const char *stream = raw + CFG_HEADER_SIZE;
	size_t readable = CFG_IMAGE_BUF_SIZE - CFG_HEADER_SIZE;
	uint64_t promised = cfg_stream_decoded_length(stream, readable, static_cast<uint32_t>(n));
	if (promised > CFG_MAX_DECODED_LEN)
		return false;
	memset(work, 0, promised + 1);
	int got = n;
	decompressCfgBufToBuf(stream, readable, &got, work, promised);
	*len = static_cast<size_t>(got);
	return true;
}

const char zeros[CFG_IMAGE_BUF_SIZE] = {};

// IMAGE from FROM on holds the raw image: the input, then zeros.
bool raw_tail_matches(const char *image, size_t from, const unsigned char *data, size_t size)
{
	size_t input_end = std::min(size, CFG_IMAGE_BUF_SIZE);
	if (from < input_end && memcmp(image + from, data + from, input_end - from) != 0)
		return false;
	size_t zeros_from = std::max(from, input_end);
	return zeros_from >= CFG_IMAGE_BUF_SIZE ||
	       memcmp(image + zeros_from, zeros, CFG_IMAGE_BUF_SIZE - zeros_from) == 0;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char *data, size_t size)
{
	// Exactly the raw buffer the gateway reads, so any read past it traps.
	if (!raw_buf)
		raw_buf = static_cast<char *>(malloc(CFG_IMAGE_BUF_SIZE));
	size_t used = std::min(size, CFG_IMAGE_BUF_SIZE);
	memcpy(raw_buf, data, used);
	memset(raw_buf + used, 0, CFG_IMAGE_BUF_SIZE - used);
	size_t expected_len = 0;
	bool decodable = plain_reading(raw_buf, &expected_len);
	int len = 0;
	int rc = nox_configFileLzDecoder(&raw_buf, &len);
	if (decodable != (rc == 0))
		abort();
	if (rc == 0 && (static_cast<size_t>(len) != expected_len || memcmp(raw_buf, work, expected_len) != 0 ||
			!raw_tail_matches(raw_buf, expected_len, data, size)))
		abort();
	if (rc == 0 && expected_len > CFG_IMAGE_BUF_SIZE) {
		// The image took a buffer of its own, with a spare NUL.
		if (raw_buf[expected_len] != '\0')
			abort();
		free(raw_buf);
		raw_buf = nullptr;
	}
	return 0;
}
