// trovik-cli: tests a mounted volume from the command line.
#include <cstdio>

#include "cli/arguments.h"
#include "cli/exit_status.h"
#include "cli/guard.h"
#include "cli/info.h"
#include "cli/json_output.h"
#include "cli/run.h"
#include "cli/stop_signals.h"

static int fail(int status, const std::string &reason) {
    std::fprintf(stderr, "trovik-cli: %s\n", reason.c_str());
    return status;
}

int main(int argc, char **argv) {
    cli_arguments arguments;
    int status = 0;
    if (!cli_parse_arguments(argc, argv, arguments, status))
        return status;
    if (arguments.command == cli_command::info)
        return info_run(arguments.volume);

    run_target target;
    std::string reason;
    if (!guard_check(arguments, target, reason))
        return fail(EXIT_STATUS_REFUSED, "refused: " + reason);
    json_output json;
    if (!json.open(arguments.json, target.volume, reason))
        return fail(EXIT_STATUS_USAGE, "--json: " + reason);
    stop_signals_begin();
    return run_command(arguments, target, json);
}
