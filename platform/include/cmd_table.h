/* Command-table record shared by the program's own dispatcher and the
 * platform's sub-command dispatcher subcmd(). */
#ifndef CMD_TABLE_H
#define CMD_TABLE_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef int (*sys_cmd_handler)(int argc, char *argv[], void *ctx);

typedef struct sys_cmd_entry {
	const char *name;        /* command word in full; NULL ends the table */
	sys_cmd_handler handler; /* may be NULL: the row then does nothing */
	uint32_t flags;          /* CMD_FLAG_DEBUG_ONLY, CMD_FLAG_NORMAL, ... */
	int32_t min_args;        /* words that must follow the command word */
	const char *usage;       /* printed as "Usage: %s\n"; may be NULL */
} sys_cmd_entry;

#define CMD_FLAG_DEBUG_ONLY 1u
#define CMD_FLAG_NORMAL 2u
#define CMD_FLAG_END 16u

#define SYS_CMD_END { 0, 0, CMD_FLAG_END, 0, 0 }

/* Looks up argv[1] in the table, calls its handler with (argc - 1, argv + 1,
 * ctx) and returns the handler's result, or a negative value when nothing
 * runs. */
int subcmd(const sys_cmd_entry *table, int argc, char *argv[], void *ctx);

#ifdef __cplusplus
}
#endif

#endif
