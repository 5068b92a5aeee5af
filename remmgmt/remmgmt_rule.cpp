#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "remmgmt/remmgmt_handlers.h"
#include "tcapi.h"

namespace {

// Ports are typed as at most five digits; the bound is the console's own.
constexpr size_t PORT_TEXT_LIMIT = 6;
constexpr int PORT_MAX = 63365;

bool is_one_of(const char *word, const char *const *choices)
{
	for (; *choices; choices++) {
		if (strcmp(word, *choices) == 0)
			return true;
	}
	return false;
}

bool selection_is(const RemmgmtSelection &selection, const char *index)
{
	return strcmp(selection.index, index) == 0;
}

// A word from a fixed list, checked with the count before the selection is
// read.
struct WordSetter {
	const char *usage;
	const char *const *choices;
	const char *attr;
};

const char *const active_words[] = { "Yes", "No", nullptr };
const char *const range_words[] = { "all", "range", nullptr };
const char *const interface_words[] = { "Both", "Disable", "WAN", "LAN", nullptr };

const WordSetter active_setter = { "Usage: sys remmgmt active [Yes/No] ", active_words, "Activate" };
const WordSetter iprange_setter = { "Usage: sys remmgmt iprange [all/range] ", range_words, "AllorRange" };

int set_word(int argc, char *argv[], const WordSetter &setter)
{
	if (argc != 2 || !is_one_of(argv[1], setter.choices)) {
		puts(setter.usage);
		return 0;
	}
	RemmgmtSelection selection;
	if (!remmgmt_selection(selection))
		return 0;
	tcapi_set(selection.node, setter.attr, argv[1]);
	return 0;
}

bool is_port(const char *word)
{
	if (strnlen(word, PORT_TEXT_LIMIT) >= PORT_TEXT_LIMIT)
		return false;
	int port = atoi(word);
	return port >= 1 && port <= PORT_MAX;
}

} // namespace

int remmgmt_active_cmd(int argc, char *argv[], void *)
{
	return set_word(argc, argv, active_setter);
}

// Name service and echo answer on their fixed ports only.
int remmgmt_port_cmd(int argc, char *argv[], void *)
{
	if (argc != 2) {
		puts("Usage: sys remmgmt port [port number] ");
		return 0;
	}
	if (!is_port(argv[1])) {
		puts("RemMGMT port range is 1~63365.");
		return 0;
	}
	RemmgmtSelection selection;
	if (!remmgmt_selection(selection))
		return 0;
	if (selection_is(selection, "5") || selection_is(selection, "6")) {
		puts("Remote port Ping or Dns should not redirect to other port! ");
		return 0;
	}
	tcapi_set(selection.node, "Port", argv[1]);
	return 0;
}

// The selection is read before the word is looked at, so without one even
// a wrong word gets the selection's refusal. The web server must stay
// reachable, so http and https cannot be disabled here.
int remmgmt_interface_cmd(int argc, char *argv[], void *)
{
	static const char usage[] = "Usage: sys remmgmt interface [Both/Disable/LAN/WAN] ";
	if (argc != 2) {
		puts(usage);
		return 0;
	}
	RemmgmtSelection selection;
	if (!remmgmt_selection(selection))
		return 0;
	const char *word = argv[1];
	if (!is_one_of(word, interface_words)) {
		puts(usage);
		return 0;
	}
	if (strcmp(word, "Disable") == 0 && (selection_is(selection, "1") || selection_is(selection, "8"))) {
		puts("Remote port http or https should not disable! ");
		return 0;
	}
	tcapi_set(selection.node, "Interface", word);
	return 0;
}

int remmgmt_iprange_cmd(int argc, char *argv[], void *)
{
	return set_word(argc, argv, iprange_setter);
}
