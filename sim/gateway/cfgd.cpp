// /userfs/bin/cfgd: the gateway's configuration daemon. The gateway's init
// starts it at boot and again whenever it dies. It holds the running
// configuration and serves the store's operations on a local socket
// (store_protocol.h), one request at a time, from one poll loop.
//
// Nothing a client does can stop it serving the others for long: a request
// longer than the protocol allows is refused by its length before anything
// is read into memory, a malformed one gets a refusal and ends its
// connection, a connection serves one request per turn of the loop and is
// dropped HOLD_MS after it was made (a client may ask again on it until
// then: a display's dozens of reads share one), and no more than
// MAX_CLIENTS connections are read at once. An operation
// is applied whole or not at all (store.cpp), so a daemon killed at any
// moment leaves the store as it was before or after the request.
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>
#include <utility>
#include <vector>

#include "sim_store.h"
#include "store_protocol.h"
#include "tcapi.h"

namespace {

constexpr size_t MAX_CLIENTS = 16;
constexpr long long HOLD_MS = 2000;
constexpr long long REPLY_SEND_MS = 1000;

long long now_ms()
{
	struct timespec t;
	clock_gettime(CLOCK_MONOTONIC, &t);
	return static_cast<long long>(t.tv_sec) * 1000 + t.tv_nsec / 1000000;
}

void fail(const char *what)
{
	fprintf(stderr, "cfgd: %s: %s\n", what, strerror(errno));
	exit(1);
}

// The socket's directory is made afresh: whatever was planted at its name,
// or inside it, is removed, never followed.
void clear_socket_dir()
{
	struct stat st;
	if (lstat(GW_STORE_SOCKET_DIR, &st) != 0)
		return;
	if (!S_ISDIR(st.st_mode)) {
		unlink(GW_STORE_SOCKET_DIR);
		return;
	}
	int dirfd = open(GW_STORE_SOCKET_DIR, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
	DIR *dir = dirfd >= 0 ? fdopendir(dirfd) : nullptr;
	if (!dir) {
		if (dirfd >= 0)
			close(dirfd);
		return;
	}
	while (struct dirent *e = readdir(dir)) {
		if (strcmp(e->d_name, ".") != 0 && strcmp(e->d_name, "..") != 0 &&
		    unlinkat(dirfd, e->d_name, 0) != 0)
			unlinkat(dirfd, e->d_name, AT_REMOVEDIR);
	}
	closedir(dir);
	rmdir(GW_STORE_SOCKET_DIR);
}

// A directory that stays after being emptied is a mount of its own (a
// machine whose gateway files are shared keeps its socket off the share):
// it serves when it is the daemon's own and no one else may write in it.
bool own_private_dir(const char *path)
{
	struct stat st;
	return lstat(path, &st) == 0 && S_ISDIR(st.st_mode) && st.st_uid == geteuid() &&
	       (st.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

int open_listener()
{
	clear_socket_dir();
	if (mkdir(GW_STORE_SOCKET_DIR, 0755) != 0 && !(errno == EEXIST && own_private_dir(GW_STORE_SOCKET_DIR)))
		fail("cannot make " GW_STORE_SOCKET_DIR);
	int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
	if (fd < 0)
		fail("cannot make a socket");
	struct sockaddr_un addr;
	memset(&addr, 0, sizeof addr);
	addr.sun_family = AF_UNIX;
	memcpy(addr.sun_path, GW_STORE_SOCKET, sizeof GW_STORE_SOCKET);
	if (bind(fd, reinterpret_cast<struct sockaddr *>(&addr), sizeof addr) != 0 || listen(fd, 64) != 0)
		fail("cannot listen on " GW_STORE_SOCKET);
	return fd;
}

// Only the gateway's root (and the daemon's own user) may use the store.
bool trusted_peer(int fd)
{
	struct ucred cred;
	socklen_t len = sizeof cred;
	return getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &cred, &len) == 0 && (cred.uid == 0 || cred.uid == geteuid());
}

struct Client {
	int fd;
	long long since;
	unsigned char head[STORE_FRAME_HEADER];
	size_t got; // bytes of head, then of body
	std::vector<unsigned char> body;
};

struct Request {
	char op;
	std::vector<const char *> words;
};

// The body's words; false when it is not an operation byte followed by
// NUL-terminated words.
bool parse_request(std::vector<unsigned char> &body, Request *req)
{
	if (body.empty() || (body.size() > 1 && body.back() != '\0'))
		return false;
	req->op = static_cast<char>(body[0]);
	for (size_t i = 1; i < body.size(); i += strlen(reinterpret_cast<char *>(&body[i])) + 1)
		req->words.push_back(reinterpret_cast<char *>(&body[i]));
	return true;
}

// The flash test settings of the request, and no others, are this daemon's
// environment while it runs the writer for the request.
void take_flash_settings(const std::vector<const char *> &words, size_t from)
{
	for (const char *name : STORE_FLASH_SETTINGS) {
		size_t len = strlen(name);
		unsetenv(name);
		for (size_t i = from; i < words.size(); i++) {
			if (strncmp(words[i], name, len) == 0 && words[i][len] == '=')
				setenv(name, words[i] + len + 1, 1);
		}
	}
}

void append_pair(const char *name, const char *value, void *ctx)
{
	std::string *answer = static_cast<std::string *>(ctx);
	answer->append(name).append(1, '\0').append(value).append(1, '\0');
}

bool word_count_fits(char op, size_t n)
{
	switch (op) {
	case STORE_GET:
		return n == 2;
	case STORE_SET:
		return n == 3;
	case STORE_UNSET:
		return n == 1 || n == 2;
	case STORE_COMMIT:
		return n >= 1;
	case STORE_SAVE:
		return true;
	case STORE_SHOW:
		return n == 1;
	default:
		return false;
	}
}

int run_operation(const Request &req, std::string *answer)
{
	const std::vector<const char *> &w = req.words;
	switch (req.op) {
	case STORE_GET: {
		char value[MAXLEN_TCAPI_MSG];
		int rc = sim_store_get(w[0], w[1], value);
		if (rc == 0)
			answer->assign(value);
		return rc;
	}
	case STORE_SET:
		return sim_store_set(w[0], w[1], w[2]);
	case STORE_UNSET:
		return sim_store_unset(w[0], w.size() == 2 ? w[1] : nullptr);
	case STORE_COMMIT:
		take_flash_settings(w, 1);
		return sim_store_commit(w[0]);
	case STORE_SAVE:
		take_flash_settings(w, 0);
		return sim_store_save();
	default:
		return sim_store_show(w[0], append_pair, answer);
	}
}

void send_reply(int fd, int result, const std::string &complaints, const std::string &answer)
{
	std::string frame(STORE_FRAME_HEADER + STORE_REPLY_HEADER, '\0');
	unsigned char *p = reinterpret_cast<unsigned char *>(&frame[0]);
	be32_put(p, static_cast<uint32_t>(STORE_REPLY_HEADER + complaints.size() + answer.size()));
	be32_put(p + 4, static_cast<uint32_t>(result));
	be32_put(p + 8, static_cast<uint32_t>(complaints.size()));
	frame += complaints;
	frame += answer;
	long long deadline = now_ms() + REPLY_SEND_MS;
	for (size_t sent = 0; sent < frame.size();) {
		ssize_t n = send(fd, frame.data() + sent, frame.size() - sent, MSG_NOSIGNAL);
		if (n > 0) {
			sent += static_cast<size_t>(n);
			continue;
		}
		long long left = deadline - now_ms();
		if ((n < 0 && errno != EAGAIN && errno != EINTR) || left <= 0)
			return;
		struct pollfd out = {fd, POLLOUT, 0};
		poll(&out, 1, static_cast<int>(left));
	}
}

// Answers the client's request; false when it was malformed.
bool serve(Client &c)
{
	Request req;
	std::string complaints, answer;
	sim_store_complaints_to(&complaints);
	int result = -1;
	bool well_formed = parse_request(c.body, &req) && word_count_fits(req.op, req.words.size());
	if (well_formed)
		result = run_operation(req, &answer);
	else
		sim_store_complain("the configuration daemon refused a malformed request");
	sim_store_complaints_to(nullptr);
	send_reply(c.fd, result, complaints, answer);
	return well_formed;
}

// Reads what the client has sent; true when its connection is done with
// (refused or gone).
bool read_client(Client &c)
{
	for (;;) {
		bool in_head = c.got < STORE_FRAME_HEADER;
		unsigned char *to = in_head ? c.head + c.got : c.body.data() + (c.got - STORE_FRAME_HEADER);
		size_t want = in_head ? STORE_FRAME_HEADER - c.got : c.body.size() - (c.got - STORE_FRAME_HEADER);
		ssize_t n = recv(c.fd, to, want, 0);
		if (n == 0 || (n < 0 && errno != EINTR))
			return n == 0 || (errno != EAGAIN && errno != EWOULDBLOCK);
		if (n < 0)
			continue;
		c.got += static_cast<size_t>(n);
		if (in_head && c.got == STORE_FRAME_HEADER) {
			size_t len = be32_get(c.head);
			if (len == 0 || len > STORE_REQUEST_MAX)
				return true;
			c.body.resize(len);
		}
		if (c.got > STORE_FRAME_HEADER && c.got == STORE_FRAME_HEADER + c.body.size()) {
			// One request per turn; the next one waits for the next.
			c.got = 0;
			return !serve(c);
		}
	}
}

// While MAX_CLIENTS connections wait, the others wait in the listen queue.
void take_clients(int listener, std::vector<Client> &clients)
{
	int fd;
	while (clients.size() < MAX_CLIENTS &&
	       (fd = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK)) >= 0) {
		if (trusted_peer(fd))
			clients.push_back(Client{fd, now_ms(), {}, 0, {}});
		else
			close(fd);
	}
}

[[noreturn]] void serve_forever(int listener)
{
	std::vector<Client> clients;
	std::vector<struct pollfd> fds;
	for (;;) {
		fds.assign(1, pollfd{listener, static_cast<short>(clients.size() < MAX_CLIENTS ? POLLIN : 0), 0});
		long long now = now_ms(), wait = -1;
		for (const Client &c : clients) {
			fds.push_back(pollfd{c.fd, POLLIN, 0});
			long long left = c.since + HOLD_MS - now;
			wait = wait < 0 || left < wait ? (left > 0 ? left : 0) : wait;
		}
		if (poll(fds.data(), fds.size(), static_cast<int>(wait)) < 0 && errno != EINTR)
			fail("poll");
		// A client's silence is judged as poll saw it: a long save served
		// below does not age the clients that wait behind it.
		long long polled = now_ms();
		// Oldest first: requests are applied in the order they came, even
		// the last one of a client that died after sending it.
		size_t kept = 0;
		for (size_t i = 0; i < clients.size(); i++) {
			bool ready = fds[i + 1].revents != 0;
			if ((ready && read_client(clients[i])) || polled - clients[i].since >= HOLD_MS)
				close(clients[i].fd);
			else if (kept++ != i)
				clients[kept - 1] = std::move(clients[i]);
		}
		clients.resize(kept);
		if (fds[0].revents & POLLIN)
			take_clients(listener, clients);
	}
}

} // namespace

int main()
{
	signal(SIGPIPE, SIG_IGN);
	umask(022);
	serve_forever(open_listener());
}
