// Any text through the encoder and back: every whole block and every block of
// 32 bytes or more comes back exactly (a shorter last block is stored with
// the compressor's scratch as its payload and is not compared).
#include <cstdlib>
#include <cstring>
#include <vector>

#include "romfile/container.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char *data, size_t size)
{
	if (size > 3 * CFG_BLOCK_SIZE)
		return 0;
	const char *text = reinterpret_cast<const char *>(data);
	std::vector<char> container(CFG_HEADER_SIZE + cfg_stream_bound(size));
	int stream_len = 0;
	if (cfg_build_container(text, static_cast<int>(size), container.data(), container.size(), &stream_len) != 0)
		abort();
	if (static_cast<size_t>(stream_len) + CFG_HEADER_SIZE > CFG_IMAGE_BUF_SIZE ||
	    stream_len > static_cast<int>(CFG_MAX_STREAM_LEN))
		return 0;
	char *buf = static_cast<char *>(calloc(CFG_IMAGE_BUF_SIZE, 1));
	memcpy(buf, container.data(), static_cast<size_t>(stream_len) + CFG_HEADER_SIZE);
	int len = 0;
	if (nox_configFileLzDecoder(&buf, &len) != 0 || static_cast<size_t>(len) != size)
		abort();
	size_t tail = size % CFG_BLOCK_SIZE < CFG_MIN_COMPRESS ? size % CFG_BLOCK_SIZE : 0;
	if (memcmp(buf, text, size - tail) != 0)
		abort();
	free(buf);
	return 0;
}
