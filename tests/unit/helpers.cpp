#include "helpers.h"

#include <fcntl.h>
#include <unistd.h>

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

std::string capture_stdout_begin_end(void (*fn)(void *), void *arg)
{
	fflush(stdout);
	char path[] = "/tmp/capture.XXXXXX";
	int fd = mkstemp(path);
	int saved = dup(1);
	dup2(fd, 1);
	fn(arg);
	fflush(stdout);
	dup2(saved, 1);
	close(saved);
	close(fd);
	std::string out = read_file(path);
	unlink(path);
	return out;
}
