/* The running gateway: a sealed set of namespaces whose PID 1, the gateway's
 * init, stays up while runs come, so that a run only joins it.
 *
 * A gateway is found by its runs through an abstract socket of the
 * workstation's network namespace, named after its owner and DIR/.gwsim (a
 * gateway made again in the same place gets a new name). Its init listens
 * there; a run connects, learns the init's process from the connection,
 * takes its namespaces and starts its command as its own child. The init
 * leaves when no run has come for a while and none is going on, when its
 * gateway is removed or made again, and when the workstation asks it to
 * (SIGTERM). Its leaving ends every process of the gateway, as a power cut
 * would; the next run boots it again. */
#ifndef GATEWAY_INIT_H
#define GATEWAY_INIT_H

#include <sys/types.h>

#define EXIT_SETUP 125

/* The namespaces a gateway has of its own, made at boot and joined by runs
 * (<sched.h>'s flags). */
#define GATEWAY_NAMESPACES \
	(CLONE_NEWUSER | CLONE_NEWNS | CLONE_NEWPID | CLONE_NEWNET | CLONE_NEWUTS | CLONE_NEWIPC)

/* DIR/.gwsim, which gwsim init makes first: its owner is the gateway's, and
 * its identity and birth time tell this gateway from one made before it in
 * its place (inode numbers are soon reused). */
struct gateway_marker {
	int is_dir;
	unsigned uid, gid;
	unsigned long long dev, ino;
	long long born_sec;
	unsigned born_nsec;
};

int gateway_marker_of(int dir, struct gateway_marker *m);

/* The address of a gateway's init; 108 bytes is what sockaddr_un holds. */
struct gateway_name {
	char path[108];
	unsigned len;
};

void gateway_name_of(struct gateway_name *name, uid_t owner, const struct gateway_marker *m);

/* A connection to the gateway's init, or -1 with errno set (ECONNREFUSED:
 * none serves it). */
int gateway_connect(const struct gateway_name *name);

/* Starts the gateway's init from the working directory, which is DIR. Returns
 * 1 once it serves runs, 0 when another run is starting it at the same time,
 * and exits with EXIT_SETUP (the reason on standard error) when it cannot. */
int gateway_boot(const struct gateway_name *name);

/* Opens the gateway's run lock at PATH (see serve_runs). */
int gateway_run_lock(const char *path);

/* A fork storm inside stays inside: processes of the gateway's root are
 * counted in the gateway's user namespace, so this bounds the gateway's
 * processes alone. Called once the caller is in that namespace. */
void bound_processes(void);

/* Capabilities that could undo the seal leave the bounding set. */
void seal_capabilities(void);

void die(const char *what, const char *path);

#endif
