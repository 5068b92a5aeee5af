/* gwsim-enter ROOT CMD [ARGS...]: the last step of `gwsim kernel`'s first
 * stage. Changes root to ROOT (the gateway's) and becomes CMD, found on the
 * environment's PATH inside, as a gwsim run starts its command: the name a
 * gateway program is started by resolves to the gateway's own file, never to
 * one of the first stage's BusyBox applets.
 *
 * The gateway's files belong to its owner on the workstation, and the
 * machine sees them so. As in a gwsim run, the gateway's root is that owner:
 * the command runs in a user namespace whose root is the owner's uid, so
 * what it makes is root's inside and the owner's outside, and a file that
 * counts only as the running user's own (the flag files, the journal) is
 * judged as on the simulated gateway. Static: the first stage has no C
 * library. */
#define _GNU_SOURCE
#include <errno.h>
#include <fcntl.h>
#include <grp.h>
#include <sched.h>
#include <stdio.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <unistd.h>

static int write_file(const char *path, const char *text)
{
	int fd = open(path, O_WRONLY | O_CLOEXEC);
	if (fd < 0)
		return -1;
	ssize_t n = write(fd, text, strlen(text));
	close(fd);
	return n == (ssize_t)strlen(text) ? 0 : -1;
}

/* Root inside becomes the owner of the gateway (of its .gwsim: the root
 * itself is the first stage's). The machine's root first becomes that
 * owner, which may map only itself in a namespace of its own; the change of
 * root comes after, as the namespace's root. */
static int become_gateway_root(const char *root)
{
	char marker[4096];
	struct stat st;
	snprintf(marker, sizeof marker, "%s/.gwsim", root);
	if (stat(marker, &st) < 0)
		return -1;
	if (st.st_uid == 0 && st.st_gid == 0)
		return 0;
	char map[64];
	if (setgroups(0, NULL) < 0 || setresgid(st.st_gid, st.st_gid, st.st_gid) < 0 ||
	    setresuid(st.st_uid, st.st_uid, st.st_uid) < 0)
		return -1;
	/* A change of user makes /proc/self root's; the maps are written there. */
	prctl(PR_SET_DUMPABLE, 1, 0, 0, 0);
	if (unshare(CLONE_NEWUSER) < 0 || write_file("/proc/self/setgroups", "deny") < 0)
		return -1;
	snprintf(map, sizeof map, "0 %u 1\n", (unsigned)st.st_uid);
	if (write_file("/proc/self/uid_map", map) < 0)
		return -1;
	snprintf(map, sizeof map, "0 %u 1\n", (unsigned)st.st_gid);
	return write_file("/proc/self/gid_map", map);
}

int main(int argc, char *argv[])
{
	if (argc < 3) {
		fputs("usage: gwsim-enter ROOT CMD [ARGS...]\n", stderr);
		return 125;
	}
	if (become_gateway_root(argv[1]) < 0) {
		fprintf(stderr, "gwsim: cannot become the gateway's root: %s\n", strerror(errno));
		return 125;
	}
	if (chroot(argv[1]) < 0 || chdir("/") < 0) {
		fprintf(stderr, "gwsim: cannot enter %s: %s\n", argv[1], strerror(errno));
		return 125;
	}
	execvp(argv[2], argv + 2);
	int err = errno;
	fprintf(stderr, "gwsim: %s: %s\n", argv[2], strerror(err));
	return err == ENOENT ? 127 : 126;
}
