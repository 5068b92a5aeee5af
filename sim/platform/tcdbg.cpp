// The gateway's debug console: on the simulation, stderr plus a log file that
// tests can read after the command has finished.
#include "tcdbg.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include "applog.h"

int tcdbg_printf(const char *fmt, ...)
{
	va_list ap;
	va_start(ap, fmt);
	char *text = nullptr;
	int len = vasprintf(&text, fmt, ap);
	va_end(ap);
	if (len < 0)
		return -1;
	fwrite(text, 1, static_cast<size_t>(len), stderr);
	fflush(stderr);
	sim_append_log(GW_CONSOLE_LOG, text, static_cast<size_t>(len));
	free(text);
	return len;
}
