// The store's way to flash: the configuration writer service
// (/userfs/bin/cfgwriter) does the compressing, stamping and programming.
// It is run directly, never through the shell, and its messages and those of
// the flash utility go to the writer's log, not to the caller's console.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "lib/safe_file.h"
#include "sim_store.h"

extern char **environ;

namespace {

// Runs the writer with one verb and one file, its standard input INPUT
// (-1: none) and KEEP (-1: none) left open in it; 0 when it reported success.
int run_writer(const char *verb, const char *file, int input, int keep)
{
	posix_spawn_file_actions_t actions;
	if (posix_spawn_file_actions_init(&actions) != 0)
		return -1;
	// When the log cannot be opened safely the messages stay on the caller's
	// standard error rather than being lost.
	int log = safe_open(GW_FLASH_LOG, O_WRONLY | O_APPEND | O_CREAT, 0644);
	int rc = -1;
	pid_t pid;
	char arg0[] = "cfgwriter";
	char *argv[] = {arg0, const_cast<char *>(verb), const_cast<char *>(file), nullptr};
	bool ready = (input >= 0 ? posix_spawn_file_actions_adddup2(&actions, input, 0)
				 : posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0)) == 0;
	if (ready && log >= 0)
		ready = posix_spawn_file_actions_adddup2(&actions, log, 1) == 0 &&
			posix_spawn_file_actions_adddup2(&actions, log, 2) == 0;
	// A copy without close-on-exec is inherited by the writer and by nothing
	// the caller starts later.
	int kept = keep >= 0 ? fcntl(keep, F_DUPFD, 3) : -1;
	if (ready && (keep < 0 || kept >= 0) && posix_spawn(&pid, GW_WRITER, &actions, nullptr, argv, environ) == 0) {
		if (kept >= 0)
			close(kept);
		kept = -1;
		int status = 0;
		pid_t done;
		while ((done = waitpid(pid, &status, 0)) < 0 && errno == EINTR)
			;
		rc = done == pid && WIFEXITED(status) && WEXITSTATUS(status) == 0 ? 0 : -1;
	}
	if (kept >= 0)
		close(kept);
	if (log >= 0)
		close(log);
	posix_spawn_file_actions_destroy(&actions);
	return rc;
}

} // namespace

// The text reaches the writer as its standard input, a file of its own
// that has no name any more: nothing is left behind when either side dies.
int sim_store_save_to_flash(const char *text, size_t len, int store_lock)
{
	char name[] = GW_WRITER_WORK "save.XXXXXX";
	int fd = safe_create_unique(name);
	if (fd < 0) {
		sim_store_complain("save failed: cannot create %s: %s", name, strerror(errno));
		return -1;
	}
	unlink(name);
	bool ok = write_all(fd, text, len) && lseek(fd, 0, SEEK_SET) == 0;
	int rc = ok ? run_writer("save", "-", fd, store_lock) : -1;
	close(fd);
	if (!ok)
		sim_store_complain("save failed: cannot write %s", name);
	else if (rc != 0)
		sim_store_complain("save failed: the configuration writer reported an error (see %s)", GW_FLASH_LOG);
	return rc;
}

int sim_store_write_romd(const char *path)
{
	return run_writer("romd", path, -1, -1);
}
