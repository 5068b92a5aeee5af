#include <cstdio>
#include <cstring>

#include "remmgmt/ip_range.h"
#include "remmgmt/remmgmt_handlers.h"
#include "tcapi.h"

namespace {

constexpr int RANGES = 3;
// Stored range ends: IPv4 or IPv6 text.
constexpr size_t ADDR_TEXT_SIZE = 64;
constexpr size_t ATTR_NAME_SIZE = 32;
constexpr const char UNUSED_END[] = "0.0.0.0";

// The attributes of range n are these prefixes followed by n.
constexpr const char BEGIN_PREFIX[] = "ScrIPAddrBegin";
constexpr const char END_PREFIX[] = "ScrIPAddrEnd";

void end_attr_name(const char *prefix, const char *range, char *name)
{
	snprintf(name, ATTR_NAME_SIZE, "%s%s", prefix, range);
}

struct RangeEndSetter {
	RangeEnd end;
	const char *usage;
	const char *not_range_mode;
	const char *ipv4_reversed;
	const char *ipv6_reversed;
	const char *attr_prefix;
	const char *other_prefix;
};

const RangeEndSetter ipbegin_setter = {
	RangeEnd::Begin,
	"Usage: sys remmgmt ipbegin [1~3] [IP] ",
	"Not in rang mode and please configure allorrange attr firstly",
	"Error IPv4.Start IP should smaller than End IP ",
	"Error IPv6.Start IP should smaller than End IP ",
	BEGIN_PREFIX,
	END_PREFIX,
};
const RangeEndSetter ipend_setter = {
	RangeEnd::End,
	"Usage: sys remmgmt ipend [1~3] [IP] ",
	"Not in rang mode,Please configure allorrange attr firstly ",
	"Error IPv4.End IP should larger than Start IP ",
	"Error IPv6.End IP should larger than Start IP ",
	END_PREFIX,
	BEGIN_PREFIX,
};

// Prints the refusal for a check that failed; true when the address may be
// stored.
bool accept_range_check(RangeCheck check, const RangeEndSetter &setter)
{
	switch (check) {
	case RangeCheck::Ordered:
		return true;
	case RangeCheck::NotAnAddress:
		puts("Invalid ip address.");
		return false;
	case RangeCheck::Ipv4Reversed:
		puts(setter.ipv4_reversed);
		return false;
	case RangeCheck::Ipv6Reversed:
		puts(setter.ipv6_reversed);
		return false;
	}
	return false;
}

// Only "all" stops: an unset or unknown AllorRange counts as range mode.
bool in_all_mode(const RemmgmtSelection &selection)
{
	char mode[REMMGMT_FLAG_SIZE];
	remmgmt_read_rule(selection, "AllorRange", mode, sizeof mode);
	return strcmp(mode, "all") == 0;
}

int set_range_end(int argc, char *argv[], const RangeEndSetter &setter)
{
	if (argc != 3) {
		puts(setter.usage);
		return 0;
	}
	const char *range = argv[1];
	if (!remmgmt_single_digit(range, 1, RANGES)) {
		puts("IP range array index should be 1~3.");
		return 0;
	}
	RemmgmtSelection selection;
	if (!remmgmt_selection(selection))
		return 0;
	if (in_all_mode(selection)) {
		puts(setter.not_range_mode);
		return 0;
	}
	char other_name[ATTR_NAME_SIZE];
	char other[ADDR_TEXT_SIZE];
	end_attr_name(setter.other_prefix, range, other_name);
	remmgmt_read_rule(selection, other_name, other, sizeof other);
	if (!accept_range_check(check_range_end(setter.end, argv[2], other), setter))
		return 0;
	char name[ATTR_NAME_SIZE];
	end_attr_name(setter.attr_prefix, range, name);
	tcapi_set(selection.node, name, argv[2]);
	return 0;
}

enum class RangeUse { Unused, Defined, HalfSet };

// Both ends "0.0.0.0" is an unused range; an unset end counts as set.
RangeUse range_use(const RemmgmtSelection &selection, int range)
{
	char number[2] = { static_cast<char>('0' + range), '\0' };
	char name[ATTR_NAME_SIZE];
	char begin[ADDR_TEXT_SIZE];
	char end[ADDR_TEXT_SIZE];
	end_attr_name(BEGIN_PREFIX, number, name);
	remmgmt_read_rule(selection, name, begin, sizeof begin);
	end_attr_name(END_PREFIX, number, name);
	remmgmt_read_rule(selection, name, end, sizeof end);
	bool begin_unused = strcmp(begin, UNUSED_END) == 0;
	bool end_unused = strcmp(end, UNUSED_END) == 0;
	if (begin_unused && end_unused)
		return RangeUse::Unused;
	return begin_unused || end_unused ? RangeUse::HalfSet : RangeUse::Defined;
}

// In range mode the rule needs at least one range and no half-set one.
bool ranges_complete(const RemmgmtSelection &selection)
{
	char mode[REMMGMT_FLAG_SIZE];
	remmgmt_read_rule(selection, "AllorRange", mode, sizeof mode);
	if (strcmp(mode, "range") != 0)
		return true;
	bool defined = false;
	for (int range = 1; range <= RANGES; range++) {
		RangeUse use = range_use(selection, range);
		if (use == RangeUse::HalfSet) {
			printf("IP format error,please check no.%d ip address array \n", range);
			return false;
		}
		defined = defined || use == RangeUse::Defined;
	}
	if (!defined)
		puts("In ip range mode you should must define at least one ip array ");
	return defined;
}

} // namespace

int remmgmt_ipbegin_cmd(int argc, char *argv[], void *)
{
	return set_range_end(argc, argv, ipbegin_setter);
}

int remmgmt_ipend_cmd(int argc, char *argv[], void *)
{
	return set_range_end(argc, argv, ipend_setter);
}

// The access-control service knows the https rule as its rule 0.
int remmgmt_save_cmd(int argc, char *[], void *)
{
	if (argc != 1) {
		puts("Usage: sys remmgmt save ");
		return 0;
	}
	RemmgmtSelection selection;
	if (!remmgmt_selection(selection))
		return 0;
	if (!ranges_complete(selection))
		return 0;
	const char *acl_id = strcmp(selection.index, "8") == 0 ? "0" : selection.index;
	tcapi_set(REMMGMT_SELECT_NODE, "acl_id", acl_id);
	tcapi_commit(selection.node);
	tcapi_save();
	return 0;
}
