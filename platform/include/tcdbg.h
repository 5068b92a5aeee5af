/* Print to the gateway's debug console. */
#ifndef TCDBG_H
#define TCDBG_H

#ifdef __cplusplus
extern "C" {
#endif

int tcdbg_printf(const char *fmt, ...) __attribute__((format(printf, 1, 2)));

#ifdef __cplusplus
}
#endif

#endif
