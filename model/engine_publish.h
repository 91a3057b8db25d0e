/* The writers' side of engine_status.h, for the engine's own phases. Called on
 * the test's thread only. */
#ifndef TROVIK_MODEL_ENGINE_PUBLISH_H
#define TROVIK_MODEL_ENGINE_PUBLISH_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The five result texts, in the order of the report. */
enum engine_result_text {
    RESULT_DATA_OK,
    RESULT_DATA_LOST,
    RESULT_DATA_CORRUPTED,
    RESULT_DATA_CHANGED,
    RESULT_DATA_OVERWRITTEN,
    RESULT_TEXT_COUNT,
};

/* Bytes of a result text, terminator included. */
#define RESULT_TEXT_SIZE 255

/* A measured period: current speed in `unit` (a constant text) per second, and
 * the share done in percent. */
void publish_write_period(double speed, const char *unit, double progress);

/* The phase's average, which takes the current speed's place. The unit stays
 * that of the last period. */
void publish_write_average(double speed);

void publish_read_speed(double speed, const char *unit);
void publish_volume_intact(uint32_t intact);

/* Publishes `bytes` as a result text. */
void publish_result_text(enum engine_result_text which, uint64_t bytes);

#ifdef __cplusplus
}
#endif
#endif
