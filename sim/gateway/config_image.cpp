#include "config_image.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "romfile/container.h"
#include "romfile/romfile.h"
#include "sim_store.h"

namespace {

// The ROM file text held by the raw copy in *IMAGE (a romfile_buf_alloc
// buffer, replaced by the decoded image when it holds a container); its
// length through "</ROMFILE>", 0 when it holds none.
size_t image_text(char **image)
{
	size_t size = ROMFILE_SIZE;
	if (isCompressedConfigFile(*image)) {
		int decoded = 0;
		if (nox_configFileLzDecoder(image, &decoded) != 0)
			return 0;
		// The decoder replaces the buffer only with a larger one.
		if (decoded > 0 && static_cast<size_t>(decoded) > size)
			size = static_cast<size_t>(decoded);
	}
	int body = romfile_real_length(*image, size);
	return body > 0 ? static_cast<size_t>(body) : 0;
}

// The copy the reader chooses, from both raw images.
int chosen_copy(const unsigned char *const raw[2])
{
	romfile_sums sums[2] = {};
	bool ok = true;
	for (int i = 0; ok && i < 2; i++)
		ok = romfile_image_sums(reinterpret_cast<const char *>(raw[i]), "config_boot_load", &sums[i]) == 1;
	return ok ? romfile_choose_read_index(sums[0], sums[1]) : ROMFILE_NONE;
}

} // namespace

int config_boot_load(const char *root, const unsigned char *first, const unsigned char *second)
{
	const unsigned char *raw[2] = {first, second};
	int index = chosen_copy(raw);
	if (index == ROMFILE_NONE) {
		fprintf(stderr, "no valid romfile copy to boot from\n");
		return ROMFILE_NONE;
	}
	char *text = romfile_buf_alloc();
	size_t len = 0;
	if (text) {
		memcpy(text, raw[index - 1], ROMFILE_SIZE);
		len = image_text(&text);
	}
	bool ok = len > 0;
	if (ok) {
		// Image buffers always keep a spare byte past their size.
		text[len] = '\n';
		ok = sim_store_write_file(root, text, len + 1);
	} else {
		fprintf(stderr, "cannot read the text of %s\n", index == ROMFILE_FIRST ? "romfile" : "second_romfile");
	}
	free(text);
	return ok ? index : ROMFILE_NONE;
}
