// The container's file side: writing an encoded buffer to its work file and
// compressing one file into another. The codec itself is container.cpp.
#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <sys/stat.h>

#include "lib/safe_file.h"
#include "romfile/container.h"

namespace {

constexpr char TMP_COMPRESS[] = "/tmp/tmp_compress";

bool read_whole_file(FILE *f, unsigned char *buf, size_t size)
{
	return fread(buf, 1, size, f) == size;
}

} // namespace

int nox_compressCfgBufferToFile(char *out_path, size_t out_size, char *buf, int *len)
{
	if (nox_configFileLzEncoder(buf, len) != 0) {
		printf("%s: lz encode error!\n", "nox_compressCfgBufferToFile");
		return 0;
	}
	FILE *f = safe_fopen(TMP_COMPRESS, "w");
	if (!f) {
		printf("%s: open file %s error!\n", "nox_compressCfgBufferToFile", TMP_COMPRESS);
		return 0;
	}
	fwrite(buf, 1, static_cast<size_t>(*len) + CFG_HEADER_SIZE, f);
	fclose(f);
	if (out_size > 0)
		snprintf(out_path, out_size, "%s", TMP_COMPRESS);
	return 1;
}

int compressCfgFileToFile(const char *in_path, const char *out_path)
{
	struct stat st;
	if (stat(in_path, &st) != 0) {
		printf("Error: stat error.\n");
		return -1;
	}
	FILE *in = fopen(in_path, "rb");
	if (!in) {
		printf("Error: could not open %s. Aborted.\n\n", in_path);
		return -1;
	}
	size_t size = static_cast<size_t>(st.st_size);
	printf("intput file size = %u\n", static_cast<unsigned>(size));
	unsigned char *plain = static_cast<unsigned char *>(calloc(std::max<size_t>(size, 1), 1));
	size_t out_size = cfg_stream_bound(size);
	char *out = static_cast<char *>(calloc(out_size, 1));
	if (!plain || !out || size > INT_MAX || !read_whole_file(in, plain, size)) {
		printf("Error: could not open %s. Aborted.\n\n", in_path);
		fclose(in);
		free(plain);
		free(out);
		return -1;
	}
	fclose(in);
	int len = static_cast<int>(size);
	int rc = compressCfgBufToBuf(reinterpret_cast<const char *>(plain), out, out_size, &len);
	free(plain);
	printf("output len = %u\n", static_cast<unsigned>(len));
	FILE *existing = fopen(out_path, "rb");
	if (existing) {
		fclose(existing);
		printf("Error: file %s already exists. Aborted.\n\n", out_path);
		free(out);
		return -1;
	}
	FILE *f = fopen(out_path, "wb");
	if (!f) {
		printf("Error: could not create %s. Aborted.\n\n", out_path);
		free(out);
		return -1;
	}
	fwrite(out, 1, static_cast<size_t>(len), f);
	fclose(f);
	free(out);
	return rc;
}
