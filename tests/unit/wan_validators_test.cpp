#include <gtest/gtest.h>

#include "wan/validators.h"

namespace {

struct TextCase { const char *text; bool valid; };

TEST(IsValidIpv4Addr, AcceptsUsableHostAddressesOnly)
{
	const TextCase cases[] = {
		{ "0.0.0.0", true }, // the "no address" special, as exact text only
		{ "0.0.0.1", false }, { "00.0.0.0", false },
		{ "1.2.3.4", true }, { "1.2.3.", false }, // shortest 7 bytes; 6
		{ "100.100.100.100", true }, { "0100.100.100.100", false }, // longest 15 bytes; 16
		{ "0100.100.100.10", true }, // leading zeros are fine
		{ "192.168.1.0", true }, { "192.168.1.254", true }, { "192.168.1.255", false },
		{ "192.168.1.256", false }, { "1.255.255.1", true }, { "1.256.1.1", false }, { "1.1.256.1", false },
		{ "126.255.255.254", true }, { "127.0.0.1", false }, { "128.0.0.1", true },
		{ "223.255.255.254", true }, { "224.0.0.1", false }, { "255.255.255.254", false },
		{ "10..1.1", true }, { "11.1.1.", true }, // an empty octet counts as 0...
		{ "...1234", false }, // ...so is an empty first octet
		{ "1.2.3", false }, { "1.2.3.4.5", false }, { "1,2.3.4", false }, { " 1.2.3.4", false },
		{ "1.2.3.4\n", false }, { "", false },
		{ "1.2.3.\xC8", false }, { "\xB9.2.3.4", false }, // bytes above 127
		// Octets wrap at 32 bits and compare signed: 4294967296 is 0, 4294967551
		// 255, 4294967552 256 and 999999999999 negative.
		{ "1.4294967296..", true }, { "1.4294967551..", true }, { "1.4294967552..", false },
		{ "999999999999...", true },
	};
	for (const TextCase &c : cases)
		EXPECT_EQ(is_valid_ipv4_addr(c.text), c.valid) << '"' << c.text << '"';
}

TEST(IsValidSubnetMask, AcceptsTheCanonicalMasksExactly)
{
	const char *const masks[] = {
		"0.0.0.0",	   "128.0.0.0",	      "192.0.0.0",	 "224.0.0.0",	    "240.0.0.0",
		"248.0.0.0",	   "252.0.0.0",	      "254.0.0.0",	 "255.0.0.0",	    "255.128.0.0",
		"255.192.0.0",	   "255.224.0.0",     "255.240.0.0",	 "255.248.0.0",	    "255.252.0.0",
		"255.254.0.0",	   "255.255.0.0",     "255.255.128.0",	 "255.255.192.0",   "255.255.224.0",
		"255.255.240.0",   "255.255.248.0",   "255.255.252.0",	 "255.255.254.0",   "255.255.255.0",
		"255.255.255.128", "255.255.255.192", "255.255.255.224", "255.255.255.240", "255.255.255.248",
		"255.255.255.252", "255.255.255.254", "255.255.255.255",
	};
	static_assert(sizeof masks / sizeof masks[0] == 33, "one mask per prefix length 0-32");
	for (const char *mask : masks)
		EXPECT_TRUE(is_valid_subnet_mask(mask)) << mask;
	const char *const near_misses[] = {
		"255.255.255.00", "255.255.0.255", "255.255.255.1",	"255.255.255.253", "255.255.255.0 ",
		" 255.255.255.0", "255.255.255",   "0255.255.255.0",	"255.255.255.0.0", "255.255.255.256",
		"128.0.0.1",	  "0.0.0.0.0",	   "254.255.0.0",	"",		   "255.255.255.\xC8",
	};
	for (const char *mask : near_misses)
		EXPECT_FALSE(is_valid_subnet_mask(mask)) << '"' << mask << '"';
}

TEST(IsAllDigits, OnlyDecimalDigitsAndTheEmptyText)
{
	const TextCase cases[] = {
		{ "", true },	 { "0123456789", true }, { "12a", false }, { " 1", false }, { "-1", false },
		{ "+5", false }, { "1.5", false },	 { "1\xB9", false }, { "9/", false }, { ":0", false },
	};
	for (const TextCase &c : cases)
		EXPECT_EQ(is_all_digits(c.text), c.valid) << '"' << c.text << '"';
	EXPECT_FALSE(is_all_digits(nullptr));
}

} // namespace
