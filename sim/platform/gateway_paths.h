/* Paths inside the simulated gateway, named once for its platform library,
 * its tools (C and C++) and the programs that build and enter a gateway. */
#ifndef GATEWAY_PATHS_H
#define GATEWAY_PATHS_H

/* Append-only logs; tests read them to see what was asked of the platform. */
#define GW_TCAPI_LOG "/var/log/tcapi.log"
#define GW_CONSOLE_LOG "/var/log/console.log"
#define GW_SHELL_LOG "/var/log/shell.log"
#define GW_REBOOT_LOG "/var/log/reboot.log"
#define GW_FLASH_LOG "/var/log/flash.log"

/* The running configuration as ROMFILE text, the lock every writer of it
 * holds, and the directory they live in. */
#define GW_STORE_DIR "/tmp/var"
#define GW_STORE_FILE "/tmp/var/romfile.cfg"
#define GW_STORE_LOCK "/tmp/var/romfile.lock"
/* The configuration writer's lock, held for each of its whole runs, and the
 * prefix of its work files (each made afresh under a name of its own). */
#define GW_WRITER_LOCK "/tmp/var/cfgwriter.lock"
#define GW_WRITER_WORK "/tmp/var/cfgwriter."

/* The partition list, the kernel console's control file. */
#define GW_PROC_MTD "/proc/mtd"
#define GW_CONSOLE_CTRL "/proc/tc3162/tcci_cmd"

/* The configuration daemon's socket, in a directory of its own that the
 * daemon makes afresh at every start. */
#define GW_STORE_SOCKET_DIR "/var/run/cfgd"
#define GW_STORE_SOCKET "/var/run/cfgd/socket"

/* The gateway's own programs. */
#define GW_STORE_DAEMON "/userfs/bin/cfgd"
#define GW_WRITER "/userfs/bin/cfgwriter"
#define GW_FLASH_TOOL "/userfs/bin/mtd"
#define GW_BUSYBOX "/bin/busybox"

/* A configuration file uploaded for the upgrade service. */
#define GW_UPLOADED_CONFIG "/var/tmp/up_romfile.cfg"

#endif
