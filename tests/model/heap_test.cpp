// SPDX-License-Identifier: GPL-3.0-or-later
/* The engine's use of the heap, also when it is exhausted. Every call of malloc and its
 * relatives in this program goes through the wrappers here (see CMakeLists.txt); calls
 * inside shared libraries do not. */
#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "model/engine_log.h"
#include "model/utils.h"
#include "support.h"

using model_tests::child_outcome;
using model_tests::drained_log;
using model_tests::private_folder;
using model_tests::run_in_child;
using model_tests::set_file_content;

namespace {

/* Blocks allocated while counting, and whether allocation succeeds. Written by the tests and
 * the wrappers, on one thread. No container: its memory would go through the wrappers. */
struct block {
    void *start;
    size_t size;
};
std::array<block, 4096> blocks;
size_t block_count = 0;
size_t calls = 0;
bool counting = false;
bool exhausted = false;

void *noted(void *start, size_t size) {
    if (counting && start != nullptr && block_count < blocks.size())
        blocks[block_count++] = {start, size};
    return start;
}

void forget(const void *start) {
    for (size_t at = 0; at < block_count; ++at)
        if (blocks[at].start == start)
            blocks[at] = blocks[--block_count];
}

size_t noted_size(const void *start) {
    for (size_t at = 0; at < block_count; ++at)
        if (blocks[at].start == start)
            return blocks[at].size;
    return 0;
}

void start_counting() {
    block_count = 0;
    calls = 0;
    counting = true;
}

}  // namespace

extern "C" {
void *__real_malloc(size_t size);
void *__real_calloc(size_t count, size_t size);
void *__real_realloc(void *start, size_t size);
void __real_free(void *start);

void *__wrap_malloc(size_t size) {
    calls += counting ? 1 : 0;
    return exhausted ? nullptr : noted(__real_malloc(size), size);
}

void *__wrap_calloc(size_t count, size_t size) {
    calls += counting ? 1 : 0;
    return exhausted ? nullptr : noted(__real_calloc(count, size), count * size);
}

void *__wrap_realloc(void *start, size_t size) {
    calls += counting ? 1 : 0;
    if (exhausted)
        return nullptr;
    forget(start);
    return noted(__real_realloc(start, size), size);
}

void __wrap_free(void *start) {
    forget(start);
    __real_free(start);
}
}

TEST(heap, append_without_memory_changes_nothing_but_prints_error) {
    const child_outcome outcome = run_in_child([] {
        engine_log_append("kept\n");
        exhausted = true;
        engine_log_append("lost\n");
        exhausted = false;
        engine_log_append("next\n");
        fputs(drained_log().c_str(), stdout);
    });
    EXPECT_TRUE(outcome.exited_with(0));
    EXPECT_EQ(outcome.err, "ERR: malloc failed!\n");
    EXPECT_EQ(outcome.out, "kept\nnext\n");
}

TEST(heap, every_append_without_memory_prints_error) {
    const child_outcome outcome = run_in_child([] {
        exhausted = true;
        engine_log_append("a");
        engine_log_append("b");
        exhausted = false;
        fputs(drained_log().c_str(), stdout);
    });
    EXPECT_EQ(outcome.err, "ERR: malloc failed!\nERR: malloc failed!\n");
    EXPECT_EQ(outcome.out, "");
}

TEST(heap, draining_needs_no_memory) {
    const child_outcome outcome = run_in_child([] {
        engine_log_append("text\n");
        exhausted = true;
        const char *text = engine_log_take();
        exhausted = false;
        fputs(text, stdout);
    });
    EXPECT_EQ(outcome.out, "text\n");
    EXPECT_EQ(outcome.err, "");
}

TEST(heap, appending_frees_its_memory) {
    drained_log();
    const std::string text(1000, 'x');
    start_counting();
    for (int round = 0; round < 100; ++round) {
        engine_log_append(text.c_str());
        if (round % 10 == 0)
            engine_log_take();
    }
    counting = false;
    EXPECT_EQ(block_count, 0U);
    EXPECT_GT(calls, 0U);
    drained_log();
}

TEST(heap, listing_is_one_allocation_of_count_plus_1_entries) {
    for (const size_t count : {0U, 1U, 3U, 100U, 1000U}) {
        const private_folder folder;
        for (size_t number = 1; number <= count; ++number)
            set_file_content(folder.file(std::to_string(number) + ".fff"), "");
        set_file_content(folder.file("other"), "");
        start_counting();
        int *files = ls_my_files(folder.c_path(), 0);
        counting = false;
        EXPECT_EQ(noted_size(files), (count + 1) * sizeof(int));
        EXPECT_EQ(block_count, 1U) << "working memory was not released";
        EXPECT_EQ(files[count], -1);
        free(files);
        EXPECT_EQ(block_count, 0U);
    }
}

/* The folder is opened first: opendir needs memory itself. */
TEST(heap, listing_without_memory_ends_process) {
    const private_folder folder;
    set_file_content(folder.file("1.fff"), "");
    const child_outcome outcome = run_in_child([&] {
        exhausted = true;
        ls_my_files(folder.c_path(), 0);
    });
    EXPECT_TRUE(outcome.aborted());
    EXPECT_NE(outcome.err.find("ret"), std::string::npos);
    EXPECT_EQ(outcome.err, model_tests::assertion_line("ret", "__ls_my_files", "model/utils"));
}
