#include <gtest/gtest.h>

#include "remmgmt/ip_range.h"

namespace {

struct RangeCase { RangeEnd end; const char *typed, *other; RangeCheck expected; };

constexpr RangeEnd B = RangeEnd::Begin;
constexpr RangeEnd E = RangeEnd::End;

TEST(CheckRangeEnd, OrdersTheEndsOfASourceRange)
{
	const RangeCase cases[] = {
		// IPv4 as unsigned numbers: equal ends are a range of one host.
		{ B, "10.0.0.5", "10.0.0.5", RangeCheck::Ordered },
		{ B, "10.0.0.9", "10.0.0.5", RangeCheck::Ipv4Reversed },
		{ E, "10.0.0.5", "10.0.0.9", RangeCheck::Ipv4Reversed },
		{ E, "10.0.1.0", "10.0.0.255", RangeCheck::Ordered }, // carries into the next octet
		{ B, "10.0.1.0", "10.0.0.255", RangeCheck::Ipv4Reversed },
		// Above 127 in the first octet: compared unsigned, not signed.
		{ B, "10.0.0.1", "200.0.0.1", RangeCheck::Ordered },
		{ E, "200.0.0.1", "10.0.0.1", RangeCheck::Ordered },
		{ E, "10.0.0.1", "200.0.0.1", RangeCheck::Ipv4Reversed },
		// IPv6 word by word: an earlier larger word does not excuse a later smaller.
		{ E, "2001:db8::2", "2001:db8::1", RangeCheck::Ordered },
		{ E, "2001:db9::", "2001:db8::1", RangeCheck::Ipv6Reversed },
		{ B, "2001:db8::1", "2001:db9::", RangeCheck::Ipv6Reversed },
		{ B, "2001:db8::1", "2001:db9::1", RangeCheck::Ordered },
		{ E, "2001:db8::ff00", "2001:db8::1ff", RangeCheck::Ordered }, // words are numbers, not bytes
		{ B, "2001:db8::ff00", "2001:db8::1ff", RangeCheck::Ipv6Reversed },
		// The other end unused, unset, unparsable or of the other family: open.
		{ B, "10.0.0.9", "0.0.0.0", RangeCheck::Ordered },
		{ E, "2001:db8::1", "0.0.0.0", RangeCheck::Ordered },
		{ B, "10.0.0.9", "", RangeCheck::Ordered },
		{ B, "10.0.0.9", nullptr, RangeCheck::Ordered },
		{ B, "10.0.0.9", "10.0.0.x", RangeCheck::Ordered },
		{ B, "10.0.0.9", "::1", RangeCheck::Ordered },
		{ E, "::1", "10.0.0.9", RangeCheck::Ordered },
		// The typed text must be an address of either family.
		{ B, "10.0.0", "0.0.0.0", RangeCheck::NotAnAddress },
		{ B, "10.0.0.256", "10.0.0.5", RangeCheck::NotAnAddress },
		{ E, "", "0.0.0.0", RangeCheck::NotAnAddress },
		{ E, "2001:db8:::1", "0.0.0.0", RangeCheck::NotAnAddress },
		{ E, " 10.0.0.1", "0.0.0.0", RangeCheck::NotAnAddress },
		{ E, "10.0.0.1\xC8", "0.0.0.0", RangeCheck::NotAnAddress },
	};
	for (const RangeCase &c : cases)
		EXPECT_EQ(check_range_end(c.end, c.typed, c.other), c.expected)
			<< (c.end == B ? "begin " : "end ") << c.typed << " other " << (c.other ? c.other : "(null)");
}

} // namespace
