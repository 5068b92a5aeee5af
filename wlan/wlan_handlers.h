// Handlers of the wlan and macfilter table rows, grouped by the file that
// holds them. Each returns 0, or -1 after printing why it refused.
#pragma once

// wlan_radio.cpp: radio-wide and per-SSID settings.
int wlan_active_cmd(int argc, char *argv[], void *ctx);
int wlan_channel_cmd(int argc, char *argv[], void *ctx);
int wlan_mode_cmd(int argc, char *argv[], void *ctx);
int wlan_bandwidth_cmd(int argc, char *argv[], void *ctx);
int wlan_ssid_cmd(int argc, char *argv[], void *ctx);
int wlan_hidessid_cmd(int argc, char *argv[], void *ctx);
int wlan_txpower_cmd(int argc, char *argv[], void *ctx);
int wlan_usemaxpowertb_cmd(int argc, char *argv[], void *ctx);

// wlan_security.cpp: security modes and their keys.
int wlan_securitymode_cmd(int argc, char *argv[], void *ctx);

// wlan_macfilter.cpp: the MAC filter table's rows.
int wlan_restrictmode_cmd(int argc, char *argv[], void *ctx);
int wlan_mac_add_cmd(int argc, char *argv[], void *ctx);
int wlan_mac_del_cmd(int argc, char *argv[], void *ctx);

// wlan_apply.cpp: the journal as a whole.
int wlan_showcmd_cmd(int argc, char *argv[], void *ctx);
int wlan_clearcmd_cmd(int argc, char *argv[], void *ctx);
int wlan_save_cmd(int argc, char *argv[], void *ctx);

// wlan_display.cpp: the settings in the store.
int wlan_dispinfo_cmd(int argc, char *argv[], void *ctx);

// wlan_table.cpp: the nested macfilter table.
int wlan_macfilter_cmd(int argc, char *argv[], void *ctx);
