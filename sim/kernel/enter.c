/* gwsim-enter ROOT CMD [ARGS...]: the last step of `gwsim kernel`'s first
 * stage. Changes root to ROOT (the gateway's) and becomes CMD, found on the
 * environment's PATH inside, as a gwsim run starts its command: the name a
 * gateway program is started by resolves to the gateway's own file, never to
 * one of the first stage's BusyBox applets. Static: the first stage has no C
 * library. */
#include <errno.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

int main(int argc, char *argv[])
{
	if (argc < 3) {
		fputs("usage: gwsim-enter ROOT CMD [ARGS...]\n", stderr);
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
