/* What this machine's processor can do beyond what every x86-64 processor can; nothing
 * of it on other processors. One file per system implements it: not every compiler
 * brings the tables along that its own way of asking needs. */
#ifndef TROVIK_MODEL_PROCESSOR_H
#define TROVIK_MODEL_PROCESSOR_H

/* Any thread, also before main. */
bool processor_has_avx2();
bool processor_has_avx512();      /* with the parts DQ, BW and VL */
bool processor_has_avx512_ifma(); /* multiplication of 52-bit integers */

#endif
