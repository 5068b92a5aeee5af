// The container reader on any 128 KiB flash image: header length, chunk
// walk and decoder, with whatever header numbers and chunk sizes. The decoder
// must give exactly the image of the plain reading: every chunk expanded
// through the scratch areas into a zero-filled work area, copied over the raw
// buffer.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "romfile/container.h"

namespace {

// The image the decoder must produce, or an empty vector when it must fail.
std::vector<char> plain_reading(const char *raw)
{
	int n = nox_getCompressedConfigFileLength(raw);
	const char *stream = raw + CFG_HEADER_SIZE;
	size_t readable = CFG_IMAGE_BUF_SIZE - CFG_HEADER_SIZE;
	uint64_t promised = cfg_stream_decoded_length(stream, readable, static_cast<uint32_t>(n));
	if (promised > CFG_MAX_DECODED_LEN)
		return {};
	std::vector<char> work(std::max<uint64_t>(8 * static_cast<uint64_t>(n), promised) + 1);
	int len = n;
	decompressCfgBufToBuf(stream, readable, &len, work.data(), work.size() - 1);
	size_t decoded = static_cast<size_t>(len);
	std::vector<char> image(raw, raw + CFG_IMAGE_BUF_SIZE);
	image.resize(std::max(decoded, CFG_IMAGE_BUF_SIZE));
	std::copy(work.begin(), work.begin() + static_cast<long>(decoded), image.begin());
	return image;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char *data, size_t size)
{
	// Exactly the raw buffer the gateway reads, so any read past it traps.
	char *buf = static_cast<char *>(calloc(CFG_IMAGE_BUF_SIZE, 1));
	memcpy(buf, data, size < CFG_IMAGE_BUF_SIZE ? size : CFG_IMAGE_BUF_SIZE);
	int n = nox_getCompressedConfigFileLength(buf);
	cfg_stream_chunk_count(buf + CFG_HEADER_SIZE, CFG_IMAGE_BUF_SIZE - CFG_HEADER_SIZE, static_cast<uint32_t>(n));
	std::vector<char> expected = plain_reading(buf);
	int len = 0;
	int rc = nox_configFileLzDecoder(&buf, &len);
	if (expected.empty() != (rc != 0))
		abort();
	if (rc == 0 && (static_cast<size_t>(len) > expected.size() ||
			memcmp(buf, expected.data(), expected.size()) != 0 || buf[expected.size()] != '\0'))
		abort();
	free(buf);
	return 0;
}
