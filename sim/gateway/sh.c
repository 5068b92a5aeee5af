/* /bin/sh of the simulated gateway: BusyBox's shell, with every "-c" command
 * line journaled first, so tests can read exactly what the program handed to
 * system(). */
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "gateway_paths.h"

/* The command line follows the first "-c" among the options. */
static const char *command_line(int argc, char *argv[])
{
	for (int i = 1; i < argc - 1; i++) {
		if (strcmp(argv[i], "-c") == 0)
			return argv[i + 1];
		if (argv[i][0] != '-')
			break;
	}
	return NULL;
}

static void journal(const char *cmdline)
{
	size_t len = strlen(cmdline);
	char *line = malloc(len + 1);
	if (!line)
		return;
	memcpy(line, cmdline, len);
	line[len] = '\n';
	int fd = open(GW_SHELL_LOG, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
	if (fd >= 0) {
		if (write(fd, line, len + 1) < 0)
			perror(GW_SHELL_LOG);
		close(fd);
	}
	free(line);
}

int main(int argc, char *argv[])
{
	const char *cmdline = command_line(argc, argv);
	if (cmdline)
		journal(cmdline);
	char **args = calloc((size_t)argc + 1, sizeof *args);
	if (!args)
		return 127;
	/* A login shell keeps its leading '-'. */
	args[0] = argv[0][0] == '-' ? (char *)"-sh" : (char *)"sh";
	for (int i = 1; i < argc; i++)
		args[i] = argv[i];
	execv(GW_BUSYBOX, args);
	perror(GW_BUSYBOX);
	return 127;
}
