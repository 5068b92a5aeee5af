#include "applog.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

#include "lib/safe_file.h"

int sim_append_log(const char *path, const char *text, size_t len)
{
	int fd = safe_open(path, O_WRONLY | O_APPEND | O_CREAT, 0644);
	if (fd < 0)
		return -1;
	ssize_t n = write(fd, text, len);
	close(fd);
	return n == static_cast<ssize_t>(len) ? 0 : -1;
}

char *sim_escape_controls(const char *text)
{
	size_t len = strlen(text);
	char *out = static_cast<char *>(malloc(len * 4 + 1));
	if (!out)
		return nullptr;
	char *o = out;
	for (const unsigned char *p = reinterpret_cast<const unsigned char *>(text); *p; p++) {
		if (*p < 0x20 || *p == 0x7F)
			o += snprintf(o, 5, "\\x%02x", *p);
		else
			*o++ = static_cast<char>(*p);
	}
	*o = '\0';
	return out;
}
