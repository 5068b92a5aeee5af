#include "config_image.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

#include "flash/byteorder.h"
#include "flash/crc32.h"
#include "romfile/container.h"
#include "romfile/romfile.h"

namespace {

// The block encoder keeps a final block shorter than CFG_MIN_COMPRESS bytes
// as a stored chunk without its data, so a text ending in such a block would
// come back damaged. The writer pads the text with line ends after
// "</ROMFILE>" until no block is that short: the padding lies outside the ROM
// file body and changes neither its checksum nor its meaning.
size_t padded_length(size_t len)
{
	size_t tail = len % CFG_BLOCK_SIZE;
	if (tail != 0 && tail < CFG_MIN_COMPRESS)
		return len + (CFG_MIN_COMPRESS - tail);
	return len;
}

} // namespace

unsigned char *config_container(const char *text, size_t len, size_t *container_len)
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

bool config_romfile_image(const char *text, size_t len, uint32_t version, unsigned char *image)
{
	size_t clen = 0;
	unsigned char *container = config_container(text, len, &clen);
	if (!container)
		return false;
	bool fits = clen <= ROMFILE_CHECKSUM_OFFSET;
	if (fits) {
		memset(image, 0xFF, ROMFILE_SIZE);
		memcpy(image, container, clen);
		int body = romfile_real_length(text, len);
		be32_put(image + ROMFILE_CHECKSUM_OFFSET,
			 nox_crc32(reinterpret_cast<const unsigned char *>(text), static_cast<size_t>(body)));
		be32_put(image + ROMFILE_VERSION_OFFSET, version);
	}
	free(container);
	return fits;
}

size_t config_image_text(char **image)
{
	size_t size = ROMFILE_SIZE;
	if (isCompressedConfigFile(*image)) {
		int decoded = 0;
		if (nox_configFileLzDecoder(image, &decoded) != 0)
			return 0;
		// The decoder replaces the buffer only with a larger one.
		if (decoded > 0 && static_cast<size_t>(decoded) > size)
			size = static_cast<size_t>(decoded);
	}
	int body = romfile_real_length(*image, size);
	return body > 0 ? static_cast<size_t>(body) : 0;
}

bool config_write_file(const char *path, const char *data, size_t len)
{
	char temp[4096];
	if (snprintf(temp, sizeof temp, "%s.new", path) >= static_cast<int>(sizeof temp))
		return false;
	int fd = open(temp, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
	if (fd < 0)
		return false;
	bool ok = write(fd, data, len) == static_cast<ssize_t>(len);
	ok = close(fd) == 0 && ok;
	ok = ok && rename(temp, path) == 0;
	if (!ok)
		unlink(temp);
	return ok;
}
