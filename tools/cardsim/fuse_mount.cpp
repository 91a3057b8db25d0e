// SPDX-License-Identifier: GPL-3.0-or-later
/* Mounts, serves requests, unmounts. The request loop is our own instead of libfuse's: it
 * must continue for a moment after it was asked to end, because storing a page in the page
 * cache may wait for one more answer. */
#include "tools/cardsim/fuse_mount.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include "tools/cardsim/card_image.h"
#include "tools/cardsim/mounted_card.h"

namespace cardsim {

namespace {

// libfuse's last message: set while mounting, when there is only one thread.
std::string library_message;

void keep_library_message(fuse_log_level, const char *format, va_list arguments) {
    char line[512];
    if (std::vsnprintf(line, sizeof line, format, arguments) > 0) {
        library_message = line;
        while (!library_message.empty() && library_message.back() == '\n') {
            library_message.pop_back();
        }
    }
}

void on_init(void *, fuse_conn_info *connection) {
    // With these, the mount would differ from a disk's: pages dropped when a time stamp
    // changes; writes that cannot fail; work that the kernel does well itself.
    connection->want &= ~static_cast<unsigned>(FUSE_CAP_AUTO_INVAL_DATA | FUSE_CAP_WRITEBACK_CACHE |
                                               FUSE_CAP_HANDLE_KILLPRIV | FUSE_CAP_ATOMIC_O_TRUNC);
    connection->want |= connection->capable & FUSE_CAP_EXPLICIT_INVAL_DATA;
}

fuse_session *new_session(mounted_card &card) {
    fuse_lowlevel_ops table = {};
    table.init = on_init;
    fuse_entries_add(&table);
    fuse_io_add(&table);
    std::string mount_options = "fsname=trovik-cardsim,subtype=trovik-cardsim,default_permissions";
    if (card.options.read_only) {
        mount_options += ",ro";
    }
    std::string program = "trovik-cardsim";
    std::string flag = "-o";
    char *words[] = {program.data(), flag.data(), mount_options.data(), nullptr};
    fuse_args arguments = FUSE_ARGS_INIT(3, words);
    fuse_session *session = fuse_session_new(&arguments, &table, sizeof table, &card);
    fuse_opt_free_args(&arguments);
    return session;
}

/* Receives and answers one request; false when there will be no more. */
bool serve_one(fuse_session *session, fuse_buf *buffer) {
    const int got = fuse_session_receive_buf(session, buffer);
    if (got == -EINTR) {
        return true;
    }
    if (got <= 0) {
        return false;
    }
    fuse_session_process_buf(session, buffer);
    return true;
}

void serve(mounted_card &card) {
    fuse_buf buffer = {};
    bool connected = true;
    while (connected && fuse_session_exited(card.session) == 0) {
        connected = serve_one(card.session, &buffer);
    }
    constexpr int LOOK_AGAIN_MS = 10;
    while (connected && !card.publisher.idle()) {
        fuse_session_reset(card.session);
        pollfd requests = {fuse_session_fd(card.session), POLLIN, 0};
        if (poll(&requests, 1, LOOK_AGAIN_MS) > 0) {
            connected = serve_one(card.session, &buffer);
        }
    }
    std::free(buffer.mem);  // allocated by libfuse
}

std::unique_ptr<sector_store> open_store(const card_options &options, std::string *error) {
    if (options.backing.empty()) {
        return sector_store_in_memory();
    }
    auto store = sector_store_in_file(options.backing,
                                      options.device.real_sectors * CARD_SECTOR_SIZE, error);
    if (!store) {
        *error = "--backing: " + *error;
    }
    return store;
}

}  // namespace

mounted_card::mounted_card(const card_options &wanted, std::unique_ptr<sector_store> store)
    : options(wanted),
      room{card(wanted.device, std::move(store)), sector_allocator(wanted.usable_sectors)},
      tree(room, {.mode = S_IFDIR | 0755, .uid = getuid(), .gid = getgid()}, time_of_day()),
      life(wanted.life),
      speed(wanted.speed) {}

mounted_card &card_of(fuse_req_t request) {
    return *static_cast<mounted_card *>(fuse_req_userdata(request));
}

std::chrono::steady_clock::time_point clock_now() {
    return std::chrono::steady_clock::now();
}

timespec time_of_day() {
    timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    return now;
}

struct stat attributes_of(const node &shown) {
    struct stat facts = {};
    facts.st_ino = shown.number;
    facts.st_mode = shown.facts.mode;
    facts.st_nlink = shown.links;
    facts.st_uid = shown.facts.uid;
    facts.st_gid = shown.facts.gid;
    facts.st_rdev = shown.facts.device;
    facts.st_size = static_cast<off_t>(S_ISLNK(shown.facts.mode) ? shown.facts.link_target.size()
                                                                 : shown.contents.size());
    facts.st_blocks = static_cast<blkcnt_t>(shown.contents.sectors());
    facts.st_blksize = HOST_PAGE_SIZE;
    facts.st_atim = shown.accessed;
    facts.st_mtim = shown.modified;
    facts.st_ctim = shown.changed;
    return facts;
}

bool request_present(fuse_req_t request) {
    const int error = card_of(request).life.presence(clock_now());
    if (error != 0) {
        fuse_reply_err(request, error);
    }
    return error == 0;
}

bool request_may_change(fuse_req_t request) {
    const int error = card_of(request).life.change(clock_now());
    if (error != 0) {
        fuse_reply_err(request, error);
    }
    return error == 0;
}

bool fuse_mount_and_serve(const card_options &options, const std::function<void()> &on_mounted,
                          std::string *error) {
    auto store = open_store(options, error);
    if (!store) {
        return false;
    }
    fuse_set_log_func(keep_library_message);
    mounted_card card(options, std::move(store));
    if (options.image && !card_image_add(card.room, card.tree, options, error)) {
        return false;
    }
    const std::unique_ptr<fuse_session, void (*)(fuse_session *)> session(new_session(card),
                                                                          fuse_session_destroy);
    card.session = session.get();
    if (!session || fuse_set_signal_handlers(session.get()) != 0 ||
        fuse_session_mount(session.get(), options.mount_point.c_str()) != 0) {
        *error = "cannot mount on '" + options.mount_point + "'" +
                 (library_message.empty() ? "" : ": " + library_message);
        return false;
    }
    card.publisher.start(session.get());
    on_mounted();
    serve(card);
    card.publisher.stop();
    fuse_session_unmount(session.get());
    fuse_remove_signal_handlers(session.get());
    return true;
}

}  // namespace cardsim
