/* A hostile program inside the gateway, talking to the configuration
 * daemon's socket directly. Built static by sim_store_daemon.test.
 *
 *   store_peer oversized      a frame announcing 4 GiB, then 64 KiB of it
 *   store_peer garbage        a frame of an unknown operation and no NULs
 *   store_peer unterminated   a get whose last word has no NUL
 *   store_peer empty          a frame of length 0
 *   store_peer silent         connects and sends half a frame header
 *   store_peer hold N SECONDS N connections, each sending nothing, held
 *
 * Each but hold prints one line: "refused: " and the daemon's complaint,
 * or "closed" when the daemon closed the connection without a reply, or
 * "no answer" when nothing came within 20 s. */
#include <poll.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#define SOCKET_PATH "/var/run/cfgd/socket"

static int connect_daemon(void)
{
	struct sockaddr_un addr;
	memset(&addr, 0, sizeof addr);
	addr.sun_family = AF_UNIX;
	strcpy(addr.sun_path, SOCKET_PATH);
	int fd = socket(AF_UNIX, SOCK_STREAM, 0);
	if (fd < 0 || connect(fd, (struct sockaddr *)&addr, sizeof addr) != 0) {
		perror("store_peer: connect");
		exit(2);
	}
	return fd;
}

static void send_frame(int fd, unsigned long len, const void *body, size_t body_len)
{
	unsigned char head[4] = {(unsigned char)(len >> 24), (unsigned char)(len >> 16), (unsigned char)(len >> 8),
				 (unsigned char)len};
	if (send(fd, head, sizeof head, MSG_NOSIGNAL) < 0 ||
	    (body_len && send(fd, body, body_len, MSG_NOSIGNAL) < 0))
		return; /* a daemon that closed early is an answer too */
}

/* Reads the reply and prints what it was. */
static void report(int fd)
{
	static unsigned char reply[65536];
	size_t got = 0;
	struct pollfd p = {fd, POLLIN, 0};
	while (got < sizeof reply && poll(&p, 1, 20000) > 0) {
		ssize_t n = recv(fd, reply + got, sizeof reply - got, 0);
		if (n <= 0)
			break;
		got += (size_t)n;
	}
	if (got == 0) {
		printf(p.revents ? "closed\n" : "no answer\n");
		return;
	}
	size_t complaints = got >= 12 ? (size_t)reply[8] << 24 | (size_t)reply[9] << 16 | reply[10] << 8 | reply[11] : 0;
	if (complaints > got - 12)
		complaints = got - 12;
	printf("refused: %.*s", (int)complaints, (const char *)reply + 12);
}

int main(int argc, char *argv[])
{
	const char *how = argc > 1 ? argv[1] : "";
	if (strcmp(how, "hold") == 0 && argc == 4) {
		int n = atoi(argv[2]);
		for (int i = 0; i < n; i++)
			connect_daemon();
		sleep((unsigned)atoi(argv[3]));
		return 0;
	}
	int fd = connect_daemon();
	if (strcmp(how, "oversized") == 0) {
		static unsigned char junk[65536];
		send_frame(fd, 0xFFFFFFFFul, junk, sizeof junk);
	} else if (strcmp(how, "garbage") == 0) {
		send_frame(fd, 5, "\x7fjunk", 5);
	} else if (strcmp(how, "unterminated") == 0) {
		send_frame(fd, 15, "gLan_Entry0\0IP", 14);
		send(fd, "x", 1, MSG_NOSIGNAL);
	} else if (strcmp(how, "empty") == 0) {
		send_frame(fd, 0, NULL, 0);
	} else if (strcmp(how, "silent") == 0) {
		send(fd, "\0\0", 2, MSG_NOSIGNAL);
	} else {
		fprintf(stderr, "usage: store_peer oversized|garbage|unterminated|empty|silent|hold N SECONDS\n");
		return 2;
	}
	report(fd);
	return 0;
}
