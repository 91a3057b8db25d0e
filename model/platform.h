// SPDX-License-Identifier: GPL-3.0-or-later
/* The program's name, and the processor's extensions beyond the x86-64 baseline. One file
 * per system implements it: not every compiler ships the tables that its own way of asking
 * for extensions needs. Any thread, also before main. */
#ifndef TROVIK_MODEL_PLATFORM_H
#define TROVIK_MODEL_PLATFORM_H

#ifdef __cplusplus
extern "C" {
#endif

/* The name that the program was started under, without its folder; owned by the system. */
const char *program_name(void);

#ifdef __cplusplus
}

/* All false on processors other than x86-64. */
bool processor_has_avx2();
bool processor_has_avx512();      /* with the parts DQ, BW and VL */
bool processor_has_avx512_ifma(); /* multiplication of 52-bit integers */
#endif
#endif
