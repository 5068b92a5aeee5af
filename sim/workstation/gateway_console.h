/* The gateway's console when a run is started on a terminal.
 *
 * A command inside never gets the workstation's terminal: whatever it does to
 * its standard streams or to /dev/tty (pushing keystrokes with TIOCSTI,
 * changing modes, taking the terminal's process group) would act on the
 * workstation's shell. It gets a pseudo-terminal of its own instead, made on
 * the workstation before the run joins the gateway; the run copies the
 * keyboard into it and its output onto the workstation's terminal, keeps its
 * window size, and puts the workstation's terminal back as it found it. */
#ifndef GATEWAY_CONSOLE_H
#define GATEWAY_CONSOLE_H

#include <sys/types.h>
#include <termios.h>

struct gateway_console {
	int master, slave;
	/* The workstation's terminal: the first standard stream that is one. */
	int host;
	/* Bit N: standard stream N is the workstation's terminal. */
	unsigned streams;
	/* The keyboard is copied (standard input is the terminal, and the run
	 * is in its foreground): the terminal is raw while the command runs. */
	int keyboard;
	struct termios saved;
};

/* Makes the pseudo-terminal when a standard stream is a terminal. 0 when
 * none is (the console is unused), 1 when made; exits with EXIT_SETUP when
 * one is needed and cannot be made. */
int gateway_console_open(struct gateway_console *c);

/* In the run's child, inside the gateway: a session of its own whose
 * controlling terminal is the pseudo-terminal, on every standard stream that
 * was the workstation's terminal. Starts the command in a process group of
 * its own in the terminal's foreground (so the keyboard's job control
 * reaches it), waits for it and returns its wait status. */
int gateway_console_run(const struct gateway_console *c, char *argv[], void (*exec_command)(char *argv[]));

/* In the run: copies between the workstation's terminal and the
 * pseudo-terminal until CHILD (the console's session) ends; returns its wait
 * status. A stop of the command stops the run, and the run's continuing
 * continues it, as the workstation's shell expects of a job. */
int gateway_console_relay(struct gateway_console *c, pid_t child);

#endif
