#include "helpers.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "flash/fwtag.h"

std::string read_file(const char *path)
{
	std::string data;
	FILE *f = fopen(path, "rb");
	if (!f)
		return data;
	char buf[4096];
	size_t n;
	while ((n = fread(buf, 1, sizeof buf, f)) > 0)
		data.append(buf, n);
	fclose(f);
	return data;
}

void write_file(const char *path, const std::string &data)
{
	FILE *f = fopen(path, "wb");
	if (!f)
		return;
	fwrite(data.data(), 1, data.size(), f);
	fclose(f);
}

std::string capture_fd_begin_end(int fd_to_capture, void (*fn)(void *), void *arg)
{
	fflush(stdout);
	fflush(stderr);
	char path[] = "/tmp/capture.XXXXXX";
	int fd = mkstemp(path);
	int saved = dup(fd_to_capture);
	dup2(fd, fd_to_capture);
	fn(arg);
	fflush(stdout);
	fflush(stderr);
	dup2(saved, fd_to_capture);
	close(saved);
	close(fd);
	std::string out = read_file(path);
	unlink(path);
	return out;
}

std::string test_pattern(size_t len, unsigned seed)
{
	std::string s(len, '\0');
	for (size_t i = 0; i < len; i++)
		s[i] = char((i * 131 + seed * 7 + (i >> 9)) & 0xFF);
	return s;
}

void put_file_bytes(const char *path, size_t offset, const std::string &data)
{
	std::string file = read_file(path);
	if (offset + data.size() > file.size()) {
		ADD_FAILURE() << data.size() << " bytes at " << offset << " do not fit " << path;
		return;
	}
	file.replace(offset, data.size(), data);
	write_file(path, file);
}

SavedFiles::SavedFiles(std::initializer_list<const char *> paths)
{
	for (const char *path : paths)
		saved_.push_back({ path, access(path, F_OK) == 0, read_file(path) });
}

SavedFiles::~SavedFiles()
{
	for (const Saved &s : saved_) {
		if (s.existed)
			write_file(s.path, s.data);
		else
			unlink(s.path);
	}
}

std::string fw_image(const FwTag &ident, const std::string &kernel, const std::string &rootfs,
		     const std::string &defcfg)
{
	FwImageParts parts = { bytes_of(kernel), kernel.size(), bytes_of(rootfs), rootfs.size(),
			       bytes_of(defcfg), defcfg.size() };
	std::string image(fwimage_size(parts), '\0');
	size_t len = fwimage_build(ident, parts, reinterpret_cast<unsigned char *>(&image[0]), image.size());
	EXPECT_EQ(len, image.size());
	return image;
}
