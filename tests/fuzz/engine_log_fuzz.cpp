// SPDX-License-Identifier: GPL-3.0-or-later
// The message log: appends and drains in any order, compared with a text cut after 8192 bytes.
// A case is a list of steps: "t" appends the text up to the end of the line; "a" appends a byte
// repeatedly (two bytes of length, then the byte); "d" and "v" drain in the two ways; "r" drains
// and appends the drained text again.
#include <cstring>
#include <string>

#include "fuzz.h"
#include "model/engine_log.h"

static constexpr size_t log_size = 8192;

namespace {

struct log_model {
    std::string pending;
    std::string drained;

    void append(const std::string &text) { pending = (pending + text).substr(0, log_size); }
    void drain() {
        drained = pending;
        pending.clear();
    }
};

}  // namespace

static void check_view(const log_model &model) {
    const engine_log_view view = engine_log_take_view();
    FUZZ_REQUIRE(std::string(view.text, view.length) == model.drained);
}

// Returns the drained text with all its 8192 bytes.
static const char *check_take(const log_model &model) {
    const char *const text = engine_log_take();
    std::string whole = model.drained;
    whole.resize(log_size, '\0');
    FUZZ_REQUIRE(std::memcmp(text, whole.data(), log_size) == 0);
    return text;
}

static void append(log_model &model, const std::string &text) {
    engine_log_append(text.c_str());
    model.append(text.c_str());  // ends at a NUL
}

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    fuzz_input input(data, size);
    engine_log_take();  // empties the log
    log_model model;
    while (!input.empty()) {
        switch (input.byte()) {
            case 't':
                append(model, input.text_until('\n'));
                break;
            case 'a': {
                const size_t length = input.number(2) % (2 * log_size);
                append(model, std::string(length, static_cast<char>(input.byte())));
                break;
            }
            case 'v':
                model.drain();
                check_view(model);
                break;
            case 'r': {
                model.drain();
                const char *const text = check_take(model);
                if (model.drained.size() < log_size) {  // a full text has no NUL
                    engine_log_append(text);
                    model.append(model.drained);
                }
                break;
            }
            default:
                model.drain();
                check_take(model);
        }
    }
    model.drain();
    check_take(model);
    return 0;
}
