#include "romfile/romd.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

#include "flash/crc32.h"
#include "flash/flash_io.h"
#include "flash/mtd.h"
#include "lib/safe_file.h"
#include "romfile/container.h"
#include "romfile/romfile.h"

namespace {

constexpr char ROMD[] = "romd";
constexpr char ROMD_DUMP[] = "/tmp/romd.cfg";
// The ">" may follow at most 7 length digits.
constexpr size_t ROMD_LEN_FIELD = 8;

bool read_at_start(int fd, char *buf, size_t len)
{
	return flash_read_at(fd, 0, buf, len) == len;
}

bool get_erase_size(int fd, uint32_t *erase_size)
{
	mtd_info_user info;
	if (!mtd_read_info(fd, ROMD, &info, stdout, false))
		return false;
	*erase_size = info.erasesize;
	return true;
}

// The ROM-D text for nox_getRomdChksum and nox_dumpRomdContent: *BUF holds
// it (decoded) and *REAL its length. WHO names the caller in messages.
bool load_romd_text(const char *who, char **buf, int *real)
{
	*buf = romfile_buf_alloc();
	if (!*buf) {
		printf("%s: allocate buffer fail!\n", who);
		return false;
	}
	if (!isRomdExist())
		return false;
	if (static_cast<unsigned char>(nox_getRomdBuf(*buf)) != 1) {
		printf("nox_getRomdBuf is fail!\n");
		return false;
	}
	size_t size = ROMFILE_SIZE;
	if (isCompressedConfigFile(*buf)) {
		int len = 0;
		if (nox_configFileLzDecoder(buf, &len) != 0) {
			printf("%s: nox_configFileLzwDecoder fail!\n", who);
			return false;
		}
		size = std::max(ROMFILE_SIZE, static_cast<size_t>(len));
	}
	*real = romfile_real_length(*buf, size);
	if (*real == 0) {
		printf("Read default configuration error!!\n");
		return false;
	}
	return true;
}

} // namespace

int romd_header_length(const char *head)
{
	// Room for the whole length field after a match anywhere in the probe,
	// zero past the probe so nothing beyond it is ever taken for a digit.
	char text[ROMD_HEADER_PROBE + CFG_MAGIC_LEN + ROMD_LEN_FIELD] = {};
	memcpy(text, head, ROMD_HEADER_PROBE);
	char *match = strstr(text, CFG_MAGIC);
	if (!match)
		return 0;
	char *digits = match + CFG_MAGIC_LEN;
	char *end = static_cast<char *>(memchr(digits, '>', ROMD_LEN_FIELD));
	if (!end)
		return 0;
	*end = '\0';
	int len = atoi(digits);
	*end = '>';
	return len;
}

int isRomdExist()
{
	int fd = nox_open_mtd(ROMD, O_RDONLY);
	if (fd < 0) {
		printf("%s: Could not open mtd device: %s\n", "isRomdExist", ROMD);
		return 0;
	}
	uint32_t erase_size;
	if (!get_erase_size(fd, &erase_size)) {
		close(fd);
		return 0;
	}
	char head[ROMD_HEADER_PROBE];
	if (!read_at_start(fd, head, sizeof head)) {
		printf("Error read last block info.\n");
		close(fd);
		return 0;
	}
	close(fd);
	int len = romd_header_length(head);
	if (len < 1)
		return 0;
	printf("ROM-D exist! len = %d\n", len);
	return 1;
}

int nox_getRomdBuf(char *buf)
{
	int fd = nox_open_mtd(ROMD, O_RDONLY);
	if (fd < 0) {
		printf("%s: Could not open mtd device: %s\n", "nox_getRomdBuf", ROMD);
		return 0;
	}
	uint32_t erase_size;
	if (!get_erase_size(fd, &erase_size)) {
		close(fd);
		return 0;
	}
	// An erase block larger than the buffer is read only as far as it fits.
	size_t len = std::min<size_t>(erase_size, ROMFILE_SIZE);
	bool ok = read_at_start(fd, buf, len);
	close(fd);
	if (!ok) {
		printf("Error read last block info.\n");
		return 0;
	}
	return 1;
}

uint32_t nox_getRomdChksum()
{
	char *buf = nullptr;
	int real = 0;
	uint32_t sum = 0;
	if (load_romd_text("nox_getRomdChksum", &buf, &real))
		sum = nox_crc32(reinterpret_cast<const unsigned char *>(buf), static_cast<size_t>(real));
	free(buf);
	return sum;
}

int nox_dumpRomdContent()
{
	char *buf = nullptr;
	int real = 0;
	if (!load_romd_text("nox_dumpRomdContent", &buf, &real)) {
		free(buf);
		return 0;
	}
	FILE *f = safe_fopen(ROMD_DUMP, "w+");
	if (!f) {
		printf("Write romd conten fail!\n");
		free(buf);
		return 0;
	}
	fwrite(buf, 1, static_cast<size_t>(real), f);
	fclose(f);
	printf("Please see %s for ROM-D content.\n", ROMD_DUMP);
	free(buf);
	return 1;
}
