/* The gateway's own terminal for runs started on one (see gateway_console.h). */
#define _GNU_SOURCE
#include "gateway_console.h"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdio.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "gateway_init.h"

#ifndef TIOCGPTPEER
#define TIOCGPTPEER _IO('T', 0x41)
#endif

#define RELAY_BUFFER 4096

/* The pseudo-terminal's other end, opened from its master: no path under
 * /dev/pts is looked up. */
static int open_peer(int master)
{
	int unlock = 0;
	if (ioctl(master, TIOCSPTLCK, &unlock) < 0)
		return -1;
	int peer = ioctl(master, TIOCGPTPEER, O_RDWR | O_NOCTTY | O_CLOEXEC);
	if (peer >= 0 || errno != EINVAL)
		return peer;
	unsigned number;
	char path[32];
	if (ioctl(master, TIOCGPTN, &number) < 0)
		return -1;
	snprintf(path, sizeof path, "/dev/pts/%u", number);
	return open(path, O_RDWR | O_NOCTTY | O_CLOEXEC);
}

/* The command's terminal starts as the workstation's was: modes and size. */
static void copy_window_size(int from, int to)
{
	struct winsize ws;
	if (ioctl(from, TIOCGWINSZ, &ws) == 0)
		ioctl(to, TIOCSWINSZ, &ws);
}

int gateway_console_open(struct gateway_console *c)
{
	memset(c, 0, sizeof *c);
	c->master = c->slave = c->host = -1;
	for (int fd = 0; fd <= 2; fd++) {
		if (!isatty(fd))
			continue;
		c->streams |= 1U << fd;
		if (c->host < 0)
			c->host = fd;
	}
	if (!c->streams)
		return 0;
	c->master = open("/dev/ptmx", O_RDWR | O_NOCTTY | O_CLOEXEC);
	if (c->master < 0 || (c->slave = open_peer(c->master)) < 0)
		die("cannot make the gateway's terminal from", "/dev/ptmx");
	if (tcgetattr(c->host, &c->saved) == 0)
		tcsetattr(c->slave, TCSANOW, &c->saved);
	copy_window_size(c->host, c->slave);
	c->keyboard = (c->streams & 1U) && tcgetpgrp(STDIN_FILENO) == getpgrp();
	return 1;
}

/* ---- Inside the gateway: the console's session ---- */

static pid_t console_command;

/* Signals the run passes on go to the command's process group. */
static void pass_on(int sig)
{
	int saved = errno;
	if (console_command > 0)
		kill(-console_command, sig);
	errno = saved;
}

static void set_disposition(const int *sigs, size_t n, void (*handler)(int))
{
	struct sigaction sa;
	memset(&sa, 0, sizeof sa);
	sa.sa_handler = handler;
	sa.sa_flags = SA_RESTART;
	for (size_t i = 0; i < n; i++)
		sigaction(sigs[i], &sa, NULL);
}

static const int PASSED_ON[] = {SIGTERM, SIGHUP, SIGINT, SIGQUIT};
/* The session leader changes the terminal's foreground from the
 * background; the command starts with every job-control signal default. */
static const int JOB_CONTROL[] = {SIGTTOU, SIGTTIN, SIGTSTP};

static void become_foreground(int terminal, pid_t group)
{
	setpgid(group, group);
	tcsetpgrp(terminal, group);
}

int gateway_console_run(const struct gateway_console *c, char *argv[], void (*exec_command)(char *argv[]))
{
	int terminal = c->host;
	close(c->master);
	if (setsid() < 0 || ioctl(c->slave, TIOCSCTTY, 0) < 0)
		die("cannot give the command its terminal", NULL);
	for (int fd = 0; fd <= 2; fd++) {
		if ((c->streams & (1U << fd)) && dup2(c->slave, fd) < 0)
			die("cannot give the command its terminal", NULL);
	}
	close(c->slave);
	set_disposition(JOB_CONTROL, sizeof JOB_CONTROL / sizeof JOB_CONTROL[0], SIG_IGN);
	pid_t command = fork();
	if (command < 0)
		die("cannot fork", NULL);
	if (command == 0) {
		/* Both sides set the foreground: the command may read at once. */
		become_foreground(terminal, getpid());
		set_disposition(JOB_CONTROL, sizeof JOB_CONTROL / sizeof JOB_CONTROL[0], SIG_DFL);
		exec_command(argv);
	}
	console_command = command;
	set_disposition(PASSED_ON, sizeof PASSED_ON / sizeof PASSED_ON[0], pass_on);
	become_foreground(terminal, command);
	int status;
	for (;;) {
		if (waitpid(command, &status, WUNTRACED) < 0) {
			if (errno == EINTR)
				continue;
			die("cannot wait for the command", NULL);
		}
		if (!WIFSTOPPED(status)) {
			/* The session's end hangs up its foreground: the leader
			 * takes it, so what the command left running inside keeps
			 * running, as it does without a terminal. */
			tcsetpgrp(terminal, getpid());
			return status;
		}
		/* The keyboard stopped the command: the run stops too, and
		 * continues it when the workstation's shell continues the run. */
		raise(SIGSTOP);
		become_foreground(terminal, command);
		kill(-command, SIGCONT);
	}
}

/* ---- On the workstation: the run copies between the two terminals ---- */

static volatile sig_atomic_t child_changed, window_changed;

static void on_relay_signal(int sig)
{
	if (sig == SIGCHLD)
		child_changed = 1;
	else
		window_changed = 1;
}

static void keyboard_raw(struct gateway_console *c)
{
	if (!c->keyboard)
		return;
	struct termios raw = c->saved;
	cfmakeraw(&raw);
	tcsetattr(c->host, TCSADRAIN, &raw);
}

static void keyboard_restore(struct gateway_console *c)
{
	if (c->keyboard)
		tcsetattr(c->host, TCSADRAIN, &c->saved);
}

/* Whatever the pseudo-terminal holds now goes to the workstation's: 1 when
 * something was copied, 0 when nothing waits, -1 when the terminal is gone
 * (no process holds its other end). */
static int copy_output(struct gateway_console *c)
{
	char buf[RELAY_BUFFER];
	ssize_t n = read(c->master, buf, sizeof buf);
	if (n < 0 && (errno == EAGAIN || errno == EINTR))
		return 0;
	if (n <= 0)
		return -1;
	for (ssize_t done = 0; done < n;) {
		ssize_t w = write(c->host, buf + done, (size_t)(n - done));
		if (w < 0 && errno == EINTR)
			continue;
		if (w <= 0)
			return -1;
		done += w;
	}
	return 1;
}

struct pending_input {
	char buf[RELAY_BUFFER];
	size_t len, done;
};

static int copy_input(struct gateway_console *c, struct pending_input *in, int readable)
{
	if (in->done == in->len && readable) {
		ssize_t n = read(STDIN_FILENO, in->buf, sizeof in->buf);
		if (n < 0 && errno == EINTR)
			return 1;
		if (n <= 0)
			return 0;
		in->len = (size_t)n;
		in->done = 0;
	}
	while (in->done < in->len) {
		ssize_t w = write(c->master, in->buf + in->done, in->len - in->done);
		if (w < 0)
			return errno == EAGAIN || errno == EINTR;
		in->done += (size_t)w;
	}
	return 1;
}

static void stop_with_child(struct gateway_console *c, pid_t child)
{
	keyboard_restore(c);
	kill(getpid(), SIGSTOP);
	keyboard_raw(c);
	copy_window_size(c->host, c->master);
	kill(child, SIGCONT);
}

int gateway_console_relay(struct gateway_console *c, pid_t child)
{
	close(c->slave);
	fcntl(c->master, F_SETFL, fcntl(c->master, F_GETFL) | O_NONBLOCK);
	struct sigaction sa;
	memset(&sa, 0, sizeof sa);
	sa.sa_handler = on_relay_signal;
	sigaction(SIGCHLD, &sa, NULL);
	sigaction(SIGWINCH, &sa, NULL);
	sigset_t blocked, during_poll;
	sigemptyset(&blocked);
	sigaddset(&blocked, SIGCHLD);
	sigaddset(&blocked, SIGWINCH);
	sigprocmask(SIG_BLOCK, &blocked, &during_poll);
	sigdelset(&during_poll, SIGCHLD);
	sigdelset(&during_poll, SIGWINCH);
	keyboard_raw(c);
	struct pending_input in = {.len = 0};
	int reading = c->keyboard, output = 1, status = 0;
	/* The child may have ended before the handler was set. */
	child_changed = 1;
	for (;;) {
		if (window_changed) {
			window_changed = 0;
			copy_window_size(c->host, c->master);
		}
		if (child_changed) {
			child_changed = 0;
			pid_t done = waitpid(child, &status, WNOHANG | WUNTRACED);
			if (done == child && WIFSTOPPED(status))
				stop_with_child(c, child);
			else if (done == child || (done < 0 && errno == ECHILD))
				break;
		}
		struct pollfd p[2] = {{output ? c->master : -1, POLLIN, 0}, {-1, 0, 0}};
		if (in.done < in.len)
			p[0].events |= POLLOUT;
		else if (reading)
			p[1] = (struct pollfd){STDIN_FILENO, POLLIN, 0};
		/* Signals are taken only while waiting here. */
		if (ppoll(p, 2, NULL, &during_poll) <= 0)
			continue;
		if (p[0].revents & (POLLIN | POLLHUP | POLLERR))
			output = copy_output(c) >= 0;
		if ((p[0].revents & POLLOUT) || (p[1].revents & (POLLIN | POLLHUP | POLLERR)))
			reading = copy_input(c, &in, (p[1].revents & (POLLIN | POLLHUP | POLLERR)) != 0);
	}
	while (output && copy_output(c) > 0) {
	}
	keyboard_restore(c);
	close(c->master);
	sigprocmask(SIG_UNBLOCK, &blocked, NULL);
	return status;
}
