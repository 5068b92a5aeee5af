// The store's way to flash: the configuration writer service
// (/userfs/bin/cfgwriter) does the compressing, stamping and programming.
// It is run directly, never through the shell, and its messages and those of
// the flash utility go to the writer's log, not to the caller's console.
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "sim_store.h"

extern char **environ;

namespace {

constexpr const char WRITER[] = "/userfs/bin/cfgwriter";
constexpr const char WRITER_LOG[] = "/var/log/flash.log";
constexpr const char SAVE_FILE[] = "/tmp/var/romfile.save";

// Runs the writer with one verb and one file; 0 when it reported success.
int run_writer(const char *verb, const char *file)
{
	posix_spawn_file_actions_t actions;
	if (posix_spawn_file_actions_init(&actions) != 0)
		return -1;
	int rc = -1;
	pid_t pid;
	char arg0[] = "cfgwriter";
	char *argv[] = {arg0, const_cast<char *>(verb), const_cast<char *>(file), nullptr};
	if (posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0) == 0 &&
	    posix_spawn_file_actions_addopen(&actions, 1, WRITER_LOG, O_WRONLY | O_APPEND | O_CREAT, 0644) == 0 &&
	    posix_spawn_file_actions_adddup2(&actions, 1, 2) == 0 &&
	    posix_spawn(&pid, WRITER, &actions, nullptr, argv, environ) == 0) {
		int status = 0;
		pid_t done;
		while ((done = waitpid(pid, &status, 0)) < 0 && errno == EINTR)
			;
		rc = done == pid && WIFEXITED(status) && WEXITSTATUS(status) == 0 ? 0 : -1;
	}
	posix_spawn_file_actions_destroy(&actions);
	return rc;
}

} // namespace

int sim_store_save_to_flash(const char *text, size_t len)
{
	FILE *f = fopen(SAVE_FILE, "we");
	if (!f)
		return -1;
	bool written = fwrite(text, 1, len, f) == len;
	if (fclose(f) != 0 || !written) {
		unlink(SAVE_FILE);
		return -1;
	}
	int rc = run_writer("save", SAVE_FILE);
	unlink(SAVE_FILE);
	return rc;
}

int sim_store_write_romd(const char *path)
{
	return run_writer("romd", path);
}
