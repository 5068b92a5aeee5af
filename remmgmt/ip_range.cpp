#include "remmgmt/ip_range.h"

#include <arpa/inet.h>

#include <cstring>

#include "lib/byteorder.h"

namespace {

constexpr const char UNUSED_END[] = "0.0.0.0";
constexpr int IPV6_WORDS = 8;

// Network order whatever the CPU's own, so the numbers compare as addresses.
RangeCheck compare(int family, const unsigned char *start, const unsigned char *end)
{
	if (family == AF_INET)
		return be32_get(end) < be32_get(start) ? RangeCheck::Ipv4Reversed : RangeCheck::Ordered;
	for (int word = 0; word < IPV6_WORDS; word++) {
		if (be16_get(end + 2 * word) < be16_get(start + 2 * word))
			return RangeCheck::Ipv6Reversed;
	}
	return RangeCheck::Ordered;
}

} // namespace

RangeCheck check_range_end(RangeEnd end, const char *typed, const char *other)
{
	unsigned char typed_addr[sizeof(struct in6_addr)];
	unsigned char other_addr[sizeof(struct in6_addr)];
	int family = AF_INET;
	if (inet_pton(AF_INET, typed, typed_addr) != 1) {
		family = AF_INET6;
		if (inet_pton(AF_INET6, typed, typed_addr) != 1)
			return RangeCheck::NotAnAddress;
	}
	if (!other || strcmp(other, UNUSED_END) == 0 || inet_pton(family, other, other_addr) != 1)
		return RangeCheck::Ordered;
	if (end == RangeEnd::Begin)
		return compare(family, typed_addr, other_addr);
	return compare(family, other_addr, typed_addr);
}
