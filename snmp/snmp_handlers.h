// Handlers of the snmp table rows, grouped by the file that holds them.
#pragma once

// Every SNMP agent setting lives in this one node; the agent reads it when
// the node is committed.
constexpr const char SNMP_NODE[] = "Snmpd_Entry";

// snmp_settings.cpp: communities, trap destinations and the SNMPv3 user.
int snmp_get_community_cmd(int argc, char *argv[], void *ctx);
int snmp_set_community_cmd(int argc, char *argv[], void *ctx);
int snmp_trap_community_cmd(int argc, char *argv[], void *ctx);
int snmp_ipv4_trap_dest_cmd(int argc, char *argv[], void *ctx);
int snmp_ipv6_trap_dest_cmd(int argc, char *argv[], void *ctx);
int snmp_v3_enable_cmd(int argc, char *argv[], void *ctx);
int snmp_v3_user_name_cmd(int argc, char *argv[], void *ctx);
int snmp_v3_access_cmd(int argc, char *argv[], void *ctx);
int snmp_v3_auth_proto_cmd(int argc, char *argv[], void *ctx);
int snmp_v3_auth_passwd_cmd(int argc, char *argv[], void *ctx);
int snmp_v3_priv_proto_cmd(int argc, char *argv[], void *ctx);
int snmp_v3_priv_passwd_cmd(int argc, char *argv[], void *ctx);

// snmp_display.cpp: the settings screen and applying them.
int snmp_display_cmd(int argc, char *argv[], void *ctx);
int snmp_save_cmd(int argc, char *argv[], void *ctx);
