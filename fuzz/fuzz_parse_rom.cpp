// The ROM file text parser, both on a NUL-terminated text and on a buffer
// with no terminator at all.
#include <cstdlib>
#include <cstring>

#include "romfile/romfile.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char *data, size_t size)
{
	char *text = static_cast<char *>(malloc(size + 1));
	memcpy(text, data, size);
	text[size] = '\0';
	nox_parseRomFromBuffer(text);
	nox_getRealRom(text);
	romfile_real_length(text, size);
	free(text);
	return 0;
}
