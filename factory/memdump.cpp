#include "factory/memdump.h"

#include <cstdio>
#include <cstring>

namespace {

constexpr int DUMP_LINE_BYTES = 16;
constexpr int BYTES_BEFORE_DASH = 8;
constexpr unsigned REGISTER_WINDOW_A = 0xFF;
constexpr unsigned REGISTER_WINDOW_B = 0xBC;
constexpr uintptr_t WORD_ALIGN = 4;

// One line's bytes; returns how many were shown.
int dump_bytes(const unsigned char *p, int *length)
{
	int shown = 0;
	for (; shown < DUMP_LINE_BYTES && *length > 0; shown++, (*length)--)
		printf("%02x%c", p[shown], shown == BYTES_BEFORE_DASH - 1 ? '-' : ' ');
	return shown;
}

// Registers answer whole-word reads only, so each word is loaded once and
// its bytes shown in memory order.
int dump_words(const unsigned char *p, int *length)
{
	int shown = 0;
	for (; shown < DUMP_LINE_BYTES && *length > 0; shown += 4, *length -= 4) {
		uint32_t word = *reinterpret_cast<const volatile uint32_t *>(p + shown);
		unsigned char bytes[4];
		memcpy(bytes, &word, sizeof bytes);
		printf("%02x %02x %02x %02x ", bytes[0], bytes[1], bytes[2], bytes[3]);
	}
	return shown;
}

} // namespace

DumpMode dump_mode_for(uintptr_t address)
{
	unsigned top = static_cast<unsigned>(address >> (sizeof address * 8 - 8));
	return top == REGISTER_WINDOW_A || top == REGISTER_WINDOW_B ? DumpMode::Word : DumpMode::Byte;
}

void dump_memory_as(const unsigned char *address, int length, DumpMode mode)
{
	if (mode == DumpMode::Word) {
		uintptr_t misalign = reinterpret_cast<uintptr_t>(address) % WORD_ALIGN;
		if (misalign) {
			length += 4;
			address -= misalign;
		}
	}
	printf("\n");
	while (length > 0) {
		printf("\t \t");
		address += mode == DumpMode::Word ? dump_words(address, &length) : dump_bytes(address, &length);
		printf("\n");
	}
	printf("\r\n");
}

void dump_memory(const void *address, int length)
{
	dump_memory_as(static_cast<const unsigned char *>(address), length,
		       dump_mode_for(reinterpret_cast<uintptr_t>(address)));
}

void dump_memory_cmd(const void *address, int length)
{
	if (address && length)
		dump_memory(address, length);
	else
		printf("dm address_in_hex length_in_decimal\n");
}
