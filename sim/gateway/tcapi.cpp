// /userfs/bin/tcapi: the configuration store's command-line client. A store
// that cannot be read or written, or a value it refuses, has been said on
// standard error by the store itself; the client adds its own line only for
// what is simply absent, and exits non-zero on every failure.
#include <cstdio>
#include <cstring>

#include "sim_store.h"
#include "tcapi.h"

namespace {

int usage()
{
	fprintf(stderr, "usage: tcapi get|set|unset|commit|save|show NODE [ATTR [VALUE]]\n");
	return 2;
}

void print_attr(const char *name, const char *value, void *)
{
	printf("%s=%s\n", name, value);
}

int cmd_get(const char *node, const char *attr)
{
	char value[MAXLEN_TCAPI_MSG];
	int rc = tcapi_get(node, attr, value);
	if (rc == -1)
		sim_store_complain("no attribute %s in node %s", attr, node);
	if (rc != 0)
		return 1;
	printf("%s\n", value);
	return 0;
}

int cmd_set(const char *node, const char *attr, const char *value)
{
	return tcapi_set(node, attr, value) != 0 ? 1 : 0;
}

int cmd_unset(const char *node, const char *attr)
{
	return sim_store_unset(node, attr) != 0 ? 1 : 0;
}

int cmd_commit(const char *node)
{
	return tcapi_commit(node) != 0 ? 1 : 0;
}

int cmd_save()
{
	return tcapi_save() != 0 ? 1 : 0;
}

int cmd_show(const char *node)
{
	int rc = sim_store_show(node, print_attr, nullptr);
	if (rc == -1)
		sim_store_complain("no node %s", node);
	return rc != 0 ? 1 : 0;
}

} // namespace

int main(int argc, char *argv[])
{
	if (argc < 2)
		return usage();
	const char *verb = argv[1];
	int args = argc - 2;
	char **arg = argv + 2;
	if (strcmp(verb, "get") == 0 && args == 2)
		return cmd_get(arg[0], arg[1]);
	if (strcmp(verb, "set") == 0 && args == 3)
		return cmd_set(arg[0], arg[1], arg[2]);
	if (strcmp(verb, "unset") == 0 && (args == 1 || args == 2))
		return cmd_unset(arg[0], args == 2 ? arg[1] : nullptr);
	if (strcmp(verb, "commit") == 0 && args == 1)
		return cmd_commit(arg[0]);
	if (strcmp(verb, "save") == 0 && args == 0)
		return cmd_save();
	if (strcmp(verb, "show") == 0 && args == 1)
		return cmd_show(arg[0]);
	return usage();
}
