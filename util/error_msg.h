// The library's fatal exit.
#ifndef KLUTEIDA_UTIL_ERROR_MSG_H
#define KLUTEIDA_UTIL_ERROR_MSG_H

// Prints " <text>. Terminated\n" on standard output and ends the process with
// exit status -1 (255 as the shell sees it). A text that already ends in a line
// end keeps it, so the line end is then doubled.
[[noreturn]] void error_msg(const char* text);

#endif  // KLUTEIDA_UTIL_ERROR_MSG_H
