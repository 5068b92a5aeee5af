#include "flash/flash_writer.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

#include "lib/byteorder.h"
#include "flash/flash_io.h"
#include "flash/fwtag.h"
#include "flash/mtd.h"
#include "mtd_dev.h"

namespace {

constexpr size_t WRITER_NAME_SIZE = 33;
constexpr const char UPLOAD_BUFFER[] = "Tclinux_Buffer";
constexpr uint32_t INSTALL_STEP = 0x10000;

// One stream at a time per process; fd < 0 means no stream is open.
struct FlashWriter {
	int fd;
	char name[WRITER_NAME_SIZE];
	mtd_info_user info;
	unsigned char *block;
	unsigned char *readback;
	uint32_t index;
	uint32_t fill;
};

FlashWriter writer = { -1, "", {}, nullptr, nullptr, 0, 0 };

void writer_close()
{
	free(writer.block);
	free(writer.readback);
	if (writer.fd >= 0)
		close(writer.fd);
	memset(&writer, 0, sizeof writer);
	writer.fd = -1;
}

int writer_fail()
{
	writer_close();
	return -1;
}

bool writer_open(const char *name)
{
	snprintf(writer.name, sizeof writer.name, "%s", name);
	writer.fd = mtd_open(name, O_RDWR);
	if (writer.fd < 0) {
		fprintf(stderr, "Could not open mtd device: %s\n", name);
		return false;
	}
	if (!mtd_read_info(writer.fd, name, &writer.info, stderr, true))
		return false;
	writer.block = static_cast<unsigned char *>(calloc(1, writer.info.erasesize));
	writer.readback = static_cast<unsigned char *>(calloc(1, writer.info.erasesize));
	if (!writer.block || !writer.readback) {
		fprintf(stderr, "writeflash: malloc error!!not enough memory\n");
		return false;
	}
	writer.index = 0;
	writer.fill = 0;
	return true;
}

bool transfer_all(int fd, unsigned char *buf, size_t len, bool writing)
{
	size_t done = 0;
	while (done < len) {
		ssize_t n = writing ? mtd_dev_write(fd, buf + done, len - done) : read(fd, buf + done, len - done);
		if (n <= 0)
			return false;
		done += size_t(n);
	}
	return true;
}

// The block is read back before it is erased only to prove it readable; the
// data read is not compared with anything.
bool write_block()
{
	const uint32_t size = writer.info.erasesize;
	const uint64_t offset = uint64_t(writer.index) * size;
	if (!flash_seek(writer.fd, offset) || !transfer_all(writer.fd, writer.readback, size, false)) {
		fprintf(stderr, "writeflash: fail to read the %d 'st sector\n", int(writer.index));
		return false;
	}
	erase_info_user erase;
	erase.start = uint32_t(offset);
	erase.length = size;
	if (mtd_dev_ioctl(writer.fd, MEMERASE, &erase) < 0) {
		fprintf(stderr, "writeflash:Erasing device failed: %s\n", writer.name);
		return false;
	}
	if (!flash_seek(writer.fd, offset) || !transfer_all(writer.fd, writer.block, size, true)) {
		fprintf(stderr, "writeflash: fail to write the %d 'st sector\n", int(writer.index));
		return false;
	}
	memset(writer.block, 0, size);
	return true;
}

// Streams one piece of the image and shows progress.
bool install_piece(const char *target, const unsigned char *data, size_t len, bool last)
{
	printf("#");
	fflush(stdout);
	return writeFlash(target, data, int(len), last) == 0;
}

// The first piece is the 64 KiB-aligned region around the tag, its version
// replaced; then Tclinux_Buffer is read on in 64 KiB pieces.
void install_from(int fd, uint32_t new_version, const char *target, uint32_t tag_offset)
{
	const uint32_t start = tag_offset & ~(INSTALL_STEP - 1);
	const uint64_t end = (uint64_t(tag_offset) + FW_TAG_AREA + INSTALL_STEP - 1) & ~uint64_t(INSTALL_STEP - 1);
	const size_t region = size_t(end - start);
	const size_t tag_at = tag_offset - start;
	unsigned char *buf = static_cast<unsigned char *>(calloc(1, region));
	if (!buf) {
		fprintf(stderr, "writeflash: malloc error!!not enough memory\n");
		return;
	}
	size_t got = flash_read_at(fd, start, buf, region);
	if (got < tag_at + FW_TAG_SIZE) {
		printf("read mtd device (NoxFW tag) error!!\n");
		free(buf);
		return;
	}
	be32_put(buf + tag_at + FWTAG_IMAGE_VERSION, new_version);
	const uint32_t image_len = be32_get(buf + tag_at + FWTAG_IMAGE_LEN);

	// An image shorter than the first region ends with it, so the stream
	// is always closed.
	size_t piece = got - tag_at;
	if (piece > image_len)
		piece = image_len;
	uint32_t written = uint32_t(piece);
	bool ok = install_piece(target, buf + tag_at, piece, written >= image_len);
	uint64_t pos = uint64_t(start) + got;
	while (ok && written < image_len) {
		uint32_t want = image_len - written < INSTALL_STEP ? image_len - written : INSTALL_STEP;
		size_t n = flash_read_at(fd, pos, buf, want);
		// A short read ends the stream there rather than leave it open.
		bool last = n < want || written + want >= image_len;
		ok = install_piece(target, buf, n, last);
		written += uint32_t(n);
		pos += n;
		if (last)
			break;
	}
	free(buf);
}

} // namespace

int writeFlash(const char *name, const unsigned char *data, int length, int last)
{
	if (!data || length < 0)
		return 0;
	if (writer.fd < 0 && !writer_open(name))
		return writer_fail();
	const uint32_t size = writer.info.erasesize;
	// Pieces longer than one block are taken block by block.
	size_t left = size_t(length);
	while (writer.fill + left >= size) {
		size_t take = size - writer.fill;
		memcpy(writer.block + writer.fill, data, take);
		data += take;
		left -= take;
		if (!write_block())
			return writer_fail();
		writer.fill = 0;
		writer.index++;
		if (uint64_t(writer.index) * size >= writer.info.size) {
			fprintf(stderr, "writeflash: error!!not enough flash space\n");
			return writer_fail();
		}
	}
	memcpy(writer.block + writer.fill, data, left);
	writer.fill += uint32_t(left);
	if (!last)
		return 0;
	if (!write_block())
		return writer_fail();
	writer_close();
	return 0;
}

int nox_installFwImage(uint32_t new_version, const char *target, uint32_t tag_offset)
{
	int fd = mtd_open(UPLOAD_BUFFER, O_RDWR);
	if (fd < 0) {
		printf("Could not open mtd device: %s\n", UPLOAD_BUFFER);
		return -1;
	}
	install_from(fd, new_version, target, tag_offset);
	close(fd);
	printf("\nDone\n");
	return -1;
}
