// Display lines made of fixed words and stored values. A display prints a
// few dozen of them; put together and written once each, a line costs a
// fraction of a formatted print.
#pragma once

#include <initializer_list>

// Writes the texts to standard output one after another, as
// printf("%s%s...") would (every text must be there).
void out_texts(std::initializer_list<const char *> texts);
