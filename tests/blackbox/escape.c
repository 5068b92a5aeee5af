/* What a hostile root inside a gateway tries, to reach the workstation
 * (built static by sim_sealed.test):
 *   escape try HOST-DIR PORT     every escape below, each writing into HOST-DIR
 *                                (the workstation's) when it gets out; one line
 *                                "NAME: refused" or "NAME: ESCAPED" each
 *   escape nested HOST-DIR PORT  the same from a user namespace of its own
 *   escape storm                 forks until refused; prints how many ran
 *   escape no-userns CMD...      (workstation, root) CMD with no user namespaces
 *   escape listen PORTFILE       (workstation) prints "nobody" when the first
 *                                caller is the test ("host"), else "connected" */
#define _GNU_SOURCE
#include <arpa/inet.h>
#include <errno.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sched.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/wait.h>
#include <unistd.h>

static const char *host_dir;
static int port;

static int write_at(const char *prefix, const char *name)
{
	char path[4096];
	snprintf(path, sizeof path, "%s%s/%s", prefix, host_dir, name);
	int fd = open(path, O_WRONLY | O_CREAT | O_TRUNC, 0644);
	if (fd < 0)
		return 0;
	int ok = write(fd, "escaped\n", 8) == 8;
	close(fd);
	return ok;
}

static int double_chroot(void)
{
	mkdir("/tmp/jail", 0755);
	if (chroot("/tmp/jail") == 0) {
		for (int i = 0; i < 64; i++)
			chdir("..");
		chroot(".");
	}
	return write_at("", "double-chroot");
}

static int remount_rw(void)
{
	int fd = open("/usr/lib/gwsim-escape", O_WRONLY | O_CREAT, 0644);
	if (mount(NULL, "/usr/lib", NULL, MS_REMOUNT | MS_BIND, NULL) == 0)
		return 1;
	if (fd >= 0)
		close(fd);
	return fd >= 0;
}

static int mount_host_disk(void)
{
	return mount("/dev/vda", "/tmp", "ext4", 0, NULL) == 0 ||
	       mount("proc", "/tmp", "proc", 0, NULL) == 0 ||
	       mknod("/tmp/disk", S_IFBLK | 0600, makedev(254, 0)) == 0;
}

static int write_file(const char *path, const char *text)
{
	int fd = open(path, O_WRONLY);
	int ok = fd >= 0 && write(fd, text, strlen(text)) == (ssize_t)strlen(text);
	if (fd >= 0)
		close(fd);
	return ok;
}

static void read_setting(const char *path, char *out, size_t size)
{
	out[0] = '\0';
	int fd = open(path, O_RDONLY);
	if (fd < 0)
		return;
	ssize_t n = read(fd, out, size - 1);
	out[n > 0 ? n : 0] = '\0';
	close(fd);
}

/* Each change is put back at once, so a failed seal leaves the workstation
 * as it was; pid_max is per namespace on some kernels, so not tried. */
static int kernel_settings(void)
{
	static const char *const NAMES[] = {"/proc/sys/kernel/hostname", "/proc/sys/kernel/domainname"};
	static const char BURST[] = "/proc/sys/kernel/printk_ratelimit_burst";
	char was[128];
	int changed = 0;
	if (gethostname(was, sizeof was) == 0 && sethostname("gwsim-escape", 12) == 0) {
		changed = 1;
		sethostname(was, strlen(was));
	}
	for (size_t i = 0; i < 2; i++) {
		read_setting(NAMES[i], was, sizeof was);
		if (write_file(NAMES[i], "gwsim-escape")) {
			changed = 1;
			write_file(NAMES[i], was);
		}
	}
	read_setting(BURST, was, sizeof was);
	changed |= was[0] && write_file(BURST, was);
	return changed;
}

static int dot_dot(void) { return write_at("/../../../../../../..", "dot-dot"); }

static int symlink_out(void)
{
	symlink("/../../../../../..", "/tmp/out");
	return write_at("/tmp/out", "symlink");
}

static int proc_root(void)
{
	return write_at("/proc/self/root", "proc-self-root") | write_at("/proc/1/root", "proc-1-root") |
	       write_at("/proc/1/cwd/../../../../..", "proc-1-cwd");
}

static int network(void)
{
	int fd = socket(AF_INET, SOCK_STREAM, 0);
	struct sockaddr_in sa = {.sin_family = AF_INET, .sin_port = htons((uint16_t)port)};
	sa.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
	return fd >= 0 && connect(fd, (struct sockaddr *)&sa, sizeof sa) == 0;
}

/* Keystrokes pushed into every terminal within reach: only the test sees
 * whether a workstation shell ran them (HOST-DIR/terminal). */
static int terminal(void)
{
	char line[4200];
	int n = snprintf(line, sizeof line, "touch %s/terminal\n", host_dir);
	int fds[4] = {0, 1, 2, open("/dev/tty", O_RDWR | O_NOCTTY)};
	for (int i = 0; i < 4; i++)
		for (int k = 0; fds[i] >= 0 && k < n; k++)
			ioctl(fds[i], TIOCSTI, line + k);
	return 0;
}

/* A directory descriptor left open by the caller holds the workstation's tree. */
static int inherited_descriptor(void)
{
	int escaped = 0;
	for (int fd = 3; fd < 256; fd++) {
		char path[64];
		snprintf(path, sizeof path, "/proc/self/fd/%d/inherited", fd);
		int out = openat(fd, "inherited", O_WRONLY | O_CREAT, 0644);
		if (out < 0)
			out = open(path, O_WRONLY | O_CREAT, 0644);
		if (out >= 0) {
			escaped = 1;
			close(out);
		}
	}
	return escaped;
}

static int new_privileges(void) { return prctl(PR_GET_NO_NEW_PRIVS, 0, 0, 0, 0) != 1; }

static int user_namespace(void)
{
	pid_t child = fork();
	if (child == 0)
		_exit(unshare(CLONE_NEWUSER) == 0);
	int status = 0;
	waitpid(child, &status, 0);
	return WIFEXITED(status) && WEXITSTATUS(status) == 1;
}

/* One file past any bound a gateway needs, written sparse. */
static int huge_file(void)
{
	signal(SIGXFSZ, SIG_IGN);
	int fd = open("/tmp/huge", O_WRONLY | O_CREAT | O_TRUNC, 0644);
	int grew = fd >= 0 && pwrite(fd, "x", 1, (off_t)300 << 20) == 1;
	if (fd >= 0)
		close(fd);
	unlink("/tmp/huge");
	return grew;
}

static const struct {
	const char *name;
	int (*attempt)(void);
} ESCAPES[] = {
	{"double chroot", double_chroot},
	{"remount read-write", remount_rw},
	{"mount or make a device", mount_host_disk},
	{"kernel settings", kernel_settings},
	{"dot-dot", dot_dot},
	{"symlink", symlink_out},
	{"proc root", proc_root},
	{"network", network},
	{"terminal input", terminal},
	{"inherited descriptor", inherited_descriptor},
	{"new privileges", new_privileges},
	{"user namespace", user_namespace},
	{"file past 64 MiB", huge_file},
};

/* Children that only wait to be killed, made until the kernel refuses. */
#define STORM_MAX 100000
static int fork_storm(void)
{
	static pid_t children[STORM_MAX];
	int made = 0;
	for (; made < STORM_MAX; made++) {
		children[made] = fork();
		if (children[made] < 0)
			break;
		if (children[made] == 0) {
			pause();
			_exit(0);
		}
	}
	for (int i = 0; i < made; i++)
		kill(children[i], SIGKILL);
	while (wait(NULL) > 0) {
	}
	printf("%d\n", made == STORM_MAX ? -1 : made);
	return 0;
}

static int listen_once(const char *port_file)
{
	int fd = socket(AF_INET, SOCK_STREAM, 0);
	struct sockaddr_in sa = {.sin_family = AF_INET};
	socklen_t len = sizeof sa;
	sa.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
	if (fd < 0 || bind(fd, (struct sockaddr *)&sa, sizeof sa) < 0 || listen(fd, 1) < 0 ||
	    getsockname(fd, (struct sockaddr *)&sa, &len) < 0)
		return 1;
	FILE *f = fopen(port_file, "w");
	if (!f)
		return 1;
	fprintf(f, "%d\n", ntohs(sa.sin_port));
	fclose(f);
	/* The first caller is either the escape or the test's own "host" line. */
	struct pollfd p = {.fd = fd, .events = POLLIN};
	char said[8] = "";
	int peer = poll(&p, 1, 60000) > 0 ? accept(fd, NULL, NULL) : -1;
	if (peer >= 0 && read(peer, said, sizeof said - 1) < 0)
		said[0] = '\0';
	puts(strncmp(said, "host", 4) == 0 ? "nobody" : "connected");
	return 0;
}

static int without_user_namespaces(char *argv[])
{
	int go[2], ready[2];
	char c;
	if (pipe(go) < 0 || pipe(ready) < 0)
		return 2;
	pid_t child = fork();
	if (child == 0) {
		close(go[1]);
		if (unshare(CLONE_NEWUSER) < 0 || write(ready[1], "r", 1) != 1 || read(go[0], &c, 1) != 1 ||
		    !write_file("/proc/sys/user/max_user_namespaces", "0"))
			_exit(2);
		execvp(argv[0], argv);
		_exit(127);
	}
	close(go[0]);
	close(ready[1]);
	if (read(ready[0], &c, 1) != 1)
		return 2;
	char path[64];
	int ok = 1;
	snprintf(path, sizeof path, "/proc/%d/uid_map", (int)child);
	ok &= write_file(path, "0 0 1\n65534 65534 1\n");
	snprintf(path, sizeof path, "/proc/%d/gid_map", (int)child);
	ok &= write_file(path, "0 0 1\n65534 65534 1\n");
	if (!ok || write(go[1], "g", 1) != 1)
		return 2;
	int status;
	waitpid(child, &status, 0);
	return WIFEXITED(status) ? WEXITSTATUS(status) : 2;
}

int main(int argc, char *argv[])
{
	if (argc >= 3 && strcmp(argv[1], "no-userns") == 0)
		return without_user_namespaces(argv + 2);
	if (argc == 3 && strcmp(argv[1], "listen") == 0)
		return listen_once(argv[2]);
	if (argc == 2 && strcmp(argv[1], "storm") == 0)
		return fork_storm();
	if (argc != 4 || (strcmp(argv[1], "try") != 0 && strcmp(argv[1], "nested") != 0))
		return 2;
	host_dir = argv[2];
	port = atoi(argv[3]);
	if (strcmp(argv[1], "nested") == 0 && unshare(CLONE_NEWUSER | CLONE_NEWNS) < 0)
		puts("no nested namespace");
	for (size_t i = 0; i < sizeof ESCAPES / sizeof ESCAPES[0]; i++) {
		int escaped = ESCAPES[i].attempt();
		printf("%s: %s\n", ESCAPES[i].name, escaped ? "ESCAPED" : "refused");
	}
	return 0;
}
