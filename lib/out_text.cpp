#include "lib/out_text.h"

#include <cstdio>
#include <cstring>

namespace {

// Longer than any line of the displays; a longer one is written in pieces.
constexpr size_t LINE_SIZE = 256;

} // namespace

void out_texts(std::initializer_list<const char *> texts)
{
	char line[LINE_SIZE];
	size_t len = 0;
	for (const char *text : texts) {
		size_t n = strlen(text);
		if (len + n >= sizeof line) {
			line[len] = '\0';
			fputs(line, stdout);
			fputs(text, stdout);
			len = 0;
			continue;
		}
		memcpy(line + len, text, n);
		len += n;
	}
	line[len] = '\0';
	fputs(line, stdout);
}
