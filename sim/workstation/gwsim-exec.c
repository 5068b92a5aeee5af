/* gwsim-exec run DIR -- CMD [ARGS...] | gwsim-exec shell DIR
 *
 * Runs CMD (or an interactive shell) inside the simulated gateway whose root
 * file system is DIR, as on the gateway's console. The gwsim script hands
 * `run` and `shell` straight to this program, so it checks their arguments
 * and words its refusals as gwsim does.
 *
 * The gateway is sealed from the workstation:
 * - The gateway's root is an unprivileged user of the workstation: the
 *   caller, or, when root starts it, the owner of DIR/.gwsim (gwsim init gives a
 *   gateway made by root to nobody). Root drops to that user before anything
 *   else, so nothing inside ever holds a privilege outside DIR.
 * - Fresh user, mount, PID, network, UTS and IPC namespaces: no host process
 *   is visible, the network is an unconfigured loopback, and host name and
 *   IPC objects are the gateway's own.
 * - The root is changed with pivot_root and the workstation's root is
 *   detached: only DIR and, read-only, the workstation's libraries and a few
 *   device nodes are reachable.
 * - Before the command runs, the capabilities to mount, change root, trace,
 *   administer the network and the like leave the bounding set, so the
 *   read-only binds cannot be made writable again.
 *
 * /proc inside is made for each run: a small read-only tmpfs holding the
 * gateway's own entries of DIR/proc (bound in, so writes land in DIR) and
 * links into a procfs of the gateway's PID namespace mounted on
 * /.gwsim/kproc for what programs read from the kernel. A sanitizer build
 * also links /proc/<pid> for every pid of the namespace: the leak checker
 * opens its own process directory by number. */
#define _GNU_SOURCE
#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <net/if.h>
#include <sched.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <grp.h>
#include <linux/capability.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "gateway_paths.h"

#define GATEWAY_PATH "/userfs/bin:/bin:/sbin:/usr/bin"
#define EXIT_SETUP 125
#define KERNEL_PROC ".gwsim/kproc"
#define PROC_LINKS ".gwsim/proclinks"
#define PROC_WORK ".gwsim/procwork"
#ifndef OPEN_TREE_CLONE
#define OPEN_TREE_CLONE 1
#endif
#ifndef AT_RECURSIVE
#define AT_RECURSIVE 0x8000
#endif
#ifndef MOVE_MOUNT_F_EMPTY_PATH
#define MOVE_MOUNT_F_EMPTY_PATH 0x4
#endif
#define USAGE "usage: gwsim init DIR | gwsim run DIR -- CMD [ARGS...] | gwsim shell DIR"

#if defined(__SANITIZE_ADDRESS__)
#define PROC_PID_LINKS 1024
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define PROC_PID_LINKS 1024
#endif
#endif
#ifndef PROC_PID_LINKS
#define PROC_PID_LINKS 0
#endif

/* Where the gateway has /lib and /lib64 as links into /usr (as gwsim init
 * makes them on a workstation that has them so), the /usr binds serve. */
static const char *const LIBRARY_DIRS[][2] = {
	/* host path, path inside the gateway */
	{"/lib", "lib"},
	{"/lib64", "lib64"},
	{"/usr/lib", "usr/lib"},
	{"/usr/lib64", "usr/lib64"},
};

static const char *const DEVICES[] = {"null", "zero", "urandom", "random", "tty"};

/* What programs and sanitizer runtimes read from the kernel. */
static const char *const KERNEL_ENTRIES[] = {
	"self", "thread-self", "meminfo", "cpuinfo", "stat", "uptime", "loadavg", "mounts",
	"filesystems", "version", "cmdline", "sys", "net", "swaps", "vmstat",
};

/* Capabilities the gateway's programs never need and that could undo the
 * seal from inside: mounting, changing root, tracing, namespaces, network
 * and machine administration. Ownership, permission and signal
 * capabilities stay, as a gateway's root has them. */
static const int SEAL_CAPS[] = {
	CAP_SYS_ADMIN, CAP_SYS_CHROOT, CAP_SYS_PTRACE, CAP_SYS_BOOT, CAP_SYS_MODULE,
	CAP_SYS_TIME, CAP_SYS_RAWIO, CAP_SYS_PACCT, CAP_SYS_NICE, CAP_SYS_RESOURCE,
	CAP_SYS_TTY_CONFIG, CAP_NET_ADMIN, CAP_NET_RAW, CAP_MKNOD, CAP_LINUX_IMMUTABLE,
	CAP_IPC_LOCK, CAP_LEASE, CAP_AUDIT_CONTROL, CAP_AUDIT_WRITE, CAP_AUDIT_READ,
	CAP_MAC_ADMIN, CAP_MAC_OVERRIDE, CAP_SYSLOG, CAP_WAKE_ALARM, CAP_BLOCK_SUSPEND,
	CAP_SETFCAP,
#ifdef CAP_BPF
	CAP_BPF, CAP_PERFMON, CAP_CHECKPOINT_RESTORE,
#endif
	CAP_SETPCAP, /* last: dropping the others needs it */
};

/* Where root hands a gateway that belongs to root: nobody on Debian. */
#define UNPRIVILEGED_ID 65534

/* The leak checker stops the world with a clone that a process which has
 * unshared its PID namespace may no longer make; this program frees nothing
 * worth checking anyway. Consulted only by sanitizer builds. */
int __lsan_is_turned_off(void);
int __lsan_is_turned_off(void)
{
	return 1;
}

static pid_t forward_to;

static void die(const char *what, const char *path)
{
	fprintf(stderr, "gwsim: %s%s%s: %s\n", what, path ? " " : "", path ? path : "",
		strerror(errno));
	exit(EXIT_SETUP);
}

static void refuse(const char *line, const char *dir)
{
	fprintf(stderr, "gwsim: %s%s\n", dir ? dir : "", line);
	exit(1);
}

static void write_proc_file(const char *path, const char *text)
{
	int fd = open(path, O_WRONLY | O_CLOEXEC);
	if (fd < 0 || write(fd, text, strlen(text)) != (ssize_t)strlen(text))
		die("cannot write", path);
	close(fd);
}

/* Root runs the gateway as the unprivileged owner of DIR/.gwsim, which
 * only gwsim init makes (what is copied into DIR later may be root's). */
static void drop_root(const struct stat *dir, const char *name)
{
	if (geteuid() != 0)
		return;
	if (dir->st_uid == 0 || dir->st_gid == 0)
		refuse(" belongs to root; make it again with gwsim init", name);
	if (setgroups(0, NULL) < 0 || setresgid(dir->st_gid, dir->st_gid, dir->st_gid) < 0 ||
	    setresuid(dir->st_uid, dir->st_uid, dir->st_uid) < 0)
		die("cannot become the gateway's owner for", name);
	/* A change of user makes /proc/self root's; the maps below need it ours. */
	prctl(PR_SET_DUMPABLE, 1, 0, 0, 0);
}

static void enter_namespaces(void)
{
	uid_t uid = getuid();
	gid_t gid = getgid();
	if (unshare(CLONE_NEWUSER | CLONE_NEWNS | CLONE_NEWPID | CLONE_NEWNET | CLONE_NEWUTS |
		    CLONE_NEWIPC) < 0) {
		fprintf(stderr, "gwsim: cannot seal the gateway: this kernel allows no user namespace here (%s)\n",
			strerror(errno));
		exit(EXIT_SETUP);
	}
	char map[64];
	write_proc_file("/proc/self/setgroups", "deny");
	snprintf(map, sizeof map, "0 %u 1\n", (unsigned)uid);
	write_proc_file("/proc/self/uid_map", map);
	snprintf(map, sizeof map, "0 %u 1\n", (unsigned)gid);
	write_proc_file("/proc/self/gid_map", map);
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

static void read_only(const char *dst)
{
	if (mount(NULL, dst, NULL, MS_REMOUNT | MS_BIND | MS_RDONLY | locked_flags(dst), NULL) < 0)
		die("cannot make read-only", dst);
}

/* DIR bound onto itself becomes a mount of this namespace, which pivot_root
 * needs; the working directory moves onto it. Everything below works on
 * paths relative to it, so the directories above DIR need not be open to
 * the gateway's owner. */
static void mount_gateway_root(void)
{
	/* The workstation's mounts came into this namespace as slaves, as they
	 * do for a namespace of a new user namespace: nothing made here
	 * propagates back to the workstation. */
	int tree = (int)syscall(SYS_open_tree, AT_FDCWD, ".", OPEN_TREE_CLONE | O_CLOEXEC | AT_RECURSIVE);
	if (tree < 0)
		die("cannot bind the gateway's root", NULL);
	if (syscall(SYS_move_mount, tree, "", AT_FDCWD, ".", MOVE_MOUNT_F_EMPTY_PATH) < 0 || fchdir(tree) < 0)
		die("cannot bind the gateway's root", NULL);
	close(tree);
}

static void bind_host_files(void)
{
	char src[PATH_MAX];
	for (size_t i = 0; i < sizeof LIBRARY_DIRS / sizeof LIBRARY_DIRS[0]; i++) {
		struct stat st;
		if (lstat(LIBRARY_DIRS[i][1], &st) < 0 || !S_ISDIR(st.st_mode))
			continue;
		/* The source's links are followed: /lib64 may lead into /usr. */
		if (mount(LIBRARY_DIRS[i][0], LIBRARY_DIRS[i][1], NULL, MS_BIND | MS_REC, NULL) < 0) {
			if (errno == ENOENT)
				continue;
			die("cannot bind", LIBRARY_DIRS[i][1]);
		}
		read_only(LIBRARY_DIRS[i][1]);
	}
	for (size_t i = 0; i < sizeof DEVICES / sizeof DEVICES[0]; i++) {
		char dst[32];
		snprintf(src, sizeof src, "/dev/%s", DEVICES[i]);
		snprintf(dst, sizeof dst, "dev/%s", DEVICES[i]);
		if (access(src, F_OK) == 0 && access(dst, F_OK) == 0 &&
		    mount(src, dst, NULL, MS_BIND, NULL) < 0 && strcmp(DEVICES[i], "tty") != 0)
			die("cannot bind", dst);
	}
}

/* The namespace's loopback, up, as a gateway's is; it reaches nothing else. */
static void loopback_up(void)
{
	int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
	if (fd < 0)
		return;
	struct ifreq ifr;
	memset(&ifr, 0, sizeof ifr);
	strcpy(ifr.ifr_name, "lo");
	if (ioctl(fd, SIOCGIFFLAGS, &ifr) == 0) {
		ifr.ifr_flags |= IFF_UP;
		ioctl(fd, SIOCSIFFLAGS, &ifr);
	}
	close(fd);
}

static void link_kernel_entry(const char *where, const char *name)
{
	char target[64], link[64];
	snprintf(target, sizeof target, "/" KERNEL_PROC "/%s", name);
	snprintf(link, sizeof link, "%s/%s", where, name);
	if (symlink(target, link) < 0 && errno != EEXIST)
		die("cannot link", link);
}

/* Pids of the gateway stay below its /proc/<pid> links where the kernel
 * keeps a pid limit per namespace; elsewhere the write is refused (the
 * gateway's root is nobody outside) and pids just keep counting. */
static void limit_pids(void)
{
	char max[16];
	int fd = open(KERNEL_PROC "/sys/kernel/pid_max", O_WRONLY | O_CLOEXEC);
	if (fd < 0)
		return;
	int len = snprintf(max, sizeof max, "%d", PROC_PID_LINKS + 1);
	if (write(fd, max, (size_t)len) < 0) {
		/* No per-namespace limit: nothing to do. */
	}
	close(fd);
}

static void copy_link(int dir, const char *name, const char *dst)
{
	char target[PATH_MAX];
	ssize_t len = readlinkat(dir, name, target, sizeof target - 1);
	if (len < 0)
		return;
	target[len] = '\0';
	if (symlink(target, dst) < 0)
		die("cannot link", dst);
}

/* The gateway's own entries of /proc bound into the tmpfs one by one: the
 * fallback where DIR's file system cannot be an overlay's upper layer. */
static void bind_own_entries(int own)
{
	DIR *entries = fdopendir(own);
	if (!entries)
		die("cannot read", "proc");
	if (mount("proc", "proc", "tmpfs", MS_NOSUID | MS_NODEV | MS_NOEXEC, "mode=0555,size=64k") < 0)
		die("cannot mount a tmpfs on", "proc");
	const struct dirent *e;
	while ((e = readdir(entries))) {
		if (strcmp(e->d_name, ".") == 0 || strcmp(e->d_name, "..") == 0)
			continue;
		char dst[NAME_MAX + 8];
		struct stat st;
		snprintf(dst, sizeof dst, "proc/%s", e->d_name);
		if (fstatat(own, e->d_name, &st, AT_SYMLINK_NOFOLLOW) < 0)
			continue;
		if (S_ISLNK(st.st_mode)) {
			copy_link(own, e->d_name, dst);
			continue;
		}
		if (!S_ISDIR(st.st_mode) && !S_ISREG(st.st_mode))
			continue;
		int made = S_ISDIR(st.st_mode) ? mkdir(dst, 0755) : mknod(dst, S_IFREG | 0644, 0);
		int tree = (int)syscall(SYS_open_tree, own, e->d_name,
					OPEN_TREE_CLONE | O_CLOEXEC | AT_RECURSIVE | AT_SYMLINK_NOFOLLOW);
		if (made < 0 || tree < 0 ||
		    syscall(SYS_move_mount, tree, "", AT_FDCWD, dst, MOVE_MOUNT_F_EMPTY_PATH) < 0)
			die("cannot bind", dst);
		close(tree);
	}
	closedir(entries);
}

static void link_kernel_entries(const char *where)
{
	for (size_t i = 0; i < sizeof KERNEL_ENTRIES / sizeof KERNEL_ENTRIES[0]; i++)
		link_kernel_entry(where, KERNEL_ENTRIES[i]);
	if (PROC_PID_LINKS > 0) {
		limit_pids();
		for (int pid = 1; pid <= PROC_PID_LINKS; pid++) {
			char name[16];
			snprintf(name, sizeof name, "%d", pid);
			link_kernel_entry(where, name);
		}
	}
}

/* Called as PID 1 of the namespace, before the change of root. /proc is an
 * overlay: DIR/proc on top, so the gateway's own files are read, written,
 * created and removed in DIR as before, over a tmpfs of links into the
 * kernel's procfs. */
static void make_proc(void)
{
	if (mount("proc", KERNEL_PROC, "proc", MS_NOSUID | MS_NODEV | MS_NOEXEC, NULL) < 0)
		die("cannot mount proc on", KERNEL_PROC);
	/* The links to named entries never change: made in DIR at the first
	 * run and kept. Pid links live in a tmpfs of the run. */
	struct stat st;
	if (PROC_PID_LINKS > 0) {
		if (mount("proc", PROC_LINKS, "tmpfs", MS_NOSUID | MS_NODEV | MS_NOEXEC, "mode=0555,size=64k") < 0)
			die("cannot mount a tmpfs on", PROC_LINKS);
		link_kernel_entries(PROC_LINKS);
	} else if (lstat(PROC_LINKS "/self", &st) < 0) {
		link_kernel_entries(PROC_LINKS);
	}
	if (mount("proc", "proc", "overlay", MS_NOSUID | MS_NODEV | MS_NOEXEC,
		  "lowerdir=" PROC_LINKS ",upperdir=proc,workdir=" PROC_WORK ",userxattr") == 0)
		return;
	int own = open("proc", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
	if (own < 0)
		die("cannot open", "proc");
	bind_own_entries(own);
	link_kernel_entries("proc");
	if (mount(NULL, "proc", NULL, MS_REMOUNT | MS_RDONLY | MS_NOSUID | MS_NODEV | MS_NOEXEC, NULL) < 0)
		die("cannot make read-only", "proc");
}

/* The gateway's root becomes DIR and the workstation's root is detached. */
static void change_root(void)
{
	if (syscall(SYS_pivot_root, ".", ".") < 0)
		die("cannot change root", NULL);
	if (umount2(".", MNT_DETACH) < 0)
		die("cannot detach the workstation's root", NULL);
	if (chdir("/") < 0)
		die("cannot change directory to", "/");
}

static void seal_capabilities(void)
{
	for (size_t i = 0; i < sizeof SEAL_CAPS / sizeof SEAL_CAPS[0]; i++) {
		if (prctl(PR_CAPBSET_DROP, SEAL_CAPS[i], 0, 0, 0) < 0 && errno != EINVAL)
			die("cannot drop capabilities", NULL);
	}
}

/* What BusyBox's reboot, halt and poweroff ask of PID 1 when not forced.
 * The gateway's init notes the request in the reboot log, as the reboot
 * stub does, and keeps the simulation running. */
static void note_power_request(int sig)
{
	const char *line = sig == SIGUSR1 ? "halt\n" : sig == SIGUSR2 ? "poweroff\n" : "reboot\n";
	int fd = open(GW_REBOOT_LOG, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0644);
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

static void run_command(char *argv[])
{
	set_signals(0);
	execvp(argv[0], argv);
	int err = errno;
	fprintf(stderr, "gwsim: %s: %s\n", argv[0], strerror(err));
	_exit(err == ENOENT ? 127 : 126);
}

/* PID 1 of the gateway: starts the command, reaps orphans, and ends with
 * the command's status (the namespace's other processes die with it). */
static void gateway_init(char *argv[])
{
	prctl(PR_SET_PDEATHSIG, SIGKILL, 0, 0, 0);
	make_proc();
	loopback_up();
	change_root();
	seal_capabilities();
	set_console_environment();
	/* vfork: the command replaces the copy at once, so nothing of this
	 * process's memory needs copying. */
	pid_t cmd = vfork();
	if (cmd < 0)
		die("cannot fork", NULL);
	if (cmd == 0)
		run_command(argv);
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
	static char *shell[] = {"/bin/sh", "-l", NULL};
	if (argc < 3)
		refuse(USAGE, NULL);
	char **cmd = shell;
	if (strcmp(argv[1], "run") == 0) {
		if (argc < 5 || strcmp(argv[3], "--") != 0)
			refuse(USAGE, NULL);
		cmd = argv + 4;
	} else if (strcmp(argv[1], "shell") != 0 || argc != 3) {
		refuse(USAGE, NULL);
	}
	const char *name = argv[2];
	int dir = open(name, O_PATH | O_DIRECTORY | O_CLOEXEC);
	struct stat marker;
	if (dir < 0 || fstatat(dir, ".gwsim", &marker, AT_SYMLINK_NOFOLLOW) < 0 || !S_ISDIR(marker.st_mode))
		refuse(" is not a gateway (run gwsim init first)", name);
	if (fchdir(dir) < 0)
		die("cannot enter", name);
	close(dir);
	drop_root(&marker, name);
	enter_namespaces();
	mount_gateway_root();
	bind_host_files();
	set_signals(1);
	pid_t init = fork();
	if (init < 0)
		die("cannot fork", NULL);
	if (init == 0)
		gateway_init(cmd);
	forward_to = init;
	for (;;) {
		int status;
		if (waitpid(init, &status, 0) == init)
			return exit_code(status);
		if (errno != EINTR)
			return EXIT_SETUP;
	}
}
