// Any text through the encoder and back: every whole block and every block of
// 32 bytes or more comes back exactly (a shorter last block is stored with
// the compressor's scratch as its payload and is not compared).
//
// The container and raw buffers are made once and serve every input.
#include <cstdlib>
#include <cstring>

#include "romfile/container.h"

namespace {

constexpr size_t MAX_TEXT = 3 * CFG_BLOCK_SIZE;
char container[CFG_HEADER_SIZE + MAX_TEXT + MAX_TEXT / 16 + 3 * (CFG_CHUNK_HEADER_SIZE + 66)];
char *raw_buf;

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char *data, size_t size)
{
	if (size > MAX_TEXT)
		return 0;
	const char *text = reinterpret_cast<const char *>(data);
	size_t room = CFG_HEADER_SIZE + cfg_stream_bound(size);
	if (room > sizeof container)
		abort();
	int stream_len = 0;
	if (cfg_build_container(text, static_cast<int>(size), container, room, &stream_len) != 0)
		abort();
	size_t container_len = static_cast<size_t>(stream_len) + CFG_HEADER_SIZE;
	if (container_len > CFG_IMAGE_BUF_SIZE || stream_len > static_cast<int>(CFG_MAX_STREAM_LEN))
		return 0;
	if (!raw_buf)
		raw_buf = static_cast<char *>(malloc(CFG_IMAGE_BUF_SIZE));
	memcpy(raw_buf, container, container_len);
	memset(raw_buf + container_len, 0, CFG_IMAGE_BUF_SIZE - container_len);
	int len = 0;
	if (nox_configFileLzDecoder(&raw_buf, &len) != 0 || static_cast<size_t>(len) != size)
		abort();
	size_t tail = size % CFG_BLOCK_SIZE < CFG_MIN_COMPRESS ? size % CFG_BLOCK_SIZE : 0;
	if (memcmp(raw_buf, text, size - tail) != 0)
		abort();
	if (size > CFG_IMAGE_BUF_SIZE) {
		free(raw_buf); // the decoder's own buffer for a larger image
		raw_buf = nullptr;
	}
	return 0;
}
