/* gwsim-exec DIR CMD [ARGS...]: runs CMD inside the simulated gateway whose
 * root file system is DIR, as on the gateway's console.
 *
 * Everything happens in fresh user, mount and PID namespaces: the host's
 * libraries are bound read-only into DIR, a few device nodes are bound onto
 * DIR/dev, a procfs is mounted on DIR/.gwsim/hostproc (DIR/proc is the
 * gateway's own plain directory, with links into it for what programs and
 * the sanitizers need), then the process changes root to DIR. The mounts
 * exist only in the private namespace, so the host never sees them, and a
 * reboot or a kill of every process from inside reaches nothing outside.
 *
 * Where user namespaces are unavailable, root still gets the mount and PID
 * namespaces and loses the capabilities that could act on the host. */
#define _GNU_SOURCE
#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <sched.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <linux/capability.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/wait.h>
#include <unistd.h>

#define GATEWAY_PATH "/userfs/bin:/bin:/sbin:/usr/bin"
#define EXIT_SETUP 125
/* Matches the /proc/<pid> links gwsim-mkroot makes. */
#define GATEWAY_PID_MAX "1025"
#define REBOOT_LOG "/var/log/reboot.log"

static const char *const LIBRARY_DIRS[][2] = {
	/* host path, path inside the gateway */
	{"/lib", "lib"},
	{"/lib64", "lib64"},
	{"/usr/lib", "usr/lib"},
};

static const char *const DEVICES[] = {"null", "zero", "urandom", "random", "tty"};

/* Capabilities that act on the machine rather than on files; dropped when
 * no user namespace confines them. */
static const int HOST_CAPS[] = {
	CAP_SYS_BOOT, CAP_SYS_MODULE, CAP_SYS_TIME, CAP_SYS_RAWIO, CAP_MKNOD,
	CAP_SYS_ADMIN, CAP_SYS_CHROOT, CAP_SYS_PTRACE, CAP_NET_ADMIN, CAP_SYS_PACCT,
	CAP_SYS_NICE, CAP_SYS_RESOURCE, CAP_SYS_TTY_CONFIG, CAP_LINUX_IMMUTABLE,
	CAP_AUDIT_CONTROL, CAP_AUDIT_WRITE, CAP_MAC_ADMIN, CAP_MAC_OVERRIDE,
	CAP_SYSLOG, CAP_WAKE_ALARM, CAP_BLOCK_SUSPEND, CAP_SETPCAP, CAP_SETFCAP,
#ifdef CAP_BPF
	CAP_BPF, CAP_PERFMON,
#endif
};

/* The leak checker stops the world with a clone that a process which has
 * unshared its PID namespace may no longer make; this program frees nothing
 * worth checking anyway. Consulted only by sanitizer builds. */
int __lsan_is_turned_off(void);
int __lsan_is_turned_off(void)
{
	return 1;
}

static char root_dir[PATH_MAX];
static pid_t forward_to;

static void die(const char *what, const char *path)
{
	fprintf(stderr, "gwsim: %s%s%s: %s\n", what, path ? " " : "", path ? path : "",
		strerror(errno));
	exit(EXIT_SETUP);
}

static void inside(char *out, size_t size, const char *rel)
{
	if ((size_t)snprintf(out, size, "%s/%s", root_dir, rel) >= size) {
		errno = ENAMETOOLONG;
		die("path too long:", rel);
	}
}

static void write_proc_file(const char *path, const char *text)
{
	int fd = open(path, O_WRONLY | O_CLOEXEC);
	if (fd < 0 || write(fd, text, strlen(text)) != (ssize_t)strlen(text))
		die("cannot write", path);
	close(fd);
}

/* 1 = user namespace (mapped to root inside), 0 = root without one. */
static int enter_namespaces(void)
{
	uid_t uid = getuid();
	gid_t gid = getgid();
	if (unshare(CLONE_NEWUSER | CLONE_NEWNS | CLONE_NEWPID) == 0) {
		char map[64];
		write_proc_file("/proc/self/setgroups", "deny");
		snprintf(map, sizeof map, "0 %u 1\n", (unsigned)uid);
		write_proc_file("/proc/self/uid_map", map);
		snprintf(map, sizeof map, "0 %u 1\n", (unsigned)gid);
		write_proc_file("/proc/self/gid_map", map);
		return 1;
	}
	if (geteuid() == 0 && unshare(CLONE_NEWNS | CLONE_NEWPID) == 0)
		return 0;
	fprintf(stderr, "gwsim: cannot isolate the gateway: no user namespaces here and not root\n");
	exit(EXIT_SETUP);
}

static unsigned long locked_flags(const char *path)
{
	struct statvfs vfs;
	unsigned long flags = 0;
	if (statvfs(path, &vfs) < 0)
		return 0;
	if (vfs.f_flag & ST_NOSUID)
		flags |= MS_NOSUID;
	if (vfs.f_flag & ST_NODEV)
		flags |= MS_NODEV;
	if (vfs.f_flag & ST_NOEXEC)
		flags |= MS_NOEXEC;
	if (vfs.f_flag & ST_NOATIME)
		flags |= MS_NOATIME;
	if (vfs.f_flag & ST_NODIRATIME)
		flags |= MS_NODIRATIME;
	if (vfs.f_flag & ST_RELATIME)
		flags |= MS_RELATIME;
	return flags;
}

/* Returns 0 when bound; read-only is best effort. */
static int bind(const char *src, const char *dst, int read_only)
{
	if (mount(src, dst, NULL, MS_BIND | MS_REC, NULL) < 0)
		return -1;
	if (read_only)
		mount(NULL, dst, NULL, MS_REMOUNT | MS_BIND | MS_RDONLY | locked_flags(dst), NULL);
	return 0;
}

static void bind_host_files(void)
{
	char dst[PATH_MAX], src[PATH_MAX];
	if (mount(NULL, "/", NULL, MS_REC | MS_PRIVATE, NULL) < 0)
		die("cannot make mounts private", NULL);
	for (size_t i = 0; i < sizeof LIBRARY_DIRS / sizeof LIBRARY_DIRS[0]; i++) {
		/* /lib is usually a link into /usr: bind what it points to. */
		if (!realpath(LIBRARY_DIRS[i][0], src))
			continue;
		inside(dst, sizeof dst, LIBRARY_DIRS[i][1]);
		if (bind(src, dst, 1) < 0)
			die("cannot bind", dst);
	}
	for (size_t i = 0; i < sizeof DEVICES / sizeof DEVICES[0]; i++) {
		snprintf(src, sizeof src, "/dev/%s", DEVICES[i]);
		char rel[32];
		snprintf(rel, sizeof rel, "dev/%s", DEVICES[i]);
		inside(dst, sizeof dst, rel);
		if (access(src, F_OK) == 0 && access(dst, F_OK) == 0 && bind(src, dst, 0) < 0 &&
		    strcmp(DEVICES[i], "tty") != 0)
			die("cannot bind", dst);
	}
}

/* A procfs of the gateway's own PID namespace when the kernel allows one;
 * otherwise the host's, read-only. Called as PID 1 of the namespace. */
static void mount_proc(void)
{
	char dst[PATH_MAX];
	inside(dst, sizeof dst, ".gwsim/hostproc");
	if (mount("proc", dst, "proc", MS_NOSUID | MS_NODEV | MS_NOEXEC, NULL) == 0)
		return;
	if (bind("/proc", dst, 1) < 0)
		die("cannot mount proc on", dst);
}

/* Pids of the gateway stay below the /proc/<pid> links the gateway has
 * (sanitizer runtimes open their own /proc/<pid>); kernels without a pid
 * limit per namespace just keep counting. */
static void limit_pids(void)
{
	char path[PATH_MAX];
	inside(path, sizeof path, ".gwsim/hostproc/sys/kernel/pid_max");
	int fd = open(path, O_WRONLY | O_CLOEXEC);
	if (fd < 0)
		return;
	if (write(fd, GATEWAY_PID_MAX, strlen(GATEWAY_PID_MAX)) < 0) {
		/* Older kernel: the host's limit applies. */
	}
	close(fd);
}

static void drop_host_caps(void)
{
	for (size_t i = 0; i < sizeof HOST_CAPS / sizeof HOST_CAPS[0]; i++) {
		if (prctl(PR_CAPBSET_DROP, HOST_CAPS[i], 0, 0, 0) < 0 && errno != EINVAL)
			die("cannot drop capabilities", NULL);
	}
}

/* What BusyBox's reboot, halt and poweroff ask of PID 1 when not forced.
 * The gateway's init notes the request in the reboot log, as the reboot
 * stub does, and keeps the simulation running. */
static void note_power_request(int sig)
{
	const char *line = sig == SIGUSR1 ? "halt\n" : sig == SIGUSR2 ? "poweroff\n" : "reboot\n";
	int fd = open(REBOOT_LOG, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
	if (fd < 0)
		return;
	if (write(fd, line, strlen(line)) < 0) {
		/* A full log loses the note; the request itself needs nothing. */
	}
	close(fd);
}

/* Signals from the host are passed on to the command; the same signals sent
 * to PID 1 from inside the gateway are power requests. */
static void on_signal(int sig, siginfo_t *info, void *unused)
{
	(void)unused;
	int saved = errno;
	if (getpid() == 1 && info->si_pid != 0) {
		if (sig != SIGHUP)
			note_power_request(sig);
	} else if (forward_to > 0 && (sig == SIGTERM || sig == SIGHUP)) {
		kill(forward_to, sig);
	}
	errno = saved;
}

static void set_signals(int forward)
{
	struct sigaction sa;
	memset(&sa, 0, sizeof sa);
	if (forward) {
		sa.sa_sigaction = on_signal;
		sa.sa_flags = SA_SIGINFO | SA_RESTART;
	} else {
		sa.sa_handler = SIG_DFL;
	}
	sigaction(SIGTERM, &sa, NULL);
	sigaction(SIGHUP, &sa, NULL);
	sigaction(SIGUSR1, &sa, NULL);
	sigaction(SIGUSR2, &sa, NULL);
	/* Keyboard signals reach the command straight from the terminal. */
	memset(&sa, 0, sizeof sa);
	sa.sa_handler = forward ? SIG_IGN : SIG_DFL;
	sigaction(SIGINT, &sa, NULL);
	sigaction(SIGQUIT, &sa, NULL);
}

static int exit_code(int status)
{
	if (WIFEXITED(status))
		return WEXITSTATUS(status);
	if (WIFSIGNALED(status))
		return 128 + WTERMSIG(status);
	return EXIT_SETUP;
}

static void set_console_environment(void)
{
	setenv("PATH", GATEWAY_PATH, 1);
	setenv("HOME", "/", 1);
	setenv("PWD", "/", 1);
	setenv("SHELL", "/bin/sh", 1);
	unsetenv("OLDPWD");
	unsetenv("TMPDIR");
}

static void run_command(char *argv[], int user_ns)
{
	set_signals(0);
	if (!user_ns)
		drop_host_caps();
	execvp(argv[0], argv);
	int err = errno;
	fprintf(stderr, "gwsim: %s: %s\n", argv[0], strerror(err));
	_exit(err == ENOENT ? 127 : 126);
}

/* PID 1 of the gateway: starts the command, reaps orphans, and ends with
 * the command's status (the namespace's other processes die with it). */
static void gateway_init(char *argv[], int user_ns)
{
	prctl(PR_SET_PDEATHSIG, SIGKILL, 0, 0, 0);
	mount_proc();
	limit_pids();
	if (chroot(root_dir) < 0)
		die("cannot change root to", root_dir);
	if (chdir("/") < 0)
		die("cannot change directory to", "/");
	set_console_environment();
	pid_t cmd = fork();
	if (cmd < 0)
		die("cannot fork", NULL);
	if (cmd == 0)
		run_command(argv, user_ns);
	forward_to = cmd;
	for (;;) {
		int status;
		pid_t done = waitpid(-1, &status, 0);
		if (done == cmd)
			_exit(exit_code(status));
		if (done < 0 && errno != EINTR)
			_exit(EXIT_SETUP);
	}
}

int main(int argc, char *argv[])
{
	if (argc < 3) {
		fprintf(stderr, "usage: gwsim-exec DIR CMD [ARGS...]\n");
		return 2;
	}
	char marker[PATH_MAX];
	if (!realpath(argv[1], root_dir))
		die("no gateway at", argv[1]);
	inside(marker, sizeof marker, ".gwsim");
	struct stat st;
	if (stat(marker, &st) < 0 || !S_ISDIR(st.st_mode)) {
		fprintf(stderr, "gwsim: %s is not a gateway (run gwsim init)\n", argv[1]);
		return EXIT_SETUP;
	}
	int user_ns = enter_namespaces();
	bind_host_files();
	set_signals(1);
	pid_t init = fork();
	if (init < 0)
		die("cannot fork", NULL);
	if (init == 0)
		gateway_init(argv + 2, user_ns);
	forward_to = init;
	for (;;) {
		int status;
		if (waitpid(init, &status, 0) == init)
			return exit_code(status);
		if (errno != EINTR)
			return EXIT_SETUP;
	}
}
