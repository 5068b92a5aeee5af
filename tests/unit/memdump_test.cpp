// Word mode serves register windows no workstation buffer has: the mode
// choice is tested on the numbers, the layout on an ordinary buffer.
#include <gtest/gtest.h>

#include "factory/factory_cmds.h"
#include "factory/memdump.h"
#include "helpers.h"

namespace {

constexpr int PTR_BITS = int(sizeof(uintptr_t) * 8);

uintptr_t with_top_byte(unsigned top, uintptr_t low)
{
	return uintptr_t(top) << (PTR_BITS - 8) | low;
}

TEST(DumpMemory, ModeFollowsTheTopByteOfTheWholePointer)
{
	struct Case { uintptr_t address; DumpMode mode; } cases[] = {
		{ with_top_byte(0xFF, 0x1234), DumpMode::Word },
		{ with_top_byte(0xBC, 0), DumpMode::Word },
		{ with_top_byte(0xBD, 0), DumpMode::Byte },
		{ with_top_byte(0x7F, 0xFF), DumpMode::Byte },
		{ 0, DumpMode::Byte },
	};
	for (const Case &c : cases)
		EXPECT_EQ(dump_mode_for(c.address), c.mode) << std::hex << c.address;
	if (PTR_BITS == 64) {
		// A 32-bit register-window address is a low address on a 64-bit host.
		EXPECT_EQ(dump_mode_for(0xBC000000u), DumpMode::Byte);
		EXPECT_EQ(dump_mode_for(0xFF000000u), DumpMode::Byte);
	}
	unsigned char local[4];
	EXPECT_EQ(dump_mode_for(reinterpret_cast<uintptr_t>(local)), DumpMode::Byte);
}

TEST(DumpMemory, WordModeShowsWholeWordsInMemoryOrder)
{
	alignas(4) unsigned char mem[40];
	for (size_t i = 0; i < sizeof mem; i++)
		mem[i] = static_cast<unsigned char>(0xA0 + i);
	// 20 bytes: a full line of four words, then one word, no dash.
	EXPECT_EQ(capture_stdout([&] { dump_memory_as(mem, 20, DumpMode::Word); }),
		  "\n\t \ta0 a1 a2 a3 a4 a5 a6 a7 a8 a9 aa ab ac ad ae af \n\t \tb0 b1 b2 b3 \n\r\n");
	// Unaligned: back to the word's start, four bytes more; 5 round up to words.
	EXPECT_EQ(capture_stdout([&] { dump_memory_as(mem + 6, 5, DumpMode::Word); }),
		  "\n\t \ta4 a5 a6 a7 a8 a9 aa ab ac ad ae af \n\r\n");
}

TEST(DumpMemory, ByteModeAndUsage)
{
	unsigned char mem[3] = { 0x01, 0xAB, 0xFF };
	EXPECT_EQ(capture_stdout([&] { dump_memory(mem, 3); }), "\n\t \t01 ab ff \n\r\n");
	EXPECT_EQ(capture_stdout([&] { dump_memory(mem, 0); }), "\n\r\n");
	EXPECT_EQ(capture_stdout([&] { dump_memory_cmd(mem, 0); }), "dm address_in_hex length_in_decimal\n");
	EXPECT_EQ(capture_stdout([&] { dump_memory_cmd(nullptr, 3); }), "dm address_in_hex length_in_decimal\n");
}

} // namespace
