#include "store_client.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/time.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include "gateway_paths.h"
#include "lib/safe_file.h"
#include "sim_store.h"
#include "store_protocol.h"

namespace {

// While the init starts the daemon (at boot, or again after it died) its
// socket is missing or refuses for a moment: the client tries again after
// pauses growing from 1 ms to 100 ms, for 10 s in all.
constexpr useconds_t CONNECT_FIRST_PAUSE_US = 1000;
constexpr useconds_t CONNECT_LONGEST_PAUSE_US = 100000;
constexpr useconds_t CONNECT_WAIT_US = 10000000;
// A reply to a read or a write comes within milliseconds; a save or a
// commit waits for the configuration writer and the flash. Each send and
// each receive is bounded by the socket's own time-outs, so no call of the
// library blocks without end.
constexpr time_t REPLY_WAIT_S = 10;
constexpr time_t FLASH_REPLY_WAIT_S = 120;
// What the library says goes straight to standard error's descriptor
// (unbuffered as the stream is): the library then needs no stream of the C
// library's, and its loading no lookup for one.
void say_unreachable(const char *why)
{
	dprintf(STDERR_FILENO, "tcapi: cannot reach the configuration daemon: %s\n", why);
}

bool is_transient(int err)
{
	return err == ENOENT || err == ECONNREFUSED || err == EAGAIN;
}

bool set_timeouts(int fd, time_t seconds)
{
	struct timeval t = {seconds, 0};
	return setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &t, sizeof t) == 0 &&
	       setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &t, sizeof t) == 0;
}

// Anything but a socket at the daemon's name is refused, never connected
// through; true when that was said.
bool refuse_planted()
{
	struct stat st;
	if (lstat(GW_STORE_SOCKET, &st) != 0 || S_ISSOCK(st.st_mode))
		return false;
	say_unreachable(S_ISLNK(st.st_mode) ? GW_STORE_SOCKET " is a symbolic link" : GW_STORE_SOCKET " is not a socket");
	return true;
}

const struct sockaddr_un DAEMON_ADDRESS = {AF_UNIX, GW_STORE_SOCKET};

// A connection to the daemon with its time-outs set, or -1 after saying why.
int connect_daemon(time_t wait_s)
{
	const struct sockaddr_un &addr = DAEMON_ADDRESS;
	useconds_t waited = 0, pause = CONNECT_FIRST_PAUSE_US;
	for (;;) {
		if (refuse_planted())
			return -1;
		int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
		if (fd < 0 || !set_timeouts(fd, wait_s)) {
			say_unreachable(strerror(errno));
			if (fd >= 0)
				close(fd);
			return -1;
		}
		if (connect(fd, reinterpret_cast<const struct sockaddr *>(&addr), sizeof addr) == 0)
			return fd;
		int err = errno;
		close(fd);
		if (!is_transient(err) || waited >= CONNECT_WAIT_US) {
			say_unreachable(strerror(err));
			return -1;
		}
		usleep(pause);
		waited += pause;
		pause = pause * 2 < CONNECT_LONGEST_PAUSE_US ? pause * 2 : CONNECT_LONGEST_PAUSE_US;
	}
}

bool send_all(int fd, const unsigned char *data, size_t len)
{
	while (len > 0) {
		ssize_t n = send(fd, data, len, MSG_NOSIGNAL);
		if (n < 0 && errno == EINTR)
			continue;
		if (n <= 0)
			return false;
		data += n;
		len -= static_cast<size_t>(n);
	}
	return true;
}

// Reads until LEN bytes are in; 0 = done, -1 = closed or failed, -2 = the
// daemon said nothing in time.
int recv_all(int fd, unsigned char *data, size_t len)
{
	while (len > 0) {
		ssize_t n = recv(fd, data, len, 0);
		if (n < 0 && errno == EINTR)
			continue;
		if (n <= 0)
			return n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK) ? -2 : -1;
		data += n;
		len -= static_cast<size_t>(n);
	}
	return 0;
}

// The request's frame into SMALL (STORE_SMALL_FRAME bytes) or a buffer from the
// heap; nullptr when it is too long for the daemon.
unsigned char *request_frame(char op, const char *const *words, size_t count, unsigned char *small, size_t *len)
{
	size_t body = 1, lengths[STORE_WORDS_MAX];
	if (count > STORE_WORDS_MAX)
		return nullptr;
	for (size_t i = 0; i < count; i++) {
		lengths[i] = strlen(words[i]) + 1;
		body += lengths[i];
	}
	if (body > STORE_REQUEST_MAX)
		return nullptr;
	unsigned char *frame = STORE_FRAME_HEADER + body <= STORE_SMALL_FRAME
				       ? small
				       : static_cast<unsigned char *>(malloc(STORE_FRAME_HEADER + body));
	if (!frame)
		return nullptr;
	be32_put(frame, static_cast<uint32_t>(body));
	unsigned char *p = frame + STORE_FRAME_HEADER;
	*p++ = static_cast<unsigned char>(op);
	for (size_t i = 0; i < count; i++) {
		memcpy(p, words[i], lengths[i]);
		p += lengths[i];
	}
	*len = STORE_FRAME_HEADER + body;
	return frame;
}

// How one exchange with the daemon ended. HELD_ENDED: the held connection
// was ended before the request was answered (by the daemon's time limit, or
// its death).
enum Exchange { REPLIED, NO_DAEMON, NOT_SENT, NO_REPLY, NO_REPLY_IN_TIME, HELD_ENDED };

// The reply's body into REPLY's own buffer. The first receive takes what
// came in one go, which is usually all of it.
Exchange read_reply(int fd, StoreReply *reply, size_t *len)
{
	unsigned char *small = reply->small;
	ssize_t got;
	while ((got = recv(fd, small, sizeof reply->small, 0)) < 0 && errno == EINTR)
		;
	int rc = got >= static_cast<ssize_t>(STORE_FRAME_HEADER) ? 0 : got < 0 && errno == EAGAIN ? -2 : -1;
	size_t have = got > 0 ? static_cast<size_t>(got) - STORE_FRAME_HEADER : 0;
	size_t body = rc == 0 ? be32_get(small) : 0;
	if (rc == 0 && (body < STORE_REPLY_HEADER || body > STORE_REPLY_MAX || have > body))
		rc = -1;
	unsigned char *frame = small + STORE_FRAME_HEADER;
	if (rc == 0 && STORE_FRAME_HEADER + body > sizeof reply->small) {
		frame = static_cast<unsigned char *>(malloc(body));
		if (frame) {
			memcpy(frame, small + STORE_FRAME_HEADER, have);
			reply->frame = frame;
		}
	}
	if (rc == 0)
		rc = frame ? recv_all(fd, frame + have, body - have) : -1;
	if (rc != 0)
		return rc == -2 ? NO_REPLY_IN_TIME : NO_REPLY;
	reply->body = frame;
	*len = body;
	return REPLIED;
}

// A process's reads share one connection, kept open between them: a display
// reads dozens of values, and making a connection costs more than a read.
// The daemon ends a connection a while after it was made, and answers every
// request it has read before; a read that finds its connection ended is
// asked again on a fresh one (store_request). A change, a commit or a save
// has a connection of its own, as one whose reply was lost is not asked
// again.
int held_read_fd = -1;

bool is_read(char op)
{
	return op == STORE_GET || op == STORE_SHOW;
}

// One request, one reply (its body length in *LEN): a read on the held
// connection when there is one, anything else on a fresh connection. A
// read's connection is held when it replied.
Exchange exchange(char op, const unsigned char *request, size_t *len, StoreReply *reply)
{
	bool read = is_read(op);
	int fd = read ? held_read_fd : -1;
	bool held = fd >= 0;
	if (held)
		held_read_fd = -1;
	else
		fd = connect_daemon(op == STORE_SAVE || op == STORE_COMMIT ? FLASH_REPLY_WAIT_S : REPLY_WAIT_S);
	if (fd < 0)
		return NO_DAEMON;
	Exchange how = send_all(fd, request, *len) ? read_reply(fd, reply, len) : NOT_SENT;
	if (how == REPLIED && read) {
		held_read_fd = fd;
		return how;
	}
	close(fd);
	return held && (how == NOT_SENT || how == NO_REPLY) ? HELD_ENDED : how;
}

// The same request once more, with the reply of the last try let go.
Exchange ask_again(char op, const unsigned char *request, size_t request_len, size_t *len, StoreReply *reply)
{
	store_reply_release(reply);
	*len = request_len;
	return exchange(op, request, len, reply);
}

} // namespace

bool store_request(char op, const char *const *words, size_t count, StoreReply *reply)
{
	reply->frame = nullptr;
	unsigned char small[STORE_SMALL_FRAME];
	size_t request_len = 0;
	unsigned char *request = request_frame(op, words, count, small, &request_len);
	if (!request) {
		say_unreachable("request too long");
		return false;
	}
	// A daemon that dies (killed, or in a power cut) drops the requests it
	// has not answered; the init starts it again at once. A read lost so
	// is asked again of the new daemon, and a read on a held connection the
	// daemon has ended is asked on a fresh one first; a change is not asked
	// again, as the old daemon may have made it.
	size_t len = request_len;
	Exchange how = exchange(op, request, &len, reply);
	if (how == HELD_ENDED)
		how = ask_again(op, request, request_len, &len, reply);
	if (is_read(op) && (how == NOT_SENT || how == NO_REPLY))
		how = ask_again(op, request, request_len, &len, reply);
	if (request != small)
		free(request);
	if (how != REPLIED) {
		store_reply_release(reply);
		if (how != NO_DAEMON)
			say_unreachable(how == NOT_SENT ? "cannot send the request"
				      : how == NO_REPLY ? "no reply" : "no reply in time");
		return false;
	}
	const unsigned char *body = reply->body;
	size_t complaints = be32_get(body + 4);
	if (complaints > len - STORE_REPLY_HEADER) {
		store_reply_release(reply);
		say_unreachable("garbled reply");
		return false;
	}
	if (complaints)
		write_all(STDERR_FILENO, body + STORE_REPLY_HEADER, complaints);
	reply->result = static_cast<int32_t>(be32_get(body));
	reply->answer = reinterpret_cast<const char *>(body + STORE_REPLY_HEADER + complaints);
	reply->answer_len = len - STORE_REPLY_HEADER - complaints;
	return true;
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
	const char *words[STORE_WORDS_MAX];
	size_t n = 0;
	if (node)
		words[n++] = node;
	// getenv's value lies within its NAME=VALUE entry of the environment:
	// the entry is the word.
	for (const char *name : STORE_FLASH_SETTINGS) {
		const char *value = getenv(name);
		if (value)
			words[n++] = value - strlen(name) - 1;
	}
	return store_call(op, words, n);
}
