// SPDX-License-Identifier: GPL-3.0-or-later
/* Requests about contents, flushes and free space: here the card's faults and speed become
 * visible.
 *
 * The page cache must work as for a disk: written data stays in it and is read from it until
 * it is dropped. Therefore files are opened with keep_cache and without direct_io, and pages
 * written in small pieces are stored in the page cache when they are complete. That happens
 * while a later write or flush of the same file waits for its answer: the kernel allows only
 * one of these per file at a time, so no newer state of the page can exist. */
#include <sys/statvfs.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>
#include <thread>

#include "tools/cardsim/mounted_card.h"

namespace cardsim {

namespace {

using time_point = std::chrono::steady_clock::time_point;

// Even a slow card must end soon after it was asked to.
constexpr std::chrono::milliseconds LONGEST_NAP{50};

void wait_until(const mounted_card &card, time_point then) {
    for (time_point now = clock_now(); now < then; now = clock_now()) {
        if (fuse_session_exited(card.session) != 0) {
            return;
        }
        std::this_thread::sleep_for(std::min<std::chrono::nanoseconds>(then - now, LONGEST_NAP));
    }
}

/* Answers at once, or after the page was stored in the page cache. */
void answer_after(mounted_card &card, uint64_t number, std::optional<written_bytes> page,
                  std::function<void()> answer) {
    if (page) {
        card.publisher.publish(number, std::move(*page), std::move(answer));
    } else {
        answer();
    }
}

node *file_or_answer(fuse_req_t request, fuse_ino_t number) {
    node *found = card_of(request).tree.find(number);
    if (found == nullptr || !found->is_file()) {
        fuse_reply_err(request, found == nullptr ? ENOENT : EINVAL);
        return nullptr;
    }
    return found;
}

void on_open(fuse_req_t request, fuse_ino_t number, fuse_file_info *file) {
    const bool writes = (file->flags & O_ACCMODE) != O_RDONLY;
    if (writes ? !request_may_change(request) : !request_present(request)) {
        return;
    }
    node *opened = file_or_answer(request, number);
    if (opened == nullptr) {
        return;
    }
    file->keep_cache = 1;
    // A card's image is a device: caching is up to the layers above.
    file->direct_io = card_of(request).options.image ? 1 : 0;
    card_of(request).tree.opened(*opened);
    if (fuse_reply_open(request, file) != 0) {
        card_of(request).tree.closed(*opened);
    }
}

void on_release(fuse_req_t request, fuse_ino_t number, fuse_file_info *) {
    if (node *closed = card_of(request).tree.find(number)) {
        card_of(request).tree.closed(*closed);
    }
    fuse_reply_err(request, 0);
}

void on_read(fuse_req_t request, fuse_ino_t number, size_t size, off_t offset, fuse_file_info *) {
    mounted_card &card = card_of(request);
    const node *file = file_or_answer(request, number);
    if (file == nullptr) {
        return;
    }
    const uint64_t from = static_cast<uint64_t>(offset);
    const uint64_t end = file->contents.size();
    const size_t length =
        from >= end ? 0 : static_cast<size_t>(std::min<uint64_t>(size, end - from));
    const time_point arrived = clock_now();
    int error = card.life.read_begin(arrived, length);
    if (error == 0) {
        if (card.read_buffer.size() < length) {
            card.read_buffer.resize(length);
        }
        error = file->contents.read(card.room, from, std::span(card.read_buffer).first(length));
        wait_until(card, card.speed.charge_read(arrived, length));
    }
    if (error != 0) {
        // Not a short answer: the kernel would take it for the end of the file. It retries
        // page by page, so all pages before the bad one are read.
        fuse_reply_err(request, error);
        return;
    }
    fuse_reply_buf(request, reinterpret_cast<const char *>(card.read_buffer.data()), length);
}

/* Writes; returns 0 with the bytes written in *taken, or an error number. */
int write_to_card(mounted_card &card, node &file, uint64_t offset, std::span<const std::byte> bytes,
                  uint64_t *taken) {
    const time_point arrived = clock_now();
    uint64_t accepted = 0;
    int error = card.life.write_begin(arrived, bytes.size(), &accepted);
    if (error == 0) {
        error = file.contents.write(card.room, offset, bytes.first(accepted), taken);
    }
    if (error != 0) {
        file.page.forget();
        return error;
    }
    card.life.write_done(*taken);
    if (!card.options.image) {
        file.page.after_write(offset, bytes.first(*taken), bytes.size());
    }
    file.modified = file.changed = time_of_day();
    wait_until(card, card.speed.charge_write(arrived, *taken));
    return 0;
}

void on_write(fuse_req_t request, fuse_ino_t number, const char *data, size_t size, off_t offset,
              fuse_file_info *info) {
    mounted_card &card = card_of(request);
    node *file = file_or_answer(request, number);
    if (file == nullptr) {
        return;
    }
    if (info->writepage != 0) {
        // From a mapping of the file: other writes may run at the same time.
        file->page.forget();
    }
    const uint64_t at = static_cast<uint64_t>(offset);
    std::optional<written_bytes> page = file->page.before_write(at, size);
    uint64_t taken = 0;
    const int error = write_to_card(card, *file, at, std::as_bytes(std::span(data, size)), &taken);
    answer_after(card, number, std::move(page), [request, error, taken] {
        if (error != 0) {
            fuse_reply_err(request, error);
        } else {
            fuse_reply_write(request, taken);
        }
    });
}

void on_flush(fuse_req_t request, fuse_ino_t, fuse_file_info *) {
    if (request_present(request)) {
        fuse_reply_err(request, 0);
    }
}

void on_fsync(fuse_req_t request, fuse_ino_t number, int, fuse_file_info *) {
    mounted_card &card = card_of(request);
    if (!request_present(request)) {
        return;
    }
    node *file = file_or_answer(request, number);
    if (file == nullptr) {
        return;
    }
    wait_until(card, card.speed.idle_at(clock_now()));
    const int error = card.options.fsync_fails ? EIO : 0;
    answer_after(card, number, file->page.at_flush(file->contents.size()),
                 [request, error] { fuse_reply_err(request, error); });
}

void on_fsyncdir(fuse_req_t request, fuse_ino_t, int, fuse_file_info *) {
    if (request_present(request)) {
        fuse_reply_err(request, card_of(request).options.fsync_fails ? EIO : 0);
    }
}

void on_statfs(fuse_req_t request, fuse_ino_t) {
    if (!request_present(request)) {
        return;
    }
    const mounted_card &card = card_of(request);
    if (card.options.statfs_fails) {
        fuse_reply_err(request, EIO);
        return;
    }
    // Counted in sectors, the unit of allocation: a larger one would round the free space and
    // hide the last sectors. f_bsize is the same because some programs multiply with the
    // wrong one.
    const uint64_t announced = card.options.announced_sectors;
    struct statvfs facts = {};
    facts.f_bsize = facts.f_frsize = CARD_SECTOR_SIZE;
    facts.f_blocks = announced;
    facts.f_bfree = announced - std::min(announced, card.room.space.taken());
    if (card.options.statfs_free) {
        facts.f_bfree = *card.options.statfs_free / CARD_SECTOR_SIZE;
    }
    facts.f_bavail = facts.f_bfree;
    facts.f_namemax = LONGEST_NAME;
    fuse_reply_statfs(request, &facts);
}

}  // namespace

void fuse_io_add(fuse_lowlevel_ops *table) {
    table->open = on_open;
    table->release = on_release;
    table->read = on_read;
    table->write = on_write;
    table->flush = on_flush;
    table->fsync = on_fsync;
    table->fsyncdir = on_fsyncdir;
    table->statfs = on_statfs;
}

}  // namespace cardsim
