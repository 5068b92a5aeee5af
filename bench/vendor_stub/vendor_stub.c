/* Link-time stand-in for the vendor's shared libraries (configuration store
 * and utility library): only their entry points, so the program's own size
 * can be measured as a gateway links it. Never run. */
#include "cmd_table.h"
#include "tcapi.h"
#include "tcdbg.h"

int tcapi_get(const char *node, const char *attr, char *value) { (void)node; (void)attr; (void)value; return -1; }
int tcapi_set(const char *node, const char *attr, const char *value) { (void)node; (void)attr; (void)value; return -1; }
int tcapi_commit(const char *node) { (void)node; return -1; }
int tcapi_save(void) { return -1; }
int subcmd(const sys_cmd_entry *table, int argc, char *argv[], void *ctx)
{
	(void)table; (void)argc; (void)argv; (void)ctx;
	return -1;
}
int tcdbg_printf(const char *fmt, ...) { (void)fmt; return 0; }
