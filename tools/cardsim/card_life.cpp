// SPDX-License-Identifier: GPL-3.0-or-later
/* Counts towards the moment at which the card locks itself or is gone. */
#include "tools/cardsim/card_life.h"

#include <algorithm>

namespace cardsim {

void card_life::first_transfer(time_point now) {
    if (!m_first_transfer) {
        m_first_transfer = now;
    }
}

int card_life::presence(time_point now) {
    const bool too_late = m_traits.unplug_after && m_first_transfer &&
                          now - *m_first_transfer >= *m_traits.unplug_after;
    const bool all_written =
        m_traits.unplug_after_written && m_written >= *m_traits.unplug_after_written;
    const bool all_read = m_traits.unplug_after_read && m_read >= *m_traits.unplug_after_read;
    m_gone = m_gone || too_late || all_written || all_read;
    return m_gone ? m_traits.unplug_error : 0;
}

void card_life::doing(life_moment moment) {
    const bool begun = moment != life_moment::list || m_written > 0;
    m_gone = m_gone || (m_traits.unplug_at == moment && begun);
}

int card_life::change(time_point now) {
    if (const int error = presence(now); error != 0) {
        return error;
    }
    return m_traits.lock_after && m_written >= *m_traits.lock_after ? EROFS : 0;
}

int card_life::write_begin(time_point now, uint64_t bytes, uint64_t *accepted) {
    first_transfer(now);
    if (const int error = change(now); error != 0) {
        return error;
    }
    *accepted = bytes;
    for (const std::optional<uint64_t> &limit :
         {m_traits.lock_after, m_traits.unplug_after_written}) {
        if (limit) {
            *accepted = std::min(*accepted, *limit - m_written);
        }
    }
    return 0;
}

int card_life::read_begin(time_point now, uint64_t bytes) {
    first_transfer(now);
    if (const int error = presence(now); error != 0) {
        return error;
    }
    if (m_traits.unplug_after_read && bytes > *m_traits.unplug_after_read - m_read) {
        m_gone = true;
        return m_traits.unplug_error;
    }
    m_read += bytes;
    return 0;
}

}  // namespace cardsim
