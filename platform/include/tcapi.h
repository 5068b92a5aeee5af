/* Configuration store client library.
 *
 * Nodes and attributes are named by text; values are zero-terminated text.
 * tcapi_get copies at most MAXLEN_TCAPI_MSG bytes (terminator included) into
 * the caller's buffer and leaves the buffer untouched when the attribute is
 * absent. */
#ifndef TCAPI_H
#define TCAPI_H

#ifdef __cplusplus
extern "C" {
#endif

/* Longest value the store hands out, terminator included. */
#define MAXLEN_TCAPI_MSG 1024

/* 0 = found and copied; non-zero = absent or failure (buffer unchanged). */
int tcapi_get(const char *node, const char *attr, char *value);
/* 0 = stored (uncommitted). */
int tcapi_set(const char *node, const char *attr, const char *value);
/* Apply the node's pending changes to the running system. */
int tcapi_commit(const char *node);
/* Write the whole store to flash. */
int tcapi_save(void);

#ifdef __cplusplus
}
#endif

#endif
