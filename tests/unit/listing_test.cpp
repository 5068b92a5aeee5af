#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "helpers.h"
#include "shell/dispatch.h"

namespace {

std::string row(const std::string &text)
{
	std::string line = text;
	line.resize(64, ' ');
	return line + "\n";
}

std::string listing_of(const std::vector<std::string> &names, bool debug = false,
		       uint32_t flags = CMD_FLAG_NORMAL)
{
	std::vector<sys_cmd_entry> table;
	for (const std::string &n : names)
		table.push_back({ n.c_str(), nullptr, flags, 0, nullptr });
	table.push_back(SYS_CMD_END);
	return capture_stdout([&] { print_cmd_listing(stdout, table.data(), debug); });
}

const std::string P16 = "abcdefghijklmnop";
const std::string L40 = std::string(40, 'q');
const std::string L48 = std::string(48, 'r');
const std::string L64 = std::string(64, 's');

struct ListingCase { const char *what; std::vector<std::string> names; std::string expected; };

TEST(Listing, FourSixteenColumnCellsPerLine)
{
	const std::string head = "valid subcommands:\n";
	const ListingCase cases[] = {
		{ "empty table", {}, head },
		{ "short names fill four cells then wrap", { "a", "b", "c", "d", "e" },
		  head + row("a               b               c               d") + row("e") },
		{ "sixteen characters take two cells", { P16, "x" }, head + row(P16 + std::string(16, ' ') + "x") },
		{ "sixteen characters in the last cell take one", { "a", "b", "c", P16, "z" },
		  head + row("a               b               c               " + P16) + row("z") },
		{ "sixteen characters at the third cell end the line", { "a", "b", P16, "z" },
		  head + row("a               b               " + P16) + row("z") },
		{ "a name that no longer fits starts a new line", { "a", "b", L40, "z" },
		  head + row("a               b") + row(L40 + std::string(8, ' ') + "z") },
		{ "forty-eight characters fill a line", { L48, "z" }, head + row(L48) + row("z") },
		{ "sixty-four characters stand alone", { "a", L64, "z" }, head + row("a") + L64 + "\n" + row("z") },
		{ "at the start of a line the blank line is still written", { L64 }, head + row("") + L64 + "\n" },
	};
	for (const ListingCase &c : cases)
		EXPECT_EQ(listing_of(c.names), c.expected) << c.what;
}

TEST(Listing, DebugOnlyRowsNeedTheDebugFlag)
{
	EXPECT_EQ(listing_of({ "dbg" }, false, CMD_FLAG_DEBUG_ONLY), "valid subcommands:\n");
	EXPECT_EQ(listing_of({ "dbg" }, true, CMD_FLAG_DEBUG_ONLY), "valid subcommands:\n" + row("dbg"));
	// Only the exact value 1 hides a row.
	EXPECT_EQ(listing_of({ "x" }, false, 3), "valid subcommands:\n" + row("x"));
}

} // namespace
