// Store operations the gateway's command-line client offers beyond the four of
// the program's library interface.
#pragma once

#include <cstddef>

// The running configuration as ROMFILE text, and the lock every writer of it
// holds (the store itself and the configuration writer's boot-time load).
constexpr const char SIM_STORE_FILE[] = "/tmp/var/romfile.cfg";
constexpr const char SIM_STORE_LOCK[] = "/tmp/var/romfile.lock";

// Removes a whole node (attr == nullptr) or one attribute. Removing something
// absent succeeds. 0 = done, non-zero = refused (bad name, unresolvable
// Wan_PVC, unreadable store).
int sim_store_unset(const char *node, const char *attr);

typedef void (*sim_store_attr_fn)(const char *name, const char *value, void *ctx);

// Calls fn for every attribute of the node in stored order.
// 0 = node found, non-zero = absent or unreadable store.
int sim_store_show(const char *node, sim_store_attr_fn fn, void *ctx);

// Receives the running ROMFILE text on every save. 0 = written.
int sim_store_save_to_flash(const char *text, size_t len);

// Stores the ROM file text at PATH as ROM-D. 0 = written.
int sim_store_write_romd(const char *path);
