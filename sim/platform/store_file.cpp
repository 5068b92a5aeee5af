// The running configuration's file and its lock: the one writer of the file,
// used by the store, by the configuration writer's boot-time load and by the
// gateway builder. Writers hold an exclusive flock on the lock file for the
// whole read-modify-write and replace the file by rename, so readers, who do
// not lock, always see one complete version.
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "applog.h"
#include "lib/safe_file.h"
#include "sim_store.h"

namespace {

// ROOT + PATH; false when it does not fit.
bool under_root(char *out, size_t size, const char *root, const char *path)
{
	return static_cast<size_t>(snprintf(out, size, "%s%s", root, path)) < size;
}

std::string *complaint_sink;

} // namespace

void sim_store_complaints_to(std::string *sink)
{
	complaint_sink = sink;
}

void sim_store_complain(const char *fmt, ...)
{
	va_list ap;
	va_start(ap, fmt);
	char *text = nullptr;
	int len = vasprintf(&text, fmt, ap);
	va_end(ap);
	if (len < 0)
		return;
	char *shown = sim_escape_controls(text);
	if (complaint_sink)
		complaint_sink->append("tcapi: ").append(shown ? shown : text).append("\n");
	else
		fprintf(stderr, "tcapi: %s\n", shown ? shown : text);
	free(shown);
	free(text);
}

int sim_store_lock(const char *root)
{
	char dir[4096], lock[4096];
	if (!under_root(dir, sizeof dir, root, GW_STORE_DIR) || !under_root(lock, sizeof lock, root, GW_STORE_LOCK))
		return -1;
	mkdir(dir, 0755);
	int fd = safe_open(lock, O_RDWR | O_CREAT, 0644);
	if (fd < 0) {
		sim_store_complain("cannot lock %s: %s", lock, safe_open_error(errno));
		return -1;
	}
	while (flock(fd, LOCK_EX) < 0) {
		if (errno != EINTR) {
			sim_store_complain("cannot lock %s: %s", lock, strerror(errno));
			close(fd);
			return -1;
		}
	}
	return fd;
}

bool sim_store_write_file(const char *root, const char *text, size_t len)
{
	char path[4096], temp[4096];
	if (!under_root(path, sizeof path, root, GW_STORE_FILE) ||
	    !under_root(temp, sizeof temp, root, GW_STORE_FILE ".new"))
		return false;
	// Under the lock nobody else uses the temporary name; whatever a killed
	// writer or anyone else left there is removed, never followed.
	int fd = safe_create(temp, 0644);
	bool ok = fd >= 0 && write_all(fd, text, len);
	if (fd >= 0)
		ok = close(fd) == 0 && ok;
	ok = ok && rename(temp, path) == 0;
	if (!ok) {
		sim_store_complain("cannot write %s: %s", path, strerror(errno));
		if (fd >= 0)
			unlink(temp);
	}
	return ok;
}

bool sim_store_replace(const char *root, const char *text, size_t len)
{
	int lock = sim_store_lock(root);
	if (lock < 0)
		return false;
	bool ok = sim_store_write_file(root, text, len);
	close(lock);
	return ok;
}
