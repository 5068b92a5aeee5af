#include "lib/safe_file.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// O_NONBLOCK only guards the open itself (a FIFO with no writer would block
// it); reads of a regular file never block, so it is dropped again.
int clear_nonblock(int fd)
{
	int fl = fcntl(fd, F_GETFL);
	if (fl < 0 || fcntl(fd, F_SETFL, fl & ~O_NONBLOCK) < 0)
		return -1;
	return fd;
}

struct StdioMode {
	const char *name;
	int flags;
	bool truncate;
};

const StdioMode stdio_modes[] = {
	{ "r", O_RDONLY, false },
	{ "rb", O_RDONLY, false },
	{ "r+", O_RDWR, false },
	{ "w", O_WRONLY | O_CREAT, true },
	{ "wb", O_WRONLY | O_CREAT, true },
	{ "w+", O_RDWR | O_CREAT, true },
	{ "a", O_WRONLY | O_CREAT | O_APPEND, false },
};

} // namespace

int safe_open(const char *path, int flags, mode_t mode)
{
	int fd = open(path, flags | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, mode);
	if (fd < 0)
		return -1;
	struct stat st;
	if (fstat(fd, &st) != 0 || !S_ISREG(st.st_mode) || clear_nonblock(fd) < 0) {
		int err = fstat(fd, &st) == 0 && S_ISDIR(st.st_mode) ? EISDIR : EINVAL;
		close(fd);
		errno = err;
		return -1;
	}
	return fd;
}

namespace {

bool is_own_file(int fd)
{
	struct stat st;
	return fstat(fd, &st) == 0 && S_ISREG(st.st_mode) && st.st_uid == geteuid() && st.st_nlink == 1 &&
	       (st.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

// Another user's file may not even open for writing: what stands at PATH
// is then looked at without following or opening it.
bool is_foreign_regular_file(const char *path)
{
	struct stat st;
	return lstat(path, &st) == 0 && S_ISREG(st.st_mode);
}

// What stands at PATH is removed first, so the new file is the caller's
// own, made here, and no link planted there is followed.
int create_fresh(const char *path, int flags, mode_t mode)
{
	if (unlink(path) != 0 && errno != ENOENT)
		return -1;
	return open(path, flags | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode);
}

} // namespace

int safe_open_own(const char *path, int flags, mode_t mode)
{
	int fd = safe_open(path, flags, mode);
	if (fd >= 0 && is_own_file(fd))
		return fd;
	if (fd >= 0)
		close(fd);
	else if (errno != EACCES && errno != EPERM)
		return -1;
	if (!(flags & O_CREAT) || !is_foreign_regular_file(path)) {
		errno = EPERM;
		return -1;
	}
	return create_fresh(path, flags, mode);
}

const char *safe_open_error(int err)
{
	switch (err) {
	case ELOOP:
		return "is a symbolic link";
	case EISDIR:
		return "is a directory";
	case EINVAL:
		return "is not a regular file";
	default:
		return strerror(err);
	}
}

int safe_create(const char *path, mode_t mode)
{
	return create_fresh(path, O_WRONLY, mode);
}

int safe_create_unique(char *path_template, mode_t mode)
{
	int fd = mkostemp(path_template, O_CLOEXEC);
	if (fd >= 0 && fchmod(fd, mode) != 0) {
		close(fd);
		unlink(path_template);
		return -1;
	}
	return fd;
}

bool safe_file_is(int fd, const char *path)
{
	struct stat held;
	struct stat named;
	if (fstat(fd, &held) != 0 || lstat(path, &named) != 0)
		return false;
	return S_ISREG(named.st_mode) && held.st_dev == named.st_dev && held.st_ino == named.st_ino;
}

bool write_all(int fd, const void *data, size_t len)
{
	const char *p = static_cast<const char *>(data);
	while (len > 0) {
		ssize_t n = write(fd, p, len);
		if (n < 0 && errno == EINTR)
			continue;
		if (n <= 0)
			return false;
		p += n;
		len -= static_cast<size_t>(n);
	}
	return true;
}

FILE *safe_fopen(const char *path, const char *mode)
{
	for (const StdioMode &m : stdio_modes) {
		if (strcmp(m.name, mode) != 0)
			continue;
		int fd = safe_open(path, m.flags);
		if (fd < 0)
			return nullptr;
		if (m.truncate && ftruncate(fd, 0) != 0) {
			close(fd);
			return nullptr;
		}
		FILE *f = fdopen(fd, mode);
		if (!f)
			close(fd);
		return f;
	}
	errno = EINVAL;
	return nullptr;
}
