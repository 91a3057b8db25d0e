// Text that a terminal may be shown. A volume's name or path can hold line
// breaks, escape sequences and bytes of no encoding; shown as they are they
// could forge lines of a report or reprogram the terminal.
#ifndef TROVIK_REPORT_PRINTABLE_H
#define TROVIK_REPORT_PRINTABLE_H

#include <string>
#include <string_view>

// `text` with the bytes of control characters (C0 with tab and line break, DEL,
// C1), of line and paragraph separators, of the marks that turn the direction of
// the text around them, and bytes that are not UTF-8 as "\xNN". All other
// characters stay: the rules are the engine's, model/plain_text.h. Meant for a name or a path, not
// for a whole line: it would show the line's end too. Any thread.
std::string printable_text(std::string_view text);

// The same for whole lines: their line breaks stay. Any thread.
std::string printable_lines(std::string_view text);

#endif
