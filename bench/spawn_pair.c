/* spawn_pair RUNS -- A [ARGS...] -- B [ARGS...]
 *
 * Starts A and B one after the other, RUNS times each, the way a program or
 * a test harness starts a command (posix_spawn, then wait), and prints the
 * median and mean wall time of each in microseconds:
 *   A <median> <mean>
 *   B <median> <mean>
 * Alternating them lets load on the machine hit both alike. */
#define _GNU_SOURCE
#include <spawn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/wait.h>
#include <time.h>

extern char **environ;

static long long now_us(void)
{
	struct timespec t;
	clock_gettime(CLOCK_MONOTONIC, &t);
	return (long long)t.tv_sec * 1000000 + t.tv_nsec / 1000;
}

static long long run_once(char **argv)
{
	long long start = now_us();
	pid_t pid;
	int status;
	if (posix_spawn(&pid, argv[0], NULL, NULL, argv, environ) != 0 || waitpid(pid, &status, 0) != pid ||
	    !WIFEXITED(status) || WEXITSTATUS(status) != 0) {
		fprintf(stderr, "spawn_pair: %s failed\n", argv[0]);
		exit(1);
	}
	return now_us() - start;
}

static int by_value(const void *a, const void *b)
{
	long long x = *(const long long *)a, y = *(const long long *)b;
	return (x > y) - (x < y);
}

static void report(const char *name, long long *times, int runs)
{
	long long sum = 0;
	for (int i = 0; i < runs; i++)
		sum += times[i];
	qsort(times, (size_t)runs, sizeof times[0], by_value);
	printf("%s %lld %lld\n", name, times[runs / 2], sum / runs);
}

int main(int argc, char *argv[])
{
	int split = 3;
	while (split < argc && strcmp(argv[split], "--") != 0)
		split++;
	int runs = argc > 1 ? atoi(argv[1]) : 0;
	if (argc < 6 || strcmp(argv[2], "--") != 0 || split >= argc - 1 || split == 3 || runs <= 0) {
		fprintf(stderr, "usage: spawn_pair RUNS -- A [ARGS...] -- B [ARGS...]\n");
		return 2;
	}
	argv[split] = NULL;
	char **a = argv + 3, **b = argv + split + 1;
	long long *ta = calloc((size_t)runs, sizeof *ta), *tb = calloc((size_t)runs, sizeof *tb);
	if (!ta || !tb)
		return 1;
	for (int i = 0; i < runs; i++) {
		ta[i] = run_once(a);
		tb[i] = run_once(b);
	}
	report("A", ta, runs);
	report("B", tb, runs);
	free(ta);
	free(tb);
	return 0;
}
