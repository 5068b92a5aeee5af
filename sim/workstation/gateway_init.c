/* The gateway's init: boots a sealed gateway from DIR and serves its runs.
 *
 * The gateway is sealed from the workstation:
 * - The gateway's root is an unprivileged user of the workstation (the run
 *   that boots it has dropped root already, see gwsim-exec.c).
 * - Fresh user, mount, PID, network, UTS and IPC namespaces: no host process
 *   is visible, the network is the namespace's own loopback, and host name
 *   and IPC objects are the gateway's own.
 * - The root is changed with pivot_root and the workstation's root is
 *   detached: only DIR and, read-only, the workstation's libraries and a few
 *   device nodes are reachable.
 * - Runs drop the capabilities to mount, change root, trace, administer the
 *   network and the like from the bounding set before their command starts,
 *   so the read-only binds cannot be made writable again.
 *
 * /proc inside is made at boot: an overlay with DIR/proc on top (the
 * gateway's own entries, read and written in DIR) over links into a procfs
 * of the gateway's PID namespace mounted on /.gwsim/kproc, for what programs
 * read from the kernel, /proc/<pid> for every pid of the namespace among
 * them: ps, pidof and the leak checker find the gateway's processes there,
 * and only those. */
#define _GNU_SOURCE
#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <net/if.h>
#include <poll.h>
#include <sched.h>
#include <stddef.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <grp.h>
#include <linux/capability.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include "gateway_init.h"
#include "gateway_paths.h"

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

/* How many /proc/<pid> links a gateway gets: its pids stay below this
 * where the kernel keeps a pid limit per namespace. */
#define PROC_PID_LINKS 1024

/* An init no run has come to for this long leaves when no run is going on;
 * the next run boots the gateway again. While runs come it stays. */
#define IDLE_MS 3000
/* Processes a gateway may have at once: many times what a busy gateway runs. */
#define GATEWAY_PROCESSES 512
/* How often an idle init looks whether its gateway still exists. */
#define TICK_MS 500

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

void die(const char *what, const char *path)
{
	fprintf(stderr, "gwsim: %s%s%s: %s\n", what, path ? " " : "", path ? path : "",
		strerror(errno));
	exit(EXIT_SETUP);
}

static void write_proc_file(const char *path, const char *text)
{
	int fd = open(path, O_WRONLY | O_CLOEXEC);
	if (fd < 0 || write(fd, text, strlen(text)) != (ssize_t)strlen(text))
		die("cannot write", path);
	close(fd);
}

static void enter_namespaces(void)
{
	uid_t uid = getuid();
	gid_t gid = getgid();
	if (unshare(GATEWAY_NAMESPACES) < 0) {
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

/* A read-only remount must repeat the flags the workstation's mount has
 * locked, or the kernel refuses it. */
static const unsigned long LOCKED_FLAGS[][2] = {
	/* statvfs flag, mount flag */
	{ST_NOSUID, MS_NOSUID},   {ST_NODEV, MS_NODEV},           {ST_NOEXEC, MS_NOEXEC},
	{ST_NOATIME, MS_NOATIME}, {ST_NODIRATIME, MS_NODIRATIME}, {ST_RELATIME, MS_RELATIME},
};

static unsigned long locked_flags(const char *path)
{
	struct statvfs vfs;
	unsigned long flags = 0;
	if (statvfs(path, &vfs) < 0)
		return 0;
	for (size_t i = 0; i < sizeof LOCKED_FLAGS / sizeof LOCKED_FLAGS[0]; i++) {
		if (vfs.f_flag & LOCKED_FLAGS[i][0])
			flags |= LOCKED_FLAGS[i][1];
	}
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
 * gateway's root is nobody outside). Says whether the limit holds. */
static int limit_pids(void)
{
	char max[16];
	int fd = open(KERNEL_PROC "/sys/kernel/pid_max", O_WRONLY | O_CLOEXEC);
	if (fd < 0)
		return 0;
	int len = snprintf(max, sizeof max, "%d", PROC_PID_LINKS + 1);
	int limited = write(fd, max, (size_t)len) == len;
	close(fd);
	return limited;
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
	for (int pid = 1; pid <= PROC_PID_LINKS; pid++) {
		char name[16];
		snprintf(name, sizeof name, "%d", pid);
		link_kernel_entry(where, name);
	}
}

/* Called as PID 1 of the namespace, before the change of root. /proc is an
 * overlay: DIR/proc on top, so the gateway's own files are read, written,
 * created and removed in DIR, over a tmpfs of links into the kernel's
 * procfs. Says whether the gateway's pids stay within their links. */
static int make_proc(void)
{
	if (mount("proc", KERNEL_PROC, "proc", MS_NOSUID | MS_NODEV | MS_NOEXEC, NULL) < 0)
		die("cannot mount proc on", KERNEL_PROC);
	int pids_limited = limit_pids();
	/* The links live in a tmpfs of the boot. */
	if (mount("proc", PROC_LINKS, "tmpfs", MS_NOSUID | MS_NODEV | MS_NOEXEC, "mode=0555,size=64k") < 0)
		die("cannot mount a tmpfs on", PROC_LINKS);
	link_kernel_entries(PROC_LINKS);
	if (mount("proc", "proc", "overlay", MS_NOSUID | MS_NODEV | MS_NOEXEC,
		  "lowerdir=" PROC_LINKS ",upperdir=proc,workdir=" PROC_WORK ",userxattr") == 0)
		return pids_limited;
	int own = open("proc", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
	if (own < 0)
		die("cannot open", "proc");
	bind_own_entries(own);
	link_kernel_entries("proc");
	if (mount(NULL, "proc", NULL, MS_REMOUNT | MS_RDONLY | MS_NOSUID | MS_NODEV | MS_NOEXEC, NULL) < 0)
		die("cannot make read-only", "proc");
	return pids_limited;
}

void bound_processes(void)
{
	struct rlimit procs;
	if (getrlimit(RLIMIT_NPROC, &procs) == 0 && procs.rlim_max != RLIM_INFINITY &&
	    procs.rlim_max <= GATEWAY_PROCESSES)
		return;
	procs.rlim_cur = procs.rlim_max = GATEWAY_PROCESSES;
	if (setrlimit(RLIMIT_NPROC, &procs) < 0)
		die("cannot bound the gateway's processes", NULL);
}

/* No user namespace can be made inside: in one of its own a process would
 * hold again every capability the runs drop. The limit is the gateway's
 * user namespace's own, and only the init holds the capability to set it. */
static void forbid_user_namespaces(void)
{
	write_proc_file(KERNEL_PROC "/sys/user/max_user_namespaces", "0");
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

void seal_capabilities(void)
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

static volatile sig_atomic_t leave_requested;

/* The same signals sent to PID 1 from inside the gateway are power
 * requests; from the workstation (no sender the namespace can name) they
 * ask the init to leave. */
static void on_init_signal(int sig, siginfo_t *info, void *unused)
{
	(void)unused;
	int saved = errno;
	if (info->si_pid == 0 && (sig == SIGTERM || sig == SIGHUP))
		leave_requested = 1;
	else if (info->si_pid != 0 && sig != SIGHUP)
		note_power_request(sig);
	errno = saved;
}

/* Orphans of the gateway's processes come to PID 1; it only reaps them. */
static void on_child(int sig)
{
	(void)sig;
}

static void set_init_signals(void)
{
	static const int requests[] = {SIGTERM, SIGHUP, SIGUSR1, SIGUSR2};
	struct sigaction sa;
	memset(&sa, 0, sizeof sa);
	sa.sa_sigaction = on_init_signal;
	sa.sa_flags = SA_SIGINFO | SA_RESTART;
	for (size_t i = 0; i < sizeof requests / sizeof requests[0]; i++)
		sigaction(requests[i], &sa, NULL);
	memset(&sa, 0, sizeof sa);
	sa.sa_handler = on_child;
	sa.sa_flags = SA_NOCLDSTOP;
	sigaction(SIGCHLD, &sa, NULL);
	memset(&sa, 0, sizeof sa);
	sa.sa_handler = SIG_IGN;
	sigaction(SIGINT, &sa, NULL);
	sigaction(SIGQUIT, &sa, NULL);
	sigaction(SIGPIPE, &sa, NULL);
}

/* The configuration daemon's pid while it runs (see keep_config_daemon). */
static pid_t config_daemon;

static void reap_orphans(void)
{
	pid_t pid;
	while ((pid = waitpid(-1, NULL, WNOHANG)) > 0) {
		if (pid == config_daemon)
			config_daemon = 0;
	}
}

static long long now_ms(void)
{
	struct timespec t;
	clock_gettime(CLOCK_MONOTONIC, &t);
	return (long long)t.tv_sec * 1000 + t.tv_nsec / 1000000;
}

/* The gateway's configuration daemon: started once the gateway is up and
 * again whenever it dies (no more often than every
 * CONFIG_DAEMON_RESTART_MS), with the init's environment and /dev/null as
 * its standard streams. */
#define CONFIG_DAEMON_RESTART_MS 200
static long long config_daemon_started = -CONFIG_DAEMON_RESTART_MS;

static void keep_config_daemon(void)
{
	if (config_daemon > 0 || now_ms() - config_daemon_started < CONFIG_DAEMON_RESTART_MS)
		return;
	config_daemon_started = now_ms();
	pid_t pid = fork();
	if (pid == 0) {
		static const int reset[] = {SIGINT, SIGQUIT, SIGPIPE};
		for (size_t i = 0; i < sizeof reset / sizeof reset[0]; i++)
			signal(reset[i], SIG_DFL);
		dup2(STDERR_FILENO, STDIN_FILENO);
		dup2(STDERR_FILENO, STDOUT_FILENO);
		char *argv[] = {(char *)"cfgd", NULL};
		execv(GW_STORE_DAEMON, argv);
		_exit(127);
	}
	if (pid > 0)
		config_daemon = pid;
}

/* gwsim init removes DIR's contents, DIR/.gwsim with them, before it makes
 * the gateway again; a test removes DIR. Either way this init is done. */
static int gateway_gone(int marker)
{
	struct stat st;
	return fstat(marker, &st) < 0 || st.st_nlink == 0;
}

/* Where the kernel keeps no pid limit per namespace, the gateway's
 * pids would outgrow their /proc links: past half the range the init leaves
 * as soon as no run is going on, and the next run boots a fresh gateway. */
static int pid_links_used_up(int pids_limited)
{
	if (pids_limited)
		return 0;
	char text[16] = "";
	int fd = open("/" KERNEL_PROC "/sys/kernel/ns_last_pid", O_RDONLY | O_CLOEXEC);
	if (fd < 0)
		return 1;
	ssize_t len = read(fd, text, sizeof text - 1);
	close(fd);
	return len <= 0 || atoi(text) > PROC_PID_LINKS / 2;
}

/* A run keeps its connection while its command runs; when the command has
 * ended it sends one byte and waits for the init's answer. A power request
 * its command made (BusyBox's reboot signals PID 1 and returns at once) was
 * pending here before that byte came, so the kernel has run its handler, and
 * the reboot log has its line, before the init reads the byte and answers:
 * the run returns only after the request is on record. */
#define MAX_RUNS 256

struct runs {
	struct pollfd fds[1 + MAX_RUNS]; /* the listener first */
	nfds_t n;
};

/* New runs are kept; past MAX_RUNS one is closed at once, and its run
 * returns without waiting. Says whether any came. */
static int take_runs(struct runs *runs)
{
	int came = 0;
	for (int run; (run = accept4(runs->fds[0].fd, NULL, NULL, SOCK_CLOEXEC | SOCK_NONBLOCK)) >= 0;
	     came = 1) {
		if (runs->n == 1 + MAX_RUNS) {
			close(run);
			continue;
		}
		runs->fds[runs->n++] = (struct pollfd){run, POLLIN, 0};
	}
	return came;
}

/* A run whose command ended is answered; one that went away is closed. */
static void settle_runs(struct runs *runs)
{
	for (nfds_t i = 1; i < runs->n;) {
		if (!runs->fds[i].revents) {
			i++;
			continue;
		}
		char done;
		if (read(runs->fds[i].fd, &done, 1) == 1 && write(runs->fds[i].fd, &done, 1) < 0) {
			/* The run is gone: it needs no answer. */
		}
		close(runs->fds[i].fd);
		runs->fds[i] = runs->fds[--runs->n];
	}
}

/* Every run holds the gateway's run lock shared from before it connects
 * until its command ends, so the init that takes it exclusively knows that
 * no run is joining or running. It closes its name before the lock goes
 * with it, so a run waiting for the lock finds no init and boots one. */
static void serve_runs(int listener, int marker, int run_lock, int pids_limited)
{
	static struct runs runs;
	runs.fds[0] = (struct pollfd){listener, POLLIN, 0};
	runs.n = 1;
	long long last_run = now_ms();
	while (!leave_requested && !gateway_gone(marker)) {
		reap_orphans();
		keep_config_daemon();
		if (poll(runs.fds, runs.n, TICK_MS) > 0) {
			settle_runs(&runs);
			if (runs.fds[0].revents && take_runs(&runs))
				last_run = now_ms();
		}
		int idle = now_ms() - last_run >= IDLE_MS || pid_links_used_up(pids_limited);
		if (idle && runs.n == 1 && flock(run_lock, LOCK_EX | LOCK_NB) == 0)
			break;
	}
	close(listener);
	_exit(0);
}

/* PID 1 of the gateway: makes /proc, takes DIR as its root, and serves. Its
 * standard error stays the booting run's until the gateway is up, so the
 * reason of a failed boot reaches the console that asked. */
static void gateway_init(int listener, int ready, int null)
{
	prctl(PR_SET_NAME, "init", 0, 0, 0);
	int pids_limited = make_proc();
	forbid_user_namespaces();
	loopback_up();
	change_root();
	int marker = open("/.gwsim", O_PATH | O_DIRECTORY | O_CLOEXEC);
	if (marker < 0)
		die("cannot open", "/.gwsim");
	int run_lock = gateway_run_lock("/.gwsim/run.lock");
	set_init_signals();
	seal_capabilities();
	if (listen(listener, 128) < 0 || fcntl(listener, F_SETFL, O_NONBLOCK) < 0)
		die("cannot listen for runs", NULL);
	char up = 1;
	if (write(ready, &up, 1) != 1)
		_exit(EXIT_SETUP);
	close(ready);
	dup2(null, STDERR_FILENO);
	close(null);
	serve_runs(listener, marker, run_lock, pids_limited);
}

/* The run lock lives in DIR/.gwsim, which the gateway's root may change:
 * it is opened without following a link or waiting on a FIFO. */
int gateway_run_lock(const char *path)
{
	int fd = open(path, O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0600);
	struct stat st;
	if (fd < 0 || fstat(fd, &st) < 0 || !S_ISREG(st.st_mode)) {
		if (fd >= 0)
			errno = EINVAL;
		die("cannot open the gateway's run lock", path);
	}
	return fd;
}

/* Closes every descriptor from 3 up but the given ones, ascending. */
static void close_all_but(const int *keep, size_t n)
{
	unsigned from = 3;
	for (size_t i = 0; i <= n; i++) {
		unsigned to = i < n ? (unsigned)keep[i] - 1 : ~0U;
		if (to >= from && syscall(SYS_close_range, from, to, 0) < 0) {
			for (unsigned fd = from; fd <= to && fd < 1024; fd++)
				close((int)fd);
		}
		if (i < n)
			from = (unsigned)keep[i] + 1;
	}
}

static int sort_ints(const void *a, const void *b)
{
	return *(const int *)a - *(const int *)b;
}

/* The booting run's child: leaves the run's session and its output, makes
 * the namespaces and DIR's mounts, and starts PID 1. */
static void start_init(int listener, int ready)
{
	int null = open("/dev/null", O_RDWR | O_CLOEXEC);
	if (null < 0)
		die("cannot open", "/dev/null");
	if (setsid() < 0 || dup2(null, STDIN_FILENO) < 0 || dup2(null, STDOUT_FILENO) < 0)
		die("cannot detach the gateway's init", NULL);
	int keep[] = {listener, ready, null};
	qsort(keep, 3, sizeof keep[0], sort_ints);
	close_all_but(keep, 3);
	enter_namespaces();
	bound_processes();
	mount_gateway_root();
	bind_host_files();
	pid_t init = fork();
	if (init < 0)
		die("cannot fork", NULL);
	if (init == 0)
		gateway_init(listener, ready, null);
	_exit(0);
}

/* A socket, and the address of the gateway's name. */
static int name_socket(const struct gateway_name *name, struct sockaddr_un *addr, socklen_t *len)
{
	memset(addr, 0, sizeof *addr);
	addr->sun_family = AF_UNIX;
	memcpy(addr->sun_path, name->path, name->len);
	*len = (socklen_t)(offsetof(struct sockaddr_un, sun_path) + name->len);
	int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
	if (fd < 0)
		die("cannot make a socket", NULL);
	return fd;
}

void gateway_name_of(struct gateway_name *name, uid_t owner, const struct gateway_marker *m)
{
	/* Abstract: the leading zero byte keeps it out of every file system. */
	int len = snprintf(name->path + 1, sizeof name->path - 1, "gwsim-%u-%llx-%llx-%llx.%x",
			   (unsigned)owner, m->dev, m->ino, (unsigned long long)m->born_sec, m->born_nsec);
	name->path[0] = '\0';
	name->len = 1 + (unsigned)len;
}

int gateway_connect(const struct gateway_name *name)
{
	struct sockaddr_un addr;
	socklen_t len;
	int link = name_socket(name, &addr, &len);
	if (connect(link, (const struct sockaddr *)&addr, len) == 0)
		return link;
	int err = errno;
	close(link);
	errno = err;
	return -1;
}

int gateway_boot(const struct gateway_name *name)
{
	/* The name is bound here, in the workstation's network namespace,
	 * before the init's own is made: only runs on the workstation reach it.
	 * Binding it is also what makes one run, of several at once, the one
	 * that boots. */
	struct sockaddr_un addr;
	socklen_t len;
	int listener = name_socket(name, &addr, &len);
	if (bind(listener, (const struct sockaddr *)&addr, len) < 0) {
		if (errno != EADDRINUSE)
			die("cannot name the gateway", NULL);
		close(listener);
		return 0;
	}
	int ready[2];
	if (pipe2(ready, O_CLOEXEC) < 0)
		die("cannot make a pipe", NULL);
	pid_t starter = fork();
	if (starter < 0)
		die("cannot fork", NULL);
	if (starter == 0) {
		close(ready[0]);
		start_init(listener, ready[1]);
	}
	close(listener);
	close(ready[1]);
	char up = 0;
	ssize_t got;
	do
		got = read(ready[0], &up, 1);
	while (got < 0 && errno == EINTR);
	close(ready[0]);
	int status;
	while (waitpid(starter, &status, 0) < 0 && errno == EINTR) {
	}
	/* Nothing: the starter or the init has said why on standard error. */
	if (got != 1)
		exit(EXIT_SETUP);
	return 1;
}
