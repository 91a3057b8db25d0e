/* The name under which the running program was started, for the line that says
 * why it ended. One file per system implements it. */
#ifndef TROVIK_MODEL_PROGRAM_NAME_H
#define TROVIK_MODEL_PROGRAM_NAME_H

#ifdef __cplusplus
extern "C" {
#endif

/* Without its folder; owned by the system. Any thread. */
const char *program_name(void);

#ifdef __cplusplus
}
#endif
#endif
