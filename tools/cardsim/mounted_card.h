// SPDX-License-Identifier: GPL-3.0-or-later
/* The state of one mount, and the answers to the kernel's requests.
 *
 * One thread answers all requests in order; it alone touches the tree, the card and its
 * counters. The publisher's thread only stores pages in the page cache and sends prepared
 * answers. */
#ifndef TROVIK_TOOLS_CARDSIM_MOUNTED_CARD_H
#define TROVIK_TOOLS_CARDSIM_MOUNTED_CARD_H

#include <fuse_lowlevel.h>

#include <chrono>
#include <memory>
#include <unordered_map>
#include <vector>

#include "tools/cardsim/arguments.h"
#include "tools/cardsim/card_life.h"
#include "tools/cardsim/file_contents.h"
#include "tools/cardsim/file_tree.h"
#include "tools/cardsim/page_publisher.h"
#include "tools/cardsim/throttle.h"

namespace cardsim {

struct mounted_card {
    mounted_card(const card_options &wanted, std::unique_ptr<sector_store> store);

    card_options options;
    card_room room;
    file_tree tree;
    card_life life;
    throttle speed;
    page_publisher publisher;
    fuse_session *session = nullptr;
    std::vector<std::byte> read_buffer;

    // The entries of open folders by handle: copied when a folder is opened or rewound, so
    // that files can be removed during a listing.
    std::unordered_map<uint64_t, std::vector<folder_entry>> open_folders;
    uint64_t last_open_folder = 0;
};

/* The card of a request. */
mounted_card &card_of(fuse_req_t request);

/* Clocks for the card's counters, and for the files' time stamps. */
std::chrono::steady_clock::time_point clock_now();
timespec time_of_day();

/* A node's attributes for stat(2). */
struct stat attributes_of(const node &shown);

/* False if the card is gone, or takes no changes; the request was then answered with the
 * error. */
bool request_present(fuse_req_t request);
bool request_may_change(fuse_req_t request);

/* Fill the table with the handlers of fuse_entries.cpp (entries, attributes) and fuse_io.cpp
 * (contents, flushes, free space). */
void fuse_entries_add(fuse_lowlevel_ops *table);
void fuse_io_add(fuse_lowlevel_ops *table);

}  // namespace cardsim

#endif
