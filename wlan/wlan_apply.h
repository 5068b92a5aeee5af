// Turning the journal into store writes: `showcmd` lists the pending changes
// as the command lines that would make them, `save` also applies them.
#pragma once

#include <cstddef>

#include "wlan/wlan_journal.h"

enum WlanApplyMode { WLAN_APPLY = 0, WLAN_SHOW = 1 };

// Set to 1 by every store write made through wlan_set_attr; lives for one
// invocation.
extern int wlan_changed;

// tcapi_set and wlan_changed = 1, unless MODE is WLAN_SHOW or an argument is
// absent.
void wlan_set_attr(const char *node, const char *attr, const char *value, WlanApplyMode mode);

// Prints every pending change of J in the fixed order (radio, then SSIDs 0
// to 3) and, with WLAN_APPLY, writes it to the store.
void wlan_replay(const WlanJournal &j, WlanApplyMode mode);

// Loads the journal and replays it; with WLAN_APPLY and at least one write,
// bounces a running radio, commits WLan_Common, saves and empties the journal.
void wlan_apply(WlanApplyMode mode);

// SSID INDEX's pending security as the arguments of `sys wlan securitymode`,
// in a static buffer of 100 bytes (the text is cut at its end).
const char *wlan_security_text(const WlanJournal &j, size_t index);
