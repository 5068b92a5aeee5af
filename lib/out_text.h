// Display lines made of fixed words and stored values. A display prints a
// few dozen of them; written out as they stand, each costs a fraction of a
// formatted print.
#pragma once

#include <cstdio>
#include <initializer_list>

// Writes each text to standard output in turn, as printf("%s%s...") would
// (every text must be there).
inline void out_texts(std::initializer_list<const char *> texts)
{
	for (const char *text : texts)
		fputs(text, stdout);
}
