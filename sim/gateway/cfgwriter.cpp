// /userfs/bin/cfgwriter: the gateway's configuration writer service.
//
//   cfgwriter save FILE   store the ROM file text FILE ("-": standard input)
//                         in the romfile copy due for overwriting, with its
//                         checksum and the next version
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
//
// Every run holds the writer's own lock from start to end, so two writers
// (one left running by a caller that died, and the next) never interleave,
// and each builds its image in a work file of its own.
#include <cerrno>
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
#include "lib/safe_file.h"
#include "romfile/image_builder.h"
#include "romfile/romfile.h"
#include "sim_store.h"

extern char **environ;

namespace {

constexpr const char *COPY_NAMES[] = {nullptr, "romfile", "second_romfile"};
// Larger texts could never fit a 128 KiB partition, compressed or not.
constexpr size_t TEXT_MAX = 1 << 20;

int fail(const char *what, const char *detail)
{
	fprintf(stderr, "cfgwriter: %s%s%s\n", what, detail ? " " : "", detail ? detail : "");
	return 1;
}

// The whole text of PATH ("-": standard input), NUL-terminated. A file
// named is stored only when it is the writer's own (the gateway's root's):
// what another user left in /var/tmp never reaches flash.
char *read_text(const char *path, size_t *len)
{
	bool from_stdin = strcmp(path, "-") == 0;
	int fd = from_stdin ? 0 : safe_open_own(path, O_RDONLY);
	if (fd < 0)
		return nullptr;
	char *text = static_cast<char *>(malloc(TEXT_MAX + 1));
	size_t got = 0;
	ssize_t n = 0;
	while (text && got <= TEXT_MAX && (n = read(fd, text + got, TEXT_MAX + 1 - got)) != 0) {
		if (n < 0 && errno == EINTR)
			continue;
		if (n < 0)
			break;
		got += static_cast<size_t>(n);
	}
	if (!from_stdin)
		close(fd);
	if (text && (n < 0 || got == 0 || got > TEXT_MAX)) {
		free(text);
		text = nullptr;
	}
	if (text) {
		text[got] = '\0';
		*len = got;
	}
	return text;
}

// Holds the work file a run builds its image in, made afresh under a name
// of its own and removed at the end.
class WorkFile {
public:
	WorkFile() { fd_ = safe_create_unique(path_); }
	~WorkFile()
	{
		if (fd_ >= 0) {
			close(fd_);
			unlink(path_);
		}
	}
	WorkFile(const WorkFile &) = delete;
	WorkFile &operator=(const WorkFile &) = delete;

	const char *path() const { return path_; }

	bool write(const unsigned char *data, size_t len)
	{
		return fd_ >= 0 && pwrite(fd_, data, len, 0) == static_cast<ssize_t>(len);
	}

	// Still the file this run made, as the path is handed to another program.
	bool intact() const { return fd_ >= 0 && safe_file_is(fd_, path_); }

private:
	char path_[sizeof GW_WRITER_WORK "XXXXXX"] = GW_WRITER_WORK "XXXXXX";
	int fd_ = -1;
};

// Erases PARTITION and programs FILE into it with the flash utility, run
// directly (no shell). true when the utility finished and reported success.
bool program_partition(const char *file, const char *partition)
{
	char arg0[] = "mtd", force[] = "-f", verb[] = "write";
	char *argv[] = {arg0, force, verb, const_cast<char *>(file), const_cast<char *>(partition), nullptr};
	pid_t pid;
	fflush(stdout);
	if (posix_spawn(&pid, GW_FLASH_TOOL, nullptr, nullptr, argv, environ) != 0)
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
	// One reading of the copies chooses the copy and dates the image.
	romfile_readings readings = {};
	int index = romfile_write_index(&readings);
	unsigned char *image = static_cast<unsigned char *>(malloc(ROMFILE_SIZE));
	size_t container_len = 0;
	WorkFile work;
	int rc = 0;
	if (index != ROMFILE_FIRST && index != ROMFILE_SECOND)
		rc = fail("no romfile copy to write", nullptr);
	else if (!image || romfile_build_image(text, len, 0, image, &container_len) != ROMFILE_BUILT)
		rc = fail("configuration does not fit a romfile copy:", path);
	// The trailer is stamped on the file about to be programmed, from the
	// other copy's version as it stands in flash.
	else if (!work.write(image, ROMFILE_SIZE) || romfile_stamp_image(&readings, work.path(), index) != 1 ||
		 !work.intact())
		rc = fail("cannot prepare", work.path());
	else if (!program_partition(work.path(), COPY_NAMES[index]))
		rc = fail("writing failed:", COPY_NAMES[index]);
	romfile_readings_free(&readings);
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
	mtd_info_user info;
	bool ok = mtd_read_info(fd, "romd", &info, stderr, false);
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
	WorkFile work;
	int rc = 0;
	if (romfile_real_length(text, len) == 0)
		rc = fail("not a ROM file:", path);
	else if (!(container = romfile_build_container(text, len, &clen)) || clen > romd_room())
		rc = fail("configuration does not fit ROM-D:", path);
	else if (!work.write(container, clen) || !work.intact())
		rc = fail("cannot prepare", work.path());
	else if (!program_partition(work.path(), "romd"))
		rc = fail("writing failed:", "romd");
	free(container);
	free(text);
	return rc;
}

// The raw first ROMFILE_SIZE bytes of PARTITION into BUF.
bool read_copy(const char *partition, unsigned char *buf)
{
	int fd = nox_open_mtd(partition, O_RDONLY);
	if (fd < 0)
		return false;
	bool ok = pread(fd, buf, ROMFILE_SIZE, 0) == static_cast<ssize_t>(ROMFILE_SIZE);
	close(fd);
	return ok;
}

// As at boot: the copy the reader chooses becomes the running configuration.
int cmd_load()
{
	unsigned char *first = static_cast<unsigned char *>(malloc(ROMFILE_SIZE));
	unsigned char *second = static_cast<unsigned char *>(malloc(ROMFILE_SIZE));
	int index = ROMFILE_NONE;
	if (!first || !second || !read_copy(COPY_NAMES[ROMFILE_FIRST], first) ||
	    !read_copy(COPY_NAMES[ROMFILE_SECOND], second))
		fail("cannot read", "the romfile copies");
	else
		index = config_boot_load("", first, second);
	free(first);
	free(second);
	if (index == ROMFILE_NONE)
		return 1;
	printf("loaded %s\n", COPY_NAMES[index]);
	return 0;
}

int cmd_which()
{
	romfile_readings readings = {};
	int read_index = romfile_read_index(&readings);
	int write_index = romfile_write_index(&readings);
	romfile_readings_free(&readings);
	printf("read %d write %d\n", read_index, write_index);
	return 0;
}

int usage()
{
	fprintf(stderr, "usage: cfgwriter save FILE | cfgwriter romd FILE | cfgwriter load | cfgwriter which\n");
	return 2;
}

// The writer's own lock, held until the process ends. -1 after a message.
int hold_writer_lock()
{
	int fd = safe_open(GW_WRITER_LOCK, O_RDWR | O_CREAT, 0644);
	while (fd >= 0 && flock(fd, LOCK_EX) < 0) {
		if (errno != EINTR) {
			close(fd);
			fd = -1;
		}
	}
	if (fd < 0)
		fail("cannot lock", GW_WRITER_LOCK);
	return fd;
}

} // namespace

int main(int argc, char *argv[])
{
	bool save = argc == 3 && strcmp(argv[1], "save") == 0;
	bool romd = argc == 3 && strcmp(argv[1], "romd") == 0;
	bool load = argc == 2 && strcmp(argv[1], "load") == 0;
	bool which = argc == 2 && strcmp(argv[1], "which") == 0;
	if (!save && !romd && !load && !which)
		return usage();
	// A load replaces the store, whose lock every save takes before this
	// one: taken in the same order, the two locks cannot deadlock.
	if (load && sim_store_lock("") < 0)
		return 1;
	if (hold_writer_lock() < 0)
		return 1;
	if (save)
		return cmd_save(argv[2]);
	if (romd)
		return cmd_romd(argv[2]);
	if (load)
		return cmd_load();
	return cmd_which();
}
