/* Everything behind one mount, and the answers to the kernel's requests.
 *
 * One thread answers all requests, in the order they come, and it alone touches
 * the tree, the card and its counters. The publisher's thread only hands pages to
 * the kernel and sends answers that were already made up. */
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

    // What open folders show, by the number that the kernel carries back and forth:
    // taken when one is opened or rewound, so that files can be removed meanwhile.
    std::unordered_map<uint64_t, std::vector<folder_entry>> open_folders;
    uint64_t last_open_folder = 0;
};

/* The card that a request is for. */
mounted_card &card_of(fuse_req_t request);

/* Reads the two clocks: for what the card counts, and for what files show. */
std::chrono::steady_clock::time_point clock_now();
timespec time_of_day();

/* What stat(2) shows of a node. */
struct stat attributes_of(const node &shown);

/* Whether the card is there, and whether it takes changes; where not, the request
 * has been answered with the error. */
bool request_present(fuse_req_t request);
bool request_may_change(fuse_req_t request);

/* Entries and attributes: fuse_entries.cpp. Contents, flushes and free space:
 * fuse_io.cpp. Each puts its answers into the table. */
void fuse_entries_add(fuse_lowlevel_ops *table);
void fuse_io_add(fuse_lowlevel_ops *table);

}  // namespace cardsim

#endif
