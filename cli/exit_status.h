// Exit statuses of the command line; the numbers are those of sysexits.h where
// it has a name for the case. Those of a verdict come from verdict_exit_status(). A failure that
// ends the engine's process keeps the engine's own status.
#ifndef TROVIK_CLI_EXIT_STATUS_H
#define TROVIK_CLI_EXIT_STATUS_H

enum exit_status : int {
    EXIT_STATUS_INTACT = 0,       // everything was tested and everything was intact
    EXIT_STATUS_USAGE = 64,       // EX_USAGE: the command's words are off
    EXIT_STATUS_DATA_LOST = 65,   // EX_DATAERR: data was not read back as written
    EXIT_STATUS_NOT_TESTED = 74,  // EX_IOERR: not everything could be tested
    EXIT_STATUS_UNPROVEN = 75,    // EX_TEMPFAIL: intact, but perhaps read from memory
    EXIT_STATUS_REFUSED = 77,     // EX_NOPERM: not begun, nothing was changed
};

#endif
