// /userfs/bin/cfgwriter: the gateway's configuration writer service.
//
//   cfgwriter save FILE   store the ROM file text FILE in the romfile copy
//                         due for overwriting, with its checksum and the
//                         next version
//   cfgwriter romd FILE   store the ROM file text FILE as ROM-D
//   cfgwriter load        load the copy the reader chooses into the running
//                         store, as at boot
//   cfgwriter which       print the copies chosen for reading and writing
//
// The store runs `save` on every save and `romd` when an upgrade request for
// a configuration file is committed. Flash is programmed only through the
// flash utility, which erases and programs block by block: a power cut
// during a save leaves the other copy as it was, and the reader keeps
// choosing it because the interrupted copy's checksum cannot match.
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <spawn.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "config_image.h"
#include "flash/mtd.h"
#include "mtd_dev.h"
#include "romfile/romfile.h"
#include "sim_store.h"

extern char **environ;

namespace {

constexpr const char FLASH_TOOL[] = "/userfs/bin/mtd";
constexpr const char ROMFILE_WORK[] = "/tmp/var/romfile.flash";
constexpr const char ROMD_WORK[] = "/tmp/var/romd.flash";
constexpr const char *COPY_NAMES[] = {nullptr, "romfile", "second_romfile"};
// Larger texts could never fit a 128 KiB partition, compressed or not.
constexpr off_t TEXT_MAX = 1 << 20;

int fail(const char *what, const char *detail)
{
	fprintf(stderr, "cfgwriter: %s%s%s\n", what, detail ? " " : "", detail ? detail : "");
	return 1;
}

char *read_text(const char *path, size_t *len)
{
	int fd = open(path, O_RDONLY | O_CLOEXEC);
	if (fd < 0)
		return nullptr;
	struct stat st;
	char *text = nullptr;
	if (fstat(fd, &st) == 0 && st.st_size > 0 && st.st_size <= TEXT_MAX) {
		*len = static_cast<size_t>(st.st_size);
		text = static_cast<char *>(malloc(*len + 1));
		if (text && read(fd, text, *len) != static_cast<ssize_t>(*len)) {
			free(text);
			text = nullptr;
		}
	}
	close(fd);
	if (text)
		text[*len] = '\0';
	return text;
}

bool write_whole(const char *path, const unsigned char *data, size_t len)
{
	int fd = open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
	if (fd < 0)
		return false;
	bool ok = write(fd, data, len) == static_cast<ssize_t>(len);
	return close(fd) == 0 && ok;
}

// Erases PARTITION and programs FILE into it with the flash utility, run
// directly (no shell). true when the utility finished and reported success.
bool program_partition(const char *file, const char *partition)
{
	char arg0[] = "mtd", force[] = "-f", verb[] = "write";
	char *argv[] = {arg0, force, verb, const_cast<char *>(file), const_cast<char *>(partition), nullptr};
	pid_t pid;
	fflush(stdout);
	if (posix_spawn(&pid, FLASH_TOOL, nullptr, nullptr, argv, environ) != 0)
		return false;
	int status;
	while (waitpid(pid, &status, 0) < 0) {
		if (errno != EINTR)
			return false;
	}
	if (WIFSIGNALED(status))
		fprintf(stderr, "cfgwriter: flash utility killed by signal %d writing %s\n", WTERMSIG(status),
			partition);
	return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

int cmd_save(const char *path)
{
	size_t len = 0;
	char *text = read_text(path, &len);
	if (!text)
		return fail("cannot read", path);
	int index = get_write_romfile_index();
	unsigned char *image = static_cast<unsigned char *>(malloc(ROMFILE_SIZE));
	int rc = 0;
	if (index != ROMFILE_FIRST && index != ROMFILE_SECOND)
		rc = fail("no romfile copy to write", nullptr);
	else if (!image || !config_romfile_image(text, len, 0, image))
		rc = fail("configuration does not fit a romfile copy:", path);
	// The trailer is stamped on the file about to be programmed, from the
	// other copy's version as it stands in flash.
	else if (!write_whole(ROMFILE_WORK, image, ROMFILE_SIZE) ||
		 updateRomfileChecksumAndVersion(ROMFILE_WORK, index) != 1)
		rc = fail("cannot prepare", ROMFILE_WORK);
	else if (!program_partition(ROMFILE_WORK, COPY_NAMES[index]))
		rc = fail("writing failed:", COPY_NAMES[index]);
	unlink(ROMFILE_WORK);
	free(image);
	free(text);
	return rc;
}

// ROM-D is read back as the first erase block of its partition only.
size_t romd_room()
{
	int fd = nox_open_mtd("romd", O_RDONLY);
	if (fd < 0)
		return 0;
	mtd_info_user info = {};
	bool ok = mtd_dev_ioctl(fd, MEMGETINFO, &info) == 0;
	close(fd);
	return ok ? info.erasesize : 0;
}

int cmd_romd(const char *path)
{
	size_t len = 0;
	char *text = read_text(path, &len);
	if (!text)
		return fail("cannot read", path);
	size_t clen = 0;
	unsigned char *container = nullptr;
	int rc = 0;
	if (romfile_real_length(text, len) == 0)
		rc = fail("not a ROM file:", path);
	else if (!(container = config_container(text, len, &clen)) || clen > romd_room())
		rc = fail("configuration does not fit ROM-D:", path);
	else if (!write_whole(ROMD_WORK, container, clen))
		rc = fail("cannot prepare", ROMD_WORK);
	else if (!program_partition(ROMD_WORK, "romd"))
		rc = fail("writing failed:", "romd");
	unlink(ROMD_WORK);
	free(container);
	free(text);
	return rc;
}

bool read_copy(const char *partition, char *buf)
{
	int fd = nox_open_mtd(partition, O_RDONLY);
	if (fd < 0)
		return false;
	bool ok = pread(fd, buf, ROMFILE_SIZE, 0) == static_cast<ssize_t>(ROMFILE_SIZE);
	close(fd);
	return ok;
}

int cmd_load()
{
	int index = get_read_romfile_index();
	if (index != ROMFILE_FIRST && index != ROMFILE_SECOND)
		return fail("no valid romfile copy", nullptr);
	char *image = romfile_buf_alloc();
	size_t len = 0;
	if (!image || !read_copy(COPY_NAMES[index], image) || (len = config_image_text(&image)) == 0) {
		free(image);
		return fail("cannot read", COPY_NAMES[index]);
	}
	// The store's writers hold this lock while they replace the file.
	int lock = open(SIM_STORE_LOCK, O_RDWR | O_CREAT | O_CLOEXEC, 0644);
	if (lock >= 0)
		flock(lock, LOCK_EX);
	image[len] = '\n';
	bool ok = config_write_file(SIM_STORE_FILE, image, len + 1);
	if (lock >= 0)
		close(lock);
	free(image);
	if (!ok)
		return fail("cannot write", SIM_STORE_FILE);
	printf("loaded %s\n", COPY_NAMES[index]);
	return 0;
}

int cmd_which()
{
	int read_index = get_read_romfile_index();
	int write_index = get_write_romfile_index();
	printf("read %d write %d\n", read_index, write_index);
	return 0;
}

int usage()
{
	fprintf(stderr, "usage: cfgwriter save FILE | cfgwriter romd FILE | cfgwriter load | cfgwriter which\n");
	return 2;
}

} // namespace

int main(int argc, char *argv[])
{
	if (argc == 3 && strcmp(argv[1], "save") == 0)
		return cmd_save(argv[2]);
	if (argc == 3 && strcmp(argv[1], "romd") == 0)
		return cmd_romd(argv[2]);
	if (argc == 2 && strcmp(argv[1], "load") == 0)
		return cmd_load();
	if (argc == 2 && strcmp(argv[1], "which") == 0)
		return cmd_which();
	return usage();
}
