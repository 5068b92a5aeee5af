// Text validators for values typed at the console. Plain functions with no
// store access, so every command group that takes addresses can share them.
#pragma once

// A usable unicast IPv4 host address in dotted form, or the special
// "0.0.0.0" (no address). Empty octets count as 0 and leading zeros are
// allowed; octets are accumulated in wrapping 32-bit arithmetic.
bool is_valid_ipv4_addr(const char *text);

// One of the 33 contiguous masks, written exactly as plain dotted decimal
// without leading zeros ("255.255.255.0"). Compared as text, not parsed.
bool is_valid_subnet_mask(const char *text);

// Only the digits 0-9; the empty text passes, an absent one does not.
bool is_all_digits(const char *text);
