// The container reader on any 128 KiB flash image: header length, chunk
// walk and decoder, with whatever header numbers and chunk sizes.
#include <cstdlib>
#include <cstring>

#include "romfile/container.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char *data, size_t size)
{
	// Exactly the raw buffer the gateway reads, so any read past it traps.
	char *buf = static_cast<char *>(calloc(CFG_IMAGE_BUF_SIZE, 1));
	memcpy(buf, data, size < CFG_IMAGE_BUF_SIZE ? size : CFG_IMAGE_BUF_SIZE);
	int n = nox_getCompressedConfigFileLength(buf);
	cfg_stream_chunk_count(buf + CFG_HEADER_SIZE, CFG_IMAGE_BUF_SIZE - CFG_HEADER_SIZE, static_cast<uint32_t>(n));
	int len = 0;
	nox_configFileLzDecoder(&buf, &len);
	free(buf);
	return 0;
}
