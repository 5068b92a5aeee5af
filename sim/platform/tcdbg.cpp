// The gateway's debug console: on the simulation, standard error plus a log
// file that tests can read after the command has finished. Written straight
// to the descriptor (standard error is unbuffered anyway): the library then
// needs no stream of the C library's, and its loading no lookup for one.
#include "tcdbg.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <unistd.h>

#include "applog.h"
#include "lib/safe_file.h"

int tcdbg_printf(const char *fmt, ...)
{
	va_list ap;
	va_start(ap, fmt);
	char *text = nullptr;
	int len = vasprintf(&text, fmt, ap);
	va_end(ap);
	if (len < 0)
		return -1;
	write_all(STDERR_FILENO, text, static_cast<size_t>(len));
	sim_append_log(GW_CONSOLE_LOG, text, static_cast<size_t>(len));
	free(text);
	return len;
}
