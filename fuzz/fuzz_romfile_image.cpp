// A romfile partition image: trailer, decoding and checksum of the text, and
// the copy choice between it and the same image with the trailer swapped.
// The image is only read, so one buffer serves every input.
#include <algorithm>
#include <cstring>

#include "romfile/romfile.h"

namespace {

char image[ROMFILE_SIZE];

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char *data, size_t size)
{
	size_t used = std::min(size, ROMFILE_SIZE);
	memcpy(image, data, used);
	memset(image + used, 0, ROMFILE_SIZE - used);
	romfile_sums first = {}, second;
	romfile_image_sums(image, "fuzz", &first);
	second = first;
	second.stored = first.version;
	second.version = first.stored;
	romfile_choose_read_index(first, second);
	romfile_choose_write_index(first, second);
	return 0;
}
