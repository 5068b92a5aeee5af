/* peak_rss CMD [ARGS...]: runs CMD with its output discarded and prints its
 * peak resident set size in KiB, as the kernel accounts it. */
#include <fcntl.h>
#include <stdio.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

int main(int argc, char *argv[])
{
	if (argc < 2)
		return 2;
	pid_t pid = fork();
	if (pid == 0) {
		int null = open("/dev/null", O_WRONLY);
		dup2(null, 1);
		dup2(null, 2);
		execv(argv[1], argv + 1);
		_exit(127);
	}
	int status;
	struct rusage ru;
	if (pid < 0 || wait4(pid, &status, 0, &ru) != pid)
		return 1;
	printf("%ld\n", ru.ru_maxrss);
	return 0;
}
