// /userfs/bin/tcapi: the configuration store's command-line client, a client
// of the configuration daemon like the store library. What the store refuses
// or cannot do it says on standard error itself; the client adds its own
// line only for what is simply absent, and exits non-zero on every failure.
#include <cstdio>
#include <cstring>

#include "sim_store.h"
#include "store_client.h"
#include "store_protocol.h"

namespace {

int usage()
{
	fprintf(stderr, "usage: tcapi get|set|unset|commit|save|show NODE [ATTR [VALUE]]\n");
	return 2;
}

// The daemon's result for OP on WORDS, the answer into REPLY (which the
// caller releases in every case).
int request(char op, const char *const *words, size_t count, StoreReply *reply)
{
	return store_request(op, words, count, reply) ? reply->result : SIM_STORE_FAULT;
}

int cmd_get(const char *node, const char *attr)
{
	const char *words[] = {node, attr};
	StoreReply reply;
	int rc = request(STORE_GET, words, 2, &reply);
	if (rc == -1)
		sim_store_complain("no attribute %s in node %s", attr, node);
	if (rc == 0)
		printf("%.*s\n", static_cast<int>(strnlen(reply.answer, reply.answer_len)), reply.answer);
	store_reply_release(&reply);
	return rc != 0 ? 1 : 0;
}

// The answer holds NAME NUL VALUE NUL for every attribute, in stored order.
int cmd_show(const char *node)
{
	StoreReply reply;
	int rc = request(STORE_SHOW, &node, 1, &reply);
	if (rc == -1)
		sim_store_complain("no node %s", node);
	if (rc == 0) {
		const char *p = reply.answer, *end = reply.answer + reply.answer_len;
		while (p < end) {
			const char *name = p;
			const char *value = name + strnlen(name, static_cast<size_t>(end - name)) + 1;
			if (value >= end)
				break;
			size_t len = strnlen(value, static_cast<size_t>(end - value));
			printf("%s=%.*s\n", name, static_cast<int>(len), value);
			p = value + len + 1;
		}
	}
	store_reply_release(&reply);
	return rc != 0 ? 1 : 0;
}

} // namespace

int main(int argc, char *argv[])
{
	if (argc < 2)
		return usage();
	const char *verb = argv[1];
	int args = argc - 2;
	const char *const *arg = argv + 2;
	if (strcmp(verb, "get") == 0 && args == 2)
		return cmd_get(arg[0], arg[1]);
	if (strcmp(verb, "set") == 0 && args == 3)
		return store_call(STORE_SET, arg, 3) != 0 ? 1 : 0;
	if (strcmp(verb, "unset") == 0 && (args == 1 || args == 2))
		return store_call(STORE_UNSET, arg, static_cast<size_t>(args)) != 0 ? 1 : 0;
	if (strcmp(verb, "commit") == 0 && args == 1)
		return store_call_flash(STORE_COMMIT, arg[0]) != 0 ? 1 : 0;
	if (strcmp(verb, "save") == 0 && args == 0)
		return store_call_flash(STORE_SAVE, nullptr) != 0 ? 1 : 0;
	if (strcmp(verb, "show") == 0 && args == 1)
		return cmd_show(arg[0]);
	return usage();
}
