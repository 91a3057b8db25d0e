// SPDX-License-Identifier: GPL-3.0-or-later
/* Every field is a relaxed atomic with one writer, the test's thread. A list's count
 * publishes its records: each is filled, then counted, so all records below the count are
 * complete. The tables are static; pages that no test touches cost no memory. */
#include "model/engine_results.h"

#include <atomic>

#include "model/engine_record.h"

namespace {

template <typename T>
class published {
 public:
    void set(T value) { m_value.store(value, std::memory_order_relaxed); }
    T get() const { return m_value.load(std::memory_order_relaxed); }
    void add(T value) { set(get() + value); }

 private:
    std::atomic<T> m_value{};
};

struct write_record {
    published<uint64_t> free_at_start, free_at_end, bytes_written;
    published<int32_t> free_at_end_known, first_index, current_index, block_size, files_created,
        write_error, end, average_known;
    published<double> average_bytes_per_s;
};

struct read_record {
    published<uint64_t> bytes_read, ok, corrupted, changed, overwritten, files, files_cut, missing;
    published<int32_t> current_index, listing_error, counts_agree;
    published<double> reading_s, bytes_per_s;
    std::atomic<int32_t> finished; /* publishes the totals */
};

struct file_record {
    published<int32_t> index, read_all;
    published<uint64_t> size, ok, corrupted, changed, overwritten;
};

struct missing_record {
    published<int32_t> first_index, last_index;
};

template <typename Record>
class published_list {
 public:
    void clear() { m_count.store(0, std::memory_order_relaxed); }

    /* The record to fill next, or null when the table is full. */
    Record *next() {
        const size_t count = m_count.load(std::memory_order_relaxed);
        return count < ENGINE_RESULTS_FILES_MAX ? &m_records[count] : nullptr;
    }

    void count_next() {
        m_count.store(m_count.load(std::memory_order_relaxed) + 1, std::memory_order_release);
    }

    size_t count() const { return m_count.load(std::memory_order_acquire); }

    const Record *at(size_t position) const {
        return position < count() ? &m_records[position] : nullptr;
    }

 private:
    std::atomic<size_t> m_count;
    Record m_records[ENGINE_RESULTS_FILES_MAX];
};

}  // namespace

/* All written by the test's thread, read by the shells. */
static std::atomic<int> phase_now{ENGINE_PHASE_IDLE};
static write_record write_part;
static read_record read_part;
static published_list<file_record> file_list;
static published_list<missing_record> missing_list;

enum engine_phase engine_results_phase(void) {
    return static_cast<enum engine_phase>(phase_now.load(std::memory_order_acquire));
}

enum engine_phase record_phase(enum engine_phase phase) {
    const int before = phase_now.load(std::memory_order_relaxed);
    phase_now.store(phase, std::memory_order_release);
    return static_cast<enum engine_phase>(before);
}

void engine_results_write(struct engine_write_results *out) {
    const write_record &part = write_part;
    *out = {};
    out->free_at_start = part.free_at_start.get();
    out->free_at_end = part.free_at_end.get();
    out->free_at_end_known = part.free_at_end_known.get();
    out->bytes_written = part.bytes_written.get();
    out->first_index = part.first_index.get();
    out->current_index = part.current_index.get();
    out->block_size = part.block_size.get();
    out->files_created = part.files_created.get();
    out->write_error = part.write_error.get();
    out->end = part.end.get();
    out->average_known = part.average_known.get();
    out->average_bytes_per_s = part.average_bytes_per_s.get();
}

void engine_results_read(struct engine_read_results *out) {
    const read_record &part = read_part;
    *out = {};
    out->finished = part.finished.load(std::memory_order_acquire);
    out->bytes_read = part.bytes_read.get();
    out->current_index = part.current_index.get();
    out->ok = part.ok.get();
    out->corrupted = part.corrupted.get();
    out->changed = part.changed.get();
    out->overwritten = part.overwritten.get();
    out->files = part.files.get();
    out->files_cut = part.files_cut.get();
    out->missing = part.missing.get();
    out->listing_error = part.listing_error.get();
    out->counts_agree = part.counts_agree.get();
    out->reading_s = part.reading_s.get();
    out->bytes_per_s = part.bytes_per_s.get();
}

size_t engine_results_file_count(void) {
    return file_list.count();
}

int engine_results_file(size_t position, struct engine_file_result *out) {
    const file_record *record = file_list.at(position);
    if (record == nullptr)
        return 0;
    *out = {record->index.get(),      record->read_all.get(),  record->size.get(),
            record->ok.get(),         record->corrupted.get(), record->changed.get(),
            record->overwritten.get()};
    return 1;
}

size_t engine_results_missing_count(void) {
    return missing_list.count();
}

int engine_results_missing(size_t position, struct engine_missing_range *out) {
    const missing_record *record = missing_list.at(position);
    if (record == nullptr)
        return 0;
    *out = {record->first_index.get(), record->last_index.get()};
    return 1;
}

void record_write_start(uint64_t free_bytes, int32_t first_index) {
    write_part.free_at_start.set(free_bytes);
    write_part.free_at_end.set(0);
    write_part.free_at_end_known.set(0);
    write_part.bytes_written.set(0);
    write_part.first_index.set(first_index);
    write_part.current_index.set(first_index);
    write_part.block_size.set(0);
    write_part.files_created.set(0);
    write_part.write_error.set(0);
    write_part.end.set(ENGINE_WRITE_NOT_ENDED);
    write_part.average_known.set(0);
    write_part.average_bytes_per_s.set(0.0);
}

void record_block_size(int32_t bytes) {
    write_part.block_size.set(bytes);
}

void record_write_file(int32_t index) {
    write_part.current_index.set(index);
    write_part.files_created.add(1);
}

void record_bytes_written(uint64_t bytes) {
    write_part.bytes_written.set(bytes);
}

void record_write_error(int32_t error) {
    write_part.write_error.set(error);
}

void record_write_end(enum engine_write_end end) {
    write_part.end.set(end);
}

void record_write_average(double bytes_per_s) {
    write_part.average_bytes_per_s.set(bytes_per_s);
    write_part.average_known.set(1);
}

void record_free_at_end(uint64_t bytes, int32_t known) {
    write_part.free_at_end.set(bytes);
    write_part.free_at_end_known.set(known);
}

void record_listing_error(int32_t error) {
    read_part.listing_error.set(error);
}

void record_read_start(void) {
    read_part.finished.store(0, std::memory_order_relaxed);
    read_part.bytes_read.set(0);
    read_part.current_index.set(0);
    read_part.ok.set(0);
    read_part.corrupted.set(0);
    read_part.changed.set(0);
    read_part.overwritten.set(0);
    read_part.files.set(0);
    read_part.files_cut.set(0);
    read_part.missing.set(0);
    read_part.counts_agree.set(0);
    read_part.reading_s.set(0.0);
    read_part.bytes_per_s.set(0.0);
    file_list.clear();
    missing_list.clear();
}

void record_reading_file(int32_t index) {
    read_part.current_index.set(index);
}

void record_bytes_read(uint64_t bytes) {
    read_part.bytes_read.set(bytes);
}

void record_missing(int32_t first_index, int32_t last_index) {
    read_part.missing.add(static_cast<uint64_t>(last_index) - static_cast<uint64_t>(first_index) +
                          1);
    missing_record *record = missing_list.next();
    if (record == nullptr)
        return;
    record->first_index.set(first_index);
    record->last_index.set(last_index);
    missing_list.count_next();
}

void record_file(const struct engine_file_result *file) {
    read_part.ok.add(file->ok);
    read_part.corrupted.add(file->corrupted);
    read_part.changed.add(file->changed);
    read_part.overwritten.add(file->overwritten);
    read_part.files.add(1);
    read_part.files_cut.add(file->read_all == 0 ? 1 : 0);
    file_record *record = file_list.next();
    if (record == nullptr)
        return;
    record->index.set(file->index);
    record->read_all.set(file->read_all);
    record->size.set(file->size);
    record->ok.set(file->ok);
    record->corrupted.set(file->corrupted);
    record->changed.set(file->changed);
    record->overwritten.set(file->overwritten);
    file_list.count_next();
}

void record_read_end(int32_t counts_agree, double reading_s, double bytes_per_s) {
    read_part.counts_agree.set(counts_agree);
    read_part.reading_s.set(reading_s);
    read_part.bytes_per_s.set(bytes_per_s);
    read_part.finished.store(1, std::memory_order_release);
}
