// SPDX-License-Identifier: GPL-3.0-or-later
// Numbers keep their width, so that the line does not jump.
#include "cli/status_line.h"

#include <cstdio>

#include "model/engine_status.h"

// Long enough to smooth the flush at the end of each period, short enough to
// show a card that slows down.
constexpr std::chrono::seconds window_length{5};

void speed_window::reset() {
    m_samples.clear();
}

void speed_window::add(clock::time_point when, std::uint64_t bytes) {
    m_samples.push_back({when, bytes});
    // Keeps one sample older than the window, so that the samples span it.
    while (m_samples.size() > 2 && when - m_samples[1].when >= window_length)
        m_samples.pop_front();
}

std::optional<double> speed_window::bytes_per_s() const {
    if (m_samples.size() < 2)
        return std::nullopt;
    const std::chrono::duration<double> span = m_samples.back().when - m_samples.front().when;
    if (span < std::chrono::seconds{1})
        return std::nullopt;
    return static_cast<double>(m_samples.back().bytes - m_samples.front().bytes) / span.count();
}

static const char *phase_text(engine_phase phase) {
    switch (phase) {
        case ENGINE_PHASE_REMOVING:
            return "Removing test files";
        case ENGINE_PHASE_WRITING:
            return "Writing";
        case ENGINE_PHASE_LISTING:
            return "Listing test files";
        case ENGINE_PHASE_READING:
            return "Reading";
        case ENGINE_PHASE_IDLE:
            break;
    }
    return "";
}

template <typename... Arguments>
static std::string formatted(const char *format, Arguments... arguments) {
    char text[64];
    std::snprintf(text, sizeof text, format, arguments...);
    return text;
}

static std::string time_left_text(const status_line_input &input) {
    if (!input.bytes_per_s || *input.bytes_per_s < 1.0 || input.bytes_expected == 0)
        return {};
    const std::uint64_t left =
        input.bytes_expected > input.bytes_done ? input.bytes_expected - input.bytes_done : 0;
    const double seconds = static_cast<double>(left) / *input.bytes_per_s;
    // Beyond a thousand hours, the card has stalled and no estimate helps.
    if (seconds > 3600.0 * 1000)
        return {};
    const auto whole = static_cast<unsigned>(seconds);
    return formatted("    %u:%02u:%02u left", whole / 3600, whole / 60 % 60, whole % 60);
}

static std::string speed_text(double bytes_per_s) {
    const char *unit = scale_to_unit(&bytes_per_s);
    return formatted("    %6.1f %s/s", bytes_per_s, unit);
}

std::string status_line_text(const status_line_input &input) {
    std::string text = phase_text(input.phase);
    if (input.phase != ENGINE_PHASE_WRITING && input.phase != ENGINE_PHASE_READING)
        return text;
    text += formatted(" %d.fff", input.index + 1);
    if (input.bytes_expected != 0) {
        const double share = 100.0 * static_cast<double>(input.bytes_done) /
                             static_cast<double>(input.bytes_expected);
        text += formatted("    %5.1f %%", share > 100.0 ? 100.0 : share);
    }
    if (input.bytes_per_s)
        text += speed_text(*input.bytes_per_s);
    return text + time_left_text(input);
}
