// Handlers of the Wan table rows, grouped by the file that holds them.
#pragma once

// wan_select.cpp: choosing the connection.
int wan_index_cmd(int argc, char *argv[], void *ctx);
int wan_virtual_channel_cmd(int argc, char *argv[], void *ctx);

// wan_link.cpp: link-layer settings.
int wan_active_cmd(int argc, char *argv[], void *ctx);
int wan_name_cmd(int argc, char *argv[], void *ctx);
int wan_mode_cmd(int argc, char *argv[], void *ctx);
int wan_encapsulation_cmd(int argc, char *argv[], void *ctx);
int wan_multiplex_cmd(int argc, char *argv[], void *ctx);
int wan_vpi_cmd(int argc, char *argv[], void *ctx);
int wan_vci_cmd(int argc, char *argv[], void *ctx);
int wan_vlan_enable_cmd(int argc, char *argv[], void *ctx);
int wan_8021p_priority_cmd(int argc, char *argv[], void *ctx);
int wan_8021q_vlan_id_cmd(int argc, char *argv[], void *ctx);
int wan_8021p_cmd(int argc, char *argv[], void *ctx);
int wan_dscp_cmd(int argc, char *argv[], void *ctx);

// wan_ip.cpp: PPP account and IP settings.
int wan_ppp_username_cmd(int argc, char *argv[], void *ctx);
int wan_ppp_password_cmd(int argc, char *argv[], void *ctx);
int wan_ppp_service_name_cmd(int argc, char *argv[], void *ctx);
int wan_ppp_authentication_cmd(int argc, char *argv[], void *ctx);
int wan_dynamic_cmd(int argc, char *argv[], void *ctx);
int wan_static_ip_cmd(int argc, char *argv[], void *ctx);
int wan_subnet_mask_cmd(int argc, char *argv[], void *ctx);
int wan_gateway_cmd(int argc, char *argv[], void *ctx);
int wan_pri_dns_type_cmd(int argc, char *argv[], void *ctx);
int wan_primary_dns_cmd(int argc, char *argv[], void *ctx);
int wan_sec_dns_type_cmd(int argc, char *argv[], void *ctx);
int wan_second_dns_cmd(int argc, char *argv[], void *ctx);
int wan_ppp_connection_cmd(int argc, char *argv[], void *ctx);
int wan_ppp_timeout_cmd(int argc, char *argv[], void *ctx);
int wan_mtu_cmd(int argc, char *argv[], void *ctx);
int wan_ip_dual_stack_cmd(int argc, char *argv[], void *ctx);

// wan_display.cpp: the settings screen.
int wan_display_cmd(int argc, char *argv[], void *ctx);

// wan_save.cpp: applying, DSL mode and PPP uptime.
int wan_save_cmd(int argc, char *argv[], void *ctx);
int wan_dsl_mode_cmd(int argc, char *argv[], void *ctx);
int wan_dsl_save_cmd(int argc, char *argv[], void *ctx);
int wan_ppp_uptime_cmd(int argc, char *argv[], void *ctx);
