// The simulated gateway's configuration store beyond the four operations of
// the program's library interface: what its command-line client, its
// configuration writer and the gateway builder use.
//
// Every failure other than an absent node or attribute is said on standard
// error, one line starting "tcapi: ", by the routine that met it.
#pragma once

#include <cstddef>

#include "gateway_paths.h"

// tcapi_get's and sim_store_show's result when the store could not be read
// (as opposed to -1, absent).
constexpr int SIM_STORE_FAULT = -2;

// Removes a whole node (attr == nullptr) or one attribute. Removing something
// absent succeeds. 0 = done, non-zero = refused (bad name, unresolvable
// Wan_PVC, unreadable store).
int sim_store_unset(const char *node, const char *attr);

typedef void (*sim_store_attr_fn)(const char *name, const char *value, void *ctx);

// Calls fn for every attribute of the node in stored order, values whole.
// 0 = node found, -1 = absent, SIM_STORE_FAULT = unreadable store.
int sim_store_show(const char *node, sim_store_attr_fn fn, void *ctx);

// The store file's lock under ROOT ("" inside the gateway; a gateway's
// directory on the workstation): a descriptor holding it, or -1.
int sim_store_lock(const char *root);

// Replaces the running configuration under ROOT with the LEN bytes of TEXT,
// whole or not at all. The caller holds sim_store_lock. false on failure.
bool sim_store_write_file(const char *root, const char *text, size_t len);

// sim_store_write_file under the store's lock.
bool sim_store_replace(const char *root, const char *text, size_t len);

// Hands the running ROMFILE text to the configuration writer on a save.
// STORE_LOCK, the caller's hold on the store's lock, is passed on to the
// writer, so the store stays locked until the save is in flash even when the
// caller dies first. 0 = written.
int sim_store_save_to_flash(const char *text, size_t len, int store_lock);

// Stores the ROM file text at PATH as ROM-D. 0 = written.
int sim_store_write_romd(const char *path);

// Prints "tcapi: " and the formatted message as one line on standard error.
__attribute__((format(printf, 1, 2))) void sim_store_complain(const char *fmt, ...);
