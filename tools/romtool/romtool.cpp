// romtool: reads and writes romfile partition images on a workstation, with
// the gateway's own container and checksum routines.
//
//   romtool decode IMAGE                      ROMFILE text of an image or container
//   romtool encode TEXT-FILE OUT [--version N] 128 KiB partition image
//   romtool info IMAGE                        container and trailer figures
//
// Nothing is written except OUT. The library's own messages (a damaged chunk,
// an invalid text) go to standard error so standard output holds only the
// requested text or figures.
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <unistd.h>

#include "lib/byteorder.h"
#include "flash/crc32.h"
#include "lib/safe_file.h"
#include "romfile/container.h"
#include "romfile/image_builder.h"
#include "romfile/romfile.h"

namespace {

// Larger inputs are no romfile image or text of any gateway.
constexpr size_t MAX_INPUT = 16u << 20;
constexpr size_t CONTAINER_ROOM = ROMFILE_CHECKSUM_OFFSET;

const char USAGE[] = "usage: romtool decode IMAGE\n"
		     "       romtool encode TEXT-FILE OUT [--version N]\n"
		     "       romtool info IMAGE\n";

int fail(const char *what, const char *why)
{
	fprintf(stderr, "romtool: %s: %s\n", what, why);
	return 1;
}

bool read_input(const char *path, std::string *data, const char **why)
{
	FILE *f = fopen(path, "rb");
	if (!f) {
		*why = strerror(errno);
		return false;
	}
	char chunk[65536];
	size_t n;
	while ((n = fread(chunk, 1, sizeof chunk, f)) > 0 && data->size() <= MAX_INPUT)
		data->append(chunk, n);
	bool bad = ferror(f) != 0;
	fclose(f);
	if (bad) {
		*why = "read error";
		return false;
	}
	if (data->size() > MAX_INPUT) {
		*why = "file too large for a romfile image";
		return false;
	}
	return true;
}

// Runs FN with the library's standard output sent to standard error.
template <typename Fn>
auto messages_to_stderr(Fn fn) -> decltype(fn())
{
	fflush(stdout);
	int saved = dup(1);
	dup2(2, 1);
	auto result = fn();
	fflush(stdout);
	dup2(saved, 1);
	close(saved);
	return result;
}

// A raw image as the gateway reads it: the first 128 KiB of the file, zeros
// after a shorter one.
struct image_buf {
	char *data = romfile_buf_alloc();
	size_t size = ROMFILE_SIZE;
	~image_buf() { free(data); }
};

// An input of decode and info: the file as read, the raw image the gateway
// would read from it, and whether that image starts a container.
struct input_image {
	std::string file;
	image_buf img;
	bool container = false;
};

// Reads PATH into IN: 0, or fail's status after the refusal is printed.
int load_input(const char *path, input_image *in)
{
	const char *why;
	if (!read_input(path, &in->file, &why))
		return fail(path, why);
	memcpy(in->img.data, in->file.data(), std::min(in->file.size(), ROMFILE_SIZE));
	in->container = isCompressedConfigFile(in->img.data) != 0;
	return 0;
}

// Decodes a container in place; the buffer's text size afterwards.
bool decode_image(image_buf *img)
{
	int len = 0;
	int rc = messages_to_stderr([&] { return nox_configFileLzDecoder(&img->data, &len); });
	if (rc != 0)
		return false;
	img->size = std::max(ROMFILE_SIZE, static_cast<size_t>(len));
	return true;
}

int body_length(const char *text, size_t size)
{
	return messages_to_stderr([&] { return romfile_real_length(text, size); });
}

bool all_erased(const std::string &file)
{
	return !file.empty() && file.find_first_not_of('\xff') == std::string::npos;
}

int cmd_decode(const char *path)
{
	input_image in;
	int rc = load_input(path, &in);
	if (rc != 0)
		return rc;
	if (in.container && !decode_image(&in.img))
		return fail(path, "container cannot be decoded");
	int body = body_length(in.img.data, in.img.size);
	if (body > 0) {
		fwrite(in.img.data, 1, static_cast<size_t>(body), stdout);
		return 0;
	}
	if (in.container)
		return fail(path, "container holds no <ROMFILE> text");
	if (all_erased(in.file))
		return fail(path, "erased partition (all 0xFF)");
	// Plain text that is no ROMFILE passes through, up to a first NUL.
	fwrite(in.file.data(), 1, strnlen(in.file.data(), in.file.size()), stdout);
	return 0;
}

bool parse_version(const char *text, uint32_t *version)
{
	if (!*text || *text == '-' || *text == '+')
		return false;
	errno = 0;
	char *end;
	unsigned long long v = strtoull(text, &end, 0);
	if (errno || *end || v > 0xFFFFFFFFull)
		return false;
	*version = static_cast<uint32_t>(v);
	return true;
}

bool write_output(const char *path, const std::string &data, const char **why)
{
	int fd = open(path, O_WRONLY | O_CREAT | O_TRUNC, 0644);
	if (fd < 0) {
		*why = strerror(errno);
		return false;
	}
	bool written = write_all(fd, data.data(), data.size());
	bool ok = close(fd) == 0 && written;
	if (!ok)
		*why = "write error";
	return ok;
}

int cmd_encode(const char *text_path, const char *out_path, uint32_t version)
{
	std::string text;
	const char *why;
	if (!read_input(text_path, &text, &why))
		return fail(text_path, why);
	std::string image(ROMFILE_SIZE, '\xff');
	size_t container_len = 0;
	romfile_build_result built = messages_to_stderr([&] {
		return romfile_build_image(text.data(), text.size(), version,
					   reinterpret_cast<unsigned char *>(&image[0]), &container_len);
	});
	switch (built) {
	case ROMFILE_BUILT:
		break;
	case ROMFILE_BUILD_NO_TEXT:
		return fail(text_path, "no <ROMFILE>...</ROMFILE> text");
	case ROMFILE_BUILD_NOT_ENCODED:
		return fail(text_path, "cannot be compressed");
	case ROMFILE_BUILD_TOO_LARGE: {
		char why_big[96];
		snprintf(why_big, sizeof why_big, "compressed to %zu bytes, more than the %zu a partition holds",
			 container_len, CONTAINER_ROOM);
		return fail(text_path, why_big);
	}
	case ROMFILE_BUILD_NOT_DECODABLE:
		return fail(text_path, "container does not decode back to the text");
	}
	if (!write_output(out_path, image, &why))
		return fail(out_path, why);
	return 0;
}

int cmd_info(const char *path)
{
	input_image in;
	int rc = load_input(path, &in);
	if (rc != 0)
		return rc;
	if (in.container) {
		int n = messages_to_stderr([&] { return nox_getCompressedConfigFileLength(in.img.data); });
		printf("container length: %d\n", n);
		printf("chunks: %u\n", cfg_stream_chunk_count(in.img.data + CFG_HEADER_SIZE, ROMFILE_SIZE - CFG_HEADER_SIZE,
								static_cast<uint32_t>(n)));
	} else {
		printf("container length: none (plain text)\n");
		printf("chunks: 0\n");
	}
	bool has_trailer = in.file.size() >= ROMFILE_SIZE;
	const unsigned char *raw = reinterpret_cast<const unsigned char *>(in.file.data());
	if (has_trailer)
		printf("stored checksum: 0x%08X\n", be32_get(raw + ROMFILE_CHECKSUM_OFFSET));
	else
		printf("stored checksum: none (no trailer)\n");
	if (in.container && !decode_image(&in.img)) {
		fflush(stdout);
		return fail(path, "container cannot be decoded");
	}
	int body = body_length(in.img.data, in.img.size);
	printf("computed checksum: 0x%08X\n", nox_crc32(reinterpret_cast<const unsigned char *>(in.img.data),
						      static_cast<size_t>(body)));
	if (has_trailer)
		printf("version: %u\n", be32_get(raw + ROMFILE_VERSION_OFFSET));
	else
		printf("version: none (no trailer)\n");
	return 0;
}

int usage()
{
	fputs(USAGE, stderr);
	return 2;
}

} // namespace

int main(int argc, char **argv)
{
	if (argc == 3 && strcmp(argv[1], "decode") == 0)
		return cmd_decode(argv[2]);
	if (argc == 3 && strcmp(argv[1], "info") == 0)
		return cmd_info(argv[2]);
	if ((argc == 4 || argc == 6) && strcmp(argv[1], "encode") == 0) {
		uint32_t version = 1;
		if (argc == 6) {
			if (strcmp(argv[4], "--version") != 0)
				return usage();
			if (!parse_version(argv[5], &version))
				return fail(argv[5], "version must be a number from 0 to 4294967295");
		}
		return cmd_encode(argv[2], argv[3], version);
	}
	return usage();
}
