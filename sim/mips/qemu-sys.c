/* /userfs/bin/sys of a simulated gateway that runs the MIPS build: starts the
 * MIPS program under qemu-mips with the same argument vector (argv[0]
 * included), environment and descriptors, and leaves the exit status to it.
 * The rest of the gateway stays the workstation build. */
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#define QEMU "/usr/bin/qemu-mips"
#define TARGET_ROOT "/usr/mips-linux-gnu"
#define TARGET_SYS TARGET_ROOT "/bin/sys"
#define FIXED_ARGS 6 /* qemu -L root -0 argv0 program */

int main(int argc, char *argv[])
{
	char **args = calloc((size_t)argc + FIXED_ARGS, sizeof *args);
	if (!args) {
		perror("sys");
		return 126;
	}
	args[0] = (char *)"qemu-mips";
	args[1] = (char *)"-L";
	args[2] = (char *)TARGET_ROOT;
	args[3] = (char *)"-0";
	args[4] = argc > 0 ? argv[0] : (char *)"sys";
	args[5] = (char *)TARGET_SYS;
	for (int i = 1; i < argc; i++)
		args[FIXED_ARGS + i - 1] = argv[i];
	execv(QEMU, args);
	perror(QEMU);
	return 127;
}
