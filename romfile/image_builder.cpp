#include "romfile/image_builder.h"

#include <cstdlib>
#include <cstring>

#include "lib/byteorder.h"
#include "flash/crc32.h"
#include "romfile/container.h"
#include "romfile/romfile.h"

namespace {

// The block encoder keeps a final block shorter than CFG_MIN_COMPRESS bytes
// as a stored chunk without its data, which every gateway decodes as damage.
// Line ends after "</ROMFILE>" lie outside the ROM file body, so padding with
// them moves the block boundary without changing the text or its checksum.
size_t padded_length(size_t len)
{
	size_t tail = len % CFG_BLOCK_SIZE;
	if (tail != 0 && tail < CFG_MIN_COMPRESS)
		return len + (CFG_MIN_COMPRESS - tail);
	return len;
}

// The container decodes back to the BODY bytes of TEXT.
bool decodes_back(const unsigned char *container, size_t container_len, const char *text, int body)
{
	char *img = romfile_buf_alloc();
	if (!img)
		return false;
	memcpy(img, container, container_len < ROMFILE_SIZE ? container_len : ROMFILE_SIZE);
	int decoded = 0;
	bool ok = nox_configFileLzDecoder(&img, &decoded) == 0;
	if (ok) {
		size_t size = decoded > 0 && static_cast<size_t>(decoded) > ROMFILE_SIZE ? static_cast<size_t>(decoded)
											 : ROMFILE_SIZE;
		ok = romfile_real_length(img, size) == body && memcmp(img, text, static_cast<size_t>(body)) == 0;
	}
	free(img);
	return ok;
}

} // namespace

unsigned char *romfile_build_container(const char *text, size_t len, size_t *container_len)
{
	size_t padded = padded_length(len);
	if (len == 0 || padded > static_cast<size_t>(INT32_MAX))
		return nullptr;
	char *plain = static_cast<char *>(malloc(padded));
	size_t room = CFG_HEADER_SIZE + cfg_stream_bound(padded);
	unsigned char *out = static_cast<unsigned char *>(malloc(room));
	int stream_len = 0;
	bool ok = plain && out;
	if (ok) {
		memcpy(plain, text, len);
		memset(plain + len, '\n', padded - len);
		ok = cfg_build_container(plain, static_cast<int>(padded), reinterpret_cast<char *>(out), room,
					 &stream_len) == 0 &&
		     stream_len > 0;
	}
	free(plain);
	if (!ok) {
		free(out);
		return nullptr;
	}
	*container_len = CFG_HEADER_SIZE + static_cast<size_t>(stream_len);
	return out;
}

romfile_build_result romfile_build_image(const char *text, size_t len, uint32_t version, unsigned char *image,
					 size_t *container_len)
{
	int body = romfile_real_length(text, len);
	if (body == 0)
		return ROMFILE_BUILD_NO_TEXT;
	size_t clen = 0;
	unsigned char *container = romfile_build_container(text, len, &clen);
	if (!container)
		return ROMFILE_BUILD_NOT_ENCODED;
	*container_len = clen;
	romfile_build_result result = ROMFILE_BUILT;
	if (clen > ROMFILE_CHECKSUM_OFFSET || clen - CFG_HEADER_SIZE > CFG_MAX_STREAM_LEN)
		result = ROMFILE_BUILD_TOO_LARGE;
	else if (!decodes_back(container, clen, text, body))
		result = ROMFILE_BUILD_NOT_DECODABLE;
	if (result == ROMFILE_BUILT) {
		memset(image, 0xFF, ROMFILE_SIZE);
		memcpy(image, container, clen);
		be32_put(image + ROMFILE_CHECKSUM_OFFSET,
			 nox_crc32(reinterpret_cast<const unsigned char *>(text), static_cast<size_t>(body)));
		be32_put(image + ROMFILE_VERSION_OFFSET, version);
	}
	free(container);
	return result;
}
