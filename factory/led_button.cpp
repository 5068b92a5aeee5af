// Front-panel tests for the factory station: buttons off and on (btntest),
// LEDs by name, colour or all (ledtest), and LEDs handed over to test
// control (ledonoff). Everything goes to the kernel console's control file.
#include "factory/factory_cmds.h"

#include <cstdio>
#include <cstring>

#include "factory/factory_common.h"
#include "lib/console_ctrl.h"
#include "shell_cmd.h"

namespace {

enum LedColour : unsigned char { LED_GREEN = 1, LED_RED = 2, LED_ORANGE = 3 };

struct Led {
	const char *name;
	unsigned char number;
	LedColour colour;
};

const Led led_table[] = {
	{ "powerG", 41, LED_GREEN },   { "powerR", 39, LED_RED },      { "wlanG", 13, LED_GREEN },
	{ "wlanO", 43, LED_ORANGE },   { "dslG", 0, LED_GREEN },       { "internetG", 33, LED_GREEN },
	{ "internetR", 38, LED_RED },  { "FXS1G", 49, LED_GREEN },     { "FXS1R", 67, LED_RED },
};

struct ColourWord {
	const char *word;
	LedColour colour;
};

const ColourWord colour_words[] = {
	{ "green", LED_GREEN },
	{ "red", LED_RED },
	{ "orange", LED_ORANGE },
};

// The debug LED is wired the other way round: "on" darkens it.
constexpr unsigned char DEBUG_LED = 61;
constexpr size_t LED_CMD_SIZE = 80;
constexpr const char HW_DEBUG_FILE[] = "/tmp/hw_debug";
constexpr const char LED_DEBUG_FILE[] = "/tmp/led_debug";

// These lines name the control file relative to the working directory, so
// they reach the kernel only when run from "/"; the station always does, and
// its scripts were written against exactly these lines.
void run_led_cmd(unsigned number, const char *state)
{
	char cmd[LED_CMD_SIZE];
	snprintf(cmd, sizeof cmd, "echo \"sys ledtest %u %s\" > proc/tc3162/tcci_cmd", number, state);
	run_system_cmd(cmd);
}

void drive_led(const Led &led, bool on, bool invert_debug_led)
{
	bool lit = invert_debug_led && led.number == DEBUG_LED ? !on : on;
	run_led_cmd(led.number, lit ? "on" : "off");
}

void print_led_help()
{
	printf("Help Info:\n");
	printf("Command: sys ledtest [parameter] [on/off]\n");
	printf("Acceptable parameters: debug/all/green/red/orange/");
	for (const Led &led : led_table)
		printf("%s/", led.name);
	printf("\n");
}

const Led *led_named(const char *name)
{
	for (const Led &led : led_table) {
		if (strcmp(led.name, name) == 0)
			return &led;
	}
	return nullptr;
}

const ColourWord *colour_named(const char *word)
{
	for (const ColourWord &c : colour_words) {
		if (strcmp(c.word, word) == 0)
			return &c;
	}
	return nullptr;
}

void drive_debug_mode(const char *state, bool on)
{
	char cmd[LED_CMD_SIZE];
	snprintf(cmd, sizeof cmd, "echo \"sys ledtest debug %s\" > proc/tc3162/tcci_cmd", state);
	run_system_cmd(cmd);
	run_led_cmd(DEBUG_LED, on ? "on" : "off");
}

// false when the target names nothing.
bool drive_leds(const char *target, const char *state)
{
	bool on = strcmp(state, "on") == 0;
	if (const Led *led = led_named(target)) {
		drive_led(*led, on, true);
	} else if (strcmp(target, "debug") == 0) {
		drive_debug_mode(state, on);
	} else if (strcmp(target, "all") == 0) {
		for (const Led &l : led_table)
			drive_led(l, on, false);
	} else if (const ColourWord *c = colour_named(target)) {
		for (const Led &l : led_table) {
			if (l.colour == c->colour)
				drive_led(l, on, true);
		}
	} else {
		return false;
	}
	return true;
}

} // namespace

int btntest_cmd(int argc, char *argv[], void *)
{
	if (argc != 2) {
		print_error();
		return 0;
	}
	bool disable = decimal_int(argv[1]) == 1;
	run_system_cmd(disable ? "echo \"sys button disable\">/proc/tc3162/tcci_cmd"
			       : "echo \"sys button enable\">/proc/tc3162/tcci_cmd");
	if (write_flag_file(HW_DEBUG_FILE, disable ? 1 : 0))
		print_ok();
	return 0;
}

int ledtest_cmd(int argc, char *argv[], void *)
{
	bool usable = argc >= 3 && (strcmp(argv[2], "on") == 0 || strcmp(argv[2], "off") == 0);
	if (usable && drive_leds(argv[1], argv[2])) {
		print_ok();
		return 0;
	}
	print_led_help();
	print_error();
	return 0;
}

int ledonoff_cmd(int, char *[], void *)
{
	int closed = 0;
	if (!console_ctrl_write("sys ledonoff", &closed))
		return 0;
	if (write_flag_file(LED_DEBUG_FILE, 1))
		print_ok();
	return 0;
}
