// Writes the sys(8) manual page from the command tables the program
// dispatches with, so the page lists exactly the rows sys has: every row of
// every table, its least argument count, its usage text and whether it is
// debug-only. Run at build time: sys_manpage > sys.8
#include <cstdio>

#include "remmgmt/remmgmt_cmds.h"
#include "shell/sys_table.h"
#include "snmp/snmp_cmds.h"
#include "wan/wan_cmds.h"
#include "wlan/wlan_cmds.h"

namespace {

struct page_table {
	const char *words; // what is typed before a row's name
	const sys_cmd_entry *table;
	const char *about;
};

const page_table TABLES[] = {
	{"sys", sys_cmd_table,
	 "The command word is matched by prefix against the rows in this order; the first match runs, so "
	 "\\fBsys mem\\fR runs \\fBmemrl\\fR and \\fBsys at\\fR runs \\fBatsh\\fR. An unknown word, or none, "
	 "prints the listing."},
	{"sys times", times_cmd_table, "The NTP servers of the store's Timezone_Entry."},
	{"sys Wan", wan_cmd_table,
	 "One WAN connection at a time: choose it with Index and VirtualChannel; setters write into it, "
	 "uncommitted, and Save commits it and saves the store."},
	{"sys wlan", wlan_cmd_table,
	 "Wireless settings are kept in the journal /tmp/sys_wlan_cmd until save replays them into the store."},
	{"sys wlan macfilter", wlan_macfilter_table, "The MAC filter of one SSID."},
	{"sys snmp", snmp_cmd_table, "The SNMP agent's settings; Save commits and saves them."},
	{"sys remmgmt", remmgmt_cmd_table,
	 "Remote-management access rules of the service chosen with appindex; save commits and saves them."},
};

const char HEAD[] =
	".TH SYS 8 \"2026-11-25\" \"sys\" \"Gateway administration\"\n"
	".SH NAME\n"
	"sys \\- the gateway's console command\n"
	".SH SYNOPSIS\n"
	".B sys\n"
	".I command\n"
	".RI [ sub-command ]\n"
	".RI [ arguments ...]\n"
	".SH DESCRIPTION\n"
	"Each invocation does one thing: edits a WAN, wireless, SNMP or remote-management setting in the "
	"configuration store, shows or edits the manufacturing record, inspects the stored configuration "
	"images or forwards a command to the kernel console, then prints its result or a one-line refusal. "
	"Whole invocations are serialised by an advisory lock on /tmp/syslockfd.\n"
	".PP\n"
	"A row marked debug-only is neither listed nor run by sys while the manufacturing record's debug "
	"flag is clear; in the groups sys hands to the platform's dispatcher (Wan, wlan, snmp, remmgmt) "
	"that dispatcher decides. The rows below are written from the program's own command tables.\n";

const char TAIL[] =
	".SH EXIT STATUS\n"
	"The handler's result: 0 for success; \\-1, shown as 255, when nothing runs or the command fails. "
	"WAN, SNMP and remote-management setters return 0 even after refusing a value.\n"
	".SH FILES\n"
	".TP\n/tmp/syslockfd\nthe lock that serialises invocations\n"
	".TP\n/tmp/sys_wlan_cmd\nthe wireless journal\n"
	".TP\n/tmp/vorta_atbt\nthe factory write permission\n"
	".SH SEE ALSO\n"
	".BR romtool (1)\n";

void put_row(const char *words, const sys_cmd_entry &row)
{
	printf(".TP\n.B %s %s\n", words, row.name);
	if (row.min_args > 0)
		printf("At least %d argument%s.\n", row.min_args, row.min_args == 1 ? "" : "s");
	if (row.usage) {
		fputs("Usage: ", stdout);
		for (const char *p = row.usage; *p; p++) {
			if (*p == '\\')
				fputs("\\e", stdout);
			else
				putchar(*p);
		}
		putchar('\n');
	}
	if (row.flags == CMD_FLAG_DEBUG_ONLY)
		puts("Debug-only.");
	if (row.min_args <= 0 && !row.usage && row.flags != CMD_FLAG_DEBUG_ONLY)
		puts("Any number of arguments; the command checks its own.");
}

} // namespace

int main()
{
	fputs(HEAD, stdout);
	for (const page_table &t : TABLES) {
		printf(".SH \"%s\"\n%s\n", t.words, t.about);
		for (const sys_cmd_entry *row = t.table; row->name; row++)
			put_row(t.words, *row);
	}
	fputs(TAIL, stdout);
	return ferror(stdout) ? 1 : 0;
}
