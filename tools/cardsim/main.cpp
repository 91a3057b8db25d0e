// SPDX-License-Identifier: GPL-3.0-or-later
/* trovik-cardsim: mounts a simulated card. From the command line to the mount, with the
 * messages on the way. */
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <memory>

#include "tools/cardsim/arguments.h"
#include "tools/cardsim/fuse_mount.h"
#include "tools/cardsim/value_text.h"

namespace {

constexpr int STATUS_USAGE = 64;  // EX_USAGE of sysexits.h
constexpr int STATUS_FAILED = 1;

int fail(int status, const std::string &reason) {
    std::fprintf(stderr, "trovik-cardsim: %s\n", cardsim::shown_text(reason).c_str());
    return status;
}

/* Makes the mount point absolute: the process changes its working folder. */
bool find_mount_point(std::string *path, std::string *error) {
    const std::unique_ptr<char, void (*)(void *)> absolute(realpath(path->c_str(), nullptr),
                                                           std::free);
    struct stat facts = {};
    if (!absolute || stat(absolute.get(), &facts) != 0) {
        *error = "mount point '" + *path + "': " + std::strerror(errno);
        return false;
    }
    if (!S_ISDIR(facts.st_mode)) {
        *error = "mount point '" + *path + "' is not a folder";
        return false;
    }
    *path = absolute.get();
    return true;
}

int run(const std::vector<std::string> &words) {
    cardsim::card_options options;
    std::string error;
    switch (cardsim::arguments_parse(words, &options, &error)) {
        case cardsim::arguments_verdict::help:
            std::fputs(cardsim::help_text().data(), stdout);
            return 0;
        case cardsim::arguments_verdict::wrong:
            return fail(STATUS_USAGE, error + " (see trovik-cardsim --help)");
        case cardsim::arguments_verdict::run:
            break;
    }
    if (!find_mount_point(&options.mount_point, &error)) {
        return fail(STATUS_FAILED, error);
    }
    const auto serve = [&](const std::function<void()> &mounted) {
        return cardsim::fuse_mount_and_serve(options, mounted, &error) ? 0
                                                                       : fail(STATUS_FAILED, error);
    };
    if (options.foreground) {
        return serve([] {});
    }
    return cardsim::background_run(options.mount_point, serve);
}

}  // namespace

int main(int argc, char **argv) {
    try {
        return run({argv + 1, argv + argc});
    } catch (const std::exception &problem) {
        return fail(STATUS_FAILED, problem.what());
    }
}
