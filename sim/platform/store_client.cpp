#include "store_client.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include "gateway_paths.h"
#include "sim_store.h"
#include "store_protocol.h"

extern char **environ;

namespace {

// While the init starts the daemon (at boot, or again after it died) its
// socket is missing or refuses for a moment: the client waits this long.
constexpr long long CONNECT_WAIT_MS = 3000;
// A reply to a read or a write comes within milliseconds; a save or a
// commit waits for the configuration writer and the flash.
constexpr long long REPLY_WAIT_MS = 10000;
constexpr long long FLASH_REPLY_WAIT_MS = 120000;

long long now_ms()
{
	struct timespec t;
	clock_gettime(CLOCK_MONOTONIC, &t);
	return static_cast<long long>(t.tv_sec) * 1000 + t.tv_nsec / 1000000;
}

void say_unreachable(const char *why)
{
	fprintf(stderr, "tcapi: cannot reach the configuration daemon: %s\n", why);
}

bool is_transient(int err)
{
	return err == ENOENT || err == ECONNREFUSED || err == EAGAIN;
}

// A connection to the daemon, or -1 after saying why. Anything but a socket
// at the daemon's name is refused, never connected through.
int connect_daemon()
{
	struct sockaddr_un addr;
	memset(&addr, 0, sizeof addr);
	addr.sun_family = AF_UNIX;
	memcpy(addr.sun_path, GW_STORE_SOCKET, sizeof GW_STORE_SOCKET);
	long long deadline = now_ms() + CONNECT_WAIT_MS;
	for (useconds_t pause_us = 2000;; pause_us = pause_us < 64000 ? pause_us * 2 : pause_us) {
		struct stat st;
		if (lstat(GW_STORE_SOCKET, &st) == 0 && !S_ISSOCK(st.st_mode)) {
			say_unreachable(S_ISLNK(st.st_mode) ? GW_STORE_SOCKET " is a symbolic link"
							    : GW_STORE_SOCKET " is not a socket");
			return -1;
		}
		int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
		if (fd < 0) {
			say_unreachable(strerror(errno));
			return -1;
		}
		if (connect(fd, reinterpret_cast<struct sockaddr *>(&addr), sizeof addr) == 0)
			return fd;
		int err = errno;
		close(fd);
		if (!is_transient(err) || now_ms() >= deadline) {
			say_unreachable(strerror(err));
			return -1;
		}
		usleep(pause_us);
	}
}

// Waits until FD is ready for EVENTS; false once DEADLINE has passed.
bool wait_for(int fd, short events, long long deadline)
{
	for (;;) {
		long long left = deadline - now_ms();
		if (left <= 0)
			return false;
		struct pollfd p = {fd, events, 0};
		int n = poll(&p, 1, static_cast<int>(left));
		if (n > 0)
			return true;
		if (n < 0 && errno != EINTR)
			return false;
	}
}

bool send_all(int fd, const unsigned char *data, size_t len, long long deadline)
{
	while (len > 0) {
		ssize_t n = send(fd, data, len, MSG_NOSIGNAL);
		if (n > 0) {
			data += n;
			len -= static_cast<size_t>(n);
		} else if (n < 0 && errno != EAGAIN && errno != EINTR) {
			return false;
		} else if (!wait_for(fd, POLLOUT, deadline)) {
			return false;
		}
	}
	return true;
}

// Reads exactly LEN bytes; 0 = done, -1 = closed or failed, -2 = timed out.
int recv_all(int fd, unsigned char *data, size_t len, long long deadline)
{
	while (len > 0) {
		ssize_t n = recv(fd, data, len, 0);
		if (n > 0) {
			data += n;
			len -= static_cast<size_t>(n);
		} else if (n == 0 || (errno != EAGAIN && errno != EINTR)) {
			return -1;
		} else if (!wait_for(fd, POLLIN, deadline)) {
			return -2;
		}
	}
	return 0;
}

unsigned char *request_frame(char op, const char *const *words, size_t count, size_t *len)
{
	size_t body = 1;
	for (size_t i = 0; i < count; i++)
		body += strlen(words[i]) + 1;
	if (body > STORE_REQUEST_MAX)
		return nullptr;
	unsigned char *frame = static_cast<unsigned char *>(malloc(STORE_FRAME_HEADER + body));
	if (!frame)
		return nullptr;
	store_put_be32(frame, static_cast<uint32_t>(body));
	unsigned char *p = frame + STORE_FRAME_HEADER;
	*p++ = static_cast<unsigned char>(op);
	for (size_t i = 0; i < count; i++) {
		size_t n = strlen(words[i]) + 1;
		memcpy(p, words[i], n);
		p += n;
	}
	*len = STORE_FRAME_HEADER + body;
	return frame;
}

// The reply's body into a buffer of its own, or nullptr after saying why.
unsigned char *read_reply(int fd, long long deadline, size_t *len)
{
	unsigned char head[STORE_FRAME_HEADER];
	int rc = recv_all(fd, head, sizeof head, deadline);
	size_t body = rc == 0 ? store_get_be32(head) : 0;
	unsigned char *frame = nullptr;
	if (rc == 0 && (body < STORE_REPLY_HEADER || body > STORE_REPLY_MAX))
		rc = -1;
	if (rc == 0) {
		frame = static_cast<unsigned char *>(malloc(body));
		rc = frame ? recv_all(fd, frame, body, deadline) : -1;
	}
	if (rc == 0) {
		*len = body;
		return frame;
	}
	free(frame);
	say_unreachable(rc == -2 ? "no reply in time" : "no reply");
	return nullptr;
}

} // namespace

bool store_request(char op, const char *const *words, size_t count, StoreReply *reply)
{
	memset(reply, 0, sizeof *reply);
	size_t len = 0;
	unsigned char *request = request_frame(op, words, count, &len);
	if (!request) {
		say_unreachable("request too long");
		return false;
	}
	bool flash = op == STORE_SAVE || op == STORE_COMMIT;
	int fd = connect_daemon();
	long long deadline = now_ms() + (flash ? FLASH_REPLY_WAIT_MS : REPLY_WAIT_MS);
	bool sent = fd >= 0 && send_all(fd, request, len, deadline);
	free(request);
	if (fd >= 0 && !sent)
		say_unreachable("cannot send the request");
	unsigned char *frame = sent ? read_reply(fd, deadline, &len) : nullptr;
	if (fd >= 0)
		close(fd);
	if (!frame)
		return false;
	size_t complaints = store_get_be32(frame + 4);
	if (complaints > len - STORE_REPLY_HEADER) {
		free(frame);
		say_unreachable("garbled reply");
		return false;
	}
	fwrite(frame + STORE_REPLY_HEADER, 1, complaints, stderr);
	reply->result = static_cast<int32_t>(store_get_be32(frame));
	reply->answer = reinterpret_cast<const char *>(frame + STORE_REPLY_HEADER + complaints);
	reply->answer_len = len - STORE_REPLY_HEADER - complaints;
	reply->frame = frame;
	return true;
}

void store_reply_release(StoreReply *reply)
{
	free(reply->frame);
	reply->frame = nullptr;
}

int store_call(char op, const char *const *words, size_t count)
{
	StoreReply reply;
	if (!store_request(op, words, count, &reply))
		return SIM_STORE_FAULT;
	store_reply_release(&reply);
	return reply.result;
}

int store_call_flash(char op, const char *node)
{
	const char *words[1 + sizeof STORE_FLASH_SETTINGS / sizeof STORE_FLASH_SETTINGS[0]];
	size_t n = 0;
	if (node)
		words[n++] = node;
	for (const char *name : STORE_FLASH_SETTINGS) {
		size_t len = strlen(name);
		for (char **e = environ; e && *e; e++) {
			if (strncmp(*e, name, len) == 0 && (*e)[len] == '=') {
				words[n++] = *e;
				break;
			}
		}
	}
	return store_call(op, words, n);
}
