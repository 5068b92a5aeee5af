/* gwsim-exec run DIR -- CMD [ARGS...] | gwsim-exec shell DIR
 *
 * Runs CMD (or an interactive shell) inside the simulated gateway whose root
 * file system is DIR, as on the gateway's console. The gwsim script hands
 * `run` and `shell` straight to this program, so it checks their arguments
 * and words its refusals as gwsim does.
 *
 * A run joins the running gateway: it connects to the gateway's init (booting
 * it first when none runs, see gateway_init.c), takes the init's namespaces
 * and starts the command there as its own child, so standard input, output
 * and error, the terminal and the exit status are the command's. The
 * command is killed with the run; what it leaves running stays in the
 * gateway, as on a gateway, until the init leaves.
 *
 * The gateway's root is an unprivileged user of the workstation: the caller,
 * or, when root starts it, the owner of DIR/.gwsim (gwsim init gives a
 * gateway made by root to nobody). Root drops to that user before anything
 * else, so nothing inside ever holds a privilege outside DIR. */
#define _GNU_SOURCE
#include <errno.h>
#include <fcntl.h>
#include <grp.h>
#include <sched.h>
#include <poll.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include "gateway_console.h"
#include "gateway_init.h"

#define GATEWAY_PATH "/userfs/bin:/bin:/sbin:/usr/bin"
#define USAGE "usage: gwsim init DIR | gwsim run DIR -- CMD [ARGS...] | gwsim shell DIR"
#ifndef SO_PEERPIDFD
#define SO_PEERPIDFD 77
#endif
/* How often a run looks for the init another run is booting, a millisecond
 * apart. */
#define BOOT_TRIES 20000
#define LOCK_TRIES 10000
/* The init answers at once; this only bounds a run whose init is stuck. */
#define SETTLE_MS 30000
/* No file a gateway writes grows past this: 32 times its largest partition,
 * and four times the largest configuration its store takes. */
#define GATEWAY_FILE_MAX (64UL << 20)

static pid_t forward_to;

static void refuse(const char *line, const char *dir)
{
	fprintf(stderr, "gwsim: %s%s\n", dir ? dir : "", line);
	exit(1);
}

/* A gateway whose DIR or DIR/.gwsim is root's, however it came to be, would
 * give the gateway's root a hold on the workstation's root's files. */
static void refuse_root_gateway(int dir, const struct gateway_marker *marker, const char *name)
{
	struct stat st;
	if (fstat(dir, &st) < 0)
		die("cannot look at", name);
	if (st.st_uid == 0 || marker->uid == 0 || marker->gid == 0)
		refuse(" belongs to root; make it again with gwsim init", name);
}

/* Root runs the gateway as the unprivileged owner of DIR/.gwsim, which
 * only gwsim init makes (what is copied into DIR later may be root's). */
static void drop_root(const struct gateway_marker *dir, const char *name)
{
	if (geteuid() != 0)
		return;
	if (setgroups(0, NULL) < 0 || setresgid(dir->gid, dir->gid, dir->gid) < 0 ||
	    setresuid(dir->uid, dir->uid, dir->uid) < 0)
		die("cannot become the gateway's owner for", name);
	/* A change of user makes /proc/self root's; a boot writes its maps. */
	prctl(PR_SET_DUMPABLE, 1, 0, 0, 0);
}

/* Bounds of every process of the gateway, its init included (a boot starts
 * from here): no program inside gains privileges by executing anything, and
 * no file written inside grows without bound on the workstation's disk. */
static void bound_gateway(void)
{
	if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) < 0)
		die("cannot forbid new privileges", NULL);
	struct rlimit size;
	if (getrlimit(RLIMIT_FSIZE, &size) < 0)
		die("cannot read the file size limit", NULL);
	if (size.rlim_max == RLIM_INFINITY || size.rlim_max > GATEWAY_FILE_MAX) {
		size.rlim_cur = size.rlim_max = GATEWAY_FILE_MAX;
		if (setrlimit(RLIMIT_FSIZE, &size) < 0)
			die("cannot limit the size of files", NULL);
	}
}

/* The init is a process of this user, whatever else may listen there. */
static pid_t init_pid(int link, const char *name)
{
	struct ucred peer;
	socklen_t len = sizeof peer;
	if (getsockopt(link, SOL_SOCKET, SO_PEERCRED, &peer, &len) < 0)
		die("cannot ask the gateway's init who it is", NULL);
	if (peer.uid != geteuid())
		refuse(": another user holds the name of its gateway", name);
	return peer.pid;
}

/* The namespaces of an init as files, the user namespace first: being
 * owner there is what allows joining the others. */
static const char *const NAMESPACE_FILES[] = {"user", "mnt", "pid", "net", "uts", "ipc"};
#define NAMESPACES (sizeof NAMESPACE_FILES / sizeof NAMESPACE_FILES[0])

/* Where the kernel joins no namespaces through a process descriptor. All
 * are opened first: once the mount namespace is joined, /proc is the
 * gateway's. */
static int join_by_files(pid_t init)
{
	int fds[NAMESPACES];
	size_t opened = 0;
	for (; opened < NAMESPACES; opened++) {
		char path[64];
		snprintf(path, sizeof path, "/proc/%d/ns/%s", (int)init, NAMESPACE_FILES[opened]);
		fds[opened] = open(path, O_RDONLY | O_CLOEXEC);
		if (fds[opened] < 0)
			break;
	}
	int joined = opened == NAMESPACES;
	for (size_t i = 0; i < opened; i++) {
		joined = joined && setns(fds[i], 0) == 0;
		close(fds[i]);
	}
	return joined;
}

/* Joins the init's namespaces; 0 when the init died since it was found. */
static int join_init(int link, const char *name)
{
	pid_t pid = init_pid(link, name);
	int init;
	socklen_t len = sizeof init;
	if (getsockopt(link, SOL_SOCKET, SO_PEERPIDFD, &init, &len) < 0)
		init = (int)syscall(SYS_pidfd_open, pid, 0);
	if (init >= 0) {
		int joined = setns(init, GATEWAY_NAMESPACES) == 0;
		int err = errno;
		close(init);
		errno = err;
		if (joined || errno == ESRCH)
			return joined;
	} else if (errno == ESRCH) {
		return 0;
	}
	if (join_by_files(pid))
		return 1;
	if (errno == ENOENT || errno == ESRCH)
		return 0;
	die("cannot join the gateway", name);
	return 0;
}

static void pause_ms(long ms)
{
	struct timespec t = {ms / 1000, (ms % 1000) * 1000000L};
	nanosleep(&t, NULL);
}

/* An init holds the lock exclusively only for the moment it leaves; a lock
 * held longer is a process inside the gateway holding it, and the run says
 * so rather than wait for ever. */
static void take_run_lock(int run_lock, const char *name)
{
	for (long tries = 0; flock(run_lock, LOCK_SH | LOCK_NB) < 0; tries++) {
		if (errno != EWOULDBLOCK && errno != EINTR)
			die("cannot lock the gateway's runs for", name);
		if (tries == LOCK_TRIES)
			refuse(": its run lock (.gwsim/run.lock) is held inside the gateway", name);
		pause_ms(1);
	}
}

/* Joins the gateway's namespaces, booting it when no init serves it.
 * Returns the connection to the init, kept until the command has ended. */
static int join_gateway(const struct gateway_name *gw, const char *name)
{
	for (long tries = 0; tries < BOOT_TRIES; tries++) {
		int link = gateway_connect(gw);
		if (link < 0) {
			if (errno != ECONNREFUSED && errno != ENOENT)
				die("cannot reach the gateway's init for", name);
			/* Another run is booting it: its init listens soon. */
			if (!gateway_boot(gw))
				pause_ms(1);
			continue;
		}
		/* Only an init that died since it was found is tried again. */
		if (join_init(link, name))
			return link;
		close(link);
	}
	errno = ETIMEDOUT;
	die("no gateway init answers for", name);
	return -1;
}

/* Once the command has ended, the init answers only after it has handled
 * every power request the command sent it (see serve_runs): a reboot asked
 * for is in the reboot log when the run returns. An init that left answers
 * with the end of the connection. */
static void settle_with_init(int link)
{
	char done = 1;
	if (write(link, &done, 1) != 1)
		return;
	struct pollfd answer = {link, POLLIN, 0};
	while (poll(&answer, 1, SETTLE_MS) < 0 && errno == EINTR) {
	}
	if (answer.revents && read(link, &done, 1) < 0) {
		/* Gone: nothing more to wait for. */
	}
}

/* Signals from the host are passed on to the command. The command has a
 * session of its own, so the workstation's keyboard signals come to the run,
 * which passes them to the command's whole process group as a terminal
 * would. */
static void on_signal(int sig)
{
	int saved = errno;
	int keyboard = sig == SIGINT || sig == SIGQUIT;
	if (forward_to > 0 && (!keyboard || kill(-forward_to, sig) < 0))
		kill(forward_to, sig);
	errno = saved;
}

/* The keyboard's stop: the command's group stops with the run and goes on
 * when the workstation's shell continues the run. */
static void on_stop(int sig)
{
	(void)sig;
	int saved = errno;
	if (forward_to > 0)
		kill(-forward_to, SIGSTOP);
	raise(SIGSTOP);
	if (forward_to > 0)
		kill(-forward_to, SIGCONT);
	errno = saved;
}

static void set_signals(int forward)
{
	static const int PASSED_ON[] = {SIGTERM, SIGHUP, SIGINT, SIGQUIT};
	struct sigaction sa;
	memset(&sa, 0, sizeof sa);
	sa.sa_handler = forward ? on_signal : SIG_DFL;
	sa.sa_flags = SA_RESTART;
	for (size_t i = 0; i < sizeof PASSED_ON / sizeof PASSED_ON[0]; i++)
		sigaction(PASSED_ON[i], &sa, NULL);
	sa.sa_handler = forward ? on_stop : SIG_DFL;
	sigaction(SIGTSTP, &sa, NULL);
}

static int exit_code(int status)
{
	if (WIFEXITED(status))
		return WEXITSTATUS(status);
	if (WIFSIGNALED(status))
		return 128 + WTERMSIG(status);
	return EXIT_SETUP;
}

/* The console's environment: the caller's, with the gateway's own PATH,
 * HOME, PWD and SHELL and none of the caller's directories. Made in place,
 * without the allocator: a run's every page costs. */
static char console_path[] = "PATH=" GATEWAY_PATH, console_home[] = "HOME=/", console_pwd[] = "PWD=/",
	    console_shell[] = "SHELL=/bin/sh";
static char *const CONSOLE_VARS[] = {console_path, console_home, console_pwd, console_shell};
static const char *const DROPPED_VARS[] = {"PATH=", "HOME=", "PWD=", "SHELL=", "OLDPWD=", "TMPDIR="};
#define CONSOLE_ENV_MAX 4096

static int dropped_var(const char *var)
{
	for (size_t i = 0; i < sizeof DROPPED_VARS / sizeof DROPPED_VARS[0]; i++) {
		if (strncmp(var, DROPPED_VARS[i], strlen(DROPPED_VARS[i])) == 0)
			return 1;
	}
	return 0;
}

static void set_console_environment(void)
{
	static char *env[CONSOLE_ENV_MAX + 1];
	const size_t ours = sizeof CONSOLE_VARS / sizeof CONSOLE_VARS[0];
	size_t n = 0;
	for (; n < ours; n++)
		env[n] = CONSOLE_VARS[n];
	for (char **var = environ; *var; var++) {
		if (dropped_var(*var))
			continue;
		if (n == CONSOLE_ENV_MAX) {
			errno = E2BIG;
			die("too many environment variables", NULL);
		}
		env[n++] = *var;
	}
	env[n] = NULL;
	environ = env;
}

/* The command starts with standard input, output and error only: a
 * descriptor the caller left open (a directory above all) would reach the
 * workstation's files from inside. */
static void close_inherited_descriptors(void)
{
	if (syscall(SYS_close_range, 3U, ~0U, 0U) == 0)
		return;
	for (int fd = 3; fd < 65536; fd++)
		close(fd);
}

/* In the command's process: it dies with the run (a run killed by a
 * time-out takes its command along), then becomes the command. */
static void run_command(char *argv[])
{
	prctl(PR_SET_PDEATHSIG, SIGKILL, 0, 0, 0);
	set_signals(0);
	close_inherited_descriptors();
	execvp(argv[0], argv);
	int err = errno;
	fprintf(stderr, "gwsim: %s: %s\n", argv[0], strerror(err));
	_exit(err == ENOENT ? 127 : 126);
}

/* vfork: the command replaces the copy at once, so nothing of this process's
 * memory needs copying. Its session is its own: the workstation's terminal,
 * if the run has one, is no controlling terminal inside (/dev/tty). */
static pid_t start_command(char *argv[])
{
	pid_t child = vfork();
	if (child < 0)
		die("cannot fork", NULL);
	if (child == 0) {
		setsid();
		run_command(argv);
	}
	return child;
}

/* On a terminal: the console's session leader, which dies with the run. */
static pid_t start_console(const struct gateway_console *console, char *argv[])
{
	pid_t child = fork();
	if (child < 0)
		die("cannot fork", NULL);
	if (child == 0) {
		prctl(PR_SET_PDEATHSIG, SIGKILL, 0, 0, 0);
		_exit(exit_code(gateway_console_run(console, argv, run_command)));
	}
	return child;
}

static int wait_command(pid_t child)
{
	int status;
	while (waitpid(child, &status, 0) < 0) {
		if (errno != EINTR)
			return -1;
	}
	return status;
}

/* A run started with a standard stream closed would hand that number to the
 * first file it opens, and the command would write into it. */
static void open_standard_streams(void)
{
	for (int fd = 0; fd <= 2; fd++) {
		if (fcntl(fd, F_GETFD) < 0 && open("/dev/null", O_RDWR) != fd)
			die("cannot open", "/dev/null");
	}
}

int main(int argc, char *argv[])
{
	static char *shell[] = {"/bin/sh", "-l", NULL};
	open_standard_streams();
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
	struct gateway_marker marker;
	if (dir < 0 || gateway_marker_of(dir, &marker) < 0 || !marker.is_dir)
		refuse(" is not a gateway (run gwsim init first)", name);
	refuse_root_gateway(dir, &marker, name);
	/* A boot works on paths relative to DIR, so the directories above it
	 * need not be open to the gateway's owner. */
	if (fchdir(dir) < 0)
		die("cannot enter", name);
	close(dir);
	drop_root(&marker, name);
	bound_gateway();
	/* Made on the workstation, before its /dev is left behind. */
	struct gateway_console console;
	int on_terminal = gateway_console_open(&console);
	/* Held shared until the command ends: the init leaves only when no run
	 * holds it. */
	int run_lock = gateway_run_lock(".gwsim/run.lock");
	take_run_lock(run_lock, name);
	struct gateway_name gw;
	gateway_name_of(&gw, geteuid(), &marker);
	int link = join_gateway(&gw, name);
	bound_processes();
	seal_capabilities();
	set_console_environment();
	set_signals(1);
	pid_t child = on_terminal ? start_console(&console, cmd) : start_command(cmd);
	forward_to = child;
	int status = on_terminal ? gateway_console_relay(&console, child) : wait_command(child);
	if (status < 0)
		return EXIT_SETUP;
	settle_with_init(link);
	close(run_lock);
	return exit_code(status);
}
