/* Command lines handed to the gateway's shell (system(3)). Their exit
 * statuses are never examined: the platform's utilities report their own
 * failures. */
#ifndef SHELL_CMD_H
#define SHELL_CMD_H

#ifdef __cplusplus
extern "C" {
#endif

void run_system_cmd(const char *cmdline);

#ifdef __cplusplus
}
#endif

#endif
