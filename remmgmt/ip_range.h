// Ordering of a source address range's two ends, as the access rules
// accept them. No store access, so it can be checked on its own.
#pragma once

// The end of the range an address is typed for.
enum class RangeEnd { Begin, End };

enum class RangeCheck {
	Ordered,      // store it
	NotAnAddress, // neither IPv4 nor IPv6 text
	Ipv4Reversed, // the end lies below the start
	Ipv6Reversed, // some 16-bit word of the end lies below the start's
};

// typed: the address given for `end`; other: the stored text of the range's
// other end ("0.0.0.0" when unused, "" or nullptr when unset). The typed text
// is taken as IPv4 if it parses so, else as IPv6. The other end is compared
// only when it is an address of the same family; an unused, unset or
// unparsable one, or one of the other family, leaves the range open.
//
// IPv6 ends are compared word by word, and a range is refused when any word
// of the end is below the start's, even after an earlier word already made
// the end larger: the access-control service matches sources word by word.
RangeCheck check_range_end(RangeEnd end, const char *typed, const char *other);
