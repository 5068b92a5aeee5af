// A romfile partition image: trailer, decoding and checksum of the text, and
// the copy choice between it and the same image with the trailer swapped.
#include <cstdlib>
#include <cstring>

#include "romfile/romfile.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char *data, size_t size)
{
	char *image = romfile_buf_alloc();
	memcpy(image, data, size < ROMFILE_SIZE ? size : ROMFILE_SIZE);
	romfile_sums first = {}, second;
	romfile_image_sums(image, "fuzz", &first);
	second = first;
	second.stored = first.version;
	second.version = first.stored;
	romfile_choose_read_index(first, second);
	romfile_choose_write_index(first, second);
	free(image);
	return 0;
}
