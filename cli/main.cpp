// SPDX-License-Identifier: GPL-3.0-or-later
// trovik-cli: tests a mounted volume from the command line.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "cli/arguments.h"
#include "cli/commands.h"
#include "cli/json_output.h"
#include "cli/run_text.h"
#include "cli/stop_signals.h"

// `reason` is printable already.
static int fail(int status, const std::string &reason) {
    std::fprintf(stderr, "trovik-cli: %s\n", reason.c_str());
    return status;
}

// A process can start with closed standard streams. The first files that it opens would take their
// numbers, and its output would end in a test file or in the report. Returns whether standard
// output was closed.
static bool fill_standard_streams() {
    bool no_output = false;
    for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd) {
        if (fcntl(fd, F_GETFD) == -1 && errno == EBADF) {
            open("/dev/null", O_RDWR);
            no_output = no_output || fd == STDOUT_FILENO;
        }
    }
    return no_output;
}

int main(int argc, char **argv) {
    const bool no_output = fill_standard_streams();
    cli_arguments arguments;
    int status = 0;
    if (!cli_parse_arguments(argc, argv, arguments, status))
        return status;
    if (arguments.command == cli_command::info)
        return info_run(arguments.volume);

    run_guard guard;
    run_refusal refusal = guard.look(cli_run_request(arguments));
    if (!refusal)
        refusal = guard.take();
    if (refusal)
        return fail(EXIT_STATUS_REFUSED, "refused: " + refusal_text(refusal));
    if (no_output && arguments.json == "-")
        return fail(EXIT_STATUS_USAGE, "--json: standard output is closed");
    if (!stop_signals_begin())
        return fail(EXIT_STATUS_NO_THREAD, cli_no_thread_text);
    json_output json;
    std::string reason;
    if (!json.open(arguments.json, *guard.volume(), reason))
        return fail(EXIT_STATUS_USAGE, "--json: " + reason);
    return run_command(arguments, guard, json);
}
