// The ROM-D header probe on the 32 bytes read from the partition.
#include <cstdlib>
#include <cstring>

#include "romfile/romd.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char *data, size_t size)
{
	char *head = static_cast<char *>(calloc(ROMD_HEADER_PROBE, 1));
	memcpy(head, data, size < ROMD_HEADER_PROBE ? size : ROMD_HEADER_PROBE);
	romd_header_length(head);
	free(head);
	return 0;
}
